// Child windows by desktop: defaults for a desktop the appliance lacks, shares of the client
// area, and what a person arranged kept and placed again.
#include "appliance/Peripherals.h"
#include "frame/DesktopLayout.h"

#include <gtest/gtest.h>

namespace bx::test {
namespace {

std::vector<std::string> Names(const std::vector<PlacedWindow>& placed) {
    std::vector<std::string> names;
    for (const PlacedWindow& window : placed)
        names.push_back(window.Name);
    return names;
}

TEST(DesktopLayout, MissingDesktopGetsTheDefaultInSharesOfTheClientArea) {
    Desktops desktops;
    auto source = DesktopRecord(desktops, "SourceExt");
    ASSERT_EQ(desktops.Item("SourceExt"), source);
    const auto placed = PlaceDesktop(*source, 1200, 800);
    EXPECT_EQ(Names(placed), (std::vector<std::string>{"frmAppliance", "frmSource", "frmMessage"}));
    EXPECT_EQ(placed[1].Rect.Left, 300);
    EXPECT_EQ(placed[1].Rect.Width, 900);
    EXPECT_EQ(placed[2].Rect.Top, 600);
    EXPECT_EQ(placed[2].Rect.Height, 200);
    EXPECT_EQ(Names(PlaceDesktop(*DesktopRecord(desktops, "Ice"), 100, 100)),
              (std::vector<std::string>{"frmSource", "frmRegister", "frmWatch", "frmMemory"}));
}

TEST(DesktopLayout, ArrangedWindowsAreKeptInPixelsAndPlacedAgain) {
    Desktops desktops;
    desktops.Add("Debug", 0, 0)->Windows.Add("frmSource", "0", "0", "1/2", "1", "Visible");
    auto debug = DesktopRecord(desktops, "Debug");
    ASSERT_EQ(debug->Windows.Count(), 1u); // the appliance's own record is used as it stands
    RecordDesktop(*debug, {{"frmMemory", {10, 20, 300, 200}}});
    const auto placed = PlaceDesktop(*debug, 640, 480);
    ASSERT_EQ(Names(placed), std::vector<std::string>{"frmMemory"});
    EXPECT_EQ(placed[0].Rect.Left, 10);
    EXPECT_EQ(placed[0].Rect.Top, 20);
    EXPECT_EQ(placed[0].Rect.Width, 300);
    EXPECT_EQ(placed[0].Rect.Height, 200);
}

} // namespace
} // namespace bx::test
