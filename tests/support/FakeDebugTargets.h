#pragma once
// The debugger's target objects for tests, as one DebugTargetFactory: a FakeEmulator per
// CreateEmulator (all kept, so that a test reaches the one of the latest power-on), the
// FakeSymbolLibrary the Symbler owns, and in software simulation a recording hub and devices.
// Also a Facade that records what power-on asks of the prototyper's surface.
//
// Hub and devices log into one list, in call order, so that a test can compare the whole
// wiring of an appliance with one table: "Hub SetParameter Multiplier 1", "Hub Start",
// "Speaker Connect 77 2001", "Keypad SetParameter Rows 4", "Speaker PinsetId Audio",
// "Hub ConnectAnalog 2001 0 2002 3", "Hub ConnectDigital 2002 1 255 2003 1 255".

#include "debug/DebugTargetFactory.h"
#include "debug/Facade.h"
#include "support/FakeEmulator.h"
#include "support/FakeSymbolLibrary.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bx::test {

class FakeDebugTargets : public DebugTargetFactory {
public:
    // The handle every fake hub gives.
    static constexpr int32_t kHubHandle = 77;

    // ---- Set-up by the test ---------------------------------------------------------------

    // Makes each new Emulator; a test hands in a FakeEmulator of its own kind here. Without
    // it a plain FakeEmulator is made.
    std::function<std::shared_ptr<FakeEmulator>()> MakeEmulator;
    // Runs on each new Emulator before the monitor gets it (CPU status, scripted code).
    std::function<void(FakeEmulator&)> PrepareEmulator;
    // What the hub's Connect calls answer.
    bool HubConnects = true;
    // What each device's Connect answers, by device name ("Speaker", "SimpleUI", "Keypad").
    std::map<std::string, bool> DeviceConnects{
        {"Speaker", true}, {"SimpleUI", true}, {"Keypad", true}};
    // The pin sets of the devices: "Audio" 0, "LED" 1, "Button" 2, "Row" 1, "Column" 2. A
    // name not listed throws BxError, as a real device does.
    std::map<std::string, int32_t> Pinsets{
        {"Audio", 0}, {"LED", 1}, {"Button", 2}, {"Row", 1}, {"Column", 2}};

    // ---- Seen by the test -----------------------------------------------------------------

    std::vector<std::shared_ptr<FakeEmulator>> Emulators;
    // The symbol library the Symbler was given; null before the monitor is created.
    FakeSymbolLibrary* Symbols = nullptr;
    int HubsCreated = 0;
    // Hub and device calls, in order (see above).
    std::vector<std::string> DeviceCalls;

    // The Emulator made last: the current one of the monitor.
    FakeEmulator& Current() { return *Emulators.back(); }

    // ---- DebugTargetFactory ---------------------------------------------------------------

    std::shared_ptr<Emulator> CreateEmulator() override;
    std::unique_ptr<SymbolLibrary> CreateSymbolLibrary() override;
    std::shared_ptr<DeviceHub> CreateHub() override;
    std::unique_ptr<Speaker> CreateSpeaker() override;
    std::unique_ptr<SimpleUI> CreateSimpleUI() override;
    std::unique_ptr<Keypad> CreateKeypad() override;
};

// The prototyper's surface: records "ConnectSimpleUI 77 2003", "ConnectKeypad 77 2004",
// "Parameter Color=Red" and answers the connects with the values set here.
class RecordingFacade : public Facade {
public:
    int32_t SimpleUIResult = 1;
    int32_t KeypadResult = 1;
    std::vector<std::string> Calls;

    int32_t ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) override;
    int32_t ConnectKeypad(int32_t hubHandle, int32_t deviceId) override;
    void SetParameter(const std::string& name, const std::string& value) override;
};

} // namespace bx::test
