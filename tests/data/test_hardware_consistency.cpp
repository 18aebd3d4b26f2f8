// The hardware reference, the SFR include file, the body keyword files and the template
// appliances name the same registers at the same addresses, and the shipped bodies have the
// bank counts the reference gives. A register added in one place and forgotten in another
// fails here.
#include "ShippedProgram.h"
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "settings/GlobalSettings.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace bx {
namespace {

using Registers = std::map<std::string, int>; // name -> zero-page address

std::string ReadSource(const std::string& relative) {
    auto text =
        platform::ReadFile(platform::FromNativePath(std::string(BX_SOURCE_DIR) + "/" + relative));
    EXPECT_TRUE(text) << relative;
    return text.value_or("");
}

// The rows "| `$C0` | `BANK` | ..." of the register table in docs/hardware.md.
Registers FromHardwareReference() {
    Registers registers;
    std::istringstream lines(ReadSource("docs/hardware.md"));
    const std::regex row(R"(^\| `\$([0-9A-F]{2})` \| `(\w+)` \|)");
    std::smatch match;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, match, row))
            registers[match[2]] = std::stoi(match[1], nullptr, 16);
    return registers;
}

// The equates of ktr.inc in the SFR block $C0-$FF; the bit values lie below it.
Registers FromInclude() {
    Registers registers;
    std::istringstream lines(ReadSource("data/Templates/Sarnova/include/ktr.inc"));
    const std::regex equate(R"(^(\w+)\s*=\s*\$([0-9A-Fa-f]+))");
    std::smatch match;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, match, equate)) {
            const int value = std::stoi(match[2], nullptr, 16);
            if (value >= 0xC0 && value <= 0xFF)
                registers[match[1]] = value;
        }
    return registers;
}

std::set<std::string> IncludeEquates() {
    std::set<std::string> names;
    std::istringstream lines(ReadSource("data/Templates/Sarnova/include/ktr.inc"));
    const std::regex equate(R"(^(\w+)\s*=)");
    std::smatch match;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_search(line, match, equate) && match[1] != "KTR_INC")
            names.insert(match[1]);
    return names;
}

// A keyword file's records: two comma-separated fields, each maybe in double quotes.
std::vector<std::pair<std::string, std::string>> KeywordRecords(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> records;
    std::vector<std::string> fields;
    std::size_t i = 0;
    while (i < text.size()) {
        std::string field;
        if (text[i] == '"') {
            const std::size_t close = text.find('"', i + 1);
            field = text.substr(i + 1, close - i - 1);
            i = close + 1;
        }
        while (i < text.size() && text[i] != ',' && text[i] != '\n' && text[i] != '\r')
            field += text[i++];
        fields.push_back(field);
        const bool lineEnd = i >= text.size() || text[i] != ',';
        while (i < text.size() && (text[i] == ',' || text[i] == '\r' || text[i] == '\n')) {
            ++i;
            if (!lineEnd)
                break;
        }
        if (fields.size() == 2) {
            records.emplace_back(fields[0], fields[1]);
            fields.clear();
        }
    }
    return records;
}

const char* const kModels[] = {"KTR310", "KTR311", "KTR640"};

TEST(HardwareConsistencyTest, TheReferenceAndTheIncludeFileNameTheSameRegisters) {
    const Registers reference = FromHardwareReference();
    EXPECT_EQ(reference.size(), 21u);
    EXPECT_EQ(reference.at("BANK"), 0xC0);
    EXPECT_EQ(FromInclude(), reference);
}

TEST(HardwareConsistencyTest, EachBodysKeywordFileNamesTheRegistersAndEverythingElseItNeeds) {
    const Registers reference = FromHardwareReference();
    const auto common = KeywordRecords(ReadSource("data/kw_asm.dat"));
    ASSERT_GT(common.size(), 100u);
    for (const char* model : kModels) {
        SCOPED_TRACE(model);
        const auto records = KeywordRecords(
            ReadSource(std::string("data/Templates/Sarnova/") + model + "/kw_asm.dat"));
        std::map<std::string, std::string> keywords;
        for (const auto& [keyword, description] : records) {
            EXPECT_FALSE(description.empty()) << keyword;
            EXPECT_TRUE(keywords.emplace(keyword, description).second)
                << "a keyword file must not repeat a keyword: " << keyword;
        }
        // The registers, each described with its address.
        Registers registers;
        for (const auto& [keyword, description] : keywords)
            if (description.rfind("SFR $", 0) == 0)
                registers[keyword] = std::stoi(description.substr(5, 2), nullptr, 16);
        EXPECT_EQ(registers, reference);
        // Every name of the include file, every common keyword, every 65C02 mnemonic.
        for (const std::string& name : IncludeEquates())
            EXPECT_EQ(keywords.count(name), 1u) << name;
        for (const auto& [keyword, description] : common)
            EXPECT_EQ(keywords.count(keyword), 1u) << keyword;
        for (const char* mnemonic :
             {"ADC", "AND",  "ASL",  "BBR0", "BBS7", "BCC", "BCS", "BEQ", "BIT", "BMI", "BNE",
              "BPL", "BRA",  "BRK",  "BVC",  "BVS",  "CLC", "CLD", "CLI", "CLV", "CMP", "CPX",
              "CPY", "DEC",  "DEX",  "DEY",  "EOR",  "INC", "INX", "INY", "JMP", "JSR", "LDA",
              "LDX", "LDY",  "LSR",  "NOP",  "ORA",  "PHA", "PHP", "PHX", "PHY", "PLA", "PLP",
              "PLX", "PLY",  "RMB0", "RMB7", "ROL",  "ROR", "RTI", "RTS", "SBC", "SEC", "SED",
              "SEI", "SMB0", "SMB7", "STA",  "STP",  "STX", "STY", "STZ", "TAX", "TAY", "TRB",
              "TSB", "TSX",  "TXA",  "TXS",  "TYA",  "WAI"})
            EXPECT_EQ(keywords.count(mnemonic), 1u) << mnemonic;
    }
}

TEST(HardwareConsistencyTest, EachTemplatesRegisterTreeWatchesEveryRegisterAtItsAddress) {
    const Registers reference = FromHardwareReference();
    test::ScriptedPrompter prompter;
    GlobalSettings settings(prompter);
    const std::string program = platform::FromNativePath(test::BuiltProgramFolder().string());
    ASSERT_TRUE(settings.Load(program + "\\BX.gss"));
    for (const char* model : kModels) {
        SCOPED_TRACE(model);
        Appliance tpl;
        tpl.Settings = &settings;
        ASSERT_TRUE(tpl.Load(program + "\\Templates\\Sarnova\\" + model + "\\" + model + ".tpl"));
        for (const auto& [name, address] : reference) {
            // BANK is the watch "Bank" that run control looks up by that name.
            auto watch = tpl.Watches().Item(name == "BANK" ? "Bank" : name, "SFR");
            ASSERT_NE(watch, nullptr) << name;
            char location[8];
            std::snprintf(location, sizeof location, "00:%04X", address);
            EXPECT_EQ(watch->Location, location) << name;
        }
    }
}

TEST(HardwareConsistencyTest, TheShippedBodiesHaveTheReferencesBankModesAndCounts) {
    // "| KTR310 | 7 | 2 KB, ... | 0 | ... | 4 (0-3) | 96 KB | `$8000` |"
    std::istringstream lines(ReadSource("docs/hardware.md"));
    const std::regex row(
        R"(^\| (KTR\d+) \| (\d+) \| [^|]+\| (\d) \|[^|]+\|[^|]+\| (\d+) \([^|]+\|[^|]+\| `\$([0-9A-F]+)` \|)");
    std::smatch match;
    test::ScriptedPrompter prompter;
    GlobalSettings settings(prompter);
    ASSERT_TRUE(
        settings.Load(platform::FromNativePath(test::BuiltProgramFolder().string()) + "\\BX.gss"));
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_search(line, match, row))
            continue;
        ++rows;
        auto body = settings.Bodies->Item(match[1]);
        ASSERT_NE(body, nullptr) << match[1];
        EXPECT_EQ(body->IceEmuNo, std::stoi(match[2])) << match[1];
        EXPECT_EQ(body->BankMode, std::stoi(match[3])) << match[1];
        EXPECT_EQ(body->BankCount, std::stoi(match[4])) << match[1];
        EXPECT_EQ(body->ProgramStart, std::stoi(match[5], nullptr, 16)) << match[1];
    }
    EXPECT_EQ(rows, 3);
}

} // namespace
} // namespace bx
