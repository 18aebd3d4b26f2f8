// A real build in the internal mode: the Makefile the driver writes, GNU make, ca65 and ld65
// turn a tiny appliance into a 32 KB ROM and its debug file; a syntax error comes back as a
// pane line that the click rule resolves to the file and line.
#include "appliance/Appliance.h"
#include "build/BuildDriver.h"
#include "build/MessageMonitor.h"
#include "foundation/Diagnoser.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/Cc65.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace bx {
namespace {

const char* kLinkerConfig = "MEMORY { ROM: start = $8000, size = $8000, fill = yes, file = %O; }\n"
                            "SEGMENTS {\n"
                            "    CODE: load = ROM, type = ro;\n"
                            "    VECTORS: load = ROM, type = ro, start = $FFFA;\n"
                            "}\n";

const char* kProgram = ".segment \"CODE\"\n"
                       "reset:  lda #$01\n"
                       "loop:   jmp loop\n"
                       ".segment \"VECTORS\"\n"
                       "        .word reset, reset, reset\n";

// The appliance file is written at the end of every build, so its body must be known.
const char* kSettings = R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
                        R"(<Body Model="KTR310"/></MCU></GlobalSettings>)";

class EndToEndBuildTest : public ::testing::Test {
protected:
    void SetUp() override {
        SKIP_WITHOUT_BUILD_TOOLS();
        ASSERT_TRUE(settings.LoadXml(kSettings));
        appliance.Settings = &settings;
        appliance.Family = "KTR";
        appliance.Model = "KTR310";
        work.WriteFile("rom.cfg", kLinkerConfig);
        work.WriteFile("main.asm", kProgram);
        appliance.Title = "demo";
        appliance.Folder = work.Path() + "\\";
        appliance.RunTarget()->OutputPath = "demo.rom";
        // make builds its first rule unless told the goal: the run command names the ROM.
        appliance.RunTarget()->Make = "make %o";
        appliance.AddBuildStep("main.o", "ca65 -g %i -o %o", "main.asm");
        appliance.AddBuildStep("demo.rom", "ld65 -C rom.cfg --dbgfile %n.sym -o %o %i", "main.o");
        appliance.BuildMessage.Connect([this](const std::string& text) { pane.PostMessage(text); });
        appliance.Save(true); // every product depends on the appliance file
    }

    test::TempFolder program;
    platform::ScopedProgramFolder useProgram{program.Path()};
    test::TempFolder work;
    Diagnoser diagnoser{program.Sub("vkbx.log")};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    Appliance appliance;
    MessageMonitor pane;
};

TEST_F(EndToEndBuildTest, MakefileModeBuildsTheRomAndTheDebugFile) {
    ASSERT_TRUE(Build(appliance, prompter, diagnoser)) << pane.Text();
    EXPECT_EQ(platform::FileSize(work.Sub("demo.rom")).value_or(0), 32768u);
    const std::string symbols = work.ReadFile("demo.sym");
    EXPECT_EQ(symbols.rfind("version\tmajor=2", 0), 0u) << symbols.substr(0, 80);
    EXPECT_NE(symbols.find("name=\"main.asm\""), std::string::npos);
    EXPECT_TRUE(pane.Text().ends_with("Build completed.\r\n"));
    EXPECT_TRUE(platform::FileExists(work.Sub("demo.apl")));
}

TEST_F(EndToEndBuildTest, SyntaxErrorGivesAPaneLineThatLeadsToTheFileAndLine) {
    work.WriteFile("main.asm", ".segment \"CODE\"\nreset: lda #$01\n  bogus x\n");
    EXPECT_FALSE(Build(appliance, prompter, diagnoser));
    const std::string& text = pane.Text();
    const std::size_t error = text.find("main.asm(3): Error:");
    ASSERT_NE(error, std::string::npos) << text;
    EXPECT_EQ(pane.SourceAt(error + 4), (FileLine{"main.asm", 3}));
    EXPECT_TRUE(text.ends_with("Build failed.\r\n"));
    EXPECT_FALSE(platform::FileExists(work.Sub("demo.rom")));
}

} // namespace
} // namespace bx
