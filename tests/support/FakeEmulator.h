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
        int32_t Address;
        int32_t Kinds;
        int32_t Count;
        bool operator==(const BreakCall&) const = default;
    };
    struct WriteCall {
        int32_t Address;
        std::vector<uint8_t> Data;
        bool operator==(const WriteCall&) const = default;
    };

    // ---- Set-up and inspection by the test -------------------------------------------------

    // Puts bytes into memory from address (address form) without recording a call.
    void Poke(int32_t address, const std::vector<uint8_t>& bytes);
    // The byte at address; 0 for an address in no bank.
    uint8_t Peek(int32_t address) const;
    // Reads of any byte in the range give empty data from now on (writes still work).
    void MakeUnreadable(int32_t address, int32_t count);
    // Stops the target as if it had stopped by itself: Running becomes false and BreakHit is
    // raised at once (the test stands in for the Dispatcher's delivery).
    void RaiseBreakHit(int32_t bank, int32_t address, int32_t cond) {
        Running = false;
        BreakHit(bank, address, cond);
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
    std::map<std::string, bool> Options;
    std::vector<BreakCall> SetBreakCalls;
    std::vector<BreakCall> ClearBreakCalls;
    // Every WriteMemory call, also those that then failed.
    std::vector<WriteCall> WriteCalls;
    std::vector<CpuState> SetCpuStateCalls;
    // Every call of the interface, in order, as one line each: "Reset", "SetModel 13",
    // "ReadMemory 00014000 2", "SetReadAhead 0 768 1 0".
    std::vector<std::string> Calls;

    // ---- Emulator ------------------------------------------------------------------------

    int32_t Reset() override;
    int32_t Run() override { return Log("Run"), Running = true, 0; }
    bool Stop() override { return Log("Stop"), std::exchange(Running, false); }
    int32_t Step() override { return Log("Step"), 0; }
    bool SetBreak(int32_t address, int32_t kinds, int32_t count) override;
    bool ClearBreak(int32_t address, int32_t kinds, int32_t count) override;
    bool GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) override;
    std::optional<CpuState> GetCpuState() override;
    void SetCpuState(const CpuState& state) override;
    std::vector<uint8_t> ReadMemory(int32_t address, int32_t& count) override;
    void WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) override;
    int32_t GetModel() override { return Log("GetModel"), Model; }
    void SetModel(int32_t model) override;
    void SetClock(int32_t index, int32_t hertz) override {
        Log("SetClock", index, hertz), Clocks[index] = hertz;
    }
    void SetOption(const std::string& name, bool value) override {
        Log("SetOption", name, value), Options[name] = value;
    }
    int32_t GetValue(const std::string& name) override;
    std::string GetIceDriver() override { return Log("GetIceDriver"), IceDriver; }
    void SetIceDriver(const std::string& path) override {
        Log("SetIceDriver", path), IceDriver = IceDriverLoads ? path : "";
    }
    void AttachHub(int32_t hubHandle, int32_t deviceId) override {
        Log("AttachHub", hubHandle, deviceId), AttachedHub = hubHandle;
    }
    int32_t GetPortId(const std::string& portName) override;
    bool Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                     std::vector<std::string>& text) override;
    int32_t NextInstruction(int32_t address) override;
    bool SetReadAhead(int32_t address, int32_t length, bool registers, bool memory) override {
        return Log("SetReadAhead", address, length, registers, memory), true;
    }
    bool ResetRequested() override { return Log("ResetRequested"), ResetKeyHeld; }

    // The hub the fake was attached to, or -1.
    int32_t AttachedHub = -1;
    // The breakpoint flags of one byte.
    int32_t BreakFlagsAt(int32_t address) const {
        return breakFlags_.contains(address) ? breakFlags_.at(address) : 0;
    }

private:
    bool Exists(int32_t address, int32_t count) const;
    bool Readable(int32_t address, int32_t count) const;
    // Adds "Name part part ..." to Calls: numbers in decimal, flags as 1 or 0.
    template <class... Parts>
    void Log(const char* name, const Parts&... parts) {
        Calls.push_back((std::string(name) + ... + (" " + Text(parts))));
    }
    static std::string Text(const std::string& text) { return text; }
    static std::string Text(int32_t value) { return std::to_string(value); }
    static std::string Text(bool value) { return value ? "1" : "0"; }

    std::map<int32_t, std::vector<uint8_t>> banks_;
    std::set<int32_t> unreadable_;
    std::map<int32_t, int32_t> breakFlags_;
};

} // namespace bx::test
