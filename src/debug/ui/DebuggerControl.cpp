#include "debug/ui/DebuggerControl.h"

#include "appliance/Appliance.h"
#include "debug/Emulator.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "frame/ui/ChildContents.h"
#include "inspectors/ui/DebugView.h"
#include "inspectors/ui/DisasmView.h"
#include "platform/Paths.h"
#include "platform/ui/QtDispatcher.h"
#include "sim/SimTargetFactory.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabBar>
#include <QVBoxLayout>

namespace bx::ui {

DebuggerControl::DebuggerControl(Prompter& prompter, StatusDisplay& status,
                                 const Diagnoser& diagnoser, DebuggerNeighbours neighbours,
                                 QWidget* parent)
    : QWidget(parent), prompter_(prompter), neighbours_(std::move(neighbours)),
      dispatcher_(std::make_unique<QtDispatcher>(this)),
      targets_(std::make_unique<sim::SimTargetFactory>(
          *dispatcher_, [] { return std::make_unique<symbols::Ld65SymbolLibrary>(); })),
      tbsFileList_(new QTabBar(this)), stack_(new QStackedWidget(this)),
      lblNoSrc_(new QLabel(this)), sbrStatus_(new QStatusBar(this)) {
    setObjectName("monDebug");
    // The disassembly tab comes first: a stop without a source line has somewhere to show.
    monitor_ =
        std::make_unique<DebugMonitor>(*targets_, prompter, status, diagnoser, *this, *this, true);
    davDisasm_ = new DisasmView(monitor_->Disassembly(), this);

    tbsFileList_->setObjectName("tbsFileList");
    tbsFileList_->setExpanding(false);
    tbsFileList_->setDocumentMode(true);
    tbsFileList_->installEventFilter(this);
    connect(tbsFileList_, &QTabBar::currentChanged, this, [this](int index) {
        if (!syncing_ && index >= 0)
            monitor_->TabClick(index + 1);
    });

    lblNoSrc_->setObjectName("lblNoSrc");
    lblNoSrc_->setText("No source to show.");
    lblNoSrc_->setAlignment(Qt::AlignCenter);
    lblNoSrc_->setForegroundRole(QPalette::PlaceholderText);
    stack_->addWidget(davDisasm_);
    stack_->addWidget(lblNoSrc_);
    sbrStatus_->setObjectName("sbrStatus");
    sbrStatus_->setSizeGripEnabled(false);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(tbsFileList_);
    layout->addWidget(stack_, 1);
    layout->addWidget(sbrStatus_);

    pollingResetKeyTimer_.setInterval(DebugMonitor::kResetKeyPollMs);
    connect(&pollingResetKeyTimer_, &QTimer::timeout, this, [this] {
        if (monitor_->PollingResetKey())
            monitor_->PollResetKey();
    });
    SyncViews();
}

DebuggerControl::~DebuggerControl() {
    // The views go before the models they paint.
    for (auto& [index, view] : views_)
        view->Detach();
    pollingResetKeyTimer_.stop();
}

bool DebuggerControl::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tbsFileList_) {
        if (event->type() == QEvent::MouseButtonPress)
            monitor_->TabMouseDown();
        else if (event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            const int code = key->key() == Qt::Key_Up         ? SourceLineModel::kKeyUp
                             : key->key() == Qt::Key_Down     ? SourceLineModel::kKeyDown
                             : key->key() == Qt::Key_PageUp   ? SourceLineModel::kKeyPageUp
                             : key->key() == Qt::Key_PageDown ? SourceLineModel::kKeyPageDown
                                                              : 0;
            if (code != 0 && monitor_->TabKeyDown(code, key->modifiers() & Qt::ShiftModifier))
                return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

DebugView* DebuggerControl::ViewWidget(int32_t view) const {
    const auto found = views_.find(view);
    return found == views_.end() ? nullptr : found->second;
}

QWidget* DebuggerControl::FrontWidget() const {
    return stack_->currentWidget();
}

// ---- Showing what the monitor holds -------------------------------------------------------------

void DebuggerControl::SyncViews() {
    syncing_ = true;
    // The strip mirrors the monitor's tabs.
    const std::vector<DebugTab>& tabs = monitor_->Tabs();
    while (tbsFileList_->count() > static_cast<int>(tabs.size()))
        tbsFileList_->removeTab(tbsFileList_->count() - 1);
    for (std::size_t i = 0; i < tabs.size(); ++i) {
        const int index = static_cast<int>(i);
        if (index >= tbsFileList_->count())
            tbsFileList_->addTab(QString());
        tbsFileList_->setTabText(index, QString::fromStdString(tabs[i].Caption));
        tbsFileList_->setTabToolTip(
            index, QString::fromStdString(platform::ToNativePath(tabs[i].ToolTip)));
        tbsFileList_->setTabData(index, QString::fromStdString(tabs[i].Key));
    }
    if (monitor_->SelectedTab() >= 1)
        tbsFileList_->setCurrentIndex(monitor_->SelectedTab() - 1);
    tbsFileList_->setVisible(tabs.size() >= 2);

    // A view widget for every view of the monitor; a widget whose model went is let go
    // before anything can paint it.
    for (auto it = views_.begin(); it != views_.end();) {
        if (monitor_->ViewAt(it->first) != it->second->Model()) {
            it->second->Detach();
            stack_->removeWidget(it->second);
            it->second->deleteLater();
            it = views_.erase(it);
        } else {
            ++it;
        }
    }
    for (int32_t v = 1; SourceLineModel* model = monitor_->ViewAt(v); ++v) {
        if (views_.count(v))
            continue;
        model->Finder = neighbours_.Finder;
        auto* view = new DebugView(model, stack_);
        connect(view, &DebugView::BreakpointEditorRequested, this,
                &DebuggerControl::BreakpointEditorRequested);
        stack_->addWidget(view);
        views_[v] = view;
    }

    QWidget* front = nullptr;
    if (monitor_->DisassemblyInFront())
        front = davDisasm_;
    else if (DebugView* view = ViewWidget(monitor_->CurrentView()))
        front = view;
    else
        front = monitor_->DisassemblyTab() ? static_cast<QWidget*>(davDisasm_) : lblNoSrc_;
    stack_->setCurrentWidget(front);
    syncing_ = false;
    ShowStatus();
    emit LayoutUpdated();
}

void DebuggerControl::ShowStatus() {
    const std::shared_ptr<Emulator>& emulator = monitor_->CurrentEmulator();
    if (!monitor_->GetAppliance() || !powered_ || !emulator) {
        sbrStatus_->showMessage("Powered off");
        return;
    }
    if (monitor_->Running()) {
        sbrStatus_->showMessage("Running");
        return;
    }
    const std::optional<CpuState> state = emulator->GetCpuState();
    sbrStatus_->showMessage(
        state ? QString("Halted at $%1").arg(QString::fromStdString(Hex4(state->PC)))
              : QString("Halted"));
}

// ---- DebuggerSide -------------------------------------------------------------------------------

void DebuggerControl::SetAppliance(Appliance* appliance) {
    if (!appliance) {
        monitor_->BreakIfNecessary();
        pollingResetKeyTimer_.stop();
        powered_ = false;
    }
    monitor_->SetAppliance(appliance);
    ShowStatus();
}

void DebuggerControl::FindNew() {
    if (SourceLineModel* view = monitor_->ViewAt(monitor_->CurrentView()))
        view->FindNew();
}

void DebuggerControl::FindNext() {
    if (SourceLineModel* view = monitor_->ViewAt(monitor_->CurrentView()))
        view->FindNext();
}

void DebuggerControl::ClearAllBreaks() {
    monitor_->ClearAllBreaks();
    davDisasm_->update();
}

void DebuggerControl::ToggleBreak() {
    monitor_->ToggleBreak(monitor_->CurrentView(), -1);
    davDisasm_->update();
}

void DebuggerControl::ToggleBreakAt(int bank, int address) {
    int32_t file = 0;
    int32_t line = 0;
    if (!monitor_->Symbols().GetSourceAt(bank, bank * 65536 + address, file, line))
        return;
    const int32_t tab = monitor_->TabOfFile(file);
    if (tab > 0)
        monitor_->ToggleBreak(monitor_->ViewOfTab(tab), line);
    davDisasm_->update();
}

void DebuggerControl::StepOver() {
    monitor_->StepOver();
    emit RunStateChanged(monitor_->Running());
    ShowStatus();
}

void DebuggerControl::Step() {
    monitor_->Step();
    ShowStatus();
}

void DebuggerControl::Continue() {
    monitor_->Continue();
    emit RunStateChanged(true);
    ShowStatus();
    // Nothing is painted while the target runs: the views say so by painting nothing new.
    davDisasm_->update();
}

bool DebuggerControl::Break() {
    const bool stopped = monitor_->Break();
    emit RunStateChanged(false);
    ShowStatus();
    return stopped;
}

void DebuggerControl::Reset() {
    monitor_->Reset();
    ShowStatus();
}

void DebuggerControl::UpdatePC() {
    monitor_->UpdatePC();
}

void DebuggerControl::Update() {
    monitor_->UpdateStatus(true, true, true, true);
}

bool DebuggerControl::PowerOn() {
    bool on = false;
    try {
        on = monitor_->PowerOn();
    } catch (const BxError& error) {
        prompter_.ask("Power On", error.Description, Buttons::Ok, Icon::Exclamation);
    }
    powered_ = on;
    if (on)
        pollingResetKeyTimer_.start();
    else
        pollingResetKeyTimer_.stop();
    ShowStatus();
    return on;
}

bool DebuggerControl::QueryShutdown() {
    monitor_->BreakIfNecessary();
    return true;
}

void DebuggerControl::PowerOff() {
    powered_ = false;
    pollingResetKeyTimer_.stop();
    AttachRegistersAndWatches(nullptr);
    AttachMemory(nullptr);
    ShowStatus();
}

bool DebuggerControl::DebugShowFileLine(const std::string& file, int line) {
    const std::string wanted = LowerCase(platform::ToNativePath(file));
    for (int32_t index = 0;; ++index) {
        const std::string path = monitor_->Symbols().GetSourcePath(index);
        if (path.empty())
            return false;
        const std::string native = LowerCase(platform::ToNativePath(path));
        // A name alone finds the file whatever folder the symbols give it.
        if (native == wanted || FileNameOf(path) == file ||
            (native.size() > wanted.size() &&
             native.compare(native.size() - wanted.size(), wanted.size(), wanted) == 0))
            return monitor_->GotoFileLine(index, line, false, false, true);
    }
}

std::shared_ptr<Emulator> DebuggerControl::CurrentEmulator() {
    return powered_ ? monitor_->CurrentEmulator() : nullptr;
}

Symbler* DebuggerControl::Symbols() {
    return &monitor_->Symbols();
}

// ---- DebugMonitorHost -----------------------------------------------------------------------

Facade* DebuggerControl::RequestFacade() {
    return neighbours_.PrototyperFacade ? neighbours_.PrototyperFacade() : nullptr;
}

std::shared_ptr<View> DebuggerControl::RequestActiveView() {
    return neighbours_.ActiveView ? neighbours_.ActiveView() : nullptr;
}

void DebuggerControl::RequestBuild() {
    emit BuildRequested();
}

void DebuggerControl::BreakHit(int32_t bank, int32_t address, int32_t cond) {
    ShowStatus();
    emit RunStateChanged(false);
    emit Stopped(bank, address, cond);
}

void DebuggerControl::DoReset() {
    emit ResetKeyPressed();
}

void DebuggerControl::LayoutChanged() {
    SyncViews();
}

// ---- DebugInspectors --------------------------------------------------------------------------

InspectorContent*
DebuggerControl::Inspector(const std::function<InspectorContent*()>& which) const {
    return which ? which() : nullptr;
}

void DebuggerControl::AttachRegistersAndWatches(const std::shared_ptr<Emulator>& emulator) {
    if (InspectorContent* registers = Inspector(neighbours_.Registers))
        registers->SetEmulator(emulator);
    if (InspectorContent* watches = Inspector(neighbours_.Watches))
        watches->SetEmulator(emulator);
}

void DebuggerControl::AttachMemory(const std::shared_ptr<Emulator>& emulator) {
    if (InspectorContent* memory = Inspector(neighbours_.Memory))
        memory->SetEmulator(emulator);
}

void DebuggerControl::SetSymbolList(const std::shared_ptr<bx::Watches>& symbols) {
    if (InspectorContent* watches = Inspector(neighbours_.Watches))
        watches->SetSymbolList(symbols);
}

void DebuggerControl::ReloadRegisters() {
    if (InspectorContent* registers = Inspector(neighbours_.Registers))
        registers->Reload();
}

void DebuggerControl::ReloadWatches() {
    if (InspectorContent* watches = Inspector(neighbours_.Watches))
        watches->Reload();
}

void DebuggerControl::ReloadMemory() {
    if (InspectorContent* memory = Inspector(neighbours_.Memory))
        memory->Reload();
}

void DebuggerControl::SetBusyPointer(bool busy) {
    if (busy) {
        if (busyDepth_++ == 0)
            QApplication::setOverrideCursor(Qt::BusyCursor);
    } else if (busyDepth_ > 0 && --busyDepth_ == 0) {
        QApplication::restoreOverrideCursor();
    }
}

} // namespace bx::ui
