// The appliance editor's tree and panes without a window: the nodes of an appliance, the load
// pane's texts with the next free load place, the system pane's options, and the changes made
// in place and in the load-map dialogs (bad values change nothing).
#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceEdits.h"
#include "appliance_editor/ApplianceTree.h"
#include "settings/GlobalSettings.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx::test {
namespace {

std::vector<std::string> KeysUnder(const std::vector<TreeNode>& nodes, const std::string& parent) {
    std::vector<std::string> keys;
    for (const TreeNode& node : nodes)
        if (node.Parent == parent)
            keys.push_back(node.Key);
    return keys;
}

// A body with nine options, the ninth behind what the appliance's flags can hold.
std::string NineOptions() {
    std::string xml =
        R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
        R"(<Body Model="KTR310" TemplateDir="KTR310" BankMode="$4000-$7FFF" BankCount="4">)"
        R"(<OPClock Rate="1 MHz" RateParam="1" Dual="False"/>)"
        R"(<OPClock Rate="4 MHz" RateParam="4" Dual="False"/>)"
        R"(<Options Name="WDT" DisableName="Disabled" EnableName="Enabled" Map="1"/>)";
    for (int i = 2; i <= 8; ++i)
        xml += "<Options Name=\"O" + std::to_string(i) + R"(" DisableName="Off" EnableName="On")" +
               " Map=\"" + std::to_string(1 << (i - 1)) + "\"/>";
    return xml + R"(<Options Name="O9" DisableName="Nine off" EnableName="Nine on" Map="256"/>)"
                 R"(</Body><Body Model="KTR640" TemplateDir="KTR640" BankMode="$C000-$FFFF")"
                 R"( BankCount="62"><OPClock Rate="16 MHz" RateParam="16" Dual="False"/>)"
                 R"(</Body></MCU></GlobalSettings>)";
}

class ApplianceTreeTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(settings.LoadXml(NineOptions()));
        appliance.Title = "blinky";
        appliance.Family = "KTR";
        appliance.Model = "KTR310";
        appliance.OPClock = "4 MHz";
        appliance.BankStart = 0x4000;
        appliance.BankSize = 0x4000;
        appliance.BankCount = 4;
    }
    ScriptedPrompter prompts;
    GlobalSettings settings{prompts};
    Appliance appliance;
};

TEST_F(ApplianceTreeTest, TheTreeShowsTheRootTheSourcesAndEachImagesSources) {
    appliance.NextBank = 7;
    std::vector<TreeNode> nodes = TreeNodes(appliance);
    ASSERT_GE(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].Key, "Appl");
    EXPECT_EQ(nodes[0].Text, "blinky");
    EXPECT_TRUE(nodes[0].Bold && nodes[0].Expanded);
    EXPECT_EQ(nodes[1].Text, "Source Files");
    EXPECT_EQ(nodes[1].SelectedIcon, "FoldOpen");
    EXPECT_TRUE(KeysUnder(nodes, "Load").empty());
    EXPECT_TRUE(LoadRows(appliance).empty());
    EXPECT_EQ(appliance.NextBank, 0);
    EXPECT_EQ(appliance.NextAddress, 0x4000);

    // A source shared by two images is shown once for each.
    appliance.AddBuildStep("a.rom", "ld65 -o %o %i", "common.obj");
    appliance.AddBuildStep("b.rom", "ld65 -o %o %i", "common.obj");
    appliance.AddBuildStep("common.obj", "ca65 -o %o %i", "common.asm");
    appliance.LabelLoadAddr("table.bin", 0, 1, 0x4000, 16);
    nodes = TreeNodes(appliance);
    EXPECT_EQ(KeysUnder(nodes, "Load"),
              (std::vector<std::string>{"BL common.obj", "BL common.obj", "ML table.bin"}));
    // The file pane runs from the first sources to the product.
    const std::vector<PaneRow> steps = FileRows(appliance, "a.rom");
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].Cells,
              (std::vector<std::string>{"common.asm", "common.obj", "ca65 -o %o %i"}));
    EXPECT_EQ(steps[1].Cells, (std::vector<std::string>{"common.obj", "a.rom", "ld65 -o %o %i"}));
    EXPECT_EQ(SourceFilesOf(appliance, "common.obj"), std::vector<std::string>{"common.asm"});
}

TEST_F(ApplianceTreeTest, LoadRowsShowPlacesAndMoveTheNextFreePlace) {
    const struct {
        int32_t bank, start, size, offset;
        const char *text, *from, *to;
        int32_t nextBank, nextAddress;
    } rows[] = {
        {0, 0x4000, 0x100, 0, "a.bin", "$00:4000", "$00:40FF", 0, 0x4100},
        // Ends on the last byte of bank 1: the next free place is bank 2's start.
        {1, 0x4000, 0x4000, 16, "b.bin (skip 16)", "$01:4000", "$01:7FFF", 2, 0x4000},
        // An earlier end leaves the place where it is.
        {0, 0x5000, 0x10, 0, "c.bin", "$00:5000", "$00:500F", 2, 0x4000},
        // Beyond the window's end: the end is told as a bank and an address inside it.
        {2, 0x4000, 0x8001, 0, "d.bin", "$02:4000", "$04:4000", 4, 0x4001},
    };
    for (const auto& row : rows) {
        const std::string name = std::string(row.text).substr(0, 5);
        appliance.LabelLoadAddr(name, row.offset, row.bank, row.start, row.size);
        const std::vector<PaneRow> shown = LoadRows(appliance);
        const PaneRow& last = shown.back();
        EXPECT_EQ(last.Cells, (std::vector<std::string>{row.text, row.from, row.to})) << row.text;
        EXPECT_EQ(appliance.NextBank, row.nextBank) << row.text;
        EXPECT_EQ(appliance.NextAddress, row.nextAddress) << row.text;
    }
    LoadRowPlace place;
    ASSERT_TRUE(ReadLoadRowKey(LoadRows(appliance)[1].Key, place));
    EXPECT_TRUE(place.File == "b.bin" && place.Bank == 1 && place.Address == 0x4000 &&
                place.Offset == 16);

    // Segments come first, in address order, with their ends in bank zero.
    appliance.ObjMaps().Add("CODE", 0x8000, 0x4000);
    appliance.ObjMaps().Add("ZP", 0x0000, 0x100);
    const std::vector<PaneRow> withSegments = LoadRows(appliance);
    EXPECT_EQ(withSegments[0].Key, "S ZP");
    EXPECT_EQ(withSegments[1].Cells, (std::vector<std::string>{"CODE", "$00:8000", "$00:BFFF"}));
    EXPECT_EQ(withSegments[1].Icon, "Code");
}

TEST_F(ApplianceTreeTest, OptionsShowTheirNamesAndInPlaceChoicesChangeOnlyWhatIsOffered) {
    for (int i = 2; i <= 8; ++i)
        appliance.SetOptionAt(i, true);
    const std::vector<PaneRow> rows = SystemRows(appliance, &settings);
    ASSERT_EQ(rows.size(), 4u + 9u);
    EXPECT_EQ(rows[1].Cells, (std::vector<std::string>{"CPU", "KTR"}));
    EXPECT_EQ(rows[4].Cells, (std::vector<std::string>{"WDT", "Disabled"}));
    EXPECT_EQ(rows[11].Cells[1], "On");
    EXPECT_EQ(rows[12].Cells, (std::vector<std::string>{"O9", "Nine off"}));
    EXPECT_FALSE(SystemChoices(appliance, settings, "O9")) << "a ninth option has no flag";

    // In place, only what is offered changes the model.
    appliance.BuildAssociations().Add("obj", "ld65 -C ktr310.cfg %i", "rom");
    EXPECT_FALSE(ApplySystemChoice(appliance, settings, "O.P. Clock", "3 MHz"));
    EXPECT_FALSE(ApplySystemChoice(appliance, settings, "Family", "KTR"));
    EXPECT_FALSE(appliance.IsDirty());

    ASSERT_TRUE(ApplySystemChoice(appliance, settings, "WDT", "Enabled"));
    EXPECT_TRUE(appliance.OptionAt(1) && appliance.WDT);
    EXPECT_TRUE(appliance.IsDirty());

    // Another body: its layout, a clock it has, and the build linking for it.
    ASSERT_TRUE(ApplySystemChoice(appliance, settings, "Model", "KTR640"));
    EXPECT_EQ(appliance.BankStart, 0xC000);
    EXPECT_EQ(appliance.BankCount, 62);
    EXPECT_EQ(appliance.OPClock, "16 MHz");
    EXPECT_EQ(appliance.BuildAssociations().Item("obj")->With, "ld65 -C ktr640.cfg %i");
}

TEST_F(ApplianceTreeTest, BadDialogValuesAreRefusedWithAReason) {
    appliance.ObjMaps().Add("CODE", 0x8000, 0x100);
    const struct {
        SegmentFields fields;
        const char* editing;
        bool accepted;
    } segments[] = {
        {{"DATA", "$C000", "256"}, "", true}, {{"CODE", "$9000", "16"}, "CODE", true},
        {{"", "$C000", "1"}, "", false},      {{"CODE", "$C000", "1"}, "", false},
        {{"DATA", "$1C000", "1"}, "", false}, {{"DATA", "$C000", "0"}, "", false},
        {{"DATA", "$FFFF", "2"}, "", false},  {{"DATA", "12x", "2"}, "", false},
    };
    for (const auto& row : segments)
        EXPECT_EQ(CheckSegment(appliance, row.fields, row.editing).empty(), row.accepted)
            << row.fields.Name << " " << row.fields.Start << " " << row.fields.Size;

    appliance.LabelLoadAddr("t.bin", 0, 0, 0x4000, 16);
    appliance.LabelLoadAddr("t.bin", 0, 1, 0x4000, 16);
    const LoadRowPlace first{"t.bin", 0, 0x4000, 0};
    EXPECT_NE(CheckLoadSettings(appliance, first, {"1", "$4000", "0"}), "") << "taken";
    EXPECT_NE(CheckLoadSettings(appliance, first, {"4", "$4000", "0"}), "") << "no bank 4";
    EXPECT_NE(CheckLoadSettings(appliance, first, {"0", "$4000", "-1"}), "");
    ASSERT_EQ(CheckLoadSettings(appliance, first, {"3", "$4800", "$10"}), "");
    ApplyLoadSettings(appliance, first, {"3", "$4800", "$10"});
    EXPECT_EQ(appliance.LoadImages().At(0).key, "t.bin@03:4800") << "keeps its place in the list";
    EXPECT_EQ(appliance.LoadImages().At(0).item->Offset, 16);
}

} // namespace
} // namespace bx::test
