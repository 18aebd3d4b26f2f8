#pragma once
// MemoryEditor (in frmMemory, "Memory"): the target's memory as rows of sixteen bytes, painted
// straight from the Emulator by MemoryCanvas at each paint, with each byte's breakpoint kinds
// as its background. Three bars move it: the bank on the left (off without banks), the row on
// the right (0 to 4095), the shift to the left at the bottom. A click on a byte opens a
// two-digit box over it: the second digit writes it without Enter, Escape drops it, and moving
// the bank or the row drops it too (the box's address would no longer be the byte under it).
// The pop-up menu has the memory breakpoint dialog (not under an ICE) and "Go to address".

#include "frame/ui/ChildContents.h"
#include "inspectors/MemoryCanvas.h"

#include <QFont>
#include <QWidget>
#include <memory>

class QAction;
class QLineEdit;
class QMenu;
class QScrollBar;

namespace bx {
class Diagnoser;
class Prompter;
} // namespace bx

namespace bx::ui {

class MemoryEditor : public QWidget, public InspectorContent {
    Q_OBJECT
public:
    MemoryEditor(Prompter& prompter, const Diagnoser* diagnoser = nullptr,
                 QWidget* parent = nullptr);
    ~MemoryEditor() override;

    QWidget* Canvas() const { return cvsMemory_; }
    QScrollBar* BankBar() const { return fsbBank_; }
    QScrollBar* AddressBar() const { return fsbAddr_; }
    QScrollBar* HorizontalBar() const { return fsbHorizontal_; }
    QLineEdit* EntryBox() const { return txtEntry_; }
    QMenu* PopupMenu() const { return mnuPopupMem_; }
    const MemoryMetrics& Metrics() const { return metrics_; }
    const MemoryCanvas& Model() const { return model_; }

    // Whether the memory breakpoint dialog can be opened from the pop-up menu ("Go to
    // address" always can).
    void EditMemoryBreaks(bool enabled);
    // Paints the canvas again, reading the target.
    void Refresh();
    // The canvas's mouse: a left click opens the edit box on a byte, a right click the pop-up
    // menu (canvas coordinates).
    void CanvasClicked(Qt::MouseButton button, const QPointF& position);
    // The pop-up menu's commands.
    void ConfigureMemoryBreaks();
    void GotoAddress();
    // Paints the rows on a painter of the canvas (the canvas's paint).
    void PaintCanvas(QPainter& painter);

    // ---- InspectorContent ---------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    void EnableDebug(bool enable) override;
    void SetEmulator(const std::shared_ptr<Emulator>& emulator) override;
    // Refresh, only while the window can be seen.
    void Reload() override;

signals:
    // A byte was written to the target (MemoryChanged): every inspector and view reads again.
    void ValueChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void CancelEdit();
    void EntryLostFocus();
    int RowsOnCanvas() const;

    Prompter& prompter_;
    const Diagnoser* diagnoser_;
    MemoryCanvas model_;
    Appliance* appliance_ = nullptr;
    QFont font_;
    MemoryMetrics metrics_;
    QWidget* cvsMemory_;
    QScrollBar* fsbBank_;
    QScrollBar* fsbAddr_;
    QScrollBar* fsbHorizontal_;
    QLineEdit* txtEntry_;
    QMenu* mnuPopupMem_;
    QAction* mnuCfgMemAttr_;
    QAction* mnuMemoryGoto_;
    int clickedRow_ = 0;
    int clickedColumn_ = 0;
    bool editCancelled_ = false;
};

} // namespace bx::ui
