// The activity watch on its own: when it reports a window inactive, and which
// events bring it back.

#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include "UserActivityFilter.h"

Q_DECLARE_METATYPE(QEvent::Type)

class tst_UserActivityFilter : public QObject
{
    Q_OBJECT

private slots:
    void countsFromConstruction();
    void timeout_data();
    void timeout();
    void activity_data();
    void activity();
};

void tst_UserActivityFilter::countsFromConstruction()
{
    QWidget window;
    UserActivityFilter filter(&window, 1234);
    auto *timer = filter.findChild<QTimer *>();
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    QCOMPARE(timer->interval(), 1234);
    QCOMPARE(filter.property("interval").toInt(), 1234);
    QCOMPARE(filter.parent(), &window);
}

void tst_UserActivityFilter::timeout_data()
{
    QTest::addColumn<bool>("inFront");
    QTest::addColumn<int>("inactiveSignals");
    QTest::addColumn<bool>("stillWatching");

    QTest::newRow("window in front: idle for ever, nothing happens") << true << 0 << true;
    QTest::newRow("window in the background: inactive once, then waits") << false << 1 << false;
}

void tst_UserActivityFilter::timeout()
{
    QFETCH(bool, inFront);
    QFETCH(int, inactiveSignals);
    QFETCH(bool, stillWatching);

    QWidget window;
    QWidget other;
    window.show();
    other.show();
    // The platform's own activation on show must be over before we choose.
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    QApplication::setActiveWindow(inFront ? &window : &other);
    QCOMPARE(window.isActiveWindow(), inFront);

    UserActivityFilter filter(&window, 30);
    QSignalSpy inactive(&filter, &UserActivityFilter::userInactive);
    QSignalSpy ticks(filter.findChild<QTimer *>(), &QTimer::timeout);
    // In front the interval expires again and again without a report.
    QTRY_VERIFY_WITH_TIMEOUT(ticks.count() >= (inFront ? 3 : 1), 5000);
    QCOMPARE(inactive.count(), inactiveSignals);
    QCOMPARE(filter.findChild<QTimer *>()->isActive(), stillWatching);
}

void tst_UserActivityFilter::activity_data()
{
    QTest::addColumn<QEvent::Type>("type");
    QTest::addColumn<bool>("counts");

    QTest::newRow("key press") << QEvent::KeyPress << true;
    QTest::newRow("mouse button press") << QEvent::MouseButtonPress << true;
    QTest::newRow("touch begin") << QEvent::TouchBegin << true;
    QTest::newRow("wheel") << QEvent::Wheel << true;
    QTest::newRow("window activated") << QEvent::WindowActivate << true;
    QTest::newRow("window state changed") << QEvent::WindowStateChange << true;
    QTest::newRow("mouse movement is no activity") << QEvent::MouseMove << false;
    QTest::newRow("key release is no activity") << QEvent::KeyRelease << false;
    QTest::newRow("paint is no activity") << QEvent::Paint << false;
}

void tst_UserActivityFilter::activity()
{
    QFETCH(QEvent::Type, type);
    QFETCH(bool, counts);

    QWidget window;
    QWidget other;
    window.show();
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    QApplication::setActiveWindow(&other);
    UserActivityFilter filter(&window, 60000);
    QSignalSpy inactive(&filter, &UserActivityFilter::userInactive);
    QSignalSpy active(&filter, &UserActivityFilter::userActive);
    auto *timer = filter.findChild<QTimer *>();

    filter.timeout();
    QCOMPARE(inactive.count(), 1);
    QVERIFY(!timer->isActive());

    QEvent event(type);
    // The watch looks, never swallows.
    QCOMPARE(filter.eventFilter(&window, &event), false);
    QCOMPARE(active.count(), counts ? 1 : 0);
    QCOMPARE(timer->isActive(), counts);
    if (counts)
        QCOMPARE(timer->interval(), 60000);

    // A second sign of life while watching again reports nothing new.
    QCOMPARE(filter.eventFilter(&window, &event), false);
    QCOMPARE(active.count(), counts ? 1 : 0);
}

QTEST_MAIN(tst_UserActivityFilter)
#include "tst_UserActivityFilter.moc"
