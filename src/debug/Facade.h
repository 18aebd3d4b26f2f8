#pragma once
// Facade: the surface of the prototyper window, the device front that shows what the SimpleUI
// and the keypad do (lit LEDs, held keys) and takes a person's presses. Power-on asks its host
// for the Facade when it wires a SimpleUI or a Keypad, connects the surface to the device it
// has just put on the hub, and hands it the parameters of the design view. The studio's window,
// the command line and the tests each bring their own. UI thread only.

#include <cstdint>
#include <string>

namespace bx {

class Facade {
public:
    virtual ~Facade() = default;

    // Shows the SimpleUI that joined the hub hubHandle as deviceId; non-zero when it is shown.
    virtual int32_t ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) = 0;
    // Shows the keypad that joined the hub hubHandle as deviceId; non-zero when it is shown.
    virtual int32_t ConnectKeypad(int32_t hubHandle, int32_t deviceId) = 0;
    // Parameter(name) = value: a setting of the design view (colours, captions, layout). A name
    // the surface doesn't know is kept and ignored.
    virtual void SetParameter(const std::string& name, const std::string& value) = 0;
};

} // namespace bx
