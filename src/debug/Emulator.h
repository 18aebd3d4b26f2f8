#pragma once
// Emulator: the one object through which the debugger reaches the target, whether it is the
// built-in simulator (src/sim/) or an in-circuit emulator behind a driver file. The debugger
// never executes code itself; power-on, run control, the inspectors and the views ask this
// interface and nothing else.
//
// Address form. Every address handed across this interface is one int32_t:
// bank * 65536 + the 16-bit address. Bank 0 is used for unbanked memory. The bank part matters
// only inside the bank window ($4000-$7FFF in bank mode 0, $C000-$FFFF in bank mode 1): there
// it names that bank's byte whatever bank the target has selected at the moment. Outside the
// window there is one byte per 16-bit address and the bank part is ignored, so "01:0010" and
// "00:0010" are the same RAM byte. An implementation compares addresses (breakpoints, stops)
// after folding them this way.
//
// Breakpoint kinds: a bit set per byte, break_kind::kExecute (1), kRead (2), kWrite (4); 7 is
// all kinds. The same bits are the Cond of BreakHit, where exactly one is expected.
//
// Errors. An operation that cannot be done at all throws BxError (number, source "Emulator",
// description); the callers say which calls run with such errors caught. Conditions the
// callers test for are results, not errors: an unreadable range gives empty data, an ICE
// without status gives no CpuState, an unknown model gives GetModel() == 0.
//
// Threads. The debugger calls every operation on the UI thread only. After Run() the target
// executes on the implementation's own worker; while it does, the UI thread may still call
// Stop() and ResetRequested() at any moment (the reset-key timer polls during a run), and a
// natural stop may race with any other call, so an implementation serialises every operation
// against its worker (for instance by pausing the worker for the duration of the call).
// BreakHit is raised on the UI thread only: the simulator hands the stop to the Dispatcher it
// was built with, and a delivery posted by an Emulator that has since been destroyed is dropped
// (the posted work holds a weak token, never a bare pointer). Destroying an Emulator stops its
// worker first.

#include "debug/Breakpoints.h"
#include "foundation/Signal.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bx {

// The emulator's models: which MCU body SetModel selects in the simulator.
namespace emulator_model {
inline constexpr int32_t kNone = 0;
inline constexpr int32_t kKTR310 = 7;
inline constexpr int32_t kKTR311 = 13;
inline constexpr int32_t kKTR640 = 24;
} // namespace emulator_model

// A register snapshot. A, X, Y, S (stack pointer, low byte of page 1) and P (status flags
// NV-BDIZC) are 8 bits; PC is 16 bits without bank. A caller that changes one register takes
// a fresh snapshot, changes that one field, and hands the whole record back with SetCpuState.
struct CpuState {
    uint8_t A = 0;
    uint8_t X = 0;
    uint8_t Y = 0;
    uint8_t S = 0;
    uint8_t P = 0;
    uint16_t PC = 0;

    bool operator==(const CpuState&) const = default;
};

class Emulator {
public:
    virtual ~Emulator() = default;

    // ---- Execution ------------------------------------------------------------------------

    // Restarts the machine from its reset vector: the CPU and the MCU's registers take their
    // reset state, PC is loaded from the vector, and the target is left halted there. Memory
    // contents (the loaded image included) and breakpoints survive. The clock and options set
    // before the call are in force from here on. Returns a status the debugger doesn't
    // interpret (0 by convention).
    virtual int32_t Reset() = 0;

    // Lets the target run freely from the current PC and returns at once. An execute
    // breakpoint at that starting PC does not stop it: the first instruction executes before
    // breakpoints are checked, so a Continue from a breakpoint leaves it. Each later stop that
    // the target makes by itself (a breakpoint, an illegal instruction, STP) is delivered as
    // one BreakHit on the UI thread, and the target is halted from then on. Returns a status
    // the debugger doesn't interpret.
    virtual int32_t Run() = 0;

    // Halts the target and returns whether it was running at the moment of the call. Stop
    // itself raises no BreakHit; a natural stop that happened just before may still be
    // delivered afterwards (the debugger drops it). Safe to call while the target runs.
    virtual bool Stop() = 0;

    // Executes exactly one instruction and returns when it is done; no BreakHit is raised and
    // breakpoints don't stop it. Returns a status the debugger doesn't interpret.
    virtual int32_t Step() = 0;

    // ---- Breakpoints ----------------------------------------------------------------------

    // ORs kinds into the breakpoint flags of count bytes from address. Execute breakpoints
    // use count 1, memory breakpoints a range. False when a byte of the range doesn't exist in
    // the selected model (nothing is set then).
    virtual bool SetBreak(int32_t address, int32_t kinds, int32_t count) = 0;

    // Clears the kinds bits (only those) on count bytes from address; other kinds on the same
    // bytes stay. The call ClearBreak(0, 7, -1) removes every breakpoint of the machine.
    // False when a byte of the range doesn't exist.
    virtual bool ClearBreak(int32_t address, int32_t kinds, int32_t count) = 0;

    // Fills flags with one kinds value for each of count bytes from address and returns true;
    // false, with flags empty, when the range can't be read.
    virtual bool GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) = 0;

    // ---- Registers and memory -------------------------------------------------------------

    // A fresh snapshot of the registers, or nothing when the target has no status to give
    // (an ICE that doesn't answer). The simulator always gives one.
    virtual std::optional<CpuState> GetCpuState() = 0;

    // Writes back every register of the snapshot.
    virtual void SetCpuState(const CpuState& state) = 0;

    // Reads count bytes from address as a side-effect-free peek: reading a special-function
    // register shows its value without the effects of a bus read (no flag is cleared). On
    // return count holds the number of bytes read. Empty data (and count 0) when the range
    // can't be read: a bank the model doesn't have, a range running past $FFFF, a target that
    // doesn't answer. Callers test for empty data before indexing.
    virtual std::vector<uint8_t> ReadMemory(int32_t address, int32_t& count) = 0;

    // Writes count bytes of data (data holds at least count bytes) from address and sets count
    // to the number written. ROM is written like RAM: this is how the image is loaded. A write
    // to a special-function register has the effect of a CPU store, so that editing the "Bank"
    // SFR selects the bank. Throws BxError when a byte of the range doesn't exist, writing none.
    virtual void WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) = 0;

    // ---- Model, clock, options ------------------------------------------------------------

    // The model number now selected; 0 when none is.
    virtual int32_t GetModel() = 0;

    // Selects the MCU model: in the simulator 7 (KTR310), 13 (KTR311) or 24 (KTR640); under
    // ICE the body's IceEmuNumber. A number the emulator doesn't know selects nothing, so that
    // GetModel() gives 0 afterwards. Selecting the model already selected changes nothing
    // (memory, loaded image and breakpoints are kept: every reset selects the model again);
    // selecting another model builds a fresh machine with empty memory and no breakpoints.
    virtual void SetModel(int32_t model) = 0;

    // Sets clock index to hertz; index 0 is the main clock, the one the debugger sets. In
    // force from the next Reset at the latest.
    virtual void SetClock(int32_t index, int32_t hertz) = 0;

    // Sets a named option: "DualClock" (the 32.768 kHz sub-clock), "WDT" (the watchdog) and
    // "UseRC" (the RC oscillator). The debugger calls it under ICE too, so an unknown name is
    // ignored. In force from the next Reset at the latest.
    virtual void SetOption(const std::string& name, bool value) = 0;

    // A named quantity. "Bank" gives the highest bank number of the selected model. Any other
    // name throws BxError.
    virtual int32_t GetValue(const std::string& name) = 0;

    // ---- ICE driver -----------------------------------------------------------------------

    // The path of the loaded ICE driver; empty when no driver is loaded (always, in the
    // simulator).
    virtual std::string GetIceDriver() = 0;

    // Loads the ICE driver file at path (the system's backslash form). A driver that can't be
    // loaded leaves GetIceDriver() empty; the simulator ignores the call.
    virtual void SetIceDriver(const std::string& path) = 0;

    // ---- Devices (simulator only) ---------------------------------------------------------

    // Joins the device hub whose DeviceHub::HubHandle() is hubHandle, as device deviceId
    // (device_id::kEmulator, 2002). Throws BxError for a handle that names no live hub.
    virtual void AttachHub(int32_t hubHandle, int32_t deviceId) = 0;

    // The number of the port that a Wire names: "P0", "P1", "P2" (8-bit digital ports) and
    // "DAC" (the analog output). The numbers are the pins the hub's Connect calls take for
    // device 2002. An unknown name throws BxError.
    virtual int32_t GetPortId(const std::string& portName) = 0;

    // ---- Code inspection ------------------------------------------------------------------

    // Disassembles count instructions from address. text receives one element per
    // instruction: the upper-case mnemonic first (its first three characters are what the
    // disassembly view rules lines by: "JSR", "RTS", "BNE", ...), then a blank and the operand
    // in dollar hex when there is one ("LDA #$12", "JSR $8000", "BBR3 $12,$8010"). An opcode
    // the CPU doesn't define gives the text the implementation chooses and the length the CPU
    // executes it with. nextAddress is the address behind the last instruction, with address's
    // bank part. False, with text empty and nextAddress = address + 1, when the bytes can't be
    // read.
    virtual bool Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                             std::vector<std::string>& text) = 0;

    // If the instruction at address calls a subroutine (JSR), the address at which that call
    // returns (the address behind the JSR, with address's bank part); otherwise a negative
    // value.
    virtual int32_t NextInstruction(int32_t address) = 0;

    // A hint that a burst of small reads follows: registers and watches (0, 768, true, false),
    // the memory inspector (first address, 768, false, true), the disassembly (first address,
    // 512, false, false). A call with all four values 0 ends the burst. An ICE may fetch the
    // range in one transfer; the simulator may ignore it. Returns whether the hint was taken.
    virtual bool SetReadAhead(int32_t address, int32_t length, bool registers, bool memory) = 0;

    // True while the target's reset key is held. Safe to call while the target runs.
    virtual bool ResetRequested() = 0;

    // ---- Event ----------------------------------------------------------------------------

    // BreakHit(Bank, Address, Cond): the target stopped by itself after Run. Bank is the bank
    // selected in the window at the stop, Address the 16-bit address of the instruction the
    // target stopped at (for a read or write breakpoint, the one behind the instruction that
    // made the access), Cond the kind that caused it (1, 2 or 4) or any other value for a stop
    // of unknown cause (an illegal instruction, STP). Raised on the UI thread only; connect and
    // disconnect on the UI thread.
    Signal<int32_t, int32_t, int32_t> BreakHit;
};

} // namespace bx
