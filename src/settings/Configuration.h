#pragma once
// The configuration dialog's logic (wizConfig) without its window: the three external tools
// with their in-use flags, and the simulation rate as one of five slider positions. The tools
// are written to the global settings and to the open appliance alike, so a tool set here holds
// for the open appliance and for every appliance opened later; the rate belongs to the
// appliance alone. UI thread only.

#include <cstdint>
#include <span>
#include <string>

namespace bx {

class Appliance;
class GlobalSettings;

struct RateStep {
    int Position;
    const char* Text; // shown in lblSimRates
    int32_t Multiplier;
    int32_t Divider;
};

// The slider's five positions, from 25% to 200% of real time.
std::span<const RateStep> RateSteps();
// The position of a rate: the whole part of multiplier / divider * 4 gives 1, 2, 4, 6 or 8 for
// the five positions. A rate between them takes the nearest position (the lower one at a tie),
// and a rate with no divider (an appliance that never had one) shows as real time.
int RatePosition(int32_t multiplier, int32_t divider);

struct ExternalTools {
    std::string Editor, Builder, IceDriver;
    bool EditorInUse = false, BuilderInUse = false, IceInUse = false;
    bool operator==(const ExternalTools&) const = default;
};

// The settings' three tools and in-use flags into the appliance: the installation's tools hold
// for every appliance, whatever its file says.
void CopyExternalTools(const GlobalSettings& settings, Appliance& appliance);
// What the dialog shows of the settings.
ExternalTools ToolsOf(const GlobalSettings& settings);
// cmdDone: the tools into the settings (which are marked changed), then into the appliance when
// there is one, and the rate of the slider's position into the appliance.
void ApplyConfiguration(GlobalSettings& settings, Appliance* appliance, const ExternalTools& tools,
                        int ratePosition);

} // namespace bx
