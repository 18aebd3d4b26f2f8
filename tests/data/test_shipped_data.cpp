// The shipped data as the build's program folder holds it: BX.gss, the body template folders,
// the SFR include file and the keyword files agree with the hardware reference
// (docs/hardware.md) and with one another. A register or a body added in one place and
// forgotten in another fails here.
#include "ShippedProgram.h"
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "sim/OpcodeTable.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace bx {
namespace {

using Registers = std::map<std::string, int>; // name -> zero-page address
using Rows = std::vector<std::vector<std::string>>;

std::string ReadSource(const std::string& relative) {
    auto text =
        platform::ReadFile(platform::FromNativePath(std::string(BX_SOURCE_DIR) + "/" + relative));
    EXPECT_TRUE(text) << relative;
    return text.value_or("");
}

// The groups of pattern in every line of text that it matches.
Rows Matches(const std::string& text, const char* pattern) {
    Rows rows;
    const std::regex re(pattern);
    std::istringstream lines(text);
    std::smatch m;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, m, re))
            rows.emplace_back(m.begin() + 1, m.end());
    return rows;
}

int Hex(const std::string& digits) {
    return std::stoi(digits, nullptr, 16);
}

// The register table of the reference: "| `$C0` | `BANK` | ...".
Registers ReferenceRegisters() {
    Registers registers;
    for (const auto& row :
         Matches(ReadSource("docs/hardware.md"), R"(^\| `\$([0-9A-F]{2})` \| `(\w+)`)"))
        registers[row[1]] = Hex(row[0]);
    return registers;
}

// The bodies table of the reference: "| KTR310 | 7 | 2 KB, ... | 0 | `$4000-$7FFF` | `$8000-$FFFF`
// | 4 (0-3) | 96 KB | `$8000` |": model, number, bank mode, bank window, banks, ProgramStart.
Rows ReferenceBodies() {
    return Matches(
        ReadSource("docs/hardware.md"),
        R"(^\| (KTR\d+) \| (\d+) \|[^|]*\| (\d) \| `\$([0-9A-F]{4})-[^|]*\|[^|]*\| (\d+) \()"
        R"([^|]*\|[^|]*\| `\$([0-9A-F]{4})`)");
}

std::string ProgramPath() {
    return platform::FromNativePath(test::BuiltProgramFolder().string());
}

class ShippedDataTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(settings.Load(ProgramPath() + "\\" + GlobalSettings::kFileName));
    }
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

TEST_F(ShippedDataTest, TheSettingsLoadWithoutABoxAndHoldTheReferencesBodiesAndTheirFolders) {
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_FALSE(settings.IsDirty());
    EXPECT_EQ(settings.Families, (std::vector<std::string>{"KTR"}));
    EXPECT_EQ(settings.ExtBuilderCommand, "%AppPath%\\tessarine-build");
    EXPECT_FALSE(settings.ExtBuilderInUse);
    const Rows bodies = ReferenceBodies();
    ASSERT_EQ(bodies.size(), 3u);
    ASSERT_EQ(settings.Bodies->Count(), 3u);
    for (const auto& row : bodies) {
        SCOPED_TRACE(row[0]);
        auto body = settings.BodiesByFamily.Item("KTR")->Item(row[0]);
        ASSERT_NE(body, nullptr);
        EXPECT_EQ(body->IceEmuNo, std::stoi(row[1]));
        EXPECT_EQ(body->BankMode, std::stoi(row[2]));
        EXPECT_EQ(body->BankCount, std::stoi(row[4]));
        EXPECT_EQ(body->ProgramStart, Hex(row[5]));
        EXPECT_EQ(body->TemplateDir + body->TemplateFile, row[0] + "\\" + row[0] + ".tpl");
        EXPECT_EQ(body->BootVect, 0xFFFC);
        EXPECT_EQ(body->HasWDT, "Yes");
        // The sub-clock alone, and a dual-clock entry written with "/".
        ASSERT_NE(body->Clockrates.Item("32.768 kHz"), nullptr);
        EXPECT_FALSE(body->Clockrates.Item("32.768 kHz")->Dual);
        bool dualWithSlash = false;
        for (const auto& clock : body->Clockrates)
            dualWithSlash |=
                clock.item->Dual && clock.item->Clockrate.find('/') != std::string::npos;
        EXPECT_TRUE(dualWithSlash);
        // The options as the simulator knows them, each with its SYSSTAT bit as its map.
        ASSERT_EQ(body->Options.Count(), 3u);
        EXPECT_EQ(body->Options.Item("WDT")->Map, 0x01);
        EXPECT_EQ(body->Options.Item("DualClock")->Map, 0x02);
        EXPECT_EQ(body->Options.Item("Oscillator")->Map, 0x04);
        EXPECT_EQ(body->Options.Item("WDT")->EnableName, "Enabled");
        const std::string folder = ProgramPath() + "\\Templates\\Sarnova\\";
        for (const std::string file : {"main.asm", "ktr.inc", "kw_asm.dat", ".tpl"})
            EXPECT_TRUE(platform::FileExists(folder + row[0] + "\\" +
                                             (file[0] == '.' ? row[0] : "") + file))
                << file;
        std::string config = row[0];
        std::transform(config.begin(), config.end(), config.begin(), ::tolower);
        EXPECT_TRUE(platform::FileExists(folder + "include\\" + config + ".cfg"));
    }
    platform::ScopedProgramFolder useProgram(ProgramPath());
    EXPECT_TRUE(CheckTemplateIntegrity(settings, prompter));
    EXPECT_TRUE(prompter.Boxes().empty());
}

TEST(ShippedRegisters, TheReferenceTheIncludeFileAndEachKeywordFileNameTheSameRegisters) {
    const Registers reference = ReferenceRegisters();
    EXPECT_EQ(reference.size(), 21u);
    EXPECT_EQ(reference.at("BANK"), 0xC0);
    // The equates of ktr.inc: the registers in the SFR block $C0-$FF, the bit values below it.
    Registers include;
    std::set<std::string> equates;
    for (const auto& row : Matches(ReadSource("data/Templates/Sarnova/include/ktr.inc"),
                                   R"(^(\w+)\s*=\s*\$([0-9A-Fa-f]+))")) {
        equates.insert(row[0]);
        if (Hex(row[1]) >= 0xC0 && Hex(row[1]) <= 0xFF)
            include[row[0]] = Hex(row[1]);
    }
    EXPECT_EQ(include, reference);

    const char* kRecord = R"re(^"([^"]*)","([^"]*)")re";
    const Rows common = Matches(ReadSource("data/kw_asm.dat"), kRecord);
    ASSERT_GT(common.size(), 100u);
    for (const char* model : {"KTR310", "KTR311", "KTR640"}) {
        SCOPED_TRACE(model);
        const std::string text =
            ReadSource(std::string("data/Templates/Sarnova/") + model + "/kw_asm.dat");
        const Rows records = Matches(text, kRecord);
        EXPECT_EQ(records.size(), Matches(text, ".").size()) << "every line a record";
        std::map<std::string, std::string> keywords;
        Registers registers; // the registers, each described with its address
        for (const auto& record : records) {
            EXPECT_FALSE(record[1].empty()) << record[0];
            EXPECT_TRUE(keywords.emplace(record[0], record[1]).second)
                << "a keyword file must not repeat a keyword: " << record[0];
            if (record[1].rfind("SFR $", 0) == 0)
                registers[record[0]] = Hex(record[1].substr(5, 2));
        }
        EXPECT_EQ(registers, reference);
        // Every name of the include file, every common keyword, every 65C02 mnemonic.
        for (const std::string& name : equates)
            EXPECT_EQ(keywords.count(name), 1u) << name;
        for (const auto& record : common)
            EXPECT_EQ(keywords.count(record[0]), 1u) << record[0];
        for (const sim::OpcodeInfo& info : sim::OpcodeTable())
            EXPECT_EQ(keywords.count(info.Mnemonic), 1u) << info.Mnemonic;
    }
}

TEST_F(ShippedDataTest, EachTemplateApplianceDescribesTheBoardTheSimulatorModels) {
    const Registers registers = ReferenceRegisters();
    for (const auto& row : ReferenceBodies()) {
        SCOPED_TRACE(row[0]);
        const auto body = settings.Bodies->Item(row[0]);
        Appliance tpl;
        tpl.Settings = &settings;
        ASSERT_TRUE(
            tpl.Load(ProgramPath() + "\\Templates\\Sarnova\\" + row[0] + "\\" + row[0] + ".tpl"));
        EXPECT_EQ(tpl.Version, "v 00.01.009");
        EXPECT_EQ(tpl.Model + tpl.ModelParam + tpl.Family, row[0] + row[0] + "KTR");
        EXPECT_NE(body->Clockrates.Item(tpl.OPClock), nullptr);
        EXPECT_EQ(tpl.BankStart, Hex(row[3]));
        EXPECT_EQ(tpl.BankSize, 0x4000);
        EXPECT_EQ(tpl.BankCount, body->BankCount);
        EXPECT_EQ(tpl.ProgramStart, body->ProgramStart);

        // The body's WDT and Oscillator options are the appliance's fixed flags: choosing
        // "Enabled" and "RC" and saving sets them when the file is read again.
        EXPECT_FALSE(tpl.WDT || tpl.Oscillator);
        int index = 0;
        for (const auto& entry : body->Options) {
            ++index;
            if (entry.key == "WDT" || entry.key == "Oscillator")
                tpl.SetOptionAt(index, true);
        }
        Appliance reread;
        reread.Settings = &settings;
        ASSERT_TRUE(reread.LoadXml(tpl.ToXml()));
        EXPECT_TRUE(reread.WDT && reread.Oscillator);

        // The association chain asm -> obj -> rom, the last With being the ROM's load place;
        // make builds its first rule unless told the goal.
        auto assemble = tpl.BuildAssociations().Item("asm");
        auto link = tpl.BuildAssociations().Item("obj");
        auto rom = tpl.BuildAssociations().Item("rom");
        ASSERT_TRUE(assemble && link && rom);
        EXPECT_EQ(assemble->To + " " + assemble->With.substr(0, 5), "obj ca65 ");
        EXPECT_EQ(link->To + " " + link->With.substr(0, 5), "rom ld65 ");
        EXPECT_NE(link->With.find("--dbgfile %n.sym"), std::string::npos);
        EXPECT_NE(link->With.find(".cfg"), std::string::npos);
        EXPECT_EQ(rom->With + rom->To, "00:" + row[5]);
        EXPECT_EQ(tpl.RunTarget()->Make, "make %o");
        EXPECT_EQ(tpl.ExtBuilder, "%AppPath%\\tessarine-build");

        // The register tree: CPU registers with P's flags, and every SFR at its address ("Bank"
        // the one run control looks up by that name), with its bit fields.
        auto cpu = tpl.Watches().Item("", "Registers");
        ASSERT_NE(cpu, nullptr);
        for (const char* name : {"A", "X", "Y", "S", "P", "PC"}) {
            auto reg = cpu->Children().Item(name, "Register");
            ASSERT_NE(reg, nullptr) << name;
            EXPECT_EQ(reg->Location, std::string("R:") + name);
        }
        auto status = cpu->Children().Item("P", "Register");
        EXPECT_EQ(status->Children().Count(), 7u);
        EXPECT_EQ(status->Children().Item("C", "Register")->Mask, 0x01);
        EXPECT_EQ(status->Children().Item("N", "Register")->Mask, 0x80);
        for (const auto& [name, address] : registers) {
            auto watch = tpl.Watches().Item(name == "BANK" ? "Bank" : name, "SFR");
            ASSERT_NE(watch, nullptr) << name;
            char location[8];
            std::snprintf(location, sizeof location, "00:%04X", address);
            EXPECT_EQ(watch->Location, location) << name;
        }
        EXPECT_EQ(cpu->Children().Item("Bank", "SFR"), tpl.Watches().Item("Bank", "SFR"));
        EXPECT_EQ(tpl.Watches().Item("Bank", "SFR")->Display(), "HexByte");
        EXPECT_EQ(cpu->Children().Item("TCTL", "SFR")->Children().Item("TCTL.RUN", "SFR")->Mask,
                  0x80);
        EXPECT_EQ(tpl.Watches().Item("MODELID", "SFR")->Access(), "Read");

        // The design view "Board" lays the devices out on one front; the three desktops.
        auto board = tpl.Views().Item("Board");
        ASSERT_TRUE(board && board->DisplaySpecs.First());
        EXPECT_EQ(board->DisplaySpecs.First()->Peripheral, tpl.Peripherals().Item("SimpleUI"));
        for (const char* part : {"Width", "LEDs", "Buttons", "Keypad", "Speaker"})
            EXPECT_NE(board->DisplaySpecs.First()->Parameters.Item(part), nullptr) << part;
        for (const char* name : {"Source", "Debug", "Ice"}) {
            ASSERT_NE(tpl.Desktops().Item(name), nullptr) << name;
            EXPECT_NE(tpl.Desktops().Item(name)->Windows.Item("frmSource"), nullptr) << name;
        }
        EXPECT_NE(tpl.Desktops().Item("Debug")->Windows.Item("frmRegister"), nullptr);
    }
}

} // namespace
} // namespace bx
