#pragma once
// The source editor's find and replace commands without their windows: Find (FindNew), Find
// Next, and Replace with its three scopes (the active file, from the selection on, every open
// file), each either step by step (the interactive pass, which asks at every match) or all at
// once. The open documents are reached through SearchDocuments, the dialogs through small
// interfaces, and the closing box through the Prompter, so that every pass runs in a test.
//
// The pass rules:
//   - A pass begins at the beginning of its range: position 0 of the file (of each file, for
//     all open files), or the selection's start for the selection's scope.
//   - Step by step, the next search starts one past the earlier match after "Find Next", and
//     right behind the inserted text after "Replace", so that a replacement that contains the
//     find text is never found again. The selection's scope only sets where the pass begins:
//     it goes on to the end of the file. Over all open files the pass moves on to the next
//     file (in the order of the editors) when one has no match left, and brings it forward.
//     The end of the pass says "The Search is Completed"; a cancel ends it without a word.
//   - "Replace All" in the step dialog replaces the match shown and every one the pass would
//     still reach; matches passed over with "Find Next" stay as they are.
//   - Replace All from the replace dialog replaces every match of the scope at once, one undo
//     step per file, with no closing box; for the selection's scope only matches that lie
//     wholly inside the selection as it stood when the command began.
// UI thread only.

#include "editor/TextSearch.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bx {

class FindDialog;
class Prompter;

// The open documents as the find and replace commands see them. Documents go by their editor
// number; positions and lengths are in the text's UTF-16 characters.
class SearchDocuments {
public:
    virtual ~SearchDocuments() = default;
    // The active document's editor number; 0 with none.
    virtual int ActiveEditor() const = 0;
    // The open documents' editor numbers, ascending.
    virtual std::vector<int> EditorNumbers() const = 0;
    virtual std::u16string Text(int editor) const = 0;
    virtual int32_t SelectionStart(int editor) const = 0;
    virtual int32_t SelectionLength(int editor) const = 0;
    // Selects the range and scrolls it into view.
    virtual void Select(int editor, int32_t start, int32_t length) = 0;
    // Replaces the ranges [start, start + length) of each start (ascending, none overlapping)
    // by text, as one undo step; the caret ends behind the last replacement.
    virtual void Replace(int editor, const std::vector<int32_t>& starts, int32_t length,
                         const std::u16string& text) = 0;
    // Brings the document forward and gives it the focus.
    virtual void Activate(int editor) = 0;
};

// wizReplace as the commands read it after it was shown.
class ReplaceDialog {
public:
    enum Scope : int { kCurrentFile = 1, kSelected = 2, kAllOpenFiles = 3 };
    enum Action : int { kStart = 1, kReplaceAll = 3, kCancel = 5 };
    virtual ~ReplaceDialog() = default;
    // Shows the dialog modally; the fields below hold the answer afterwards.
    virtual void ShowModal() = 0;
    virtual std::string FindWhat() const = 0;
    virtual std::string ReplaceWith() const = 0;
    virtual bool MatchCase() const = 0;
    virtual bool WholeWord() const = 0;
    virtual int Scope() const = 0;
    virtual int Action() const = 0;
};

// wizReplaceNext: asked at each match of the interactive pass.
class ReplaceNextDialog {
public:
    enum Action : int { kReplace = 2, kReplaceAll = 3, kFindNext = 4 };
    virtual ~ReplaceNextDialog() = default;
    // Shows the dialog modally; the button pressed. Any other value ends the pass.
    virtual int ShowModal() = 0;
};

class SearchSession {
public:
    SearchSession(SearchDocuments& documents, Prompter& prompter);

    // The dialogs; a command whose dialog is missing does nothing.
    FindDialog* Finder = nullptr;
    ReplaceDialog* Replacer = nullptr;
    ReplaceNextDialog* Stepper = nullptr;
    // A find found nothing (no box is shown for it; the window may say so quietly).
    std::function<void(const std::u16string& text)> NotFound;

    // The commands; editor 0 means the active document. With no document they do nothing.
    // Find: asks for the text and options, and searches from the beginning of the file.
    void FindNew(int editor = 0);
    // Searches the stored text again from one past the selection's start; without a stored
    // text, FindNew.
    void FindNext(int editor = 0);
    // Asks for the texts, options, scope and action, then runs the pass or Replace All.
    void EditReplace(int editor = 0);
    void ReplaceStart(int scope, int editor = 0);
    void ReplaceAll(int scope, int editor = 0);

    const std::u16string& FindText() const { return findText_; }
    const std::u16string& ReplaceText() const { return replaceText_; }
    int Options() const { return options_; }

private:
    int Resolve(int editor) const;
    // Runs the interactive pass from position from of editor.
    void RunPass(int scope, int editor, int32_t from);
    // Replaces every match from position from of editor on up to end (-1: the end of the
    // text), and with scope 3 in every later editor as well.
    void ReplaceFrom(int scope, int editor, int32_t from, int32_t end);
    void ReplaceInEditor(int editor, int32_t from, int32_t end);
    void ReportNotFound();

    SearchDocuments& documents_;
    Prompter& prompter_;
    std::u16string findText_;
    std::u16string replaceText_;
    int options_ = 0;
};

} // namespace bx
