#pragma once
// What the appliance knows of its devices: the peripherals and their parameters, how their
// pin sets are wired to the MCU's ports, what each design view shows, and the saved window
// layouts (desktops).

#include "foundation/KeyedCollection.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace bx {

class Appliance;

struct Parameter {
    std::string Name;
    std::string Value;
};

class Parameters : public KeyedCollection<Parameter> {
public:
    std::shared_ptr<Parameter> Add(const std::string& name);
};

struct Peripheral;

// A wire's reference to the peripheral that owns it. The peripheral holds its wires, so a
// wire that held its peripheral strongly would close a cycle that is never freed; this one
// doesn't keep it alive. It reads like the shared pointer it gives out: "->", a test for
// null, comparison with a peripheral pointer or nullptr.
class PeripheralRef {
public:
    PeripheralRef() = default;
    PeripheralRef(std::nullptr_t) {}
    PeripheralRef(const std::shared_ptr<bx::Peripheral>& peripheral) : ref_(peripheral) {}

    std::shared_ptr<bx::Peripheral> lock() const { return ref_.lock(); }
    operator std::shared_ptr<bx::Peripheral>() const { return ref_.lock(); }
    std::shared_ptr<bx::Peripheral> operator->() const { return ref_.lock(); }
    explicit operator bool() const { return !ref_.expired(); }
    void reset() { ref_.reset(); }

    friend bool operator==(const PeripheralRef& a, const PeripheralRef& b) {
        return a.lock() == b.lock();
    }
    friend bool operator==(const PeripheralRef& a, const std::shared_ptr<bx::Peripheral>& b) {
        return a.lock() == b;
    }
    friend bool operator==(const PeripheralRef& a, std::nullptr_t) { return a.ref_.expired(); }

private:
    std::weak_ptr<bx::Peripheral> ref_;
};

struct Wire {
    PeripheralRef Peripheral; // the owning peripheral, shared, not owned
    std::string Pinset;
    int32_t PinsetMask = 0;
    std::string Port;
    int32_t PortMask = 0;
    bool IsConnected = false;
    int16_t Type = 0;      // 1 analog, 0 digital
    int16_t Direction = 0; // 0 inbound (device to MCU), 1 outbound

    // The wire as one text, as the clipboard and the wiring dialogs pass it on: the
    // peripheral's Name, Pinset, Hex8(PinsetMask), Port, Hex8(PortMask), "Analog"/"Digital",
    // "Outbound"/"Inbound", "True"/"False" for IsConnected, each followed by one NUL
    // character, also the last. A wire without a peripheral gives an empty name.
    std::string AsString() const;
    // Reads AsString's form, finding the peripheral by name in the appliance. False when the
    // peripheral is unknown (Peripheral is then null) or the text ends early; the fields read
    // up to that point keep their new values and the rest stay as they were.
    bool FromString(Appliance& appliance, const std::string& text);
};

class Wires : public KeyedCollection<Wire> {
public:
    // The peripheral's Name "-" Pinset "-" Hex8(PinsetMask).
    static std::string KeyOf(const std::string& peripheralName, const std::string& pinset,
                             int32_t pinsetMask);
    // A digital wire with these values; a taken key leaves the collection as it was and
    // gives nullptr.
    std::shared_ptr<Wire> Add(const std::shared_ptr<bx::Peripheral>& peripheral,
                              const std::string& pinset, int32_t pinsetMask);
};

struct Peripheral {
    std::string Name;
    std::string Type; // "Speaker", "SimpleUI", "Keypad"
    bx::Wires Wires;
    bx::Parameters Parameters;
};

class Peripherals : public KeyedCollection<Peripheral> {
public:
    std::shared_ptr<Peripheral> Add(const std::string& name);
};

struct DisplaySpec {
    std::shared_ptr<bx::Peripheral> Peripheral; // the peripheral it shows
    bx::Parameters Parameters;
};

class DisplaySpecs : public KeyedCollection<DisplaySpec> {
public:
    // Keyed by the peripheral's Name.
    std::shared_ptr<DisplaySpec> Add(const std::shared_ptr<bx::Peripheral>& peripheral);
};

struct View {
    std::string Name;
    bx::DisplaySpecs DisplaySpecs;
};

class Views : public KeyedCollection<View> {
public:
    std::shared_ptr<View> Add(const std::string& name);
};

struct Window {
    std::string Name;
    // Each pixels ("120") or a share of the frame's client area ("1/2").
    std::string Left, Top, Width, Height;
    std::string Parameters;
};

class Windows : public KeyedCollection<Window> {
public:
    std::shared_ptr<Window> Add(const std::string& name, const std::string& left,
                                const std::string& top, const std::string& width,
                                const std::string& height, const std::string& parameters);
};

struct Desktop {
    std::string Name;
    float Width = 0;
    float Height = 0;
    bx::Windows Windows;
};

class Desktops : public KeyedCollection<Desktop> {
public:
    std::shared_ptr<Desktop> Add(const std::string& name, float width, float height);
};

} // namespace bx
