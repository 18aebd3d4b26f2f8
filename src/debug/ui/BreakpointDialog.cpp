#include "debug/ui/BreakpointDialog.h"

#include "frame/ui/StudioIcons.h"
#include "inspectors/BreakpointList.h"
#include "platform/ui/DialogRunner.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

constexpr int kTagRole = Qt::UserRole;

QPushButton* AddButton(QDialogButtonBox* box, const QString& caption, const char* name,
                       QDialogButtonBox::ButtonRole role) {
    QPushButton* button = box->addButton(caption, role);
    button->setObjectName(name);
    button->setAutoDefault(false);
    return button;
}

} // namespace

BreakpointDialog::BreakpointDialog(Appliance* appliance, Symbler* symbols, BreakpointListHost host,
                                   QWidget* parent)
    : QDialog(parent), appliance_(appliance), symbols_(symbols), host_(std::move(host)),
      lvwBreaks_(new QTreeWidget(this)) {
    setObjectName("wizBreakpoint");
    setWindowTitle("Breakpoints");
    lvwBreaks_->setObjectName("lvwBreaks");
    lvwBreaks_->setColumnCount(3);
    lvwBreaks_->setHeaderLabels({"Location", "Source File", "Line"});
    lvwBreaks_->setRootIsDecorated(false);
    lvwBreaks_->setUniformRowHeights(true);
    lvwBreaks_->setMinimumWidth(560);
    lvwBreaks_->header()->setStretchLastSection(false);
    lvwBreaks_->header()->setSectionResizeMode(1, QHeaderView::Stretch);
    connect(lvwBreaks_, &QTreeWidget::itemDoubleClicked, this, [this] { GotoSelected(); });

    auto* buttons = new QDialogButtonBox(Qt::Vertical, this);
    cmdGoto_ = AddButton(buttons, "&Go To", "cmdGoto", QDialogButtonBox::ActionRole);
    cmdDelete_ = AddButton(buttons, "&Delete", "cmdDelete", QDialogButtonBox::ActionRole);
    cmdDeleteAll_ = AddButton(buttons, "Delete &All", "cmdDeleteAll", QDialogButtonBox::ActionRole);
    QPushButton* close = AddButton(buttons, "&Close", "cmdClose", QDialogButtonBox::RejectRole);
    connect(cmdGoto_, &QPushButton::clicked, this, &BreakpointDialog::GotoSelected);
    connect(cmdDelete_, &QPushButton::clicked, this, &BreakpointDialog::DeleteSelected);
    connect(cmdDeleteAll_, &QPushButton::clicked, this, [this] {
        if (host_.ClearAllBreaks)
            host_.ClearAllBreaks();
        Fill();
    });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(lvwBreaks_, 1);
    layout->addWidget(buttons);
    Fill();
}

void BreakpointDialog::Fill() {
    lvwBreaks_->clear();
    const BreakpointListing listing = ListBreakpoints(appliance_, symbols_);
    empty_ = listing.Empty;
    if (listing.Empty) {
        auto* item = new QTreeWidgetItem(lvwBreaks_);
        item->setText(1, kNoBreakpoints);
    } else {
        const QIcon icon = StudioIcon("Break");
        for (const BreakpointRow& row : listing.Rows) {
            auto* item = new QTreeWidgetItem(lvwBreaks_);
            item->setIcon(0, icon);
            item->setText(0, QString::fromStdString(row.Location));
            item->setText(1, QString::fromStdString(row.File));
            item->setText(2, QString::fromStdString(row.Line));
            item->setData(0, kTagRole, QString::fromStdString(row.Tag));
        }
        lvwBreaks_->setCurrentItem(lvwBreaks_->topLevelItem(0));
    }
    for (QPushButton* button : {cmdGoto_, cmdDelete_, cmdDeleteAll_})
        button->setEnabled(!listing.Empty);
    lvwBreaks_->resizeColumnToContents(0);
    lvwBreaks_->resizeColumnToContents(2);
}

std::optional<BreakpointLine> BreakpointDialog::SelectedLine() const {
    QTreeWidgetItem* item = lvwBreaks_->currentItem();
    if (empty_ || !item || !symbols_)
        return std::nullopt;
    return LineOfBreakpoint(item->data(0, kTagRole).toString().toStdString(), *symbols_);
}

void BreakpointDialog::GotoSelected() {
    if (const std::optional<BreakpointLine> line = SelectedLine(); line && host_.ShowFileLine)
        host_.ShowFileLine(line->Path, line->Line);
}

void BreakpointDialog::DeleteSelected() {
    if (const std::optional<BreakpointLine> line = SelectedLine(); line && host_.ToggleBreak)
        host_.ToggleBreak(line->Bank, line->Start);
    Fill();
}

void ShowBreakpointEditor(QWidget* parent, Appliance* appliance, Symbler* symbols,
                          BreakpointListHost host) {
    BreakpointDialog dialog(appliance, symbols, std::move(host), parent);
    Dialogs().Exec(dialog);
}

} // namespace bx::ui
