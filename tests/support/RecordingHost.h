#pragma once
// A DebugMonitorHost for tests: gives the facade and view a test hands it, counts the builds and
// resets asked for, and records every stop with the number of message boxes shown before it, so
// that a test can tell the stop came after its message.

#include "debug/DebugMonitor.h"
#include "support/TestDoubles.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace bx::test {

class RecordingHost : public DebugMonitorHost {
public:
    struct Stop {
        int32_t Bank, Address, Cond;
        std::size_t BoxesBefore;
        bool operator==(const Stop&) const = default;
    };

    explicit RecordingHost(const ScriptedPrompter& prompter) : prompter_(prompter) {}

    Facade* RequestFacade() override { return FacadeToGive; }
    std::shared_ptr<View> RequestActiveView() override { return ViewToGive; }
    void RequestBuild() override { ++Builds; }
    void BreakHit(int32_t bank, int32_t address, int32_t cond) override {
        Stops.push_back({bank, address, cond, prompter_.Boxes().size()});
    }
    void DoReset() override { ++Resets; }

    Facade* FacadeToGive = nullptr;
    std::shared_ptr<View> ViewToGive;
    int Builds = 0;
    int Resets = 0;
    std::vector<Stop> Stops;

private:
    const ScriptedPrompter& prompter_;
};

} // namespace bx::test
