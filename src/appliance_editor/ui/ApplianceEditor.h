#pragma once
// ApplianceEditor: the content of frmAppliance. The appliance as a tree on the left
// (tvwAppliance) and, on the right, the one list pane that belongs to the node selected
// (lvwSystem, lvwLoad, lvwView, lvwFile, lvwWiring, lvwParams). Everything shown comes from the
// core's ApplianceTree and Wiring models and is rebuilt at every Update; a change goes to the
// model first, then Update, and marks the appliance modified.
//
// In place: the model, the clock and the options in lvwSystem, and a wire's port in
// lvwWiring, through the one box icbEntry over the cell. Dialogs: the segment mapping and
// wizLoadSettings, through the DialogRunner. Nothing changes while the appliance is powered
// on: a change asked for then gets the box that says to power off first.

#include "appliance_editor/ApplianceTree.h"
#include "frame/ui/ChildContents.h"

#include <QWidget>
#include <functional>
#include <map>
#include <memory>
#include <string>

class QComboBox;
class QMenu;
class QSplitter;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace bx {
class CommandState;
class Prompter;
} // namespace bx

namespace bx::ui {

class ApplianceEditor : public QWidget, public ApplianceContent {
    Q_OBJECT
public:
    // commands: the frame's command state, which the selection turns items of on and off.
    // powered: whether the appliance is powered on now.
    ApplianceEditor(Prompter& prompter, CommandState& commands, std::function<bool()> powered,
                    QWidget* parent = nullptr);
    ~ApplianceEditor() override;

    // ---- ApplianceContent ------------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    void SetSettings(GlobalSettings* settings) override { settings_ = settings; }
    bool QueryUnload() override;
    void Update(bool refresh) override;
    std::shared_ptr<View> ActiveView() override { return activeView_; }
    void EditEnabled(bool enabled) override;

    // ---- Commands ---------------------------------------------------------------------------
    // The selected source node's files go to the source window (OpenFileRequested).
    void OpenSelectedSource();
    // mnuSrcRemove: the selected source or load image leaves the appliance.
    void RemoveSelectedItem();
    // mnuObjConfig: wizLoadSettings for the selected load image.
    void ConfigureSelectedItem();
    // mnuSegAdd, mnuSegRem, mnuSegConf.
    void AddSegmentMapping();
    void RemoveSegmentMapping();
    void ConfigureSegment();
    // mnuArchUse: the system properties, with the model's box open.
    void SelectArchitecture();
    // mnuPeriConf: the wiring of the selected device, else of the first.
    void ConfigurePeripheral();
    // mnuProtoConf: the design views, to choose the active one.
    void ConfigurePrototyper();
    // The design view the device panel shows; false for an unknown name or while powered.
    bool SetActiveView(const std::string& name);
    // Closes the in-place box without taking its text.
    void OnParentLostFocus();

    // ---- What a test or the frame reaches -------------------------------------------------------
    QTreeWidget* Tree() const { return tvwAppliance_; }
    QTreeWidget* PaneList(Pane pane) const;
    Pane VisiblePane() const { return visiblePane_; }
    QComboBox* InPlaceBox() const { return icbEntry_; }
    // Selects the first node with that key (and shows its pane); false when there is none.
    bool SelectNode(const std::string& key);
    // Opens the in-place box over a row's cell: the Setting of a system row, the Port of a
    // digital wire; false when the row can't be changed that way.
    bool EditCell(Pane pane, const std::string& rowKey);
    // A press on a row of the wiring pane at a point of its viewport, as the mouse gives it.
    void WiringPressed(const QPoint& point);

signals:
    // The host opens a file (relative to the appliance's folder or whole, system form).
    void OpenFileRequested(const QString& path);
    // The active design view changed.
    void ActiveViewChanged();
    // A command of the frame asked for from a pop-up menu (a menu item's name).
    void CommandRequested(const QString& menuItem);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QTreeWidget* MakePane(Pane pane, const char* name);
    void FillTree();
    void FillPane(Pane pane, const std::vector<PaneRow>& rows);
    // Node selection: the pane of the node, filled.
    void NodeSelected(QTreeWidgetItem* item);
    void ShowPane(Pane pane);
    void ShowWiring(const std::string& nodeKey, const std::string& parentKey);
    void PaneRowSelected();
    void UpdateCommands();
    // Whether a change may be made now; shows the power-off box when not.
    bool MayChange();
    // Whether changes are allowed now (asked silently): the pop-up menus open and the
    // commands are on only then.
    bool ChangesAllowed() const;
    void WireChecked(QTreeWidgetItem* item);
    void RootRenamed(QTreeWidgetItem* item);
    void InPlaceChosen(int index);
    // The in-place box over a system row's setting, after the power test; false for a row that
    // can't be changed in place.
    bool EditSystemRow(QTreeWidgetItem* row);
    void PlaceBox(QTreeWidget* pane, QTreeWidgetItem* row, int column);
    void TreeMenu(const QPoint& point);
    void LoadMenu(const QPoint& point);
    void ViewMenu(const QPoint& point);
    QTreeWidgetItem* SelectedNode() const;
    std::string SelectedRowKey(Pane pane) const;
    // Runs a change of the model, then Update; a model error becomes a box.
    void Change(const std::function<void()>& change);

    Prompter& prompter_;
    CommandState& commands_;
    std::function<bool()> powered_;
    Appliance* appliance_ = nullptr;
    GlobalSettings* settings_ = nullptr;
    std::shared_ptr<View> activeView_;
    bool editEnabled_ = true;
    bool filling_ = false;

    QSplitter* splitter_;
    QTreeWidget* tvwAppliance_;
    QStackedWidget* panes_;
    std::map<Pane, QTreeWidget*> paneLists_;
    QWidget* noPane_;
    Pane visiblePane_ = Pane::None;
    QComboBox* icbEntry_;
    // What the open box changes: a system row's key, or the port tag of a wire's row.
    std::string boxTag_;
    Pane boxPane_ = Pane::None;
    QMenu* mnuPopupFileTree_;
    QMenu* mnuPopupSrc_;
};

} // namespace bx::ui
