#include "cli/CliMain.h"
#include "cli/SettingsCommands.h"
#include "cli/StreamPrompter.h"
#include "foundation/Json.h"
#include "platform/FileSystem.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx::cli {
namespace {

// A settings file in the writer's own form, plus SourceFile and KeywordFile on the body.
std::string SampleFile(bool extras) {
    return std::string(R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
                       R"(<Body Model="KTR310" TemplateDir="KTR310\" TemplateFile="ktr310.apl")") +
           (extras ? R"( SourceFile="main.asm" KeywordFile="kw_asm.dat")" : "") +
           R"( IceEmuNo="7" HasWDT="Yes" BootVect="$FFFC" ProgramStart="$8000")"
           R"( OptionsDef="$03" BankMode="$C000-$FFFF" BankCount="4">)"
           R"(<OPClock Rate="4M" RateParam="4000000" Dual="True"/>)"
           R"(<Options Name="WDT" DisableName="Off" EnableName="On" Map="1"/></Body></MCU>)"
           R"(<External><ExtEditor Command="vi &quot;%1&quot;" InUse="True"/>)"
           R"(<ExtBuilder Command="make" InUse="False"/><ExtDebugger Driver="" InUse="False"/>)"
           R"(</External><RecentAppliance><RA ApplPath="C:\a.apl"/></RecentAppliance>)"
           R"(<Cabfile Templates_ModifiedDate="2026-11-21T10:37:51" PlugIns_ModifiedDate=""/>)"
           R"(</GlobalSettings>)";
}

using test::CliResult;
using test::RunCli;

// The file's path as a person types it on this system.
std::string Native(const test::TempFolder& folder, const std::string& name) {
    return (folder.Native() / name).string();
}

// Positions of the members in order; fails when one is missing or out of place.
void ExpectInOrder(const std::string& text, const std::vector<std::string>& pieces) {
    std::size_t at = 0;
    for (const std::string& piece : pieces) {
        std::size_t found = text.find(piece, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << piece << "\n" << text;
        at = found + piece.size();
    }
}

// ---- settings show ----------------------------------------------------------------------------

TEST(SettingsShow, PrintsTheWholeModelAsOneJsonDocument) {
    test::TempFolder folder;
    folder.WriteFile("BX.gss", SampleFile(true));
    CliResult result = RunCli({"settings", "show", Native(folder, "BX.gss")});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    ExpectInOrder(result.out, {"{",
                               R"("Version": "v 00.00.001")",
                               R"("NewestVersion": "False")",
                               R"("Bodies": [)",
                               R"("key": "KTR310")",
                               R"("Model": "KTR310")",
                               R"("TemplateDir": "KTR310\\")",
                               R"("TemplateFile": "ktr310.apl")",
                               R"("Family": "KTR")",
                               R"("SourceFile": "main.asm")",
                               R"("KeywordFile": "kw_asm.dat")",
                               R"("IceEmuNo": 7)",
                               R"("HasWDT": "Yes")",
                               R"("Clockrates": [)",
                               R"("key": "4M")",
                               R"("Clockrate": "4M")",
                               R"("Rateparam": "4000000")",
                               R"("Dual": true)",
                               R"("Options": [)",
                               R"("key": "WDT")",
                               R"("Name": "WDT")",
                               R"("DisableName": "Off")",
                               R"("EnableName": "On")",
                               R"("Map": 1)",
                               R"("BootVect": 65532)",
                               R"("ProgramStart": 32768)",
                               R"("OptionsDef": 3)",
                               R"("BankMode": 1)",
                               R"("BankCount": 4)",
                               R"("BodiesByFamily": [)",
                               R"("key": "KTR")",
                               R"("Models": [)",
                               R"("KTR310")",
                               R"("Families": [)",
                               R"("KTR")",
                               R"("ExtEditorCommand": "vi \"%1\"")",
                               R"("ExtEditorInUse": true)",
                               R"("ExtBuilderCommand": "make")",
                               R"("ExtBuilderInUse": false)",
                               R"("ExtDebuggerDriver": "")",
                               R"("ExtDebuggerInUse": false)",
                               R"("TemplatesModifiedDate": "2026-11-21T10:37:51")",
                               R"("PlugInsModifiedDate": null)",
                               R"("RecentAppliances": [)",
                               R"("C:\\a.apl")",
                               R"("Dirty": false)",
                               R"("LoadResult": true)",
                               "}\n"});
    // One document: it opens once and closes at the very end.
    EXPECT_EQ(result.out.front(), '{');
    EXPECT_EQ(result.out.rfind("}\n"), result.out.size() - 2);
}

TEST(SettingsShow, ARefusedVersionShowsTheCautionOnStandardErrorAndNullBodies) {
    test::TempFolder folder;
    folder.WriteFile("old.gss", R"(<GlobalSettings Version="v 00.00.000"/>)");
    CliResult result = RunCli({"settings", "show", Native(folder, "old.gss")});
    EXPECT_EQ(result.status, 0); // the reader accepts the file; it only ignores it
    EXPECT_EQ(result.err, "Caution: The version of the global setting file is not supported\n");
    EXPECT_NE(result.out.find(R"("Bodies": null)"), std::string::npos);
    EXPECT_NE(result.out.find(R"("LoadResult": true)"), std::string::npos);
}

TEST(SettingsShow, AMissingFileIsAClearErrorWithNoOutput) {
    test::TempFolder folder;
    CliResult result = RunCli({"settings", "show", Native(folder, "none.gss")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("can't load"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("none.gss"), std::string::npos) << result.err;
}

TEST(SettingsShow, AMalformedFileTellsWhereTheParserStopped) {
    test::TempFolder folder;
    folder.WriteFile("bad.gss", "<GlobalSettings Version=\"v 00.00.001\"><MCU>");
    CliResult result = RunCli({"settings", "show", Native(folder, "bad.gss")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("offset"), std::string::npos) << result.err;
}

TEST(SettingsShow, ControlCharactersAndQuotesInValuesAreEscaped) {
    test::TempFolder folder;
    folder.WriteFile("x.gss", "<GlobalSettings Version=\"v 00.00.001\"><External>"
                              "<ExtEditor Command=\"a&#9;b&#10;\\&quot;\xC3\xA9\"/>"
                              "</External></GlobalSettings>");
    CliResult result = RunCli({"settings", "show", Native(folder, "x.gss")});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("\"ExtEditorCommand\": \"a\\tb\\n\\\\\\\"\xC3\xA9\""),
              std::string::npos)
        << result.out;
}

// ---- settings resave --------------------------------------------------------------------------

TEST(SettingsResave, RewritesTheFileWhereItWasReadWithoutSourceAndKeywordFile) {
    test::TempFolder folder;
    folder.WriteFile("mine.gss", SampleFile(true));
    CliResult result = RunCli({"settings", "resave", Native(folder, "mine.gss")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out.find("mine.gss"), std::string::npos);
    EXPECT_EQ(folder.ReadFile("mine.gss"), SampleFile(false));
    EXPECT_EQ(platform::ListFolder(folder.Path()), std::vector<std::string>{"mine.gss"});
}

TEST(SettingsResave, ARefusedVersionLeavesTheFileAsItWas) {
    test::TempFolder folder;
    const std::string old =
        R"(<GlobalSettings Version="v 00.00.000"><MCU Family="K"/></GlobalSettings>)";
    folder.WriteFile("old.gss", old);
    CliResult result = RunCli({"settings", "resave", Native(folder, "old.gss")});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Caution: "), std::string::npos);
    EXPECT_NE(result.err.find("not rewritten"), std::string::npos) << result.err;
    EXPECT_EQ(folder.ReadFile("old.gss"), old);
}

TEST(SettingsResave, AMalformedFileIsNotTouched) {
    test::TempFolder folder;
    folder.WriteFile("bad.gss", "not xml at all <");
    CliResult result = RunCli({"settings", "resave", Native(folder, "bad.gss")});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(folder.ReadFile("bad.gss"), "not xml at all <");
}

// ---- Usage --------------------------------------------------------------------------------------

TEST(SettingsUsage, MissingOrUnknownWordsAreUsageErrors) {
    for (const std::vector<std::string>& args : {std::vector<std::string>{"settings"},
                                                 {"settings", "show"},
                                                 {"settings", "edit", "x"},
                                                 {"settings", "show", "a.gss", "b.gss"},
                                                 {"settings", "--yes"}}) {
        CliResult result = RunCli(args);
        EXPECT_EQ(result.status, 2) << args.size();
        EXPECT_NE(result.err.find("usage: tessarine-cli settings"), std::string::npos);
        EXPECT_EQ(result.out, "");
    }
}

TEST(SettingsUsage, TheMainHelpListsTheSettingsCommand) {
    CliResult result = RunCli({"--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find("settings"), std::string::npos);
}

// ---- The command line's message box
// --------------------------------------------------------------

TEST(StreamPrompter, WritesTitleAndTextAndAnswersQuestionsNoUnlessYes) {
    std::ostringstream text;
    StreamPrompter no(text, false);
    EXPECT_EQ(no.ask("Caution", "read this", Buttons::Ok, Icon::None), AnswerOk);
    EXPECT_EQ(no.ask("Save", "save it?", Buttons::YesNo, Icon::Question), AnswerNo);
    EXPECT_EQ(no.ask("Save", "save it?", Buttons::YesNoCancel, Icon::Question), AnswerNo);
    EXPECT_EQ(no.ask("Go", "go on?", Buttons::OkCancel, Icon::None), AnswerCancel);
    EXPECT_EQ(no.ask("Device", "retry?", Buttons::RetryCancel, Icon::None), AnswerCancel);
    EXPECT_EQ(text.str(), "Caution: read this\nSave: save it?\nSave: save it?\nGo: go on?\n"
                          "Device: retry?\n");

    std::ostringstream quiet;
    StreamPrompter yes(quiet, true);
    EXPECT_EQ(yes.ask("Save", "save it?", Buttons::YesNo, Icon::Question), AnswerYes);
    EXPECT_EQ(yes.ask("Save", "save it?", Buttons::YesNoCancel, Icon::Question), AnswerYes);
    EXPECT_EQ(yes.ask("Go", "go on?", Buttons::OkCancel, Icon::None), AnswerOk);
    EXPECT_EQ(yes.ask("Caution", "read this", Buttons::Ok, Icon::None), AnswerOk);
}

// ---- JSON text ----------------------------------------------------------------------------------

TEST(JsonEscape, QuotesBackslashesAndControlCharactersAreEscaped) {
    EXPECT_EQ(JsonEscape("plain text"), "plain text");
    EXPECT_EQ(JsonEscape("a\"b\\c/d"), "a\\\"b\\\\c/d");
    EXPECT_EQ(JsonEscape("\b\f\n\r\t"), "\\b\\f\\n\\r\\t");
    EXPECT_EQ(JsonEscape(std::string("\x00\x01\x1f\x7f", 4)), "\\u0000\\u0001\\u001f\\u007f");
    EXPECT_EQ(JsonQuote("x\"y"), "\"x\\\"y\"");
    EXPECT_EQ(JsonQuote(""), "\"\"");
}

TEST(JsonEscape, ValidUtf8PassesThroughAndBrokenBytesBecomeReplacementCharacters) {
    const std::string valid = "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBF";
    EXPECT_EQ(JsonEscape(valid), valid);
    EXPECT_EQ(JsonEscape("\xFF"), "\\ufffd");
    EXPECT_EQ(JsonEscape("a\xC3"), "a\\ufffd");          // cut short at the end
    EXPECT_EQ(JsonEscape("\xC3(x"), "\\ufffd(x");        // a lead byte without its follower
    EXPECT_EQ(JsonEscape("\xC0\xAF"), "\\ufffd\\ufffd"); // overlong "/"
    EXPECT_EQ(JsonEscape("\xED\xA0\x80"), "\\ufffd\\ufffd\\ufffd");            // a surrogate
    EXPECT_EQ(JsonEscape("\xF4\x90\x80\x80"), "\\ufffd\\ufffd\\ufffd\\ufffd"); // above U+10FFFF
    EXPECT_EQ(JsonEscape("\x80"), "\\ufffd");
}

} // namespace
} // namespace bx::cli
