// One HTTP exchange of the worker against the scripted server: how the
// request is laid out per verb and content, multipart bodies, and what the
// reply leaves behind (attachments, headers, status).

#include <QTemporaryDir>
#include <QtTest>

#include "ScriptedHttpServer.h"
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"

using namespace ZRV_Service_API;
using StringMap = QMap<QString, QString>;
using Headers = QList<QPair<QByteArray, QByteArray>>;
Q_DECLARE_METATYPE(StringMap)
Q_DECLARE_METATYPE(Headers)

namespace {

// Runs one input to the end and hands the finished worker back.
bool runToEnd(ZRVHttpRequestWorker &worker, ZRVHttpRequestInput &input)
{
    QSignalSpy finished(&worker, &ZRVHttpRequestWorker::on_execution_finished);
    worker.execute(&input);
    return finished.count() == 1 || finished.wait(5000);
}

} // namespace

class TestHttpWorker : public QObject {
    Q_OBJECT

private slots:
    void init();
    void layout_data();
    void layout();
    void multipart();
    void attachment_data();
    void attachment();
    void replyHeadersAndStatus();
    void timeOut_data();
    void timeOut();

private:
    std::unique_ptr<ScriptedHttpServer> m_server;
};

void TestHttpWorker::init()
{
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
}

void TestHttpWorker::layout_data()
{
    QTest::addColumn<QString>("verb");
    QTest::addColumn<StringMap>("vars");
    QTest::addColumn<QByteArray>("requestBody");
    QTest::addColumn<StringMap>("headers");
    QTest::addColumn<QByteArray>("requestLine");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<bool>("compression"); // both flags, which nothing in the console sets

    const StringMap vars{{"b", "2 x"}, {"a", "&="}};
    const StringMap json{{"Content-Type", "application/json"}};
    QTest::newRow("GET vars go to the query in key order")
        << "GET" << vars << QByteArray() << StringMap()
        << QByteArray("GET /w?a=%26%3D&b=2%20x HTTP/1.1") << QByteArray() << QByteArray() << false;
    QTest::newRow("GET keeps a Content-Type header as it is")
        << "GET" << StringMap() << QByteArray() << json << QByteArray("GET /w HTTP/1.1")
        << QByteArray() << QByteArray("application/json") << false;
    QTest::newRow("GET never carries a body")
        << "GET" << StringMap() << QByteArray("{}") << StringMap() << QByteArray("GET /w HTTP/1.1")
        << QByteArray() << QByteArray("application/json") << false;
    QTest::newRow("POST vars are form content")
        << "POST" << vars << QByteArray() << json << QByteArray("POST /w HTTP/1.1")
        << QByteArray("a=%26%3D&b=2%20x")
        << QByteArray("application/x-www-form-urlencoded") << false;
    QTest::newRow("PATCH vars through the custom verb")
        << "PATCH" << vars << QByteArray() << StringMap() << QByteArray("PATCH /w HTTP/1.1")
        << QByteArray("a=%26%3D&b=2%20x")
        << QByteArray("application/x-www-form-urlencoded") << false;
    QTest::newRow("POST body without header gets json")
        << "POST" << StringMap() << QByteArray("{}") << StringMap()
        << QByteArray("POST /w HTTP/1.1") << QByteArray("{}")
        << QByteArray("application/json") << false;
    QTest::newRow("PUT body keeps the header's type")
        << "PUT" << StringMap() << QByteArray("hi") << StringMap{{"Content-Type", "text/plain"}}
        << QByteArray("PUT /w HTTP/1.1") << QByteArray("hi") << QByteArray("text/plain") << false;
    QTest::newRow("DELETE without body goes as form type despite json header")
        << "DELETE" << StringMap() << QByteArray() << json << QByteArray("DELETE /w HTTP/1.1")
        << QByteArray() << QByteArray("application/x-www-form-urlencoded") << false;
    QTest::newRow("DELETE drops a prepared body")
        << "DELETE" << StringMap() << QByteArray("{}") << StringMap()
        << QByteArray("DELETE /w HTTP/1.1") << QByteArray()
        << QByteArray("application/json") << false;
    QTest::newRow("other verbs go as they are")
        << "MKCOL" << StringMap() << QByteArray() << StringMap() << QByteArray("MKCOL /w HTTP/1.1")
        << QByteArray() << QByteArray("application/x-www-form-urlencoded") << false;
    QTest::newRow("compression: a body that would be compressed leaves as nothing")
        << "POST" << StringMap() << QByteArray("{}") << json << QByteArray("POST /w HTTP/1.1")
        << QByteArray() << QByteArray("application/x-www-form-urlencoded") << true;
}

void TestHttpWorker::layout()
{
    QFETCH(QString, verb);
    QFETCH(StringMap, vars);
    QFETCH(QByteArray, requestBody);
    QFETCH(StringMap, headers);
    QFETCH(QByteArray, requestLine);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, contentType);
    QFETCH(bool, compression);

    m_server->enqueueJson(200, "{}");
    ZRVHttpRequestWorker worker;
    worker.requestCompressionEnabled = compression;
    worker.responseCompressionEnabled = compression;
    ZRVHttpRequestInput input(m_server->baseUrl() + "/w", verb);
    for (auto it = vars.cbegin(); it != vars.cend(); ++it)
        input.addVar(it.key(), it.value());
    input.requestBody = requestBody;
    input.headers = headers;
    QVERIFY(runToEnd(worker, input));
    QCOMPARE(worker.error_type, QNetworkReply::NoError);

    const RecordedRequest request = m_server->lastRequest();
    QCOMPARE(request.requestLine, requestLine);
    QCOMPARE(request.body, body);
    QCOMPARE(request.header("Content-Type"), contentType);
    QCOMPARE(request.header("Accept-Encoding"), QByteArray(compression ? "gzip" : "identity"));
    QVERIFY(!request.hasHeader("Content-Encoding"));
}

void TestHttpWorker::multipart()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("scene.glb");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QByteArray bytes("\x00\x01glb\r\n--", 9);
    file.write(bytes);
    file.close();

    m_server->enqueueJson(200, "{}");
    ZRVHttpRequestWorker worker;
    ZRVHttpRequestInput input(m_server->baseUrl() + "/up", "POST");
    input.addVar("kind", "model");
    input.add_file("asset", path, "", "model/gltf-binary");
    input.add_file("gone", dir.filePath("missing.glb"), "missing.glb", "model/gltf-binary");
    input.add_file("", path, "nameless.glb", "");
    QVERIFY(runToEnd(worker, input));

    const RecordedRequest request = m_server->lastRequest();
    const QByteArray type = request.header("Content-Type");
    QVERIFY2(type.startsWith("multipart/form-data; boundary=__-----------------------"), type);
    const QByteArray boundary = type.mid(type.indexOf("boundary=") + 9);
    const QByteArray expected =
        "--" + boundary +
        "\r\n"
        "Content-Disposition: form-data; name=\"kind\"\r\n"
        "Content-Type: text/plain\r\n\r\n"
        "model\r\n"
        "--" +
        boundary +
        "\r\n"
        "Content-Disposition: form-data; name=\"asset\"; filename=\"scene.glb\"\r\n"
        "Content-Type: model/gltf-binary\r\n"
        "Content-Transfer-Encoding: binary\r\n\r\n" +
        bytes + "\r\n" + "--" + boundary + "--";
    QCOMPARE(request.body, expected);
}

void TestHttpWorker::attachment_data()
{
    QTest::addColumn<QByteArray>("disposition");
    QTest::addColumn<QString>("savedName"); // empty: a generated name
    QTest::addColumn<bool>("saved");

    QTest::newRow("attachment saved under its name")
        << QByteArray("attachment; filename=report.txt") << "report.txt" << true;
    QTest::newRow("quotes of the name are kept")
        << QByteArray("attachment; filename=\"q.txt\"") << "\"q.txt\"" << true;
    QTest::newRow("attachment without a name gets a generated one")
        << QByteArray("attachment") << QString() << true;
    QTest::newRow("inline is neither saved nor read")
        << QByteArray("inline; filename=x.txt") << QString() << false;
}

void TestHttpWorker::attachment()
{
    QFETCH(QByteArray, disposition);
    QFETCH(QString, savedName);
    QFETCH(bool, saved);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    m_server->enqueue(
        200, {{"Content-Type", "text/plain; charset=utf-8"}, {"Content-Disposition", disposition}},
        "file body");
    ZRVHttpRequestWorker worker;
    worker.setWorkingDirectory(dir.path());
    ZRVHttpRequestInput input(m_server->baseUrl() + "/dl", "GET");
    QVERIFY(runToEnd(worker, input));

    QVERIFY(worker.response.isEmpty());
    const QStringList names = QDir(dir.path()).entryList(QDir::Files);
    QCOMPARE(names.size(), saved ? 1 : 0);
    QCOMPARE(worker.files.size(), saved ? 1 : 0);
    if (!saved)
        return;
    const QString name = names.first();
    if (!savedName.isEmpty())
        QCOMPARE(name, savedName);
    QFile file(dir.filePath(name));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("file body"));
    QVERIFY(worker.files.contains(name));
    QCOMPARE(worker.files.value(name).mimeType, QString("text/plain"));
}

void TestHttpWorker::replyHeadersAndStatus()
{
    m_server->enqueue(201, {{"Content-Type", "application/json"}, {"X-Mixed-Case", "1"}}, "{}");
    ZRVHttpRequestWorker worker;
    ZRVHttpRequestInput input(m_server->baseUrl() + "/h", "GET");
    QVERIFY(runToEnd(worker, input));
    QCOMPARE(worker.httpResponseCode, 201);
    const QMap<QString, QString> headers = worker.getResponseHeaders();
    QVERIFY(headers.contains("X-Mixed-Case"));
    QVERIFY(!headers.contains("x-mixed-case"));
    QCOMPARE(worker.response, QByteArray("{}"));
}

void TestHttpWorker::timeOut_data()
{
    QTest::addColumn<QString>("verb");
    QTest::newRow("POST") << "POST";
    // The custom-verb branch keeps its reply too, so an armed limit can abort it.
    QTest::newRow("PATCH through the custom verb") << "PATCH";
}

void TestHttpWorker::timeOut()
{
    QFETCH(QString, verb);
    m_server->enqueueHang();
    ZRVHttpRequestWorker worker;
    worker.setTimeOut(100);
    ZRVHttpRequestInput input(m_server->baseUrl() + "/slow", verb);
    input.requestBody = "{}";
    QVERIFY(runToEnd(worker, input));
    QCOMPARE(worker.error_type, QNetworkReply::TimeoutError);
    QCOMPARE(worker.error_str, QString("Timed out waiting for response"));
    QVERIFY(worker.response.isEmpty());
    // The reply was aborted and let go, not left running.
    QTRY_COMPARE_WITH_TIMEOUT(worker.manager->findChildren<QNetworkReply *>().size(), 0, 2000);
}

QTEST_GUILESS_MAIN(TestHttpWorker)
#include "tst_zrv_http_worker.moc"
