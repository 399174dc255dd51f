// The main window as main() builds it, against the simulator over real HTTP:
// start-up to the login, the window per role, window state, and the service
// failures that end the process.

#include <QAction>
#include <QDockWidget>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QStatusBar>
#include <QTableWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "ScriptedHttpServer.h"
#include "ZRV_Meetings.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_ServerApp.h"

namespace {

QStringList windowArguments(const QString &iniPath)
{
    return {QStringLiteral("zarvo-console"), QStringLiteral("-i"), iniPath};
}

QTimer *statusTimer(ZRV_ServerApp &window)
{
    for (QTimer *timer : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (timer->interval() == 10000)
            return timer;
    }
    return nullptr;
}

bool showsPixmap(QLabel *label, const QString &resource)
{
    return label->pixmap() && label->pixmap()->toImage() == QPixmap(resource).toImage();
}

// The window is running once initConsole has shown the status line.
bool waitRunning(ZRV_ServerApp &window, int timeoutMs = 20000)
{
    auto *bar = window.findChild<QStatusBar *>(QStringLiteral("statusBar"));
    return QTest::qWaitFor([bar] { return bar->isVisible(); }, timeoutMs);
}

QStringList meetingIds(ZRV_ServerApp &window)
{
    auto *table = window.findChild<QTableWidget *>(QStringLiteral("tblMeetings"));
    QStringList ids;
    for (int row = 0; row < table->rowCount(); ++row)
        ids << (table->item(row, 0) ? table->item(row, 0)->text() : QString());
    ids.sort();
    return ids;
}

quint16 closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost);
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}

} // namespace

class tst_ZRV_ServerApp : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void mainWindowAfterLogin_data();
    void mainWindowAfterLogin();
    void windowState_data();
    void windowState();
    void serviceFailures_data();
    void serviceFailures();

private:
    QString settingsFile() const;

    QTemporaryDir m_settingsDir;
};

void tst_ZRV_ServerApp::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QVERIFY(m_settingsDir.isValid());
    // Window state goes to a folder of the test's own, never the user's.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settingsDir.path());
}

void tst_ZRV_ServerApp::init()
{
    QFile::remove(settingsFile());
}

QString tst_ZRV_ServerApp::settingsFile() const
{
    return QSettings(QStringLiteral("Brenvik"), QStringLiteral("Zarvo Console")).fileName();
}

void tst_ZRV_ServerApp::mainWindowAfterLogin_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("administrator");
    QTest::addColumn<QStringList>("meetings");

    const QStringList all{"BRD9Q3X1", "ONB3V6P2", "PRL5T8C6", "SHW4N1R8", "WDR7K2M4"};
    QTest::newRow("presenter: own meetings, no administrator buttons")
        << "presenter" << "presenter123" << false << QStringList{"PRL5T8C6", "WDR7K2M4"};
    QTest::newRow("administrator: every meeting, components export and import")
        << "admin" << "admin123" << true << all;
    QTest::newRow("group administrator: every meeting, no administrator buttons")
        << "groupadmin" << "group123" << false << all;
    QTest::newRow("NextCloud presenter: own meeting only")
        << "cloud" << "cloud123" << false << QStringList{"SHW4N1R8"};
}

void tst_ZRV_ServerApp::mainWindowAfterLogin()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(bool, administrator);
    QFETCH(QStringList, meetings);

    ConsoleFixture fx;
    QVERIFY2(fx.start(), qPrintable(fx.errorText()));

    ConsoleDriver driver;
    driver.logins(user, {password});
    driver.arm();
    ZRV_ServerApp window(windowArguments(fx.iniPath()));
    auto *icon = window.findChild<QLabel *>(QStringLiteral("icoConSvc"));
    // Before any answer the window stands alone: red, no status line.
    QVERIFY(showsPixmap(icon, QStringLiteral(":/ZRV_ServerApp/red.svg")));
    window.show();

    QVERIFY2(waitRunning(window), qPrintable(driver.boxSummary()));
    QCOMPARE(driver.loginsSeen().size(), 1);
    QVERIFY(driver.loginsSeen().first().userEditable);

    QCOMPARE(window.windowTitle(), QStringLiteral("Zarvo Console 3.1"));
    auto *userMenu = window.findChild<QPushButton *>(QStringLiteral("btnUserMenu"));
    QCOMPARE(userMenu->text(), user);
    QStringList actions;
    for (QAction *action : userMenu->menu()->actions())
        actions << action->text();
    QCOMPARE(actions, (QStringList{"Change Password", "Check for Updates", "About", "Quit"}));
    QCOMPARE(window.findChild<QLabel *>(QStringLiteral("lblSvcAddress"))->text(), fx.simBaseUrl());

    for (const char *name : {"btnProperties", "btnExport", "btnImport"})
        QCOMPARE(window.findChild<QPushButton *>(QLatin1String(name))->isVisibleTo(&window), administrator);

    QTRY_VERIFY_WITH_TIMEOUT(showsPixmap(icon, QStringLiteral(":/ZRV_ServerApp/green.svg")), 15000);
    QTRY_COMPARE_WITH_TIMEOUT(meetingIds(window), meetings, 15000);
    QVERIFY(window.findChild<ZRV_Meetings *>()->isEnabled());
    QTimer *timer = statusTimer(window);
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    QCOMPARE(fx.exitCodes(), QList<int>());
}

void tst_ZRV_ServerApp::windowState_data()
{
    QTest::addColumn<bool>("restoreWindow");
    QTest::addColumn<bool>("leaveByQuit");
    QTest::addColumn<QString>("expected");

    // First run: at 4,30 with the queue shown, closed. Second run: at 24,40 with
    // the queue hidden, left as the row says. The offscreen screen is small and
    // the window's layout holds it near its minimum size, so place tells runs apart.
    QTest::newRow("closing saves place, size and queue") << true << false << "second";
    QTest::newRow("Quit keeps the state of the run before") << true << true << "first";
    QTest::newRow("restorewindow false: fixed place and size, queue still restored")
        << false << false << "fixed";
}

void tst_ZRV_ServerApp::windowState()
{
    QFETCH(bool, restoreWindow);
    QFETCH(bool, leaveByQuit);
    QFETCH(QString, expected);

    // The service never answers, so no login comes between the runs.
    ScriptedHttpServer service;
    QVERIFY(service.start());
    for (int i = 0; i < 3; ++i)
        service.enqueueHang();
    QList<int> exits;
    ZRV_ProcessExit::setHandler([&exits](int code) { exits << code; });
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("console.ini"));
    auto writeIni = [&](bool restore) {
        QSettings settings(ini, QSettings::IniFormat);
        settings.setValue(QStringLiteral("ZRV_Service/host"), service.baseUrl());
        settings.setValue(QStringLiteral("ZRV_Console/restorewindow"), restore);
    };
    auto queue = [](ZRV_ServerApp &w) { return w.findChild<QDockWidget *>(QStringLiteral("dckProgress")); };
    auto place = [](ZRV_ServerApp &w) { return QRect(w.pos(), w.size()); };

    QRect firstPlace;
    writeIni(true);
    {
        ZRV_ServerApp first(windowArguments(ini));
        first.show();
        QVERIFY(QTest::qWaitForWindowExposed(&first));
        first.move(4, 30);
        queue(first)->show();
        firstPlace = place(first);
        first.close();
    }

    QRect secondPlace;
    writeIni(restoreWindow);
    {
        ZRV_ServerApp second(windowArguments(ini));
        second.show();
        QVERIFY(QTest::qWaitForWindowExposed(&second));
        if (!restoreWindow)
            QCOMPARE(place(second), QRect(100, 50, 900, 650));
        QCOMPARE(queue(second)->isVisible(), true);
        second.move(24, 40);
        queue(second)->hide();
        secondPlace = place(second);
        if (leaveByQuit)
            second.findChild<QAction *>(QStringLiteral("actionQuit"))->trigger();
        else
            second.close();
    }
    QCOMPARE(exits, leaveByQuit ? QList<int>{0} : QList<int>());

    ZRV_ServerApp third(windowArguments(ini));
    third.show();
    QVERIFY(QTest::qWaitForWindowExposed(&third));
    const bool queueShown = expected == QLatin1String("first");
    if (expected == QLatin1String("fixed"))
        QCOMPARE(place(third), QRect(100, 50, 900, 650));
    else
        QCOMPARE(place(third), queueShown ? firstPlace : secondPlace);
    QCOMPARE(queue(third)->isVisible(), queueShown);
    QCOMPARE(third.findChild<QPushButton *>(QStringLiteral("btnQueue"))->isChecked(), queueShown);
    ZRV_ProcessExit::setHandler({});
}

void tst_ZRV_ServerApp::serviceFailures_data()
{
    QTest::addColumn<bool>("serviceListens");

    QTest::newRow("service answers every request with 503") << true;
    QTest::newRow("nothing listens at the service address") << false;
}

// The version request fails, the login still opens, and the console shows a
// red icon with its meetings disabled until the third failed poll ends it.
void tst_ZRV_ServerApp::serviceFailures()
{
    QFETCH(bool, serviceListens);

    ConsoleFixture fx;
    QVERIFY2(fx.start(), qPrintable(fx.errorText()));
    ScriptedHttpServer service;
    QString serviceUrl = QStringLiteral("http://127.0.0.1:%1").arg(closedPort());
    if (serviceListens) {
        QVERIFY(service.start());
        for (int i = 0; i < 40; ++i)
            service.enqueueJson(503, R"({"code":503,"message":"down for maintenance","source":"svc"})");
        serviceUrl = service.baseUrl();
    }
    QVERIFY(fx.rewriteIni({{QStringLiteral("ZRV_Service/host"), serviceUrl},
                           {QStringLiteral("ZRV_Service/path"), QString()}}));

    ConsoleDriver driver;
    driver.logins(QStringLiteral("presenter"), {QStringLiteral("presenter123")});
    driver.arm();
    ZRV_ServerApp window(windowArguments(fx.iniPath()));
    window.show();
    QVERIFY2(waitRunning(window), qPrintable(driver.boxSummary()));
    QCOMPARE(driver.loginsSeen().size(), 1);

    auto *icon = window.findChild<QLabel *>(QStringLiteral("icoConSvc"));
    QVERIFY(showsPixmap(icon, QStringLiteral(":/ZRV_ServerApp/red.svg")));
    QVERIFY(!window.findChild<ZRV_Meetings *>()->isEnabled());
    QVERIFY(fx.exitCodes().isEmpty());

    // Two polls fail at once (after the login and after the meeting list);
    // the timer's first tick brings the third.
    QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), QList<int>{0}, 25000);
    QVERIFY2(driver.hasBox(QStringLiteral("Cannot connect to service")), qPrintable(driver.boxSummary()));
    for (const ConsoleDriver::BoxSeen &box : driver.boxesSeen()) {
        if (box.title == QLatin1String("Cannot connect to service")) {
            QCOMPARE(box.text, QStringLiteral("Connecting to service failed. Please try again later."));
            QCOMPARE(box.buttons.size(), 1);
        }
    }
    QVERIFY(!statusTimer(window)->isActive());
    QVERIFY(showsPixmap(icon, QStringLiteral(":/ZRV_ServerApp/red.svg")));
    // Ending this way saves no window state.
    QVERIFY(!QFile::exists(settingsFile()));
}

QTEST_MAIN(tst_ZRV_ServerApp)
#include "tst_ZRV_ServerApp.moc"
