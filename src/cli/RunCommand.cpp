#include "cli/RunCommand.h"

#include "appliance/Appliance.h"
#include "build/BuildDriver.h"
#include "cli/CommandLine.h"
#include "cli/StreamPrompter.h"
#include "debug/DebugMonitor.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "foundation/ProgressCodes.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/QueueDispatcher.h"
#include "settings/GlobalSettings.h"
#include "sim/DevicePanel.h"
#include "sim/KtrEmulator.h"
#include "sim/SimTargetFactory.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <ostream>

namespace bx::cli {

namespace {

constexpr const char* kPrefix = "tessarine-cli run: ";
constexpr double kDefaultTimeoutMs = 10'000;
constexpr auto kResetKeyPoll = std::chrono::milliseconds(DebugMonitor::kResetKeyPollMs);
constexpr int kDumpBytesPerLine = 16;

std::optional<int64_t> ReadDecimal(const std::string& text) {
    int64_t value = 0;
    const char* last = text.data() + text.size();
    auto [end, ec] = std::from_chars(text.data(), last, value);
    if (ec != std::errc() || end != last || value < 0)
        return std::nullopt;
    return value;
}

std::optional<int64_t> ReadHex(const std::string& text) {
    int64_t value = 0;
    const std::string digits = !text.empty() && text[0] == '$' ? text.substr(1) : text;
    const char* last = digits.data() + digits.size();
    auto [end, ec] = std::from_chars(digits.data(), last, value, 16);
    if (digits.empty() || ec != std::errc() || end != last || value < 0)
        return std::nullopt;
    return value;
}

// The progress display of a terminal: nothing to show, the codes are in the trace log.
class QuietStatus : public StatusDisplay {
public:
    void State(int code) override { state_.State(code); }
    void StateArg(const std::string& text) override { state_.StateArg(text); }
    void GoAway() override { state_.GoAway(); }

private:
    ProgressState state_;
};

// The host of the command line's monitor: the panel is the prototyper's surface, the active
// design view is the appliance's first, and the stops are collected for the session to print.
class RunHost : public DebugMonitorHost {
public:
    struct Stop {
        int32_t Bank, Address, Cond;
    };

    explicit RunHost(Appliance& appliance) : appliance_(appliance) {}

    Facade* RequestFacade() override { return &Panel; }
    std::shared_ptr<View> RequestActiveView() override { return appliance_.Views().First(); }
    void RequestBuild() override { BuildRequested = true; }
    void BreakHit(int32_t bank, int32_t address, int32_t cond) override {
        Stops.push_back({bank, address, cond});
    }
    void DoReset() override {
        if (OnReset)
            OnReset();
    }

    sim::DevicePanel Panel;
    bool BuildRequested = false;
    std::vector<Stop> Stops;
    std::function<void()> OnReset;

private:
    Appliance& appliance_;
};

// A key of the panel held for a while, on the simulated time line.
struct Press {
    std::string Key;
    double StartMs = 0;
    double EndMs = std::numeric_limits<double>::infinity();
    // The same on the cycle count, once the clock is known.
    uint64_t StartCycle = 0;
    uint64_t EndCycle = std::numeric_limits<uint64_t>::max();
    int Button = -1; // a SimpleUI key, or -1 for a keypad key
    int Row = 0, Column = 0;
    bool Held = false, Done = false;
};

std::optional<Press> ParsePress(const std::string& text) {
    const std::size_t at = text.rfind('@');
    if (at == std::string::npos || at == 0)
        return std::nullopt;
    Press press;
    press.Key = text.substr(0, at);
    const std::string times = text.substr(at + 1);
    const std::size_t colon = times.find(':');
    std::optional<int64_t> start = ReadDecimal(times.substr(0, colon));
    if (!start)
        return std::nullopt;
    press.StartMs = static_cast<double>(*start);
    if (colon != std::string::npos) {
        std::optional<int64_t> length = ReadDecimal(times.substr(colon + 1));
        if (!length)
            return std::nullopt;
        press.EndMs = press.StartMs + static_cast<double>(*length);
    }
    if (LowerCase(press.Key).rfind("button:", 0) == 0) {
        std::optional<int64_t> index = ReadDecimal(press.Key.substr(7));
        if (!index || *index > 7)
            return std::nullopt;
        press.Button = static_cast<int>(*index);
    }
    return press;
}

// A watch of the appliance by title, at any depth of the register tree.
std::shared_ptr<Watch> FindWatch(const Watches& watches, const std::string& title) {
    for (const auto& entry : watches) {
        if (entry.item->Title == title)
            return entry.item;
        if (entry.item->HasChildren())
            if (std::shared_ptr<Watch> found = FindWatch(entry.item->Children(), title))
                return found;
    }
    return nullptr;
}

class Session {
public:
    Session(Parsed& parsed, std::ostream& out, std::ostream& err)
        : parsed_(parsed), out_(out), err_(err),
          prompter_(out, LowerCase(parsed.values["--answer"]) == "yes") {}

    int Run();

private:
    bool ReadOptions();
    bool PowerOn();
    bool SetBreaks();
    std::optional<int32_t> ResolveBreak(const std::string& text);
    bool PrepareDevices();
    // How a wait for a stop ended.
    enum class Wait { Stopped, Deadline, Interrupted };
    // While the target is halted: applies the presses due by now and sets the hold at the next
    // moment something is due (a key, or deadline), so that the run the caller starts next
    // stops its time exactly there.
    void Arm(uint64_t deadline);
    // Runs posted work until the host has seen a stop beyond those it had seen, the target is
    // held at deadline (the cycle count), or a signal asked the command to end. Every key
    // press and release lands on its exact cycle, whatever the host's speed.
    Wait WaitForStop(uint64_t deadline);
    // Ends the session as a signal asked: the target stops, the stop is reported, and the
    // recording is still written.
    int Interrupted();
    double SimulatedMs();
    // The cycle count after ms more milliseconds of simulated time, and at ms after power-on.
    uint64_t CyclesFor(double ms) const;
    uint64_t CycleAtMs(double ms) const { return Saturated(originCycle_, CyclesFor(ms)); }
    static uint64_t Saturated(uint64_t a, uint64_t b) {
        return a > std::numeric_limits<uint64_t>::max() - b ? std::numeric_limits<uint64_t>::max()
                                                            : a + b;
    }
    uint64_t Now() { return ktr_->Cycles(); }
    void ApplyPresses(uint64_t nowCycle);
    void ReleaseAll();
    void Report(const std::string& reason);
    std::string ReasonOf(const RunHost::Stop& stop) const;
    bool BreakReached(const RunHost::Stop& stop, int32_t requested) const;
    int Finish(int code);

    Parsed& parsed_;
    std::ostream& out_;
    std::ostream& err_;
    StreamPrompter prompter_;

    GlobalSettings* settings_ = nullptr;
    std::unique_ptr<GlobalSettings> ownedSettings_;
    Appliance appliance_;
    std::unique_ptr<Diagnoser> diagnoser_;
    platform::QueueDispatcher dispatcher_;
    std::unique_ptr<sim::SimTargetFactory> targets_;
    QuietStatus status_;
    std::unique_ptr<RunHost> host_;
    DebugInspectors inspectors_;
    std::unique_ptr<DebugMonitor> monitor_;

    int64_t steps_ = 0;
    int64_t stepOvers_ = 0;
    std::optional<double> runForMs_;
    double timeoutMs_ = kDefaultTimeoutMs;
    std::vector<Press> presses_;
    std::vector<std::shared_ptr<Watch>> watches_;
    struct Dump {
        int32_t Address, Length;
    };
    std::vector<Dump> dumps_;
    std::string wavPath_;
    double originSeconds_ = 0;
    sim::KtrEmulator* ktr_ = nullptr;
    uint64_t originCycle_ = 0;
    uint64_t clockHz_ = 1;
    std::vector<std::pair<std::string, int32_t>> breaks_;
};

bool Session::ReadOptions() {
    auto count = [this](const char* option, int64_t& into) {
        if (!parsed_.values.count(option))
            return true;
        std::optional<int64_t> value = ReadDecimal(parsed_.values[option]);
        if (!value) {
            err_ << kPrefix << option << " takes a number, not \"" << parsed_.values[option]
                 << "\"\n";
            return false;
        }
        into = *value;
        return true;
    };
    int64_t runFor = -1, timeout = -1;
    if (!count("--steps", steps_) || !count("--step-over", stepOvers_) ||
        !count("--run-for", runFor) || !count("--timeout", timeout))
        return false;
    if (runFor >= 0)
        runForMs_ = static_cast<double>(runFor);
    if (timeout >= 0)
        timeoutMs_ = static_cast<double>(timeout);
    const std::string answer = LowerCase(parsed_.values["--answer"]);
    if (!answer.empty() && answer != "yes" && answer != "no") {
        err_ << kPrefix << "--answer takes yes or no\n";
        return false;
    }
    for (const std::string& text : parsed_.lists["--press"]) {
        std::optional<Press> press = ParsePress(text);
        if (!press) {
            err_ << kPrefix << "--press takes KEY@MS or KEY@MS:MS, not \"" << text << "\"\n";
            return false;
        }
        presses_.push_back(*press);
    }
    for (const std::string& text : parsed_.lists["--dump"]) {
        std::vector<std::string> parts = SplitText(text, ':');
        const int64_t bank = parts.size() == 3 ? ReadHex(parts[0]).value_or(-1) : -1;
        const int64_t address = parts.size() == 3 ? ReadHex(parts[1]).value_or(-1) : -1;
        const int64_t length = parts.size() == 3 ? ReadDecimal(parts[2]).value_or(-1) : -1;
        if (bank < 0 || bank > 255 || address < 0 || address > 0xFFFF || length < 1 ||
            address + length > 0x10000) {
            err_ << kPrefix << "--dump takes BANK:ADDR:LEN (hex, hex, decimal), not \"" << text
                 << "\"\n";
            return false;
        }
        dumps_.push_back(
            {static_cast<int32_t>(bank * 65536 + address), static_cast<int32_t>(length)});
    }
    if (parsed_.values.count("--wav"))
        wavPath_ = platform::AbsolutePath(platform::FromNativePath(parsed_.values["--wav"]));
    return true;
}

int Session::Run() {
    if (!ReadOptions())
        return run_exit::kUsage;

    ownedSettings_ = std::make_unique<GlobalSettings>(prompter_);
    settings_ = ownedSettings_.get();
    std::string settingsPath;
    if (!LoadSettings(*settings_, parsed_, settingsPath, kPrefix, err_))
        return run_exit::kFailed;
    if (!OpenAppliance(appliance_, *settings_, parsed_.words[0], kPrefix, err_))
        return run_exit::kFailed;
    if (appliance_.ExtDebuggerInUse) {
        err_ << kPrefix
             << "the settings ask for an in-circuit emulator; the command line runs "
                "the built-in simulator only\n";
        return run_exit::kFailed;
    }
    for (const std::string& name : parsed_.lists["--watch"]) {
        std::shared_ptr<Watch> watch = FindWatch(appliance_.Watches(), name);
        if (!watch) {
            err_ << kPrefix << "the appliance has no watch \"" << name << "\"\n";
            return run_exit::kFailed;
        }
        watches_.push_back(watch);
    }
    // The clock of the appliance's body, as a build would have set it.
    try {
        SetRateparam(appliance_);
    } catch (const BxError&) {
        // An unknown clock leaves the simulator's default.
    }

    if (!PowerOn())
        return run_exit::kFailed;
    if (!PrepareDevices() || !SetBreaks())
        return Finish(run_exit::kFailed);

    if (!breaks_.empty() || parsed_.flags["--until-break"]) {
        std::vector<bool> reached(breaks_.size(), false);
        bool anyStop = false;
        const uint64_t deadline = Saturated(Now(), CyclesFor(timeoutMs_));
        while (!anyStop || std::find(reached.begin(), reached.end(), false) != reached.end()) {
            Arm(deadline);
            monitor_->Continue();
            const Wait wait = WaitForStop(deadline);
            if (wait == Wait::Interrupted)
                return Interrupted();
            if (wait == Wait::Deadline) {
                monitor_->Break();
                Report("time budget spent");
                err_ << kPrefix << "the time budget of " << timeoutMs_
                     << " ms of simulated time ran out before the requested stop\n";
                return Finish(run_exit::kBudgetSpent);
            }
            const RunHost::Stop stop = host_->Stops.back();
            Report(ReasonOf(stop));
            anyStop = true;
            for (std::size_t i = 0; i < breaks_.size(); ++i)
                if (BreakReached(stop, breaks_[i].second))
                    reached[i] = true;
            if (stop.Cond != break_kind::kExecute && stop.Cond != break_kind::kRead &&
                stop.Cond != break_kind::kWrite && !breaks_.empty()) {
                err_ << kPrefix
                     << "the target stopped by itself before every breakpoint was "
                        "reached\n";
                return Finish(run_exit::kFailed);
            }
        }
        // The session's own breakpoints were stops to reach, not to keep: the free run below
        // passes them.
        for (const auto& [text, address] : breaks_) {
            monitor_->CurrentEmulator()->ClearBreak(address, break_kind::kExecute, 1);
            appliance_.Breakpoints().Remove(0, address, 1, 1);
        }
        for (int32_t view = 1; monitor_->ViewAt(view) != nullptr; ++view)
            monitor_->ViewAt(view)->InitBreakpoints();
    }

    for (int64_t i = 0; i < steps_; ++i) {
        monitor_->Step();
        Report("step");
    }
    for (int64_t i = 0; i < stepOvers_; ++i) {
        const std::size_t seen = host_->Stops.size();
        const uint64_t deadline = Saturated(Now(), CyclesFor(timeoutMs_));
        Arm(deadline);
        monitor_->StepOver();
        const Wait wait = monitor_->Running() ? WaitForStop(deadline) : Wait::Stopped;
        if (wait == Wait::Interrupted)
            return Interrupted();
        if (wait == Wait::Deadline) {
            monitor_->Break();
            Report("time budget spent");
            err_ << kPrefix << "a step over didn't come back within " << timeoutMs_
                 << " ms of simulated time\n";
            return Finish(run_exit::kBudgetSpent);
        }
        const bool otherStop =
            host_->Stops.size() > seen && host_->Stops.back().Cond != break_kind::kExecute;
        Report(otherStop ? "step over, " + ReasonOf(host_->Stops.back()) : "step over");
    }

    if (runForMs_) {
        const uint64_t deadline = Saturated(Now(), CyclesFor(*runForMs_));
        Arm(deadline);
        monitor_->Continue();
        const Wait wait = WaitForStop(deadline);
        if (wait == Wait::Interrupted)
            return Interrupted();
        if (wait == Wait::Stopped) {
            Report(ReasonOf(host_->Stops.back()));
        } else {
            monitor_->Break();
            Report("ran for " + std::to_string(static_cast<int64_t>(*runForMs_)) + " ms");
        }
    }
    return Finish(run_exit::kReached);
}

bool Session::PowerOn() {
    diagnoser_ = OpenTraceLog();
    targets_ = std::make_unique<sim::SimTargetFactory>(
        dispatcher_, [] { return std::make_unique<symbols::Ld65SymbolLibrary>(); });
    host_ = std::make_unique<RunHost>(appliance_);
    monitor_ = std::make_unique<DebugMonitor>(*targets_, prompter_, status_, *diagnoser_, *host_,
                                              inspectors_, false);
    monitor_->SetAppliance(&appliance_);
    host_->OnReset = [this] {
        const bool wasRunning = monitor_->BreakIfNecessary();
        monitor_->Reset();
        out_ << "reset key: the target was reset\n";
        if (wasRunning)
            monitor_->Continue();
    };
    bool on = false;
    try {
        on = monitor_->PowerOn();
    } catch (const BxError& error) {
        err_ << kPrefix << "power-on failed: " << error.Description << "\n";
        return false;
    }
    if (!on) {
        err_ << kPrefix << "power-on failed";
        if (host_->BuildRequested)
            err_ << "; the appliance needs a build (tessarine-cli build "
                 << Shown(appliance_.Folder + appliance_.Title + ".apl") << ")";
        err_ << "\n";
        return false;
    }
    ktr_ = dynamic_cast<sim::KtrEmulator*>(monitor_->CurrentEmulator().get());
    if (!ktr_) {
        err_ << kPrefix << "power-on gave no simulator to run\n";
        return false;
    }
    ktr_->SetUnthrottled(parsed_.flags["--unthrottled"]);
    originSeconds_ = ktr_->SimulatedSeconds();
    originCycle_ = ktr_->Cycles();
    clockHz_ = static_cast<uint64_t>(std::max(1, ktr_->ClockHz()));
    Report("powered on");
    return true;
}

bool Session::PrepareDevices() {
    sim::DevicePanel& panel = host_->Panel;
    for (Press& press : presses_) {
        if (press.Button >= 0) {
            if (!panel.HasSimpleUI()) {
                err_ << kPrefix << "--press " << press.Key << ": no SimpleUI is wired\n";
                return false;
            }
            continue;
        }
        std::string label = press.Key;
        if (LowerCase(label).rfind("key:", 0) == 0)
            label = label.substr(4);
        std::optional<std::pair<int, int>> key = panel.FindKey(label);
        if (!key) {
            err_ << kPrefix << "--press " << press.Key
                 << ": no key of the keypad has that label (a SimpleUI key is button:N)\n";
            return false;
        }
        press.Row = key->first;
        press.Column = key->second;
    }
    if (!wavPath_.empty()) {
        if (monitor_->Hub())
            panel.ConnectSpeaker(monitor_->Hub()->HubHandle());
        if (!panel.HasSpeaker() || !panel.StartRecording()) {
            err_ << kPrefix << "--wav: the appliance has no speaker wired\n";
            return false;
        }
    }
    for (Press& press : presses_) {
        press.StartCycle = CycleAtMs(press.StartMs);
        if (std::isfinite(press.EndMs))
            press.EndCycle = CycleAtMs(press.EndMs);
    }
    ApplyPresses(originCycle_);
    return true;
}

std::optional<int32_t> Session::ResolveBreak(const std::string& text) {
    Symbler& symbols = monitor_->Symbols();
    const std::size_t colon = text.rfind(':');
    if (colon != std::string::npos && colon > 0) {
        // FILE:LINE, when the part before the colon names a source file of the build.
        const std::string file = LowerCase(platform::FromNativePath(text.substr(0, colon)));
        if (std::optional<int64_t> line = ReadDecimal(text.substr(colon + 1))) {
            for (int32_t index = 0;; ++index) {
                const std::string path = symbols.GetSourcePath(index);
                if (path.empty())
                    break;
                const std::string lower = LowerCase(path);
                const bool same =
                    lower == file || LowerCase(FileNameOf(path)) == file ||
                    (lower.size() > file.size() &&
                     lower.compare(lower.size() - file.size(), file.size(), file) == 0 &&
                     lower[lower.size() - file.size() - 1] == '\\');
                if (!same)
                    continue;
                const int32_t address = symbols.GetPC(index, static_cast<int32_t>(*line));
                if (address < 1) {
                    err_ << kPrefix << "--break " << text << ": that line produced no code\n";
                    return std::nullopt;
                }
                return address;
            }
        }
        // BANK:ADDR in hexadecimal.
        std::optional<int64_t> bank = ReadHex(text.substr(0, colon));
        std::optional<int64_t> address = ReadHex(text.substr(colon + 1));
        if (bank && address && *bank <= 255 && *address <= 0xFFFF)
            return static_cast<int32_t>(*bank * 65536 + *address);
    } else if (std::unique_ptr<Watches> labels = symbols.GetLabelsAsWatches(true)) {
        for (const auto& entry : *labels) {
            if (entry.item->Title != text)
                continue;
            std::vector<std::string> parts = SplitText(entry.item->Location, ':');
            std::optional<int64_t> bank = parts.size() == 2 ? ReadHex(parts[0]) : std::nullopt;
            std::optional<int64_t> address = parts.size() == 2 ? ReadHex(parts[1]) : std::nullopt;
            if (bank && address)
                return static_cast<int32_t>(*bank * 65536 + *address);
        }
    }
    err_ << kPrefix << "--break " << text
         << ": no code label, source line (FILE:LINE) or address (BANK:ADDR) of that name\n";
    return std::nullopt;
}

bool Session::SetBreaks() {
    for (const std::string& text : parsed_.lists["--break"]) {
        std::optional<int32_t> address = ResolveBreak(text);
        if (!address)
            return false;
        breaks_.emplace_back(text, *address);
        // Through the source view when the address is a line of it, as a click on the strip
        // would; otherwise straight into the target and the appliance, as the view would.
        int32_t file = 0, line = 0;
        SourceLineModel* view = nullptr;
        if (monitor_->Symbols().GetSourceAt(0, *address, file, line) &&
            monitor_->Symbols().GetPC(file, line) == *address)
            view = monitor_->ViewAt(monitor_->ViewOfTab(monitor_->TabOfFile(file)));
        if (view != nullptr) {
            if (!view->IsMarked(line))
                monitor_->ToggleBreak(monitor_->ViewOfTab(monitor_->TabOfFile(file)), line);
        } else {
            monitor_->CurrentEmulator()->SetBreak(*address, break_kind::kExecute, 1);
            appliance_.Breakpoints().Add(0, *address, 1, 1);
        }
    }
    return true;
}

double Session::SimulatedMs() {
    return ktr_ ? (ktr_->SimulatedSeconds() - originSeconds_) * 1000.0 : 0.0;
}

uint64_t Session::CyclesFor(double ms) const {
    // Whole milliseconds (the options take no fraction), rounded up to whole cycles.
    if (!std::isfinite(ms) || ms >= 1e15)
        return std::numeric_limits<uint64_t>::max();
    const auto whole = static_cast<uint64_t>(ms);
    return whole / 1000 * clockHz_ + (whole % 1000 * clockHz_ + 999) / 1000;
}

void Session::ApplyPresses(uint64_t nowCycle) {
    sim::DevicePanel& panel = host_->Panel;
    for (Press& press : presses_) {
        if (!press.Held && !press.Done && nowCycle >= press.StartCycle) {
            press.Held = true;
            if (press.Button >= 0)
                panel.PressButton(press.Button);
            else
                panel.PressKey(press.Row, press.Column);
        }
        if (press.Held && nowCycle >= press.EndCycle) {
            press.Held = false;
            press.Done = true;
            if (press.Button >= 0)
                panel.ReleaseButton(press.Button);
            else
                panel.ReleaseKey(press.Row, press.Column);
        }
    }
}

void Session::ReleaseAll() {
    for (Press& press : presses_) {
        if (press.Held)
            press.EndCycle = 0;
        else
            press.Done = true;
    }
    ApplyPresses(std::numeric_limits<uint64_t>::max());
}

void Session::Arm(uint64_t deadline) {
    const uint64_t now = Now();
    ApplyPresses(now);
    uint64_t next = deadline;
    for (const Press& press : presses_) {
        const uint64_t due = press.Done ? next : press.Held ? press.EndCycle : press.StartCycle;
        if (due > now)
            next = std::min(next, due);
    }
    ktr_->HoldAt(next);
}

Session::Wait Session::WaitForStop(uint64_t deadline) {
    using Clock = std::chrono::steady_clock;
    const std::size_t seen = host_->Stops.size();
    Clock::time_point lastPoll = Clock::now();
    for (;;) {
        // The emulator posts a no-op when it reaches the hold, so this returns at once then.
        dispatcher_.RunUntil(
            [&] {
                return host_->Stops.size() > seen || ktr_->Held() ||
                       platform::InterruptWatch::Signal() != 0;
            },
            std::chrono::milliseconds(50));
        if (host_->Stops.size() > seen)
            return Wait::Stopped;
        if (platform::InterruptWatch::Signal() != 0)
            return Wait::Interrupted;
        if (ktr_->Held()) {
            // Held: the cycle count stands still and is exact.
            if (Now() >= deadline)
                return Wait::Deadline;
            Arm(deadline);
        }
        if (Clock::now() - lastPoll >= kResetKeyPoll) {
            monitor_->PollResetKey();
            lastPoll = Clock::now();
        }
    }
}

int Session::Interrupted() {
    const int signal = platform::InterruptWatch::Signal();
    monitor_->Break();
    Report("interrupted by signal " + std::to_string(signal));
    err_ << kPrefix << "stopped by signal " << signal << "\n";
    return Finish(128 + signal);
}

std::string Session::ReasonOf(const RunHost::Stop& stop) const {
    switch (stop.Cond) {
    case break_kind::kExecute:
        return "breakpoint";
    case break_kind::kRead:
        return "read breakpoint (the previous instruction read)";
    case break_kind::kWrite:
        return "write breakpoint (the previous instruction wrote)";
    case sim::stop_cond::kStp:
        return "the program executed STP (the CPU stopped)";
    case sim::stop_cond::kIllegal:
        return "execution reached an address with no memory";
    default:
        return "stopped by itself (condition " + std::to_string(stop.Cond) + ")";
    }
}

bool Session::BreakReached(const RunHost::Stop& stop, int32_t requested) const {
    if (stop.Cond != break_kind::kExecute || (requested & 0xFFFF) != stop.Address)
        return false;
    const int32_t offset = stop.Address;
    const bool inWindow =
        offset >= appliance_.BankStart && offset < appliance_.BankStart + appliance_.BankSize;
    return !inWindow || (requested >> 16) == stop.Bank;
}

void Session::Report(const std::string& reason) {
    Emulator& emulator = *monitor_->CurrentEmulator();
    const int32_t pc = monitor_->Disassembly().PC();
    out_ << "stop: " << reason << " at " << Hex2(pc >> 16) << ":" << Hex4(pc & 0xFFFF) << "\n";

    int32_t file = 0, line = 0;
    if (monitor_->Symbols().GetSourceAt(0, pc, file, line)) {
        std::string text;
        if (SourceLineModel* view =
                monitor_->ViewAt(monitor_->ViewOfTab(monitor_->TabOfFile(file))))
            text = view->Line(line);
        text = text.size() > SourceLineModel::kPrefixWidth
                   ? text.substr(SourceLineModel::kPrefixWidth)
                   : std::string();
        while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
            text.pop_back();
        out_ << "  source: " << Shown(monitor_->Symbols().GetSourcePath(file)) << ":" << line
             << ": " << text << "\n";
    } else {
        out_ << "  source: none\n";
    }

    if (std::optional<CpuState> cpu = emulator.GetCpuState())
        out_ << "  registers: A=$" << Hex2(cpu->A) << " X=$" << Hex2(cpu->X) << " Y=$"
             << Hex2(cpu->Y) << " S=$" << Hex2(cpu->S) << " P=$" << Hex2(cpu->P) << " PC=$"
             << Hex4(cpu->PC) << "\n";
    for (const std::shared_ptr<Watch>& watch : watches_) {
        Watch reader; // a value read may shift the stored mask: read a fresh copy
        reader.FromString(watch->AsString());
        out_ << "  watch " << watch->Title << " = " << reader.ValueString(emulator) << "\n";
    }
    for (const Dump& dump : dumps_) {
        int32_t count = dump.Length;
        std::vector<uint8_t> bytes = emulator.ReadMemory(dump.Address, count);
        if (bytes.empty()) {
            out_ << "  memory " << Hex2(dump.Address >> 16) << ":" << Hex4(dump.Address & 0xFFFF)
                 << ": can't be read\n";
            continue;
        }
        for (std::size_t i = 0; i < bytes.size(); i += kDumpBytesPerLine) {
            const int32_t at = dump.Address + static_cast<int32_t>(i);
            out_ << "  memory " << Hex2(at >> 16) << ":" << Hex4(at & 0xFFFF) << ":";
            for (std::size_t j = i; j < bytes.size() && j < i + kDumpBytesPerLine; ++j)
                out_ << " " << Hex2(bytes[j]);
            out_ << "\n";
        }
    }
    out_.flush();
}

int Session::Finish(int code) {
    // The target stops first, so that releasing the keys changes nothing it ran.
    if (monitor_)
        monitor_->BreakIfNecessary();
    if (ktr_) {
        ReleaseAll();
        ktr_->ReleaseHold();
        out_ << "ran " << ktr_->Instructions() << " instructions, " << ktr_->Cycles() << " cycles, "
             << SimulatedMs() << " ms of simulated time\n";
    }
    if (!wavPath_.empty() && host_) {
        const std::size_t samples = host_->Panel.RecordedSamples();
        if (!host_->Panel.StopRecording(wavPath_)) {
            err_ << kPrefix << "can't write " << Shown(wavPath_) << "\n";
            return code == run_exit::kReached ? run_exit::kFailed : code;
        }
        out_ << "speaker: " << samples << " samples recorded to " << Shown(wavPath_) << "\n";
    }
    return code;
}

} // namespace

void PrintRunUsage(std::ostream& out) {
    out << "usage: tessarine-cli run FILE.apl [--break LABEL|BANK:ADDR|FILE:LINE]...\n"
           "           [--until-break] [--steps N] [--step-over N] [--run-for MS]\n"
           "           [--timeout MS] [--press KEY@MS[:MS]]... [--wav OUT.wav] [--unthrottled]\n"
           "           [--watch NAME]... [--dump BANK:ADDR:LEN]... [--answer yes|no]\n"
           "           [--settings FILE.gss]\n";
}

int RunSession(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    Parsed parsed = Parse(args,
                          {"--break", "--steps", "--step-over", "--run-for", "--timeout", "--press",
                           "--wav", "--watch", "--dump", "--answer", "--settings"},
                          {"--until-break", "--unthrottled"});
    if (parsed.error.empty() && parsed.words.size() != 1)
        parsed.error =
            parsed.words.empty() ? "expected one FILE.apl" : "expected only one FILE.apl";
    if (!parsed.error.empty()) {
        err << kPrefix << parsed.error << "\n";
        PrintRunUsage(err);
        return run_exit::kUsage;
    }
    // Ctrl+C or a TERM ends the session at the next moment the target can be stopped: the stop
    // is reported and the recording written, as at the end of a phase.
    platform::InterruptWatch interrupts;
    Session session(parsed, out, err);
    return session.Run();
}

} // namespace bx::cli
