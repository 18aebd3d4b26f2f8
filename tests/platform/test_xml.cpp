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

using Strings = std::vector<std::string>;

constexpr const char* kAppliance = "<Appliance Name=\"Demo\" Body=\"KTR310\">"
                                   "<Code>"
                                   "<Build><Step Run=\"make\"/><Step Run=\"ld65\"/></Build>"
                                   "<Build><Step Run=\"copy\"/></Build>"
                                   "</Code>"
                                   "<Views><View Id=\"1\">first</View></Views>"
                                   "</Appliance>";

Strings AttributeValues(const std::vector<XmlNode>& nodes, const std::string& name) {
    Strings values;
    for (const XmlNode& node : nodes)
        values.push_back(node.AttributeOr(name, "<none>"));
    return values;
}

// Names of the entries of a folder other than `keep`: the leftovers of a save.
Strings Leftovers(const bx::test::TempFolder& folder, const std::string& keep) {
    Strings others;
    for (const std::string& name : ListFolder(folder.Path()))
        if (name != keep)
            others.push_back(name);
    return others;
}

// --- Loading ----------------------------------------------------------------------------------

TEST(XmlLoad, TextGivesTheTreeAndClearsTheError) {
    XmlDocument doc;
    EXPECT_FALSE(doc.LoadText("<A>"));
    ASSERT_TRUE(doc.LoadText(kAppliance)) << doc.ErrorText();
    EXPECT_EQ(doc.ErrorText(), "");
    EXPECT_EQ(doc.DocumentElement().Name(), "Appliance");
    EXPECT_EQ(doc.DocumentElement().AttributeOr("Body", ""), "KTR310");
    ASSERT_EQ(doc.Root().Children().size(), 1u);
    EXPECT_EQ(doc.Root().Children()[0].Name(), "Appliance");
}

TEST(XmlLoad, FailedLoadEmptiesTheDocumentAndTellsWhereOrWhichFile) {
    bx::test::TempFolder folder;
    std::string broken = folder.WriteFile("broken.xml", "<A><B x=\"1\"></C></A>");
    struct Row {
        std::string text, file; // one of them
        Strings mentions;       // what the error text must contain
    };
    const Row rows[] = {
        {"<A><B></A>", "", {"offset 8"}}, // the closing tag "</A>" doesn't match "<B>"
        {"", "", {}},
        {"<A>", "", {}},
        {"", folder.Sub("absent.xml"), {"absent.xml"}},
        {"", broken, {"broken.xml", "offset"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text + row.file);
        XmlDocument doc;
        ASSERT_TRUE(doc.LoadText("<Old/>"));
        EXPECT_FALSE(row.file.empty() ? doc.LoadText(row.text) : doc.LoadFile(row.file));
        EXPECT_FALSE(doc.ErrorText().empty());
        for (const std::string& needle : row.mentions)
            EXPECT_NE(doc.ErrorText().find(needle), std::string::npos) << doc.ErrorText();
        EXPECT_TRUE(doc.DocumentElement().IsNull());
        EXPECT_TRUE(doc.Root().Children().empty());
        EXPECT_EQ(doc.ToText(), "");
    }
}

TEST(XmlLoad, FileInBackslashFormOrWithDeclarationAndByteOrderMarkLoads) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("sub\\demo.xml", kAppliance);
    ASSERT_NE(path.find('\\'), std::string::npos);
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadFile(path)) << doc.ErrorText();
    EXPECT_EQ(doc.SelectNodes("Appliance/Code/Build/Step").size(), 3u);
    path = folder.WriteFile(
        "bom.xml", "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<A v=\"\xC3\xA9\"/>");
    ASSERT_TRUE(doc.LoadFile(path)) << doc.ErrorText();
    EXPECT_EQ(doc.DocumentElement().AttributeOr("v", ""), "\xC3\xA9");
}

// --- Selection --------------------------------------------------------------------------------

TEST(XmlSelect, PathFromTheDocumentFindsTopLevelFirstStepsInDocumentOrder) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    struct Row {
        const char* path;
        Strings found; // Name:Run of each node found
    };
    const Row rows[] = {
        {"Appliance/Code/Build/Step", {"Step:make", "Step:ld65", "Step:copy"}},
        {"Appliance/*", {"Code:", "Views:"}},
        {"/Appliance//Code/Build/", {"Build:", "Build:"}}, // extra slashes are ignored
        {"Appliance/Nothing/Step", {}},
        {"Code", {}}, // the first step is a top-level element, not any element
        {"", {}},
        // Paths that look like XPath find nothing and never throw.
        {"Appliance[", {}},
        {"Appliance/@Name", {}},
        {"Appliance/Code[1]", {}},
        {"]]/((", {}},
        {"Appliance/../Appliance", {}},
        {"//", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_NO_THROW({
            Strings found;
            for (const XmlNode& node : doc.SelectNodes(row.path))
                found.push_back(node.Name() + ":" + node.AttributeOr("Run", ""));
            EXPECT_EQ(found, row.found);
            XmlNode first = doc.SelectSingleNode(row.path);
            EXPECT_EQ(first.IsNull() ? "null" : first.Name() + ":" + first.AttributeOr("Run", ""),
                      row.found.empty() ? "null" : row.found.front());
        });
    }
}

TEST(XmlSelect, RelativePathStartsBelowTheNode) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    XmlNode code = doc.SelectSingleNode("Appliance/Code");
    ASSERT_FALSE(code.IsNull());
    EXPECT_EQ(AttributeValues(code.SelectNodes("Build/Step"), "Run"),
              (Strings{"make", "ld65", "copy"}));
    EXPECT_TRUE(code.SelectSingleNode("Code").IsNull());
    EXPECT_EQ(code.SelectSingleNode("./Build/Step").AttributeOr("Run", ""), "make");
}

TEST(XmlSelect, ChildrenAreElementsOnlyInOrder) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A>text<B/><!-- note --><C/>more<D/></A>"));
    Strings names;
    for (const XmlNode& child : doc.DocumentElement().Children())
        names.push_back(child.Name());
    EXPECT_EQ(names, (Strings{"B", "C", "D"}));
}

// --- Null nodes -------------------------------------------------------------------------------

TEST(XmlNullNode, EveryOperationIsHarmless) {
    XmlNode null;
    EXPECT_TRUE(null.IsNull());
    EXPECT_FALSE(static_cast<bool>(null));
    EXPECT_EQ(null.Name(), "");
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
    XmlNode missing = doc.SelectSingleNode("Appliance/Memory");
    EXPECT_EQ(missing.SelectSingleNode("Bank").AttributeOr("Size", "16384"), "16384");
}

// --- Attributes and text ----------------------------------------------------------------------

TEST(XmlAttributes, PresentAbsentAndEmptyAreToldWithCaseSensitiveNames) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A Set=\"1\" Empty=\"\"/>"));
    XmlNode a = doc.DocumentElement();
    const std::pair<const char*, std::optional<std::string>> rows[] = {
        {"Set", "1"}, {"Empty", ""}, {"Absent", std::nullopt}, {"set", std::nullopt}};
    for (const auto& [name, value] : rows) {
        SCOPED_TRACE(name);
        EXPECT_EQ(a.HasAttribute(name), value.has_value());
        EXPECT_EQ(a.Attribute(name), value);
        EXPECT_EQ(a.AttributeOr(name, "fallback"), value.value_or("fallback"));
    }
}

TEST(XmlAttributes, SetReplacesAnExistingValueWithoutDuplicatingAndRefusesAnEmptyName) {
    XmlDocument doc;
    XmlNode a = doc.AppendElement("A");
    a.SetAttribute("x", "1");
    a.SetAttribute("y", "2");
    a.SetAttribute("x", "3");
    a.SetAttribute("", "1");
    EXPECT_EQ(doc.ToText(), "<A x=\"3\" y=\"2\"/>");
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
    EXPECT_EQ(doc.SelectNodes("Appliance/Code/Build/Step").size(), 2u);
}

TEST(XmlWrite, LoadedWhiteSpaceBetweenElementsIsNotWrittenBack) {
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText("<A>\n  <B x=\"1\"/>\n  <C/>\n</A>\n"));
    EXPECT_EQ(doc.ToText(), "<A><B x=\"1\"/><C/></A>");
}

TEST(XmlWrite, EmptyDocumentWritesNothingAndRefusesAnEmptyElementName) {
    XmlDocument doc;
    EXPECT_EQ(doc.ToText(), "");
    EXPECT_TRUE(doc.DocumentElement().IsNull());
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

TEST(XmlRoundTrip, AttributesComeBackExactlyAndTextWithXmlLineEnds) {
    // Element text follows XML's line-end rule: CR LF and a lone CR read back as LF.
    const std::pair<std::string, std::optional<std::string>> rows[] = {
        {"", {}},
        {"plain", {}},
        {"& < > \" '", {}},
        {"&amp; is already escaped", {}},
        {"]]> and <![CDATA[", {}},
        {"tab\there", {}},
        {"line one\nline two", {}},
        {"crlf\r\nend", "crlf\nend"},
        {"lone\rcr", "lone\ncr"},
        {"  leading and trailing blanks  ", {}},
        {"\xC3\xA9t\xC3\xA9 \xE2\x82\xAC \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xB9", {}},
        {"C:\\Projects\\Demo\\demo.bxa", {}},
    };
    XmlDocument doc;
    XmlNode root = doc.AppendElement("Values");
    for (const auto& [value, text] : rows) {
        XmlNode v = root.AppendElement("V");
        v.SetAttribute("v", value);
        v.SetText(value);
    }
    XmlDocument again;
    ASSERT_TRUE(again.LoadText(doc.ToText())) << again.ErrorText();
    std::vector<XmlNode> nodes = again.SelectNodes("Values/V");
    ASSERT_EQ(nodes.size(), std::size(rows));
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        SCOPED_TRACE("value #" + std::to_string(i));
        EXPECT_EQ(nodes[i].AttributeOr("v", "<none>"), rows[i].first);
        EXPECT_EQ(nodes[i].Text(), rows[i].second.value_or(rows[i].first));
    }
}

TEST(XmlRoundTrip, AttributeWithNewlineSurvivesAFileSaveButARawOneReadsAsABlank) {
    bx::test::TempFolder folder;
    XmlDocument doc;
    doc.AppendElement("A").SetAttribute("Notes", "first line\nsecond line\r\n\tthird");
    ASSERT_TRUE(doc.SaveFile(folder.Sub("notes.xml")));
    XmlDocument again;
    ASSERT_TRUE(again.LoadFile(folder.Sub("notes.xml"))) << again.ErrorText();
    EXPECT_EQ(again.DocumentElement().AttributeOr("Notes", ""),
              "first line\nsecond line\r\n\tthird");
    // Hand-edited files: XML reads a raw tab or line end inside an attribute as a blank.
    ASSERT_TRUE(again.LoadText("<A v=\"a\nb\tc\"/>"));
    EXPECT_EQ(again.DocumentElement().AttributeOr("v", ""), "a b c");
}

// --- Saving -----------------------------------------------------------------------------------

TEST(XmlSave, SaveReplacesTheWholeFileLeavesNoTemporaryFileAndLoadsBackTheSameTree) {
    bx::test::TempFolder folder;
    // The old file is longer than the new text: nothing of its tail may survive.
    std::string path = folder.WriteFile("demo.bxa", std::string(4096, 'x'));
    XmlDocument doc;
    ASSERT_TRUE(doc.LoadText(kAppliance));
    ASSERT_TRUE(doc.SaveFile(path));
    EXPECT_EQ(folder.ReadFile("demo.bxa"), kAppliance);
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), Strings{});
    XmlDocument again;
    ASSERT_TRUE(again.LoadFile(path)) << again.ErrorText();
    EXPECT_EQ(again.ToText(), kAppliance);
}

TEST(XmlSave, MissingFolderOrTargetThatCannotBeReplacedFailsAndLeavesNoTemporaryFile) {
    bx::test::TempFolder folder;
    // A folder in the file's place: the temporary file is written but can't be renamed over it.
    ASSERT_TRUE(CreateFolder(folder.Sub("demo.bxa")));
    XmlDocument doc;
    doc.AppendElement("A");
    EXPECT_FALSE(doc.SaveFile(folder.Sub("missing\\demo.bxa")));
    EXPECT_FALSE(doc.SaveFile(folder.Sub("demo.bxa")));
    EXPECT_TRUE(FolderExists(folder.Sub("demo.bxa")));
    EXPECT_EQ(ListFolder(folder.Path()), Strings{"demo.bxa"});
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
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), Strings{});
}

TEST(XmlSave, WriteFaultHalfWayLeavesTheOldFileUntouched) {
    bx::test::TempFolder folder;
    std::string path = folder.WriteFile("demo.bxa", "<Old/>");
    XmlDocument doc;
    doc.AppendElement("New").SetText(std::string(64 * 1024, 'n'));
    // A file-size limit below the content makes the write fail as a full disk would.
    rlimit previous{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previous), 0);
    auto previousSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limited = previous;
    limited.rlim_cur = 1024;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    bool saved = doc.SaveFile(path);
    ::setrlimit(RLIMIT_FSIZE, &previous);
    std::signal(SIGXFSZ, previousSignal);
    EXPECT_FALSE(saved);
    EXPECT_EQ(folder.ReadFile("demo.bxa"), "<Old/>");
    EXPECT_EQ(Leftovers(folder, "demo.bxa"), Strings{});
    // With the fault gone the same save succeeds.
    EXPECT_TRUE(doc.SaveFile(path));
    EXPECT_EQ(folder.ReadFile("demo.bxa"), doc.ToText());
}

} // namespace
} // namespace bx::platform
