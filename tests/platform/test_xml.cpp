#include "platform/FileSystem.h"
#include "platform/Xml.h"
#include "support/TempFolder.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace bx::platform {
namespace {

constexpr const char* kAppliance = "<Appliance Name=\"Demo\" Body=\"KTR310\">"
                                   "<Code>"
                                   "<Build><Step Run=\"make\"/><Step Run=\"ld65\"/></Build>"
                                   "<Build><Step Run=\"copy\"/></Build>"
                                   "</Code>"
                                   "<Views><View Id=\"1\">first</View></Views>"
                                   "</Appliance>";

std::vector<std::string> AttributeValues(const std::vector<XmlNode>& nodes,
                                         const std::string& name) {
    std::vector<std::string> values;
    for (const XmlNode& node : nodes)
        values.push_back(node.AttributeOr(name, "<none>"));
    return values;
}

// Names of the entries of a folder that look like the temporary files of a save.
std::vector<std::string> Leftovers(const bx::test::TempFolder& folder, const std::string& keep) {
    std::vector<std::string> others;
    for (const std::string& name : ListFolder(folder.Path()))
        if (name != keep)
            others.push_back(name);
    return others;
}

// --- Loading ----------------------------------------------------------------------------------

TEST(XmlLoad, TextGivesTheTreeAndClearsTheError) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance)) << doc.ErrorText();
    EXPECT_EQ(doc.ErrorText(), "");
    EXPECT_EQ(doc.DocumentElement().Name(), "Appliance");
    EXPECT_EQ(doc.DocumentElement().AttributeOr("Body", ""), "KTR310");
    EXPECT_FALSE(doc.Root().IsNull());
    ASSERT_EQ(doc.Root().Children().size(), 1u);
    EXPECT_EQ(doc.Root().Children()[0].Name(), "Appliance");
}

TEST(XmlLoad, ParseErrorEmptiesTheDocumentAndTellsTheOffset) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<Old/>"));
    // The fault is the closing tag "</A>" that doesn't match "<B>".
    EXPECT_FALSE(doc.LoadText("<A><B></A>"));
    EXPECT_NE(doc.ErrorText().find("offset 8"), std::string::npos) << doc.ErrorText();
    EXPECT_TRUE(doc.DocumentElement().IsNull());
    EXPECT_TRUE(doc.Root().Children().empty());
    EXPECT_EQ(doc.ToText(), "");
}

TEST(XmlLoad, EmptyTextIsAnError) {
    XmlDocument doc;
    EXPECT_FALSE(doc.LoadText(""));
    EXPECT_FALSE(doc.ErrorText().empty());
    EXPECT_TRUE(doc.DocumentElement().IsNull());
}

TEST(XmlLoad, SuccessAfterFailureClearsTheError) {
    XmlDocument doc;
    EXPECT_FALSE(doc.LoadText("<A>"));
    EXPECT_FALSE(doc.ErrorText().empty());
    EXPECT_TRUE(doc.LoadText("<A/>"));
    EXPECT_EQ(doc.ErrorText(), "");
}

TEST(XmlLoad, FileInBackslashFormLoads) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("sub\\demo.xml", kAppliance);
    ASSERT_NE(path.find('\\'), std::string::npos);
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadFile(path)) << doc.ErrorText();
    EXPECT_EQ(doc.SelectNodes("Appliance/Code/Build/Step").size(), 3u);
}

TEST(XmlLoad, MissingFileFailsNamingTheFile) {
    bx::test::TempFolder folder;
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<Old/>"));
    EXPECT_FALSE(doc.LoadFile(folder.Sub("absent.xml")));
    EXPECT_NE(doc.ErrorText().find("absent.xml"), std::string::npos) << doc.ErrorText();
    EXPECT_TRUE(doc.DocumentElement().IsNull());
}

TEST(XmlLoad, BrokenFileFailsWithFileNameAndOffset) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("broken.xml", "<A><B x=\"1\"></C></A>");
    XmlDocument doc;
    EXPECT_FALSE(doc.LoadFile(path));
    EXPECT_NE(doc.ErrorText().find("broken.xml"), std::string::npos) << doc.ErrorText();
    EXPECT_NE(doc.ErrorText().find("offset"), std::string::npos) << doc.ErrorText();
    EXPECT_TRUE(doc.Root().Children().empty());
}

TEST(XmlLoad, FileWithDeclarationAndByteOrderMarkLoads) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile(
        "bom.xml", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<A v=\"\xC3\xA9\"/>");
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadFile(path)) << doc.ErrorText();
    EXPECT_EQ(doc.DocumentElement().AttributeOr("v", ""), "\xC3\xA9");
}

// --- Selection --------------------------------------------------------------------------------

TEST(XmlSelect, AbsolutePathFindsAllNodesInDocumentOrder) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    std::vector<XmlNode> steps = doc.SelectNodes("Appliance/Code/Build/Step");
    EXPECT_EQ(AttributeValues(steps, "Run"), (std::vector<std::string>{"make", "ld65", "copy"}));
    EXPECT_EQ(doc.SelectSingleNode("Appliance/Code/Build/Step").AttributeOr("Run", ""), "make");
}

TEST(XmlSelect, RelativePathStartsAtTheNode) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    XmlNode code = doc.SelectSingleNode("Appliance/Code");
    ASSERT_FALSE(code.IsNull());
    EXPECT_EQ(AttributeValues(code.SelectNodes("Build/Step"), "Run"),
              (std::vector<std::string>{"make", "ld65", "copy"}));
    // The node itself is not a step of its own relative path.
    EXPECT_TRUE(code.SelectSingleNode("Code").IsNull());
    EXPECT_EQ(code.SelectSingleNode("./Build/Step").AttributeOr("Run", ""), "make");
}

TEST(XmlSelect, MissingPathsGiveNullOrNothing) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    EXPECT_TRUE(doc.SelectSingleNode("Appliance/Nothing/Step").IsNull());
    EXPECT_TRUE(doc.SelectNodes("Appliance/Nothing").empty());
    // The first step of a path is a top-level element, not any element.
    EXPECT_TRUE(doc.SelectSingleNode("Code").IsNull());
    EXPECT_TRUE(doc.SelectNodes("").empty());
    EXPECT_TRUE(doc.SelectSingleNode("").IsNull());
}

TEST(XmlSelect, StarMatchesAnyElementAndExtraSlashesAreIgnored) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    std::vector<XmlNode> children = doc.SelectNodes("Appliance/*");
    ASSERT_EQ(children.size(), 2u);
    EXPECT_EQ(children[0].Name(), "Code");
    EXPECT_EQ(children[1].Name(), "Views");
    EXPECT_EQ(doc.SelectNodes("/Appliance//Code/Build/").size(), 2u);
}

TEST(XmlSelect, PathsThatLookLikeXPathNeverThrow) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    for (const char* path : {"Appliance[", "Appliance/@Name", "Appliance/Code[1]", "]]/((",
                             "Appliance/../Appliance", "//"}) {
        EXPECT_NO_THROW({
            XmlNode node = doc.SelectSingleNode(path);
            std::vector<XmlNode> nodes = doc.SelectNodes(path);
            EXPECT_TRUE(node.IsNull()) << path;
            EXPECT_TRUE(nodes.empty()) << path;
        });
    }
}

TEST(XmlSelect, ChildrenAreElementsOnlyInOrder) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A>text<B/><!-- note --><C/>more<D/></A>"));
    std::vector<XmlNode> children = doc.DocumentElement().Children();
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0].Name(), "B");
    EXPECT_EQ(children[1].Name(), "C");
    EXPECT_EQ(children[2].Name(), "D");
}

// --- Null nodes -------------------------------------------------------------------------------

TEST(XmlNullNode, EveryOperationIsHarmless) {
    XmlNode null;
    EXPECT_TRUE(null.IsNull());
    EXPECT_FALSE(static_cast<bool>(null));
    EXPECT_EQ(null.Name(), "");
    EXPECT_FALSE(null.HasAttribute("x"));
    EXPECT_FALSE(null.Attribute("x").has_value());
    EXPECT_EQ(null.AttributeOr("x", "fallback"), "fallback");
    null.SetAttribute("x", "1");
    EXPECT_FALSE(null.HasAttribute("x"));
    EXPECT_TRUE(null.AppendElement("Child").IsNull());
    EXPECT_TRUE(null.Children().empty());
    EXPECT_TRUE(null.SelectSingleNode("A").IsNull());
    EXPECT_TRUE(null.SelectNodes("A").empty());
    null.SetText("text");
    EXPECT_EQ(null.Text(), "");
}

TEST(XmlNullNode, MissingNodeOfARealDocumentChainsToFallbacks) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    // The readers go on statement by statement: a missing element yields defaults all the way.
    XmlNode missing = doc.SelectSingleNode("Appliance/Memory");
    EXPECT_EQ(missing.SelectSingleNode("Bank").AttributeOr("Size", "16384"), "16384");
}

// --- Attributes and text ----------------------------------------------------------------------

TEST(XmlAttributes, PresentAbsentAndEmptyAreTold) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A Set=\"1\" Empty=\"\"/>"));
    XmlNode a = doc.DocumentElement();
    EXPECT_TRUE(a.HasAttribute("Set"));
    EXPECT_TRUE(a.HasAttribute("Empty"));
    EXPECT_FALSE(a.HasAttribute("Absent"));
    EXPECT_FALSE(a.HasAttribute("set")) << "names are case-sensitive";
    EXPECT_EQ(a.Attribute("Set"), std::optional<std::string>("1"));
    EXPECT_EQ(a.Attribute("Empty"), std::optional<std::string>(""));
    EXPECT_EQ(a.Attribute("Absent"), std::nullopt);
    EXPECT_EQ(a.AttributeOr("Empty", "fallback"), "");
    EXPECT_EQ(a.AttributeOr("Absent", "fallback"), "fallback");
}

TEST(XmlAttributes, SetReplacesAnExistingValueWithoutDuplicating) {
    XmlDocument doc;
    XmlNode a = doc.AppendElement("A");
    a.SetAttribute("x", "1");
    a.SetAttribute("y", "2");
    a.SetAttribute("x", "3");
    EXPECT_EQ(doc.ToText(), "<A x=\"3\" y=\"2\"/>");
}

TEST(XmlAttributes, EmptyNameIsRefused) {
    XmlDocument doc;
    XmlNode a = doc.AppendElement("A");
    a.SetAttribute("", "1");
    EXPECT_EQ(doc.ToText(), "<A/>");
}

TEST(XmlAttributes, EntitiesAndCharacterReferencesAreDecoded) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A v=\"&lt;&amp;&gt;&quot;&apos;&#233;&#x41;\">a&amp;b&#10;c</A>"));
    EXPECT_EQ(doc.DocumentElement().AttributeOr("v", ""), "<&>\"'\xC3\xA9"
                                                          "A");
    EXPECT_EQ(doc.DocumentElement().Text(), "a&b\nc");
}

TEST(XmlText, ElementTextIsReadAndReplaced) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    XmlNode view = doc.SelectSingleNode("Appliance/Views/View");
    EXPECT_EQ(view.Text(), "first");
    view.SetText("second");
    EXPECT_EQ(view.Text(), "second");
    // An element with only child elements has no text of its own.
    EXPECT_EQ(doc.SelectSingleNode("Appliance/Views").Text(), "");
    EXPECT_NE(doc.ToText().find("<View Id=\"1\">second</View>"), std::string::npos);
}

// --- Building and writing ---------------------------------------------------------------------

TEST(XmlWrite, BuiltTreeIsWrittenRawWithoutDeclaration) {
    XmlDocument doc;
    XmlNode appliance = doc.AppendElement("Appliance");
    appliance.SetAttribute("Name", "Demo");
    XmlNode build = appliance.AppendElement("Code").AppendElement("Build");
    build.AppendElement("Step").SetAttribute("Run", "make");
    build.AppendElement("Step").SetAttribute("Run", "ld65");
    appliance.AppendElement("Notes").SetText("two words");
    EXPECT_EQ(doc.ToText(), "<Appliance Name=\"Demo\"><Code><Build><Step Run=\"make\"/>"
                            "<Step Run=\"ld65\"/></Build></Code><Notes>two words</Notes>"
                            "</Appliance>");
    EXPECT_EQ(doc.DocumentElement().Name(), "Appliance");
    EXPECT_EQ(doc.SelectNodes("Appliance/Code/Build/Step").size(), 2u);
}

TEST(XmlWrite, LoadedWhiteSpaceBetweenElementsIsNotWrittenBack) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A>\n  <B x=\"1\"/>\n  <C/>\n</A>\n"));
    EXPECT_EQ(doc.ToText(), "<A><B x=\"1\"/><C/></A>");
}

TEST(XmlWrite, EmptyDocumentWritesNothing) {
    XmlDocument doc;
    EXPECT_EQ(doc.ToText(), "");
    EXPECT_TRUE(doc.DocumentElement().IsNull());
}

TEST(XmlWrite, EmptyElementNameIsRefused) {
    XmlDocument doc;
    EXPECT_TRUE(doc.AppendElement("").IsNull());
    EXPECT_EQ(doc.ToText(), "");
}

TEST(XmlWrite, SpecialCharactersAreEscapedInTheText) {
    XmlDocument doc;
    XmlNode a = doc.AppendElement("A");
    a.SetAttribute("v", "a&b<c>\"");
    a.SetText("x<y&z");
    std::string text = doc.ToText();
    EXPECT_NE(text.find("&amp;"), std::string::npos) << text;
    EXPECT_NE(text.find("&lt;"), std::string::npos) << text;
    EXPECT_NE(text.find("&quot;"), std::string::npos) << text;
    EXPECT_EQ(text.find("a&b"), std::string::npos) << text;
    EXPECT_EQ(text.find("x<y"), std::string::npos) << text;
}

// Values that must come back exactly after ToText and LoadText.
const std::vector<std::string>& TrickyValues() {
    static const std::vector<std::string> values = {
        "",
        "plain",
        "& < > \" '",
        "&amp; is already escaped",
        "]]> and <![CDATA[",
        "tab\there",
        "line one\nline two",
        "crlf\r\nend",
        "lone\rcr",
        "  leading and trailing blanks  ",
        "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB9",
        "C:\\Projects\\Demo\\demo.bxa",
    };
    return values;
}

TEST(XmlRoundTrip, AttributeValuesComeBackExactly) {
    XmlDocument doc;
    XmlNode root = doc.AppendElement("Values");
    for (const std::string& value : TrickyValues())
        root.AppendElement("V").SetAttribute("v", value);
    XmlDocument again;
    ASSERT_TRUE(again.LoadText(doc.ToText())) << again.ErrorText();
    std::vector<XmlNode> nodes = again.SelectNodes("Values/V");
    EXPECT_EQ(AttributeValues(nodes, "v"), TrickyValues());
}

TEST(XmlRoundTrip, TextComesBackExactlyExceptForCarriageReturns) {
    XmlDocument doc;
    XmlNode root = doc.AppendElement("Values");
    for (const std::string& value : TrickyValues())
        root.AppendElement("V").SetText(value);
    XmlDocument again;
    ASSERT_TRUE(again.LoadText(doc.ToText())) << again.ErrorText();
    std::vector<XmlNode> nodes = again.SelectNodes("Values/V");
    ASSERT_EQ(nodes.size(), TrickyValues().size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const std::string& value = TrickyValues()[i];
        // Element text follows XML's line-end rule: CR LF and a lone CR are read as LF.
        std::string expected;
        for (std::size_t c = 0; c < value.size(); ++c) {
            if (value[c] == '\r') {
                expected += '\n';
                if (c + 1 < value.size() && value[c + 1] == '\n')
                    ++c;
            } else {
                expected += value[c];
            }
        }
        // Blank-only text between elements is dropped on reading, like indentation.
        if (value.find_first_not_of(" \t\r\n") == std::string::npos)
            expected.clear();
        EXPECT_EQ(nodes[i].Text(), expected) << "value #" << i;
    }
}

TEST(XmlRoundTrip, AttributeWithNewlineSurvivesAFileSaveAndLoad) {
    bx::test::TempFolder folder;
    XmlDocument doc;
    doc.AppendElement("A").SetAttribute("Notes", "first line\nsecond line\r\n\tthird");
    ASSERT_TRUE(doc.SaveFile(folder.Sub("notes.xml")));
    XmlDocument again;
    ASSERT_TRUE(again.LoadFile(folder.Sub("notes.xml"))) << again.ErrorText();
    EXPECT_EQ(again.DocumentElement().AttributeOr("Notes", ""),
              "first line\nsecond line\r\n\tthird");
}

TEST(XmlRoundTrip, RawNewlineInAHandWrittenAttributeReadsAsABlank) {
    // Hand-edited files: XML reads a raw tab or line end inside an attribute as a blank.
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A v=\"a\nb\tc\"/>"));
    EXPECT_EQ(doc.DocumentElement().AttributeOr("v", ""), "a b c");
}

// --- Saving -----------------------------------------------------------------------------------

TEST(XmlSave, SaveAndLoadGiveTheSameTree) {
    bx::test::TempFolder folder;
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    std::string path = folder.Sub("demo.bxa");
    ASSERT_TRUE(doc.SaveFile(path));
    EXPECT_EQ(folder.ReadFile("demo.bxa"), doc.ToText());
    EXPECT_EQ(folder.ReadFile("demo.bxa"), kAppliance);

    XmlDocument again;
    ASSERT_TRUE(again.LoadFile(path)) << again.ErrorText();
    EXPECT_EQ(again.ToText(), doc.ToText());
    EXPECT_EQ(AttributeValues(again.SelectNodes("Appliance/Code/Build/Step"), "Run"),
              (std::vector<std::string>{"make", "ld65", "copy"}));
}

TEST(XmlSave, ExistingFileIsReplacedWholeAndNoTemporaryFileRemains) {
    bx::test::TempFolder folder;
    // The old file is longer than the new text: nothing of its tail may survive.
    std::string path = folder.WriteFile("demo.bxa", std::string(4096, 'x'));
    XmlDocument doc;
    doc.AppendElement("Short");
    ASSERT_TRUE(doc.SaveFile(path));
    EXPECT_EQ(folder.ReadFile("demo.bxa"), "<Short/>");
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), std::vector<std::string>{});
}

TEST(XmlSave, FolderThatDoesNotExistFailsAndLeavesNothing) {
    bx::test::TempFolder folder;
    XmlDocument doc;
    doc.AppendElement("A");
    EXPECT_FALSE(doc.SaveFile(folder.Sub("missing\\demo.bxa")));
    EXPECT_EQ(ListFolder(folder.Path()), std::vector<std::string>{});
}

TEST(XmlSave, TargetThatCannotBeReplacedFailsAndLeavesNoTemporaryFile) {
    bx::test::TempFolder folder;
    // A folder in the file's place: the temporary file is written but can't be renamed over it.
    ASSERT_TRUE(CreateFolder(folder.Sub("demo.bxa")));
    XmlDocument doc;
    doc.AppendElement("A");
    EXPECT_FALSE(doc.SaveFile(folder.Sub("demo.bxa")));
    EXPECT_TRUE(FolderExists(folder.Sub("demo.bxa")));
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), std::vector<std::string>{});
}

TEST(XmlSave, ReadOnlyFolderFailsAndLeavesTheOldFileUntouched) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "folder permissions don't bind the superuser; the write-fault case "
                        "below covers the same guarantee";
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("demo.bxa", "<Old/>");
    std::filesystem::permissions(folder.Native(), std::filesystem::perms::owner_read |
                                                      std::filesystem::perms::owner_exec);
    XmlDocument doc;
    doc.AppendElement("New");
    EXPECT_FALSE(doc.SaveFile(path));
    std::filesystem::permissions(folder.Native(), std::filesystem::perms::owner_all);
    EXPECT_EQ(folder.ReadFile("demo.bxa"), "<Old/>");
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), std::vector<std::string>{});
}

// Lowers the process's file-size limit so that any write past it fails (as a full disk
// would), and restores it at the end of the scope.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        previousSignal_ = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &previous_);
        rlimit limit = previous_;
        limit.rlim_cur = bytes;
        ok_ = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &previous_);
        std::signal(SIGXFSZ, previousSignal_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    bool Ok() const { return ok_; }

private:
    rlimit previous_{};
    void (*previousSignal_)(int) = SIG_DFL;
    bool ok_ = false;
};

TEST(XmlSave, WriteFaultHalfWayLeavesTheOldFileUntouched) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("demo.bxa", "<Old/>");
    XmlDocument doc;
    doc.AppendElement("New").SetText(std::string(64 * 1024, 'n'));
    bool saved = true;
    {
        FileSizeLimit limit(1024);
        ASSERT_TRUE(limit.Ok());
        saved = doc.SaveFile(path);
    }
    EXPECT_FALSE(saved);
    EXPECT_EQ(folder.ReadFile("demo.bxa"), "<Old/>");
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), std::vector<std::string>{});
    // With the fault gone the same save succeeds.
    EXPECT_TRUE(doc.SaveFile(path));
    EXPECT_EQ(folder.ReadFile("demo.bxa"), doc.ToText());
}

} // namespace
} // namespace bx::platform
