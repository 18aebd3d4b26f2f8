#include "prototyper/ui/Prototyper.h"

#include "appliance/Appliance.h"
#include "prototyper/ui/FacadeWidget.h"

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>

namespace bx::ui {

Prototyper::Prototyper(std::function<std::shared_ptr<View>()> activeView, QWidget* parent)
    : QWidget(parent), activeView_(std::move(activeView)), facPrototyper_(new FacadeWidget(this)),
      lblClick_(new QLabel("Click here to use the device panel.", this)) {
    setObjectName("prtPrototyper");
    lblClick_->setObjectName("lblClick");
    lblClick_->adjustSize();
    lblClick_->hide();
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Window);
    connect(facPrototyper_, &FacadeWidget::SizeChanged, this, &Prototyper::Centre);
    connect(facPrototyper_, &FacadeWidget::SoundUnavailable, this, [this] {
        if (auto* frame = qobject_cast<QMainWindow*>(window()))
            frame->statusBar()->showMessage(
                "No audio output: the device panel works without sound.", 10000);
    });
    Centre();
}

Prototyper::~Prototyper() = default;

void Prototyper::SetAppliance(Appliance* appliance) {
    facPrototyper_->SetAppliance(appliance);
    if (!appliance)
        SetDesignView(nullptr);
}

Facade* Prototyper::PanelFacade() {
    Reset();
    return facPrototyper_;
}

void Prototyper::Reset() {
    if (activeView_)
        SetDesignView(activeView_());
}

void Prototyper::SetDesignView(std::shared_ptr<View> view) {
    designView_ = std::move(view);
    // The front is the view's display record, as power-on hands its parameters on.
    std::shared_ptr<DisplaySpec> display =
        designView_ ? designView_->DisplaySpecs.First() : nullptr;
    prototyper::NamedValues parameters;
    if (display)
        for (const auto& [name, parameter] : display->Parameters)
            parameters.emplace_back(parameter->Name, parameter->Value);
    facPrototyper_->ShowDisplay(display && display->Peripheral ? display->Peripheral->Type : "",
                                parameters);
    if (designView_)
        QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void Prototyper::AskForFocus(bool show) {
    lblClick_->setVisible(show);
    facPrototyper_->setVisible(!show);
}

void Prototyper::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Centre();
}

void Prototyper::Centre() {
    // A surface larger than the window gets negative offsets and stays centred.
    facPrototyper_->move((width() - facPrototyper_->width()) / 2,
                         (height() - facPrototyper_->height()) / 2);
    lblClick_->move((width() - lblClick_->width()) / 2, (height() - lblClick_->height()) / 2);
}

} // namespace bx::ui
