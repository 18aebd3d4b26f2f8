// The shipped BX.gss and the body template folders, as the build's program folder holds them:
// the settings load without a box, every body's template folder is there, and each template
// appliance describes the board the simulator models (docs/hardware.md).
#include "ShippedProgram.h"
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

struct BodyFacts {
    const char* model;
    int16_t bankMode;
    int32_t bankCount;
    int32_t programStart;
    int32_t bankStart;
    const char* loadPlace;
    const char* linkerConfig;
};

const BodyFacts kBodies[] = {{"KTR310", 0, 4, 0x8000, 0x4000, "00:8000", "ktr310.cfg"},
                             {"KTR311", 0, 14, 0x8000, 0x4000, "00:8000", "ktr311.cfg"},
                             {"KTR640", 1, 62, 0x4000, 0xC000, "00:4000", "ktr640.cfg"}};

std::string ProgramPath() {
    return platform::FromNativePath(test::BuiltProgramFolder().string());
}

class ShippedSettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(settings.Load(ProgramPath() + "\\" + GlobalSettings::kFileName));
    }
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

TEST_F(ShippedSettingsTest, LoadsWithoutABoxAndHoldsTheThreeBodies) {
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_FALSE(settings.IsDirty());
    ASSERT_NE(settings.Bodies, nullptr);
    EXPECT_EQ(settings.Families, (std::vector<std::string>{"KTR"}));
    ASSERT_EQ(settings.Bodies->Count(), 3u);
    for (const BodyFacts& facts : kBodies) {
        SCOPED_TRACE(facts.model);
        auto body = settings.BodiesByFamily.Item("KTR")->Item(facts.model);
        ASSERT_NE(body, nullptr);
        EXPECT_EQ(body->TemplateDir, std::string(facts.model) + "\\");
        EXPECT_EQ(body->TemplateFile, std::string(facts.model) + ".tpl");
        EXPECT_EQ(body->BankMode, facts.bankMode);
        EXPECT_EQ(body->BankCount, facts.bankCount);
        EXPECT_EQ(body->ProgramStart, facts.programStart);
        EXPECT_EQ(body->BootVect, 0xFFFC);
        EXPECT_EQ(body->HasWDT, "Yes");
        // The sub-clock alone, and a dual-clock entry written with "/".
        auto subClock = body->Clockrates.Item("32.768 kHz");
        ASSERT_NE(subClock, nullptr);
        EXPECT_FALSE(subClock->Dual);
        bool dualWithSlash = false;
        for (const auto& clock : body->Clockrates)
            if (clock.item->Dual && clock.item->Clockrate.find('/') != std::string::npos)
                dualWithSlash = true;
        EXPECT_TRUE(dualWithSlash);
        // The options as the simulator knows them, each with its SYSSTAT bit as its map.
        ASSERT_EQ(body->Options.Count(), 3u);
        EXPECT_EQ(body->Options.Item("WDT")->Map, 0x01);
        EXPECT_EQ(body->Options.Item("DualClock")->Map, 0x02);
        EXPECT_EQ(body->Options.Item("Oscillator")->Map, 0x04);
        EXPECT_EQ(body->Options.Item("WDT")->EnableName, "Enabled");
    }
    EXPECT_EQ(settings.ExtBuilderCommand, "%AppPath%\\tessarine-build");
    EXPECT_FALSE(settings.ExtBuilderInUse);
}

TEST_F(ShippedSettingsTest, EveryBodysTemplateFolderPassesTheIntegrityCheck) {
    platform::ScopedProgramFolder useProgram(ProgramPath());
    EXPECT_TRUE(CheckTemplateIntegrity(settings, prompter));
    EXPECT_TRUE(prompter.Boxes().empty());
    for (const BodyFacts& facts : kBodies) {
        const std::string folder =
            ProgramPath() + "\\Templates\\Sarnova\\" + std::string(facts.model) + "\\";
        for (const char* file : {"main.asm", "ktr.inc", "kw_asm.dat"})
            EXPECT_TRUE(platform::FileExists(folder + file)) << folder << file;
        EXPECT_TRUE(platform::FileExists(folder + facts.model + ".tpl"));
        EXPECT_TRUE(platform::FileExists(ProgramPath() + "\\Templates\\Sarnova\\include\\" +
                                         facts.linkerConfig));
    }
}

class TemplateApplianceTest : public ShippedSettingsTest,
                              public ::testing::WithParamInterface<BodyFacts> {};

TEST_P(TemplateApplianceTest, DescribesTheBoardTheSimulatorModels) {
    const BodyFacts& facts = GetParam();
    Appliance tpl;
    tpl.Settings = &settings;
    const std::string dir = ProgramPath() + "\\Templates\\Sarnova\\" + facts.model + "\\";
    ASSERT_TRUE(tpl.Load(dir + facts.model + ".tpl"));
    EXPECT_EQ(tpl.Version, "v 00.01.009");
    EXPECT_EQ(tpl.Model, facts.model);
    EXPECT_EQ(tpl.ModelParam, facts.model);
    EXPECT_EQ(tpl.Family, "KTR");
    EXPECT_NE(settings.Bodies->Item(facts.model)->Clockrates.Item(tpl.OPClock), nullptr);
    EXPECT_EQ(tpl.BankStart, facts.bankStart);
    EXPECT_EQ(tpl.BankSize, 0x4000);
    EXPECT_EQ(tpl.BankCount, facts.bankCount);
    EXPECT_EQ(tpl.ProgramStart, facts.programStart);

    // The body's WDT and Oscillator options are the appliance's fixed flags: choosing
    // "Enabled" and "RC" and saving sets them when the file is read again.
    EXPECT_FALSE(tpl.WDT);
    EXPECT_FALSE(tpl.Oscillator);
    const auto& options = settings.Bodies->Item(facts.model)->Options;
    int index = 0;
    for (const auto& entry : options) {
        ++index;
        if (entry.key == "WDT" || entry.key == "Oscillator")
            tpl.SetOptionAt(index, true);
    }
    Appliance reread;
    reread.Settings = &settings;
    ASSERT_TRUE(reread.LoadXml(tpl.ToXml()));
    EXPECT_TRUE(reread.WDT);
    EXPECT_TRUE(reread.Oscillator);

    // The association chain asm -> obj -> rom, the last With being the ROM's load place.
    auto assemble = tpl.BuildAssociations().Item("asm");
    ASSERT_NE(assemble, nullptr);
    EXPECT_EQ(assemble->To, "obj");
    EXPECT_EQ(assemble->With.rfind("ca65 ", 0), 0u);
    auto link = tpl.BuildAssociations().Item("obj");
    ASSERT_NE(link, nullptr);
    EXPECT_EQ(link->To, "rom");
    EXPECT_EQ(link->With.rfind("ld65 ", 0), 0u);
    EXPECT_NE(link->With.find("--dbgfile %n.sym"), std::string::npos);
    EXPECT_NE(link->With.find(facts.linkerConfig), std::string::npos);
    auto rom = tpl.BuildAssociations().Item("rom");
    ASSERT_NE(rom, nullptr);
    EXPECT_EQ(rom->With, facts.loadPlace);
    EXPECT_EQ(rom->To, "");
    // make builds its first rule unless told the goal.
    EXPECT_EQ(tpl.RunTarget()->Make, "make %o");
    EXPECT_EQ(tpl.ExtBuilder, "%AppPath%\\tessarine-build");

    // The register tree: CPU registers with P's flags, and the SFRs with their bit fields.
    auto registers = tpl.Watches().Item("", "Registers");
    ASSERT_NE(registers, nullptr);
    for (const char* name : {"A", "X", "Y", "S", "P", "PC"}) {
        auto reg = registers->Children().Item(name, "Register");
        ASSERT_NE(reg, nullptr) << name;
        EXPECT_EQ(reg->Location, std::string("R:") + name);
    }
    auto status = registers->Children().Item("P", "Register");
    EXPECT_EQ(status->Children().Count(), 7u);
    EXPECT_EQ(status->Children().Item("C", "Register")->Mask, 0x01);
    EXPECT_EQ(status->Children().Item("N", "Register")->Mask, 0x80);
    auto bank = tpl.Watches().Item("Bank", "SFR");
    ASSERT_NE(bank, nullptr);
    EXPECT_EQ(registers->Children().Item("Bank", "SFR"), bank);
    EXPECT_EQ(bank->Location, "00:00C0");
    EXPECT_EQ(bank->Display(), "HexByte");
    auto timer = registers->Children().Item("TCTL", "SFR");
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(timer->Children().Item("TCTL.RUN", "SFR")->Mask, 0x80);
    EXPECT_EQ(tpl.Watches().Item("MODELID", "SFR")->Access(), "Read");

    // The devices, wired as the board has them.
    auto ui = tpl.Peripherals().Item("SimpleUI");
    ASSERT_NE(ui, nullptr);
    EXPECT_EQ(ui->Type, "SimpleUI");
    auto leds = ui->Wires.Item("SimpleUI-LED-000000FF");
    ASSERT_NE(leds, nullptr);
    EXPECT_EQ(leds->Port, "P0");
    EXPECT_EQ(leds->Direction, 1);
    EXPECT_EQ(ui->Wires.Item("SimpleUI-Button-000000FF")->Port, "P1");
    auto keypad = tpl.Peripherals().Item("Keypad");
    ASSERT_NE(keypad, nullptr);
    auto rows = keypad->Wires.Item("Keypad-Row-0000000F");
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(rows->Port, "P2");
    EXPECT_EQ(rows->PortMask, 0xF0);
    auto columns = keypad->Wires.Item("Keypad-Column-0000000F");
    ASSERT_NE(columns, nullptr);
    EXPECT_EQ(columns->PortMask, 0x0F);
    EXPECT_EQ(columns->Direction, 0);
    EXPECT_EQ(keypad->Parameters.Item("Rows")->Value, "4");
    auto speaker = tpl.Peripherals().Item("Speaker");
    ASSERT_NE(speaker, nullptr);
    ASSERT_EQ(speaker->Wires.Count(), 1u);
    EXPECT_EQ(speaker->Wires.First()->Port, "DAC");
    EXPECT_EQ(speaker->Wires.First()->Type, 1);

    // The design view "Board" lays all three devices out on one front, and the three
    // desktops.
    auto board = tpl.Views().Item("Board");
    ASSERT_NE(board, nullptr);
    ASSERT_NE(board->DisplaySpecs.First(), nullptr);
    EXPECT_EQ(board->DisplaySpecs.First()->Peripheral, ui);
    for (const char* part : {"Width", "LEDs", "Buttons", "Keypad", "Speaker"})
        EXPECT_NE(board->DisplaySpecs.First()->Parameters.Item(part), nullptr) << part;
    for (const char* name : {"Source", "Debug", "Ice"}) {
        auto desktop = tpl.Desktops().Item(name);
        ASSERT_NE(desktop, nullptr) << name;
        EXPECT_NE(desktop->Windows.Item("frmSource"), nullptr) << name;
    }
    EXPECT_NE(tpl.Desktops().Item("Debug")->Windows.Item("frmRegister"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(ShippedBodies, TemplateApplianceTest, ::testing::ValuesIn(kBodies),
                         [](const auto& info) { return std::string(info.param.model); });

} // namespace
} // namespace bx
