#pragma once
// frmSource: the child window that holds the source editor (edtSource) and the debugger
// (monDebug) one over the other. It decides which of the two a person sees, forwards the
// frame's commands to the right one, and turns their events into the frame's command state.
// While the debugger is in front nothing can be edited, and the caption says so.
//
// The two sides are plugged in through EditorSide and DebuggerSide; a side that isn't part of
// the studio yet is a note saying so, and answers as a side with nothing open would.

#include <QWidget>
#include <memory>
#include <string>

class QStackedWidget;

namespace bx {
class Appliance;
class CommandState;
class Emulator;
class Prompter;
class Symbler;
} // namespace bx

namespace bx::ui {

class FindWindow;

// What the source editor tells its host: the events of its documents, which the host turns
// into the frame's command state.
class EditorHost {
public:
    virtual ~EditorHost() = default;
    // A document became the active one: new, loaded, or selected by opening it again.
    virtual void SourceOpened() = 0;
    // The last document was closed.
    virtual void SourceAllClosed() = 0;
    // The active document's selection changed and isn't empty.
    virtual void SelectionMade() = 0;
    // The selection changed and is empty, or the editor lost the focus.
    virtual void SelectionCleared() = 0;
    // What CanUndo, CanRedo or CanPaste answer may have changed.
    virtual void EditStateChanged() = 0;
    // The appliance's sources changed from the editor (a file saved under a new name was
    // added, or the old name removed): the appliance window shows it anew.
    virtual void ApplianceSourcesChanged() = 0;
};

// The source editor as the host forwards to it. A side is a widget of its own (Widget()), and
// the host's window owns it once plugged in.
class EditorSide {
public:
    virtual ~EditorSide() = default;
    virtual QWidget* Widget() = 0;
    // The window takes the appliance; null when it is unloaded (closing the appliance), and
    // then the open documents go with it (the frame has offered to save them before).
    virtual void SetAppliance(Appliance* appliance) = 0;
    // Where the events go; set by the host when the side is plugged in.
    virtual void SetHost(EditorHost* /*host*/) {}
    virtual void FindNew() {}
    virtual void FindNext() {}
    virtual void EditReplace() {}
    virtual void Undo() {}
    virtual void Redo() {}
    virtual bool CanUndo() { return false; }
    virtual bool CanRedo() { return false; }
    virtual bool CanPaste() { return false; }
    virtual void Cut() {}
    virtual void Copy() {}
    virtual void Paste() {}
    // Close the active document, or all of them, as a person asks for it: a modified document
    // is offered for saving first, and a Cancel keeps it (and the ones behind it) open.
    virtual void CloseTopMost() {}
    virtual void CloseAllMost() {}
    // Opens (or brings forward) a document; path relative to the appliance's folder or whole.
    virtual void LoadSource(const std::string& /*path*/) {}
    virtual void GotoLine(int /*line*/) {}
    virtual void NewSource(const std::string& /*caption*/) {}
    virtual void EnablePromptWindows(bool /*enable*/) {}
    virtual void LoadKeyWord() {}
    // Saves the documents: every one with force, else the modified ones, asking first with
    // prompt. False when the person cancelled.
    virtual bool SaveAll(bool /*prompt*/, bool /*force*/) { return true; }
    virtual void SaveTopMost(bool /*saveAs*/) {}
    // SaveAll with prompts, for closing; true unless cancelled.
    virtual bool UnloadSave() { return true; }
};

// The debugger control as the host forwards to it.
class DebuggerSide {
public:
    virtual ~DebuggerSide() = default;
    virtual QWidget* Widget() = 0;
    virtual void SetAppliance(Appliance* appliance) = 0;
    virtual void FindNew() {}
    virtual void FindNext() {}
    virtual void ClearAllBreaks() {}
    // The current line's breakpoint.
    virtual void ToggleBreak() {}
    virtual void ToggleBreakAt(int /*bank*/, int /*address*/) {}
    virtual void StepOver() {}
    virtual void Step() {}
    virtual void Continue() {}
    // Stops a running target; whether it was stopped.
    virtual bool Break() { return false; }
    virtual void Reset() {}
    virtual void UpdatePC() {}
    virtual void Update() {}
    // Power-on; true when debugging can begin.
    virtual bool PowerOn() { return false; }
    // Before power-off and reset: a running target is stopped; whether the session may go on
    // to the halted state.
    virtual bool QueryShutdown() { return true; }
    // The power went off: the inspectors let the target go.
    virtual void PowerOff() {}
    // Shows a file's line in the debugger's views; whether the file was found.
    virtual bool DebugShowFileLine(const std::string& /*file*/, int /*line*/) { return false; }
    // The session's objects, for the breakpoint dialogs: null while powered off.
    virtual std::shared_ptr<Emulator> CurrentEmulator() { return nullptr; }
    virtual Symbler* Symbols() { return nullptr; }
};

class SourceWindow : public QWidget, public EditorHost {
    Q_OBJECT
public:
    // SetEditor and SetDebugger plug the two sides in before the window is used.
    // prompter: the window's own boxes (an external editor that can't be started).
    SourceWindow(CommandState& commands, Prompter& prompter, QWidget* parent = nullptr);
    ~SourceWindow() override;

    // Plugs a side in, once each; the window takes the side's widget (and with it the side)
    // over. The editor comes to the front.
    void SetEditor(EditorSide* editor);
    void SetDebugger(DebuggerSide* debugger);
    EditorSide& Editor() { return *editor_; }
    DebuggerSide& Debugger() { return *debugger_; }
    // wizFind: the one find dialog of the editor and the debugger's source views, so that both
    // remember the same text and options (see FindWindow.h).
    FindWindow& SharedFind() { return *find_; }

    // ---- The forwarding table ------------------------------------------------------------
    bool DebugShowFileLine(const std::string& file, int line);
    void FindNew(bool debug);
    void FindNext(bool debug);
    void EditReplace();
    void ClearAllBreaks();
    // With either value negative the current line's breakpoint; an address below 1 does
    // nothing.
    void ToggleBreak(int bank, int address);
    void StepOver();
    void UpdatePC();
    void Update();
    bool PowerOn(bool on);
    void BringUpSource();
    void BringUpDebug();
    void Continue();
    bool Break();
    void Step();
    void Reset();
    void GotoFileLine(const std::string& file, int line);
    void SetAppliance(Appliance* appliance);
    void NewSource(const std::string& caption);
    void LoadSource(const std::string& path);
    bool SaveAll(bool prompt, bool force);
    bool UnloadSave();
    // Opening a source from the appliance tree: with an external editor in use (the
    // appliance's command), that program opens the file, started in the appliance's folder
    // with "%i" replaced by the path in double quotes; otherwise LoadSource. A command that
    // can't be started is reported in a box.
    void OpenFromTree(const std::string& path);

    bool DebuggerInFront() const;
    // Set by the first close request of the window; the frame reads it.
    bool UnloadConfirmed() const { return unloadConfirmed_; }
    void ConfirmUnload() { unloadConfirmed_ = true; }

    // ---- Events of the editor, turned into the frame's command state ----------------------
    void SourceOpened() override;
    void SourceAllClosed() override;
    void SelectionMade() override;
    void SelectionCleared() override;
    // Undo, Redo and Paste follow the editor's answers while it is in front.
    void EditStateChanged() override;
    void ApplianceSourcesChanged() override;

signals:
    // The window's caption: "Source Editor" or "Debugger (No Editing)".
    void CaptionChanged(const QString& caption);
    // The window wants to be seen (a document is being opened).
    void ShowRequested();
    // A stop of the running target was dealt with: the frame turns to the stopped state.
    void StoppedByTarget();
    // The appliance's sources changed from the editor: the appliance window shows them anew.
    void ApplianceChanged();

private:
    CommandState& commands_;
    Prompter& prompter_;
    QStackedWidget* stack_;
    EditorSide* editor_ = nullptr;
    DebuggerSide* debugger_ = nullptr;
    FindWindow* find_;
    Appliance* appliance_ = nullptr;
    bool unloadConfirmed_ = false;
};

} // namespace bx::ui
