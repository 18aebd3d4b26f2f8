#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "platform/Xml.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <map>
#include <new>
#include <span>
#include <sstream>

namespace bx {
namespace {

// ---- Sample files ------------------------------------------------------------------------------
//
// The files are written here the way the writer writes them (no prolog, no white space, the
// attributes in the writer's order), so a file that went through load and save can be compared
// with its source as text.

constexpr const char* kCaution = "The version of the global setting file is not supported";

// A file with every element and attribute. With extras, the bodies carry SourceFile and
// KeywordFile, which the reader keeps and the writer drops.
std::string FullFile(bool extras) {
    const std::string first = extras ? R"( SourceFile="main.asm" KeywordFile="kw_asm.dat")" : "";
    const std::string second = extras ? R"( SourceFile="start.asm" KeywordFile="kw640.dat")" : "";
    return R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
           R"(<Body Model="KTR310" TemplateDir="KTR310\" TemplateFile="ktr310.apl")" +
           first +
           R"( IceEmuNo="7" HasWDT="Yes" BootVect="$FFFC" ProgramStart="$8000")"
           R"( OptionsDef="$03" BankMode="$4000-$7FFF" BankCount="4">)"
           R"(<OPClock Rate="4.194304" RateParam="4194304" Dual="False"/>)"
           R"(<OPClock Rate="32.768k" RateParam="32768" Dual="True"/>)"
           R"(<Options Name="WDT" DisableName="NoWatchdog" EnableName="Watchdog" Map="1"/>)"
           R"(<Options Name="UseRC" DisableName="Crystal" EnableName="RC" Map="2"/>)"
           R"(</Body>)"
           R"(<Body Model="KTR640" TemplateDir="KTR640\" TemplateFile="ktr640.apl")" +
           second +
           R"( IceEmuNo="24" HasWDT="No" BootVect="$E000" ProgramStart="$4000")"
           R"( OptionsDef="$00" BankMode="$C000-$FFFF" BankCount="32"/>)"
           R"(</MCU>)"
           R"(<External><ExtEditor Command="gvim &quot;%1&quot;" InUse="True"/>)"
           R"(<ExtBuilder Command="make -C src" InUse="False"/>)"
           R"(<ExtDebugger Driver="ice0" InUse="True"/></External>)"
           R"(<RecentAppliance><RA ApplPath="C:\work\demo.apl"/><RA ApplPath="D:\x.apl"/>)"
           R"(<RA ApplPath="C:\work\demo.apl"/></RecentAppliance>)"
           R"(<Cabfile Templates_ModifiedDate="2026-11-21T10:37:51")"
           R"( PlugIns_ModifiedDate="2025-01-02T03:04:05"/></GlobalSettings>)";
}

// A file of the accepted version holding one MCU element with the given bodies.
std::string WithBodies(const std::string& bodies) {
    return R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)" + bodies +
           "</MCU></GlobalSettings>";
}

// What the writer makes of an object that holds nothing but the version.
std::string EmptyTail() {
    return R"(<External><ExtEditor Command="" InUse="False"/><ExtBuilder Command="" InUse="False"/>)"
           R"(<ExtDebugger Driver="" InUse="False"/></External><RecentAppliance/>)"
           R"(<Cabfile Templates_ModifiedDate="" PlugIns_ModifiedDate=""/>)";
}

// Every field of a body on one line, so that a test compares a whole body at once: Model,
// TemplateDir, TemplateFile, Family, SourceFile, KeywordFile, IceEmuNo, HasWDT, BootVect and
// ProgramStart (hex), OptionsDef, BankMode, BankCount; then each clock "key=Rate/Param/Dual" and
// each option "key=Name/Disable/Enable/Map".
std::string Describe(const MCUBody& b) {
    std::ostringstream out;
    out << b.Model << '|' << b.TemplateDir << '|' << b.TemplateFile << '|' << b.Family << '|'
        << b.SourceFile << '|' << b.KeywordFile << '|' << b.IceEmuNo << '|' << b.HasWDT << '|'
        << std::hex << std::uppercase << b.BootVect << '|' << b.ProgramStart << std::dec << '|'
        << b.OptionsDef << '|' << b.BankMode << '|' << b.BankCount;
    for (std::size_t i = 0; i < b.Clockrates.Count(); ++i) {
        const ClockInfo& c = *b.Clockrates.At(i).item;
        out << " clock " << b.Clockrates.At(i).key << '=' << c.Clockrate << '/' << c.Rateparam
            << '/' << c.Dual;
    }
    for (std::size_t i = 0; i < b.Options.Count(); ++i) {
        const OptionsInfo& o = *b.Options.At(i).item;
        out << " option " << b.Options.At(i).key << '=' << o.Name << '/' << o.DisableName << '/'
            << o.EnableName << '/' << o.Map;
    }
    return out.str();
}

class GlobalSettingsTest : public ::testing::Test {
protected:
    test::TempFolder programFolder;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};

    // Loads a document given as text through a file, as the studio does.
    bool LoadText(const std::string& text) {
        return settings.Load(programFolder.WriteFile("in.gss", text));
    }
    // The one body of a single-body document.
    const MCUBody& OnlyBody() {
        EXPECT_TRUE(settings.Bodies);
        EXPECT_EQ(settings.Bodies->Count(), 1u);
        return *settings.Bodies->ItemIndex(1);
    }
};

// ---- MCUBodies ---------------------------------------------------------------------------------

std::shared_ptr<MCUBody> MakeBody(const std::string& model, int32_t bootVect = 0) {
    auto body = std::make_shared<MCUBody>();
    body->Model = model;
    body->BootVect = bootVect;
    return body;
}

TEST(MCUBodies, AddItemKeysTheBodyByModelAndRefusesATakenModelOrNull) {
    MCUBodies bodies;
    auto body = MakeBody("KTR310", 1);
    EXPECT_EQ(bodies.AddItem(body), body);
    EXPECT_EQ(bodies.Item("KTR310"), body);
    EXPECT_EQ(bodies.AddItem(MakeBody("KTR310", 2)), nullptr);
    EXPECT_EQ(bodies.AddItem(nullptr), nullptr);
    ASSERT_EQ(bodies.Count(), 1u);
    EXPECT_EQ(bodies.Item("KTR310")->BootVect, 1);
}

TEST(MCUBodies, ItemIndexIsOneBasedAndUnknownKeysGiveNullAndRemoveNothing) {
    MCUBodies bodies;
    bodies.AddItem(MakeBody("A"));
    bodies.AddItem(MakeBody("B"));
    EXPECT_EQ(bodies.ItemIndex(1)->Model, "A");
    EXPECT_EQ(bodies.ItemIndex(2)->Model, "B");
    for (int index : {0, 3, -1})
        EXPECT_EQ(bodies.ItemIndex(index), nullptr) << index;
    EXPECT_EQ(bodies.Item("C"), nullptr);
    bodies.Remove("C");
    EXPECT_EQ(bodies.Count(), 2u);
    bodies.Remove("A");
    ASSERT_EQ(bodies.Count(), 1u);
    EXPECT_EQ(bodies.ItemIndex(1)->Model, "B");
}

// ---- DateStamp ---------------------------------------------------------------------------------

TEST(DateStamp, OnlyTheOneFixedFormOfARealCalendarTimeIsRead) {
    for (DateStamp stamp : {DateStamp{2026, 11, 21, 10, 37, 51}, DateStamp{2024, 2, 29, 23, 59, 59},
                            DateStamp{2000, 2, 29, 0, 0, 0}})
        EXPECT_EQ(DateStamp::FromIsoText(stamp.ToIsoText()), stamp) << stamp.ToIsoText();
    EXPECT_EQ((DateStamp{2026, 11, 21, 10, 37, 51}).ToIsoText(), "2026-11-21T10:37:51");
    const char* otherForms[] = {"",
                                "2026-11-21 10:37:51",
                                "21.11.2026 10:37:51",
                                "11/21/2026 10:37:51 AM",
                                " 2026-11-21T10:37:51",
                                "2026-11-21T10:37:51 ",
                                "2026-11-21T10:37:51Z",
                                "2026-11-21T10:37",
                                "2026-11-21",
                                "+026-11-21T10:37:51",
                                "2026-1-21T10:37:51"};
    const char* outsideTheCalendar[] = {
        "0000-01-01T00:00:00", "2026-00-01T00:00:00", "2026-13-01T00:00:00",
        "2026-04-31T00:00:00", "2025-02-29T00:00:00", "1900-02-29T00:00:00",
        "2026-11-21T24:00:00", "2026-11-21T10:60:00", "2026-11-21T10:37:60"};
    for (const auto& texts :
         {std::span<const char*>(otherForms), std::span<const char*>(outsideTheCalendar)})
        for (const char* text : texts)
            EXPECT_FALSE(DateStamp::FromIsoText(text).has_value()) << '"' << text << '"';
}

TEST(DateStamp, ZeroIsUnsetWithEmptyTextAndYearsArePaddedToFourDigits) {
    EXPECT_FALSE(DateStamp{}.IsSet());
    EXPECT_EQ(DateStamp{}.ToIsoText(), "");
    EXPECT_TRUE((DateStamp{33, 1, 2, 3, 4, 5}).IsSet());
    EXPECT_EQ((DateStamp{33, 1, 2, 3, 4, 5}).ToIsoText(), "0033-01-02T03:04:05");
}

TEST(DateStamp, OrderIsTimeOrderAndZeroComesFirst) {
    DateStamp zero;
    DateStamp early{1, 1, 1, 0, 0, 0};
    DateStamp stamp{2026, 11, 21, 10, 37, 51};
    DateStamp oneSecondLater{2026, 11, 21, 10, 37, 52};
    DateStamp nextDay{2026, 11, 22, 0, 0, 0};
    EXPECT_LT(zero, early);
    EXPECT_LT(stamp, oneSecondLater);
    EXPECT_LT(oneSecondLater, nextDay);
    EXPECT_FALSE(stamp < stamp);
}

TEST(DateStamp, FromLocalKeepsTheFieldsAndCutsALeapSecond) {
    platform::LocalDateTime local{2026, 12, 31, 23, 59, 60};
    EXPECT_EQ(DateStamp::FromLocal(local), (DateStamp{2026, 12, 31, 23, 59, 59}));
    platform::LocalDateTime plain{2026, 6, 1, 8, 9, 10};
    EXPECT_EQ(DateStamp::FromLocal(plain).ToIsoText(), "2026-06-01T08:09:10");
}

// ---- Reading ---------------------------------------------------------------------------------

TEST_F(GlobalSettingsTest, LoadReadsEveryFieldInFileOrder) {
    ASSERT_TRUE(LoadText(FullFile(true)));
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(settings.Version, "v 00.00.001");
    ASSERT_TRUE(settings.Bodies);
    ASSERT_EQ(settings.Bodies->Count(), 2u);
    EXPECT_EQ(Describe(*settings.Bodies->ItemIndex(1)),
              "KTR310|KTR310\\|ktr310.apl|KTR|main.asm|kw_asm.dat|7|Yes|FFFC|8000|3|0|4"
              " clock 4.194304=4.194304/4194304/0 clock 32.768k=32.768k/32768/1"
              " option WDT=WDT/NoWatchdog/Watchdog/1 option UseRC=UseRC/Crystal/RC/2");
    EXPECT_EQ(Describe(*settings.Bodies->ItemIndex(2)),
              "KTR640|KTR640\\|ktr640.apl|KTR|start.asm|kw640.dat|24|No|E000|4000|0|1|32");
    EXPECT_EQ(settings.Families, std::vector<std::string>{"KTR"});
    ASSERT_EQ(settings.BodiesByFamily.Count(), 1u);
    EXPECT_EQ(settings.BodiesByFamily.Item("KTR"), settings.Bodies);
    EXPECT_EQ(settings.ExtEditorCommand, "gvim \"%1\"");
    EXPECT_TRUE(settings.ExtEditorInUse);
    EXPECT_EQ(settings.ExtBuilderCommand, "make -C src");
    EXPECT_FALSE(settings.ExtBuilderInUse);
    EXPECT_EQ(settings.ExtDebuggerDriver, "ice0");
    EXPECT_TRUE(settings.ExtDebuggerInUse);
    EXPECT_EQ(settings.RecentAppliances,
              (std::vector<std::string>{"C:\\work\\demo.apl", "D:\\x.apl", "C:\\work\\demo.apl"}));
    EXPECT_EQ(settings.TemplatesModifiedDate, (DateStamp{2026, 11, 21, 10, 37, 51}));
    EXPECT_EQ(settings.PlugInsModifiedDate, (DateStamp{2025, 1, 2, 3, 4, 5}));
    EXPECT_FALSE(settings.IsDirty());
}

TEST_F(GlobalSettingsTest, MissingAttributesGiveTheirDefaultsAndOtherElementsAreIgnored) {
    // An empty TemplateDir still ends in "\"; BankMode 0 is the window at $4000-$7FFF.
    const std::string defaults = "|\\||KTR|||0||FFFC|4000|0|0|14";
    ASSERT_TRUE(LoadText(WithBodies("<Body/>")));
    EXPECT_EQ(Describe(OnlyBody()), defaults);
    ASSERT_TRUE(LoadText(WithBodies(R"(<Note/><Body Model="M"><Note Rate="x"/><OPClock/><Options/>)"
                                    R"(<Options Name="O" Map="none"/></Body>)")));
    EXPECT_EQ(Describe(OnlyBody()), "M" + defaults + " clock =//0 option =///0 option O=O///0");
    EXPECT_TRUE(prompter.Boxes().empty());
}

TEST_F(GlobalSettingsTest, BodyAttributeTextsAreReadInTheirOwnNumberForms) {
    auto field = [](const MCUBody& b, const std::string& attr) -> std::string {
        if (attr == "TemplateDir")
            return b.TemplateDir;
        const std::map<std::string, int64_t> numbers = {
            {"IceEmuNo", b.IceEmuNo},         {"BootVect", b.BootVect},
            {"ProgramStart", b.ProgramStart}, {"OptionsDef", b.OptionsDef},
            {"BankMode", b.BankMode},         {"BankCount", b.BankCount}};
        return std::to_string(numbers.at(attr));
    };
    struct Row {
        const char* attr;
        const char* text;
        std::string value;
    };
    // TemplateDir always ends in a backslash; only the exact text of the high window is bank mode
    // 1; addresses and counts take every number form (an address's bank part is dropped, counts
    // round half to even); a present text that is no number reads as 0, not as the default;
    // sixteen-bit fields skip values that don't fit; IceEmuNo is decimal only.
    const Row rows[] = {Row{"TemplateDir", "abc", "abc\\"},
                        Row{"TemplateDir", "abc\\", "abc\\"},
                        Row{"TemplateDir", "", "\\"},
                        Row{"BankMode", "$C000-$FFFF", "1"},
                        Row{"BankMode", "$c000-$ffff", "0"},
                        Row{"BankMode", "$C000 - $FFFF", "0"},
                        Row{"BankMode", " $C000-$FFFF", "0"},
                        Row{"BankMode", "$C000-$FFFF ", "0"},
                        Row{"BankMode", "$4000-$7FFF", "0"},
                        Row{"BankMode", "1", "0"},
                        Row{"BankMode", "", "0"},
                        Row{"BootVect", "$01:FFFA", "65530"},
                        Row{"BootVect", "%1111", "15"},
                        Row{"BootVect", "$FFFFFFFF", "-1"},
                        Row{"ProgramStart", "32768", "32768"},
                        Row{"ProgramStart", "$c000", "49152"},
                        Row{"ProgramStart", "-1", "-1"},
                        Row{"BankCount", "&H10", "16"},
                        Row{"BankCount", "2.5", "2"},
                        Row{"BankCount", "3.5", "4"},
                        Row{"BootVect", "abc", "0"},
                        Row{"ProgramStart", "", "0"},
                        Row{"BankCount", "many", "0"},
                        Row{"OptionsDef", "x", "0"},
                        Row{"OptionsDef", "$FFFF", "0"},
                        Row{"OptionsDef", "-1", "-1"},
                        Row{"OptionsDef", "$7FFF", "32767"},
                        Row{"IceEmuNo", "40000", "0"},
                        Row{"IceEmuNo", "-7", "-7"},
                        Row{"IceEmuNo", "32767", "32767"},
                        Row{"IceEmuNo", " 13 ", "13"},
                        Row{"IceEmuNo", "12.5", "12"},
                        Row{"IceEmuNo", "$0D", "0"},
                        Row{"IceEmuNo", "%1101", "0"},
                        Row{"IceEmuNo", "thirteen", "0"},
                        Row{"IceEmuNo", "", "0"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.attr) + "=\"" + row.text + '"');
        platform::XmlDocument doc;
        platform::XmlNode body = doc.AppendElement("Body");
        body.SetAttribute("Model", "M");
        body.SetAttribute(row.attr, row.text);
        ASSERT_TRUE(settings.LoadXml(WithBodies(doc.ToText())));
        EXPECT_EQ(field(OnlyBody(), row.attr), row.value);
    }
}

TEST_F(GlobalSettingsTest, FlagsTakeTrueFalseInAnyCaseAndNumbersAndSkipOtherTexts) {
    const std::pair<const char*, bool> rows[] = {{"True", true},   {"true", true},   {"TRUE", true},
                                                 {"False", false}, {"false", false}, {"1", true},
                                                 {"-1", true},     {"0", false},     {"0.5", true}};
    for (const auto& [text, value] : rows) {
        ASSERT_TRUE(settings.LoadXml(WithBodies(
            std::string(R"(<Body Model="M"><OPClock Rate="R" Dual=")") + text + "\"/></Body>")));
        EXPECT_EQ(OnlyBody().Clockrates.Item("R")->Dual, value) << '"' << text << '"';
    }
    settings.ExtEditorInUse = true;
    settings.ExtBuilderInUse = false;
    ASSERT_TRUE(settings.LoadXml(R"(<GlobalSettings Version="v 00.00.001"><External>)"
                                 R"(<ExtEditor InUse="yes"/><ExtBuilder InUse="$1"/>)"
                                 R"(<ExtDebugger InUse=""/></External></GlobalSettings>)"));
    EXPECT_TRUE(settings.ExtEditorInUse);
    EXPECT_FALSE(settings.ExtBuilderInUse);
    EXPECT_FALSE(settings.ExtDebuggerInUse);
}

TEST_F(GlobalSettingsTest, DuplicatesAreSkippedSilentlyAndTheFirstStays) {
    ASSERT_TRUE(LoadText(WithBodies(
        R"(<Body Model="M" TemplateFile="first.apl">)"
        R"(<OPClock Rate="4M" RateParam="first"/><OPClock Rate="4M" RateParam="second"/>)"
        R"(<Options Name="WDT" Map="1"/><Options Name="WDT" Map="2"/></Body>)"
        R"(<Body Model="M" TemplateFile="second.apl"/>)")));
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(Describe(OnlyBody()),
              "M|\\|first.apl|KTR|||0||FFFC|4000|0|0|14 clock 4M=4M/first/0 option WDT=WDT///1");
}

TEST_F(GlobalSettingsTest, TheWriterPutsTheClocksBeforeTheOptionsWhateverTheFilesOrder) {
    ASSERT_TRUE(
        LoadText(WithBodies(R"(<Body Model="M"><Options Name="A"/><OPClock Rate="R"/></Body>)")));
    EXPECT_NE(settings.ToXml().find(R"(<OPClock Rate="R" RateParam="" Dual="False"/><Options)"),
              std::string::npos);
}

// ---- Families: one MCUBodies object for the whole file ---------------------------------------

constexpr const char* kTwoFamilies =
    R"(<GlobalSettings Version="v 00.00.001">)"
    R"(<MCU Family="KTR3"><Body Model="KTR310"/><Body Model="KTR311"/></MCU>)"
    R"(<MCU Family="KTR6"><Body Model="KTR640"/></MCU></GlobalSettings>)";

TEST_F(GlobalSettingsTest, EveryFamilyMapsToTheOneListOfAllBodies) {
    ASSERT_TRUE(LoadText(kTwoFamilies));
    EXPECT_EQ(settings.Families, (std::vector<std::string>{"KTR3", "KTR6"}));
    ASSERT_EQ(settings.BodiesByFamily.Count(), 2u);
    EXPECT_EQ(settings.BodiesByFamily.Item("KTR3"), settings.Bodies);
    EXPECT_EQ(settings.BodiesByFamily.Item("KTR6"), settings.Bodies);
    EXPECT_EQ(settings.Bodies->Count(), 3u);
    // Each body still knows the family it stood in.
    EXPECT_EQ(settings.Bodies->Item("KTR311")->Family, "KTR3");
    EXPECT_EQ(settings.Bodies->Item("KTR640")->Family, "KTR6");
    // So a lookup finds a body under a family it doesn't belong to.
    ASSERT_NE(settings.FindBody("KTR3", "KTR640"), nullptr);
    EXPECT_EQ(settings.FindBody("KTR3", "KTR640")->Family, "KTR6");
}

TEST_F(GlobalSettingsTest, TheWriterWritesEveryBodyUnderEveryFamily) {
    ASSERT_TRUE(LoadText(kTwoFamilies));
    const std::string all =
        R"(<Body Model="KTR310" TemplateDir="\" TemplateFile="" IceEmuNo="0" HasWDT="")"
        R"( BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00" BankMode="$4000-$7FFF")"
        R"( BankCount="14"/>)"
        R"(<Body Model="KTR311" TemplateDir="\" TemplateFile="" IceEmuNo="0" HasWDT="")"
        R"( BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00" BankMode="$4000-$7FFF")"
        R"( BankCount="14"/>)"
        R"(<Body Model="KTR640" TemplateDir="\" TemplateFile="" IceEmuNo="0" HasWDT="")"
        R"( BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00" BankMode="$4000-$7FFF")"
        R"( BankCount="14"/>)";
    EXPECT_EQ(settings.ToXml(), R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR3">)" +
                                    all + R"(</MCU><MCU Family="KTR6">)" + all + "</MCU>" +
                                    EmptyTail() + "</GlobalSettings>");
    // Read back, the duplicates under the second family are skipped: the model is stable.
    std::string once = settings.ToXml();
    ASSERT_TRUE(settings.LoadXml(once));
    EXPECT_EQ(settings.Bodies->Count(), 3u);
    EXPECT_EQ(settings.Bodies->Item("KTR640")->Family, "KTR3");
    EXPECT_EQ(settings.ToXml(), once);
}

TEST_F(GlobalSettingsTest, AnMcuWithoutFamilyAddsItsBodiesButNoFamily) {
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="v 00.00.001">)"
                         R"(<MCU><Body Model="Lost"/></MCU>)"
                         R"(<MCU Family="KTR"><Body Model="Kept"/></MCU></GlobalSettings>)"));
    EXPECT_EQ(settings.Families, std::vector<std::string>{"KTR"});
    EXPECT_EQ(settings.BodiesByFamily.Count(), 1u);
    ASSERT_EQ(settings.Bodies->Count(), 2u);
    EXPECT_EQ(settings.Bodies->Item("Lost")->Family, "");
    EXPECT_NE(settings.FindBody("KTR", "Lost"), nullptr);
}

TEST_F(GlobalSettingsTest, ARepeatedFamilyIsListedTwiceAndKeyedOnce) {
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="v 00.00.001">)"
                         R"(<MCU Family="KTR"><Body Model="A"/></MCU>)"
                         R"(<MCU Family="KTR"><Body Model="B"/></MCU></GlobalSettings>)"));
    EXPECT_EQ(settings.Families, (std::vector<std::string>{"KTR", "KTR"}));
    EXPECT_EQ(settings.BodiesByFamily.Count(), 1u);
    std::string written = settings.ToXml();
    // Two MCU elements, each with both bodies.
    std::size_t first = written.find(R"(<MCU Family="KTR"><Body Model="A")");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(written.find(R"(<MCU Family="KTR"><Body Model="A")", first + 1), std::string::npos);
    EXPECT_NE(written.find(R"(<Body Model="B")"), std::string::npos);
}

TEST_F(GlobalSettingsTest, FindBodyGivesNullForAnUnknownFamilyOrModel) {
    EXPECT_EQ(settings.FindBody("KTR", "KTR310"), nullptr); // nothing read yet
    ASSERT_TRUE(LoadText(FullFile(false)));
    const MCUBody* body = settings.FindBody("KTR", "KTR640");
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(body, settings.Bodies->Item("KTR640").get());
    EXPECT_EQ(settings.FindBody("XYZ", "KTR640"), nullptr);
    EXPECT_EQ(settings.FindBody("KTR", "KTR999"), nullptr);
    EXPECT_EQ(settings.FindBody("ktr", "KTR640"), nullptr); // keys are case-sensitive
}

// ---- Recent list, external tools, dates ---------------------------------------------------------

TEST_F(GlobalSettingsTest, RecentEntriesWithoutAPathAreDroppedAndTheRestKeptInOrder) {
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="v 00.00.001"><RecentAppliance>)"
                         R"(<RA ApplPath="C:\a.apl"/><RA ApplPath=""/><RA/>)"
                         R"(<RA ApplPath="C:\a.apl"/><RA ApplPath=" "/></RecentAppliance>)"
                         R"(</GlobalSettings>)"));
    EXPECT_EQ(settings.RecentAppliances, (std::vector<std::string>{"C:\\a.apl", "C:\\a.apl", " "}));
    EXPECT_NE(settings.ToXml().find(R"(<RecentAppliance><RA ApplPath="C:\a.apl"/>)"
                                    R"(<RA ApplPath="C:\a.apl"/><RA ApplPath=" "/>)"
                                    R"(</RecentAppliance>)"),
              std::string::npos);
}

TEST_F(GlobalSettingsTest, EachReadStartsANewRecentListAndNewBodyTables) {
    ASSERT_TRUE(LoadText(FullFile(false)));
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="v 00.00.001"/>)"));
    EXPECT_TRUE(settings.RecentAppliances.empty());
    ASSERT_TRUE(settings.Bodies);
    EXPECT_EQ(settings.Bodies->Count(), 0u);
    EXPECT_EQ(settings.BodiesByFamily.Count(), 0u);
    EXPECT_TRUE(settings.Families.empty());
}

TEST_F(GlobalSettingsTest, MissingExternalAndCabfileLeaveThoseFieldsAsTheyWere) {
    ASSERT_TRUE(LoadText(FullFile(false)));
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="v 00.00.001"><External>)"
                         R"(<ExtEditor Command="ed"/></External></GlobalSettings>)"));
    EXPECT_EQ(settings.ExtEditorCommand, "ed");
    EXPECT_TRUE(settings.ExtEditorInUse); // the attribute is missing: kept from the first file
    EXPECT_EQ(settings.ExtBuilderCommand, "make -C src");
    EXPECT_EQ(settings.ExtDebuggerDriver, "ice0");
    EXPECT_TRUE(settings.ExtDebuggerInUse);
    EXPECT_EQ(settings.TemplatesModifiedDate.ToIsoText(), "2026-11-21T10:37:51");
}

TEST_F(GlobalSettingsTest, AnEmptyOrUnreadableDateLeavesTheStampAsItWas) {
    settings.TemplatesModifiedDate = DateStamp{2020, 5, 6, 7, 8, 9};
    settings.PlugInsModifiedDate = DateStamp{2021, 1, 1, 0, 0, 0};
    ASSERT_TRUE(
        settings.LoadXml(R"(<GlobalSettings Version="v 00.00.001">)"
                         R"(<Cabfile Templates_ModifiedDate="")"
                         R"( PlugIns_ModifiedDate="21.11.2026 10:37:51"/></GlobalSettings>)"));
    EXPECT_EQ(settings.TemplatesModifiedDate, (DateStamp{2020, 5, 6, 7, 8, 9}));
    EXPECT_EQ(settings.PlugInsModifiedDate, (DateStamp{2021, 1, 1, 0, 0, 0}));
    ASSERT_TRUE(settings.LoadXml(R"(<GlobalSettings Version="v 00.00.001">)"
                                 R"(<Cabfile PlugIns_ModifiedDate="2026-11-21T10:37:51"/>)"
                                 R"(</GlobalSettings>)"));
    EXPECT_EQ(settings.TemplatesModifiedDate, (DateStamp{2020, 5, 6, 7, 8, 9}));
    EXPECT_EQ(settings.PlugInsModifiedDate.ToIsoText(), "2026-11-21T10:37:51");
}

// ---- Version ------------------------------------------------------------------------------------

TEST_F(GlobalSettingsTest, AnyOtherVersionTextShowsTheCautionBoxAndReadsNothingElse) {
    std::string newer = FullFile(false);
    newer.replace(newer.find("v 00.00.001"), 11, "v 00.00.002");
    for (const std::string& file : {newer, std::string(R"(<GlobalSettings Version="00.00.001"/>)"),
                                    std::string(R"(<GlobalSettings Version="V 00.00.001"/>)"),
                                    std::string(R"(<GlobalSettings Version="v 00.00.001 "/>)"),
                                    std::string(R"(<GlobalSettings Version="v  00.00.001"/>)"),
                                    std::string(R"(<GlobalSettings/>)"),
                                    std::string(R"(<Settings Version="v 00.00.001"/>)")}) {
        SCOPED_TRACE(file.substr(0, 50));
        test::ScriptedPrompter boxes;
        GlobalSettings fresh(boxes);
        ASSERT_TRUE(fresh.Load(programFolder.WriteFile("v.gss", file))); // the reader succeeds
        ASSERT_EQ(boxes.Boxes().size(), 1u);
        EXPECT_EQ(boxes.Boxes()[0].title, "Caution");
        EXPECT_EQ(boxes.Boxes()[0].text, kCaution);
        EXPECT_EQ(boxes.Boxes()[0].buttons, Buttons::Ok);
        EXPECT_EQ(boxes.Boxes()[0].icon, Icon::None);
        EXPECT_EQ(fresh.Bodies, nullptr);
        EXPECT_EQ(fresh.BodiesByFamily.Count(), 0u);
        EXPECT_TRUE(fresh.Families.empty());
        EXPECT_EQ(fresh.ExtEditorCommand, "");
        EXPECT_FALSE(fresh.ExtDebuggerInUse);
        EXPECT_TRUE(fresh.RecentAppliances.empty());
        EXPECT_FALSE(fresh.TemplatesModifiedDate.IsSet());
        EXPECT_FALSE(fresh.IsDirty());
        EXPECT_EQ(fresh.FindBody("KTR", "KTR310"), nullptr);
        if (file == newer) {
            EXPECT_EQ(fresh.Version, "v 00.00.002");
        }
    }
}

TEST_F(GlobalSettingsTest, NewestVersionComparesWithoutTheLeadingV) {
    ASSERT_TRUE(LoadText(FullFile(false)));
    EXPECT_EQ(settings.NewestVersion(), "False");
    settings.Version = "00.00.001";
    EXPECT_EQ(settings.NewestVersion(), "True");
    settings.Version = "";
    EXPECT_EQ(settings.NewestVersion(), "False");
}

// ---- Load, LoadXml and the dirty flag -----------------------------------------------------------

TEST_F(GlobalSettingsTest, TextThatDoesNotParseGivesFalseWithNoBoxAndChangesNothing) {
    ASSERT_TRUE(LoadText(FullFile(false)));
    settings.Touch();
    EXPECT_FALSE(LoadText(R"(<GlobalSettings Version="v 00.00.001"><MCU></GlobalSettings>)"));
    EXPECT_FALSE(settings.LoadErrorText().empty());
    EXPECT_TRUE(settings.IsDirty());
    ASSERT_TRUE(LoadText(FullFile(false)));
    EXPECT_FALSE(settings.LoadXml("<GlobalSettings"));
    EXPECT_FALSE(settings.LoadErrorText().empty());
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(settings.Bodies->Count(), 2u);
    EXPECT_EQ(settings.ExtBuilderCommand, "make -C src");
}

TEST_F(GlobalSettingsTest, AMissingFileGivesFalseWithNoBox) {
    EXPECT_FALSE(settings.Load(programFolder.Sub("none.gss")));
    EXPECT_FALSE(settings.Load(programFolder.Path())); // a folder is no file
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(settings.Bodies, nullptr);
}

// A host whose first message box fails, as a window system might when it can't show one.
class FailingFirstBox : public test::ScriptedPrompter {
public:
    explicit FailingFirstBox(int kind) : kind_(kind) {}
    int ask(const std::string& title, const std::string& text, Buttons buttons,
            Icon icon) override {
        int answer = ScriptedPrompter::ask(title, text, buttons, icon);
        if (Boxes().size() == 1) {
            if (kind_ == 0)
                throw BxError(13, "Host", "Type mismatch");
            throw std::bad_alloc();
        }
        return answer;
    }

private:
    int kind_;
};

TEST_F(GlobalSettingsTest, AnErrorEscapingTheReaderShowsTheErrorBoxAndGivesFalse) {
    const std::string path = programFolder.WriteFile("old.gss", R"(<GlobalSettings Version="1"/>)");
    FailingFirstBox host(0);
    GlobalSettings failing(host);
    failing.Touch();
    EXPECT_FALSE(failing.Load(path));
    ASSERT_EQ(host.Boxes().size(), 2u);
    EXPECT_EQ(host.Boxes()[1].title, "Error");
    EXPECT_EQ(host.Boxes()[1].text, "Failed to load the global template file. 13/Type mismatch");
    EXPECT_EQ(host.Boxes()[1].buttons, Buttons::Ok);
    EXPECT_EQ(host.Boxes()[1].icon, Icon::Exclamation);
    EXPECT_TRUE(failing.IsDirty()); // only a successful load clears it

    FailingFirstBox outOfMemory(1);
    GlobalSettings starved(outOfMemory);
    EXPECT_FALSE(starved.Load(path));
    ASSERT_EQ(outOfMemory.Boxes().size(), 2u);
    EXPECT_EQ(outOfMemory.Boxes()[1].text,
              "Failed to load the global template file. 7/Out of memory");
}

TEST_F(GlobalSettingsTest, LoadClearsTheDirtyFlagAndTouchSetsIt) {
    EXPECT_FALSE(settings.IsDirty());
    settings.Touch();
    EXPECT_TRUE(settings.IsDirty());
    ASSERT_TRUE(LoadText(FullFile(false)));
    EXPECT_FALSE(settings.IsDirty());
    settings.Touch();
    ASSERT_TRUE(LoadText(R"(<GlobalSettings Version="other"/>)")); // a refused version too
    EXPECT_FALSE(settings.IsDirty());
}

TEST_F(GlobalSettingsTest, LoadXmlReadsLikeLoadAndMarksTheObjectDirty) {
    ASSERT_TRUE(settings.LoadXml(FullFile(true)));
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(settings.Bodies->Count(), 2u);
    EXPECT_EQ(settings.Bodies->Item("KTR310")->KeywordFile, "kw_asm.dat");

    GlobalSettings refused(prompter);
    EXPECT_TRUE(refused.LoadXml(R"(<GlobalSettings Version="v 9"/>)"));
    EXPECT_TRUE(refused.IsDirty());
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].text, kCaution);
}

// ---- Writing ---------------------------------------------------------------------------------

TEST_F(GlobalSettingsTest, TheWriterUsesTheFileFormsAndTurnsZeroIntoTheDefaults) {
    settings.Version = GlobalSettings::kSupportedVersion;
    settings.Bodies = std::make_shared<MCUBodies>();
    auto zero = MakeBody("Zero");
    auto set = MakeBody("Set", 0x12);
    set->TemplateDir = "set\\";
    set->IceEmuNo = -3;
    set->HasWDT = "maybe";
    set->ProgramStart = 0x12345;
    set->OptionsDef = 300;
    set->BankMode = 1;
    set->BankCount = 0;
    set->SourceFile = "never.asm";
    set->KeywordFile = "never.dat";
    set->Clockrates.TryAdd("c", std::make_shared<ClockInfo>(ClockInfo{"c", "p", true}));
    set->Options.TryAdd("o", std::make_shared<OptionsInfo>(OptionsInfo{"o", "d", "e", -5}));
    auto odd = MakeBody("Odd", -1);
    odd->OptionsDef = -1;
    odd->BankMode = 2;
    settings.Bodies->AddItem(zero);
    settings.Bodies->AddItem(set);
    settings.Bodies->AddItem(odd);
    settings.Families = {"F"};
    settings.BodiesByFamily.TryAdd("F", settings.Bodies);
    settings.ExtEditorCommand = "a<b>&\"c\"";
    settings.ExtBuilderInUse = true;
    settings.RecentAppliances = {"C:\\x.apl"};
    settings.TemplatesModifiedDate = DateStamp{2026, 1, 2, 3, 4, 5};

    EXPECT_EQ(
        settings.ToXml(),
        R"(<GlobalSettings Version="v 00.00.001"><MCU Family="F">)"
        R"(<Body Model="Zero" TemplateDir="" TemplateFile="" IceEmuNo="0" HasWDT="")"
        R"( BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00" BankMode="$4000-$7FFF")"
        R"( BankCount="0"/>)"
        R"(<Body Model="Set" TemplateDir="set\" TemplateFile="" IceEmuNo="-3" HasWDT="maybe")"
        R"( BootVect="$0012" ProgramStart="$12345" OptionsDef="$12C" BankMode="$C000-$FFFF")"
        R"( BankCount="0"><OPClock Rate="c" RateParam="p" Dual="True"/>)"
        R"(<Options Name="o" DisableName="d" EnableName="e" Map="-5"/></Body>)"
        R"(<Body Model="Odd" TemplateDir="" TemplateFile="" IceEmuNo="0" HasWDT="")"
        R"( BootVect="$FFFFFFFF" ProgramStart="$4000" OptionsDef="$FFFF" BankMode="$4000-$7FFF")"
        R"( BankCount="0"/></MCU>)"
        R"(<External><ExtEditor Command="a&lt;b>&amp;&quot;c&quot;" InUse="False"/>)"
        R"(<ExtBuilder Command="" InUse="True"/><ExtDebugger Driver="" InUse="False"/>)"
        R"(</External><RecentAppliance><RA ApplPath="C:\x.apl"/></RecentAppliance>)"
        R"(<Cabfile Templates_ModifiedDate="2026-01-02T03:04:05" PlugIns_ModifiedDate=""/>)"
        R"(</GlobalSettings>)");
}

TEST_F(GlobalSettingsTest, AnObjectThatReadNothingWritesOnlyTheFixedElements) {
    EXPECT_EQ(settings.ToXml(),
              R"(<GlobalSettings Version="">)" + EmptyTail() + "</GlobalSettings>");
}

TEST_F(GlobalSettingsTest, LoadThenSaveDropsSourceAndKeywordFileAndKeepsAllElseByteForByte) {
    ASSERT_TRUE(settings.Load(programFolder.WriteFile("BX.gss", FullFile(true))));
    settings.Save(true);
    EXPECT_EQ(programFolder.ReadFile("BX.gss"), FullFile(false));
    EXPECT_FALSE(settings.IsDirty());
    GlobalSettings again(prompter);
    ASSERT_TRUE(again.LoadXml(FullFile(false)));
    EXPECT_EQ(again.ToXml(), FullFile(false));
}

TEST_F(GlobalSettingsTest, SaveWritesBXgssInTheProgramFolderAndRestoresTheCurrentDirectory) {
    test::TempFolder elsewhere;
    ASSERT_TRUE(platform::SetCurrentDirectory(elsewhere.Path()));
    ASSERT_TRUE(settings.LoadXml(FullFile(false)));
    settings.Save(false);
    EXPECT_EQ(platform::CurrentDirectory(), elsewhere.Path());
    EXPECT_EQ(programFolder.ReadFile("BX.gss"), FullFile(false));
    EXPECT_FALSE(platform::FileExists(elsewhere.Sub("BX.gss")));
    // The write went through a temporary file that is gone now.
    EXPECT_EQ(platform::ListFolder(programFolder.Path()), std::vector<std::string>{"BX.gss"});
    EXPECT_FALSE(settings.IsDirty());
}

TEST_F(GlobalSettingsTest, SaveOfACleanObjectWritesNothingUnlessForced) {
    settings.Save(false);
    EXPECT_FALSE(platform::FileExists(programFolder.Sub("BX.gss")));
    EXPECT_FALSE(settings.IsDirty());
    settings.Save(true);
    EXPECT_TRUE(platform::FileExists(programFolder.Sub("BX.gss")));
}

TEST_F(GlobalSettingsTest, AFailedSaveThrowsRestoresTheCurrentDirectoryAndKeepsTheObjectDirty) {
    test::TempFolder elsewhere;
    ASSERT_TRUE(platform::SetCurrentDirectory(elsewhere.Path()));
    settings.Touch();
    {
        platform::ScopedProgramFolder gone(programFolder.Sub("gone"));
        EXPECT_THROW(settings.Save(false), BxError);
        EXPECT_TRUE(settings.IsDirty());
        EXPECT_EQ(platform::CurrentDirectory(), elsewhere.Path());
    }
    // A folder named BX.gss can't be replaced by the file.
    ASSERT_TRUE(platform::CreateFolder(programFolder.Sub("BX.gss")));
    try {
        settings.Save(false);
        ADD_FAILURE() << "Save wrote over a folder";
    } catch (const BxError& error) {
        EXPECT_EQ(error.Number, errors::kFileAccess);
        EXPECT_NE(error.Description.find("BX.gss"), std::string::npos);
    }
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(platform::CurrentDirectory(), elsewhere.Path());
}

TEST_F(GlobalSettingsTest, SaveToWritesTheSameDocumentToTheGivenPath) {
    const std::string path = programFolder.WriteFile("sub\\mine.gss", FullFile(true));
    ASSERT_TRUE(settings.Load(path));
    settings.Touch();
    settings.SaveTo(path);
    EXPECT_EQ(programFolder.ReadFile("sub/mine.gss"), FullFile(false));
    EXPECT_FALSE(platform::FileExists(programFolder.Sub("BX.gss")));
    EXPECT_FALSE(settings.IsDirty());
    EXPECT_THROW(settings.SaveTo(programFolder.Sub("no\\such\\folder.gss")), BxError);
}

TEST_F(GlobalSettingsTest, ZeroDatesSurviveASaveAndALoad) {
    ASSERT_TRUE(settings.LoadXml(WithBodies(""))); // a file without Cabfile
    EXPECT_FALSE(settings.TemplatesModifiedDate.IsSet());
    EXPECT_FALSE(settings.PlugInsModifiedDate.IsSet());
    settings.Save(true);
    GlobalSettings reread(prompter);
    ASSERT_TRUE(reread.Load(programFolder.Sub("BX.gss")));
    EXPECT_FALSE(reread.TemplatesModifiedDate.IsSet());
    EXPECT_FALSE(reread.PlugInsModifiedDate.IsSet());
}

} // namespace
} // namespace bx
