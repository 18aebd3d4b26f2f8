#pragma once
// WDC 65C02 CPU core.
//
// ---- Contract ----------------------------------------------------------------------------
//
// Cpu65C02<Bus> executes whole instructions against a Bus supplied by the owner (the flat RAM
// of the tests, the KTR MCU's address decoder). The Bus is a template parameter so that every
// access is an inline call: the hot path has no virtual calls. A Bus provides
//
//     uint8_t Read(uint16_t address);               // a read whose value the CPU uses
//     void    Write(uint16_t address, uint8_t v);   // a write
//     void    DummyRead(uint16_t address);          // a read whose value the CPU discards
//
// Every cycle of the 65C02 is a bus cycle, and the core issues exactly one of these three calls
// per cycle, in the order the WDC part drives them, so a Step's cycle count always equals the
// number of bus calls it made. DummyRead exists because the discarded reads still appear on the
// real bus: a bus that has read-sensitive registers (a status register cleared by reading, a
// FIFO) can decide whether a dummy read touches them; a RAM bus makes it a no-op.
//
// Dummy reads the core issues (for the instructions, verified cycle by cycle against the
// published single-step data for the WDC 65C02; the entry sequences, WAI and STP, which that
// data does not cover, follow the WDC data sheet's cycle tables):
//   - two-cycle implied/accumulator instructions, PHA/PHP/PHX/PHY, PLA/PLP/PLX/PLY, RTS, RTI,
//     BRK's signature byte: the byte after the opcode (PC+1);
//   - pulls, RTS, RTI: the current stack slot $0100+S before S is incremented; JSR likewise,
//     between its two operand fetches;
//   - RTS: the pulled return address, before it is incremented;
//   - zp,X / zp,Y and (zp,X): the un-indexed zero-page address;
//   - abs,X / abs,Y / (zp),Y reads crossing a page, stores through these modes always, INC/DEC
//     abs,X always, ASL/LSR/ROL/ROR abs,X on a page cross: the last operand byte of the
//     instruction (never a partially-formed "wrong page" address as on the NMOS 6502);
//   - read-modify-write (ASL..ROR, INC, DEC, TSB, TRB, RMB, SMB) and BBR/BBS: a second read of
//     the operand address instead of the NMOS double write;
//   - JMP (abs): the pointer's high byte address once more; JMP (abs,X): the low operand byte;
//   - branches taken: the next instruction's address; a page cross adds a read of the target's
//     low byte in the old page. BBR/BBS taken: the next instruction's address, twice on a cross;
//   - ADC/SBC in decimal mode: the operand address once more; for the immediate forms the
//     single-step data shows $007F (ADC) and $0000 (SBC), and the core issues exactly those;
//   - IRQ/NMI entry: the current PC twice; RESET: PC twice, then $0100+S, S-1, S-2;
//   - WAI and STP: PC+1 twice;
//   - undefined opcodes (not in the data either): every cycle after the instruction's own bytes
//     (the addresses are listed at the end of Execute<Op> below and in docs/cpu.md).
//
// Interrupts: SetIrq(level) is the level-sensitive IRQ input; TriggerNmi() latches an NMI edge.
// Both are sampled between instructions: a pending NMI, or an asserted IRQ with I clear, makes
// the next Step perform the 7-cycle entry sequence (it counts no instruction). Entries and BRK
// set I and clear D. Reset() runs the reset sequence on the bus at once (7 cycles, vector at
// $FFFC) and leaves the CPU running with I set and D clear.
//
// States: Running; Waiting after WAI until NMI or IRQ is asserted (an IRQ masked by I resumes
// at the next instruction without entering the handler); Stopped after STP until Reset(). A
// Step in Waiting or Stopped passes one idle cycle without touching the bus.
//
// Threading: one thread owns a Cpu65C02. SetIrq, TriggerNmi and RequestStop may also be called
// from inside the Bus callbacks of that thread (a device raising its interrupt in response to
// a write); the core rereads them between instructions. Registers() reflects the state between
// Step/Run calls, not during one, and neither Registers() nor Reset() may be used from inside a
// Bus callback: the running instruction would overwrite the change when it ends.

#include <algorithm>
#include <concepts>
#include <cstdint>

namespace bx::sim {

// Optional extensions of the bus contract, found at compile time:
//   - a TimedBus also takes the number of the cycle in which the access happens (the CPU's
//     Cycles() count of the cycles before it): Read(a, cycle), Write(a, v, cycle),
//     DummyRead(a, cycle). The core then calls these instead of the plain forms, so that a
//     device can tell the exact cycle of an access (a timer read, a port edge) without a
//     counter of its own; on the RAM path the compiler drops the unused argument.
//   - an ExecuteCheckBus answers ExecuteBreak(pc) before Run() executes each instruction;
//     true makes Run() return with that instruction not executed (an execute breakpoint).
//     Step() never asks.
template <class B>
concept TimedBus = requires(B& b, uint16_t a, uint8_t v, uint64_t t) {
    { b.Read(a, t) } -> std::convertible_to<uint8_t>;
    b.Write(a, v, t);
    b.DummyRead(a, t);
};
template <class B>
concept ExecuteCheckBus = requires(B& b, uint16_t pc) {
    { b.ExecuteBreak(pc) } -> std::convertible_to<bool>;
};
//   - an ExecuteCheckBus may also offer FetchBlock(pc): a host pointer p such that the opcode
//     at pc is p[pc & 63], or null. Run() then takes each opcode, and the operand bytes in the
//     same 64-byte block, from there without a bus call (their cycles still count) and asks
//     ExecuteBreak only where the pointer is null, so one table lookup serves both the
//     breakpoint check and the fetch. The bus hands out a pointer only where a read has no
//     side effect and no breakpoint (execute or read).
template <class B>
concept FetchBlockBus = ExecuteCheckBus<B> && requires(B& b, uint16_t pc) {
    { b.FetchBlock(pc) } -> std::convertible_to<const uint8_t*>;
};
//   - a bus whose static constexpr bool kAccessesMayCall is true has accesses that sometimes
//     call a function (a slow path out of line). Run() then dispatches through one switch
//     instead of threaded code: with calls in the 256 opcodes' code, GCC keeps most of the
//     CPU's registers in memory throughout the threaded loop, which measured slower than the
//     switch (docs/cpu.md).
template <class B>
constexpr bool AccessesMayCall() {
    if constexpr (requires { B::kAccessesMayCall; })
        return B::kAccessesMayCall;
    else
        return false;
}
//   - a bus whose static constexpr bool kRunReturnsOnStp is true makes Run() return as soon as
//     STP has executed, instead of letting the rest of the budget pass idle (a debugger wants
//     the stop, and the cycle count, at the STP).
template <class B>
constexpr bool RunReturnsOnStp() {
    if constexpr (requires { B::kRunReturnsOnStp; })
        return B::kRunReturnsOnStp;
    else
        return false;
}

struct CpuRegisters {
    uint8_t A = 0, X = 0, Y = 0, S = 0xFD, P = 0x34;
    uint16_t PC = 0;
};

enum class CpuState : uint8_t { Running, Waiting, Stopped };

// What Run() returns for besides its budget and RequestStop().
enum class RunUntil : uint8_t {
    Budget,
    // Also right after an instruction that jumps or branches to its own address (a trap, the
    // way self-checking test programs end), executed once; after STP; and at a WAI that no
    // asserted input can end. Only the taken paths of the control transfers check.
    Trap,
};

// Status register bits.
enum CpuFlag : uint8_t {
    kFlagC = 0x01,
    kFlagZ = 0x02,
    kFlagI = 0x04,
    kFlagD = 0x08,
    kFlagB = 0x10,
    kFlagU = 0x20,
    kFlagV = 0x40,
    kFlagN = 0x80,
};

inline constexpr uint16_t kNmiVector = 0xFFFA;
inline constexpr uint16_t kResetVector = 0xFFFC;
inline constexpr uint16_t kIrqVector = 0xFFFE;

#if defined(__GNUC__)
#define BX_SIM_INLINE inline __attribute__((always_inline))
#else
#define BX_SIM_INLINE inline
#endif
// Threaded code: every opcode's code ends in its own fetch and indirect jump to the next
// opcode's code (GCC and Clang's labels as values), so that the host predicts each jump from
// the instruction before it. Elsewhere the run loop dispatches through one switch.
#if defined(__GNUC__)
#define BX_SIM_THREADED 1
#else
#define BX_SIM_THREADED 0
#endif
// X(h, l) for every opcode $hl, in order.
// clang-format off
#define BX_SIM_OPCODE_ROW(X, h)                                                                    \
    X(h, 0) X(h, 1) X(h, 2) X(h, 3) X(h, 4) X(h, 5) X(h, 6) X(h, 7)                               \
    X(h, 8) X(h, 9) X(h, A) X(h, B) X(h, C) X(h, D) X(h, E) X(h, F)
#define BX_SIM_ALL_OPCODES(X)                                                                      \
    BX_SIM_OPCODE_ROW(X, 0) BX_SIM_OPCODE_ROW(X, 1) BX_SIM_OPCODE_ROW(X, 2)                       \
    BX_SIM_OPCODE_ROW(X, 3) BX_SIM_OPCODE_ROW(X, 4) BX_SIM_OPCODE_ROW(X, 5)                       \
    BX_SIM_OPCODE_ROW(X, 6) BX_SIM_OPCODE_ROW(X, 7) BX_SIM_OPCODE_ROW(X, 8)                       \
    BX_SIM_OPCODE_ROW(X, 9) BX_SIM_OPCODE_ROW(X, A) BX_SIM_OPCODE_ROW(X, B)                       \
    BX_SIM_OPCODE_ROW(X, C) BX_SIM_OPCODE_ROW(X, D) BX_SIM_OPCODE_ROW(X, E)                       \
    BX_SIM_OPCODE_ROW(X, F)
// clang-format on

template <class Bus>
class Cpu65C02 {
public:
    explicit Cpu65C02(Bus& bus) : bus_(bus) {}

    CpuRegisters& Registers() { return regs_; }
    const CpuRegisters& Registers() const { return regs_; }
    CpuState State() const { return state_; }

    // Total cycles (bus cycles plus idle cycles) and instructions since construction.
    uint64_t Cycles() const { return cycles_; }
    uint64_t Instructions() const { return instructions_; }
    // The last Run<RunUntil::Trap> returned on a trap: the instruction at PC jumped or
    // branched to itself, and was executed once.
    bool Trapped() const { return trapped_; }

    // The level of the IRQ input (true = asserted).
    void SetIrq(bool asserted) {
        irqLine_ = asserted;
        UpdateAttention();
    }
    bool IrqAsserted() const { return irqLine_; }
    bool NmiPending() const { return nmiPending_; }
    // An edge on the NMI input: latched until the CPU enters the handler.
    void TriggerNmi() {
        nmiPending_ = true;
        UpdateAttention();
    }
    // Makes a running Run() return after the current instruction (for breakpoints that a Bus
    // detects during an access). Used up by the next Run, or by a Step that executes an
    // instruction.
    void RequestStop() {
        stopRequested_ = true;
        UpdateAttention();
    }

    // Leaves Waiting and Stopped without an interrupt or a reset: a debugger that sets the
    // registers by hand means the CPU to go on from them.
    void Resume() {
        state_ = CpuState::Running;
        UpdateAttention();
    }

    // The reset sequence, performed now: 7 cycles, PC from $FFFC/$FFFD, I set, D clear, S
    // lowered by three, leaves Waiting and Stopped. A pending NMI is forgotten.
    void Reset() {
        Core<false> c{*this};
        c.DummyRead(c.r.PC);
        c.DummyRead(c.r.PC);
        c.DummyRead(static_cast<uint16_t>(0x100 | c.r.S--));
        c.DummyRead(static_cast<uint16_t>(0x100 | c.r.S--));
        c.DummyRead(static_cast<uint16_t>(0x100 | c.r.S--));
        c.r.P = static_cast<uint8_t>((c.r.P | kFlagI | kFlagB | kFlagU) & ~kFlagD);
        uint8_t lo = c.Read(kResetVector);
        uint8_t hi = c.Read(kResetVector + 1);
        c.r.PC = static_cast<uint16_t>(lo | (hi << 8));
        state_ = CpuState::Running;
        nmiPending_ = false;
        UpdateAttention();
        c.Commit();
    }

    // Executes one instruction, or one interrupt entry, or passes one idle cycle while Waiting
    // or Stopped. Returns the cycles spent.
    int Step() {
        if (attention_ != 0) {
            int spent = 0;
            if (HandleAttention(spent))
                return spent;
        }
        Core<false> c{*this};
        c.Execute();
        ++instructions_;
        const int spent = static_cast<int>(c.Spent());
        c.Commit();
        if (stopRequested_) {
            // A stop requested during this instruction is served by its end.
            stopRequested_ = false;
            UpdateAttention();
        }
        return spent;
    }

    // Runs whole instructions until at least cycleBudget cycles have passed (the last one may
    // overshoot) or RequestStop() was called. While Waiting or Stopped the rest of the budget
    // passes idle, except where Until says to return. Returns the cycles spent.
    template <RunUntil Until = RunUntil::Budget>
    uint64_t Run(uint64_t cycleBudget) {
        constexpr bool kTraps = Until == RunUntil::Trap;
        trapped_ = false;
        uint64_t spent = 0;
        while (spent < cycleBudget) {
            if (attention_ != 0 && !OnlyMaskedIrq()) {
                if (stopRequested_)
                    break;
                if (state_ == CpuState::Stopped && (kTraps || RunReturnsOnStp<Bus>()))
                    break;
                if (state_ == CpuState::Stopped ||
                    (state_ == CpuState::Waiting && !nmiPending_ && !irqLine_)) {
                    if constexpr (kTraps)
                        break;
                    // Nothing can wake the CPU within this call: let the budget pass idle.
                    cycles_ += cycleBudget - spent;
                    spent = cycleBudget;
                    break;
                }
                int entry = 0;
                if (HandleAttention(entry)) {
                    spent += static_cast<unsigned>(entry);
                    continue;
                }
            }
            spent += RunInstructions<kTraps>(cycleBudget - spent);
        }
        stopRequested_ = false;
        UpdateAttention();
        return spent;
    }

private:
    // The working copy of the registers during a Step or Run. It lives on the stack so that
    // the compiler keeps it in machine registers: a byte store to the Bus's memory could alias
    // members of the Cpu object, but never a local whose address does not escape.
    // StopAtTraps: the control transfers look for a trap (RunUntil::Trap).
    template <bool StopAtTraps>
    struct Core {
        Cpu65C02& cpu;
        Bus& bus;
        CpuRegisters r;
        // The cycle count (Cycles()) as the instruction goes: a TimedBus is given the number
        // of each access's cycle. One counter rather than a start and an offset keeps one
        // more machine register free in the run loop.
        uint64_t now;
        // The run loop's budget, as the cycle count at which it ends, and its instructions.
        uint64_t end = 0;
        uint64_t executed = 0;
        // The fetch block of the running instruction's opcode (FetchBlock) and its address, or
        // null: operand bytes in the same block are taken from there without a bus call. The
        // block is side-effect free plain memory, and an instruction fetches all its operand
        // bytes before its first write, so no write of its own can remap the block under it.
        const uint8_t* fetchBlock = nullptr;
        uint16_t fetchBase = 0;

        explicit Core(Cpu65C02& owner)
            : cpu(owner), bus(owner.bus_), r(owner.regs_), now(owner.cycles_) {}
        // The cycles since this Core began (before Commit).
        uint64_t Spent() const { return now - cpu.cycles_; }
        void Commit() {
            cpu.regs_ = r;
            cpu.cycles_ = now;
        }

        // ---- Bus cycles ----
        BX_SIM_INLINE uint8_t Read(uint16_t a) {
            if constexpr (TimedBus<Bus>)
                return bus.Read(a, now++);
            else {
                ++now;
                return bus.Read(a);
            }
        }
        BX_SIM_INLINE void Write(uint16_t a, uint8_t v) {
            if constexpr (TimedBus<Bus>)
                bus.Write(a, v, now++);
            else {
                ++now;
                bus.Write(a, v);
            }
        }
        BX_SIM_INLINE void DummyRead(uint16_t a) {
            if constexpr (TimedBus<Bus>)
                bus.DummyRead(a, now++);
            else {
                ++now;
                bus.DummyRead(a);
            }
        }
        BX_SIM_INLINE uint8_t Fetch() {
            if constexpr (FetchBlockBus<Bus>) {
                if (fetchBlock != nullptr && (r.PC & 0xFFC0) == fetchBase) [[likely]] {
                    ++now;
                    return fetchBlock[r.PC++ & 0x3F];
                }
            }
            return Read(r.PC++);
        }
        BX_SIM_INLINE uint16_t Fetch16() {
            uint8_t lo = Fetch();
            uint8_t hi = Fetch();
            return static_cast<uint16_t>(lo | (hi << 8));
        }
        BX_SIM_INLINE void Push(uint8_t v) {
            Write(static_cast<uint16_t>(0x100 | r.S), v);
            --r.S;
        }
        BX_SIM_INLINE uint8_t Pull() {
            ++r.S;
            return Read(static_cast<uint16_t>(0x100 | r.S));
        }
        BX_SIM_INLINE void DummyStack() { DummyRead(static_cast<uint16_t>(0x100 | r.S)); }

        // ---- Effective addresses ----
        BX_SIM_INLINE uint16_t AddrZp() { return Fetch(); }
        BX_SIM_INLINE uint16_t AddrZpIndexed(uint8_t index) {
            uint8_t base = Fetch();
            DummyRead(base);
            return static_cast<uint8_t>(base + index);
        }
        BX_SIM_INLINE uint16_t AddrAbs() { return Fetch16(); }
        // Reads: the extra cycle only when the index carries into the high byte.
        BX_SIM_INLINE uint16_t AddrAbsIndexedRead(uint8_t index) {
            uint16_t base = Fetch16();
            uint16_t ea = static_cast<uint16_t>(base + index);
            if ((base ^ ea) & 0xFF00)
                DummyRead(static_cast<uint16_t>(r.PC - 1));
            return ea;
        }
        // Stores and INC/DEC abs,X: the extra cycle always.
        BX_SIM_INLINE uint16_t AddrAbsIndexedAlways(uint8_t index) {
            uint16_t base = Fetch16();
            DummyRead(static_cast<uint16_t>(r.PC - 1));
            return static_cast<uint16_t>(base + index);
        }
        BX_SIM_INLINE uint16_t ZpPointer(uint8_t zp) {
            uint8_t lo = Read(zp);
            uint8_t hi = Read(static_cast<uint8_t>(zp + 1));
            return static_cast<uint16_t>(lo | (hi << 8));
        }
        BX_SIM_INLINE uint16_t AddrIzp() { return ZpPointer(Fetch()); }
        BX_SIM_INLINE uint16_t AddrIzx() {
            uint8_t base = Fetch();
            DummyRead(base);
            return ZpPointer(static_cast<uint8_t>(base + r.X));
        }
        BX_SIM_INLINE uint16_t AddrIzyRead() {
            uint16_t base = ZpPointer(Fetch());
            uint16_t ea = static_cast<uint16_t>(base + r.Y);
            if ((base ^ ea) & 0xFF00)
                DummyRead(static_cast<uint16_t>(r.PC - 1));
            return ea;
        }
        BX_SIM_INLINE uint16_t AddrIzyAlways() {
            uint16_t base = ZpPointer(Fetch());
            DummyRead(static_cast<uint16_t>(r.PC - 1));
            return static_cast<uint16_t>(base + r.Y);
        }

        // ---- Flags and ALU ----
        BX_SIM_INLINE void SetNZ(uint8_t v) {
            r.P = static_cast<uint8_t>((r.P & ~(kFlagN | kFlagZ)) | (v & kFlagN) |
                                       (v == 0 ? kFlagZ : 0));
        }
        BX_SIM_INLINE void SetFlag(uint8_t flag, bool on) {
            r.P = static_cast<uint8_t>(on ? (r.P | flag) : (r.P & ~flag));
        }
        BX_SIM_INLINE void Adc(uint8_t v, uint16_t decimalDummy) {
            const unsigned a = r.A;
            const unsigned c = r.P & kFlagC;
            if (!(r.P & kFlagD)) {
                unsigned sum = a + v + c;
                SetFlag(kFlagV, ((a ^ sum) & (v ^ sum) & 0x80) != 0);
                SetFlag(kFlagC, sum > 0xFF);
                r.A = static_cast<uint8_t>(sum);
                SetNZ(r.A);
                return;
            }
            // Decimal: the nibble-wise BCD add; V comes from the signed sum of the high
            // nibbles with the adjusted low digit, as on every 65xx; N and Z describe the
            // BCD result on the 65C02, which needs one more cycle for it.
            int lo = static_cast<int>((a & 0x0F) + (v & 0x0F) + c);
            if (lo >= 0x0A)
                lo = ((lo + 0x06) & 0x0F) + 0x10;
            int sum = static_cast<int>((a & 0xF0) + (v & 0xF0)) + lo;
            int ssum = static_cast<int8_t>(a & 0xF0) + static_cast<int8_t>(v & 0xF0) + lo;
            SetFlag(kFlagV, ssum < -128 || ssum > 127);
            if (sum >= 0xA0)
                sum += 0x60;
            SetFlag(kFlagC, sum >= 0x100);
            r.A = static_cast<uint8_t>(sum);
            SetNZ(r.A);
            DummyRead(decimalDummy);
        }
        BX_SIM_INLINE void Sbc(uint8_t v, uint16_t decimalDummy) {
            const unsigned a = r.A;
            const unsigned c = r.P & kFlagC;
            unsigned diff = a + static_cast<uint8_t>(~v) + c; // binary result, C and V
            SetFlag(kFlagV, ((a ^ diff) & (a ^ v) & 0x80) != 0);
            SetFlag(kFlagC, diff > 0xFF);
            if (!(r.P & kFlagD)) {
                r.A = static_cast<uint8_t>(diff);
                SetNZ(r.A);
                return;
            }
            // Decimal: C and V as in binary; the result is corrected per digit.
            int lo =
                static_cast<int>(a & 0x0F) - static_cast<int>(v & 0x0F) + static_cast<int>(c) - 1;
            int res = static_cast<int>(a) - static_cast<int>(v) + static_cast<int>(c) - 1;
            if (res < 0)
                res -= 0x60;
            if (lo < 0)
                res -= 0x06;
            r.A = static_cast<uint8_t>(res);
            SetNZ(r.A);
            DummyRead(decimalDummy);
        }
        BX_SIM_INLINE void Compare(uint8_t reg, uint8_t v) {
            SetFlag(kFlagC, reg >= v);
            SetNZ(static_cast<uint8_t>(reg - v));
        }
        BX_SIM_INLINE void Ora(uint8_t v) { SetNZ(r.A |= v); }
        BX_SIM_INLINE void And(uint8_t v) { SetNZ(r.A &= v); }
        BX_SIM_INLINE void Eor(uint8_t v) { SetNZ(r.A ^= v); }
        BX_SIM_INLINE void Lda(uint8_t v) { SetNZ(r.A = v); }
        BX_SIM_INLINE void Cmp(uint8_t v) { Compare(r.A, v); }
        BX_SIM_INLINE void Bit(uint8_t v) {
            r.P = static_cast<uint8_t>((r.P & ~(kFlagN | kFlagV | kFlagZ)) |
                                       (v & (kFlagN | kFlagV)) | ((r.A & v) ? 0 : kFlagZ));
        }
        BX_SIM_INLINE uint8_t Asl(uint8_t v) {
            SetFlag(kFlagC, v & 0x80);
            v = static_cast<uint8_t>(v << 1);
            SetNZ(v);
            return v;
        }
        BX_SIM_INLINE uint8_t Lsr(uint8_t v) {
            SetFlag(kFlagC, v & 0x01);
            v = static_cast<uint8_t>(v >> 1);
            SetNZ(v);
            return v;
        }
        BX_SIM_INLINE uint8_t Rol(uint8_t v) {
            uint8_t out = static_cast<uint8_t>((v << 1) | (r.P & kFlagC));
            SetFlag(kFlagC, v & 0x80);
            SetNZ(out);
            return out;
        }
        BX_SIM_INLINE uint8_t Ror(uint8_t v) {
            uint8_t out = static_cast<uint8_t>((v >> 1) | ((r.P & kFlagC) << 7));
            SetFlag(kFlagC, v & 0x01);
            SetNZ(out);
            return out;
        }
        BX_SIM_INLINE uint8_t Inc(uint8_t v) {
            ++v;
            SetNZ(v);
            return v;
        }
        BX_SIM_INLINE uint8_t Dec(uint8_t v) {
            --v;
            SetNZ(v);
            return v;
        }
        BX_SIM_INLINE uint8_t Tsb(uint8_t v) {
            SetFlag(kFlagZ, (r.A & v) == 0);
            return static_cast<uint8_t>(v | r.A);
        }
        BX_SIM_INLINE uint8_t Trb(uint8_t v) {
            SetFlag(kFlagZ, (r.A & v) == 0);
            return static_cast<uint8_t>(v & ~r.A);
        }

        // Read-modify-write on memory: read, read again (the 65C02's extra cycle), then the
        // caller writes the result once. No lambda for the operation: a closure holding the
        // Core's address would keep the Core out of machine registers in the run loop.
        BX_SIM_INLINE uint8_t ReadToModify(uint16_t ea) {
            uint8_t v = Read(ea);
            DummyRead(ea);
            return v;
        }

        BX_SIM_INLINE void Branch(bool taken) {
            int8_t offset = static_cast<int8_t>(Fetch());
            if (!taken)
                return;
            DummyRead(r.PC);
            uint16_t target = static_cast<uint16_t>(r.PC + offset);
            if ((target ^ r.PC) & 0xFF00)
                DummyRead(static_cast<uint16_t>((r.PC & 0xFF00) | (target & 0x00FF)));
            JumpFrom(static_cast<uint16_t>(r.PC - 2), target);
        }
        BX_SIM_INLINE void BranchOnBit(uint8_t mask, bool whenSet) {
            uint8_t zp = Fetch();
            uint8_t v = Read(zp);
            DummyRead(zp);
            int8_t offset = static_cast<int8_t>(Fetch());
            if (((v & mask) != 0) != whenSet)
                return;
            DummyRead(r.PC);
            uint16_t target = static_cast<uint16_t>(r.PC + offset);
            if ((target ^ r.PC) & 0xFF00)
                DummyRead(r.PC);
            JumpFrom(static_cast<uint16_t>(r.PC - 3), target);
        }
        BX_SIM_INLINE void ModifyZpBit(uint8_t mask, bool set) {
            uint8_t zp = Fetch();
            uint8_t v = Read(zp);
            DummyRead(zp);
            Write(zp, static_cast<uint8_t>(set ? (v | mask) : (v & ~mask)));
        }

        // The shared tail of BRK, IRQ and NMI: push PC and P, set I, clear D, load the vector.
        BX_SIM_INLINE void Interrupt(uint16_t vector, bool brk) {
            Push(static_cast<uint8_t>(r.PC >> 8));
            Push(static_cast<uint8_t>(r.PC));
            uint8_t pushed = brk ? static_cast<uint8_t>(r.P | kFlagB | kFlagU)
                                 : static_cast<uint8_t>((r.P | kFlagU) & ~kFlagB);
            Push(pushed);
            r.P = static_cast<uint8_t>((r.P | kFlagI) & ~kFlagD);
            uint8_t lo = Read(vector);
            uint8_t hi = Read(static_cast<uint16_t>(vector + 1));
            r.PC = static_cast<uint16_t>(lo | (hi << 8));
        }

        // Control passes from the instruction at from to target; with StopAtTraps, a transfer to
        // the instruction itself ends the run after it.
        BX_SIM_INLINE void JumpFrom(uint16_t from, uint16_t target) {
            r.PC = target;
            if constexpr (StopAtTraps) {
                if (target == from) [[unlikely]]
                    cpu.NoteTrap();
            }
        }

        void Execute() { Dispatch(Fetch()); }
        // The instruction of opcode Op, its opcode fetched. A switch on the template argument,
        // which the compiler folds to Op's case before it inlines anything.
        template <uint8_t Op>
        BX_SIM_INLINE void Execute();
        BX_SIM_INLINE void Dispatch(uint8_t op) {
#define BX_SIM_OPCODE_CASE(h, l)                                                                   \
    case 0x##h##l:                                                                                 \
        Execute<0x##h##l>();                                                                       \
        break;
            switch (op) { BX_SIM_ALL_OPCODES(BX_SIM_OPCODE_CASE) }
#undef BX_SIM_OPCODE_CASE
        }
    };

    // The fast path of Run: instructions until the budget is spent or an input needs attention
    // (an IRQ that I masks doesn't). The registers live in a local Core that nothing outside
    // this function can see, and the inputs are checked once per instruction. The bus is reached
    // through the Core's copy of the reference: a byte store may alias the Cpu object, which
    // would make the compiler reload bus_ after every write. Returns the cycles spent.
    template <bool StopAtTraps>
    uint64_t RunInstructions(uint64_t budget) {
        if constexpr (BX_SIM_THREADED && !AccessesMayCall<Bus>())
            return RunThreaded<StopAtTraps>(budget);
        else
            return RunSwitched<StopAtTraps>(budget);
    }
    template <class Core>
    uint64_t EndRun(Core& c) {
        const uint64_t spent = c.Spent();
        c.Commit();
        instructions_ += c.executed;
        return spent;
    }

    // The opcode at PC into op: from the fetch block (no bus call) where the bus offers one,
    // else after asking for an execute breakpoint, else from the bus. onBreak leaves the loop.
#define BX_SIM_FETCH_OPCODE(onBreak)                                                               \
    if constexpr (FetchBlockBus<Bus>) {                                                            \
        const uint8_t* block = c.bus.FetchBlock(c.r.PC);                                           \
        c.fetchBlock = block;                                                                      \
        c.fetchBase = static_cast<uint16_t>(c.r.PC & 0xFFC0);                                      \
        if (block != nullptr) [[likely]] {                                                         \
            op = block[c.r.PC & 0x3F];                                                             \
            ++c.now;                                                                               \
            ++c.r.PC;                                                                              \
        } else {                                                                                   \
            if (c.bus.ExecuteBreak(c.r.PC)) [[unlikely]] {                                         \
                StopAtExecuteBreak();                                                              \
                onBreak;                                                                           \
            }                                                                                      \
            op = c.Fetch();                                                                        \
        }                                                                                          \
    } else {                                                                                       \
        if constexpr (ExecuteCheckBus<Bus>) {                                                      \
            if (c.bus.ExecuteBreak(c.r.PC)) [[unlikely]] {                                         \
                StopAtExecuteBreak();                                                              \
                onBreak;                                                                           \
            }                                                                                      \
        }                                                                                          \
        op = c.Fetch();                                                                            \
    }
#define BX_SIM_GO_ON (c.now < c.end && (attention_ == 0 || OnlyMaskedIrq(c.r.P)))

    // One dispatch site, expanded once, so that the Core never leaves the machine registers.
    template <bool StopAtTraps>
    uint64_t RunSwitched(uint64_t budget) {
        Core<StopAtTraps> c{*this};
        c.end = cycles_ + budget;
        uint8_t op;
        do {
            BX_SIM_FETCH_OPCODE(break)
            c.Dispatch(op);
            ++c.executed;
        } while (BX_SIM_GO_ON);
        return EndRun(c);
    }

#if BX_SIM_THREADED
    // Threaded code: each opcode's code is the switch's case for it (Execute<op>), followed by
    // its own copy of the check, the fetch and the indirect jump to the next opcode's code, so
    // that the host predicts each jump from the opcode before it.
    template <bool StopAtTraps>
    uint64_t RunThreaded(uint64_t budget) {
        Core<StopAtTraps> c{*this};
        c.end = cycles_ + budget;
        uint8_t op;
#define BX_SIM_LABEL_ADDRESS(h, l) &&bx_op_##h##l,
        // clang-format off
#define BX_SIM_OPCODE_CODE(h, l)                                                                   \
    bx_op_##h##l:                                                                                  \
    c.template Execute<0x##h##l>();                                                                \
    ++c.executed;                                                                                  \
    if (!BX_SIM_GO_ON) [[unlikely]]                                                                \
        goto leave;                                                                                \
    BX_SIM_FETCH_OPCODE(goto leave)                                                                \
    goto *kOpcodeCode[op];
        // clang-format on
        static const void* const kOpcodeCode[256] = {BX_SIM_ALL_OPCODES(BX_SIM_LABEL_ADDRESS)};
        BX_SIM_FETCH_OPCODE(goto leave)
        goto* kOpcodeCode[op];
        BX_SIM_ALL_OPCODES(BX_SIM_OPCODE_CODE)
#undef BX_SIM_OPCODE_CODE
#undef BX_SIM_LABEL_ADDRESS
    leave:
        return EndRun(c);
    }
#endif
#undef BX_SIM_GO_ON
#undef BX_SIM_FETCH_OPCODE

    // An execute breakpoint at PC: Run returns with the instruction not executed.
    BX_SIM_INLINE void StopAtExecuteBreak() {
        stopRequested_ = true;
        UpdateAttention();
    }

    // A trap found while running with RunUntil::Trap: Run returns after this instruction.
    BX_SIM_INLINE void NoteTrap() {
        trapped_ = true;
        stopRequested_ = true;
        UpdateAttention();
    }

    // True when the only input needing attention is an IRQ that I masks: the fast path may go
    // on, rechecking I after every instruction.
    BX_SIM_INLINE bool OnlyMaskedIrq(uint8_t p) const {
        return attention_ == kAttentionIrq && (p & kFlagI);
    }
    bool OnlyMaskedIrq() const {
        return OnlyMaskedIrq(regs_.P);
    }

    static constexpr uint8_t kAttentionNmi = 1, kAttentionIrq = 2, kAttentionStop = 4,
                             kAttentionState = 8;
    BX_SIM_INLINE void UpdateAttention() {
        attention_ = static_cast<uint8_t>((nmiPending_ ? kAttentionNmi : 0) |
                                          (irqLine_ ? kAttentionIrq : 0) |
                                          (stopRequested_ ? kAttentionStop : 0) |
                                          (state_ != CpuState::Running ? kAttentionState : 0));
    }

    // The slow path between instructions, on the committed registers. Returns true when it
    // consumed the step (an interrupt entry or an idle cycle); spent receives its cycles.
    // False: the next instruction runs normally.
    bool HandleAttention(int& spent) {
        if (state_ == CpuState::Stopped) {
            ++cycles_;
            spent = 1;
            return true;
        }
        if (state_ == CpuState::Waiting) {
            if (!nmiPending_ && !irqLine_) {
                ++cycles_;
                spent = 1;
                return true;
            }
            // An interrupt input wakes WAI; a masked IRQ just resumes execution.
            state_ = CpuState::Running;
            UpdateAttention();
        }
        const bool nmi = nmiPending_;
        if (!nmi && !(irqLine_ && !(regs_.P & kFlagI)))
            return false;
        if (nmi) {
            nmiPending_ = false;
            UpdateAttention();
        }
        Core<false> c{*this};
        c.DummyRead(c.r.PC);
        c.DummyRead(c.r.PC);
        c.Interrupt(nmi ? kNmiVector : kIrqVector, false);
        spent = static_cast<int>(c.Spent());
        c.Commit();
        return true;
    }

    Bus& bus_;
    CpuRegisters regs_;
    CpuState state_ = CpuState::Running;
    bool irqLine_ = false;
    bool nmiPending_ = false;
    bool stopRequested_ = false;
    bool trapped_ = false;
    uint8_t attention_ = 0;
    uint64_t cycles_ = 0;
    uint64_t instructions_ = 0;
};

template <class Bus>
template <bool StopAtTraps>
template <uint8_t Op>
BX_SIM_INLINE void Cpu65C02<Bus>::Core<StopAtTraps>::Execute() {
    switch (Op) {
        // ---- Loads, stores, ALU: the eight-instruction group ----
#define BX_ALU_READ_MODES(base, DO)                                                                \
    case base + 0x01:                                                                              \
        DO(Read(AddrIzx()));                                                                       \
        break;                                                                                     \
    case base + 0x05:                                                                              \
        DO(Read(AddrZp()));                                                                        \
        break;                                                                                     \
    case base + 0x0D:                                                                              \
        DO(Read(AddrAbs()));                                                                       \
        break;                                                                                     \
    case base + 0x11:                                                                              \
        DO(Read(AddrIzyRead()));                                                                   \
        break;                                                                                     \
    case base + 0x12:                                                                              \
        DO(Read(AddrIzp()));                                                                       \
        break;                                                                                     \
    case base + 0x15:                                                                              \
        DO(Read(AddrZpIndexed(r.X)));                                                              \
        break;                                                                                     \
    case base + 0x19:                                                                              \
        DO(Read(AddrAbsIndexedRead(r.Y)));                                                         \
        break;                                                                                     \
    case base + 0x1D:                                                                              \
        DO(Read(AddrAbsIndexedRead(r.X)));                                                         \
        break;
        BX_ALU_READ_MODES(0x00, Ora)
        BX_ALU_READ_MODES(0x20, And)
        BX_ALU_READ_MODES(0x40, Eor)
        BX_ALU_READ_MODES(0xA0, Lda)
        BX_ALU_READ_MODES(0xC0, Cmp)
#undef BX_ALU_READ_MODES
    case 0x09:
        Ora(Fetch());
        break;
    case 0x29:
        And(Fetch());
        break;
    case 0x49:
        Eor(Fetch());
        break;
    case 0xA9:
        Lda(Fetch());
        break;
    case 0xC9:
        Cmp(Fetch());
        break;

        // ADC and SBC need the effective address for the decimal-mode extra cycle.
#define BX_ARITH_MODES(base, OP)                                                                   \
    case base + 0x01: {                                                                            \
        uint16_t ea = AddrIzx();                                                                   \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x05: {                                                                            \
        uint16_t ea = AddrZp();                                                                    \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x0D: {                                                                            \
        uint16_t ea = AddrAbs();                                                                   \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x11: {                                                                            \
        uint16_t ea = AddrIzyRead();                                                               \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x12: {                                                                            \
        uint16_t ea = AddrIzp();                                                                   \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x15: {                                                                            \
        uint16_t ea = AddrZpIndexed(r.X);                                                          \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x19: {                                                                            \
        uint16_t ea = AddrAbsIndexedRead(r.Y);                                                     \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x1D: {                                                                            \
        uint16_t ea = AddrAbsIndexedRead(r.X);                                                     \
        OP(Read(ea), ea);                                                                          \
        break;                                                                                     \
    }
        BX_ARITH_MODES(0x60, Adc)
        BX_ARITH_MODES(0xE0, Sbc)
#undef BX_ARITH_MODES
    case 0x69:
        Adc(Fetch(), 0x007F);
        break;
    case 0xE9:
        Sbc(Fetch(), 0x0000);
        break;

    // Stores.
    case 0x81:
        Write(AddrIzx(), r.A);
        break;
    case 0x85:
        Write(AddrZp(), r.A);
        break;
    case 0x8D:
        Write(AddrAbs(), r.A);
        break;
    case 0x91:
        Write(AddrIzyAlways(), r.A);
        break;
    case 0x92:
        Write(AddrIzp(), r.A);
        break;
    case 0x95:
        Write(AddrZpIndexed(r.X), r.A);
        break;
    case 0x99:
        Write(AddrAbsIndexedAlways(r.Y), r.A);
        break;
    case 0x9D:
        Write(AddrAbsIndexedAlways(r.X), r.A);
        break;
    case 0x84:
        Write(AddrZp(), r.Y);
        break;
    case 0x8C:
        Write(AddrAbs(), r.Y);
        break;
    case 0x94:
        Write(AddrZpIndexed(r.X), r.Y);
        break;
    case 0x86:
        Write(AddrZp(), r.X);
        break;
    case 0x8E:
        Write(AddrAbs(), r.X);
        break;
    case 0x96:
        Write(AddrZpIndexed(r.Y), r.X);
        break;
    case 0x64:
        Write(AddrZp(), 0);
        break;
    case 0x74:
        Write(AddrZpIndexed(r.X), 0);
        break;
    case 0x9C:
        Write(AddrAbs(), 0);
        break;
    case 0x9E:
        Write(AddrAbsIndexedAlways(r.X), 0);
        break;

    // LDX, LDY, CPX, CPY, BIT.
    case 0xA2:
        r.X = Fetch();
        SetNZ(r.X);
        break;
    case 0xA6:
        r.X = Read(AddrZp());
        SetNZ(r.X);
        break;
    case 0xAE:
        r.X = Read(AddrAbs());
        SetNZ(r.X);
        break;
    case 0xB6:
        r.X = Read(AddrZpIndexed(r.Y));
        SetNZ(r.X);
        break;
    case 0xBE:
        r.X = Read(AddrAbsIndexedRead(r.Y));
        SetNZ(r.X);
        break;
    case 0xA0:
        r.Y = Fetch();
        SetNZ(r.Y);
        break;
    case 0xA4:
        r.Y = Read(AddrZp());
        SetNZ(r.Y);
        break;
    case 0xAC:
        r.Y = Read(AddrAbs());
        SetNZ(r.Y);
        break;
    case 0xB4:
        r.Y = Read(AddrZpIndexed(r.X));
        SetNZ(r.Y);
        break;
    case 0xBC:
        r.Y = Read(AddrAbsIndexedRead(r.X));
        SetNZ(r.Y);
        break;
    case 0xE0:
        Compare(r.X, Fetch());
        break;
    case 0xE4:
        Compare(r.X, Read(AddrZp()));
        break;
    case 0xEC:
        Compare(r.X, Read(AddrAbs()));
        break;
    case 0xC0:
        Compare(r.Y, Fetch());
        break;
    case 0xC4:
        Compare(r.Y, Read(AddrZp()));
        break;
    case 0xCC:
        Compare(r.Y, Read(AddrAbs()));
        break;
    case 0x24:
        Bit(Read(AddrZp()));
        break;
    case 0x2C:
        Bit(Read(AddrAbs()));
        break;
    case 0x34:
        Bit(Read(AddrZpIndexed(r.X)));
        break;
    case 0x3C:
        Bit(Read(AddrAbsIndexedRead(r.X)));
        break;
    case 0x89:
        SetFlag(kFlagZ, (r.A & Fetch()) == 0);
        break; // immediate: Z only

        // ---- Read-modify-write ----
#define BX_RMW_MODES(base, OP, absx)                                                               \
    case base + 0x06: {                                                                            \
        const uint16_t ea = AddrZp();                                                              \
        Write(ea, OP(ReadToModify(ea)));                                                           \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x0E: {                                                                            \
        const uint16_t ea = AddrAbs();                                                             \
        Write(ea, OP(ReadToModify(ea)));                                                           \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x16: {                                                                            \
        const uint16_t ea = AddrZpIndexed(r.X);                                                    \
        Write(ea, OP(ReadToModify(ea)));                                                           \
        break;                                                                                     \
    }                                                                                              \
    case base + 0x1E: {                                                                            \
        const uint16_t ea = absx(r.X);                                                             \
        Write(ea, OP(ReadToModify(ea)));                                                           \
        break;                                                                                     \
    }
        BX_RMW_MODES(0x00, Asl, AddrAbsIndexedRead)
        BX_RMW_MODES(0x20, Rol, AddrAbsIndexedRead)
        BX_RMW_MODES(0x40, Lsr, AddrAbsIndexedRead)
        BX_RMW_MODES(0x60, Ror, AddrAbsIndexedRead)
        BX_RMW_MODES(0xC0, Dec, AddrAbsIndexedAlways)
        BX_RMW_MODES(0xE0, Inc, AddrAbsIndexedAlways)
#undef BX_RMW_MODES
    case 0x04: {
        const uint16_t ea = AddrZp();
        Write(ea, Tsb(ReadToModify(ea)));
        break;
    }
    case 0x0C: {
        const uint16_t ea = AddrAbs();
        Write(ea, Tsb(ReadToModify(ea)));
        break;
    }
    case 0x14: {
        const uint16_t ea = AddrZp();
        Write(ea, Trb(ReadToModify(ea)));
        break;
    }
    case 0x1C: {
        const uint16_t ea = AddrAbs();
        Write(ea, Trb(ReadToModify(ea)));
        break;
    }
    case 0x0A:
        DummyRead(r.PC);
        r.A = Asl(r.A);
        break;
    case 0x2A:
        DummyRead(r.PC);
        r.A = Rol(r.A);
        break;
    case 0x4A:
        DummyRead(r.PC);
        r.A = Lsr(r.A);
        break;
    case 0x6A:
        DummyRead(r.PC);
        r.A = Ror(r.A);
        break;
    case 0x1A:
        DummyRead(r.PC);
        r.A = Inc(r.A);
        break;
    case 0x3A:
        DummyRead(r.PC);
        r.A = Dec(r.A);
        break;

        // ---- Bit instructions ----
#define BX_BIT_OPS(n)                                                                              \
    case 0x07 + n * 0x10:                                                                          \
        ModifyZpBit(1 << n, false);                                                                \
        break;                                                                                     \
    case 0x87 + n * 0x10:                                                                          \
        ModifyZpBit(1 << n, true);                                                                 \
        break;                                                                                     \
    case 0x0F + n * 0x10:                                                                          \
        BranchOnBit(1 << n, false);                                                                \
        break;                                                                                     \
    case 0x8F + n * 0x10:                                                                          \
        BranchOnBit(1 << n, true);                                                                 \
        break;
        BX_BIT_OPS(0)
        BX_BIT_OPS(1)
        BX_BIT_OPS(2)
        BX_BIT_OPS(3)
        BX_BIT_OPS(4)
        BX_BIT_OPS(5)
        BX_BIT_OPS(6)
        BX_BIT_OPS(7)
#undef BX_BIT_OPS

    // ---- Branches and jumps ----
    case 0x10:
        Branch(!(r.P & kFlagN));
        break;
    case 0x30:
        Branch(r.P & kFlagN);
        break;
    case 0x50:
        Branch(!(r.P & kFlagV));
        break;
    case 0x70:
        Branch(r.P & kFlagV);
        break;
    case 0x90:
        Branch(!(r.P & kFlagC));
        break;
    case 0xB0:
        Branch(r.P & kFlagC);
        break;
    case 0xD0:
        Branch(!(r.P & kFlagZ));
        break;
    case 0xF0:
        Branch(r.P & kFlagZ);
        break;
    case 0x80:
        Branch(true);
        break;
    // The trap check compares with the instruction's own address: PC less the bytes fetched.
    case 0x4C: {
        uint16_t target = Fetch16();
        JumpFrom(static_cast<uint16_t>(r.PC - 3), target);
        break;
    }
    case 0x6C: {
        uint16_t ptr = Fetch16();
        uint8_t lo = Read(ptr);
        uint8_t hi = Read(static_cast<uint16_t>(ptr + 1));
        DummyRead(static_cast<uint16_t>(ptr + 1));
        JumpFrom(static_cast<uint16_t>(r.PC - 3), static_cast<uint16_t>(lo | (hi << 8)));
        break;
    }
    case 0x7C: {
        uint16_t base = Fetch16();
        DummyRead(static_cast<uint16_t>(r.PC - 2));
        uint16_t ptr = static_cast<uint16_t>(base + r.X);
        uint8_t lo = Read(ptr);
        uint8_t hi = Read(static_cast<uint16_t>(ptr + 1));
        JumpFrom(static_cast<uint16_t>(r.PC - 3), static_cast<uint16_t>(lo | (hi << 8)));
        break;
    }
    case 0x20: {
        uint8_t lo = Fetch();
        DummyStack();
        Push(static_cast<uint8_t>(r.PC >> 8));
        Push(static_cast<uint8_t>(r.PC));
        uint8_t hi = Read(r.PC); // the last operand byte, PC not advanced: it was pushed
        JumpFrom(static_cast<uint16_t>(r.PC - 2), static_cast<uint16_t>(lo | (hi << 8)));
        break;
    }
    case 0x60: {
        DummyRead(r.PC);
        DummyStack();
        uint8_t lo = Pull();
        uint8_t hi = Pull();
        uint16_t ret = static_cast<uint16_t>(lo | (hi << 8));
        DummyRead(ret);
        JumpFrom(static_cast<uint16_t>(r.PC - 1), static_cast<uint16_t>(ret + 1));
        break;
    }
    case 0x40: {
        DummyRead(r.PC);
        DummyStack();
        r.P = static_cast<uint8_t>((Pull() & ~kFlagB) | (r.P & kFlagB) | kFlagU);
        uint8_t lo = Pull();
        uint8_t hi = Pull();
        JumpFrom(static_cast<uint16_t>(r.PC - 1), static_cast<uint16_t>(lo | (hi << 8)));
        break;
    }
    case 0x00: {
        const uint16_t from = static_cast<uint16_t>(r.PC - 1);
        DummyRead(r.PC++); // the signature byte
        Interrupt(kIrqVector, true);
        JumpFrom(from, r.PC);
        break;
    }

    // ---- Stack ----
    case 0x08:
        DummyRead(r.PC);
        Push(static_cast<uint8_t>(r.P | kFlagB | kFlagU));
        break;
    case 0x48:
        DummyRead(r.PC);
        Push(r.A);
        break;
    case 0x5A:
        DummyRead(r.PC);
        Push(r.Y);
        break;
    case 0xDA:
        DummyRead(r.PC);
        Push(r.X);
        break;
    case 0x28:
        DummyRead(r.PC);
        DummyStack();
        r.P = static_cast<uint8_t>((Pull() & ~kFlagB) | (r.P & kFlagB) | kFlagU);
        break;
    case 0x68:
        DummyRead(r.PC);
        DummyStack();
        r.A = Pull();
        SetNZ(r.A);
        break;
    case 0x7A:
        DummyRead(r.PC);
        DummyStack();
        r.Y = Pull();
        SetNZ(r.Y);
        break;
    case 0xFA:
        DummyRead(r.PC);
        DummyStack();
        r.X = Pull();
        SetNZ(r.X);
        break;

    // ---- Two-cycle implied ----
    case 0x18:
        DummyRead(r.PC);
        r.P &= static_cast<uint8_t>(~kFlagC);
        break;
    case 0x38:
        DummyRead(r.PC);
        r.P |= kFlagC;
        break;
    case 0x58:
        DummyRead(r.PC);
        r.P &= static_cast<uint8_t>(~kFlagI);
        break;
    case 0x78:
        DummyRead(r.PC);
        r.P |= kFlagI;
        break;
    case 0xB8:
        DummyRead(r.PC);
        r.P &= static_cast<uint8_t>(~kFlagV);
        break;
    case 0xD8:
        DummyRead(r.PC);
        r.P &= static_cast<uint8_t>(~kFlagD);
        break;
    case 0xF8:
        DummyRead(r.PC);
        r.P |= kFlagD;
        break;
    case 0x88:
        DummyRead(r.PC);
        --r.Y;
        SetNZ(r.Y);
        break;
    case 0xC8:
        DummyRead(r.PC);
        ++r.Y;
        SetNZ(r.Y);
        break;
    case 0xCA:
        DummyRead(r.PC);
        --r.X;
        SetNZ(r.X);
        break;
    case 0xE8:
        DummyRead(r.PC);
        ++r.X;
        SetNZ(r.X);
        break;
    case 0x8A:
        DummyRead(r.PC);
        r.A = r.X;
        SetNZ(r.A);
        break;
    case 0x98:
        DummyRead(r.PC);
        r.A = r.Y;
        SetNZ(r.A);
        break;
    case 0xA8:
        DummyRead(r.PC);
        r.Y = r.A;
        SetNZ(r.Y);
        break;
    case 0xAA:
        DummyRead(r.PC);
        r.X = r.A;
        SetNZ(r.X);
        break;
    case 0xBA:
        DummyRead(r.PC);
        r.X = r.S;
        SetNZ(r.X);
        break;
    case 0x9A:
        DummyRead(r.PC);
        r.S = r.X;
        break;
    case 0xEA:
        DummyRead(r.PC);
        break;

    // ---- WAI and STP ----
    case 0xCB:
        DummyRead(r.PC);
        DummyRead(r.PC);
        cpu.state_ = CpuState::Waiting;
        cpu.UpdateAttention();
        break;
    case 0xDB:
        DummyRead(r.PC);
        DummyRead(r.PC);
        cpu.state_ = CpuState::Stopped;
        cpu.UpdateAttention();
        break;

    // ---- Undefined opcodes: NOPs of the WDC lengths and cycle counts ----
    case 0x02:
    case 0x22:
    case 0x42:
    case 0x62:
    case 0x82:
    case 0xC2:
    case 0xE2:
        Fetch(); // the operand byte, fetched like an immediate and ignored
        break;
    case 0x44: {
        uint8_t zp = Fetch();
        DummyRead(zp);
        break;
    }
    case 0x54:
    case 0xD4:
    case 0xF4: {
        uint8_t zp = Fetch();
        DummyRead(zp);
        DummyRead(static_cast<uint8_t>(zp + r.X));
        break;
    }
    case 0x5C: {
        // Eight cycles: the operand, then five reads with $FF in the high address byte.
        uint8_t lo = Fetch();
        Fetch();
        uint16_t a = static_cast<uint16_t>(0xFF00 | lo);
        DummyRead(a);
        DummyRead(0xFFFF);
        DummyRead(0xFFFF);
        DummyRead(0xFFFF);
        DummyRead(0xFFFF);
        break;
    }
    case 0xDC:
    case 0xFC:
        DummyRead(AddrAbs());
        break;
    default:
        // x3 and xB (other than WAI and STP): one byte, one cycle, the opcode fetch only.
        break;
    }
}

#undef BX_SIM_ALL_OPCODES
#undef BX_SIM_OPCODE_ROW
#undef BX_SIM_THREADED
#undef BX_SIM_INLINE

} // namespace bx::sim
