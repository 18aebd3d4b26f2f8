// The device panel and the extender on the offscreen platform. In the real studio with a
// starter appliance built by ca65/ld65 and powered on in the simulator: the panel's LEDs
// painted as the running program lights them, a key held with the mouse (and the keyboard)
// reaching the program's keypad scan, and the shipped plug-in's tool exporting the ROM image.
// Without a studio: the surface centred in a smaller window, the shipped plug-in's exact
// Intel HEX records, and a broken or missing plug-in leaving the toolbar empty in silence.
#include "appliance/Appliance.h"
#include "debug/Emulator.h"
#include "debug/ui/DebuggerControl.h"
#include "frame/ui/ChildWindow.h"
#include "prototyper/PanelLayout.h"
#include "prototyper/ui/ExtenderWindow.h"
#include "prototyper/ui/FacadeWidget.h"
#include "prototyper/ui/Prototyper.h"
#include "support/StudioRig.h"

#include <QAudioDevice>
#include <QMediaDevices>
#include <QStatusBar>
#include <QToolBar>
#include <QtTest>
#include <bit>
#include <numeric>
#include <set>

using namespace bx;
using namespace bx::test;

namespace {

const QColor kLit(230, 40, 40); // the LED colour "Red" of the shipped views

QStringList Lines(const std::string& path) {
    return QString::fromStdString(platform::ReadFile(path).value_or(""))
        .split('\n', Qt::SkipEmptyParts);
}

} // namespace

class TestPrototyper : public QObject {
    Q_OBJECT

    BuiltStudio* built_ = nullptr;

    ui::MainFrame& Frame() { return built_->studio.frame; }
    ui::FacadeWidget* Surface() {
        auto* panel = dynamic_cast<ui::Prototyper*>(Frame().Child("frmPrototyper")->Content());
        return panel ? panel->Surface() : nullptr;
    }
    bool Halt() {
        Frame().Perform("mnuDbgBreak");
        return !Frame().Debugger()->Running();
    }
    // The key variable of the starter program (zero page $02) after it ran for a while, read
    // while the target is halted; the target runs on afterwards.
    int ScannedKeyAfter(int milliseconds) {
        QTest::qWait(milliseconds);
        int32_t count = 1;
        const std::vector<uint8_t> bytes =
            Halt() ? Frame().Debugger()->Monitor().CurrentEmulator()->ReadMemory(0x0002, count)
                   : std::vector<uint8_t>();
        Frame().Perform("mnuDbgRun");
        return bytes.empty() ? -1 : bytes[0];
    }

private slots:
    void initTestCase() {
        if (!BuildToolsPresent())
            return; // the slots that need a running target skip
        built_ = new BuiltStudio;
        QVERIFY(built_->Open("panel", "KTR310"));
        Frame().Perform("mnuDbgPower");
        QVERIFY(Frame().Frame().Powered());
        Frame().Perform("mnuDbgRun");
        QVERIFY(Frame().Debugger()->Running());
        QCOMPARE(built_->studio.prompter.Boxes().size(), std::size_t(0));
    }

    void cleanupTestCase() { delete built_; }

    void aSurfaceLargerThanItsWindowStaysCentred() {
        auto view = std::make_shared<View>();
        auto ui = std::make_shared<Peripheral>();
        ui->Type = "SimpleUI";
        auto display = view->DisplaySpecs.Add(ui);
        display->Parameters.Add("Width")->Value = "336";
        display->Parameters.Add("Height")->Value = "304";
        display->Parameters.Add("LEDs")->Value = "12,28,312,52";
        ui::Prototyper panel([view] { return view; });
        panel.resize(200, 150);
        panel.Reset();
        ui::FacadeWidget* surface = panel.Surface();
        QVERIFY(surface->width() > 200 && surface->height() > 150);
        QCOMPARE(surface->pos(),
                 QPoint((200 - surface->width()) / 2, (150 - surface->height()) / 2));
        panel.SetDesignView(nullptr);
        QVERIFY(!surface->Layout().Leds);
    }

    void ledsArePaintedAsTheRunningProgramLightsThem() {
        if (!built_)
            QSKIP("ca65, ld65 or make is not installed: no starter program runs");
        ui::FacadeWidget* surface = Surface();
        QVERIFY(surface && surface->Live());
        QVERIFY(surface->Layout().Leds && surface->Layout().Keypad && surface->Layout().Speaker);
        // The timer steps the lit LED on a few times a second.
        std::set<int> seen;
        QVERIFY(QTest::qWaitFor(
            [&] {
                if (auto lit = surface->Panel().LitLeds())
                    seen.insert(*lit);
                return seen.size() >= 3;
            },
            5000));
        QVERIFY(Halt());
        surface->Poll();
        const uint8_t lit = surface->Panel().LitLeds().value_or(0);
        QCOMPARE(std::popcount(lit), 1);
        const QImage shot = surface->grab().toImage();
        for (int i = 0; i < 8; ++i) {
            const QRect cell = surface->Pixels(prototyper::CellOf(*surface->Layout().Leds, i, 8));
            const QPoint centre(cell.center().x(), cell.top() + cell.height() * 36 / 100);
            const QColor expected = (lit & (1 << i)) ? kLit : kLit.darker(320);
            QCOMPARE(shot.pixelColor(centre).rgb(), expected.rgb());
        }
        Frame().Perform("mnuDbgRun");
    }

    void aKeyHeldReachesTheProgramsScanAndThePlugInExportsTheRom() {
        if (!built_)
            QSKIP("ca65, ld65 or make is not installed: no starter program runs");
        ui::FacadeWidget* surface = Surface();
        QVERIFY(Frame().Debugger()->Running());
        // Key "5": row 1, column 1 of the 4 x 4 keypad.
        const QPoint five =
            surface->Pixels(prototyper::KeyOf(*surface->Layout().Keypad, 4, 4, 1, 1)).center();
        QTest::mousePress(surface, Qt::LeftButton, {}, five);
        QCOMPARE(surface->Panel().HeldKeys(), uint64_t{1} << (1 * 8 + 1));
        // Row 1's pattern in the high nibble, column 1 low in the low one.
        QCOMPARE(ScannedKeyAfter(150), 0xDD);
        QTest::mouseRelease(surface, Qt::LeftButton, {}, five);
        QCOMPARE(surface->Panel().HeldKeys(), uint64_t{0});
        if (QMediaDevices::defaultAudioOutput().isNull())
            QVERIFY(Frame().statusBar()->currentMessage().contains("No audio output"));

        // The keyboard's "#" holds the key of that label (row 3, column 2).
        QTest::keyPress(surface, '#');
        QCOMPARE(surface->Panel().HeldKeys(), uint64_t{1} << (3 * 8 + 2));
        QCOMPARE(ScannedKeyAfter(100), 0x7B);
        QTest::keyRelease(surface, '#');
        QCOMPARE(ScannedKeyAfter(100), 0xFF);

        // The shipped plug-in's tool exports the ROM image.
        const QList<QAction*> tools = Frame().ExtenderToolBar()->actions();
        QCOMPARE(tools.size(), qsizetype(1));
        QCOMPARE(tools[0]->objectName(), QString("n0"));
        QCOMPARE(tools[0]->toolTip(), QString("Export ROM image as Intel HEX"));
        QVERIFY(!tools[0]->icon().isNull());
        tools[0]->trigger();
        const QStringList hex = Lines(built_->ApplianceFolder("panel") + "panel.hex");
        // 96 KB in 16-byte records, one extended address record at 64 KB, the end record.
        QCOMPARE(hex.size(), qsizetype(96 * 1024 / 16 + 2));
        QVERIFY(hex[0].startsWith(":10000000"));
        QVERIFY(hex.contains(":020000040001F9"));
        QCOMPARE(hex.back(), QString(":00000001FF"));
        QVERIFY(Frame().statusBar()->currentMessage().endsWith("done."));
    }

    void theToolWritesExactRecordsAndNeedsAnAppliance() {
        // A broken or missing plug-in leaves the toolbar empty, in silence.
        for (bool broken : {true, false}) {
            TempFolder program;
            if (broken)
                program.WriteFile("PlugIns\\SarnovaExtender.so", "not a shared library");
            platform::ScopedProgramFolder scoped(program.Path());
            QToolBar toolbar;
            toolbar.addAction("left over");
            ScriptedPrompter prompts;
            ui::ExtenderWindow extender(&toolbar, prompts, nullptr);
            extender.FillToolbar();
            QVERIFY(toolbar.actions().isEmpty());
            QVERIFY(!extender.Host().Loaded());
            QVERIFY(prompts.Boxes().empty());
        }

        platform::ScopedProgramFolder program(platform::FromNativePath(BX_PROGRAM_DIR));
        QToolBar toolbar;
        ScriptedPrompter prompts;
        ui::ExtenderWindow extender(&toolbar, prompts, nullptr);
        extender.FillToolbar();
        QCOMPARE(toolbar.actions().size(), qsizetype(1));
        QAction* tool = toolbar.actions()[0];

        prompts.Answer(AnswerOk);
        tool->trigger();
        QCOMPARE(prompts.Boxes().size(), std::size_t(1));
        QCOMPARE(prompts.Boxes()[0].text, std::string("Please open/new an Appliance first"));
        QCOMPARE(prompts.Boxes()[0].icon, Icon::None);

        TempFolder folder;
        std::string rom(20, '\0');
        std::iota(rom.begin(), rom.end(), '\0');
        folder.WriteFile("tiny.rom", rom);
        Appliance tiny;
        tiny.Title = "tiny";
        tiny.Folder = folder.Path() + "\\";
        extender.SetAppliance(&tiny);
        tool->trigger();
        QCOMPARE(Lines(folder.Sub("tiny.hex")),
                 (QStringList{":10000000000102030405060708090A0B0C0D0E0F78", ":0400100010111213A6",
                              ":00000001FF"}));
    }
};

QTEST_MAIN(TestPrototyper)
#include "tst_prototyper.moc"
