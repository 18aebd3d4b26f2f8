#include "sim/KtrEmulator.h"

#include "foundation/Error.h"
#include "sim/Disassembler.h"

#include <algorithm>
#include <chrono>

namespace bx::sim {

namespace {

constexpr const char* kSource = "Emulator";
constexpr int32_t kErrNoModel = 1001;
constexpr int32_t kErrNoMemory = 1002;
constexpr int32_t kErrUnknownName = 1003;
constexpr int32_t kErrNoHub = 1004;

// Slice lengths: a millisecond of simulated time when paced, a million cycles unthrottled.
constexpr uint64_t kUnthrottledSlice = 1'000'000;
constexpr double kPacedSliceSeconds = 0.001;
// A host this far behind real time gives up the debt instead of racing.
constexpr double kMaxLagSeconds = 0.1;

} // namespace

// The machine's ports as a member of the hub. The hub calls OnDigitalInput from whichever
// thread drove the change, so the input levels are the atomics that the machine reads. The
// ports drive the hub lazily (see SimHub.h): most port writes reach nobody who listens (LEDs the
// panel reads when it draws, a keypad with no key held), and a write then costs a compare and
// two plain atomic accesses instead of the hub's lock and the wiring.
class KtrEmulator::Ports : public KtrPortIo, public HubMember {
public:
    Ports() { NoListeners(); }
    ~Ports() override { Detach(); }

    void Attach(std::shared_ptr<SimHub> hub, int32_t id) {
        Detach();
        if (!hub->Join(id, this))
            throw BxError(kErrNoHub, kSource,
                          "The device id " + std::to_string(id) + " is taken on this hub");
        // The machine keeps Drives up to date with or without a hub: the hub takes them in.
        std::lock_guard lock(hub->Lock());
        for (int port = 0; port < 3; ++port)
            hub->DriveLazilyLocked(id, port, Drives[port]);
        hub_ = std::move(hub);
        id_ = id;
    }
    void Detach() {
        if (hub_)
            hub_->Leave(id_, this);
        hub_.reset();
        NoListeners();
    }
    // Without a hub no port write has anyone to reach.
    void NoListeners() {
        for (LazyDrive& drive : Drives)
            drive.Needed.store(false);
    }
    SimHub* Hub() const { return hub_.get(); }

    // KtrPortIo (the machine's thread, or a thread holding the emulator's lock)
    void Deliver(int port, uint8_t level, uint8_t driven) override {
        if (hub_)
            hub_->DriveDigital(id_, port, level, driven);
    }
    void DriveAnalog(uint8_t level, double seconds) override {
        if (hub_)
            hub_->DriveAnalog(id_, port_id::kDac, level, seconds);
    }
    void AdvanceTime(double seconds) override {
        if (hub_)
            hub_->AdvanceTime(seconds);
    }

    // HubMember (under the hub's lock, any thread)
    PinKind PinsetKind(int32_t pin) const override {
        if (pin >= port_id::kP0 && pin <= port_id::kP2)
            return PinKind::Digital;
        return pin == port_id::kDac ? PinKind::Analog : PinKind::None;
    }
    void OnDigitalInput(int32_t pin, uint32_t level, uint32_t) override {
        if (pin >= port_id::kP0 && pin <= port_id::kP2)
            Inputs[pin].store(static_cast<uint8_t>(level), std::memory_order_relaxed);
    }

private:
    std::shared_ptr<SimHub> hub_;
    int32_t id_ = 0;
};

// The UI thread's hold on the machine: the worker yields at the end of its slice.
class KtrEmulator::Access {
public:
    explicit Access(KtrEmulator& e) : e_(e) {
        e_.waiters_.fetch_add(1);
        lock_ = std::unique_lock(e_.mutex_);
    }
    ~Access() {
        // The count drops under the lock: the worker tests it under the lock before it sleeps,
        // so it either sees the drop or is already asleep when the notice comes.
        const bool last = e_.waiters_.fetch_sub(1) == 1;
        lock_.unlock();
        if (last)
            e_.wake_.notify_all();
    }
    Access(const Access&) = delete;
    Access& operator=(const Access&) = delete;

private:
    KtrEmulator& e_;
    std::unique_lock<std::mutex> lock_;
};

KtrEmulator::KtrEmulator(Dispatcher& dispatcher)
    : dispatcher_(dispatcher), ports_(std::make_unique<Ports>()) {
    worker_ = std::thread([this] { WorkerLoop(); });
}

KtrEmulator::~KtrEmulator() {
    {
        std::lock_guard lock(mutex_);
        quit_ = true;
        running_ = false;
    }
    wake_.notify_all();
    worker_.join();
    // The machine drives the hub through ports_: it goes first.
    machine_.reset();
    ports_.reset();
}

void KtrEmulator::RequireMachine() const {
    if (!machine_)
        throw BxError(kErrNoModel, kSource, "No MCU model is selected");
}

bool KtrEmulator::Split(int32_t address, int& bank, uint16_t& offset) {
    if (address < 0)
        return false;
    bank = address >> 16;
    offset = static_cast<uint16_t>(address & 0xFFFF);
    return true;
}

// ---- The worker ---------------------------------------------------------------------------------

void KtrEmulator::WorkerLoop() {
    using Clock = std::chrono::steady_clock;
    std::unique_lock lock(mutex_);
    uint64_t runningGeneration = 0;
    bool firstSlice = false;
    Clock::time_point realStart;
    double simStart = 0;
    while (!quit_) {
        if (!running_ || waiters_.load() > 0) {
            wake_.wait(lock, [&] { return quit_ || (running_ && waiters_.load() == 0); });
            continue;
        }
        if (runningGeneration != generation_) {
            // A new Run: start the time base here.
            runningGeneration = generation_;
            firstSlice = true;
            realStart = Clock::now();
            simStart = machine_->Seconds();
        }
        const bool unthrottled = unthrottled_.load();
        uint64_t slice =
            unthrottled ? kUnthrottledSlice
                        : std::max<uint64_t>(
                              1, static_cast<uint64_t>(machine_->ClockHz() * kPacedSliceSeconds));
        if (holdCycle_) {
            const uint64_t now = machine_->Cycles();
            if (now >= *holdCycle_) {
                // Held: the target stays running, its time stands still. The host hears of it
                // through the dispatcher, and the hold ends when it moves or goes.
                if (!held_.exchange(true))
                    dispatcher_.post([] {});
                // A hold set anew at the same cycle clears held_: the loop then announces it again.
                wake_.wait(lock, [&] {
                    return quit_ || !running_ || waiters_.load() > 0 || !holdCycle_ ||
                           machine_->Cycles() < *holdCycle_ || !held_.load();
                });
                continue;
            }
            slice = std::min(slice, *holdCycle_ - now);
        }
        const MachineStop stop = machine_->RunFor(slice, !firstSlice);
        firstSlice = false;
        if (stop.Cause != StopCause::None) {
            running_ = false;
            Deliver(runningGeneration, stop);
            continue;
        }
        if (unthrottled)
            continue;
        // Pacing: the simulated time reached is due at realStart + sim * Divider / Multiplier.
        double rate = 1.0;
        if (SimHub* hub = ports_->Hub())
            rate = static_cast<double>(hub->Multiplier()) / hub->Divider();
        const double simElapsed = machine_->Seconds() - simStart;
        const auto due = realStart + std::chrono::duration_cast<Clock::duration>(
                                         std::chrono::duration<double>(simElapsed / rate));
        const auto now = Clock::now();
        if (now > due + std::chrono::duration_cast<Clock::duration>(
                            std::chrono::duration<double>(kMaxLagSeconds))) {
            realStart = now - (due - realStart);
        } else if (now < due) {
            const uint64_t gen = generation_;
            wake_.wait_until(lock, due, [&] {
                return quit_ || !running_ || generation_ != gen || waiters_.load() > 0;
            });
        }
    }
}

void KtrEmulator::Deliver(uint64_t generation, const MachineStop& stop) {
    int32_t cond = 0;
    switch (stop.Cause) {
    case StopCause::Execute:
        cond = break_kind::kExecute;
        break;
    case StopCause::Read:
        cond = break_kind::kRead;
        break;
    case StopCause::Write:
        cond = break_kind::kWrite;
        break;
    case StopCause::Stp:
        cond = stop_cond::kStp;
        break;
    default:
        cond = stop_cond::kIllegal;
        break;
    }
    std::weak_ptr<Anchor> token = anchor_;
    const int32_t bank = stop.Bank, address = stop.Address;
    dispatcher_.post([this, token, generation, bank, address, cond] {
        // The emulator is destroyed on this same thread, so the token can't expire under us.
        if (token.expired())
            return;
        {
            // A Run started after this stop makes it stale.
            Access access(*this);
            if (generation != generation_)
                return;
        }
        BreakHit(bank, address, cond);
    });
}

// ---- Execution --------------------------------------------------------------------------------

int32_t KtrEmulator::Reset() {
    Access access(*this);
    RequireMachine();
    running_ = false;
    machine_->SetClock(clockHz_);
    machine_->SetOption("WDT", optWdt_);
    machine_->SetOption("DualClock", optDual_);
    machine_->SetOption("UseRC", optRc_);
    machine_->Reset();
    return 0;
}

int32_t KtrEmulator::Run() {
    Access access(*this);
    RequireMachine();
    if (running_)
        return 0;
    ++generation_;
    running_ = true;
    held_ = false;
    return 0;
}

bool KtrEmulator::Stop() {
    Access access(*this);
    const bool was = running_;
    running_ = false;
    held_ = false;
    return was;
}

void KtrEmulator::HoldAt(uint64_t cycle) {
    Access access(*this);
    holdCycle_ = cycle;
    held_ = false;
}

void KtrEmulator::ReleaseHold() {
    Access access(*this);
    holdCycle_.reset();
    held_ = false;
}

int32_t KtrEmulator::ClockHz() {
    Access access(*this);
    return clockHz_;
}

bool KtrEmulator::IsRunning() {
    Access access(*this);
    return running_;
}

int32_t KtrEmulator::Step() {
    Access access(*this);
    RequireMachine();
    running_ = false;
    machine_->StepInstruction();
    return 0;
}

// ---- Breakpoints -------------------------------------------------------------------------------

bool KtrEmulator::SetBreak(int32_t address, int32_t kinds, int32_t count) {
    Access access(*this);
    int bank;
    uint16_t start;
    if (!machine_ || !Split(address, bank, start) || count < 1 || start + count > 0x10000)
        return false;
    for (int32_t i = 0; i < count; ++i)
        if (!machine_->Exists(bank, static_cast<uint16_t>(start + i)))
            return false;
    for (int32_t i = 0; i < count; ++i)
        machine_->ChangeBreak(bank, static_cast<uint16_t>(start + i), static_cast<uint8_t>(kinds),
                              true);
    machine_->BreaksChanged();
    return true;
}

bool KtrEmulator::ClearBreak(int32_t address, int32_t kinds, int32_t count) {
    Access access(*this);
    if (!machine_)
        return false;
    if (address == 0 && count == -1) {
        // (0, 7, -1) removes every breakpoint; other kinds clear just those everywhere.
        machine_->ClearAllBreaks(static_cast<uint8_t>(kinds & 7));
        return true;
    }
    int bank;
    uint16_t start;
    if (!Split(address, bank, start) || count < 1 || start + count > 0x10000)
        return false;
    for (int32_t i = 0; i < count; ++i)
        if (!machine_->Exists(bank, static_cast<uint16_t>(start + i)))
            return false;
    for (int32_t i = 0; i < count; ++i)
        machine_->ChangeBreak(bank, static_cast<uint16_t>(start + i), static_cast<uint8_t>(kinds),
                              false);
    machine_->BreaksChanged();
    return true;
}

bool KtrEmulator::GetBreakFlags(int32_t address, std::vector<int32_t>& flags, int32_t count) {
    Access access(*this);
    flags.clear();
    int bank;
    uint16_t start;
    if (!machine_ || !Split(address, bank, start) || count < 0 || start + count > 0x10000)
        return false;
    for (int32_t i = 0; i < count; ++i)
        if (!machine_->Exists(bank, static_cast<uint16_t>(start + i)))
            return false;
    flags.reserve(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i)
        flags.push_back(machine_->BreakFlags(bank, static_cast<uint16_t>(start + i)));
    return true;
}

// ---- Registers and memory -------------------------------------------------------------------

std::optional<bx::CpuState> KtrEmulator::GetCpuState() {
    Access access(*this);
    bx::CpuState state;
    if (machine_) {
        const CpuRegisters& r = machine_->Registers();
        state = bx::CpuState{r.A, r.X, r.Y, r.S, r.P, r.PC};
    }
    return state;
}

void KtrEmulator::SetCpuState(const bx::CpuState& state) {
    Access access(*this);
    RequireMachine();
    CpuRegisters& r = machine_->Registers();
    r.A = state.A;
    r.X = state.X;
    r.Y = state.Y;
    r.S = state.S;
    // Bit 5 doesn't exist as storage in the chip: it always reads 1.
    r.P = static_cast<uint8_t>(state.P | kFlagU);
    r.PC = state.PC;
    machine_->ResumeCpu();
}

std::vector<uint8_t> KtrEmulator::ReadMemory(int32_t address, int32_t& count) {
    Access access(*this);
    int bank;
    uint16_t start;
    std::vector<uint8_t> data;
    if (!machine_ || !Split(address, bank, start) || count < 0 || start + count > 0x10000) {
        count = 0;
        return data;
    }
    data.reserve(static_cast<std::size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const auto byte = machine_->Peek(bank, static_cast<uint16_t>(start + i));
        if (!byte) {
            count = 0;
            return {};
        }
        data.push_back(*byte);
    }
    return data;
}

void KtrEmulator::WriteMemory(int32_t address, int32_t& count, const std::vector<uint8_t>& data) {
    Access access(*this);
    RequireMachine();
    int bank;
    uint16_t start;
    const bool fits = Split(address, bank, start) && count >= 0 && start + count <= 0x10000 &&
                      static_cast<std::size_t>(count) <= data.size();
    bool exists = fits;
    for (int32_t i = 0; exists && i < count; ++i)
        exists = machine_->Exists(bank, static_cast<uint16_t>(start + i));
    if (!exists) {
        const int32_t asked = count;
        count = 0;
        throw BxError(kErrNoMemory, kSource,
                      "There is no memory at " + std::to_string(address) + " for " +
                          std::to_string(asked) + " bytes");
    }
    for (int32_t i = 0; i < count; ++i)
        machine_->Poke(bank, static_cast<uint16_t>(start + i), data[static_cast<std::size_t>(i)]);
}

// ---- Model, clock, options ----------------------------------------------------------------------

int32_t KtrEmulator::GetModel() {
    Access access(*this);
    return machine_ ? machine_->Model().Number : emulator_model::kNone;
}

void KtrEmulator::SetModel(int32_t model) {
    Access access(*this);
    if (machine_ && machine_->Model().Number == model)
        return;
    running_ = false;
    machine_.reset();
    if (const KtrModel* m = FindKtrModel(model)) {
        machine_ = std::make_unique<KtrMachine>(*m, ports_.get());
        machine_->SetClock(clockHz_);
        machine_->SetOption("WDT", optWdt_);
        machine_->SetOption("DualClock", optDual_);
        machine_->SetOption("UseRC", optRc_);
        machine_->Reset();
    }
}

void KtrEmulator::SetClock(int32_t index, int32_t hertz) {
    Access access(*this);
    if (index != 0 || hertz <= 0)
        return; // the KTR has one main clock; the sub-clock is fixed
    clockHz_ = hertz;
    if (machine_)
        machine_->SetClock(hertz);
}

void KtrEmulator::SetOption(const std::string& name, bool value) {
    Access access(*this);
    if (name == "WDT")
        optWdt_ = value;
    else if (name == "DualClock")
        optDual_ = value;
    else if (name == "UseRC")
        optRc_ = value;
    else
        return;
    if (machine_)
        machine_->SetOption(name, value);
}

int32_t KtrEmulator::GetValue(const std::string& name) {
    Access access(*this);
    if (name == "Bank")
        return machine_ ? machine_->Model().BankCount - 1 : 0;
    throw BxError(kErrUnknownName, kSource, "Unknown value name \"" + name + "\"");
}

std::string KtrEmulator::GetIceDriver() {
    return {};
}

void KtrEmulator::SetIceDriver(const std::string&) {}

void KtrEmulator::AttachHub(int32_t hubHandle, int32_t deviceId) {
    Access access(*this);
    std::shared_ptr<SimHub> hub = SimHub::Find(hubHandle);
    if (!hub)
        throw BxError(kErrNoHub, kSource,
                      "No device hub has the handle " + std::to_string(hubHandle));
    ports_->Attach(std::move(hub), deviceId);
}

int32_t KtrEmulator::GetPortId(const std::string& portName) {
    if (portName == "P0")
        return port_id::kP0;
    if (portName == "P1")
        return port_id::kP1;
    if (portName == "P2")
        return port_id::kP2;
    if (portName == "DAC")
        return port_id::kDac;
    throw BxError(kErrUnknownName, kSource, "Unknown port \"" + portName + "\"");
}

// ---- Code inspection ------------------------------------------------------------------------

bool KtrEmulator::Disassemble(int32_t address, int32_t count, int32_t& nextAddress,
                              std::vector<std::string>& text) {
    Access access(*this);
    text.clear();
    int bank;
    uint16_t at;
    if (!machine_ || !Split(address, bank, at) || !machine_->Exists(bank, at)) {
        nextAddress = address + 1;
        return false;
    }
    bool readable = true;
    auto peek = [&](uint16_t a) -> uint8_t {
        const auto byte = machine_->Peek(bank, a);
        if (!byte)
            readable = false;
        return byte.value_or(0xFF);
    };
    int32_t offset = at;
    for (int32_t i = 0; i < count && offset <= 0xFFFF; ++i) {
        readable = true;
        const Disassembly d = sim::Disassemble(peek, static_cast<uint16_t>(offset));
        if (!readable && text.empty()) {
            nextAddress = address + 1;
            return false;
        }
        if (!readable)
            break;
        text.push_back(d.Text);
        offset += d.Length;
    }
    nextAddress = (bank << 16) + offset;
    return true;
}

int32_t KtrEmulator::NextInstruction(int32_t address) {
    Access access(*this);
    int bank;
    uint16_t at;
    if (!machine_ || !Split(address, bank, at))
        return -1;
    const auto op = machine_->Peek(bank, at);
    if (!op || *op != 0x20 || at > 0xFFFC)
        return -1;
    return (bank << 16) + at + 3;
}

bool KtrEmulator::SetReadAhead(int32_t, int32_t, bool, bool) {
    // Taken, and nothing to do for it: every read is a peek into local memory.
    return true;
}

bool KtrEmulator::ResetRequested() {
    return resetKey_.load();
}

// ---- Counters ----------------------------------------------------------------------------------

uint64_t KtrEmulator::Cycles() {
    Access access(*this);
    return machine_ ? machine_->Cycles() : 0;
}

uint64_t KtrEmulator::Instructions() {
    Access access(*this);
    return machine_ ? machine_->Instructions() : 0;
}

double KtrEmulator::SimulatedSeconds() {
    Access access(*this);
    return machine_ ? machine_->Seconds() : 0.0;
}

} // namespace bx::sim
