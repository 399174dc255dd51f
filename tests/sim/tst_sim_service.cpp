#include "SimOutcome.h"
#include "SimProcess.h"

#include "ZRVAssetBundleApi.h"
#include "ZRVMeetingServiceApi.h"

#include <QJsonArray>
#include <QtTest>

using namespace ZRV_Service_API;

// The main service through the console's own clients: assets, commands, logs, keys, ban list, bundles, life.
class tst_sim_service : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void statusAndVersions();
    void assetNumbers_data();
    void assetNumbers();
    void assetDelete();
    void commands_data();
    void commands();
    void liveRecordUpdateTakesVoiceAndRole();
    void logTails_data();
    void logTails();
    void temporaryKeys_data();
    void temporaryKeys();
    void banlist();
    void bundles();
    void membersMoveWithLife();

private:
    ZRVMeetingServiceApi *service(const QString &login, const QString &password);
    ZRVMeetingInfo info(ZRVMeetingServiceApi *api, const QString &meetingId);

    SimProcess *m_sim = nullptr;
    QList<QObject *> m_clients;
};

// Connects one success/failure pair for a single call and waits for it.
#define SIM_CALL(outcome, api, okSignal, okLambda, errSignal, errLambda, call) \
    do {                                                                        \
        auto c1 = connect(api, okSignal, okLambda);                             \
        auto c2 = connect(api, errSignal, errLambda);                           \
        call;                                                                   \
        QVERIFY((outcome).wait());                                              \
        disconnect(c1);                                                         \
        disconnect(c2);                                                         \
    } while (0)

void tst_sim_service::init()
{
    m_sim = new SimProcess;
    QString error;
    QVERIFY2(m_sim->start({QStringLiteral("--simulate-life"), QStringLiteral("off"), QStringLiteral("--service-version"), QStringLiteral("v9.8.7"),
                           QStringLiteral("--s3-endpoint"), QStringLiteral("http://127.0.0.1:9555")}, &error), qPrintable(error));
}

void tst_sim_service::cleanup()
{
    qDeleteAll(m_clients);
    m_clients.clear();
    delete m_sim;
    m_sim = nullptr;
}

ZRVMeetingServiceApi *tst_sim_service::service(const QString &login, const QString &password)
{
    auto *api = new ZRVMeetingServiceApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
    if (!login.isEmpty())
        api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(login, password));
    m_clients << api;
    return api;
}

ZRVMeetingInfo tst_sim_service::info(ZRVMeetingServiceApi *api, const QString &meetingId)
{
    ZRVMeetingInfo result;
    SimOutcome o;
    auto c = connect(api, &ZRVMeetingServiceApi::meetingInfoSignal, [&](ZRVMeetingInfo i) { result = i; o.succeed(); });
    api->meetingInfo(meetingId);
    o.wait();
    disconnect(c);
    return result;
}

static QList<int> memberIds(const ZRVMeetingInfo &info)
{
    QList<int> ids;
    for (const ZRVMirrorClientInfo &c : info.getClients())
        ids << c.getId();
    return ids;
}

void tst_sim_service::statusAndVersions()
{
    ZRVMeetingServiceApi *api = service(QString(), QString()); // both answer before any login
    SimOutcome status;
    QString body;
    SIM_CALL(status, api, &ZRVMeetingServiceApi::serviceStatusSignalFull, [&](ZRVHttpRequestWorker *w) { body = w->response; status.succeed(); },
             &ZRVMeetingServiceApi::serviceStatusSignalE, [&](QNetworkReply::NetworkError e, QString t) { status.fail(e, t); }, api->serviceStatus());
    QVERIFY(status.ok);
    QVERIFY2(body.contains(QLatin1String("OK - Version v9.8.7")), qPrintable(body));

    SimOutcome versions;
    ZRVVersions v;
    SIM_CALL(versions, api, &ZRVMeetingServiceApi::serviceVersionsSignal, [&](ZRVVersions s) { v = s; versions.succeed(); },
             &ZRVMeetingServiceApi::serviceVersionsSignalE, [&](ZRVVersions, QNetworkReply::NetworkError e, QString t) { versions.fail(e, t); },
             api->serviceVersions());
    QVERIFY(versions.ok);
    QCOMPARE(v.getConsole().getVersion(), (QList<int>{1, 0, 0}));
    QCOMPARE(QUrl(v.getConsole().getUpdateUrl()).port(), m_sim->port());
    QVERIFY(v.getIOS().is_version_Set());
}

void tst_sim_service::assetNumbers_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("expected"); // the stored id, or the refusal's status when >= 400 and < 1000
    QTest::addColumn<int>("count");
    QTest::newRow("fbx with id 0 takes the next free number") << 0 << 1 << "presenter/chair.fbx" << 2 << 3;
    QTest::newRow("placeholder keeps its number") << 22007 << 3 << "https://example.com/x" << 22007 << 3;
    QTest::newRow("known id changes that asset") << 1 << 1 << "presenter/stage2.fbx" << 1 << 2;
    QTest::newRow("placeholder number 22000 refused") << 22000 << 3 << "https://example.com" << 400 << 2;
    QTest::newRow("placeholder number 23000 refused") << 23000 << 3 << "https://example.com" << 400 << 2;
    QTest::newRow("placeholder in the ordinary range refused") << 17 << 3 << "https://example.com" << 400 << 2;
}

void tst_sim_service::assetNumbers()
{
    QFETCH(int, id);
    QFETCH(int, mode);
    QFETCH(QString, path);
    QFETCH(int, expected);
    QFETCH(int, count);
    ZRVMeetingServiceApi *api = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVAsset asset;
    asset.setId(id);
    asset.setMode(mode);
    asset.setStgRelPath(path);
    ZRVAsset stored;
    SimOutcome o;
    SIM_CALL(o, api, &ZRVMeetingServiceApi::assetAddSignal, [&](ZRVAsset a) { stored = a; o.succeed(); },
             &ZRVMeetingServiceApi::assetAddSignalE, [&](ZRVAsset, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
             api->assetAdd(QStringLiteral("WDR7K2M4"), asset));
    if (expected >= 400 && expected < 1000) {
        QVERIFY(!o.ok);
        QCOMPARE(o.errorCode(), expected);
    } else {
        QVERIFY2(o.ok, qPrintable(o.errorText));
        QCOMPARE(stored.getId(), expected);
        QCOMPARE(stored.getMeetingId(), QStringLiteral("wdr7k2m4"));
        QCOMPARE(stored.getStgRelPath(), path);
    }
    QCOMPARE(info(api, QStringLiteral("wdr7k2m4")).getAssets().size(), count);
}

void tst_sim_service::assetDelete()
{
    ZRVMeetingServiceApi *api = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    for (const bool present : {true, false}) {
        SimOutcome o;
        SIM_CALL(o, api, &ZRVMeetingServiceApi::assetDeleteSignal, [&] { o.succeed(); },
                 &ZRVMeetingServiceApi::assetDeleteSignalE, [&](QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
                 api->assetDelete(QStringLiteral("wdr7k2m4"), 22001));
        QCOMPARE(o.ok, present);
        if (!present)
            QCOMPARE(o.errorCode(), 404);
    }
    QCOMPARE(info(api, QStringLiteral("wdr7k2m4")).getAssets().size(), 1);
}

void tst_sim_service::commands_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("param");
    QTest::addColumn<int>("refusal");
    QTest::newRow("kick a member") << "wdr7k2m4" << "KickPlayer" << "2" << 0;
    QTest::newRow("message to all") << "wdr7k2m4" << "SendMessage" << "Break in 5 minutes" << 0;
    QTest::newRow("position of a member") << "wdr7k2m4" << "GetPlayerPos" << "1" << 0;
    QTest::newRow("kick somebody absent") << "wdr7k2m4" << "KickPlayer" << "99" << 404;
    QTest::newRow("command to a stopped meeting") << "prl5t8c6" << "SendMessage" << "anyone?" << 409;
    QTest::newRow("unknown command") << "wdr7k2m4" << "MuteAll" << "1" << 400;
}

void tst_sim_service::commands()
{
    QFETCH(QString, meetingId);
    QFETCH(QString, command);
    QFETCH(QString, param);
    QFETCH(int, refusal);
    ZRVMeetingServiceApi *api = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVMeetingCommand cmd;
    cmd.setCommand(command);
    cmd.setParams({param});
    ZRVMeetingCommandResponse reply;
    SimOutcome o;
    SIM_CALL(o, api, &ZRVMeetingServiceApi::meetingCommandSignal, [&](ZRVMeetingCommandResponse r) { reply = r; o.succeed(); },
             &ZRVMeetingServiceApi::meetingCommandSignalE, [&](ZRVMeetingCommandResponse, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
             api->meetingCommand(meetingId, cmd));
    QCOMPARE(o.ok, refusal == 0);
    if (refusal) {
        QCOMPARE(o.errorCode(), refusal);
        return;
    }
    QCOMPARE(reply.getCommand(), command);
    QCOMPARE(reply.getMeetingId(), meetingId);
    const QList<int> members = memberIds(info(api, meetingId));
    QCOMPARE(members.contains(2), command != QLatin1String("KickPlayer"));
    QCOMPARE(reply.getVList().size(), command == QLatin1String("GetPlayerPos") ? 2 : 0);
    QString log;
    SimOutcome l;
    SIM_CALL(l, api, &ZRVMeetingServiceApi::meetingLogfileSignal, [&](QString s) { log = s; l.succeed(); },
             &ZRVMeetingServiceApi::meetingLogfileSignalE, [&](QString, QNetworkReply::NetworkError e, QString t) { l.fail(e, t); },
             api->meetingLogfile(meetingId, 1));
    if (command == QLatin1String("SendMessage"))
        QVERIFY2(log.contains(param), qPrintable(log));
}

void tst_sim_service::liveRecordUpdateTakesVoiceAndRole()
{
    ZRVMeetingServiceApi *api = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVMeetingInfo record = info(api, QStringLiteral("wdr7k2m4"));
    QList<ZRVMirrorClientInfo> clients = record.getClients();
    QCOMPARE(clients.size(), 3);
    clients[1].setVoiceEnabled(false);
    clients[1].setCurrentRole(QStringLiteral("Presenter"));
    ZRVMirrorClientInfo stranger = clients[2];
    stranger.setId(99);
    clients << stranger;
    record.setClients(clients);
    SimOutcome o;
    SIM_CALL(o, api, &ZRVMeetingServiceApi::meetingInfoUpdateSignal, [&] { o.succeed(); },
             &ZRVMeetingServiceApi::meetingInfoUpdateSignalE, [&](QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
             api->meetingInfoUpdate(QStringLiteral("wdr7k2m4"), record));
    QVERIFY2(o.ok, qPrintable(o.errorText));
    const ZRVMeetingInfo after = info(api, QStringLiteral("wdr7k2m4"));
    QCOMPARE(memberIds(after), (QList<int>{1, 2, 3})); // nobody joins by a live record
    QCOMPARE(after.getClients().at(1).getVoiceEnabled(), false);
    QCOMPARE(after.getClients().at(1).getCurrentRole(), QStringLiteral("Presenter"));
}

void tst_sim_service::logTails_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("lines"); // -1: refused
    QTest::newRow("three of five lines") << 3 << 3;
    QTest::newRow("more than held gives all") << 100 << 5;
    QTest::newRow("zero gives nothing") << 0 << 0;
    QTest::newRow("negative count refused") << -4 << -1;
}

void tst_sim_service::logTails()
{
    QFETCH(int, count);
    QFETCH(int, lines);
    ZRVMeetingServiceApi *api = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    QString text;
    QString type;
    SimOutcome o;
    SIM_CALL(o, api, &ZRVMeetingServiceApi::meetingLogfileSignalFull,
             [&](ZRVHttpRequestWorker *w, QString s) { text = s; type = w->getResponseHeaders().value(QStringLiteral("Content-Type")); o.succeed(); },
             &ZRVMeetingServiceApi::meetingLogfileSignalE, [&](QString, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
             api->meetingLogfile(QStringLiteral("wdr7k2m4"), count));
    QCOMPARE(o.ok, lines >= 0);
    if (lines < 0)
        return;
    QCOMPARE(type, QStringLiteral("text/plain"));
    QCOMPARE(text.count(QLatin1Char('\n')), lines);
    SimOutcome s;
    SIM_CALL(s, api, &ZRVMeetingServiceApi::serviceLogfileSignal, [&](QString t) { text = t; s.succeed(); },
             &ZRVMeetingServiceApi::serviceLogfileSignalE, [&](QString, QNetworkReply::NetworkError e, QString t) { s.fail(e, t); },
             api->serviceLogfile(count));
    QVERIFY(s.ok);
    QCOMPARE(text.count(QLatin1Char('\n')), qMin(count, 5)); // three seed lines, the login and its request
}

void tst_sim_service::temporaryKeys_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("folder"); // empty: no object store
    QTest::newRow("presenter's folder") << "presenter" << "presenter123" << "presenter";
    QTest::newRow("group administrator without fixed keys") << "groupadmin" << "group123" << "groupadmin";
    QTest::newRow("NextCloud account has no object store") << "cloud" << "cloud123" << "";
}

void tst_sim_service::temporaryKeys()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, folder);
    ZRVMeetingServiceApi *api = service(login, password);
    ZRVS3TempAccessKey key;
    SimOutcome o;
    SIM_CALL(o, api, &ZRVMeetingServiceApi::s3TempAccessKeySignal, [&](ZRVS3TempAccessKey k) { key = k; o.succeed(); },
             &ZRVMeetingServiceApi::s3TempAccessKeySignalE, [&](ZRVS3TempAccessKey, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); },
             api->s3TempAccessKey());
    QCOMPARE(o.ok, !folder.isEmpty());
    if (folder.isEmpty()) {
        QCOMPARE(o.errorCode(), 404);
        return;
    }
    QCOMPARE(key.getArn(), QStringLiteral("MINIO"));
    QCOMPARE(key.getAssumedRoleId(), folder);
    QCOMPARE(key.getEndpoint(), QStringLiteral("http://127.0.0.1:9555"));
    QCOMPARE(key.getBucket(), QStringLiteral("zarvo"));
    QVERIFY(!key.getSessionToken().isEmpty());
    const QDateTime expiry = QDateTime::fromString(key.getExpiration(), Qt::TextDate);
    QVERIFY2(expiry.isValid(), qPrintable(key.getExpiration()));
    QVERIFY(QDateTime::currentDateTimeUtc().secsTo(expiry) > 3000);
}

void tst_sim_service::banlist()
{
    ZRVMeetingServiceApi *admin = service(QStringLiteral("admin"), QStringLiteral("admin123"));
    ZRVMeetingServiceApi *presenter = service(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    auto entries = [&](ZRVMeetingServiceApi *api) {
        QList<int> ids;
        SimOutcome o;
        auto c = connect(api, &ZRVMeetingServiceApi::banlistGetSignal, [&](QList<ZRVBanlistEntry> l) {
            for (const ZRVBanlistEntry &e : l)
                ids << e.getId();
            o.succeed();
        });
        api->banlistGet();
        o.wait();
        disconnect(c);
        return ids;
    };
    QCOMPARE(entries(presenter), (QList<int>{1, 2, 3}));
    ZRVBanlistEntry entry;
    entry.setMode(3);
    entry.setFilename(QStringLiteral("Phishing"));
    entry.setChecksum(QStringLiteral("https://*.phish.example/*"));
    for (ZRVMeetingServiceApi *api : {presenter, admin}) {
        int id = -1;
        SimOutcome o;
        SIM_CALL(o, api, &ZRVMeetingServiceApi::banlistPostSignal, [&](int s) { id = s; o.succeed(); },
                 &ZRVMeetingServiceApi::banlistPostSignalE, [&](int s, QNetworkReply::NetworkError e, QString t) { id = s; o.fail(e, t); },
                 api->banlistPost(entry));
        QCOMPARE(o.ok, api == admin);
        QCOMPARE(id, api == admin ? 4 : 0);
    }
    QCOMPARE(entries(presenter), (QList<int>{1, 2, 3, 4}));
    int deleted = -1;
    SimOutcome d;
    SIM_CALL(d, admin, &ZRVMeetingServiceApi::banlistDeleteSignal, [&](int s) { deleted = s; d.succeed(); },
             &ZRVMeetingServiceApi::banlistDeleteSignalE, [&](int, QNetworkReply::NetworkError e, QString t) { d.fail(e, t); },
             admin->banlistDelete(2));
    QCOMPARE(deleted, 2);
    QCOMPARE(entries(admin), (QList<int>{1, 3, 4}));
}

void tst_sim_service::bundles()
{
    auto bundleClient = [&](const QString &login, const QString &password) {
        auto *api = new ZRVAssetBundleApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
        api->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
        api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(login, password));
        m_clients << api;
        return api;
    };
    ZRVAssetBundleApi *presenter = bundleClient(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVAssetBundleApi *cloud = bundleClient(QStringLiteral("cloud"), QStringLiteral("cloud123"));
    auto visible = [&](ZRVAssetBundleApi *api) {
        QStringList owners;
        SimOutcome o;
        auto c = connect(api, &ZRVAssetBundleApi::assetBundleGetSignal, [&](QList<ZRVAssetBundle> l) {
            for (const ZRVAssetBundle &b : l)
                owners << b.getName() + QLatin1Char('/') + b.getUserId();
            o.succeed();
        });
        api->assetBundleGet(QString());
        o.wait();
        disconnect(c);
        return owners;
    };
    QCOMPARE(visible(cloud), QStringList{QStringLiteral("Zarvo Lobby/")});
    QCOMPARE(visible(presenter).size(), 2);

    auto post = [&](ZRVAssetBundleApi *api, const QString &name, SimOutcome *o) {
        ZRVAssetBundle b;
        b.setName(name);
        b.setMode(1);
        b.setStgRelPath(QStringLiteral("presenter/__ASSETBUNDLES/") + name);
        QString id;
        auto c1 = connect(api, &ZRVAssetBundleApi::assetBundlePostSignal, [&](QString s) { id = s; o->succeed(); });
        auto c2 = connect(api, &ZRVAssetBundleApi::assetBundlePostSignalE, [&](QString, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
        api->assetBundlePost(b);
        o->wait();
        disconnect(c1);
        disconnect(c2);
        return id;
    };
    SimOutcome first, duplicate;
    const QString id = post(presenter, QStringLiteral("Stage B"), &first);
    QVERIFY2(first.ok && !id.isEmpty(), qPrintable(first.errorText));
    post(presenter, QStringLiteral("Stage B"), &duplicate);
    QCOMPARE(duplicate.errorCode(), 409);
    QVERIFY(visible(presenter).contains(QStringLiteral("Stage B/8d1f0c52-0a6e-4c1b-9a51-000000000003")));

    auto remove = [&](ZRVAssetBundleApi *api, const QString &bundleId, SimOutcome *o) {
        auto c1 = connect(api, &ZRVAssetBundleApi::assetBundleDeleteSignal, [&](QString) { o->succeed(); });
        auto c2 = connect(api, &ZRVAssetBundleApi::assetBundleDeleteSignalE, [&](QString, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
        api->assetBundleDelete(bundleId);
        o->wait();
        disconnect(c1);
        disconnect(c2);
    };
    SimOutcome global, foreign, own;
    remove(presenter, QStringLiteral("ab-0001"), &global);
    QCOMPARE(global.errorMessage(), QStringLiteral("This Asset Bundle cannot be deleted."));
    remove(cloud, id, &foreign);
    QCOMPARE(foreign.errorCode(), 403);
    remove(presenter, id, &own);
    QVERIFY(own.ok);
    QCOMPARE(visible(presenter).size(), 2);
}

void tst_sim_service::membersMoveWithLife()
{
    ZRVMeetingServiceApi *api = service(QStringLiteral("admin"), QStringLiteral("admin123"));
    const QList<int> before = memberIds(info(api, QStringLiteral("brd9q3x1")));
    bool talked = false;
    for (int i = 0; i < 10 && !talked; ++i) {
        QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/tick"), QJsonObject{{QStringLiteral("steps"), 1}}).status, 200);
        for (const ZRVMirrorClientInfo &c : info(api, QStringLiteral("brd9q3x1")).getClients())
            talked = talked || c.getVoiceIsTalking();
    }
    QVERIFY(talked);
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/tick"), QJsonObject{{QStringLiteral("steps"), 30}}).status, 200);
    const ZRVMeetingInfo after = info(api, QStringLiteral("brd9q3x1"));
    QVERIFY(memberIds(after) != before);
    QVERIFY(!after.getClients().isEmpty());
    // Stopped meetings stay empty.
    QVERIFY(info(api, QStringLiteral("prl5t8c6")).getClients().isEmpty());
}

QTEST_GUILESS_MAIN(tst_sim_service)
#include "tst_sim_service.moc"
