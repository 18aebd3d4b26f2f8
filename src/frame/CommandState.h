#pragma once
// The frame's command vocabulary and which command is on: every menu item and main toolbar
// button with its caption, shortcut, enabled, visible and pressed state, and the Enable...
// operations the rest of the studio calls whenever the appliance, the power, the selection or
// the active view changes. Nothing polls: the widgets mirror this model through ItemChanged.
// UI thread only.

#include "foundation/Signal.h"

#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace bx {

// One entry of the menu bar, in the order the menus show them. Menu is the name of the
// top-level menu an item stands in ("" for a top-level menu itself); a separator has the
// caption "-".
struct MenuItemDef {
    const char* Name;
    const char* Menu;
    const char* Caption;
    const char* Shortcut; // in the portable text form "Ctrl+L"; "" for none
    bool StartEnabled;    // as the frame first shows
    bool Checkable;
};

// One button of the main toolbar, in order. MenuItem is the command the button performs: the
// menu item it dispatches to, "" for the two buttons that no handler answers.
struct ButtonDef {
    const char* Key;
    const char* Caption;
    const char* ToolTip;
    const char* MenuItem;
};

// What a widget mirrors of one command.
struct CommandItem {
    std::string Caption;
    bool Enabled = true;
    bool Visible = true;
    bool Checked = false; // a menu item's check mark, a button's pressed state
};

class CommandState {
public:
    static constexpr int kRecentEntries = 5;
    static constexpr const char* kNotAvailable = "<Not Available>";

    // Every item and button as the frame first shows: the start column of the menu table.
    CommandState();

    static std::span<const MenuItemDef> MenuTable();
    static std::span<const ButtonDef> ButtonTable();
    // The name of recent entry i (0 to 4): "mnuRecent(i)".
    static std::string RecentItemName(int index);
    // The menu item a toolbar button performs; "" for StepAuto, StepN and unknown keys.
    static std::string MenuItemOfButton(const std::string& key);

    // A menu item by name or a button by key; an unknown name is a programming error and
    // throws std::out_of_range.
    const CommandItem& Menu(const std::string& name) const;
    const CommandItem& Button(const std::string& key) const;

    void EnablePowerMenus(bool enable);
    void EnableStepOverMenusWithCheck(bool enable);
    void EnableObjectOps(bool enable);
    void EnableSegmentOps(bool enable);
    void EnableSelectionOps(bool enable);
    // Undo, Redo and Paste of the Edit menu, as the source editor answers CanUndo, CanRedo and
    // CanPaste.
    void EnableEditOps(bool canUndo, bool canRedo, bool canPaste);
    void EnableSourceOps(bool enable);
    void EnableRemSource(bool enable);
    void EnableObjManipulate(bool enable);
    // Also tells the inspectors (InspectorsEnabled) and turns object manipulation the other
    // way.
    void EnableDebugMenus(bool enable);
    // Stop follows enable; Power and object manipulation the other way.
    void EnableRuntimeMenus(bool enable);
    // Also shows the power state: pressed Power button and "&Power Off" while powered.
    void EnableApplianceMenus(bool enable, bool powered);
    // The recent list (newest first, at most five shown) into the recent entries.
    void EnableRecentProjectMenus(const std::vector<std::string>& recent);
    // The check mark of an item such as "Keyword Hinting".
    void SetChecked(const std::string& name, bool checked);

    // Raised with the item's name (a menu item) or "btn:" + key (a button) after any change of
    // its state.
    Signal<const std::string&> ItemChanged;
    // EnableDebugMenus's pass-through to the memory, watch and register windows.
    Signal<bool> InspectorsEnabled;

    static std::string ButtonId(const std::string& key) { return "btn:" + key; }

private:
    CommandItem& MutableItem(const std::string& id);
    void SetEnabled(const std::string& id, bool enabled);
    void SetVisible(const std::string& id, bool visible);
    void SetCaption(const std::string& id, const std::string& caption);
    void SetPressed(const std::string& id, bool pressed);

    std::unordered_map<std::string, CommandItem> items_;
};

} // namespace bx
