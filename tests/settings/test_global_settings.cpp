// The global settings file: the reader with its long-standing quirks, the writer's forms, the
// version check and the save. The files are written here the way the writer writes them (no
// prolog, no white space, the attributes in the writer's order), so a file that went through
// load and save can be compared with its source as text.
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <map>

namespace bx {
namespace {

constexpr const char* kCaution = "The version of the global setting file is not supported";

std::string Settings(const std::string& inside, const std::string& version = "v 00.00.001") {
    return "<GlobalSettings Version=\"" + version + "\">" + inside + "</GlobalSettings>";
}
std::string Mcu(const std::string& bodies, const std::string& family = " Family=\"KTR\"") {
    return "<MCU" + family + ">" + bodies + "</MCU>";
}
// What the writer makes of a body that was read with nothing but its model (and template file
// and children).
std::string DefaultBody(const std::string& model, const std::string& templateFile = "",
                        const std::string& children = "") {
    return R"(<Body Model=")" + model + R"(" TemplateDir="\" TemplateFile=")" + templateFile +
           R"(" IceEmuNo="0" HasWDT="" BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00")"
           R"( BankMode="$4000-$7FFF" BankCount="14")" +
           (children.empty() ? "/>" : ">" + children + "</Body>");
}
// What the writer adds for an object that read no External, RecentAppliance or Cabfile.
const std::string kEmptyTail =
    R"(<External><ExtEditor Command="" InUse="False"/><ExtBuilder Command="" InUse="False"/>)"
    R"(<ExtDebugger Driver="" InUse="False"/></External><RecentAppliance/>)"
    R"(<Cabfile Templates_ModifiedDate="" PlugIns_ModifiedDate=""/>)";

// A file with every element and attribute. With extras, the body carries SourceFile and
// KeywordFile, which the reader keeps and the writer drops.
std::string FullFile(bool extras) {
    return Settings(
        Mcu(R"(<Body Model="KTR310" TemplateDir="KTR310\" TemplateFile="ktr310.apl")" +
            std::string(extras ? R"( SourceFile="main.asm" KeywordFile="kw_asm.dat")" : "") +
            R"( IceEmuNo="7" HasWDT="Yes" BootVect="$FFFC" ProgramStart="$8000")"
            R"( OptionsDef="$03" BankMode="$C000-$FFFF" BankCount="4">)"
            R"(<OPClock Rate="4.194304" RateParam="4194304" Dual="False"/>)"
            R"(<OPClock Rate="32.768k" RateParam="32768" Dual="True"/>)"
            R"(<Options Name="WDT" DisableName="NoWatchdog" EnableName="Watchdog" Map="1"/>)"
            R"(</Body>)") +
        R"(<External><ExtEditor Command="gvim &quot;%1&quot;" InUse="True"/>)"
        R"(<ExtBuilder Command="make -C src" InUse="False"/>)"
        R"(<ExtDebugger Driver="ice0" InUse="True"/></External>)"
        R"(<RecentAppliance><RA ApplPath="C:\work\demo.apl"/><RA ApplPath="D:\x.apl"/>)"
        R"(<RA ApplPath="C:\work\demo.apl"/></RecentAppliance>)"
        R"(<Cabfile Templates_ModifiedDate="2026-11-21T10:37:51")"
        R"( PlugIns_ModifiedDate="2025-01-02T03:04:05"/>)");
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
        EXPECT_TRUE(settings.Bodies && settings.Bodies->Count() == 1u);
        return *settings.Bodies->ItemIndex(1);
    }
};

std::shared_ptr<MCUBody> MakeBody(const std::string& model, int32_t bootVect = 0) {
    auto body = std::make_shared<MCUBody>();
    body->Model = model;
    body->BootVect = bootVect;
    return body;
}

TEST(DateStamp, OnlyTheOneFixedFormOfARealCalendarTimeIsRead) {
    const DateStamp stamp{2000, 2, 29, 0, 0, 0};
    EXPECT_EQ(DateStamp::FromIsoText(stamp.ToIsoText()), stamp);
    EXPECT_EQ((DateStamp{33, 1, 2, 3, 4, 5}).ToIsoText(), "0033-01-02T03:04:05");
    EXPECT_EQ(DateStamp{}.ToIsoText(), "");
    const char* refused[] = {"2026-11-21 10:37:51", " 2026-11-21T10:37:51", "2026-11-21T10:37:51Z",
                             "2026-11-21T10:37",    "2026-1-21T10:37:51",   "0000-01-01T00:00:00",
                             "2026-13-01T00:00:00", "2026-04-31T00:00:00",  "1900-02-29T00:00:00",
                             "2026-11-21T24:00:00", "2026-11-21T10:60:00",  "2026-11-21T10:37:60"};
    for (const char* text : refused)
        EXPECT_FALSE(DateStamp::FromIsoText(text).has_value()) << '"' << text << '"';
    // A local time keeps its fields; a leap second is cut.
    EXPECT_EQ(DateStamp::FromLocal({2026, 12, 31, 23, 59, 60}),
              (DateStamp{2026, 12, 31, 23, 59, 59}));
}

// ---- Reading and writing ------------------------------------------------------------------------

TEST_F(GlobalSettingsTest, LoadReadsEveryFieldAndSaveWritesItBackWithoutSourceAndKeywordFile) {
    test::TempFolder elsewhere;
    platform::ScopedCurrentDirectory keep;
    ASSERT_TRUE(platform::SetCurrentDirectory(elsewhere.Path()));
    settings.Touch();
    ASSERT_TRUE(LoadText(FullFile(true)));
    EXPECT_FALSE(settings.IsDirty()) << "a load clears the dirty flag";
    EXPECT_TRUE(prompter.Boxes().empty());
    // What the writer drops or doesn't show is checked here; the rest by what it writes.
    const MCUBody& body = OnlyBody();
    EXPECT_EQ(body.Family + " " + body.SourceFile + " " + body.KeywordFile,
              "KTR main.asm kw_asm.dat");
    EXPECT_EQ(settings.Families, std::vector<std::string>{"KTR"});
    EXPECT_EQ(settings.BodiesByFamily.Item("KTR"), settings.Bodies);
    EXPECT_EQ(settings.FindBody("KTR", "KTR310"), &body);
    EXPECT_FALSE(settings.Bodies->ItemIndex(0) || settings.Bodies->ItemIndex(2));
    EXPECT_EQ(settings.TemplatesModifiedDate, (DateStamp{2026, 11, 21, 10, 37, 51}));
    // A clean object writes nothing unless forced; a save writes BX.gss in the program's
    // folder through a temporary file and puts the current directory back.
    settings.Save(false);
    EXPECT_FALSE(platform::FileExists(programFolder.Sub("BX.gss")));
    settings.Touch();
    settings.Save(false);
    EXPECT_FALSE(settings.IsDirty());
    EXPECT_EQ(programFolder.ReadFile("BX.gss"), FullFile(false));
    EXPECT_EQ(platform::ListFolder(programFolder.Path()),
              (std::vector<std::string>{"BX.gss", "in.gss"}));
    EXPECT_EQ(platform::CurrentDirectory(), elsewhere.Path());

    // Flags that are no flag, missing attributes and elements, and unreadable dates are skipped.
    ASSERT_TRUE(LoadText(Settings(R"(<External><ExtEditor Command="ed" InUse="yes"/>)"
                                  R"(<ExtBuilder InUse="$1"/><ExtDebugger InUse=""/></External>)"
                                  R"(<Cabfile Templates_ModifiedDate="")"
                                  R"( PlugIns_ModifiedDate="21.11.2026 10:37:51"/>)")));
    EXPECT_EQ(settings.ExtEditorCommand, "ed");
    EXPECT_TRUE(settings.ExtEditorInUse && !settings.ExtBuilderInUse && settings.ExtDebuggerInUse);
    EXPECT_EQ(settings.ExtBuilderCommand, "make -C src");
    EXPECT_EQ(settings.TemplatesModifiedDate.ToIsoText(), "2026-11-21T10:37:51");
    EXPECT_EQ(settings.PlugInsModifiedDate.ToIsoText(), "2025-01-02T03:04:05");
    // The body table and the recent list start empty on each read.
    EXPECT_TRUE(settings.RecentAppliances.empty() && settings.Families.empty());
    ASSERT_TRUE(settings.Bodies);
    EXPECT_EQ(settings.Bodies->Count() + settings.BodiesByFamily.Count(), 0u);
}

TEST_F(GlobalSettingsTest, WhatIsReadIsWhatTheWriterWritesQuirksIncluded) {
    const std::pair<std::string, std::string> rows[] = {
        // Missing attributes take their defaults; an empty TemplateDir still ends in "\".
        {Mcu("<Body/>"), Mcu(DefaultBody(""))},
        // Other elements are ignored; duplicates are skipped silently and the first stays;
        // clocks are written before options whatever the file's order.
        {Mcu(R"(<Note/><Body Model="M" TemplateFile="first.apl"><Options Name="W" Map="1"/>)"
             R"(<OPClock Rate="4M" RateParam="first"/><OPClock Rate="4M" RateParam="second"/>)"
             R"(<Options Name="W" Map="2"/><Options Name="O" Map="none"/></Body>)"
             R"(<Body Model="M" TemplateFile="second.apl"/>)"),
         Mcu(DefaultBody("M", "first.apl",
                         R"(<OPClock Rate="4M" RateParam="first" Dual="False"/>)"
                         R"(<Options Name="W" DisableName="" EnableName="" Map="1"/>)"
                         R"(<Options Name="O" DisableName="" EnableName="" Map="0"/>)"))},
        // One list holds the bodies of all families, so every family gets every body; a
        // repeated family is listed twice; an MCU without a family adds bodies but no family.
        {Mcu(R"(<Body Model="A"/>)", " Family=\"F1\"") + Mcu(R"(<Body Model="B"/>)", "") +
             Mcu(R"(<Body Model="C"/>)", " Family=\"F2\"") + Mcu("", " Family=\"F1\""),
         Mcu(DefaultBody("A") + DefaultBody("B") + DefaultBody("C"), " Family=\"F1\"") +
             Mcu(DefaultBody("A") + DefaultBody("B") + DefaultBody("C"), " Family=\"F2\"") +
             Mcu(DefaultBody("A") + DefaultBody("B") + DefaultBody("C"), " Family=\"F1\"")},
    };
    for (const auto& [read, written] : rows) {
        SCOPED_TRACE(read);
        ASSERT_TRUE(LoadText(Settings(read)));
        EXPECT_EQ(settings.ToXml(), Settings(written + kEmptyTail));
        // Read back, the written file is stable.
        ASSERT_TRUE(settings.LoadXml(settings.ToXml()));
        EXPECT_EQ(settings.ToXml(), Settings(written + kEmptyTail));
    }
    // Recent entries without a path are dropped, the rest kept in order, duplicates too.
    ASSERT_TRUE(LoadText(
        Settings(R"(<RecentAppliance><RA ApplPath="C:\a.apl"/><RA ApplPath=""/>)"
                 R"(<RA/><RA ApplPath="C:\a.apl"/><RA ApplPath=" "/></RecentAppliance>)")));
    EXPECT_EQ(settings.RecentAppliances, (std::vector<std::string>{"C:\\a.apl", "C:\\a.apl", " "}));
    // Each body still knows the family it stood in, so a lookup under another family finds it.
    ASSERT_TRUE(LoadText(Settings(rows[2].first)));
    EXPECT_EQ(settings.Families, (std::vector<std::string>{"F1", "F2", "F1"}));
    EXPECT_EQ(settings.FindBody("F1", "C")->Family, "F2");
}

TEST_F(GlobalSettingsTest, NumberAttributesAreReadInTheirOwnFormsAndFlagsAsTrueFalseOrNumbers) {
    auto field = [](const MCUBody& b, const std::string& attr) -> std::string {
        const std::map<std::string, int64_t> numbers = {
            {"IceEmuNo", b.IceEmuNo},         {"BootVect", b.BootVect},
            {"ProgramStart", b.ProgramStart}, {"OptionsDef", b.OptionsDef},
            {"BankMode", b.BankMode},         {"BankCount", b.BankCount}};
        return attr == "TemplateDir" ? b.TemplateDir : std::to_string(numbers.at(attr));
    };
    // TemplateDir always ends in a backslash; only the exact text of the high window is bank
    // mode 1; addresses and counts take every number form (an address's bank part is dropped,
    // counts round half to even); a present text that is no number reads as 0, not as the
    // default; sixteen-bit fields skip values that don't fit; IceEmuNo is decimal only.
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"TemplateDir", "abc", "abc\\"},  {"TemplateDir", "abc\\", "abc\\"},
        {"BankMode", "$C000-$FFFF", "1"}, {"BankMode", "$c000-$ffff", "0"},
        {"BankMode", "1", "0"},           {"BootVect", "$01:FFFA", "65530"},
        {"BootVect", "%1111", "15"},      {"ProgramStart", "-1", "-1"},
        {"BankCount", "&H10", "16"},      {"BankCount", "2.5", "2"},
        {"BankCount", "3.5", "4"},        {"BootVect", "abc", "0"},
        {"ProgramStart", "", "0"},        {"OptionsDef", "$FFFF", "0"},
        {"OptionsDef", "$7FFF", "32767"}, {"IceEmuNo", "40000", "0"},
        {"IceEmuNo", " -7 ", "-7"},       {"IceEmuNo", "12.5", "12"},
        {"IceEmuNo", "$0D", "0"}};
    for (const auto& [attr, text, value] : rows) {
        SCOPED_TRACE(std::string(attr) + "=\"" + text + '"');
        ASSERT_TRUE(settings.LoadXml(
            Settings(Mcu("<Body Model=\"M\" " + std::string(attr) + "=\"" + text + "\"/>"))));
        EXPECT_EQ(field(OnlyBody(), attr), value);
    }
    const std::pair<const char*, bool> flags[] = {{"True", true}, {"false", false}, {"TRUE", true},
                                                  {"-1", true},   {"0", false},     {"0.5", true}};
    for (const auto& [text, value] : flags) {
        ASSERT_TRUE(settings.LoadXml(Settings(Mcu(
            std::string(R"(<Body Model="M"><OPClock Rate="R" Dual=")") + text + "\"/></Body>"))));
        EXPECT_EQ(OnlyBody().Clockrates.Item("R")->Dual, value) << '"' << text << '"';
    }
}

TEST_F(GlobalSettingsTest, TheWriterUsesTheFileFormsAndTurnsZeroIntoTheDefaults) {
    settings.Version = GlobalSettings::kSupportedVersion;
    settings.Bodies = std::make_shared<MCUBodies>();
    auto zero = settings.Bodies->AddItem(MakeBody("Zero"));
    zero->BankMode = 2; // only 1 is the high window
    auto set = settings.Bodies->AddItem(MakeBody("Set", 0x12));
    set->IceEmuNo = -3;
    set->ProgramStart = 0x12345;
    set->OptionsDef = 300;
    settings.Families = {"F"};
    settings.BodiesByFamily.TryAdd("F", settings.Bodies);
    EXPECT_EQ(settings.ToXml(),
              Settings(Mcu(R"(<Body Model="Zero" TemplateDir="" TemplateFile="" IceEmuNo="0")"
                           R"( HasWDT="" BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00")"
                           R"( BankMode="$4000-$7FFF" BankCount="0"/>)"
                           R"(<Body Model="Set" TemplateDir="" TemplateFile="" IceEmuNo="-3")"
                           R"( HasWDT="" BootVect="$0012" ProgramStart="$12345" OptionsDef="$12C")"
                           R"( BankMode="$4000-$7FFF" BankCount="0"/>)",
                           " Family=\"F\"") +
                       kEmptyTail));
    // An object that read nothing writes only the fixed elements, and its zero dates survive.
    GlobalSettings empty(prompter);
    EXPECT_EQ(empty.ToXml(), Settings(kEmptyTail, ""));
    ASSERT_TRUE(empty.LoadXml(Settings(kEmptyTail)));
    EXPECT_FALSE(empty.TemplatesModifiedDate.IsSet() || empty.PlugInsModifiedDate.IsSet());
}

// ---- Refusals and failures ----------------------------------------------------------------------

TEST_F(GlobalSettingsTest, AnyOtherVersionShowsTheCautionBoxAndReadsNothingElse) {
    std::string newer = FullFile(false);
    newer.replace(newer.find("v 00.00.001"), 11, "v 00.00.002");
    for (const std::string& file : {newer, Settings("", "V 00.00.001"), Settings("", "")}) {
        SCOPED_TRACE(file.substr(0, 50));
        test::ScriptedPrompter boxes;
        GlobalSettings fresh(boxes);
        fresh.Touch();
        ASSERT_TRUE(fresh.Load(programFolder.WriteFile("v.gss", file))); // the reader succeeds
        ASSERT_EQ(boxes.Boxes().size(), 1u);
        EXPECT_EQ(boxes.Boxes()[0].title + ": " + boxes.Boxes()[0].text,
                  std::string("Caution: ") + kCaution);
        EXPECT_EQ(boxes.Boxes()[0].icon, Icon::None);
        EXPECT_EQ(fresh.Bodies, nullptr);
        EXPECT_EQ(fresh.ExtEditorCommand + fresh.TemplatesModifiedDate.ToIsoText(), "");
        EXPECT_FALSE(fresh.IsDirty());
    }
    // LoadXml reads the same way and marks the object dirty, a refused version too.
    EXPECT_TRUE(settings.LoadXml(Settings("", "v 9")));
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(prompter.Boxes().size(), 1u);
}

TEST_F(GlobalSettingsTest, AFileThatCannotBeReadOrParsedGivesFalseWithNoBoxAndChangesNothing) {
    EXPECT_FALSE(settings.Load(programFolder.Sub("none.gss")));
    EXPECT_FALSE(settings.Load(programFolder.Path())); // a folder is no file
    EXPECT_EQ(settings.Bodies, nullptr);
    ASSERT_TRUE(LoadText(FullFile(false)));
    settings.Touch();
    EXPECT_FALSE(LoadText(Settings("<MCU>")));
    EXPECT_FALSE(settings.LoadErrorText().empty());
    EXPECT_FALSE(settings.LoadXml("<GlobalSettings"));
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(settings.Bodies->Count(), 1u);
    EXPECT_EQ(settings.ExtBuilderCommand, "make -C src");
}

TEST_F(GlobalSettingsTest, AFailedSaveThrowsRestoresTheCurrentDirectoryAndKeepsTheObjectDirty) {
    test::TempFolder elsewhere;
    platform::ScopedCurrentDirectory keep;
    ASSERT_TRUE(platform::SetCurrentDirectory(elsewhere.Path()));
    settings.Touch();
    {
        platform::ScopedProgramFolder gone(programFolder.Sub("gone"));
        EXPECT_THROW(settings.Save(false), BxError);
    }
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(platform::CurrentDirectory(), elsewhere.Path());
}

} // namespace
} // namespace bx
