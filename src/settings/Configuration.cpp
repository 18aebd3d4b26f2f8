#include "settings/Configuration.h"

#include "appliance/Appliance.h"
#include "settings/GlobalSettings.h"

#include <cstdlib>

namespace bx {

namespace {

constexpr RateStep kRateSteps[] = {
    {0, "25% real-time", 1, 4},  {1, "50% real-time", 1, 2},  {2, "Real-time", 1, 1},
    {3, "150% real-time", 3, 2}, {4, "200% real-time", 2, 1},
};
// The whole part of multiplier / divider * 4 at each position.
constexpr int kQuarters[] = {1, 2, 4, 6, 8};

} // namespace

std::span<const RateStep> RateSteps() {
    return kRateSteps;
}

int RatePosition(int32_t multiplier, int32_t divider) {
    if (divider == 0)
        return 2;
    const int64_t quarters = static_cast<int64_t>(multiplier) * 4 / divider;
    int best = 0;
    for (int position = 1; position < 5; ++position)
        if (std::llabs(quarters - kQuarters[position]) < std::llabs(quarters - kQuarters[best]))
            best = position;
    return best;
}

ExternalTools ToolsOf(const GlobalSettings& settings) {
    return {settings.ExtEditorCommand, settings.ExtBuilderCommand, settings.ExtDebuggerDriver,
            settings.ExtEditorInUse,   settings.ExtBuilderInUse,   settings.ExtDebuggerInUse};
}

void CopyExternalTools(const GlobalSettings& settings, Appliance& appliance) {
    appliance.ExtEditor = settings.ExtEditorCommand;
    appliance.ExtBuilder = settings.ExtBuilderCommand;
    appliance.ExtDebugger = settings.ExtDebuggerDriver;
    appliance.ExtEditorInUse = settings.ExtEditorInUse;
    appliance.ExtBuilderInUse = settings.ExtBuilderInUse;
    appliance.ExtDebuggerInUse = settings.ExtDebuggerInUse;
}

void ApplyConfiguration(GlobalSettings& settings, Appliance* appliance, const ExternalTools& tools,
                        int ratePosition) {
    settings.ExtEditorCommand = tools.Editor;
    settings.ExtBuilderCommand = tools.Builder;
    settings.ExtDebuggerDriver = tools.IceDriver;
    settings.ExtEditorInUse = tools.EditorInUse;
    settings.ExtBuilderInUse = tools.BuilderInUse;
    settings.ExtDebuggerInUse = tools.IceInUse;
    if (appliance)
        CopyExternalTools(settings, *appliance);
    settings.Touch();
    if (appliance && ratePosition >= 0 && ratePosition < 5) {
        appliance->RateMultiplier = kRateSteps[ratePosition].Multiplier;
        appliance->RateDivider = kRateSteps[ratePosition].Divider;
    }
}

} // namespace bx
