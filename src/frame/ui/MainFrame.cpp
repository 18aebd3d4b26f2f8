#include "frame/ui/MainFrame.h"

#include "BuildInfo.h"
#include "appliance_editor/ui/ApplianceEditor.h"
#include "appliance_editor/ui/ApplianceWizardDialog.h"
#include "build/ui/MessageWindow.h"
#include "debug/ui/BreakpointDialog.h"
#include "debug/ui/DebuggerControl.h"
#include "debug/ui/MemoryAttributeDialog.h"
#include "editor/ui/FindWindow.h"
#include "editor/ui/SourceEditor.h"
#include "editor/ui/SourceWindow.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "frame/DesktopLayout.h"
#include "frame/ProductInfo.h"
#include "frame/ui/ChildContents.h"
#include "frame/ui/ChildWindow.h"
#include "frame/ui/SplashWindow.h"
#include "frame/ui/StatusWindow.h"
#include "frame/ui/StudioIcons.h"
#include "inspectors/ui/MemoryEditor.h"
#include "inspectors/ui/RegisterEditor.h"
#include "inspectors/ui/WatchEditor.h"
#include "platform/Diagnostics.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"
#include "platform/ui/MessageBoxPrompter.h"
#include "prototyper/ui/ExtenderWindow.h"
#include "prototyper/ui/Prototyper.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "settings/ui/ConfigDialog.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QLabel>
#include <QMdiArea>
#include <QMenuBar>
#include <QMessageBox>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>
#include <QToolBar>
#include <QUrl>
#include <QVBoxLayout>
#include <set>

namespace bx::ui {

namespace {

// The MDI area, with a word for a person who has no appliance open yet.
class StudioMdiArea : public QMdiArea {
public:
    using QMdiArea::QMdiArea;

protected:
    void paintEvent(QPaintEvent* event) override {
        QMdiArea::paintEvent(event);
        for (QMdiSubWindow* window : subWindowList())
            if (window->isVisible())
                return;
        QPainter painter(viewport());
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(viewport()->rect(), Qt::AlignCenter,
                         "No appliance is open.\n\nNew Appliance or Load Appliance (Ctrl+L) in the "
                         "Appliance menu, or a recent one from the same menu.");
    }
};

// "Welcome!": shown while the template or plug-in archives unpack, with the wait cursor.
class WelcomeWindow : public UnpackNotice {
public:
    explicit WelcomeWindow(QWidget* frame) : frame_(frame) {}
    void Show(const std::string& title, const std::string& text) override {
        window_ = std::make_unique<QWidget>(frame_, Qt::Dialog);
        window_->setWindowTitle(QString::fromStdString(title));
        auto* layout = new QVBoxLayout(window_.get());
        layout->addWidget(new QLabel(QString::fromStdString(text)));
        window_->show();
        QApplication::setOverrideCursor(Qt::WaitCursor);
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    void Hide() override {
        if (!window_)
            return;
        window_.reset();
        QApplication::restoreOverrideCursor();
    }

private:
    QWidget* frame_;
    std::unique_ptr<QWidget> window_;
};

// The appliance editor (frmAppliance), the device panel (frmPrototyper) and the extender
// (frmExtender), and the commands of the appliance menus that they answer.
void PlugApplianceWindows(MainFrame& frame) {
    FrameCommands& commands = frame.Frame();
    auto* editor = new ApplianceEditor(frame.Prompts(), commands.Commands(),
                                       [&commands] { return commands.Powered(); });
    frame.SetContent(child::kAppliance, editor);
    auto* panel = new Prototyper([editor] { return editor->ActiveView(); });
    frame.SetContent(child::kPrototyper, panel);
    frame.SetContent(child::kExtender,
                     new ExtenderWindow(frame.ExtenderToolBar(), frame.Prompts(),
                                        [&commands] { return commands.ApplianceOpen(); }));

    QObject::connect(editor, &ApplianceEditor::OpenFileRequested, &frame,
                     [&frame](const QString& path) { frame.OpenSource(path.toStdString()); });
    QObject::connect(editor, &ApplianceEditor::ActiveViewChanged, panel, &Prototyper::Reset);
    QObject::connect(editor, &ApplianceEditor::CommandRequested, &frame,
                     [&frame](const QString& item) { frame.Perform(item.toStdString()); });
    // Each command brings the editor forward, where its result shows.
    const std::pair<const char*, void (ApplianceEditor::*)()> editorCommands[] = {
        {"mnuSrcRemove", &ApplianceEditor::RemoveSelectedItem},
        {"mnuObjConfig", &ApplianceEditor::ConfigureSelectedItem},
        {"mnuSegAdd", &ApplianceEditor::AddSegmentMapping},
        {"mnuSegRem", &ApplianceEditor::RemoveSegmentMapping},
        {"mnuSegConf", &ApplianceEditor::ConfigureSegment},
        {"mnuArchUse", &ApplianceEditor::SelectArchitecture},
        {"mnuPeriConf", &ApplianceEditor::ConfigurePeripheral},
        {"mnuProtoConf", &ApplianceEditor::ConfigurePrototyper}};
    for (const auto& [item, command] : editorCommands)
        frame.SetCommandHandler(item, [&frame, editor, command = command] {
            if (ui::ChildWindow* window = frame.Child(child::kAppliance);
                window && frame.Frame().ApplianceOpen()) {
                window->show();
                frame.MdiArea()->setActiveSubWindow(window);
            }
            (editor->*command)();
        });
}

// Where the trace log goes: the program's folder, or the system's temporary folder when the
// program's folder can't be written (an installation owned by another user).
std::unique_ptr<Diagnoser> OpenDiagnoser() {
    for (const std::string& folder : {platform::ProgramFolder(), platform::TempFolder()}) {
        try {
            return std::make_unique<Diagnoser>(folder + "\\vkbx.log");
        } catch (const BxError&) {
        }
    }
    return std::make_unique<Diagnoser>(platform::TempFolder() + "\\vkbx-studio.log");
}

// The icon in each child window's title bar.
QString ChildIconKey(const std::string& name) {
    static const std::map<std::string, QString> keys = {
        {child::kAppliance, "Inspect"},     {child::kSource, "Doc"},
        {child::kMessage, "Message"},       {child::kRegister, "Register"},
        {child::kWatch, "Watch"},           {child::kMemory, "Memory"},
        {child::kPrototyper, "Prototyper"}, {child::kExtender, "Extender"}};
    const auto found = keys.find(name);
    return found == keys.end() ? QString("Studio") : found->second;
}

QString ActionText(const std::string& caption) {
    return QString::fromStdString(caption);
}

// A recent entry's text: its number as the mnemonic, the path as the system writes it, and any
// "&" of the path shown as itself.
QString RecentText(int index, const std::string& path) {
    QString shown = QString::fromStdString(platform::ToNativePath(path));
    shown.replace("&", "&&");
    return QString("&%1 %2").arg(index + 1).arg(shown);
}

} // namespace

MainFrame::MainFrame(Prompter* prompter, const Diagnoser* diagnoser, QWidget* parent)
    : QMainWindow(parent), mdiArea_(new StudioMdiArea(this)) {
    setObjectName("mdiFrame");
    setWindowIcon(StudioIcon("Studio"));
    if (!prompter) {
        ownPrompter_ = std::make_unique<MessageBoxPrompter>(this);
        prompter = ownPrompter_.get();
    }
    prompter_ = prompter;
    if (!diagnoser) {
        ownDiagnoser_ = OpenDiagnoser();
        diagnoser = ownDiagnoser_.get();
    }
    diagnoser_ = diagnoser;

    mdiArea_->setObjectName("mdiArea");
    mdiArea_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdiArea_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdiArea_);
    status_ = new StatusWindow(this);
    settings_ = std::make_unique<GlobalSettings>(*prompter_);
    unpackNotice_ = std::make_unique<WelcomeWindow>(this);

    messages_ = new MessageWindow;
    commands_ = std::make_unique<FrameCommands>(*settings_, *this, *prompter_, *status_, *messages_,
                                                *diagnoser_, this);
    BuildMenus();
    BuildToolBars();
    BuildChildren();
    InstallHandlers();
    commands_->Commands().ItemChanged.Connect([this](const std::string& id) { SyncItem(id); });
    // While a tool runs the window stays alive: it repaints, the pane shows the output so far,
    // and its Stop button ends the build. No other command starts meanwhile (Perform).
    commands_->BuildWatch.whileWaiting = [this] {
        if (!building_) {
            building_ = true;
            messages_->SetBuilding(true);
        }
        QApplication::processEvents();
    };
    commands_->BuildWatch.stopRequested = [this] { return stopBuild_; };
    connect(messages_, &MessageWindow::StopBuildRequested, this, [this] { stopBuild_ = true; });
    SyncAll();

    statusDesktop_ = new QLabel(this);
    statusBar()->addPermanentWidget(statusDesktop_);
    statusBar()->showMessage("Ready");
    setWindowTitle(QString::fromStdString(FrameCaption()));

    // A comfortable first size: most of the screen, never more than it.
    const QRect screen =
        this->screen() ? this->screen()->availableGeometry() : QRect(0, 0, 1280, 800);
    resize(std::min(1400, screen.width() * 9 / 10), std::min(900, screen.height() * 9 / 10));
}

MainFrame::~MainFrame() {
    // The children forget the appliance before it goes with the frame's logic.
    if (messages_)
        messages_->SetAppliance(nullptr);
    // The child windows go while the frame's logic is still whole: as they go the focus moves,
    // and the editor answers a focus change through the command state.
    for (auto& [name, child] : children_)
        child->removeEventFilter(this);
    children_.clear();
    source_ = nullptr;
    debugger_ = nullptr;
    applianceContent_ = nullptr;
    inspectors_.clear();
    prototyper_ = nullptr;
    extender_ = nullptr;
    messages_ = nullptr;
    delete mdiArea_;
    mdiArea_ = nullptr;
}

bool MainFrame::Initialise() {
    diagnosticSpecification_ = platform::DiagnosticSpecification(platform::ProgramFolder());
    RaiseProcessPriority();
    ShowSplash();
    return commands_->Start();
}

// ---- Building the window -----------------------------------------------------------------------

ui::ChildWindow* MainFrame::AddChild(const char* name, const char* caption) {
    auto* child = new ui::ChildWindow(name, caption);
    child->setWindowIcon(StudioIcon(ChildIconKey(name)));
    mdiArea_->addSubWindow(child);
    child->hide();
    child->installEventFilter(this);
    children_[name] = child;
    return child;
}

void MainFrame::BuildChildren() {
    AddChild(child::kAppliance, "Appliance");

    source_ = new SourceWindow(commands_->Commands(), *prompter_);
    source_->SetEditor(new SourceEditor(*prompter_, source_->SharedFind()));
    connect(source_, &SourceWindow::ApplianceChanged, this, [this] { Update(true); });
    DebuggerNeighbours neighbours;
    neighbours.PrototyperFacade = [this] { return prototyper_->PanelFacade(); };
    neighbours.ActiveView = [this] { return applianceContent_->ActiveView(); };
    neighbours.Registers = [this] { return inspectors_[child::kRegister]; };
    neighbours.Watches = [this] { return inspectors_[child::kWatch]; };
    neighbours.Memory = [this] { return inspectors_[child::kMemory]; };
    neighbours.Finder = &source_->SharedFind();
    debugger_ = new DebuggerControl(*prompter_, *status_, *diagnoser_, std::move(neighbours));
    source_->SetDebugger(debugger_);
    ConnectDebugger();
    ui::ChildWindow* sourceChild = AddChild(child::kSource, "Source Editor");
    sourceChild->SetContent(source_);
    connect(source_, &SourceWindow::CaptionChanged, sourceChild, &QWidget::setWindowTitle);
    connect(source_, &SourceWindow::ShowRequested, sourceChild, [sourceChild] {
        sourceChild->show();
        sourceChild->raise();
    });
    connect(sourceChild, &ui::ChildWindow::CloseRequested, source_, &SourceWindow::ConfirmUnload);

    AddChild(child::kMessage, "Messages")->SetContent(messages_);
    connect(messages_, &MessageWindow::GotoFileLine, this, [this](const QString& file, int line) {
        source_->GotoFileLine(file.toStdString(), line);
    });

    const std::pair<const char*, const char*> inspectors[] = {
        {child::kRegister, "Register Inspector"},
        {child::kWatch, "Watches"},
        {child::kMemory, "Memory"}};
    for (const auto& [name, caption] : inspectors) {
        AddChild(name, caption);
        inspectors_[name] = nullptr;
    }
    PlugInspectors();
    AddChild(child::kPrototyper, "Prototyper");
    AddChild(child::kExtender, "Extender");
    PlugApplianceWindows(*this);
}

void MainFrame::ConnectDebugger() {
    CommandState& commands = commands_->Commands();
    connect(debugger_, &DebuggerControl::Stopped, this, [this, &commands](int, int, int) {
        // A stop the target made: the commands of a halted target, and the debugger in front.
        commands.EnableRuntimeMenus(false);
        commands.EnableDebugMenus(true);
        source_->BringUpDebug();
        if (ui::ChildWindow* window = Child(child::kSource)) {
            window->show();
            mdiArea_->setActiveSubWindow(window);
        }
        UpdateStepOver();
    });
    connect(debugger_, &DebuggerControl::RunStateChanged, this, [this, &commands](bool running) {
        commands.EnableRuntimeMenus(running);
        UpdateStepOver();
    });
    connect(debugger_, &DebuggerControl::LayoutUpdated, this, [this] { UpdateStepOver(); });
    connect(debugger_, &DebuggerControl::BuildRequested, this,
            [this] { commands_->PostBuildRequest(); });
    connect(debugger_, &DebuggerControl::ResetKeyPressed, this, [this] { Perform("mnuDbgReset"); });
    connect(debugger_, &DebuggerControl::BreakpointEditorRequested, this,
            [this] { Perform("mnuBkptEdit"); });
}

void MainFrame::UpdateStepOver() {
    // Step Over is there while the powered target is halted.
    commands_->Commands().EnableStepOverMenusWithCheck(commands_->Powered() &&
                                                       !debugger_->Running());
}

void MainFrame::PlugInspectors() {
    auto* registers = new RegisterEditor(diagnoser_);
    auto* watches = new WatchEditor(*prompter_, diagnoser_);
    auto* memory = new MemoryEditor(*prompter_, diagnoser_);
    SetContent(child::kRegister, registers);
    SetContent(child::kWatch, watches);
    SetContent(child::kMemory, memory);
    connect(registers, &RegisterEditor::ValueChanged, this, &MainFrame::InspectorValueChanged);
    connect(watches, &WatchEditor::ValueChanged, this, &MainFrame::InspectorValueChanged);
    connect(memory, &MemoryEditor::ValueChanged, this, &MainFrame::InspectorValueChanged);
    connect(registers, &RegisterEditor::HoverText, this,
            [this](const QString& text) { statusBar()->showMessage(text); });
}

void MainFrame::InspectorValueChanged() {
    // A value written from an inspector: with a session, the debugger's status update reads
    // every inspector again and brings its views to the program counter; without one there is
    // only the inspectors to read.
    if (commands_->Powered() && source_->Debugger().CurrentEmulator()) {
        source_->Update();
    } else {
        for (const auto& [name, inspector] : inspectors_)
            if (inspector)
                inspector->Reload();
    }
}

void MainFrame::SetContent(const std::string& name, ChildContent* content) {
    ui::ChildWindow* window = Child(name);
    if (!window || !content)
        return;
    if (name == child::kAppliance)
        applianceContent_ = dynamic_cast<ApplianceContent*>(content);
    else if (name == child::kPrototyper)
        prototyper_ = dynamic_cast<PrototyperContent*>(content);
    else if (name == child::kExtender)
        extender_ = dynamic_cast<ExtenderContent*>(content);
    else if (inspectors_.count(name))
        inspectors_[name] = dynamic_cast<InspectorContent*>(content);
    window->SetContent(content->Widget());
}

void MainFrame::BuildMenus() {
    QMenu* current = nullptr;
    for (const MenuItemDef& def : CommandState::MenuTable()) {
        const std::string name = def.Name;
        if (std::string(def.Menu).empty()) {
            current = menuBar()->addMenu(ActionText(def.Caption));
            current->setObjectName(def.Name);
            current->menuAction()->setObjectName(def.Name);
            menus_[name] = current;
            menuActions_[name] = current->menuAction();
            continue;
        }
        QAction* action = nullptr;
        if (std::string(def.Caption) == "-") {
            action = current->addSeparator();
        } else {
            action = current->addAction(ActionText(def.Caption));
            action->setShortcut(QKeySequence(def.Shortcut, QKeySequence::PortableText));
            action->setCheckable(def.Checkable);
            connect(action, &QAction::triggered, this, [this, name] { Perform(name); });
        }
        action->setObjectName(def.Name);
        menuActions_[name] = action;
    }
}

void MainFrame::BuildToolBars() {
    tlbMainMenu_ = addToolBar("Main");
    tlbMainMenu_->setObjectName("tlbMainMenu");
    tlbMainMenu_->setIconSize(QSize(22, 22));
    // Groups: appliance, sources, build, machine, stepping, breakpoints.
    const std::set<std::string> groupEnds = {"SaveAppl", "SaveSrc", "Rebuild", "Break", "StepN"};
    for (const ButtonDef& def : CommandState::ButtonTable()) {
        const std::string key = def.Key;
        QAction* action = tlbMainMenu_->addAction(StudioIcon(def.Key), def.Caption);
        action->setObjectName(QString("btn") + def.Key);
        action->setToolTip(def.ToolTip);
        action->setCheckable(key == "Power");
        connect(action, &QAction::triggered, this, [this, key] { ButtonClicked(key); });
        buttonActions_[key] = action;
        if (groupEnds.count(key))
            tlbMainMenu_->addSeparator();
    }
    tlbExtender_ = addToolBar("Extender");
    tlbExtender_->setObjectName("tlbExtender");
    tlbExtender_->setIconSize(QSize(22, 22));
}

void MainFrame::InstallHandlers() {
    FrameCommands& frame = *commands_;
    SetCommandHandler("mnuApplNew", [&frame] { frame.New(""); });
    SetCommandHandler("mnuApplLoad", [&frame] { frame.LoadCommand(); });
    SetCommandHandler("mnuApplNewRom", [&frame] { frame.OpenRomCommand(); });
    SetCommandHandler("mnuApplSave", [&frame] { frame.SaveCommand(); });
    SetCommandHandler("mnuApplClose", [&frame] { frame.Close(); });
    for (int i = 0; i < CommandState::kRecentEntries; ++i)
        SetCommandHandler(CommandState::RecentItemName(i), [&frame, i] { frame.OpenRecent(i); });
    SetCommandHandler("mnuExit", [this] { close(); });
    SetCommandHandler("mnuSrcAdd", [&frame] { frame.AddSourceCommand(); });
    SetCommandHandler("mnuBuildUpdated", [&frame] { frame.BuildCommand(false, false); });
    SetCommandHandler("mnuBuildRebuild", [&frame] { frame.BuildCommand(true, true); });
    SetCommandHandler("mnuBuildCleanup", [&frame] { frame.CleanupCommand(); });
    SetCommandHandler("mnuSetExtEd", [this] { ShowConfiguration(0); });
    SetCommandHandler("mnuSetExtBuild", [this] { ShowConfiguration(1); });
    SetCommandHandler("mnuSetExtIce", [this] { ShowConfiguration(2); });
    SetCommandHandler("mnuDbgPower", [this, &frame] {
        frame.TogglePower();
        UpdateStepOver();
    });
    SetCommandHandler("mnuOptionPrompt", [this] {
        const bool on = menuActions_["mnuOptionPrompt"]->isChecked();
        commands_->Commands().SetChecked("mnuOptionPrompt", on);
        source_->Editor().EnablePromptWindows(on);
    });

    // The source window's commands: the editor's, or the debugger's while it is in front.
    SourceWindow& source = *source_;
    SetCommandHandler("mnuSrcNew", [&source] { source.NewSource(""); });
    SetCommandHandler("mnuSrcSave", [&source] { source.Editor().SaveTopMost(false); });
    SetCommandHandler("mnuSrcSaveAs", [&source] { source.Editor().SaveTopMost(true); });
    SetCommandHandler("mnuSrcClose", [&source] { source.Editor().CloseTopMost(); });
    SetCommandHandler("mnuSrcAllClose", [&source] { source.Editor().CloseAllMost(); });
    SetCommandHandler("mnuEditUndo", [&source] { source.Editor().Undo(); });
    SetCommandHandler("mnuEditRedo", [&source] { source.Editor().Redo(); });
    SetCommandHandler("mnuEditCut", [&source] { source.Editor().Cut(); });
    SetCommandHandler("mnuEditCopy", [&source] { source.Editor().Copy(); });
    SetCommandHandler("mnuEditPaste", [&source] { source.Editor().Paste(); });
    SetCommandHandler("mnuEditFind", [&source] { source.FindNew(source.DebuggerInFront()); });
    SetCommandHandler("mnuEditFindNext", [&source] { source.FindNext(source.DebuggerInFront()); });
    SetCommandHandler("mnuEditReplace", [&source] { source.EditReplace(); });
    SetCommandHandler("mnuDbgRun", [&source] { source.Continue(); });
    SetCommandHandler("mnuDbgStepIn", [&source] { source.Step(); });
    SetCommandHandler("mnuDbgStepOver", [&source] { source.StepOver(); });
    SetCommandHandler("mnuDbgReset", [&source] { source.Reset(); });
    SetCommandHandler("mnuDbgBreak", [&source] { source.Break(); });
    SetCommandHandler("mnuBkptToggle", [&source] { source.ToggleBreak(-1, -1); });
    SetCommandHandler("mnuBkptClearAll", [&source] { source.ClearAllBreaks(); });
    // The breakpoint dialogs, on the session of the debugger: nothing while the power is off.
    SetCommandHandler("mnuBkptEdit", [this] {
        DebuggerSide& debugger = source_->Debugger();
        if (!commands_->Powered() || !debugger.CurrentEmulator())
            return;
        BreakpointListHost host;
        host.ShowFileLine = [this](const std::string& path, int line) {
            return source_->DebugShowFileLine(path, line);
        };
        host.ToggleBreak = [this](int bank, int address) { source_->ToggleBreak(bank, address); };
        host.ClearAllBreaks = [this] { source_->ClearAllBreaks(); };
        ShowBreakpointEditor(this, &commands_->CurrentAppliance(), debugger.Symbols(),
                             std::move(host));
    });
    SetCommandHandler("mnuBkptMemory", [this] {
        if (!commands_->Powered())
            return;
        ShowMemoryAttributeDialog(this, *prompter_, source_->Debugger().CurrentEmulator());
        if (InspectorContent* memory = inspectors_[child::kMemory])
            memory->Reload();
    });
    SetCommandHandler("mnuHelpProductWeb", [this] { OpenGuide(); });
    SetCommandHandler("mnuAboutBX", [this] { ShowAbout(); });
}

void MainFrame::SetCommandHandler(const std::string& menuItem, std::function<void()> handler) {
    handlers_[menuItem] = std::move(handler);
}

void MainFrame::Perform(const std::string& menuItem) {
    if (building_) {
        statusBar()->showMessage("A build is running: wait for it, or stop it in the message "
                                 "pane (Esc).",
                                 5000);
        return;
    }
    const auto found = handlers_.find(menuItem);
    if (found == handlers_.end()) {
        const QString caption =
            QString::fromStdString(commands_->Commands().Menu(menuItem).Caption).remove('&');
        statusBar()->showMessage(caption + ": not part of this build of the studio yet.", 5000);
        return;
    }
    // A command ends here, whatever went wrong inside it: the person gets the reason in a
    // box and the studio goes on.
    struct BuildEnd {
        MainFrame& frame;
        ~BuildEnd() {
            if (!frame.building_)
                return;
            frame.building_ = false;
            frame.stopBuild_ = false;
            frame.messages_->SetBuilding(false);
        }
    } buildEnd{*this};
    try {
        found->second();
    } catch (const BxError& error) {
        platform::ProgramLogLine("Command " + menuItem + " failed: " + error.Description);
        prompter_->ask(kApplicationTitle, error.Description, Buttons::Ok, Icon::Exclamation);
    } catch (const std::exception& error) {
        platform::ProgramLogLine("Command " + menuItem + " failed: " + error.what());
        prompter_->ask(kApplicationTitle, error.what(), Buttons::Ok, Icon::Exclamation);
    }
}

void MainFrame::ButtonClicked(const std::string& key) {
    const std::string item = CommandState::MenuItemOfButton(key);
    if (!item.empty())
        Perform(item);
    // The Power button's pressed state is the power flag's, not the click's.
    SyncItem(CommandState::ButtonId(key));
}

// ---- Mirroring the command state --------------------------------------------------------------

void MainFrame::SyncItem(const std::string& id) {
    const CommandState& commands = commands_->Commands();
    if (id.rfind("btn:", 0) == 0) {
        const std::string key = id.substr(4);
        QAction* action = ButtonAction(key);
        if (!action)
            return;
        const CommandItem& item = commands.Button(key);
        action->setEnabled(item.Enabled);
        action->setVisible(item.Visible);
        action->setChecked(item.Checked);
        return;
    }
    QAction* action = MenuAction(id);
    if (!action)
        return;
    const CommandItem& item = commands.Menu(id);
    if (id.rfind("mnuRecent(", 0) == 0) {
        const int index = id[10] - '0';
        action->setText(item.Caption == CommandState::kNotAvailable
                            ? ActionText(item.Caption)
                            : RecentText(index, item.Caption));
    } else if (!action->isSeparator()) {
        action->setText(ActionText(item.Caption));
    }
    action->setEnabled(item.Enabled);
    action->setVisible(item.Visible);
    if (action->isCheckable())
        action->setChecked(item.Checked);
}

void MainFrame::SyncAll() {
    for (const auto& [name, action] : menuActions_)
        SyncItem(name);
    for (const auto& [key, action] : buttonActions_)
        SyncItem(CommandState::ButtonId(key));
}

QAction* MainFrame::MenuAction(const std::string& name) const {
    const auto found = menuActions_.find(name);
    return found == menuActions_.end() ? nullptr : found->second;
}

QAction* MainFrame::ButtonAction(const std::string& key) const {
    const auto found = buttonActions_.find(key);
    return found == buttonActions_.end() ? nullptr : found->second;
}

QMenu* MainFrame::Menu(const std::string& name) const {
    const auto found = menus_.find(name);
    return found == menus_.end() ? nullptr : found->second;
}

ui::ChildWindow* MainFrame::Child(const std::string& name) const {
    const auto found = children_.find(name);
    return found == children_.end() ? nullptr : found->second;
}

// ---- FrameGeometry ----------------------------------------------------------------------------

FrameGeometry::Rect MainFrame::FrameSize() const {
    const QRect outer = frameGeometry();
    return {static_cast<float>(outer.left()), static_cast<float>(outer.top()),
            static_cast<float>(outer.width()), static_cast<float>(outer.height())};
}

std::string MainFrame::CurrentDesktop() const {
    return commands_->CurrentDesktop();
}

bool MainFrame::ChildWindow(const std::string& name, Rect& rect) const {
    const ui::ChildWindow* child = Child(name);
    if (!child || !child->isVisible())
        return false;
    const QRect place = child->geometry();
    rect = {static_cast<float>(place.left()), static_cast<float>(place.top()),
            static_cast<float>(place.width()), static_cast<float>(place.height())};
    return true;
}

// ---- Desktops ---------------------------------------------------------------------------------

bool MainFrame::ApplyDesktop(const std::string& name) {
    statusDesktop_->setText(QString::fromStdString(name));
    if (!commands_ || !commands_->ApplianceOpen()) {
        placing_ = true;
        for (const auto& [childName, child] : children_)
            child->hide();
        placing_ = false;
        shownDesktop_.clear();
        shownAppliance_ = nullptr;
        mdiArea_->viewport()->update();
        return true;
    }
    Appliance& appliance = commands_->CurrentAppliance();
    std::shared_ptr<Desktop> record = DesktopRecord(appliance.Desktops(), name);
    // A desktop remembers the frame's size it was arranged in; a maximised frame keeps its
    // size (the resize rule clears the remembered one).
    if (record->Width > 0 && record->Height > 0 && !isMaximized() && !isFullScreen()) {
        const QRect screen =
            this->screen() ? this->screen()->availableGeometry() : QRect(0, 0, 4096, 4096);
        const QSize decoration = frameGeometry().size() - size();
        const QSize wanted(static_cast<int>(record->Width), static_cast<int>(record->Height));
        resize((wanted - decoration).boundedTo(screen.size() - decoration));
    }
    const QSize client = mdiArea_->viewport()->size();
    placing_ = true;
    const std::vector<PlacedWindow> placed = PlaceDesktop(*record, client.width(), client.height());
    for (const auto& [childName, child] : children_) {
        const WindowRect* place = PlaceOf(placed, childName);
        if (place == nullptr) {
            child->hide();
            continue;
        }
        placed_.insert(child);
        child->showNormal();
        child->setGeometry(place->Left, place->Top, place->Width, place->Height);
        child->show();
    }
    placing_ = false;
    shownDesktop_ = name;
    shownAppliance_ = &appliance;
    return true;
}

void MainFrame::RecordShownDesktop() {
    if (placing_ || shownDesktop_.empty() || !commands_->ApplianceOpen() ||
        shownAppliance_ != &commands_->CurrentAppliance())
        return;
    auto record = commands_->CurrentAppliance().Desktops().Item(shownDesktop_);
    if (!record)
        return;
    std::vector<PlacedWindow> shown;
    for (QMdiSubWindow* window : mdiArea_->subWindowList(QMdiArea::CreationOrder)) {
        if (!window->isVisible())
            continue;
        const QRect place = window->geometry();
        shown.push_back({window->objectName().toStdString(),
                         {place.left(), place.top(), place.width(), place.height()}});
    }
    RecordDesktop(*record, shown);
}

void MainFrame::PlaceUnsizedChild(QMdiSubWindow& window) {
    const QSize client = mdiArea_->viewport()->size();
    const std::vector<PlacedWindow> placed =
        PlaceDesktop(*DefaultDesktop(commands_->CurrentDesktop()), client.width(), client.height());
    if (const WindowRect* place = PlaceOf(placed, window.objectName().toStdString()))
        window.setGeometry(place->Left, place->Top, place->Width, place->Height);
    else
        window.setGeometry(client.width() / 6, client.height() / 6, client.width() * 2 / 3,
                           client.height() * 2 / 3);
    placed_.insert(&window);
}

bool MainFrame::eventFilter(QObject* watched, QEvent* event) {
    // What a person arranges stays in the desktop's record: moving, sizing, closing a window.
    switch (event->type()) {
    case QEvent::Show:
        if (auto* window = qobject_cast<QMdiSubWindow*>(watched)) {
            if (!placed_.contains(window))
                PlaceUnsizedChild(*window);
            RecordShownDesktop();
        }
        break;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Hide:
        if (qobject_cast<QMdiSubWindow*>(watched))
            RecordShownDesktop();
        break;
    default:
        break;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainFrame::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    // Only a maximised frame lays its windows out again, and forgets the sizes the desktops
    // remember so that switching desktops keeps it maximised.
    if (!isMaximized() || !commands_ || !commands_->ApplianceOpen())
        return;
    for (const auto& [name, desktop] : commands_->CurrentAppliance().Desktops()) {
        desktop->Width = 0;
        desktop->Height = 0;
    }
    ApplyDesktop(commands_->CurrentDesktop());
}

// ---- FrameWindows: children -------------------------------------------------------------------

bool MainFrame::SaveAll(bool force) {
    return source_->SaveAll(false, force);
}

void MainFrame::Update(bool refresh) {
    applianceContent_->Update(refresh);
}

bool MainFrame::ApplianceWindowQueryUnload() {
    return applianceContent_->QueryUnload();
}

bool MainFrame::SourceWindowUnloadSave() {
    return source_->UnloadSave();
}

bool MainFrame::SourceWindowSaveAll(bool prompt) {
    return source_->SaveAll(prompt, false);
}

ChildContent* MainFrame::ContentOf(const std::string& name) const {
    if (name == child::kAppliance)
        return applianceContent_;
    if (name == child::kPrototyper)
        return prototyper_;
    if (name == child::kExtender)
        return extender_;
    const auto inspector = inspectors_.find(name);
    return inspector == inspectors_.end() ? nullptr : inspector->second;
}

void MainFrame::UnloadChild(const std::string& name) {
    if (name == child::kMessage) {
        messages_->SetAppliance(nullptr);
        messages_->ClearMessages();
    } else if (name == child::kSource) {
        source_->SetAppliance(nullptr);
    } else if (ChildContent* content = ContentOf(name)) {
        content->SetAppliance(nullptr);
    }
    if (ui::ChildWindow* window = Child(name)) {
        placing_ = true;
        window->hide();
        placing_ = false;
    }
}

void MainFrame::GiveAppliance(const std::string& name, Appliance& appliance) {
    if (name == child::kMessage)
        messages_->SetAppliance(&appliance);
    else if (name == child::kSource)
        source_->SetAppliance(&appliance);
    else if (ChildContent* content = ContentOf(name))
        content->SetAppliance(&appliance);
}

void MainFrame::GiveSettings(GlobalSettings& settings) {
    applianceContent_->SetSettings(&settings);
}

void MainFrame::OpenSource(const std::string& path) {
    source_->LoadSource(path);
}

void MainFrame::SourceWindowStartup(bool) {
    source_->Editor().LoadKeyWord();
}

bool MainFrame::SourceWindowPowerOn(bool on) {
    return source_->PowerOn(on);
}

void MainFrame::InspectorsEnable(bool enable) {
    for (const char* name : {child::kMemory, child::kWatch, child::kRegister})
        inspectors_[name]->EnableDebug(enable);
}

void MainFrame::FillExtenderToolbar() {
    extender_->FillToolbar();
}

void MainFrame::SetCaption(const std::string& caption) {
    setWindowTitle(QString::fromStdString(caption));
}

bool MainFrame::StartDiagnostics() {
    const std::string log = platform::ProgramFolder() + "\\bx.log";
    if (!platform::OpenProgramLog(log))
        return false;
    platform::ProgramLogLine(std::string("Tessarine Studio ") + kProductVersion + " (build " +
                             std::to_string(kBuildNumber) + ")");
    return platform::InstallCrashHandler();
}

// ---- FrameWindows: dialogs --------------------------------------------------------------------

void MainFrame::ShowSplash() {
    SplashWindow splash(diagnosticSpecification_);
    Dialogs().Exec(splash);
}

std::string MainFrame::ChooseFileToOpen(const std::string& title, const std::string& filter) {
    const QString chosen =
        Dialogs().OpenFileName(this, QString::fromStdString(title), QtFileFilter(filter));
    return chosen.isEmpty() ? std::string() : platform::FromNativePath(chosen.toStdString());
}

WizardOutcome MainFrame::RunApplianceWizard(GlobalSettings& settings,
                                            const std::string& templateRoot,
                                            const std::string& romPath) {
    ApplianceWizard wizard(&settings, *prompter_);
    if (romPath.empty())
        wizard.SetApplianceName(ProposedApplianceName(DefaultProjectsFolder()));
    if (!wizard.NewProject(templateRoot, romPath))
        return {};
    wizard.Load();
    ApplianceWizardDialog dialog(wizard, this);
    Dialogs().Exec(dialog);
    WizardOutcome outcome;
    outcome.Cancelled = wizard.Cancelled();
    outcome.FirstSource = wizard.FirstSource();
    outcome.Made = wizard.TakeAppliance();
    return outcome;
}

UnpackNotice* MainFrame::UnpackWindow() {
    return unpackNotice_.get();
}

void MainFrame::ShowConfiguration(int focus) {
    Appliance* appliance = commands_->ApplianceOpen() ? &commands_->CurrentAppliance() : nullptr;
    ConfigDialog dialog(*settings_, appliance, this);
    dialog.FocusOn(static_cast<ConfigDialog::Focus>(focus));
    Dialogs().Exec(dialog);
}

void MainFrame::ShowAbout() {
    QMessageBox::about(this, "About Sarnova Tessarine",
                       QString("<h3>%1</h3><p>Version %2, build %3.</p><p>Design and debug "
                               "appliances built round the KTR family of 65C02 "
                               "microcontrollers.</p>")
                           .arg(kProductCaption)
                           .arg(kProductVersion)
                           .arg(kBuildNumber));
}

void MainFrame::OpenGuide() {
    const std::string guide = platform::ProgramFolder() + "\\docs\\studio.md";
    if (!platform::FileExists(guide)) {
        statusBar()->showMessage("The user guide is not installed beside the studio.", 5000);
        return;
    }
    QDesktopServices::openUrl(
        QUrl::fromLocalFile(QString::fromStdString(platform::ToNativePath(guide))));
}

// ---- Closing ----------------------------------------------------------------------------------

void MainFrame::closeEvent(QCloseEvent* event) {
    if (building_) {
        statusBar()->showMessage("A build is running: stop it first (Esc in the message pane).",
                                 5000);
        event->ignore();
        return;
    }
    bool mayClose = false;
    try {
        mayClose = commands_->QueryExit();
    } catch (const BxError& error) {
        prompter_->ask(kApplicationTitle, error.Description, Buttons::Ok, Icon::Exclamation);
    }
    if (!mayClose) {
        event->ignore();
        return;
    }
    status_->GoAway();
    // The recent list and the tools are the installation's: kept when they changed.
    try {
        settings_->Save(false);
    } catch (const BxError& error) {
        prompter_->ask(kApplicationTitle, error.Description, Buttons::Ok, Icon::Exclamation);
    }
    platform::ProgramLogLine("Closed");
    platform::CloseProgramLog();
    event->accept();
}

} // namespace bx::ui
