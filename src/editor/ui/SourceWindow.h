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
class Symbler;
} // namespace bx

namespace bx::ui {

// The source editor as the host forwards to it. A side is a widget of its own (Widget()), and
// the host's window owns it once plugged in.
class EditorSide {
public:
    virtual ~EditorSide() = default;
    virtual QWidget* Widget() = 0;
    virtual void SetAppliance(Appliance* appliance) = 0;
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

class SourceWindow : public QWidget {
    Q_OBJECT
public:
    // The sides are this build's own until SetEditor and SetDebugger plug real ones in.
    SourceWindow(CommandState& commands, QWidget* parent = nullptr);
    ~SourceWindow() override;

    // Plugs a side in; the window takes the side's widget (and with it the side) over, and
    // lets the one before go.
    void SetEditor(EditorSide* editor);
    void SetDebugger(DebuggerSide* debugger);
    EditorSide& Editor() { return *editor_; }
    DebuggerSide& Debugger() { return *debugger_; }

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

    bool DebuggerInFront() const;
    // Set by the first close request of the window; the frame reads it.
    bool UnloadConfirmed() const { return unloadConfirmed_; }
    void ConfirmUnload() { unloadConfirmed_ = true; }

    // ---- Events of the editor, turned into the frame's command state ----------------------
    void SourceOpened();
    void SourceAllClosed();
    void SelectionMade();
    void SelectionCleared();

signals:
    // The window's caption: "Source Editor" or "Debugger (No Editing)".
    void CaptionChanged(const QString& caption);
    // The window wants to be seen (a document is being opened).
    void ShowRequested();
    // A stop of the running target was dealt with: the frame turns to the stopped state.
    void StoppedByTarget();

private:
    CommandState& commands_;
    QStackedWidget* stack_;
    EditorSide* editor_ = nullptr;
    DebuggerSide* debugger_ = nullptr;
    bool unloadConfirmed_ = false;
};

} // namespace bx::ui
