#pragma once
// What the frame asks of the widgets inside its child windows, besides the source window
// (editor/ui/SourceWindow.h). Each subsystem's window implements one of these and is plugged
// into the frame with MainFrame::SetContent; until then the frame's own stand-in answers as a
// window with nothing in it would.

#include <QWidget>
#include <memory>
#include <string>

namespace bx {
class Appliance;
class Emulator;
class Facade;
class GlobalSettings;
class Watches;
struct View;
} // namespace bx

namespace bx::ui {

class ChildContent {
public:
    virtual ~ChildContent() = default;
    virtual QWidget* Widget() = 0;
    // The window takes the appliance; null when it is unloaded (closing the appliance).
    virtual void SetAppliance(Appliance* appliance) = 0;
};

// frmAppliance.
class ApplianceContent : public ChildContent {
public:
    virtual void SetSettings(GlobalSettings* settings) = 0;
    // Finishes the edits and offers to save a modified appliance; false: the person cancelled.
    virtual bool QueryUnload() = 0;
    // Shows the appliance anew from the model (after a build, an added source, ...).
    virtual void Update(bool refresh) = 0;
    // The design view the device panel shows; null for none.
    virtual std::shared_ptr<View> ActiveView() = 0;
    // Whether the person may change the appliance now (not while it is powered).
    virtual void EditEnabled(bool enabled) = 0;
};

// frmRegister, frmWatch, frmMemory. The debugger hands each power-on's Emulator to them and
// has them reload after every stop, step and edit.
class InspectorContent : public ChildContent {
public:
    // Follows the debug menus: editing values is possible only while the target is halted.
    virtual void EnableDebug(bool enable) = 0;
    // The target of this power-on (null after power-off).
    virtual void SetEmulator(const std::shared_ptr<Emulator>& /*emulator*/) {}
    // Reads the target again and shows what changed.
    virtual void Reload() {}
    // The program's code labels after a power-on (the watch window's symbol list).
    virtual void SetSymbolList(const std::shared_ptr<Watches>& /*symbols*/) {}
};

// frmPrototyper.
class PrototyperContent : public ChildContent {
public:
    // The device panel's surface, created if need be.
    virtual Facade* PanelFacade() = 0;
    // The design view to show (from the appliance window).
    virtual void SetDesignView(std::shared_ptr<View> view) = 0;
};

// frmExtender.
class ExtenderContent : public ChildContent {
public:
    // Fills the frame's extender toolbar with the plug-ins' tools.
    virtual void FillToolbar() = 0;
};

} // namespace bx::ui
