// Every icon key the studio uses resolves to a drawing that renders at list and large sizes.
#include "frame/ui/StudioIcons.h"

#include <QImage>
#include <QtTest>

namespace {

bool HasVisiblePixel(const QImage& image) {
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y)
        for (int x = 0; x < argb.width(); ++x)
            if (qAlpha(argb.pixel(x, y)) > 0)
                return true;
    return false;
}

} // namespace

class TestStudioIcons : public QObject {
    Q_OBJECT
private slots:
    void everyKeyRendersAtSmallAndLargeSize_data() {
        QTest::addColumn<QString>("key");
        const QString keys =
            "NewAppl OpenAppl SaveAppl AddSrc RemSrc SaveSrc Build Rebuild Power Reset Run Break"
            " StepIn StepOver StepAuto StepN BreakToggle BreakClear Studio Inspect FoldClosed"
            " FoldOpen Doc Code Keys System Speaker Port Register SFR NoOverlay No Device Pinset"
            " DevParam View Message Watch Memory Prototyper Extender";
        for (const QString& key : keys.split(' '))
            QTest::newRow(qPrintable(key)) << key;
    }
    void everyKeyRendersAtSmallAndLargeSize() {
        QFETCH(QString, key);
        const QIcon icon = bx::ui::StudioIcon(key);
        QVERIFY(!icon.isNull());
        for (int size : {16, 48}) {
            const QPixmap pixmap = icon.pixmap(size, size);
            // Drawn at the size asked for, not a smaller bitmap handed back as it is.
            QCOMPARE(pixmap.size(), QSize(size, size));
            QVERIFY2(HasVisiblePixel(pixmap.toImage()), qPrintable(QString::number(size)));
        }
    }

    void unknownKeyGivesNullIcon() {
        for (const QString& key :
             {QString(), QStringLiteral("NoSuchIcon"), QStringLiteral("../icons/Run")})
            QVERIFY2(bx::ui::StudioIcon(key).isNull(), qPrintable(key));
    }
};

QTEST_MAIN(TestStudioIcons)
#include "tst_studioicons.moc"
