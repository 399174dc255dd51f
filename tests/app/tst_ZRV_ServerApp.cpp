// The main window as main() builds it, against the simulator over real HTTP.

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QTableWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <tuple>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "ScriptedHttpServer.h"
#include "ZRV_Meetings.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_ServerApp.h"

namespace {

bool iconIs(ZRV_ServerApp &window, const char *colour)
{
    const QPixmap *shown = window.findChild<QLabel *>(QStringLiteral("icoConSvc"))->pixmap();
    return shown && shown->toImage() == QPixmap(QStringLiteral(":/ZRV_ServerApp/%1.svg").arg(colour)).toImage();
}

QString settingsFile()
{
    return QSettings(QStringLiteral("Brenvik"), QStringLiteral("Zarvo Console")).fileName();
}

QStringList meetingIds(ZRV_ServerApp &window)
{
    auto *table = window.findChild<QTableWidget *>(QStringLiteral("tblMeetings"));
    QStringList ids;
    for (int row = 0; row < table->rowCount(); ++row)
        ids << table->item(row, 0)->text();
    ids.sort();
    return ids;
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
    QTemporaryDir m_settingsDir;
};

void tst_ZRV_ServerApp::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    // Window state goes to a folder of the test's own.
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
}

void tst_ZRV_ServerApp::init()
{
    QFile::remove(settingsFile());
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
    QTest::newRow("administrator: every meeting, properties, export and import")
        << "admin" << "admin123" << true << all;
    QTest::newRow("group administrator: every meeting, no administrator buttons")
        << "groupadmin" << "group123" << false << all;
    QTest::newRow("NextCloud presenter: own meeting only") << "cloud" << "cloud123" << false << QStringList{"SHW4N1R8"};
}

void tst_ZRV_ServerApp::mainWindowAfterLogin()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(bool, administrator);
    QFETCH(QStringList, meetings);

    ConsoleFixture fx;
    QVERIFY2(fx.start(), qPrintable(fx.errorText()));
    ConsoleDriver driver(user, {password});
    ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
    QVERIFY(iconIs(window, "red"));
    window.show();
    QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
    QCOMPARE(driver.logins().size(), 1);

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

    QTRY_VERIFY_WITH_TIMEOUT(iconIs(window, "green"), 15000);
    QTRY_COMPARE_WITH_TIMEOUT(meetingIds(window), meetings, 15000);
    QVERIFY(window.findChild<ZRV_Meetings *>()->isEnabled());
    QVERIFY(ConsoleDriver::statusTimer(window)->isActive());
    QCOMPARE(fx.exitCodes(), QList<int>());
}

void tst_ZRV_ServerApp::windowState_data()
{
    QTest::addColumn<bool>("restoreWindow");
    QTest::addColumn<bool>("leaveByQuit");
    QTest::addColumn<QString>("expected");

    // Run 1 stands at 4,30 with the queue shown and is closed; run 2 moves to
    // 24,40, hides the queue and leaves as the row says; run 3 shows what stuck.
    // The window's layout keeps it near its minimum size on the small offscreen
    // screen, so the place tells the runs apart.
    QTest::newRow("closing saves place, size and queue") << true << false << "run 2";
    QTest::newRow("Quit keeps the state of the run before") << true << true << "run 1";
    QTest::newRow("restorewindow false: fixed place and size, queue still restored") << false << false << "fixed";
}

void tst_ZRV_ServerApp::windowState()
{
    QFETCH(bool, restoreWindow);
    QFETCH(bool, leaveByQuit);
    QFETCH(QString, expected);

    // A service that never answers: no login comes between the runs.
    ScriptedHttpServer service;
    QVERIFY(service.start());
    for (int i = 0; i < 3; ++i)
        service.enqueueHang();
    QList<int> exits;
    ZRV_ProcessExit::setHandler([&exits](int code) { exits << code; });
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("console.ini"));
    auto run = [&](bool restore, QPoint moveTo, bool queueShown, bool quit) {
        {
            QSettings settings(ini, QSettings::IniFormat);
            settings.setValue(QStringLiteral("ZRV_Service/host"), service.baseUrl());
            settings.setValue(QStringLiteral("ZRV_Console/restorewindow"), restore);
        }
        ZRV_ServerApp window(ConsoleDriver::arguments(ini));
        window.show();
        QTest::qWaitForWindowExposed(&window);
        auto *queue = window.findChild<QDockWidget *>(QStringLiteral("dckProgress"));
        const QRect restored(window.pos(), window.size());
        const bool queueRestored = queue->isVisible() && window.findChild<QPushButton *>("btnQueue")->isChecked();
        window.move(moveTo);
        queue->setVisible(queueShown);
        const QRect left(window.pos(), window.size());
        if (quit)
            window.findChild<QAction *>(QStringLiteral("actionQuit"))->trigger();
        else
            window.close();
        return std::make_tuple(restored, queueRestored, left);
    };

    const auto run1 = run(true, {4, 30}, true, false);
    const auto run2 = run(restoreWindow, {24, 40}, false, leaveByQuit);
    const auto run3 = run(restoreWindow, {0, 0}, false, false);
    QCOMPARE(exits, leaveByQuit ? QList<int>{0} : QList<int>());
    ZRV_ProcessExit::setHandler({});

    QCOMPARE(std::get<1>(run2), true);
    if (expected == QLatin1String("fixed")) {
        QCOMPARE(std::get<0>(run2), QRect(100, 50, 900, 650));
        QCOMPARE(std::get<0>(run3), QRect(100, 50, 900, 650));
    } else {
        QCOMPARE(std::get<0>(run3), expected == QLatin1String("run 1") ? std::get<2>(run1) : std::get<2>(run2));
    }
    QCOMPARE(std::get<1>(run3), expected == QLatin1String("run 1"));
}

void tst_ZRV_ServerApp::serviceFailures_data()
{
    QTest::addColumn<bool>("serviceListens");
    QTest::newRow("service answers every request with 503") << true;
    QTest::newRow("nothing listens at the service address") << false;
}

// The version request fails and the login still opens; the icon stays red,
// the meetings disabled, and the third failed poll ends the process.
void tst_ZRV_ServerApp::serviceFailures()
{
    QFETCH(bool, serviceListens);

    ConsoleFixture fx;
    QVERIFY2(fx.start(), qPrintable(fx.errorText()));
    ScriptedHttpServer service;
    QTcpServer closed;
    QVERIFY(closed.listen(QHostAddress::LocalHost));
    QString serviceUrl = QStringLiteral("http://127.0.0.1:%1").arg(closed.serverPort());
    closed.close();
    if (serviceListens) {
        QVERIFY(service.start());
        for (int i = 0; i < 40; ++i)
            service.enqueueJson(503, R"({"code":503,"message":"down for maintenance","source":"svc"})");
        serviceUrl = service.baseUrl();
    }
    QVERIFY(fx.rewriteIni({{QStringLiteral("ZRV_Service/host"), serviceUrl}, {QStringLiteral("ZRV_Service/path"), ""}}));

    ConsoleDriver driver(QStringLiteral("presenter"), {QStringLiteral("presenter123")});
    ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
    window.show();
    QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
    QCOMPARE(driver.logins().size(), 1);
    QVERIFY(iconIs(window, "red"));
    QVERIFY(!window.findChild<ZRV_Meetings *>()->isEnabled());
    QVERIFY(fx.exitCodes().isEmpty());

    // Two polls fail at once (after the login and after the meeting list); a
    // tick of the ten-second timer brings the third.
    QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), QList<int>{0}, 35000);
    QVERIFY2(driver.boxes().contains(QStringLiteral(
                 "Cannot connect to service: Connecting to service failed. Please try again later. [1 buttons]")),
             qPrintable(driver.boxes().join('\n')));
    QVERIFY(!ConsoleDriver::statusTimer(window)->isActive());
    QVERIFY(iconIs(window, "red"));
    QVERIFY(!QFile::exists(settingsFile()));
}

QTEST_MAIN(tst_ZRV_ServerApp)
#include "tst_ZRV_ServerApp.moc"
