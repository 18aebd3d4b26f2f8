#include "sim/SimTargetFactory.h"

#include "sim/KtrEmulator.h"
#include "sim/SimDevices.h"
#include "sim/SimHub.h"

namespace bx::sim {

std::shared_ptr<Emulator> SimTargetFactory::CreateEmulator() {
    return std::make_shared<KtrEmulator>(dispatcher_);
}

std::unique_ptr<SymbolLibrary> SimTargetFactory::CreateSymbolLibrary() {
    return makeSymbols_ ? makeSymbols_() : nullptr;
}

std::shared_ptr<DeviceHub> SimTargetFactory::CreateHub() {
    return SimHub::Create();
}

std::unique_ptr<Speaker> SimTargetFactory::CreateSpeaker() {
    return std::make_unique<SimSpeaker>();
}

std::unique_ptr<SimpleUI> SimTargetFactory::CreateSimpleUI() {
    return std::make_unique<SimSimpleUI>();
}

std::unique_ptr<Keypad> SimTargetFactory::CreateKeypad() {
    return std::make_unique<SimKeypad>();
}

} // namespace bx::sim
