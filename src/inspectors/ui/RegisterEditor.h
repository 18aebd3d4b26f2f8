#pragma once
// RegisterEditor (in frmRegister, "Register Inspector"): the appliance's register items as a
// tree with live values, from RegisterTree. A value that changed since the last stop is red.
// A double click or "Modify Value" opens the label edit with the value alone; the tree never
// renames a node by itself: what the person typed is written to the target, and the node shows
// it only when the write went through. "Enabled" in the pop-up moves an item to or from the
// "Disabled" node. Moving the mouse over a node tells what the item is, in the frame's status
// bar.

#include "frame/ui/ChildContents.h"
#include "inspectors/RegisterTree.h"

#include <QWidget>
#include <memory>
#include <vector>

class QAction;
class QMenu;
class QTreeWidget;
class QTreeWidgetItem;

namespace bx {
class Diagnoser;
}

namespace bx::ui {

class RegisterEditor : public QWidget, public InspectorContent {
    Q_OBJECT
public:
    explicit RegisterEditor(const Diagnoser* diagnoser = nullptr, QWidget* parent = nullptr);
    ~RegisterEditor() override;

    QTreeWidget* Tree() const { return tvwRegister_; }
    QMenu* PopupMenu() const { return mnuPopupWatch_; }
    const RegisterTree& Model() const { return model_; }
    // The tree item of a node of the model, null for none.
    QTreeWidgetItem* Item(int32_t node) const;

    // The pop-up menu of the node at position (viewport coordinates), when it has a record.
    void ShowPopup(const QPoint& position);
    // Opens the label edit on the selected node when the item may be written; whether it opened.
    bool StartEdit();
    // Where the label edit ends: writes the typed text (not the tree's own rename).
    void FinishEdit(int32_t node, const std::string& typed);

    // ---- InspectorContent ---------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    void EnableDebug(bool enable) override;
    void SetEmulator(const std::shared_ptr<Emulator>& emulator) override;
    void Reload() override;

signals:
    // A value was written to the target: every inspector and view reads again.
    void ValueChanged();
    // The description of the item under the mouse, for the frame's status bar.
    void HoverText(const QString& text);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Rebuild();
    void ShowValues();
    int32_t NodeOf(const QTreeWidgetItem* item) const;
    void ShowHover(const QString& text);

    RegisterTree model_;
    std::shared_ptr<Emulator> emulator_;
    bool editable_ = false;
    QTreeWidget* tvwRegister_;
    QMenu* mnuPopupWatch_;
    QAction* mnuWatchModifyValue_;
    QAction* mnuWatchEnabled_;
    std::vector<QTreeWidgetItem*> items_;
    QString lastHover_;
};

} // namespace bx::ui
