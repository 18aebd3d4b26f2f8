// "tessarine-cli settings": the JSON view of a settings file, a resave where it was read, and
// clear failures; the command line's message box and JSON text.
#include "cli/CliMain.h"
#include "cli/StreamPrompter.h"
#include "foundation/Json.h"
#include "platform/FileSystem.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx::cli {
namespace {

using test::RunCli;

// A settings file in the writer's own form, plus SourceFile and KeywordFile on the body.
std::string SampleFile(bool extras) {
    return std::string(R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
                       R"(<Body Model="KTR310" TemplateDir="KTR310\" TemplateFile="ktr310.apl")") +
           (extras ? R"( SourceFile="main.asm" KeywordFile="kw_asm.dat")" : "") +
           R"( IceEmuNo="7" HasWDT="Yes" BootVect="$FFFC" ProgramStart="$8000")"
           R"( OptionsDef="$03" BankMode="$C000-$FFFF" BankCount="4">)"
           R"(<OPClock Rate="4M" RateParam="4000000" Dual="True"/>)"
           R"(<Options Name="WDT" DisableName="Off" EnableName="On" Map="1"/></Body></MCU>)"
           R"(<External><ExtEditor Command="vi &quot;%1&#09;&quot;" InUse="True"/>)"
           R"(<ExtBuilder Command="make" InUse="False"/><ExtDebugger Driver="" InUse="False"/>)"
           R"(</External><RecentAppliance><RA ApplPath="C:\a.apl"/></RecentAppliance>)"
           R"(<Cabfile Templates_ModifiedDate="2026-11-21T10:37:51" PlugIns_ModifiedDate=""/>)"
           R"(</GlobalSettings>)";
}

class SettingsCliTest : public ::testing::Test {
protected:
    test::CliResult Run(const std::string& command, const std::string& file) {
        return RunCli({"settings", command, (folder.Native() / file).string()});
    }
    test::TempFolder folder;
};

TEST_F(SettingsCliTest, ShowPrintsTheWholeModelAsOneJsonDocumentAndResaveRewritesTheFile) {
    folder.WriteFile("mine.gss", SampleFile(true));
    auto result = Run("show", "mine.gss");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    // The members in order, values escaped as JSON; one document, closed at the very end.
    std::size_t at = 0;
    // Each collection as a list of records with their keys.
    for (const std::string piece : {"{",
                                    R"("Version": "v 00.00.001")",
                                    R"("Bodies": [)",
                                    R"("key": "KTR310")",
                                    R"("TemplateDir": "KTR310\\")",
                                    R"("KeywordFile": "kw_asm.dat")",
                                    R"("IceEmuNo": 7)",
                                    R"("Clockrates": [)",
                                    R"("Dual": true)",
                                    R"("Options": [)",
                                    R"("Map": 1)",
                                    R"("BootVect": 65532)",
                                    R"("BankMode": 1)",
                                    R"("BodiesByFamily": [)",
                                    R"("Models": [)",
                                    R"("ExtEditorCommand": "vi \"%1\t\"")",
                                    R"("ExtEditorInUse": true)",
                                    R"("TemplatesModifiedDate": "2026-11-21T10:37:51")",
                                    R"("PlugInsModifiedDate": null)",
                                    R"("RecentAppliances": [)",
                                    R"("C:\\a.apl")",
                                    R"("LoadResult": true)",
                                    "}\n"}) {
        const std::size_t found = result.out.find(piece, at);
        ASSERT_NE(found, std::string::npos) << "missing or out of order: " << piece << "\n"
                                            << result.out;
        at = found + piece.size();
    }
    EXPECT_EQ(at, result.out.size());
    // A resave writes the file where it was read, without SourceFile and KeywordFile.
    result = Run("resave", "mine.gss");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find("mine.gss"), std::string::npos);
    EXPECT_EQ(folder.ReadFile("mine.gss"), SampleFile(false));
    EXPECT_EQ(platform::ListFolder(folder.Path()), std::vector<std::string>{"mine.gss"});
}

TEST_F(SettingsCliTest, ARefusedOrBrokenFileIsSaidSoAndNotRewritten) {
    const std::string old =
        R"(<GlobalSettings Version="v 00.00.000"><MCU Family="K"/></GlobalSettings>)";
    folder.WriteFile("old.gss", old);
    folder.WriteFile("bad.gss", "<GlobalSettings Version=\"v 00.00.001\"><MCU>");
    // The reader accepts a file of another version; it only ignores it.
    auto shown = Run("show", "old.gss");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "Caution: The version of the global setting file is not supported\n");
    EXPECT_NE(shown.out.find(R"("Bodies": null)"), std::string::npos);
    const std::tuple<test::CliResult, std::vector<std::string>> rows[] = {
        {Run("show", "none.gss"), {"can't load", "none.gss"}},
        {Run("show", "bad.gss"), {"offset"}},
        {Run("resave", "old.gss"), {"Caution: ", "not rewritten"}},
        {Run("resave", "bad.gss"), {"offset"}}};
    for (const auto& [result, messages] : rows) {
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        for (const std::string& message : messages)
            EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
    EXPECT_EQ(folder.ReadFile("old.gss"), old);
    EXPECT_EQ(folder.ReadFile("bad.gss"), "<GlobalSettings Version=\"v 00.00.001\"><MCU>");
    for (const std::vector<std::string>& args : {std::vector<std::string>{"settings"},
                                                 {"settings", "show"},
                                                 {"settings", "edit", "x"},
                                                 {"settings", "show", "a.gss", "b.gss"}}) {
        const auto usage = RunCli(args);
        EXPECT_EQ(usage.status, 2) << args.size();
        EXPECT_NE(usage.err.find("usage: tessarine-cli settings"), std::string::npos);
    }
}

TEST(StreamPrompter, WritesTitleAndTextAndAnswersQuestionsNoUnlessYes) {
    std::ostringstream text;
    StreamPrompter no(text, false), yes(text, true);
    const std::tuple<Buttons, int, int> rows[] = {{Buttons::Ok, AnswerOk, AnswerOk},
                                                  {Buttons::YesNo, AnswerNo, AnswerYes},
                                                  {Buttons::YesNoCancel, AnswerNo, AnswerYes},
                                                  {Buttons::OkCancel, AnswerCancel, AnswerOk}};
    for (const auto& [buttons, withoutYes, withYes] : rows) {
        EXPECT_EQ(no.ask("Box", "text", buttons, Icon::None), withoutYes);
        EXPECT_EQ(yes.ask("Box", "text", buttons, Icon::None), withYes);
    }
    EXPECT_EQ(no.ask("Device", "retry?", Buttons::RetryCancel, Icon::None), AnswerCancel);
    EXPECT_TRUE(text.str().starts_with("Box: text\nBox: text\n")) << text.str();
}

TEST(JsonEscape, QuotesControlCharactersAndBrokenUtf8AreEscapedValidUtf8PassesThrough) {
    const std::pair<std::string, std::string> rows[] = {
        {"a\"b\\c/d", "a\\\"b\\\\c/d"},
        {"\b\f\n\r\t", "\\b\\f\\n\\r\\t"},
        {std::string("\x00\x01\x1f\x7f", 4), "\\u0000\\u0001\\u001f\\u007f"},
        {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBF",
         "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xEF\xBF\xBF"},
        {"a\xC3", "a\\ufffd"},                                // cut short at the end
        {"\xC3(x", "\\ufffd(x"},                              // a lead byte without its follower
        {"\xC0\xAF", "\\ufffd\\ufffd"},                       // overlong "/"
        {"\xED\xA0\x80", "\\ufffd\\ufffd\\ufffd"},            // a surrogate
        {"\xF4\x90\x80\x80", "\\ufffd\\ufffd\\ufffd\\ufffd"}, // above U+10FFFF
        {"\x80", "\\ufffd"}};
    for (const auto& [text, escaped] : rows)
        EXPECT_EQ(JsonEscape(text), escaped) << escaped;
    EXPECT_EQ(JsonQuote("x\"y"), "\"x\\\"y\"");
}

} // namespace
} // namespace bx::cli
