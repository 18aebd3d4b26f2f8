#pragma once
// monDebug: the debugger side of frmSource. It owns the DebugMonitor of the session (with the
// built-in simulator and the ld65 symbol reader behind it) and shows what the monitor holds:
// the strip of source tabs with "Disassembly" first, one DebugView per source tab, the
// DisasmView, and a status line. It is the monitor's host (stops, build requests, the reset
// key, the prototyper's surface and the active design view come and go through it) and its
// inspectors (it hands the Emulator to the register, watch and memory windows and has them
// reload).
//
// Threads: the simulator runs the target on its own thread; stops arrive on the UI thread
// through the Qt dispatcher. Nothing here waits for the target.

#include "debug/DebugMonitor.h"
#include "editor/ui/SourceWindow.h"

#include <QTimer>
#include <QWidget>
#include <functional>
#include <map>
#include <memory>

class QLabel;
class QStackedWidget;
class QStatusBar;
class QTabBar;

namespace bx {
class Diagnoser;
class Watches;
} // namespace bx

namespace bx::ui {

class DebugView;
class DisasmView;
class InspectorContent;
class QtDispatcher;

// What the debugger needs of the frame's other windows.
struct DebuggerNeighbours {
    std::function<Facade*()> PrototyperFacade;
    std::function<std::shared_ptr<View>()> ActiveView;
    // The register, watch and memory windows (any may be null).
    std::function<InspectorContent*()> Registers, Watches, Memory;
    // The find dialog the source views share with the editor (may be null: no Find then).
    FindDialog* Finder = nullptr;
};

class DebuggerControl : public QWidget,
                        public DebuggerSide,
                        public DebugMonitorHost,
                        public DebugInspectors {
    Q_OBJECT
public:
    DebuggerControl(Prompter& prompter, StatusDisplay& status, const Diagnoser& diagnoser,
                    DebuggerNeighbours neighbours, QWidget* parent = nullptr);
    ~DebuggerControl() override;

    DebugMonitor& Monitor() { return *monitor_; }
    QTabBar* Tabs() const { return tbsFileList_; }
    DisasmView* Disassembly() const { return davDisasm_; }
    // The view of a source tab's view index, null for none.
    DebugView* ViewWidget(int32_t view) const;
    // The widget in front: a source view, the disassembly or the note.
    QWidget* FrontWidget() const;
    // While the target runs (the frame's command state and the views ask).
    bool Running() const { return monitor_->Running(); }

    // ---- DebuggerSide ------------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    void FindNew() override;
    void FindNext() override;
    void ClearAllBreaks() override;
    void ToggleBreak() override;
    void ToggleBreakAt(int bank, int address) override;
    void StepOver() override;
    void Step() override;
    void Continue() override;
    bool Break() override;
    void Reset() override;
    void UpdatePC() override;
    void Update() override;
    bool PowerOn() override;
    bool QueryShutdown() override;
    void PowerOff() override;
    bool DebugShowFileLine(const std::string& file, int line) override;
    std::shared_ptr<Emulator> CurrentEmulator() override;
    Symbler* Symbols() override;

    // ---- DebugMonitorHost --------------------------------------------------------------
    Facade* RequestFacade() override;
    std::shared_ptr<View> RequestActiveView() override;
    void RequestBuild() override;
    void BreakHit(int32_t bank, int32_t address, int32_t cond) override;
    void DoReset() override;
    void LayoutChanged() override;

    // ---- DebugInspectors ---------------------------------------------------------------
    void AttachRegistersAndWatches(const std::shared_ptr<Emulator>& emulator) override;
    void AttachMemory(const std::shared_ptr<Emulator>& emulator) override;
    void SetSymbolList(const std::shared_ptr<bx::Watches>& symbols) override;
    void ReloadRegisters() override;
    void ReloadWatches() override;
    void ReloadMemory() override;
    void SetBusyPointer(bool busy) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    // A stop of the running target was dealt with (views and inspectors show it).
    void Stopped(int bank, int address, int cond);
    // Power-on found that the appliance needs building.
    void BuildRequested();
    // The target's reset key is held: the frame's reset command.
    void ResetKeyPressed();
    // The tabs or the view in front changed (the frame refreshes its step-over command).
    void LayoutUpdated();
    // Run control changed the target's state (running or halted).
    void RunStateChanged(bool running);
    // The breakpoint list dialog was asked for from a view's pop-up menu.
    void BreakpointEditorRequested();

private:
    void SyncViews();
    void ShowStatus();
    InspectorContent* Inspector(const std::function<InspectorContent*()>& which) const;

    Prompter& prompter_;
    DebuggerNeighbours neighbours_;
    std::unique_ptr<QtDispatcher> dispatcher_;
    std::unique_ptr<DebugTargetFactory> targets_;
    std::unique_ptr<DebugMonitor> monitor_;
    QTabBar* tbsFileList_;
    QStackedWidget* stack_;
    DisasmView* davDisasm_;
    QLabel* lblNoSrc_;
    QStatusBar* sbrStatus_;
    QTimer pollingResetKeyTimer_;
    std::map<int32_t, DebugView*> views_;
    bool syncing_ = false;
    // Between a power-on that worked and the power-off.
    bool powered_ = false;
    int busyDepth_ = 0;
};

} // namespace bx::ui
