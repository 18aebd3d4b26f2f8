// The configuration dialog's rate slider and what Done writes where.
#include "appliance/Appliance.h"
#include "settings/Configuration.h"
#include "settings/GlobalSettings.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx::test {
namespace {

TEST(Configuration, RateSliderPositionsAndTheirTexts) {
    const std::tuple<int32_t, int32_t, int, const char*> rows[] = {
        {1, 4, 0, "25% real-time"},  {1, 2, 1, "50% real-time"},  {1, 1, 2, "Real-time"},
        {3, 2, 3, "150% real-time"}, {2, 1, 4, "200% real-time"}, {4, 1, 4, "200% real-time"},
        {3, 4, 1, "50% real-time"},  {5, 4, 2, "Real-time"},      {0, 0, 2, "Real-time"}};
    for (const auto& [multiplier, divider, position, text] : rows) {
        EXPECT_EQ(RatePosition(multiplier, divider), position) << multiplier << "/" << divider;
        EXPECT_STREQ(RateSteps()[static_cast<std::size_t>(position)].Text, text);
    }
    for (const RateStep& step : RateSteps())
        EXPECT_EQ(RatePosition(step.Multiplier, step.Divider), step.Position);
}

TEST(Configuration, DoneWritesToolsToBothStoresAndTheRateToTheAppliance) {
    ScriptedPrompter prompter;
    GlobalSettings settings(prompter), alone(prompter);
    Appliance appliance;
    const ExternalTools tools{"gvim %i", "%AppPath%\\tessarine-build", "ice.so", true, false, true};
    ApplyConfiguration(settings, &appliance, tools, 3);
    EXPECT_EQ(ToolsOf(settings), tools);
    EXPECT_TRUE(settings.IsDirty());
    EXPECT_EQ(ExternalTools({appliance.ExtEditor, appliance.ExtBuilder, appliance.ExtDebugger,
                             appliance.ExtEditorInUse, appliance.ExtBuilderInUse,
                             appliance.ExtDebuggerInUse}),
              tools);
    EXPECT_EQ(appliance.RateMultiplier * 10 + appliance.RateDivider, 32) << "150%: 3/2";
    // Without an appliance only the settings change.
    ApplyConfiguration(alone, nullptr, tools, 0);
    EXPECT_EQ(ToolsOf(alone), tools);
}

} // namespace
} // namespace bx::test
