#pragma once
// RegisterTree: the model of the register inspector (RegisterEditor, in frmRegister). The
// items are the Watch records under the appliance's group Item("", "Registers"), shown as a
// tree with live values; items the person disabled hang under one extra node, "Disabled",
// and are never read. The widget mirrors Nodes() into its tree and asks this model what an
// edit, a hover or the pop-up menu may do.
//
// Each node holds a text copy of its record (the tag: AsString, the separator, the value shown
// last) and every read works on a fresh Watch rebuilt from that text, because the binary form
// consumes the record's Mask as it formats (see Watch::ValueString). A node finds its record
// again by its key, Title and Category joined by the separator.
//
// A value that changed since the last refresh is marked Changed (the widget paints it red);
// the first refresh after a rebuild marks nothing.
//
// Trace lines under module 1002. UI thread only.

#include "inspectors/Watch.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class Diagnoser;
class Emulator;

struct RegisterNode {
    std::string Key;     // Title, separator, Category; "Disabled" for the group of disabled items
    int32_t Parent = -1; // the index of the parent node; -1 at the top level
    std::string Text;    // "Title=value", "Title=< >" for an item that can't be read
    std::string Tag;     // AsString, separator, last value; "" for the "Disabled" node
    std::string Image;   // the record's Category ("" for none), "No" for the "Disabled" node
    bool Expanded = false;
    bool Changed = false;

    bool HasRecord() const { return !Tag.empty(); }
};

class RegisterTree {
public:
    static constexpr char kSeparator = watch_tag::kSeparator;
    static constexpr const char* kDisabledKey = "Disabled";
    static constexpr const char* kNoNodeHover = "Move over a register to see description";

    explicit RegisterTree(const Diagnoser* diagnoser = nullptr) : diagnoser_(diagnoser) {}

    // Builds the nodes from the appliance's "Registers" group (none: no nodes at all, not even
    // "Disabled"). Enabled items come first in tree order, each with its children unless it is
    // disabled; then the "Disabled" node, open, with every disabled item (and its children)
    // under it.
    void Rebuild(Appliance* appliance);
    const std::vector<RegisterNode>& Nodes() const { return nodes_; }
    Appliance* CurrentAppliance() const { return appliance_; }

    // Reads every node ahead of "Disabled" again: the text, the Changed mark and the tag's
    // last value.
    void Refresh(Emulator& emulator);

    // The label edit of a node. BeginEdit gives the text the edit box starts with (the value
    // alone, or one blank when there is none or the item can't be read), or nothing when the
    // node can't be edited: no record, not writable, disabled, or no Emulator.
    std::optional<std::string> BeginEdit(int32_t node, Emulator* emulator) const;
    // Writes the typed text ("-" read as "0", so that a binary form keeps its mask positions)
    // and shows "Title=typed" on the node; whether it was written (the other inspectors then
    // read again). An empty text writes nothing.
    bool EndEdit(int32_t node, const std::string& typed, Emulator& emulator);

    // The record behind a node (found again by its key in the appliance's watches), or null.
    std::shared_ptr<Watch> RecordOf(int32_t node) const;
    // Inverts the record's Disabled and rebuilds the tree; the caller refreshes. False for a
    // node without a record.
    bool ToggleDisabled(int32_t node);

    // The status bar's text while the mouse is over node (-1: over no node).
    std::string HoverText(int32_t node) const;

private:
    void AddSubtree(const std::shared_ptr<Watch>& watch, int32_t parent);
    void AddDisabled(const std::shared_ptr<Watch>& watch, int32_t disabledNode);
    int32_t AddNode(const Watch& watch, int32_t parent);
    bool Valid(int32_t node) const {
        return node >= 0 && node < static_cast<int32_t>(nodes_.size());
    }

    const Diagnoser* diagnoser_;
    Appliance* appliance_ = nullptr;
    std::vector<RegisterNode> nodes_;
};

} // namespace bx
