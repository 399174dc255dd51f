// The main window over a session's life, against the simulator: the token
// renewed before it runs out, a new login when it cannot be, and the freeze
// of a console left in the background.

#include <QApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "UserActivityFilter.h"
#include "ZRV_Meetings.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

Q_DECLARE_METATYPE(QEvent::Type)

namespace {
const QString Title = QStringLiteral("Zarvo Console 3.1");
}

class tst_ZRV_ServerApp_Session : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void session_data();
    void session();
    void inactivity_data();
    void inactivity();
    void activityEvents_data();
    void activityEvents();

private:
    QTemporaryDir m_settingsDir;
};

void tst_ZRV_ServerApp_Session::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
}

void tst_ZRV_ServerApp_Session::session_data()
{
    QTest::addColumn<QString>("tokenLifetime");
    QTest::addColumn<bool>("refreshRefused");
    QTest::addColumn<QStringList>("passwords");
    QTest::addColumn<QList<int>>("exitCodes");

    const QStringList once{"presenter123"};
    QTest::newRow("15 s left at the first poll: renewed at once") << "15" << false << once << QList<int>();
    QTest::newRow("300 s left: the first poll keeps the token") << "300" << false << once << QList<int>();
    QTest::newRow("refresh refused: new login for the same user keeps the window")
        << "15" << true << QStringList{"presenter123", "presenter123"} << QList<int>();
    QTest::newRow("refresh refused: cancelled new login ends the process") << "15" << true << once << QList<int>{0};
}

void tst_ZRV_ServerApp_Session::session()
{
    QFETCH(QString, tokenLifetime);
    QFETCH(bool, refreshRefused);
    QFETCH(QStringList, passwords);
    QFETCH(QList<int>, exitCodes);

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--token-lifetime"), tokenLifetime}), qPrintable(fx.errorText()));
    if (refreshRefused) {
        QCOMPARE(fx.sim()
                     .admin("POST", QStringLiteral("/_sim/fault"),
                            {{"path", "/idp/auth/refreshtoken"}, {"status", 400}, {"message", "Token is not active"}})
                     .status,
                 200);
    }
    ConsoleDriver driver(QStringLiteral("presenter"), passwords);
    ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
    auto *service = window.findChild<ZRV_MeetingsInfoThread *>();
    QSignalSpy tokens(service, &ZRV_MeetingsInfoThread::tokenChanged);
    QSignalSpy polls(service, &ZRV_MeetingsInfoThread::meetingsInfo);
    window.show();
    QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));

    if (!refreshRefused) {
        // The login's own token is handed out first.
        const bool refreshed = tokenLifetime == QLatin1String("15");
        QTRY_VERIFY_WITH_TIMEOUT(!polls.isEmpty(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(tokens.count(), refreshed ? 2 : 1, 10000);
        const QString renewed = tokens.last().first().toString();
        QCOMPARE(renewed != tokens.first().first().toString(), refreshed);
        const SimProcess::Reply reply = fx.sim().request("GET", QStringLiteral("/main/zrv/svc/meetings"), {},
                                                         {{"Authorization", "Bearer " + renewed.toUtf8()}});
        QCOMPARE(reply.status, 200);
        QCOMPARE(fx.exitCodes(), QList<int>());
        return;
    }

    QTRY_COMPARE_WITH_TIMEOUT(driver.logins().size(), 2, 15000);
    QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), exitCodes, 10000);
    QCOMPARE(driver.logins().at(1).user, QStringLiteral("presenter"));
    QVERIFY(!driver.logins().at(1).userEditable);
    QVERIFY2(driver.boxes().contains(QStringLiteral(
                 "Session expired: Your session has expired. Please perform a new Login. [1 buttons]")),
             qPrintable(driver.boxes().join('\n')));
    if (!exitCodes.isEmpty())
        return;

    // The new login's token reaches the clients and polling goes on.
    QTRY_VERIFY_WITH_TIMEOUT(tokens.last().first().toString() != tokens.first().first().toString(), 10000);
    QVERIFY(ConsoleDriver::statusTimer(window)->isActive());
    QTRY_VERIFY_WITH_TIMEOUT(window.findChild<ZRV_Meetings *>()->isEnabled(), 15000);
}

void tst_ZRV_ServerApp_Session::inactivity_data()
{
    QTest::addColumn<bool>("loggedIn");
    QTest::addColumn<bool>("inFront");
    QTest::addColumn<bool>("transferFirst");
    QTest::addColumn<bool>("freezes");
    QTest::addColumn<QString>("wakeBy");

    QTest::newRow("background: frozen, woken by activation") << true << false << false << true << "activation";
    QTest::newRow("background: frozen, woken by a transfer starting") << true << false << false << true << "transfer";
    QTest::newRow("in front: never frozen") << true << true << false << false << "";
    QTest::newRow("transfer under way: never frozen") << true << false << true << false << "";
    QTest::newRow("no login yet: unchanged") << false << false << false << false << "";
}

void tst_ZRV_ServerApp_Session::inactivity()
{
    QFETCH(bool, loggedIn);
    QFETCH(bool, inFront);
    QFETCH(bool, transferFirst);
    QFETCH(bool, freezes);
    QFETCH(QString, wakeBy);

    ConsoleFixture fx;
    QVERIFY2(fx.start(), qPrintable(fx.errorText()));
    ConsoleDriver driver(QStringLiteral("presenter"), loggedIn ? QStringList{"presenter123"} : QStringList());
    ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
    window.show();
    if (loggedIn)
        QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
    else
        QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), QList<int>{0}, 15000);
    QTimer *timer = ConsoleDriver::statusTimer(window);
    QCOMPARE(timer->isActive(), loggedIn);

    // Wired as main() wires it; its interval is let run out by hand once the
    // window's place in front is settled.
    auto *filter = new UserActivityFilter(&window, 600000);
    window.installEventFilter(filter);
    connect(filter, &UserActivityFilter::userInactive, &window, &ZRV_ServerApp::onUserInactive);
    connect(filter, &UserActivityFilter::userActive, &window, &ZRV_ServerApp::onUserActive);
    QSignalSpy inactive(filter, &UserActivityFilter::userInactive);
    QWidget other;
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    auto expire = [&](QWidget *front) {
        QApplication::setActiveWindow(front);
        QTRY_VERIFY(QApplication::activeWindow() == front);
        filter->timeout();
    };

    if (transferFirst)
        window.setInactivityOff();
    expire(inFront ? static_cast<QWidget *>(&window) : &other);
    QCOMPARE(inactive.count(), inFront ? 0 : 1);
    QCOMPARE(!window.isEnabled(), freezes);
    QCOMPARE(window.windowTitle(), freezes ? Title + " - INACTIVE" : Title);
    QCOMPARE(timer->isActive(), loggedIn && !freezes);
    if (!freezes)
        return;

    if (wakeBy == QLatin1String("activation"))
        QApplication::setActiveWindow(&window);
    else
        window.setInactivityOff();
    QVERIFY(window.isEnabled());
    QCOMPARE(window.windowTitle(), Title);
    QVERIFY(timer->isActive());

    // A sign of life, then the background again: frozen once more with one
    // suffix only, unless a transfer has started in this run.
    QApplication::setActiveWindow(&window);
    expire(&other);
    QCOMPARE(inactive.count(), 2);
    const bool refrozen = wakeBy == QLatin1String("activation");
    QCOMPARE(!window.isEnabled(), refrozen);
    QCOMPARE(window.windowTitle(), refrozen ? Title + " - INACTIVE" : Title);
}

void tst_ZRV_ServerApp_Session::activityEvents_data()
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
}

// Which events wake the watch, which restart its count, and that it never
// swallows one.
void tst_ZRV_ServerApp_Session::activityEvents()
{
    QFETCH(QEvent::Type, type);
    QFETCH(bool, counts);

    QWidget window;
    UserActivityFilter filter(&window, 60000);
    auto *timer = filter.findChild<QTimer *>();
    QVERIFY(timer->isActive());
    QSignalSpy active(&filter, &UserActivityFilter::userActive);
    filter.timeout();
    QVERIFY(!timer->isActive());

    QEvent event(type);
    QCOMPARE(filter.eventFilter(&window, &event), false);
    QCOMPARE(filter.eventFilter(&window, &event), false);
    QCOMPARE(active.count(), counts ? 1 : 0);
    QCOMPARE(timer->isActive(), counts);
    QCOMPARE(timer->interval(), 60000);
}

QTEST_MAIN(tst_ZRV_ServerApp_Session)
#include "tst_ZRV_ServerApp_Session.moc"
