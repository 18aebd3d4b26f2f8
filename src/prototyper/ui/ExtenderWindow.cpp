#include "prototyper/ui/ExtenderWindow.h"

#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceWizard.h"
#include "foundation/HostInterfaces.h"
#include "platform/Paths.h"

#include <QAction>
#include <QLabel>
#include <QMainWindow>
#include <QPixmap>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

namespace bx::ui {

ExtenderWindow::ExtenderWindow(QToolBar* toolbar, Prompter& prompter,
                               std::function<bool()> applianceOpen,
                               const std::string& programmaticName, QWidget* parent)
    : QWidget(parent), toolbar_(toolbar), prompter_(prompter),
      applianceOpen_(std::move(applianceOpen)), lblState_(new QLabel(this)) {
    setObjectName("frmExtenderContent");
    lblState_->setObjectName("lblState");
    lblState_->setWordWrap(true);
    lblState_->setAlignment(Qt::AlignCenter);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblState_);
    // A plug-in that can't be had leaves the studio as it is without one.
    const bool loaded = host_.Load(programmaticName);
    lblState_->setText(
        loaded ? QString("Extender plug-in \"%1\" from %2.")
                     .arg(QString::fromStdString(programmaticName),
                          QString::fromStdString(platform::ToNativePath(host_.LibraryFile())))
               : QString("No extender plug-in: %1").arg(QString::fromStdString(host_.LoadError())));
}

ExtenderWindow::~ExtenderWindow() {
    // The buttons call into the plug-in: they go before it does.
    if (toolbar_)
        toolbar_->clear();
}

void ExtenderWindow::FillToolbar() {
    if (!toolbar_)
        return;
    toolbar_->clear();
    const int count = host_.FunctionCount();
    for (int i = 0; i < count; ++i) {
        // A tool whose picture or title can't be had loses only its own button.
        const std::optional<std::string> bitmap = host_.FunctionBitmap(i);
        const std::optional<std::string> title = host_.FunctionTitle(i);
        if (!bitmap || !title)
            continue;
        const QPixmap picture(QString::fromStdString(*bitmap));
        if (picture.isNull())
            continue;
        QAction* button = toolbar_->addAction(QIcon(picture), QString::fromStdString(*title));
        button->setObjectName(QString::fromStdString(ExtenderButtonKey(i)));
        button->setToolTip(QString::fromStdString(*title));
        connect(button, &QAction::triggered, this, [this, button] { OnButton(button); });
    }
}

void ExtenderWindow::OnButton(QAction* button) {
    if (!appliance_ || (applianceOpen_ && !applianceOpen_())) {
        prompter_.ask(kApplicationTitle, "Please open/new an Appliance first", Buttons::Ok,
                      Icon::None);
        return;
    }
    const std::optional<int> index = ExtenderFunctionIndex(button->objectName().toStdString());
    if (!index)
        return;
    const std::optional<int> result =
        host_.OnFunction(*index, appliance_->Folder, appliance_->Title);
    if (auto* frame = qobject_cast<QMainWindow*>(window()); frame && result)
        frame->statusBar()->showMessage(
            *result == 0
                ? QString("%1: done.").arg(button->toolTip())
                : QString("%1: the plug-in reported error %2.").arg(button->toolTip()).arg(*result),
            8000);
}

} // namespace bx::ui
