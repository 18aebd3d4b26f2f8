#pragma once
// KtrEmulator: the built-in simulator behind the Emulator interface. It holds one KtrMachine
// of the selected model and a worker thread that runs it after Run().
//
// Threads. Every Emulator operation comes from the UI thread (see Emulator.h). The worker runs
// the machine in slices, holding the emulator's lock for one slice at a time; an operation
// from the UI thread announces itself, the worker gives the lock up at the end of its slice and
// waits until the operation is done. So every operation sees the machine between two
// instructions, and none waits longer than one slice (about a millisecond of simulated time, or
// a million cycles unthrottled). A stop found by the worker is handed to the Dispatcher; the
// posted work holds a weak token and is dropped when the emulator is gone or a later Run has
// started.
//
// Real time. In paced mode (the default) the worker keeps simulated time at
// clock * Multiplier / Divider of real time, the two numbers coming from the hub (1 and 1
// without one): after each slice it sleeps until the slice is due. A host that falls more than
// 100 ms behind does not race to catch up; the time base starts again from there. In
// unthrottled mode (SetUnthrottled, for the command line and benchmarks) it never sleeps.
//
// Exact time. Where the slices end depends on the host's timing, so a host that must act at
// an exact simulated moment (the command line's key presses and the end of a run phase) sets
// a hold (HoldAt): the worker runs the target to the first instruction boundary at or after
// that cycle and holds it there. The target still counts as running (Stop, Run and BreakHit
// behave as ever); only its time stands still until the hold moves on or is released. The
// worker posts a no-op through the Dispatcher when it reaches a hold, so a host waiting in its
// dispatcher's loop wakes at once. Paced or unthrottled, the same holds give the same cycles.
//
// The extra operations below (counters, reset key, unthrottled mode) are for the command line,
// the device panel and tests; each says from which thread it may be called.

#include "debug/Emulator.h"
#include "foundation/HostInterfaces.h"
#include "sim/KtrMachine.h"
#include "sim/SimHub.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace bx::sim {

// GetPortId's numbers: the pin sets of member 2002.
namespace port_id {
inline constexpr int32_t kP0 = 0;
inline constexpr int32_t kP1 = 1;
inline constexpr int32_t kP2 = 2;
inline constexpr int32_t kDac = 3;
} // namespace port_id

// Cond values of a BreakHit for stops that are no breakpoint.
namespace stop_cond {
inline constexpr int32_t kStp = 0x10;     // the program executed STP
inline constexpr int32_t kIllegal = 0x20; // execution reached an address with no memory
} // namespace stop_cond

class KtrEmulator : public Emulator {
public:
    // dispatcher runs the BreakHit deliveries on the UI thread; it must outlive the emulator.
    explicit KtrEmulator(Dispatcher& dispatcher);
    ~KtrEmulator() override;
    KtrEmulator(const KtrEmulator&) = delete;
    KtrEmulator& operator=(const KtrEmulator&) = delete;

    int32_t Reset() override;
    int32_t Run() override;
    bool Stop() override;
    int32_t Step() override;
    bool SetBreak(int32_t address, int32_t kinds, int32_t count) override;
    bool ClearBreak(int32_t address, int32_t kinds, int32_t count) override;
    bool GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) override;
    std::optional<bx::CpuState> GetCpuState() override;
    void SetCpuState(const bx::CpuState& state) override;
    std::vector<uint8_t> ReadMemory(int32_t address, int32_t& count) override;
    void WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) override;
    int32_t GetModel() override;
    void SetModel(int32_t model) override;
    void SetClock(int32_t index, int32_t hertz) override;
    void SetOption(const std::string& name, bool value) override;
    int32_t GetValue(const std::string& name) override;
    std::string GetIceDriver() override;
    void SetIceDriver(const std::string& path) override;
    void AttachHub(int32_t hubHandle, int32_t deviceId) override;
    int32_t GetPortId(const std::string& portName) override;
    bool Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                     std::vector<std::string>& text) override;
    int32_t NextInstruction(int32_t address) override;
    bool SetReadAhead(int32_t address, int32_t length, bool registers, bool memory) override;
    bool ResetRequested() override;

    // ---- Beyond the interface ----
    // Any thread: the reset key of the simulated board, held or released (the device panel).
    void SetResetKey(bool held) { resetKey_.store(held); }
    // UI thread, while halted or running: run as fast as the host can instead of in real time.
    void SetUnthrottled(bool on) { unthrottled_.store(on); }
    // UI thread: hold the running target at the first instruction boundary at or after cycle
    // (as Cycles() counts), or, released, let it run on. A new hold releases the old one.
    void HoldAt(uint64_t cycle);
    void ReleaseHold();
    // Any thread: whether the worker holds the running target at the hold now.
    bool Held() const { return held_.load(); }
    // UI thread: the main clock in hertz, as SetClock gave it.
    int32_t ClockHz();
    // UI thread: whether the target is running now.
    bool IsRunning();
    // UI thread: cycles and instructions since the model was selected; simulated seconds.
    uint64_t Cycles();
    uint64_t Instructions();
    double SimulatedSeconds();

private:
    class Ports;
    class Access;
    struct Anchor {};

    void WorkerLoop();
    void Deliver(uint64_t generation, const MachineStop& stop);
    // Splits an address-form value; false for a negative one.
    static bool Split(int32_t address, int& bank, uint16_t& offset);
    void RequireMachine() const;

    Dispatcher& dispatcher_;
    std::shared_ptr<Anchor> anchor_ = std::make_shared<Anchor>();
    std::unique_ptr<Ports> ports_;

    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<int> waiters_{0};
    std::unique_ptr<KtrMachine> machine_;
    int32_t clockHz_ = kDefaultClockHz;
    bool optWdt_ = false, optDual_ = false, optRc_ = false;
    bool running_ = false;
    bool quit_ = false;
    uint64_t generation_ = 0;
    std::atomic<bool> resetKey_{false};
    std::atomic<bool> unthrottled_{false};
    std::optional<uint64_t> holdCycle_;
    std::atomic<bool> held_{false};
    std::thread worker_;
};

} // namespace bx::sim
