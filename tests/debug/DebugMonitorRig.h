#pragma once
// What the DebugMonitor tests share: a monitor on fake targets, with a recording host,
// recording inspectors, a scripted prompter, a recording progress display and a trace log in a
// temporary folder; and an appliance whose ROM image and sources are real files in another
// temporary folder, ready for a power-on in the simulator.

#include "appliance/Appliance.h"
#include "debug/DebugMonitor.h"
#include "foundation/Diagnoser.h"
#include "platform/Paths.h"
#include "support/FakeDebugTargets.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"
#include "support/TraceLog.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace bx::test {

// The host's events, with the number of message boxes shown before each BreakHit so that a
// test can tell the event came after the stop's message.
class RecordingHost : public DebugMonitorHost {
public:
    struct Stop {
        int32_t Bank, Address, Cond;
        std::size_t BoxesBefore;
        bool operator==(const Stop&) const = default;
    };

    explicit RecordingHost(const ScriptedPrompter& prompter) : prompter_(prompter) {}

    Facade* RequestFacade() override {
        ++FacadeRequests;
        return FacadeToGive;
    }
    std::shared_ptr<View> RequestActiveView() override { return ViewToGive; }
    void RequestBuild() override { ++Builds; }
    void BreakHit(int32_t bank, int32_t address, int32_t cond) override {
        Stops.push_back({bank, address, cond, prompter_.Boxes().size()});
    }
    void DoReset() override { ++Resets; }
    void LayoutChanged() override { ++Layouts; }

    Facade* FacadeToGive = nullptr;
    std::shared_ptr<View> ViewToGive;
    int FacadeRequests = 0;
    int Builds = 0;
    int Resets = 0;
    int Layouts = 0;
    std::vector<Stop> Stops;

private:
    const ScriptedPrompter& prompter_;
};

// Records what the monitor hands the inspectors and asks of them. Each call is also written
// into the call log of the current fake Emulator ("Inspectors ReloadRegisters"), so that a
// test sees it in order with the Emulator's own calls.
class RecordingInspectors : public DebugInspectors {
public:
    explicit RecordingInspectors(FakeDebugTargets& targets) : targets_(targets) {}

    void AttachRegistersAndWatches(const std::shared_ptr<Emulator>& emulator) override {
        RegistersEmulator = emulator;
        Log("AttachRegistersAndWatches");
    }
    void AttachMemory(const std::shared_ptr<Emulator>& emulator) override {
        MemoryEmulator = emulator;
        Log("AttachMemory");
    }
    void SetSymbolList(const std::shared_ptr<Watches>& symbols) override {
        SymbolList = symbols;
        Log("SetSymbolList");
    }
    void AttachBreakpointList(Appliance* appliance, Symbler* symbols) override {
        ListAppliance = appliance;
        ListSymbols = symbols;
        Log("AttachBreakpointList");
    }
    void ReloadRegisters() override { Log("ReloadRegisters"); }
    void ReloadWatches() override { Log("ReloadWatches"); }
    void ReloadMemory() override { Log("ReloadMemory"); }
    void SetBusyPointer(bool busy) override { Log(busy ? "Busy" : "NotBusy"); }

    std::vector<std::string> Calls;
    std::shared_ptr<Emulator> RegistersEmulator;
    std::shared_ptr<Emulator> MemoryEmulator;
    std::shared_ptr<Watches> SymbolList;
    Appliance* ListAppliance = nullptr;
    Symbler* ListSymbols = nullptr;

private:
    void Log(const std::string& call) {
        Calls.push_back(call);
        if (!targets_.Emulators.empty())
            targets_.Current().Calls.push_back("Inspectors " + call);
    }

    FakeDebugTargets& targets_;
};

// The file content of a ROM image of size bytes in which every byte tells its offset apart
// from its neighbours and from the same place in other 16 KB slices.
inline std::string RomContent(std::size_t size) {
    std::string content(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        content[i] = static_cast<char>((i * 7 + i / 0x4000 * 13 + 1) & 0xFF);
    return content;
}

// The bytes of content from offset, count of them, zero past its end.
inline std::vector<uint8_t> SliceOf(const std::string& content, std::size_t offset,
                                    std::size_t count) {
    std::vector<uint8_t> bytes(count, 0);
    for (std::size_t i = 0; i < count && offset + i < content.size(); ++i)
        bytes[i] = static_cast<uint8_t>(content[offset + i]);
    return bytes;
}

// Sets a file's last-write time to a whole second plus a fraction.
inline void SetWriteTime(const std::filesystem::path& file, std::chrono::seconds wholeSeconds,
                         std::chrono::milliseconds fraction = std::chrono::milliseconds(0)) {
    using Clock = std::filesystem::file_time_type::clock;
    std::filesystem::last_write_time(file, Clock::time_point(wholeSeconds) + fraction);
}

// The present moment, in whole seconds of the file clock.
inline std::chrono::seconds NowInSeconds() {
    using Clock = std::filesystem::file_time_type::clock;
    return std::chrono::floor<std::chrono::seconds>(Clock::now().time_since_epoch());
}

class DebugMonitorRig {
public:
    static constexpr int32_t kModule = trace_module::kDebugMonitor;
    // The reset vector of the ROM the rig writes, and the source line it lies on.
    static constexpr int32_t kResetPC = 0x8000;
    static constexpr int32_t kResetLine = 3;

    DebugMonitorRig() : diagnoser(logFolder.Sub("vkbx.log")), host(prompter), inspectors(targets) {
        targets.PrepareEmulator = [](FakeEmulator& emulator) { emulator.HighestBank = 3; };
    }

    // The monitor, created on the rig's objects and the appliance.
    DebugMonitor& Create(bool disassemblyTab = false) {
        monitor = std::make_unique<DebugMonitor>(targets, prompter, status, diagnoser, host,
                                                 inspectors, disassemblyTab);
        monitor->SetAppliance(&appliance);
        return *monitor;
    }

    // An appliance in the simulator, bank window $4000 of 16 KB, two banks, its ROM image
    // "app.rom" (32 KB unbanked and two banks, reset vector kResetPC), and one source file
    // "main.asm" of four lines, dated a minute before the image.
    void PrepareAppliance() {
        appliance.Title = "app";
        appliance.Folder = appFolder.Path() + "\\";
        appliance.Model = "KTR311A";
        appliance.ClockParam = "3.58";
        appliance.OPClock = "3.58M";
        appliance.RateMultiplier = 1;
        appliance.RateDivider = 1;
        appliance.BankStart = 0x4000;
        appliance.BankSize = 0x4000;
        appliance.BankCount = 2;
        appliance.RunTarget()->OutputPath = "app.rom";
        WriteRom(0x8000 + 2 * 0x4000);
        WriteSource("main.asm",
                    "; demo\r\n        .org $8000\r\nreset:  lda #1\r\n        rts\r\n");
    }

    // Writes the ROM image of size bytes with RomContent and the reset vector kResetPC at the
    // unbanked area's $FFFC, dated now.
    void WriteRom(std::size_t size) {
        rom = RomContent(size);
        if (rom.size() >= 0x8000) {
            rom[0x7FFC] = static_cast<char>(kResetPC & 0xFF);
            rom[0x7FFD] = static_cast<char>(kResetPC >> 8);
        }
        appFolder.WriteFile("app.rom", rom);
        SetWriteTime(appFolder.Native() / "app.rom", NowInSeconds());
    }

    // Writes a source file below the appliance's folder, dated a minute before now.
    std::string WriteSource(const std::string& relative, const std::string& content) {
        const std::string path = appFolder.WriteFile(relative, content);
        SetWriteTime(Native(relative), NowInSeconds() - std::chrono::seconds(60));
        return path;
    }

    std::filesystem::path Native(const std::string& relative) const {
        return appFolder.Native() / platform::ToNativePath(relative);
    }

    // The symbols of the appliance's one source: file 0 is "main.asm" of the appliance's
    // folder, its line kResetLine holds the reset vector's code. Needs the monitor.
    void PrepareSymbols() {
        FakeSymbolLibrary& symbols = *targets.Symbols;
        symbols.Files[0] = {appFolder.Path(), "main.asm"};
        symbols.Sources[kResetPC] = {0, kResetLine};
        symbols.LineAddresses[{0, kResetLine}] = kResetPC;
    }

    // The appliance, the monitor and the symbols of a power-on that works.
    DebugMonitor& CreateReadyToPowerOn(bool disassemblyTab = false) {
        PrepareAppliance();
        Create(disassemblyTab);
        PrepareSymbols();
        return *monitor;
    }

    std::vector<TraceEntry> Traces() const { return ReadTraceLog(diagnoser.LogPath()); }
    std::vector<int32_t> Points() const { return TracePoints(Traces(), kModule); }
    std::vector<std::string> TextsAt(int32_t point) const {
        return TraceTexts(Traces(), kModule, point);
    }

    // The titles and texts of the boxes shown so far.
    std::vector<std::string> BoxTexts() const {
        std::vector<std::string> texts;
        for (const RecordedBox& box : prompter.Boxes())
            texts.push_back(box.text);
        return texts;
    }

    // The text of the last box, or "" when none was shown: for failure messages.
    std::string LastBoxText() const {
        return prompter.Boxes().empty() ? std::string() : prompter.Boxes().back().text;
    }

    TempFolder logFolder;
    TempFolder appFolder;
    Diagnoser diagnoser;
    FakeDebugTargets targets;
    ScriptedPrompter prompter;
    RecordingStatusDisplay status;
    RecordingHost host;
    RecordingInspectors inspectors;
    Appliance appliance;
    std::string rom;
    std::unique_ptr<DebugMonitor> monitor;
};

} // namespace bx::test
