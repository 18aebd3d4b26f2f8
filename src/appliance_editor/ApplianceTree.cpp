#include "appliance_editor/ApplianceTree.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "settings/GlobalSettings.h"

#include <set>

namespace bx {

namespace {

constexpr const char* kGroupedAbove = "(Grouped above)";

bool HasSources(const BuildTarget& target) {
    return target.Sources && !target.Sources->Empty();
}

// The rows that make target, its sources' steps first. A graph may name a file as its own
// source; each target is walked once.
void AddSteps(const BuildTarget& target, std::vector<PaneRow>& rows,
              std::set<const BuildTarget*>& walked) {
    if (!HasSources(target) || !walked.insert(&target).second)
        return;
    for (const auto& entry : *target.Sources)
        AddSteps(*entry.item, rows, walked);
    bool first = true;
    for (const auto& entry : *target.Sources) {
        const std::string& source = entry.item->OutputPath;
        rows.push_back({source + ">" + target.OutputPath,
                        "Doc",
                        {source, first ? target.OutputPath : kGroupedAbove,
                         first ? target.Make : kGroupedAbove}});
        first = false;
    }
}

void AddLeaves(const BuildTarget& target, std::vector<std::string>& files,
               std::set<const BuildTarget*>& walked) {
    if (!walked.insert(&target).second)
        return;
    if (!HasSources(target)) {
        files.push_back(target.OutputPath);
        return;
    }
    for (const auto& entry : *target.Sources)
        AddLeaves(*entry.item, files, walked);
}

bool IsPlaced(const LoadImage& image) {
    return image.Bank >= 0 && image.Start >= 0;
}

} // namespace

std::vector<std::string> PaneColumns(Pane pane) {
    switch (pane) {
    case Pane::System:
        return {"Property", "Setting"};
    case Pane::Load:
        return {"Segment", "Start", "End"};
    case Pane::View:
        return {"Name", "State"};
    case Pane::File:
        return {"Source", "Output", "Command"};
    case Pane::Wiring:
        return {"Pinset", "Pin Mask", "Direction", "Port", "Port Mask"};
    case Pane::Params:
        return {"Param", "Value"};
    case Pane::None:
        break;
    }
    return {};
}

Pane PaneOfNode(const std::string& key, const std::string& tag) {
    if (key == "Appl")
        return Pane::System;
    if (key == "Load")
        return Pane::Load;
    if (key == "View")
        return Pane::View;
    if (tag == "Device" || tag == "Pinset")
        return Pane::Wiring;
    if (tag == "DevParam" || tag == "View")
        return Pane::Params;
    if (tag == "Source" || tag == "Load")
        return Pane::File;
    return Pane::None;
}

std::string NodeName(const std::string& key) {
    return key.size() > 3 ? key.substr(3) : std::string();
}

std::vector<TreeNode> TreeNodes(Appliance& appliance) {
    std::vector<TreeNode> nodes;
    nodes.push_back({"Appl", "", appliance.Title, "Inspect", "", "", true, true});
    nodes.push_back({"Load", "Appl", "Source Files", "FoldClosed", "FoldOpen", "", false, true});
    for (const auto& [key, image] : appliance.LoadImages()) {
        if (!image->Content)
            continue;
        const BuildTarget& target = *image->Content;
        if (HasSources(target)) {
            for (const auto& entry : *target.Sources) {
                const std::string& file = entry.item->OutputPath;
                nodes.push_back({"BL " + file, "Load", file, "Doc", "", "Source"});
            }
        } else {
            nodes.push_back(
                {"ML " + target.OutputPath, "Load", target.OutputPath, "Doc", "", "Load"});
        }
    }
    // Each device with its pin sets and its parameters, then the design views.
    for (const auto& [name, peripheral] : appliance.Peripherals()) {
        const std::string device = "DV " + peripheral->Name;
        nodes.push_back({device, "Appl", peripheral->Name, "Device", "", "Device", false, true});
        std::set<std::string> pinsets;
        for (const auto& [wireKey, wire] : peripheral->Wires)
            if (pinsets.insert(wire->Pinset).second)
                nodes.push_back(
                    {"WI " + wire->Pinset, device, wire->Pinset, "Pinset", "", "Pinset"});
        if (!peripheral->Parameters.Empty())
            nodes.push_back(
                {"PR " + peripheral->Name, device, "Parameters", "DevParam", "", "DevParam"});
    }
    nodes.push_back({"View", "Appl", "Design Views", "FoldClosed", "FoldOpen", "", false, true});
    for (const auto& [name, view] : appliance.Views())
        nodes.push_back({"VW " + view->Name, "View", view->Name, "View", "", "View"});
    return nodes;
}

std::vector<PaneRow> SystemRows(const Appliance& appliance, const GlobalSettings* settings) {
    std::vector<PaneRow> rows = {
        {"Model", "System", {"Model", appliance.Model}},
        {"Family", "System", {"CPU", appliance.Family}},
        {"O.P. Clock", "System", {"O.P. Clock", appliance.OPClock}},
        {"Boot Vector", "System", {"Boot Vector", "$" + Hex4(appliance.BootVect)}},
    };
    const MCUBody* body =
        settings ? settings->FindBody(appliance.Family, appliance.Model) : nullptr;
    if (!body)
        return rows;
    int index = 0;
    for (const auto& [name, option] : body->Options) {
        ++index;
        const bool enabled = index <= 8 && appliance.OptionAt(index);
        rows.push_back({option->Name,
                        "System",
                        {option->Name, enabled ? option->EnableName : option->DisableName}});
    }
    return rows;
}

std::vector<PaneRow> LoadRows(Appliance& appliance) {
    appliance.NextBank = 0;
    appliance.NextAddress = appliance.BankStart;
    std::vector<PaneRow> rows;
    for (const auto& [name, map] : appliance.ObjMaps())
        rows.push_back(
            {"S " + map->Segment,
             "Code",
             {map->Segment, "$00:" + Hex4(map->Start), "$00:" + Hex4(map->Start + map->Size - 1)}});

    const int32_t bankStart = appliance.BankStart;
    const int32_t bankSize = appliance.BankSize;
    for (const auto& [key, image] : appliance.LoadImages()) {
        if (!image->Content || HasSources(*image->Content))
            continue;
        std::string text = image->Content->OutputPath;
        if (image->Offset > 0)
            text += " (skip " + std::to_string(image->Offset) + ")";
        PaneRow row{
            LoadRowKey(image->Content->OutputPath, image->Bank, image->Start, image->Offset),
            "Doc",
            {text}};
        if (!IsPlaced(*image)) {
            // Waiting for a place: nothing to show for its range, and it takes none.
            row.Cells.insert(row.Cells.end(), {"(not placed)", ""});
            rows.push_back(std::move(row));
            continue;
        }
        int32_t end = image->Start + image->Size - 1;
        int32_t endBank = image->Bank;
        if (bankSize > 0 && end > bankSize + bankStart) {
            endBank = image->Bank + (end - bankStart) / bankSize;
            end = (end - bankStart) % bankSize + bankStart;
        }
        row.Cells.push_back("$" + Hex2(image->Bank) + ":" + Hex4(image->Start));
        row.Cells.push_back("$" + Hex2(endBank) + ":" + Hex4(end));
        rows.push_back(std::move(row));

        const int32_t behind = end + 1;
        if (endBank > appliance.NextBank ||
            (endBank == appliance.NextBank && behind > appliance.NextAddress)) {
            appliance.NextBank = endBank;
            appliance.NextAddress = behind;
            // The place behind a bank's last byte is the start of the next bank.
            if (appliance.NextAddress >= bankStart + bankSize) {
                appliance.NextBank = endBank + 1;
                appliance.NextAddress = bankStart;
            }
        }
    }
    return rows;
}

std::vector<PaneRow> ViewRows(Appliance& appliance, const View* active) {
    std::vector<PaneRow> rows;
    for (const auto& [name, view] : appliance.Views()) {
        const bool isActive = view.get() == active;
        rows.push_back({view->Name, "Keys", {view->Name, isActive ? "Active" : "Idle"}, isActive});
    }
    return rows;
}

std::vector<PaneRow> FileRows(Appliance& appliance, const std::string& file) {
    std::vector<PaneRow> rows;
    if (std::shared_ptr<BuildTarget> target = appliance.BuildTargets().Item(file)) {
        std::set<const BuildTarget*> walked;
        AddSteps(*target, rows, walked);
    }
    return rows;
}

std::vector<std::string> SourceFilesOf(Appliance& appliance, const std::string& file) {
    std::shared_ptr<BuildTarget> target = appliance.BuildTargets().Item(file);
    if (!target)
        return {file};
    std::vector<std::string> files;
    std::set<const BuildTarget*> walked;
    AddLeaves(*target, files, walked);
    return files;
}

std::vector<PaneRow> ParamRows(Appliance& appliance, const std::string& nodeKey) {
    std::vector<PaneRow> rows;
    const std::string prefix = nodeKey.substr(0, 2);
    if (prefix == "PR") {
        if (auto peripheral = appliance.Peripherals().Item(NodeName(nodeKey)))
            for (const auto& [name, parameter] : peripheral->Parameters)
                rows.push_back({parameter->Name, "DevParam", {parameter->Name, parameter->Value}});
    } else if (prefix == "VW") {
        if (auto view = appliance.Views().Item(NodeName(nodeKey)))
            for (const auto& [device, display] : view->DisplaySpecs)
                for (const auto& [name, parameter] : display->Parameters) {
                    const std::string shown = device + "." + parameter->Name;
                    rows.push_back({shown, "DevParam", {shown, parameter->Value}});
                }
    }
    return rows;
}

std::string LoadRowKey(const std::string& file, int32_t bank, int32_t address, int32_t offset) {
    return "L " + file + "@" + Hex(bank) + ":" + Hex(address) + ">" + Hex(offset);
}

bool ReadLoadRowKey(const std::string& key, LoadRowPlace& place) {
    if (key.rfind("L ", 0) != 0)
        return false;
    const std::size_t at = key.find('@');
    const std::size_t colon = at == std::string::npos ? at : key.find(':', at);
    const std::size_t arrow = colon == std::string::npos ? colon : key.find('>', colon);
    if (arrow == std::string::npos)
        return false;
    place.File = key.substr(2, at - 2);
    place.Bank = HexToLong(key.substr(at + 1, colon - at - 1));
    place.Address = HexToLong(key.substr(colon + 1, arrow - colon - 1));
    place.Offset = HexToLong(key.substr(arrow + 1));
    return true;
}

} // namespace bx
