#pragma once
// mdiFrame: the studio's main window. Its centre is the MDI area with the child windows; above
// it the menu bar and the two toolbars (tlbMainMenu, tlbExtender), below it the status bar.
// The flows and the command state are the core's FrameCommands; this window mirrors the
// command state into its actions, turns clicks into commands, and is the FrameWindows the
// flows reach the children and dialogs through.

#include "appliance/Appliance.h"
#include "frame/FrameCommands.h"

#include <QMainWindow>
#include <QPointer>
#include <functional>
#include <map>
#include <memory>
#include <set>

class QAction;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QMenu;
class QToolBar;

namespace bx {
class Diagnoser;
class GlobalSettings;
} // namespace bx

namespace bx::ui {

class ApplianceContent;
class ChildContent;
class ChildWindow;
class DebuggerControl;
class ExtenderContent;
class InspectorContent;
class MessageWindow;
class PrototyperContent;
class SourceWindow;
class StatusWindow;

class MainFrame : public QMainWindow, public FrameWindows, public FrameGeometry {
    Q_OBJECT
public:
    // prompter: the message boxes (a test's double; null for the real ones). diagnoser: the
    // trace log (null: the program's own).
    explicit MainFrame(Prompter* prompter = nullptr, const Diagnoser* diagnoser = nullptr,
                       QWidget* parent = nullptr);
    ~MainFrame() override;

    // The frame's initialisation and load in their order: the diagnostic specification, the
    // process priority, the splash, then the start-up of FrameCommands. False when the program
    // is to end.
    bool Initialise();

    FrameCommands& Frame() { return *commands_; }
    QMdiArea* MdiArea() const { return mdiArea_; }
    // The action of a menu item or of a main toolbar button; null for an unknown name.
    QAction* MenuAction(const std::string& name) const;
    QAction* ButtonAction(const std::string& key) const;
    QMenu* Menu(const std::string& name) const;
    QToolBar* MainToolBar() const { return tlbMainMenu_; }
    QToolBar* ExtenderToolBar() const { return tlbExtender_; }
    ui::ChildWindow* Child(const std::string& name) const;
    MessageWindow* Messages() const { return messages_; }
    SourceWindow* Sources() const { return source_; }
    DebuggerControl* Debugger() const { return debugger_; }
    ApplianceContent& ApplianceWindow() const { return *applianceContent_; }
    PrototyperContent& Prototyper() const { return *prototyper_; }

    // Puts a subsystem's window into a child (frmAppliance, frmRegister, frmWatch, frmMemory,
    // frmPrototyper, frmExtender) in place of the frame's stand-in; the child owns the widget.
    // content must implement the interface of that child (ChildContents.h).
    void SetContent(const std::string& child, ChildContent* content);
    StatusWindow* Status() const { return status_; }
    Prompter& Prompts() { return *prompter_; }
    const std::string& DiagnosticSpecification() const { return diagnosticSpecification_; }

    // What a menu item does; the windows of later subsystems add theirs.
    void SetCommandHandler(const std::string& menuItem, std::function<void()> handler);
    // Performs a menu item's command (also for a disabled item: the toolbar's dispatch).
    void Perform(const std::string& menuItem);
    // A click on a main toolbar button: the command of its menu item, nothing for StepAuto and
    // StepN.
    void ButtonClicked(const std::string& key);

    // ---- FrameGeometry ------------------------------------------------------------------------
    Rect FrameSize() const override;
    std::string CurrentDesktop() const override;
    bool ChildWindow(const std::string& name, Rect& rect) const override;

    // ---- FrameWindows -------------------------------------------------------------------------
    bool SaveAll(bool force) override;
    void Update(bool refresh) override;
    bool ApplianceWindowQueryUnload() override;
    bool SourceWindowUnloadSave() override;
    bool SourceWindowSaveAll(bool prompt) override;
    void UnloadChild(const std::string& name) override;
    void GiveAppliance(const std::string& name, Appliance& appliance) override;
    void GiveSettings(GlobalSettings& settings) override;
    void OpenSource(const std::string& path) override;
    void SourceWindowStartup(bool withRom) override;
    bool SourceWindowPowerOn(bool on) override;
    void InspectorsEnable(bool enable) override;
    bool ApplyDesktop(const std::string& name) override;
    void FillExtenderToolbar() override;
    void SetCaption(const std::string& caption) override;
    bool StartDiagnostics() override;
    void ShowSplash() override;
    std::string ChooseFileToOpen(const std::string& title, const std::string& filter) override;
    WizardOutcome RunApplianceWizard(GlobalSettings& settings, const std::string& templateRoot,
                                     const std::string& romPath) override;
    UnpackNotice* UnpackWindow() override;

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void BuildMenus();
    void BuildToolBars();
    void BuildChildren();
    void InstallHandlers();
    void SyncItem(const std::string& id);
    void SyncAll();
    void ShowConfiguration(int focus);
    void ShowAbout();
    void OpenGuide();
    // Keeps where the windows of the desktop shown now stand, in its record.
    void RecordShownDesktop();
    // A child shown before any layout sized it (a new source with no appliance open) takes its
    // place on the current desktop's default layout, or the middle of the client area.
    void PlaceUnsizedChild(QMdiSubWindow& window);
    void ConnectDebugger();
    // The register, watch and memory windows in their children, and what their edits start.
    void PlugInspectors();
    void InspectorValueChanged();
    // The frame's update after a stop, a run or a change of the debugger's tabs.
    void UpdateStepOver();
    // The plugged-in contents of a child other than the source and message windows.
    ChildContent* ContentOf(const std::string& name) const;
    ui::ChildWindow* AddChild(const char* name, const char* caption);

    std::unique_ptr<Prompter> ownPrompter_;
    Prompter* prompter_;
    std::unique_ptr<Diagnoser> ownDiagnoser_;
    const Diagnoser* diagnoser_;
    std::unique_ptr<GlobalSettings> settings_;
    std::unique_ptr<UnpackNotice> unpackNotice_;
    std::unique_ptr<FrameCommands> commands_;
    std::string diagnosticSpecification_;

    QMdiArea* mdiArea_;
    QToolBar* tlbMainMenu_ = nullptr;
    QToolBar* tlbExtender_ = nullptr;
    QLabel* statusDesktop_ = nullptr;
    StatusWindow* status_;
    MessageWindow* messages_ = nullptr;
    std::map<std::string, QAction*> menuActions_;
    std::map<std::string, QMenu*> menus_;
    std::map<std::string, QAction*> buttonActions_;
    std::map<std::string, ui::ChildWindow*> children_;
    std::map<std::string, std::function<void()>> handlers_;

    SourceWindow* source_ = nullptr;
    DebuggerControl* debugger_ = nullptr;
    ApplianceContent* applianceContent_ = nullptr;
    std::map<std::string, InspectorContent*> inspectors_;
    PrototyperContent* prototyper_ = nullptr;
    ExtenderContent* extender_ = nullptr;

    // The desktop whose layout the windows show, and the appliance it belongs to.
    std::string shownDesktop_;
    const Appliance* shownAppliance_ = nullptr;
    bool placing_ = false;
    // The children a layout has placed once; the others have only Qt's size.
    std::set<const QMdiSubWindow*> placed_;
    // A build's tool runs (the frame lets events run meanwhile), and whether Stop was asked.
    bool building_ = false;
    bool stopBuild_ = false;
};

} // namespace bx::ui
