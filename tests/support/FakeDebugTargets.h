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
#include "foundation/Error.h"
#include "support/FakeEmulator.h"
#include "support/FakeSymbolLibrary.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bx::test {

inline std::string Numbers(std::initializer_list<int32_t> values) {
    std::string text;
    for (int32_t value : values)
        text += " " + std::to_string(value);
    return text;
}

class FakeDebugTargets : public DebugTargetFactory {
public:
    // The handle every fake hub gives.
    static constexpr int32_t kHubHandle = 77;

    // Runs on each new Emulator before the monitor gets it (CPU status, scripted code).
    std::function<void(FakeEmulator&)> PrepareEmulator;

    std::vector<std::shared_ptr<FakeEmulator>> Emulators;
    // The symbol library the Symbler was given; null before the monitor is created.
    FakeSymbolLibrary* Symbols = nullptr;
    int HubsCreated = 0;
    // Hub and device calls, in order (see above).
    std::vector<std::string> DeviceCalls;

    // The Emulator made last: the current one of the monitor.
    FakeEmulator& Current() { return *Emulators.back(); }

    std::shared_ptr<Emulator> CreateEmulator() override {
        auto emulator = std::make_shared<FakeEmulator>();
        if (PrepareEmulator)
            PrepareEmulator(*emulator);
        return Emulators.emplace_back(emulator);
    }
    std::unique_ptr<SymbolLibrary> CreateSymbolLibrary() override {
        auto library = std::make_unique<FakeSymbolLibrary>();
        Symbols = library.get();
        return library;
    }
    std::shared_ptr<DeviceHub> CreateHub() override {
        ++HubsCreated;
        return std::make_shared<Hub>(*this);
    }
    std::unique_ptr<Speaker> CreateSpeaker() override {
        return std::make_unique<Device<Speaker>>(*this, "Speaker");
    }
    std::unique_ptr<SimpleUI> CreateSimpleUI() override {
        return std::make_unique<Device<SimpleUI>>(*this, "SimpleUI");
    }
    std::unique_ptr<Keypad> CreateKeypad() override {
        return std::make_unique<Device<Keypad>>(*this, "Keypad");
    }

private:
    class Hub : public DeviceHub {
    public:
        explicit Hub(FakeDebugTargets& targets) : targets_(targets) {}
        int32_t HubHandle() override { return kHubHandle; }
        bool ConnectDigital(int32_t sourceDevice, int32_t sourcePin, int32_t sourceMask,
                            int32_t targetDevice, int32_t targetPin, int32_t targetMask) override {
            return Log("ConnectDigital" + Numbers({sourceDevice, sourcePin, sourceMask,
                                                   targetDevice, targetPin, targetMask}));
        }
        bool ConnectAnalog(int32_t sourceDevice, int32_t sourcePin, int32_t targetDevice,
                           int32_t targetPin) override {
            return Log("ConnectAnalog" +
                       Numbers({sourceDevice, sourcePin, targetDevice, targetPin}));
        }
        void SetParameter(const std::string& name, int32_t value) override {
            Log("SetParameter " + name + Numbers({value}));
        }
        int32_t Start() override { return Log("Start"), 0; }

    private:
        bool Log(const std::string& call) {
            return targets_.DeviceCalls.push_back("Hub " + call), true;
        }
        FakeDebugTargets& targets_;
    };

    // A device of any kind: its name in the log, Connect, the pin sets "Audio" 0, "LED" 1,
    // "Button" 2, "Row" 1, "Column" 2 (any other name throws BxError, as a real device does),
    // and the keypad's parameters.
    template <class Base>
    class Device : public Base {
    public:
        Device(FakeDebugTargets& targets, std::string name)
            : targets_(targets), name_(std::move(name)) {}
        bool Connect(int32_t hubHandle, int32_t deviceId) override {
            return Log("Connect" + Numbers({hubHandle, deviceId})), true;
        }
        int32_t PinsetId(const std::string& pinset) override {
            static const std::map<std::string, int32_t> pinsets{
                {"Audio", 0}, {"LED", 1}, {"Button", 2}, {"Row", 1}, {"Column", 2}};
            Log("PinsetId " + pinset);
            if (!pinsets.contains(pinset))
                throw BxError(1, name_, "No pin set named " + pinset);
            return pinsets.at(pinset);
        }
        void SetParameter(const std::string& name, const std::string& value) {
            Log("SetParameter " + name + " " + value);
        }

    private:
        void Log(const std::string& call) { targets_.DeviceCalls.push_back(name_ + " " + call); }
        FakeDebugTargets& targets_;
        std::string name_;
    };
};

// The prototyper's surface: records "ConnectSimpleUI 77 2003", "ConnectKeypad 77 2004" and
// "Parameter Color=Red"; the connects succeed.
class RecordingFacade : public Facade {
public:
    std::vector<std::string> Calls;

    int32_t ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) override {
        return Calls.push_back("ConnectSimpleUI" + Numbers({hubHandle, deviceId})), 1;
    }
    int32_t ConnectKeypad(int32_t hubHandle, int32_t deviceId) override {
        return Calls.push_back("ConnectKeypad" + Numbers({hubHandle, deviceId})), 1;
    }
    void SetParameter(const std::string& name, const std::string& value) override {
        Calls.push_back("Parameter " + name + "=" + value);
    }
};

} // namespace bx::test
