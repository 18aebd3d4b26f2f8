// DebugMonitor.PowerOn on fake targets: the order of its steps, what it wires, which slices of
// the ROM image it writes where, and the exact box and outcome of every exit.

#include "debug/DebugMonitorRig.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace bx {
namespace {

using test::DebugMonitorRig;
using test::FakeDebugTargets;
using test::FakeEmulator;
using test::RecordedBox;
using test::RecordingFacade;
using Strings = std::vector<std::string>;
using Points = std::vector<int32_t>;

constexpr int kHub = FakeDebugTargets::kHubHandle;

std::shared_ptr<Wire> AddWire(const std::shared_ptr<Peripheral>& peripheral,
                              const std::string& pinset, int32_t pinsetMask,
                              const std::string& port, int32_t portMask, int16_t type,
                              int16_t direction, bool connected = true) {
    std::shared_ptr<Wire> wire = peripheral->Wires.Add(peripheral, pinset, pinsetMask);
    wire->Port = port;
    wire->PortMask = portMask;
    wire->Type = type;
    wire->Direction = direction;
    wire->IsConnected = connected;
    return wire;
}

std::shared_ptr<Peripheral> AddPeripheral(Appliance& appliance, const std::string& name,
                                          const std::string& type) {
    std::shared_ptr<Peripheral> peripheral = appliance.Peripherals().Add(name);
    peripheral->Type = type;
    return peripheral;
}

constexpr int16_t kDigital = 0, kAnalog = 1;
constexpr int16_t kInbound = 0, kOutbound = 1;

// The boxes titled "Power On", in order.
std::vector<RecordedBox> PowerOnBoxes(const test::ScriptedPrompter& prompter) {
    std::vector<RecordedBox> boxes;
    for (const RecordedBox& box : prompter.Boxes())
        if (box.title == "Power On")
            boxes.push_back(box);
    return boxes;
}

void ExpectBox(const RecordedBox& box, const std::string& text, Buttons buttons) {
    EXPECT_EQ(box.title, "Power On");
    EXPECT_EQ(box.text, text);
    EXPECT_EQ(box.buttons, buttons);
    EXPECT_EQ(box.icon, Icon::Exclamation);
}

// ---- The way through ------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, SucceedsThroughEveryStepInOrder) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    auto speaker = AddPeripheral(rig.appliance, "Beeper", "Speaker");
    AddWire(speaker, "Audio", 1, "DAC", 1, kAnalog, kInbound);
    const std::string source = rig.appFolder.Sub("main.asm");

    ASSERT_TRUE(monitor.PowerOn());

    EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
    EXPECT_EQ(rig.status.calls,
              (Strings{"State 405", "State 406", "StateArg Speaker", "State 407", "State 408",
                       "State 410", "State 420", "StateArg app.rom (@00:8000)",
                       "StateArg app.rom (@00:4000)", "StateArg app.rom (@01:4000)", "State 460",
                       "State 510", "State 520", "StateArg ..." + source.substr(source.size() - 20),
                       "State 530", "State 550", "GoAway"}));
    EXPECT_EQ(rig.Points(),
              (Points{900, 910, 920, 405, 4051, 4052, 4053, 810, 820, 406, 406, 406, 407,
                      408, 410, 420, 440, 450,  451,  452,  455, 440, 450, 451, 455, 440,
                      450, 451, 460, 470, 480,  490,  500,  510, 520, 520, 530, 810, 820,
                      710, 600, 610, 620, 630,  640,  650,  660, 670, 720, 560, 570, 580}));
    EXPECT_EQ(rig.TextsAt(4052), Strings{""}) << "no driver texts in the simulator";
    EXPECT_EQ(rig.TextsAt(406), (Strings{"", "Speaker", "Connected OK? True"}));
    EXPECT_EQ(rig.TextsAt(420), Strings{rig.appFolder.Path()}) << "the appliance's folder";
    EXPECT_EQ(rig.TextsAt(450),
              (Strings{"Load offset $0000", "Load offset $8000", "Load offset $C000"}));
    EXPECT_EQ(rig.TextsAt(451), (Strings{"Returning", "Returning", "Returning"}));
    EXPECT_EQ(rig.TextsAt(452), Strings{"First bank of 2 loaded"});
    EXPECT_EQ(rig.TextsAt(455), (Strings{"0", "1"}));
    EXPECT_EQ(rig.TextsAt(520), (Strings{"", source}));
    EXPECT_EQ(rig.TextsAt(640), Strings{"Update status read PC=$8000"});

    // A fresh Emulator, on the hub, with the model, the image, the clock and the reset.
    ASSERT_EQ(rig.targets.Emulators.size(), 2u) << "one at creation, one for the power-on";
    FakeEmulator& emulator = rig.targets.Current();
    EXPECT_EQ(monitor.CurrentEmulator().get(), &emulator);
    EXPECT_EQ(rig.targets.HubsCreated, 1);
    EXPECT_EQ(rig.targets.DeviceCalls,
              (Strings{"Hub SetParameter Multiplier 1", "Hub SetParameter Divider 1", "Hub Start",
                       "Speaker Connect 77 2001", "Speaker PinsetId Audio",
                       "Hub ConnectAnalog 2001 0 2002 3"}));
    EXPECT_EQ(emulator.AttachedHub, kHub);
    EXPECT_EQ(emulator.Model, emulator_model::kKTR311);
    EXPECT_EQ(emulator.Clocks[0], 3580000);
    EXPECT_EQ(emulator.Peek(0x8000), static_cast<uint8_t>(rig.rom[0]));
    EXPECT_EQ(emulator.Peek(0x14000), static_cast<uint8_t>(rig.rom[0xC000]));
    for (const std::string& call : rig.targets.Emulators.front()->Calls)
        EXPECT_TRUE(call.starts_with("Inspectors")) << "the first Emulator was asked " << call;

    // The inspectors, the disassembly, the source tab and the view at the PC.
    EXPECT_EQ(rig.inspectors.RegistersEmulator.get(), &emulator);
    EXPECT_EQ(rig.inspectors.MemoryEmulator.get(), &emulator);
    EXPECT_EQ(rig.inspectors.ListAppliance, &rig.appliance);
    EXPECT_EQ(rig.inspectors.ListSymbols, &monitor.Symbols());
    EXPECT_EQ(monitor.Disassembly().TargetEmulator.get(), &emulator);
    EXPECT_EQ(monitor.Disassembly().PC(), DebugMonitorRig::kResetPC);
    ASSERT_EQ(monitor.Tabs().size(), 1u);
    EXPECT_EQ(monitor.Tabs()[0].Key, "K0");
    EXPECT_EQ(monitor.SelectedTab(), 1);
    EXPECT_EQ(monitor.CurrentView(), 1);
    ASSERT_NE(monitor.ViewAt(1), nullptr);
    EXPECT_EQ(monitor.ViewAt(1)->LineCount(), 4);
    EXPECT_EQ(monitor.ViewAt(1)->SelectedLine(), DebugMonitorRig::kResetLine);

    EXPECT_TRUE(monitor.PollingResetKey());
    EXPECT_FALSE(monitor.Running());
    EXPECT_EQ(rig.host.Builds, 0);
}

TEST(DebugMonitorPowerOn, GivesTheCurrentDirectoryBackAfterSuccessAndFailure) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    const std::string before = platform::CurrentDirectory();
    ASSERT_NE(before, rig.appFolder.Path());

    ASSERT_TRUE(monitor.PowerOn());
    EXPECT_EQ(platform::CurrentDirectory(), before);

    std::filesystem::remove(rig.Native("app.rom"));
    rig.prompter.Answer(AnswerNo);
    ASSERT_FALSE(monitor.PowerOn());
    EXPECT_EQ(platform::CurrentDirectory(), before);
}

TEST(DebugMonitorPowerOn, ABreakHitOfThePreviousEmulatorNoLongerReachesTheMonitor) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    std::shared_ptr<FakeEmulator> first = rig.targets.Emulators.front();
    ASSERT_TRUE(monitor.PowerOn());
    monitor.Continue();

    first->RaiseBreakHit(0, 0x8000, 1);
    EXPECT_TRUE(monitor.Running());
    EXPECT_TRUE(rig.host.Stops.empty());

    rig.targets.Current().RaiseBreakHit(0, 0x8000, 1);
    EXPECT_FALSE(monitor.Running());
    EXPECT_EQ(rig.host.Stops.size(), 1u);
}

// ---- Devices --------------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, WiresEachPeripheralByWireTypeAndDirection) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    RecordingFacade facade;
    rig.host.FacadeToGive = &facade;

    auto speaker = AddPeripheral(rig.appliance, "Beeper", "Speaker");
    AddWire(speaker, "Audio", 1, "DAC", 1, kAnalog, kInbound);
    auto panel = AddPeripheral(rig.appliance, "Panel", "SimpleUI");
    AddWire(panel, "LED", 0xFF, "P1", 0xFF, kDigital, kOutbound);
    AddWire(panel, "Button", 0x0F, "P2", 0xF0, kDigital, kInbound);
    AddWire(panel, "Button", 0xF0, "P2", 0x0F, kDigital, kInbound, false); // not connected
    AddWire(panel, "LED", 0x0F, "P1", 0x0F, 2, kOutbound);                 // no such type
    AddWire(panel, "LED", 0x01, "P0", 0x01, kAnalog, kOutbound);
    auto keys = AddPeripheral(rig.appliance, "Keys", "Keypad");
    keys->Parameters.Add("Rows")->Value = "4";
    keys->Parameters.Add("Columns")->Value = "3";
    AddWire(keys, "Row", 0x0F, "P0", 0x0F, kDigital, kOutbound);
    // A type that makes no device: its wires go to the keypad before it.
    auto lamp = AddPeripheral(rig.appliance, "Lamp1", "Lamp");
    AddWire(lamp, "Column", 0x07, "P0", 0xF0, kDigital, kInbound);

    ASSERT_TRUE(monitor.PowerOn()) << rig.LastBoxText();

    EXPECT_EQ(rig.targets.DeviceCalls,
              (Strings{"Hub SetParameter Multiplier 1", "Hub SetParameter Divider 1", "Hub Start",
                       // Speaker, analog inbound
                       "Speaker Connect 77 2001", "Speaker PinsetId Audio",
                       "Hub ConnectAnalog 2001 0 2002 3",
                       // SimpleUI: digital outbound, digital inbound, analog outbound
                       "SimpleUI Connect 77 2003", "SimpleUI PinsetId LED",
                       "Hub ConnectDigital 2002 1 255 2003 1 255", "SimpleUI PinsetId Button",
                       "Hub ConnectDigital 2003 2 15 2002 2 240", "SimpleUI PinsetId LED",
                       "Hub ConnectAnalog 2002 0 2003 1",
                       // Keypad: its parameters before it joins the hub
                       "Keypad SetParameter Rows 4", "Keypad SetParameter Columns 3",
                       "Keypad Connect 77 2004", "Keypad PinsetId Row",
                       "Hub ConnectDigital 2002 0 15 2004 1 15",
                       // Lamp: the keypad's pins, device 2004
                       "Keypad PinsetId Column", "Hub ConnectDigital 2004 2 7 2002 0 240"}));
    EXPECT_EQ(facade.Calls, (Strings{"ConnectSimpleUI 77 2003", "ConnectKeypad 77 2004"}));
    EXPECT_EQ(monitor.CurrentFacade(), &facade);
    EXPECT_EQ(rig.TextsAt(406),
              (Strings{"", "Speaker", "Connected OK? True", "SimpleUI", "Connected OK? True",
                       "Keypad", "Connected OK? True", "Lamp", "Connected OK? True"}));
    const Strings& calls = rig.status.calls;
    const Strings devicesPart(calls.begin() + 1, calls.begin() + 7);
    EXPECT_EQ(devicesPart, (Strings{"State 406", "StateArg Speaker", "StateArg SimpleUI",
                                    "StateArg Keypad", "StateArg Lamp", "State 407"}));
}

TEST(DebugMonitorPowerOn, TheConnectedFlagDecidesWhetherWiresAreMadeAndCarriesOver) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    RecordingFacade facade;
    facade.KeypadResult = 0;
    rig.host.FacadeToGive = &facade;
    rig.targets.DeviceConnects["Speaker"] = false;
    rig.targets.DeviceConnects["SimpleUI"] = false; // its own answer doesn't count
    rig.targets.HubConnects = false;

    // No peripheral before it: not connected.
    AddWire(AddPeripheral(rig.appliance, "First", "Lamp"), "LED", 1, "P0", 1, kDigital, kInbound);
    auto speaker = AddPeripheral(rig.appliance, "Beeper", "Speaker");
    AddWire(speaker, "Audio", 1, "DAC", 1, kAnalog, kInbound);
    // Connected by the surface; the hub refuses each wire, and every wire is still tried.
    auto panel = AddPeripheral(rig.appliance, "Panel", "SimpleUI");
    AddWire(panel, "LED", 0xFF, "P1", 0xFF, kDigital, kOutbound);
    AddWire(panel, "Button", 0xFF, "P2", 0xFF, kDigital, kInbound);
    // After the refused wires the carried flag is false.
    AddWire(AddPeripheral(rig.appliance, "Second", "Lamp"), "LED", 2, "P0", 2, kDigital, kInbound);
    auto keys = AddPeripheral(rig.appliance, "Keys", "Keypad");
    AddWire(keys, "Row", 0x0F, "P0", 0x0F, kDigital, kOutbound);

    ASSERT_TRUE(monitor.PowerOn());

    EXPECT_EQ(rig.TextsAt(406),
              (Strings{"", "Lamp", "Connected OK? False", "Speaker", "Connected OK? False",
                       "SimpleUI", "Connected OK? True", "Lamp", "Connected OK? False", "Keypad",
                       "Connected OK? False"}));
    const Strings hubConnects = [&] {
        Strings made;
        for (const std::string& call : rig.targets.DeviceCalls)
            if (call.starts_with("Hub Connect"))
                made.push_back(call);
        return made;
    }();
    EXPECT_EQ(hubConnects, (Strings{"Hub ConnectDigital 2002 1 255 2003 1 255",
                                    "Hub ConnectDigital 2003 2 255 2002 2 255"}));
}

TEST(DebugMonitorPowerOn, ADeviceErrorEndsWithTheDeviceConfigurationBox) {
    struct Case {
        const char* what;
        std::function<void(DebugMonitorRig&)> arrange;
    };
    const Case cases[] = {
        {"a SimpleUI without a prototyper surface",
         [](DebugMonitorRig& rig) { AddPeripheral(rig.appliance, "Panel", "SimpleUI"); }},
        {"a pin set the device doesn't know",
         [](DebugMonitorRig& rig) {
             AddWire(AddPeripheral(rig.appliance, "Beeper", "Speaker"), "Treble", 1, "DAC", 1,
                     kAnalog, kInbound);
         }},
        {"a port the Emulator doesn't know",
         [](DebugMonitorRig& rig) {
             AddWire(AddPeripheral(rig.appliance, "Beeper", "Speaker"), "Audio", 1, "P9", 1,
                     kAnalog, kInbound);
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        c.arrange(rig);

        EXPECT_FALSE(monitor.PowerOn());

        ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
        ExpectBox(rig.prompter.Boxes()[0],
                  "Device configuration failed. You may need to create a new appliance file.",
                  Buttons::Ok);
        EXPECT_FALSE(monitor.PollingResetKey());
        EXPECT_TRUE(rig.targets.Current().WriteCalls.empty()) << "no ROM after the exit";
        EXPECT_EQ(std::count(rig.status.calls.begin(), rig.status.calls.end(), "State 407"), 0);
    }
}

TEST(DebugMonitorPowerOn, WithoutPeripheralsGoesOnWithState407) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();

    ASSERT_TRUE(monitor.PowerOn());

    const Strings start(rig.status.calls.begin(), rig.status.calls.begin() + 4);
    EXPECT_EQ(start, (Strings{"State 405", "State 406", "State 407", "State 408"}));
    EXPECT_EQ(rig.TextsAt(406), Strings{""});
    EXPECT_EQ(rig.targets.DeviceCalls, (Strings{"Hub SetParameter Multiplier 1",
                                                "Hub SetParameter Divider 1", "Hub Start"}));
}

TEST(DebugMonitorPowerOn, HandsTheDesignViewsParametersToTheSurface) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    RecordingFacade facade;
    rig.host.FacadeToGive = &facade;
    auto panel = AddPeripheral(rig.appliance, "Panel", "SimpleUI");
    auto beeper = AddPeripheral(rig.appliance, "Beeper", "Speaker");
    auto view = std::make_shared<View>();
    auto first = view->DisplaySpecs.Add(panel);
    first->Parameters.Add("Color")->Value = "Red";
    first->Parameters.Add("Caption")->Value = "Demo";
    view->DisplaySpecs.Add(beeper)->Parameters.Add("Volume")->Value = "3"; // not the first
    rig.host.ViewToGive = view;

    ASSERT_TRUE(monitor.PowerOn());

    EXPECT_EQ(facade.Calls, (Strings{"ConnectSimpleUI 77 2003", "Parameter Color=Red",
                                     "Parameter Caption=Demo"}));
    EXPECT_EQ(rig.TextsAt(407), (Strings{"", "Color=Red", "Caption=Demo"}));
    const auto at407 = std::find(rig.status.calls.begin(), rig.status.calls.end(), "State 407");
    ASSERT_NE(at407, rig.status.calls.end());
    EXPECT_EQ(Strings(at407, at407 + 4),
              (Strings{"State 407", "StateArg Color=Red", "StateArg Caption=Demo", "State 408"}));
}

// ---- The ROM image --------------------------------------------------------------------------

TEST(DebugMonitorPowerOn, LoadsTheRomImageInSlicesByBankLayout) {
    struct Slice {
        int32_t address;
        std::size_t offset;
        std::size_t length;
    };
    struct Case {
        const char* what;
        int32_t bankStart, bankSize, bankCount;
        std::size_t fileSize;
        std::vector<Slice> slices;
        uint64_t sparseSize = 0; // the file made this long by a hole behind its content
    };
    const Case cases[] = {
        {"window at $4000: unbanked at $8000, banks at $4000",
         0x4000,
         0x4000,
         2,
         0x10000,
         {{0x8000, 0, 0x8000}, {0x4000, 0x8000, 0x4000}, {0x14000, 0xC000, 0x4000}}},
        {"window at $C000 of 16 KB: unbanked at $4000, banks at $C000",
         0xC000,
         0x4000,
         3,
         0x14000,
         {{0x4000, 0, 0x8000},
          {0xC000, 0x8000, 0x4000},
          {0x1C000, 0xC000, 0x4000},
          {0x2C000, 0x10000, 0x4000}}},
        {"window at $C000 of another size: as at $4000",
         0xC000,
         0x2000,
         1,
         0xC000,
         {{0x8000, 0, 0x8000}, {0x4000, 0x8000, 0x4000}}},
        {"no banks: the unbanked slice alone", 0x4000, 0x4000, 0, 0x8000, {{0x8000, 0, 0x8000}}},
        {"an image of gigabytes: only its slices are read",
         0x4000,
         0x4000,
         2,
         0x10000,
         {{0x8000, 0, 0x8000}, {0x4000, 0x8000, 0x4000}, {0x14000, 0xC000, 0x4000}},
         uint64_t{1} << 32},
        {"a short file: the missing tail is zero",
         0x4000,
         0x4000,
         2,
         0xC010,
         {{0x8000, 0, 0x8000}, {0x4000, 0x8000, 0x4000}, {0x14000, 0xC000, 0x4000}}},
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

        monitor.PowerOn();

        const std::vector<FakeEmulator::WriteCall>& writes = rig.targets.Current().WriteCalls;
        ASSERT_EQ(writes.size(), c.slices.size());
        for (std::size_t i = 0; i < writes.size(); ++i) {
            SCOPED_TRACE("slice " + std::to_string(i));
            EXPECT_EQ(writes[i].Address, c.slices[i].address);
            EXPECT_EQ(writes[i].Data,
                      test::SliceOf(rig.rom, c.slices[i].offset, c.slices[i].length));
        }
        EXPECT_EQ(rig.TextsAt(452),
                  Strings{"First bank of " + std::to_string(c.bankCount) + " loaded"});
        EXPECT_TRUE(PowerOnBoxes(rig.prompter).empty()) << rig.LastBoxText();
    }
}

TEST(DebugMonitorPowerOn, ShowsEachSlicesPlaceOnTheProgressLine) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    rig.appliance.BankStart = 0xC000;
    rig.appliance.BankCount = 2;

    monitor.PowerOn();

    Strings slices;
    for (const std::string& call : rig.status.calls)
        if (call.starts_with("StateArg app.rom"))
            slices.push_back(call);
    EXPECT_EQ(slices, (Strings{"StateArg app.rom (@00:4000)", "StateArg app.rom (@00:C000)",
                               "StateArg app.rom (@01:C000)"}));
    EXPECT_EQ(rig.TextsAt(440),
              (Strings{"app.rom (@00:4000)", "app.rom (@00:C000)", "app.rom (@01:C000)"}));
}

TEST(DebugMonitorPowerOn, AMissingRomImageOffersARebuildAndFailsEitherWay) {
    for (int answer : {AnswerYes, AnswerNo}) {
        SCOPED_TRACE(answer == AnswerYes ? "Yes" : "No");
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        ASSERT_TRUE(monitor.PowerOn());
        ASSERT_TRUE(monitor.PollingResetKey());
        std::filesystem::remove(rig.Native("app.rom"));
        rig.prompter.Answer(answer);
        rig.status.calls.clear();

        EXPECT_FALSE(monitor.PowerOn());

        ASSERT_EQ(PowerOnBoxes(rig.prompter).size(), 1u);
        ExpectBox(PowerOnBoxes(rig.prompter)[0],
                  "Cannot load ROM image.\r\nDo you wish to rebuild the appliance?",
                  Buttons::YesNo);
        EXPECT_EQ(rig.host.Builds, answer == AnswerYes ? 1 : 0);
        EXPECT_FALSE(monitor.PollingResetKey());
        EXPECT_EQ(rig.TextsAt(450).back(), "ERROR: Load failed.");
        EXPECT_EQ(std::count(rig.status.calls.begin(), rig.status.calls.end(), "State 460"), 0)
            << "nothing after the ROM";
    }
}

// ---- Symbols and sources --------------------------------------------------------------------

TEST(DebugMonitorPowerOn, AMissingSymbolFileOffersARebuildOnlyWithBuildTargets) {
    struct Case {
        const char* what;
        bool buildTargets;
        bool throws;
        int answer; // 0: no box expected
        bool result;
    };
    const Case cases[] = {
        {"build targets, Yes", true, false, AnswerYes, false},
        {"build targets, No", true, false, AnswerNo, true},
        {"a load error counts as not loaded", true, true, AnswerYes, false},
        {"no build targets: no question", false, false, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        rig.targets.Symbols->LoadSucceeds = false;
        rig.targets.Symbols->ThrowOnLoad = c.throws;
        if (c.buildTargets)
            rig.appliance.BuildTargets().Add(nullptr, "make", "app.rom");
        if (c.answer != 0)
            rig.prompter.Answer(c.answer);

        EXPECT_EQ(monitor.PowerOn(), c.result);

        EXPECT_EQ(rig.targets.Symbols->Calls.front(), "LoadFile app.sym");
        const std::vector<RecordedBox> boxes = PowerOnBoxes(rig.prompter);
        if (c.answer == 0) {
            EXPECT_TRUE(boxes.empty());
        } else {
            ASSERT_EQ(boxes.size(), 1u);
            ExpectBox(boxes[0],
                      "Cannot load symbol file.\r\nSelect Yes to rebuild the appliance, No to "
                      "continue debugging.",
                      Buttons::YesNo);
        }
        EXPECT_EQ(rig.host.Builds, c.answer == AnswerYes ? 1 : 0);
        EXPECT_EQ(monitor.PollingResetKey(), c.result);
        EXPECT_EQ(std::count(rig.status.calls.begin(), rig.status.calls.end(), "State 510"), 0);
        if (c.result) {
            EXPECT_TRUE(monitor.Tabs().empty());
            EXPECT_EQ(rig.prompter.Boxes().back().text,
                      "There is no source information available for PC=$8000");
        }
    }
}

TEST(DebugMonitorPowerOn, AsksForARebuildOncePerSourceNewerThanTheImage) {
    struct Case {
        const char* what;
        std::vector<int> answers;
        int newerFiles;
        bool result;
    };
    const Case cases[] = {
        {"Yes rebuilds", {AnswerYes}, 2, false},
        {"No asks again for the next newer file", {AnswerNo, AnswerNo}, 2, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        rig.WriteSource("lib.asm", "; more\n");
        rig.targets.Symbols->Files[1] = {rig.appFolder.Path(), "lib.asm"};
        const std::chrono::seconds romTime = std::chrono::floor<std::chrono::seconds>(
            std::filesystem::last_write_time(rig.Native("app.rom")).time_since_epoch());
        test::SetWriteTime(rig.Native("main.asm"), romTime + std::chrono::seconds(5));
        test::SetWriteTime(rig.Native("lib.asm"), romTime + std::chrono::seconds(1));
        for (int answer : c.answers)
            rig.prompter.Answer(answer);

        EXPECT_EQ(monitor.PowerOn(), c.result);

        const std::vector<RecordedBox> boxes = PowerOnBoxes(rig.prompter);
        ASSERT_EQ(boxes.size(), c.answers.size());
        for (const RecordedBox& box : boxes)
            ExpectBox(box,
                      "ROM image is older than at least one of the source files.\r\nDo you wish "
                      "to rebuild the appliance?",
                      Buttons::YesNo);
        EXPECT_EQ(rig.host.Builds, c.result ? 0 : 1);
        EXPECT_EQ(monitor.PollingResetKey(), c.result);
    }
}

TEST(DebugMonitorPowerOn, ASourceSavedInTheSameSecondAsTheImageIsNotNewer) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    const std::chrono::seconds second = test::NowInSeconds();
    test::SetWriteTime(rig.Native("app.rom"), second, std::chrono::milliseconds(100));
    test::SetWriteTime(rig.Native("main.asm"), second, std::chrono::milliseconds(900));

    EXPECT_TRUE(monitor.PowerOn());
    EXPECT_TRUE(rig.prompter.Boxes().empty());

    test::SetWriteTime(rig.Native("main.asm"), second + std::chrono::seconds(1));
    rig.prompter.Answer(AnswerNo);
    EXPECT_TRUE(monitor.PowerOn());
    EXPECT_EQ(PowerOnBoxes(rig.prompter).size(), 1u) << "a second later is newer";
}

TEST(DebugMonitorPowerOn, AMissingSourceOffersRebuildSkipOrIgnoreTheRest) {
    struct Case {
        const char* what;
        std::vector<int> answers;
        bool result;
    };
    const Case cases[] = {
        {"Yes rebuilds", {AnswerYes}, false},
        {"No asks for the next missing file", {AnswerNo, AnswerNo}, true},
        {"Cancel ignores the rest", {AnswerCancel}, true},
    };
    const std::string firstText = "\"gone1.asm\" is not fount.\r\nDo you wish to rebuild the "
                                  "appliance ?\r\nOr click \"Cancel\" to ignore this message !";
    const std::string secondText = "\"lib/gone2.asm\" is not fount.\r\nDo you wish to rebuild the "
                                   "appliance ?\r\nOr click \"Cancel\" to ignore this message !";
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DebugMonitorRig rig;
        DebugMonitor& monitor = rig.CreateReadyToPowerOn();
        rig.targets.Symbols->Files[1] = {"", "gone1.asm"};
        rig.targets.Symbols->Files[2] = {"lib", "gone2.asm"};
        for (int answer : c.answers)
            rig.prompter.Answer(answer);

        EXPECT_EQ(monitor.PowerOn(), c.result);

        const std::vector<RecordedBox> boxes = PowerOnBoxes(rig.prompter);
        ASSERT_EQ(boxes.size(), c.answers.size());
        ExpectBox(boxes[0], firstText, Buttons::YesNoCancel);
        if (boxes.size() > 1)
            ExpectBox(boxes[1], secondText, Buttons::YesNoCancel);
        EXPECT_EQ(rig.host.Builds, c.result ? 0 : 1);
        if (c.result) {
            ASSERT_EQ(monitor.Tabs().size(), 1u) << "missing files get no tab";
            EXPECT_EQ(monitor.Tabs()[0].Key, "K0");
        }
    }
}

TEST(DebugMonitorPowerOn, FolderEntriesTakePartInNeitherSourceLoop) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    test::FakeSymbolLibrary& symbols = *rig.targets.Symbols;
    symbols.Files[1] = symbols.Files[0];
    symbols.Files[0] = {rig.appFolder.Path() + "\\nowhere", ""}; // a folder that doesn't exist
    symbols.Sources[DebugMonitorRig::kResetPC] = {1, DebugMonitorRig::kResetLine};

    ASSERT_TRUE(monitor.PowerOn());

    EXPECT_TRUE(rig.prompter.Boxes().empty()) << rig.LastBoxText();
    ASSERT_EQ(monitor.Tabs().size(), 1u);
    EXPECT_EQ(monitor.Tabs()[0].Key, "K1");
    EXPECT_EQ(rig.TextsAt(520), (Strings{"", rig.appFolder.Sub("main.asm")}));
}

TEST(DebugMonitorPowerOn, ShowsShortSourcePathsWholeAndLongOnesByTheirLast20Characters) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    const std::string nineteen = "abcdefghijklmno.asm";
    const std::string twenty = "abcdefghijklmnop.asm";
    ASSERT_EQ(nineteen.size(), 19u);
    ASSERT_EQ(twenty.size(), 20u);
    rig.WriteSource(nineteen, "x\r\n");
    rig.WriteSource(twenty, "y\r\n");
    rig.targets.Symbols->Files[0] = {"", nineteen};
    rig.targets.Symbols->Files[1] = {"", twenty};
    rig.targets.Symbols->Sources[DebugMonitorRig::kResetPC] = {0, 1};

    ASSERT_TRUE(monitor.PowerOn());

    const auto at520 = std::find(rig.status.calls.begin(), rig.status.calls.end(), "State 520");
    ASSERT_NE(at520, rig.status.calls.end());
    EXPECT_EQ(Strings(at520 + 1, at520 + 3),
              (Strings{"StateArg abcdefghijklmno.asm", "StateArg ...abcdefghijklmnop.asm"}));
    ASSERT_EQ(monitor.Tabs().size(), 2u);
    EXPECT_EQ(monitor.Tabs()[1].Caption, twenty);
}

// ---- Breakpoints, CPU status, the reset key -------------------------------------------------

TEST(DebugMonitorPowerOn, SetsTheExecuteBreakpointsAgainWithCountOne) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    Breakpoints& records = rig.appliance.Breakpoints();
    records.Add(0, 0x8010, 1, break_kind::kExecute);
    records.Add(1, 0x4000, 1, break_kind::kExecute);
    records.Add(0, 0x9000, 16, break_kind::kRead);
    records.Add(0, 0x9100, 4, break_kind::kExecute | break_kind::kWrite);
    records.Add(0, 0x9200, 8, break_kind::kRead | break_kind::kWrite);

    ASSERT_TRUE(monitor.PowerOn());

    using Call = FakeEmulator::BreakCall;
    EXPECT_EQ(rig.targets.Current().SetBreakCalls,
              (std::vector<Call>{{0x8010, 1, 1}, {0x14000, 1, 1}, {0x9100, 1, 1}}));
    EXPECT_EQ(rig.targets.Current().BreakFlagsAt(0x9000), 0);
}

TEST(DebugMonitorPowerOn, FailsWhenTheCpuStatusCannotBeRead) {
    DebugMonitorRig rig;
    rig.targets.PrepareEmulator = [](FakeEmulator& emulator) { emulator.Cpu.reset(); };
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();

    EXPECT_FALSE(monitor.PowerOn());

    EXPECT_EQ(rig.BoxTexts(),
              (Strings{"ICE is not ready.",
                       "Cannot read CPU status. Please check ICE driver settings."}));
    ExpectBox(rig.prompter.Boxes().back(),
              "Cannot read CPU status. Please check ICE driver settings.", Buttons::Ok);
    EXPECT_FALSE(monitor.PollingResetKey());
    EXPECT_EQ(rig.status.calls.back(), "State 550");
    EXPECT_EQ(rig.Points().back(), 560);
}

TEST(DebugMonitorPowerOn, PollsTheResetKeyOnlyOnAPoweredTarget) {
    DebugMonitorRig rig;
    DebugMonitor& monitor = rig.CreateReadyToPowerOn();
    rig.targets.Current().ResetKeyHeld = true;
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 0) << "before any power-on";
    EXPECT_EQ(std::count(rig.targets.Current().Calls.begin(), rig.targets.Current().Calls.end(),
                         "ResetRequested"),
              0);

    ASSERT_TRUE(monitor.PowerOn());
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 0) << "the key is not held";
    rig.targets.Current().ResetKeyHeld = true;
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 1);

    rig.prompter.Answer(AnswerNo);
    std::filesystem::remove(rig.Native("app.rom"));
    ASSERT_FALSE(monitor.PowerOn());
    rig.targets.Current().ResetKeyHeld = true;
    monitor.PollResetKey();
    EXPECT_EQ(rig.host.Resets, 1) << "after a failed power-on";
}

// ---- ICE ------------------------------------------------------------------------------------

class IcePowerOn : public ::testing::Test {
protected:
    IcePowerOn() : programFolder("\\opt\\tess") {
        rig.CreateReadyToPowerOn();
        rig.appliance.ExtDebuggerInUse = true;
        rig.appliance.ExtDebugger = "%APPPATH%\\ice\\%appPath%.drv";
        rig.appliance.IceEmuNumber = 99;
    }

    platform::ScopedProgramFolder programFolder;
    DebugMonitorRig rig;
};

TEST_F(IcePowerOn, ADriverThatDoesNotLoadEndsWithItsBox) {
    rig.targets.PrepareEmulator = [](FakeEmulator& emulator) { emulator.IceDriverLoads = false; };

    EXPECT_FALSE(rig.monitor->PowerOn());

    EXPECT_EQ(rig.TextsAt(4052),
              (Strings{"Loading dbg @ \\opt\\tess\\ice\\\\opt\\tess.drv", "Load failed"}));
    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0],
              "ICE driver was not loaded. Please correct ICE driver settings. ", Buttons::Ok);
    EXPECT_EQ(rig.targets.HubsCreated, 0);
    EXPECT_FALSE(rig.monitor->PollingResetKey());
}

TEST_F(IcePowerOn, AModelTheIceRefusesEndsWithTheInitializationBox) {
    EXPECT_FALSE(rig.monitor->PowerOn());

    EXPECT_EQ(rig.TextsAt(4052),
              (Strings{"Loading dbg @ \\opt\\tess\\ice\\\\opt\\tess.drv", "Done loading", ""}));
    ASSERT_EQ(rig.prompter.Boxes().size(), 1u);
    ExpectBox(rig.prompter.Boxes()[0],
              "ICE failed to initialize. This could be due to:\r\n"
              "1. The selected MCU model is not supported by the ICE;\r\n"
              "2. The ID.INF file is not configured for this ICE; or\r\n"
              "3. The ICE driver is out-of-date.\r\n"
              "Please contact the ICE maker for a fix.",
              Buttons::Ok);
    EXPECT_EQ(rig.targets.Current().Calls.back(), "GetModel");
    EXPECT_FALSE(rig.monitor->PollingResetKey());
}

TEST_F(IcePowerOn, SucceedsWithoutHubOrDevices) {
    rig.targets.PrepareEmulator = [](FakeEmulator& emulator) { emulator.KnownModels.insert(99); };
    AddPeripheral(rig.appliance, "Beeper", "Speaker");

    ASSERT_TRUE(rig.monitor->PowerOn());

    EXPECT_EQ(rig.targets.HubsCreated, 0);
    EXPECT_TRUE(rig.targets.DeviceCalls.empty());
    EXPECT_EQ(rig.targets.Current().AttachedHub, -1);
    EXPECT_EQ(rig.targets.Current().Model, 99);
    EXPECT_EQ(std::count(rig.status.calls.begin(), rig.status.calls.end(), "State 406"), 0);
    EXPECT_EQ(std::count(rig.status.calls.begin(), rig.status.calls.end(), "State 407"), 0);
    EXPECT_TRUE(rig.prompter.Boxes().empty());
}

} // namespace
} // namespace bx
