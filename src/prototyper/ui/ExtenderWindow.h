#pragma once
// ExtenderWindow: the content of frmExtender. It loads the extender plug-in named
// "SarnovaExtender.PortalExtender" from the program's "PlugIns" folder when it is created
// (ExtenderHost), turns the plug-in's tools into buttons of the frame's extender toolbar, and
// runs a tool for the open appliance when its button is clicked. A plug-in that is missing or
// broken leaves the toolbar empty and says nothing; the window itself tells which plug-in it
// holds, if any.

#include "frame/ui/ChildContents.h"
#include "prototyper/Extender.h"

#include <QWidget>
#include <functional>

class QAction;
class QLabel;
class QToolBar;

namespace bx {
class Prompter;
}

namespace bx::ui {

class ExtenderWindow : public QWidget, public ExtenderContent {
    Q_OBJECT
public:
    // toolbar: the frame's tlbExtender. applianceOpen: whether the frame holds an open
    // appliance now (the appliance given last goes when the frame closes it).
    ExtenderWindow(QToolBar* toolbar, Prompter& prompter, std::function<bool()> applianceOpen,
                   const std::string& programmaticName = ExtenderHost::kProgrammaticName,
                   QWidget* parent = nullptr);
    ~ExtenderWindow() override;

    // ---- ExtenderContent ---------------------------------------------------------------------
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance* appliance) override { appliance_ = appliance; }
    void FillToolbar() override;

    // A click on a button of the toolbar.
    void OnButton(QAction* button);
    const ExtenderHost& Host() const { return host_; }

private:
    QToolBar* toolbar_;
    Prompter& prompter_;
    std::function<bool()> applianceOpen_;
    Appliance* appliance_ = nullptr;
    ExtenderHost host_;
    QLabel* lblState_;
};

} // namespace bx::ui
