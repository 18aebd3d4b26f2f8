#include "support/FakeDebugTargets.h"

#include "foundation/Error.h"

namespace bx::test {

namespace {

std::string Numbers(std::initializer_list<int32_t> values) {
    std::string text;
    for (int32_t value : values)
        text += " " + std::to_string(value);
    return text;
}

class FakeHub : public DeviceHub {
public:
    explicit FakeHub(FakeDebugTargets& targets) : targets_(targets) {}

    int32_t HubHandle() override { return FakeDebugTargets::kHubHandle; }
    bool ConnectDigital(int32_t sourceDevice, int32_t sourcePin, int32_t sourceMask,
                        int32_t targetDevice, int32_t targetPin, int32_t targetMask) override {
        return Log("ConnectDigital" + Numbers({sourceDevice, sourcePin, sourceMask, targetDevice,
                                               targetPin, targetMask})),
               targets_.HubConnects;
    }
    bool ConnectAnalog(int32_t sourceDevice, int32_t sourcePin, int32_t targetDevice,
                       int32_t targetPin) override {
        return Log("ConnectAnalog" + Numbers({sourceDevice, sourcePin, targetDevice, targetPin})),
               targets_.HubConnects;
    }
    void SetParameter(const std::string& name, int32_t value) override {
        Log("SetParameter " + name + Numbers({value}));
    }
    int32_t Start() override { return Log("Start"), 0; }

private:
    void Log(const std::string& call) { targets_.DeviceCalls.push_back("Hub " + call); }
    FakeDebugTargets& targets_;
};

// The part every fake device shares: its name in the log, Connect and PinsetId.
template <class Base>
class FakeDevice : public Base {
public:
    FakeDevice(FakeDebugTargets& targets, std::string name)
        : targets_(targets), name_(std::move(name)) {}

    bool Connect(int32_t hubHandle, int32_t deviceId) override {
        return Log("Connect" + Numbers({hubHandle, deviceId})), targets_.DeviceConnects[name_];
    }
    int32_t PinsetId(const std::string& pinset) override {
        Log("PinsetId " + pinset);
        auto it = targets_.Pinsets.find(pinset);
        if (it == targets_.Pinsets.end())
            throw BxError(1, name_, "No pin set named " + pinset);
        return it->second;
    }

protected:
    void Log(const std::string& call) { targets_.DeviceCalls.push_back(name_ + " " + call); }

private:
    FakeDebugTargets& targets_;
    std::string name_;
};

class FakeKeypad : public FakeDevice<Keypad> {
public:
    explicit FakeKeypad(FakeDebugTargets& targets) : FakeDevice(targets, "Keypad") {}
    void SetParameter(const std::string& name, const std::string& value) override {
        Log("SetParameter " + name + " " + value);
    }
};

} // namespace

std::shared_ptr<Emulator> FakeDebugTargets::CreateEmulator() {
    auto emulator = MakeEmulator ? MakeEmulator() : std::make_shared<FakeEmulator>();
    if (PrepareEmulator)
        PrepareEmulator(*emulator);
    return Emulators.emplace_back(emulator);
}

std::unique_ptr<SymbolLibrary> FakeDebugTargets::CreateSymbolLibrary() {
    auto library = std::make_unique<FakeSymbolLibrary>();
    Symbols = library.get();
    return library;
}

std::shared_ptr<DeviceHub> FakeDebugTargets::CreateHub() {
    ++HubsCreated;
    return std::make_shared<FakeHub>(*this);
}

std::unique_ptr<Speaker> FakeDebugTargets::CreateSpeaker() {
    return std::make_unique<FakeDevice<Speaker>>(*this, "Speaker");
}

std::unique_ptr<SimpleUI> FakeDebugTargets::CreateSimpleUI() {
    return std::make_unique<FakeDevice<SimpleUI>>(*this, "SimpleUI");
}

std::unique_ptr<Keypad> FakeDebugTargets::CreateKeypad() {
    return std::make_unique<FakeKeypad>(*this);
}

int32_t RecordingFacade::ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) {
    Calls.push_back("ConnectSimpleUI" + Numbers({hubHandle, deviceId}));
    return SimpleUIResult;
}

int32_t RecordingFacade::ConnectKeypad(int32_t hubHandle, int32_t deviceId) {
    Calls.push_back("ConnectKeypad" + Numbers({hubHandle, deviceId}));
    return KeypadResult;
}

void RecordingFacade::SetParameter(const std::string& name, const std::string& value) {
    Calls.push_back("Parameter " + name + "=" + value);
}

} // namespace bx::test
