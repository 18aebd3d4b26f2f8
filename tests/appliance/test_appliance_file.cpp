// The appliance file: what the writer puts down byte for byte, what the reader makes of it,
// the migration of the older form, and round trips in both directions.
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

// Ten options, so that the writer's limit of eight shows.
const char* kSettings =
    R"(<GlobalSettings Version="v 00.00.001">)"
    R"(<MCU Family="KTR"><Body Model="KTR310" TemplateDir="KTR310" TemplateFile="t.apl")"
    R"( BankMode="$4000-$7FFF" BankCount="14">)"
    R"(<OPClock Rate="4 MHz" RateParam="4000000" Dual="False"/>)"
    R"(<Options Name="Watchdog" DisableName="Off" EnableName="On" Map="1"/>)"
    R"(<Options Name="Clock" DisableName="Single" EnableName="Dual" Map="2"/>)"
    R"(</Body><Body Model="KTR640" TemplateDir="KTR640">)"
    R"(<Options Name="O1" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O2" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O3" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O4" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O5" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O6" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O7" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O8" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O9" DisableName="d" EnableName="e" Map="1"/>)"
    R"(<Options Name="O10" DisableName="d" EnableName="e" Map="1"/>)"
    R"(</Body><Body Model="KTR311" TemplateDir="KTR311"/></MCU></GlobalSettings>)";

class ApplianceFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(settings.LoadXml(kSettings)); }

    std::unique_ptr<Appliance> NewAppliance(const std::string& title = "demo",
                                            const std::string& model = "KTR310") {
        auto appliance = std::make_unique<Appliance>();
        appliance->Settings = &settings;
        appliance->Title = title;
        appliance->Family = "KTR";
        appliance->Model = model;
        appliance->Folder = work.Path() + "\\";
        return appliance;
    }

    // Saves and returns the file's bytes.
    std::string SavedText(Appliance& appliance) {
        appliance.Save(true);
        return work.ReadFile(appliance.Title + ".apl");
    }

    std::unique_ptr<Appliance> Reread(const std::string& title = "demo") {
        auto appliance = std::make_unique<Appliance>();
        appliance->Settings = &settings;
        EXPECT_TRUE(appliance->Load(work.Sub(title + ".apl")));
        return appliance;
    }

    // Loads a document given as text, as a template would be.
    std::unique_ptr<Appliance> FromXml(const std::string& xml, bool expected = true) {
        auto appliance = NewAppliance();
        EXPECT_EQ(appliance->LoadXml(xml), expected);
        return appliance;
    }

    test::TempFolder programFolder;
    test::TempFolder work;
    platform::ScopedProgramFolder useProgramFolder{programFolder.Path()};
    test::ScriptedPrompter prompter;
    GlobalSettings settings{prompter};
};

TEST_F(ApplianceFileTest, EmptyApplianceWritesEveryContainerAndNoRepeatedChild) {
    auto appliance = NewAppliance();
    EXPECT_EQ(SavedText(*appliance),
              R"(<Appliance Title="demo" Version="v 00.01.009">)"
              R"(<Architecture Model="KTR310" ModelParam="" Family="KTR" OPClock="")"
              R"( Watchdog="Off" Clock="Single" BankStart="$4000" BankSize="$4000")"
              R"( BankCount="14" BootVect="$0000" ProgramStart="$0000" OptionsDef="$00"/>)"
              R"(<Design/><Desktop/><Code><Common><ExtEditor Command="" InUse="False"/>)"
              R"(<ExtBuilder Command="" InUse="False"/></Common><Build><Run Make="" Output=""/>)"
              R"(</Build></Code><Debugging><ExtDebugger Driver="" InUse="False"/></Debugging>)"
              R"(</Appliance>)");
}

TEST_F(ApplianceFileTest, OptionAttributesFollowTheBodyUpToEight) {
    auto none = NewAppliance("none", "KTR311");
    EXPECT_NE(SavedText(*none).find(R"(OPClock="" BankStart=)"), std::string::npos)
        << "a body without options writes no option attribute";

    auto many = NewAppliance("many", "KTR640");
    many->SetOptionAt(2, true);
    const std::string text = SavedText(*many);
    EXPECT_NE(text.find(R"(O1="d" O2="e" O3="d")"), std::string::npos);
    EXPECT_NE(text.find(R"(O8="d" BankStart=)"), std::string::npos);
    EXPECT_EQ(text.find("O9="), std::string::npos);

    auto unknown = NewAppliance("unknown", "KTR999");
    EXPECT_THROW(unknown->Save(true), BxError) << "the body must be known to the settings";
    EXPECT_FALSE(platform::FileExists(work.Sub("unknown.apl")));
}

TEST_F(ApplianceFileTest, WriterValueFormsOfWiresStepsLoadsMapsWatchesAndBreakpoints) {
    auto appliance = NewAppliance();
    auto speaker = appliance->Peripherals().Add("Beeper");
    speaker->Type = "Speaker";
    auto analog = speaker->Wires.Add(speaker, "Audio", 1);
    analog->Type = 1;
    analog->Port = "DAC";
    analog->IsConnected = true;
    auto keys = appliance->Peripherals().Add("Keys");
    auto digital = keys->Wires.Add(keys, "Button", 0xF0);
    digital->Port = "P1";
    digital->PortMask = 0x0F;
    digital->Direction = 1;

    // A plain input is no step, even while a step names it as its source.
    appliance->BuildTargets().Add(nullptr, "", "main.asm");
    auto sources = std::make_shared<BuildTargets>();
    sources->AddItem(appliance->BuildTargets().Item("main.asm"));
    appliance->BuildTargets().Add(sources, "ca65 %i", "main.o");
    auto image = appliance->LoadImages().Add(appliance->BuildTargets().Item("main.o"), -1, 5);
    image->Offset = 0x10;
    image->Size = 0x200;
    appliance->ObjMaps().Add("CODE", 0x80, 0x4000);

    auto plain = appliance->Watches().Add("All", "SFR");
    auto zeroMask = appliance->Watches().Add("None", "SFR");
    zeroMask->Mask = 0;
    appliance->Breakpoints().Add(1, 0x4000, 2, 0);
    appliance->Breakpoints().Add(0, 0x8000, 1, 7);

    const std::string text = SavedText(*appliance);
    EXPECT_NE(text.find(R"(<Wiring Type="Analog" Direction="In" Port="DAC" Pinset="Audio")"
                        R"( IsConnected="True"/>)"),
              std::string::npos)
        << "an analog wire has no masks";
    EXPECT_NE(text.find(R"(<Wiring Type="Digital" Direction="Out" Port="P1" Pinset="Button")"
                        R"( PortMask="0000000F" PinsetMask="000000F0" IsConnected="False"/>)"),
              std::string::npos);
    EXPECT_NE(text.find(R"(<Step Make="ca65 %i" Output="main.o"><Source>main.asm</Source></Step>)"),
              std::string::npos);
    EXPECT_EQ(text.find(R"(Output="main.asm")"), std::string::npos);
    EXPECT_NE(
        text.find(R"(<Load Image="main.o" Offset="10" Bank="5" Start="FFFFFFFF" Size="200"/>)"),
        std::string::npos)
        << "load values are plain hexadecimal, not filled; an unplaced start is FFFFFFFF";
    EXPECT_NE(text.find(R"(<Map Segment="CODE" Start="0080" Size="4000"/>)"), std::string::npos);
    EXPECT_NE(text.find(R"(<Watch Title="All" Access="ReadWrite" Category="SFR"/>)"),
              std::string::npos)
        << "an all-ones mask is not written";
    EXPECT_NE(text.find(R"(<Watch Title="None" Access="ReadWrite" Mask="0" Category="SFR"/>)"),
              std::string::npos);
    EXPECT_NE(text.find(R"(<Breakpoint Bank="$01" Start="$4000" Length="$0002" Type=""/>)"),
              std::string::npos);
    EXPECT_NE(text.find(R"(<Breakpoint Bank="$00" Start="$8000" Length="$0001" Type="RWX"/>)"),
              std::string::npos);
    (void)plain;
}

// A model with something in every collection, for the round trips.
void Fill(Appliance& appliance) {
    appliance.OPClock = "4 MHz";
    appliance.ModelParam = "KTR310";
    appliance.SetOptionAt(1, true);
    appliance.BankStart = 0xC000;
    appliance.BankCount = 6;
    appliance.BootVect = 0xFFFC;
    appliance.ProgramStart = 0x4000;
    appliance.OptionsDef = 0x1F;
    appliance.ExtEditor = "editor \"%f\"";
    appliance.ExtDebugger = "ice";
    auto keypad = appliance.Peripherals().Add("Pad");
    keypad->Type = "Keypad";
    auto row = keypad->Wires.Add(keypad, "Row", 0x0F);
    row->Port = "P2";
    row->PortMask = 0x0F;
    row->IsConnected = true;
    row->Direction = 1;
    keypad->Parameters.Add("Rows")->Value = "4";
    auto view = appliance.Views().Add("Front");
    view->DisplaySpecs.Add(keypad)->Parameters.Add("X")->Value = "12";
    auto desktop = appliance.Desktops().Add("Source", 1024, 768.5f);
    desktop->Windows.Add("frmSource", "0", "0", "1/2", "1", "tabs=4");
    appliance.BuildAssociations().Add("asm", "ca65 %i -o %o", "o");
    appliance.RunTarget()->Make = "make";
    appliance.RunTarget()->OutputPath = "demo.rom";
    appliance.AddBuildStep("main.o", "ca65 %i -o %o", "src\\main.asm");
    appliance.AddBuildStep("demo.rom", "ld65 %i", "main.o");
    appliance.LabelLoadAddr("table.bin", 4, 2, 0x4000, 0x100);
    appliance.ObjMaps().Add("ZP", 0, 0x100);
    appliance.ObjMaps().Add("CODE", 0x8000, 0x4000);

    // The register tree: a group with an empty title, two levels below it.
    auto registers = appliance.Watches().Add("", "Registers");
    auto cpu = appliance.Watches().Add("CPU", "SFR");
    auto accumulator = appliance.Watches().Add("A", "SFR");
    accumulator->Location = "R:A";
    accumulator->SetDisplay("HexByte");
    registers->Children().AddItem(cpu);
    cpu->Children().AddItem(accumulator);
    cpu->Expanded = true;
    // The user's watch list.
    auto user = appliance.Watches().Add("", "UserWatches");
    auto counter = appliance.Watches().Add("counter", "Symbol");
    counter->Location = "01:4000";
    counter->Mask = 0xF0;
    counter->Disabled = true;
    counter->SetAccess("Read");
    user->Children().AddItem(counter);
    appliance.Breakpoints().Add(0, 0x8003, 1, 1);
}

TEST_F(ApplianceFileTest, WriteReadWriteGivesTheSameBytesAndReadKeepsTheModel) {
    auto appliance = NewAppliance();
    Fill(*appliance);
    const std::string first = SavedText(*appliance);

    auto reread = Reread();
    EXPECT_FALSE(reread->IsDirty());
    EXPECT_EQ(reread->Folder, work.Path() + "\\");
    EXPECT_EQ(reread->RateMultiplier, 1);
    EXPECT_EQ(reread->RateDivider, 1);
    EXPECT_EQ(reread->Version, "v 00.01.009");
    EXPECT_TRUE(reread->Option1);
    EXPECT_FALSE(reread->Option2);
    EXPECT_EQ(reread->BankStart, 0xC000);
    EXPECT_EQ(reread->BankCount, 6);
    EXPECT_EQ(reread->OptionsDef, 0x1F);
    EXPECT_EQ(reread->ExtEditor, "editor \"%f\"");
    auto pad = reread->Peripherals().Item("Pad");
    ASSERT_NE(pad, nullptr);
    auto row = pad->Wires.Item("Pad-Row-0000000F");
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->Peripheral, pad);
    EXPECT_EQ(row->Port, "P2");
    EXPECT_EQ(row->Direction, 1);
    EXPECT_TRUE(row->IsConnected);
    EXPECT_EQ(pad->Parameters.Item("Rows")->Value, "4");
    EXPECT_EQ(reread->Views().Item("Front")->DisplaySpecs.First()->Peripheral, pad);
    EXPECT_FLOAT_EQ(reread->Desktops().Item("Source")->Height, 768.5f);
    EXPECT_EQ(reread->Desktops().Item("Source")->Windows.Item("frmSource")->Width, "1/2");
    auto rom = reread->BuildTargets().Item("demo.rom");
    ASSERT_NE(rom, nullptr);
    EXPECT_EQ(rom->Sources->Item("main.o"), reread->BuildTargets().Item("main.o"));
    EXPECT_NE(reread->LoadImages().Item("table.bin", 0x4000, 2), nullptr);
    EXPECT_EQ(reread->ObjMaps().First()->Segment, "ZP");

    // Both groups come back with their children, two levels deep.
    auto registers = reread->Watches().Item("", "Registers");
    ASSERT_NE(registers, nullptr);
    auto cpu = registers->Children().Item("CPU", "SFR");
    ASSERT_NE(cpu, nullptr);
    EXPECT_TRUE(cpu->Expanded);
    ASSERT_NE(cpu->Children().Item("A", "SFR"), nullptr);
    EXPECT_EQ(cpu->Children().Item("A", "SFR")->Display(), "HexByte");
    auto user = reread->Watches().Item("", "UserWatches");
    ASSERT_NE(user, nullptr);
    auto counter = user->Children().Item("counter", "Symbol");
    ASSERT_NE(counter, nullptr);
    EXPECT_EQ(counter->Mask, 0xF0);
    EXPECT_TRUE(counter->Disabled);
    EXPECT_EQ(counter->Access(), "Read");
    EXPECT_EQ(reread->Watches().Item("counter", "Symbol"), counter) << "a child stays at top level";
    EXPECT_NE(reread->Breakpoints().Item(0, 0x8003, 1, 1), nullptr);

    EXPECT_EQ(SavedText(*reread), first);
    // A second save of the same model writes the same bytes again (the Saved marks reset).
    EXPECT_EQ(SavedText(*reread), first);
}

TEST_F(ApplianceFileTest, ReaderRaisesProgressCodesAndSetsTheDirtyMarkByEntryPoint) {
    auto appliance = NewAppliance();
    appliance->Save(true);
    auto reread = std::make_unique<Appliance>();
    reread->Settings = &settings;
    std::vector<int> codes;
    reread->StateChange.Connect([&](int code) { codes.push_back(code); });
    ASSERT_TRUE(reread->Load(work.Sub("demo.apl")));
    EXPECT_EQ(codes, (std::vector<int>{11001, 11002, 11050, 11090, 0}));
    EXPECT_FALSE(reread->IsDirty());

    auto fromText = FromXml(work.ReadFile("demo.apl"));
    EXPECT_TRUE(fromText->IsDirty());
    EXPECT_EQ(fromText->Folder, work.Path() + "\\") << "LoadXml leaves the folder alone";
}

TEST_F(ApplianceFileTest, VersionsCompareAsTextsAndOldOnesAreRefused) {
    auto old =
        FromXml(R"(<Appliance Title="x" Version="v 00.01.007"><Architecture/></Appliance>)", false);
    EXPECT_EQ(old->Version, "v 00.01.007");
    EXPECT_EQ(old->Title, "demo") << "nothing but the version changes";

    // Load reports the XML service's result: true even though the reader refused.
    work.WriteFile("old.apl", R"(<Appliance Title="x" Version="v 00.00.999"/>)");
    Appliance refused;
    EXPECT_TRUE(refused.Load(work.Sub("old.apl")));
    EXPECT_EQ(refused.Title, "");

    auto newer = FromXml(R"(<Appliance Title="n" Version="v 00.01.01"/>)");
    EXPECT_EQ(newer->Title, "n");
    auto odd = FromXml(R"(<Appliance Title="w" Version="w"/>)");
    EXPECT_EQ(odd->Title, "w");

    EXPECT_THROW(FromXml(R"(<Other/>)"), BxError);
    EXPECT_THROW(FromXml(R"(<Appliance Title="t"/>)"), BxError);
    EXPECT_THROW(FromXml("not xml at all"), BxError);
    Appliance broken;
    work.WriteFile("broken.apl", "<Appliance");
    EXPECT_FALSE(broken.Load(work.Sub("broken.apl")));
    EXPECT_FALSE(Appliance().Load(work.Sub("missing.apl")));
}

TEST_F(ApplianceFileTest, ArchitectureDefaultsAndTheModelParamFromTheModelText) {
    auto appliance = FromXml(
        R"(<Appliance Title="t" Version="v 00.01.009"><Architecture Model="Sample KTR310 KTR311")"
        R"( ModelParam="" OptionsDef="" WDT="Enabled" Oscillator="Crystal"/></Appliance>)");
    EXPECT_EQ(appliance->ModelParam, "KTR311") << "the last token with KTR stays";
    EXPECT_EQ(appliance->BankCount, 14);
    EXPECT_EQ(appliance->BankStart, 0x4000);
    EXPECT_EQ(appliance->BankSize, 0x4000);
    EXPECT_EQ(appliance->BootVect, 0xFFFC);
    EXPECT_EQ(appliance->ProgramStart, 0x4000);
    EXPECT_EQ(appliance->OptionsDef, 0) << "the parser's value for the empty text";
    EXPECT_TRUE(appliance->WDT);
    EXPECT_FALSE(appliance->Oscillator);
}

TEST_F(ApplianceFileTest, OlderWatchFormFoldsAccessPairsAndCurrentFormKeepsTheFirst) {
    const std::string pair = R"(<Debugging><Watch Title="w" Category="U" Flag="R"/>)"
                             R"(<Watch Title="w" Category="U" Flag="W"/>)"
                             R"(<Watch Title="both" Flag="RW"/><Watch Title="none" Flag=""/>)"
                             R"(</Debugging></Appliance>)";
    auto old = FromXml(R"(<Appliance Title="t" Version="v 00.01.008">)" + pair);
    ASSERT_EQ(old->Watches().Count(), 3u);
    EXPECT_EQ(old->Watches().Item("w", "U")->Access(), "ReadWrite");
    EXPECT_EQ(old->Watches().Item("both", "")->Access(), "ReadWrite");
    EXPECT_EQ(old->Watches().Item("none", "")->Access(), Watch().Access()) << "default kept";

    auto current = FromXml(R"(<Appliance Title="t" Version="v 00.01.009">)" + pair);
    EXPECT_EQ(current->Watches().Item("w", "U")->Access(), Watch().Access())
        << "the current form reads Access, not Flag, and a repeated key adds nothing";
    EXPECT_EQ(current->Watches().Count(), 3u);
}

TEST_F(ApplianceFileTest, WatchParentsAreFoundUnderTheOwnOrTheEmptyCategory) {
    auto appliance =
        FromXml(R"(<Appliance Title="t" Version="v 00.01.009"><Debugging>)"
                R"(<Watch Title="group"/><Watch Title="child" Category="SFR" Parent="group"/>)"
                R"(<Watch Category="SFR" Parent="group"/>)"
                R"(<Watch Title="orphan" Parent="later"/><Watch Title="later"/>)"
                R"(</Debugging></Appliance>)");
    auto group = appliance->Watches().Item("group", "");
    ASSERT_NE(group, nullptr);
    EXPECT_NE(group->Children().Item("child", "SFR"), nullptr);
    EXPECT_EQ(group->Children().Count(), 1u)
        << "a watch without a title repeats the last title, a repeated key adds nothing";
    EXPECT_FALSE(appliance->Watches().Item("later", "")->HasChildren())
        << "a parent must stand earlier in the file";
}

TEST_F(ApplianceFileTest, BreakpointFlagsAccumulateWhileReading) {
    auto appliance = FromXml(R"(<Appliance Title="t" Version="v 00.01.009"><Debugging>)"
                             R"(<Breakpoint Bank="$00" Start="$8000" Length="$0001" Type="X"/>)"
                             R"(<Breakpoint Bank="$01" Start="$4000" Length="$0001" Type="R"/>)"
                             R"(</Debugging></Appliance>)");
    EXPECT_NE(appliance->Breakpoints().Item(0, 0x8000, 1, 1), nullptr);
    EXPECT_NE(appliance->Breakpoints().Item(1, 0x4000, 1, 3), nullptr)
        << "the second carries R and the X of the first";
    EXPECT_EQ(appliance->Breakpoints().Count(), 2u);
}

TEST_F(ApplianceFileTest, AViewKeepsOnlyItsLastDisplayAndUnknownDevicesAreSkipped) {
    auto appliance = FromXml(
        R"(<Appliance Title="t" Version="v 00.01.009"><Architecture>)"
        R"(<Peripheral Name="A" Type="SimpleUI"/><Peripheral Name="B" Type="Keypad"/></Architecture>)"
        R"(<Design><View Name="V"><Display Device="A"/><Display Device="Ghost"/>)"
        R"(<Display Device="B"><Parameter Name="X" Value="1"/></Display></View></Design>)"
        R"(</Appliance>)");
    auto view = appliance->Views().Item("V");
    ASSERT_NE(view, nullptr);
    ASSERT_EQ(view->DisplaySpecs.Count(), 1u);
    EXPECT_EQ(view->DisplaySpecs.First()->Peripheral->Name, "B");
    EXPECT_EQ(view->DisplaySpecs.First()->Parameters.Item("X")->Value, "1");
}

TEST_F(ApplianceFileTest, WiresWithoutAMaskTakeTheLastOneSeenAndMissingStepsVanish) {
    auto appliance = FromXml(
        R"(<Appliance Title="t" Version="v 00.01.009"><Architecture>)"
        R"(<Peripheral Name="P" Type="SimpleUI"><Wiring Pinset="LED" PinsetMask="000000FF")"
        R"( Port="P0" PortMask="000000FF" Type="Digital" Direction="Out" IsConnected="True"/>)"
        R"(<Wiring Pinset="Button" Port="P1" Direction="In" IsConnected="False"/>)"
        R"(</Peripheral></Architecture><Code><Build><Run Make="make" Output="t.rom"/>)"
        R"(<Step Make="ca65" Output="lonely.o"/>)"
        R"(<Step Make="ca65" Output="a.o"><Source>a.asm</Source></Step>)"
        R"(<Step Make="other" Output="a.o"><Source>b.asm</Source></Step>)"
        R"(</Build></Code></Appliance>)");
    auto peripheral = appliance->Peripherals().Item("P");
    ASSERT_NE(peripheral, nullptr);
    auto button = peripheral->Wires.Item("P-Button-000000FF");
    ASSERT_NE(button, nullptr) << "the mask text carries over from the previous wire";
    EXPECT_EQ(button->Direction, 0);
    EXPECT_FALSE(button->IsConnected);
    EXPECT_EQ(button->PortMask, 0);
    EXPECT_EQ(appliance->BuildTargets().Item("lonely.o"), nullptr) << "a step with no source";
    auto object = appliance->BuildTargets().Item("a.o");
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->Make, "ca65");
    EXPECT_EQ(object->Sources->Item("b.asm"), nullptr) << "a contradicting step is left out";
    EXPECT_EQ(appliance->RunTarget()->OutputPath, "t.rom");
}

// The frame's geometry of the moment goes into the file, and into the model.
class FakeFrame : public FrameGeometry {
public:
    Rect FrameSize() const override { return {0, 0, 1280, 800.25f}; }
    std::string CurrentDesktop() const override { return "Debug"; }
    bool ChildWindow(const std::string& name, Rect& rect) const override {
        if (name != "frmWatch")
            return false;
        rect = {10, 20, 300.5f, 400};
        return true;
    }
};

TEST_F(ApplianceFileTest, SetsRecordTheFrameSizeAndTheCurrentDesktopItsLiveWindows) {
    auto appliance = NewAppliance();
    auto debug = appliance->Desktops().Add("Debug", 1, 1);
    debug->Windows.Add("frmWatch", "1", "2", "3", "4", "");
    debug->Windows.Add("frmMemory", "a", "b", "c", "d", "");
    auto source = appliance->Desktops().Add("Source", 1, 1);
    source->Windows.Add("frmWatch", "5", "6", "7", "8", "");
    FakeFrame frame;
    appliance->Frame = &frame;
    const std::string text = SavedText(*appliance);
    EXPECT_NE(text.find(R"(<Set Name="Debug" Width="1280" Height="800.25">)"
                        R"(<Window Name="frmWatch" Left="10" Top="20" Width="300.5" Height="400")"),
              std::string::npos);
    EXPECT_NE(text.find(R"(<Window Name="frmMemory" Left="a" Top="b")"), std::string::npos)
        << "a window with no live child keeps its place";
    EXPECT_NE(text.find(R"(<Set Name="Source" Width="1280" Height="800.25">)"
                        R"(<Window Name="frmWatch" Left="5")"),
              std::string::npos)
        << "other desktops keep their windows";
    EXPECT_EQ(debug->Windows.Item("frmWatch")->Width, "300.5") << "the model follows the save";
}

} // namespace
} // namespace bx

namespace bx {
namespace {

// Files that name a watch or a step as its own parent or source: found by fuzzing. The model
// must stay a tree for the watches and be freed whole (the sanitizer build checks the leak).
TEST_F(ApplianceFileTest, SelfReferencesInAFileMakeNoCycles) {
    auto appliance = FromXml(
        R"(<Appliance Title="t" Version="v 00.01.009"><Debugging><Watch Title="w"/>)"
        R"(<Watch Titel="typo" Parent="w"/><Watch Title="x" Parent="x"/></Debugging>)"
        R"(<Code><Build><Step Make="m" Output="a"><Source>a</Source></Step>)"
        R"(<Step Make="m" Output="b"><Source>c</Source></Step>)"
        R"(<Step Make="m" Output="c"><Source>b</Source></Step></Build></Code></Appliance>)");
    EXPECT_FALSE(appliance->Watches().Item("w", "")->HasChildren());
    EXPECT_FALSE(appliance->Watches().Item("x", "")->HasChildren());
    ASSERT_NE(appliance->BuildTargets().Item("a"), nullptr);
    // The cycles of the build graph are kept as the file says; the appliance frees them.
    EXPECT_EQ(appliance->BuildTargets().Item("b")->Sources->Item("c"),
              appliance->BuildTargets().Item("c"));
    EXPECT_NO_THROW(appliance->ToXml());
}

} // namespace
} // namespace bx
