#include "appliance_editor/ui/ApplianceEditor.h"

#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceEdits.h"
#include "appliance_editor/QueryUnload.h"
#include "appliance_editor/Wiring.h"
#include "appliance_editor/ui/LoadMapDialogs.h"
#include "foundation/Error.h"
#include "foundation/HostInterfaces.h"
#include "frame/CommandState.h"
#include "frame/ui/StudioIcons.h"
#include "platform/ui/DialogRunner.h"

#include <QComboBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QSplitter>
#include <QStackedWidget>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace bx::ui {

namespace {

constexpr int kKeyRole = Qt::UserRole;
constexpr int kTagRole = Qt::UserRole + 1;
constexpr int kIconRole = Qt::UserRole + 2;
constexpr int kSelectedIconRole = Qt::UserRole + 3;

constexpr int kSettingColumn = 1; // lvwSystem
constexpr int kPortColumn = 3;    // lvwWiring

std::string KeyOf(const QTreeWidgetItem* item) {
    return item ? item->data(0, kKeyRole).toString().toStdString() : std::string();
}

std::string TagOf(const QTreeWidgetItem* item) {
    return item ? item->data(0, kTagRole).toString().toStdString() : std::string();
}

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

void SetBold(QTreeWidgetItem* item, bool bold) {
    for (int column = 0; column < item->columnCount(); ++column) {
        QFont font = item->font(column);
        font.setBold(bold);
        item->setFont(column, font);
    }
}

// The characters a file name can't hold on any system the appliance may travel to.
bool IsFileTitle(const QString& title) {
    static const QString forbidden = "\\/:*?\"<>|";
    if (title.trimmed().isEmpty() || title != title.trimmed())
        return false;
    for (QChar c : title)
        if (forbidden.contains(c) || c.unicode() < 32)
            return false;
    return true;
}

} // namespace

ApplianceEditor::ApplianceEditor(Prompter& prompter, CommandState& commands,
                                 std::function<bool()> powered, QWidget* parent)
    : QWidget(parent), prompter_(prompter), commands_(commands), powered_(std::move(powered)),
      splitter_(new QSplitter(this)), tvwAppliance_(new QTreeWidget(this)),
      panes_(new QStackedWidget(this)), icbEntry_(new QComboBox(this)),
      mnuPopupFileTree_(new QMenu(this)), mnuPopupSrc_(new QMenu(this)) {
    setObjectName("ApplianceEditor");
    tvwAppliance_->setObjectName("tvwAppliance");
    tvwAppliance_->setHeaderHidden(true);
    tvwAppliance_->setColumnCount(1);
    tvwAppliance_->setEditTriggers(QAbstractItemView::EditKeyPressed |
                                   QAbstractItemView::SelectedClicked);
    tvwAppliance_->viewport()->installEventFilter(this);
    tvwAppliance_->installEventFilter(this);
    connect(tvwAppliance_, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* current, QTreeWidgetItem* previous) {
                if (previous)
                    previous->setIcon(0, StudioIcon(previous->data(0, kIconRole).toString()));
                if (current && !current->data(0, kSelectedIconRole).toString().isEmpty())
                    current->setIcon(0, StudioIcon(current->data(0, kSelectedIconRole).toString()));
                if (!filling_)
                    NodeSelected(current);
            });
    connect(tvwAppliance_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        if (TagOf(item) == "Source")
            OpenSelectedSource();
        else if (TagOf(item) == "Load")
            ConfigureSelectedItem();
    });
    connect(tvwAppliance_, &QTreeWidget::itemChanged, this,
            [this](QTreeWidgetItem* item) { RootRenamed(item); });

    for (auto [pane, name] : {std::pair{Pane::System, "lvwSystem"},
                              {Pane::Load, "lvwLoad"},
                              {Pane::View, "lvwView"},
                              {Pane::File, "lvwFile"},
                              {Pane::Wiring, "lvwWiring"},
                              {Pane::Params, "lvwParams"}})
        paneLists_[pane] = MakePane(pane, name);
    noPane_ = new QWidget(panes_); // nothing selected
    panes_->addWidget(noPane_);
    connect(PaneList(Pane::Wiring), &QTreeWidget::itemChanged, this,
            [this](QTreeWidgetItem* item) { WireChecked(item); });
    connect(PaneList(Pane::Load), &QTreeWidget::currentItemChanged, this,
            [this] { PaneRowSelected(); });
    connect(PaneList(Pane::Load), &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) {
                if (KeyOf(item).rfind("S ", 0) == 0)
                    ConfigureSegment();
                else
                    ConfigureSelectedItem();
            });
    connect(PaneList(Pane::View), &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { SetActiveView(KeyOf(item)); });
    connect(PaneList(Pane::System), &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { EditSystemRow(item); });

    icbEntry_->setObjectName("icbEntry");
    icbEntry_->hide();
    icbEntry_->installEventFilter(this);
    connect(icbEntry_, &QComboBox::activated, this, [this](int index) { InPlaceChosen(index); });

    mnuPopupFileTree_->setObjectName("mnuPopupFileTree");
    QAction* open = mnuPopupFileTree_->addAction("&Open", this, [this] { OpenSelectedSource(); });
    open->setObjectName("mnuOpenFile");
    mnuPopupFileTree_->setDefaultAction(open);
    mnuPopupFileTree_->addSeparator();
    mnuPopupFileTree_
        ->addAction("&Remove Source/Object from Appliance", this, [this] { RemoveSelectedItem(); })
        ->setObjectName("mnuRemoveFile");
    mnuPopupFileTree_
        ->addAction("Configure Object &Settings...", this, [this] { ConfigureSelectedItem(); })
        ->setObjectName("mnuConfigureFile");
    mnuPopupSrc_->setObjectName("mnuPopupSrc");
    mnuPopupSrc_->addAction("&Add Source/Object to Appliance...", this,
                            [this] { emit CommandRequested("mnuSrcAdd"); });
    mnuPopupSrc_->addAction("&Define Segment Mapping...", this, [this] { AddSegmentMapping(); });

    splitter_->setObjectName("splitter");
    splitter_->addWidget(tvwAppliance_);
    splitter_->addWidget(panes_);
    splitter_->setStretchFactor(0, 2);
    splitter_->setStretchFactor(1, 3);
    splitter_->setChildrenCollapsible(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(splitter_);
    ShowPane(Pane::None);
}

ApplianceEditor::~ApplianceEditor() = default;

QTreeWidget* ApplianceEditor::MakePane(Pane pane, const char* name) {
    auto* list = new QTreeWidget(panes_);
    list->setObjectName(name);
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setAllColumnsShowFocus(true);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    QStringList captions;
    for (const std::string& caption : PaneColumns(pane))
        captions << Q(caption);
    list->setHeaderLabels(captions);
    list->header()->setStretchLastSection(true);
    list->viewport()->installEventFilter(this);
    list->installEventFilter(this);
    panes_->addWidget(list);
    return list;
}

QTreeWidget* ApplianceEditor::PaneList(Pane pane) const {
    const auto found = paneLists_.find(pane);
    return found == paneLists_.end() ? nullptr : found->second;
}

// ---- Showing the model ----------------------------------------------------------------------

void ApplianceEditor::SetAppliance(Appliance* appliance) {
    OnParentLostFocus();
    appliance_ = appliance;
    activeView_ = appliance ? appliance->Views().First() : nullptr;
    filling_ = true;
    tvwAppliance_->clear();
    filling_ = false;
    Update(true);
    if (appliance_)
        SelectNode("Appl");
    emit ActiveViewChanged();
}

void ApplianceEditor::Update(bool) {
    OnParentLostFocus();
    if (!appliance_) {
        filling_ = true;
        tvwAppliance_->clear();
        for (auto& [pane, list] : paneLists_)
            list->clear();
        filling_ = false;
        ShowPane(Pane::None);
        UpdateCommands();
        return;
    }
    QTreeWidgetItem* selected = SelectedNode();
    const std::string selectedKey = KeyOf(selected);
    const std::string selectedParent = selected ? KeyOf(selected->parent()) : std::string();

    FillTree();
    FillPane(Pane::Load, LoadRows(*appliance_));
    FillPane(Pane::System, SystemRows(*appliance_, settings_));
    if (activeView_ && appliance_->Views().Item(activeView_->Name) != activeView_)
        activeView_ = appliance_->Views().First();
    FillPane(Pane::View, ViewRows(*appliance_, activeView_.get()));

    // The node selected before, found again by its key (and its parent's, for a pin set).
    QTreeWidgetItem* again = nullptr;
    for (QTreeWidgetItemIterator it(tvwAppliance_); *it && !again; ++it)
        if (KeyOf(*it) == selectedKey && KeyOf((*it)->parent()) == selectedParent)
            again = *it;
    filling_ = true;
    tvwAppliance_->setCurrentItem(again ? again : tvwAppliance_->topLevelItem(0));
    filling_ = false;
    NodeSelected(tvwAppliance_->currentItem());
}

void ApplianceEditor::FillTree() {
    filling_ = true;
    tvwAppliance_->clear();
    std::map<std::string, QTreeWidgetItem*> parents;
    const std::vector<TreeNode> nodes = TreeNodes(*appliance_);
    for (const TreeNode& node : nodes) {
        QTreeWidgetItem* item = nullptr;
        const auto parent = parents.find(node.Parent);
        if (parent != parents.end())
            item = new QTreeWidgetItem(parent->second);
        else
            item = new QTreeWidgetItem(tvwAppliance_);
        item->setText(0, Q(node.Text));
        item->setData(0, kKeyRole, Q(node.Key));
        item->setData(0, kTagRole, Q(node.Tag));
        item->setData(0, kIconRole, Q(node.Icon));
        item->setData(0, kSelectedIconRole, Q(node.SelectedIcon));
        item->setIcon(0, StudioIcon(Q(node.Icon)));
        item->setToolTip(0, Q(node.Text));
        SetBold(item, node.Bold);
        // Only the root takes a new text: the appliance's title.
        if (node.Key == "Appl")
            item->setFlags(item->flags() | Qt::ItemIsEditable);
        parents.emplace(node.Key, item);
    }
    for (const TreeNode& node : nodes)
        if (node.Expanded)
            if (auto found = parents.find(node.Key); found != parents.end())
                found->second->setExpanded(true);
    filling_ = false;
}

void ApplianceEditor::FillPane(Pane pane, const std::vector<PaneRow>& rows) {
    QTreeWidget* list = PaneList(pane);
    const std::string current = KeyOf(list->currentItem());
    filling_ = true;
    list->clear();
    for (const PaneRow& row : rows) {
        auto* item = new QTreeWidgetItem(list);
        for (std::size_t column = 0; column < row.Cells.size(); ++column)
            item->setText(static_cast<int>(column), Q(row.Cells[column]));
        item->setData(0, kKeyRole, Q(row.Key));
        item->setIcon(0, StudioIcon(Q(row.Icon)));
        if (pane == Pane::Wiring) {
            item->setCheckState(0, row.Checked ? Qt::Checked : Qt::Unchecked);
            if (row.Icon == "Port")
                item->setToolTip(kPortColumn, "Click to choose the port");
        } else if (pane == Pane::System && settings_ &&
                   SystemChoices(*appliance_, *settings_, row.Key)) {
            item->setToolTip(kSettingColumn, "Click to change");
        }
        SetBold(item, row.Bold);
        if (row.Key == current)
            list->setCurrentItem(item);
    }
    for (int column = 0; column + 1 < list->columnCount(); ++column)
        list->resizeColumnToContents(column);
    filling_ = false;
}

void ApplianceEditor::NodeSelected(QTreeWidgetItem* item) {
    OnParentLostFocus();
    if (!item || !appliance_) {
        ShowPane(Pane::None);
        UpdateCommands();
        return;
    }
    const std::string key = KeyOf(item);
    const Pane pane = PaneOfNode(key, TagOf(item));
    switch (pane) {
    case Pane::Wiring:
        ShowWiring(key, KeyOf(item->parent()));
        return;
    case Pane::Params:
        FillPane(pane, ParamRows(*appliance_, key));
        break;
    case Pane::File:
        FillPane(pane, FileRows(*appliance_, item->text(0).toStdString()));
        break;
    default:
        break;
    }
    ShowPane(pane);
    UpdateCommands();
}

void ApplianceEditor::ShowWiring(const std::string& nodeKey, const std::string& parentKey) {
    FillPane(Pane::Wiring, WiringRows(*appliance_, nodeKey, parentKey));
    ShowPane(Pane::Wiring);
    UpdateCommands();
}

void ApplianceEditor::ShowPane(Pane pane) {
    visiblePane_ = pane;
    QTreeWidget* list = PaneList(pane);
    panes_->setCurrentWidget(list ? static_cast<QWidget*>(list) : noPane_);
}

void ApplianceEditor::PaneRowSelected() {
    if (!filling_)
        UpdateCommands();
}

QTreeWidgetItem* ApplianceEditor::SelectedNode() const {
    return tvwAppliance_->currentItem();
}

std::string ApplianceEditor::SelectedRowKey(Pane pane) const {
    QTreeWidget* list = PaneList(pane);
    return visiblePane_ == pane && list ? KeyOf(list->currentItem()) : std::string();
}

bool ApplianceEditor::SelectNode(const std::string& key) {
    for (QTreeWidgetItemIterator it(tvwAppliance_); *it; ++it) {
        if (KeyOf(*it) == key) {
            if (tvwAppliance_->currentItem() == *it)
                NodeSelected(*it);
            else
                tvwAppliance_->setCurrentItem(*it);
            return true;
        }
    }
    return false;
}

void ApplianceEditor::UpdateCommands() {
    const bool mayChange = ChangesAllowed();
    const std::string tag = TagOf(SelectedNode());
    const std::string row = SelectedRowKey(Pane::Load);
    commands_.EnableRemSource(mayChange && (tag == "Source" || tag == "Load"));
    commands_.EnableObjectOps(mayChange && (tag == "Load" || row.rfind("L ", 0) == 0));
    commands_.EnableSegmentOps(mayChange && row.rfind("S ", 0) == 0);
}

// ---- Changes --------------------------------------------------------------------------------

bool ApplianceEditor::MayChange() {
    if (!appliance_ || !editEnabled_)
        return false;
    if (powered_ && powered_()) {
        prompter_.ask(kEditorTitle, kPowerOffText, Buttons::Ok, Icon::Information);
        return false;
    }
    return true;
}

bool ApplianceEditor::ChangesAllowed() const {
    // An appliance, editing enabled by the host, and the power off.
    return appliance_ && editEnabled_ && !(powered_ && powered_());
}

void ApplianceEditor::Change(const std::function<void()>& change) {
    if (!MayChange())
        return;
    try {
        change();
    } catch (const BxError& error) {
        prompter_.ask(kEditorTitle, error.Description, Buttons::Ok, Icon::Exclamation);
    }
    Update(true);
}

void ApplianceEditor::EditEnabled(bool enabled) {
    editEnabled_ = enabled;
    if (!enabled)
        OnParentLostFocus();
    UpdateCommands();
}

bool ApplianceEditor::QueryUnload() {
    OnParentLostFocus();
    return DoQueryUnload(appliance_, prompter_);
}

void ApplianceEditor::OpenSelectedSource() {
    QTreeWidgetItem* node = SelectedNode();
    if (!appliance_ || TagOf(node) != "Source")
        return;
    for (const std::string& file : SourceFilesOf(*appliance_, node->text(0).toStdString()))
        emit OpenFileRequested(Q(file));
}

void ApplianceEditor::RemoveSelectedItem() {
    QTreeWidgetItem* node = SelectedNode();
    const std::string tag = TagOf(node);
    if (tag != "Source" && tag != "Load")
        return;
    const std::string file = node->text(0).toStdString();
    Change([&] {
        if (tag == "Source")
            appliance_->RemoveBuildStep(file);
        else
            appliance_->RemoveLoadItem(file, -1, -1);
    });
}

void ApplianceEditor::ConfigureSelectedItem() {
    if (!appliance_)
        return;
    std::optional<LoadRowPlace> place;
    LoadRowPlace fromRow;
    if (ReadLoadRowKey(SelectedRowKey(Pane::Load), fromRow))
        place = fromRow;
    else if (TagOf(SelectedNode()) == "Load")
        place = FirstLoadPlace(*appliance_, SelectedNode()->text(0).toStdString());
    if (!place || !MayChange())
        return;
    LoadSettingsDialog dialog(*appliance_, prompter_, *place, this);
    if (Dialogs().Exec(dialog) != QDialog::Accepted)
        return;
    Change([&] { ApplyLoadSettings(*appliance_, *place, dialog.Fields()); });
}

void ApplianceEditor::AddSegmentMapping() {
    if (!MayChange())
        return;
    SegmentDialog dialog(*appliance_, prompter_, "", this);
    if (Dialogs().Exec(dialog) != QDialog::Accepted)
        return;
    Change([&] { ApplySegment(*appliance_, dialog.Fields(), ""); });
    SelectNode("Load");
}

void ApplianceEditor::ConfigureSegment() {
    const std::string row = SelectedRowKey(Pane::Load);
    if (row.rfind("S ", 0) != 0 || !MayChange())
        return;
    const std::string name = row.substr(2);
    SegmentDialog dialog(*appliance_, prompter_, name, this);
    if (Dialogs().Exec(dialog) != QDialog::Accepted)
        return;
    Change([&] { ApplySegment(*appliance_, dialog.Fields(), name); });
}

void ApplianceEditor::RemoveSegmentMapping() {
    const std::string row = SelectedRowKey(Pane::Load);
    if (row.rfind("S ", 0) != 0)
        return;
    Change([&] { RemoveSegment(*appliance_, row.substr(2)); });
}

void ApplianceEditor::SelectArchitecture() {
    if (SelectNode("Appl"))
        EditCell(Pane::System, "Model");
}

void ApplianceEditor::ConfigurePeripheral() {
    const std::string tag = TagOf(SelectedNode());
    if (tag == "Device" || tag == "Pinset")
        return;
    for (QTreeWidgetItemIterator it(tvwAppliance_); *it; ++it)
        if (TagOf(*it) == "Device") {
            tvwAppliance_->setCurrentItem(*it);
            return;
        }
}

void ApplianceEditor::ConfigurePrototyper() {
    SelectNode("View");
}

bool ApplianceEditor::SetActiveView(const std::string& name) {
    if (!appliance_ || !appliance_->Views().Item(name) || !MayChange())
        return false;
    activeView_ = appliance_->Views().Item(name);
    Update(true);
    emit ActiveViewChanged();
    return true;
}

void ApplianceEditor::WireChecked(QTreeWidgetItem* item) {
    if (filling_ || !appliance_)
        return;
    const bool checked = item->checkState(0) == Qt::Checked;
    auto putBack = [&] {
        filling_ = true;
        item->setCheckState(0, checked ? Qt::Unchecked : Qt::Checked);
        filling_ = false;
    };
    if (!MayChange()) {
        putBack();
        return;
    }
    const std::optional<std::string> key = SetWireConnected(*appliance_, KeyOf(item), checked);
    if (!key) {
        putBack();
        return;
    }
    filling_ = true;
    item->setData(0, kKeyRole, Q(*key));
    filling_ = false;
}

void ApplianceEditor::WiringPressed(const QPoint& point) {
    QTreeWidget* list = PaneList(Pane::Wiring);
    QTreeWidgetItem* row = list->itemAt(point);
    if (!row || !MayChange())
        return;
    const int left = list->header()->sectionViewportPosition(kPortColumn);
    const int width = list->header()->sectionSize(kPortColumn);
    if (point.x() >= left && point.x() < left + width)
        EditCell(Pane::Wiring, KeyOf(row));
}

bool ApplianceEditor::EditCell(Pane pane, const std::string& rowKey) {
    if (!appliance_ || (pane != Pane::System && pane != Pane::Wiring))
        return false;
    QTreeWidget* list = PaneList(pane);
    QTreeWidgetItem* row = nullptr;
    for (int i = 0; i < list->topLevelItemCount() && !row; ++i)
        if (KeyOf(list->topLevelItem(i)) == rowKey)
            row = list->topLevelItem(i);
    if (!row)
        return false;
    QStringList items;
    QString current;
    QString icon;
    if (pane == Pane::System) {
        if (!settings_)
            return false;
        std::optional<InPlaceChoices> choices = SystemChoices(*appliance_, *settings_, rowKey);
        if (!choices)
            return false;
        for (const std::string& item : choices->Items)
            items << Q(item);
        current = Q(choices->Current);
        icon = "System";
        boxTag_ = rowKey;
    } else {
        if (!CanChoosePort(*appliance_, rowKey))
            return false;
        for (const char* port : kWirePorts)
            items << port;
        current = row->text(kPortColumn);
        icon = "Port";
        boxTag_ = PortBoxTag(rowKey);
    }
    boxPane_ = pane;
    icbEntry_->clear();
    for (const QString& item : items)
        icbEntry_->addItem(StudioIcon(icon), item);
    icbEntry_->setCurrentIndex(std::max(0, static_cast<int>(items.indexOf(current))));
    list->setCurrentItem(row);
    PlaceBox(list, row, pane == Pane::System ? kSettingColumn : kPortColumn);
    return true;
}

bool ApplianceEditor::EditSystemRow(QTreeWidgetItem* row) {
    if (!appliance_ || !settings_ || !SystemChoices(*appliance_, *settings_, KeyOf(row)))
        return false;
    PaneList(Pane::System)->setCurrentItem(row);
    if (MayChange())
        EditCell(Pane::System, KeyOf(row));
    return true;
}

void ApplianceEditor::PlaceBox(QTreeWidget* list, QTreeWidgetItem* row, int column) {
    const QRect rowRect = list->visualItemRect(row);
    const QPoint topLeft = list->viewport()->mapTo(
        this, QPoint(list->header()->sectionViewportPosition(column), rowRect.top()));
    const int width = list->header()->sectionSize(column);
    icbEntry_->setGeometry(topLeft.x(), topLeft.y(), std::max(width, 60),
                           std::max(rowRect.height(), icbEntry_->minimumSizeHint().height()));
    icbEntry_->show();
    icbEntry_->raise();
    icbEntry_->setFocus();
    if (isVisible())
        icbEntry_->showPopup();
}

void ApplianceEditor::InPlaceChosen(int index) {
    const std::string choice = icbEntry_->itemText(index).toStdString();
    const std::string tag = boxTag_;
    const Pane pane = boxPane_;
    OnParentLostFocus();
    if (!appliance_ || !MayChange())
        return;
    if (pane == Pane::Wiring) {
        if (std::optional<std::string> device = ChoosePort(*appliance_, tag, choice))
            ShowWiring(*device, "");
        return;
    }
    if (!settings_)
        return;
    Change([&] { ApplySystemChoice(*appliance_, *settings_, tag, choice); });
}

void ApplianceEditor::OnParentLostFocus() {
    if (icbEntry_->isVisible()) {
        icbEntry_->hidePopup();
        icbEntry_->hide();
    }
}

void ApplianceEditor::RootRenamed(QTreeWidgetItem* item) {
    if (filling_ || !appliance_ || KeyOf(item) != "Appl")
        return;
    const std::string title = item->text(0).toStdString();
    if (title == appliance_->Title)
        return;
    // Whatever the answer, the tree is shown again from the model once the tree's own editing
    // has ended: with the new title, or with the old one back.
    QMetaObject::invokeMethod(
        this,
        [this, title] {
            if (!IsFileTitle(QString::fromStdString(title))) {
                if (MayChange())
                    prompter_.ask(kEditorTitle,
                                  "An appliance's name is the name of its file: it can't be "
                                  "empty, begin or end with a blank, or hold any of \\ / : * ? "
                                  "\" < > |.",
                                  Buttons::Ok, Icon::Exclamation);
                Update(true);
                return;
            }
            Change([&] {
                appliance_->Title = title;
                appliance_->Touch();
            });
        },
        Qt::QueuedConnection);
}

// ---- Mouse and keys ---------------------------------------------------------------------------

void ApplianceEditor::TreeMenu(const QPoint& point) {
    QTreeWidgetItem* item = tvwAppliance_->itemAt(point);
    if (!item || !ChangesAllowed())
        return;
    tvwAppliance_->setCurrentItem(item);
    const QPoint global = tvwAppliance_->viewport()->mapToGlobal(point);
    const std::string tag = TagOf(item);
    if (KeyOf(item) == "Load") {
        mnuPopupSrc_->popup(global);
    } else if (tag == "Source" || tag == "Load") {
        mnuPopupFileTree_->defaultAction()->setEnabled(tag == "Source");
        mnuPopupFileTree_->findChild<QAction*>("mnuConfigureFile")->setVisible(tag == "Load");
        mnuPopupFileTree_->popup(global);
    }
}

void ApplianceEditor::LoadMenu(const QPoint& point) {
    QTreeWidget* list = PaneList(Pane::Load);
    if (!ChangesAllowed())
        return;
    if (QTreeWidgetItem* item = list->itemAt(point))
        list->setCurrentItem(item);
    const std::string row = KeyOf(list->itemAt(point));
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (row.rfind("S ", 0) == 0) {
        menu->addAction("Configure Segment &Settings...", this, [this] { ConfigureSegment(); });
        menu->addAction("&Remove Segment Mapping", this, [this] { RemoveSegmentMapping(); });
        menu->addSeparator();
    } else if (row.rfind("L ", 0) == 0) {
        menu->addAction("Configure Object &Settings...", this, [this] { ConfigureSelectedItem(); });
        menu->addSeparator();
    }
    menu->addAction("&Define Segment Mapping...", this, [this] { AddSegmentMapping(); });
    menu->popup(list->viewport()->mapToGlobal(point));
}

void ApplianceEditor::ViewMenu(const QPoint& point) {
    QTreeWidget* list = PaneList(Pane::View);
    QTreeWidgetItem* item = list->itemAt(point);
    if (!item || !ChangesAllowed())
        return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const std::string name = KeyOf(item);
    menu->addAction("Show on the &Device Panel", this, [this, name] { SetActiveView(name); })
        ->setEnabled(item->text(1) != "Active");
    menu->popup(list->viewport()->mapToGlobal(point));
}

bool ApplianceEditor::eventFilter(QObject* watched, QEvent* event) {
    const auto type = event->type();
    if (watched == icbEntry_) {
        if (type == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            OnParentLostFocus();
            return true;
        }
        return false;
    }
    if (type == QEvent::MouseButtonRelease) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (mouse->button() == Qt::RightButton) {
            const QPoint point = mouse->position().toPoint();
            if (watched == tvwAppliance_->viewport())
                TreeMenu(point);
            else if (watched == PaneList(Pane::Load)->viewport())
                LoadMenu(point);
            else if (watched == PaneList(Pane::View)->viewport())
                ViewMenu(point);
        }
    }
    if (type == QEvent::MouseButtonPress) {
        auto* mouse = static_cast<QMouseEvent*>(event);
        const QPoint point = mouse->position().toPoint();
        if (watched == PaneList(Pane::Wiring)->viewport() && mouse->button() == Qt::LeftButton &&
            PaneList(Pane::Wiring)->itemAt(point)) {
            // Powered on, the press changes nothing, not even a check mark.
            if (powered_ && powered_()) {
                MayChange();
                return true;
            }
            WiringPressed(point);
        } else if (watched == PaneList(Pane::System)->viewport() &&
                   mouse->button() == Qt::LeftButton) {
            QTreeWidget* list = PaneList(Pane::System);
            QTreeWidgetItem* row = list->itemAt(point);
            if (row && list->header()->logicalIndexAt(point.x()) == kSettingColumn &&
                EditSystemRow(row))
                return true;
        }
    }
    if (type == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        const bool enter = key == Qt::Key_Return || key == Qt::Key_Enter;
        if (watched == tvwAppliance_ && enter && TagOf(SelectedNode()) == "Source") {
            OpenSelectedSource();
            return true;
        }
        if (watched == PaneList(Pane::System) && (enter || key == Qt::Key_F2)) {
            if (QTreeWidgetItem* row = PaneList(Pane::System)->currentItem())
                EditSystemRow(row);
            return true;
        }
        if (watched == PaneList(Pane::Wiring) && (enter || key == Qt::Key_F2)) {
            if (QTreeWidgetItem* row = PaneList(Pane::Wiring)->currentItem())
                if (MayChange())
                    EditCell(Pane::Wiring, KeyOf(row));
            return true;
        }
        if (watched == PaneList(Pane::View) && enter) {
            if (QTreeWidgetItem* row = PaneList(Pane::View)->currentItem())
                SetActiveView(KeyOf(row));
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

void ApplianceEditor::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    // The tree beside its pane in a wide window, above it in a narrow one (the desktop
    // "Source" gives the editor a quarter of the frame's width).
    const Qt::Orientation orientation = width() * 4 >= height() * 3 ? Qt::Horizontal : Qt::Vertical;
    if (orientation != splitter_->orientation()) {
        splitter_->setOrientation(orientation);
        // Stacked, the tree's many nodes want the larger share.
        const int extent = orientation == Qt::Horizontal ? width() : height();
        splitter_->setSizes(orientation == Qt::Horizontal
                                ? QList<int>{extent * 2 / 5, extent * 3 / 5}
                                : QList<int>{extent * 3 / 5, extent * 2 / 5});
    }
    OnParentLostFocus();
}

} // namespace bx::ui
