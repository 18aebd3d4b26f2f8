#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "platform/Xml.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace bx {
namespace {

class ApplianceTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(settings.LoadXml(R"(<GlobalSettings Version="v 00.00.001">)"
                                     R"(<MCU Family="KTR"><Body Model="KTR310"/></MCU>)"
                                     R"(</GlobalSettings>)"));
    }

    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};

    // An appliance of a known body whose folder is the temporary work folder.
    std::unique_ptr<Appliance> MakeAppliance(const std::string& title) {
        auto appliance = std::make_unique<Appliance>();
        appliance->Settings = &settings;
        appliance->Family = "KTR";
        appliance->Model = "KTR310";
        appliance->Title = title;
        appliance->Folder = work.Path() + "\\";
        return appliance;
    }
};

TEST_F(ApplianceTest, CreationDefaults) {
    Appliance appliance;
    EXPECT_EQ(appliance.ToolsPath(), programFolder.Path() + "\\");
    EXPECT_FALSE(appliance.IsDirty());
    EXPECT_EQ(appliance.Reserved, 0);
    EXPECT_EQ(appliance.BankStart, 16384);
    EXPECT_EQ(appliance.BankSize, 16384);
    EXPECT_EQ(appliance.BankCount, 14);
    EXPECT_EQ(appliance.ProgramStart, 0);
    EXPECT_EQ(appliance.RateMultiplier, 0);
    EXPECT_TRUE(appliance.Title.empty());
    EXPECT_TRUE(appliance.Folder.empty());
    for (int i = 1; i <= 8; ++i)
        EXPECT_FALSE(appliance.OptionAt(i));
    // Collections exist empty at first use; the run target is one object for the appliance.
    EXPECT_EQ(appliance.Peripherals().Count(), 0u);
    EXPECT_EQ(appliance.Watches().Count(), 0u);
    EXPECT_EQ(appliance.Breakpoints().Count(), 0u);
    EXPECT_EQ(appliance.LoadImages().Count(), 0u);
    EXPECT_EQ(appliance.RunTarget(), appliance.RunTarget());
    EXPECT_TRUE(appliance.RunTarget()->OutputPath.empty());
}

TEST_F(ApplianceTest, OptionsByPosition) {
    Appliance appliance;
    appliance.SetOptionAt(3, true);
    appliance.SetOptionAt(9, true); // outside 1..8: ignored
    EXPECT_TRUE(appliance.Option3);
    EXPECT_TRUE(appliance.OptionAt(3));
    EXPECT_FALSE(appliance.OptionAt(0));
    EXPECT_FALSE(appliance.OptionAt(9));
}

TEST_F(ApplianceTest, SaveWritesOnlyWhenForcedOrDirtyAndAlwaysClearsTheMark) {
    auto appliance = MakeAppliance("demo");
    const std::string file = work.Sub("demo.apl");

    appliance->Save(false);
    EXPECT_FALSE(platform::FileExists(file)) << "Save(False) with a clean model writes nothing";
    EXPECT_FALSE(appliance->IsDirty());

    appliance->Save(true);
    EXPECT_TRUE(platform::FileExists(file)) << "Save(True) writes a clean model";

    platform::DeleteFile(file);
    appliance->Touch();
    EXPECT_TRUE(appliance->IsDirty());
    appliance->Save(false);
    EXPECT_TRUE(platform::FileExists(file));
    EXPECT_FALSE(appliance->IsDirty());

    platform::XmlDocument document;
    ASSERT_TRUE(document.LoadFile(file)) << document.ErrorText();
    auto root = document.SelectSingleNode("Appliance");
    ASSERT_TRUE(root);
    EXPECT_EQ(root.AttributeOr("Title", "?"), "demo");
    EXPECT_EQ(root.AttributeOr("Version", "?"), "v 00.01.009");
}

TEST_F(ApplianceTest, SaveLandsInFolderUnderTitleAndRestoresCurrentDirectory) {
    auto appliance = MakeAppliance("first");
    const std::string before = platform::CurrentDirectory();
    appliance->Save(true);
    EXPECT_EQ(platform::CurrentDirectory(), before);

    // Renaming the title makes a new file and leaves the old one.
    appliance->Title = "second";
    appliance->Save(true);
    EXPECT_TRUE(platform::FileExists(work.Sub("first.apl")));
    EXPECT_TRUE(platform::FileExists(work.Sub("second.apl")));
    EXPECT_EQ(platform::CurrentDirectory(), before);
}

TEST_F(ApplianceTest, TitleThatLeadsOutOfTheFolderIsRefusedBeforeAnythingIsWritten) {
    std::filesystem::create_directory(work.Native() / "inner");
    for (const char* title : {"../x", "..\\..\\y", "/tmp/abs", "my app"}) {
        auto appliance = MakeAppliance(title);
        appliance->Folder = work.Sub("inner\\");
        try {
            appliance->Save(true);
            ADD_FAILURE() << title << " was saved";
        } catch (const BxError& error) {
            EXPECT_EQ(error.Description, ApplianceNameProblem(title));
        }
    }
    EXPECT_EQ(platform::ListFolder(work.Path()), std::vector<std::string>{"inner"});
    EXPECT_TRUE(platform::ListFolder(work.Sub("inner")).empty());
}

TEST_F(ApplianceTest, SaveIntoMissingFolderFailsKeepsTheMarkAndTheDirectory) {
    auto appliance = MakeAppliance("demo");
    appliance->Folder = work.Sub("no\\such\\folder\\");
    appliance->Touch();
    const std::string before = platform::CurrentDirectory();
    EXPECT_THROW(appliance->Save(false), BxError);
    EXPECT_TRUE(appliance->IsDirty()) << "nothing was saved, so nothing may be forgotten";
    EXPECT_EQ(platform::CurrentDirectory(), before);
}

TEST_F(ApplianceTest, DefaultBuildCommandUsesTheTextBehindTheFirstDot) {
    Appliance appliance;
    appliance.BuildAssociations().Add("asm", "ca65 %i", "o");
    appliance.BuildAssociations().Add("b.asm", "special", "o");
    EXPECT_EQ(appliance.DefaultBuildCommand("main.asm"), "ca65 %i");
    EXPECT_EQ(appliance.DefaultBuildCommand("a.b.asm"), "special");
    EXPECT_EQ(appliance.DefaultBuildCommand("x.c"), "") << "an unknown extension is empty";
    EXPECT_EQ(appliance.DefaultBuildCommand("noext"), "");
}

TEST_F(ApplianceTest, DefaultOutputPathDropsTheFolderOrGoesToTheRunTarget) {
    Appliance appliance;
    appliance.BuildAssociations().Add("asm", "ca65 %i", "obj");
    appliance.BuildAssociations().Add("lnk", "ld65 %i", "rom");
    appliance.BuildAssociations().Add("inc", "", "");
    appliance.RunTarget()->OutputPath = "out\\demo.ROM";

    EXPECT_EQ(appliance.DefaultOutputPath("src\\main.asm"), "main.obj");
    EXPECT_EQ(appliance.DefaultOutputPath("src\\demo.lnk"), "out\\demo.ROM")
        << "a source that makes the final product goes straight to the final output";
    EXPECT_EQ(appliance.DefaultOutputPath("defs.inc"), "") << "no product";
    EXPECT_EQ(appliance.DefaultOutputPath("my.dir\\noext"), "") << "whole text looked up";
    EXPECT_EQ(appliance.DefaultOutputPath("a.txt"), "") << "unknown extension";
}

TEST_F(ApplianceTest, EventsReachEveryConnectedHandlerInOrder) {
    Appliance appliance;
    std::vector<std::string> seen;
    appliance.BuildMessage.Connect([&](const std::string& text) { seen.push_back("1:" + text); });
    auto second = appliance.BuildMessage.Connect(
        [&](const std::string& text) { seen.push_back("2:" + text); });
    appliance.StateChange.Connect([&](int code) { seen.push_back(std::to_string(code)); });
    appliance.BuildMessage("Build completed.");
    appliance.BuildMessage.Disconnect(second);
    appliance.BuildMessage("Build failed.");
    appliance.StateChange(11001);
    EXPECT_EQ(seen, (std::vector<std::string>{"1:Build completed.", "2:Build completed.",
                                              "1:Build failed.", "11001"}));
}

} // namespace
} // namespace bx
