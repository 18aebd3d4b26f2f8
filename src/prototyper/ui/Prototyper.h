#pragma once
// Prototyper: the content of frmPrototyper, the device panel. It holds facPrototyper, the
// working front of the active design view (FacadeWidget), centred in the window, and lblClick,
// a word that asks for a click when the panel wants the keyboard. Reset shows the design view
// the appliance editor calls active; power-on asks for the surface through PanelFacade, which
// resets first, so the panel always shows the view whose parameters power-on hands it.

#include "frame/ui/ChildContents.h"

#include <QWidget>
#include <functional>
#include <memory>

class QLabel;

namespace bx::ui {

class FacadeWidget;

class Prototyper : public QWidget, public PrototyperContent {
    Q_OBJECT
public:
    // activeView: the appliance editor's active design view.
    explicit Prototyper(std::function<std::shared_ptr<View>()> activeView,
                        QWidget* parent = nullptr);
    ~Prototyper() override;

    // ---- PrototyperContent -------------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override;
    Facade* PanelFacade() override;
    void SetDesignView(std::shared_ptr<View> view) override;

    // frmPrototyper.Reset: the active view of the appliance editor, shown.
    void Reset();
    // lblClick in place of the surface (true) or the surface (false).
    void AskForFocus(bool show);
    FacadeWidget* Surface() const { return facPrototyper_; }
    const std::shared_ptr<View>& DesignView() const { return designView_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void Centre();

    std::function<std::shared_ptr<View>()> activeView_;
    FacadeWidget* facPrototyper_;
    QLabel* lblClick_;
    std::shared_ptr<View> designView_;
};

} // namespace bx::ui
