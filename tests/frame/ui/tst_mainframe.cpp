// The studio's frame on the offscreen platform: start-up and its stops, the menus and toolbar
// mirroring the command state, and a whole road: New through the wizard, Build, and the tool's
// verdict in the message pane.
#include "build/ui/MessageWindow.h"
#include "frame/ProductInfo.h"
#include "frame/ui/ChildWindow.h"
#include "frame/ui/MainFrame.h"
#include "frame/ui/SplashWindow.h"
#include "platform/Diagnostics.h"
#include "support/StudioRig.h"

#include <QMdiArea>
#include <QPlainTextEdit>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

using namespace bx;
using namespace bx::test;

// The studio started in a program folder of the test's own, with the shipped settings.
struct StartedStudio {
    StartedStudio() : studio(program.Path(), program.Path()) {
        MakeProgramFolder(program);
        ok = studio.frame.Initialise();
    }
    test::TempFolder program;
    Studio studio;
    bool ok = false;
};

class TestMainFrame : public QObject {
    Q_OBJECT
private slots:
    void startUpWithoutSettingsOrTemplatesShowsOnlyTheSplashAndTheBox() {
        for (bool settings : {false, true}) {
            test::TempFolder program;
            if (settings) {
                MakeProgramFolder(program);
                platform::DeleteFolderTree(program.Sub("Templates\\Sarnova\\KTR310"));
            }
            Studio studio(program.Path(), program.Path());
            QVERIFY(!studio.frame.Initialise());
            QCOMPARE(studio.dialogs.shown, QStringList{"frmSplash"});
            // A missing template folder is named before the verdict.
            QCOMPARE(studio.prompter.Boxes().size(), std::size_t(settings ? 2 : 1));
            QCOMPARE(studio.prompter.Boxes().back().title,
                     std::string(settings ? "Checking Templates" : "Error"));
            QCOMPARE(studio.prompter.Boxes().back().text,
                     std::string(settings ? "Templates unusable. Please contact Sarnova."
                                          : kSettingsMissingText));
            QVERIFY(!studio.frame.isVisible());
            QVERIFY(studio.frame.ExtenderToolBar()->actions().isEmpty());
        }
    }

    void menusAndToolbarMirrorTheCommandState() {
        StartedStudio started;
        QVERIFY(started.ok);
        ui::MainFrame& frame = started.studio.frame;
        QCOMPARE(frame.windowTitle().toStdString(), FrameCaption());

        CommandState& commands = frame.Frame().Commands();
        commands.EnableApplianceMenus(true, true); // another state than the start's
        commands.EnableDebugMenus(true);
        commands.EnableRecentProjectMenus({"\\home\\a & b\\x.apl"});
        for (const MenuItemDef& def : CommandState::MenuTable()) {
            QAction* action = frame.MenuAction(def.Name);
            QVERIFY2(action, def.Name);
            const CommandItem& item = commands.Menu(def.Name);
            QCOMPARE(action->isEnabled(), item.Enabled);
            QCOMPARE(action->isVisible(), item.Visible);
            QCOMPARE(action->shortcut(), QKeySequence(def.Shortcut, QKeySequence::PortableText));
        }
        QCOMPARE(frame.MenuAction("mnuDbgPower")->text(), QString("&Power Off"));
        QCOMPARE(frame.MenuAction("mnuRecent(0)")->text(), QString("&1 /home/a && b/x.apl"));
        QCOMPARE(frame.MenuAction("mnuDbgReset")->shortcut(), QKeySequence("Ctrl+Z"));
        QCOMPARE(frame.MenuAction("mnuEditUndo")->shortcut(), QKeySequence("Alt+Backspace"));

        const QList<QAction*> tools = frame.MainToolBar()->actions();
        QCOMPARE(
            std::count_if(tools.begin(), tools.end(), [](QAction* a) { return !a->isSeparator(); }),
            qsizetype(18));
        for (const ButtonDef& def : CommandState::ButtonTable()) {
            QAction* button = frame.ButtonAction(def.Key);
            QVERIFY2(button, def.Key);
            QCOMPARE(button->toolTip(), QString(def.ToolTip));
            QCOMPARE(button->isEnabled(), commands.Button(def.Key).Enabled);
            QVERIFY2(!button->icon().isNull(), def.Key);
        }
        QVERIFY(frame.ButtonAction("Power")->isChecked());
        QVERIFY(frame.ExtenderToolBar()->actions().isEmpty());
    }

    // A window that no appliance's layout has placed yet opens where its desktop's default puts
    // it, not at the few pixels Qt gives a hidden child.
    void aNewSourceWithNoApplianceOpensAtItsDefaultPlace() {
        StartedStudio started;
        QVERIFY(started.ok);
        ui::MainFrame& frame = started.studio.frame;
        frame.resize(1000, 700);
        frame.show();
        frame.Perform("mnuSrcNew");
        // The Source desktop's default: the right three quarters of the upper three quarters.
        const QSize client = frame.MdiArea()->viewport()->size();
        QVERIFY(frame.Child("frmSource")->isVisible());
        QCOMPARE(frame.Child("frmSource")->geometry(),
                 QRect(client.width() / 4, 0, client.width() * 3 / 4, client.height() * 3 / 4));
    }

    void newApplianceBuildsWithTheToolOutputInThePaneAndStopsOnRequest() {
        if (!BuildToolsPresent())
            QSKIP(kNoBuildTools);
        BuiltStudio built;
        ui::MainFrame& frame = built.studio.frame;
        QVERIFY(built.Open("blinky", "KTR311", false));
        QVERIFY(built.studio.dialogs.shown.contains("wizAppliance"));
        const std::string folder = built.ApplianceFolder("blinky");
        QVERIFY(platform::FileExists(folder + "blinky.apl"));
        QCOMPARE(frame.windowTitle().toStdString(),
                 platform::ToNativePath(folder) +
                     " Sarnova Tessarine(TM) Real-Time Simulation Studio");
        QVERIFY(frame.Child("frmMessage")->isVisible());
        QVERIFY(frame.MenuAction("mnuBuildUpdated")->isEnabled());

        frame.ButtonClicked("Build");
        QString pane = frame.Messages()->TextControl()->toPlainText();
        QVERIFY2(pane.contains("Build completed."), qPrintable(pane));
        QVERIFY(platform::FileExists(folder + "blinky.rom"));
        QCOMPARE(frame.Frame().Commands().Menu("mnuRecent(0)").Caption, folder + "blinky.apl");

        // A build keeps the frame alive, refuses to close the appliance and stops on request.
        frame.Frame().CurrentAppliance().RunTarget()->Make = "sleep 30";
        bool stopShown = false;
        QTimer::singleShot(300, &frame, [&] {
            stopShown = frame.Messages()->StopButton()->isVisible();
            frame.Perform("mnuApplClose"); // refused while the tool runs
            QTest::mouseClick(frame.Messages()->StopButton(), Qt::LeftButton);
        });
        frame.Perform("mnuBuildUpdated");
        QVERIFY(stopShown);
        QVERIFY(frame.Frame().ApplianceOpen());
        QVERIFY(!frame.Messages()->StopButton()->isVisible());
        pane = frame.Messages()->TextControl()->toPlainText();
        QVERIFY2(pane.contains("The build was stopped before the tool ended."), qPrintable(pane));
        QVERIFY(pane.endsWith("Build failed.\n"));
    }

    void splashClosesOnAKeyOrAClickAndItsPictureWritesTheArchive() {
        test::TempFolder program;
        program.WriteFile("vkbx.log", "M1001 S405 \n");
        const std::string diagnostics = platform::DiagnosticSpecification(program.Path());
        for (bool byKey : {true, false}) {
            ui::SplashWindow splash(diagnostics);
            splash.show();
            QVERIFY(QTest::qWaitForWindowExposed(&splash));
            if (byKey)
                QTest::keyClick(&splash, Qt::Key_Space);
            else
                QTest::mouseClick(&splash, Qt::LeftButton, {}, QPoint(4, 4));
            QVERIFY(!splash.isVisible());
            QCOMPARE(splash.result(), int(QDialog::Accepted));
        }
        ui::SplashWindow splash(diagnostics);
        splash.show();
        QVERIFY(QTest::qWaitForWindowExposed(&splash));
        QTest::mouseDClick(splash.Image1(), Qt::LeftButton);
        QVERIFY(platform::FileExists(program.Sub("007.zip")));
        QVERIFY(splash.isVisible());
    }
};

QTEST_MAIN(TestMainFrame)
#include "tst_mainframe.moc"
