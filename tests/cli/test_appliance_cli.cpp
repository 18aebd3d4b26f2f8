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

namespace bx::cli {
namespace {

const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR310" TemplateDir="KTR310">)"
    R"(<Options Name="WDT" DisableName="Disabled" EnableName="Enabled" Map="1"/>)"
    R"(</Body></MCU></GlobalSettings>)";

using test::RunCli;

class ApplianceCliTest : public ::testing::Test {
protected:
    void SetUp() override {
        work.WriteFile("BX.gss", kSettings);
        ASSERT_TRUE(settings.LoadXml(kSettings));
    }
    // Runs a command with the settings given and the appliance file named in the system's form.
    test::CliResult Run(const std::string& command, const std::string& file) {
        return RunCli({"appliance", command, Native(file), "--settings", Native("BX.gss")});
    }
    std::string Native(const std::string& name) const { return (work.Native() / name).string(); }

    test::TempFolder work;
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

TEST_F(ApplianceCliTest, ShowPrintsTheWholeModelAsJsonAndResaveOfAStudioFileChangesNoByte) {
    // An appliance written the way the studio writes it.
    Appliance appliance;
    appliance.Settings = &settings;
    appliance.Title = "demo";
    appliance.Family = "KTR";
    appliance.Model = appliance.ModelParam = "KTR310";
    appliance.Folder = work.Path() + "\\";
    appliance.SetOptionAt(1, true);
    auto panel = appliance.Peripherals().Add("Panel");
    panel->Type = "SimpleUI";
    auto leds = panel->Wires.Add(panel, "LED", 0xFF);
    leds->Port = "P0";
    leds->IsConnected = true;
    appliance.RunTarget()->OutputPath = "demo.rom";
    appliance.AddBuildStep("main.o", "ca65 %i -o %o", "main.asm");
    appliance.AddBuildStep("demo.rom", "ld65 %i", "main.o");
    auto group = appliance.Watches().Add("", "UserWatches");
    auto counter = appliance.Watches().Add("counter", "Symbol");
    group->Children().AddItem(counter);
    appliance.Breakpoints().Add(0, 0x8000, 1, 1);
    appliance.Save(true);
    const std::string before = work.ReadFile("demo.apl");

    auto result = Run("show", "demo.apl");
    ASSERT_EQ(result.status, 0) << result.err;
    sim::JsonValue model = sim::ParseJson(result.out);
    EXPECT_EQ(model.Find("Title")->AsString(), "demo");
    EXPECT_EQ(model.Find("Version")->AsString(), "v 00.01.009");
    EXPECT_TRUE(model.Find("Options")->Items()[0].AsBool());
    const auto& wire = model.Find("Peripherals")->Items()[0].Find("Wires")->Items().at(0);
    EXPECT_EQ(wire.Find("key")->AsString(), "Panel-LED-000000FF");
    // The build graph with each target's sources, and the load list with its keys.
    const auto& targets = model.Find("BuildTargets")->Items();
    ASSERT_EQ(targets.size(), 3u);
    EXPECT_EQ(targets[2].Find("key")->AsString(), "demo.rom");
    EXPECT_EQ(targets[2].Find("Sources")->Items()[0].AsString(), "main.o");
    EXPECT_EQ(model.Find("LoadImages")->Items().at(0).Find("key")->AsString(),
              "demo.rom@FFFF:FFFFFFFF");
    // Watches with their children; breakpoints with their flags; the load's result last.
    const auto& watches = model.Find("Watches")->Items();
    ASSERT_EQ(watches.size(), 2u);
    EXPECT_EQ(watches[0].Find("Children")->Items()[0].Find("Title")->AsString(), "counter");
    EXPECT_EQ(model.Find("Breakpoints")->Items()[0].Find("Flags")->AsNumber(), 1);
    EXPECT_EQ(model.Members().back().first, "LoadResult");
    EXPECT_TRUE(model.Members().back().second.AsBool());

    ASSERT_EQ(Run("resave", "demo.apl").status, 0);
    EXPECT_EQ(work.ReadFile("demo.apl"), before);
    // Without --settings the program folder's settings are read.
    platform::ScopedProgramFolder useWork(work.Path());
    EXPECT_EQ(RunCli({"appliance", "show", Native("demo.apl")}).status, 0);
}

TEST_F(ApplianceCliTest, ResaveWritesUnderTheTitleInTheFilesFolder) {
    work.WriteFile("sub/other.apl", R"(<Appliance Title="renamed" Version="v 00.01.009">)"
                                    R"(<Architecture Model="KTR310" Family="KTR"/></Appliance>)");
    auto result = Run("resave", "sub/other.apl");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(platform::FileExists(work.Sub("sub\\renamed.apl")));
    EXPECT_NE(result.out.find("renamed.apl"), std::string::npos);
}

TEST_F(ApplianceCliTest, BadInputGivesAClearMessageAndANonZeroExit) {
    work.WriteFile("broken.apl", "<Appliance Title=\"x\"");
    work.WriteFile("other.apl", "<Something/>");
    // A body the settings don't know can be shown but not saved.
    work.WriteFile("alien.apl", R"(<Appliance Title="alien" Version="v 00.01.009">)"
                                R"(<Architecture Model="Z80" Family="Other"/></Appliance>)");
    EXPECT_EQ(Run("show", "alien.apl").status, 0);
    test::TempFolder empty;
    platform::ScopedProgramFolder noSettings(empty.Path());
    const std::tuple<test::CliResult, int, std::string> rows[] = {
        {Run("show", "nothing.apl"), 1, "no such file"},
        {Run("show", "broken.apl"), 1, "not well-formed"},
        {Run("show", "other.apl"), 1, "no appliance file"},
        {Run("resave", "alien.apl"), 1, "not known"},
        {RunCli({"appliance", "show", Native("alien.apl")}), 1, "no global settings file"},
        {RunCli({"appliance"}), 2, "usage: tessarine-cli appliance"},
        {RunCli({"appliance", "print", "x.apl"}), 2,
         "tessarine-cli appliance: unknown command \"print\"\nusage: tessarine-cli appliance"},
        {RunCli({"appliance", "show", "x.apl", "--settings"}), 2,
         "usage: tessarine-cli appliance"}};
    for (const auto& [result, status, message] : rows) {
        EXPECT_EQ(result.status, status) << message;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
}

} // namespace
} // namespace bx::cli
