// Work posted through the Qt dispatcher runs later, in order, on the UI thread, also when it
// is posted from a worker thread.
#include "platform/ui/QtDispatcher.h"

#include <QThread>
#include <QtTest>
#include <thread>
#include <vector>

class TestQtDispatcher : public QObject {
    Q_OBJECT
private slots:
    void runsPostedWorkLaterOnTheUiThreadInOrder() {
        QObject context;
        bx::ui::QtDispatcher dispatcher(&context);
        std::vector<int> order;
        std::vector<QThread*> threads;
        dispatcher.post([&] {
            order.push_back(1);
            threads.push_back(QThread::currentThread());
        });
        std::thread worker([&] {
            dispatcher.post([&] {
                order.push_back(2);
                threads.push_back(QThread::currentThread());
            });
        });
        worker.join();
        QVERIFY(order.empty()); // never inline
        QTRY_COMPARE(order.size(), std::size_t(2));
        QCOMPARE(order, (std::vector<int>{1, 2}));
        for (QThread* thread : threads)
            QCOMPARE(thread, QThread::currentThread());
    }

    void dropsWorkWhoseContextIsGone() {
        auto* context = new QObject;
        bx::ui::QtDispatcher dispatcher(context);
        bool ran = false;
        delete context;
        dispatcher.post([&] { ran = true; });
        QCoreApplication::processEvents();
        QVERIFY(!ran);
    }
};

QTEST_MAIN(TestQtDispatcher)
#include "tst_qtdispatcher.moc"
