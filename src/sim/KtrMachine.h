#pragma once
// The KTR microcontroller: a 65C02 core, its memory map with the bank window, and the
// special-function registers (ports, DAC, bank select, timer, interrupt controller, time base,
// watchdog, status). docs/hardware.md is the reference a firmware writer reads; this file is
// its executable form and the two must agree.
//
// ---- Contract ----------------------------------------------------------------------------
//
// A KtrMachine is single-threaded: one thread at a time calls it (KtrEmulator serialises the
// UI thread and its worker). It is the CPU's bus (Read/Write/DummyRead with the cycle number,
// and ExecuteBreak), so every access is an inline call into a table of 64-byte blocks: a block
// whose table entry is a host pointer is plain memory; a null entry sends the access to the slow
// path (the SFR block, a block holding a read or write breakpoint, ROM for writes, the vector
// bytes in bank mode 1). Execute breakpoints cost nothing extra: the CPU takes each opcode
// through FetchBlock, a second table that is null for blocks holding an execute (or read)
// breakpoint, the SFRs or no memory, and only there asks ExecuteBreak.
//
// Time: everything is counted in CPU cycles of the main clock. Events (timer underflow, time
// base tick, watchdog timeout) are kept as the cycle at which they happen; RunFor hands the CPU a
// budget up to the next event, so the CPU stops at the first instruction boundary at or after
// it and the interrupt is taken exactly there. SFR writes that bring an event forward make the
// CPU return early (RequestStop) so that the budget is recomputed; one that moves events later
// (a watchdog restart) lets it run on to the budget's end, where nothing is due yet.
//
// Ports: the machine drives its outputs and reads its input pins through KtrPortIo (the
// emulator's hub connection); without one the pins read high.
//
// The SFR block is no plain memory, but most accesses to it are served inline on the bus: reads
// from a view of the registers' values (sfrView_, with the ports' input pins as last sampled),
// which every register change made on the slow paths brings up to date, and the common stores
// of firmware by a few lines each.

#include "sim/Cpu65C02.h"
#include "sim/LazyDrive.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bx::sim {

// One model of the family.
struct KtrModel {
    int32_t Number = 0;    // the Emulator's model number: 7, 13, 24
    const char* Name = ""; // "KTR310"
    uint32_t RamSize = 0;  // RAM from $0000 (the SFR block $00C0-$00FF takes precedence)
    int BankMode = 0;      // 0: window $4000-$7FFF, fixed ROM $8000-$FFFF; 1: window $C000-$FFFF
    int BankCount = 0;     // banks 0 .. BankCount-1
};

// The models, or nullptr for a number that is none of them.
const KtrModel* FindKtrModel(int32_t number);

// Register addresses (zero page, so that RMB/SMB/BBR/BBS reach every bit).
namespace sfr {
inline constexpr uint16_t kBase = 0x00C0;
inline constexpr uint16_t kBank = 0x00C0;
inline constexpr uint16_t kDac = 0x00C1;
inline constexpr uint16_t kP0 = 0x00C2;
inline constexpr uint16_t kP0Dir = 0x00C3;
inline constexpr uint16_t kP1 = 0x00C4;
inline constexpr uint16_t kP1Dir = 0x00C5;
inline constexpr uint16_t kP2 = 0x00C6;
inline constexpr uint16_t kP2Dir = 0x00C7;
inline constexpr uint16_t kTctl = 0x00C8;
inline constexpr uint16_t kTcntL = 0x00C9;
inline constexpr uint16_t kTcntH = 0x00CA;
inline constexpr uint16_t kTrldL = 0x00CB;
inline constexpr uint16_t kTrldH = 0x00CC;
inline constexpr uint16_t kIfr = 0x00CD;
inline constexpr uint16_t kIer = 0x00CE;
inline constexpr uint16_t kKeyEn = 0x00CF;
inline constexpr uint16_t kTbctl = 0x00D0;
inline constexpr uint16_t kWdtctl = 0x00D1;
inline constexpr uint16_t kWdtclr = 0x00D2;
inline constexpr uint16_t kSysStat = 0x00D3;
inline constexpr uint16_t kModelId = 0x00D4;
inline constexpr uint16_t kEnd = 0x0100; // one past the SFR block

// Interrupt flag and enable bits (IFR, IER).
inline constexpr uint8_t kIrqTimer = 0x01;
inline constexpr uint8_t kIrqTimeBase = 0x02;
inline constexpr uint8_t kIrqKey = 0x04;
inline constexpr uint8_t kIrqAll = 0x07;
// TCTL
inline constexpr uint8_t kTimerRun = 0x80;
// TBCTL
inline constexpr uint8_t kTimeBaseEnable = 0x80;
// SYSSTAT
inline constexpr uint8_t kStatWdtOption = 0x01;
inline constexpr uint8_t kStatDualClock = 0x02;
inline constexpr uint8_t kStatRc = 0x04;
inline constexpr uint8_t kStatWatchdogReset = 0x80;
// The value that restarts the watchdog when written to WDTCLR.
inline constexpr uint8_t kWatchdogKey = 0xA5;
} // namespace sfr

inline constexpr int32_t kDefaultClockHz = 4'000'000;
inline constexpr int32_t kSubClockHz = 32'768;

// The machine's connection to the outside: its port pins and the DAC. The digital levels pass
// through atomics shared with the outside, so that a port access in the program costs no call:
// the machine publishes each port's drive in Drives (the levels on its output pins, the driven
// mask its direction register) and calls Deliver only when Drives says that a listener must
// see the change at once; it samples the pins from Inputs, which the outside writes from any
// thread, at the start of every run and whenever a delivered change may have moved them.
class KtrPortIo {
public:
    virtual ~KtrPortIo() = default;
    // A port's new drive for a listener that must answer before the next instruction (a keypad
    // answering its row): the machine's thread, after Drives[port] took it in.
    virtual void Deliver(int /*port*/, uint8_t /*level*/, uint8_t /*driven*/) {}
    virtual void DriveAnalog(uint8_t /*level*/, double /*seconds*/) {}
    // Simulated time has reached seconds (devices that sample, the speaker, catch up).
    virtual void AdvanceTime(double /*seconds*/) {}

    std::array<LazyDrive, 3> Drives;
    // The levels on the port's pins from outside; 1 where nothing drives a pin (pull-ups).
    std::array<std::atomic<uint8_t>, 3> Inputs{0xFF, 0xFF, 0xFF};
};

// Why RunFor returned before its budget.
enum class StopCause { None, Execute, Read, Write, Stp, Illegal };

struct MachineStop {
    StopCause Cause = StopCause::None;
    uint16_t Address = 0; // the PC at the stop
    uint8_t Bank = 0;     // the BANK register at the stop
};

class KtrMachine {
public:
    KtrMachine(const KtrModel& model, KtrPortIo* io);
    KtrMachine(const KtrMachine&) = delete;
    KtrMachine& operator=(const KtrMachine&) = delete;

    const KtrModel& Model() const { return model_; }

    // ---- Configuration, in force from the next Reset ----
    void SetClock(int32_t hertz);
    void SetOption(const std::string& name, bool value);
    int32_t ClockHz() const { return clockHz_; }

    // The reset of the whole MCU (the reset pin): SFRs to their reset values, then the CPU's
    // reset sequence. RAM and ROM keep their contents. watchdog: the cause was the watchdog.
    void Reset(bool watchdog = false);

    // Runs whole instructions until Cycles() has grown by at least cycles, or a stop: an
    // execute, read or write breakpoint, STP, or execution where there is no memory. The first
    // instruction is checked for an execute breakpoint only when checkFirst is set.
    MachineStop RunFor(uint64_t cycles, bool checkFirst);
    // One instruction (an interrupt entry is followed by the handler's first instruction; a
    // WAI lets time pass until an interrupt ends it, at most one simulated second).
    // Breakpoints don't stop it.
    void StepInstruction();

    uint64_t Cycles() const { return cpu_.Cycles(); }
    uint64_t Instructions() const { return cpu_.Instructions(); }
    // Simulated seconds since the machine was built.
    double Seconds() const;
    CpuRegisters& Registers() { return cpu_.Registers(); }
    // Takes the CPU out of WAI or STP (the debugger set its registers).
    void ResumeCpu() { cpu_.Resume(); }
    bx::sim::CpuState CpuRunState() const { return cpu_.State(); }
    uint8_t Bank() const { return bank_; }

    // ---- Debugger access: bank is the address form's bank part ----
    // The byte exists (a bank the model has, an address with memory or an SFR).
    bool Exists(int bank, uint16_t address) const;
    // Side-effect-free peek; nullopt where nothing exists.
    std::optional<uint8_t> Peek(int bank, uint16_t address) const;
    // ROM and RAM are written directly, an SFR as a CPU store. False where nothing exists.
    bool Poke(int bank, uint16_t address, uint8_t value);
    uint8_t BreakFlags(int bank, uint16_t address) const;
    // Sets (set) or clears the kinds on the byte; false where nothing exists.
    bool ChangeBreak(int bank, uint16_t address, uint8_t kinds, bool set);
    // Clears the kinds on every byte of the machine.
    void ClearAllBreaks(uint8_t kinds = 7);
    // Call after a batch of ChangeBreak calls.
    void BreaksChanged() { RebuildMaps(); }

    // ---- The CPU's bus ----
    static constexpr bool kRunReturnsOnStp = true;
    // SlowRead, SlowWrite and the port delivery are calls.
    static constexpr bool kAccessesMayCall = true;
    [[gnu::always_inline]] inline uint8_t Read(uint16_t a, uint64_t cycle) {
        const uint8_t* p = readMap_[a >> kBlockShift];
        if (p != nullptr) [[likely]]
            return p[a & kBlockMask];
        if ((a >> kBlockShift) == kSfrBlock) {
            const unsigned i = a & kBlockMask;
            if (cycle < sfrViewUntil_[i])
                return sfrView_[i];
        }
        return SlowRead(a, cycle);
    }
    [[gnu::always_inline]] inline void Write(uint16_t a, uint8_t v, uint64_t cycle) {
        uint8_t* p = writeMap_[a >> kBlockShift];
        if (p != nullptr) [[likely]] {
            p[a & kBlockMask] = v;
            return;
        }
        if ((a >> kBlockShift) == kSfrBlock) {
            const unsigned i = a & kBlockMask;
            const SfrWriteKind kind = sfrWrite_[i];
            if (kind == SfrWriteKind::Port) {
                WritePortLatch(PortOf(i), v);
                return;
            }
            if (kind == SfrWriteKind::Dac && v == dac_)
                return;
            if (kind == SfrWriteKind::WatchdogClear) {
                if (v == sfr::kWatchdogKey)
                    RestartWatchdog(cycle);
                return;
            }
        }
        SlowWrite(a, v, cycle);
    }
    // No register of the KTR reacts to a read whose value the CPU discards, and breakpoints
    // watch the reads a program makes, so dummy reads go nowhere.
    [[gnu::always_inline]] inline void DummyRead(uint16_t, uint64_t) {}
    [[gnu::always_inline]] inline bool ExecuteBreak(uint16_t pc) {
        return execMap_[pc >> kBlockShift] != 0 && ExecuteSlow(pc);
    }
    // Plain memory with no execute or read breakpoint in the block: the CPU may take the
    // opcode from here directly.
    [[gnu::always_inline]] inline const uint8_t* FetchBlock(uint16_t pc) const {
        return fetchMap_[pc >> kBlockShift];
    }

private:
    static constexpr int kBlockShift = 6;
    static constexpr uint16_t kBlockMask = 0x3F;
    static constexpr int kBlocks = 0x10000 >> kBlockShift;
    static constexpr int kSfrSize = 0x40;
    static constexpr unsigned kSfrBlock = sfr::kBase >> kBlockShift;

    // How a program's access to the SFR block is served. Reads take the register's value from
    // sfrView_ while the cycle is before sfrViewUntil_ (for ever for most, until a flag may be
    // due for IFR, never for TCNTL, which latches TCNTH, or a byte with a read breakpoint).
    // The common writes of firmware (a port latch, the watchdog restart, a DAC store of the
    // same level) are served inline too; the others, and every byte with a write breakpoint,
    // take SlowWrite.
    enum class SfrWriteKind : uint8_t { Slow, Port, Dac, WatchdogClear };
    static constexpr int PortOf(unsigned sfrIndex) {
        return static_cast<int>((sfrIndex - (sfr::kP0 - sfr::kBase)) >> 1);
    }

    // Offset in mem_ of the byte at address with bank selected, or -1.
    int64_t Locate(int bank, uint16_t address) const;
    // As the CPU sees it now (BANK register, fixed vectors in bank mode 1).
    int64_t LocateCpu(uint16_t address) const;
    bool IsSfrOffset(int64_t off) const { return off >= sfrOff_ && off < sfrOff_ + kSfrSize; }
    bool IsRamOffset(int64_t off) const { return off >= 0 && off < ramOff_ + model_.RamSize; }
    void RebuildMaps();
    void RebuildWindow();
    void MapBlock(int block);
    void MapSfrKinds();
    // Brings sfrView_, sfrViewUntil_ and keyWatch_ up to the registers: after every change that
    // the inline paths don't make themselves.
    void RefreshSfrView();
    void SetFlagEvent();

    // The paths out of the CPU's inline accesses are cold: GCC then lays the run loop out for
    // the inline paths and keeps more of the CPU's registers in machine registers.
    [[gnu::cold, gnu::noinline]] uint8_t SlowRead(uint16_t a, uint64_t cycle);
    [[gnu::cold, gnu::noinline]] void SlowWrite(uint16_t a, uint8_t v, uint64_t cycle);
    [[gnu::cold, gnu::noinline]] bool ExecuteSlow(uint16_t pc);
    void Hit(StopCause cause);

    uint8_t SfrRead(uint16_t address, uint64_t cycle, bool sideEffects);
    void SfrWrite(uint16_t address, uint8_t value, uint64_t cycle);
    // The port's value as a read gives it: the latch on the output pins, the pins as last
    // sampled on the inputs.
    [[gnu::always_inline]] inline uint8_t PortValue(int port) const {
        const uint8_t driven = dir_[port];
        return static_cast<uint8_t>((latch_[port] & driven) | (pins_[port] & ~driven));
    }
    // Samples the port's pins from outside now (into pins_ and the view).
    uint8_t SamplePort(int port);
    void SamplePorts();
    // Drives[port] always holds the latch and direction (DrivePort publishes every other
    // change), so a latch store publishes without comparing and calls out only when a
    // listener or a key interrupt needs it.
    [[gnu::always_inline]] inline void WritePortLatch(int port, uint8_t v) {
        const bool changed = latch_[port] != v;
        latch_[port] = v;
        sfrView_[sfr::kP0 - sfr::kBase + 2 * port] = PortValue(port);
        LazyDrive& drive = io_->Drives[port];
        drive.Latest.store(LazyDrive::Pack(v, dir_[port]), std::memory_order_relaxed);
        if (drive.Needed.load(std::memory_order_relaxed) | keyWatch_) [[unlikely]]
            PortLatchWritten(port, changed);
    }
    [[gnu::cold, gnu::noinline]] void PortLatchWritten(int port, bool changed);
    // A port's changed drive that a listener wants at once; it may answer on any input.
    void PortDelivered(int port);
    void KeyEdgesChanged();
    void DrivePort(int port);
    // A watchdog restart moves its timeout later, never earlier: the CPU's budget still holds.
    [[gnu::always_inline]] inline void RestartWatchdog(uint64_t cycle) {
        if (optWdt_)
            wdtEvent_ = cycle + 1 + (uint64_t{1} << (14 + 2 * (wdtctl_ & 3)));
    }
    void ResetRegisters();

    // ---- Timekeeping ----
    double SecondsAt(uint64_t cycle) const;
    uint16_t TimerCount(uint64_t cycle) const;
    uint32_t TimerPrescale() const;
    void StartTimer(uint64_t fromCycle);
    void ScheduleTimeBase();
    // Sets the flags of the timer and time base events due by now.
    void ServeTimers(uint64_t now);
    uint64_t NextEvent() const;
    // Brings timer, time base, watchdog and inputs up to the current cycle.
    void ProcessEvents();
    void CheckKeyEdges();
    void UpdateIrq();
    // After an SFR write: the CPU's budget ends at the event that was next before the write
    // (before), so it needs cutting short only when an event now comes earlier. Restarting
    // the watchdog or stopping the timer moves events later and lets the CPU run on.
    void Reschedule(uint64_t before) {
        if (NextEvent() < before)
            cpu_.RequestStop();
    }

    const KtrModel& model_;
    KtrPortIo unconnected_; // the ports' outside when the owner gives none: pins read high
    KtrPortIo* io_;
    Cpu65C02<KtrMachine> cpu_;

    // Storage: RAM, the SFR block (flags only), the fixed ROM, the banks.
    std::vector<uint8_t> mem_;
    std::vector<uint8_t> flags_;
    int64_t ramOff_ = 0, sfrOff_ = 0, romOff_ = 0, bankOff_ = 0;
    std::array<const uint8_t*, kBlocks> readMap_{};
    std::array<uint8_t*, kBlocks> writeMap_{};
    std::array<uint8_t, kBlocks> execMap_{};
    std::array<const uint8_t*, kBlocks> fetchMap_{};
    std::array<uint8_t, 1 << kBlockShift> openBus_{};
    std::array<bool, kSfrSize> sfrReadSlow_{};
    std::array<SfrWriteKind, kSfrSize> sfrWrite_{};
    std::array<uint8_t, kSfrSize> sfrView_{};
    std::array<uint64_t, kSfrSize> sfrViewUntil_{};
    // The input pins as last sampled. The machine samples them at the start of every run, after
    // a port write that a listener answered, and on the slow paths, so a change made from
    // another thread (a key pressed on the panel) is seen by the program within a slice.
    std::array<uint8_t, 3> pins_{0xFF, 0xFF, 0xFF};
    // A falling edge on a P1 input can set the key flag: port writes look for one.
    bool keyWatch_ = false;

    // Breakpoint state of the current RunFor.
    StopCause hit_ = StopCause::None;
    bool breaksArmed_ = false;

    // Configuration.
    int32_t clockHz_ = kDefaultClockHz;
    int32_t pendingClockHz_ = kDefaultClockHz;
    bool optWdt_ = false, optDual_ = false, optRc_ = false;
    bool pendingWdt_ = false, pendingDual_ = false, pendingRc_ = false;

    // Time base of Seconds(): seconds at cycleBase_.
    double secondsBase_ = 0;
    uint64_t cycleBase_ = 0;
    uint64_t resetCycle_ = 0; // the sub-clock counts from here

    // Registers.
    uint8_t bank_ = 0;
    uint8_t dac_ = 0;
    std::array<uint8_t, 3> latch_{}, dir_{};
    uint8_t tctl_ = 0, ifr_ = 0, ier_ = 0, keyEn_ = 0, tbctl_ = 0, wdtctl_ = 3, sysStat_ = 0;
    uint16_t reload_ = 0;
    uint8_t tcntHLatch_ = 0;
    uint8_t lastP1_ = 0xFF;

    // Timer: while running, the current period began at periodStart_ with the count
    // periodReload_; stopped, the count stays at frozenCount_.
    uint64_t periodStart_ = 0;
    uint16_t periodReload_ = 0;
    uint16_t frozenCount_ = 0;
    uint64_t timerEvent_ = UINT64_MAX;
    // Time base: tick k of the current run at sub-clock tick tbFirst_ + k * period.
    uint64_t tbFirst_ = 0, tbIndex_ = 0;
    uint64_t tbEvent_ = UINT64_MAX;
    // Watchdog.
    uint64_t wdtEvent_ = UINT64_MAX;
};

} // namespace bx::sim
