#include "appliance/Peripherals.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"

#include <vector>

namespace bx {

std::shared_ptr<Parameter> Parameters::Add(const std::string& name) {
    return KeyedCollection::Add(name, std::make_shared<Parameter>(Parameter{name, ""}));
}

std::string Wires::KeyOf(const std::string& peripheralName, const std::string& pinset,
                         int32_t pinsetMask) {
    return peripheralName + "-" + pinset + "-" + Hex8(pinsetMask);
}

std::shared_ptr<Wire> Wires::Add(const std::shared_ptr<bx::Peripheral>& peripheral,
                                 const std::string& pinset, int32_t pinsetMask) {
    auto wire = std::make_shared<Wire>();
    wire->Peripheral = peripheral;
    wire->Pinset = pinset;
    wire->PinsetMask = pinsetMask;
    const std::string key = KeyOf(peripheral ? peripheral->Name : "", pinset, pinsetMask);
    return TryAdd(key, wire) ? wire : nullptr;
}

std::string Wire::AsString() const {
    const std::string fields[] = {Peripheral ? Peripheral->Name : std::string(),
                                  Pinset,
                                  Hex8(PinsetMask),
                                  Port,
                                  Hex8(PortMask),
                                  Type == 1 ? "Analog" : "Digital",
                                  Direction == 1 ? "Outbound" : "Inbound",
                                  IsConnected ? "True" : "False"};
    std::string text;
    for (const auto& field : fields) {
        text += field;
        text += '\0';
    }
    return text;
}

bool Wire::FromString(Appliance& appliance, const std::string& text) {
    // The text ends in a NUL, so the piece behind the last one is empty and not a field.
    std::vector<std::string> parts = SplitText(text, '\0');
    if (parts.back().empty())
        parts.pop_back();

    // Field by field in the order of the text, so that a short text sets what it has.
    std::size_t next = 0;
    std::string piece;
    auto take = [&](std::string& into) {
        if (next >= parts.size())
            return false;
        into = parts[next++];
        return true;
    };
    if (!take(piece))
        return false;
    Peripheral = appliance.Peripherals().Item(piece);
    if (!Peripheral || !take(Pinset) || !take(piece))
        return false;
    PinsetMask = HexToLong(piece);
    if (!take(Port) || !take(piece))
        return false;
    PortMask = HexToLong(piece);
    if (!take(piece))
        return false;
    Type = piece == "Analog" ? 1 : 0;
    if (!take(piece))
        return false;
    Direction = piece == "Inbound" ? 0 : 1;
    if (!take(piece))
        return false;
    IsConnected = piece != "False";
    return true;
}

std::shared_ptr<Peripheral> Peripherals::Add(const std::string& name) {
    auto peripheral = std::make_shared<Peripheral>();
    peripheral->Name = name;
    return KeyedCollection::Add(name, peripheral);
}

std::shared_ptr<DisplaySpec> DisplaySpecs::Add(const std::shared_ptr<bx::Peripheral>& peripheral) {
    auto display = std::make_shared<DisplaySpec>();
    display->Peripheral = peripheral;
    return KeyedCollection::Add(peripheral ? peripheral->Name : "", display);
}

std::shared_ptr<View> Views::Add(const std::string& name) {
    auto view = std::make_shared<View>();
    view->Name = name;
    return KeyedCollection::Add(name, view);
}

std::shared_ptr<Window> Windows::Add(const std::string& name, const std::string& left,
                                     const std::string& top, const std::string& width,
                                     const std::string& height, const std::string& parameters) {
    return KeyedCollection::Add(
        name, std::make_shared<Window>(Window{name, left, top, width, height, parameters}));
}

std::shared_ptr<Desktop> Desktops::Add(const std::string& name, float width, float height) {
    auto desktop = std::make_shared<Desktop>();
    desktop->Name = name;
    desktop->Width = width;
    desktop->Height = height;
    return KeyedCollection::Add(name, desktop);
}

} // namespace bx
