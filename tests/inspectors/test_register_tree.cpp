// The register inspector's model: the tree from the "Registers" group with its "Disabled" node,
// the values and the red mark of a change, the label edit's rules, disabling an item, and the
// hover text.

#include "appliance/Appliance.h"
#include "inspectors/RegisterTree.h"
#include "inspectors/Watch.h"
#include "support/FakeEmulator.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::FakeEmulator;

class RegisterTreeTest : public ::testing::Test {
protected:
    RegisterTreeTest() {
        group = appliance.Watches().Add("", "Registers");
        Add("A", "Register", "R:A", "HexByte", "ReadWrite", "Accumulator");
        auto p = Add("P", "Register", "R:P", "BinByte", "ReadWrite", "Processor status");
        p->Expanded = true;
        Add("N", "Register", "R:P", "BinByte", "ReadWrite", "Flag N", p)->Mask = 0x80;
        Add("TCNTL", "SFR", "00:00C9", "HexByte", "Read", "Timer count");
        Add("WDTCLR", "SFR", "00:00D2", "HexByte", "Write", "Watchdog restart");
        auto tctl = Add("TCTL", "SFR", "00:00C8", "HexByte", "ReadWrite", "Timer control");
        tctl->Disabled = true;
        Add("TCTL.RUN", "SFR", "00:00C8", "BinByte", "ReadWrite", "Timer runs", tctl)->Mask = 0x80;
        emulator.Cpu = CpuState{0x12, 0, 0, 0xFF, 0x80, 0x8000};
        emulator.Poke(0xC9, {0x34});
        emulator.Poke(0xC8, {0x81});
        tree.Rebuild(&appliance);
    }

    std::shared_ptr<Watch> Add(const std::string& title, const std::string& category,
                               const std::string& location, const std::string& display,
                               const std::string& access, const std::string& description,
                               std::shared_ptr<Watch> parent = nullptr) {
        auto watch = appliance.Watches().Add(title, category);
        watch->Location = location;
        watch->SetDisplay(display);
        watch->SetAccess(access);
        watch->Description = description;
        (parent ? parent : group)->Children().AddItem(watch);
        return watch;
    }

    // The index of the node whose text starts with title and "=" or is title.
    int32_t Node(const std::string& title) const {
        for (std::size_t i = 0; i < tree.Nodes().size(); ++i) {
            const std::string& text = tree.Nodes()[i].Text;
            if (text == title || text.rfind(title + "=", 0) == 0)
                return static_cast<int32_t>(i);
        }
        return -1;
    }
    // Every node's text, "!" behind one marked as changed.
    std::vector<std::string> Shown() const {
        std::vector<std::string> texts;
        for (const RegisterNode& node : tree.Nodes())
            texts.push_back(node.Text + (node.Changed ? "!" : ""));
        return texts;
    }

    Appliance appliance;
    std::shared_ptr<Watch> group;
    FakeEmulator emulator;
    RegisterTree tree;
};

TEST_F(RegisterTreeTest, TreeHoldsEnabledItemsThenTheDisabledNodeWithTheDisabledOnes) {
    std::vector<std::string> nodes; // text, parent, image, "+" for an open node
    for (const RegisterNode& node : tree.Nodes())
        nodes.push_back(node.Text + " " + std::to_string(node.Parent) + " " + node.Image +
                        (node.Expanded ? "+" : ""));
    EXPECT_EQ(nodes, (std::vector<std::string>{"A -1 Register", "P -1 Register+", "N 1 Register",
                                               "TCNTL -1 SFR", "WDTCLR -1 SFR", "Disabled -1 No+",
                                               "TCTL 5 SFR", "TCTL.RUN 6 SFR"}));
    EXPECT_EQ(tree.Nodes()[0].Key, std::string("A") + RegisterTree::kSeparator + "Register");
    EXPECT_FALSE(tree.Nodes()[5].HasRecord());

    Appliance bare;
    tree.Rebuild(&bare);
    EXPECT_TRUE(tree.Nodes().empty()); // no group: not even "Disabled"
}

TEST_F(RegisterTreeTest, RefreshShowsValuesAndMarksWhatChangedSinceTheLastStop) {
    // A disabled item is never read: it keeps the text it was built with. The first refresh
    // after a build marks nothing.
    const std::vector<std::string> first{"A=$12",      "P=%10000000", "N=%1-------", "TCNTL=$34",
                                         "WDTCLR=< >", "Disabled",    "TCTL",        "TCTL.RUN"};
    tree.Refresh(emulator);
    EXPECT_EQ(Shown(), first);
    emulator.Cpu->A = 0x13;
    tree.Refresh(emulator);
    std::vector<std::string> second = first;
    second[0] = "A=$13!"; // read twice, the flag keeps its mask: each read works on a copy
    EXPECT_EQ(Shown(), second);
    tree.Refresh(emulator);
    EXPECT_EQ(Shown()[0], "A=$13");
}

TEST_F(RegisterTreeTest, LabelEditFollowsAccessAndWritesTheTypedValue) {
    tree.Refresh(emulator);
    EXPECT_EQ(tree.BeginEdit(Node("A"), &emulator), std::optional<std::string>("$12"));
    EXPECT_EQ(tree.BeginEdit(Node("TCNTL"), &emulator), std::nullopt); // read-only
    EXPECT_EQ(tree.BeginEdit(Node("WDTCLR"), &emulator), std::optional<std::string>(" "));
    EXPECT_EQ(tree.BeginEdit(Node("TCTL"), &emulator), std::nullopt);     // disabled
    EXPECT_EQ(tree.BeginEdit(Node("Disabled"), &emulator), std::nullopt); // no record
    EXPECT_EQ(tree.BeginEdit(Node("A"), nullptr), std::nullopt);          // no target

    // "-" is read as "0": "-1" writes 01 and the node shows what was written.
    EXPECT_TRUE(tree.EndEdit(Node("A"), "-1", emulator));
    EXPECT_EQ(emulator.Cpu->A, 0x01);
    EXPECT_EQ(Shown()[0], "A=01");
    EXPECT_FALSE(tree.EndEdit(Node("A"), "", emulator));
    EXPECT_EQ(emulator.Cpu->A, 0x01);
    // A flag's binary form with its dashes writes only the bit under the mask.
    EXPECT_TRUE(tree.EndEdit(Node("N"), "%0-------", emulator));
    EXPECT_EQ(emulator.Cpu->P, 0x00);
    EXPECT_TRUE(tree.EndEdit(Node("WDTCLR"), "$A5", emulator));
    EXPECT_EQ(emulator.Peek(0xD2), 0xA5);
    tree.Refresh(emulator);
    EXPECT_EQ(Shown()[4], "WDTCLR=< >");
}

TEST_F(RegisterTreeTest, DisablingMovesTheItemUnderDisabledAndTouchesTheAppliance) {
    EXPECT_FALSE(appliance.IsDirty());
    ASSERT_TRUE(tree.ToggleDisabled(Node("A")));
    EXPECT_TRUE(appliance.Watches().Item("A", "Register")->Disabled);
    EXPECT_TRUE(appliance.IsDirty());
    EXPECT_EQ(tree.Nodes()[static_cast<std::size_t>(Node("A"))].Parent, Node("Disabled"));
    EXPECT_EQ(tree.HoverText(Node("A")), "Accumulator @R:A (DISABLED)");

    ASSERT_TRUE(tree.ToggleDisabled(Node("TCTL")));
    EXPECT_EQ(tree.Nodes()[static_cast<std::size_t>(Node("TCTL.RUN"))].Parent, Node("TCTL"));
    EXPECT_LT(Node("TCTL"), Node("Disabled"));
    EXPECT_FALSE(tree.ToggleDisabled(Node("Disabled")));

    EXPECT_EQ(tree.HoverText(Node("TCNTL")), "Timer count @00:00C9");
    EXPECT_EQ(tree.HoverText(-1), "Move over a register to see description");
}

} // namespace
} // namespace bx
