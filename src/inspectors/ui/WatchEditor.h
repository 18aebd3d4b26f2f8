#pragma once
// WatchEditor (in frmWatch, "Watches"): the person's own watches in three columns, Expression,
// Address and Value, from WatchList. A value that changed since the last stop is dark red.
// Add, Edit and Remove are in the pop-up menu (Delete removes too); Add and Edit go through
// the watch item dialog (wizWatchItems). A click on the value of the row already selected
// opens a small edit box over it after 300 ms (so that a double click doesn't open it twice):
// Enter writes the value, Escape and leaving the box drop it. A click on a column's title
// sorts by it; a second click reverses the order.

#include "frame/ui/ChildContents.h"
#include "inspectors/WatchList.h"

#include <QDialog>
#include <QTimer>
#include <QWidget>
#include <memory>

class QAction;
class QComboBox;
class QLineEdit;
class QMenu;
class QRadioButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace bx {
class Diagnoser;
class Prompter;
} // namespace bx

namespace bx::ui {

// wizWatchItems: the name of the variable (a symbol of the build, or "name[n]"), its size and
// its format. It lives as long as the watch window and keeps its choices between uses; OK
// checks the name's form first.
class WatchItemsDialog : public QDialog {
    Q_OBJECT
public:
    WatchItemsDialog(Prompter& prompter, QWidget* parent);

    // The symbols' names into the name combo, the first selected, and the first size.
    void AddWatchItems(const std::shared_ptr<Watches>& list);
    // Before each use: the name to start from, and cancelled until OK.
    void Prepare(const QString& name);
    bool Cancelled() const { return cancelled_; }
    std::string Name() const;
    WatchFormat Format() const;
    int32_t SizeIndex() const;

private:
    void Ok();

    Prompter& prompter_;
    bool cancelled_ = true;
    QComboBox* cbWatchItems_;
    QComboBox* cbWatchBytes_;
    QRadioButton* optHex_;
    QRadioButton* optDec_;
    QRadioButton* optBin_;
};

class WatchEditor : public QWidget, public InspectorContent {
    Q_OBJECT
public:
    static constexpr int kEditDelayMs = 300;

    WatchEditor(Prompter& prompter, const Diagnoser* diagnoser = nullptr,
                QWidget* parent = nullptr);
    ~WatchEditor() override;

    QTreeWidget* List() const { return lvwWatch_; }
    QLineEdit* EditBox() const { return tbEditValue_; }
    QMenu* PopupMenu() const { return mnuPopup_; }
    WatchItemsDialog& ItemsDialog() const { return *wizWatchItems_; }
    const WatchList& Model() const { return model_; }

    // Reads every row again and shows what changed.
    void Refresh();
    // The pop-up menu's commands.
    void AddWatch();
    void EditWatch();
    void RemoveWatch();
    // The pop-up menu for a point of the list (viewport coordinates).
    void ShowPopup(const QPoint& position);
    // Hides the value edit box without writing (the window lost the focus).
    void OnParentLostFocus();

    // ---- InspectorContent ---------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    void EnableDebug(bool enable) override;
    void SetEmulator(const std::shared_ptr<Emulator>& emulator) override;
    // Refresh, only while the window can be seen; a window shown later reads when it shows.
    void Reload() override;
    void SetSymbolList(const std::shared_ptr<Watches>& symbols) override;

signals:
    // A value was written to the target: every inspector and view reads again.
    void ValueChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void ShowRows();
    void ShowValues();
    int SelectedRow() const;
    void BeginValueEdit(QTreeWidgetItem* item);
    void CommitValue();
    bool RunItemsDialog(const QString& name);

    Prompter& prompter_;
    WatchList model_;
    std::shared_ptr<Emulator> emulator_;
    bool editable_ = false;
    QTreeWidget* lvwWatch_;
    QLineEdit* tbEditValue_;
    QTimer tmEditValue_;
    int editRow_ = -1;
    QTreeWidgetItem* pressedSelected_ = nullptr;
    QMenu* mnuPopup_;
    QAction* mnuAddWatch_;
    QAction* mnuEditWatch_;
    QAction* mnuRemWatch_;
    WatchItemsDialog* wizWatchItems_;
};

} // namespace bx::ui
