#pragma once
// A 65C02 on 64 KB of RAM that logs every bus cycle, for the focused CPU tests.

#include "sim/Cpu65C02.h"
#include "sim/SingleStepTest.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

namespace bx::sim::testing {

class LoggingBus {
public:
    LoggingBus() { Memory.fill(0); }
    uint8_t Read(uint16_t a) {
        Log.push_back({a, Memory[a], false});
        return Memory[a];
    }
    void Write(uint16_t a, uint8_t v) {
        Memory[a] = v;
        Log.push_back({a, v, true});
    }
    void DummyRead(uint16_t a) {
        Log.push_back({a, Memory[a], false});
        ++DummyReads;
    }
    int Writes() const {
        int n = 0;
        for (const auto& c : Log)
            n += c.IsWrite ? 1 : 0;
        return n;
    }

    std::array<uint8_t, 65536> Memory;
    std::vector<BusCycle> Log;
    int DummyReads = 0;
};

struct Machine {
    std::unique_ptr<LoggingBus> Bus = std::make_unique<LoggingBus>();
    Cpu65C02<LoggingBus> Cpu{*Bus};

    void Poke(uint16_t address, std::initializer_list<uint8_t> bytes) {
        for (uint8_t b : bytes)
            Bus->Memory[address++] = b;
    }
    void SetVector(uint16_t vector, uint16_t target) {
        Poke(vector, {static_cast<uint8_t>(target), static_cast<uint8_t>(target >> 8)});
    }
    CpuRegisters& Regs() { return Cpu.Registers(); }
    uint8_t Peek(uint16_t address) const { return Bus->Memory[address]; }
};

} // namespace bx::sim::testing
