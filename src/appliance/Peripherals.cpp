#include "appliance/Peripherals.h"

#include "foundation/Common.h"

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
