#pragma once
// popSmartword: the borderless keyword list that shows under the word being typed in a source
// with the keywords of the MCU model and their descriptions, and follows the typing. It only
// shows: it never inserts anything and never takes the focus, so typing goes on in the editor
// while it is up. The editor hands it each character typed while it shows (Follow), and the
// keys that move in a list (Up, Down, Page Up, Page Down; MoveSelection).
//
// The list and its rules are KeywordList and the word rules of editor/Smartword.h.

#include "editor/Smartword.h"

#include <QFrame>
#include <QPlainTextEdit>
#include <QPointer>

class QTreeWidget;

namespace bx::ui {

class SmartwordPopup : public QFrame {
    Q_OBJECT
public:
    explicit SmartwordPopup(QWidget* parent = nullptr);

    void Clear();
    // Fills the list from a keyword file's content; the number of entries.
    int Load(const std::string& content);
    const KeywordList& Keywords() const { return keywords_; }

    // Looks the word up: on a hit the window shows with that entry selected and in view, on
    // none it stays hidden. Either way word becomes the text typed so far.
    void StartWord(const std::string& word);
    // A character typed while the window shows: a letter, digit or "_" extends the word and
    // looks again (no hit hides the window); anything else hides it.
    void Follow(char16_t c);
    // A list key (Up, Down, Page Up, Page Down) while the window shows.
    void MoveSelection(int key);

    // The editor the window serves.
    void SetEditor(QPlainTextEdit* editor) { editor_ = editor; }
    QPlainTextEdit* Editor() const { return editor_; }
    const std::string& Word() const { return word_; }
    QTreeWidget* List() const { return lvwKeywords_; }
    // The keyword of the selected entry; empty with none.
    QString SelectedKeyword() const;

private:
    void ShowEntry(int index);

    QTreeWidget* lvwKeywords_;
    KeywordList keywords_;
    std::string word_;
    QPointer<QPlainTextEdit> editor_;
};

} // namespace bx::ui
