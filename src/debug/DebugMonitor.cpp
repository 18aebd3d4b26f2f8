#include "debug/DebugMonitor.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "foundation/ProgressCodes.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>

namespace bx {

namespace {

constexpr const char* kPowerOn = "Power On";
constexpr const char* kCrLf = "\r\n";
constexpr int32_t kBankShift = 16;
constexpr int32_t kUnbankedLength = 0x8000;
constexpr int32_t kBankLength = 0x4000;

// Every occurrence of what in text replaced by with, found without regard to case.
std::string ReplaceNoCase(const std::string& text, const std::string& what,
                          const std::string& with) {
    if (what.empty())
        return text;
    const std::string lowerText = LowerCase(text);
    const std::string lowerWhat = LowerCase(what);
    std::string result;
    std::size_t from = 0;
    for (std::size_t at = lowerText.find(lowerWhat); at != std::string::npos;
         at = lowerText.find(lowerWhat, from)) {
        result.append(text, from, at - from);
        result += with;
        from = at + what.size();
    }
    result.append(text, from, std::string::npos);
    return result;
}

// The clock in hertz from the appliance's clock parameter, a decimal number of megahertz with
// a fraction ("3.58" is 3,580,000 Hz); 0 when the text holds no number.
int32_t ClockHertz(const std::string& megahertz) {
    std::size_t start = 0;
    while (start < megahertz.size() && megahertz[start] == ' ')
        ++start;
    double value = 0;
    const char* first = megahertz.data() + start;
    const char* last = megahertz.data() + megahertz.size();
    if (std::from_chars(first, last, value).ec != std::errc())
        return 0;
    const double hertz = std::nearbyint(value * 1'000'000.0);
    if (!(hertz >= INT32_MIN && hertz <= INT32_MAX))
        return 0;
    return static_cast<int32_t>(hertz);
}

bool EndsWithBackslash(const std::string& path) {
    return !path.empty() && path.back() == '\\';
}

// The path as the progress line shows it: whole up to 19 characters, else "..." and its last
// 20.
std::string ShortPathText(const std::string& path) {
    constexpr std::size_t kShown = 20;
    return path.size() < kShown ? path : "..." + path.substr(path.size() - kShown);
}

const char* BoolText(bool value) {
    return value ? "True" : "False";
}

// The bank the "Bank" watch's text names: everything after its "$", read as a decimal number,
// deliberately ("$10" is bank 10, "$0A" no number). All the digits count, four of them for a
// word-sized watch; the disassembly's own fold reads only the first two.
std::optional<int32_t> BankOfWatchText(const std::string& valueText) {
    const std::string digits = valueText.size() > 1 ? valueText.substr(1) : std::string();
    // The number reader's prefixed forms are no decimal number.
    if (digits.empty() || digits[0] == '$' || digits[0] == '%')
        return std::nullopt;
    int32_t unusedBank = 0;
    bool failed = false;
    const int32_t bank = ParseNumber(digits, unusedBank, failed);
    if (failed)
        return std::nullopt;
    return bank;
}

} // namespace

DebugMonitor::DebugMonitor(DebugTargetFactory& targets, Prompter& prompter, StatusDisplay& status,
                           const Diagnoser& diagnoser, DebugMonitorHost& host,
                           DebugInspectors& inspectors, bool disassemblyTab)
    : targets_(targets), prompter_(prompter), status_(status), diagnoser_(diagnoser), host_(host),
      inspectors_(inspectors), disassemblyTab_(disassemblyTab) {
    Trace(900);
    ReplaceEmulator(targets_.CreateEmulator());
    Trace(910);
    symbler_ =
        std::make_unique<Symbler>([this] { return targets_.CreateSymbolLibrary(); }, diagnoser_);
    Trace(920);
    views_.resize(1);
    viewFiles_.resize(1, -1);
    disasm_.QueryBusy = [this] { return running_; };
    if (disassemblyTab_) {
        tabs_.push_back({"", "Disassembly", ""});
        selectedTab_ = 1;
        disasmInFront_ = true;
    }
}

DebugMonitor::~DebugMonitor() {
    if (emulator_ && running_) {
        try {
            emulator_->Stop();
        } catch (const std::exception&) {
            // The target goes with the monitor in any case.
        }
    }
    if (emulator_)
        emulator_->BreakHit.Disconnect(breakHitConnection_);
    // The devices leave the hub before it goes, and the views before the Emulator.
    speaker_.reset();
    simpleUI_.reset();
    keypad_.reset();
    hub_.reset();
}

void DebugMonitor::Trace(int32_t point, const std::string& text) const {
    diagnoser_.Trace(trace_module::kDebugMonitor, point, text);
}

int DebugMonitor::Ask(const std::string& title, const std::string& text, Buttons buttons,
                      Icon icon) {
    return prompter_.ask(title, text, buttons, icon);
}

bool DebugMonitor::FailureExit() {
    pollingResetKey_ = false;
    return false;
}

bool DebugMonitor::RebuildExit() {
    host_.RequestBuild();
    return FailureExit();
}

void DebugMonitor::ReplaceEmulator(std::shared_ptr<Emulator> emulator) {
    if (emulator_)
        emulator_->BreakHit.Disconnect(breakHitConnection_);
    emulator_ = std::move(emulator);
    if (!emulator_)
        throw BxError(errors::kObjectNotSet, "DebugMonitor", "No emulator could be created");
    breakHitConnection_ = emulator_->BreakHit.Connect(
        [this](int32_t bank, int32_t address, int32_t cond) { OnBreakHit(bank, address, cond); });
    // The target of the previous power-on is gone: nothing runs any more.
    running_ = false;
    tempBreak_ = -1;
}

// ---- Power-on ------------------------------------------------------------------------------

bool DebugMonitor::PowerOn() {
    if (appliance_ == nullptr)
        throw BxError(errors::kObjectNotSet, "DebugMonitor", "No appliance to power on");
    Appliance& appliance = *appliance_;
    const bool ice = appliance.ExtDebuggerInUse;

    status_.State(progress::kLoadingDevices);
    Trace(405);
    if (!ice) {
        speaker_.reset();
        simpleUI_.reset();
        keypad_.reset();
        facade_ = nullptr;
        hub_ = targets_.CreateHub();
        hub_->SetParameter("Multiplier", appliance.RateMultiplier);
        hub_->SetParameter("Divider", appliance.RateDivider);
        hub_->Start();
    }

    Trace(4051);
    ReplaceEmulator(targets_.CreateEmulator());

    if (ice) {
        const std::string driver =
            ReplaceNoCase(appliance.ExtDebugger, "%AppPath%", platform::ProgramFolder());
        Trace(4052, "Loading dbg @ " + driver);
        emulator_->SetIceDriver(driver);
        if (emulator_->GetIceDriver().empty()) {
            Trace(4052, "Load failed");
            Ask(kPowerOn, "ICE driver was not loaded. Please correct ICE driver settings. ",
                Buttons::Ok, Icon::Exclamation);
            return FailureExit();
        }
        Trace(4052, "Done loading");
    }

    Trace(4052);
    if (!ice)
        emulator_->AttachHub(hub_->HubHandle(), device_id::kEmulator);

    Trace(4053);
    if (!InitMcuModel()) {
        Ask(kPowerOn,
            std::string("ICE failed to initialize. This could be due to:") + kCrLf +
                "1. The selected MCU model is not supported by the ICE;" + kCrLf +
                "2. The ID.INF file is not configured for this ICE; or" + kCrLf +
                "3. The ICE driver is out-of-date." + kCrLf +
                "Please contact the ICE maker for a fix.",
            Buttons::Ok, Icon::Exclamation);
        return FailureExit();
    }

    // The relative paths of the ROM image, the symbol file and the sources rest on the
    // appliance's folder. The directory is given back once the sources are read, and also
    // when an exit leaves earlier, so that a failed power-on doesn't move the process.
    std::optional<platform::ScopedCurrentDirectory> previousDirectory;
    previousDirectory.emplace();
    ChangeDirAndDrive(appliance.Folder);

    if (!ice) {
        if (!LoadDevices())
            return FailureExit();
        ApplyDesignView();
    }

    status_.State(progress::kPreparingEmulator);
    Trace(408);
    disasm_.TargetEmulator = emulator_;
    disasm_.TargetAppliance = appliance_;

    status_.State(progress::kLoadingAppliance);
    Trace(410);
    status_.State(progress::kLoadingObjects);
    Trace(420, platform::CurrentDirectory());

    if (!LoadRom()) {
        if (Ask(kPowerOn,
                std::string("Cannot load ROM image.") + kCrLf +
                    "Do you wish to rebuild the appliance?",
                Buttons::YesNo, Icon::Exclamation) == AnswerYes)
            host_.RequestBuild();
        return FailureExit();
    }

    status_.State(progress::kResetting);
    Trace(460);
    Trace(470);
    inspectors_.AttachRegistersAndWatches(emulator_);
    Trace(480);
    inspectors_.AttachMemory(emulator_);
    Trace(490);

    if (!LoadSymbols())
        return RebuildExit();
    if (!RomIsCurrent())
        return RebuildExit();

    inspectors_.AttachBreakpointList(appliance_, symbler_.get());
    OpenSourceTabs();
    for (std::size_t view = 0; view < views_.size(); ++view)
        if (views_[view])
            views_[view]->SetEmulator(emulator_);
    host_.LayoutChanged();
    previousDirectory.reset();
    Trace(530);
    status_.State(progress::kReloadingRegisters);

    for (const auto& entry : appliance.Breakpoints()) {
        const Breakpoint& record = *entry.item;
        if ((record.Flags & break_kind::kExecute) != 0)
            emulator_->SetBreak(record.Bank * 65536 + record.Start, break_kind::kExecute, 1);
    }

    status_.State(progress::kBooting);
    Reset();
    Trace(560);

    const std::optional<CpuState> state = emulator_->GetCpuState();
    if (!state) {
        Ask(kPowerOn, "Cannot read CPU status. Please check ICE driver settings.", Buttons::Ok,
            Icon::Exclamation);
        return FailureExit();
    }
    Trace(570);
    GotoPC(state->PC);
    Trace(580);
    status_.GoAway();
    pollingResetKey_ = true;
    return true;
}

bool DebugMonitor::LoadDevices() {
    status_.State(progress::kWiringDevices);
    Trace(406);
    try {
        const int32_t handle = hub_->HubHandle();
        // Deliberately carried from one peripheral to the next: a peripheral of a type that
        // makes no device wires its pins to the device of the one before it.
        bool connected = false;
        Device* device = nullptr;
        int32_t deviceId = 0;
        for (const auto& entry : appliance_->Peripherals()) {
            const Peripheral& peripheral = *entry.item;
            status_.StateArg(peripheral.Type);
            Trace(406, peripheral.Type);
            if (peripheral.Type == "Speaker") {
                speaker_ = targets_.CreateSpeaker();
                connected = speaker_->Connect(handle, device_id::kSpeaker);
                device = speaker_.get();
                deviceId = device_id::kSpeaker;
            } else if (peripheral.Type == "SimpleUI") {
                simpleUI_ = targets_.CreateSimpleUI();
                simpleUI_->Connect(handle, device_id::kSimpleUI);
                facade_ = host_.RequestFacade();
                if (facade_ == nullptr)
                    throw BxError(errors::kObjectNotSet, "DebugMonitor", "No prototyper");
                connected = facade_->ConnectSimpleUI(handle, device_id::kSimpleUI) != 0;
                device = simpleUI_.get();
                deviceId = device_id::kSimpleUI;
            } else if (peripheral.Type == "Keypad") {
                keypad_ = targets_.CreateKeypad();
                for (const auto& parameter : peripheral.Parameters)
                    keypad_->SetParameter(parameter.item->Name, parameter.item->Value);
                keypad_->Connect(handle, device_id::kKeypad);
                facade_ = host_.RequestFacade();
                if (facade_ == nullptr)
                    throw BxError(errors::kObjectNotSet, "DebugMonitor", "No prototyper");
                connected = facade_->ConnectKeypad(handle, device_id::kKeypad) != 0;
                device = keypad_.get();
                deviceId = device_id::kKeypad;
            }
            Trace(406, std::string("Connected OK? ") + BoolText(connected));
            if (!connected || device == nullptr)
                continue;
            for (const auto& wireEntry : peripheral.Wires) {
                const Wire& wire = *wireEntry.item;
                if (!wire.IsConnected || (wire.Type != 0 && wire.Type != 1))
                    continue;
                const int32_t pinset = device->PinsetId(wire.Pinset);
                const int32_t port = emulator_->GetPortId(wire.Port);
                const bool analog = wire.Type == 1;
                const bool outbound = wire.Direction == 1;
                const int32_t mcu = device_id::kEmulator;
                if (analog && !outbound)
                    connected = hub_->ConnectAnalog(deviceId, pinset, mcu, port);
                else if (analog)
                    connected = hub_->ConnectAnalog(mcu, port, deviceId, pinset);
                else if (!outbound)
                    connected = hub_->ConnectDigital(deviceId, pinset, wire.PinsetMask, mcu, port,
                                                     wire.PortMask);
                else
                    connected = hub_->ConnectDigital(mcu, port, wire.PortMask, deviceId, pinset,
                                                     wire.PinsetMask);
            }
        }
    } catch (const std::exception&) {
        Ask(kPowerOn, "Device configuration failed. You may need to create a new appliance file.",
            Buttons::Ok, Icon::Exclamation);
        return false;
    }
    return true;
}

void DebugMonitor::ApplyDesignView() {
    status_.State(progress::kInitializingDevices);
    Trace(407);
    std::shared_ptr<View> view = host_.RequestActiveView();
    if (!view || view->DisplaySpecs.Empty())
        return;
    // Without a SimpleUI or a keypad no surface was asked for, and there is nothing to set.
    if (facade_ == nullptr)
        return;
    for (const auto& entry : view->DisplaySpecs.First()->Parameters) {
        const std::string text = entry.item->Name + "=" + entry.item->Value;
        status_.StateArg(text);
        Trace(407, text);
        facade_->SetParameter(entry.item->Name, entry.item->Value);
    }
}

bool DebugMonitor::LoadRom() {
    std::shared_ptr<BuildTarget> run = appliance_->RunTarget();
    const std::string path = run ? run->OutputPath : std::string();
    const bool highWindow = appliance_->BankStart == 0xC000 && appliance_->BankSize == 0x4000;
    if (!LoadRomFile(path, 0, 0, highWindow ? 0x4000 : 0x8000, kUnbankedLength))
        return false;
    Trace(452, "First bank of " + std::to_string(appliance_->BankCount) + " loaded");
    for (int32_t bank = 0; bank < appliance_->BankCount; ++bank) {
        Trace(455, std::to_string(bank));
        if (!LoadRomFile(path, static_cast<int64_t>(bank + 2) * kBankLength, bank,
                         highWindow ? 0xC000 : 0x4000, kBankLength))
            return false;
    }
    return true;
}

bool DebugMonitor::LoadRomFile(const std::string& path, int64_t offset, int32_t bank,
                               int32_t address, int32_t length) {
    const std::string where = path + " (@" + Hex2(bank) + ":" + Hex4(address) + ")";
    status_.StateArg(where);
    Trace(440, where);
    try {
        if (path.empty() || !platform::FileExists(path)) {
            Trace(450, "ERROR: Load failed.");
            return false;
        }
        // Only the slice is read: an image far larger than the banks (a file of gigabytes)
        // costs no more time or memory than one of the right size.
        const std::optional<std::string> content = platform::ReadFileSlice(
            path, static_cast<uint64_t>(offset), static_cast<std::size_t>(length));
        if (!content)
            return false;
        // A file shorter than the slice leaves the slice's tail zero.
        std::vector<uint8_t> slice(static_cast<std::size_t>(length), 0);
        std::copy(content->begin(), content->end(), slice.begin());
        int32_t count = length;
        emulator_->WriteMemory(bank * 65536 + address, count, slice);
        Trace(450, "Load offset $" + Hex4(static_cast<int32_t>(offset)));
        Trace(451, "Returning");
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool DebugMonitor::LoadSymbols() {
    const std::string path = appliance_->Title + ".sym";
    Trace(500);
    bool loaded = false;
    try {
        symbler_->ListFilePath(path);
        loaded = symbler_->Loaded();
    } catch (const std::exception&) {
        loaded = false;
    }
    if (loaded) {
        status_.State(progress::kTurningOnMonitors);
        Trace(510);
    } else if (!appliance_->BuildTargets().Empty()) {
        if (Ask(kPowerOn,
                std::string("Cannot load symbol file.") + kCrLf +
                    "Select Yes to rebuild the appliance, No to continue debugging.",
                Buttons::YesNo, Icon::Exclamation) == AnswerYes)
            return false;
    }

    // The watch window and its dialog offer the code labels of the ROM.
    if (std::unique_ptr<Watches> labels = symbler_->GetLabelsAsWatches(true))
        inspectors_.SetSymbolList(std::shared_ptr<Watches>(std::move(labels)));
    Trace(520);
    status_.State(progress::kLoadingSourceFile);
    return true;
}

bool DebugMonitor::RomIsCurrent() {
    std::shared_ptr<BuildTarget> run = appliance_->RunTarget();
    const std::string romPath = run ? run->OutputPath : std::string();
    // Dates compare in whole seconds: a source saved in the same second as the image counts as
    // not newer.
    constexpr uint64_t kStampsPerSecond = 10'000'000;
    const int64_t romSeconds =
        static_cast<int64_t>(platform::LastWriteTime(romPath).value_or(0) / kStampsPerSecond);
    bool ignoreMissing = false;
    for (int32_t index = 0;; ++index) {
        const std::string path = symbler_->GetSourcePath(index);
        if (path.empty())
            break;
        if (EndsWithBackslash(path))
            continue;
        if (std::optional<uint64_t> stamp = platform::LastWriteTime(path);
            stamp && platform::FileExists(path)) {
            const int64_t sourceSeconds = static_cast<int64_t>(*stamp / kStampsPerSecond);
            if (romSeconds - sourceSeconds < 0 &&
                Ask(kPowerOn,
                    std::string("ROM image is older than at least one of the source files.") +
                        kCrLf + "Do you wish to rebuild the appliance?",
                    Buttons::YesNo, Icon::Exclamation) == AnswerYes)
                return false;
        } else if (!ignoreMissing) {
            const int answer = Ask(kPowerOn,
                                   "\"" + platform::ToNativePath(path) + "\" is not fount." +
                                       kCrLf + "Do you wish to rebuild the appliance ?" + kCrLf +
                                       "Or click \"Cancel\" to ignore this message !",
                                   Buttons::YesNoCancel, Icon::Exclamation);
            if (answer == AnswerYes)
                return false;
            if (answer == AnswerCancel)
                ignoreMissing = true;
        }
    }
    return true;
}

void DebugMonitor::OpenSourceTabs() {
    for (int32_t index = 0;; ++index) {
        const std::string path = symbler_->GetSourcePath(index);
        if (path.empty())
            break;
        if (EndsWithBackslash(path))
            continue;
        Trace(520, path);
        status_.StateArg(ShortPathText(path));
        GotoFileLine(index, 0, false, true, true);
    }
}

// ---- Run control ---------------------------------------------------------------------------

void DebugMonitor::Continue() {
    running_ = true;
    emulator_->Run();
}

void DebugMonitor::Step() {
    emulator_->Step();
    UpdateStatus(true, true, true, true);
}

void DebugMonitor::StepOver() {
    const std::optional<CpuState> state = emulator_->GetCpuState();
    if (!state)
        return;
    const int32_t returnAddress = emulator_->NextInstruction(state->PC);
    if (returnAddress < 0) {
        Step();
        return;
    }
    std::vector<int32_t> flags;
    bool placed = false;
    if (emulator_->GetBreakFlags(returnAddress, flags, 1) && !flags.empty()) {
        if (flags[0] == break_kind::kExecute) {
            placed = true; // the user's own breakpoint stands there already
        } else if (emulator_->SetBreak(returnAddress, break_kind::kExecute, 1)) {
            tempBreak_ = returnAddress;
            placed = true;
        }
    }
    if (!placed)
        return;
    running_ = true;
    emulator_->Run();
}

bool DebugMonitor::Break() {
    const bool wasRunning = SimpleBreak();
    if (wasRunning)
        UpdateStatus(true, true, true, true);
    return wasRunning;
}

bool DebugMonitor::SimpleBreak() {
    running_ = false;
    return emulator_->Stop();
}

bool DebugMonitor::BreakIfNecessary() {
    const bool wasRunning = running_;
    if (wasRunning)
        SimpleBreak();
    return wasRunning;
}

void DebugMonitor::Reset() {
    InitMcuModel();
    if (appliance_ != nullptr) {
        emulator_->SetClock(0, ClockHertz(appliance_->ClockParam));
        emulator_->SetOption("DualClock", appliance_->OPClock.find('/') != std::string::npos);
        // These two are only ever switched on: a flag that is off makes no call.
        if (appliance_->WDT)
            emulator_->SetOption("WDT", true);
        if (appliance_->Oscillator)
            emulator_->SetOption("UseRC", true);
    }
    try {
        emulator_->Reset();
        Trace(710);
    } catch (const std::exception&) {
        // A target that can't reset shows its state in the refresh below.
    }
    UpdateStatus(true, true, true, true);
    Trace(720);
}

bool DebugMonitor::InitMcuModel() {
    try {
        Trace(810);
        if (appliance_ != nullptr && appliance_->ExtDebuggerInUse) {
            emulator_->SetModel(appliance_->IceEmuNumber);
        } else {
            const std::string model = appliance_ != nullptr ? appliance_->Model : std::string();
            const std::string upper = UpperCase(model);
            if (upper.find("KTR310") != std::string::npos) {
                emulator_->SetModel(emulator_model::kKTR310);
            } else if (upper.find("KTR311") != std::string::npos) {
                emulator_->SetModel(emulator_model::kKTR311);
            } else if (upper.find("KTR640") != std::string::npos) {
                emulator_->SetModel(emulator_model::kKTR640);
            } else if (emulator_->GetModel() != emulator_model::kKTR311) {
                Ask("MCU Model Initialization",
                    "MCU body '" + model +
                        "' is not currently supported by the software simulator. " + kCrLf +
                        "KTR311A is simulated instead.",
                    Buttons::Ok, Icon::Exclamation);
                emulator_->SetModel(emulator_model::kKTR311);
            }
        }
    } catch (const std::exception&) {
        // A driver that refuses the selection is told by a zero model below.
    }
    Trace(820);
    try {
        return emulator_->GetModel() != emulator_model::kNone;
    } catch (const std::exception&) {
        return false;
    }
}

void DebugMonitor::OnBreakHit(int32_t bank, int32_t address, int32_t cond) {
    if (!running_)
        return; // a late echo of a stop the user asked for
    Trace(9010, "BreakHit @ " + Hex2(bank) + ":" + Hex4(address));
    running_ = false;
    if (tempBreak_ >= 0) {
        emulator_->ClearBreak(tempBreak_, break_kind::kExecute, 1);
        tempBreak_ = -1;
    }
    UpdateStatus(true, true, true, true);
    const char* message = nullptr;
    switch (cond) {
    case break_kind::kExecute:
        break;
    case break_kind::kRead:
        message = "A breakpoint is hit because of a READ operation in the previous instruction.";
        break;
    case break_kind::kWrite:
        message = "A breakpoint is hit because of a WRITE operation in the previous instruction.";
        break;
    default:
        message = "A breakpoint is hit on the previous line for an unknown reason (possibly an "
                  "illegal instruction).";
        break;
    }
    if (message != nullptr)
        Ask("Breakpoint Hit", message, Buttons::Ok, Icon::Information);
    host_.BreakHit(bank, address, cond);
}

void DebugMonitor::PollResetKey() {
    if (pollingResetKey_ && emulator_->ResetRequested())
        host_.DoReset();
}

// ---- Status and source tracking ------------------------------------------------------------

std::optional<int32_t> DebugMonitor::BankFromWatch() {
    std::shared_ptr<Watch> bankWatch = appliance_->Watches().Item("Bank", "SFR");
    if (!bankWatch)
        return std::nullopt;
    // Reading a value may shift the stored mask (the binary form does): read a copy.
    Watch reader;
    reader.FromString(bankWatch->AsString());
    return BankOfWatchText(reader.ValueString(*emulator_)).value_or(0);
}

void DebugMonitor::UpdateStatus(bool updatePC, bool updateRegisters, bool updateWatches,
                                bool updateMemory) {
    inspectors_.SetBusyPointer(true);
    if (updateWatches || updateRegisters) {
        emulator_->SetReadAhead(0, 768, true, false);
        Trace(600);
        if (updateRegisters)
            inspectors_.ReloadRegisters();
        Trace(610);
        if (updateWatches)
            inspectors_.ReloadWatches();
        emulator_->SetReadAhead(0, 0, false, false);
    }
    Trace(620);
    if (updateMemory)
        inspectors_.ReloadMemory();
    Trace(630);

    const std::optional<CpuState> state = emulator_->GetCpuState();
    if (updatePC) {
        if (!state) {
            Ask("Update Status", "ICE is not ready.", Buttons::Ok, Icon::Exclamation);
        } else {
            int32_t pc = state->PC;
            if (appliance_ != nullptr && pc >= appliance_->BankStart &&
                pc < appliance_->BankStart + appliance_->BankSize) {
                if (std::optional<int32_t> bank = BankFromWatch())
                    pc += *bank << kBankShift;
                else
                    Ask("Update Status", "No 'Bank' register is found. Bank 0 is assumed",
                        Buttons::Ok, Icon::Information);
            }
            Trace(640, "Update status read PC=$" + Hex4(pc % 65536));
            disasm_.SetPC(pc);
            Trace(650);
            const bool onDisassembly = disassemblyTab_ && selectedTab_ == 1;
            if (selectedTab_ > 0 && !onDisassembly) {
                Trace(660);
                GotoPC(pc);
            }
        }
    }
    inspectors_.SetBusyPointer(false);
    Trace(670);
}

void DebugMonitor::UpdatePC() {
    if (std::optional<CpuState> state = emulator_->GetCpuState())
        GotoPC(state->PC);
}

bool DebugMonitor::GotoPC(int32_t pc) {
    // Strictly inside the window: a PC at its first byte keeps the bank it came with. A PC
    // that carries its bank already lies above the window and passes unchanged.
    if (appliance_ != nullptr && pc > appliance_->BankStart &&
        pc < appliance_->BankStart + appliance_->BankSize) {
        if (std::optional<int32_t> bank = BankFromWatch())
            pc += *bank << kBankShift;
        else
            Ask("Error", "Error in memory decode because no bank register is provided", Buttons::Ok,
                Icon::Critical);
    }
    int32_t file = 0, line = 0;
    if (symbler_->GetSourceAt(0, pc, file, line)) {
        GotoFileLine(file, line, true, false, true);
        return true;
    }
    Ask("Debugger", "There is no source information available for PC=$" + Hex4(pc), Buttons::Ok,
        Icon::Exclamation);
    return false;
}

int32_t DebugMonitor::TabOfFile(int32_t fileIndex) const {
    const std::string key = "K" + std::to_string(fileIndex);
    for (std::size_t i = 0; i < tabs_.size(); ++i)
        if (tabs_[i].Key == key)
            return static_cast<int32_t>(i) + 1;
    return 0;
}

SourceLineModel* DebugMonitor::ViewAt(int32_t index) {
    if (index < 1 || index >= static_cast<int32_t>(views_.size()))
        return nullptr;
    return views_[static_cast<std::size_t>(index)].get();
}

int32_t DebugMonitor::FileOfView(int32_t index) const {
    if (index < 1 || index >= static_cast<int32_t>(viewFiles_.size()))
        return -1;
    return viewFiles_[static_cast<std::size_t>(index)];
}

void DebugMonitor::SelectTabGuarded(int32_t tab) {
    // Called inside TabClick too, whose own guard must outlast this selection.
    const bool wasGuarded = tabGuard_;
    tabGuard_ = true;
    selectedTab_ = tab;
    tabGuard_ = wasGuarded;
}

void DebugMonitor::MakeCurrent(int32_t view) {
    currentView_ = view;
    disasmInFront_ = false;
    if (SourceLineModel* model = ViewAt(view))
        model->SetCtrlVisible(true);
    host_.LayoutChanged();
}

bool DebugMonitor::GotoFileLine(int32_t fileIndex, int32_t line, bool select, bool reload,
                                bool markLine) {
    int32_t tab = TabOfFile(fileIndex);
    if (tab > 0) {
        if (select) {
            SelectTabGuarded(tab);
            MakeCurrent(ViewOfTab(tab));
        }
        SourceLineModel* view = ViewAt(ViewOfTab(tab));
        if (view != nullptr) {
            if (markLine)
                view->SetSelectedLine(line);
            else
                view->VisibleLine(line);
        }
        if (!reload)
            return true;
    }

    if (tab == 0 || ViewAt(ViewOfTab(tab)) == nullptr) {
        const std::string path = symbler_->GetSourcePath(fileIndex);
        if (tab == 0) {
            tabs_.push_back({"K" + std::to_string(fileIndex), FileNameOf(path), path});
            tab = static_cast<int32_t>(tabs_.size());
        }
        const std::size_t viewIndex = static_cast<std::size_t>(ViewOfTab(tab));
        if (views_.size() <= viewIndex) {
            views_.resize(viewIndex + 1);
            viewFiles_.resize(viewIndex + 1, -1);
        }
        views_[viewIndex] = std::make_unique<SourceLineModel>();
        viewFiles_[viewIndex] = fileIndex;
        views_[viewIndex]->SetFileId(fileIndex);
        views_[viewIndex]->QueryBusy = [this] { return running_; };
    }
    const int32_t viewIndex = ViewOfTab(tab);
    SourceLineModel& view = *ViewAt(viewIndex);
    view.SetAppliance(appliance_);
    view.SetEmulator(emulator_);
    view.SetSymbols(symbler_.get());
    view.Prompts = &prompter_;
    view.SetCtrlVisible(true);

    if (!LoadViewText(viewIndex, fileIndex)) {
        // The tab and its view go together, so the views behind it keep their tabs.
        tabs_.erase(tabs_.begin() + (tab - 1));
        views_.erase(views_.begin() + viewIndex);
        viewFiles_.erase(viewFiles_.begin() + viewIndex);
        if (selectedTab_ == tab)
            selectedTab_ = 0;
        else if (selectedTab_ > tab)
            --selectedTab_;
        if (currentView_ == viewIndex)
            currentView_ = 0;
        else if (currentView_ > viewIndex)
            --currentView_;
        host_.LayoutChanged();
        return false;
    }
    SelectTabGuarded(tab);
    MakeCurrent(viewIndex);
    if (markLine)
        view.SetSelectedLine(line);
    view.EnsureVisible(line);
    return true;
}

bool DebugMonitor::LoadViewText(int32_t viewIndex, int32_t fileIndex) {
    SourceLineModel* view = ViewAt(viewIndex);
    if (view == nullptr)
        return false;
    try {
        const std::string path = symbler_->GetSourcePath(fileIndex);
        view->Clear();
        std::optional<std::string> content = platform::ReadFile(path);
        if (!content)
            return false;
        // Lines end in CR LF or in a bare LF; each piece becomes a line of the view.
        const std::string& text = *content;
        std::size_t start = 0;
        while (start < text.size()) {
            std::size_t end = text.find('\n', start);
            const bool last = end == std::string::npos;
            if (last)
                end = text.size();
            std::size_t cut = end;
            if (cut > start && text[cut - 1] == '\r')
                --cut;
            view->AddLine(text.substr(start, cut - start));
            start = last ? end : end + 1;
        }
        view->InitBreakpoints();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

// ---- Breakpoints ---------------------------------------------------------------------------

ToggleOutcome DebugMonitor::ToggleBreak(int32_t view, int32_t line) {
    std::vector<SourceBreakMarks*> marks(views_.size(), nullptr);
    for (std::size_t i = 0; i < views_.size(); ++i)
        if (views_[i])
            marks[i] = &views_[i]->Marks();
    const int32_t current = ViewAt(currentView_) != nullptr ? currentView_ : -1;
    return ToggleBreakInViews(marks, current, view, line);
}

void DebugMonitor::ClearAllBreaks() {
    std::vector<SourceBreakMarks*> marks;
    for (std::size_t i = 0; i < views_.size(); ++i)
        if (views_[i])
            marks.push_back(&views_[i]->Marks());
    if (appliance_ != nullptr)
        bx::ClearAllBreaks(*emulator_, *appliance_, marks, ViewAt(currentView_) != nullptr);
}

// ---- The strip -----------------------------------------------------------------------------

void DebugMonitor::TabClick(int32_t tab) {
    if (tabGuard_ || tab < 1 || tab > static_cast<int32_t>(tabs_.size()))
        return;
    selectedTab_ = tab;
    if (tab == previousTab_)
        return;
    tabGuard_ = true;
    if (disassemblyTab_ && tab == 1) {
        disasmInFront_ = true;
        host_.LayoutChanged();
    } else if (disassemblyTab_ && previousTab_ == 1) {
        UpdateStatus(true, false, false, false);
        MakeCurrent(currentView_);
    } else {
        MakeCurrent(ViewOfTab(tab));
    }
    tabGuard_ = false;
    previousTab_ = tab;
}

bool DebugMonitor::TabKeyDown(int32_t code, bool shift) {
    SourceLineModel* view = ViewAt(currentView_);
    return view != nullptr && view->KeyDown(code, shift);
}

} // namespace bx
