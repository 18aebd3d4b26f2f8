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
#include "support/RecordingHost.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"
#include "support/TraceLog.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace bx::test {

// Records what the monitor hands the inspectors and asks of them. Each call is also written
// into the call log of the current fake Emulator ("Inspectors ReloadRegisters"), so that a
// test sees it in order with the Emulator's own calls.
class RecordingInspectors : public DebugInspectors {
public:
    explicit RecordingInspectors(FakeDebugTargets& targets) : targets_(targets) {}

    void AttachRegistersAndWatches(const std::shared_ptr<Emulator>& emulator) override {
        Log("AttachRegistersAndWatches", emulator.get());
    }
    void AttachMemory(const std::shared_ptr<Emulator>& emulator) override {
        Log("AttachMemory", emulator.get());
    }
    void SetSymbolList(const std::shared_ptr<Watches>&) override { Log("SetSymbolList"); }
    void AttachBreakpointList(Appliance*, Symbler* symbols) override {
        Log("AttachBreakpointList", symbols);
    }
    void ReloadRegisters() override { Log("ReloadRegisters"); }
    void ReloadWatches() override { Log("ReloadWatches"); }
    void ReloadMemory() override { Log("ReloadMemory"); }
    void SetBusyPointer(bool busy) override { Log(busy ? "Busy" : "NotBusy"); }

    std::vector<std::string> Calls;
    // The Emulators and the Symbler handed over, in order.
    std::vector<const void*> Given;

private:
    void Log(const std::string& call, const void* given = nullptr) {
        Calls.push_back(call);
        if (given != nullptr)
            Given.push_back(given);
        if (!targets_.Emulators.empty())
            targets_.Current().Calls.push_back("Inspectors " + call);
    }

    FakeDebugTargets& targets_;
};

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

// A message box as the user sees it: title, text, buttons and icon.
inline void ExpectBox(const RecordedBox& box, const std::string& title, const std::string& text,
                      Buttons buttons, Icon icon) {
    EXPECT_EQ(box.title, title);
    EXPECT_EQ(box.text, text);
    EXPECT_EQ(box.buttons, buttons);
    EXPECT_EQ(box.icon, icon);
}

class DebugMonitorRig {
public:
    // The reset vector of the ROM the rig writes, and the source line it lies on.
    static constexpr int32_t kResetPC = 0x8000;
    static constexpr int32_t kResetLine = 3;

    DebugMonitorRig() : diagnoser(logFolder.Sub("vkbx.log")), host(prompter), inspectors(targets) {}

    // The monitor, created on the rig's objects and the appliance.
    DebugMonitor& Create(bool disassemblyTab = false) {
        monitor = std::make_unique<DebugMonitor>(targets, prompter, status, diagnoser, host,
                                                 inspectors, disassemblyTab);
        monitor->SetAppliance(&appliance);
        return *monitor;
    }

    // The appliance, the monitor and the symbols of a power-on that works: an appliance in the
    // simulator, bank window $4000 of 16 KB, two banks, its ROM image "app.rom" (32 KB unbanked
    // and two banks, reset vector kResetPC), and one source file "main.asm" of four lines, dated
    // a minute before the image; file 0 of the symbols, its line kResetLine at kResetPC.
    DebugMonitor& CreateReadyToPowerOn() {
        appliance.Title = "app";
        appliance.Folder = appFolder.Path() + "\\";
        appliance.Model = "KTR311A";
        appliance.ClockParam = "3.58";
        appliance.OPClock = "3.58M";
        appliance.RateMultiplier = 1;
        appliance.RateDivider = 1;
        appliance.BankCount = 2; // the window lies at $4000, 16 KB, by default
        appliance.RunTarget()->OutputPath = "app.rom";
        WriteRom(0x8000 + 2 * 0x4000);
        WriteSource("main.asm",
                    "; demo\r\n        .org $8000\r\nreset:  lda #1\r\n        rts\r\n");
        Create();
        FakeSymbolLibrary& symbols = *targets.Symbols;
        symbols.Files[0] = {appFolder.Path(), "main.asm"};
        symbols.Sources[kResetPC] = {0, kResetLine};
        symbols.LineAddresses[{0, kResetLine}] = kResetPC;
        return *monitor;
    }

    // Writes the ROM image of size bytes (32 KB at least), dated now: every byte tells its
    // offset apart from its neighbours and from the same place in other 16 KB slices, but for
    // the reset vector kResetPC at the unbanked area's $FFFC.
    void WriteRom(std::size_t size) {
        rom.assign(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            rom[i] = static_cast<char>((i * 7 + i / 0x4000 * 13 + 1) & 0xFF);
        rom[0x7FFC] = static_cast<char>(kResetPC & 0xFF);
        rom[0x7FFD] = static_cast<char>(kResetPC >> 8);
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

    // The DebugMonitor's trace points, and the texts traced at one of them.
    std::vector<int32_t> Points() const {
        return TracePoints(ReadTraceLog(diagnoser.LogPath()), trace_module::kDebugMonitor);
    }
    std::vector<std::string> TextsAt(int32_t point) const {
        return TraceTexts(ReadTraceLog(diagnoser.LogPath()), trace_module::kDebugMonitor, point);
    }

    // The tabs' keys ("D" for the disassembly), the selected tab, the current view, and each
    // view's file and selected line: "D K2 K0 | tab 3 view 2 | 2:0 0:0".
    std::string State() const {
        std::string text;
        for (const DebugTab& tab : monitor->Tabs())
            text += (tab.Key.empty() ? "D" : tab.Key) + " ";
        text += "| tab " + std::to_string(monitor->SelectedTab()) + " view " +
                std::to_string(monitor->CurrentView()) + " |";
        for (int32_t view = 1; monitor->ViewAt(view) != nullptr; ++view)
            text += " " + std::to_string(monitor->FileOfView(view)) + ":" +
                    std::to_string(monitor->ViewAt(view)->SelectedLine());
        return text;
    }

    // The texts of the boxes shown so far.
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
