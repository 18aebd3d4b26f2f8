#include "cli/CliMain.h"
#include "support/Cc65.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace bx::cli {
namespace {

using test::CliResult;
using test::RunCli;

// The banked program of the test support; its debug file is passed in the operating system's
// form, as a person types it.
TEST(SymbolsCommand, FilesAddressesLinesAndSymbolsAreAnsweredAsJsonLines) {
    SKIP_WITHOUT_BUILD_TOOLS();
    test::TempFolder folder;
    const test::Cc65Build build = test::BuildBankedProgram(folder);
    ASSERT_TRUE(build.Ok) << build.Log;
    const std::string sym = (folder.Native() / "rom.sym").string();
    CliResult files = RunCli({"symbols", sym, "--files"});
    EXPECT_EQ(files.status, 0) << files.err;
    EXPECT_EQ(files.out, R"({"index": 0, "folder": "", "name": "main.asm"}
{"index": 1, "folder": "inc", "name": "macros.inc"}
{"index": 2, "folder": "src", "name": "b1.asm"}
{"index": 3, "folder": "src", "name": "b2.asm"}
)");
    // Queries are answered in the order given.
    CliResult r = RunCli({"symbols", sym, "--address", "01:4006", "--line", "2:10", "--address",
                          "00:0200", "--line", "0:14", "--address", "0:8004"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, R"({"address": "01:4006", "found": true, "file": 2, "line": 9}
{"file": 2, "line": 10, "address": "01:4008"}
{"address": "00:0200", "found": false}
{"file": 0, "line": 14, "address": null}
{"address": "00:8004", "found": true, "file": 0, "line": 13}
)");
    CliResult all = RunCli({"symbols", sym, "--symbols"});
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 9);
    for (const char* line : {R"({"name": "bank1fn", "address": "01:4002", "kind": "Code"})",
                             R"({"name": "buffer", "address": "00:0200", "kind": "Data"})",
                             R"({"name": "PORTVAL", "address": "00:0010", "kind": "Equate"})"})
        EXPECT_NE(all.out.find(std::string(line) + "\n"), std::string::npos) << all.out;
    CliResult code = RunCli({"symbols", sym, "--symbols", "--code"});
    EXPECT_EQ(std::count(code.out.begin(), code.out.end(), '\n'), 6);
    EXPECT_EQ(code.out.find("Data"), std::string::npos);
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"symbols"},
                                               {"symbols", sym},
                                               {"symbols", sym, "--address"},
                                               {"symbols", sym, "--address", "4006"},
                                               {"symbols", sym, "--address", "01:10000"},
                                               {"symbols", sym, "--line", "2"},
                                               {"symbols", sym, "--line", "x:1"},
                                               {"symbols", sym, "--code"},
                                               {"symbols", sym, "--bogus"},
                                               {"symbols", sym, sym, "--files"}}) {
        CliResult usage = RunCli(args);
        EXPECT_EQ(usage.status, 2) << args.back();
        EXPECT_NE(usage.err.find("symbols: "), std::string::npos);
        EXPECT_EQ(usage.out, "");
    }
}

TEST(SymbolsCommandFailures, AFileThatCantBeReadExitsWithOneAndNamesAreEscapedAsJson) {
    test::TempFolder folder;
    folder.WriteFile("bad.sym", "version\tmajor=3,minor=0\n");
    folder.WriteFile("q.sym", "version\tmajor=2,minor=0\n"
                              "info\tfile=1,line=0,mod=0,seg=0,span=0,scope=0,sym=0\n"
                              "file\tid=0,name=\"dir\\\\tab\tx.asm\",size=1,mtime=0x1,mod=0\n");
    for (const auto& [file, message] :
         {std::pair{"none.sym", "Can't read the symbol file"}, {"bad.sym", "version 3.0"}}) {
        CliResult r = RunCli({"symbols", (folder.Native() / file).string(), "--files"});
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
    CliResult r = RunCli({"symbols", (folder.Native() / "q.sym").string(), "--files"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"index\": 0, \"folder\": \"dir\\\\\", \"name\": \"tab\\tx.asm\"}\n");
}

TEST(CliMain, TheHelpListsEveryCommandAndAnUnknownOneIsNamedInQuotes) {
    CliResult help = RunCli({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* command : {"appliance", "settings", "new", "build", "symbols FILE.sym"})
        EXPECT_NE(help.out.find(command), std::string::npos) << command;
    CliResult unknown = RunCli({"frobnicate"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err.rfind("tessarine-cli: unknown command \"frobnicate\"\n", 0), 0u)
        << unknown.err;
}

} // namespace
} // namespace bx::cli
