#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>

#include "ScriptedHttpServer.h"
#include "Storage_S3.h"

using namespace BVK_AWS;

namespace {

using Headers = QList<QPair<QByteArray, QByteArray>>;

const QByteArray kEmptyListing = "<ListBucketResult><Name>b</Name><IsTruncated>false</IsTruncated>"
                                 "<Contents><Key>k.txt</Key><Size>3</Size><ETag>\"e\"</ETag></Contents>"
                                 "</ListBucketResult>";

} // namespace

// The storage library's requests and its reading of odd answers, against a
// scripted server. The library blocks, so it runs on a thread of its own while
// this one serves.
class TestS3Wire : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void listing_data();
    void listing();

private:
    ScriptedHttpServer m_server;
};

void TestS3Wire::init()
{
    m_server.stop();
    m_server.clear();
    QVERIFY(m_server.start());
}

void TestS3Wire::listing_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("token");
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<int>("requests");
    QTest::addColumn<QString>("error");       // empty: the listing succeeds
    QTest::addColumn<QByteArray>("lastScope"); // credential scope of the last request

    const QByteArray ok = ScriptedHttpServer::buildResponse(200, {{"Content-Type", "application/xml"}}, kEmptyListing);
    const QByteArray moved = ScriptedHttpServer::buildResponse(
        301, {{"x-amz-bucket-region", "eu-central-1"}},
        "<Error><Code>PermanentRedirect</Code><Message>Use the bucket's region.</Message></Error>");
    const QByteArray busy = ScriptedHttpServer::buildResponse(503, {}, QByteArray());
    const QByteArray denied = ScriptedHttpServer::buildResponse(403, {}, QByteArray());
    const QByteArray notXml = ScriptedHttpServer::buildResponse(200, {}, "<html>proxy login</html>");

    QTest::newRow("plain listing, session token signed") << int(MINIO) << "tok/en+1" << QList<QByteArray>{ok} << 1
                                                         << QString() << QByteArray("/us-east-1/s3/aws4_request");
    QTest::newRow("Amazon bucket in another region is asked again there")
        << int(S3) << QString() << QList<QByteArray>{moved, ok} << 2 << QString()
        << QByteArray("/eu-central-1/s3/aws4_request");
    QTest::newRow("a MinIO redirect is an error, not a region")
        << int(MINIO) << QString() << QList<QByteArray>{moved} << 1 << "Use the bucket's region."
        << QByteArray("/us-east-1/s3/aws4_request");
    QTest::newRow("a busy store is asked again") << int(MINIO) << QString() << QList<QByteArray>{busy, busy, ok} << 3
                                                 << QString() << QByteArray("/us-east-1/s3/aws4_request");
    QTest::newRow("a store that stays busy gives up")
        << int(MINIO) << QString() << QList<QByteArray>{busy, busy, busy} << 3
        << "The store is busy; try again later." << QByteArray("/us-east-1/s3/aws4_request");
    QTest::newRow("a refusal without a body still says why")
        << int(MINIO) << QString() << QList<QByteArray>{denied} << 1
        << "Access denied: the access key, secret or session token is not valid for this request."
        << QByteArray("/us-east-1/s3/aws4_request");
    QTest::newRow("a reply that is no listing")
        << int(MINIO) << QString() << QList<QByteArray>{notXml} << 1
        << "The listing of \"b\" could not be read: not a bucket listing" << QByteArray("/us-east-1/s3/aws4_request");
}

void TestS3Wire::listing()
{
    QFETCH(int, type);
    QFETCH(QString, token);
    QFETCH(QList<QByteArray>, replies);
    QFETCH(int, requests);
    QFETCH(QString, error);
    QFETCH(QByteArray, lastScope);

    for (const QByteArray &raw : replies)
        m_server.enqueueRaw(raw);
    Storage_S3 s3(Type(type), m_server.baseUrl(), "AKID", "secret", token);
    QStringList keys;
    QString failure;
    std::atomic<bool> done{false};
    std::thread call([&] {
        try {
            s3.ListObjects("b", "dir/", keys);
        } catch (const QAWSException &ex) {
            failure = ex.message;
        }
        done = true;
    });
    QTRY_VERIFY_WITH_TIMEOUT(done.load(), 20000);
    call.join();

    QCOMPARE(failure, error);
    QCOMPARE(keys, error.isEmpty() ? QStringList{"k.txt"} : QStringList());
    QCOMPARE(m_server.requestCount(), requests);
    for (const RecordedRequest &r : m_server.requests()) {
        QCOMPARE(r.requestLine, QByteArray("GET /b?list-type=2&prefix=dir%2F HTTP/1.1"));
        QCOMPARE(r.header("x-amz-content-sha256"), QByteArray("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
        QCOMPARE(r.header("x-amz-security-token"), token.toUtf8());
        const QByteArray signedNames = r.header("Authorization").split('=').value(2).split(',').value(0);
        QCOMPARE(signedNames.contains("x-amz-security-token"), !token.isEmpty());
    }
    QVERIFY2(m_server.lastRequest().header("Authorization").contains("Credential=AKID/"),
             m_server.lastRequest().header("Authorization").constData());
    QVERIFY(m_server.lastRequest().header("Authorization").contains(lastScope));
}

QTEST_GUILESS_MAIN(TestS3Wire)
#include "tst_S3Wire.moc"
