#include "frame/ui/DialogParts.h"

#include "frame/ui/StudioIcons.h"

#include <QDialogButtonBox>
#include <QLinearGradient>
#include <QPainter>
#include <QPalette>
#include <QPushButton>

namespace bx::ui {

QPixmap SidePicture(const QPalette& palette, const QString& subject, int width, int height) {
    QPixmap picture(width, height);
    QPainter painter(&picture);
    QLinearGradient gradient(0, 0, 0, height);
    gradient.setColorAt(0, palette.color(QPalette::Highlight));
    gradient.setColorAt(1, palette.color(QPalette::Highlight).darker(170));
    painter.fillRect(picture.rect(), gradient);
    const int mark = std::min(72, width - 24);
    StudioIcon("Studio").paint(&painter, QRect((width - mark) / 2, 32, mark, mark));
    painter.setPen(palette.color(QPalette::HighlightedText));
    QFont font = painter.font();
    font.setBold(true);
    painter.setFont(font);
    painter.drawText(QRect(8, 48 + mark, width - 16, 60), Qt::AlignHCenter | Qt::TextWordWrap,
                     subject);
    return picture;
}

DoneCancel MakeDoneCancel(QWidget* dialog) {
    auto* box = new QDialogButtonBox(dialog);
    QPushButton* done = box->addButton("Done", QDialogButtonBox::AcceptRole);
    done->setObjectName("cmdDone");
    done->setDefault(true);
    QPushButton* cancel = box->addButton("Cancel", QDialogButtonBox::RejectRole);
    cancel->setObjectName("cmdCancel");
    return {box, done, cancel};
}

} // namespace bx::ui
