// The register, watch and memory windows and the breakpoint dialogs in the real studio, on the
// offscreen platform, with the built-in simulator and a starter appliance built by ca65/ld65,
// powered on from the frame: the register label edit's rules and the views following an edit,
// the red of a change; a watch of a code label added, its format check, its value overtyped in
// place; a memory byte overtyped, Escape and scrolling dropping an edit, the canvas painted by
// break flags; a write range from the memory breakpoint dialog stopping the target with its
// message; the breakpoint list going to and deleting a breakpoint.
#include "appliance/Appliance.h"
#include "debug/DebugMonitor.h"
#include "debug/Emulator.h"
#include "debug/ui/DebuggerControl.h"
#include "foundation/Common.h"
#include "frame/ui/ChildWindow.h"
#include "inspectors/SourceLineModel.h"
#include "inspectors/Watch.h"
#include "inspectors/ui/MemoryEditor.h"
#include "inspectors/ui/RegisterEditor.h"
#include "inspectors/ui/WatchEditor.h"
#include "support/StudioRig.h"

#include <QAction>
#include <QButtonGroup>
#include <QHeaderView>
#include <QLineEdit>
#include <QMenu>
#include <QRadioButton>
#include <QScrollBar>
#include <QStatusBar>
#include <QTreeWidget>
#include <QtTest>

using namespace bx;
using namespace bx::test;

namespace {

const QColor kChanged(192, 0, 0);
const QColor kWriteMark(192, 192, 255);

// A double click as a person makes it: press, release, then the second press that the window
// system reports as a double click.
void DoubleClick(QWidget* widget, const QPoint& at) {
    QTest::mouseClick(widget, Qt::LeftButton, {}, at);
    QMouseEvent second(QEvent::MouseButtonDblClick, at, widget->mapToGlobal(at), Qt::LeftButton,
                       Qt::LeftButton, {});
    QApplication::sendEvent(widget, &second);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, at);
}

template <class T>
T* Find(QWidget* parent, const char* name) {
    return parent->findChild<T*>(name);
}

} // namespace

class TestInspectors : public QObject {
    Q_OBJECT

    BuiltStudio* built_ = nullptr;

    ui::MainFrame& Frame() { return built_->studio.frame; }
    ScriptedPrompter& Prompts() { return built_->studio.prompter; }
    ScriptedDialogs& Dialogs() { return built_->studio.dialogs; }
    DebugMonitor& Monitor() { return Frame().Debugger()->Monitor(); }
    Emulator& Target() { return *Monitor().CurrentEmulator(); }
    template <class T>
    T& Window(const char* name) {
        return *qobject_cast<T*>(Frame().Child(name)->Content());
    }
    ui::RegisterEditor& Registers() { return Window<ui::RegisterEditor>("frmRegister"); }
    ui::WatchEditor& Watches() { return Window<ui::WatchEditor>("frmWatch"); }
    ui::MemoryEditor& Memory() { return Window<ui::MemoryEditor>("frmMemory"); }

    // The tree item of the register whose node text is title or starts with title "=".
    QTreeWidgetItem* Register(const std::string& title) {
        const auto& nodes = Registers().Model().Nodes();
        for (std::size_t i = 0; i < nodes.size(); ++i)
            if (nodes[i].Text == title || nodes[i].Text.rfind(title + "=", 0) == 0)
                return Registers().Item(static_cast<int32_t>(i));
        return nullptr;
    }
    QPoint Centre(QTreeWidget* tree, QTreeWidgetItem* item) {
        tree->scrollToItem(item);
        return tree->visualItemRect(item).center();
    }
    // The label edit open on the tree, null for none (a closed one may wait for deletion).
    QLineEdit* LabelEdit() {
        for (QLineEdit* edit : Registers().Tree()->findChildren<QLineEdit*>("txtLabelEdit"))
            if (edit->isVisible())
                return edit;
        return nullptr;
    }
    // main.asm's view in the debugger, and its index.
    int32_t MainViewIndex() {
        for (int32_t view = 1; Monitor().ViewAt(view); ++view)
            if (FileNameOf(Monitor().Symbols().GetSourcePath(Monitor().FileOfView(view))) ==
                "main.asm")
                return view;
        return 1;
    }
    SourceLineModel& MainView() { return *Monitor().ViewAt(MainViewIndex()); }
    // The address of the code of a line of main.asm.
    int32_t AddressOfLine(int32_t line) {
        return Monitor().Symbols().GetPC(Monitor().FileOfView(MainViewIndex()), line);
    }
    // The address of a symbol of the build, from the watch window's symbol list.
    // The address of any label of the build, data labels included.
    int32_t SymbolAddress(const std::string& name) {
        const std::unique_ptr<bx::Watches> all = Monitor().Symbols().GetLabelsAsWatches(false);
        const std::shared_ptr<Watch> symbol = all ? all->Item(name, "Symbol") : nullptr;
        return symbol ? HexToLong(symbol->Location.substr(3)) : -1;
    }
    // The label the watch tests use: code the session never runs (it holds no key), so that
    // its first byte can be overtyped. Power-on offers only code labels to the watches.
    static constexpr const char* kWatched = "half_wave";
    uint8_t Byte(int32_t address) {
        int32_t count = 1;
        return Target().ReadMemory(address, count).at(0);
    }
    // The middle of a byte of the memory canvas.
    QPoint ByteCentre(int row, int column) {
        const MemoryMetrics& m = Memory().Metrics();
        return QPointF(m.AddressWidth + column * (m.GapWidth + m.ByteWidth) + m.ByteWidth / 2 -
                           Memory().HorizontalBar()->value() * m.GapWidth,
                       (row + 0.5) * m.RowHeight)
            .toPoint();
    }

private slots:
    void initTestCase() {
        if (!BuildToolsPresent())
            QSKIP(kNoBuildTools);
        built_ = new BuiltStudio;
        QVERIFY(built_->Open("inspect", "KTR311"));
        Frame().activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&Frame()));
        Frame().Perform("mnuDbgPower");
        QVERIFY(Frame().Frame().Powered());
        QCOMPARE(Prompts().Boxes().size(), std::size_t(0));
        for (const char* name : {"frmRegister", "frmWatch", "frmMemory"})
            QVERIFY2(Frame().Child(name)->isVisible(), name);
    }

    void cleanupTestCase() { delete built_; }

    void registerLabelEditFollowsItsRules() {
        QTreeWidget* tree = Registers().Tree();
        const CpuState before = *Target().GetCpuState();

        // A read-only item doesn't enter the edit; a write-only one starts from one blank.
        DoubleClick(tree->viewport(), Centre(tree, Register("TCNTL")));
        QVERIFY(!LabelEdit());
        tree->setCurrentItem(Register("WDTCLR"));
        Find<QAction>(Registers().PopupMenu(), "mnuWatchModifyValue")->trigger();
        QCOMPARE(LabelEdit()->text(), QString(" "));
        QTest::keyClick(LabelEdit(), Qt::Key_Escape);

        // "-" is read as "0": "-1" writes 01. The node shows the value read back, not the text
        // the tree's own rename would have left.
        DoubleClick(tree->viewport(), Centre(tree, Register("A")));
        QCOMPARE(LabelEdit()->text(), "$" + QString::fromStdString(Hex2(before.A)));
        LabelEdit()->selectAll();
        QTest::keyClicks(LabelEdit(), "-1");
        QTest::keyClick(LabelEdit(), Qt::Key_Return);
        QTRY_COMPARE(Target().GetCpuState()->A, uint8_t(1)); // the tree commits on its next turn
        QCOMPARE(Register("A")->text(0), QString("A=$01"));

        // PC typed in: the debugger's source view follows to the line of main.
        const int32_t mainLine = LineOf(MainView(), "main:");
        const int32_t mainAddress = AddressOfLine(mainLine);
        tree->setCurrentItem(Register("PC"));
        QVERIFY(Registers().StartEdit());
        LabelEdit()->setText(QString::fromStdString("$" + Hex4(mainAddress)));
        QTest::keyClick(LabelEdit(), Qt::Key_Return);
        QTRY_COMPARE(int32_t(Target().GetCpuState()->PC), mainAddress);
        QCOMPARE(MainView().SelectedLine(), mainLine);

        // A step: what changed is red, what stayed is not.
        Frame().Perform("mnuDbgStepIn");
        QCOMPARE(Register("PC")->foreground(0).color(), kChanged);
        QVERIFY(Register("MODELID")->foreground(0).color() != kChanged);

        // The hover tells the item in the frame's status bar.
        QTest::mouseMove(tree->viewport(), Centre(tree, Register("A")));
        QCOMPARE(Frame().statusBar()->currentMessage(), QString("Accumulator @R:A"));

        // "Enabled" off moves the item under "Disabled"; on brings it back.
        tree->setCurrentItem(Register("DAC"));
        Find<QAction>(Registers().PopupMenu(), "mnuWatchEnabled")->trigger();
        QCOMPARE(Register("DAC")->parent(), Register("Disabled"));
        QVERIFY(Frame().Frame().CurrentAppliance().Watches().Item("DAC", "SFR")->Disabled);
        tree->setCurrentItem(Register("DAC"));
        Find<QAction>(Registers().PopupMenu(), "mnuWatchEnabled")->trigger();
        QVERIFY(Register("DAC")->parent() == nullptr);
    }

    void aWatchIsAddedCheckedAndOvertyped() {
        ui::WatchEditor& watches = Watches();
        QTreeWidget* list = watches.List();
        QVERIFY(!watches.Model().SymbolList()->Item("key", "Symbol")); // code labels only
        const int32_t key = SymbolAddress(kWatched);

        // A name in the wrong form gets the warning and keeps the dialog open; a good one is
        // added and read at once; the same name again is refused with its box.
        QStringList results;
        std::vector<const char*> names{"half_wave[x]", kWatched};
        Dialogs().onDialog = [&](QDialog& dialog) {
            for (const char* typed : names) {
                Find<QComboBox>(&dialog, "cbWatchItems")->setEditText(typed);
                QTest::mouseClick(Find<QPushButton>(&dialog, "cmdOk"), Qt::LeftButton);
                results << QString::number(dialog.result());
            }
            return dialog.result();
        };
        watches.AddWatch();
        QCOMPARE(results, QStringList({"0", "1"}));
        QCOMPARE(Prompts().Boxes().back().title + ": " + Prompts().Boxes().back().text,
                 std::string("Warning: Error watch string format! Please check if the format is "
                             "variable[number]"));
        names = {kWatched};
        watches.AddWatch();
        Dialogs().onDialog = nullptr;
        QCOMPARE(Prompts().Boxes().back().text,
                 std::string("Variable is already being watched / Add watch failed"));
        QCOMPARE(list->topLevelItemCount(), 1);
        QTreeWidgetItem* row = list->topLevelItem(0);
        QCOMPARE(row->text(1), QString::fromStdString("00:" + Hex4(key)));
        QCOMPARE(row->text(2), QString::fromStdString("$" + Hex2(Byte(key))));

        // A click on the value of the selected row opens the box after the timer; Escape
        // drops what was typed, Enter writes it and every inspector reads again.
        const QPoint value(list->header()->sectionViewportPosition(2) + 5,
                           list->visualItemRect(row).center().y());
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, value);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, value);
        QVERIFY(!watches.EditBox()->isVisible());
        QTRY_VERIFY(watches.EditBox()->isVisible());
        QCOMPARE(watches.EditBox()->selectedText(), row->text(2));
        const uint8_t kept = Byte(key);
        QTest::keyClicks(watches.EditBox(), "$77");
        QTest::keyClick(watches.EditBox(), Qt::Key_Escape);
        QVERIFY(!watches.EditBox()->isVisible());
        QCOMPARE(Byte(key), kept);

        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, value);
        QTRY_VERIFY(watches.EditBox()->isVisible());
        QTest::keyClicks(watches.EditBox(), "$42");
        QTest::keyClick(watches.EditBox(), Qt::Key_Return);
        QCOMPARE(Byte(key), uint8_t(0x42));
        QCOMPARE(row->text(2), QString("$42"));
        QCOMPARE(row->foreground(2).color(), kChanged);
    }

    void memoryByteIsOvertypedInPlace() {
        // The box gives its focus away when it is done: the frame must be the active window
        // (the offscreen platform leaves a closed pop-up menu as the active one).
        QApplication::setActiveWindow(&Frame());
        ui::MemoryEditor& memory = Memory();
        QWidget* canvas = memory.Canvas();
        QLineEdit* entry = memory.EntryBox();
        const int32_t key = SymbolAddress(kWatched);
        const int row = (key & 0xFFFF) / 16;
        memory.BankBar()->setValue(0);
        memory.AddressBar()->setValue(row);
        const QPoint at = ByteCentre(0, key % 16);

        // Two digits write the byte without Enter; the watch of the byte follows.
        QTest::mouseClick(canvas, Qt::LeftButton, {}, at);
        QCOMPARE(entry->text(), QString("42"));
        QVERIFY(entry->geometry().contains(canvas->mapTo(&memory, at)));
        QTest::keyClicks(entry, "5");
        QVERIFY(entry->isVisible());
        QTest::keyClicks(entry, "A");
        QVERIFY(!entry->isVisible());
        QCOMPARE(Byte(key), uint8_t(0x5A));
        QCOMPARE(Watches().List()->topLevelItem(0)->text(2), QString("$5A"));

        // Escape drops the edit; so does moving the rows away under it.
        QTest::mouseClick(canvas, Qt::LeftButton, {}, at);
        QTest::keyClicks(entry, "1");
        QTest::keyClick(entry, Qt::Key_Escape);
        QVERIFY(!entry->isVisible());
        QCOMPARE(Byte(key), uint8_t(0x5A));
        QTest::mouseClick(canvas, Qt::LeftButton, {}, at);
        QTest::keyClicks(entry, "3");
        memory.AddressBar()->setValue(row + 1);
        QVERIFY(!entry->isVisible());
        QCOMPARE(Byte(key), uint8_t(0x5A));
        memory.AddressBar()->setValue(row);

        // A click on the address or the characters opens nothing.
        QTest::mouseClick(canvas, Qt::LeftButton, {}, QPoint(2, at.y()));
        QVERIFY(!entry->isVisible());

        // Go to address: a field that isn't hexadecimal gets its box and the dialog stays;
        // then the rows move to the address, the bank held in its range.
        QStringList results;
        Dialogs().onDialog = [&results](QDialog& dialog) {
            for (const char* address : {"12G4", "1234"}) {
                Find<QLineEdit>(&dialog, "txtBank")->setText("7F");
                Find<QLineEdit>(&dialog, "txtAddr")->setText(address);
                QTest::mouseClick(Find<QPushButton>(&dialog, "cmdGoto"), Qt::LeftButton);
                results << QString::number(dialog.result());
            }
            return dialog.result();
        };
        memory.GotoAddress();
        Dialogs().onDialog = nullptr;
        QCOMPARE(results, QStringList({"0", "1"}));
        QCOMPARE(Prompts().Boxes().back().title + ": " + Prompts().Boxes().back().text,
                 std::string("Error: The address you have entered is not valid. Please enter "
                             "hex digits only (0-F)."));
        QCOMPARE(memory.AddressBar()->value(), 0x123);
        QCOMPARE(memory.BankBar()->value(), memory.BankBar()->maximum());
        memory.BankBar()->setValue(0);
        memory.AddressBar()->setValue(0);
    }

    void writeRangeFromTheDialogStopsTheTarget() {
        ui::MemoryEditor& memory = Memory();
        const int32_t key = SymbolAddress("key");

        // Under an ICE the pop-up has no memory breakpoints.
        Appliance& appliance = Frame().Frame().CurrentAppliance();
        appliance.ExtDebuggerInUse = true;
        memory.CanvasClicked(Qt::RightButton, QPointF(ByteCentre(0, 0)));
        QVERIFY(!Find<QAction>(memory.PopupMenu(), "mnuCfgMemAttr")->isEnabled());
        appliance.ExtDebuggerInUse = false;
        memory.CanvasClicked(Qt::RightButton, QPointF(ByteCentre(0, 0)));
        QVERIFY(Find<QAction>(memory.PopupMenu(), "mnuCfgMemAttr")->isEnabled());
        QTest::keyClick(memory.PopupMenu(), Qt::Key_Escape);

        // A start that doesn't read keeps the dialog with its message; then the write range.
        QStringList results;
        Dialogs().onDialog = [&results, key](QDialog& dialog) {
            const std::pair<QString, QString> tries[] = {
                {"zz", "0000"},
                {QString::fromStdString("00:" + Hex4(key)), QString::fromStdString(Hex4(key))}};
            Find<QRadioButton>(&dialog, "optAttribute2")->setChecked(true);
            for (const auto& [start, end] : tries) {
                Find<QLineEdit>(&dialog, "txtStart")->setText(start);
                Find<QLineEdit>(&dialog, "txtEnd")->setText(end);
                QTest::mouseClick(Find<QPushButton>(&dialog, "cmdDone"), Qt::LeftButton);
                results << QString::number(dialog.result());
            }
            return dialog.result();
        };
        Find<QAction>(memory.PopupMenu(), "mnuCfgMemAttr")->trigger();
        Dialogs().onDialog = nullptr;
        QCOMPARE(results, QStringList({"0", "1"}));
        QCOMPARE(Prompts().Boxes().back().title, std::string("Configure Memory Breakpoints"));
        std::vector<int32_t> flags;
        QVERIFY(Target().GetBreakFlags(key, flags, 1));
        QCOMPARE(flags.at(0), 4);

        // The byte's background is the write mark; its neighbour's is the canvas's.
        const MemoryMetrics& m = memory.Metrics();
        const QImage shot = memory.Canvas()->grab().toImage();
        const double left = m.AddressWidth + key * (m.GapWidth + m.ByteWidth) - m.GapWidth / 4;
        QCOMPARE(shot.pixelColor(int(left), int(m.RowHeight / 2)), kWriteMark);
        QCOMPARE(shot.pixelColor(int(left + m.GapWidth + m.ByteWidth), int(m.RowHeight / 2)),
                 memory.Canvas()->palette().color(QPalette::Base));

        // Run: the program stores into key and stops with the WRITE message.
        const std::size_t boxes = Prompts().Boxes().size();
        Frame().Perform("mnuDbgRun");
        QVERIFY(QTest::qWaitFor([this] { return !Frame().Debugger()->Running(); }, 10000));
        QCOMPARE(Prompts().Boxes().size(), boxes + 1);
        QCOMPARE(Prompts().Boxes().back().title + ": " + Prompts().Boxes().back().text,
                 std::string("Breakpoint Hit: A breakpoint is hit because of a WRITE operation "
                             "in the previous instruction."));
        Target().ClearBreak(key, 4, 1);
    }

    void breakpointListGoesToAndDeletesABreakpoint() {
        SourceLineModel& view = MainView();
        const int32_t mainLine = LineOf(view, "main:");
        Monitor().ToggleBreak(MainViewIndex(), mainLine);

        QStringList seen; // the row, the line Go to shows, the list after Delete
        Dialogs().onDialog = [&](QDialog& dialog) {
            auto* list = Find<QTreeWidget>(&dialog, "lvwBreaks");
            QTreeWidgetItem* row = list->topLevelItem(0);
            seen << row->text(0) << row->text(1).left(10) << row->text(2);
            view.SetSelectedLine(1);
            QTest::mouseClick(Find<QPushButton>(&dialog, "cmdGoto"), Qt::LeftButton);
            seen << QString::number(view.SelectedLine());
            QTest::mouseClick(Find<QPushButton>(&dialog, "cmdDelete"), Qt::LeftButton);
            seen << list->topLevelItem(0)->text(1);
            seen << (Find<QPushButton>(&dialog, "cmdDelete")->isEnabled() ? "on" : "off");
            QTest::mouseClick(Find<QPushButton>(&dialog, "cmdClose"), Qt::LeftButton);
            return dialog.result();
        };
        Frame().Perform("mnuBkptEdit");
        Dialogs().onDialog = nullptr;
        const QString line = QString::number(mainLine);
        QCOMPARE(seen,
                 QStringList({QString::fromStdString("00:" + Hex4(AddressOfLine(mainLine))),
                              "main.asm (", line, line, "--No breakpoints defined--", "off"}));
        QVERIFY(!view.IsMarked(mainLine));
        QCOMPARE(Frame().Frame().CurrentAppliance().Breakpoints().Count(), std::size_t(0));

        // Powered off, the dialog has no session to work on.
        Frame().Perform("mnuDbgPower");
        Frame().Perform("mnuBkptEdit");
        QCOMPARE(Dialogs().shown.count("wizBreakpoint"), 1);
    }
};

QTEST_MAIN(TestInspectors)
#include "tst_inspectors.moc"
