// The shipped data as the build's program folder holds it: BX.gss, the body templates, the SFR
// include file and the keyword files agree with the hardware reference (docs/hardware.md) and
// with one another. A register or a body added in one place and forgotten in another fails here.
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "sim/KtrMachine.h"
#include "sim/OpcodeTable.h"
#include "support/ShippedProgram.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <tuple>

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

// BX.gss loads without a box; each body of the reference is there with its facts, its
// options mapped to their SYSSTAT bits; its template appliance describes the same board, with
// the ROM's load place, a watch of every register at its address, and the fixed options that
// choosing "Enabled" and "RC" sets; the template folders pass the integrity check.
TEST(ShippedBodies, TheSettingsAndEachTemplateDescribeTheBoardsOfTheReference) {
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
    const std::string program = platform::FromNativePath(BX_PROGRAM_DIR);
    ASSERT_TRUE(settings.Load(program + "\\" + GlobalSettings::kFileName));
    EXPECT_TRUE(prompter.Boxes().empty());
    EXPECT_FALSE(settings.IsDirty());
    const Rows bodies = ReferenceBodies();
    ASSERT_EQ(bodies.size(), 3u);
    ASSERT_EQ(settings.Bodies->Count(), 3u);
    for (const auto& row : bodies) { // model, number, bank mode, window, banks, ProgramStart
        SCOPED_TRACE(row[0]);
        auto body = settings.BodiesByFamily.Item("KTR")->Item(row[0]);
        ASSERT_NE(body, nullptr);
        EXPECT_EQ(std::tuple(body->IceEmuNo, body->BankMode, body->BankCount, body->ProgramStart),
                  std::tuple(std::stoi(row[1]), std::stoi(row[2]), std::stoi(row[4]), Hex(row[5])));
        EXPECT_EQ(body->BootVect, 0xFFFC);
        ASSERT_EQ(body->Options.Count(), 3u);
        EXPECT_EQ(
            std::tuple(body->Options.Item("WDT")->Map, body->Options.Item("DualClock")->Map,
                       body->Options.Item("Oscillator")->Map),
            std::tuple(sim::sfr::kStatWdtOption, sim::sfr::kStatDualClock, sim::sfr::kStatRc));

        Appliance tpl;
        tpl.Settings = &settings;
        ASSERT_TRUE(
            tpl.Load(program + "\\Templates\\Sarnova\\" + body->TemplateDir + body->TemplateFile));
        EXPECT_EQ(tpl.Model + tpl.ModelParam + tpl.Family, row[0] + row[0] + "KTR");
        EXPECT_NE(body->Clockrates.Item(tpl.OPClock), nullptr);
        EXPECT_EQ(std::tuple(tpl.BankStart, tpl.BankSize, tpl.BankCount, tpl.ProgramStart),
                  std::tuple(Hex(row[3]), 0x4000, body->BankCount, body->ProgramStart));
        ASSERT_NE(tpl.BuildAssociations().Item("rom"), nullptr);
        EXPECT_EQ(tpl.BuildAssociations().Item("rom")->With, "00:" + row[5]);
        for (const auto& [name, address] : ReferenceRegisters()) {
            // BANK is the watch "Bank" that run control looks up by that name.
            auto watch = tpl.Watches().Item(name == "BANK" ? "Bank" : name, "SFR");
            ASSERT_NE(watch, nullptr) << name;
            char location[8];
            std::snprintf(location, sizeof location, "00:%04X", address);
            EXPECT_EQ(watch->Location, location) << name;
        }
        EXPECT_FALSE(tpl.WDT || tpl.Oscillator);
        int index = 0;
        for (const auto& entry : body->Options)
            if (++index; entry.key == "WDT" || entry.key == "Oscillator")
                tpl.SetOptionAt(index, true);
        Appliance reread;
        reread.Settings = &settings;
        ASSERT_TRUE(reread.LoadXml(tpl.ToXml()));
        EXPECT_TRUE(reread.WDT && reread.Oscillator);
    }
    platform::ScopedProgramFolder useProgram(program);
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

} // namespace
} // namespace bx
