#pragma once
// Runs a flat test program to its end: the instruction that jumps or branches to itself (a
// trap, the way self-checking test programs such as the 6502 functional tests report success
// or the place of a failure), or an STP, or an instruction limit.

#include "sim/Cpu65C02.h"

#include <cstdint>

namespace bx::sim {

// Waiting: a WAI with no interrupt source that could ever end it.
enum class TrapStop { Trap, Stopped, Waiting, Limit };

struct TrapRunResult {
    TrapStop How = TrapStop::Limit;
    uint16_t Address = 0;      // the trap's, STP's or WAI's address, or the PC at the limit
    uint64_t Instructions = 0; // including one execution of the trap instruction or the STP
    uint64_t Cycles = 0;
};

template <class Bus>
TrapRunResult RunUntilTrap(Cpu65C02<Bus>& cpu, uint64_t instructionLimit) {
    TrapRunResult result;
    const uint64_t startCycles = cpu.Cycles();
    while (result.Instructions < instructionLimit) {
        const uint16_t pc = cpu.Registers().PC;
        cpu.Step();
        ++result.Instructions;
        if (cpu.State() != CpuState::Running) {
            result.How = cpu.State() == CpuState::Stopped ? TrapStop::Stopped : TrapStop::Waiting;
            result.Address = pc;
            result.Cycles = cpu.Cycles() - startCycles;
            return result;
        }
        if (cpu.Registers().PC == pc) {
            result.How = TrapStop::Trap;
            result.Address = pc;
            result.Cycles = cpu.Cycles() - startCycles;
            return result;
        }
    }
    result.How = TrapStop::Limit;
    result.Address = cpu.Registers().PC;
    result.Cycles = cpu.Cycles() - startCycles;
    return result;
}

} // namespace bx::sim
