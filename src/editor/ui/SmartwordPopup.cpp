#include "editor/ui/SmartwordPopup.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace bx::ui {

namespace {
constexpr int kVisibleRows = 9;
} // namespace

SmartwordPopup::SmartwordPopup(QWidget* parent)
    : QFrame(parent, Qt::ToolTip | Qt::FramelessWindowHint), lvwKeywords_(new QTreeWidget) {
    setObjectName("popSmartword");
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::Box);
    lvwKeywords_->setObjectName("lvwKeywords");
    lvwKeywords_->setColumnCount(2);
    lvwKeywords_->setHeaderHidden(true);
    lvwKeywords_->setRootIsDecorated(false);
    lvwKeywords_->setUniformRowHeights(true);
    lvwKeywords_->setAlternatingRowColors(true);
    lvwKeywords_->setFocusPolicy(Qt::NoFocus);
    lvwKeywords_->setFrameShape(QFrame::NoFrame);
    lvwKeywords_->setSelectionMode(QAbstractItemView::SingleSelection);
    lvwKeywords_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    lvwKeywords_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    lvwKeywords_->header()->setStretchLastSection(true);
    // The list fills the window.
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->addWidget(lvwKeywords_);
    const int row = lvwKeywords_->fontMetrics().height() + 4;
    resize(460, row * kVisibleRows + 4);
}

void SmartwordPopup::Clear() {
    keywords_.Clear();
    lvwKeywords_->clear();
    word_.clear();
    hide();
}

int SmartwordPopup::Load(const std::string& content) {
    Clear();
    const int added = LoadKeywords(keywords_, content);
    QList<QTreeWidgetItem*> items;
    for (const KeywordEntry& entry : keywords_.Entries()) {
        auto* item = new QTreeWidgetItem(
            {QString::fromStdString(entry.Keyword), QString::fromStdString(entry.Description)});
        QFont bold = item->font(0);
        bold.setBold(true);
        item->setFont(0, bold);
        items << item;
    }
    lvwKeywords_->addTopLevelItems(items);
    // Whole rows only, so that the last one isn't cut.
    const int row = lvwKeywords_->sizeHintForRow(0);
    if (row > 0)
        resize(width(), row * kVisibleRows + 2 * (frameWidth() + 1));
    return added;
}

void SmartwordPopup::ShowEntry(int index) {
    QTreeWidgetItem* item = lvwKeywords_->topLevelItem(index);
    if (!item) {
        hide();
        return;
    }
    show();
    lvwKeywords_->setCurrentItem(item);
    lvwKeywords_->scrollToItem(item, QAbstractItemView::PositionAtTop);
}

void SmartwordPopup::StartWord(const std::string& word) {
    word_ = word;
    const int found = keywords_.Find(word);
    if (found < 0)
        hide();
    else
        ShowEntry(found);
}

void SmartwordPopup::Follow(char16_t c) {
    if (!IsListWordChar(c)) {
        hide();
        return;
    }
    word_ += static_cast<char>(c);
    const int found = keywords_.Find(word_);
    if (found < 0)
        hide();
    else
        ShowEntry(found);
}

void SmartwordPopup::MoveSelection(int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(lvwKeywords_, &press);
}

QString SmartwordPopup::SelectedKeyword() const {
    const QTreeWidgetItem* item = lvwKeywords_->currentItem();
    return item && isVisible() ? item->text(0) : QString();
}

} // namespace bx::ui
