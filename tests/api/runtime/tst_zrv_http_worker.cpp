// One HTTP exchange of the worker against the scripted server: multipart bodies, what a reply
// leaves behind, and the time-out. The clients' tests pin the request layout per verb.

#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include "ScriptedHttpServer.h"
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"

using namespace ZRV_Service_API;

class TestHttpWorker : public QObject {
    Q_OBJECT

private slots:
    void init();
    void multipart();
    void attachment_data();
    void attachment();
    void timeOut();
    void httpAttributeEncode_data();
    void httpAttributeEncode();

private:
    // Runs one input to the end against the scripted server.
    bool run(ZRVHttpRequestWorker &worker, const QString &verb, const std::function<void(ZRVHttpRequestInput &)> &fill)
    {
        ZRVHttpRequestInput input(m_server->baseUrl() + "/w", verb);
        fill(input);
        QSignalSpy finished(&worker, &ZRVHttpRequestWorker::on_execution_finished);
        worker.execute(&input);
        return finished.count() == 1 || finished.wait(5000);
    }
    std::unique_ptr<ScriptedHttpServer> m_server;
};

void TestHttpWorker::init()
{
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
}

void TestHttpWorker::multipart()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("scene.glb");
    QFile file(path);
    const QByteArray bytes("\x00\x01glb\r\n--", 9);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();

    m_server->enqueueJson(200, "{}");
    ZRVHttpRequestWorker worker;
    QVERIFY(run(worker, "POST", [&](ZRVHttpRequestInput &input) {
        input.addVar("kind", "model");
        input.add_file("asset", path, "", "model/gltf-binary");
        input.add_file("gone", dir.filePath("missing.glb"), "missing.glb", "model/gltf-binary"); // left out
        input.add_file("", path, "nameless.glb", "");                                             // left out
    }));
    const RecordedRequest request = m_server->lastRequest();
    const QByteArray type = request.header("Content-Type");
    QVERIFY2(type.startsWith("multipart/form-data; boundary=__-----------------------"), type);
    const QByteArray boundary = "--" + type.mid(type.indexOf("boundary=") + 9);
    QCOMPARE(request.body, boundary + "\r\nContent-Disposition: form-data; name=\"kind\"\r\n"
                                      "Content-Type: text/plain\r\n\r\nmodel\r\n" +
                               boundary + "\r\nContent-Disposition: form-data; name=\"asset\"; filename=\"scene.glb\"\r\n"
                                          "Content-Type: model/gltf-binary\r\nContent-Transfer-Encoding: binary\r\n\r\n" +
                               bytes + "\r\n" + boundary + "--");
}

void TestHttpWorker::attachment_data()
{
    QTest::addColumn<QByteArray>("disposition");
    QTest::addColumn<QString>("savedName"); // "*": a generated name; empty: not saved

    QTest::newRow("attachment saved under its name") << QByteArray("attachment; filename=report.txt") << "report.txt";
    QTest::newRow("attachment without a name gets a generated one") << QByteArray("attachment") << "*";
    QTest::newRow("inline is neither saved nor read") << QByteArray("inline; filename=x.txt") << QString();
}

void TestHttpWorker::attachment()
{
    QFETCH(QByteArray, disposition);
    QFETCH(QString, savedName);

    QTemporaryDir dir;
    m_server->enqueue(201, {{"Content-Type", "text/plain; charset=utf-8"}, {"Content-Disposition", disposition}},
                      "file body");
    ZRVHttpRequestWorker worker;
    worker.setWorkingDirectory(dir.path());
    QVERIFY(run(worker, "GET", [](ZRVHttpRequestInput &) {}));
    QCOMPARE(worker.httpResponseCode, 201);
    QCOMPARE(worker.getResponseHeaders().value("Content-Disposition"), QString(disposition)); // name's case kept
    QVERIFY(worker.response.isEmpty());

    const QStringList names = QDir(dir.path()).entryList(QDir::Files);
    QCOMPARE(worker.files.keys(), names);
    QCOMPARE(names.size(), savedName.isEmpty() ? 0 : 1);
    if (savedName.isEmpty())
        return;
    QVERIFY(savedName == "*" || names.first() == savedName);
    QFile file(dir.filePath(names.first()));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("file body"));
}

// The custom-verb branch must keep its reply too, so that an armed limit can abort it; the
// clients' tests time out a POST.
void TestHttpWorker::timeOut()
{
    m_server->enqueueHang();
    ZRVHttpRequestWorker worker;
    worker.setTimeOut(100);
    QVERIFY(run(worker, "PATCH", [](ZRVHttpRequestInput &input) { input.requestBody = "{}"; }));
    QCOMPARE(worker.error_type, QNetworkReply::TimeoutError);
    QCOMPARE(worker.error_str, QString("Timed out waiting for response"));
    QVERIFY(worker.response.isEmpty());
    // The reply was aborted and let go, not left running.
    QTRY_COMPARE_WITH_TIMEOUT(worker.manager->findChildren<QNetworkReply *>().size(), 0, 2000);
}

void TestHttpWorker::httpAttributeEncode_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("encoded");
    QTest::newRow("blank stays plain") << "a b.pdf" << "name=\"a b.pdf\"";
    QTest::newRow("quote escaped") << "a\"b" << "name=\"a\\\"b\"";
    QTest::newRow("slash asks for extended form") << "a/b" << "name=\"ab\"; name*=utf-8''a%2Fb";
    QTest::newRow("non-ASCII kept out of the plain form")
        << QString::fromUtf8("n\xc3\xa9.txt") << "name=\"n.txt\"; name*=utf-8''n%C3%A9%2Etxt";
}

void TestHttpWorker::httpAttributeEncode()
{
    QFETCH(QString, value);
    QFETCH(QString, encoded);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8")); // the encoder works on local 8-bit bytes
    QCOMPARE(ZRVHttpRequestWorker::httpAttributeEncode(QStringLiteral("name"), value), encoded);
}

QTEST_GUILESS_MAIN(TestHttpWorker)
#include "tst_zrv_http_worker.moc"
