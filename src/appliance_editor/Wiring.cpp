#include "appliance_editor/Wiring.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"

#include <algorithm>
#include <iterator>

namespace bx {

namespace {

// Between the word and the row's key in the port box's tag; the key itself holds NULs.
constexpr char kTagSeparator = '\x01';

// The record in its peripheral's wires that a wire read from a row's key stands for.
std::shared_ptr<Wire> RecordOf(const Wire& wire) {
    std::shared_ptr<Peripheral> peripheral = wire.Peripheral.lock();
    if (!peripheral)
        return nullptr;
    return peripheral->Wires.Item(Wires::KeyOf(peripheral->Name, wire.Pinset, wire.PinsetMask));
}

PaneRow RowOf(const Wire& wire) {
    const bool analog = wire.Type == 1;
    PaneRow row{wire.AsString(),
                analog ? "Speaker" : "Port",
                {wire.Pinset, analog ? "" : Hex8(wire.PinsetMask),
                 wire.Direction == 1 ? "Out" : "In", wire.Port, analog ? "" : Hex8(wire.PortMask)}};
    row.Checked = wire.IsConnected;
    return row;
}

} // namespace

std::vector<PaneRow> WiringRows(Appliance& appliance, const std::string& nodeKey,
                                const std::string& parentKey) {
    const std::string prefix = nodeKey.substr(0, 2);
    std::string device, pinset;
    if (prefix == "WI") {
        device = NodeName(parentKey);
        pinset = NodeName(nodeKey);
    } else if (prefix == "DV") {
        device = NodeName(nodeKey);
    } else {
        return {};
    }
    std::vector<PaneRow> rows;
    if (auto peripheral = appliance.Peripherals().Item(device))
        for (const auto& [key, wire] : peripheral->Wires)
            if (prefix == "DV" || wire->Pinset == pinset)
                rows.push_back(RowOf(*wire));
    return rows;
}

std::optional<std::string> SetWireConnected(Appliance& appliance, const std::string& rowKey,
                                            bool connected) {
    Wire wire;
    if (!wire.FromString(appliance, rowKey))
        return std::nullopt;
    std::shared_ptr<Wire> record = RecordOf(wire);
    if (!record)
        return std::nullopt;
    record->IsConnected = connected;
    appliance.Touch();
    return record->AsString();
}

bool CanChoosePort(Appliance& appliance, const std::string& rowKey) {
    Wire wire;
    return wire.FromString(appliance, rowKey) && wire.Type != 1;
}

std::string PortBoxTag(const std::string& rowKey) {
    return std::string("Port") + kTagSeparator + rowKey;
}

std::optional<std::string> ChoosePort(Appliance& appliance, const std::string& tag,
                                      const std::string& port) {
    const std::size_t separator = tag.find(kTagSeparator);
    if (separator == std::string::npos || tag.substr(0, separator) != "Port")
        return std::nullopt;
    if (std::find(std::begin(kWirePorts), std::end(kWirePorts), port) == std::end(kWirePorts))
        return std::nullopt;
    Wire wire;
    if (!wire.FromString(appliance, tag.substr(separator + 1)))
        return std::nullopt;
    if (std::shared_ptr<Wire> record = RecordOf(wire)) {
        record->Port = port;
        appliance.Touch();
    }
    return "DV " + wire.Peripheral->Name;
}

} // namespace bx
