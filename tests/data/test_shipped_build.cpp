// End to end with the shipped data: for each body, "tessarine-cli new" from its template and
// "tessarine-cli build" with the real tools, in the Makefile mode and through the shipped
// external builder. Run in-process on a copy of the build's program folder.
#include "ShippedProgram.h"
#include "build/MessageMonitor.h"
#include "cli/CliMain.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "support/CliRunner.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

namespace bx {
namespace {

struct Body {
    const char* model;
    int banks;
};

const Body kBodies[] = {{"KTR310", 4}, {"KTR311", 14}, {"KTR640", 62}};

using test::CliResult;
using test::RunCli;

class ShippedBuildTest : public ::testing::TestWithParam<Body> {
protected:
    void SetUp() override {
        if (!test::HaveBuildTools())
            GTEST_SKIP() << "ca65, ld65 or make is not installed; the real build can't run";
    }

    std::string Dir(const std::string& name) const { return (work.Native() / name).string(); }
    std::string Apl(const std::string& name) const { return Dir(name) + "/" + name + ".apl"; }
    std::string Sub(const std::string& name, const std::string& file) const {
        return work.Sub(name + "\\" + file);
    }

    // new, then build; gives the build's result.
    CliResult NewAndBuild(const std::string& name, bool external) {
        auto made = RunCli({"new", "--body", GetParam().model, "--name", name, "--dir", Dir(name)});
        EXPECT_EQ(made.status, 0) << made.err;
        std::vector<std::string> args{"build", Apl(name)};
        if (external)
            args.push_back("--external");
        return RunCli(args);
    }

    test::ShippedProgramCopy program;
    platform::ScopedProgramFolder useProgram{program.folder.Path()};
    test::TempFolder work;
};

TEST_P(ShippedBuildTest, NewThenBuildInBothModesGivesTheSameRomOfTheBodysSizeAndADebugFile) {
    const std::size_t romSize = 0x8000 + std::size_t(GetParam().banks) * 0x4000;
    auto internal = NewAndBuild("inside", false);
    ASSERT_EQ(internal.status, 0) << internal.out << internal.err;
    EXPECT_EQ(internal.out.substr(internal.out.size() - 17), "Build completed.\n");
    EXPECT_TRUE(platform::FileExists(Sub("inside", "Makefile")));
    EXPECT_TRUE(platform::FileExists(Sub("inside", "ktr.inc")));
    EXPECT_FALSE(platform::FileExists(Sub("inside", std::string(GetParam().model) + ".tpl")));

    auto external = NewAndBuild("outside", true);
    ASSERT_EQ(external.status, 0) << external.out << external.err;
    EXPECT_NE(external.out.find("tessarine-build: made outside.rom and outside.sym"),
              std::string::npos)
        << external.out;
    EXPECT_FALSE(platform::FileExists(Sub("outside", "Makefile")));

    const auto inRom = platform::ReadFile(Sub("inside", "inside.rom"));
    const auto outRom = platform::ReadFile(Sub("outside", "outside.rom"));
    ASSERT_TRUE(inRom && outRom);
    EXPECT_EQ(inRom->size(), romSize);
    EXPECT_EQ(outRom->size(), romSize);
    EXPECT_TRUE(*inRom == *outRom) << "the two modes made different ROM images";

    // The reset vector points into the fixed ROM, where the program starts.
    const std::size_t vectors = GetParam().banks == 62 ? 0xBFFA : 0x7FFA;
    const int reset = static_cast<unsigned char>((*inRom)[vectors + 2]) |
                      static_cast<unsigned char>((*inRom)[vectors + 3]) << 8;
    EXPECT_EQ(reset, GetParam().banks == 62 ? 0x4000 : 0x8000);

    for (const char* name : {"inside", "outside"}) {
        const auto symbols = platform::ReadFile(Sub(name, std::string(name) + ".sym"));
        ASSERT_TRUE(symbols) << name;
        EXPECT_EQ(symbols->rfind("version\tmajor=2", 0), 0u) << name;
        EXPECT_NE(symbols->find("name=\"main.asm\""), std::string::npos) << name;
        EXPECT_NE(symbols->find("name=\"reset\""), std::string::npos) << name;
    }
}

TEST_P(ShippedBuildTest, ASyntaxErrorInMainAsmGivesAPaneLineThatLeadsToItInBothModes) {
    for (bool external : {false, true}) {
        SCOPED_TRACE(external ? "external" : "internal");
        const std::string name = external ? "badout" : "badin";
        auto made = RunCli({"new", "--body", GetParam().model, "--name", name, "--dir", Dir(name)});
        ASSERT_EQ(made.status, 0) << made.err;
        // Line 5 of the template's own program becomes a line ca65 can't read.
        std::string source = *platform::ReadFile(Sub(name, "main.asm"));
        std::size_t at = 0;
        for (int line = 1; line < 5; ++line)
            at = source.find('\n', at) + 1;
        source.insert(at, "        bogus x\n");
        ASSERT_TRUE(platform::WriteFileAtomic(Sub(name, "main.asm"), source));

        std::vector<std::string> args{"build", Apl(name)};
        if (external)
            args.push_back("--external");
        auto result = RunCli(args);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out.substr(result.out.size() - 14), "Build failed.\n");
        const std::size_t error = result.out.find("main.asm(5): Error:");
        ASSERT_NE(error, std::string::npos) << result.out;
        // A click anywhere on that line of the pane leads to the file and line.
        EXPECT_EQ(FileLineAt(result.out, error + 12), (FileLine{"main.asm", 5}));
        EXPECT_FALSE(platform::FileExists(Sub(name, name + ".rom")));
    }
}

TEST_P(ShippedBuildTest, AnApplianceWithoutStepsWarnsAndLeavesThePaneAlone) {
    const std::string image = work.WriteFile("image.rom", std::string(0x8000, '\xEA'));
    auto made = RunCli({"new", "--body", GetParam().model, "--name", "image", "--dir", Dir("image"),
                        "--rom", platform::ToNativePath(image)});
    ASSERT_EQ(made.status, 0) << made.err;
    for (bool external : {false, true}) {
        std::vector<std::string> args{"build", Apl("image")};
        if (external)
            args.push_back("--external");
        auto result = RunCli(args);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "Warning: Nothing to build or no rules to build.\n");
    }
}

INSTANTIATE_TEST_SUITE_P(ShippedBodies, ShippedBuildTest, ::testing::ValuesIn(kBodies),
                         [](const auto& info) { return std::string(info.param.model); });

} // namespace
} // namespace bx
