#pragma once
// The device hub and the devices wired to the MCU's ports. They exist in software simulation
// only: power-on creates one hub, joins the Emulator to it (Emulator::AttachHub), creates one
// device per peripheral of the appliance and connects the pins that the appliance's wires name.
// The hub carries pin changes between its members in simulated time; the implementation lives
// in src/sim/.
//
// Devices and the hub meet through the hub handle, a number: each device and the Emulator are
// given the handle and find the hub by it. The handle stays valid while the hub lives; the hub
// implementation keeps the lookup from handle to hub.
//
// Errors: an operation that can't be done throws BxError (power-on runs the device steps with
// errors caught and then reports "Device configuration failed"). Results the callers test
// (ok flags) are results, not errors.
//
// Threads: every call comes from the UI thread. While the target runs, the simulator's worker
// drives the hub; the implementation serialises its members' state against that worker.

#include <cstdint>
#include <string>

namespace bx {

// The fixed numbers of the members of a hub.
namespace device_id {
inline constexpr int32_t kSpeaker = 2001;
inline constexpr int32_t kEmulator = 2002;
inline constexpr int32_t kSimpleUI = 2003;
inline constexpr int32_t kKeypad = 2004;
} // namespace device_id

class DeviceHub {
public:
    virtual ~DeviceHub() = default;

    // The handle that devices and the Emulator are given to join this hub. The same number for
    // the hub's whole life, different for hubs alive at the same time.
    virtual int32_t HubHandle() = 0;

    // Routes a digital connection: whenever the source member drives its pin set sourcePin,
    // the bits under sourceMask are carried onto the bits under targetMask of the target's pin
    // set targetPin, lowest set bit to lowest set bit, in order. Members are device ids (2002
    // for the Emulator, whose pin sets are its GetPortId numbers). False when a member hasn't
    // joined the hub or doesn't have that pin set.
    virtual bool ConnectDigital(int32_t sourceDevice, int32_t sourcePin, int32_t sourceMask,
                                int32_t targetDevice, int32_t targetPin, int32_t targetMask) = 0;

    // Routes an analog connection from the source member's pin set to the target's. False as
    // for ConnectDigital.
    virtual bool ConnectAnalog(int32_t sourceDevice, int32_t sourcePin, int32_t targetDevice,
                               int32_t targetPin) = 0;

    // Sets a named parameter before Start: "Multiplier" and "Divider" scale simulated time
    // against real time (the target runs at clock * Multiplier / Divider). Any other name
    // throws BxError.
    virtual void SetParameter(const std::string& name, int32_t value) = 0;

    // Starts the hub's time base; called once, after the two parameters. Returns a status the
    // debugger doesn't interpret.
    virtual int32_t Start() = 0;
};

// What every wired device answers.
class Device {
public:
    virtual ~Device() = default;

    // Joins the hub whose handle is hubHandle as member deviceId. Returns whether it joined.
    virtual bool Connect(int32_t hubHandle, int32_t deviceId) = 0;

    // The number of the pin set that a Wire's Pinset names: Speaker "Audio" (analog in);
    // SimpleUI "LED" (8 LEDs, driven by the MCU) and "Button" (8 keys, active low); Keypad
    // "Row" (driven by the MCU) and "Column" (read by the MCU, active low). An unknown name
    // throws BxError.
    virtual int32_t PinsetId(const std::string& pinset) = 0;
};

// The speaker: an analog input whose level the simulator samples.
class Speaker : public Device {};

// Eight LEDs and eight keys.
class SimpleUI : public Device {};

// A matrix of keys scanned through rows and read through columns.
class Keypad : public Device {
public:
    // A parameter of the peripheral, set before Connect: the number of rows and columns and
    // the key labels. The names and value texts are those the appliance's Keypad peripheral
    // stores; a name the keypad doesn't know is ignored, so that an appliance written by a
    // later version still powers on.
    virtual void SetParameter(const std::string& name, const std::string& value) = 0;
};

} // namespace bx
