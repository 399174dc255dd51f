// The main window over a session's life, against the simulator: the token
// renewed before it runs out, a new login when it cannot be, and the freeze
// of a console left in the background.

#include <QApplication>
#include <QSettings>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "UserActivityFilter.h"
#include "ZRV_Meetings.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

namespace {

const QString Title = QStringLiteral("Zarvo Console 3.1");

QStringList windowArguments(const ConsoleFixture &fx)
{
    return {QStringLiteral("zarvo-console"), QStringLiteral("-i"), fx.iniPath()};
}

QTimer *statusTimer(ZRV_ServerApp &window)
{
    for (QTimer *timer : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (timer->interval() == 10000)
            return timer;
    }
    return nullptr;
}

bool waitRunning(ZRV_ServerApp &window)
{
    auto *bar = window.findChild<QStatusBar *>(QStringLiteral("statusBar"));
    return QTest::qWaitFor([bar] { return bar->isVisible(); }, 20000);
}

} // namespace

class tst_ZRV_ServerApp_Session : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void tokenRefresh_data();
    void tokenRefresh();
    void sessionExpiry_data();
    void sessionExpiry();
    void inactivity_data();
    void inactivity();

private:
    QTemporaryDir m_settingsDir;
};

void tst_ZRV_ServerApp_Session::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QVERIFY(m_settingsDir.isValid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
}

void tst_ZRV_ServerApp_Session::tokenRefresh_data()
{
    QTest::addColumn<QString>("tokenLifetime");
    QTest::addColumn<bool>("refreshed");

    QTest::newRow("15 s left at the first poll: renewed at once") << "15" << true;
    QTest::newRow("300 s left: the first poll keeps the token") << "300" << false;
}

void tst_ZRV_ServerApp_Session::tokenRefresh()
{
    QFETCH(QString, tokenLifetime);
    QFETCH(bool, refreshed);

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--token-lifetime"), tokenLifetime}), qPrintable(fx.errorText()));
    ConsoleDriver driver;
    driver.logins(QStringLiteral("presenter"), {QStringLiteral("presenter123")});
    driver.arm();
    ZRV_ServerApp window(windowArguments(fx));
    auto *service = window.findChild<ZRV_MeetingsInfoThread *>();
    QSignalSpy tokens(service, &ZRV_MeetingsInfoThread::tokenChanged);
    QSignalSpy polls(service, &ZRV_MeetingsInfoThread::meetingsInfo);
    window.show();
    QVERIFY2(waitRunning(window), qPrintable(driver.boxSummary()));

    // The login's own token is handed out first.
    QVERIFY(!tokens.isEmpty());
    const QString loginToken = tokens.first().first().toString();
    QTRY_VERIFY_WITH_TIMEOUT(!polls.isEmpty(), 10000);
    if (refreshed) {
        QTRY_COMPARE_WITH_TIMEOUT(tokens.count(), 2, 10000);
        const QString renewed = tokens.last().first().toString();
        QVERIFY(!renewed.isEmpty());
        QVERIFY(renewed != loginToken);
        const SimProcess::Reply reply = fx.sim().request(
            "GET", QStringLiteral("/main/zrv/svc/meetings"), {},
            {{"Authorization", QByteArray("Bearer ") + renewed.toUtf8()}});
        QCOMPARE(reply.status, 200);
    } else {
        QCOMPARE(tokens.count(), 1);
    }
    QVERIFY(driver.boxesSeen().isEmpty() || !driver.hasBox(QStringLiteral("Session expired")));
    QCOMPARE(fx.exitCodes(), QList<int>());
}

void tst_ZRV_ServerApp_Session::sessionExpiry_data()
{
    QTest::addColumn<QStringList>("passwords");
    QTest::addColumn<QList<int>>("exitCodes");

    QTest::newRow("new login for the same user keeps the window")
        << QStringList{"presenter123", "presenter123"} << QList<int>();
    QTest::newRow("cancelled new login ends the process") << QStringList{"presenter123"} << QList<int>{0};
}

void tst_ZRV_ServerApp_Session::sessionExpiry()
{
    QFETCH(QStringList, passwords);
    QFETCH(QList<int>, exitCodes);

    // The first poll tries a refresh, and the refresh token is no longer good.
    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--token-lifetime"), QStringLiteral("15")}), qPrintable(fx.errorText()));
    const SimProcess::Reply fault = fx.sim().admin(
        "POST", QStringLiteral("/_sim/fault"),
        {{"path", QStringLiteral("/idp/auth/refreshtoken")}, {"status", 400}, {"message", "Token is not active"}});
    QCOMPARE(fault.status, 200);

    ConsoleDriver driver;
    driver.logins(QStringLiteral("presenter"), passwords);
    driver.arm();
    ZRV_ServerApp window(windowArguments(fx));
    auto *service = window.findChild<ZRV_MeetingsInfoThread *>();
    QSignalSpy tokens(service, &ZRV_MeetingsInfoThread::tokenChanged);
    QSignalSpy expired(service, &ZRV_MeetingsInfoThread::sessionExpired);
    window.show();
    QVERIFY2(waitRunning(window), qPrintable(driver.boxSummary()));

    QTRY_COMPARE_WITH_TIMEOUT(driver.loginsSeen().size(), 2, 15000);
    QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), exitCodes, 10000);
    QCOMPARE(expired.count(), 1);
    const ConsoleDriver::LoginSeen again = driver.loginsSeen().at(1);
    QCOMPARE(again.user, QStringLiteral("presenter"));
    QVERIFY(!again.userEditable);
    QVERIFY2(driver.hasBox(QStringLiteral("Session expired")), qPrintable(driver.boxSummary()));
    for (const ConsoleDriver::BoxSeen &box : driver.boxesSeen()) {
        if (box.title == QLatin1String("Session expired")) {
            QCOMPARE(box.text, QStringLiteral("Your session has expired. Please perform a new Login."));
            QCOMPARE(box.buttons.size(), 1);
        }
    }
    if (!exitCodes.isEmpty())
        return;

    // The new login's token reaches every client, polling goes on.
    const QString loginToken = tokens.first().first().toString();
    QTRY_VERIFY_WITH_TIMEOUT(tokens.last().first().toString() != loginToken, 10000);
    QVERIFY(statusTimer(window)->isActive());
    QCOMPARE(window.windowTitle(), Title);
    auto *meetings = window.findChild<ZRV_Meetings *>();
    QTRY_VERIFY_WITH_TIMEOUT(meetings->isEnabled(), 15000);
}

void tst_ZRV_ServerApp_Session::inactivity_data()
{
    QTest::addColumn<bool>("loggedIn");
    QTest::addColumn<bool>("inFront");
    QTest::addColumn<bool>("transferFirst");
    QTest::addColumn<bool>("freezes");
    QTest::addColumn<QString>("wakeBy");

    QTest::newRow("background: frozen, woken by activation")
        << true << false << false << true << "activation";
    QTest::newRow("background: frozen, woken by a transfer starting")
        << true << false << false << true << "transfer";
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
    ConsoleDriver driver;
    driver.logins(QStringLiteral("presenter"),
                  loggedIn ? QStringList{QStringLiteral("presenter123")} : QStringList());
    driver.arm();
    ZRV_ServerApp window(windowArguments(fx));
    window.show();
    if (loggedIn)
        QVERIFY2(waitRunning(window), qPrintable(driver.boxSummary()));
    else
        QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), QList<int>{0}, 15000);
    QTimer *timer = statusTimer(window);
    const bool pollingBefore = timer->isActive();
    QCOMPARE(pollingBefore, loggedIn);

    // Wired as main() wires it. Its interval never runs out here: the test
    // lets it expire by hand once the window's place in front is settled.
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
    QCOMPARE(window.windowTitle(), freezes ? Title + QStringLiteral(" - INACTIVE") : Title);
    QCOMPARE(timer->isActive(), freezes ? false : pollingBefore);
    if (!freezes)
        return;

    if (wakeBy == QLatin1String("activation"))
        QApplication::setActiveWindow(&window);
    else
        window.setInactivityOff();
    QVERIFY(window.isEnabled());
    QCOMPARE(window.windowTitle(), Title);
    QVERIFY(timer->isActive());

    // A sign of life, then the background once more: the console freezes again
    // with one suffix only, unless a transfer has started in this run.
    QApplication::setActiveWindow(&window);
    expire(&other);
    QCOMPARE(inactive.count(), 2);
    const bool refrozen = wakeBy == QLatin1String("activation");
    QCOMPARE(!window.isEnabled(), refrozen);
    QCOMPARE(window.windowTitle(), refrozen ? Title + QStringLiteral(" - INACTIVE") : Title);
}

QTEST_MAIN(tst_ZRV_ServerApp_Session)
#include "tst_ZRV_ServerApp_Session.moc"
