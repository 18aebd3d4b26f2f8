#pragma once
// The debugger's target objects in software simulation: KtrEmulator, SimHub and the three
// devices. The symbol library comes from whoever builds the factory (the reader of ld65 debug
// files lives in src/symbols/), so this factory needs nothing outside src/sim/ and src/debug/.
// UI thread only.

#include "debug/DebugTargetFactory.h"
#include "foundation/HostInterfaces.h"

#include <functional>
#include <memory>

namespace bx::sim {

class SimTargetFactory : public DebugTargetFactory {
public:
    using SymbolLibraryMaker = std::function<std::unique_ptr<SymbolLibrary>()>;

    // dispatcher delivers the emulators' BreakHit on the UI thread and must outlive every
    // emulator made here; makeSymbols makes the symbol libraries (it may be empty, and then
    // CreateSymbolLibrary gives nullptr).
    SimTargetFactory(Dispatcher& dispatcher, SymbolLibraryMaker makeSymbols)
        : dispatcher_(dispatcher), makeSymbols_(std::move(makeSymbols)) {}

    std::shared_ptr<Emulator> CreateEmulator() override;
    std::unique_ptr<SymbolLibrary> CreateSymbolLibrary() override;
    std::shared_ptr<DeviceHub> CreateHub() override;
    std::unique_ptr<Speaker> CreateSpeaker() override;
    std::unique_ptr<SimpleUI> CreateSimpleUI() override;
    std::unique_ptr<Keypad> CreateKeypad() override;

private:
    Dispatcher& dispatcher_;
    SymbolLibraryMaker makeSymbols_;
};

} // namespace bx::sim
