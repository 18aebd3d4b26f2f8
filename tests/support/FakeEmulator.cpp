#include "support/FakeEmulator.h"

#include "foundation/Common.h"
#include "foundation/Error.h"

namespace bx::test {

namespace {

constexpr int32_t kBankSize = 0x10000;

BxError FakeError(const std::string& what) {
    return BxError(1, "Emulator", what);
}

} // namespace

// ---- Set-up -------------------------------------------------------------------------------

bool FakeEmulator::Exists(int32_t address, int32_t count) const {
    return address >= 0 && count >= 0 && address / kBankSize <= HighestBank &&
           address % kBankSize + count <= kBankSize;
}

bool FakeEmulator::Readable(int32_t address, int32_t count) const {
    if (!Exists(address, count))
        return false;
    for (int32_t i = 0; i < count; ++i)
        if (unreadable_.count(address + i) != 0)
            return false;
    return true;
}

void FakeEmulator::Poke(int32_t address, const std::vector<uint8_t>& bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const int32_t at = address + static_cast<int32_t>(i);
        std::vector<uint8_t>& bank = banks_[at / kBankSize];
        if (bank.empty())
            bank.assign(kBankSize, 0);
        bank[static_cast<std::size_t>(at % kBankSize)] = bytes[i];
    }
}

uint8_t FakeEmulator::Peek(int32_t address) const {
    auto it = banks_.find(address / kBankSize);
    if (address < 0 || it == banks_.end())
        return 0;
    return it->second[static_cast<std::size_t>(address % kBankSize)];
}

void FakeEmulator::MakeUnreadable(int32_t address, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        unreadable_.insert(address + i);
}

// ---- Execution ----------------------------------------------------------------------------

int32_t FakeEmulator::Reset() {
    Log("Reset");
    Running = false;
    if (Cpu)
        Cpu->PC = static_cast<uint16_t>(Peek(0xFFFC) | (Peek(0xFFFD) << 8));
    return 0;
}

// ---- Breakpoints --------------------------------------------------------------------------

bool FakeEmulator::SetBreak(int32_t address, int32_t kinds, int32_t count) {
    Log("SetBreak", Hex8(address), kinds, count);
    SetBreakCalls.push_back({address, kinds, count});
    if (RefuseBreaks || !Exists(address, count))
        return false;
    for (int32_t i = 0; i < count; ++i)
        breakFlags_[address + i] |= kinds;
    return true;
}

bool FakeEmulator::ClearBreak(int32_t address, int32_t kinds, int32_t count) {
    Log("ClearBreak", Hex8(address), kinds, count);
    ClearBreakCalls.push_back({address, kinds, count});
    if (address == 0 && kinds == 7 && count == -1) {
        breakFlags_.clear();
        return true;
    }
    if (!Exists(address, count))
        return false;
    for (int32_t i = 0; i < count; ++i) {
        auto it = breakFlags_.find(address + i);
        if (it != breakFlags_.end() && (it->second &= ~kinds) == 0)
            breakFlags_.erase(it);
    }
    return true;
}

bool FakeEmulator::GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) {
    Log("GetBreakFlags", Hex8(address), count);
    flags.clear();
    if (ThrowOnRead)
        throw FakeError("GetBreakFlags refused");
    if (!Readable(address, count))
        return false;
    for (int32_t i = 0; i < count; ++i)
        flags.push_back(BreakFlagsAt(address + i));
    return true;
}

// ---- Registers and memory -----------------------------------------------------------------

std::optional<CpuState> FakeEmulator::GetCpuState() {
    Log("GetCpuState");
    if (ThrowOnRead)
        throw FakeError("GetCpuState refused");
    return Cpu;
}

void FakeEmulator::SetCpuState(const CpuState& state) {
    Log("SetCpuState");
    SetCpuStateCalls.push_back(state);
    if (ThrowOnWrite)
        throw FakeError("SetCpuState refused");
    Cpu = state;
}

std::vector<uint8_t> FakeEmulator::ReadMemory(int32_t address, int32_t& count) {
    Log("ReadMemory", Hex8(address), count);
    if (ThrowOnRead)
        throw FakeError("ReadMemory refused");
    std::vector<uint8_t> data;
    if (!Readable(address, count))
        count = 0;
    for (int32_t i = 0; i < count; ++i)
        data.push_back(Peek(address + i));
    return data;
}

void FakeEmulator::WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) {
    Log("WriteMemory", Hex8(address), count);
    std::vector<uint8_t> written = data;
    if (count >= 0 && static_cast<std::size_t>(count) < written.size())
        written.resize(static_cast<std::size_t>(count));
    WriteCalls.push_back({address, written});
    if (ThrowOnWrite || count < 0 || static_cast<std::size_t>(count) > data.size() ||
        !Exists(address, count)) {
        count = 0;
        throw FakeError("WriteMemory refused");
    }
    Poke(address, written);
}

// ---- Model, clock, options, ICE driver, devices -------------------------------------------

void FakeEmulator::SetModel(int32_t model) {
    Log("SetModel", model);
    if (model == Model)
        return;
    Model = KnownModels.count(model) != 0 ? model : emulator_model::kNone;
    if (Model != emulator_model::kNone) { // another model is another machine
        banks_.clear();
        breakFlags_.clear();
    }
}

int32_t FakeEmulator::GetValue(const std::string& name) {
    Log("GetValue", name);
    if (name == "Bank")
        return HighestBank;
    throw FakeError("No value named " + name);
}

int32_t FakeEmulator::GetPortId(const std::string& portName) {
    Log("GetPortId", portName);
    static const std::map<std::string, int32_t> ports{{"P0", 0}, {"P1", 1}, {"P2", 2}, {"DAC", 3}};
    auto it = ports.find(portName);
    if (it == ports.end())
        throw FakeError("No port named " + portName);
    return it->second;
}

// ---- Code inspection ----------------------------------------------------------------------

bool FakeEmulator::Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                               std::vector<std::string>& text) {
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
            text.clear();
            nextAddress = address + 1;
            return false;
        }
    }
    return true;
}

int32_t FakeEmulator::NextInstruction(int32_t address) {
    Log("NextInstruction", Hex8(address));
    constexpr uint8_t kJsr = 0x20;
    return Readable(address, 3) && Peek(address) == kJsr ? address + 3 : -1;
}

} // namespace bx::test
