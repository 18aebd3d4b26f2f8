#pragma once
// SourceEditor (edtSource): every source file open in the session, one SourceEdit per file,
// the tab strip tbsFileList under the editor that selects among them, the strip pctMarkers on
// the left with the line numbers, and the status bar sbrStatus with "Line: n Pos: m" of the
// selection's end. It opens, creates, saves and closes the documents, checks for changes made
// outside the studio, handles the editor's own keys and pop-up menu, shows the keyword hints
// (popSmartword) and runs find and replace (wizFind, shared with the debugger; wizReplace;
// wizReplaceNext).
//
// The bookkeeping of tabs and `sources`, the path and stamp rules, the keyword list and the
// search passes are the core's (SourceDocuments, Smartword, SearchSession); this widget holds
// the texts and asks the person. Every message box goes through the Prompter, every dialog and
// picker through the DialogRunner. Paths are in the system's backslash form; a document under
// the appliance's folder is held by its relative path, and file operations resolve it in that
// folder.
//
// Saving never loses text silently: a file that can't be written says so and the document
// stays modified, and a save that didn't happen (cancelled or failed) counts as a Cancel for
// whoever asked, so that closing stops there.

#include "editor/SearchSession.h"
#include "editor/SourceDocuments.h"
#include "editor/ui/SourceWindow.h"

#include <QPointer>
#include <QWidget>
#include <map>
#include <memory>

class QLabel;
class QMenu;
class QPlainTextEdit;
class QStatusBar;
class QTabBar;

namespace bx {
class Prompter;
}

namespace bx::ui {

class FindWindow;
class MarkerStrip;
class ReplaceNextWindow;
class ReplaceWindow;
class SmartwordPopup;
class SourceEdit;

class SourceEditor : public QWidget, public EditorSide {
    Q_OBJECT
public:
    // finder: the shared find dialog (SourceWindow::SharedFind()).
    SourceEditor(Prompter& prompter, FindWindow& finder, QWidget* parent = nullptr);
    ~SourceEditor() override;

    // ---- EditorSide: what the host forwards ---------------------------------------------
    QWidget* Widget() override { return this; }
    void SetHost(EditorHost* host) override { host_ = host; }
    void SetAppliance(Appliance* appliance) override;
    void FindNew() override;
    void FindNext() override;
    void EditReplace() override;
    void Undo() override;
    void Redo() override;
    bool CanUndo() override;
    bool CanRedo() override;
    bool CanPaste() override;
    void Cut() override;
    void Copy() override;
    void Paste() override;
    void CloseTopMost() override;
    void CloseAllMost() override;
    void LoadSource(const std::string& path) override { LoadSource(path, std::string()); }
    void GotoLine(int line) override;
    void NewSource(const std::string& caption) override;
    void EnablePromptWindows(bool enable) override { setPromptWindowEnable(enable); }
    void LoadKeyWord() override;
    bool SaveAll(bool prompt, bool force) override;
    void SaveTopMost(bool saveAs) override { ForceSave(saveAs); }
    bool UnloadSave() override { return SaveAll(true, false); }

    // ---- The document set -----------------------------------------------------------------
    void setPromptWindowEnable(bool enable) { promptEnabled_ = enable; }
    bool PromptEnabled() const { return promptEnabled_; }
    // Opens a document, or brings it forward when it is open already (the file isn't read
    // again). caption: the tab's text; empty for the file's name.
    void LoadSource(const std::string& path, const std::string& caption);
    // Saves the active document if it is modified, asking first with prompt. The answer: 6
    // saved (or to be saved without asking), 7 No, 2 Cancel (also when the save didn't
    // happen), 0 not modified.
    int SaveDirty(bool prompt, bool saveAs);
    // Saves the active document whatever its state, through Save As when asked or when it has
    // no path yet; whether it was written.
    bool ForceSave(bool saveAs);
    bool IsDirty() const;
    void ClearIsDirtyFlag();
    // The offer to reload the active document when its file changed outside the studio; runs
    // before each save, when an editor gets the focus and at each click.
    void CheckOutsideChange();

    // ---- What tests and the host look at --------------------------------------------------
    const SourceDocuments& Documents() const { return documents_; }
    // The editor of tab n (1-based); null for none.
    QPlainTextEdit* GetEditor(int tab) const;
    QPlainTextEdit* ActiveEditor() const;
    QTabBar* FileList() const { return tbsFileList_; }
    QWidget* Markers() const;
    QStatusBar* StatusBar() const { return sbrStatus_; }
    QString StatusText() const;
    SmartwordPopup* Hints() const { return popSmartword_; }
    QMenu* PopupMenu() const { return mnuPopup_; }
    ReplaceWindow* Replacer() const { return wizReplace_; }
    ReplaceNextWindow* ReplaceStepper() const { return wizReplaceNext_; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The open documents as the search passes see them.
    class OpenDocuments;

    // ---- Documents ---------------------------------------------------------------------------
    int AddDocument(const std::string& path, const std::string& caption);
    SourceEdit* MakeEditor(int editorNumber);
    // Cuts an editor that is to go off from this control's signals and events.
    void Unhook(SourceEdit* edit);
    void FormatDocument(SourceEdit* edit, int start, int length);
    void ShowDocument(int tab);
    void PostLoad(SourceEdit* edit);
    bool SelectByKey(const std::string& key);
    bool ReadInto(SourceEdit* edit, const std::string& path);
    // False with the reason in whyNot when the file could not be written.
    bool WriteFrom(SourceEdit* edit, const std::string& path, std::string& whyNot);
    // Closing the active document, or all of them, as the commands do: no saving here.
    void RemoveActive();
    void RemoveAll();
    void ResetStrips();
    void ShowStrips(bool shown);
    void SyncTab(int tab);
    void SelectTab(int tab);
    // The file's place and its stamp now.
    std::string Resolved(const std::string& path) const;
    std::string StampOf(const std::string& path) const;
    std::string Folder() const;
    SourceEdit* EditorOfTab(int tab) const;
    SourceEdit* EditorNumbered(int number) const;

    // ---- Layout, status and keys -----------------------------------------------------------
    void SizeActiveEditor();
    void LayoutStrips();
    void SelectionChanged(SourceEdit* edit);
    bool KeyDown(SourceEdit* edit, QKeyEvent* event);
    void CharacterTyped(SourceEdit* edit, char16_t c);
    void ShowPopup(const QPoint& globalPosition);
    void OpenFromMenu();
    void SetFont();
    void EditStateChanged();
    void ProposeSelection();

    Prompter& prompter_;
    FindWindow& wizFind_;
    EditorHost* host_ = nullptr;
    Appliance* appliance_ = nullptr;
    SourceDocuments documents_;
    std::map<int, SourceEdit*> editors_;
    std::unique_ptr<OpenDocuments> open_;
    std::unique_ptr<SearchSession> search_;
    bool promptEnabled_ = false;
    bool checking_ = false;
    bool syncingTabs_ = false;

    // What shows with no document open.
    QLabel* template_;
    MarkerStrip* pctMarkers_;
    QTabBar* tbsFileList_;
    QStatusBar* sbrStatus_;
    QLabel* statusPosition_;
    QLabel* statusNote_;
    SmartwordPopup* popSmartword_;
    QMenu* mnuPopup_;
    ReplaceWindow* wizReplace_;
    ReplaceNextWindow* wizReplaceNext_;
};

} // namespace bx::ui
