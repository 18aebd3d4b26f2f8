// The debugger in the real studio, on the offscreen platform, with the built-in simulator and a
// starter appliance built by ca65/ld65: a session as a person has it (power on, a click in the
// strip on the line of main, run, the stop there, step, step over the call, reset, power off)
// with the source view and the disassembly painted as they should be on the way.
#include "debug/DebugMonitor.h"
#include "debug/ui/DebuggerControl.h"
#include "editor/ui/SourceWindow.h"
#include "foundation/Common.h"
#include "frame/ui/ChildWindow.h"
#include "inspectors/SourceLineModel.h"
#include "inspectors/ui/DebugView.h"
#include "inspectors/ui/DisasmView.h"
#include "platform/ui/Twips.h"
#include "support/StudioRig.h"

#include <QAction>
#include <QScrollBar>
#include <QTabBar>
#include <QtTest>
#include <filesystem>

using namespace bx;
using namespace bx::test;

namespace {

const QColor kStrip(235, 235, 206);
const QColor kCurrentRow(192, 208, 192);
const QColor kMark(208, 128, 128);

// The pixel row of a line's middle, as the view paints it.
int RowMiddle(ui::DebugView& widget, int32_t line) {
    return (line - widget.Model()->TopLine()) * widget.RowPixels() + widget.RowPixels() / 2;
}

} // namespace

class TestDebugger : public QObject {
    Q_OBJECT

    BuiltStudio* built_ = nullptr;
    ui::DebuggerControl* debugger_ = nullptr;

    ui::MainFrame& Frame() { return built_->studio.frame; }
    DebugMonitor& Monitor() { return debugger_->Monitor(); }
    // The view of main.asm and its widget.
    SourceLineModel& MainView() {
        return *Monitor().ViewAt(Monitor().ViewOfTab(Monitor().TabOfFile(MainFile())));
    }
    ui::DebugView& MainWidget() {
        return *debugger_->ViewWidget(Monitor().ViewOfTab(Monitor().TabOfFile(MainFile())));
    }
    int32_t MainFile() {
        for (int32_t index = 0;; ++index) {
            const std::string path = Monitor().Symbols().GetSourcePath(index);
            if (path.empty() || FileNameOf(path) == "main.asm")
                return index;
        }
    }
    // Lets the event loop run until the target stops (10 s at most).
    bool WaitForHalt() {
        return QTest::qWaitFor([this] { return !debugger_->Running(); }, 10000);
    }

private slots:
    void initTestCase() {
        if (!BuildToolsPresent())
            QSKIP(kNoBuildTools);
        built_ = new BuiltStudio;
        QVERIFY(built_->Open("session", "KTR311"));
        debugger_ = Frame().Debugger();
    }

    void cleanupTestCase() { delete built_; }

    void sessionAsAPersonHasIt() {
        CommandState& commands = Frame().Frame().Commands();
        Frame().Perform("mnuDbgPower");
        QVERIFY(Frame().Frame().Powered());
        QCOMPARE(Frame().Frame().CurrentDesktop(), std::string("Debug"));
        QCOMPARE(Frame().Child("frmSource")->windowTitle(), QString("Debugger (No Editing)"));
        QVERIFY(commands.Menu("mnuDbgRun").Enabled);
        QVERIFY(commands.Menu("mnuDbgStepOver").Enabled);
        QCOMPARE(built_->studio.prompter.Boxes().size(), std::size_t(0));

        // The view stands at the reset: the strip in its colour, the PC's row under the bar.
        SourceLineModel& view = MainView();
        ui::DebugView& widget = MainWidget();
        const int32_t resetLine = LineOf(view, "reset:");
        QCOMPARE(view.SelectedLine(), resetLine);
        QCOMPARE(view.Line(resetLine).substr(0, 15), std::string("8000 78        "));
        widget.resize(700, 600);
        view.SetTopLine(resetLine - 2);
        const QImage shot = widget.grab().toImage();
        QCOMPARE(shot.pixelColor(2, 1), kStrip);
        QCOMPARE(shot.pixelColor(widget.width() - 40, RowMiddle(widget, resetLine)), kCurrentRow);

        // A click in the strip on the line of main sets a breakpoint there, painted as a mark.
        const int32_t mainLine = LineOf(view, "main:");
        QVERIFY(mainLine > 0);
        Monitor().GotoFileLine(MainFile(), mainLine, true, false, false);
        QTest::mouseClick(&widget, Qt::LeftButton, {}, QPoint(4, RowMiddle(widget, mainLine)));
        QVERIFY(view.IsMarked(mainLine));
        QCOMPARE(Frame().Frame().CurrentAppliance().Breakpoints().Count(), std::size_t(1));
        const QImage marked = widget.grab().toImage();
        QCOMPARE(marked.pixelColor(widget.RowPixels() / 2, RowMiddle(widget, mainLine)), kMark);

        // The tip of a line whose bytes are cut off shows them, read from the target.
        const int32_t tableLine = LineOf(view, "        .byte $E0, $D0, $B0, $70");
        QVERIFY(tableLine > 0);
        QCOMPARE(view.Line(tableLine).substr(13, 2), std::string(".."));
        view.SetTopLine(tableLine);
        QTest::mouseMove(&widget, QPoint(4, RowMiddle(widget, tableLine)));
        QCOMPARE(widget.toolTip(), QString("E0 D0 B0 70 "));
        QCOMPARE(widget.cursor().shape(), Qt::CrossCursor);

        // Run: the runtime commands turn; the stop at main turns them back.
        Frame().Perform("mnuDbgRun");
        QVERIFY(WaitForHalt());
        QCOMPARE(view.SelectedLine(), mainLine);
        QVERIFY(commands.Menu("mnuDbgRun").Enabled);
        QVERIFY(!commands.Menu("mnuDbgBreak").Enabled);

        Frame().Perform("mnuDbgStepIn");
        QCOMPARE(view.SelectedLine(), mainLine + 1);
        const int32_t callLine = LineOf(view, "        jsr scan_keypad");
        while (view.SelectedLine() < callLine)
            Frame().Perform("mnuDbgStepIn");
        QCOMPARE(view.SelectedLine(), callLine);
        Frame().Perform("mnuDbgStepOver");
        QVERIFY(WaitForHalt());
        QCOMPARE(view.SelectedLine(), callLine + 1);

        // Run and stop by the command: the target is halted wherever it was.
        Frame().Perform("mnuBkptClearAll");
        QVERIFY(!view.IsMarked(mainLine));
        Frame().Perform("mnuDbgRun");
        QVERIFY(debugger_->Running());
        QVERIFY(commands.Menu("mnuDbgBreak").Enabled);
        QVERIFY(!commands.Menu("mnuDbgPower").Enabled);
        QTest::qWait(50);
        Frame().Perform("mnuDbgBreak");
        QVERIFY(!debugger_->Running());
        QVERIFY(commands.Menu("mnuDbgPower").Enabled);

        Frame().Perform("mnuDbgReset");
        QCOMPARE(view.SelectedLine(), resetLine);

        // Find in the view's pop-up menu opens the editor's find dialog and brings the line up.
        built_->studio.dialogs.onDialog = [](QDialog& dialog) {
            dialog.findChild<QLineEdit*>("txtFindTarget")->setText("SCAN_KEYPAD:");
            dialog.findChild<QPushButton*>("cmdFind")->click();
            return int(QDialog::Accepted);
        };
        widget.findChild<QAction*>("mnuFind")->trigger();
        built_->studio.dialogs.onDialog = nullptr;
        QCOMPARE(built_->studio.dialogs.shown.last(), QString("wizFind"));
        QCOMPARE(view.TopLine(), LineOf(view, "scan_keypad:"));
        view.SetTopLine(1); // Find Next goes on with the stored text, without the dialog
        widget.findChild<QAction*>("mnuFindNext")->trigger();
        QCOMPARE(view.TopLine(), LineOf(view, "scan_keypad:"));
        QCOMPARE(built_->studio.dialogs.shown.count("wizFind"), 1);

        // The disassembly: the PC's row under the bar; its bar holds the PC's place.
        debugger_->Tabs()->setCurrentIndex(0);
        QCOMPARE(debugger_->FrontWidget(), static_cast<QWidget*>(debugger_->Disassembly()));
        ui::DisasmView& disasm = *debugger_->Disassembly();
        disasm.resize(600, 400);
        const QImage listing = disasm.grab().toImage();
        QCOMPARE(listing.pixelColor(disasm.width() - 40, 8), kCurrentRow);
        const auto rows = Monitor().Disassembly().DrawListing(3);
        QCOMPARE(QString::fromStdString(rows[0].Text), QString("   00:8000     78          SEI"));
        disasm.PCBar()->setValue(0);
        QCOMPARE(disasm.PCBar()->value(), ui::DisasmView::kHeldValue);

        Frame().Perform("mnuDbgPower");
        QVERIFY(!Frame().Frame().Powered());
        QCOMPARE(Frame().Frame().CurrentDesktop(), std::string("Source"));
        QCOMPARE(Frame().Child("frmSource")->windowTitle(), QString("Source Editor"));
        QVERIFY(!commands.Menu("mnuDbgRun").Enabled);
        QCOMPARE(built_->studio.prompter.Boxes().size(), std::size_t(0));
    }

    void aPowerOnThatFailsLeavesTheEditorInFront() {
        // No ROM image: power-on offers a rebuild, and No leaves the target off.
        const std::string rom = built_->ApplianceFolder("session") + "session.rom";
        const std::filesystem::path native = platform::ToNativePath(rom);
        std::filesystem::rename(native, native.string() + ".away");
        const std::size_t boxes = built_->studio.prompter.Boxes().size();
        built_->studio.prompter.Answer(AnswerNo);
        Frame().Perform("mnuDbgPower");
        std::filesystem::rename(native.string() + ".away", native);
        QCOMPARE(built_->studio.prompter.Boxes().size(), boxes + 1);
        QCOMPARE(built_->studio.prompter.Boxes().back().text.substr(0, 22),
                 std::string("Cannot load ROM image."));
        QVERIFY(!Frame().Frame().Powered());
        QCOMPARE(Frame().Frame().CurrentDesktop(), std::string("Source"));
        QCOMPARE(Frame().Child("frmSource")->windowTitle(), QString("Source Editor"));
        QVERIFY(!Frame().Sources()->DebuggerInFront());
    }
};

QTEST_MAIN(TestDebugger)
#include "tst_debugger.moc"
