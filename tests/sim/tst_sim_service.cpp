#include "SimOutcome.h"
#include "SimProcess.h"

#include "MotoServer.h"
#include "ZRVAssetBundleApi.h"
#include "ZRVMeetingServiceApi.h"

#include <QtTest>

using namespace ZRV_Service_API;
using S = ZRVMeetingServiceApi;
using B = ZRVAssetBundleApi;

// The main service through the console's own clients: assets, commands, logs, keys, ban list, bundles, life.
class tst_sim_service : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void statusAndVersionsBeforeLogin();
    void assetNumbers_data();
    void assetNumbers();
    void commands_data();
    void commands();
    void liveRecordUpdateTakesVoiceAndRole();
    void liveRecordUpdateRefusesWrongTypes_data();
    void liveRecordUpdateRefusesWrongTypes();
    void logTails_data();
    void logTails();
    void temporaryKeys_data();
    void temporaryKeys();
    void banlist();
    void bundles();
    void bundleFilesInTheStore_data();
    void bundleFilesInTheStore();
    void membersMoveWithLife();

private:
    template <typename Api>
    Api *client(const QString &login, const QString &password);
    ZRVMeetingInfo info(S *api, const QString &meetingId);

    SimProcess *m_sim = nullptr;
    QList<QObject *> m_clients;
};

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

template <typename Api>
Api *tst_sim_service::client(const QString &login, const QString &password)
{
    auto *api = new Api(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
    if (!login.isEmpty())
        api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(login, password));
    m_clients << api;
    return api;
}

ZRVMeetingInfo tst_sim_service::info(S *api, const QString &meetingId)
{
    SimOutcome o;
    return std::get<0>(simCall(api, &S::meetingInfoSignal, &S::meetingInfoSignalE, [&] { api->meetingInfo(meetingId); }, &o));
}

static QList<int> memberIds(const ZRVMeetingInfo &info)
{
    QList<int> ids;
    for (const ZRVMirrorClientInfo &c : info.getClients())
        ids << c.getId();
    return ids;
}

void tst_sim_service::statusAndVersionsBeforeLogin()
{
    S *api = client<S>(QString(), QString());
    SimOutcome status, versions;
    QString body; // the worker is gone once the wait is over, so read it while it signals
    connect(api, &S::serviceStatusSignalFull, [&](ZRVHttpRequestWorker *w) { body = w->response; });
    simCall(api, &S::serviceStatusSignal, &S::serviceStatusSignalE, [&] { api->serviceStatus(); }, &status);
    QVERIFY(status.ok);
    QVERIFY2(body.contains(QLatin1String("OK - Version v9.8.7")), qPrintable(body));
    const ZRVVersions v = std::get<0>(simCall(api, &S::serviceVersionsSignal, &S::serviceVersionsSignalE, [&] { api->serviceVersions(); }, &versions));
    QVERIFY(versions.ok);
    QCOMPARE(v.getConsole().getVersion(), (QList<int>{1, 0, 0}));
    QCOMPARE(QUrl(v.getConsole().getUpdateUrl()).port(), m_sim->port());
    QVERIFY(v.getIOS().isSet());
}

void tst_sim_service::assetNumbers_data()
{
    QTest::addColumn<int>("id");
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("stored"); // 0: refused with 400
    QTest::addColumn<int>("count");
    QTest::newRow("fbx with id 0 takes the next free number") << 0 << 1 << 2 << 3;
    QTest::newRow("placeholder keeps its number") << 22007 << 3 << 22007 << 3;
    QTest::newRow("known id changes that asset") << 1 << 1 << 1 << 2;
    QTest::newRow("placeholder number 22000 refused") << 22000 << 3 << 0 << 2;
    QTest::newRow("placeholder number 23000 refused") << 23000 << 3 << 0 << 2;
    QTest::newRow("placeholder in the ordinary range refused") << 17 << 3 << 0 << 2;
}

void tst_sim_service::assetNumbers()
{
    QFETCH(int, id);
    QFETCH(int, mode);
    QFETCH(int, stored);
    QFETCH(int, count);
    S *api = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVAsset asset;
    asset.setId(id);
    asset.setMode(mode);
    asset.setStgRelPath(QStringLiteral("presenter/new.fbx"));
    SimOutcome o;
    const ZRVAsset reply = std::get<0>(simCall(api, &S::assetAddSignal, &S::assetAddSignalE, [&] { api->assetAdd(QStringLiteral("WDR7K2M4"), asset); }, &o));
    QCOMPARE(o.ok, stored != 0);
    QCOMPARE(o.errorCode(), stored ? 0 : 400);
    QCOMPARE(reply.getId(), stored);
    QCOMPARE(reply.getMeetingId(), stored ? QStringLiteral("wdr7k2m4") : QString());
    QCOMPARE(info(api, QStringLiteral("wdr7k2m4")).getAssets().size(), count);
    for (const bool present : {true, false}) { // deleting twice: the second finds nothing
        SimOutcome d;
        simCall(api, &S::assetDeleteSignal, &S::assetDeleteSignalE, [&] { api->assetDelete(QStringLiteral("wdr7k2m4"), 22001); }, &d);
        QCOMPARE(d.errorCode(), present ? 0 : 404);
    }
}

void tst_sim_service::commands_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("param");
    QTest::addColumn<int>("refusal");
    QTest::addColumn<QString>("logged"); // the meeting log's last line holds this
    QTest::newRow("kick a member") << "wdr7k2m4" << "KickPlayer" << "2" << 0 << "Player 2 (Guest Aino) kicked";
    QTest::newRow("message to all") << "wdr7k2m4" << "SendMessage" << "Break in 5 minutes" << 0 << "Message to all: Break in 5 minutes";
    QTest::newRow("position of a member") << "wdr7k2m4" << "GetPlayerPos" << "1" << 0 << "Player 3 (Guest Bjarne) joined";
    QTest::newRow("kick somebody absent") << "wdr7k2m4" << "KickPlayer" << "99" << 404 << "";
    QTest::newRow("command to a stopped meeting") << "prl5t8c6" << "SendMessage" << "anyone?" << 409 << "";
    QTest::newRow("unknown command") << "wdr7k2m4" << "MuteAll" << "1" << 400 << "";
    QTest::newRow("kick in somebody else's meeting") << "brd9q3x1" << "KickPlayer" << "4" << 403 << "";
    QTest::newRow("message to somebody else's meeting") << "brd9q3x1" << "SendMessage" << "hello" << 403 << "";
}

void tst_sim_service::commands()
{
    QFETCH(QString, meetingId);
    QFETCH(QString, command);
    QFETCH(QString, param);
    QFETCH(int, refusal);
    QFETCH(QString, logged);
    S *api = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVMeetingCommand cmd;
    cmd.setCommand(command);
    cmd.setParams({param});
    SimOutcome o, l;
    const ZRVMeetingCommandResponse reply = std::get<0>(simCall(api, &S::meetingCommandSignal, &S::meetingCommandSignalE,
                                                                [&] { api->meetingCommand(meetingId, cmd); }, &o));
    QVERIFY(o.done);
    QCOMPARE(o.errorCode(), refusal);
    if (refusal)
        return;
    QCOMPARE(reply.getCommand(), command);
    QCOMPARE(reply.getMeetingId(), meetingId);
    QCOMPARE(memberIds(info(api, meetingId)).contains(2), command != QLatin1String("KickPlayer"));
    QCOMPARE(reply.getVList().size(), command == QLatin1String("GetPlayerPos") ? 2 : 0);
    const QString last = std::get<0>(simCall(api, &S::meetingLogfileSignal, &S::meetingLogfileSignalE,
                                             [&] { api->meetingLogfile(meetingId, 1); }, &l));
    QVERIFY2(last.contains(logged), qPrintable(last));
}

void tst_sim_service::liveRecordUpdateTakesVoiceAndRole()
{
    S *api = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVMeetingInfo record = info(api, QStringLiteral("wdr7k2m4"));
    QList<ZRVMirrorClientInfo> clients = record.getClients();
    QCOMPARE(clients.size(), 3);
    clients[1].setVoiceEnabled(false);
    clients[1].setCurrentRole(QStringLiteral("Presenter"));
    ZRVMirrorClientInfo stranger = clients[2];
    stranger.setId(99);
    record.setClients(clients << stranger);
    SimOutcome o;
    simCall(api, &S::meetingInfoUpdateSignal, &S::meetingInfoUpdateSignalE, [&] { api->meetingInfoUpdate(QStringLiteral("wdr7k2m4"), record); }, &o);
    QVERIFY2(o.ok, qPrintable(o.errorText));
    const ZRVMeetingInfo after = info(api, QStringLiteral("wdr7k2m4"));
    QCOMPARE(memberIds(after), (QList<int>{1, 2, 3})); // nobody joins by a live record
    QCOMPARE(after.getClients().at(1).getVoiceEnabled(), false);
    QCOMPARE(after.getClients().at(1).getCurrentRole(), QStringLiteral("Presenter"));
}

void tst_sim_service::liveRecordUpdateRefusesWrongTypes_data()
{
    QTest::addColumn<QByteArray>("field"); // a JSON member beside "chatMode":0
    QTest::addColumn<QString>("refusal");  // empty: taken
    QTest::newRow("voice mode as text") << QByteArray(R"("voiceMode":"1")") << "voiceMode must be a number";
    QTest::newRow("assets as one object") << QByteArray(R"("assets":{"Id":1})") << "assets must be an array";
    QTest::newRow("asset element that is no object") << QByteArray(R"("assets":[7])") << "assets[0] must be an object";
    QTest::newRow("coordinate as text, deep in an asset") << QByteArray(R"("assets":[{"Id":1},{"Id":2,"Position":{"x":"1"}}])") << "assets[1].Position.x must be a number";
    QTest::newRow("voice switch as text") << QByteArray(R"("clients":[{"Id":1,"voiceEnabled":"false"}])") << "clients[0].voiceEnabled must be true or false";
    QTest::newRow("bundle id as number") << QByteArray(R"("assetBundles":[{"Id":1}])") << "assetBundles[0].Id must be a string";
    QTest::newRow("bundle size as text") << QByteArray(R"("assetBundles":[{"Id":"ab-0002","StgSize":[1,"2"]}])") << "assetBundles[0].StgSize[1] must be a number";
    QTest::newRow("spawn point name null") << QByteArray(R"("spawnPoints":[{"Id":0,"Name":null}])") << "spawnPoints[0].Name must be a string";
    QTest::newRow("all types right") << QByteArray(R"("spawnPoints":[{"Id":0,"PlayerId":2,"Name":"Start","Position":{"x":1.5}}])") << "";
}

void tst_sim_service::liveRecordUpdateRefusesWrongTypes()
{
    QFETCH(QByteArray, field);
    QFETCH(QString, refusal);
    const QByteArray bearer = "Bearer " + m_sim->token(QStringLiteral("presenter"), QStringLiteral("presenter123")).toUtf8();
    const SimProcess::Reply put = m_sim->request("PUT", QStringLiteral("/zrv/svc/meeting/wdr7k2m4/info"), R"({"chatMode":0,)" + field + "}",
                                                 {{"Authorization", bearer}, {"Content-Type", "application/json"}});
    QCOMPARE(put.status, refusal.isEmpty() ? 200 : 400);
    if (!refusal.isEmpty()) {
        QCOMPARE(put.object().value(QStringLiteral("code")).toInt(), 400);
        QCOMPARE(put.object().value(QStringLiteral("message")).toString(), refusal);
        QCOMPARE(put.object().value(QStringLiteral("source")).toString(), QStringLiteral("zrv-service"));
    }
    // Refused whole: the field beside the wrong one is not taken either.
    S *api = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    QCOMPARE(info(api, QStringLiteral("wdr7k2m4")).getChatMode(), refusal.isEmpty() ? 0 : 1);
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
    S *api = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    SimOutcome o, s;
    QString type;
    connect(api, &S::meetingLogfileSignalFull, [&](ZRVHttpRequestWorker *w) { type = w->getResponseHeaders().value(QStringLiteral("Content-Type")); });
    const QString meeting = std::get<0>(simCall(api, &S::meetingLogfileSignal, &S::meetingLogfileSignalE,
                                                [&] { api->meetingLogfile(QStringLiteral("wdr7k2m4"), count); }, &o));
    QCOMPARE(o.ok, lines >= 0);
    if (lines < 0)
        return;
    QCOMPARE(type, QStringLiteral("text/plain"));
    QCOMPARE(meeting.count(QLatin1Char('\n')), lines);
    const QString service = std::get<0>(simCall(api, &S::serviceLogfileSignal, &S::serviceLogfileSignalE, [&] { api->serviceLogfile(count); }, &s));
    QCOMPARE(service.count(QLatin1Char('\n')), qMin(count, 7)); // five seed lines, the login and its request
}

void tst_sim_service::temporaryKeys_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("arn"); // empty: no object store
    QTest::addColumn<QString>("roleId");
    QTest::addColumn<QString>("bucket");
    QTest::newRow("MinIO presenter: role id, colon, login") << "presenter" << "presenter123" << "MINIO" << "AROAZRVSIM00000000003:presenter" << "zarvo";
    QTest::newRow("group administrator without fixed keys") << "groupadmin" << "group123" << "MINIO" << "AROAZRVSIM00000000002:groupadmin" << "zarvo";
    QTest::newRow("Amazon S3 account: its kind and the fixed bucket") << "amazon" << "amazon123" << "S3" << "AROAZRVSIM00000000008:amazon" << "bvkzrv";
    QTest::newRow("NextCloud account has no object store") << "cloud" << "cloud123" << "" << "" << "";
    QTest::newRow("unknown storage mode has no object store") << "nomode" << "nomode123" << "" << "" << "";
}

void tst_sim_service::temporaryKeys()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, arn);
    QFETCH(QString, roleId);
    QFETCH(QString, bucket);
    S *api = client<S>(login, password);
    SimOutcome o;
    const ZRVS3TempAccessKey key = std::get<0>(simCall(api, &S::s3TempAccessKeySignal, &S::s3TempAccessKeySignalE, [&] { api->s3TempAccessKey(); }, &o));
    QCOMPARE(o.errorCode(), arn.isEmpty() ? 404 : 0);
    if (arn.isEmpty())
        return;
    QCOMPARE(key.getArn(), arn);
    QCOMPARE(key.getAssumedRoleId(), roleId);
    QCOMPARE(key.getEndpoint(), QStringLiteral("http://127.0.0.1:9555"));
    QCOMPARE(key.getBucket(), bucket);
    QVERIFY(!key.getSessionToken().isEmpty());
    const QDateTime expiry = QDateTime::fromString(key.getExpiration(), Qt::TextDate);
    QVERIFY2(QDateTime::currentDateTimeUtc().secsTo(expiry) > 3000, qPrintable(key.getExpiration()));
}

void tst_sim_service::banlist()
{
    S *admin = client<S>(QStringLiteral("admin"), QStringLiteral("admin123"));
    S *presenter = client<S>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    auto ids = [&] {
        SimOutcome o;
        QList<int> found;
        const auto listed = simCall(presenter, &S::banlistGetSignal, &S::banlistGetSignalE, [&] { presenter->banlistGet(); }, &o);
        for (const ZRVBanlistEntry &e : std::get<0>(listed))
            found << e.getId();
        return found;
    };
    QCOMPARE(ids(), (QList<int>{1, 2, 3}));
    ZRVBanlistEntry entry;
    entry.setMode(3);
    entry.setFilename(QStringLiteral("Phishing"));
    entry.setChecksum(QStringLiteral("https://*.phish.example/*"));
    for (S *api : {presenter, admin}) {
        SimOutcome o;
        const int id = std::get<0>(simCall(api, &S::banlistPostSignal, &S::banlistPostSignalE, [&] { api->banlistPost(entry); }, &o));
        QCOMPARE(o.errorCode(), api == admin ? 0 : 403);
        QCOMPARE(id, api == admin ? 4 : 0);
    }
    SimOutcome d;
    QCOMPARE(std::get<0>(simCall(admin, &S::banlistDeleteSignal, &S::banlistDeleteSignalE, [&] { admin->banlistDelete(2); }, &d)), 2);
    QCOMPARE(ids(), (QList<int>{1, 3, 4}));
}

void tst_sim_service::bundles()
{
    B *presenter = client<B>(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    B *cloud = client<B>(QStringLiteral("cloud"), QStringLiteral("cloud123"));
    auto visible = [&](B *api) {
        SimOutcome o;
        QStringList found;
        const auto listed = simCall(api, &B::assetBundleGetSignal, &B::assetBundleGetSignalE, [&] { api->assetBundleGet(QString()); }, &o);
        for (const ZRVAssetBundle &b : std::get<0>(listed))
            found << b.getName() + QLatin1Char('/') + b.getUserId();
        return found;
    };
    QCOMPARE(visible(cloud), QStringList{QStringLiteral("Zarvo Lobby/")});
    QCOMPARE(visible(presenter).size(), 2);

    ZRVAssetBundle bundle;
    bundle.setName(QStringLiteral("Stage B"));
    bundle.setMode(1);
    bundle.setStgRelPath(QStringLiteral("presenter/__ASSETBUNDLES/Stage B"));
    SimOutcome first, duplicate;
    const QString id = std::get<0>(simCall(presenter, &B::assetBundlePostSignal, &B::assetBundlePostSignalE, [&] { presenter->assetBundlePost(bundle); }, &first));
    QVERIFY2(first.ok && !id.isEmpty(), qPrintable(first.errorText));
    simCall(presenter, &B::assetBundlePostSignal, &B::assetBundlePostSignalE, [&] { presenter->assetBundlePost(bundle); }, &duplicate);
    QCOMPARE(duplicate.errorCode(), 409);
    QVERIFY(visible(presenter).contains(QStringLiteral("Stage B/8d1f0c52-0a6e-4c1b-9a51-000000000003")));

    auto remove = [&](B *api, const QString &bundleId) {
        SimOutcome o;
        simCall(api, &B::assetBundleDeleteSignal, &B::assetBundleDeleteSignalE, [&] { api->assetBundleDelete(bundleId); }, &o);
        return o;
    };
    QCOMPARE(remove(presenter, QStringLiteral("ab-0001")).errorMessage(), QStringLiteral("This Asset Bundle cannot be deleted."));
    QCOMPARE(remove(cloud, id).errorCode(), 403);
    QVERIFY(remove(presenter, id).ok);
    QCOMPARE(visible(presenter).size(), 2);
}

void tst_sim_service::bundleFilesInTheStore_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("bucket");
    QTest::addColumn<QString>("stem");   // StgRelPath as the console forms it
    QTest::addColumn<QString>("folder"); // the keys' folder in the store
    QTest::newRow("MinIO bundle of a confined account") << "presenter" << "presenter123" << 1 << "zarvo"
                                                       << "presenter/__ASSETBUNDLES/Stage C" << "presenter/__ASSETBUNDLES/";
    QTest::newRow("Amazon S3 bundle in the fixed bucket") << "amazon" << "amazon123" << 2 << "bvkzrv"
                                                         << "AROAZRVSIM00000000008:amazon/__ASSETBUNDLES/Stage C"
                                                         << "AROAZRVSIM00000000008:amazon/__ASSETBUNDLES/";
    QTest::newRow("administrator's stem starts with a slash") << "admin" << "admin123" << 1 << "zarvo"
                                                             << "/__ASSETBUNDLES/Stage C" << "__ASSETBUNDLES/";
}

void tst_sim_service::bundleFilesInTheStore()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(int, mode);
    QFETCH(QString, bucket);
    QFETCH(QString, stem);
    QFETCH(QString, folder);
    MotoServer store;
    QString error;
    QVERIFY2(store.start(&error), qPrintable(error));
    QVERIFY(store.createBucket(bucket));
    const QStringList suffixes = {QStringLiteral(".win.asb"), QStringLiteral(".ios.asb"), QStringLiteral(".android.asb"), QStringLiteral(".web.asb")};
    QList<qint64> sizes;
    for (int i = 0; i < suffixes.size(); ++i) {
        sizes << 1000 + 17 * i;
        QVERIFY(store.putObject(bucket, folder + QStringLiteral("Stage C") + suffixes.at(i), QByteArray(int(sizes.last()), 'b')));
    }
    // An object beside them that the deletion must leave alone.
    QVERIFY(store.putObject(bucket, folder + QStringLiteral("Stage C.win.asb.bak"), "keep"));
    delete m_sim;
    m_sim = new SimProcess;
    QVERIFY2(m_sim->start({QStringLiteral("--simulate-life"), QStringLiteral("off"), QStringLiteral("--s3-endpoint"), store.endpoint()}, &error), qPrintable(error));

    B *owner = client<B>(login, password);
    ZRVAssetBundle bundle;
    bundle.setName(QStringLiteral("Stage C"));
    bundle.setMode(mode);
    bundle.setStgRelPath(stem);
    SimOutcome posted, listed;
    const QString id = std::get<0>(simCall(owner, &B::assetBundlePostSignal, &B::assetBundlePostSignalE, [&] { owner->assetBundlePost(bundle); }, &posted));
    QVERIFY2(posted.ok, qPrintable(posted.errorText));
    const QList<ZRVAssetBundle> found = std::get<0>(simCall(owner, &B::assetBundleGetSignal, &B::assetBundleGetSignalE, [&] { owner->assetBundleGet(id); }, &listed));
    QCOMPARE(found.size(), 1);
    QCOMPARE(found.first().getStgSize(), sizes);

    // Shown on a meeting, then deleted: off the meeting, and its four files off the store.
    S *admin = client<S>(QStringLiteral("admin"), QStringLiteral("admin123"));
    ZRVMeetingInfo record = info(admin, QStringLiteral("prl5t8c6"));
    record.setAssetBundles({found.first()});
    SimOutcome shown, removed;
    simCall(admin, &S::meetingInfoUpdateSignal, &S::meetingInfoUpdateSignalE, [&] { admin->meetingInfoUpdate(QStringLiteral("prl5t8c6"), record); }, &shown);
    QVERIFY2(shown.ok, qPrintable(shown.errorText));
    QCOMPARE(info(admin, QStringLiteral("prl5t8c6")).getAssetBundles().size(), 1);
    simCall(owner, &B::assetBundleDeleteSignal, &B::assetBundleDeleteSignalE, [&] { owner->assetBundleDelete(id); }, &removed);
    QVERIFY2(removed.ok, qPrintable(removed.errorText));
    QVERIFY(info(admin, QStringLiteral("prl5t8c6")).getAssetBundles().isEmpty());
    for (const QString &suffix : suffixes)
        QVERIFY2(!store.hasObject(bucket, folder + QStringLiteral("Stage C") + suffix), qPrintable(suffix));
    QVERIFY(store.hasObject(bucket, folder + QStringLiteral("Stage C.win.asb.bak")));
}

void tst_sim_service::membersMoveWithLife()
{
    S *api = client<S>(QStringLiteral("admin"), QStringLiteral("admin123"));
    const QList<int> before = memberIds(info(api, QStringLiteral("brd9q3x1")));
    bool talked = false;
    for (int i = 0; i < 10 && !talked; ++i) {
        QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/tick")).status, 200);
        for (const ZRVMirrorClientInfo &c : info(api, QStringLiteral("brd9q3x1")).getClients())
            talked = talked || c.getVoiceIsTalking();
    }
    QVERIFY(talked);
    // Members come and go for a while; two present at once never share a name.
    for (int round = 0; round < 8; ++round) {
        QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/tick"), QJsonObject{{QStringLiteral("steps"), 10}}).status, 200);
        QStringList names;
        for (const ZRVMirrorClientInfo &c : info(api, QStringLiteral("brd9q3x1")).getClients())
            names << c.getAlias();
        QCOMPARE(names.size(), QSet<QString>(names.begin(), names.end()).size());
    }
    const ZRVMeetingInfo after = info(api, QStringLiteral("brd9q3x1"));
    QVERIFY(memberIds(after) != before);
    QVERIFY(!after.getClients().isEmpty());
    QVERIFY(info(api, QStringLiteral("prl5t8c6")).getClients().isEmpty()); // stopped meetings stay empty
}

QTEST_GUILESS_MAIN(tst_sim_service)
#include "tst_sim_service.moc"
