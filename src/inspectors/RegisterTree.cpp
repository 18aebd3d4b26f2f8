#include "inspectors/RegisterTree.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "inspectors/Watch.h"

#include <algorithm>

namespace bx {

namespace {

// A fresh Watch from a tag's record text: each read works on one of these, never on a
// record that was read before.
void LoadRecord(Watch& watch, const std::string& tag) {
    watch.FromString(watch_tag::Record(tag));
}

} // namespace

void RegisterTree::Rebuild(Appliance* appliance) {
    appliance_ = appliance;
    nodes_.clear();
    if (!appliance)
        return;
    const std::shared_ptr<Watch> group = appliance->Watches().Item("", "Registers");
    if (!group)
        return;
    if (group->HasChildren())
        for (const auto& entry : group->Children())
            if (!entry.item->Disabled)
                AddSubtree(entry.item, -1);

    RegisterNode disabled;
    disabled.Key = kDisabledKey;
    disabled.Text = kDisabledKey;
    disabled.Image = "No";
    disabled.Expanded = true;
    nodes_.push_back(disabled);
    const int32_t disabledNode = static_cast<int32_t>(nodes_.size()) - 1;

    if (group->HasChildren())
        for (const auto& entry : group->Children())
            AddDisabled(entry.item, disabledNode);
}

void RegisterTree::AddDisabled(const std::shared_ptr<Watch>& watch, int32_t disabledNode) {
    // A disabled item goes under "Disabled" with what hangs under it; inside it nothing more
    // is looked for.
    if (watch->Disabled) {
        AddSubtree(watch, disabledNode);
        return;
    }
    if (watch->HasChildren())
        for (const auto& entry : watch->Children())
            AddDisabled(entry.item, disabledNode);
}

int32_t RegisterTree::AddNode(const Watch& watch, int32_t parent) {
    RegisterNode node;
    node.Key = watch.Title + kSeparator + watch.Category;
    node.Parent = parent;
    node.Text = watch.Title;
    node.Tag = watch_tag::Make(watch.AsString(), "");
    node.Image = watch.Category;
    node.Expanded = watch.Expanded;
    nodes_.push_back(std::move(node));
    return static_cast<int32_t>(nodes_.size()) - 1;
}

void RegisterTree::AddSubtree(const std::shared_ptr<Watch>& watch, int32_t parent) {
    const int32_t node = AddNode(*watch, parent);
    if (watch->HasChildren())
        for (const auto& entry : watch->Children())
            if (!entry.item->Disabled)
                AddSubtree(entry.item, node);
}

void RegisterTree::Refresh(Emulator& emulator) {
    if (diagnoser_) {
        diagnoser_->Trace(trace_module::kRegisterEditor, 1010, "");
        diagnoser_->Trace(trace_module::kRegisterEditor, 1020, "");
    }
    for (RegisterNode& node : nodes_) {
        if (node.Key == kDisabledKey)
            break;
        if (!node.HasRecord())
            continue;
        const std::string record = watch_tag::Record(node.Tag);
        Watch watch;
        LoadRecord(watch, node.Tag);
        if (!watch.IsReadable()) {
            node.Text = watch.Title + "=< >";
            continue;
        }
        const std::string old = watch_tag::LastValue(node.Tag);
        const std::string value = watch.ValueString(emulator);
        if (!value.empty())
            node.Text = watch.Title + "=" + value;
        node.Changed = value != old && !old.empty();
        // The record's text as it was built: the read above may have consumed its Mask.
        node.Tag = watch_tag::Make(record, value);
    }
}

std::optional<std::string> RegisterTree::BeginEdit(int32_t node, Emulator* emulator) const {
    if (!Valid(node) || !emulator)
        return std::nullopt;
    const RegisterNode& entry = nodes_[static_cast<std::size_t>(node)];
    if (entry.Tag.find(kSeparator) == std::string::npos)
        return std::nullopt;
    Watch watch;
    LoadRecord(watch, entry.Tag);
    const std::string value = watch.ValueString(*emulator);
    if (!watch.IsWritable() || watch.Disabled)
        return std::nullopt;
    if (value.empty() || !watch.IsReadable())
        return std::string(" ");
    return value;
}

bool RegisterTree::EndEdit(int32_t node, const std::string& typed, Emulator& emulator) {
    if (!Valid(node) || typed.empty())
        return false;
    RegisterNode& entry = nodes_[static_cast<std::size_t>(node)];
    if (!entry.HasRecord())
        return false;
    std::string text = typed;
    std::replace(text.begin(), text.end(), '-', '0');
    Watch watch;
    LoadRecord(watch, entry.Tag);
    watch.SetValueString(emulator, text);
    if (watch.Invalid)
        return false;
    entry.Text = watch.Title + "=" + text;
    return true;
}

std::shared_ptr<Watch> RegisterTree::RecordOf(int32_t node) const {
    if (!Valid(node) || !appliance_ || !nodes_[static_cast<std::size_t>(node)].HasRecord())
        return nullptr;
    const std::string& key = nodes_[static_cast<std::size_t>(node)].Key;
    const std::size_t separator = key.find(kSeparator);
    if (separator == std::string::npos)
        return nullptr;
    return appliance_->Watches().Item(key.substr(0, separator), key.substr(separator + 1));
}

bool RegisterTree::ToggleDisabled(int32_t node) {
    const std::shared_ptr<Watch> record = RecordOf(node);
    if (!record)
        return false;
    record->Disabled = !record->Disabled;
    // The appliance file keeps the choice.
    appliance_->Touch();
    Rebuild(appliance_);
    return true;
}

std::string RegisterTree::HoverText(int32_t node) const {
    if (!Valid(node) || !nodes_[static_cast<std::size_t>(node)].HasRecord())
        return kNoNodeHover;
    Watch watch;
    LoadRecord(watch, nodes_[static_cast<std::size_t>(node)].Tag);
    std::string text = watch.Description;
    if (!watch.Location.empty())
        text += " @" + watch.Location;
    if (watch.Disabled)
        text += " (DISABLED)";
    return text;
}

} // namespace bx
