// DebugMonitor's status update and source tracking on a fake target: what a refresh reads, how
// the bank is folded into the PC, the source tabs and their views, the strip's clicks, and the
// breakpoint commands over the views.

#include "debug/DebugMonitorRig.h"
#include "foundation/Common.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::FakeEmulator;
using test::RecordedBox;
using Strings = std::vector<std::string>;

constexpr int32_t kBankRegister = 0x0010;

// A monitor with symbols loaded, three source files in the appliance's folder (file 0 "a.asm",
// file 1 "b.asm", file 2 "sub\c.asm"), the bank window at $4000 of 16 KB, and no tab open.
class StatusRig : public DebugMonitorRig {
public:
    explicit StatusRig(bool disassemblyTab = false) {
        appliance.Model = "KTR311";
        appliance.BankStart = 0x4000;
        appliance.BankSize = 0x4000;
        // Lines with code show the image's bytes, so the views need the image.
        appliance.Folder = appFolder.Path() + "\\";
        appliance.RunTarget()->OutputPath = "app.rom";
        WriteRom(0x8000);
        Create(disassemblyTab);
        emulator().Model = emulator_model::kKTR311;
        WriteSource("a.asm", "a1\r\na2\r\na3\r\na4\r\na5\r\n");
        WriteSource("b.asm", "b1\r\nb2\r\n");
        WriteSource("sub\\c.asm", "c1\r\n");
        symbols().Files[0] = {appFolder.Path(), "a.asm"};
        symbols().Files[1] = {appFolder.Path(), "b.asm"};
        symbols().Files[2] = {appFolder.Path() + "\\sub", "c.asm"};
        monitor->Symbols().ListFilePath("app.sym");
    }

    FakeEmulator& emulator() { return targets.Current(); }
    test::FakeSymbolLibrary& symbols() { return *targets.Symbols; }
    DebugMonitor& dm() { return *monitor; }

    // The "Bank" watch of the SFR group: a hex byte at kBankRegister holding value.
    void AddBankWatch(uint8_t value) { AddBankWatch(value, "HexByte"); }
    // The same with another display: a word shows four digits ("$0012").
    void AddBankWatch(uint16_t value, const std::string& display) {
        std::shared_ptr<Watch> bank = appliance.Watches().Add("Bank", "SFR");
        bank->Location = "00:" + Hex4(kBankRegister);
        bank->SetDisplay(display);
        emulator().Poke(kBankRegister,
                        {static_cast<uint8_t>(value & 0xFF), static_cast<uint8_t>(value >> 8)});
    }
    // The addresses the symbol library was asked about, in order.
    std::vector<std::string> FindSourceCalls() const {
        Strings found;
        for (const std::string& call : targets.Symbols->Calls)
            if (call.starts_with("FindSource"))
                found.push_back(call);
        return found;
    }
    // The text of a view's line n without its 15-column code prefix.
    std::string TextOfLine(int32_t view, int32_t n) {
        return monitor->ViewAt(view)->Line(n).substr(15);
    }
};

void ExpectBox(const RecordedBox& box, const std::string& title, const std::string& text,
               Icon icon) {
    EXPECT_EQ(box.title, title);
    EXPECT_EQ(box.text, text);
    EXPECT_EQ(box.buttons, Buttons::Ok);
    EXPECT_EQ(box.icon, icon);
}

// ---- What a status update reads -------------------------------------------------------------

TEST(DebugMonitorUpdateStatus, AMemoryOnlyUpdateReadsNeitherAheadNorRegisters) {
    StatusRig rig;
    rig.emulator().Calls.clear();

    rig.dm().UpdateStatus(false, false, false, true);

    EXPECT_EQ(rig.emulator().Calls, (Strings{"Inspectors Busy", "Inspectors ReloadMemory",
                                             "GetCpuState", "Inspectors NotBusy"}));
}

TEST(DebugMonitorUpdateStatus, RegistersAndWatchesAreReadInsideOneReadAheadBracket) {
    struct Case {
        bool registers, watches;
        Strings inside;
    };
    const Case cases[] = {
        {true, true, {"Inspectors ReloadRegisters", "Inspectors ReloadWatches"}},
        {true, false, {"Inspectors ReloadRegisters"}},
        {false, true, {"Inspectors ReloadWatches"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.registers) + std::to_string(c.watches));
        StatusRig rig;
        rig.emulator().Calls.clear();

        rig.dm().UpdateStatus(false, c.registers, c.watches, false);

        Strings expected{"Inspectors Busy", "SetReadAhead 0 768 1 0"};
        expected.insert(expected.end(), c.inside.begin(), c.inside.end());
        expected.insert(expected.end(),
                        {"SetReadAhead 0 0 0 0", "GetCpuState", "Inspectors NotBusy"});
        EXPECT_EQ(rig.emulator().Calls, expected);
        EXPECT_EQ(rig.Points().back(), 670);
    }
}

TEST(DebugMonitorUpdateStatus, WithoutASelectedSourceTabOnlyTheDisassemblyFollowsThePC) {
    for (bool disassemblyTab : {false, true}) {
        SCOPED_TRACE(disassemblyTab ? "on the disassembly tab" : "no tab at all");
        StatusRig rig(disassemblyTab);
        rig.emulator().Cpu->PC = 0x8123;
        rig.symbols().Sources[0x8123] = {0, 2};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8123);
        EXPECT_TRUE(rig.FindSourceCalls().empty());
        EXPECT_EQ(rig.dm().Tabs().size(), disassemblyTab ? 1u : 0u);
        EXPECT_TRUE(rig.prompter.Boxes().empty());
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$8123"});
        EXPECT_TRUE(rig.TextsAt(660).empty());
    }
}

TEST(DebugMonitorUpdateStatus, WithASourceTabSelectedTheViewGoesToThePC) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, true, true, true));
    rig.emulator().Cpu->PC = 0x8123;
    rig.symbols().Sources[0x8123] = {0, 4};

    rig.dm().UpdateStatus(true, false, false, false);

    EXPECT_EQ(rig.dm().TabOfFile(0), 2) << "a tab opened for the PC's file";
    EXPECT_EQ(rig.dm().SelectedTab(), 2);
    EXPECT_EQ(rig.dm().CurrentView(), 2);
    EXPECT_EQ(rig.dm().ViewAt(2)->SelectedLine(), 4);
    EXPECT_EQ(rig.TextsAt(660).size(), 1u);
}

TEST(DebugMonitorUpdateStatus, AnIceWithoutStatusIsReportedAndTheDisassemblyStays) {
    StatusRig rig;
    rig.dm().Disassembly().SetPC(0x8000);
    rig.emulator().Cpu.reset();

    rig.dm().UpdateStatus(true, true, true, true);

    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0], "Update Status", "ICE is not ready.", Icon::Exclamation);
    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8000);
    EXPECT_EQ(rig.inspectors.Calls.back(), "NotBusy") << "the pointer is given back";
}

// ---- The bank -------------------------------------------------------------------------------

TEST(DebugMonitorUpdateStatus, AStopInsideTheWindowWithoutBankWatchAssumesBank0AndSaysSoTwice) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    rig.emulator().Cpu->PC = 0x4100;
    rig.symbols().Sources[0x4100] = {0, 2};

    rig.dm().UpdateStatus(true, false, false, false);

    ASSERT_EQ(rig.prompter.Boxes().size(), 2u);
    ExpectBox(rig.prompter.Boxes()[0], "Update Status",
              "No 'Bank' register is found. Bank 0 is assumed", Icon::Information);
    ExpectBox(rig.prompter.Boxes()[1], "Error",
              "Error in memory decode because no bank register is provided", Icon::Critical);
    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x4100);
    EXPECT_EQ(rig.dm().ViewAt(1)->SelectedLine(), 2) << "found as bank 0";
}

TEST(DebugMonitorUpdateStatus, APCAtTheWindowsFirstByteGetsItsBankOnce) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    rig.emulator().Cpu->PC = 0x4000;
    rig.symbols().Sources[0x34000] = {0, 5};
    rig.AddBankWatch(0x03);

    rig.dm().UpdateStatus(true, false, false, false);

    EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x34000);
    EXPECT_EQ(rig.FindSourceCalls(), Strings{"FindSource " + std::to_string(0x34000)});
    EXPECT_EQ(rig.dm().ViewAt(1)->SelectedLine(), 5);
}

TEST(DebugMonitorUpdateStatus, APCAtTheWindowsFirstByteWithoutBankWatchWarnsOnlyOnce) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    rig.emulator().Cpu->PC = 0x4000;
    rig.symbols().Sources[0x4000] = {0, 1};

    rig.dm().UpdateStatus(true, false, false, false);

    EXPECT_EQ(rig.BoxTexts(), Strings{"No 'Bank' register is found. Bank 0 is assumed"})
        << "GotoPC leaves the window's first byte alone";
}

TEST(DebugMonitorUpdateStatus, TheBankWatchsDigitsAreReadAsADecimalNumber) {
    struct Case {
        const char* display;
        uint16_t value;
        const char* text;
        int32_t bank;
    };
    // All the digits after the "$" count, also the four of a word.
    const Case cases[] = {{"HexByte", 0x03, "$03", 3},
                          {"HexByte", 0x10, "$10", 10},
                          {"HexByte", 0x0A, "$0A", 0},
                          {"HexWord", 0x0012, "$0012", 12},
                          {"HexWord", 0x0100, "$0100", 100}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        StatusRig rig;
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
        rig.AddBankWatch(c.value, c.display);
        Watch copy;
        copy.FromString(rig.appliance.Watches().Item("Bank", "SFR")->AsString());
        ASSERT_EQ(copy.ValueString(rig.emulator()), c.text);
        const int32_t expected = c.bank * 0x10000 + 0x4100;
        rig.emulator().Cpu->PC = 0x4100;
        rig.symbols().Sources[expected] = {0, 3};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
        EXPECT_EQ(rig.dm().Disassembly().PC(), expected);
        EXPECT_EQ(rig.FindSourceCalls(), Strings{"FindSource " + std::to_string(expected)});
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$4100"});
    }
}

TEST(DebugMonitorUpdateStatus, APCOutsideTheWindowKeepsBank0) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    rig.AddBankWatch(0x03);
    rig.emulator().Cpu->PC = 0x8000;
    rig.symbols().Sources[0x8000] = {0, 1};

    rig.dm().UpdateStatus(true, false, false, false);

    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8000);
    EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
}

TEST(DebugMonitorGotoPC, AnAddressWithoutSourceIsReportedToTheUser) {
    StatusRig rig;

    EXPECT_FALSE(rig.dm().GotoPC(0x9000));

    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0], "Debugger",
              "There is no source information available for PC=$9000", Icon::Exclamation);
    EXPECT_TRUE(rig.dm().Tabs().empty());
}

// ---- Tabs and views -------------------------------------------------------------------------

TEST(DebugMonitorTabs, EachSourceTabIsKeyedByItsFileAndNamedAfterIt) {
    for (bool disassemblyTab : {false, true}) {
        SCOPED_TRACE(disassemblyTab ? "with the disassembly tab" : "without it");
        StatusRig rig(disassemblyTab);
        const int32_t shift = disassemblyTab ? 1 : 0;
        const std::string c = rig.appFolder.Sub("sub\\c.asm");
        const std::string a = rig.appFolder.Sub("a.asm");

        ASSERT_TRUE(rig.dm().GotoFileLine(2, 0, false, true, true));
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));

        std::vector<DebugTab> expected;
        if (disassemblyTab)
            expected.push_back({"", "Disassembly", ""});
        expected.push_back({"K2", "c.asm", c});
        expected.push_back({"K0", "a.asm", a});
        ASSERT_EQ(rig.dm().Tabs().size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(rig.dm().Tabs()[i].Key, expected[i].Key);
            EXPECT_EQ(rig.dm().Tabs()[i].Caption, expected[i].Caption);
            EXPECT_EQ(rig.dm().Tabs()[i].ToolTip, expected[i].ToolTip);
        }
        EXPECT_EQ(rig.dm().TabOfFile(2), 1 + shift);
        EXPECT_EQ(rig.dm().TabOfFile(0), 2 + shift);
        EXPECT_EQ(rig.dm().TabOfFile(1), 0);
        EXPECT_EQ(rig.dm().FileOfView(1), 2) << "views count from 1 either way";
        EXPECT_EQ(rig.dm().FileOfView(2), 0);
        EXPECT_EQ(rig.dm().ViewOfTab(2 + shift), 2);
        EXPECT_EQ(rig.dm().SelectedTab(), 2 + shift) << "the file read last is in front";
        EXPECT_EQ(rig.dm().CurrentView(), 2);
        EXPECT_FALSE(rig.dm().DisassemblyInFront());
        EXPECT_EQ(rig.TextOfLine(1, 1), "c1");
        EXPECT_EQ(rig.TextOfLine(2, 5), "a5");
    }
}

TEST(DebugMonitorTabs, AFileThatCannotBeReadLeavesNoTab) {
    for (bool disassemblyTab : {false, true}) {
        SCOPED_TRACE(disassemblyTab ? "with the disassembly tab" : "without it");
        StatusRig rig(disassemblyTab);
        rig.symbols().Files[3] = {rig.appFolder.Path(), "gone.asm"};
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
        const std::size_t tabs = rig.dm().Tabs().size();

        EXPECT_FALSE(rig.dm().GotoFileLine(3, 0, true, true, true));

        EXPECT_EQ(rig.dm().Tabs().size(), tabs);
        EXPECT_EQ(rig.dm().TabOfFile(3), 0);
        ASSERT_TRUE(rig.dm().GotoFileLine(2, 0, false, true, true));
        EXPECT_EQ(rig.dm().FileOfView(rig.dm().ViewOfTab(rig.dm().TabOfFile(2))), 2);
        EXPECT_EQ(rig.dm().FileOfView(rig.dm().ViewOfTab(rig.dm().TabOfFile(0))), 0);
    }
}

TEST(DebugMonitorTabs, AReloadThatFailsTakesItsTabAndViewAndTheLaterTabsKeepTheirViews) {
    for (bool disassemblyTab : {false, true}) {
        SCOPED_TRACE(disassemblyTab ? "with the disassembly tab" : "without it");
        StatusRig rig(disassemblyTab);
        for (int32_t file : {0, 1, 2})
            ASSERT_TRUE(rig.dm().GotoFileLine(file, 0, false, true, true));
        std::filesystem::remove(rig.Native("b.asm"));

        EXPECT_FALSE(rig.dm().GotoFileLine(1, 0, true, true, true));

        EXPECT_EQ(rig.dm().TabOfFile(1), 0);
        for (int32_t file : {0, 2}) {
            SCOPED_TRACE("file " + std::to_string(file));
            const int32_t view = rig.dm().ViewOfTab(rig.dm().TabOfFile(file));
            EXPECT_EQ(rig.dm().FileOfView(view), file);
            ASSERT_NE(rig.dm().ViewAt(view), nullptr);
            EXPECT_EQ(rig.dm().ViewAt(view)->FileId(), file);
        }
        EXPECT_EQ(rig.dm().Tabs().size(), disassemblyTab ? 3u : 2u);
    }
}

TEST(DebugMonitorTabs, AnOpenTabIsMarkedOrScrolledAndSelectedOnlyWhenAskedTo) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true));
    ASSERT_EQ(rig.dm().CurrentView(), 2);

    EXPECT_TRUE(rig.dm().GotoFileLine(0, 3, false, false, true));
    EXPECT_EQ(rig.dm().ViewAt(1)->SelectedLine(), 3);
    EXPECT_EQ(rig.dm().CurrentView(), 2) << "not selected";
    EXPECT_EQ(rig.dm().SelectedTab(), 2);

    EXPECT_TRUE(rig.dm().GotoFileLine(0, 5, true, false, false));
    EXPECT_EQ(rig.dm().ViewAt(1)->SelectedLine(), 3) << "scrolled, not marked";
    EXPECT_EQ(rig.dm().CurrentView(), 1);
    EXPECT_EQ(rig.dm().SelectedTab(), 1);
    EXPECT_EQ(rig.dm().Tabs().size(), 2u);
}

TEST(DebugMonitorTabs, SourceTextIsSplitIntoLinesAtCrLfAndAtBareLf) {
    struct Case {
        const char* what;
        const char* content;
        Strings lines;
    };
    const Case cases[] = {
        {"CR LF", "one\r\ntwo\r\n\r\nfour\r\n", {"one", "two", "", "four"}},
        {"bare LF", "one\ntwo\n\nfour", {"one", "two", "", "four"}},
        {"mixed", "one\r\ntwo\nthree\r\n", {"one", "two", "three"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        StatusRig rig;
        rig.WriteSource("a.asm", c.content);

        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));

        SourceLineModel& view = *rig.dm().ViewAt(1);
        ASSERT_EQ(view.LineCount(), static_cast<int32_t>(c.lines.size()));
        for (std::size_t i = 0; i < c.lines.size(); ++i)
            EXPECT_EQ(rig.TextOfLine(1, static_cast<int32_t>(i) + 1), c.lines[i]);

        // Read again into the same view: the old lines go first.
        ASSERT_TRUE(rig.dm().LoadViewText(1, 0));
        EXPECT_EQ(view.LineCount(), static_cast<int32_t>(c.lines.size()));
    }
}

TEST(DebugMonitorTabs, LoadViewTextFailsForAMissingFileOrView) {
    StatusRig rig;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    EXPECT_FALSE(rig.dm().LoadViewText(1, 7)) << "no such file index";
    EXPECT_FALSE(rig.dm().LoadViewText(5, 0)) << "no such view";
}

// ---- The strip ------------------------------------------------------------------------------

TEST(DebugMonitorTabs, LeavingTheDisassemblyTabBringsTheSourceBackToThePC) {
    StatusRig rig(true);
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true)); // tab 2, view 1
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true)); // tab 3, view 2
    rig.emulator().Cpu->PC = 0x8000;
    rig.symbols().Sources[0x8000] = {0, 4};

    rig.dm().TabMouseDown();
    rig.dm().TabClick(1);
    EXPECT_TRUE(rig.dm().DisassemblyInFront());
    EXPECT_EQ(rig.dm().SelectedTab(), 1);

    rig.emulator().Calls.clear();
    rig.inspectors.Calls.clear();
    rig.dm().TabMouseDown();
    rig.dm().TabClick(3);

    EXPECT_FALSE(rig.dm().DisassemblyInFront());
    EXPECT_EQ(rig.dm().SelectedTab(), 2) << "the tab of the PC's file";
    EXPECT_EQ(rig.dm().CurrentView(), 1);
    EXPECT_EQ(rig.dm().ViewAt(1)->SelectedLine(), 4);
    EXPECT_EQ(rig.inspectors.Calls, (Strings{"Busy", "NotBusy"})) << "the PC only";

    // From one source tab to another: no status read.
    rig.emulator().Calls.clear();
    rig.dm().TabMouseDown();
    rig.dm().TabClick(3);
    EXPECT_EQ(rig.dm().CurrentView(), 2);
    EXPECT_EQ(rig.dm().SelectedTab(), 3);
    EXPECT_TRUE(rig.emulator().Calls.empty());

    // The tab that was selected already: nothing changes.
    rig.dm().TabMouseDown();
    rig.dm().TabClick(3);
    EXPECT_EQ(rig.dm().CurrentView(), 2);
    EXPECT_TRUE(rig.emulator().Calls.empty());
}

TEST(DebugMonitorTabs, KeysOnTheStripGoToTheCurrentView) {
    StatusRig rig;
    EXPECT_FALSE(rig.dm().TabKeyDown(SourceLineModel::kKeyDown, false)) << "no view yet";
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    EXPECT_TRUE(rig.dm().TabKeyDown(SourceLineModel::kKeyDown, false));
}

// ---- Breakpoints over the views -------------------------------------------------------------

TEST(DebugMonitorBreakpoints, ToggleBreakGoesToTheNamedViewOrTheCurrentViewsSelectedLine) {
    StatusRig rig;
    rig.symbols().LineAddresses[{0, 3}] = 0x8010;
    rig.symbols().LineAddresses[{1, 2}] = 0x8020;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true)); // view 1
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 2, true, true, true));  // view 2, current, line 2
    FakeEmulator& emulator = rig.emulator();
    using Call = FakeEmulator::BreakCall;

    EXPECT_EQ(rig.dm().ToggleBreak(1, 3), ToggleOutcome::Set);
    EXPECT_EQ(emulator.SetBreakCalls, (std::vector<Call>{{0x8010, 1, 1}}));
    EXPECT_TRUE(rig.dm().ViewAt(1)->IsMarked(3));
    EXPECT_NE(rig.appliance.Breakpoints().Item(0, 0x8010, 1, 1), nullptr);

    EXPECT_EQ(rig.dm().ToggleBreak(0, 3), ToggleOutcome::NoLine) << "view 0 is no view";
    EXPECT_EQ(rig.dm().ToggleBreak(-1, 3), ToggleOutcome::Set) << "the current view's line 2";
    EXPECT_EQ(rig.dm().ToggleBreak(2, -1), ToggleOutcome::Cleared);
    EXPECT_EQ(emulator.SetBreakCalls, (std::vector<Call>{{0x8010, 1, 1}, {0x8020, 1, 1}}));
    EXPECT_EQ(emulator.ClearBreakCalls, (std::vector<Call>{{0x8020, 1, 1}}));
    EXPECT_FALSE(rig.dm().ViewAt(2)->IsMarked(2));
}

TEST(DebugMonitorBreakpoints, ClearAllBreaksEmptiesTheTargetTheApplianceAndEveryView) {
    StatusRig rig;
    rig.symbols().LineAddresses[{0, 3}] = 0x8010;
    rig.symbols().LineAddresses[{1, 2}] = 0x8020;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true));
    rig.dm().ToggleBreak(1, 3);
    rig.dm().ToggleBreak(2, 2);
    rig.emulator().SetBreak(0x0200, break_kind::kWrite, 4); // a memory breakpoint

    rig.dm().ClearAllBreaks();

    EXPECT_EQ(rig.emulator().ClearBreakCalls, (std::vector<FakeEmulator::BreakCall>{{0, 7, -1}}));
    EXPECT_EQ(rig.emulator().BreakFlagsAt(0x0200), 0);
    EXPECT_EQ(rig.appliance.Breakpoints().Count(), 0u);
    EXPECT_FALSE(rig.dm().ViewAt(1)->IsMarked(3));
    EXPECT_FALSE(rig.dm().ViewAt(2)->IsMarked(2));
}

} // namespace
} // namespace bx
