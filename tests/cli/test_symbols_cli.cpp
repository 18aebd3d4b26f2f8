#include "cli/CliMain.h"
#include "support/Cc65Toolchain.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>

namespace bx::cli {
namespace {

using test::CliResult;
using test::RunCli;

std::vector<std::string> Lines(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The banked program of the test support, built once for the suite; its debug file is passed
// in the operating system's form, as a person types it.
class SymbolsCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!test::Cc65Available())
            return;
        folder_ = std::make_unique<test::TempFolder>();
        test::Cc65Build build = test::BuildBankedProgram(*folder_);
        log_ = build.Log;
        built_ = build.Ok;
    }
    static void TearDownTestSuite() { folder_.reset(); }
    void SetUp() override {
        if (!test::Cc65Available())
            GTEST_SKIP() << test::kNoCc65;
        ASSERT_TRUE(built_) << log_;
        sym = (folder_->Native() / "rom.sym").string();
    }
    std::string sym;

private:
    static inline std::unique_ptr<test::TempFolder> folder_;
    static inline std::string log_;
    static inline bool built_ = false;
};

TEST_F(SymbolsCommand, FilesListsIndexFolderAndNameOfEachFile) {
    CliResult r = RunCli({"symbols", sym, "--files"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Lines(r.out), (std::vector<std::string>{
                                R"({"index": 0, "folder": "", "name": "main.asm"})",
                                R"({"index": 1, "folder": "inc", "name": "macros.inc"})",
                                R"({"index": 2, "folder": "src", "name": "b1.asm"})",
                                R"({"index": 3, "folder": "src", "name": "b2.asm"})",
                            }));
}

TEST_F(SymbolsCommand, AddressAndLineQueriesAnswerInTheOrderGiven) {
    CliResult r = RunCli({"symbols", sym, "--address", "01:4006", "--line", "2:10", "--address",
                          "00:0200", "--line", "0:14", "--address", "0:8004"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Lines(r.out), (std::vector<std::string>{
                                R"({"address": "01:4006", "found": true, "file": 2, "line": 9})",
                                R"({"file": 2, "line": 10, "address": "01:4008"})",
                                R"({"address": "00:0200", "found": false})",
                                R"({"file": 0, "line": 14, "address": null})",
                                R"({"address": "00:8004", "found": true, "file": 0, "line": 13})",
                            }));
}

TEST_F(SymbolsCommand, SymbolsAreListedWithBankAddressAndKindAndCodeFilters) {
    CliResult all = RunCli({"symbols", sym, "--symbols"});
    EXPECT_EQ(all.status, 0) << all.err;
    std::vector<std::string> lines = Lines(all.out);
    EXPECT_EQ(lines.size(), 9u);
    auto has = [&lines](const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    EXPECT_TRUE(has(R"({"name": "bank1fn", "address": "01:4002", "kind": "Code"})")) << all.out;
    EXPECT_TRUE(has(R"({"name": "buffer", "address": "00:0200", "kind": "Data"})")) << all.out;
    EXPECT_TRUE(has(R"({"name": "PORTVAL", "address": "00:0010", "kind": "Equate"})")) << all.out;
    CliResult code = RunCli({"symbols", sym, "--symbols", "--code"});
    EXPECT_EQ(Lines(code.out).size(), 6u);
    EXPECT_EQ(code.out.find("Data"), std::string::npos);
}

TEST_F(SymbolsCommand, UsageErrorsExitWithTwo) {
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"symbols"},
             {"symbols", sym},
             {"symbols", sym, "--address"},
             {"symbols", sym, "--address", "4006"},
             {"symbols", sym, "--address", "01:10000"},
             {"symbols", sym, "--line", "2"},
             {"symbols", sym, "--line", "x:1"},
             {"symbols", sym, "--code"},
             {"symbols", sym, "--bogus"},
             {"symbols", sym, sym, "--files"},
         }) {
        CliResult r = RunCli(args);
        EXPECT_EQ(r.status, 2) << args.size();
        EXPECT_NE(r.err.find("symbols: "), std::string::npos);
        EXPECT_EQ(r.out, "");
    }
}

TEST(SymbolsCommandFailures, AFileThatCantBeReadExitsWithOneAndSaysWhy) {
    test::TempFolder folder;
    CliResult missing = RunCli({"symbols", (folder.Native() / "none.sym").string(), "--files"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("Can't read the symbol file"), std::string::npos) << missing.err;
    EXPECT_EQ(missing.out, "");

    folder.WriteFile("bad.sym", "version\tmajor=3,minor=0\n");
    CliResult refused = RunCli({"symbols", (folder.Native() / "bad.sym").string(), "--files"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("version 3.0"), std::string::npos) << refused.err;
}

TEST(SymbolsCommandFailures, NamesAreEscapedAsJson) {
    test::TempFolder folder;
    folder.WriteFile("q.sym", "version\tmajor=2,minor=0\n"
                              "info\tfile=1,line=0,mod=0,seg=0,span=0,scope=0,sym=0\n"
                              "file\tid=0,name=\"dir\\\\tab\tx.asm\",size=1,mtime=0x1,mod=0\n");
    CliResult r = RunCli({"symbols", (folder.Native() / "q.sym").string(), "--files"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"index\": 0, \"folder\": \"dir\\\\\", \"name\": \"tab\\tx.asm\"}\n");
}

TEST(SymbolsCommandFailures, TheHelpListsTheCommand) {
    CliResult r = RunCli({"--help"});
    EXPECT_NE(r.out.find("symbols FILE.sym"), std::string::npos);
}

} // namespace
} // namespace bx::cli
