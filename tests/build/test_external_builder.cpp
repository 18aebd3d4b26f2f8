// The shipped external builder: it plans the same ca65 and ld65 runs as the templates' Makefile
// rules and says what is wrong with a line it can't use. That it reads the very line the driver
// writes is checked with the driver's command line.
#include "build/ExternalBuilder.h"
#include "platform/Paths.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sstream>

namespace bx::builder {
namespace {

TEST(ExternalBuilder, ALineItCantUseSaysWhatIsWrong) {
    const std::vector<std::string> good{"-D",  "/w/", "-N",  "d",  "-O",  "d.rom", "-T",  "/p/",
                                        "-MB", "K",   "-MP", "1F", "-MS", "-MR",   "-M4", "a.asm"};
    BuilderOptions options;
    EXPECT_EQ(ParseBuilderArgs(good, options), "");
    EXPECT_TRUE(options.optionByte == 0x1F && options.mainClock && options.rcOscillator);
    auto without = [&](const std::string& option) {
        std::vector<std::string> words = good;
        const auto at = std::find(words.begin(), words.end(), option);
        words.erase(at, at + (option == "a.asm" ? 1 : 2));
        return ParseBuilderArgs(words, options);
    };
    const std::pair<std::string, std::string> rows[] = {
        {without("-D"), "-D (the working folder) is missing"},
        {without("-N"), "-N (the appliance's title) is missing"},
        {without("-O"), "-O (the ROM image) is missing"},
        {without("-T"), "-T (the program's folder) is missing"},
        {without("-MB"), "-MB (the MCU body) is missing"},
        {without("a.asm"), "no files to build"},
        {ParseBuilderArgs({"-MP", "XY"}, options),
         "-MP needs the option byte in hexadecimal, not 'XY'"},
        {ParseBuilderArgs({"-X"}, options), "unknown option -X"},
        {ParseBuilderArgs({"-D"}, options), "-D needs a value"}};
    for (const auto& [problem, expected] : rows)
        EXPECT_EQ(problem, expected);
    // A clock whose parameter is empty gives "-M" alone, which is no error.
    std::vector<std::string> bareClock = good;
    bareClock[14] = "-M";
    EXPECT_EQ(ParseBuilderArgs(bareClock, options), "");
    EXPECT_EQ(options.clock, "");
    std::ostringstream out, err;
    EXPECT_EQ(RunBuilder({"-X"}, out, err), 2);
    EXPECT_EQ(err.str().rfind("tessarine-build: unknown option -X\nusage: tessarine-build ", 0),
              0u);
    EXPECT_EQ(out.str(), "");
}

TEST(ExternalBuilder, LinksWithTheBodysConfigurationAndPassesOverWhatIsNoSource) {
    test::TempFolder tools;
    tools.WriteFile("Templates/Sarnova/include/ktr640.cfg", "MEMORY {}\n");
    BuilderOptions options;
    options.title = "demo";
    options.output = "demo.rom";
    options.tools = platform::ToNativePath(tools.Path()) + "//";
    options.model = "KTR640";
    options.files = {"main.asm", "table.bin"};
    BuildPlan plan;
    ASSERT_EQ(PlanBuild(options, plan), "");
    ASSERT_EQ(plan.steps.size(), 2u);
    EXPECT_EQ(plan.steps[1].command, "ld65 -C \"" +
                                         options.tools.substr(0, options.tools.size() - 1) +
                                         "Templates/Sarnova/include/ktr640.cfg\" --dbgfile "
                                         "\"demo.sym\" -o \"demo.rom\" \"main.obj\"");
    EXPECT_EQ(plan.passedOver, (std::vector<std::string>{"table.bin"}));
    // "x.data.asm" is a "data.asm" file, which no template builds.
    options.files = {"x.data.asm", "table.bin"};
    EXPECT_EQ(PlanBuild(options, plan), "no source to assemble among the files: the builder "
                                        "makes the ROM from .asm files");
    options.files = {"main.asm"};
    options.model = "KTR999";
    EXPECT_EQ(PlanBuild(options, plan).rfind("no linker configuration for the body KTR999: ", 0),
              0u);
}

} // namespace
} // namespace bx::builder
