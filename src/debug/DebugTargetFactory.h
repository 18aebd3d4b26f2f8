#pragma once
// Where the debugger gets its target objects. DebugMonitor creates an Emulator and a symbol
// library when it is created, a fresh Emulator at every power-on, and in software simulation a
// hub and one device per peripheral. It asks this factory for each of them, so the studio and
// the command line hand in the built-in simulator (src/sim/, src/symbols/) and the tests hand
// in fakes. UI thread only.

#include "debug/DeviceHub.h"
#include "debug/Emulator.h"
#include "debug/SymbolLibrary.h"

#include <memory>

namespace bx {

class DebugTargetFactory {
public:
    virtual ~DebugTargetFactory() = default;

    // A new Emulator with no model selected. It is shared: the inspectors and views hold it
    // until the next power-on hands them its successor.
    virtual std::shared_ptr<Emulator> CreateEmulator() = 0;
    virtual std::unique_ptr<SymbolLibrary> CreateSymbolLibrary() = 0;

    // Software simulation only.
    virtual std::shared_ptr<DeviceHub> CreateHub() = 0;
    virtual std::unique_ptr<Speaker> CreateSpeaker() = 0;
    virtual std::unique_ptr<SimpleUI> CreateSimpleUI() = 0;
    virtual std::unique_ptr<Keypad> CreateKeypad() = 0;
};

} // namespace bx
