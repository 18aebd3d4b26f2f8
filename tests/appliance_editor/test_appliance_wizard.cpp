// The new-appliance wizard without its window: the working folder that follows the name, the
// two forms of the dialog, the association chain with its load place, the template files that
// reach the new folder, and every message the wizard shows.
#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceWizard.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace bx {
namespace {

const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
    R"(<Body Model="KTR310" TemplateDir="KTR310" TemplateFile="KTR310.tpl" IceEmuNo="7")"
    R"( HasWDT="Yes" BootVect="$FFF0" ProgramStart="$4000" OptionsDef="$05")"
    R"( BankMode="$C000-$FFFF" BankCount="6">)"
    R"(<OPClock Rate="4 MHz" RateParam="2" Dual="False"/></Body>)"
    R"(<Body Model="KTR640" TemplateDir="KTR640" TemplateFile="KTR640.tpl" IceEmuNo="24")"
    R"( HasWDT="No"/>)"
    R"(</MCU><External><ExtEditor Command="" InUse="True"/><ExtBuilder Command="" InUse="True"/>)"
    R"(<ExtDebugger Driver="" InUse="False"/></External></GlobalSettings>)";

class WizardTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(settings.LoadXml(kSettings));
        templates.WriteFile("KTR310/main.asm", "; start\n");
        templates.WriteFile("KTR310/sfr.inc", "P0 = $00\n");
        templates.WriteFile("KTR310/cfg/rom.cfg", "MEMORY {}\n");
        templates.WriteFile("KTR310/other.tpl", "not copied\n");
        WriteTemplate("KTR310", "00:8000");
    }

    // The body's template appliance: assemble .asm to .o with ca65, link .o to the ROM with
    // ld65, and the ROM's association naming its load place (or no associations at all).
    void WriteTemplate(const std::string& body, const std::string& romWith,
                       bool associations = true) {
        const std::string chain =
            R"(<Assoc From="asm" To="o" With="ca65 %i -o %o"/><Assoc From="o" To="rom")"
            R"( With="ld65 -C rom.cfg %i -o %o"/><Assoc From="rom" To="" With=")" +
            romWith + R"("/>)";
        templates.WriteFile(body + "/" + body + ".tpl",
                            R"(<Appliance Title="t" Version="v 00.01.009"><Architecture Model=")" +
                                body + R"(" Family="KTR" OPClock=")" +
                                (associations ? "4 MHz" : "") + R"("/><Code><Common>)" +
                                (associations ? chain : "") + R"(</Common><Build><Run Make=")" +
                                (associations ? "make" : "") +
                                R"(" Output=""/></Build></Code></Appliance>)");
    }
    WizardInputs Inputs(const std::string& name, const std::string& body = "KTR310") {
        return {name, work.Sub(name), body, templates.Path(), ""};
    }
    // The dialog as shown: set up, loaded, activated.
    std::unique_ptr<ApplianceWizard> Shown(GlobalSettings* with = nullptr) {
        auto wizard = std::make_unique<ApplianceWizard>(with ? with : &settings, prompter);
        EXPECT_TRUE(wizard->NewProject(templates.Path(), ""));
        wizard->Load();
        wizard->Activate();
        return wizard;
    }
    void ExpectLastBox(const std::string& title, const std::string& text) {
        ASSERT_FALSE(prompter.Boxes().empty());
        EXPECT_EQ(prompter.Boxes().back().title, title);
        EXPECT_EQ(prompter.Boxes().back().text, text);
    }

    test::TempFolder program;
    platform::ScopedProgramFolder useProgram{program.Path()};
    test::TempFolder templates;
    test::TempFolder work;
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

TEST_F(WizardTest, TheDialogListsTheBodiesAndTheWorkingFolderFollowsTheName) {
    auto wizard = Shown();
    EXPECT_EQ(wizard->TitleText(), "Creating An Appliance");
    EXPECT_FALSE(wizard->RomPromptVisible());
    EXPECT_EQ(wizard->BodyList(), (std::vector<std::string>{"KTR310", "KTR640"}));
    EXPECT_EQ(wizard->SelectedBody(), 0);
    EXPECT_EQ(wizard->FirstSource(), "main.asm");
    EXPECT_TRUE(wizard->Cancelled());
    EXPECT_EQ(wizard->WorkingFolder(), DefaultProjectsFolder());
    wizard->SetApplianceName("demo");
    EXPECT_EQ(wizard->WorkingFolder(), DefaultProjectsFolder() + "demo");

    // A picked folder, then a name change: the picked folder stays the parent.
    wizard->FolderPicked("D:\\work");
    EXPECT_EQ(wizard->WorkingFolder(), "D:\\work\\demo");
    wizard->SetApplianceName("blink");
    EXPECT_EQ(wizard->WorkingFolder(), "D:\\work\\blink");
    // A drive's root and a cancelled picker change nothing.
    wizard->FolderPicked("E:\\");
    wizard->FolderPicked("");
    EXPECT_EQ(wizard->WorkingFolder(), "D:\\work\\blink");
    // A text with no "\" is kept whole and the name goes behind it.
    wizard->SetWorkingFolder("abc");
    wizard->SetApplianceName("x");
    EXPECT_EQ(wizard->WorkingFolder(), "abcx");

    // Done in a folder that exists stays in the dialog; another folder then goes through.
    wizard->SetWorkingFolder(work.Path());
    EXPECT_EQ(wizard->Done(), ApplianceWizard::DoneResult::StayInDialog);
    EXPECT_TRUE(wizard->Cancelled());
    EXPECT_FALSE(wizard->TakeAppliance());
    wizard->SetWorkingFolder(work.Sub("fresh"));
    EXPECT_EQ(wizard->Done(), ApplianceWizard::DoneResult::Created);
    EXPECT_FALSE(wizard->Cancelled());
    EXPECT_EQ(wizard->WorkingFolder(), work.Sub("fresh") + "\\");
}

TEST_F(WizardTest, SettingsWithoutBodiesShowTheErrorAndDoneAsksForABody) {
    test::ScriptedPrompter quiet;
    GlobalSettings refused(quiet);
    auto wizard = Shown(&refused);
    EXPECT_TRUE(wizard->BodyList().empty());
    ExpectLastBox("Error",
                  "The global template file is not found at the Tessarine's main directory");
    EXPECT_EQ(wizard->Done(), ApplianceWizard::DoneResult::StayInDialog);
    ExpectLastBox("Warning", "Please select one of the MCU body types");
}

TEST_F(WizardTest, NewApplianceFollowsTheChainTakesTheBodysValuesAndTheTemplateFiles) {
    auto appliance = CreateAppliance(settings, prompter, Inputs("demo"));
    ASSERT_TRUE(appliance);
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(appliance->Title, "demo");
    EXPECT_EQ(appliance->Folder, work.Sub("demo") + "\\");
    EXPECT_EQ(appliance->TemplateDir, templates.Path() + "\\KTR310\\");
    EXPECT_EQ(appliance->IceEmuNumber, 7);
    EXPECT_TRUE(appliance->WizardYesFlag);
    // The body's values, the settings' in-use flags, and the chain's steps and load place.
    const std::string text = appliance->ToXml();
    for (const char* fragment :
         {R"(BankStart="$C000" BankSize="$4000" BankCount="6" BootVect="$FFF0")"
          R"( ProgramStart="$4000" OptionsDef="$05")",
          R"(<ExtEditor Command="" InUse="True"/><ExtBuilder Command="" InUse="True"/>)",
          R"(<Run Make="make" Output="demo.rom"/><Step Make="ca65 %i -o %o" Output="main.o">)"
          R"(<Source>main.asm</Source></Step><Step Make="ld65 -C rom.cfg %i -o %o")"
          R"( Output="demo.rom"><Source>main.o</Source></Step><Load Image="demo.rom")"
          R"( Offset="0" Bank="0" Start="8000" Size="4000"/></Build>)",
          R"(<ExtDebugger Driver="" InUse="False"/>)"})
        EXPECT_NE(text.find(fragment), std::string::npos) << fragment << "\nin\n" << text;

    // Files and subfolders, but no templates and no appliance file.
    EXPECT_EQ(platform::ListFolder(work.Sub("demo")),
              (std::vector<std::string>{"cfg", "main.asm", "sfr.inc"}));
    EXPECT_EQ(work.ReadFile("demo/cfg/rom.cfg"), "MEMORY {}\n");
}

TEST_F(WizardTest, ATemplateWithoutAssociationsOrWithAnUnusableLoadPlaceLeavesTheImageUnplaced) {
    WriteTemplate("KTR640", "", false);
    auto bare = CreateAppliance(settings, prompter, Inputs("bare", "KTR640"));
    ASSERT_TRUE(bare);
    ASSERT_EQ(bare->BuildTargets().Count(), 1u); // the labelled file only, no step
    EXPECT_EQ(bare->LoadImages().At(0).key, "main.asm@FFFF:FFFFFFFF");
    EXPECT_EQ(bare->BankStart, 0x4000) << "the default where the body has no values";
    EXPECT_FALSE(bare->WizardYesFlag);
    EXPECT_TRUE(platform::ListFolder(work.Sub("bare")).empty()) << "nothing but the template";

    WriteTemplate("KTR310", "0:4");
    auto unplaced = CreateAppliance(settings, prompter, Inputs("short"));
    ASSERT_TRUE(unplaced);
    EXPECT_EQ(unplaced->LoadImages().At(0).key, "short.rom@FFFF:FFFFFFFF");
}

TEST(LoadPlace, ColonMustStandAfterTheFirstAndBeforeTheLastTwoCharacters) {
    const struct {
        const char* with;
        int32_t bank, address;
    } rows[] = {{"00:4000", 0, 0x4000}, {"02:C000", 2, 0xC000}, {"0:40", 0, 0x40}, {"0:4", -1, -1},
                {"00:", -1, -1},        {":4000", -1, -1},      {"8000", -1, -1},  {"", -1, -1}};
    for (const auto& row : rows) {
        EXPECT_EQ(ParseLoadPlace(row.with).Bank, row.bank) << row.with;
        EXPECT_EQ(ParseLoadPlace(row.with).Address, row.address) << row.with;
    }
}

// Each row: what is wrong, the box the wizard shows, and whether an appliance still comes out.
TEST_F(WizardTest, EveryMessageOfTheWizard) {
    std::filesystem::create_directory(work.Native() / "taken");
    const struct {
        const char* name;
        const char* body;
        const char* rom;
        bool brokenTemplate, made;
        std::string title, text;
    } rows[] = {
        {"taken", "KTR310", "", false, false, "Appliance Wizard",
         "Directory already exists or directory is read-only. Please select another directory."},
        {"../esc", "KTR310", "", false, false, "Appliance Wizard", ApplianceNameProblem("../esc")},
        {"a'b", "KTR310", "", false, false, "Appliance Wizard", ApplianceNameProblem("a'b")},
        {"x", "KTR999", "", false, false, "Warning", "Please select one of the MCU body types"},
        {"x", "KTR310", "gone.rom", false, false, "Warning",
         "Incorrect ROM image path : " + (work.Native() / "gone.rom").string()},
        {"lonely", "KTR640", "", false, true, "Warning",
         "No file is found at the template directory: " + (templates.Native() / "KTR640").string() +
             "/"},
        {"broken", "KTR310", "", true, false, kApplicationTitle,
         "Cannot load body-specific template file."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.brokenTemplate)
            templates.WriteFile("KTR310/KTR310.tpl", "this is not XML <");
        prompter = test::ScriptedPrompter();
        WizardInputs inputs = Inputs(row.name, row.body);
        if (*row.rom)
            inputs.RomImagePath = work.Sub(row.rom);
        EXPECT_EQ(CreateAppliance(settings, prompter, inputs) != nullptr, row.made);
        ASSERT_EQ(prompter.Boxes().size(), 1u);
        ExpectLastBox(row.title, row.text);
        EXPECT_EQ(platform::FolderExists(work.Sub(row.name)),
                  row.made || std::string(row.name) == "taken");
    }
    EXPECT_EQ(platform::ListFolder(work.Path()), (std::vector<std::string>{"lonely", "taken"}));
}

TEST_F(WizardTest, RomFormTakesItsNameFromTheImageAndCopiesIt) {
    const std::string rom = work.WriteFile("images\\game.v2.rom", std::string(32768, '\xEA'));
    ApplianceWizard wizard(&settings, prompter);
    platform::ScopedCurrentDirectory keep;
    ASSERT_TRUE(platform::SetCurrentDirectory(work.Path()));
    ASSERT_TRUE(wizard.NewProject(templates.Path(), rom));
    EXPECT_EQ(wizard.TitleText(), "Creating An Appliance for ROM Image");
    EXPECT_TRUE(wizard.RomPromptVisible());
    EXPECT_EQ(wizard.RomPrompt(), "Rom Image : game.v2.rom");
    EXPECT_EQ(wizard.ApplianceName(), "game");
    EXPECT_EQ(wizard.WorkingFolder(), platform::CurrentDirectory() + "\\game");

    wizard.Load();
    wizard.Activate();
    ASSERT_EQ(wizard.Done(), ApplianceWizard::DoneResult::Created);
    auto appliance = wizard.TakeAppliance();
    ASSERT_TRUE(appliance);
    const std::string folder = work.Sub("game") + "\\";
    EXPECT_EQ(appliance->RunTarget()->OutputPath, folder + "game.v2.rom");
    EXPECT_EQ(platform::FileSize(folder + "game.v2.rom").value_or(0), 32768u);
    EXPECT_TRUE(appliance->BuildTargets().Empty());
    EXPECT_EQ(appliance->ClockParam, "2");
}

TEST_F(WizardTest, FailureAfterTheFolderWasMadeTakesTheFolderAndItsNewParentsAway) {
    // A template whose clock the body lacks: the ROM form's clock lookup fails after the
    // folder (and its missing parent) was made.
    const std::string tpl = templates.ReadFile("KTR310/KTR310.tpl");
    templates.WriteFile("KTR310/KTR310.tpl", tpl.substr(0, tpl.find("4 MHz")) + "9 MHz" +
                                                 tpl.substr(tpl.find("4 MHz") + 5));
    WizardInputs inputs = Inputs("game");
    inputs.WorkingFolder = work.Sub("new\\game");
    inputs.RomImagePath = templates.WriteFile("game.rom", "x");
    EXPECT_THROW(CreateAppliance(settings, prompter, inputs), BxError);
    EXPECT_TRUE(platform::ListFolder(work.Path()).empty());

    // A save that fails after a successful Done takes the same way out.
    std::string created;
    auto appliance = CreateAppliance(settings, prompter, Inputs("demo"), &created);
    ASSERT_TRUE(appliance);
    EXPECT_EQ(created, work.Sub("demo"));
    appliance->Model = "KTR999";
    EXPECT_THROW(SaveNewAppliance(*appliance, created), BxError);
    EXPECT_TRUE(platform::ListFolder(work.Path()).empty());
}

} // namespace
} // namespace bx
