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
    // ld65, and the ROM's association naming its load place.
    void WriteTemplate(const std::string& body, const std::string& romWith) {
        Appliance tpl;
        tpl.Settings = &settings;
        tpl.Title = body;
        tpl.Family = "KTR";
        tpl.Model = body;
        tpl.OPClock = "4 MHz";
        tpl.ModelParam = body;
        tpl.Folder = templates.Sub(body) + "\\";
        tpl.BuildAssociations().Add("asm", "ca65 %i -o %o", "o");
        tpl.BuildAssociations().Add("o", "ld65 -C rom.cfg %i -o %o", "rom");
        tpl.BuildAssociations().Add("rom", romWith, "");
        tpl.RunTarget()->Make = "make";
        tpl.Save(true);
        std::filesystem::rename(templates.Native() / body / (body + ".apl"),
                                templates.Native() / body / (body + ".tpl"));
    }

    WizardInputs Inputs(const std::string& name, const std::string& body = "KTR310") {
        return {name, work.Sub(name), body, templates.Path(), ""};
    }

    test::TempFolder program;
    platform::ScopedProgramFolder useProgram{program.Path()};
    test::TempFolder templates;
    test::TempFolder work;
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

// ---- The dialog's texts -------------------------------------------------------------------

TEST_F(WizardTest, WorkingFolderFollowsTheNameKeepingItsParent) {
    ApplianceWizard wizard(&settings, prompter);
    ASSERT_TRUE(wizard.NewProject(templates.Path(), ""));
    EXPECT_EQ(wizard.TitleText(), "Creating An Appliance");
    EXPECT_FALSE(wizard.RomPromptVisible());
    EXPECT_EQ(wizard.WorkingFolder(), DefaultProjectsFolder());
    wizard.SetApplianceName("demo");
    EXPECT_EQ(wizard.WorkingFolder(), DefaultProjectsFolder() + "demo");

    // A picked folder, then a name change: the picked folder stays the parent.
    wizard.FolderPicked("D:\\work");
    EXPECT_EQ(wizard.WorkingFolder(), "D:\\work\\demo");
    wizard.SetApplianceName("blink");
    EXPECT_EQ(wizard.WorkingFolder(), "D:\\work\\blink");
    // A drive's root and a cancelled picker change nothing.
    wizard.FolderPicked("E:\\");
    wizard.FolderPicked("");
    EXPECT_EQ(wizard.WorkingFolder(), "D:\\work\\blink");
    // A text with no "\" is kept whole and the name goes behind it.
    wizard.SetWorkingFolder("abc");
    wizard.SetApplianceName("x");
    EXPECT_EQ(wizard.WorkingFolder(), "abcx");
}

TEST_F(WizardTest, LoadListsTheBodiesAndActivateSelectsTheFirst) {
    ApplianceWizard wizard(&settings, prompter);
    wizard.NewProject(templates.Path(), "");
    wizard.Load();
    wizard.Activate();
    EXPECT_EQ(wizard.BodyList(), (std::vector<std::string>{"KTR310", "KTR640"}));
    EXPECT_EQ(wizard.SelectedBody(), 0);
    EXPECT_EQ(wizard.FirstSource(), "main.asm");
    EXPECT_TRUE(wizard.Cancelled());
}

TEST_F(WizardTest, SettingsWithoutBodiesShowTheErrorAndLeaveTheListEmpty) {
    test::ScriptedPrompter quiet;
    GlobalSettings refused(quiet);
    ApplianceWizard wizard(&refused, prompter);
    wizard.NewProject(templates.Path(), "");
    wizard.Load();
    wizard.Activate();
    EXPECT_TRUE(wizard.BodyList().empty());
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Error");
    EXPECT_EQ(prompter.Boxes()[0].text,
              "The global template file is not found at the Tessarine's main directory");
    // Done without a body asks for one and stays.
    EXPECT_EQ(wizard.Done(), ApplianceWizard::DoneResult::StayInDialog);
    EXPECT_EQ(prompter.Boxes().back().text, "Please select one of the MCU body types");
    EXPECT_EQ(prompter.Boxes().back().title, "Warning");
}

// ---- The ordinary form --------------------------------------------------------------------

TEST_F(WizardTest, NewApplianceFollowsTheAssociationChainToTheRomAndItsLoadPlace) {
    auto appliance = CreateAppliance(settings, prompter, Inputs("demo"));
    ASSERT_TRUE(appliance);
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_EQ(appliance->Title, "demo");
    EXPECT_EQ(appliance->Folder, work.Sub("demo") + "\\");
    EXPECT_EQ(appliance->RunTarget()->OutputPath, "demo.rom");
    EXPECT_EQ(appliance->RunTarget()->Make, "make");

    std::vector<std::string> steps;
    for (const auto& entry : appliance->BuildTargets())
        steps.push_back(entry.key + " <- " + entry.item->Make);
    EXPECT_EQ(steps, (std::vector<std::string>{"main.o <- ca65 %i -o %o", "main.asm <- ",
                                               "demo.rom <- ld65 -C rom.cfg %i -o %o"}));
    ASSERT_EQ(appliance->LoadImages().Count(), 1u);
    const auto& image = *appliance->LoadImages().begin()->item;
    EXPECT_EQ(image.Content->OutputPath, "demo.rom");
    EXPECT_EQ(image.Bank, 0);
    EXPECT_EQ(image.Start, 0x8000);
    EXPECT_EQ(image.Size, 16384);
}

TEST_F(WizardTest, NewApplianceTakesTheBodysValuesAndTheSettingsInUseFlags) {
    auto appliance = CreateAppliance(settings, prompter, Inputs("demo"));
    ASSERT_TRUE(appliance);
    EXPECT_EQ(appliance->TemplateDir, templates.Path() + "\\KTR310\\");
    EXPECT_EQ(appliance->IceEmuNumber, 7);
    EXPECT_TRUE(appliance->WizardYesFlag);
    EXPECT_EQ(appliance->BankStart, 49152);
    EXPECT_EQ(appliance->BankSize, 16384);
    EXPECT_EQ(appliance->BankCount, 6);
    EXPECT_EQ(appliance->BootVect, 0xFFF0);
    EXPECT_EQ(appliance->ProgramStart, 0x4000);
    EXPECT_EQ(appliance->OptionsDef, 5);
    EXPECT_TRUE(appliance->ExtBuilderInUse);
    EXPECT_FALSE(appliance->ExtDebuggerInUse);
    EXPECT_TRUE(appliance->ExtEditorInUse);
}

TEST_F(WizardTest, NewFolderGetsTheTemplateFilesAndSubfoldersButNoTemplatesAndNoApplianceFile) {
    ASSERT_TRUE(CreateAppliance(settings, prompter, Inputs("demo")));
    EXPECT_EQ(platform::ListFolder(work.Sub("demo")),
              (std::vector<std::string>{"cfg", "main.asm", "sfr.inc"}));
    EXPECT_EQ(work.ReadFile("demo/cfg/rom.cfg"), "MEMORY {}\n");
}

TEST_F(WizardTest, ExistingWorkingFolderIsRefusedEvenWhenEmpty) {
    std::filesystem::create_directory(work.Native() / "taken");
    ApplianceWizard wizard(&settings, prompter);
    wizard.NewProject(templates.Path(), "");
    wizard.Load();
    wizard.Activate();
    wizard.SetApplianceName("taken");
    wizard.SetWorkingFolder(work.Sub("taken"));
    EXPECT_EQ(wizard.Done(), ApplianceWizard::DoneResult::StayInDialog);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Appliance Wizard");
    EXPECT_EQ(prompter.Boxes()[0].text, "Directory already exists or directory is read-only. "
                                        "Please select another directory.");
    EXPECT_TRUE(wizard.Cancelled());
    EXPECT_FALSE(wizard.TakeAppliance());
    // Another folder in the same dialog goes through, with a "\" put behind it.
    wizard.SetWorkingFolder(work.Sub("fresh"));
    EXPECT_EQ(wizard.Done(), ApplianceWizard::DoneResult::Created);
    EXPECT_FALSE(wizard.Cancelled());
    EXPECT_EQ(wizard.WorkingFolder(), work.Sub("fresh") + "\\");
}

TEST_F(WizardTest, NameTheBuildCannotCarryIsRefusedBeforeTheFolderIsMade) {
    for (const char* name : {"../esc", "my app", "a'b"}) {
        prompter = test::ScriptedPrompter();
        EXPECT_FALSE(CreateAppliance(settings, prompter, Inputs(name)));
        ASSERT_EQ(prompter.Boxes().size(), 1u) << name;
        EXPECT_EQ(prompter.Boxes()[0].title, "Appliance Wizard");
        EXPECT_EQ(prompter.Boxes()[0].text, ApplianceNameProblem(name));
    }
    EXPECT_TRUE(platform::ListFolder(work.Path()).empty());
}

TEST_F(WizardTest, EmptyAssociationTableGivesNoStepsAndLabelsMainAsmWithoutAPlace) {
    Appliance tpl;
    tpl.Settings = &settings;
    tpl.Title = "KTR640";
    tpl.Family = "KTR";
    tpl.Model = "KTR640";
    tpl.Folder = templates.Sub("KTR640") + "\\";
    std::filesystem::create_directories(templates.Native() / "KTR640");
    tpl.Save(true);
    std::filesystem::rename(templates.Native() / "KTR640" / "KTR640.apl",
                            templates.Native() / "KTR640" / "KTR640.tpl");
    auto appliance = CreateAppliance(settings, prompter, Inputs("bare", "KTR640"));
    ASSERT_TRUE(appliance);
    ASSERT_EQ(appliance->BuildTargets().Count(), 1u); // the labelled file only, no step
    EXPECT_TRUE(appliance->BuildTargets().Item("main.asm")->Make.empty());
    ASSERT_EQ(appliance->LoadImages().Count(), 1u);
    const auto& image = *appliance->LoadImages().begin()->item;
    EXPECT_EQ(image.Content->OutputPath, "main.asm");
    EXPECT_EQ(image.Bank, -1);
    EXPECT_EQ(image.Start, -1);
    // Its defaults where the body has no values: window at $4000.
    EXPECT_EQ(appliance->BankStart, 16384);
    EXPECT_FALSE(appliance->WizardYesFlag);
    // The folder held only the template itself: nothing left to copy after it goes.
    EXPECT_TRUE(platform::ListFolder(work.Sub("bare")).empty());
}

TEST_F(WizardTest, MissingTemplateFolderWarnsAndStillGivesTheAppliance) {
    auto appliance = CreateAppliance(settings, prompter, Inputs("lonely", "KTR640"));
    ASSERT_TRUE(appliance);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Warning");
    EXPECT_EQ(prompter.Boxes()[0].text, "No file is found at the template directory: " +
                                            (templates.Native() / "KTR640").string() + "/");
    EXPECT_TRUE(platform::FolderExists(work.Sub("lonely")));
    EXPECT_TRUE(platform::ListFolder(work.Sub("lonely")).empty());
}

TEST_F(WizardTest, TemplateThatCannotBeLoadedEndsTheDialogStillCancelled) {
    templates.WriteFile("KTR310/KTR310.tpl", "this is not XML <");
    ApplianceWizard wizard(&settings, prompter);
    wizard.NewProject(templates.Path(), "");
    wizard.Load();
    wizard.Activate();
    wizard.SetApplianceName("broken");
    wizard.SetWorkingFolder(work.Sub("broken"));
    EXPECT_EQ(wizard.Done(), ApplianceWizard::DoneResult::Unloaded);
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, kApplicationTitle);
    EXPECT_EQ(prompter.Boxes()[0].text, "Cannot load body-specific template file.");
    EXPECT_TRUE(wizard.Cancelled());
    EXPECT_FALSE(platform::FolderExists(work.Sub("broken")));
}

TEST_F(WizardTest, UnknownBodyIsNoSelectionAndTheWizardAsksForOne) {
    EXPECT_FALSE(CreateAppliance(settings, prompter, Inputs("x", "KTR999")));
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].text, "Please select one of the MCU body types");
}

// ---- The ROM image form -------------------------------------------------------------------

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

TEST_F(WizardTest, RomPathThatDoesNotExistIsRefusedBeforeTheDialogShows) {
    ApplianceWizard wizard(&settings, prompter);
    EXPECT_FALSE(wizard.NewProject(templates.Path(), work.Sub("gone.rom")));
    ASSERT_EQ(prompter.Boxes().size(), 1u);
    EXPECT_EQ(prompter.Boxes()[0].title, "Warning");
    EXPECT_EQ(prompter.Boxes()[0].text,
              "Incorrect ROM image path : " + (work.Native() / "gone.rom").string());
    EXPECT_TRUE(wizard.RomImagePath().empty());
    EXPECT_FALSE(wizard.Visible());
    EXPECT_TRUE(wizard.Cancelled());
}

// ---- The load place -----------------------------------------------------------------------

TEST(LoadPlace, ColonMustStandAfterTheFirstAndBeforeTheLastTwoCharacters) {
    struct Case {
        const char* with;
        int32_t bank, address;
    };
    for (const Case& c : {Case{"00:4000", 0, 0x4000}, Case{"02:C000", 2, 0xC000},
                          Case{"0:40", 0, 0x40}, Case{"0:4", -1, -1}, Case{"00:", -1, -1},
                          Case{":4000", -1, -1}, Case{"8000", -1, -1}, Case{"", -1, -1}}) {
        const LoadPlace place = ParseLoadPlace(c.with);
        EXPECT_EQ(place.Bank, c.bank) << c.with;
        EXPECT_EQ(place.Address, c.address) << c.with;
    }
}

TEST_F(WizardTest, ChainEndingInAnUnusableLoadPlaceLeavesTheRomWithoutAPlace) {
    WriteTemplate("KTR310", "0:4");
    auto appliance = CreateAppliance(settings, prompter, Inputs("short"));
    ASSERT_TRUE(appliance);
    const auto& image = *appliance->LoadImages().begin()->item;
    EXPECT_EQ(image.Content->OutputPath, "short.rom");
    EXPECT_EQ(image.Bank, -1);
    EXPECT_EQ(image.Start, -1);
}

} // namespace
} // namespace bx
