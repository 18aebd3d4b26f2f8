// "tessarine-cli appliance": the JSON view of a loaded appliance, a resave that keeps the bytes
// of a file the studio wrote, and clear failures for bad input.
#include "appliance/Appliance.h"
#include "cli/CliMain.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "sim/Json.h"
#include "support/CliRunner.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <sstream>

namespace bx::cli {
namespace {

const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR310" TemplateDir="KTR310">)"
    R"(<Options Name="WDT" DisableName="Disabled" EnableName="Enabled" Map="1"/>)"
    R"(</Body></MCU></GlobalSettings>)";

using test::CliResult;
using test::RunCli;

class ApplianceCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        settingsPath = work.WriteFile("BX.gss", kSettings);
        ASSERT_TRUE(settings.LoadXml(kSettings));
    }

    // Writes an appliance the way the studio does and returns its path in the system's form.
    std::string WriteStudioFile() {
        Appliance appliance;
        appliance.Settings = &settings;
        appliance.Title = "demo";
        appliance.Family = "KTR";
        appliance.Model = "KTR310";
        appliance.ModelParam = "KTR310"; // the wizard always sets the tools' MCU token
        appliance.Folder = work.Path() + "\\";
        appliance.SetOptionAt(1, true);
        auto panel = appliance.Peripherals().Add("Panel");
        panel->Type = "SimpleUI";
        auto leds = panel->Wires.Add(panel, "LED", 0xFF);
        leds->Port = "P0";
        leds->PortMask = 0xFF;
        leds->Direction = 1;
        leds->IsConnected = true;
        appliance.BuildAssociations().Add("asm", "ca65 %i -o %o", "o");
        appliance.RunTarget()->OutputPath = "demo.rom";
        appliance.AddBuildStep("main.o", "ca65 %i -o %o", "main.asm");
        appliance.AddBuildStep("demo.rom", "ld65 %i", "main.o");
        auto group = appliance.Watches().Add("", "UserWatches");
        auto counter = appliance.Watches().Add("counter", "Symbol");
        counter->Location = "00:0010";
        group->Children().AddItem(counter);
        appliance.Breakpoints().Add(0, 0x8000, 1, 1);
        appliance.Save(true);
        return work.Sub("demo.apl");
    }

    test::TempFolder work;
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    std::string settingsPath;
};

TEST_F(ApplianceCliTest, ShowPrintsTheWholeModelAsOneJsonDocument) {
    const std::string path = WriteStudioFile();
    auto result = RunCli({"appliance", "show", work.Native().string() + "/demo.apl", "--settings",
                          work.Native().string() + "/BX.gss"});
    ASSERT_EQ(result.status, 0) << result.err;
    sim::JsonValue model = sim::ParseJson(result.out);
    EXPECT_EQ(model.Find("Title")->AsString(), "demo");
    EXPECT_EQ(model.Find("Version")->AsString(), "v 00.01.009");
    EXPECT_TRUE(model.Find("Options")->Items()[0].AsBool());
    const auto& wires = model.Find("Peripherals")->Items()[0].Find("Wires")->Items();
    ASSERT_EQ(wires.size(), 1u);
    EXPECT_EQ(wires[0].Find("key")->AsString(), "Panel-LED-000000FF");
    EXPECT_EQ(wires[0].Find("Peripheral")->AsString(), "Panel");
    // The build graph with each target's sources, and the load list with its keys.
    const auto& targets = model.Find("BuildTargets")->Items();
    ASSERT_EQ(targets.size(), 3u);
    EXPECT_EQ(targets[2].Find("key")->AsString(), "demo.rom");
    EXPECT_EQ(targets[2].Find("Sources")->Items()[0].AsString(), "main.o");
    EXPECT_TRUE(targets[1].Find("Sources")->Items().empty());
    const auto& images = model.Find("LoadImages")->Items();
    ASSERT_EQ(images.size(), 1u);
    EXPECT_EQ(images[0].Find("key")->AsString(), "demo.rom@FFFF:FFFFFFFF");
    EXPECT_NE(model.Find("NextAddress"), nullptr);
    // Watches with their children; breakpoints with their flags.
    const auto& watches = model.Find("Watches")->Items();
    ASSERT_EQ(watches.size(), 2u);
    EXPECT_EQ(watches[0].Find("key")->AsString(), "UserWatches^");
    EXPECT_EQ(watches[0].Find("Children")->Items()[0].Find("Title")->AsString(), "counter");
    EXPECT_EQ(model.Find("Breakpoints")->Items()[0].Find("Flags")->AsNumber(), 1);
    EXPECT_TRUE(model.Find("LoadResult")->AsBool());
    EXPECT_EQ(model.Members().back().first, "LoadResult") << "the load's result comes last";
}

TEST_F(ApplianceCliTest, ResaveOfAStudioFileChangesNoByte) {
    const std::string path = WriteStudioFile();
    const std::string before = work.ReadFile("demo.apl");
    auto result = RunCli({"appliance", "resave", work.Native().string() + "/demo.apl", "--settings",
                          work.Native().string() + "/BX.gss"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(work.ReadFile("demo.apl"), before);
}

TEST_F(ApplianceCliTest, ResaveWritesUnderTheTitleInTheFilesFolder) {
    work.WriteFile("sub/other.apl", R"(<Appliance Title="renamed" Version="v 00.01.009">)"
                                    R"(<Architecture Model="KTR310" Family="KTR"/></Appliance>)");
    auto result = RunCli({"appliance", "resave", work.Native().string() + "/sub/other.apl",
                          "--settings", work.Native().string() + "/BX.gss"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(platform::FileExists(work.Sub("sub\\renamed.apl")));
    EXPECT_NE(result.out.find("renamed.apl"), std::string::npos);
}

TEST_F(ApplianceCliTest, SettingsComeFromTheProgramFolderUnlessGiven) {
    WriteStudioFile();
    const std::string file = work.Native().string() + "/demo.apl";
    {
        test::TempFolder empty;
        platform::ScopedProgramFolder useEmpty(empty.Path());
        auto missing = RunCli({"appliance", "show", file});
        EXPECT_EQ(missing.status, 1);
        EXPECT_NE(missing.err.find("no global settings file"), std::string::npos) << missing.err;
    }
    platform::ScopedProgramFolder useWork(work.Path());
    EXPECT_EQ(RunCli({"appliance", "show", file}).status, 0);
}

TEST_F(ApplianceCliTest, BadInputGivesAClearMessageAndANonZeroExit) {
    const std::string folder = work.Native().string();
    const std::vector<std::string> settingsArgs = {"--settings", folder + "/BX.gss"};
    auto run = [&](std::vector<std::string> args) {
        args.insert(args.end(), settingsArgs.begin(), settingsArgs.end());
        return RunCli(args);
    };
    auto missing = run({"appliance", "show", folder + "/nothing.apl"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("no such file"), std::string::npos);

    work.WriteFile("broken.apl", "<Appliance Title=\"x\"");
    auto broken = run({"appliance", "show", folder + "/broken.apl"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("not well-formed"), std::string::npos);

    work.WriteFile("other.apl", "<Something/>");
    auto other = run({"appliance", "show", folder + "/other.apl"});
    EXPECT_EQ(other.status, 1);
    EXPECT_NE(other.err.find("no appliance file"), std::string::npos);

    // A body the settings don't know can be shown but not saved.
    work.WriteFile("alien.apl", R"(<Appliance Title="alien" Version="v 00.01.009">)"
                                R"(<Architecture Model="Z80" Family="Other"/></Appliance>)");
    EXPECT_EQ(run({"appliance", "show", folder + "/alien.apl"}).status, 0);
    auto alien = run({"appliance", "resave", folder + "/alien.apl"});
    EXPECT_EQ(alien.status, 1);
    EXPECT_NE(alien.err.find("not known"), std::string::npos);

    EXPECT_EQ(RunCli({"appliance"}).status, 2);
    EXPECT_EQ(RunCli({"appliance", "print", "x.apl"}).status, 2);
    EXPECT_EQ(RunCli({"appliance", "show", "x.apl", "--settings"}).status, 2);
}

} // namespace
} // namespace bx::cli
