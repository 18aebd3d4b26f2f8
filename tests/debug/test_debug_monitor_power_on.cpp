// DebugMonitor.PowerOn on fake targets: the order of its steps, what it wires, which slices of
// the ROM image it writes where, and the exact box and outcome of every exit.

#include "debug/DebugMonitorRig.h"
#include "foundation/Common.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"

#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::FakeEmulator;
using test::RecordedBox;
using Strings = std::vector<std::string>;

constexpr int16_t kDigital = 0, kAnalog = 1;
constexpr int16_t kInbound = 0, kOutbound = 1;

std::shared_ptr<Peripheral> AddPeripheral(Appliance& appliance, const std::string& type) {
    std::shared_ptr<Peripheral> peripheral =
        appliance.Peripherals().Add(type + std::to_string(appliance.Peripherals().Count()));
    peripheral->Type = type;
    return peripheral;
}

void AddWire(const std::shared_ptr<Peripheral>& peripheral, const std::string& pinset,
             int32_t pinsetMask, const std::string& port, int32_t portMask, int16_t type,
             int16_t direction, bool connected = true) {
    std::shared_ptr<Wire> wire = peripheral->Wires.Add(peripheral, pinset, pinsetMask);
    wire->Port = port;
    wire->PortMask = portMask;
    wire->Type = type;
    wire->Direction = direction;
    wire->IsConnected = connected;
}

// ---- The way through ------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, SucceedsThroughEveryStepInOrderAndGivesTheDirectoryBack) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    std::shared_ptr<FakeEmulator> first = rig.targets.Emulators.front();
    const std::string source = rig.appFolder.Sub("main.asm");
    const std::string directory = platform::CurrentDirectory();
    // The execute breakpoints go to the target again, each on its one byte.
    rig.appliance.Breakpoints().Add(0, 0x8010, 1, break_kind::kExecute);
    rig.appliance.Breakpoints().Add(1, 0x4000, 1, break_kind::kExecute);
    rig.appliance.Breakpoints().Add(0, 0x9000, 16, break_kind::kRead);
    rig.appliance.Breakpoints().Add(0, 0x9100, 4, break_kind::kExecute | break_kind::kWrite);
    first->ResetKeyHeld = true;
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 0) << "no reset key before a power-on";

    ASSERT_TRUE(monitor.PowerOn());

    EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
    EXPECT_EQ(platform::CurrentDirectory(), directory);
    EXPECT_EQ(rig.status.calls,
              (Strings{"State 405", "State 406", "State 407", "State 408", "State 410", "State 420",
                       "StateArg app.rom (@00:8000)", "StateArg app.rom (@00:4000)",
                       "StateArg app.rom (@01:4000)", "State 460", "State 510", "State 520",
                       "StateArg ..." + source.substr(source.size() - 20), "State 530", "State 550",
                       "GoAway"}));
    EXPECT_EQ(rig.TextsAt(420), Strings{rig.appFolder.Path()}) << "the appliance's folder";
    EXPECT_EQ(rig.TextsAt(520), (Strings{"", source}));

    // A fresh Emulator on the hub, with the model, the clock and the reset.
    FakeEmulator& emulator = rig.targets.Current();
    EXPECT_EQ(monitor.CurrentEmulator().get(), &emulator);
    EXPECT_EQ(rig.targets.DeviceCalls, (Strings{"Hub SetParameter Multiplier 1",
                                                "Hub SetParameter Divider 1", "Hub Start"}));
    EXPECT_EQ(emulator.AttachedHub, test::FakeDebugTargets::kHubHandle);
    EXPECT_EQ(emulator.Model, emulator_model::kKTR311);
    EXPECT_EQ(emulator.Clocks[0], 3580000);
    EXPECT_EQ(emulator.SetBreakCalls, (std::vector<FakeEmulator::BreakCall>{
                                          {0x8010, 1, 1}, {0x14000, 1, 1}, {0x9100, 1, 1}}));
    for (const std::string& call : first->Calls)
        EXPECT_TRUE(call.starts_with("Inspectors")) << "the first Emulator was asked " << call;

    // The inspectors, the disassembly, the source tab and the view at the PC.
    EXPECT_EQ(rig.inspectors.Given,
              (std::vector<const void*>{&emulator, &emulator, &monitor.Symbols()}));
    EXPECT_EQ(monitor.Disassembly().TargetEmulator.get(), &emulator);
    EXPECT_EQ(monitor.Disassembly().PC(), DebugMonitorRig::kResetPC);
    EXPECT_EQ(rig.State(), "K0 | tab 1 view 1 | 0:3") << "the view at the reset's line";
    EXPECT_EQ(monitor.ViewAt(1)->LineCount(), 4);
    EXPECT_FALSE(monitor.Running());
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 0) << "the key is not held";
    emulator.ResetKeyHeld = true;
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 1);

    // The Emulator of before no longer reaches the monitor.
    monitor.Continue();
    first->RaiseBreakHit(0, 0x8000, 1);
    EXPECT_TRUE(monitor.Running());
}

// ---- Devices --------------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, WiresEachPeripheralByWireTypeAndDirectionAndSetsTheDesignView) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    test::RecordingFacade facade;
    rig.host.FacadeToGive = &facade;

    auto speaker = AddPeripheral(rig.appliance, "Speaker");
    AddWire(speaker, "Audio", 1, "DAC", 1, kAnalog, kInbound);
    auto panel = AddPeripheral(rig.appliance, "SimpleUI");
    AddWire(panel, "LED", 0xFF, "P1", 0xFF, kDigital, kOutbound);
    AddWire(panel, "Button", 0x0F, "P2", 0xF0, kDigital, kInbound);
    AddWire(panel, "Button", 0xF0, "P2", 0x0F, kDigital, kInbound, false); // not connected
    AddWire(panel, "LED", 0x0F, "P1", 0x0F, 2, kOutbound);                 // no such type
    AddWire(panel, "LED", 0x01, "P0", 0x01, kAnalog, kOutbound);
    auto keys = AddPeripheral(rig.appliance, "Keypad");
    keys->Parameters.Add("Rows")->Value = "4";
    keys->Parameters.Add("Columns")->Value = "3";
    AddWire(keys, "Row", 0x0F, "P0", 0x0F, kDigital, kOutbound);
    // A type that makes no device: its wires go to the keypad before it.
    AddWire(AddPeripheral(rig.appliance, "Lamp"), "Column", 0x07, "P0", 0xF0, kDigital, kInbound);
    // The design view: the parameters of its first display spec go to the surface.
    auto view = std::make_shared<View>();
    auto first = view->DisplaySpecs.Add(panel);
    first->Parameters.Add("Color")->Value = "Red";
    first->Parameters.Add("Caption")->Value = "Demo";
    view->DisplaySpecs.Add(speaker)->Parameters.Add("Volume")->Value = "3";
    rig.host.ViewToGive = view;

    ASSERT_TRUE(monitor.PowerOn()) << rig.LastBoxText();

    // Speaker analog inbound; SimpleUI digital outbound, digital inbound, analog outbound;
    // the keypad's parameters before it joins the hub; the lamp on the keypad's pins.
    // clang-format off
    EXPECT_EQ(rig.targets.DeviceCalls, (Strings{"Hub SetParameter Multiplier 1",
        "Hub SetParameter Divider 1", "Hub Start",
        "Speaker Connect 77 2001", "Speaker PinsetId Audio", "Hub ConnectAnalog 2001 0 2002 3",
        "SimpleUI Connect 77 2003", "SimpleUI PinsetId LED", "Hub ConnectDigital 2002 1 255 2003 1 255",
        "SimpleUI PinsetId Button", "Hub ConnectDigital 2003 2 15 2002 2 240",
        "SimpleUI PinsetId LED", "Hub ConnectAnalog 2002 0 2003 1",
        "Keypad SetParameter Rows 4", "Keypad SetParameter Columns 3", "Keypad Connect 77 2004",
        "Keypad PinsetId Row", "Hub ConnectDigital 2002 0 15 2004 1 15",
        "Keypad PinsetId Column", "Hub ConnectDigital 2004 2 7 2002 0 240"}));
    EXPECT_EQ(rig.TextsAt(406), (Strings{"", "Speaker", "Connected OK? True", "SimpleUI",
        "Connected OK? True", "Keypad", "Connected OK? True", "Lamp", "Connected OK? True"}));
    EXPECT_EQ(Strings(rig.status.calls.begin() + 1, rig.status.calls.begin() + 10),
              (Strings{"State 406", "StateArg Speaker", "StateArg SimpleUI", "StateArg Keypad",
        "StateArg Lamp", "State 407", "StateArg Color=Red", "StateArg Caption=Demo", "State 408"}));
    // clang-format on
    EXPECT_EQ(facade.Calls, (Strings{"ConnectSimpleUI 77 2003", "ConnectKeypad 77 2004",
                                     "Parameter Color=Red", "Parameter Caption=Demo"}));
    EXPECT_EQ(monitor.CurrentFacade(), &facade);
}

// ---- The ROM image --------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, LoadsTheRomImageInSlicesByBankLayout) {
    // The image holds the unbanked 32 KB first, then each bank's 16 KB: slice 0 is the file's
    // first $8000 bytes, slice n its $4000 bytes from $8000 + (n - 1) * $4000.
    struct Case {
        const char* what;
        int32_t bankStart, bankSize, bankCount;
        std::size_t fileSize;
        std::vector<int32_t> addresses; // where each slice goes, bank in the high word
        uint64_t sparseSize = 0;        // the file made this long by a hole behind its content
    };
    const Case cases[] = {
        {"window at $4000", 0x4000, 0x4000, 2, 0x10000, {0x8000, 0x4000, 0x14000}},
        // A window at $C000 of 16 KB puts the unbanked part at $4000; other sizes don't.
        {"at $C000", 0xC000, 0x4000, 3, 0x14000, {0x4000, 0xC000, 0x1C000, 0x2C000}},
        {"at $C000, 8 KB", 0xC000, 0x2000, 1, 0xC000, {0x8000, 0x4000}},
        {"no banks", 0x4000, 0x4000, 0, 0x8000, {0x8000}},
        // An image of gigabytes: only its slices are read.
        {"4 GB", 0x4000, 0x4000, 2, 0x10000, {0x8000, 0x4000, 0x14000}, uint64_t{1} << 32},
        // A short file: the missing tail is zero.
        {"short", 0x4000, 0x4000, 2, 0xC010, {0x8000, 0x4000, 0x14000}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        rig.appliance.BankStart = c.bankStart;
        rig.appliance.BankSize = c.bankSize;
        rig.appliance.BankCount = c.bankCount;
        rig.WriteRom(c.fileSize);
        if (c.sparseSize != 0)
            std::filesystem::resize_file(rig.Native("app.rom"), c.sparseSize);

        EXPECT_TRUE(monitor.PowerOn()) << rig.LastBoxText();

        const std::vector<FakeEmulator::WriteCall>& writes = rig.targets.Current().WriteCalls;
        ASSERT_EQ(writes.size(), c.addresses.size());
        Strings places;
        for (std::size_t i = 0; i < writes.size(); ++i) {
            SCOPED_TRACE("slice " + std::to_string(i));
            EXPECT_EQ(writes[i].Address, c.addresses[i]);
            std::string slice =
                rig.rom.substr(i == 0 ? 0 : 0x8000 + (i - 1) * 0x4000, i == 0 ? 0x8000 : 0x4000);
            slice.resize(i == 0 ? 0x8000 : 0x4000, '\0');
            EXPECT_EQ(writes[i].Data, std::vector<uint8_t>(slice.begin(), slice.end()));
            places.push_back("app.rom (@" + Hex2(c.addresses[i] >> 16) + ":" +
                             Hex4(c.addresses[i] & 0xFFFF) + ")");
        }
        EXPECT_EQ(rig.TextsAt(440), places) << "the progress line names each slice's place";
        EXPECT_EQ(rig.TextsAt(452),
                  Strings{"First bank of " + std::to_string(c.bankCount) + " loaded"});
    }
}

// ---- The exits ------------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, EachExitShowsItsBoxAndAsksForABuildOnlyWhenTheUserSaysYes) {
    const std::string device =
        "Device configuration failed. You may need to create a new appliance file.";
    const std::string rom = "Cannot load ROM image.\r\nDo you wish to rebuild the appliance?";
    const std::string symbols = "Cannot load symbol file.\r\nSelect Yes to rebuild the "
                                "appliance, No to continue debugging.";
    const std::string newer = "ROM image is older than at least one of the source "
                              "files.\r\nDo you wish to rebuild the appliance?";
    const std::string missing = " is not fount.\r\nDo you wish to rebuild the appliance ?\r\nOr "
                                "click \"Cancel\" to ignore this message !";
    const std::string cpu = "Cannot read CPU status. Please check ICE driver settings.";
    const std::string driver = "ICE driver was not loaded. Please correct ICE driver settings. ";
    const std::string iceInit = "ICE failed to initialize. This could be due to:\r\n"
                                "1. The selected MCU model is not supported by the ICE;\r\n"
                                "2. The ID.INF file is not configured for this ICE; or\r\n"
                                "3. The ICE driver is out-of-date.\r\n"
                                "Please contact the ICE maker for a fix.";
    using Arrange = std::function<void(DebugMonitorRig&)>;
    const Arrange noSurface = [](DebugMonitorRig& r) { AddPeripheral(r.appliance, "SimpleUI"); };
    const Arrange badPinset = [](DebugMonitorRig& r) {
        AddWire(AddPeripheral(r.appliance, "Speaker"), "Treble", 1, "DAC", 1, kAnalog, kInbound);
    };
    const Arrange noRom = [](DebugMonitorRig& r) { std::filesystem::remove(r.Native("app.rom")); };
    const auto noSymbols = [](bool buildTargets, bool throws) {
        return [=](DebugMonitorRig& r) {
            r.targets.Symbols->LoadSucceeds = false;
            r.targets.Symbols->ThrowOnLoad = throws;
            if (buildTargets)
                r.appliance.BuildTargets().Add(nullptr, "make", "app.rom");
        };
    };
    const Arrange newerSources = [](DebugMonitorRig& r) {
        r.WriteSource("lib.asm", "; more\n");
        r.targets.Symbols->Files[1] = {r.appFolder.Path(), "lib.asm"};
        const auto romTime = std::chrono::floor<std::chrono::seconds>(
            std::filesystem::last_write_time(r.Native("app.rom")).time_since_epoch());
        test::SetWriteTime(r.Native("main.asm"), romTime + std::chrono::seconds(5));
        test::SetWriteTime(r.Native("lib.asm"), romTime + std::chrono::seconds(1));
    };
    const Arrange missingSources = [](DebugMonitorRig& r) {
        r.targets.Symbols->Files[1] = {"", "gone1.asm"};
        r.targets.Symbols->Files[2] = {"lib", "gone2.asm"};
    };
    const Arrange silentCpu = [](DebugMonitorRig& r) {
        r.targets.PrepareEmulator = [](FakeEmulator& e) { e.Cpu.reset(); };
    };
    const auto ice = [](bool driverLoads) {
        return [=](DebugMonitorRig& r) {
            r.appliance.ExtDebuggerInUse = true;
            r.appliance.ExtDebugger = "ice.drv";
            r.targets.PrepareEmulator = [=](FakeEmulator& e) { e.IceDriverLoads = driverLoads; };
        };
    };
    const int yes = AnswerYes, no = AnswerNo, cancel = AnswerCancel;
    const Buttons ok = Buttons::Ok, yesNo = Buttons::YesNo, yesNoCancel = Buttons::YesNoCancel;
    const std::string gone1 = "\"gone1.asm\"" + missing, gone2 = "\"lib/gone2.asm\"" + missing;
    struct Case {
        const char* what;
        Arrange arrange;
        std::vector<int> answers;
        Strings boxes; // the "Power On" boxes, in order
        Buttons buttons;
        bool result;
    };
    const Case cases[] = {
        {"a SimpleUI without a surface", noSurface, {}, {device}, ok, false},
        {"a pin set the device doesn't know", badPinset, {}, {device}, ok, false},
        {"no ROM image, Yes", noRom, {yes}, {rom}, yesNo, false},
        {"no ROM image, No", noRom, {no}, {rom}, yesNo, false},
        {"no symbols, Yes", noSymbols(true, false), {yes}, {symbols}, yesNo, false},
        {"no symbols, No", noSymbols(true, false), {no}, {symbols}, yesNo, true},
        {"a symbol load error", noSymbols(true, true), {yes}, {symbols}, yesNo, false},
        {"no symbols, no build target", noSymbols(false, false), {}, {}, ok, true},
        {"newer sources, Yes", newerSources, {yes}, {newer}, yesNo, false},
        {"newer sources, No: asked again", newerSources, {no, no}, {newer, newer}, yesNo, true},
        {"missing sources, Yes", missingSources, {yes}, {gone1}, yesNoCancel, false},
        {"missing sources, No", missingSources, {no, no}, {gone1, gone2}, yesNoCancel, true},
        {"missing sources, Cancel", missingSources, {cancel}, {gone1}, yesNoCancel, true},
        {"no CPU status", silentCpu, {}, {cpu}, ok, false},
        {"an ICE driver that doesn't load", ice(false), {}, {driver}, ok, false},
        {"a model the ICE refuses", ice(true), {}, {iceInit}, ok, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        c.arrange(rig);
        for (int answer : c.answers)
            rig.prompter.Answer(answer);
        const std::string directory = platform::CurrentDirectory();

        EXPECT_EQ(monitor.PowerOn(), c.result);

        Strings boxes;
        for (const RecordedBox& box : rig.prompter.Boxes()) {
            if (box.title != "Power On")
                continue;
            boxes.push_back(box.text);
            EXPECT_EQ(box.buttons, c.buttons);
            EXPECT_EQ(box.icon, Icon::Exclamation);
        }
        EXPECT_EQ(boxes, c.boxes);
        EXPECT_EQ(rig.host.Builds, c.answers == std::vector<int>{yes} ? 1 : 0);
        EXPECT_EQ(platform::CurrentDirectory(), directory);
        rig.targets.Current().ResetKeyHeld = true;
        monitor.PollResetKey();
        EXPECT_EQ(rig.host.Resets, c.result ? 1 : 0) << "the reset key is polled after success";
    }
}

TEST(DebugMonitorPowerOn, UnderIceTheDriverPathTakesTheProgramFolderAndNoHubIsMade) {
    platform::ScopedProgramFolder programFolder("\\opt\\tess");
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    rig.appliance.ExtDebuggerInUse = true;
    rig.appliance.ExtDebugger = "%APPPATH%\\ice\\%appPath%.drv";
    rig.appliance.IceEmuNumber = 99;
    rig.targets.PrepareEmulator = [](FakeEmulator& emulator) { emulator.KnownModels.insert(99); };
    AddPeripheral(rig.appliance, "Speaker");

    ASSERT_TRUE(monitor.PowerOn()) << rig.LastBoxText();

    EXPECT_EQ(rig.TextsAt(4052),
              (Strings{"Loading dbg @ \\opt\\tess\\ice\\\\opt\\tess.drv", "Done loading", ""}));
    EXPECT_EQ(rig.targets.Current().Model, 99);
    EXPECT_EQ(rig.targets.HubsCreated, 0);
    EXPECT_TRUE(rig.targets.DeviceCalls.empty());
    EXPECT_EQ(rig.targets.Current().AttachedHub, -1);
    EXPECT_EQ(rig.status.calls[1], "State 408") << "no devices wired, no design view";
}

} // namespace
} // namespace bx
