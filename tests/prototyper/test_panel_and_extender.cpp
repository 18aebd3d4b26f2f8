// The device panel's front without a window (what a display record lays out and what a press
// hits) and the extender host's rules for names and button keys.
#include "platform/SharedLibrary.h"
#include "prototyper/Extender.h"
#include "prototyper/PanelLayout.h"

#include <gtest/gtest.h>

namespace bx::prototyper {
namespace {

TEST(PanelLayout, PartsComeFromTheRecordAndAPressHitsThePartUnderIt) {
    const PanelLayout board = LayOutPanel({{"Caption", "Board"},
                                           {"LEDs", "12,28,312,52"},
                                           {"Buttons", "12, 82, 312, 34"},
                                           {"Keypad", "12,128,0,164"},
                                           {"Speaker", "188,128,136"}},
                                          "SimpleUI");
    EXPECT_EQ(board.Leds, (Rect{12, 28, 312, 52}));
    EXPECT_EQ(board.Buttons, (Rect{12, 82, 312, 34}));
    EXPECT_FALSE(board.Keypad) << "no width";
    EXPECT_FALSE(board.Speaker) << "three numbers";
    EXPECT_EQ(board.Width, 12 + 312 + 16) << "the parts' extent without a Width";
    EXPECT_EQ(board.LedColor, "Red");

    const PanelLayout older = LayOutPanel(
        {{"Left", "16"}, {"Top", "128"}, {"Width", "160"}, {"Height", "160"}}, "Keypad");
    ASSERT_TRUE(older.Keypad);
    EXPECT_FALSE(older.Leds);
    EXPECT_EQ(older.Width, 160);
    EXPECT_LE(older.Keypad->Left + older.Keypad->Width, 160);

    // A press hits the button or key under it, and nothing between.
    const PanelLayout layout = LayOutPanel(
        {{"Buttons", "0,0,80,10"}, {"Keypad", "0,20,40,40"}, {"Speaker", "50,20,60,30"}}, "");
    const Rect third = CellOf(*layout.Buttons, 3, 8);
    const PanelHit button = HitTest(layout, 4, 4, third.Left + 1, third.Top + 1);
    EXPECT_EQ(button.What, PanelHit::Kind::Button);
    EXPECT_EQ(button.Index, 3);
    const PanelHit key = HitTest(layout, 4, 4, 25, 35);
    EXPECT_EQ(key.What, PanelHit::Kind::Key);
    EXPECT_EQ(key.Row, 1);
    EXPECT_EQ(key.Column, 2);
    EXPECT_EQ(HitTest(layout, 4, 4, 10, 0).What, PanelHit::Kind::None) << "the gap between";
    const Rect mute = MuteOf(*layout.Speaker);
    EXPECT_EQ(HitTest(layout, 4, 4, mute.Left + 1, mute.Top + 1).What, PanelHit::Kind::Mute);
    EXPECT_DOUBLE_EQ(SampleLevel({16384, -16384}), 0.5);
}

TEST(Extender, NamesResolveToLibrariesAndKeysToIndexes) {
    EXPECT_EQ(ExtenderHost::LibraryPath("SarnovaExtender.PortalExtender", "\\opt\\bx"),
              std::string("\\opt\\bx\\PlugIns\\SarnovaExtender") + platform::SharedLibrarySuffix());
    for (const char* bad : {"NoDot", ".Class", "Library."})
        EXPECT_EQ(ExtenderHost::LibraryPath(bad, "\\opt\\bx"), "") << bad;
    EXPECT_EQ(ExtenderButtonKey(12), "n12");
    EXPECT_EQ(ExtenderFunctionIndex("n12"), 12);
    for (const char* bad : {"n", "nx", "n-1", "n1x"})
        EXPECT_FALSE(ExtenderFunctionIndex(bad)) << bad;
}

} // namespace
} // namespace bx::prototyper
