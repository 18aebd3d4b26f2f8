#include "inspectors/ui/DebugView.h"

#include "inspectors/SourceLineModel.h"
#include "platform/ui/Twips.h"

#include <QContextMenuEvent>
#include <QFontDatabase>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>
#include <QWheelEvent>

namespace bx::ui {

namespace {

// The colours every painted view of the debugger shares.
const QColor kStripColour(235, 235, 206);
const QColor kCurrentRowColour(192, 208, 192);
const QColor kBreakMarkColour(208, 128, 128);

// Layout constants of the view, in twips.
constexpr double kBarInset = 20;
constexpr double kCircleMargin = 30;
constexpr double kTextLeft = 250;

} // namespace

DebugView::DebugView(SourceLineModel* model, QWidget* parent)
    : QWidget(parent), model_(model), fsbLine_(new QScrollBar(Qt::Vertical, this)),
      mnuPopup_(new QMenu(this)), font_(QFontDatabase::systemFont(QFontDatabase::FixedFont)) {
    setObjectName("dgvCode");
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
    fsbLine_->setObjectName("fsbLine");
    fsbLine_->hide();
    connect(fsbLine_, &QScrollBar::valueChanged, this, [this](int value) {
        if (mirroring_ || !model_)
            return;
        // The bar is held while the view repaints, then given back.
        fsbLine_->setEnabled(false);
        model_->SetTopLine(value);
        fsbLine_->setEnabled(true);
    });

    mnuPopup_->setObjectName("mnuPopup");
    QAction* find = mnuPopup_->addAction("&Find...");
    find->setObjectName("mnuFind");
    connect(find, &QAction::triggered, this, [this] {
        if (model_)
            model_->FindNew();
    });
    QAction* findNext = mnuPopup_->addAction("Find &Next");
    findNext->setObjectName("mnuFindNext");
    connect(findNext, &QAction::triggered, this, [this] {
        if (model_)
            model_->FindNext();
    });
    QAction* editor = mnuPopup_->addAction("&Breakpoint Editor...");
    editor->setObjectName("mnuGotoBp");
    connect(editor, &QAction::triggered, this, &DebugView::BreakpointEditorRequested);

    if (model_) {
        model_->Repaint = [this] {
            MirrorScrollBar();
            update();
        };
        model_->TipChanged = [this](const std::string& tip) {
            setToolTip(QString::fromStdString(tip));
            if (!tip.empty())
                QToolTip::showText(QCursor::pos(), toolTip(), this);
            else
                QToolTip::hideText();
        };
    }
    TakeMetrics();
}

DebugView::~DebugView() {
    Detach();
}

void DebugView::Detach() {
    if (!model_)
        return;
    model_->Repaint = nullptr;
    model_->TipChanged = nullptr;
    model_ = nullptr;
    update();
}

void DebugView::TakeMetrics() {
    if (!model_)
        return;
    // One set of metrics, taken when the control starts: a blank's width and the row height.
    const QFontMetricsF metrics(font_);
    const Twips twips(this);
    model_->SetTextMetrics(twips.FromPixelsX(metrics.horizontalAdvance(' ')),
                           twips.FromPixelsY(std::ceil(metrics.height())));
}

int DebugView::RowPixels() const {
    if (!model_)
        return 1;
    return std::max(1, static_cast<int>(std::lround(Twips(this).ToPixelsY(model_->RowHeight()))));
}

void DebugView::MirrorScrollBar() {
    if (!model_)
        return;
    const SourceLineModel::ScrollState& state = model_->ScrollBar();
    mirroring_ = true;
    fsbLine_->setRange(state.Min, state.Max);
    fsbLine_->setPageStep(state.LargeChange);
    fsbLine_->setValue(state.Value);
    fsbLine_->setVisible(state.Visible);
    mirroring_ = false;
}

void DebugView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setFont(font_);
    if (!model_)
        return;
    const Twips twips(this);
    const double row = twips.ToPixelsY(model_->RowHeight());
    if (row <= 0)
        return;
    const double strip = twips.ToPixelsX(model_->StripWidth());
    painter.fillRect(QRectF(0, 0, strip, height()), kStripColour);

    const QFontMetricsF metrics(font_);
    const double inset = twips.ToPixelsY(kBarInset);
    const double radius = twips.ToPixelsY(model_->RowHeight() / 2 - kCircleMargin);
    const double textLeft = twips.ToPixelsX(kTextLeft);
    const int last = model_->LineCount() + 1;
    painter.setPen(palette().color(QPalette::Text));
    double y = 0;
    for (int n = std::max(1, model_->TopLine()); y < height() && n <= last; ++n) {
        if (n == model_->SelectedLine()) {
            painter.fillRect(QRectF(0, y + inset, width(), row - 2 * inset), kCurrentRowColour);
            // The bar's colour is fixed and light: the text on it stays dark on any theme.
            painter.setPen(Qt::black);
        }
        if (model_->IsMarked(n) && radius > 0) {
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(kBreakMarkColour);
            painter.drawEllipse(QPointF(row / 2, y + row / 2), radius, radius);
            painter.restore();
        }
        painter.drawText(QPointF(textLeft, y + metrics.ascent()),
                         QString::fromStdString(model_->Line(n)));
        painter.setPen(palette().color(QPalette::Text));
        y += row;
    }
}

void DebugView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const int barWidth = fsbLine_->sizeHint().width();
    fsbLine_->setGeometry(width() - barWidth, 0, barWidth, height());
    if (model_) {
        model_->Resize(Twips(this).FromPixelsY(height()));
        MirrorScrollBar();
    }
}

void DebugView::mousePressEvent(QMouseEvent* event) {
    setFocus();
    if (!model_ || event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    const Twips twips(this);
    const QPointF at = event->position();
    if (model_->StripClick(twips.FromPixelsX(at.x()), twips.FromPixelsY(at.y())))
        emit BreakpointsChanged();
}

void DebugView::mouseMoveEvent(QMouseEvent* event) {
    if (!model_)
        return;
    const Twips twips(this);
    const QPointF at = event->position();
    const StripPointer pointer =
        model_->StripHover(twips.FromPixelsX(at.x()), twips.FromPixelsY(at.y()));
    setCursor(pointer == StripPointer::Cross ? Qt::CrossCursor : Qt::ArrowCursor);
    if (pointer == StripPointer::Arrow && !toolTip().isEmpty()) {
        setToolTip(QString());
        QToolTip::hideText();
    }
}

void DebugView::leaveEvent(QEvent* event) {
    setCursor(Qt::ArrowCursor);
    QWidget::leaveEvent(event);
}

void DebugView::keyPressEvent(QKeyEvent* event) {
    // The model knows the keys by their codes on the system the views come from.
    int code = 0;
    switch (event->key()) {
    case Qt::Key_Up:
        code = SourceLineModel::kKeyUp;
        break;
    case Qt::Key_Down:
        code = SourceLineModel::kKeyDown;
        break;
    case Qt::Key_PageUp:
        code = SourceLineModel::kKeyPageUp;
        break;
    case Qt::Key_PageDown:
        code = SourceLineModel::kKeyPageDown;
        break;
    default:
        return QWidget::keyPressEvent(event);
    }
    if (model_ && model_->KeyDown(code, event->modifiers() & Qt::ShiftModifier))
        event->accept();
}

void DebugView::wheelEvent(QWheelEvent* event) {
    if (!model_)
        return;
    // Three rows a notch, as the system's other lists scroll.
    const int notches = event->angleDelta().y() / 120;
    for (int i = 0; i < std::abs(notches) * 3; ++i)
        model_->ScrollBarMove(notches > 0 ? -1 : 1);
    event->accept();
}

void DebugView::contextMenuEvent(QContextMenuEvent* event) {
    mnuPopup_->popup(event->globalPos());
}

} // namespace bx::ui
