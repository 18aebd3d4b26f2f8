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

// On the CPU's run loop, which finds the trap itself. Every instruction takes at least one
// cycle, so a cycle budget of the instructions left never runs past the limit; the few last
// budgets shrink with what is left, and the limit is met exactly.
// Execute breakpoints are not for this runner: Run would return at one again and again.
template <class Bus>
TrapRunResult RunUntilTrap(Cpu65C02<Bus>& cpu, uint64_t instructionLimit) {
    static_assert(!ExecuteCheckBus<Bus>, "a bus with execute breakpoints");
    TrapRunResult result;
    const uint64_t startCycles = cpu.Cycles();
    const uint64_t startInstructions = cpu.Instructions();
    for (;;) {
        const uint64_t executed = cpu.Instructions() - startInstructions;
        if (executed >= instructionLimit)
            break;
        cpu.template Run<RunUntil::Trap>(instructionLimit - executed);
        const CpuState state = cpu.State();
        if (cpu.Trapped()) {
            result.How = TrapStop::Trap;
            result.Address = cpu.Registers().PC;
        } else if (state == CpuState::Stopped) {
            result.How = TrapStop::Stopped;
            result.Address = static_cast<uint16_t>(cpu.Registers().PC - 1); // after STP
        } else if (state == CpuState::Waiting && !cpu.IrqAsserted() && !cpu.NmiPending()) {
            result.How = TrapStop::Waiting;
            result.Address = static_cast<uint16_t>(cpu.Registers().PC - 1); // after WAI
        } else {
            continue;
        }
        result.Instructions = cpu.Instructions() - startInstructions;
        result.Cycles = cpu.Cycles() - startCycles;
        return result;
    }
    result.How = TrapStop::Limit;
    result.Address = cpu.Registers().PC;
    result.Instructions = cpu.Instructions() - startInstructions;
    result.Cycles = cpu.Cycles() - startCycles;
    return result;
}

} // namespace bx::sim
