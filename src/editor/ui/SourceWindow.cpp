#include "editor/ui/SourceWindow.h"

#include "appliance/Appliance.h"
#include "editor/SourceDocuments.h"
#include "editor/ui/FindWindow.h"
#include "foundation/HostInterfaces.h"
#include "frame/CommandState.h"
#include "platform/Paths.h"
#include "platform/Process.h"

#include <QStackedWidget>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

constexpr const char* kSourceCaption = "Source Editor";
constexpr const char* kDebugCaption = "Debugger (No Editing)";

} // namespace

SourceWindow::SourceWindow(CommandState& commands, Prompter& prompter, QWidget* parent)
    : QWidget(parent), commands_(commands), prompter_(prompter), stack_(new QStackedWidget(this)),
      find_(new FindWindow(this)) {
    setObjectName("frmSourceHost");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(stack_);
}

SourceWindow::~SourceWindow() = default;

void SourceWindow::SetEditor(EditorSide* editor) {
    editor_ = editor;
    editor_->SetHost(this);
    stack_->insertWidget(0, editor_->Widget());
    stack_->setCurrentWidget(editor_->Widget());
}

void SourceWindow::SetDebugger(DebuggerSide* debugger) {
    debugger_ = debugger;
    stack_->addWidget(debugger_->Widget());
}

bool SourceWindow::DebuggerInFront() const {
    return stack_->currentWidget() == debugger_->Widget();
}

void SourceWindow::BringUpSource() {
    emit CaptionChanged(kSourceCaption);
    stack_->setCurrentWidget(editor_->Widget());
    EditStateChanged();
}

void SourceWindow::BringUpDebug() {
    emit CaptionChanged(kDebugCaption);
    stack_->setCurrentWidget(debugger_->Widget());
    // Nothing can be edited behind the debugger.
    commands_.EnableEditOps(false, false, false);
}

bool SourceWindow::DebugShowFileLine(const std::string& file, int line) {
    BringUpDebug();
    return debugger_->DebugShowFileLine(file, line);
}

void SourceWindow::FindNew(bool debug) {
    if (debug) {
        BringUpDebug();
        debugger_->FindNew();
    } else {
        BringUpSource();
        editor_->FindNew();
    }
}

void SourceWindow::FindNext(bool debug) {
    if (debug) {
        BringUpDebug();
        debugger_->FindNext();
    } else {
        BringUpSource();
        editor_->FindNext();
    }
}

void SourceWindow::EditReplace() {
    BringUpSource();
    editor_->EditReplace();
}

void SourceWindow::ClearAllBreaks() {
    BringUpDebug();
    debugger_->ClearAllBreaks();
}

void SourceWindow::ToggleBreak(int bank, int address) {
    BringUpDebug();
    if (bank < 0 || address < 0)
        debugger_->ToggleBreak();
    else if (address >= 1)
        debugger_->ToggleBreakAt(bank, address);
}

void SourceWindow::StepOver() {
    BringUpDebug();
    debugger_->StepOver();
}

void SourceWindow::UpdatePC() {
    debugger_->UpdatePC();
}

void SourceWindow::Update() {
    debugger_->Update();
}

bool SourceWindow::PowerOn(bool on) {
    if (on) {
        commands_.EnableSourceOps(false);
        BringUpDebug();
        const bool started = debugger_->PowerOn();
        if (!started) {
            // The frame stays powered off and on its source desktop: so does this window.
            commands_.EnableSourceOps(true);
            BringUpSource();
        }
        return started;
    }
    const bool off = debugger_->QueryShutdown();
    if (off) {
        commands_.EnableRuntimeMenus(false);
        commands_.EnableDebugMenus(true);
        debugger_->PowerOff();
    }
    BringUpSource();
    return off;
}

void SourceWindow::Continue() {
    BringUpDebug();
    debugger_->Continue();
}

bool SourceWindow::Break() {
    const bool stopped = debugger_->Break();
    if (stopped)
        BringUpDebug();
    return stopped;
}

void SourceWindow::Step() {
    BringUpDebug();
    debugger_->Step();
}

void SourceWindow::Reset() {
    if (debugger_->QueryShutdown()) {
        commands_.EnableRuntimeMenus(false);
        commands_.EnableDebugMenus(true);
    }
    commands_.EnableSourceOps(false);
    BringUpDebug();
    debugger_->Reset();
}

void SourceWindow::GotoFileLine(const std::string& file, int line) {
    emit ShowRequested();
    BringUpSource();
    editor_->LoadSource(file);
    editor_->GotoLine(line);
}

void SourceWindow::SetAppliance(Appliance* appliance) {
    appliance_ = appliance;
    editor_->SetAppliance(appliance);
    debugger_->SetAppliance(appliance);
}

void SourceWindow::NewSource(const std::string& caption) {
    emit ShowRequested();
    BringUpSource();
    editor_->NewSource(caption);
}

void SourceWindow::LoadSource(const std::string& path) {
    emit ShowRequested();
    BringUpSource();
    editor_->LoadSource(path);
}

bool SourceWindow::SaveAll(bool prompt, bool force) {
    return editor_->SaveAll(prompt, force);
}

bool SourceWindow::UnloadSave() {
    return editor_->UnloadSave();
}

void SourceWindow::OpenFromTree(const std::string& path) {
    if (!appliance_ || !appliance_->ExtEditorInUse || appliance_->ExtEditor.empty()) {
        LoadSource(path);
        return;
    }
    const std::string command = ExternalEditorCommand(appliance_->ExtEditor, path);
    const platform::StartResult started = platform::StartDetached(command, appliance_->Folder);
    if (!started.started)
        prompter_.ask(
            "Source Editor",
            "The external editor could not be started: " + platform::ToNativePath(command) +
                "\r\n" + platform::ErrorText(started.error),
            Buttons::Ok, Icon::Exclamation);
}

void SourceWindow::SourceOpened() {
    commands_.EnableSourceOps(true);
}

void SourceWindow::SourceAllClosed() {
    commands_.EnableSourceOps(false);
    commands_.EnableObjManipulate(true);
}

void SourceWindow::SelectionMade() {
    commands_.EnableSelectionOps(true);
}

void SourceWindow::SelectionCleared() {
    commands_.EnableSelectionOps(false);
}

void SourceWindow::EditStateChanged() {
    if (DebuggerInFront())
        return;
    commands_.EnableEditOps(editor_->CanUndo(), editor_->CanRedo(), editor_->CanPaste());
}

void SourceWindow::ApplianceSourcesChanged() {
    emit ApplianceChanged();
}

} // namespace bx::ui
