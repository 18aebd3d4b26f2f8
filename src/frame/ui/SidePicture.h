#pragma once
// The picture down the left side of the studio's wizards (pictLeft): the product's mark on a
// band in the desktop's highlight colour, with the dialog's subject under it.

#include <QPixmap>
#include <QString>

class QPalette;

namespace bx::ui {

QPixmap SidePicture(const QPalette& palette, const QString& subject, int width, int height);

} // namespace bx::ui
