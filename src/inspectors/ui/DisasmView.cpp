#include "inspectors/ui/DisasmView.h"

#include "inspectors/DisasmRows.h"
#include "platform/ui/Twips.h"

#include <QFontDatabase>
#include <QPainter>
#include <QScrollBar>

namespace bx::ui {

namespace {

const QColor kCurrentRowColour(192, 208, 192);
const QColor kBreakMarkColour(208, 128, 128);
constexpr double kBarInset = 20;     // twips
constexpr double kCircleMargin = 30; // twips

Qt::PenStyle PenOf(RowRule rule) {
    switch (rule) {
    case RowRule::Dash:
        return Qt::DashLine;
    case RowRule::Dot:
        return Qt::DotLine;
    case RowRule::DashDotDot:
        return Qt::DashDotDotLine;
    default:
        return Qt::SolidLine;
    }
}

} // namespace

DisasmView::DisasmView(DisasmRows& rows, QWidget* parent)
    : QWidget(parent), rows_(rows), fsbPC_(new QScrollBar(Qt::Vertical, this)),
      font_(QFontDatabase::systemFont(QFontDatabase::FixedFont)) {
    setObjectName("davDisasm");
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
    fsbPC_->setObjectName("fsbPC");
    fsbPC_->setRange(0, 2 * kHeldValue);
    fsbPC_->setValue(kHeldValue);
    // Every change is put back: the list moves only when PC does.
    connect(fsbPC_, &QScrollBar::valueChanged, this, [this](int value) {
        if (value != kHeldValue)
            fsbPC_->setValue(kHeldValue);
    });
    rows_.Repaint = [this] { update(); };
}

void DisasmView::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    const int barWidth = fsbPC_->sizeHint().width();
    fsbPC_->setGeometry(width() - barWidth, 0, barWidth, height());
}

void DisasmView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setFont(font_);
    const QFontMetricsF metrics(font_);
    const Twips twips(this);
    const double row = std::ceil(metrics.height());
    const auto listing =
        rows_.Paint(DisasmRows::RowsInside(twips.FromPixelsY(height()), twips.FromPixelsY(row)));
    if (!listing)
        return; // the target runs, or there is none
    const double inset = twips.ToPixelsY(kBarInset);
    painter.fillRect(QRectF(0, inset, width(), row - 2 * inset), kCurrentRowColour);
    const double radius = row / 2 - twips.ToPixelsY(kCircleMargin);
    const QColor text = palette().color(QPalette::Text);
    double y = 0;
    bool first = true;
    for (const DisasmRow& entry : *listing) {
        if (entry.Breakpoint && radius > 0) {
            painter.save();
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen(Qt::NoPen);
            painter.setBrush(kBreakMarkColour);
            painter.drawEllipse(QPointF(row / 2, y + row / 2), radius, radius);
            painter.restore();
        }
        // The bar's colour is fixed and light: the PC's row stays dark text on any theme.
        painter.setPen(first ? QColor(Qt::black) : text);
        painter.drawText(QPointF(0, y + metrics.ascent()), QString::fromStdString(entry.Text));
        if (entry.Rule != RowRule::None) {
            painter.setPen(QPen(text, 1, PenOf(entry.Rule)));
            painter.drawLine(QPointF(0, y + row), QPointF(width(), y + row));
        }
        y += row;
        first = false;
    }
}

} // namespace bx::ui
