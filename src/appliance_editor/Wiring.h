#pragma once
// The wiring pane's logic without its window: the rows of a device's wires, a wire connected
// or disconnected by its check box, and a digital wire moved to another port. A row carries
// its wire only as text (Wire::AsString is its key); every handler rebuilds the wire from that
// text and finds the record of the peripheral by the wire's own fields. Nothing here may run
// while the appliance is powered on: the window tests the power first and shows
// kPowerOffText instead. UI thread only.

#include "appliance_editor/ApplianceTree.h"

#include <optional>
#include <string>
#include <vector>

namespace bx {

class Appliance;

inline constexpr const char* kEditorTitle = "Appliance Editor";
inline constexpr const char* kPowerOffText =
    "Please power off the appliance before changing settings.";

// The ports a digital wire can be moved to, whatever the body offers.
inline constexpr const char* kWirePorts[] = {"P0", "P1", "P2"};

// The rows of a "DV " node (all of the device's wires) or a "WI " node (the wires of that
// pin set; parentKey is the node's parent, the device's "DV " node).
std::vector<PaneRow> WiringRows(Appliance& appliance, const std::string& nodeKey,
                                const std::string& parentKey);

// Connects or disconnects the wire of a row. The row's new key (the flag is part of it), or
// nullopt when the key doesn't name a wire of the appliance (the row stays as it was).
std::optional<std::string> SetWireConnected(Appliance& appliance, const std::string& rowKey,
                                            bool connected);

// Whether a press on the row's Port cell opens the port box: the row names a digital wire.
bool CanChoosePort(Appliance& appliance, const std::string& rowKey);

// The port box's tag: "Port", the separator and the row's key.
std::string PortBoxTag(const std::string& rowKey);

// A port chosen in the box whose tag is tag: the wire's record takes it and the appliance is
// marked modified. The tree key of the device whose wires are to be shown again ("DV " and
// its name), or nullopt when the tag doesn't name a wire (nothing changed).
std::optional<std::string> ChoosePort(Appliance& appliance, const std::string& tag,
                                      const std::string& port);

} // namespace bx
