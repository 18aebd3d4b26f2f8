#include "frame/ui/SplashWindow.h"

#include "BuildInfo.h"
#include "frame/FrameCommands.h"
#include "frame/ui/StudioIcons.h"
#include "platform/Diagnostics.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScreen>
#include <QStyleHints>
#include <QUrl>
#include <QVBoxLayout>

namespace bx::ui {

SplashWindow::SplashWindow(const std::string& specification, QWidget* parent)
    : QDialog(parent, Qt::SplashScreen | Qt::FramelessWindowHint), specification_(specification),
      image1_(new QLabel(this)), lblVolkera_(new QLabel(this)), note_(new QLabel(this)) {
    setObjectName("frmSplash");
    setAutoFillBackground(true);
    setStyleSheet("#frmSplash { border: 1px solid palette(mid); }");

    image1_->setObjectName("Image1");
    image1_->setPixmap(StudioIcon("Studio").pixmap(96, 96));
    image1_->setAlignment(Qt::AlignCenter);
    image1_->installEventFilter(this);

    auto* product = new QLabel(kProductCaption, this);
    QFont big = product->font();
    big.setPointSizeF(big.pointSizeF() * 1.5);
    big.setBold(true);
    product->setFont(big);
    product->setAlignment(Qt::AlignCenter);
    product->setWordWrap(true);

    auto* build =
        new QLabel(QString("Version %1, build %2").arg(kProductVersion).arg(kBuildNumber), this);
    build->setAlignment(Qt::AlignCenter);

    lblVolkera_->setObjectName("lblVolkera");
    lblVolkera_->setText("<a href=\"guide\">Tessarine Studio: the user guide</a>");
    lblVolkera_->setAlignment(Qt::AlignCenter);
    connect(lblVolkera_, &QLabel::linkActivated, this, [] {
        const std::string guide =
            platform::ToNativePath(platform::ProgramFolder() + "\\docs\\studio.md");
        QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(guide)));
    });

    note_->setAlignment(Qt::AlignCenter);
    note_->setForegroundRole(QPalette::PlaceholderText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 28, 32, 20);
    layout->setSpacing(10);
    layout->addWidget(image1_);
    layout->addWidget(product);
    layout->addWidget(build);
    layout->addSpacing(8);
    layout->addWidget(lblVolkera_);
    layout->addWidget(note_);

    timer1_.setSingleShot(true);
    timer1_.setInterval(kTimer1Ms);
    connect(&timer1_, &QTimer::timeout, this, &QDialog::accept);
}

QWidget* SplashWindow::Image1() const {
    return image1_;
}

void SplashWindow::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    // Placed from the screen's size: a fixed share of its width, centred.
    if (QScreen* screen = this->screen()) {
        const QRect area = screen->availableGeometry();
        setFixedWidth(std::max(sizeHint().width(), area.width() / 3));
        adjustSize();
        move(area.center() - rect().center());
    }
    timer1_.start();
}

void SplashWindow::mousePressEvent(QMouseEvent* event) {
    // A press on the guide's link is the link's; anywhere else it closes.
    if (lblVolkera_->geometry().contains(event->pos()))
        return QDialog::mousePressEvent(event);
    accept();
}

void SplashWindow::keyPressEvent(QKeyEvent*) {
    accept();
}

bool SplashWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == image1_) {
        if (event->type() == QEvent::MouseButtonDblClick) {
            WriteArchive();
            return true;
        }
        if (event->type() == QEvent::MouseButtonPress) {
            // The first press of a double click must not close the window yet: wait for the
            // double-click interval before taking it as a plain click.
            QTimer::singleShot(QGuiApplication::styleHints()->mouseDoubleClickInterval() + 50, this,
                               [this] {
                                   if (!note_->text().isEmpty())
                                       return;
                                   accept();
                               });
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void SplashWindow::WriteArchive() {
    timer1_.stop();
    std::string error;
    if (platform::WriteDiagnosticArchive(specification_, &error))
        note_->setText("Diagnostic archive written: " +
                       QString::fromStdString(platform::ToNativePath(
                           platform::DiagnosticArchivePath(specification_))));
    else
        note_->setText("The diagnostic archive could not be written: " +
                       QString::fromStdString(error));
    timer1_.start();
}

} // namespace bx::ui
