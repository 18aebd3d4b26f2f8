#include "frame/ui/MainFrame.h"

#include "BuildInfo.h"
#include "appliance_editor/QueryUnload.h"
#include "appliance_editor/ui/ApplianceWizardDialog.h"
#include "build/ui/MessageWindow.h"
#include "debug/ui/DebuggerControl.h"
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
#include "platform/Diagnostics.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"
#include "platform/ui/MessageBoxPrompter.h"
#include "settings/GlobalSettings.h"
#include "settings/Templates.h"
#include "settings/ui/ConfigDialog.h"
#include "sim/DevicePanel.h"

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

// The stand-ins of windows whose contents aren't part of the studio yet: a note saying so, and
// the answers of a window with nothing in it.
class NoApplianceEditor : public QWidget, public ApplianceContent {
public:
    explicit NoApplianceEditor(Prompter& prompter) : prompter_(prompter) {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(NotYetNote("Appliance editor"));
    }
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override { appliance_ = appliance; }
    void SetSettings(GlobalSettings*) override {}
    bool QueryUnload() override { return DoQueryUnload(appliance_, prompter_); }
    void Update(bool) override {}
    std::shared_ptr<View> ActiveView() override {
        return appliance_ ? appliance_->Views().First() : nullptr;
    }
    void EditEnabled(bool) override {}

private:
    Prompter& prompter_;
    Appliance* appliance_ = nullptr;
};

class NoInspector : public QWidget, public InspectorContent {
public:
    explicit NoInspector(const QString& title) {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(NotYetNote(title));
    }
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance*) override {}
    void EnableDebug(bool) override {}
};

// The devices still work without the panel's window: the simulator's surface without a
// window serves power-on, and nothing shows it.
class NoPrototyper : public QWidget, public PrototyperContent {
public:
    NoPrototyper() {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(NotYetNote("Device panel"));
    }
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance*) override {}
    Facade* PanelFacade() override { return &surface_; }
    void SetDesignView(std::shared_ptr<View>) override {}

private:
    sim::DevicePanel surface_;
};

// Without a plug-in host the extender toolbar stays empty, as it does without plug-ins.
class NoExtender : public QWidget, public ExtenderContent {
public:
    explicit NoExtender(QToolBar* toolbar) : toolbar_(toolbar) {}
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance*) override {}
    void FillToolbar() override { toolbar_->clear(); }

private:
    QToolBar* toolbar_;
};

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
    auto* applianceWindow = new NoApplianceEditor(*prompter_);
    AddChild(child::kAppliance, "Appliance")->SetContent(applianceWindow);
    applianceContent_ = applianceWindow;

    source_ = new SourceWindow(commands_->Commands(), *prompter_);
    source_->SetEditor(new SourceEditor(*prompter_, source_->SharedFind()));
    connect(source_, &SourceWindow::ApplianceChanged, this, [this] { Update(true); });
    DebuggerNeighbours neighbours;
    neighbours.PrototyperFacade = [this] { return prototyper_->PanelFacade(); };
    neighbours.ActiveView = [this] { return applianceContent_->ActiveView(); };
    neighbours.Registers = [this] { return inspectors_[child::kRegister]; };
    neighbours.Watches = [this] { return inspectors_[child::kWatch]; };
    neighbours.Memory = [this] { return inspectors_[child::kMemory]; };
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
        auto* inspector = new NoInspector(caption);
        AddChild(name, caption)->SetContent(inspector);
        inspectors_[name] = inspector;
    }
    auto* prototyper = new NoPrototyper;
    AddChild(child::kPrototyper, "Prototyper")->SetContent(prototyper);
    prototyper_ = prototyper;
    auto* extender = new NoExtender(tlbExtender_);
    AddChild(child::kExtender, "Extender")->SetContent(extender);
    extender_ = extender;
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
    for (const MenuItemSpec& spec : CommandState::MenuTable()) {
        const std::string name = spec.Name;
        if (std::string(spec.Menu).empty()) {
            current = menuBar()->addMenu(ActionText(spec.Caption));
            current->setObjectName(spec.Name);
            current->menuAction()->setObjectName(spec.Name);
            menus_[name] = current;
            menuActions_[name] = current->menuAction();
            continue;
        }
        QAction* action = nullptr;
        if (std::string(spec.Caption) == "-") {
            action = current->addSeparator();
        } else {
            action = current->addAction(ActionText(spec.Caption));
            action->setShortcut(QKeySequence(spec.Shortcut, QKeySequence::PortableText));
            action->setCheckable(spec.Checkable);
            connect(action, &QAction::triggered, this, [this, name] { Perform(name); });
        }
        action->setObjectName(spec.Name);
        menuActions_[name] = action;
    }
}

void MainFrame::BuildToolBars() {
    tlbMainMenu_ = addToolBar("Main");
    tlbMainMenu_->setObjectName("tlbMainMenu");
    tlbMainMenu_->setIconSize(QSize(22, 22));
    // Groups: appliance, sources, build, machine, stepping, breakpoints.
    const std::set<std::string> groupEnds = {"SaveAppl", "SaveSrc", "Rebuild", "Break", "StepN"};
    for (const ButtonSpec& spec : CommandState::ButtonTable()) {
        const std::string key = spec.Key;
        QAction* action = tlbMainMenu_->addAction(StudioIcon(spec.Key), spec.Caption);
        action->setObjectName(QString("btn") + spec.Key);
        action->setToolTip(spec.ToolTip);
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
    SetCommandHandler("mnuHelpProductWeb", [this] { OpenGuide(); });
    SetCommandHandler("mnuAboutBX", [this] { ShowAbout(); });
}

void MainFrame::SetCommandHandler(const std::string& menuItem, std::function<void()> handler) {
    handlers_[menuItem] = std::move(handler);
}

void MainFrame::Perform(const std::string& menuItem) {
    const auto found = handlers_.find(menuItem);
    if (found == handlers_.end()) {
        const QString caption =
            QString::fromStdString(commands_->Commands().Menu(menuItem).Caption).remove('&');
        statusBar()->showMessage(caption + ": not part of this build of the studio yet.", 5000);
        return;
    }
    // A command ends here, whatever went wrong inside it: the person gets the reason in a
    // box and the studio goes on.
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
        const auto where = std::find_if(placed.begin(), placed.end(),
                                        [&](const PlacedWindow& p) { return p.Name == childName; });
        if (where == placed.end()) {
            child->hide();
            continue;
        }
        child->showNormal();
        child->setGeometry(where->Rect.Left, where->Rect.Top, where->Rect.Width,
                           where->Rect.Height);
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

bool MainFrame::eventFilter(QObject* watched, QEvent* event) {
    // What a person arranges stays in the desktop's record: moving, sizing, closing a window.
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Show:
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
