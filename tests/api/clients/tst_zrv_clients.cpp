// The operations of the three clients against the scripted server: the exact request that
// leaves, and what each kind of reply becomes.

#include <QMetaEnum>
#include <QtTest>
#include <functional>

#include "ScriptedHttpServer.h"
#include "ZRVAssetBundleApi.h"
#include "ZRVAuthApi.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingServiceApi.h"

namespace Auth = ZRV_AuthService_API;
namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

namespace {

const QByteArray kForm = "application/x-www-form-urlencoded";
const QByteArray kJson = "application/json";

// The clients as their owners set them up, all pointing at one server.
struct Clients {
    explicit Clients(int port, int timeOut = 0)
        : auth("http", "127.0.0.1", port, "/base", timeOut), meeting("http", "127.0.0.1", port, "/base", timeOut),
          service("http", "127.0.0.1", port, "/base", timeOut), bundle("http", "127.0.0.1", port, "/base", timeOut)
    {
        auth.addHeaders("Content-Type", kForm);
        auth.addHeaders("Authorization", "Bearer tok");
        auto asJson = [](auto &api, bool contentType) {
            if (contentType)
                api.addHeaders("Content-Type", kJson);
            api.addHeaders("accept", kJson);
            api.addHeaders("Authorization", "Bearer tok");
        };
        asJson(meeting, true);
        asJson(service, false); // as the main window has it: bodies get their type from the worker
        asJson(bundle, true);
    }
    Auth::ZRVAuthApi auth;
    Meet::ZRVMeetingApi meeting;
    Svc::ZRVMeetingServiceApi service;
    Svc::ZRVAssetBundleApi bundle;
};

// Summaries as text, records and lists as compact JSON.
QString show(const QString &text) { return text; }
QString show(int number) { return QString::number(number); }
template <typename T>
QString show(const T &value)
{
    const QJsonValue json = toJsonValue(value);
    return (json.isArray() ? QJsonDocument(json.toArray()) : QJsonDocument(json.toObject())).toJson(QJsonDocument::Compact);
}

// What one request ended with: "<ok or error type> <summary> @<status>[ | <error text behind the comma>]".
struct Outcome {
    int pairs = 0, fulls = 0;
    bool noResult = false;
    QString text, tail;

    template <typename... S>
    void first(const QString &kind, const S &...summary)
    {
        ++pairs;
        noResult = sizeof...(S) == 0;
        text = kind + ' ' + (QString() + ... + show(summary));
    }
    template <typename... S>
    void failed(QNetworkReply::NetworkError type, const QString &error, const S &...summary)
    {
        first(QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(type), summary...);
        tail = " | " + error.mid(error.indexOf(", ") + 2);
    }
    template <typename S>
    void failed(const S &summary, QNetworkReply::NetworkError type, const QString &error)
    {
        failed(type, error, summary);
    }
    // The worker is still whole in the Full slot; an operation without a result is read there.
    template <typename W>
    void full(W *worker)
    {
        ++fulls;
        text += (noResult ? QString::fromUtf8(worker->response) : QString()) +
                QStringLiteral(" @%1").arg(worker->httpResponseCode) + tail;
    }
};

using Call = std::function<void(Clients &, Outcome &)>;
#define OP(api, op, ...)                                                                                          \
    Call([](Clients &c, Outcome &o) {                                                                             \
        using Api = decltype(c.api);                                                                              \
        QObject::connect(&c.api, &Api::op##Signal, [&o](const auto &...summary) { o.first("ok", summary...); }); \
        QObject::connect(&c.api, &Api::op##SignalE, [&o](const auto &...args) { o.failed(args...); });         \
        QObject::connect(&c.api, &Api::op##SignalFull, [&o](auto *worker, const auto &...) { o.full(worker); }); \
        QObject::connect(&c.api, &Api::op##SignalEFull, [&o](auto *worker, const auto &...) { o.full(worker); }); \
        c.api.op(__VA_ARGS__);                                                                                    \
    })

// Exactly one pair of signals fires per request.
bool run(quint16 port, const Call &call, Outcome &out, int timeOut = 0)
{
    Clients clients(port, timeOut);
    call(clients, out);
    return QTest::qWaitFor([&] { return out.fulls > 0; }, 5000) && out.pairs == 1 && out.fulls == 1;
}

} // namespace

Q_DECLARE_METATYPE(Call)

class TestClients : public QObject {
    Q_OBJECT

private slots:
    void init();
    void request_data();
    void request();
    void reply_data();
    void reply();

private:
    std::unique_ptr<ScriptedHttpServer> m_server;
};

void TestClients::init()
{
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
}

void TestClients::request_data()
{
    QTest::addColumn<Call>("call");
    QTest::addColumn<QByteArray>("requestLine");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char *name, const Call &call, const char *line, const char *body = "") {
        QTest::newRow(name) << call << QByteArray(line) + " HTTP/1.1" << QByteArray(body);
    };
    // Forms leave in key order; values in paths, queries and forms are percent-encoded.
    row("authLoginPost reserved characters, empty value sent", OP(auth, authLoginPost, "BVK", "alice", "p&ss=1 +", ""),
        "POST /base/auth/login", "client=BVK&password=p%26ss%3D1%20%2B&passwordold=&username=alice");
    row("authPasswordResetPost PATCH, path id", OP(auth, authPasswordResetPost, "id/7 x", "BVK", "al", "new", "old"),
        "PATCH /base/auth/user/id%2F7%20x/pwdreset", "client=BVK&password=new&passwordold=old&username=al");
    row("authUserGet empty value still sent", OP(auth, authUserGet, "", "login-app", "meeting-app"),
        "GET /base/auth/user?client=&clientAuth=login-app&clientApp=meeting-app");
    // JSON bodies hold the set fields only.
    row("createMeeting", OP(meeting, createMeeting, Meet::ZRVMeeting(R"({"title":"T","meetingId":"m1","audioMode":2})")),
        "POST /base/meetings", R"({"audioMode":2,"meetingId":"m1","title":"T"})");
    row("deleteMeeting blank and slash in path", OP(meeting, deleteMeeting, "a b/c"), "DELETE /base/meetings/a%20b%2Fc");
    row("getMeetings star as %2A", OP(meeting, getMeetings, "*"), "GET /base/meetings?creator=%2A");
    row("updateMeeting by PATCH", OP(meeting, updateMeeting, "m1", Meet::ZRVMeeting(R"({"status":"live"})")),
        "PATCH /base/meetings/m1", R"({"status":"live"})");
    row("banlistDelete negative id", OP(service, banlistDelete, -3), "DELETE /base/zrv/svc/banlist?banlistId=-3");
    row("meetingCommand list param", OP(service, meetingCommand, "m 1", Svc::ZRVMeetingCommand(R"({"params":["7"]})")),
        "POST /base/zrv/svc/meeting/m%201/command", R"({"params":["7"]})");
    row("meetingInfoUpdate by PUT", OP(service, meetingInfoUpdate, "m1", Svc::ZRVMeetingInfo(R"({"voiceMode3D":1})")),
        "PUT /base/zrv/svc/meeting/m1/info", R"({"voiceMode3D":1})");
    row("meetingLogfile path without meeting word, count 0 sent", OP(service, meetingLogfile, "m1", 0),
        "GET /base/zrv/svc/m1/logfile?count=0");
    row("assetBundleDelete", OP(bundle, assetBundleDelete, "my bundle"), "DELETE /base/zrv/svc/assetbundle?bundleId=my%20bundle");
    row("assetBundleGet empty id asks for all", OP(bundle, assetBundleGet, ""), "GET /base/zrv/svc/assetbundle?bundleId=");
    row("assetBundlePost", OP(bundle, assetBundlePost, Svc::ZRVAssetBundle(R"({"StgChecksums":["a","b"]})")),
        "POST /base/zrv/svc/assetbundle", R"({"StgChecksums":["a","b"]})");
}

void TestClients::request()
{
    QFETCH(Call, call);
    QFETCH(QByteArray, requestLine);
    QFETCH(QByteArray, body);

    m_server->enqueueJson(200, "{}");
    Outcome out;
    QVERIFY2(run(m_server->port(), call, out) && out.text.startsWith("ok "), qPrintable(out.text));
    const RecordedRequest request = m_server->lastRequest();
    QCOMPARE(request.requestLine, requestLine);
    if (body.startsWith('{')) { // sorted keys, indented
        QCOMPARE(QJsonDocument::fromJson(request.body).toJson(QJsonDocument::Compact), body);
        QCOMPARE(request.body, QJsonDocument::fromJson(request.body).toJson());
    } else {
        QCOMPARE(request.body, body);
    }
    const bool auth = requestLine.contains(" /base/auth/");
    const bool serviceGet = requestLine.startsWith("GET /base/zrv/svc/") && !requestLine.contains("/assetbundle");
    // A DELETE has no body, so it goes as a form whatever the client's header says; a GET keeps the header it has.
    QCOMPARE(request.header("Content-Type"),
             auth || requestLine.startsWith("DELETE") ? kForm : serviceGet ? QByteArray() : kJson);
    QCOMPARE(request.headerNames().contains("accept"), !auth);
    QCOMPARE(request.header("User-Agent"), QByteArray("OpenAPI-Generator/1.0.0/cpp-qt5"));
    QCOMPARE(request.header("Accept-Encoding"), QByteArray("identity"));
    QCOMPARE(request.header("Authorization"), QByteArray("Bearer tok"));
}

void TestClients::reply_data()
{
    QTest::addColumn<QByteArray>("reply"); // raw bytes, or "hang" or "refused"
    QTest::addColumn<Call>("call");
    QTest::addColumn<QString>("outcome");
    const auto row = [](const char *name, const QByteArray &reply, const Call &call, const QString &outcome) {
        QTest::newRow(name) << reply << call << outcome;
    };
    const auto raw = [](int status, const char *type, const QByteArray &body, const char *encoding = nullptr) {
        QList<QPair<QByteArray, QByteArray>> headers{{"Content-Type", type}};
        if (encoding)
            headers << qMakePair(QByteArray("Content-Encoding"), QByteArray(encoding));
        return ScriptedHttpServer::buildResponse(status, headers, body);
    };
    const char *json = kJson, *text = "text/plain";
    const QByteArray board = R"({"title":"Board","id":5000000000})";
    const Call create = OP(meeting, createMeeting, {});
    const QString read = R"(ok {"id":5000000000,"title":"Board"} @200)", unread = "ok {} @200";
    row("json body read", raw(200, json, board), create, read);
    row("charset parameter still read", raw(200, "application/json; charset=utf-8", board), create, read);
    row("lower-case content-type counts as none", ScriptedHttpServer::buildResponse(200, {{"content-type", json}}, board),
        create, unread);
    row("multipart not read", raw(200, "multipart/form-data; boundary=x", board), create, unread);
    row("gzip dropped although identity was asked", raw(200, json, board, "gzip"), create, unread);
    row("body that is no JSON: unset record on success", raw(200, json, "<html>"), create, unread);
    const QByteArray error = R"({"code":400,"message":"no title","source":"registry","title":"x"})";
    row("client error: record from the body, body behind the comma", raw(400, json, error), create,
        R"(ProtocolInvalidOperationError {"title":"x"} @400 | )" + error);
    row("server error with a text body", raw(500, text, "down"), create, "InternalServerError {} @500 | down");
    row("time-out", "hang", create, "TimeoutError {} @-1 | ");
    row("refused connection", "refused", create, "ConnectionRefusedError {} @-1 | ");

    const Call list = OP(meeting, getMeetings, "*");
    row("list: bad elements stay in place, unset",
        raw(200, json, R"([{"meetingId":"a","created":"2026-11-02"},5,null,{"meetingId":"b"}])"), list,
        R"(ok [{"created":"2026-11-02","meetingId":"a"},{},{},{"meetingId":"b"}] @200)");
    row("number: no number is 0 on success", raw(200, text, "{}"), OP(service, banlistPost, {}), "ok 0 @200");
    row("number read", raw(200, text, "17"), OP(service, banlistPost, {}), "ok 17 @200");
    row("number read from an error reply", raw(404, text, "12"), OP(service, banlistDelete, 4),
        "ContentNotFoundError 12 @404 | 12");
    row("text as it is", raw(200, text, "line 1\nline 2\n", "identity"), OP(service, serviceLogfile, 100),
        "ok line 1\nline 2\n @200");
    row("empty text is a success", raw(200, text, ""), OP(bundle, assetBundlePost, {}), "ok  @200");
    const QByteArray up = R"({"code":200,"message":"OK - Version v2.1.0","source":"svc"})";
    const QByteArray down = R"({"code":503,"message":"maintenance","source":"svc"})";
    row("no result: the body is read from the worker", raw(200, json, up), OP(service, serviceStatus), "ok " + up + " @200");
    row("no result: the error body is read from the worker", raw(503, json, down), OP(service, serviceStatus),
        "ServiceUnavailableError " + down + " @503 | " + down);
}

void TestClients::reply()
{
    QFETCH(QByteArray, reply);
    QFETCH(Call, call);
    QFETCH(QString, outcome);

    const quint16 port = m_server->port();
    if (reply == "hang")
        m_server->enqueueHang();
    else if (reply == "refused")
        m_server->stop();
    else
        m_server->enqueueRaw(reply);
    Outcome out;
    QVERIFY2(run(port, call, out, reply == "hang" ? 150 : 0), qPrintable(out.text));
    QCOMPARE(out.text, outcome);
}

QTEST_GUILESS_MAIN(TestClients)
#include "tst_zrv_clients.moc"
