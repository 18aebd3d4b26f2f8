#include "editor/ui/SourceEdit.h"

#include "editor/AsmSyntax.h"
#include "platform/ui/Twips.h"

#include <QFontDatabase>
#include <QPainter>
#include <QSyntaxHighlighter>
#include <QTextBlock>
#include <QTextLayout>
#include <algorithm>

namespace bx::ui {

namespace {

// The tab stops: every 840 twips, whatever the font.
constexpr double kTabStopTwips = 840.0;
QColor Blend(const QColor& under, const QColor& over, double share) {
    return QColor::fromRgbF(
        static_cast<float>(under.redF() * (1 - share) + over.redF() * share),
        static_cast<float>(under.greenF() * (1 - share) + over.greenF() * share),
        static_cast<float>(under.blueF() * (1 - share) + over.blueF() * share));
}

bool DarkPalette(const QPalette& palette) {
    return palette.color(QPalette::Base).lightness() < 128;
}

// The text format of each kind of piece, for a light or a dark background.
QTextCharFormat FormatOf(AsmToken kind, bool dark) {
    QTextCharFormat format;
    switch (kind) {
    case AsmToken::Comment:
        format.setForeground(dark ? QColor(0x8F, 0xA8, 0x8F) : QColor(0x4F, 0x78, 0x4F));
        format.setFontItalic(true);
        break;
    case AsmToken::Mnemonic:
        format.setForeground(dark ? QColor(0x82, 0xB4, 0xFF) : QColor(0x1A, 0x4B, 0xA8));
        format.setFontWeight(QFont::Bold);
        break;
    case AsmToken::Directive:
        format.setForeground(dark ? QColor(0xD8, 0x9E, 0xE0) : QColor(0x85, 0x2A, 0x8C));
        break;
    case AsmToken::Label:
        format.setForeground(dark ? QColor(0xF0, 0xB8, 0x6E) : QColor(0x96, 0x4B, 0x00));
        format.setFontWeight(QFont::Bold);
        break;
    case AsmToken::Number:
        format.setForeground(dark ? QColor(0x6F, 0xD6, 0xC8) : QColor(0x00, 0x6E, 0x66));
        break;
    case AsmToken::String:
        format.setForeground(dark ? QColor(0xF2, 0x8F, 0x8F) : QColor(0xA8, 0x24, 0x24));
        break;
    }
    return format;
}

} // namespace

// The colouring: a syntax highlighter that colours a line only once it is asked to (a line
// coming on the screen) or the line changes, never in a pass over the whole text. A coloured
// line carries a mark; the block state is left alone, so that colouring one line doesn't make
// the highlighter go on to the next.
class AsmHighlighter final : public QSyntaxHighlighter {
public:
    explicit AsmHighlighter(SourceEdit* edit) : QSyntaxHighlighter(edit->document()), edit_(edit) {}

    // While a whole text is put in, lines go through uncoloured.
    bool Passing = false;

    static bool Coloured(const QTextBlock& block) { return block.userData() != nullptr; }
    void Colour(const QTextBlock& block) { rehighlightBlock(block); }

protected:
    void highlightBlock(const QString& text) override {
        if (Passing || !edit_->Colouring())
            return;
        const bool dark = DarkPalette(edit_->palette());
        const std::u16string_view line(reinterpret_cast<const char16_t*>(text.utf16()),
                                       static_cast<std::size_t>(text.size()));
        for (const AsmSpan& span : ColourAsmLine(line))
            setFormat(span.Start, span.Length, FormatOf(span.Kind, dark));
        if (!currentBlockUserData())
            setCurrentBlockUserData(new QTextBlockUserData);
    }

private:
    SourceEdit* edit_;
};

SourceEdit::SourceEdit(int editorNumber, QWidget* parent)
    : QPlainTextEdit(parent), editorNumber_(editorNumber), highlighter_(new AsmHighlighter(this)) {
    setObjectName(QString("rtbSource%1").arg(editorNumber));
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setWordWrapMode(QTextOption::NoWrap);
    setTabStopDistance(Twips(this).ToPixelsX(kTabStopTwips));
    setFrameShape(QFrame::NoFrame);
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, &SourceEdit::MarkCaretLine);
    MarkCaretLine();
}

SourceEdit::~SourceEdit() = default;

void SourceEdit::EnableColouring() {
    colouring_ = true;
    viewport()->update();
}

void SourceEdit::SetText(const QString& text) {
    highlighter_->Passing = true;
    setPlainText(text);
    highlighter_->Passing = false;
}

QRectF SourceEdit::BlockRect(const QTextBlock& block) const {
    return blockBoundingGeometry(block).translated(contentOffset());
}

void SourceEdit::paintEvent(QPaintEvent* event) {
    ColourVisibleLines();
    QPlainTextEdit::paintEvent(event);
}

void SourceEdit::changeEvent(QEvent* event) {
    QPlainTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    // Another theme: every line gets the colours of the new background when next shown.
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next())
        block.setUserData(nullptr);
    MarkCaretLine();
    viewport()->update();
}

void SourceEdit::ColourVisibleLines() {
    if (!colouring_)
        return;
    const qreal bottom = viewport()->rect().bottom();
    QTextBlock block = firstVisibleBlock();
    qreal top = BlockRect(block).top();
    while (block.isValid() && top <= bottom) {
        if (!AsmHighlighter::Coloured(block))
            highlighter_->Colour(block);
        top += blockBoundingRect(block).height();
        block = block.next();
    }
}

void SourceEdit::MarkCaretLine() {
    QTextEdit::ExtraSelection line;
    line.format.setBackground(
        Blend(palette().color(QPalette::Base), palette().color(QPalette::Highlight), 0.12));
    line.format.setProperty(QTextFormat::FullWidthSelection, true);
    line.cursor = textCursor();
    line.cursor.clearSelection();
    setExtraSelections({line});
}

} // namespace bx::ui
