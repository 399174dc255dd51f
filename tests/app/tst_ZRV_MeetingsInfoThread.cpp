#include <QApplication>
#include <QtTest>

#include <memory>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ServiceRecorder.h"
#include "ZRV_MeetingsInfoThread.h"

namespace {

QStringList g_debugLines;

void captureAll(QtMsgType, const QMessageLogContext &, const QString &message)
{
    g_debugLines << message;
}

} // namespace

class tst_ZRV_MeetingsInfoThread : public QObject
{
    Q_OBJECT

private:
    ConsoleFixture m_fx;

    // A signed-in service object against the simulator.
    struct Session
    {
        ZRV_LoginData login;
        std::unique_ptr<ZRV_MeetingsInfoThread> service;
        Recorder rec;
    };

    bool open(Session &s, const QString &user, const QString &password, ConsoleFixture *fx = nullptr)
    {
        if (!fx)
            fx = &m_fx;
        if (!fx->signIn(user, password, &s.login))
            return false;
        s.service.reset(new ZRV_MeetingsInfoThread(nullptr, fx->config()));
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

    void tokenIsRefreshedBeforeItRunsOut()
    {
        ConsoleFixture shortLived;
        QVERIFY2(shortLived.start({QStringLiteral("--token-lifetime"), QStringLiteral("20"),
                                   QStringLiteral("--simulate-life"), QStringLiteral("off")}),
                 qPrintable(shortLived.errorText()));
        Session s;
        QVERIFY(open(s, QStringLiteral("groupadmin"), QStringLiteral("group123"), &shortLived));
        const QString oldToken = s.login.accessToken;
        const QString oldRefresh = s.login.refreshToken;

        g_debugLines.clear();
        const QtMessageHandler previous = qInstallMessageHandler(captureAll);
        s.service->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.tokens.size(), 2, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.count(QStringLiteral("status:")), 2, 10000);
        qInstallMessageHandler(previous);

        QCOMPARE(s.rec.tokens.last(), s.login.accessToken);
        QVERIFY(s.login.accessToken != oldToken);
        QVERIFY(s.login.refreshToken != oldRefresh);
        QVERIFY(s.login.tokenExpiry > QDateTime::currentDateTime().addSecs(15));
        for (const QString &line : qAsConst(g_debugLines))
            QVERIFY2(!line.contains(QStringLiteral("group123")), qPrintable(line));

        // The new token serves the next poll; the spent refresh token is gone.
        s.rec.events.clear();
        s.service->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.count(QStringLiteral("status:")), 2, 10000);
        QCOMPARE(s.rec.count(QStringLiteral("status:true")), 2);
        QVERIFY(s.rec.events.contains(QStringLiteral("meetingsInfo")));
    }

    void spentRefreshTokenExpiresTheSession()
    {
        Session s;
        QVERIFY(open(s, QStringLiteral("presenter"), QStringLiteral("presenter123")));
        s.login.refreshToken = QStringLiteral("spent-or-unknown");
        s.login.tokenExpiry = QDateTime::currentDateTime().addSecs(-1);
        s.service->getMeetingsInfo();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("sessionExpired")), 10000);
        const int stopAt = s.rec.events.indexOf(QStringLiteral("stopThread"));
        QVERIFY(stopAt >= 0 && stopAt < s.rec.events.indexOf(QStringLiteral("sessionExpired")));
    }

    void commandsReachTheMeeting()
    {
        Session s;
        QVERIFY(open(s, QStringLiteral("presenter"), QStringLiteral("presenter123")));
        s.service->getMeetingsInfo();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("meetingsInfo")), 10000);
        const QList<ZRVMirrorClientInfo> members =
            s.rec.meetings.value(QStringLiteral("wdr7k2m4")).getClients();
        QVERIFY(members.size() >= 2);
        const QString first = QString::number(members.at(0).getId());

        s.service->sendMeetingCommand(QStringLiteral("wdr7k2m4"), QStringLiteral("GetPlayerPos"),
                                      {first});
        QTRY_COMPARE_WITH_TIMEOUT(s.rec.points.size(), 1, 10000);
        const ZRVSpawnPoint point = s.rec.points.first();
        QCOMPARE(point.getName(), QStringLiteral("Player Pos"));
        QVERIFY(point.getPosition().is_x_Set() && point.getRotation().is_y_Set());

        s.service->sendMeetingCommand(QStringLiteral("wdr7k2m4"), QStringLiteral("KickPlayer"), {first});
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                const QString log = m_fx.sim().request(
                    "GET", QString::fromLatin1(ConsoleFixture::ServiceBase)
                               + QStringLiteral("/zrv/svc/wdr7k2m4/logfile?count=5"), {},
                    {{"Authorization", "Bearer " + s.login.accessToken.toUtf8()}}).body;
                return log.contains(QStringLiteral("Player %1 (").arg(first));
            }(),
            10000);
        s.rec.events.clear();
        s.service->getMeetingsInfo();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("meetingsInfo")), 10000);
        QCOMPARE(s.rec.meetings.value(QStringLiteral("wdr7k2m4")).getClients().size(),
                 members.size() - 1);
    }

    void logsFromTheSimulator_data()
    {
        QTest::addColumn<QString>("meetingId");
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("failure");
        QTest::newRow("service log, three lines") << "" << 3 << false;
        QTest::newRow("meeting log, two lines") << "wdr7k2m4" << 2 << false;
        QTest::newRow("log of a meeting that does not exist") << "nosuch00" << 2 << true;
    }

    void logsFromTheSimulator()
    {
        QFETCH(QString, meetingId);
        QFETCH(int, lines);
        QFETCH(bool, failure);
        Session s;
        QVERIFY(open(s, QStringLiteral("presenter"), QStringLiteral("presenter123")));
        s.service->getServiceVersionInformation(); // makes the clients, as at start
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("versions")), 10000);
        QCOMPARE(s.rec.versions.getConsole().getVersion(), (QList<int>{1, 0, 0}));

        if (meetingId.isEmpty())
            s.service->getServiceLog(lines);
        else
            s.service->getMirrorLog(meetingId, lines);
        const QString kind = meetingId.isEmpty() ? QStringLiteral("serviceLog") : QStringLiteral("mirrorLog");
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(kind), 10000);
        const QString text = meetingId.isEmpty() ? s.rec.serviceLog : s.rec.mirrorLog;
        if (failure) {
            QCOMPARE(text, QStringLiteral("Error getting logfile."));
        } else {
            QVERIFY(!text.isEmpty() && text != QStringLiteral("Error getting logfile."));
            QVERIFY(text.trimmed().split(QLatin1Char('\n')).size() <= lines);
        }
    }

    void temporaryStorageKey_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("keyExpected");
        QTest::newRow("MinIO account gets a key") << "groupadmin" << "group123" << true;
        QTest::newRow("NextCloud account gets the refusal as it came") << "cloud" << "cloud123" << false;
    }

    void temporaryStorageKey()
    {
        QFETCH(QString, user);
        QFETCH(QString, password);
        QFETCH(bool, keyExpected);
        Session s;
        QVERIFY(open(s, user, password));
        s.service->getServiceStatus();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.count(QStringLiteral("status:")) > 0, 10000);
        s.service->getS3Token();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("s3TempAccess")), 10000);
        QCOMPARE(s.rec.key.is_access_key_id_Set(), keyExpected);
        QCOMPARE(!s.rec.key.getSecretAccessKey().isEmpty(), keyExpected);
        QCOMPARE(s.rec.key.getArn() == QLatin1String("MINIO"), keyExpected);
    }

    void banlistAndBundlesSucceed()
    {
        Session s;
        QVERIFY(open(s, QStringLiteral("admin"), QStringLiteral("admin123")));
        ModalAnswerer answerer;
        QStringList texts;
        answerBoxesInto(answerer, s.rec, &texts, 5);
        s.service->getBanlist();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("banlist")), 10000);
        QCOMPARE(s.rec.banlist.size(), 3);

        ZRVBanlistEntry entry;
        entry.setMode(0);
        entry.setFilename(QStringLiteral("bad.fbx"));
        entry.setChecksum(QStringLiteral("abc"));
        s.service->addBanlistEntry(entry);
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("banlistPost")) || !texts.isEmpty(), 10000);
        QVERIFY2(texts.isEmpty(), qPrintable(texts.join(QLatin1Char('|'))));
        QVERIFY(s.rec.banPost > 0);
        s.service->deleteBanlistEntry(s.rec.banPost);
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("banlistDeleted")), 10000);
        QCOMPARE(s.rec.banDeleted, s.rec.banPost);

        s.service->getAssetBundles();
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("assetBundles")), 10000);
        QStringList names;
        for (const ZRVAssetBundle &b : qAsConst(s.rec.bundles))
            names << b.getName();
        QVERIFY(names.contains(QStringLiteral("Zarvo Lobby")));
        QVERIFY(names.contains(QStringLiteral("Presenter Stage")));

        ZRVAssetBundle bundle;
        bundle.setName(QStringLiteral("Test Bundle"));
        bundle.setMode(1);
        bundle.setStgRelPath(QStringLiteral("__ASSETBUNDLES/test"));
        s.service->createAssetBundle(bundle);
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("assetBundlePost")) || !texts.isEmpty(), 10000);
        QVERIFY2(texts.isEmpty(), qPrintable(texts.join(QLatin1Char('|'))));
        QVERIFY(!s.rec.bundlePost.isEmpty());
        s.service->deleteAssetBundle(s.rec.bundlePost);
        QTRY_VERIFY_WITH_TIMEOUT(s.rec.events.contains(QStringLiteral("assetBundleDeleted")), 10000);
        QVERIFY2(texts.isEmpty(), qPrintable(texts.join(QLatin1Char('|'))));
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
};

QTEST_MAIN(tst_ZRV_MeetingsInfoThread)
#include "tst_ZRV_MeetingsInfoThread.moc"
