// DebugMonitor's status update and source tracking on a fake target: what a refresh reads, how
// the bank is folded into the PC, the source tabs and their views, the strip's clicks, and the
// breakpoint commands over the views.

#include "debug/DebugMonitorRig.h"
#include "foundation/Common.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

using test::ExpectBox;
using test::FakeEmulator;
using Strings = std::vector<std::string>;

// A monitor with symbols loaded, three source files in the appliance's folder (file 0 "a.asm",
// file 1 "b.asm", file 2 "sub\c.asm"), the bank window at $4000 of 16 KB, and no tab open.
class StatusRig : public test::DebugMonitorRig {
public:
    explicit StatusRig(bool disassemblyTab = false) {
        appliance.Model = "KTR311";
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

    // The "Bank" watch of the SFR group at $0010 holding value ("$03", "$0012").
    void AddBankWatch(uint16_t value, const std::string& display) {
        std::shared_ptr<Watch> bank = appliance.Watches().Add("Bank", "SFR");
        bank->Location = "00:0010";
        bank->SetDisplay(display);
        emulator().Poke(0x10,
                        {static_cast<uint8_t>(value & 0xFF), static_cast<uint8_t>(value >> 8)});
    }
    // The symbol library's calls that look up a source line.
    Strings FindSourceCalls() const {
        Strings found;
        for (const std::string& call : targets.Symbols->Calls)
            if (call.starts_with("FindSource"))
                found.push_back(call);
        return found;
    }
    // The tabs' keys ("D" for the disassembly), the selected tab, the current view, and each
    // view's file and selected line: "D K2 K0 | tab 3 view 2 | 2:0 0:0".
    std::string State() {
        std::string text;
        for (const DebugTab& tab : dm().Tabs())
            text += (tab.Key.empty() ? "D" : tab.Key) + " ";
        text += "| tab " + std::to_string(dm().SelectedTab()) + " view " +
                std::to_string(dm().CurrentView()) + " |";
        for (int32_t view = 1; dm().ViewAt(view) != nullptr; ++view)
            text += " " + std::to_string(dm().FileOfView(view)) + ":" +
                    std::to_string(dm().ViewAt(view)->SelectedLine());
        return text;
    }
    // The text of a view's line n without its 15-column code prefix.
    std::string TextOfLine(int32_t view, int32_t n) {
        return dm().ViewAt(view)->Line(n).substr(15);
    }
};

// ---- What a status update reads -------------------------------------------------------------

TEST(DebugMonitorUpdateStatus, RegistersAndWatchesAreReadInOneReadAheadBracketMemoryOutside) {
    struct Case {
        bool registers, watches, memory;
        Strings calls;
    };
    const Case cases[] = {
        {false, false, true, {"Inspectors ReloadMemory"}},
        {true,
         true,
         false,
         {"SetReadAhead 0 768 1 0", "Inspectors ReloadRegisters", "Inspectors ReloadWatches",
          "SetReadAhead 0 0 0 0"}},
        {true,
         false,
         false,
         {"SetReadAhead 0 768 1 0", "Inspectors ReloadRegisters", "SetReadAhead 0 0 0 0"}},
        {false,
         true,
         false,
         {"SetReadAhead 0 768 1 0", "Inspectors ReloadWatches", "SetReadAhead 0 0 0 0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.calls[0]);
        StatusRig rig;
        rig.emulator().Calls.clear();

        rig.dm().UpdateStatus(false, c.registers, c.watches, c.memory);

        Strings expected{"Inspectors Busy"};
        expected.insert(expected.end(), c.calls.begin(), c.calls.end());
        expected.insert(expected.end(), {"GetCpuState", "Inspectors NotBusy"});
        EXPECT_EQ(rig.emulator().Calls, expected);
    }
}

TEST(DebugMonitorUpdateStatus, TheSourceFollowsThePCOnlyFromASelectedSourceTab) {
    const std::tuple<bool, int32_t, std::string> cases[] = {
        {false, -1, "| tab 0 view 0 |"},               // no tab at all
        {true, -1, "D | tab 1 view 0 |"},              // on the disassembly tab
        {false, 1, "K1 K0 | tab 2 view 2 | 1:0 0:4"}}; // the PC's file gets a tab
    for (const auto& [disassemblyTab, openFile, state] : cases) {
        SCOPED_TRACE(state);
        StatusRig rig(disassemblyTab);
        if (openFile >= 0) {
            ASSERT_TRUE(rig.dm().GotoFileLine(openFile, 0, true, true, true));
        }
        rig.emulator().Cpu->PC = 0x8123;
        rig.symbols().Sources[0x8123] = {0, 4};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8123);
        EXPECT_EQ(rig.State(), state);
        EXPECT_EQ(rig.FindSourceCalls().size(), openFile >= 0 ? 1u : 0u);
        EXPECT_TRUE(rig.prompter.Boxes().empty());
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$8123"});
    }
}

TEST(DebugMonitorUpdateStatus, AnIceWithoutStatusIsReportedAndTheDisassemblyStays) {
    StatusRig rig;
    rig.dm().Disassembly().SetPC(0x8000);
    rig.emulator().Cpu.reset();

    rig.dm().UpdateStatus(true, true, true, true);

    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0], "Update Status", "ICE is not ready.", Buttons::Ok,
              Icon::Exclamation);
    EXPECT_EQ(rig.dm().Disassembly().PC(), 0x8000);
    EXPECT_EQ(rig.inspectors.Calls.back(), "NotBusy") << "the pointer is given back";
}

TEST(DebugMonitorUpdateStatus, APCInsideTheWindowTakesTheBankWatchsDigitsReadAsDecimal) {
    const std::string noBank = "No 'Bank' register is found. Bank 0 is assumed";
    const std::string noDecode = "Error in memory decode because no bank register is provided";
    struct Case {
        int32_t pc;
        const char* display; // the bank watch's, nullptr for none
        uint16_t value;
        int32_t folded;
        Strings boxes;
    };
    const Case cases[] = {
        {0x4100, nullptr, 0, 0x4100, {noBank, noDecode}}, // bank 0, said twice
        {0x4000, nullptr, 0, 0x4000, {noBank}},           // the window's first byte: once
        {0x4000, "HexByte", 0x03, 0x34000, {}},           // ... and its bank once
        {0x4100, "HexByte", 0x03, 0x34100, {}},
        {0x4100, "HexByte", 0x10, 0xA4100, {}},   // "$10" is bank 10
        {0x4100, "HexByte", 0x0A, 0x4100, {}},    // "$0A" reads as bank 0
        {0x4100, "HexWord", 0x0012, 0xC4100, {}}, // all four digits of a word
        {0x4100, "HexWord", 0x0100, 0x644100, {}},
        {0x8000, "HexByte", 0x03, 0x8000, {}}, // outside the window
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Hex8(c.folded));
        StatusRig rig;
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
        if (c.display != nullptr)
            rig.AddBankWatch(c.value, c.display);
        rig.emulator().Cpu->PC = c.pc;
        rig.symbols().Sources[c.folded] = {0, 3};

        rig.dm().UpdateStatus(true, false, false, false);

        EXPECT_EQ(rig.BoxTexts(), c.boxes);
        for (const test::RecordedBox& box : rig.prompter.Boxes()) {
            EXPECT_EQ(box.title, box.text == noBank ? "Update Status" : "Error");
            EXPECT_EQ(box.icon, box.text == noBank ? Icon::Information : Icon::Critical);
        }
        EXPECT_EQ(rig.dm().Disassembly().PC(), c.folded);
        EXPECT_EQ(rig.FindSourceCalls(), Strings{"FindSource " + std::to_string(c.folded)});
        EXPECT_EQ(rig.State(), "K0 | tab 1 view 1 | 0:3");
        EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$" + Hex4(c.pc)});
    }
}

TEST(DebugMonitorGotoPC, AnAddressWithoutSourceIsReportedToTheUser) {
    StatusRig rig;
    EXPECT_FALSE(rig.dm().GotoPC(0x9000));
    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0], "Debugger",
              "There is no source information available for PC=$9000", Buttons::Ok,
              Icon::Exclamation);
    EXPECT_TRUE(rig.dm().Tabs().empty());
}

// ---- Tabs and views -------------------------------------------------------------------------

TEST(DebugMonitorTabs, EachFileGetsATabAndViewAndOneThatCannotBeReadLeavesNeither) {
    StatusRig rig(true); // tab 1 is the disassembly: view v sits on tab v + 1
    ASSERT_TRUE(rig.dm().GotoFileLine(2, 0, false, true, true));
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
    EXPECT_EQ(rig.State(), "D K2 K0 | tab 3 view 2 | 2:0 0:0") << "the file read last in front";
    const DebugTab& tab = rig.dm().Tabs()[1];
    EXPECT_EQ(tab.Caption + " " + tab.ToolTip, "c.asm " + rig.appFolder.Sub("sub\\c.asm"));
    EXPECT_EQ(rig.TextOfLine(1, 1), "c1");
    EXPECT_EQ(rig.TextOfLine(2, 5), "a5");
    EXPECT_FALSE(rig.dm().DisassemblyInFront());

    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true));
    rig.symbols().Files[3] = {rig.appFolder.Path(), "gone.asm"};
    EXPECT_FALSE(rig.dm().GotoFileLine(3, 0, true, true, true));
    EXPECT_EQ(rig.State(), "D K2 K0 K1 | tab 4 view 3 | 2:0 0:0 1:0");

    // A reload that fails takes the tab and its view; the tabs behind keep theirs.
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
    std::filesystem::remove(rig.Native("a.asm"));
    EXPECT_FALSE(rig.dm().GotoFileLine(0, 0, true, true, true));
    EXPECT_EQ(rig.State(), "D K2 K1 | tab 0 view 0 | 2:0 1:0");
    EXPECT_EQ(rig.dm().ViewAt(2)->FileId(), 1);
}

TEST(DebugMonitorTabs, AnOpenTabIsMarkedOrScrolledAndSelectedOnlyWhenAskedTo) {
    StatusRig rig;
    EXPECT_FALSE(rig.dm().TabKeyDown(SourceLineModel::kKeyDown, false)) << "no view yet";
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true));
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true));
    EXPECT_TRUE(rig.dm().TabKeyDown(SourceLineModel::kKeyDown, false)) << "the current view's";

    EXPECT_TRUE(rig.dm().GotoFileLine(0, 3, false, false, true));
    EXPECT_EQ(rig.State(), "K0 K1 | tab 2 view 2 | 0:3 1:0") << "marked, not selected";
    EXPECT_TRUE(rig.dm().GotoFileLine(0, 5, true, false, false));
    EXPECT_EQ(rig.State(), "K0 K1 | tab 1 view 1 | 0:3 1:0") << "selected, not marked";
}

TEST(DebugMonitorTabs, SourceTextIsSplitIntoLinesAtCrLfAndAtBareLf) {
    const std::pair<const char*, Strings> cases[] = {
        {"one\r\ntwo\r\n\r\nfour\r\n", {"one", "two", "", "four"}},
        {"one\ntwo\n\nfour", {"one", "two", "", "four"}},
        {"one\r\ntwo\nthree\r\n", {"one", "two", "three"}},
    };
    for (const auto& [content, lines] : cases) {
        SCOPED_TRACE(content);
        StatusRig rig;
        rig.WriteSource("a.asm", content);
        ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, true, true, true));
        ASSERT_TRUE(rig.dm().LoadViewText(1, 0)) << "read again: the old lines go first";

        Strings texts;
        for (int32_t n = 1; n <= rig.dm().ViewAt(1)->LineCount(); ++n)
            texts.push_back(rig.TextOfLine(1, n));
        EXPECT_EQ(texts, lines);
        EXPECT_FALSE(rig.dm().LoadViewText(1, 7)) << "no such file index";
        EXPECT_FALSE(rig.dm().LoadViewText(5, 0)) << "no such view";
    }
}

TEST(DebugMonitorTabs, LeavingTheDisassemblyTabBringsTheSourceBackToThePC) {
    StatusRig rig(true);
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true)); // tab 2, view 1
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 0, false, true, true)); // tab 3, view 2
    rig.emulator().Cpu->PC = 0x8000;
    rig.symbols().Sources[0x8000] = {0, 4};
    const auto click = [&rig](int32_t tab) {
        rig.emulator().Calls.clear();
        rig.inspectors.Calls.clear();
        rig.dm().TabMouseDown();
        rig.dm().TabClick(tab);
        return rig.State();
    };

    EXPECT_EQ(click(1), "D K0 K1 | tab 1 view 2 | 0:0 1:0");
    EXPECT_TRUE(rig.dm().DisassemblyInFront());
    EXPECT_EQ(click(3), "D K0 K1 | tab 2 view 1 | 0:4 1:0") << "the tab of the PC's file";
    EXPECT_FALSE(rig.dm().DisassemblyInFront());
    EXPECT_EQ(rig.inspectors.Calls, (Strings{"Busy", "NotBusy"})) << "the PC only";
    EXPECT_EQ(click(3), "D K0 K1 | tab 3 view 2 | 0:4 1:0") << "another source tab";
    EXPECT_TRUE(rig.emulator().Calls.empty()) << "no status read";
    EXPECT_EQ(click(3), "D K0 K1 | tab 3 view 2 | 0:4 1:0") << "the tab selected already";
}

// ---- Breakpoints over the views -------------------------------------------------------------

TEST(DebugMonitorBreakpoints, ToggleGoesToTheNamedOrCurrentViewAndClearAllEmptiesEverything) {
    StatusRig rig;
    rig.symbols().LineAddresses[{0, 3}] = 0x8010;
    rig.symbols().LineAddresses[{1, 2}] = 0x8020;
    ASSERT_TRUE(rig.dm().GotoFileLine(0, 0, false, true, true)); // view 1
    ASSERT_TRUE(rig.dm().GotoFileLine(1, 2, true, true, true));  // view 2, current, line 2
    FakeEmulator& emulator = rig.emulator();
    using Calls = std::vector<FakeEmulator::BreakCall>;

    EXPECT_EQ(rig.dm().ToggleBreak(1, 3), ToggleOutcome::Set);
    EXPECT_EQ(rig.dm().ToggleBreak(0, 3), ToggleOutcome::NoLine) << "view 0 is no view";
    EXPECT_EQ(rig.dm().ToggleBreak(3, 3), ToggleOutcome::NoLine) << "no such view";
    EXPECT_EQ(rig.dm().ToggleBreak(-1, 3), ToggleOutcome::Set) << "the current view's line 2";
    EXPECT_EQ(rig.dm().ToggleBreak(2, -1), ToggleOutcome::Cleared);
    EXPECT_EQ(emulator.SetBreakCalls, (Calls{{0x8010, 1, 1}, {0x8020, 1, 1}}));
    EXPECT_EQ(emulator.ClearBreakCalls, (Calls{{0x8020, 1, 1}}));
    EXPECT_TRUE(rig.dm().ViewAt(1)->IsMarked(3));
    EXPECT_FALSE(rig.dm().ViewAt(2)->IsMarked(2));
    EXPECT_EQ(rig.appliance.Breakpoints().Count(), 1u);

    emulator.SetBreak(0x0200, break_kind::kWrite, 4); // a memory breakpoint
    rig.dm().ClearAllBreaks();
    EXPECT_EQ(emulator.ClearBreakCalls.back(), (FakeEmulator::BreakCall{0, 7, -1}));
    EXPECT_EQ(emulator.BreakFlagsAt(0x0200), 0);
    EXPECT_EQ(rig.appliance.Breakpoints().Count(), 0u);
    EXPECT_FALSE(rig.dm().ViewAt(1)->IsMarked(3));
}

} // namespace
} // namespace bx
