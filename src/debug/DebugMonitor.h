#pragma once
// DebugMonitor: the debugger without its window. It powers an appliance on (hub, devices,
// Emulator, ROM slices, symbols, source tabs, breakpoints, reset), runs and stops the target,
// explains each stop to the user, and keeps the source views and the disassembly on the
// program counter. The studio's debugger control, the command line's runner and the tests
// each plug in their own host, inspectors, prompter and progress display; the views it drives
// (one SourceLineModel per source tab, the DisasmRows of the disassembly) are models that the
// widgets paint.
//
// Trace lines go to the Diagnoser under module 1001; progress codes to the StatusDisplay.
// Every message box goes through the Prompter with the exact title and text a person sees.
//
// Tabs. Tab indexes count from 1 and 0 means no tab. With the disassembly tab on (a choice
// the frame makes at start-up), tab 1 is "Disassembly" and source view v sits on tab v + 1;
// without it view v sits on tab v. Views count from 1 as well: view 0 means that no source
// view is current. A source tab's key is "K" and the file's index, its caption the file's
// name, its tip the whole path.
//
// Threads: UI thread only. BreakHit of the Emulator arrives through the Dispatcher the
// Emulator was built with, so it never races with a command in hand; a stop that the user asked
// for (Running already false) is a late echo and is dropped.

#include "debug/DebugTargetFactory.h"
#include "debug/Facade.h"
#include "debug/SourceBreakMarks.h"
#include "debug/Symbler.h"
#include "foundation/HostInterfaces.h"
#include "inspectors/DisasmRows.h"
#include "inspectors/SourceLineModel.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Diagnoser;
struct View;
class Watches;

// The events DebugMonitor raises towards whoever hosts it. Each has a default that does
// nothing, so that a host answers only what it cares for.
class DebugMonitorHost {
public:
    virtual ~DebugMonitorHost() = default;
    // The prototyper's surface, created if need be; nullptr when the host has none (power-on
    // then fails to configure the SimpleUI or the keypad).
    virtual Facade* RequestFacade() { return nullptr; }
    // The active design view of the appliance editor, or nullptr.
    virtual std::shared_ptr<View> RequestActiveView() { return nullptr; }
    // Power-on found that the appliance needs building and the user agreed (or the ROM image
    // is missing): the frame schedules a build.
    virtual void RequestBuild() {}
    // A stop of the running target, after the views were brought to it and its message shown.
    virtual void BreakHit(int32_t /*bank*/, int32_t /*address*/, int32_t /*cond*/) {}
    // The reset key of the target is held: the frame's reset command.
    virtual void DoReset() {}
    // The tabs or the view in front changed; the widget lays itself out again.
    virtual void LayoutChanged() {}
};

// The inspectors and dialogs that power-on hands its objects to, and the refreshes of a status
// update. Defaults do nothing.
class DebugInspectors {
public:
    virtual ~DebugInspectors() = default;
    // The register and watch windows take the Emulator of this power-on.
    virtual void AttachRegistersAndWatches(const std::shared_ptr<Emulator>& /*emulator*/) {}
    // The memory inspector and the memory breakpoint dialog take it.
    virtual void AttachMemory(const std::shared_ptr<Emulator>& /*emulator*/) {}
    // The code labels, for the watch item wizard and the watch window's symbol list.
    virtual void SetSymbolList(const std::shared_ptr<Watches>& /*symbols*/) {}
    // The breakpoint list dialog's appliance and symbols.
    virtual void AttachBreakpointList(Appliance* /*appliance*/, Symbler* /*symbols*/) {}
    virtual void ReloadRegisters() {}
    virtual void ReloadWatches() {}
    virtual void ReloadMemory() {}
    // The hourglass pointer while a status update reads the target.
    virtual void SetBusyPointer(bool /*busy*/) {}
};

struct DebugTab {
    std::string Key;     // "K" and the file index; "" for the disassembly tab
    std::string Caption; // the file's name, or "Disassembly"
    std::string ToolTip; // the whole path
};

class DebugMonitor {
public:
    static constexpr int32_t kResetKeyPollMs = 500;

    // Creates the first Emulator and the Symbler, so that menus and inspectors have objects
    // before the first power-on. Everything handed in must outlive the monitor.
    DebugMonitor(DebugTargetFactory& targets, Prompter& prompter, StatusDisplay& status,
                 const Diagnoser& diagnoser, DebugMonitorHost& host, DebugInspectors& inspectors,
                 bool disassemblyTab);
    // Stops a running target first; then the hub and the devices go.
    ~DebugMonitor();
    DebugMonitor(const DebugMonitor&) = delete;
    DebugMonitor& operator=(const DebugMonitor&) = delete;

    void SetAppliance(Appliance* appliance) { appliance_ = appliance; }
    Appliance* GetAppliance() const { return appliance_; }

    // ---- Power-on --------------------------------------------------------------------------

    // Takes the appliance from its files to a halted, reset target with sources, registers,
    // watches and breakpoints in place. True when debugging can begin; false after any of its
    // exits (a message told the user why, or the host was asked for a build).
    bool PowerOn();

    // ---- Run control -----------------------------------------------------------------------

    void Continue();
    void Step();
    // Over a subroutine call: a temporary execute breakpoint at the return address and a run.
    // Any other instruction: Step.
    void StepOver();
    bool Break();
    bool SimpleBreak();
    // Stops the target only if it runs; whether it did.
    bool BreakIfNecessary();
    // Clock and options from the appliance, a reset of the target, a full refresh.
    void Reset();
    // Selects the Emulator's model from the appliance; whether a model is selected afterwards.
    bool InitMcuModel();

    bool Running() const { return running_; }
    int32_t TempBreak() const { return tempBreak_; }

    // The reset-key timer: on after a successful power-on, off after a failed one. The host
    // calls PollResetKey every kResetKeyPollMs while it is on.
    bool PollingResetKey() const { return pollingResetKey_; }
    void PollResetKey();

    // ---- Status and source tracking ------------------------------------------------------

    void UpdateStatus(bool updatePC, bool updateRegisters, bool updateWatches, bool updateMemory);
    // Shows the source line of pc (bank folded in from the "Bank" watch inside the window);
    // whether the line was found.
    bool GotoPC(int32_t pc);
    void UpdatePC();
    // Opens (or reloads) the tab of a source file and shows line in it; false when the file
    // couldn't be read, leaving no tab.
    bool GotoFileLine(int32_t fileIndex, int32_t line, bool select, bool reload, bool markLine);
    bool LoadViewText(int32_t viewIndex, int32_t fileIndex);

    // ---- Breakpoints ---------------------------------------------------------------------

    ToggleOutcome ToggleBreak(int32_t view, int32_t line);
    void ClearAllBreaks();

    // ---- Tabs and views ------------------------------------------------------------------

    bool DisassemblyTab() const { return disassemblyTab_; }
    const std::vector<DebugTab>& Tabs() const { return tabs_; }
    int32_t SelectedTab() const { return selectedTab_; }
    int32_t CurrentView() const { return currentView_; }
    // The tab of a file index, 0 for none.
    int32_t TabOfFile(int32_t fileIndex) const;
    // The view behind tab (or tab behind view); the two differ by one with the disassembly tab.
    int32_t ViewOfTab(int32_t tab) const { return disassemblyTab_ ? tab - 1 : tab; }
    int32_t TabOfView(int32_t view) const { return disassemblyTab_ ? view + 1 : view; }
    // The view of index 1 and up; nullptr for any other.
    SourceLineModel* ViewAt(int32_t index);
    // The file a view shows, -1 for none.
    int32_t FileOfView(int32_t index) const;
    DisasmRows& Disassembly() { return disasm_; }
    // The disassembly is in front (rather than a source view).
    bool DisassemblyInFront() const { return disasmInFront_; }

    // The strip: the mouse went down (the tab selected then is noted), a tab was clicked, a
    // key was pressed (it goes to the current view).
    void TabMouseDown() { previousTab_ = selectedTab_; }
    void TabClick(int32_t tab);
    bool TabKeyDown(int32_t code, bool shift);

    // ---- Objects of the session ----------------------------------------------------------

    const std::shared_ptr<Emulator>& CurrentEmulator() const { return emulator_; }
    Symbler& Symbols() { return *symbler_; }
    const std::shared_ptr<DeviceHub>& Hub() const { return hub_; }
    Facade* CurrentFacade() const { return facade_; }

private:
    void Trace(int32_t point, const std::string& text = {}) const;
    int Ask(const std::string& title, const std::string& text, Buttons buttons, Icon icon);
    bool FailureExit();
    bool RebuildExit();
    void ReplaceEmulator(std::shared_ptr<Emulator> emulator);
    void OnBreakHit(int32_t bank, int32_t address, int32_t cond);
    bool LoadDevices();
    void ApplyDesignView();
    bool LoadRom();
    bool LoadRomFile(const std::string& path, int64_t offset, int32_t bank, int32_t address,
                     int32_t length);
    bool LoadSymbols();
    bool RomIsCurrent();
    void OpenSourceTabs();
    // The bank the "Bank" watch names, or nullopt when the watch is missing; 0 when its text
    // doesn't read.
    std::optional<int32_t> BankFromWatch();
    void SelectTabGuarded(int32_t tab);
    void MakeCurrent(int32_t view);

    DebugTargetFactory& targets_;
    Prompter& prompter_;
    StatusDisplay& status_;
    const Diagnoser& diagnoser_;
    DebugMonitorHost& host_;
    DebugInspectors& inspectors_;
    const bool disassemblyTab_;

    Appliance* appliance_ = nullptr;
    std::shared_ptr<Emulator> emulator_;
    std::size_t breakHitConnection_ = 0;
    std::unique_ptr<Symbler> symbler_;
    std::shared_ptr<DeviceHub> hub_;
    std::unique_ptr<Speaker> speaker_;
    std::unique_ptr<SimpleUI> simpleUI_;
    std::unique_ptr<Keypad> keypad_;
    Facade* facade_ = nullptr;

    bool running_ = false;
    int32_t tempBreak_ = -1;
    bool pollingResetKey_ = false;

    std::vector<DebugTab> tabs_; // tabs_[i] is tab i + 1
    // views_[i] is view i; views_[0] stays empty, as view 0 means none.
    std::vector<std::unique_ptr<SourceLineModel>> views_;
    std::vector<int32_t> viewFiles_;
    int32_t selectedTab_ = 0;
    int32_t previousTab_ = 0;
    int32_t currentView_ = 0;
    bool tabGuard_ = false;
    bool disasmInFront_ = false;
    DisasmRows disasm_;
};

} // namespace bx
