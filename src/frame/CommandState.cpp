#include "frame/CommandState.h"

#include <algorithm>
#include <stdexcept>

namespace bx {

namespace {

// The menu bar in order. The separators' places within their menus are the frame's own; the
// items, captions, shortcuts and start states are the vocabulary every other window relies on.
constexpr MenuItemDef kMenus[] = {
    {"mnuAppl", "", "&Appliance", "", true, false},
    {"mnuApplNew", "mnuAppl", "&New Appliance", "", true, false},
    {"mnuApplLoad", "mnuAppl", "&Load Appliance", "Ctrl+L", true, false},
    {"mnuApplNewRom", "mnuAppl", "Open &Rom Image", "", true, false},
    {"mnuApplSave", "mnuAppl", "&Save Appliance", "Ctrl+S", false, false},
    {"mnuApplClose", "mnuAppl", "&Close Appliance", "Ctrl+F4", false, false},
    {"mnuSepArch", "mnuAppl", "-", "", true, false},
    {"mnuArchUse", "mnuAppl", "Select &Architecture", "", false, false},
    {"mnuPeriConf", "mnuAppl", "Configure &Peripheral", "", false, false},
    {"mnuSepProto", "mnuAppl", "-", "", true, false},
    {"mnuProtoConf", "mnuAppl", "Configure P&rototyper", "", false, false},
    {"mnuProtoView", "mnuAppl", "-", "", true, false},
    {"mnuRecentFileList", "mnuAppl", "Recent file list", "", false, false},
    {"mnuRecent(0)", "mnuAppl", CommandState::kNotAvailable, "", false, false},
    {"mnuRecent(1)", "mnuAppl", CommandState::kNotAvailable, "", false, false},
    {"mnuRecent(2)", "mnuAppl", CommandState::kNotAvailable, "", false, false},
    {"mnuRecent(3)", "mnuAppl", CommandState::kNotAvailable, "", false, false},
    {"mnuRecent(4)", "mnuAppl", CommandState::kNotAvailable, "", false, false},
    {"mnuApplBreak", "mnuAppl", "-", "", true, false},
    {"mnuExit", "mnuAppl", "E&xit", "", true, false},

    {"mnuSource", "", "&Source", "", true, false},
    {"mnuSrcNew", "mnuSource", "&New Source", "Ctrl+N", true, false},
    {"mnuSrcSave", "mnuSource", "&Save Source", "", false, false},
    {"mnuSrcSaveAs", "mnuSource", "Save Source &As...", "", false, false},
    {"mnuSrcClose", "mnuSource", "&Close Source", "", false, false},
    {"mnuSrcAllClose", "mnuSource", "&Close All Source", "", false, false},
    {"mnuSepSrc", "mnuSource", "-", "", true, false},
    {"mnuSrcAdd", "mnuSource", "&Add Source/Object to Appliance", "", true, false},
    {"mnuSrcRemove", "mnuSource", "&Remove Source/Object from Appliance", "", false, false},
    {"mnuObjConfig", "mnuSource", "Configure Object Settings", "", false, false},
    {"mnuSepSeg", "mnuSource", "-", "", true, false},
    {"mnuSegAdd", "mnuSource", "Define Segment Mapping", "", true, false},
    {"mnuSegRem", "mnuSource", "Remove Segment Mapping", "", false, false},
    {"mnuSegConf", "mnuSource", "Configure Segment Settings", "", false, false},
    {"mnuSepExtEd", "mnuSource", "-", "", true, false},
    {"mnuSetExtEd", "mnuSource", "Set External Editor...", "", true, false},

    {"mnuEdit", "", "&Edit", "", true, false},
    {"mnuEditUndo", "mnuEdit", "&Undo", "Alt+Backspace", false, false},
    {"mnuEditRedo", "mnuEdit", "Redo", "Ctrl+Y", false, false},
    {"mnuSepEdit2", "mnuEdit", "-", "", true, false},
    {"mnuEditCut", "mnuEdit", "C&ut", "Shift+Del", false, false},
    {"mnuEditCopy", "mnuEdit", "&Copy", "Ctrl+Ins", false, false},
    {"mnuEditPaste", "mnuEdit", "&Paste", "Shift+Ins", false, false},
    {"mnuSepEditFind", "mnuEdit", "-", "", true, false},
    {"mnuEditFind", "mnuEdit", "&Find", "Ctrl+F", false, false},
    {"mnuEditFindNext", "mnuEdit", "Find Next", "F3", false, false},
    {"mnuEditReplace", "mnuEdit", "&Replace", "Ctrl+R", false, false},
    {"mnuSepEditOpt", "mnuEdit", "-", "", true, false},
    {"mnuOptionPrompt", "mnuEdit", "Keyword Hinting", "", false, true},

    {"mnuBuild", "", "&Build", "", true, false},
    {"mnuBuildUpdated", "mnuBuild", "&Build Updated Files", "Ctrl+F5", false, false},
    {"mnuBuildRebuild", "mnuBuild", "&Rebuild All", "", false, false},
    {"mnuBuildCleanup", "mnuBuild", "Cleanup Intermediate Files", "", true, false},
    {"mnuSepExtBuild", "mnuBuild", "-", "", true, false},
    {"mnuSetExtBuild", "mnuBuild", "Set External Builder...", "", true, false},

    {"mnuDebug", "", "&Debug", "", true, false},
    {"mnuDbgPower", "mnuDebug", "&Power On", "Shift+F5", true, false},
    {"mnuSepDbgMode", "mnuDebug", "-", "", true, false},
    {"mnuDbgRun", "mnuDebug", "&Run", "F5", false, false},
    {"mnuDbgStepIn", "mnuDebug", "&Step", "F8", false, false},
    {"mnuDbgStepOver", "mnuDebug", "Step &Over", "Shift+F8", false, false},
    {"mnuDbgReset", "mnuDebug", "Reset", "Ctrl+Z", false, false},
    {"mnuDbgBreak", "mnuDebug", "&Stop Appliance Execution", "Ctrl+C", false, false},
    {"mnuSepDbgBreak", "mnuDebug", "-", "", true, false},
    {"mnuBkptToggle", "mnuDebug", "Toggle &Breakpoint", "F9", false, false},
    {"mnuBkptMemory", "mnuDebug", "Set Memory Access Breakpoints", "", false, false},
    {"mnuBkptClearAll", "mnuDebug", "Clear All Breakpoints", "", false, false},
    {"mnuBkptEdit", "mnuDebug", "Breakpoint Editor", "Ctrl+B", false, false},
    {"mnuSepICE", "mnuDebug", "-", "", true, false},
    {"mnuSetExtIce", "mnuDebug", "Set ICE Driver Location...", "", true, false},

    {"mnuHelp", "", "&Help", "", true, false},
    {"mnuHelpProductWeb", "mnuHelp", "Product Website", "", true, false},
    {"mnuAboutBX", "mnuHelp", "About Sarnova &Tessarine", "", true, false},
};

constexpr ButtonDef kButtons[] = {
    {"NewAppl", "New Appliance", "Create a new appliance", "mnuApplNew"},
    {"OpenAppl", "Open Appliance", "Open an existing appliance", "mnuApplLoad"},
    {"SaveAppl", "Save Appliance", "Save appliance (Ctrl-S)", "mnuApplSave"},
    {"AddSrc", "Add Source to Appliance", "Add source file to project", "mnuSrcAdd"},
    {"RemSrc", "Remove Source from Appliance", "Remove source file from project", "mnuSrcRemove"},
    {"SaveSrc", "Save Source", "Save current source file", "mnuSrcSave"},
    {"Build", "Build Updated Files", "Build updated files (CTRL-F5)", "mnuBuildUpdated"},
    {"Rebuild", "Rebuild", "Rebuild the entire appliance", "mnuBuildRebuild"},
    {"Power", "Power", "Switch power on/off", "mnuDbgPower"},
    {"Reset", "Reset", "Reset machine (Ctrl+Z)", "mnuDbgReset"},
    {"Run", "Run", "Run simulation (F5)", "mnuDbgRun"},
    {"Break", "Break!", "Stop appliance execution (Ctrl+C)", "mnuDbgBreak"},
    {"StepIn", "Step In", "Step one instruction (F8)", "mnuDbgStepIn"},
    {"StepOver", "Step Over", "Step over subroutine call", "mnuDbgStepOver"},
    {"StepAuto", "Auto Step", "Continuous stepping", ""},
    {"StepN", "Step N", "Step N lines", ""},
    {"BreakToggle", "Toggle Break", "Toggle breakpoint on and off", "mnuBkptToggle"},
    {"BreakClear", "Clear All Breaks", "Clear all breakpoints", "mnuBkptClearAll"},
};

const MenuItemDef* FindMenuDef(const std::string& name) {
    for (const MenuItemDef& def : kMenus)
        if (name == def.Name)
            return &def;
    return nullptr;
}

} // namespace

CommandState::CommandState() {
    for (const MenuItemDef& def : kMenus)
        items_[def.Name] = CommandItem{def.Caption, def.StartEnabled, true, false};
    // A button starts as the command it performs does; the two without a handler stay
    // clickable and do nothing.
    for (const ButtonDef& def : kButtons) {
        const MenuItemDef* menu = FindMenuDef(def.MenuItem);
        items_[ButtonId(def.Key)] =
            CommandItem{def.Caption, menu ? menu->StartEnabled : true, true, false};
    }
}

std::span<const MenuItemDef> CommandState::MenuTable() {
    return kMenus;
}
std::span<const ButtonDef> CommandState::ButtonTable() {
    return kButtons;
}

std::string CommandState::RecentItemName(int index) {
    return "mnuRecent(" + std::to_string(index) + ")";
}

std::string CommandState::MenuItemOfButton(const std::string& key) {
    for (const ButtonDef& def : kButtons)
        if (key == def.Key)
            return def.MenuItem;
    return {};
}

const CommandItem& CommandState::Menu(const std::string& name) const {
    return items_.at(name);
}

const CommandItem& CommandState::Button(const std::string& key) const {
    return items_.at(ButtonId(key));
}

CommandItem& CommandState::MutableItem(const std::string& id) {
    return items_.at(id);
}

void CommandState::SetEnabled(const std::string& id, bool enabled) {
    CommandItem& item = MutableItem(id);
    if (item.Enabled == enabled)
        return;
    item.Enabled = enabled;
    ItemChanged(id);
}

void CommandState::SetVisible(const std::string& id, bool visible) {
    CommandItem& item = MutableItem(id);
    if (item.Visible == visible)
        return;
    item.Visible = visible;
    ItemChanged(id);
}

void CommandState::SetCaption(const std::string& id, const std::string& caption) {
    CommandItem& item = MutableItem(id);
    if (item.Caption == caption)
        return;
    item.Caption = caption;
    ItemChanged(id);
}

void CommandState::SetPressed(const std::string& id, bool pressed) {
    CommandItem& item = MutableItem(id);
    if (item.Checked == pressed)
        return;
    item.Checked = pressed;
    ItemChanged(id);
}

void CommandState::SetChecked(const std::string& name, bool checked) {
    SetPressed(name, checked);
}

void CommandState::EnablePowerMenus(bool enable) {
    SetEnabled("mnuDbgPower", enable);
    SetEnabled(ButtonId("Power"), enable);
}

void CommandState::EnableStepOverMenusWithCheck(bool enable) {
    SetEnabled("mnuDbgStepOver", enable);
    SetEnabled(ButtonId("StepOver"), enable);
}

void CommandState::EnableObjectOps(bool enable) {
    SetEnabled("mnuObjConfig", enable);
}

void CommandState::EnableSegmentOps(bool enable) {
    SetEnabled("mnuSegConf", enable);
    SetEnabled("mnuSegRem", enable);
}

void CommandState::EnableSelectionOps(bool enable) {
    SetEnabled("mnuEditCut", enable);
    SetEnabled("mnuEditCopy", enable);
}

void CommandState::EnableEditOps(bool canUndo, bool canRedo, bool canPaste) {
    SetEnabled("mnuEditUndo", canUndo);
    SetEnabled("mnuEditRedo", canRedo);
    SetEnabled("mnuEditPaste", canPaste);
}

void CommandState::EnableSourceOps(bool enable) {
    for (const char* name : {"mnuSrcSave", "mnuSrcSaveAs", "mnuSrcClose", "mnuSrcAllClose",
                             "mnuEditFind", "mnuEditReplace", "mnuEditFindNext", "mnuBuildUpdated",
                             "mnuBuildRebuild", "mnuBuildCleanup", "mnuOptionPrompt"})
        SetEnabled(name, enable);
    for (const char* key : {"SaveSrc", "Build", "Rebuild", "RemSrc"})
        SetEnabled(ButtonId(key), enable);
}

void CommandState::EnableRemSource(bool enable) {
    SetEnabled("mnuSrcRemove", enable);
    SetEnabled(ButtonId("RemSrc"), enable);
}

void CommandState::EnableObjManipulate(bool enable) {
    for (const char* name : {"mnuSrcNew", "mnuSrcAdd", "mnuSrcRemove"})
        SetEnabled(name, enable);
    SetEnabled(ButtonId("AddSrc"), enable);
}

void CommandState::EnableDebugMenus(bool enable) {
    for (const char* name :
         {"mnuDbgRun", "mnuDbgStepIn", "mnuDbgReset", "mnuBkptToggle", "mnuBkptMemory",
          "mnuBkptClearAll", "mnuBkptEdit", "mnuEditFind", "mnuEditFindNext"})
        SetEnabled(name, enable);
    for (const char* key : {"Reset", "Run", "StepIn", "BreakToggle", "BreakClear"})
        SetEnabled(ButtonId(key), enable);
    InspectorsEnabled(enable);
    EnableObjManipulate(!enable);
}

void CommandState::EnableRuntimeMenus(bool enable) {
    SetEnabled("mnuDbgBreak", enable);
    SetEnabled(ButtonId("Break"), enable);
    SetEnabled("mnuDbgPower", !enable);
    SetEnabled(ButtonId("Power"), !enable);
    EnableObjManipulate(!enable);
}

void CommandState::EnableApplianceMenus(bool enable, bool powered) {
    for (const char* name : {"mnuSource", "mnuBuild", "mnuDebug"})
        SetVisible(name, enable);
    for (const char* name :
         {"mnuApplClose", "mnuApplSave", "mnuSrcAdd", "mnuBuildUpdated", "mnuBuildRebuild"})
        SetEnabled(name, enable);
    for (const char* key : {"SaveAppl", "AddSrc", "Build", "Rebuild", "Power"})
        SetEnabled(ButtonId(key), enable);
    SetPressed(ButtonId("Power"), powered);
    SetCaption("mnuDbgPower", powered ? "&Power Off" : "&Power On");
}

void CommandState::EnableRecentProjectMenus(const std::vector<std::string>& recent) {
    const int shown = static_cast<int>(std::min<std::size_t>(recent.size(), kRecentEntries));
    for (int i = 0; i < kRecentEntries; ++i) {
        const std::string name = RecentItemName(i);
        if (i < shown) {
            SetCaption(name, recent[static_cast<std::size_t>(i)]);
            SetEnabled(name, true);
            SetVisible(name, true);
        } else {
            SetVisible(name, false);
        }
    }
    SetVisible("mnuRecentFileList", shown > 0);
}

} // namespace bx
