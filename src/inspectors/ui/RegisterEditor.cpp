#include "inspectors/ui/RegisterEditor.h"

#include "frame/ui/StudioIcons.h"
#include "inspectors/Watch.h"

#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QStyledItemDelegate>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <map>

namespace bx::ui {

namespace {

const QColor kChangedColour(192, 0, 0);
constexpr int kNodeRole = Qt::UserRole;

// The tree's label edit: it starts from the value alone, and what the person typed goes to
// the editor's FinishEdit instead of becoming the node's text.
class LabelEdit : public QStyledItemDelegate {
public:
    explicit LabelEdit(RegisterEditor& owner) : QStyledItemDelegate(&owner), owner_(owner) {}
    QString startText;

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem&,
                          const QModelIndex&) const override {
        auto* editor = new QLineEdit(parent);
        editor->setObjectName("txtLabelEdit");
        return editor;
    }
    void setEditorData(QWidget* editor, const QModelIndex&) const override {
        auto* line = static_cast<QLineEdit*>(editor);
        line->setText(startText);
        line->selectAll();
    }
    void setModelData(QWidget* editor, QAbstractItemModel*,
                      const QModelIndex& index) const override {
        owner_.FinishEdit(index.data(kNodeRole).toInt(),
                          static_cast<QLineEdit*>(editor)->text().toStdString());
    }

private:
    RegisterEditor& owner_;
};

} // namespace

RegisterEditor::RegisterEditor(const Diagnoser* diagnoser, QWidget* parent)
    : QWidget(parent), model_(diagnoser), tvwRegister_(new QTreeWidget(this)),
      mnuPopupWatch_(new QMenu(this)) {
    setObjectName("RegisterEditor");
    tvwRegister_->setObjectName("tvwRegister");
    tvwRegister_->setHeaderHidden(true);
    tvwRegister_->setColumnCount(1);
    tvwRegister_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tvwRegister_->setExpandsOnDoubleClick(false);
    tvwRegister_->setContextMenuPolicy(Qt::CustomContextMenu);
    tvwRegister_->setItemDelegate(new LabelEdit(*this));
    tvwRegister_->viewport()->setMouseTracking(true);
    tvwRegister_->viewport()->installEventFilter(this);
    tvwRegister_->installEventFilter(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(tvwRegister_);

    mnuPopupWatch_->setObjectName("mnuPopupWatch");
    mnuWatchModifyValue_ = mnuPopupWatch_->addAction("Modify Value");
    mnuWatchModifyValue_->setObjectName("mnuWatchModifyValue");
    mnuPopupWatch_->setDefaultAction(mnuWatchModifyValue_);
    mnuPopupWatch_->addSeparator()->setObjectName("mnuWatchSep");
    mnuWatchEnabled_ = mnuPopupWatch_->addAction("Enabled");
    mnuWatchEnabled_->setObjectName("mnuWatchEnabled");
    mnuWatchEnabled_->setCheckable(true);
    connect(mnuWatchModifyValue_, &QAction::triggered, this, [this] { StartEdit(); });
    connect(mnuWatchEnabled_, &QAction::triggered, this, [this] {
        if (!model_.ToggleDisabled(NodeOf(tvwRegister_->currentItem())))
            return;
        Rebuild();
        Reload();
    });

    connect(tvwRegister_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        tvwRegister_->setCurrentItem(item);
        StartEdit();
    });
    connect(tvwRegister_, &QWidget::customContextMenuRequested, this, &RegisterEditor::ShowPopup);
}

RegisterEditor::~RegisterEditor() = default;

QTreeWidgetItem* RegisterEditor::Item(int32_t node) const {
    return node >= 0 && node < static_cast<int32_t>(items_.size())
               ? items_[static_cast<std::size_t>(node)]
               : nullptr;
}

int32_t RegisterEditor::NodeOf(const QTreeWidgetItem* item) const {
    return item ? item->data(0, kNodeRole).toInt() : -1;
}

void RegisterEditor::SetAppliance(Appliance* appliance) {
    model_.Rebuild(appliance);
    Rebuild();
}

void RegisterEditor::EnableDebug(bool enable) {
    editable_ = enable;
}

void RegisterEditor::SetEmulator(const std::shared_ptr<Emulator>& emulator) {
    emulator_ = emulator;
}

void RegisterEditor::Reload() {
    if (!emulator_ || model_.Nodes().empty())
        return;
    model_.Refresh(*emulator_);
    ShowValues();
}

void RegisterEditor::Rebuild() {
    tvwRegister_->clear();
    items_.clear();
    std::map<std::string, QIcon> icons;
    for (std::size_t i = 0; i < model_.Nodes().size(); ++i) {
        const RegisterNode& node = model_.Nodes()[i];
        QTreeWidgetItem* parent = Item(node.Parent);
        auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(tvwRegister_);
        item->setData(0, kNodeRole, static_cast<int>(i));
        item->setFlags(item->flags() | Qt::ItemIsEditable);
        if (!node.Image.empty()) {
            auto icon = icons.find(node.Image);
            if (icon == icons.end())
                icon =
                    icons.emplace(node.Image, StudioIcon(QString::fromStdString(node.Image))).first;
            item->setIcon(0, icon->second);
        }
        items_.push_back(item);
    }
    // Opened once the children are in, as the records say.
    for (std::size_t i = 0; i < items_.size(); ++i)
        items_[i]->setExpanded(model_.Nodes()[i].Expanded);
    ShowValues();
}

void RegisterEditor::ShowValues() {
    for (std::size_t i = 0; i < items_.size() && i < model_.Nodes().size(); ++i) {
        const RegisterNode& node = model_.Nodes()[i];
        items_[i]->setText(0, QString::fromStdString(node.Text));
        if (node.Changed)
            items_[i]->setForeground(0, kChangedColour);
        else
            items_[i]->setData(0, Qt::ForegroundRole, QVariant());
    }
}

bool RegisterEditor::StartEdit() {
    QTreeWidgetItem* item = tvwRegister_->currentItem();
    if (!item || !editable_)
        return false;
    const std::optional<std::string> text = model_.BeginEdit(NodeOf(item), emulator_.get());
    if (!text)
        return false;
    static_cast<LabelEdit*>(tvwRegister_->itemDelegate())->startText =
        QString::fromStdString(*text);
    tvwRegister_->editItem(item, 0);
    return true;
}

void RegisterEditor::FinishEdit(int32_t node, const std::string& typed) {
    if (!emulator_ || !model_.EndEdit(node, typed, *emulator_))
        return;
    ShowValues();
    emit ValueChanged();
}

void RegisterEditor::ShowPopup(const QPoint& position) {
    QTreeWidgetItem* item = tvwRegister_->itemAt(position);
    const std::shared_ptr<Watch> record = model_.RecordOf(NodeOf(item));
    if (!record)
        return;
    tvwRegister_->setCurrentItem(item);
    mnuWatchEnabled_->setChecked(!record->Disabled);
    mnuPopupWatch_->popup(tvwRegister_->viewport()->mapToGlobal(position));
}

void RegisterEditor::ShowHover(const QString& text) {
    // Told once per change, not at every move of the mouse.
    if (text == lastHover_)
        return;
    lastHover_ = text;
    emit HoverText(text);
}

bool RegisterEditor::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tvwRegister_->viewport()) {
        if (event->type() == QEvent::MouseMove) {
            auto* mouse = static_cast<QMouseEvent*>(event);
            if (mouse->buttons() == Qt::NoButton) {
                QTreeWidgetItem* item = tvwRegister_->itemAt(mouse->position().toPoint());
                ShowHover(QString::fromStdString(model_.HoverText(NodeOf(item))));
            }
        } else if (event->type() == QEvent::Leave) {
            ShowHover(RegisterTree::kNoNodeHover);
        }
    } else if (watched == tvwRegister_ && event->type() == QEvent::KeyPress &&
               static_cast<QKeyEvent*>(event)->key() == Qt::Key_F2) {
        StartEdit();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace bx::ui
