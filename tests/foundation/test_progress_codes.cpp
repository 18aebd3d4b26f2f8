#include "foundation/ProgressCodes.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

TEST(ProgressCodes, TableIsInCodeOrderWithUniqueCodesAndNoIcons) {
    auto table = ProgressCodeTable();
    ASSERT_EQ(table.size(), 21u);
    for (std::size_t i = 1; i < table.size(); ++i)
        EXPECT_LT(table[i - 1].Code, table[i].Code);
    for (const auto& record : table)
        EXPECT_EQ(record.Icon, 0) << record.Code;
    EXPECT_STREQ(FindProgressCode(11001)->Message, "Opening appliance");
    EXPECT_FALSE(FindProgressCode(999).has_value());
    EXPECT_FALSE(FindProgressCode(0).has_value());
}

TEST(ProgressCodes, StateShowsEllipsisThenStateArgFillsPlaceholder) {
    ProgressState state;
    EXPECT_TRUE(state.State(406));
    EXPECT_TRUE(state.Visible());
    EXPECT_EQ(state.ShownText(), "Wiring devices (...)");
    state.StateArg("Keypad");
    EXPECT_EQ(state.ShownText(), "Wiring devices (Keypad)");
    // A second argument replaces the first; the message keeps its placeholder.
    state.StateArg("Speaker");
    EXPECT_EQ(state.ShownText(), "Wiring devices (Speaker)");
}

TEST(ProgressCodes, MessagesWithoutPlaceholderAndUnknownCodes) {
    ProgressState state;
    state.State(410);
    state.StateArg("ignored");
    EXPECT_EQ(state.ShownText(), "Loading appliance");
    // An unknown code leaves the earlier message on the screen.
    EXPECT_FALSE(state.State(4242));
    EXPECT_EQ(state.ShownText(), "Loading appliance");
    EXPECT_TRUE(state.Visible());
    // Code 560 shows two lines.
    state.State(560);
    EXPECT_EQ(state.ShownText(), "Retrieving CPU status from ICE.\nThis may take a few seconds...");
    // 0 hides; StateArg does not show a hidden display.
    state.State(0);
    EXPECT_FALSE(state.Visible());
    state.StateArg("x");
    EXPECT_FALSE(state.Visible());
    state.State(520);
    state.GoAway();
    EXPECT_FALSE(state.Visible());
}

TEST(ProgressCodes, ExpandReplacesEveryPlaceholder) {
    EXPECT_EQ(ExpandProgressMessage("%a and %a", "x"), "x and x");
    EXPECT_EQ(ExpandProgressMessage("100%", "x"), "100%");
    EXPECT_EQ(ExpandProgressMessage("%A", "x"), "%A");
}

} // namespace
} // namespace bx
