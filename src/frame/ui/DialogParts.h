#pragma once
// Parts the studio's dialogs share: the picture down the left side of its wizards (pictLeft),
// and the Done and Cancel buttons (cmdDone, cmdCancel).

#include <QPixmap>
#include <QString>

class QDialogButtonBox;
class QPalette;
class QPushButton;
class QWidget;

namespace bx::ui {

// The product's mark on a band in the desktop's highlight colour, with the dialog's subject
// under it.
QPixmap SidePicture(const QPalette& palette, const QString& subject, int width, int height);

struct DoneCancel {
    QDialogButtonBox* Box;
    QPushButton* Done; // the default button
    QPushButton* Cancel;
};
// The two buttons in a button box of the dialog; the caller connects them.
DoneCancel MakeDoneCancel(QWidget* dialog);

} // namespace bx::ui
