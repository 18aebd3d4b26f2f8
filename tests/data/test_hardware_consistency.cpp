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

#include <cctype>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace bx {
namespace {

using Registers = std::map<std::string, int>; // name -> zero-page address

// The cells of a Markdown table row "| a | b |", trimmed; empty for any other line.
std::vector<std::string> Cells(const std::string& line) {
    std::vector<std::string> cells;
    if (line.rfind("| ", 0) != 0)
        return cells;
    std::size_t start = 1;
    for (std::size_t bar; (bar = line.find('|', start)) != std::string::npos; start = bar + 1) {
        std::string cell = line.substr(start, bar - start);
        cell.erase(0, cell.find_first_not_of(' '));
        cell.erase(cell.find_last_not_of(' ') + 1);
        cells.push_back(cell);
    }
    return cells;
}

// "`$C0`" -> "C0", "`BANK`" -> "BANK".
std::string Unquoted(std::string cell) {
    std::erase(cell, '`');
    if (!cell.empty() && cell[0] == '$')
        cell.erase(0, 1);
    return cell;
}

bool IsHex(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}

// An equate "NAME = $hex" at the start of a line: its name and value.
bool Equate(const std::string& line, std::string& name, int& value) {
    std::size_t i = 0;
    while (i < line.size() && (std::isalnum(static_cast<unsigned char>(line[i])) || line[i] == '_'))
        ++i;
    name = line.substr(0, i);
    while (i < line.size() && line[i] == ' ')
        ++i;
    if (name.empty() || i >= line.size() || line[i] != '=')
        return false;
    ++i;
    while (i < line.size() && line[i] == ' ')
        ++i;
    if (i >= line.size() || line[i] != '$')
        return false;
    const std::size_t end = line.find_first_not_of("0123456789ABCDEFabcdef", i + 1);
    const std::string digits = line.substr(i + 1, end == std::string::npos ? end : end - i - 1);
    if (!IsHex(digits))
        return false;
    value = std::stoi(digits, nullptr, 16);
    return true;
}

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
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> cells = Cells(line);
        if (cells.size() < 2 || cells[0].rfind("`$", 0) != 0 || cells[1].rfind('`', 0) != 0)
            continue;
        const std::string address = Unquoted(cells[0]);
        if (address.size() == 2 && IsHex(address))
            registers[Unquoted(cells[1])] = std::stoi(address, nullptr, 16);
    }
    return registers;
}

// The equates of ktr.inc in the SFR block $C0-$FF; the bit values lie below it.
Registers FromInclude() {
    Registers registers;
    std::istringstream lines(ReadSource("data/Templates/Sarnova/include/ktr.inc"));
    std::string name;
    int value = 0;
    for (std::string line; std::getline(lines, line);)
        if (Equate(line, name, value) && value >= 0xC0 && value <= 0xFF)
            registers[name] = value;
    return registers;
}

std::set<std::string> IncludeEquates() {
    std::set<std::string> names;
    std::istringstream lines(ReadSource("data/Templates/Sarnova/include/ktr.inc"));
    std::string name;
    int value = 0;
    for (std::string line; std::getline(lines, line);)
        if (Equate(line, name, value))
            names.insert(name);
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
    // "| KTR310 | 7 | 2 KB, ... | 0 | `$4000-$7FFF` | `$8000-$FFFF` | 4 (0-3) | 96 KB | `$8000` |"
    std::istringstream lines(ReadSource("docs/hardware.md"));
    test::ScriptedPrompter prompter;
    GlobalSettings settings(prompter);
    ASSERT_TRUE(
        settings.Load(platform::FromNativePath(test::BuiltProgramFolder().string()) + "\\BX.gss"));
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> cells = Cells(line);
        if (cells.size() < 9 || cells[0].rfind("KTR", 0) != 0)
            continue;
        ++rows;
        auto body = settings.Bodies->Item(cells[0]);
        ASSERT_NE(body, nullptr) << cells[0];
        EXPECT_EQ(body->IceEmuNo, std::stoi(cells[1])) << cells[0];
        EXPECT_EQ(body->BankMode, std::stoi(cells[3])) << cells[0];
        EXPECT_EQ(body->BankCount, std::stoi(cells[6])) << cells[0];
        EXPECT_EQ(body->ProgramStart, std::stoi(Unquoted(cells[8]), nullptr, 16)) << cells[0];
    }
    EXPECT_EQ(rows, 3);
}

} // namespace
} // namespace bx
