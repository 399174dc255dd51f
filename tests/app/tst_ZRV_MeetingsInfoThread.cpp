#include <QApplication>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ServiceRecorder.h"
#include "ZRV_MeetingsInfoThread.h"

class tst_ZRV_MeetingsInfoThread : public QObject
{
    Q_OBJECT

private:
    ConsoleFixture m_fx;
    QTemporaryDir m_dir;

    // The main service and, when given, the authentication service as
    // scripted servers, with a made-up login whose token has secondsLeft.
    struct Scripted
    {
        ScriptedHttpServer service, auth;
        std::unique_ptr<ZRV_Config> config;
        ZRV_LoginData login;
        std::unique_ptr<ZRV_MeetingsInfoThread> thread;
        Recorder rec;

        int statusCount() const { return rec.count(QStringLiteral("status:")); }
        void replyToPoll(int status, const QByteArray &body)
        {
            service.enqueueJson(status, body);
            service.enqueueJson(status, body);
        }
    };

    bool openScripted(Scripted &s, int secondsLeft = 3600)
    {
        if (!s.service.start() || !s.auth.start())
            return false;
        static int n = 0;
        const QString path = m_dir.filePath(QStringLiteral("s%1.ini").arg(++n));
        {
            QSettings ini(path, QSettings::IniFormat);
            ini.setValue(QStringLiteral("ZRV_Service/host"), s.service.baseUrl());
            ini.setValue(QStringLiteral("ZRV_Service/path"), QStringLiteral("/main"));
            ini.setValue(QStringLiteral("ZRV_AuthService/host"), s.auth.baseUrl());
            ini.setValue(QStringLiteral("ZRV_AuthService/path"), QStringLiteral("/id"));
        }
        s.config.reset(new ZRV_Config(QStringList{QStringLiteral("zarvo-console"), QStringLiteral("-i"), path}));
        s.login.authenticated = true;
        s.login.accessToken = QStringLiteral("tok-1");
        s.login.refreshToken = QStringLiteral("ref-1");
        s.login.tokenExpiry = QDateTime::currentDateTime().addSecs(secondsLeft);
        s.thread.reset(new ZRV_MeetingsInfoThread(nullptr, s.config.get()));
        s.rec.attach(s.thread.get());
        s.thread->setLoginData(&s.login);
        return true;
    }

    static QByteArray tokenReply(const QByteArray &access)
    {
        return "{\"access_token\":\"" + access + "\",\"expires_in\":300,\"refresh_expires_in\":1800,"
               "\"refresh_token\":\"ref-" + access + "\",\"token_type\":\"Bearer\",\"not-before-policy\":0,"
               "\"session_state\":\"s\",\"scope\":\"profile\"}";
    }

    // A signed-in service object against the simulator.
    struct Session
    {
        ZRV_LoginData login;
        std::unique_ptr<ZRV_MeetingsInfoThread> service;
        Recorder rec;
    };

    bool open(Session &s, const QString &user, const QString &password)
    {
        if (!m_fx.signIn(user, password, &s.login))
            return false;
        s.service.reset(new ZRV_MeetingsInfoThread(nullptr, m_fx.config()));
        s.rec.attach(s.service.get());
        s.service->setLoginData(&s.login);
        return true;
    }

    bool fault(const QJsonObject &body)
    {
        return m_fx.sim().admin("POST", QStringLiteral("/_sim/fault"), body).status == 200;
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_fx.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}),
                 qPrintable(m_fx.errorText()));
    }

    void init()
    {
        m_fx.clearExitCodes();
        QCOMPARE(m_fx.sim().admin("POST", QStringLiteral("/_sim/reset")).status, 200);
        QCOMPARE(m_fx.sim().admin("POST", QStringLiteral("/_sim/fault"),
                                  {{QStringLiteral("latencyMs"), 0}}).status,
                 200);
    }

    void pollDeliversLiveMeetingsStatusAndVersion()
    {
        Session s;
        QVERIFY(open(s, QStringLiteral("presenter"), QStringLiteral("presenter123")));
        QCOMPARE(s.rec.tokens, QStringList{s.login.accessToken});

        s.service->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.count(QStringLiteral("status:")), 2, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.count(QStringLiteral("version:")), 1, 10000);
        QCOMPARE(s.rec.count(QStringLiteral("status:true")), 2);
        QVERIFY(s.rec.events.contains(QStringLiteral("version:2.1.0")));
        // The map comes first, then the good status that belongs to it.
        const int mapAt = s.rec.events.indexOf(QStringLiteral("meetingsInfo"));
        QVERIFY(mapAt >= 0 && s.rec.events.at(mapAt + 1) == QStringLiteral("status:true"));
        for (const QString &id : {"wdr7k2m4", "brd9q3x1", "prl5t8c6", "onb3v6p2", "shw4n1r8"})
            QVERIFY2(s.rec.meetings.contains(id), qPrintable(id));
        for (const QString &key : s.rec.meetings.keys())
            QCOMPARE(key, key.toLower());
        QCOMPARE(s.rec.meetings.value(QStringLiteral("wdr7k2m4")).getStatusMirror(), 1);
        QCOMPARE(s.rec.meetings.value(QStringLiteral("wdr7k2m4")).getClients().size(), 3);
    }

    void pollWithoutLoginSendsNothing()
    {
        ZRV_LoginData notSignedIn;
        ZRV_MeetingsInfoThread service(nullptr, m_fx.config());
        Recorder rec;
        rec.attach(&service);
        service.setLoginData(&notSignedIn);
        QTest::ignoreMessage(QtDebugMsg, "Cannot get Meetings, not Authenticated.");
        service.getMeetingsInfo();
        QVERIFY(rec.events == QStringList{QStringLiteral("tokenChanged")});
    }

    void playerPositionComesAsASpawnPoint()
    {
        Session s;
        QVERIFY(open(s, QStringLiteral("presenter"), QStringLiteral("presenter123")));
        s.service->getMeetingsInfo();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("meetingsInfo")), 10000);
        const QList<ZRVMirrorClientInfo> members =
            s.rec.meetings.value(QStringLiteral("wdr7k2m4")).getClients();
        QVERIFY(!members.isEmpty());
        const QString first = QString::number(members.at(0).getId());

        s.service->sendMeetingCommand(QStringLiteral("wdr7k2m4"), QStringLiteral("GetPlayerPos"),
                                      {first});
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.points.size(), 1, 10000);
        const ZRVSpawnPoint point = s.rec.points.first();
        QCOMPARE(point.getName(), QStringLiteral("Player Pos"));
        QVERIFY(point.getPosition().is_x_Set() && point.getRotation().is_y_Set());
    }

    // Each failure of the ban list and the bundles: its box, and where its signal stands.
    void banlistAndBundleFailures_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("events");

        const QString ban = QString::fromLatin1(ConsoleFixture::ServiceBase) + "/zrv/svc/banlist";
        const QString bundle = QString::fromLatin1(ConsoleFixture::ServiceBase) + "/zrv/svc/assetbundle";
        QTest::newRow("ban list read: box, then the list as it came")
            << "getBanlist" << "GET" << ban << "Error getting banlist"
            << "An error occured while trying to get the banlist: \nstore down"
            << QStringList{"box", "banlist"};
        QTest::newRow("ban list add: error signal, then box")
            << "addBanlistEntry" << "POST" << ban << "Error adding banlist entry"
            << "An error occured while trying to add an entry to the banlist:\nstore down"
            << QStringList{"banlistPostError", "box"};
        QTest::newRow("ban list delete: the box speaks of an asset bundle")
            << "deleteBanlistEntry" << "DELETE" << ban << "Error deleting asset bundle"
            << "An error occured while trying to delete asset bundle:\nstore down"
            << QStringList{"box"};
        QTest::newRow("bundle read: box, then the list as it came")
            << "getAssetBundles" << "GET" << bundle << "Error getting asset bundles"
            << "An error occured while trying to get asset bundles: \nstore down"
            << QStringList{"box", "assetBundles"};
        QTest::newRow("bundle create: error signal, then box")
            << "createAssetBundle" << "POST" << bundle << "Error creating asset bundle"
            << "An error occured while trying to create or modify asset bundle:\nstore down"
            << QStringList{"assetBundlePostError", "box"};
        QTest::newRow("bundle delete: box only")
            << "deleteAssetBundle" << "DELETE" << bundle << "Error deleting asset bundle"
            << "An error occured while trying to delete asset bundle:\nstore down"
            << QStringList{"box"};
    }

    void banlistAndBundleFailures()
    {
        QFETCH(QString, call);
        QFETCH(QString, method);
        QFETCH(QString, path);
        QFETCH(QString, title);
        QFETCH(QString, text);
        QFETCH(QStringList, events);

        Session s;
        QVERIFY(open(s, QStringLiteral("admin"), QStringLiteral("admin123")));
        s.rec.events.clear();
        QVERIFY(fault({{QStringLiteral("path"), path}, {QStringLiteral("method"), method},
                       {QStringLiteral("status"), 500}, {QStringLiteral("message"), "store down"}}));

        ModalAnswerer answerer;
        QStringList texts;
        answerBoxesInto(answerer, s.rec, &texts, 1);
        if (call == QLatin1String("getBanlist"))
            s.service->getBanlist();
        else if (call == QLatin1String("addBanlistEntry"))
            s.service->addBanlistEntry(ZRVBanlistEntry());
        else if (call == QLatin1String("deleteBanlistEntry"))
            s.service->deleteBanlistEntry(1);
        else if (call == QLatin1String("getAssetBundles"))
            s.service->getAssetBundles();
        else if (call == QLatin1String("createAssetBundle"))
            s.service->createAssetBundle(ZRVAssetBundle());
        else
            s.service->deleteAssetBundle(QStringLiteral("ab-0002"));

        QTRY_COMPARE_WITH_TIMEOUT(s.rec.events.size(), events.size(), 10000);
        QCOMPARE(s.rec.events, events);
        QCOMPARE(texts, (QStringList{title, text}));
        QCOMPARE(answerer.seen().first().buttons, QStringList{QStringLiteral("OK")});
        if (events.first().endsWith(QLatin1String("PostError")))
            QCOMPARE(s.rec.error.getMessage(), QStringLiteral("store down"));
    }
    void pollFailures_data()
    {
        QTest::addColumn<QString>("polls"); // F failed, S good
        QTest::addColumn<bool>("ends");
        QTest::newRow("third failure in a row ends the process") << "FFF" << true;
        QTest::newRow("two failures, a good poll, two failures go on") << "FFSFF" << false;
        QTest::newRow("a good poll between keeps the count low") << "FSFSF" << false;
    }

    void pollFailures()
    {
        QFETCH(QString, polls);
        QFETCH(bool, ends);
        Scripted s;
        QVERIFY(openScripted(s));
        ModalAnswerer answerer;
        QStringList texts;
        answerBoxesInto(answerer, s.rec, &texts, 1);
        for (const QChar poll : polls) {
            const int before = s.statusCount();
            s.replyToPoll(poll == QLatin1Char('F') ? 503 : 200,
                          poll == QLatin1Char('F') ? QByteArray("{\"code\":503,\"message\":\"busy\",\"source\":\"t\"}")
                                                   : QByteArray("[]"));
            s.thread->getMeetingsInfo();
            QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), before + 2, 10000);
        }
        QCOMPARE(s.rec.events.contains(QStringLiteral("exitApp")), ends);
        QCOMPARE(s.rec.events.contains(QStringLiteral("stopThread")), ends);
        if (ends) {
            // The status reply may land while the box is open; only the order of these counts.
            const QStringList order = s.rec.events.filter(
                QRegularExpression(QStringLiteral("^(stopThread|box|exitApp)$")));
            QCOMPARE(order,
                     (QStringList{QStringLiteral("stopThread"), QStringLiteral("box"), QStringLiteral("exitApp")}));
            QCOMPARE(texts, (QStringList{QStringLiteral("Cannot connect to service"),
                                         QStringLiteral("Connecting to service failed. Please try again later.")}));
            QCOMPARE(answerer.seen().first().buttons, QStringList{QStringLiteral("OK")});
        } else {
            QVERIFY(texts.isEmpty());
        }
        QCOMPARE(s.rec.count(QStringLiteral("status:false")), 2 * polls.count(QLatin1Char('F')));
    }

    void oddPollReplies_data()
    {
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("keys");
        QTest::newRow("empty body") << QByteArray("Content-Type") << QByteArray() << QStringList();
        QTest::newRow("body that is not JSON")
            << QByteArray("Content-Type") << QByteArray("<html>oops</html>") << QStringList();
        QTest::newRow("object where a list belongs")
            << QByteArray("Content-Type") << QByteArray("{\"meetingId\":\"ab\"}") << QStringList();
        QTest::newRow("content type named in lower case is not read")
            << QByteArray("content-type") << QByteArray("[{\"meetingId\":\"ab\"}]") << QStringList();
        QTest::newRow("ids differing only in case collapse, the later wins")
            << QByteArray("Content-Type")
            << QByteArray("[{\"meetingId\":\"AbC\",\"statusMirror\":1},{\"meetingId\":\"abc\",\"statusMirror\":0}]")
            << QStringList{QStringLiteral("abc")};
    }

    void oddPollReplies()
    {
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, keys);
        Scripted s;
        QVERIFY(openScripted(s));
        for (int i = 0; i < 2; ++i)
            s.service.enqueue(200, {{header, "application/json"}}, body);
        s.thread->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 2, 10000);
        QCOMPARE(s.rec.count(QStringLiteral("status:true")), 2);
        QCOMPARE(s.rec.count(QStringLiteral("version:")), 0);
        QCOMPARE(s.rec.meetings.keys(), keys);
        if (!keys.isEmpty())
            QCOMPARE(s.rec.meetings.first().getStatusMirror(), 0);
    }

    void versionFromStatusText_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("events");
        const QStringList good{QStringLiteral("status:true")};
        auto msg = [](const char *m) {
            return QByteArray("{\"code\":200,\"message\":\"") + m + "\",\"source\":\"t\"}";
        };
        QTest::newRow("v1.2.3") << 200 << msg("OK - Version v1.2.3") << QStringList{"status:true", "version:1.2.3"};
        QTest::newRow("capital V") << 200 << msg("OK - Version V4.5.6") << QStringList{"status:true", "version:4.5.6"};
        QTest::newRow("no v at all") << 200 << msg("OK - Version 10.0.12") << QStringList{"status:true", "version:10.0.12"};
        QTest::newRow("second v dropped too") << 200 << msg("OK - Version vv1.2.3") << QStringList{"status:true", "version:1.2.3"};
        QTest::newRow("parentheses split like dots") << 200 << msg("OK - Version (7.8.9)") << QStringList{"status:true", "version:7.8.9"};
        QTest::newRow("four parts emit nothing") << 200 << msg("OK - Version 1.2.3-4") << good;
        QTest::newRow("two parts emit nothing") << 200 << msg("OK - Version 2.1") << good;
        QTest::newRow("lower-case status text emits nothing") << 200 << msg("ok - version v1.2.3") << good;
        QTest::newRow("no message key") << 200 << QByteArray("{\"code\":200}") << good;
        QTest::newRow("not JSON") << 200 << QByteArray("OK - Version v1.2.3") << good;
        QTest::newRow("failed status, good text") << 500 << msg("OK - Version v1.2.3") << QStringList{"status:false"};
    }

    void versionFromStatusText()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, events);
        Scripted s;
        QVERIFY(openScripted(s));
        s.rec.events.clear();
        s.service.enqueueJson(status, body);
        s.thread->getServiceStatus();
        QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 1, 10000);
        QCOMPARE(s.rec.events, events);
        const RecordedRequest r = s.service.lastRequest();
        QCOMPARE(r.target, QByteArray("/main/zrv/svc/status"));
        QCOMPARE(r.header("Authorization"), QByteArray("Bearer tok-1"));
        QCOMPARE(r.header("accept"), QByteArray("application/json"));
    }

    void refreshWindow_data()
    {
        QTest::addColumn<int>("msLeft");
        QTest::addColumn<bool>("refresh");
        QTest::newRow("already out of date") << -5000 << true;
        QTest::newRow("running out now") << 0 << true;
        QTest::newRow("twenty whole seconds left") << 20500 << true;
        QTest::newRow("twenty-one whole seconds left") << 21500 << false;
        QTest::newRow("an hour left") << 3600000 << false;
    }

    void refreshWindow()
    {
        QFETCH(int, msLeft);
        QFETCH(bool, refresh);
        Scripted s;
        QVERIFY(openScripted(s));
        s.login.tokenExpiry = QDateTime::currentDateTime().addMSecs(msLeft);
        s.auth.enqueueJson(200, tokenReply("tok-2"));
        s.replyToPoll(200, "[]");
        s.thread->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 2, 10000);
        if (!refresh) {
            QCOMPARE(s.auth.requestCount(), 0);
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.tokens.size(), 2, 10000);
        QCOMPARE(s.rec.tokens.last(), QStringLiteral("tok-2"));
        QCOMPARE(s.login.accessToken, QStringLiteral("tok-2"));
        QCOMPARE(s.login.refreshToken, QStringLiteral("ref-tok-2"));
        QVERIFY(s.login.tokenExpiry > QDateTime::currentDateTime().addSecs(250));
        const RecordedRequest r = s.auth.lastRequest();
        QCOMPARE(r.method + ' ' + r.target, QByteArray("POST /id/auth/refreshtoken"));
        QCOMPARE(r.body, QByteArray("realm=BVK&token=ref-1"));
        QCOMPARE(r.header("Authorization"), QByteArray("Bearer tok-1"));

        // The next poll carries the new token.
        s.replyToPoll(200, "[]");
        s.thread->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 4, 10000);
        QCOMPARE(s.service.lastRequest().header("Authorization"), QByteArray("Bearer tok-2"));
        QCOMPARE(s.auth.requestCount(), 1);
    }

    void refreshFailureCounting_data()
    {
        QTest::addColumn<QList<int>>("replies"); // 200 good, 400 "Token is not active", 500 other
        QTest::addColumn<int>("expiresAfter");    // poll index, -1 never
        QTest::newRow("one unexplained failure is forgiven") << QList<int>{500} << -1;
        QTest::newRow("second failure in a row expires") << QList<int>{500, 500} << 1;
        QTest::newRow("token not active expires at once") << QList<int>{400} << 0;
        QTest::newRow("a good refresh resets the count") << QList<int>{500, 200, 500} << -1;
    }

    void refreshFailureCounting()
    {
        QFETCH(QList<int>, replies);
        QFETCH(int, expiresAfter);
        Scripted s;
        QVERIFY(openScripted(s, 0));
        for (int i = 0; i < replies.size(); ++i) {
            s.login.tokenExpiry = QDateTime::currentDateTime();
            const int code = replies.at(i);
            s.auth.enqueueJson(code, code == 200 ? tokenReply("tok-ok")
                                     : code == 400 ? QByteArray("{\"code\":400,\"message\":\"Token is not active\",\"source\":\"t\"}")
                                                   : QByteArray("{\"code\":500,\"message\":\"boom\",\"source\":\"t\"}"));
            // The refresh reply comes back before those of the poll.
            s.service.enqueueJson(200, "[]", 300);
            s.service.enqueueJson(200, "[]", 300);
            const int before = s.statusCount();
            s.thread->getMeetingsInfo();
            QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), before + 2, 10000);
            QTRY_COMPARE_WITH_TIMEOUT(s.auth.requestCount(), i + 1, 10000);
            QCOMPARE(s.rec.events.contains(QStringLiteral("sessionExpired")),
                     expiresAfter >= 0 && i >= expiresAfter);
        }
        if (expiresAfter >= 0) {
            QCOMPARE(s.rec.count(QStringLiteral("sessionExpired")), 1);
            QVERIFY(s.rec.events.indexOf(QStringLiteral("stopThread"))
                    < s.rec.events.indexOf(QStringLiteral("sessionExpired")));
        }
        QVERIFY(!s.rec.events.contains(QStringLiteral("exitApp")));
    }

    void noSecondRefreshWhileOneRuns()
    {
        Scripted s;
        QVERIFY(openScripted(s, 5));
        s.auth.enqueueJson(200, tokenReply("tok-2"), 1500);
        for (int poll = 1; poll <= 2; ++poll) {
            s.replyToPoll(200, "[]");
            s.thread->getMeetingsInfo();
            QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 2 * poll, 10000);
        }
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.tokens.size(), 2, 10000);
        QCOMPARE(s.auth.requestCount(), 1);
    }

    void scriptedLogsAndErrorTexts_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty service log") << "serviceLog" << 200 << QByteArray() << "Empty log file";
        QTest::newRow("meeting log as it came") << "mirrorLog" << 200 << QByteArray("a\nb") << "a\nb";
        QTest::newRow("failed service log") << "serviceLog" << 500 << QByteArray("x") << "Error getting logfile.";
        QTest::newRow("ban list error without an error object leaves the message empty")
            << "banlist" << 500 << QByteArray()
            << "An error occured while trying to get the banlist: \n";
    }

    void scriptedLogsAndErrorTexts()
    {
        QFETCH(QString, call);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, expected);
        Scripted s;
        QVERIFY(openScripted(s));
        s.service.enqueueJson(200, "{}");
        s.thread->getServiceStatus(); // makes the clients, as at start
        QTRY_COMPARE_WITH_TIMEOUT(s.statusCount(), 1, 10000);
        ModalAnswerer answerer;
        QStringList texts;
        answerBoxesInto(answerer, s.rec, &texts, 1);
        s.service.enqueue(status, {{"Content-Type", "text/plain"}}, body);
        if (call == QLatin1String("serviceLog"))
            s.thread->getServiceLog(7);
        else if (call == QLatin1String("mirrorLog"))
            s.thread->getMirrorLog(QStringLiteral("AB12"), 0);
        else
            s.thread->getBanlist();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(call), 10000);
        if (call == QLatin1String("banlist")) {
            QCOMPARE(texts.value(1), expected);
            return;
        }
        QCOMPARE(call == QLatin1String("serviceLog") ? s.rec.serviceLog : s.rec.mirrorLog, expected);
        QCOMPARE(s.service.lastRequest().target,
                 call == QLatin1String("serviceLog") ? QByteArray("/main/zrv/svc/logfile?count=7")
                                                     : QByteArray("/main/zrv/svc/AB12/logfile?count=0"));
    }
};

QTEST_MAIN(tst_ZRV_MeetingsInfoThread)
#include "tst_ZRV_MeetingsInfoThread.moc"
