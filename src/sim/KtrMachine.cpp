#include "sim/KtrMachine.h"

#include <algorithm>
#include <cmath>

namespace bx::sim {

namespace {

constexpr KtrModel kModels[] = {
    {7, "KTR310", 0x0800, 0, 4},
    {13, "KTR311", 0x1000, 0, 14},
    {24, "KTR640", 0x4000, 1, 62},
};

constexpr uint32_t kBankSize = 0x4000;
constexpr uint32_t kFixedRomSize = 0x8000;
constexpr uint8_t kBreakExecute = 1, kBreakRead = 2, kBreakWrite = 4;

// Time base periods in sub-clock ticks, by TBCTL bits 1-0: 2, 16, 128 and 1024 Hz.
constexpr uint64_t kTimeBasePeriod[4] = {16384, 2048, 256, 32};

uint64_t CeilDiv(unsigned __int128 a, uint64_t b) {
    return static_cast<uint64_t>((a + b - 1) / b);
}

} // namespace

const KtrModel* FindKtrModel(int32_t number) {
    for (const KtrModel& m : kModels)
        if (m.Number == number)
            return &m;
    return nullptr;
}

KtrMachine::KtrMachine(const KtrModel& model, KtrPortIo* io)
    : model_(model), io_(io != nullptr ? io : &unconnected_), cpu_(*this) {
    for (LazyDrive& drive : unconnected_.Drives)
        drive.Needed.store(false); // nobody to deliver to
    ramOff_ = 0;
    sfrOff_ = model.RamSize;
    romOff_ = sfrOff_ + kSfrSize;
    bankOff_ = romOff_ + kFixedRomSize;
    const std::size_t total =
        static_cast<std::size_t>(bankOff_) + static_cast<std::size_t>(model.BankCount) * kBankSize;
    mem_.assign(total, 0);
    flags_.assign(total, 0);
    openBus_.fill(0xFF);
    RebuildMaps();
    Reset();
}

// ---- Memory map ------------------------------------------------------------------------------

int64_t KtrMachine::Locate(int bank, uint16_t a) const {
    if (bank < 0 || bank >= model_.BankCount)
        return -1;
    if (a >= sfr::kBase && a < sfr::kEnd)
        return sfrOff_ + (a - sfr::kBase);
    if (a < model_.RamSize)
        return ramOff_ + a;
    if (model_.BankMode == 0) {
        if (a >= 0x4000 && a < 0x8000)
            return bankOff_ + static_cast<int64_t>(bank) * kBankSize + (a - 0x4000);
        if (a >= 0x8000)
            return romOff_ + (a - 0x8000);
    } else {
        if (a >= 0xC000)
            return bankOff_ + static_cast<int64_t>(bank) * kBankSize + (a - 0xC000);
        if (a >= 0x4000)
            return romOff_ + (a - 0x4000);
    }
    return -1;
}

int64_t KtrMachine::LocateCpu(uint16_t a) const {
    // In bank mode 1 the vectors lie in the window; the part always takes them from bank 0 so
    // that an interrupt finds its handler whatever bank the program has selected.
    if (model_.BankMode == 1 && a >= 0xFFFA)
        return Locate(0, a);
    if (bank_ >= model_.BankCount) {
        const bool inWindow = model_.BankMode == 0 ? (a >= 0x4000 && a < 0x8000) : a >= 0xC000;
        if (inWindow)
            return -1;
        return Locate(0, a);
    }
    return Locate(bank_, a);
}

void KtrMachine::MapBlock(int block) {
    const uint16_t a = static_cast<uint16_t>(block << kBlockShift);
    const int64_t off = LocateCpu(a);
    // Blocks never straddle two regions: every region boundary is a multiple of 64.
    if (off < 0) {
        readMap_[block] = openBus_.data();
        writeMap_[block] = nullptr;
        execMap_[block] = 1;
        fetchMap_[block] = nullptr;
        return;
    }
    uint8_t kinds = 0;
    for (int i = 0; i <= kBlockMask; ++i)
        kinds |= flags_[static_cast<std::size_t>(off + i)];
    const bool sfrBlock = IsSfrOffset(off);
    if (sfrBlock)
        MapSfrKinds();
    const bool vectorBlock = model_.BankMode == 1 && a == 0xFFC0 && bank_ != 0;
    uint8_t* host = mem_.data() + off;
    readMap_[block] = (sfrBlock || vectorBlock || (kinds & kBreakRead)) ? nullptr : host;
    writeMap_[block] = (sfrBlock || !IsRamOffset(off) || (kinds & kBreakWrite)) ? nullptr : host;
    execMap_[block] = (kinds & kBreakExecute) ? 1 : 0;
    fetchMap_[block] = (kinds & kBreakExecute) ? nullptr : readMap_[block];
}

void KtrMachine::MapSfrKinds() {
    for (unsigned i = 0; i < kSfrSize; ++i) {
        const uint16_t a = static_cast<uint16_t>(sfr::kBase + i);
        const uint8_t breaks = flags_[static_cast<std::size_t>(sfrOff_ + i)];
        SfrWriteKind write = SfrWriteKind::Slow;
        if (!(breaks & kBreakWrite)) {
            if (a == sfr::kP0 || a == sfr::kP1 || a == sfr::kP2)
                write = SfrWriteKind::Port;
            else if (a == sfr::kDac)
                write = SfrWriteKind::Dac;
            else if (a == sfr::kWdtclr)
                write = SfrWriteKind::WatchdogClear;
        }
        sfrReadSlow_[i] = (breaks & kBreakRead) || a == sfr::kTcntL;
        sfrWrite_[i] = write;
        sfrViewUntil_[i] = sfrReadSlow_[i] ? 0 : UINT64_MAX;
    }
    SetFlagEvent();
}

void KtrMachine::SetFlagEvent() {
    // IFR's view holds the flags served; from the first cycle at which a timer or time base
    // flag may be due, reads take SfrRead, which adds the due ones.
    constexpr unsigned kIfr = sfr::kIfr - sfr::kBase;
    sfrViewUntil_[kIfr] = sfrReadSlow_[kIfr] ? 0 : std::min(timerEvent_, tbEvent_);
}

void KtrMachine::RefreshSfrView() {
    // The view holds what a read without side effects gives; IFR's due flags are left out, and
    // from the cycle SetFlagEvent names IFR is read through SfrRead.
    SamplePorts();
    for (unsigned i = 0; i < kSfrSize; ++i) {
        const uint16_t a = static_cast<uint16_t>(sfr::kBase + i);
        if (a == sfr::kIfr)
            sfrView_[i] = ifr_;
        else if (a != sfr::kP0 && a != sfr::kP1 && a != sfr::kP2)
            sfrView_[i] = SfrRead(a, 0, false);
    }
    SetFlagEvent();
    keyWatch_ = (keyEn_ & ~dir_[1]) != 0;
}

void KtrMachine::RebuildMaps() {
    for (int b = 0; b < kBlocks; ++b)
        MapBlock(b);
}

void KtrMachine::RebuildWindow() {
    const int first = (model_.BankMode == 0 ? 0x4000 : 0xC000) >> kBlockShift;
    for (int b = first; b < first + static_cast<int>(kBankSize >> kBlockShift); ++b)
        MapBlock(b);
}

// ---- Slow path of the bus --------------------------------------------------------------------

void KtrMachine::Hit(StopCause cause) {
    if (!breaksArmed_ || hit_ != StopCause::None)
        return;
    hit_ = cause;
    cpu_.RequestStop();
}

uint8_t KtrMachine::SlowRead(uint16_t a, uint64_t cycle) {
    if ((a & ~kBlockMask) == sfr::kBase) {
        // The SFR block, the same in every model and bank: the most frequent slow access.
        if (flags_[static_cast<std::size_t>(sfrOff_ + (a & kBlockMask))] & kBreakRead)
            Hit(StopCause::Read);
        return SfrRead(a, cycle, true);
    }
    const int64_t off = LocateCpu(a);
    if (off < 0)
        return 0xFF;
    if (flags_[static_cast<std::size_t>(off)] & kBreakRead)
        Hit(StopCause::Read);
    if (IsSfrOffset(off))
        return SfrRead(a, cycle, true);
    return mem_[static_cast<std::size_t>(off)];
}

void KtrMachine::SlowWrite(uint16_t a, uint8_t v, uint64_t cycle) {
    if ((a & ~kBlockMask) == sfr::kBase) {
        if (flags_[static_cast<std::size_t>(sfrOff_ + (a & kBlockMask))] & kBreakWrite)
            Hit(StopCause::Write);
        SfrWrite(a, v, cycle);
        return;
    }
    const int64_t off = LocateCpu(a);
    if (off < 0)
        return;
    if (flags_[static_cast<std::size_t>(off)] & kBreakWrite)
        Hit(StopCause::Write);
    if (IsSfrOffset(off))
        SfrWrite(a, v, cycle);
    else if (IsRamOffset(off))
        mem_[static_cast<std::size_t>(off)] = v;
    // A store into ROM changes nothing.
}

bool KtrMachine::ExecuteSlow(uint16_t pc) {
    const int64_t off = LocateCpu(pc);
    if (off < 0) {
        hit_ = StopCause::Illegal;
        return true;
    }
    if (flags_[static_cast<std::size_t>(off)] & kBreakExecute) {
        hit_ = StopCause::Execute;
        return true;
    }
    return false;
}

// ---- Debugger access ----------------------------------------------------------------------------

bool KtrMachine::Exists(int bank, uint16_t address) const {
    return Locate(bank, address) >= 0;
}

std::optional<uint8_t> KtrMachine::Peek(int bank, uint16_t address) const {
    const int64_t off = Locate(bank, address);
    if (off < 0)
        return std::nullopt;
    if (IsSfrOffset(off))
        return const_cast<KtrMachine*>(this)->SfrRead(address, cpu_.Cycles(), false);
    return mem_[static_cast<std::size_t>(off)];
}

bool KtrMachine::Poke(int bank, uint16_t address, uint8_t value) {
    const int64_t off = Locate(bank, address);
    if (off < 0)
        return false;
    if (IsSfrOffset(off)) {
        SfrWrite(address, value, cpu_.Cycles());
        // The debugger's store is not inside a Run: take the event changes in now.
        ProcessEvents();
    } else {
        mem_[static_cast<std::size_t>(off)] = value;
    }
    return true;
}

uint8_t KtrMachine::BreakFlags(int bank, uint16_t address) const {
    const int64_t off = Locate(bank, address);
    return off < 0 ? 0 : flags_[static_cast<std::size_t>(off)];
}

bool KtrMachine::ChangeBreak(int bank, uint16_t address, uint8_t kinds, bool set) {
    const int64_t off = Locate(bank, address);
    if (off < 0)
        return false;
    uint8_t& f = flags_[static_cast<std::size_t>(off)];
    f = static_cast<uint8_t>(set ? (f | (kinds & 7)) : (f & ~kinds));
    return true;
}

void KtrMachine::ClearAllBreaks(uint8_t kinds) {
    for (uint8_t& f : flags_)
        f = static_cast<uint8_t>(f & ~kinds);
    RebuildMaps();
}

// ---- Configuration and reset ----------------------------------------------------------------

void KtrMachine::SetClock(int32_t hertz) {
    if (hertz > 0)
        pendingClockHz_ = hertz;
}

void KtrMachine::SetOption(const std::string& name, bool value) {
    if (name == "WDT")
        pendingWdt_ = value;
    else if (name == "DualClock")
        pendingDual_ = value;
    else if (name == "UseRC")
        pendingRc_ = value;
}

double KtrMachine::SecondsAt(uint64_t cycle) const {
    return secondsBase_ + static_cast<double>(cycle - cycleBase_) / clockHz_;
}

double KtrMachine::Seconds() const {
    return SecondsAt(cpu_.Cycles());
}

void KtrMachine::ResetRegisters() {
    bank_ = 0;
    dac_ = 0;
    latch_.fill(0);
    dir_.fill(0);
    tctl_ = 0;
    reload_ = 0;
    frozenCount_ = 0;
    tcntHLatch_ = 0;
    ifr_ = 0;
    ier_ = 0;
    keyEn_ = 0;
    tbctl_ = 0;
    wdtctl_ = 3;
    timerEvent_ = tbEvent_ = wdtEvent_ = UINT64_MAX;
}

void KtrMachine::Reset(bool watchdog) {
    const uint64_t now = cpu_.Cycles();
    // The clock may change here: keep Seconds() continuous across it.
    secondsBase_ = SecondsAt(now);
    cycleBase_ = now;
    clockHz_ = pendingClockHz_;
    optWdt_ = pendingWdt_;
    optDual_ = pendingDual_;
    optRc_ = pendingRc_;
    resetCycle_ = now;

    ResetRegisters();
    sysStat_ = static_cast<uint8_t>(
        (optWdt_ ? sfr::kStatWdtOption : 0) | (optDual_ ? sfr::kStatDualClock : 0) |
        (optRc_ ? sfr::kStatRc : 0) | (watchdog ? sfr::kStatWatchdogReset : 0));
    RebuildWindow();
    cpu_.SetIrq(false);
    const bool armed = breaksArmed_;
    breaksArmed_ = false; // the vector fetch is no program read
    cpu_.Reset();
    breaksArmed_ = armed;
    if (optWdt_)
        wdtEvent_ = cpu_.Cycles() + (uint64_t{1} << (14 + 2 * (wdtctl_ & 3)));
    for (int p = 0; p < 3; ++p)
        DrivePort(p);
    io_->DriveAnalog(dac_, Seconds());
    lastP1_ = SamplePort(1);
    RefreshSfrView();
}

// ---- Special-function registers -------------------------------------------------------------

uint8_t KtrMachine::SamplePort(int port) {
    pins_[port] = io_->Inputs[port].load(std::memory_order_relaxed);
    const uint8_t value = PortValue(port);
    sfrView_[sfr::kP0 - sfr::kBase + 2 * port] = value;
    return value;
}

void KtrMachine::SamplePorts() {
    for (int port = 0; port < 3; ++port)
        SamplePort(port);
}

void KtrMachine::DrivePort(int port) {
    if (io_->Drives[port].Publish(latch_[port], dir_[port]))
        io_->Deliver(port, latch_[port], dir_[port]);
}

void KtrMachine::PortLatchWritten(int port, bool changed) {
    if (changed && io_->Drives[port].Needed.load(std::memory_order_relaxed))
        PortDelivered(port);
    else if (keyWatch_)
        KeyEdgesChanged();
}

void KtrMachine::PortDelivered(int port) {
    io_->Deliver(port, latch_[port], dir_[port]);
    // A device may answer at once, on any port (a keypad column follows its row).
    SamplePorts();
    KeyEdgesChanged();
}

void KtrMachine::KeyEdgesChanged() {
    CheckKeyEdges();
    UpdateIrq();
}

uint32_t KtrMachine::TimerPrescale() const {
    static constexpr uint32_t kPrescale[4] = {1, 8, 64, 256};
    return kPrescale[tctl_ & 3];
}

uint16_t KtrMachine::TimerCount(uint64_t cycle) const {
    if (!(tctl_ & sfr::kTimerRun))
        return frozenCount_;
    if (cycle < periodStart_)
        return periodReload_;
    // Events may be served a few cycles late; count on through the underflows in between.
    uint64_t elapsed = (cycle - periodStart_) / TimerPrescale();
    uint64_t count = periodReload_;
    if (elapsed > count) {
        elapsed -= count + 1;
        const uint64_t period = static_cast<uint64_t>(reload_) + 1;
        count = reload_ - (elapsed % period);
    } else {
        count -= elapsed;
    }
    return static_cast<uint16_t>(count);
}

void KtrMachine::StartTimer(uint64_t fromCycle) {
    periodStart_ = fromCycle;
    periodReload_ = reload_;
    timerEvent_ = periodStart_ + (static_cast<uint64_t>(periodReload_) + 1) * TimerPrescale();
}

void KtrMachine::ScheduleTimeBase() {
    // Sub-clock tick n happens at CPU cycle resetCycle_ + ceil(n * F / 32768).
    const uint64_t period = kTimeBasePeriod[tbctl_ & 3];
    const uint64_t n = tbFirst_ + tbIndex_ * period;
    tbEvent_ = resetCycle_ + CeilDiv(static_cast<unsigned __int128>(n) * clockHz_, kSubClockHz);
}

uint8_t KtrMachine::SfrRead(uint16_t a, uint64_t cycle, bool sideEffects) {
    switch (a) {
    case sfr::kBank:
        return bank_;
    case sfr::kDac:
        return dac_;
    case sfr::kP0:
        return SamplePort(0);
    case sfr::kP1:
        return SamplePort(1);
    case sfr::kP2:
        return SamplePort(2);
    case sfr::kP0Dir:
        return dir_[0];
    case sfr::kP1Dir:
        return dir_[1];
    case sfr::kP2Dir:
        return dir_[2];
    case sfr::kTctl:
        return tctl_;
    case sfr::kTcntL: {
        const uint16_t count = TimerCount(cycle);
        if (sideEffects) {
            tcntHLatch_ = static_cast<uint8_t>(count >> 8);
            sfrView_[sfr::kTcntH - sfr::kBase] = tcntHLatch_;
        }
        return static_cast<uint8_t>(count);
    }
    case sfr::kTcntH:
        return tcntHLatch_;
    case sfr::kTrldL:
        return static_cast<uint8_t>(reload_);
    case sfr::kTrldH:
        return static_cast<uint8_t>(reload_ >> 8);
    case sfr::kIfr: {
        // Flags whose event is due but not served yet (the CPU is inside its budget) show.
        uint8_t flags = ifr_;
        if (cycle >= timerEvent_)
            flags |= sfr::kIrqTimer;
        if (cycle >= tbEvent_)
            flags |= sfr::kIrqTimeBase;
        return flags;
    }
    case sfr::kIer:
        return ier_;
    case sfr::kKeyEn:
        return keyEn_;
    case sfr::kTbctl:
        return tbctl_;
    case sfr::kWdtctl:
        return wdtctl_;
    case sfr::kWdtclr:
        return 0;
    case sfr::kSysStat:
        return sysStat_;
    case sfr::kModelId:
        return static_cast<uint8_t>(model_.Number);
    default:
        return 0; // reserved
    }
}

void KtrMachine::SfrWrite(uint16_t a, uint8_t v, uint64_t cycle) {
    const uint64_t nextEvent = NextEvent();
    switch (a) {
    case sfr::kBank:
        if (v != bank_) {
            bank_ = v;
            RebuildWindow();
        }
        break;
    case sfr::kDac:
        // Storing the level the DAC already has changes nothing on the wire: a listener
        // (the speaker) holds the level until the next change or the next AdvanceTime.
        if (v != dac_) {
            dac_ = v;
            io_->DriveAnalog(v, SecondsAt(cycle));
        }
        break;
    case sfr::kP0:
    case sfr::kP1:
    case sfr::kP2:
    case sfr::kP0Dir:
    case sfr::kP1Dir:
    case sfr::kP2Dir: {
        const int port = (a - sfr::kP0) / 2;
        // P1's level before the change: edges count from here (port writes don't follow P1
        // while no key interrupt is enabled).
        CheckKeyEdges();
        if ((a - sfr::kP0) % 2 == 0)
            latch_[port] = v;
        else
            dir_[port] = v;
        DrivePort(port);
        // A device may answer at once (a keypad column follows its row).
        CheckKeyEdges();
        UpdateIrq();
        break;
    }
    case sfr::kTctl: {
        const bool wasRunning = tctl_ & sfr::kTimerRun;
        const uint16_t count = TimerCount(cycle);
        tctl_ = static_cast<uint8_t>(v & (sfr::kTimerRun | 3));
        if (tctl_ & sfr::kTimerRun) {
            if (!wasRunning)
                StartTimer(cycle + 1);
            else {
                // A prescaler change restarts the current count from this cycle.
                periodStart_ = cycle + 1;
                periodReload_ = count;
                timerEvent_ =
                    periodStart_ + (static_cast<uint64_t>(periodReload_) + 1) * TimerPrescale();
            }
        } else {
            frozenCount_ = count;
            timerEvent_ = UINT64_MAX;
        }
        Reschedule(nextEvent);
        break;
    }
    case sfr::kTrldL:
        reload_ = static_cast<uint16_t>((reload_ & 0xFF00) | v);
        break;
    case sfr::kTrldH:
        reload_ = static_cast<uint16_t>((reload_ & 0x00FF) | (v << 8));
        break;
    case sfr::kIfr:
        // An event due by now sets its flag before the write clears it.
        ServeTimers(cycle);
        ifr_ = static_cast<uint8_t>(ifr_ & ~v);
        UpdateIrq();
        break;
    case sfr::kIer:
        ier_ = static_cast<uint8_t>(v & sfr::kIrqAll);
        UpdateIrq();
        break;
    case sfr::kKeyEn:
        CheckKeyEdges(); // an edge before the enable doesn't count
        keyEn_ = v;
        break;
    case sfr::kTbctl:
        if (!optDual_)
            break; // no sub-clock: the time base doesn't exist
        if ((v & sfr::kTimeBaseEnable) &&
            (!(tbctl_ & sfr::kTimeBaseEnable) || (v & 3) != (tbctl_ & 3))) {
            tbctl_ = static_cast<uint8_t>(v & (sfr::kTimeBaseEnable | 3));
            // Counting starts at the first sub-clock tick after this cycle.
            const uint64_t since = cycle + 1 - resetCycle_;
            const uint64_t first =
                CeilDiv(static_cast<unsigned __int128>(since) * kSubClockHz, clockHz_);
            tbFirst_ = first;
            tbIndex_ = 1;
            ScheduleTimeBase();
        } else if (!(v & sfr::kTimeBaseEnable)) {
            tbctl_ = static_cast<uint8_t>(v & 3);
            tbEvent_ = UINT64_MAX;
        }
        Reschedule(nextEvent);
        break;
    case sfr::kWdtctl:
        wdtctl_ = static_cast<uint8_t>(v & 3);
        [[fallthrough]];
    case sfr::kWdtclr:
        if (a == sfr::kWdtclr && v != sfr::kWatchdogKey)
            break;
        RestartWatchdog(cycle);
        Reschedule(nextEvent);
        break;
    case sfr::kSysStat:
        sysStat_ = static_cast<uint8_t>(sysStat_ & ~(v & sfr::kStatWatchdogReset));
        break;
    default:
        break; // read-only or reserved
    }
    RefreshSfrView();
}

// ---- Events -----------------------------------------------------------------------------------

uint64_t KtrMachine::NextEvent() const {
    return std::min({timerEvent_, tbEvent_, wdtEvent_});
}

void KtrMachine::UpdateIrq() {
    cpu_.SetIrq((ifr_ & ier_ & sfr::kIrqAll) != 0);
}

void KtrMachine::CheckKeyEdges() {
    const uint8_t now = SamplePort(1);
    const uint8_t fell = static_cast<uint8_t>(lastP1_ & ~now & keyEn_ & ~dir_[1]);
    lastP1_ = now;
    if (fell != 0) {
        ifr_ |= sfr::kIrqKey;
        sfrView_[sfr::kIfr - sfr::kBase] = ifr_;
    }
}

void KtrMachine::ServeTimers(uint64_t now) {
    while (now >= timerEvent_) {
        ifr_ |= sfr::kIrqTimer;
        periodStart_ = timerEvent_;
        periodReload_ = reload_;
        timerEvent_ = periodStart_ + (static_cast<uint64_t>(periodReload_) + 1) * TimerPrescale();
    }
    while (now >= tbEvent_) {
        ifr_ |= sfr::kIrqTimeBase;
        ++tbIndex_;
        ScheduleTimeBase();
    }
    sfrView_[sfr::kIfr - sfr::kBase] = ifr_;
    SetFlagEvent();
}

void KtrMachine::ProcessEvents() {
    const uint64_t now = cpu_.Cycles();
    ServeTimers(now);
    SamplePorts();
    CheckKeyEdges();
    if (now >= wdtEvent_) {
        Reset(true);
        return;
    }
    UpdateIrq();
}

// ---- Running ----------------------------------------------------------------------------------

MachineStop KtrMachine::RunFor(uint64_t cycles, bool checkFirst) {
    const uint64_t end = cpu_.Cycles() + cycles;
    hit_ = StopCause::None;
    breaksArmed_ = true;
    MachineStop stop;
    bool first = !checkFirst;
    while (cpu_.Cycles() < end) {
        ProcessEvents();
        if (cpu_.State() == bx::sim::CpuState::Stopped) {
            stop.Cause = StopCause::Stp;
            break;
        }
        if (first) {
            // The instruction at the starting PC runs without the execute check.
            first = false;
            cpu_.Step();
        } else {
            const uint64_t to = std::min(end, NextEvent());
            const uint64_t now = cpu_.Cycles();
            cpu_.Run(to > now ? to - now : 1);
        }
        if (hit_ != StopCause::None) {
            stop.Cause = hit_;
            break;
        }
        if (cpu_.State() == bx::sim::CpuState::Stopped) {
            stop.Cause = StopCause::Stp;
            break;
        }
    }
    breaksArmed_ = false;
    hit_ = StopCause::None;
    ProcessEvents();
    io_->AdvanceTime(Seconds());
    stop.Address = cpu_.Registers().PC;
    stop.Bank = bank_;
    return stop;
}

void KtrMachine::StepInstruction() {
    hit_ = StopCause::None;
    breaksArmed_ = false;
    ProcessEvents();
    const uint64_t before = cpu_.Instructions();
    for (int guard = 0; guard < 4 && cpu_.Instructions() == before; ++guard) {
        if (cpu_.State() == bx::sim::CpuState::Stopped)
            break;
        if (cpu_.State() == bx::sim::CpuState::Waiting && !cpu_.IrqAsserted()) {
            // Let time pass until an event can end the wait, at most one simulated second.
            const uint64_t now = cpu_.Cycles();
            const uint64_t to = std::min(NextEvent(), now + static_cast<uint64_t>(clockHz_));
            cpu_.Run(to > now ? to - now : 1);
            ProcessEvents();
            if (cpu_.State() == bx::sim::CpuState::Waiting && !cpu_.IrqAsserted())
                break;
            continue;
        }
        cpu_.Step();
        ProcessEvents();
    }
    io_->AdvanceTime(Seconds());
}

} // namespace bx::sim
