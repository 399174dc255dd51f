// What the clients make of replies: which bodies are read, how failures
// reach the caller, lists with bad elements, text and number replies,
// time-out, refused connection and abort.

#include <QtTest>

#include "ScriptedHttpServer.h"
#include "ZRVAssetBundleApi.h"
#include "ZRVError.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingServiceApi.h"

namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

using Headers = QList<QPair<QByteArray, QByteArray>>;
Q_DECLARE_METATYPE(QList<ZRV_Service_API::ZRVMeetingInfo>)

namespace {

// What one request ended with, from whichever signal pair fired.
template <typename Summary> struct Outcome {
    int successes = 0;
    int failures = 0;
    int fullSignals = 0;
    Summary summary{};
    QNetworkReply::NetworkError errorType = QNetworkReply::NoError;
    QString errorStr;
    int total() const { return successes + failures; }
};

// Connects the four signals of one operation to an outcome.
template <typename Summary, typename Api, typename Worker>
void watch(Api *api, Outcome<Summary> *out, void (Api::*ok)(Summary),
           void (Api::*okFull)(Worker *, Summary),
           void (Api::*err)(Summary, QNetworkReply::NetworkError, QString),
           void (Api::*errFull)(Worker *, QNetworkReply::NetworkError, QString))
{
    QObject::connect(api, ok, [out](Summary s) {
        ++out->successes;
        out->summary = s;
    });
    QObject::connect(api, okFull, [out](Worker *, Summary) { ++out->fullSignals; });
    QObject::connect(api, err, [out](Summary s, QNetworkReply::NetworkError t, QString e) {
        ++out->failures;
        out->summary = s;
        out->errorType = t;
        out->errorStr = e;
    });
    QObject::connect(api, errFull,
                     [out](Worker *, QNetworkReply::NetworkError, QString) { ++out->fullSignals; });
}

#define WATCH(api, out, Api, op) \
    watch(api, out, &Api::op##Signal, &Api::op##SignalFull, &Api::op##SignalE, &Api::op##SignalEFull)

// The way failure slots of the console find the service's error object.
QString errorMessage(const QString &errorStr)
{
    const QString json = errorStr.mid(errorStr.indexOf(QStringLiteral(", {")) + 1);
    return ZRV_AuthService_API::ZRVError(json).getMessage();
}

const QByteArray kErrorBody =
    R"({"code":400,"message":"no title","source":"registry","title":"x"})";

} // namespace

class TestClientsReplies : public QObject {
    Q_OBJECT

private slots:
    void init();
    void recordReply_data();
    void recordReply();
    void listReply_data();
    void listReply();
    void textAndNumberReplies();
    void workerReadInFullSlot_data();
    void workerReadInFullSlot();
    void transportFailure_data();
    void transportFailure();
    void abortDropsRequests();

private:
    std::unique_ptr<ScriptedHttpServer> m_server;
};

void TestClientsReplies::init()
{
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
}

void TestClientsReplies::recordReply_data()
{
    QTest::addColumn<QByteArray>("raw");
    QTest::addColumn<QNetworkReply::NetworkError>("errorType");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("errorTail");
    QTest::addColumn<QString>("message");

    const auto ok = QNetworkReply::NoError;
    const QByteArray body = R"({"title":"Board","id":5000000000})";
    auto raw = [](int status, const Headers &headers, const QByteArray &b) {
        return ScriptedHttpServer::buildResponse(status, headers, b);
    };
    const QByteArray json = "application/json";
    auto read = [&](const char *name, const Headers &headers) {
        QTest::newRow(name) << raw(200, headers, body) << ok << "Board" << QString() << QString();
    };
    auto notRead = [&](const char *name, const Headers &headers, const QByteArray &b = QByteArray()) {
        QTest::newRow(name) << raw(200, headers, b.isNull() ? body : b) << ok << QString() << QString() << QString();
    };
    read("json body read", {{"Content-Type", json}});
    read("charset parameter still read", {{"Content-Type", "application/json; charset=utf-8"}});
    read("identity encoding in any case read", {{"Content-Type", json}, {"Content-Encoding", "IDENTITY"}});
    notRead("lower-case content-type name counts as none", {{"content-type", json}});
    notRead("no content type, body not read", {});
    notRead("multipart content type not read", {{"Content-Type", "multipart/form-data; boundary=x"}});
    notRead("gzip encoding dropped although identity was asked", {{"Content-Type", json}, {"Content-Encoding", "gzip"}});
    notRead("identity behind a comma and blank is no list entry, not read",
            {{"Content-Type", json}, {"Content-Encoding", "br, identity"}});
    notRead("empty encoding value not read", {{"Content-Type", json}, {"Content-Encoding", ""}});
    notRead("unknown encoding not read", {{"Content-Type", json}, {"Content-Encoding", "br"}});
    notRead("body that is no json gives an unset record on success", {{"Content-Type", json}}, "<html>");
    QTest::newRow("client error carries the body behind a comma")
        << raw(400, {{"Content-Type", "application/json"}}, kErrorBody)
        << QNetworkReply::ProtocolInvalidOperationError << "x" << QString(", ") + kErrorBody
        << "no title";
    QTest::newRow("server error with text body has no error object")
        << raw(500, {{"Content-Type", "text/plain"}}, "down") << QNetworkReply::InternalServerError
        << QString() << ", down" << QString();
}

// createMeeting stands for every record operation: they share one callback.
void TestClientsReplies::recordReply()
{
    QFETCH(QByteArray, raw);
    QFETCH(QNetworkReply::NetworkError, errorType);
    QFETCH(QString, title);
    QFETCH(QString, errorTail);
    QFETCH(QString, message);

    m_server->enqueueRaw(raw);
    Meet::ZRVMeetingApi api("http", "127.0.0.1", m_server->port(), "");
    Outcome<Meet::ZRVMeeting> out;
    WATCH(&api, &out, Meet::ZRVMeetingApi, createMeeting);
    api.createMeeting(Meet::ZRVMeeting());
    QTRY_COMPARE_WITH_TIMEOUT(out.fullSignals, 1, 5000);

    QCOMPARE(out.total(), 1);
    QCOMPARE(out.errorType, errorType);
    QCOMPARE(out.successes, errorType == QNetworkReply::NoError ? 1 : 0);
    QCOMPARE(out.summary.getTitle(), title);
    QCOMPARE(out.summary.is_title_Set(), !title.isEmpty());
    if (title == "Board") {
        QVERIFY(out.summary.is_id_Set());
        QCOMPARE(out.summary.getId(), Q_INT64_C(5000000000));
    }
    if (!errorTail.isEmpty()) {
        QVERIFY2(out.errorStr.endsWith(errorTail), qPrintable(out.errorStr));
        // The reply's own error text comes first, not empty.
        QVERIFY(out.errorStr.size() > errorTail.size());
    }
    QCOMPARE(errorMessage(out.errorStr), message);
}

void TestClientsReplies::listReply_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("meetingIds");
    QTest::addColumn<QList<bool>>("createdSet");

    QTest::newRow("empty array") << QByteArray("[]") << QStringList() << QList<bool>();
    QTest::newRow("bad elements stay in place, unset")
        << QByteArray(R"([{"meetingId":"a","created":"2026-11-02"},5,null,{"meetingId":"b"}])")
        << QStringList{"a", "", "", "b"} << QList<bool>{true, false, false, false};
    QTest::newRow("date that is no ISO date leaves the element usable")
        << QByteArray(R"([{"meetingId":"c","created":"02.11.2026"}])") << QStringList{"c"}
        << QList<bool>{false};
    QTest::newRow("object root gives an empty list")
        << QByteArray(R"({"meetingId":"a"})") << QStringList() << QList<bool>();
}

void TestClientsReplies::listReply()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, meetingIds);
    QFETCH(QList<bool>, createdSet);

    m_server->enqueueJson(200, body);
    Meet::ZRVMeetingApi api("http", "127.0.0.1", m_server->port(), "");
    Outcome<QList<Meet::ZRVMeeting>> out;
    WATCH(&api, &out, Meet::ZRVMeetingApi, getMeetings);
    api.getMeetings("*");
    QTRY_COMPARE_WITH_TIMEOUT(out.fullSignals, 1, 5000);
    QCOMPARE(out.successes, 1);

    QStringList ids;
    QList<bool> created;
    for (const Meet::ZRVMeeting &m : out.summary) {
        ids << m.getMeetingId();
        created << m.is_created_Set();
    }
    QCOMPARE(ids, meetingIds);
    QCOMPARE(created, createdSet);
}

void TestClientsReplies::textAndNumberReplies()
{
    const Headers text{{"Content-Type", "text/plain"}};
    Svc::ZRVMeetingServiceApi service("http", "127.0.0.1", m_server->port(), "");
    Svc::ZRVAssetBundleApi bundle("http", "127.0.0.1", m_server->port(), "");

    // A number reply that is not a number is 0, also on success.
    m_server->enqueue(200, text, "{}");
    m_server->enqueue(200, text, "17");
    m_server->enqueue(404, text, "12");
    Outcome<int> post1, post2, del;
    WATCH(&service, &post1, Svc::ZRVMeetingServiceApi, banlistPost);
    service.banlistPost(Svc::ZRVBanlistEntry());
    QTRY_COMPARE_WITH_TIMEOUT(post1.fullSignals, 1, 5000);
    QCOMPARE(post1.successes, 1);
    QCOMPARE(post1.summary, 0);
    service.disconnect();
    WATCH(&service, &post2, Svc::ZRVMeetingServiceApi, banlistPost);
    service.banlistPost(Svc::ZRVBanlistEntry());
    QTRY_COMPARE_WITH_TIMEOUT(post2.fullSignals, 1, 5000);
    QCOMPARE(post2.summary, 17);
    WATCH(&service, &del, Svc::ZRVMeetingServiceApi, banlistDelete);
    service.banlistDelete(4);
    QTRY_COMPARE_WITH_TIMEOUT(del.fullSignals, 1, 5000);
    QCOMPARE(del.failures, 1);
    QCOMPARE(del.errorType, QNetworkReply::ContentNotFoundError);
    QCOMPARE(del.summary, 12);

    // Log text comes as it is, the error body too.
    m_server->enqueue(200, {{"Content-Type", "text/plain"}, {"Content-Encoding", "identity"}},
                      "line 1\nline 2\n");
    m_server->enqueue(500, text, "no log");
    Outcome<QString> log1, log2;
    WATCH(&service, &log1, Svc::ZRVMeetingServiceApi, serviceLogfile);
    service.serviceLogfile(100);
    QTRY_COMPARE_WITH_TIMEOUT(log1.fullSignals, 1, 5000);
    QCOMPARE(log1.summary, QString("line 1\nline 2\n"));
    WATCH(&service, &log2, Svc::ZRVMeetingServiceApi, meetingLogfile);
    service.meetingLogfile("m1", 10);
    QTRY_COMPARE_WITH_TIMEOUT(log2.fullSignals, 1, 5000);
    QCOMPARE(log2.failures, 1);
    QCOMPARE(log2.summary, QString("no log"));
    QVERIFY(log2.errorStr.endsWith(", no log"));

    // An empty text reply is a success with an empty summary.
    m_server->enqueue(200, text, "");
    Outcome<QString> posted;
    posted.summary = "untouched";
    WATCH(&bundle, &posted, Svc::ZRVAssetBundleApi, assetBundlePost);
    bundle.assetBundlePost(Svc::ZRVAssetBundle());
    QTRY_COMPARE_WITH_TIMEOUT(posted.fullSignals, 1, 5000);
    QCOMPARE(posted.successes, 1);
    QCOMPARE(posted.summary, QString());
}

void TestClientsReplies::workerReadInFullSlot_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("success: the status reply's body") << 200 << QByteArray(R"({"code":200,"message":"OK - Version v2.1.0","source":"svc"})");
    QTest::newRow("failure: the error body") << 503 << QByteArray(R"({"code":503,"message":"maintenance","source":"svc"})");
}

// The service thread reads the body of the status reply from the worker inside the Full slot,
// for that operation has no summary: the worker must still be whole there.
void TestClientsReplies::workerReadInFullSlot()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    m_server->enqueueJson(status, body);
    Svc::ZRVMeetingServiceApi api("http", "127.0.0.1", m_server->port(), "");
    QByteArray seen;
    int code = 0, calls = 0;
    QString header;
    auto read = [&](Svc::ZRVHttpRequestWorker *worker) {
        ++calls;
        seen = worker->response;
        code = worker->httpResponseCode;
        header = worker->getResponseHeaders().value("Content-Type");
    };
    connect(&api, &Svc::ZRVMeetingServiceApi::serviceStatusSignalFull, read);
    connect(&api, &Svc::ZRVMeetingServiceApi::serviceStatusSignalEFull,
            [&](Svc::ZRVHttpRequestWorker *worker, QNetworkReply::NetworkError, QString) { read(worker); });
    api.serviceStatus();
    QTRY_COMPARE_WITH_TIMEOUT(calls, 1, 5000);
    QCOMPARE(seen, body);
    QCOMPARE(code, status);
    QCOMPARE(header, QString("application/json"));
    QCOMPARE(ZRV_AuthService_API::ZRVError(QString::fromUtf8(seen)).getCode(), status);
}

void TestClientsReplies::transportFailure_data()
{
    QTest::addColumn<bool>("hang");
    QTest::addColumn<QNetworkReply::NetworkError>("errorType");
    QTest::addColumn<QString>("errorStr"); // empty: only the empty body behind the comma
    QTest::newRow("time-out") << true << QNetworkReply::TimeoutError << "Timed out waiting for response, ";
    QTest::newRow("refused connection") << false << QNetworkReply::ConnectionRefusedError << QString();
}

void TestClientsReplies::transportFailure()
{
    QFETCH(bool, hang);
    QFETCH(QNetworkReply::NetworkError, errorType);
    QFETCH(QString, errorStr);
    const quint16 port = m_server->port();
    if (hang)
        m_server->enqueueHang();
    else
        m_server->stop();
    Meet::ZRVMeetingApi api("http", "127.0.0.1", port, "", 150);
    Outcome<Meet::ZRVMeeting> out;
    WATCH(&api, &out, Meet::ZRVMeetingApi, createMeeting);
    api.createMeeting(Meet::ZRVMeeting());
    QTRY_COMPARE_WITH_TIMEOUT(out.fullSignals, 1, 5000);
    QCOMPARE(out.failures, 1);
    QCOMPARE(out.successes, 0);
    QCOMPARE(out.errorType, errorType);
    if (!errorStr.isEmpty())
        QCOMPARE(out.errorStr, errorStr);
    QVERIFY2(out.errorStr.endsWith(", "), qPrintable(out.errorStr));
    QVERIFY(!out.summary.isSet());
}

void TestClientsReplies::abortDropsRequests()
{
    // Both would be answered after a short delay, had the abort not come.
    m_server->enqueueJson(200, "[]", 200);
    m_server->enqueueJson(200, "[]", 200);
    Svc::ZRVMeetingServiceApi api("http", "127.0.0.1", m_server->port(), "");
    // moc records the signal argument by its name inside the namespace.
    qRegisterMetaType<QList<Svc::ZRVMeetingInfo>>("QList<ZRVMeetingInfo>");
    QSignalSpy succeeded(&api, &Svc::ZRVMeetingServiceApi::serviceMeetingsSignal);
    QSignalSpy failed(&api, &Svc::ZRVMeetingServiceApi::serviceMeetingsSignalE);
    api.serviceMeetings();
    api.serviceMeetings();
    QVERIFY(m_server->waitForRequests(2, 5000));
    emit api.abortRequestsSignal();
    // The replies are due after 200 ms; give them three times that to show up.
    QVERIFY(!succeeded.wait(600));
    QCOMPARE(succeeded.count() + failed.count(), 0);
    QCOMPARE(api.findChildren<Svc::ZRVHttpRequestWorker *>().size(), 0);

    // The client stays usable after the abort.
    m_server->enqueueJson(200, "[]");
    api.serviceMeetings();
    QVERIFY(succeeded.wait(5000));
    QCOMPARE(failed.count(), 0);
}

QTEST_GUILESS_MAIN(TestClientsReplies)
#include "tst_zrv_clients_replies.moc"
