#include "inspectors/ui/MemoryEditor.h"

#include "appliance/Appliance.h"
#include "debug/ui/MemoryAttributeDialog.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/HostInterfaces.h"
#include "platform/ui/DialogRunner.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace bx::ui {

namespace {

// cvsMemory: the painted canvas; the editor paints it and takes its clicks.
class CanvasView : public QWidget {
public:
    CanvasView(MemoryEditor& editor, QWidget* parent) : QWidget(parent), editor_(editor) {
        setObjectName("cvsMemory");
        setAutoFillBackground(true);
        setBackgroundRole(QPalette::Base);
        setFocusPolicy(Qt::ClickFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        editor_.PaintCanvas(painter);
    }
    void mouseReleaseEvent(QMouseEvent* event) override {
        editor_.CanvasClicked(event->button(), event->position());
    }

private:
    MemoryEditor& editor_;
};

// wizMemoryGoto: a bank and an address in hexadecimal. A field that isn't hexadecimal gets its
// box and the dialog stays.
class MemoryGotoDialog : public QDialog {
public:
    MemoryGotoDialog(Prompter& prompter, QWidget* parent)
        : QDialog(parent), prompter_(prompter), txtBank_(new QLineEdit(this)),
          txtAddr_(new QLineEdit(this)) {
        setObjectName("wizMemoryGoto");
        setWindowTitle("Go to Address");
        txtBank_->setObjectName("txtBank");
        txtAddr_->setObjectName("txtAddr");
        txtBank_->setMaxLength(8);
        txtAddr_->setMaxLength(8);
        auto* fields = new QFormLayout;
        fields->addRow("&Bank:", txtBank_);
        fields->addRow("&Address:", txtAddr_);
        auto* buttons = new QDialogButtonBox(this);
        QPushButton* go = buttons->addButton("&Go To", QDialogButtonBox::AcceptRole);
        go->setObjectName("cmdGoto");
        go->setDefault(true);
        QPushButton* cancel = buttons->addButton("Cancel", QDialogButtonBox::RejectRole);
        cancel->setObjectName("cmdCancel");
        connect(go, &QPushButton::clicked, this, [this] {
            if (!MemoryCanvas::HexField(Bank()) || !MemoryCanvas::HexField(Address())) {
                prompter_.ask("Error",
                              "The address you have entered is not valid. Please enter hex "
                              "digits only (0-F).",
                              Buttons::Ok, Icon::Exclamation);
                return;
            }
            cancelled_ = false;
            accept();
        });
        connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel("Please enter the bank and address in hex format:", this));
        layout->addLayout(fields);
        layout->addWidget(buttons);
    }
    void SetPlace(int bank, int address) {
        txtBank_->setText(QString::fromStdString(Hex2(bank)));
        txtAddr_->setText(QString::fromStdString(Hex4(address)));
        txtAddr_->selectAll();
        txtAddr_->setFocus();
    }
    bool Cancelled() const { return cancelled_; }
    std::string Bank() const { return txtBank_->text().trimmed().toStdString(); }
    std::string Address() const { return txtAddr_->text().trimmed().toStdString(); }

private:
    Prompter& prompter_;
    QLineEdit* txtBank_;
    QLineEdit* txtAddr_;
    bool cancelled_ = true;
};

} // namespace

MemoryEditor::MemoryEditor(Prompter& prompter, const Diagnoser* diagnoser, QWidget* parent)
    : QWidget(parent), prompter_(prompter), diagnoser_(diagnoser), model_(diagnoser),
      font_(QFontDatabase::systemFont(QFontDatabase::FixedFont)),
      cvsMemory_(new CanvasView(*this, this)), fsbBank_(new QScrollBar(Qt::Vertical, this)),
      fsbAddr_(new QScrollBar(Qt::Vertical, this)),
      fsbHorizontal_(new QScrollBar(Qt::Horizontal, this)), txtEntry_(new QLineEdit(this)),
      mnuPopupMem_(new QMenu(this)) {
    setObjectName("MemoryEditor");
    // The metrics, once: the canvas's font never changes.
    const QFontMetricsF metrics(font_);
    metrics_.RowHeight = metrics.height();
    metrics_.AddressWidth = metrics.horizontalAdvance("BB:AAAA ");
    metrics_.ByteWidth = metrics.horizontalAdvance("HH");
    metrics_.GapWidth = metrics.horizontalAdvance(" ");
    cvsMemory_->setFont(font_);

    fsbBank_->setObjectName("fsbBank");
    fsbBank_->setRange(0, 0);
    fsbBank_->setEnabled(false);
    fsbAddr_->setObjectName("fsbAddr");
    fsbAddr_->setRange(0, MemoryCanvas::kRowsPerBank - 1);
    fsbHorizontal_->setObjectName("fsbHorizontal");
    fsbHorizontal_->setRange(0, 0);
    connect(fsbBank_, &QScrollBar::valueChanged, this, [this](int value) {
        model_.Bank = value;
        fsbAddr_->setRange(0, MemoryCanvas::kRowsPerBank - 1);
        CancelEdit();
    });
    connect(fsbAddr_, &QScrollBar::valueChanged, this, [this](int value) {
        model_.Row = value;
        CancelEdit();
    });
    connect(fsbHorizontal_, &QScrollBar::valueChanged, this, [this](int value) {
        model_.Horizontal = value;
        cvsMemory_->update();
    });

    txtEntry_->setObjectName("txtEntry");
    txtEntry_->setFont(font_);
    txtEntry_->setFrame(false);
    txtEntry_->setTextMargins(0, 0, 0, 0);
    txtEntry_->setAlignment(Qt::AlignCenter);
    txtEntry_->hide();
    txtEntry_->installEventFilter(this);
    connect(txtEntry_, &QLineEdit::textChanged, this, [this](const QString& text) {
        // The second digit ends the edit: no Enter needed.
        if (txtEntry_->isVisible() && text.size() >= 2)
            cvsMemory_->setFocus();
    });
    cvsMemory_->installEventFilter(this);

    mnuPopupMem_->setObjectName("mnuPopupMem");
    mnuCfgMemAttr_ = mnuPopupMem_->addAction("Configure Memory &Breakpoints...");
    mnuCfgMemAttr_->setObjectName("mnuCfgMemAttr");
    mnuMemoryGoto_ = mnuPopupMem_->addAction("&Go to Address...");
    mnuMemoryGoto_->setObjectName("mnuMemoryGoto");
    connect(mnuCfgMemAttr_, &QAction::triggered, this, &MemoryEditor::ConfigureMemoryBreaks);
    connect(mnuMemoryGoto_, &QAction::triggered, this, &MemoryEditor::GotoAddress);
}

MemoryEditor::~MemoryEditor() = default;

// ---- InspectorContent -----------------------------------------------------------------------

void MemoryEditor::SetAppliance(Appliance* appliance) {
    appliance_ = appliance;
    const bool banked = appliance && appliance->BankCount > 0;
    fsbBank_->setRange(0, banked ? appliance->BankCount - 1 : 0);
    fsbBank_->setEnabled(banked);
}

void MemoryEditor::EnableDebug(bool enable) {
    EditMemoryBreaks(enable);
}

void MemoryEditor::SetEmulator(const std::shared_ptr<Emulator>& emulator) {
    if (!emulator)
        CancelEdit();
    model_.TargetEmulator = emulator;
    cvsMemory_->update();
}

void MemoryEditor::Reload() {
    if (isVisible())
        Refresh();
}

void MemoryEditor::EditMemoryBreaks(bool enabled) {
    mnuCfgMemAttr_->setEnabled(enabled);
    mnuMemoryGoto_->setEnabled(true);
}

void MemoryEditor::Refresh() {
    if (diagnoser_)
        diagnoser_->Trace(trace_module::kMemoryEditor, 1110, "Refresh called");
    cvsMemory_->update();
}

// ---- Painting ---------------------------------------------------------------------------------

int MemoryEditor::RowsOnCanvas() const {
    if (metrics_.RowHeight <= 0)
        return 0;
    return static_cast<int>(std::ceil(cvsMemory_->height() / metrics_.RowHeight));
}

void MemoryEditor::PaintCanvas(QPainter& painter) {
    const std::optional<std::vector<MemoryRow>> rows = model_.Paint(RowsOnCanvas());
    if (!rows)
        return;
    painter.setFont(font_);
    const double ascent = QFontMetricsF(font_).ascent();
    const double shift = -model_.Horizontal * metrics_.GapWidth;
    const double cell = metrics_.GapWidth + metrics_.ByteWidth;
    const QColor text = palette().color(QPalette::Text);
    double y = 0;
    for (const MemoryRow& row : *rows) {
        const QString line = QString::fromLatin1(row.Text.data(), row.Text.size());
        painter.setPen(text);
        painter.drawText(QPointF(shift, y + ascent), line);
        for (std::size_t c = 0; c < row.Flags.size(); ++c) {
            const std::optional<Rgb> colour = MemoryCanvas::BreakColour(row.Flags[c]);
            if (!colour)
                continue;
            const double x = shift + metrics_.AddressWidth + static_cast<double>(c) * cell;
            painter.fillRect(QRectF(x - metrics_.GapWidth / 2, y, cell, metrics_.RowHeight),
                             QColor(colour->R, colour->G, colour->B));
            // The marks are light: their digits stay dark on any theme.
            painter.setPen(Qt::black);
            painter.drawText(QPointF(x, y + ascent), line.mid(MemoryCanvas::ByteChar(c), 2));
        }
        y += metrics_.RowHeight;
    }
}

// ---- The edit box ---------------------------------------------------------------------------

void MemoryEditor::CanvasClicked(Qt::MouseButton button, const QPointF& position) {
    if (button == Qt::RightButton) {
        if (!appliance_)
            return;
        // Memory breakpoints can't be configured on an ICE.
        EditMemoryBreaks(!appliance_->ExtDebuggerInUse);
        mnuPopupMem_->popup(cvsMemory_->mapToGlobal(position.toPoint()));
        return;
    }
    if (button != Qt::LeftButton)
        return;
    const int row = MemoryCanvas::RowAt(position.y(), metrics_);
    const int column = MemoryCanvas::ColumnAt(position.x(), model_.Horizontal, metrics_);
    if (column < 0 || column >= MemoryCanvas::kBytesPerRow ||
        model_.Row + row >= MemoryCanvas::kRowsPerBank)
        return;
    clickedRow_ = row;
    clickedColumn_ = column;
    editCancelled_ = false;
    const double left = MemoryCanvas::EditLeft(column, model_.Horizontal, metrics_);
    txtEntry_->setGeometry(QRectF(cvsMemory_->x() + left,
                                  cvsMemory_->y() + row * metrics_.RowHeight,
                                  metrics_.GapWidth + metrics_.ByteWidth, metrics_.RowHeight)
                               .toRect());
    txtEntry_->clear();
    if (model_.TargetEmulator) {
        if (const std::optional<uint8_t> byte = model_.ReadCell(row, column)) {
            txtEntry_->setText(QString::fromStdString(Hex2(*byte)));
            txtEntry_->selectAll();
        }
    }
    txtEntry_->show();
    txtEntry_->raise();
    txtEntry_->setFocus();
}

void MemoryEditor::CancelEdit() {
    // Whatever the box holds is for a byte that the bars just moved away.
    editCancelled_ = true;
    if (txtEntry_->isVisible())
        cvsMemory_->setFocus();
    txtEntry_->hide();
    cvsMemory_->update();
}

void MemoryEditor::EntryLostFocus() {
    txtEntry_->hide();
    if (!editCancelled_) {
        if (cvsMemory_->isVisible())
            cvsMemory_->setFocus();
        if (model_.TargetEmulator &&
            model_.WriteCell(clickedRow_, clickedColumn_, txtEntry_->text().toStdString())) {
            cvsMemory_->update();
            emit ValueChanged();
        }
    }
    editCancelled_ = false;
}

bool MemoryEditor::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtEntry_) {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            editCancelled_ = true;
            cvsMemory_->setFocus();
            return true;
        }
        if (event->type() == QEvent::FocusOut && txtEntry_->isVisible())
            EntryLostFocus();
    } else if (watched == cvsMemory_ && event->type() == QEvent::Wheel) {
        // The wheel moves the rows as the row bar does.
        auto* wheel = static_cast<QWheelEvent*>(event);
        const int notches = wheel->angleDelta().y() / 120;
        if (notches != 0)
            fsbAddr_->setValue(fsbAddr_->value() - 3 * notches);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

// ---- Layout -----------------------------------------------------------------------------------

void MemoryEditor::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const int barWidth = fsbAddr_->sizeHint().width();
    const int barHeight = fsbHorizontal_->sizeHint().height();
    const int columnHeight = height() - barHeight;
    if (columnHeight > 0) {
        fsbBank_->setGeometry(0, 0, barWidth, columnHeight);
        fsbAddr_->setGeometry(width() - barWidth, 0, barWidth, columnHeight);
    }
    const int canvasWidth = width() - 2 * barWidth;
    if (canvasWidth > 0 && columnHeight > 0)
        cvsMemory_->setGeometry(barWidth, 0, canvasWidth, columnHeight);
    if (canvasWidth > 0)
        fsbHorizontal_->setGeometry(barWidth, height() - barHeight, canvasWidth, barHeight);
    const int visible = static_cast<int>(std::lround(cvsMemory_->width() / metrics_.GapWidth));
    fsbHorizontal_->setRange(0, MemoryCanvas::HorizontalMaximum(visible));
    fsbAddr_->setPageStep(std::max(1, RowsOnCanvas() - 1));
    cvsMemory_->update();
}

// ---- The pop-up menu's commands ---------------------------------------------------------------

void MemoryEditor::ConfigureMemoryBreaks() {
    if (!model_.TargetEmulator)
        return;
    ShowMemoryAttributeDialog(this, prompter_, model_.TargetEmulator);
    cvsMemory_->update();
}

void MemoryEditor::GotoAddress() {
    MemoryGotoDialog dialog(prompter_, this);
    dialog.SetPlace(model_.Bank, model_.Row * MemoryCanvas::kBytesPerRow);
    Dialogs().Exec(dialog);
    if (dialog.Cancelled())
        return;
    const std::optional<int32_t> bank = MemoryCanvas::HexField(dialog.Bank());
    const std::optional<int32_t> address = MemoryCanvas::HexField(dialog.Address());
    if (!bank || !address)
        return;
    const int32_t row = *address / MemoryCanvas::kBytesPerRow;
    fsbBank_->setValue(std::clamp(*bank, fsbBank_->minimum(), fsbBank_->maximum()));
    fsbAddr_->setValue(std::clamp(row, fsbAddr_->minimum(), fsbAddr_->maximum()));
}

} // namespace bx::ui
