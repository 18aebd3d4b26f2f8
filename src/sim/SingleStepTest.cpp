#include "sim/SingleStepTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace bx::sim {

namespace {

// RAM that records every bus cycle, dummy reads included, with the value on the bus.
class RecordingBus {
public:
    RecordingBus() { memory_.fill(0); }

    uint8_t Read(uint16_t address) {
        log_.push_back({address, memory_[address], false});
        return memory_[address];
    }
    void Write(uint16_t address, uint8_t value) {
        memory_[address] = value;
        log_.push_back({address, value, true});
    }
    void DummyRead(uint16_t address) { log_.push_back({address, memory_[address], false}); }

    uint8_t Peek(uint16_t address) const { return memory_[address]; }
    void Poke(uint16_t address, uint8_t value) { memory_[address] = value; }
    const std::vector<BusCycle>& Log() const { return log_; }

private:
    std::array<uint8_t, 65536> memory_;
    std::vector<BusCycle> log_;
};

unsigned Integer(const JsonValue* value, unsigned limit, const std::string& where) {
    if (value == nullptr)
        throw std::runtime_error(where + " is missing");
    if (!value->IsNumber())
        throw std::runtime_error(where + " is not a number");
    double n = value->AsNumber();
    if (!(n >= 0) || n > limit || std::floor(n) != n)
        throw std::runtime_error(where + " is out of range");
    return static_cast<unsigned>(n);
}

void ReadState(const JsonValue* state, const std::string& where, CpuRegisters& regs,
               std::vector<std::pair<uint16_t, uint8_t>>& ram) {
    if (state == nullptr || !state->IsObject())
        throw std::runtime_error(where + " is missing or not an object");
    regs.PC = static_cast<uint16_t>(Integer(state->Find("pc"), 0xFFFF, where + ".pc"));
    regs.S = static_cast<uint8_t>(Integer(state->Find("s"), 0xFF, where + ".s"));
    regs.A = static_cast<uint8_t>(Integer(state->Find("a"), 0xFF, where + ".a"));
    regs.X = static_cast<uint8_t>(Integer(state->Find("x"), 0xFF, where + ".x"));
    regs.Y = static_cast<uint8_t>(Integer(state->Find("y"), 0xFF, where + ".y"));
    regs.P = static_cast<uint8_t>(Integer(state->Find("p"), 0xFF, where + ".p"));
    const JsonValue* list = state->Find("ram");
    if (list == nullptr || !list->IsArray())
        throw std::runtime_error(where + ".ram is missing or not an array");
    for (const JsonValue& pair : list->Items()) {
        if (!pair.IsArray() || pair.Items().size() != 2)
            throw std::runtime_error(where + ".ram holds an entry that is not [address, value]");
        ram.emplace_back(
            static_cast<uint16_t>(Integer(&pair.Items()[0], 0xFFFF, where + ".ram address")),
            static_cast<uint8_t>(Integer(&pair.Items()[1], 0xFF, where + ".ram value")));
    }
}

std::string Hex(unsigned value, int digits) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text = "$";
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += kDigits[(value >> shift) & 0xF];
    return text;
}

} // namespace

std::string FormatBusCycle(const BusCycle& cycle) {
    return std::string(cycle.IsWrite ? "write " : "read ") + Hex(cycle.Address, 4) + "=" +
           Hex(cycle.Value, 2);
}

std::vector<SingleStepCase> ParseSingleStepCases(const JsonValue& document) {
    if (!document.IsArray())
        throw std::runtime_error("the document is not an array of tests");
    std::vector<SingleStepCase> cases;
    cases.reserve(document.Items().size());
    std::size_t index = 0;
    for (const JsonValue& item : document.Items()) {
        SingleStepCase test;
        std::string where = "test " + std::to_string(index++);
        if (!item.IsObject())
            throw std::runtime_error(where + " is not an object");
        const JsonValue* name = item.Find("name");
        if (name == nullptr || !name->IsString())
            throw std::runtime_error(where + ".name is missing or not a text");
        test.Name = name->AsString();
        where = "test \"" + test.Name + "\"";
        ReadState(item.Find("initial"), where + ".initial", test.Initial, test.InitialRam);
        ReadState(item.Find("final"), where + ".final", test.Final, test.FinalRam);
        const JsonValue* cycles = item.Find("cycles");
        if (cycles == nullptr || !cycles->IsArray())
            throw std::runtime_error(where + ".cycles is missing or not an array");
        for (const JsonValue& entry : cycles->Items()) {
            const auto& parts = entry.Items();
            if (!entry.IsArray() || parts.size() != 3 || !parts[2].IsString())
                throw std::runtime_error(where +
                                         ".cycles holds an entry that is not [address, value, "
                                         "\"read\"|\"write\"]");
            BusCycle cycle;
            cycle.Address =
                static_cast<uint16_t>(Integer(&parts[0], 0xFFFF, where + ".cycles address"));
            // Some generators write null for a value the bus does not carry; take it as 0.
            cycle.Value =
                parts[1].IsNull()
                    ? 0
                    : static_cast<uint8_t>(Integer(&parts[1], 0xFF, where + ".cycles value"));
            const std::string& kind = parts[2].AsString();
            if (kind != "read" && kind != "write")
                throw std::runtime_error(where + ".cycles has the direction \"" + kind + "\"");
            cycle.IsWrite = kind == "write";
            test.Cycles.push_back(cycle);
        }
        cases.push_back(std::move(test));
    }
    return cases;
}

namespace {

// The case's differences, with the instruction executed by Step or by the run loop (Run with a
// budget of one cycle executes exactly one instruction).
std::string CheckSingleStepCase(const SingleStepCase& test, bool compareBus, bool runLoop) {
    auto bus = std::make_unique<RecordingBus>();
    for (const auto& [address, value] : test.InitialRam)
        bus->Poke(address, value);
    Cpu65C02<RecordingBus> cpu(*bus);
    cpu.Registers() = test.Initial;
    const uint64_t cycles = runLoop ? cpu.Run(1) : static_cast<uint64_t>(cpu.Step());

    std::ostringstream diff;
    auto note = [&diff](const std::string& text) {
        if (diff.tellp() > 0)
            diff << "; ";
        diff << text;
    };
    const CpuRegisters& got = cpu.Registers();
    auto reg = [&](const char* name, unsigned actual, unsigned expected, int digits) {
        if (actual != expected)
            note(std::string(name) + " " + Hex(actual, digits) + " expected " +
                 Hex(expected, digits));
    };
    reg("PC", got.PC, test.Final.PC, 4);
    reg("S", got.S, test.Final.S, 2);
    reg("A", got.A, test.Final.A, 2);
    reg("X", got.X, test.Final.X, 2);
    reg("Y", got.Y, test.Final.Y, 2);
    reg("P", got.P, test.Final.P, 2);
    for (const auto& [address, value] : test.FinalRam) {
        if (bus->Peek(address) != value)
            note("RAM " + Hex(address, 4) + " " + Hex(bus->Peek(address), 2) + " expected " +
                 Hex(value, 2));
    }
    if (cycles != test.Cycles.size())
        note("cycles " + std::to_string(cycles) + " expected " +
             std::to_string(test.Cycles.size()));
    if (compareBus) {
        const auto& log = bus->Log();
        std::size_t n = std::max(log.size(), test.Cycles.size());
        for (std::size_t i = 0; i < n; ++i) {
            std::string actual = i < log.size() ? FormatBusCycle(log[i]) : "nothing";
            std::string expected =
                i < test.Cycles.size() ? FormatBusCycle(test.Cycles[i]) : "nothing";
            if (actual != expected) {
                note("bus cycle " + std::to_string(i + 1) + " " + actual + " expected " + expected);
                break; // the first difference explains the rest
            }
        }
    }
    return diff.str();
}

} // namespace

std::string RunSingleStepCase(const SingleStepCase& test, bool compareBus) {
    const std::string stepped = CheckSingleStepCase(test, compareBus, false);
    const std::string run = CheckSingleStepCase(test, compareBus, true);
    if (run == stepped)
        return stepped;
    return (stepped.empty() ? "" : stepped + "; ") +
           "in the run loop: " + (run.empty() ? "no difference" : run);
}

SingleStepFileResult RunSingleStepFile(const std::string& path, bool compareBus) {
    SingleStepFileResult result;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        result.Error = path + ": cannot open the file";
        return result;
    }
    std::ostringstream content;
    content << in.rdbuf();
    std::vector<SingleStepCase> cases;
    try {
        cases = ParseSingleStepCases(ParseJson(content.str()));
    } catch (const std::exception& e) {
        result.Error = path + ": " + e.what();
        return result;
    }
    for (const SingleStepCase& test : cases) {
        std::string failure = RunSingleStepCase(test, compareBus);
        if (failure.empty()) {
            ++result.Passed;
        } else {
            ++result.Failed;
            result.Failures.push_back(test.Name + ": " + failure);
        }
    }
    return result;
}

} // namespace bx::sim
