// The shipped external builder: it reads the very command line the driver writes in the
// external mode, plans the same ca65 and ld65 runs as the templates' Makefile rules, and says
// what is wrong with a line it can't use.
#include "appliance/Appliance.h"
#include "build/BuildDriver.h"
#include "build/ExternalBuilder.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx::builder {
namespace {

const char* kSettings = R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
                        R"(<Body Model="KTR311" TemplateDir="KTR311" OptionsDef="$00">)"
                        R"(<OPClock Rate="4 MHz" RateParam="4" Dual="False"/>)"
                        R"(<OPClock Rate="32.768 kHz" RateParam="0.032768" Dual="False"/>)"
                        R"(<Options Name="WDT" Map="1"/><Options Name="DualClock" Map="2"/>)"
                        R"(<Options Name="UseRC" Map="4"/></Body></MCU></GlobalSettings>)";

std::vector<std::string> WordsAfterProgram(const std::string& line) {
    std::vector<std::string> words = platform::SplitCommandLine(platform::ToNativePath(line));
    words.erase(words.begin());
    return words;
}

TEST(ExternalBuilderTest, ReadsTheCommandLineTheDriverWrites) {
    test::TempFolder program;
    platform::ScopedProgramFolder useProgram(program.Path());
    test::ScriptedPrompter prompter;
    GlobalSettings settings(prompter);
    ASSERT_TRUE(settings.LoadXml(kSettings));
    Appliance appliance;
    appliance.Settings = &settings;
    appliance.Title = "demo";
    appliance.Family = "KTR";
    appliance.Model = "KTR311";
    appliance.ModelParam = "KTR311";
    appliance.OPClock = "32.768 kHz";
    appliance.ClockParam = "0.032768";
    appliance.Folder = "\\home\\me\\work\\";
    appliance.ExtBuilder = "%AppPath%\\tessarine-build";
    appliance.WDT = true;
    appliance.Option1 = true;
    appliance.Option3 = true;
    appliance.AddBuildStep("main.obj", "ca65 %i", "main.asm");
    appliance.AddBuildStep("lib.obj", "ca65 %i", "lib.asm");

    BuilderOptions options;
    ASSERT_EQ(
        ParseBuilderArgs(WordsAfterProgram(ExternalCommandLine(appliance, prompter)), options), "");
    EXPECT_EQ(options.folder, "/home/me/work//");
    EXPECT_EQ(options.title, "demo");
    EXPECT_EQ(options.output, "demo.rom");
    EXPECT_EQ(options.tools, platform::ToNativePath(program.Path()) + "//");
    EXPECT_EQ(options.model, "KTR311");
    EXPECT_EQ(options.optionByte, 0x05);
    EXPECT_FALSE(options.mainClock) << "the 32.768 kHz clock gives no -MS";
    EXPECT_FALSE(options.rcOscillator);
    EXPECT_TRUE(options.watchdog);
    EXPECT_EQ(options.clock, "0.032768");
    EXPECT_EQ(options.files, (std::vector<std::string>{"main.asm", "lib.asm"}));
}

TEST(ExternalBuilderTest, TheDocumentedExampleLineParses) {
    BuilderOptions options;
    ASSERT_EQ(ParseBuilderArgs(WordsAfterProgram("\"/opt/b/tool\" -D \"/home/me/w//\" -N "
                                                 "\"demo\" -O \"demo.rom\" -T "
                                                 "\"/opt/tessarine//\"  -MB KTR311 -MP 1F -MS "
                                                 "-MR -M2 \"main.asm\"  "),
                               options),
              "");
    EXPECT_EQ(options.optionByte, 0x1F);
    EXPECT_TRUE(options.mainClock);
    EXPECT_TRUE(options.rcOscillator);
    EXPECT_FALSE(options.watchdog);
    EXPECT_EQ(options.clock, "2");
}

TEST(ExternalBuilderTest, ALineItCantUseSaysWhatIsWrong) {
    BuilderOptions options;
    const std::vector<std::string> good{"-D",  "/w/", "-N",     "d",   "-O", "d.rom", "-T",
                                        "/p/", "-MB", "KTR310", "-MP", "0",  "-M4",   "a.asm"};
    EXPECT_EQ(ParseBuilderArgs(good, options), "");
    auto without = [&](const std::string& option) {
        std::vector<std::string> words;
        for (std::size_t i = 0; i < good.size(); ++i) {
            if (good[i] == option) {
                ++i;
                continue;
            }
            words.push_back(good[i]);
        }
        return ParseBuilderArgs(words, options);
    };
    EXPECT_EQ(without("-D"), "-D (the working folder) is missing");
    EXPECT_EQ(without("-N"), "-N (the appliance's title) is missing");
    EXPECT_EQ(without("-O"), "-O (the ROM image) is missing");
    EXPECT_EQ(without("-T"), "-T (the program's folder) is missing");
    EXPECT_EQ(without("-MB"), "-MB (the MCU body) is missing");
    EXPECT_EQ(
        ParseBuilderArgs({"-D", "/w/", "-N", "d", "-O", "d.rom", "-T", "/p/", "-MB", "K"}, options),
        "no files to build");
    EXPECT_EQ(ParseBuilderArgs({"-MP", "XY"}, options),
              "-MP needs the option byte in hexadecimal, not 'XY'");
    EXPECT_EQ(ParseBuilderArgs({"-X"}, options), "unknown option -X");
    // A clock whose parameter is empty gives "-M" alone, which is no error.
    std::vector<std::string> bareClock = good;
    bareClock[12] = "-M";
    EXPECT_EQ(ParseBuilderArgs(bareClock, options), "");
    EXPECT_EQ(options.clock, "");
    EXPECT_EQ(ParseBuilderArgs({"-D"}, options), "-D needs a value");

    std::ostringstream out, err;
    EXPECT_EQ(RunBuilder({"-X"}, out, err), 2);
    EXPECT_EQ(err.str().rfind("tessarine-build: unknown option -X\nusage: tessarine-build ", 0),
              0u);
    EXPECT_EQ(out.str(), "");
}

class BuilderPlanTest : public ::testing::Test {
protected:
    BuilderPlanTest() {
        tools.WriteFile("Templates/Sarnova/include/ktr640.cfg", "MEMORY {}\n");
        options.folder = "/w//";
        options.title = "demo";
        options.output = "demo.rom";
        options.tools = platform::ToNativePath(tools.Path()) + "//";
        options.model = "KTR640";
    }
    test::TempFolder tools;
    BuilderOptions options;
    BuildPlan plan;
};

TEST_F(BuilderPlanTest, AssemblesEachSourceAndLinksWithTheBodysConfiguration) {
    options.files = {"main.asm", "table.bin", "extra.asm"};
    ASSERT_EQ(PlanBuild(options, plan), "");
    const std::vector<ToolStep>& steps = plan.steps;
    ASSERT_EQ(steps.size(), 3u);
    // The commands of the templates' associations, the objects named as they name them.
    EXPECT_EQ(steps[0].command, "ca65 --cpu 65C02 -g -o \"main.obj\" \"main.asm\"");
    EXPECT_EQ(steps[0].product, "main.obj");
    EXPECT_EQ(steps[1].command, "ca65 --cpu 65C02 -g -o \"extra.obj\" \"extra.asm\"");
    EXPECT_EQ(steps[2].command, "ld65 -C \"" + platform::ToNativePath(tools.Path()) +
                                    "/Templates/Sarnova/include/ktr640.cfg\" --dbgfile "
                                    "\"demo.sym\" -o \"demo.rom\" \"main.obj\" \"extra.obj\"");
    EXPECT_EQ(steps[2].product, "demo.rom");
    // The Makefile has no rule for a leaf file that is no source, and neither has the builder.
    EXPECT_EQ(plan.passedOver, (std::vector<std::string>{"table.bin"}));
}

TEST_F(BuilderPlanTest, RefusesABodyWithoutConfigurationAndFilesWithoutASource) {
    options.files = {"main.asm"};
    options.model = "KTR999";
    EXPECT_EQ(PlanBuild(options, plan).rfind("no linker configuration for the body KTR999: ", 0),
              0u);
    options.model = "KTR640";
    // The kind of a file is everything behind the first dot of its name, as the association
    // table looks it up: "x.data.asm" is a "data.asm" file, which no template builds.
    options.files = {"x.data.asm", "table.bin"};
    EXPECT_EQ(PlanBuild(options, plan), "no source to assemble among the files: the builder "
                                        "makes the ROM from .asm files");
}

} // namespace
} // namespace bx::builder
