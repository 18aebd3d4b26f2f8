#pragma once
// An Emulator for tests: plain memory per bank, a register record, breakpoint flags per byte,
// and a log of every call, so that a test can set up a target, run the code under test and
// look at exactly what it asked of the emulator. It executes nothing: Run and Step only
// record, and a test makes the target stop with RaiseBreakHit.
//
// Memory model: banks 0 to HighestBank each hold 64 KB, all zero at first; the fake does not
// model the bank window, so every bank part names its own 64 KB. An address in no bank, or a
// range running past $FFFF, can't be read (empty data) and can't be written (BxError), as the
// interface says. On top of that a test can make ranges unreadable, make every call to memory
// or registers throw, and take the CPU status away as an ICE that doesn't answer would.

#include "debug/Emulator.h"
#include "foundation/Common.h"
#include "foundation/Error.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace bx::test {

class FakeEmulator : public Emulator {
public:
    struct BreakCall {
        int32_t Address, Kinds, Count;
        bool operator==(const BreakCall&) const = default;
    };
    struct WriteCall {
        int32_t Address;
        std::vector<uint8_t> Data;
        bool operator==(const WriteCall&) const = default;
    };

    // ---- Set-up and inspection by the test -------------------------------------------------

    // Puts bytes into memory from address (address form) without recording a call.
    void Poke(int32_t address, const std::vector<uint8_t>& bytes) {
        for (uint8_t byte : bytes)
            memory_[address++] = byte;
    }
    // The byte at address; 0 where nothing was written.
    uint8_t Peek(int32_t address) const {
        auto it = memory_.find(address);
        return it == memory_.end() ? 0 : it->second;
    }
    // Reads of any byte in the range give empty data from now on (writes still work).
    void MakeUnreadable(int32_t address, int32_t count) {
        while (count-- > 0)
            unreadable_.insert(address++);
    }
    // Stops the target as if it had stopped by itself: Running becomes false and BreakHit is
    // raised at once (the test stands in for the Dispatcher's delivery).
    void RaiseBreakHit(int32_t bank, int32_t address, int32_t cond) {
        Running = false;
        BreakHit(bank, address, cond);
    }
    // The breakpoint flags of one byte.
    int32_t BreakFlagsAt(int32_t address) const {
        return breakFlags_.contains(address) ? breakFlags_.at(address) : 0;
    }

    // The registers GetCpuState gives; nullopt makes it give nothing, like a silent ICE.
    std::optional<CpuState> Cpu = CpuState{};
    // Banks 0 to HighestBank exist; GetValue("Bank") gives it.
    int32_t HighestBank = 3;
    // Memory, register and breakpoint calls throw BxError while set.
    bool ThrowOnRead = false;
    bool ThrowOnWrite = false;
    // SetBreak answers false while set.
    bool RefuseBreaks = false;
    // The models SetModel accepts; any other number selects none.
    std::set<int32_t> KnownModels{emulator_model::kKTR310, emulator_model::kKTR311,
                                  emulator_model::kKTR640};
    // Whether SetIceDriver succeeds.
    bool IceDriverLoads = true;
    // What ResetRequested answers.
    bool ResetKeyHeld = false;
    // Scripted disassembly: address -> (text, length). Other readable addresses disassemble as
    // ".byte $xx", one byte long.
    std::map<int32_t, std::pair<std::string, int32_t>> Instructions;

    bool Running = false;
    int32_t Model = emulator_model::kNone;
    std::string IceDriver;
    std::map<int32_t, int32_t> Clocks;
    // The hub the fake was attached to, or -1.
    int32_t AttachedHub = -1;
    std::vector<BreakCall> SetBreakCalls;
    std::vector<BreakCall> ClearBreakCalls;
    // Every WriteMemory call, also those that then failed.
    std::vector<WriteCall> WriteCalls;
    std::vector<CpuState> SetCpuStateCalls;
    // Every call of the interface, in order, as one line each: "Reset", "SetModel 13",
    // "ReadMemory 00014000 2", "SetReadAhead 0 768 1 0".
    std::vector<std::string> Calls;

    // ---- Emulator ------------------------------------------------------------------------

    int32_t Reset() override {
        Log("Reset"), Running = false;
        if (Cpu)
            Cpu->PC = static_cast<uint16_t>(Peek(0xFFFC) | (Peek(0xFFFD) << 8));
        return 0;
    }
    int32_t Run() override { return Log("Run"), Running = true, 0; }
    bool Stop() override { return Log("Stop"), std::exchange(Running, false); }
    int32_t Step() override { return Log("Step"), 0; }
    bool SetBreak(int32_t address, int32_t kinds, int32_t count) override {
        Log("SetBreak", Hex8(address), kinds, count);
        SetBreakCalls.push_back({address, kinds, count});
        if (RefuseBreaks || !Exists(address, count))
            return false;
        for (int32_t i = 0; i < count; ++i)
            breakFlags_[address + i] |= kinds;
        return true;
    }
    bool ClearBreak(int32_t address, int32_t kinds, int32_t count) override {
        Log("ClearBreak", Hex8(address), kinds, count);
        ClearBreakCalls.push_back({address, kinds, count});
        if (address == 0 && kinds == 7 && count == -1)
            return breakFlags_.clear(), true;
        if (!Exists(address, count))
            return false;
        for (int32_t i = 0; i < count; ++i)
            if (auto it = breakFlags_.find(address + i);
                it != breakFlags_.end() && (it->second &= ~kinds) == 0)
                breakFlags_.erase(it);
        return true;
    }
    bool GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) override {
        Log("GetBreakFlags", Hex8(address), count);
        flags.clear();
        Refuse(ThrowOnRead, "GetBreakFlags refused");
        if (!Readable(address, count))
            return false;
        for (int32_t i = 0; i < count; ++i)
            flags.push_back(BreakFlagsAt(address + i));
        return true;
    }
    std::optional<CpuState> GetCpuState() override {
        return Log("GetCpuState"), Refuse(ThrowOnRead, "GetCpuState refused"), Cpu;
    }
    void SetCpuState(const CpuState& state) override {
        Log("SetCpuState"), SetCpuStateCalls.push_back(state);
        Refuse(ThrowOnWrite, "SetCpuState refused"), Cpu = state;
    }
    std::vector<uint8_t> ReadMemory(int32_t address, int32_t& count) override {
        Log("ReadMemory", Hex8(address), count);
        Refuse(ThrowOnRead, "ReadMemory refused");
        std::vector<uint8_t> data;
        if (!Readable(address, count))
            count = 0;
        for (int32_t i = 0; i < count; ++i)
            data.push_back(Peek(address + i));
        return data;
    }
    void WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) override {
        Log("WriteMemory", Hex8(address), count);
        const bool fits = count >= 0 && static_cast<std::size_t>(count) <= data.size();
        WriteCalls.push_back({address, {data.begin(), fits ? data.begin() + count : data.end()}});
        if (ThrowOnWrite || !fits || !Exists(address, count)) {
            count = 0;
            Refuse(true, "WriteMemory refused");
        }
        Poke(address, WriteCalls.back().Data);
    }
    int32_t GetModel() override { return Log("GetModel"), Model; }
    void SetModel(int32_t model) override {
        Log("SetModel", model);
        if (model == Model)
            return;
        Model = KnownModels.contains(model) ? model : emulator_model::kNone;
        if (Model != emulator_model::kNone) // another model is another machine
            memory_.clear(), breakFlags_.clear();
    }
    void SetClock(int32_t index, int32_t hertz) override {
        Log("SetClock", index, hertz), Clocks[index] = hertz;
    }
    void SetOption(const std::string& name, bool value) override { Log("SetOption", name, value); }
    int32_t GetValue(const std::string& name) override {
        Log("GetValue", name);
        return Refuse(name != "Bank", "No value named " + name), HighestBank;
    }
    std::string GetIceDriver() override { return Log("GetIceDriver"), IceDriver; }
    void SetIceDriver(const std::string& path) override {
        Log("SetIceDriver", path), IceDriver = IceDriverLoads ? path : "";
    }
    void AttachHub(int32_t hubHandle, int32_t deviceId) override {
        Log("AttachHub", hubHandle, deviceId), AttachedHub = hubHandle;
    }
    int32_t GetPortId(const std::string& portName) override {
        Log("GetPortId", portName);
        const std::map<std::string, int32_t> ports{{"P0", 0}, {"P1", 1}, {"P2", 2}, {"DAC", 3}};
        Refuse(!ports.contains(portName), "No port named " + portName);
        return ports.at(portName);
    }
    bool Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                     std::vector<std::string>& text) override {
        Log("Disassemble", Hex8(address), count);
        text.clear();
        nextAddress = address;
        for (int32_t i = 0; i < count; ++i) {
            if (auto scripted = Instructions.find(nextAddress); scripted != Instructions.end()) {
                text.push_back(scripted->second.first);
                nextAddress += scripted->second.second;
            } else if (Readable(nextAddress, 1)) {
                text.push_back(".byte $" + Hex2(Peek(nextAddress++)));
            } else {
                text.clear(), nextAddress = address + 1;
                return false;
            }
        }
        return true;
    }
    int32_t NextInstruction(int32_t address) override {
        Log("NextInstruction", Hex8(address));
        return Readable(address, 3) && Peek(address) == 0x20 /* JSR */ ? address + 3 : -1;
    }
    bool SetReadAhead(int32_t address, int32_t length, bool registers, bool memory) override {
        return Log("SetReadAhead", address, length, registers, memory), true;
    }
    bool ResetRequested() override { return Log("ResetRequested"), ResetKeyHeld; }

private:
    bool Exists(int32_t address, int32_t count) const {
        return address >= 0 && count >= 0 && address / 0x10000 <= HighestBank &&
               address % 0x10000 + count <= 0x10000;
    }
    bool Readable(int32_t address, int32_t count) const {
        for (int32_t i = 0; i < count; ++i)
            if (unreadable_.contains(address + i))
                return false;
        return Exists(address, count);
    }
    static void Refuse(bool refused, const std::string& what) {
        if (refused)
            throw BxError(1, "Emulator", what);
    }
    // Adds "Name part part ..." to Calls: numbers in decimal, flags as 1 or 0.
    template <class... Parts>
    void Log(const char* name, const Parts&... parts) {
        Calls.push_back((std::string(name) + ... + (" " + Text(parts))));
    }
    static std::string Text(const std::string& text) { return text; }
    static std::string Text(int32_t value) { return std::to_string(value); }
    static std::string Text(bool value) { return value ? "1" : "0"; }

    std::map<int32_t, uint8_t> memory_;
    std::set<int32_t> unreadable_;
    std::map<int32_t, int32_t> breakFlags_;
};

} // namespace bx::test
