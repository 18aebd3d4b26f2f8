// The appliance file: what the writer puts down, what the reader makes of odd and older files,
// round trips, saving, and every message a bad file or a bad save gives.
#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "platform/FileSystem.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace bx {
namespace {

// KTR640 has ten options, so that the writer's limit of eight shows; KTR311 has none.
std::string Settings() {
    std::string ten;
    for (int i = 1; i <= 10; ++i)
        ten += "<Options Name=\"O" + std::to_string(i) + R"(" DisableName="d" EnableName="e"/>)";
    return R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR"><Body Model="KTR310">)"
           R"(<OPClock Rate="4 MHz" RateParam="4000000" Dual="False"/>)"
           R"(<Options Name="Watchdog" DisableName="Off" EnableName="On" Map="1"/>)"
           R"(<Options Name="Clock" DisableName="Single" EnableName="Dual" Map="2"/>)"
           R"(</Body><Body Model="KTR640">)" +
           ten +
           R"(</Body><Body Model="KTR311"/><Body Model="Sample KTR310 KTR311"/></MCU>)"
           R"(</GlobalSettings>)";
}

// The description of the BxError an action throws; "" when it throws none.
template <class Action>
std::string ErrorOf(Action action) {
    try {
        action();
    } catch (const BxError& error) {
        return error.Description;
    }
    return "";
}

const std::string kCurrent = R"(<Appliance Title="t" Version="v 00.01.009">)";

class ApplianceFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(settings.LoadXml(Settings())); }

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

TEST_F(ApplianceFileTest, EmptyApplianceWritesEveryContainerAndTheBodysOptionsUpToEight) {
    EXPECT_EQ(SavedText(*NewAppliance()),
              R"(<Appliance Title="demo" Version="v 00.01.009">)"
              R"(<Architecture Model="KTR310" ModelParam="" Family="KTR" OPClock="")"
              R"( Watchdog="Off" Clock="Single" BankStart="$4000" BankSize="$4000")"
              R"( BankCount="14" BootVect="$0000" ProgramStart="$0000" OptionsDef="$00"/>)"
              R"(<Design/><Desktop/><Code><Common><ExtEditor Command="" InUse="False"/>)"
              R"(<ExtBuilder Command="" InUse="False"/></Common><Build><Run Make="" Output=""/>)"
              R"(</Build></Code><Debugging><ExtDebugger Driver="" InUse="False"/></Debugging>)"
              R"(</Appliance>)");
    EXPECT_NE(SavedText(*NewAppliance("none", "KTR311")).find(R"(OPClock="" BankStart=)"),
              std::string::npos);

    auto many = NewAppliance("many", "KTR640");
    many->SetOptionAt(2, true);
    many->SetOptionAt(9, true); // there is no ninth flag
    EXPECT_FALSE(many->OptionAt(9) || many->OptionAt(0));
    const std::string text = SavedText(*many);
    EXPECT_NE(text.find(R"(O1="d" O2="e" O3="d")"), std::string::npos);
    EXPECT_NE(text.find(R"(O8="d" BankStart=)"), std::string::npos);
}

// A file with something in every collection and every value form of the writer: a plain
// input stands only as a step's source, an analog wire has no masks, load values are plain
// hexadecimal with FFFFFFFF for no place, an all-ones watch mask is not written, a group
// with an empty title goes along as ParentCategory, a breakpoint's kinds in the order RWX.
const char* kFull =
    R"(<Appliance Title="demo" Version="v 00.01.009"><Architecture Model="KTR310")"
    R"( ModelParam="KTR310" Family="KTR" OPClock="4 MHz" Watchdog="On" Clock="Single")"
    R"( BankStart="$C000" BankSize="$4000" BankCount="6" BootVect="$FFFC")"
    R"( ProgramStart="$4000" OptionsDef="$1F"><Peripheral Name="Pad" Type="Keypad"><Wiring)"
    R"( Type="Digital" Direction="Out" Port="P2" Pinset="Row" PortMask="0000000F")"
    R"( PinsetMask="0000000F" IsConnected="True"/><Parameter Name="Rows" Value="4"/>)"
    R"(</Peripheral><Peripheral Name="Beeper" Type="">)"
    R"(<Wiring Type="Analog" Direction="In" Port="DAC" Pinset="Audio" IsConnected="False"/>)"
    R"(</Peripheral></Architecture><Design><View Name="Front"><Display Device="Pad">)"
    R"(<Parameter Name="X" Value="12"/></Display></View></Design><Desktop>)"
    R"(<Set Name="Source" Width="1024" Height="768.5">)"
    R"(<Window Name="frmSource" Left="0" Top="0" Width="1/2" Height="1" Parameters="tabs=4"/>)"
    R"(</Set></Desktop><Code><Common><Assoc From="asm" To="o" With="ca65 %i -o %o"/>)"
    R"(<ExtEditor Command="editor &quot;%f&quot;" InUse="False"/>)"
    R"(<ExtBuilder Command="" InUse="False"/></Common><Build>)"
    R"(<Run Make="make" Output="demo.rom"/><Step Make="ca65 %i -o %o" Output="main.o">)"
    R"(<Source>src\main.asm</Source></Step><Step Make="ld65 %i" Output="demo.rom"><Source>)"
    R"(main.o</Source></Step>)"
    R"(<Load Image="demo.rom" Offset="0" Bank="FFFFFFFF" Start="FFFFFFFF" Size="0"/>)"
    R"(<Load Image="table.bin" Offset="4" Bank="2" Start="4000" Size="100"/>)"
    R"(<Load Image="main.o" Offset="0" Bank="5" Start="FFFFFFFF" Size="200"/>)"
    R"(<Map Segment="ZP" Start="0000" Size="0100"/>)"
    R"(<Map Segment="CODE" Start="8000" Size="4000"/></Build></Code><Debugging>)"
    R"(<ExtDebugger Driver="ice" InUse="False"/>)"
    R"(<Watch Title="" Access="ReadWrite" Category="Registers"/><Watch Title="CPU")"
    R"( Access="ReadWrite" Expanded="True" Category="SFR" ParentCategory="Registers"/><Watch)"
    R"( Title="A" Location="R:A" Access="ReadWrite" Display="HexByte" Category="SFR")"
    R"( Parent="CPU"/><Watch Title="" Access="ReadWrite" Category="UserWatches"/><Watch)"
    R"( Title="counter" Location="01:4000" Access="Read" Mask="F0" Category="Symbol")"
    R"( ParentCategory="UserWatches" Disabled="True"/>)"
    R"(<Watch Title="None" Access="ReadWrite" Mask="0" Category="SFR"/>)"
    R"(<Breakpoint Bank="$00" Start="$8003" Length="$0001" Type=""/>)"
    R"(<Breakpoint Bank="$01" Start="$4000" Length="$0002" Type="RWX"/></Debugging>)"
    R"(</Appliance>)";

TEST_F(ApplianceFileTest, ReadAndWrittenAgainAFileKeepsItsBytesAndItsLinks) {
    auto fromText = FromXml(kFull);
    EXPECT_TRUE(fromText->IsDirty());
    EXPECT_EQ(fromText->Folder, work.Path() + "\\") << "LoadXml leaves the folder alone";
    EXPECT_EQ(SavedText(*fromText), kFull);

    Appliance reread;
    reread.Settings = &settings;
    std::vector<int> codes;
    reread.StateChange.Connect([&](int code) { codes.push_back(code); });
    ASSERT_TRUE(reread.Load(work.Sub("demo.apl")));
    EXPECT_EQ(codes, (std::vector<int>{11001, 11002, 11050, 11090, 0}));
    EXPECT_FALSE(reread.IsDirty());
    EXPECT_EQ(reread.Folder, work.Path() + "\\");
    EXPECT_EQ(reread.RateMultiplier, 1);
    EXPECT_TRUE(reread.Option1);
    auto pad = reread.Peripherals().Item("Pad");
    EXPECT_EQ(pad->Wires.Item("Pad-Row-0000000F")->Peripheral, pad);
    EXPECT_EQ(reread.Views().Item("Front")->DisplaySpecs.First()->Peripheral, pad);
    EXPECT_EQ(reread.BuildTargets().Item("demo.rom")->Sources->Item("main.o"),
              reread.BuildTargets().Item("main.o"));
    auto counter = reread.Watches().Item("", "UserWatches")->Children().Item("counter", "Symbol");
    EXPECT_EQ(reread.Watches().Item("counter", "Symbol"), counter) << "a child stays at top level";
    EXPECT_EQ(SavedText(reread), kFull);
    EXPECT_EQ(SavedText(reread), kFull) << "a second save of the same model writes it again";
}

// Each row: a file's elements, and the stretch of the file written back that shows what the
// reader made of them.
TEST_F(ApplianceFileTest, ReaderOfOddAndOlderFiles) {
    const std::string watches = R"(<Watch Title="w" Category="U" Flag="R"/>)"
                                R"(<Watch Title="w" Category="U" Flag="W"/>)"
                                R"(<Watch Title="r" Flag="R"/><Watch Title="a" Access="Write"/>)"
                                R"(</Debugging>)";
    const struct {
        const char* name;
        std::string xml;
        std::vector<const char*> written;
    } rows[] = {
        {"the older form folds access pairs and reads Flag, not Access",
         R"(<Appliance Title="t" Version="v 00.01.008"><Debugging>)" + watches,
         {R"(<Watch Title="w" Access="ReadWrite" Category="U"/><Watch Title="r" Access="Read"/>)"
          R"(<Watch Title="a" Access="ReadWrite"/></Debugging>)"}},
        {"the current form reads Access, and a repeated key adds nothing",
         kCurrent + "<Debugging>" + watches,
         {R"(<Watch Title="w" Access="ReadWrite" Category="U"/><Watch Title="r")"
          R"( Access="ReadWrite"/><Watch Title="a" Access="Write"/></Debugging>)"}},
        {"a parent under the own or the empty category, and only earlier in the file",
         kCurrent + R"(<Debugging><Watch Title="group"/>)"
                    R"(<Watch Title="child" Category="SFR" Parent="group"/>)"
                    R"(<Watch Category="SFR" Parent="group"/>)"
                    R"(<Watch Title="orphan" Parent="later"/><Watch Title="later"/></Debugging>)",
         {R"(InUse="False"/><Watch Title="group" Access="ReadWrite"/><Watch Title="child")"
          R"( Access="ReadWrite" Category="SFR" Parent="group"/><Watch Title="orphan")"
          R"( Access="ReadWrite"/><Watch Title="later" Access="ReadWrite"/></Debugging>)"}},
        {"breakpoint kinds accumulate from one element to the next",
         kCurrent + R"(<Debugging><Breakpoint Bank="$00" Start="$8000" Length="$0001" Type="X"/>)"
                    R"(<Breakpoint Bank="$01" Start="$4000" Length="$0001" Type="R"/></Debugging>)",
         {R"(Type="X"/><Breakpoint Bank="$01" Start="$4000" Length="$0001" Type="RX"/>)"}},
        {"a view keeps only its last display, and unknown devices are skipped",
         kCurrent + R"(<Architecture Model="KTR310" Family="KTR">)"
                    R"(<Peripheral Name="A" Type="SimpleUI"/><Peripheral Name="B" Type="Keypad"/>)"
                    R"(</Architecture><Design><View Name="V"><Display Device="A"/>)"
                    R"(<Display Device="Ghost"/><Display Device="B"><Parameter Name="X")"
                    R"( Value="1"/></Display></View></Design>)",
         {R"(<Design><View Name="V"><Display Device="B"><Parameter Name="X" Value="1"/>)"
          R"(</Display></View></Design>)"}},
        {"a wire without a mask takes the last one seen; steps without a source or that"
         " contradict an earlier one vanish",
         kCurrent +
             R"(<Architecture Model="KTR310" Family="KTR"><Peripheral Name="P">)"
             R"(<Wiring Pinset="LED" PinsetMask="000000FF" Port="P0" PortMask="000000FF")"
             R"( Type="Digital" Direction="Out" IsConnected="True"/>)"
             R"(<Wiring Pinset="Button" Port="P1" Direction="In" IsConnected="False"/>)"
             R"(</Peripheral></Architecture><Code><Build><Run Make="make" Output="t.rom"/>)"
             R"(<Step Make="ca65" Output="lonely.o"/>)"
             R"(<Step Make="ca65" Output="a.o"><Source>a.asm</Source></Step>)"
             R"(<Step Make="other" Output="a.o"><Source>b.asm</Source></Step></Build></Code>)",
         {R"(<Wiring Type="Digital" Direction="In" Port="P1" Pinset="Button" PortMask="00000000")"
          R"( PinsetMask="000000FF" IsConnected="False"/></Peripheral>)",
          R"(<Run Make="make" Output="t.rom"/><Step Make="ca65" Output="a.o">)"
          R"(<Source>a.asm</Source></Step><Load Image="a.o")"}},
        {"older files name the tools' MCU token only inside the model text; defaults; an option"
         " word wider than 16 bits is refused",
         kCurrent + R"(<Architecture Model="Sample KTR310 KTR311" ModelParam="" Family="KTR")"
                    R"( OptionsDef="$12345"/>)",
         {R"(ModelParam="KTR311" Family="KTR" OPClock="" BankStart="$4000" BankSize="$4000")"
          R"( BankCount="14" BootVect="$FFFC" ProgramStart="$4000" OptionsDef="$00"/>)"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string text = FromXml(row.xml + "</Appliance>")->ToXml();
        for (const char* fragment : row.written)
            EXPECT_NE(text.find(fragment), std::string::npos) << fragment << "\nin\n" << text;
    }
}

// Files that name a watch or a step as its own parent or source (found by fuzzing): the watches
// stay a tree, and the build graph's cycles are freed with the appliance (the sanitizer build
// checks the leak).
TEST_F(ApplianceFileTest, SelfReferencesInAFileMakeNoCycles) {
    auto appliance = FromXml(
        kCurrent +
        R"(<Debugging><Watch Title="x" Parent="x"/></Debugging>)"
        R"(<Code><Build><Step Make="m" Output="a"><Source>a</Source></Step>)"
        R"(<Step Make="m" Output="b"><Source>c</Source></Step>)"
        R"(<Step Make="m" Output="c"><Source>b</Source></Step></Build></Code></Appliance>)");
    EXPECT_FALSE(appliance->Watches().Item("x", "")->HasChildren());
    EXPECT_EQ(appliance->BuildTargets().Item("b")->Sources->Item("c"),
              appliance->BuildTargets().Item("c"));
}

TEST_F(ApplianceFileTest, VersionsCompareAsTextsAndBadFilesGiveTheirMessage) {
    auto old = FromXml(R"(<Appliance Title="x" Version="v 00.01.007"/>)", false);
    EXPECT_EQ(old->Version, "v 00.01.007");
    EXPECT_EQ(old->Title, "demo") << "nothing but the version changes";
    EXPECT_EQ(FromXml(R"(<Appliance Title="n" Version="v 00.01.01"/>)")->Title, "n");
    EXPECT_EQ(FromXml(R"(<Appliance Title="w" Version="w"/>)")->Title, "w");

    const struct {
        const char* xml;
        const char* message;
    } bad[] = {
        {"<Other/>", "The file is no appliance file."},
        {"not xml at all", "The file is no appliance file."},
        {R"(<Appliance Title="t"/>)", "The appliance file has no Version."},
    };
    for (const auto& row : bad)
        EXPECT_EQ(ErrorOf([&] { FromXml(row.xml); }), row.message) << row.xml;

    // Load reports the parser's result: true for a refused version, false for no document.
    work.WriteFile("old.apl", R"(<Appliance Title="x" Version="v 00.00.999"/>)");
    work.WriteFile("broken.apl", "<Appliance");
    Appliance appliance;
    EXPECT_TRUE(appliance.Load(work.Sub("old.apl")));
    EXPECT_EQ(appliance.Title, "");
    EXPECT_FALSE(appliance.Load(work.Sub("broken.apl")));
    EXPECT_FALSE(appliance.Load(work.Sub("missing.apl")));
}

TEST_F(ApplianceFileTest, SaveWritesWhenForcedOrDirtyAndSaysWhyItCant) {
    const std::string before = platform::CurrentDirectory();
    auto appliance = NewAppliance("first");
    appliance->Save(false);
    EXPECT_FALSE(platform::FileExists(work.Sub("first.apl"))) << "clean and not forced";
    appliance->Touch();
    appliance->Save(false);
    EXPECT_FALSE(appliance->IsDirty());
    appliance->Title = "second";
    appliance->Save(true);
    EXPECT_EQ(platform::ListFolder(work.Path()),
              (std::vector<std::string>{"first.apl", "second.apl"}));
    EXPECT_EQ(appliance->ToolsPath(), programFolder.Path() + "\\");

    // What can't be saved writes nothing and stays dirty.
    std::filesystem::create_directories(work.Native() / "in" / "taken.apl"); // not a file
    const struct {
        const char *title, *model, *folder;
        std::string message;
    } rows[] = {
        {"../x", "KTR310", "in\\", ApplianceNameProblem("../x")},
        {"my app", "KTR310", "in\\", ApplianceNameProblem("my app")},
        {"demo", "KTR999", "in\\",
         "The MCU body \"KTR999\" of the family \"KTR\" is not known to the global settings."},
        {"demo", "KTR310", "no\\such\\", "Path not found: '"},
        {"taken", "KTR310", "in\\", "Cannot write the appliance file \""},
    };
    for (const auto& row : rows) {
        auto refused = NewAppliance(row.title, row.model);
        refused->Folder = work.Sub(row.folder);
        refused->Touch();
        EXPECT_EQ(ErrorOf([&] { refused->Save(false); }).rfind(row.message, 0), 0u) << row.title;
        EXPECT_TRUE(refused->IsDirty()) << row.title;
        EXPECT_EQ(platform::CurrentDirectory(), before);
    }
    EXPECT_EQ(platform::ListFolder(work.Sub("in")), std::vector<std::string>{"taken.apl"});
}

// The frame's geometry of the moment goes into the file, and into the model.
class FakeFrame : public FrameGeometry {
public:
    Rect FrameSize() const override { return {0, 0, 1280, 800.25f}; }
    std::string CurrentDesktop() const override { return "Debug"; }
    bool ChildWindow(const std::string& name, Rect& rect) const override {
        rect = {10, 20, 300.5f, 400};
        return name == "frmWatch";
    }
};

TEST_F(ApplianceFileTest, SetsRecordTheFrameSizeAndTheCurrentDesktopItsLiveWindows) {
    auto appliance = NewAppliance();
    auto debug = appliance->Desktops().Add("Debug", 1, 1);
    debug->Windows.Add("frmWatch", "1", "2", "3", "4", "");
    debug->Windows.Add("frmMemory", "a", "b", "c", "d", "");
    appliance->Desktops().Add("Source", 1, 1)->Windows.Add("frmWatch", "5", "6", "7", "8", "");
    FakeFrame frame;
    appliance->Frame = &frame;
    EXPECT_NE(
        SavedText(*appliance)
            .find(
                R"(<Set Name="Debug" Width="1280" Height="800.25">)"
                R"(<Window Name="frmWatch" Left="10" Top="20" Width="300.5" Height="400")"
                R"( Parameters=""/><Window Name="frmMemory" Left="a" Top="b" Width="c" Height="d")"
                R"( Parameters=""/></Set><Set Name="Source" Width="1280" Height="800.25">)"
                R"(<Window Name="frmWatch" Left="5")"),
        std::string::npos);
    EXPECT_EQ(debug->Windows.Item("frmWatch")->Width, "300.5") << "the model follows the save";
}

} // namespace
} // namespace bx
