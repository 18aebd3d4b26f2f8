// End to end with the shipped data: for each body, "tessarine-cli new" from its template and
// "tessarine-cli build" with the real tools, in the Makefile mode and through the shipped
// external builder. Run in-process on a copy of the build's program folder.
#include "build/MessageMonitor.h"
#include "platform/Paths.h"
#include "support/ShippedProgram.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

struct Body {
    const char* model;
    int banks;
};
// A failing test and ctest's list name the body, not the parameter's bytes.
void PrintTo(const Body& body, std::ostream* out) {
    *out << body.model;
}

class ShippedBuildTest : public ::testing::TestWithParam<Body> {
protected:
    void SetUp() override { SKIP_WITHOUT_BUILD_TOOLS(); }
    test::ShippedAppliances shipped;
};

TEST_P(ShippedBuildTest, NewThenBuildInBothModesGivesTheSameRomOfTheBodysSizeAndADebugFile) {
    for (const char* name : {"inside", "outside"}) {
        shipped.New(GetParam().model, name);
        const bool external = name[0] == 'o';
        const test::CliResult built = shipped.Build(name, external);
        ASSERT_EQ(built.status, 0) << built.out << built.err;
        EXPECT_TRUE(external
                        ? built.out.find("tessarine-build: made outside.rom and outside.sym") !=
                              std::string::npos
                        : built.out.ends_with("Build completed.\n"))
            << built.out;
        EXPECT_EQ(platform::FileExists(shipped.Sub(name, "Makefile")), !external);
        EXPECT_TRUE(platform::FileExists(shipped.Sub(name, "ktr.inc")));
        EXPECT_FALSE(
            platform::FileExists(shipped.Sub(name, GetParam().model + std::string(".tpl"))));
        const auto symbols = platform::ReadFile(shipped.Sub(name, std::string(name) + ".sym"));
        ASSERT_TRUE(symbols) << name;
        EXPECT_EQ(symbols->rfind("version\tmajor=2", 0), 0u) << name;
        EXPECT_NE(symbols->find("name=\"main.asm\""), std::string::npos) << name;
        EXPECT_NE(symbols->find("name=\"reset\""), std::string::npos) << name;
    }
    const auto inRom = platform::ReadFile(shipped.Sub("inside", "inside.rom"));
    const auto outRom = platform::ReadFile(shipped.Sub("outside", "outside.rom"));
    ASSERT_TRUE(inRom && outRom);
    EXPECT_EQ(inRom->size(), 0x8000 + std::size_t(GetParam().banks) * 0x4000);
    EXPECT_TRUE(*inRom == *outRom) << "the two modes made different ROM images";
    // The reset vector points into the fixed ROM, where the program starts.
    const std::size_t vectors = GetParam().banks == 62 ? 0xBFFA : 0x7FFA;
    EXPECT_EQ(static_cast<unsigned char>((*inRom)[vectors + 2]) |
                  static_cast<unsigned char>((*inRom)[vectors + 3]) << 8,
              GetParam().banks == 62 ? 0x4000 : 0x8000);
}

// In both modes: a syntax error gives a pane line that leads to it and no ROM; an appliance
// without build steps (a ROM image only) a warning and an empty pane.
TEST_P(ShippedBuildTest, ASyntaxErrorLeadsToItsLineAndNothingToBuildWarnsInBothModes) {
    const std::string image = shipped.work.WriteFile("image.rom", std::string(0x8000, '\xEA'));
    shipped.New(GetParam().model, "image", {"--rom", platform::ToNativePath(image)});
    shipped.New(GetParam().model, "bad");
    // Line 5 of the template's own program becomes a line ca65 can't read.
    std::string source = *platform::ReadFile(shipped.Sub("bad", "main.asm"));
    std::size_t at = 0;
    for (int line = 1; line < 5; ++line)
        at = source.find('\n', at) + 1;
    ASSERT_TRUE(platform::WriteFileAtomic(shipped.Sub("bad", "main.asm"),
                                          source.insert(at, "        bogus x\n")));
    for (bool external : {false, true}) {
        SCOPED_TRACE(external ? "external" : "internal");
        const test::CliResult result = shipped.Build("bad", external);
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.out.ends_with("Build failed.\n")) << result.out;
        const std::size_t error = result.out.find("main.asm(5): Error:");
        ASSERT_NE(error, std::string::npos) << result.out;
        // A click anywhere on that line of the pane leads to the file and line.
        EXPECT_EQ(FileLineAt(result.out, error + 12), (FileLine{"main.asm", 5}));
        EXPECT_FALSE(platform::FileExists(shipped.Sub("bad", "bad.rom")));
        const test::CliResult nothing = shipped.Build("image", external);
        EXPECT_EQ(nothing.status, 1);
        EXPECT_EQ(nothing.out, "");
        EXPECT_EQ(nothing.err, "Warning: Nothing to build or no rules to build.\n");
    }
}

INSTANTIATE_TEST_SUITE_P(ShippedBodies, ShippedBuildTest,
                         ::testing::Values(Body{"KTR310", 4}, Body{"KTR311", 14},
                                           Body{"KTR640", 62}),
                         [](const auto& info) { return std::string(info.param.model); });

} // namespace
} // namespace bx
