#pragma once
// One document's text editor inside the source editor: plain text in the system's fixed-pitch
// font, tab stops every 840 twips whatever the font, never a wrapped line, the caret's line
// lightly marked, and (once colouring is on) ca65 syntax colours.
//
// Colouring is lazy: a line gets its colours when it first comes on the screen, and again
// whenever it changes, so that opening a file of any length costs only the lines shown. The
// colours come from AsmSyntax and follow the palette: one set for light and one for dark
// backgrounds. They are the highlighter's formats, not part of the text, so they are neither
// saved nor undone and don't touch the modified flag.

#include <QPlainTextEdit>
#include <QTextBlock>

namespace bx::ui {

class AsmHighlighter;

class SourceEdit : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit SourceEdit(int editorNumber, QWidget* parent = nullptr);
    ~SourceEdit() override;

    int EditorNumber() const { return editorNumber_; }

    // Colours from now on; the post-load hook of a document turns it on.
    void EnableColouring();
    bool Colouring() const { return colouring_; }
    // Puts a whole new text in (a load or a reload): no line is coloured on the way, the ones
    // shown get their colours when painted.
    void SetText(const QString& text);

    // For the line numbers beside the editor: the first block on the screen, and a block's
    // rectangle in the viewport's coordinates.
    QTextBlock FirstVisibleBlock() const { return firstVisibleBlock(); }
    QRectF BlockRect(const QTextBlock& block) const;

    // How the file was written, so that saving writes it the same way: Latin-1 when it wasn't
    // UTF-8, CR LF line ends.
    bool Latin1 = false;
    bool CrLf = false;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void ColourVisibleLines();
    void MarkCaretLine();

    int editorNumber_;
    bool colouring_ = false;
    AsmHighlighter* highlighter_;
};

} // namespace bx::ui
