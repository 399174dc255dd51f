// The main window as main() builds it, against the simulator over real HTTP.

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "ScriptedHttpServer.h"
#include "UserActivityFilter.h"
#include "ZRV_Meetings.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_ServerApp.h"

namespace {
const QString Title = "Zarvo Console 3.1";
} // namespace

class tst_ZRV_ServerApp : public QObject
{
    Q_OBJECT
    QTemporaryDir m_settingsDir;

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(zrv);
        // Window state goes to a folder of the test's own.
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_settingsDir.path());
    }

    void init() { QFile::remove(QSettings("Brenvik", "Zarvo Console").fileName()); }

    void session_data()
    {
        QTest::addColumn<bool>("refreshRefused");
        QTest::addColumn<int>("logins");
        QTest::newRow("15 s left at the first poll: renewed at once") << false << 1;
        QTest::newRow("refresh refused: new login for the same user keeps the window") << true << 2;
        QTest::newRow("refresh refused: cancelled new login ends the process") << true << 1;
    }

    void session()
    {
        QFETCH(bool, refreshRefused);
        QFETCH(int, logins);
        ConsoleFixture fx;
        QVERIFY2(fx.start({"--token-lifetime", "15"}), qPrintable(fx.errorText()));
        if (refreshRefused)
            QCOMPARE(fx.sim().admin("POST", "/_sim/fault", {{"path", "/idp/auth/refreshtoken"}, {"status", 400},
                                                            {"message", "Token is not active"}}).status, 200);
        ConsoleDriver driver("presenter", logins == 2 ? QStringList{"presenter123", "presenter123"} : QStringList{"presenter123"});
        ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
        QSignalSpy tokens(window.findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::tokenChanged);
        window.show();
        QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
        auto token = [&tokens](int i) { return tokens.at(i < 0 ? tokens.size() + i : i).first().toString(); };
        if (!refreshRefused) {
            auto *userMenu = window.findChild<QPushButton *>("btnUserMenu");
            QStringList actions{userMenu->text()};
            for (QAction *action : userMenu->menu()->actions())
                actions << action->text();
            QCOMPARE(actions, (QStringList{"presenter", "Change Password", "Check for Updates", "About", "Quit"}));
            auto *icon = window.findChild<QLabel *>("icoConSvc");
            const QImage green = QPixmap(":/ZRV_ServerApp/green.svg").toImage();
            QTRY_VERIFY_WITH_TIMEOUT(icon->pixmap(Qt::ReturnByValue).toImage() == green && window.findChild<ZRV_Meetings *>()->isEnabled(), 15000);
            // The login's own token is handed out first, then the renewed one, which works.
            QTRY_COMPARE_WITH_TIMEOUT(tokens.count(), 2, 10000);
            QVERIFY(token(1) != token(0));
            QCOMPARE(fx.sim().request("GET", "/main/zrv/svc/meetings", {}, {{"Authorization", "Bearer " + token(1).toUtf8()}}).status, 200);
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(driver.logins().size(), 2, 15000);
        QTRY_COMPARE_WITH_TIMEOUT(fx.exitCodes(), logins == 1 ? QList<int>{0} : QList<int>(), 10000);
        QVERIFY(driver.logins().at(1).user == "presenter" && !driver.logins().at(1).userEditable);
        QCOMPARE(driver.boxes(), QStringList{"Session expired: Your session has expired. Please perform a new Login. [1 buttons]"});
        if (logins == 1)
            return;
        // The new login's token reaches the clients and polling goes on.
        QTRY_VERIFY_WITH_TIMEOUT(token(-1) != token(0), 10000);
        QTRY_VERIFY_WITH_TIMEOUT(window.findChild<ZRV_Meetings *>()->isEnabled(), 15000);
    }

    void windowState_data()
    {
        QTest::addColumn<bool>("restoreWindow");
        QTest::addColumn<bool>("leaveByQuit");
        QTest::addColumn<QString>("expected");
        // Run 1 ends at 4,30 with the queue shown; run 2 at 24,40 without it, left as the row says; run 3 shows
        // what stuck. Offscreen the window keeps near its minimum size, so the place tells the runs apart.
        QTest::newRow("closing saves place, size and queue") << true << false << "run 2";
        QTest::newRow("Quit keeps the state of the run before") << true << true << "run 1";
        QTest::newRow("restorewindow false: fixed place and size, queue still restored") << false << false << "fixed";
    }

    void windowState()
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
        struct Run { QRect restored, left; bool queueRestored; };
        auto run = [&](bool restore, QPoint moveTo, bool queueShown, bool quit) {
            QSettings ini(dir.filePath("console.ini"), QSettings::IniFormat);
            ini.setValue("ZRV_Service/host", service.baseUrl());
            ini.setValue("ZRV_Console/restorewindow", restore);
            ini.sync();
            ZRV_ServerApp window(ConsoleDriver::arguments(dir.filePath("console.ini")));
            window.show();
            if (!QTest::qWaitForWindowExposed(&window))
                return Run{};
            auto *queue = window.findChild<QDockWidget *>("dckProgress");
            Run r{QRect(window.pos(), window.size()), {}, queue->isVisible() && window.findChild<QPushButton *>("btnQueue")->isChecked()};
            window.move(moveTo);
            queue->setVisible(queueShown);
            r.left = QRect(window.pos(), window.size());
            quit ? window.findChild<QAction *>("actionQuit")->trigger() : void(window.close());
            return r;
        };
        const Run run1 = run(true, {4, 30}, true, false);
        const Run run2 = run(restoreWindow, {24, 40}, false, leaveByQuit);
        const Run run3 = run(restoreWindow, {0, 0}, false, false);
        ZRV_ProcessExit::setHandler({});
        QCOMPARE(exits, leaveByQuit ? QList<int>{0} : QList<int>());
        QVERIFY(run2.queueRestored);
        QCOMPARE(run3.queueRestored, expected == "run 1");
        if (expected == "fixed")
            QCOMPARE(run2.restored.united(run3.restored), QRect(100, 50, 900, 650));
        else
            QCOMPARE(run3.restored, expected == "run 1" ? run1.left : run2.left);
    }

    void inactivity_data()
    {
        QTest::addColumn<bool>("inFront");
        QTest::addColumn<QString>("wakeBy"); // empty: never frozen
        QTest::newRow("background: frozen, woken by activation") << false << "activation";
        QTest::newRow("background: frozen, woken by a transfer starting, which keeps it awake") << false << "transfer";
        QTest::newRow("in front: never frozen") << true << "";
    }

    void inactivity()
    {
        QFETCH(bool, inFront);
        QFETCH(QString, wakeBy);
        const bool freezes = !wakeBy.isEmpty();
        ConsoleFixture fx;
        QVERIFY2(fx.start(), qPrintable(fx.errorText()));
        ConsoleDriver driver("presenter", {"presenter123"});
        ZRV_ServerApp window(ConsoleDriver::arguments(fx.iniPath()));
        window.show();
        QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
        QTimer *timer = nullptr; // the ten-second poll
        for (QTimer *t : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly))
            timer = t->interval() == 10000 ? t : timer;
        // Wired as main() wires it; its interval is let run out by hand once the window's place in front is settled.
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
        expire(inFront ? static_cast<QWidget *>(&window) : &other);
        QCOMPARE(inactive.count(), inFront ? 0 : 1);
        QCOMPARE(window.windowTitle(), freezes ? Title + " - INACTIVE" : Title);
        QCOMPARE(window.isEnabled() + timer->isActive(), freezes ? 0 : 2);
        if (!freezes)
            return;
        wakeBy == "activation" ? QApplication::setActiveWindow(&window) : window.setInactivityOff();
        QVERIFY(window.isEnabled() && timer->isActive());
        QCOMPARE(window.windowTitle(), Title);
        // Background again: frozen once more with one suffix only, unless a transfer has started in this run.
        QApplication::setActiveWindow(&window);
        expire(&other);
        QCOMPARE(inactive.count(), 2);
        QCOMPARE(window.windowTitle(), wakeBy == "activation" ? Title + " - INACTIVE" : Title);
        QCOMPARE(window.isEnabled(), wakeBy != "activation");
    }
};

QTEST_MAIN(tst_ZRV_ServerApp)
#include "tst_ZRV_ServerApp.moc"
