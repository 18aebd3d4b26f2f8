// The source editor on the offscreen platform: opening, saving and the outside-change check
// with their boxes, the status, the keys, the keyword hints, find and each replace scope through
// the real dialogs, and a whole road in the studio: edit the starter program, save, build, and
// land on a build error's line from the message pane.
#include "appliance/Appliance.h"
#include "build/ui/MessageWindow.h"
#include "editor/ui/FindWindow.h"
#include "editor/ui/SmartwordPopup.h"
#include "editor/ui/SourceEditor.h"
#include "editor/ui/SourceWindow.h"
#include "frame/CommandState.h"
#include "platform/ui/Twips.h"
#include "support/StudioRig.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTabBar>
#include <QTextBlock>
#include <QtTest>
#include <filesystem>
#include <map>

using namespace bx;
using namespace bx::test;

namespace {

// A source editor on its own, with an appliance whose folder is a fresh one.
struct EditorRig {
    EditorRig() : editor(prompter, finder) {
        appliance.Folder = folder.Path() + "\\";
        editor.SetAppliance(&appliance);
        editor.resize(800, 500);
        editor.show();
    }
    std::string Write(const std::string& name, const std::string& text) const {
        return folder.WriteFile(name, text);
    }
    QString Native(const std::string& name) const {
        return QString::fromStdString(platform::ToNativePath(folder.Sub(name)));
    }
    // Makes the file newer than any stamp taken so far.
    void Touch(const std::string& name, const std::string& text, int seconds) const {
        Write(name, text);
        const std::filesystem::path path = platform::ToNativePath(folder.Sub(name));
        std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) +
                                                   std::chrono::seconds(seconds));
    }
    QPlainTextEdit* Active() const { return editor.ActiveEditor(); }
    void Select(int from, int to) const {
        QTextCursor cursor(Active()->document());
        cursor.setPosition(from);
        cursor.setPosition(to, QTextCursor::KeepAnchor);
        Active()->setTextCursor(cursor);
    }

    TempFolder folder;
    ScriptedDialogs dialogs;
    ScriptedPrompter prompter;
    Appliance appliance;
    ui::FindWindow finder;
    ui::SourceEditor editor;
};

// The debugger side of a source window that is only edited in.
class NoDebugger : public QWidget, public ui::DebuggerSide {
public:
    QWidget* Widget() override { return this; }
    void SetAppliance(Appliance*) override {}
};

struct Box {
    std::string title;
    std::string text;
    Buttons buttons;
};

void CompareBoxes(const ScriptedPrompter& prompter, const std::vector<Box>& expected) {
    QCOMPARE(prompter.Boxes().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        QCOMPARE(prompter.Boxes()[i].title, expected[i].title);
        QCOMPARE(prompter.Boxes()[i].text, expected[i].text);
        QCOMPARE(prompter.Boxes()[i].buttons, expected[i].buttons);
    }
}

} // namespace

class TestSourceEditor : public QObject {
    Q_OBJECT
private slots:
    void saveAsAsksToRemoveTheOldNameOnlyWhenItHadABuildStep() {
        for (bool hadStep : {true, false}) {
            EditorRig rig;
            rig.Write("main.asm", "nop\n");
            if (hadStep)
                rig.appliance.BuildTargets().Add(nullptr, "", "main.asm");
            rig.editor.LoadSource("main.asm");
            rig.dialogs.saveFile = rig.Native("other.asm");
            rig.prompter.Answer(AnswerNo).Answer(AnswerNo);
            rig.editor.SaveTopMost(true);

            std::vector<Box> expected;
            if (hadStep)
                expected.push_back({"Save File As",
                                    "Do you wish to remove the previous file 'main.asm' from the "
                                    "appliance?",
                                    Buttons::YesNo});
            expected.push_back({"Save File As",
                                "The file has been saved as 'other.asm'. Do you wish to add it to "
                                "the appliance?",
                                Buttons::YesNo});
            CompareBoxes(rig.prompter, expected);
            QCOMPARE(rig.folder.ReadFile("other.asm"), std::string("nop\n"));
            QCOMPARE(rig.editor.Documents().Tab(1).Key, std::string("other.asm"));
            QCOMPARE(rig.editor.FileList()->tabText(0), QString("other.asm"));
        }
    }

    void aFileThatCantBeWrittenSaysSoAndStaysModified() {
        EditorRig rig;
        const std::string whole = rig.Write("main.asm", "nop\n");
        const std::filesystem::path native = platform::ToNativePath(whole);
        std::filesystem::permissions(native, std::filesystem::perms::owner_read |
                                                 std::filesystem::perms::group_read |
                                                 std::filesystem::perms::others_read);
        rig.editor.LoadSource("main.asm");
        rig.Active()->insertPlainText("lda #1\n");
        rig.editor.SaveTopMost(false);
        QCOMPARE(rig.prompter.Boxes().size(), std::size_t(1));
        QCOMPARE(rig.prompter.Boxes()[0].title, std::string("Source Editor"));
        QVERIFY(rig.prompter.Boxes()[0].text.find("could not be written: ") != std::string::npos);
        QVERIFY(rig.prompter.Boxes()[0].text.find("read-only. It stays modified") !=
                std::string::npos);
        QCOMPARE(rig.folder.ReadFile("main.asm"), std::string("nop\n"));
        QCOMPARE(rig.editor.FileList()->tabText(0), QString("main.asm*"));
        std::filesystem::permissions(native, std::filesystem::perms::owner_write,
                                     std::filesystem::perm_options::add);
    }

    void cancelInSaveAllLeavesTheLaterDocumentsUnsaved() {
        EditorRig rig;
        for (const char* name : {"a.asm", "b.asm"}) {
            rig.Write(name, "old\n");
            rig.editor.LoadSource(name);
            rig.Active()->insertPlainText("new ");
        }
        rig.prompter.Answer(AnswerCancel);
        QVERIFY(!rig.editor.SaveAll(true, false));
        CompareBoxes(rig.prompter,
                     {{"Source Editor", "File 'a.asm' has been modified. \r\nDo you want to save?",
                       Buttons::YesNoCancel}});
        QCOMPARE(rig.folder.ReadFile("a.asm"), std::string("old\n"));
        QCOMPARE(rig.folder.ReadFile("b.asm"), std::string("old\n"));
        QVERIFY(rig.editor.GetEditor(2)->document()->isModified());
        QCOMPARE(rig.editor.Documents().Current(), 2);
    }

    void aFileChangedOnDiskIsOfferedOncePerChange() {
        EditorRig rig;
        rig.Write("main.asm", "one\n");
        rig.editor.LoadSource("main.asm");
        const Box offer{"Source Editor",
                        "Source 'main.asm' has been modified outside of this editor. Do you want "
                        "to update?",
                        Buttons::YesNo};
        rig.Touch("main.asm", "two\n", 5);
        rig.prompter.Answer(AnswerNo);
        rig.editor.CheckOutsideChange();
        rig.editor.CheckOutsideChange();
        CompareBoxes(rig.prompter, {offer});
        QCOMPARE(rig.Active()->toPlainText(), QString("one\n"));

        rig.Touch("main.asm", "three\n", 10);
        rig.prompter.Answer(AnswerYes);
        rig.editor.CheckOutsideChange();
        rig.editor.CheckOutsideChange();
        CompareBoxes(rig.prompter, {offer, offer});
        QCOMPARE(rig.Active()->toPlainText(), QString("three\n"));
    }

    void aSecondLoadReadsNothingTheStatusTellsTheSelectionsEndAndTabKeepsItsStops() {
        EditorRig rig;
        const std::string whole = rig.Write("main.asm", "lda #1\nline two\nline three\n");
        rig.editor.LoadSource(whole);
        QCOMPARE(rig.editor.Documents().Tab(1).Path, std::string("main.asm"));
        rig.Write("main.asm", "changed on disk\n");
        rig.editor.LoadSource("main.asm");
        rig.editor.LoadSource(whole);
        QCOMPARE(rig.editor.Documents().Count(), 1);
        QCOMPARE(rig.Active()->toPlainText(), QString("lda #1\nline two\nline three\n"));

        QCOMPARE(rig.editor.StatusText(), QString("Line: 1 Pos: 1"));
        rig.Select(21, 2); // from line 3 back into line 1
        QCOMPARE(rig.editor.StatusText(), QString("Line: 3 Pos: 6"));

        // Tab replaces the selection by one tab, at stops that keep their place in any font.
        rig.Select(0, 3);
        QTest::keyClick(rig.Active(), Qt::Key_Tab);
        QCOMPARE(rig.Active()->document()->firstBlock().text(), QString("\t #1"));
        const qreal stops = ui::Twips(rig.Active()).ToPixelsX(840);
        QCOMPARE(rig.Active()->tabStopDistance(), stops);
        rig.dialogs.font = QFont("Monospace", 22);
        rig.editor.PopupMenu()->findChild<QAction*>("mnuSetFont")->trigger();
        QCOMPARE(rig.Active()->font().pointSize(), 22);
        QCOMPARE(rig.Active()->tabStopDistance(), stops);
        QVERIFY(rig.prompter.Boxes().empty());
    }

    void findThroughTheDialogFromTheTopThenOnePastTheSelection() {
        EditorRig rig;
        rig.Write("main.asm", "ab ab ab");
        rig.editor.LoadSource("main.asm");
        rig.Select(5, 5);
        QString what = "ab";
        rig.dialogs.onDialog = [&what](QDialog& dialog) {
            dialog.findChild<QLineEdit*>("txtFindTarget")->setText(what);
            const char* button = what.isEmpty() ? "cmdCancel" : "cmdFind";
            QTest::mouseClick(dialog.findChild<QPushButton*>(button), Qt::LeftButton);
            return dialog.result();
        };
        rig.editor.FindNext(); // nothing to find yet: the dialog
        QCOMPARE(rig.dialogs.shown, QStringList{"wizFind"});
        QCOMPARE(rig.Active()->textCursor().selectionStart(), 0);
        rig.editor.FindNext();
        QCOMPARE(rig.Active()->textCursor().selectionStart(), 3);
        QCOMPARE(rig.Active()->textCursor().selectedText(), QString("ab"));

        what = "zz"; // not found: the selection stays, the status says so
        QTest::keyClick(rig.Active(), Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(rig.dialogs.shown.size(), 2);
        QCOMPARE(rig.Active()->textCursor().selectionStart(), 3);
        QCOMPARE(rig.editor.findChild<QLabel*>("sbrStatusNote")->text(),
                 QString("\u201Czz\u201D was not found."));
        what = ""; // cancelled: the find text stays
        rig.editor.FindNew();
        rig.editor.FindNext();
        QCOMPARE(rig.Active()->textCursor().selectionStart(), 3);
        QCOMPARE(rig.dialogs.shown.size(), 3);
        QVERIFY(rig.prompter.Boxes().empty());

        QTest::keyClicks(rig.Active(), "F"); // a plain F is text
        QCOMPARE(rig.Active()->document()->firstBlock().text(), QString("ab F ab"));
    }

    void smartwordFollowsAWordButNotAComment() {
        const struct {
            const char *line, *typed, *shown;
            int caret;
        } rows[] = {
            {"", "  LD", "LDA", 0},    {"; ", "LD", "", 2}, {" ; note", "LD", "LDA", 0},
            {"", "  .by", ".byte", 0}, {"", "LDQ", "", 0}, // a letter that makes no keyword
        };
        for (const auto& row : rows) {
            EditorRig rig;
            rig.appliance.TemplateDir = rig.folder.Path() + "\\";
            rig.Write("kw_asm.dat",
                      "\"LDA\",\"Load A\"\n\"LDX\",\"Load X\"\n\".byte\",\"Bytes\"\n");
            rig.editor.LoadKeyWord();
            rig.editor.setPromptWindowEnable(true);
            rig.Write("main.asm", row.line);
            rig.editor.LoadSource("main.asm");
            rig.Select(row.caret, row.caret);
            QTest::keyClicks(rig.Active(), row.typed);
            QCOMPARE(rig.editor.Hints()->SelectedKeyword(), QString(row.shown));
            QVERIFY(rig.prompter.Boxes().empty());
        }
    }

    // Two files, one.asm "b a a" in front with its last "a" selected, and two.asm "a a"; "a" is
    // replaced. Each row: the scope, the button, the answers of the step dialog in turn (Replace,
    // find Next, replace All, Cancel; Replace when none are left), the texts afterwards, and
    // whether the pass ended with "The Search is Completed".
    void eachReplaceScopeThroughTheDialogs() {
        const std::map<char, const char*> kStepButtons{
            {'R', "cmdReplace"}, {'N', "cmdFindNext"}, {'A', "cmdReplaceAll"}, {'C', "cmdCancel"}};
        const struct {
            const char *scope, *button, *answers, *with, *one, *two;
            bool completed;
        } rows[] = {
            {"opCurrentFile", "cmdStart", "", "X", "b X X", "a a", true},
            {"opCurrentFile", "cmdStart", "NR", "X", "b a X", "a a", true},
            {"opCurrentFile", "cmdStart", "RC", "X", "b X a", "a a", false},
            {"opSelected", "cmdStart", "", "X", "b a X", "a a", true},
            {"opAllOpenFile", "cmdStart", "", "X", "b X X", "X X", true},
            {"opAllOpenFile", "cmdStart", "NA", "X", "b X X", "a X", false}, // from the first file
            {"opCurrentFile", "cmdReplaceAll", "", "X", "b X X", "a a", false},
            {"opSelected", "cmdReplaceAll", "", "X", "b a X", "a a", false},
            // A replacement that holds the find text: found again, it would never end.
            {"opAllOpenFile", "cmdReplaceAll", "", "aa", "b aa aa", "aa aa", false},
        };
        for (const auto& row : rows) {
            const QString name = QString("%1 %2 %3").arg(row.scope, row.button, row.answers);
            EditorRig rig;
            rig.Write("one.asm", "b a a");
            rig.Write("two.asm", "a a");
            rig.editor.LoadSource("two.asm");
            rig.editor.LoadSource("one.asm");
            rig.Select(4, 5);
            std::string answers = row.answers;
            rig.dialogs.onDialog = [&](QDialog& dialog) {
                if (dialog.objectName() == "wizReplaceNext") {
                    const char answer = answers.empty() ? 'R' : answers[0];
                    answers.erase(0, answers.empty() ? 0 : 1);
                    QTest::mouseClick(dialog.findChild<QPushButton*>(kStepButtons.at(answer)),
                                      Qt::LeftButton);
                    return dialog.result();
                }
                dialog.findChild<QComboBox*>("cbFindWhat")->setEditText("a");
                dialog.findChild<QComboBox*>("cbReplaceWith")->setEditText(row.with);
                dialog.findChild<QCheckBox*>("ckMatchAll")->setChecked(true);
                dialog.findChild<QRadioButton*>(row.scope)->setChecked(true);
                QTest::mouseClick(dialog.findChild<QPushButton*>(row.button), Qt::LeftButton);
                return dialog.result();
            };
            rig.editor.EditReplace();
            QVERIFY2(rig.editor.GetEditor(2)->toPlainText() == row.one, qPrintable(name));
            QVERIFY2(rig.editor.GetEditor(1)->toPlainText() == row.two, qPrintable(name));
            QCOMPARE(rig.prompter.Boxes().size(), std::size_t(row.completed));
            if (row.completed)
                QCOMPARE(rig.prompter.Boxes()[0].text, std::string("The Search is Completed"));
            if (std::string(row.button) == "cmdReplaceAll") { // one undo step per file
                rig.editor.GetEditor(2)->undo();
                QVERIFY2(rig.editor.GetEditor(2)->toPlainText() == "b a a", qPrintable(name));
            }
        }
    }

    void treeSourcesGoToTheExternalEditorWhenOneIsInUse() {
        EditorRig rig;
        CommandState commands;
        ui::SourceWindow window(commands, rig.prompter);
        auto* editor = new ui::SourceEditor(rig.prompter, window.SharedFind());
        window.SetEditor(editor);
        window.SetDebugger(new NoDebugger);
        window.SetAppliance(&rig.appliance);
        rig.Write("main.asm", "nop\n");
        rig.appliance.ExtEditor = "no-such-editor-program --open %i";
        window.OpenFromTree("main.asm"); // not in use: the studio's editor
        QCOMPARE(editor->Documents().Count(), 1);
        rig.appliance.ExtEditorInUse = true;
        window.OpenFromTree("main.asm");
        QCOMPARE(rig.prompter.Boxes().size(), std::size_t(1));
        QCOMPARE(rig.prompter.Boxes()[0].title, std::string("Source Editor"));
        QVERIFY(rig.prompter.Boxes()[0].text.rfind(
                    "The external editor could not be started: no-such-editor-program --open "
                    "\"main.asm\"",
                    0) == 0);
    }

    void aWholeRoadInTheStudio() {
        if (!BuildToolsPresent())
            QSKIP(kNoBuildTools);
        BuiltStudio built;
        ui::MainFrame& frame = built.studio.frame;
        QVERIFY(built.Open("blinky", "KTR311", false));
        auto* editor = dynamic_cast<ui::SourceEditor*>(&frame.Sources()->Editor());
        QVERIFY(editor);
        QCOMPARE(editor->Documents().Tab(1).Path, std::string("main.asm"));
        QVERIFY(frame.MenuAction("mnuSrcSave")->isEnabled());

        // Edit and save: the build takes the change.
        QPlainTextEdit* text = editor->ActiveEditor();
        text->moveCursor(QTextCursor::End);
        QTest::keyClicks(text, "; a note typed in the studio");
        QTest::keyClick(text, Qt::Key_Return);
        QVERIFY(frame.MenuAction("mnuEditUndo")->isEnabled());
        QVERIFY(!frame.MenuAction("mnuEditCopy")->isEnabled());
        text->moveCursor(QTextCursor::Up, QTextCursor::KeepAnchor);
        QVERIFY(frame.MenuAction("mnuEditCopy")->isEnabled());
        frame.Perform("mnuSrcSave");
        const std::string folder = built.ApplianceFolder("blinky");
        QVERIFY(platform::ReadFile(folder + "main.asm")->find("; a note typed") !=
                std::string::npos);
        frame.ButtonClicked("Build");
        QString pane = frame.Messages()->TextControl()->toPlainText();
        QVERIFY2(pane.contains("Build completed."), qPrintable(pane));

        // A broken line, built without saving first: the build saves it, fails, and a click on
        // the tool's line in the pane lands on it.
        QTextCursor broken(text->document()->findBlockByNumber(29));
        broken.insertText("        lda #\n");
        text->moveCursor(QTextCursor::Start);
        frame.ButtonClicked("Build");
        pane = frame.Messages()->TextControl()->toPlainText();
        QVERIFY2(pane.contains("main.asm(30): Error"), qPrintable(pane));
        QPlainTextEdit* messages = frame.Messages()->TextControl();
        const QTextBlock error = messages->document()->find("main.asm(30)").block();
        const QPoint at = messages->cursorRect(QTextCursor(error)).center() + QPoint(4, 0);
        QTest::mouseClick(messages->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(text->textCursor().blockNumber(), 29);
        QCOMPARE(editor->StatusText(), QString("Line: 30 Pos: 1"));
        QVERIFY(built.studio.prompter.Boxes().empty());
    }
};

QTEST_MAIN(TestSourceEditor)
#include "tst_sourceeditor.moc"
