// Every operation of the four clients against the scripted server: the
// exact request that leaves, and that one success pair comes back.

#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>
#include <functional>
#include <memory>

#include "ScriptedHttpServer.h"
#include "ZRVAssetBundleApi.h"
#include "ZRVAuthApi.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingServiceApi.h"

namespace Auth = ZRV_AuthService_API;
namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

namespace {

const QString kBase = QStringLiteral("/base");
const QByteArray kForm = "application/x-www-form-urlencoded";
const QByteArray kJson = "application/json";

// The clients as their owners set them up, all pointing at one server.
struct Clients {
    explicit Clients(int port)
        : auth("http", "127.0.0.1", port, kBase), meeting("http", "127.0.0.1", port, kBase),
          service("http", "127.0.0.1", port, kBase), bundle("http", "127.0.0.1", port, kBase)
    {
        auth.addHeaders("Content-Type", kForm);
        auth.addHeaders("Authorization", "Bearer tok");
        auto asJson = [](auto &api) {
            api.addHeaders("Content-Type", kJson);
            api.addHeaders("accept", kJson);
            api.addHeaders("Authorization", "Bearer tok");
        };
        asJson(meeting);
        asJson(service);
        asJson(bundle);
    }

    QObject *byName(const QString &name)
    {
        const QHash<QString, QObject *> all{{"auth", &auth}, {"meeting", &meeting}, {"service", &service}};
        return all.value(name, &bundle);
    }

    Auth::ZRVAuthApi auth;
    Meet::ZRVMeetingApi meeting;
    Svc::ZRVMeetingServiceApi service;
    Svc::ZRVAssetBundleApi bundle;
};

using Call = std::function<void(Clients &)>;

QMetaMethod signalNamed(const QObject *object, const QByteArray &name)
{
    const QMetaObject *meta = object->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        if (method.methodType() == QMetaMethod::Signal && method.name() == name)
            return method;
    }
    return QMetaMethod();
}

// Counts the emissions of one signal, whatever its arguments; a spy would
// need every summary type registered.
class SignalCounter : public QObject {
    Q_OBJECT

public:
    SignalCounter(QObject *sender, const QMetaMethod &signal)
    {
        const int slot = metaObject()->indexOfSlot("hit()");
        connected = signal.isValid() && QObject::connect(sender, signal, this, metaObject()->method(slot));
    }
    bool connected = false;
    int count = 0;

public slots:
    void hit() { ++count; }
};

} // namespace

Q_DECLARE_METATYPE(Call)

class TestClientsWire : public QObject {
    Q_OBJECT

private slots:
    void request_data();
    void request();
    void signalOrder_data();
    void signalOrder();
};

void TestClientsWire::request_data()
{
    QTest::addColumn<QString>("client");
    QTest::addColumn<QByteArray>("op");
    QTest::addColumn<Call>("call");
    QTest::addColumn<QByteArray>("requestLine");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("contentType");

    // Authentication: form variables leave in key order, GET keeps the
    // default Content-Type as a raw header.
    QTest::newRow("authGroupsGet query in table order")
        << "auth" << QByteArray("authGroupsGet")
        << Call([](Clients &c) { c.auth.authGroupsGet("BVK", "Customer"); })
        << QByteArray("GET /base/auth/groups?realm=BVK&prefix=Customer HTTP/1.1") << QByteArray()
        << kForm;
    QTest::newRow("authLoginPost form in key order, reserved characters encoded, empty sent")
        << "auth" << QByteArray("authLoginPost")
        << Call([](Clients &c) { c.auth.authLoginPost("BVK", "alice", "p&ss=1 +", ""); })
        << QByteArray("POST /base/auth/login HTTP/1.1")
        << QByteArray("client=BVK&password=p%26ss%3D1%20%2B&passwordold=&username=alice") << kForm;
    QTest::newRow("authLogoutPost slash in form value")
        << "auth" << QByteArray("authLogoutPost")
        << Call([](Clients &c) { c.auth.authLogoutPost("rt/1"); })
        << QByteArray("POST /base/auth/logout HTTP/1.1") << QByteArray("refresh_token=rt%2F1")
        << kForm;
    QTest::newRow("authPasswordResetPost PATCH with form and encoded path id")
        << "auth" << QByteArray("authPasswordResetPost") << Call([](Clients &c) {
               c.auth.authPasswordResetPost("id/7 x", "BVK", "al", "new", "old");
           })
        << QByteArray("PATCH /base/auth/user/id%2F7%20x/pwdreset HTTP/1.1")
        << QByteArray("client=BVK&password=new&passwordold=old&username=al") << kForm;
    QTest::newRow("authRefreshPost realm before token")
        << "auth" << QByteArray("authRefreshPost")
        << Call([](Clients &c) { c.auth.authRefreshPost("BVK", "r.t-1_~"); })
        << QByteArray("POST /base/auth/refreshtoken HTTP/1.1")
        << QByteArray("realm=BVK&token=r.t-1_~") << kForm;
    QTest::newRow("authUserGet empty value still sent")
        << "auth" << QByteArray("authUserGet")
        << Call([](Clients &c) { c.auth.authUserGet("", "login-app", "meeting-app"); })
        << QByteArray(
               "GET /base/auth/user?client=&clientAuth=login-app&clientApp=meeting-app HTTP/1.1")
        << QByteArray() << kForm;

    // Meeting registry: indented JSON, sorted keys, only set fields.
    QTest::newRow("createMeeting body holds set fields only, sorted")
        << "meeting" << QByteArray("createMeeting") << Call([](Clients &c) {
               Meet::ZRVMeeting m;
               m.setTitle("T");
               m.setMeetingId("m1");
               m.setAudioMode(2);
               c.meeting.createMeeting(m);
           })
        << QByteArray("POST /base/meetings HTTP/1.1")
        << QByteArray(
               "{\n    \"audioMode\": 2,\n    \"meetingId\": \"m1\",\n    \"title\": \"T\"\n}\n")
        << kJson;
    QTest::newRow("deleteMeeting blank and slash in path, form content type")
        << "meeting" << QByteArray("deleteMeeting")
        << Call([](Clients &c) { c.meeting.deleteMeeting("a b/c"); })
        << QByteArray("DELETE /base/meetings/a%20b%2Fc HTTP/1.1") << QByteArray() << kForm;
    QTest::newRow("getMeetings star as %2A")
        << "meeting" << QByteArray("getMeetings")
        << Call([](Clients &c) { c.meeting.getMeetings("*"); })
        << QByteArray("GET /base/meetings?creator=%2A HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("getMeetings empty creator")
        << "meeting" << QByteArray("getMeetings")
        << Call([](Clients &c) { c.meeting.getMeetings(""); })
        << QByteArray("GET /base/meetings?creator= HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("updateMeeting PATCH keeps json content type")
        << "meeting" << QByteArray("updateMeeting") << Call([](Clients &c) {
               Meet::ZRVMeeting m;
               m.setStatus("live");
               c.meeting.updateMeeting("m1", m);
           })
        << QByteArray("PATCH /base/meetings/m1 HTTP/1.1")
        << QByteArray("{\n    \"status\": \"live\"\n}\n") << kJson;

    // Main service.
    QTest::newRow("assetAdd") << "service" << QByteArray("assetAdd") << Call([](Clients &c) {
        Svc::ZRVAsset a;
        a.setName("chair");
        a.setMode(2);
        c.service.assetAdd("m1", a);
    }) << QByteArray("POST /base/zrv/svc/meeting/m1/asset HTTP/1.1")
                              << QByteArray("{\n    \"Mode\": 2,\n    \"Name\": \"chair\"\n}\n")
                              << kJson;
    QTest::newRow("assetDelete asset id 0 in path")
        << "service" << QByteArray("assetDelete")
        << Call([](Clients &c) { c.service.assetDelete("m1", 0); })
        << QByteArray("DELETE /base/zrv/svc/meeting/m1/asset/0 HTTP/1.1") << QByteArray() << kForm;
    QTest::newRow("banlistDelete negative id keeps its minus")
        << "service" << QByteArray("banlistDelete")
        << Call([](Clients &c) { c.service.banlistDelete(-3); })
        << QByteArray("DELETE /base/zrv/svc/banlist?banlistId=-3 HTTP/1.1") << QByteArray()
        << kForm;
    QTest::newRow("banlistGet") << "service" << QByteArray("banlistGet")
                                << Call([](Clients &c) { c.service.banlistGet(); })
                                << QByteArray("GET /base/zrv/svc/banlist HTTP/1.1") << QByteArray()
                                << kJson;
    QTest::newRow("banlistPost") << "service" << QByteArray("banlistPost") << Call([](Clients &c) {
        Svc::ZRVBanlistEntry e;
        e.setFilename("x.glb");
        c.service.banlistPost(e);
    }) << QByteArray("POST /base/zrv/svc/banlist HTTP/1.1")
                                 << QByteArray("{\n    \"Filename\": \"x.glb\"\n}\n") << kJson;
    QTest::newRow("meetingCommand list param and encoded meeting id")
        << "service" << QByteArray("meetingCommand") << Call([](Clients &c) {
               Svc::ZRVMeetingCommand cmd;
               cmd.setCommand("KickPlayer");
               cmd.setParams({"7"});
               c.service.meetingCommand("m 1", cmd);
           })
        << QByteArray("POST /base/zrv/svc/meeting/m%201/command HTTP/1.1")
        << QByteArray(
               "{\n    \"command\": \"KickPlayer\",\n    \"params\": [\n        \"7\"\n    ]\n}\n")
        << kJson;
    QTest::newRow("meetingInfo") << "service" << QByteArray("meetingInfo")
                                 << Call([](Clients &c) { c.service.meetingInfo("m1"); })
                                 << QByteArray("GET /base/zrv/svc/meeting/m1/info HTTP/1.1")
                                 << QByteArray() << kJson;
    QTest::newRow("meetingInfoUpdate by PUT")
        << "service" << QByteArray("meetingInfoUpdate") << Call([](Clients &c) {
               Svc::ZRVMeetingInfo info;
               info.setVoiceMode3D(1);
               c.service.meetingInfoUpdate("m1", info);
           })
        << QByteArray("PUT /base/zrv/svc/meeting/m1/info HTTP/1.1")
        << QByteArray("{\n    \"voiceMode3D\": 1\n}\n") << kJson;
    QTest::newRow("meetingLogfile path without meeting word, count 0 sent")
        << "service" << QByteArray("meetingLogfile")
        << Call([](Clients &c) { c.service.meetingLogfile("m1", 0); })
        << QByteArray("GET /base/zrv/svc/m1/logfile?count=0 HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("s3TempAccessKey")
        << "service" << QByteArray("s3TempAccessKey")
        << Call([](Clients &c) { c.service.s3TempAccessKey(); })
        << QByteArray("GET /base/zrv/svc/s3/token HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("serviceLogfile")
        << "service" << QByteArray("serviceLogfile")
        << Call([](Clients &c) { c.service.serviceLogfile(200); })
        << QByteArray("GET /base/zrv/svc/logfile?count=200 HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("serviceMeetings")
        << "service" << QByteArray("serviceMeetings")
        << Call([](Clients &c) { c.service.serviceMeetings(); })
        << QByteArray("GET /base/zrv/svc/meetings HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("serviceStatus")
        << "service" << QByteArray("serviceStatus")
        << Call([](Clients &c) { c.service.serviceStatus(); })
        << QByteArray("GET /base/zrv/svc/status HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("serviceUpdate")
        << "service" << QByteArray("serviceUpdate")
        << Call([](Clients &c) { c.service.serviceUpdate(); })
        << QByteArray("GET /base/zrv/svc/update HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("serviceVersions")
        << "service" << QByteArray("serviceVersions")
        << Call([](Clients &c) { c.service.serviceVersions(); })
        << QByteArray("GET /base/zrv/svc/versions HTTP/1.1") << QByteArray() << kJson;

    // Asset bundles: one identifier in the query for reading and deleting.
    QTest::newRow("assetBundleDelete blanks as %20")
        << "bundle" << QByteArray("assetBundleDelete")
        << Call([](Clients &c) { c.bundle.assetBundleDelete("my bundle"); })
        << QByteArray("DELETE /base/zrv/svc/assetbundle?bundleId=my%20bundle HTTP/1.1")
        << QByteArray() << kForm;
    QTest::newRow("assetBundleGet empty id asks for all")
        << "bundle" << QByteArray("assetBundleGet")
        << Call([](Clients &c) { c.bundle.assetBundleGet(""); })
        << QByteArray("GET /base/zrv/svc/assetbundle?bundleId= HTTP/1.1") << QByteArray() << kJson;
    QTest::newRow("assetBundlePost lists left out when empty")
        << "bundle" << QByteArray("assetBundlePost") << Call([](Clients &c) {
               Svc::ZRVAssetBundle b;
               b.setName("hall");
               b.setStgChecksums({"a", "b"});
               c.bundle.assetBundlePost(b);
           })
        << QByteArray("POST /base/zrv/svc/assetbundle HTTP/1.1")
        << QByteArray("{\n    \"Name\": \"hall\",\n    \"StgChecksums\": [\n        \"a\",\n       "
                      " \"b\"\n    ]\n}\n")
        << kJson;
}

void TestClientsWire::request()
{
    QFETCH(QString, client);
    QFETCH(QByteArray, op);
    QFETCH(Call, call);
    QFETCH(QByteArray, requestLine);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, contentType);

    ScriptedHttpServer server;
    QVERIFY(server.start());
    server.enqueueJson(200, "{}");
    Clients clients(server.port());
    QObject *target = clients.byName(client);

    SignalCounter ok(target, signalNamed(target, op + "Signal"));
    SignalCounter okFull(target, signalNamed(target, op + "SignalFull"));
    SignalCounter err(target, signalNamed(target, op + "SignalE"));
    SignalCounter errFull(target, signalNamed(target, op + "SignalEFull"));
    QVERIFY(ok.connected && okFull.connected && err.connected && errFull.connected);

    call(clients);
    QTRY_COMPARE_WITH_TIMEOUT(okFull.count + errFull.count, 1, 5000);
    QCOMPARE(ok.count, 1);
    QCOMPARE(okFull.count, 1);
    QCOMPARE(err.count, 0);
    QCOMPARE(errFull.count, 0);

    QCOMPARE(server.requestCount(), 1);
    const RecordedRequest request = server.lastRequest();
    QCOMPARE(request.requestLine, requestLine);
    QCOMPARE(request.body, body);
    QCOMPARE(request.header("Content-Type"), contentType);
    QCOMPARE(request.header("User-Agent"), QByteArray("OpenAPI-Generator/1.0.0/cpp-qt5"));
    QCOMPARE(request.header("Accept-Encoding"), QByteArray("identity"));
    QCOMPARE(request.header("Authorization"), QByteArray("Bearer tok"));
    QCOMPARE(request.header("Host"), QByteArray("127.0.0.1:") + QByteArray::number(server.port()));
    if (client != "auth")
        QVERIFY(request.headerNames().contains("accept"));
}

void TestClientsWire::signalOrder_data()
{
    QTest::addColumn<QString>("client");
    QTest::addColumn<QStringList>("ops"); // operation and result type, empty for none

    QTest::newRow("auth") << "auth"
                          << QStringList{"authGroupsGet(ZRVUserGroups)",
                                         "authGroupsMembers(ZRVGroupMembers)",
                                         "authLoginPost(ZRVAuth)",
                                         "authLogoutPost()",
                                         "authPasswordResetPost(ZRVAuth)",
                                         "authRefreshPost(ZRVAuth)",
                                         "authUserGet(ZRVUser)",
                                         "authUserGroups(ZRVUserGroups)",
                                         "serviceHealth()"};
    QTest::newRow("meeting") << "meeting"
                             << QStringList{"createMeeting(ZRVMeeting)", "deleteMeeting()",
                                            "getMeeting(ZRVMeeting)",
                                            "getMeetings(QList<ZRVMeeting>)",
                                            "updateMeeting(ZRVMeeting)"};
    QTest::newRow("service") << "service"
                             << QStringList{"assetAdd(ZRVAsset)",
                                            "assetDelete()",
                                            "banlistDelete(int)",
                                            "banlistGet(QList<ZRVBanlistEntry>)",
                                            "banlistPost(int)",
                                            "meetingCommand(ZRVMeetingCommandResponse)",
                                            "meetingInfo(ZRVMeetingInfo)",
                                            "meetingInfoUpdate()",
                                            "meetingLogfile(QString)",
                                            "meetingStatus()",
                                            "mirrorServerInfo(ZRVMirrorServerInfo)",
                                            "s3TempAccessKey(ZRVS3TempAccessKey)",
                                            "serviceLogfile(QString)",
                                            "serviceMeetings(QList<ZRVMeetingInfo>)",
                                            "serviceStatus()",
                                            "serviceUpdate()",
                                            "serviceVersions(ZRVVersions)"};
    QTest::newRow("bundle") << "bundle"
                            << QStringList{"assetBundleDelete(QString)",
                                           "assetBundleGet(QList<ZRVAssetBundle>)",
                                           "assetBundlePost(QString)"};
}

// Consumers bind by name and signature; the declared order is the four
// groups over the same operation list, then the abort signal.
void TestClientsWire::signalOrder()
{
    QFETCH(QString, client);
    QFETCH(QStringList, ops);
    Clients clients(1);
    const QMetaObject *meta = clients.byName(client)->metaObject();
    QList<QByteArray> signatures;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() == QMetaMethod::Signal)
            signatures.append(meta->method(i).methodSignature());
    }

    QList<QByteArray> expected;
    for (const char *group : {"Signal", "SignalFull", "SignalE", "SignalEFull"}) {
        const QByteArray suffix(group);
        for (const QString &op : ops) {
            const QByteArray name = op.left(op.indexOf('(')).toLatin1() + suffix;
            QList<QByteArray> args;
            if (suffix.endsWith("Full"))
                args << "ZRVHttpRequestWorker*";
            const QByteArray type = op.mid(op.indexOf('(') + 1).chopped(1).toLatin1();
            if (!type.isEmpty() && suffix != "SignalEFull")
                args << type;
            if (suffix.contains('E'))
                args << "QNetworkReply::NetworkError" << "QString";
            expected.append(name + '(' + args.join(',') + ')');
        }
    }
    expected.append("abortRequestsSignal()");
    QCOMPARE(signatures, expected);
}

QTEST_GUILESS_MAIN(TestClientsWire)
#include "tst_zrv_clients_wire.moc"
