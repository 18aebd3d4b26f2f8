// The main frame comes up on the offscreen platform with its caption and an empty MDI area.
#include "frame/ProductInfo.h"
#include "frame/ui/MainFrame.h"

#include <QMdiArea>
#include <QRegularExpression>
#include <QtTest>

class TestMainFrame : public QObject {
    Q_OBJECT
private slots:
    void showsCaptionWithBuildNumberAndEmptyMdiArea() {
        bx::ui::MainFrame frame;
        frame.show();
        QVERIFY(QTest::qWaitForWindowExposed(&frame));
        const QString caption = frame.windowTitle();
        QVERIFY(caption.startsWith("Sarnova Tessarine(TM) Real-Time Simulation Studio (Build #"));
        QVERIFY(QRegularExpression(R"(\(Build #\d+\)$)").match(caption).hasMatch());
        QCOMPARE(caption.toStdString(), bx::FrameCaption());
        QVERIFY(frame.MdiArea() != nullptr);
        QCOMPARE(frame.centralWidget(), frame.MdiArea());
        QVERIFY(frame.MdiArea()->subWindowList().isEmpty());
    }
};

QTEST_MAIN(TestMainFrame)
#include "tst_mainframe.moc"
