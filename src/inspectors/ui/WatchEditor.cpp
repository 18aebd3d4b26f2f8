#include "inspectors/ui/WatchEditor.h"

#include "foundation/HostInterfaces.h"
#include "frame/ui/StudioIcons.h"
#include "inspectors/Watch.h"
#include "platform/ui/DialogRunner.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

const QColor kChangedColour(192, 0, 0);
constexpr int kValueColumn = 2;
constexpr const char* kAddFailed = "Variable is already being watched / Add watch failed";

} // namespace

// ---- wizWatchItems --------------------------------------------------------------------------

WatchItemsDialog::WatchItemsDialog(Prompter& prompter, QWidget* parent)
    : QDialog(parent), prompter_(prompter), cbWatchItems_(new QComboBox(this)),
      cbWatchBytes_(new QComboBox(this)), optHex_(new QRadioButton("&Hexadecimal", this)),
      optDec_(new QRadioButton("&Decimal", this)), optBin_(new QRadioButton("&Binary", this)) {
    setObjectName("wizWatchItems");
    setWindowTitle("Watch Item");
    cbWatchItems_->setObjectName("cbWatchItems");
    cbWatchItems_->setEditable(true);
    cbWatchItems_->setInsertPolicy(QComboBox::NoInsert);
    cbWatchItems_->setMinimumContentsLength(24);
    cbWatchBytes_->setObjectName("cbWatchBytes");
    cbWatchBytes_->addItems({"Byte", "Word", "Long"});
    optHex_->setObjectName("optHex");
    optDec_->setObjectName("optDec");
    optBin_->setObjectName("optBin");
    optHex_->setChecked(true);

    auto* fields = new QFormLayout;
    fields->addRow("&Variable (name or name[n]):", cbWatchItems_);
    fields->addRow("&Size:", cbWatchBytes_);
    auto* format = new QGroupBox("Format", this);
    auto* formats = new QHBoxLayout(format);
    formats->addWidget(optHex_);
    formats->addWidget(optDec_);
    formats->addWidget(optBin_);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* ok = buttons->addButton("OK", QDialogButtonBox::AcceptRole);
    ok->setObjectName("cmdOk");
    ok->setDefault(true);
    QPushButton* cancel = buttons->addButton("Cancel", QDialogButtonBox::RejectRole);
    cancel->setObjectName("cmdCancel");
    connect(ok, &QPushButton::clicked, this, &WatchItemsDialog::Ok);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addWidget(format);
    layout->addWidget(buttons);
}

void WatchItemsDialog::AddWatchItems(const std::shared_ptr<Watches>& list) {
    cbWatchItems_->clear();
    if (list)
        for (const auto& entry : *list)
            cbWatchItems_->addItem(QString::fromStdString(entry.item->Title));
    if (cbWatchItems_->count() > 0)
        cbWatchItems_->setCurrentIndex(0);
    cbWatchBytes_->setCurrentIndex(0);
}

void WatchItemsDialog::Prepare(const QString& name) {
    cancelled_ = true;
    if (!name.isEmpty())
        cbWatchItems_->setEditText(name);
}

void WatchItemsDialog::Ok() {
    if (!WatchList::NameFormatIsValid(Name())) {
        prompter_.ask("Warning", WatchList::kNameFormatWarning, Buttons::Ok, Icon::Exclamation);
        cbWatchItems_->setFocus();
        return;
    }
    cancelled_ = false;
    accept();
}

std::string WatchItemsDialog::Name() const {
    return cbWatchItems_->currentText().trimmed().toStdString();
}

WatchFormat WatchItemsDialog::Format() const {
    return optHex_->isChecked()   ? WatchFormat::Hex
           : optDec_->isChecked() ? WatchFormat::Dec
                                  : WatchFormat::Bin;
}

int32_t WatchItemsDialog::SizeIndex() const {
    return cbWatchBytes_->currentIndex();
}

// ---- WatchEditor ----------------------------------------------------------------------------

WatchEditor::WatchEditor(Prompter& prompter, const Diagnoser* diagnoser, QWidget* parent)
    : QWidget(parent), prompter_(prompter), model_(diagnoser), lvwWatch_(new QTreeWidget(this)),
      tbEditValue_(new QLineEdit(lvwWatch_->viewport())), mnuPopup_(new QMenu(this)),
      wizWatchItems_(new WatchItemsDialog(prompter, this)) {
    setObjectName("WatchEditor");
    lvwWatch_->setObjectName("lvwWatch");
    lvwWatch_->setColumnCount(3);
    lvwWatch_->setHeaderLabels({"Expression", "Address", "Value"});
    lvwWatch_->setRootIsDecorated(false);
    lvwWatch_->setUniformRowHeights(true);
    lvwWatch_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    lvwWatch_->setContextMenuPolicy(Qt::CustomContextMenu);
    lvwWatch_->header()->setSectionsClickable(true);
    lvwWatch_->header()->setStretchLastSection(true);
    lvwWatch_->viewport()->installEventFilter(this);
    lvwWatch_->installEventFilter(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(lvwWatch_);

    tbEditValue_->setObjectName("tbEditValue");
    tbEditValue_->hide();
    tbEditValue_->installEventFilter(this);
    tmEditValue_.setObjectName("tmEditValue");
    tmEditValue_.setSingleShot(true);
    tmEditValue_.setInterval(kEditDelayMs);
    connect(&tmEditValue_, &QTimer::timeout, this, [this] {
        tmEditValue_.stop();
        tbEditValue_->raise();
        tbEditValue_->show();
        tbEditValue_->setFocus();
    });

    mnuPopup_->setObjectName("mnuPopupWatch");
    mnuAddWatch_ = mnuPopup_->addAction("&Add Watch...");
    mnuAddWatch_->setObjectName("mnuAddWatch");
    mnuEditWatch_ = mnuPopup_->addAction("&Edit Watch...");
    mnuEditWatch_->setObjectName("mnuEditWatch");
    mnuRemWatch_ = mnuPopup_->addAction("&Remove Watch");
    mnuRemWatch_->setObjectName("mnuRemWatch");
    mnuRemWatch_->setShortcut(QKeySequence::Delete);
    connect(mnuAddWatch_, &QAction::triggered, this, &WatchEditor::AddWatch);
    connect(mnuEditWatch_, &QAction::triggered, this, &WatchEditor::EditWatch);
    connect(mnuRemWatch_, &QAction::triggered, this, &WatchEditor::RemoveWatch);
    connect(lvwWatch_, &QWidget::customContextMenuRequested, this, &WatchEditor::ShowPopup);
    connect(lvwWatch_->header(), &QHeaderView::sectionClicked, this, [this](int column) {
        model_.SortBy(column);
        ShowRows();
    });
}

WatchEditor::~WatchEditor() = default;

// ---- Rows ------------------------------------------------------------------------------------

void WatchEditor::ShowRows() {
    const int selected = SelectedRow();
    lvwWatch_->clear();
    const QIcon icon = StudioIcon("Watch");
    for (const WatchRow& row : model_.Rows()) {
        auto* item = new QTreeWidgetItem(lvwWatch_);
        item->setIcon(0, icon);
        item->setText(0, QString::fromStdString(row.Text));
    }
    ShowValues();
    if (selected >= 0 && selected < lvwWatch_->topLevelItemCount())
        lvwWatch_->setCurrentItem(lvwWatch_->topLevelItem(selected));
}

void WatchEditor::ShowValues() {
    const std::vector<WatchRow>& rows = model_.Rows();
    for (int i = 0; i < lvwWatch_->topLevelItemCount() && i < static_cast<int>(rows.size()); ++i) {
        QTreeWidgetItem* item = lvwWatch_->topLevelItem(i);
        const WatchRow& row = rows[static_cast<std::size_t>(i)];
        item->setText(1, QString::fromStdString(row.Location));
        item->setText(2, QString::fromStdString(row.Value));
        for (int column = 0; column < 3; ++column) {
            if (row.Changed)
                item->setForeground(column, kChangedColour);
            else
                item->setData(column, Qt::ForegroundRole, QVariant());
        }
    }
}

int WatchEditor::SelectedRow() const {
    QTreeWidgetItem* item = lvwWatch_->currentItem();
    return item && item->isSelected() ? lvwWatch_->indexOfTopLevelItem(item) : -1;
}

void WatchEditor::Refresh() {
    model_.Refresh(emulator_.get());
    ShowValues();
}

// ---- InspectorContent --------------------------------------------------------------------

void WatchEditor::SetAppliance(Appliance* appliance) {
    OnParentLostFocus();
    model_.SetAppliance(appliance);
    ShowRows();
}

void WatchEditor::EnableDebug(bool enable) {
    editable_ = enable;
    if (!enable)
        OnParentLostFocus();
}

void WatchEditor::SetEmulator(const std::shared_ptr<Emulator>& emulator) {
    emulator_ = emulator;
}

void WatchEditor::Reload() {
    if (isVisible())
        Refresh();
}

void WatchEditor::SetSymbolList(const std::shared_ptr<Watches>& symbols) {
    model_.SetSymbolList(symbols);
    wizWatchItems_->AddWatchItems(symbols);
    ShowValues();
}

void WatchEditor::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The stops that came while the window was hidden weren't read.
    if (emulator_)
        Refresh();
}

void WatchEditor::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const int width = lvwWatch_->viewport()->width();
    lvwWatch_->setColumnWidth(0, width * 4 / 10);
    lvwWatch_->setColumnWidth(1, width / 4);
}

// ---- Add, edit, remove -------------------------------------------------------------------

bool WatchEditor::RunItemsDialog(const QString& name) {
    wizWatchItems_->Prepare(name);
    Dialogs().Exec(*wizWatchItems_);
    return !wizWatchItems_->Cancelled();
}

void WatchEditor::AddWatch() {
    QTreeWidgetItem* selected = lvwWatch_->currentItem();
    if (!RunItemsDialog(selected ? selected->text(0) : QString()))
        return;
    if (!model_.AddWatch(wizWatchItems_->Name(), wizWatchItems_->Format(),
                         wizWatchItems_->SizeIndex()))
        prompter_.ask("Warning", kAddFailed, Buttons::Ok, Icon::None);
    ShowRows();
    Refresh();
}

void WatchEditor::EditWatch() {
    const int row = SelectedRow();
    if (row < 0 || !RunItemsDialog(lvwWatch_->topLevelItem(row)->text(0)))
        return;
    if (!model_.ReplaceWatch(static_cast<std::size_t>(row), wizWatchItems_->Name(),
                             wizWatchItems_->Format(), wizWatchItems_->SizeIndex()))
        prompter_.ask("Warning", kAddFailed, Buttons::Ok, Icon::None);
    ShowRows();
    Refresh();
}

void WatchEditor::RemoveWatch() {
    const int row = SelectedRow();
    if (row < 0)
        return;
    OnParentLostFocus();
    model_.RemoveWatch(static_cast<std::size_t>(row));
    ShowRows();
}

void WatchEditor::ShowPopup(const QPoint& position) {
    QTreeWidgetItem* item = lvwWatch_->itemAt(position);
    if (item)
        lvwWatch_->setCurrentItem(item);
    mnuEditWatch_->setVisible(item != nullptr);
    mnuRemWatch_->setVisible(item != nullptr);
    mnuPopup_->popup(lvwWatch_->viewport()->mapToGlobal(position));
}

// ---- The value edit box -------------------------------------------------------------------

void WatchEditor::BeginValueEdit(QTreeWidgetItem* item) {
    editRow_ = lvwWatch_->indexOfTopLevelItem(item);
    const QRect cell = lvwWatch_->visualItemRect(item);
    const int left = lvwWatch_->header()->sectionViewportPosition(kValueColumn);
    tbEditValue_->setGeometry(left, cell.top(), lvwWatch_->header()->sectionSize(kValueColumn),
                              cell.height());
    tbEditValue_->setText(item->text(kValueColumn));
    tbEditValue_->selectAll();
    tmEditValue_.start();
}

void WatchEditor::CommitValue() {
    const std::string typed = tbEditValue_->text().toStdString();
    if (!emulator_ || editRow_ < 0 ||
        !model_.CommitValue(static_cast<std::size_t>(editRow_), typed, *emulator_))
        return;
    if (QTreeWidgetItem* item = lvwWatch_->topLevelItem(editRow_))
        item->setText(
            0, QString::fromStdString(model_.Rows()[static_cast<std::size_t>(editRow_)].Text));
    emit ValueChanged();
}

void WatchEditor::OnParentLostFocus() {
    tmEditValue_.stop();
    tbEditValue_->hide();
}

bool WatchEditor::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tbEditValue_) {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Escape) {
                tbEditValue_->clear();
                tbEditValue_->hide();
                return true;
            }
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                // Written first: hiding the box takes its focus, which drops an edit.
                CommitValue();
                tbEditValue_->hide();
                return true;
            }
        } else if (event->type() == QEvent::FocusOut) {
            tbEditValue_->hide();
        }
    } else if (watched == lvwWatch_->viewport() &&
               (event->type() == QEvent::MouseButtonPress ||
                event->type() == QEvent::MouseButtonRelease) &&
               static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        const QPoint at = static_cast<QMouseEvent*>(event)->position().toPoint();
        if (event->type() == QEvent::MouseButtonPress) {
            // Only a click on a row that was selected already opens the value's box.
            QTreeWidgetItem* item = lvwWatch_->itemAt(at);
            pressedSelected_ = item && item->isSelected() ? item : nullptr;
        } else {
            QTreeWidgetItem* item = lvwWatch_->itemAt(at);
            if (item && item == pressedSelected_ && editable_ &&
                lvwWatch_->columnAt(at.x()) == kValueColumn)
                BeginValueEdit(item);
            pressedSelected_ = nullptr;
        }
    } else if (watched == lvwWatch_ && event->type() == QEvent::KeyPress &&
               static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        RemoveWatch();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace bx::ui
