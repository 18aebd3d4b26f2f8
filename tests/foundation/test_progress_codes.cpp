#include "foundation/ProgressCodes.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(ProgressCodes, TableIsInCodeOrderWithUniqueCodesAndNoIcons) {
    auto table = ProgressCodeTable();
    ASSERT_EQ(table.size(), 21u);
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_TRUE(i == 0 || table[i - 1].Code < table[i].Code) << table[i].Code;
        EXPECT_EQ(table[i].Icon, 0) << table[i].Code;
    }
    EXPECT_STREQ(FindProgressCode(11001)->Message, "Opening appliance");
    EXPECT_FALSE(FindProgressCode(999).has_value());
    EXPECT_FALSE(FindProgressCode(0).has_value());
    EXPECT_EQ(ExpandProgressMessage("%a and %a, 100% %A", "x"), "x and x, 100% %A");
}

TEST(ProgressCodes, StateShowsTheMessageAndStateArgFillsItsPlaceholder) {
    ProgressState state;
    EXPECT_TRUE(state.State(406));
    EXPECT_TRUE(state.Visible());
    EXPECT_EQ(state.ShownText(), "Wiring devices (...)");
    state.StateArg("Keypad");
    state.StateArg("Speaker"); // replaces the first; the message keeps its placeholder
    EXPECT_EQ(state.ShownText(), "Wiring devices (Speaker)");
    state.State(410);
    state.StateArg("ignored");
    EXPECT_EQ(state.ShownText(), "Loading appliance");
    // An unknown code leaves the earlier message on the screen.
    EXPECT_FALSE(state.State(4242));
    EXPECT_EQ(state.ShownText(), "Loading appliance");
    state.State(560);
    EXPECT_EQ(state.ShownText(), "Retrieving CPU status from ICE.\nThis may take a few seconds...");
    // 0 hides, and StateArg doesn't show a hidden display; GoAway hides too.
    EXPECT_TRUE(state.State(0));
    EXPECT_FALSE(state.Visible());
    state.StateArg("x");
    EXPECT_FALSE(state.Visible());
    state.State(520);
    state.GoAway();
    EXPECT_FALSE(state.Visible());
}

} // namespace
} // namespace bx
