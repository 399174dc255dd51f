#include <QtTest>

#include <atomic>
#include <functional>
#include <thread>

#include "S3Transport.h"
#include "ScriptedHttpServer.h"
#include "Storage_S3.h"
#include "TransferJournal.h"

using namespace BVK_AWS;

namespace {

using Headers = QList<QPair<QByteArray, QByteArray>>;
constexpr qint64 kMiB = 1024 * 1024;

QByteArray reply(int status, const QByteArray &body = {}, const Headers &headers = {{"Content-Type", "application/xml"}})
{
    return ScriptedHttpServer::buildResponse(status, headers, body);
}
QByteArray initiated(const QByteArray &id)
{
    return reply(200, "<InitiateMultipartUploadResult><UploadId> " + id + " </UploadId></InitiateMultipartUploadResult>");
}
QByteArray completed(const QByteArray &etag)
{
    return reply(200, "<CompleteMultipartUploadResult><ETag>" + etag + "</ETag></CompleteMultipartUploadResult>");
}
QByteArray errorReply(int status, const QByteArray &code)
{
    return reply(status, "<Error><Code>" + code + "</Code><Message>" + code + " said the store</Message></Error>");
}
QByteArray objectHead(qint64 size) { return reply(200, {}, {{"Content-Length", QByteArray::number(size)}, {"ETag", "\"obj\""}}); }
const QByteArray kListing = reply(200, "<ListBucketResult><IsTruncated>false</IsTruncated><Contents><Key>k.txt</Key>"
                                       "<Size>3</Size><ETag>\"e\"</ETag></Contents></ListBucketResult>");

bool writeAll(const QString &path, const QByteArray &data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

// "GET /b/k?x HTTP/1.1" -> "GET /b/k?x", with " [<Range>]" when one was sent.
QStringList lines(const QList<RecordedRequest> &requests)
{
    QStringList out;
    for (const RecordedRequest &r : requests)
        out << QString::fromLatin1(r.requestLine.left(r.requestLine.lastIndexOf(' ')))
                   + (r.hasHeader("Range") ? " [" + r.header("Range") + ']' : QByteArray());
    return out;
}

} // namespace

// The storage library's requests and odd answers; its calls block, so they run on a thread while this one serves.
class TestS3Wire : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void listing_data();
    void listing();
    void uploadFaults_data();
    void uploadFaults();
    void downloadFaults_data();
    void downloadFaults();
    void pauseClosesPartsInFlight();

private:
    QString offThread(const std::function<void()> &op, int timeoutMs = 40000);
    QString local(const QString &name) const { return m_dir.filePath(QString(name).replace(' ', '_')); }
    // "hang": left unanswered, "slow:": answered after longer than a stall, "refused": nobody listens.
    void serve(const QList<QByteArray> &replies)
    {
        for (const QByteArray &raw : replies) {
            if (raw == "hang")
                m_server.enqueueHang();
            else if (raw == "refused")
                m_server.stop();
            else
                m_server.enqueueRaw(raw.mid(raw.startsWith("slow:") ? 5 : 0),
                                    raw.startsWith("slow:") ? (S3Transport::kStallSeconds + 2) * 1000 : 0);
        }
    }

    ScriptedHttpServer m_server;
    QTemporaryDir m_dir;
};

void TestS3Wire::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QDir(TransferJournal::directory()).removeRecursively();
    QVERIFY(m_dir.isValid());
}

void TestS3Wire::init()
{
    m_server.stop();
    m_server.clear();
    QVERIFY(m_server.start());
}

QString TestS3Wire::offThread(const std::function<void()> &op, int timeoutMs)
{
    QString failure;
    std::atomic<bool> done{false};
    std::thread call([&] {
        try {
            op();
        } catch (const QAWSException &ex) {
            failure = ex.message.isEmpty() ? QStringLiteral("(no message)") : ex.message;
        }
        done = true;
    });
    QDeadlineTimer deadline(timeoutMs);
    while (!done && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    if (!done)
        m_server.stop(); // the call ends once its connections drop
    call.join();
    return failure;
}

void TestS3Wire::listing_data()
{
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<QString>("error"); // empty: "k.txt" is listed
    QTest::addColumn<int>("atLeastMs"); // the pauses between tries
    QTest::addColumn<QByteArray>("region"); // in the credential scope of the last request
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("host"); // how the endpoint names this machine
    QTest::addColumn<QString>("token");
    QTest::addColumn<QStringList>("keys");
    const auto row = [](const char *name, const QList<QByteArray> &replies, const QString &error = {}, int atLeastMs = 0,
                        const QByteArray &region = "us-east-1", int type = MINIO, const QString &host = "127.0.0.1",
                        const QString &token = {}, const QStringList &keys = {"k.txt"}) {
        QTest::newRow(name) << replies << error << atLeastMs << region << type << host << token << keys;
    };
    const QByteArray moved = reply(301, "<Error><Code>PermanentRedirect</Code></Error>",
                                   {{"x-amz-bucket-region", "eu-central-1"}});
    const QByteArray busy = reply(503, {}, {});
    const QByteArray firstPage = reply(200, "<ListBucketResult><IsTruncated>true</IsTruncated><NextContinuationToken>t/2"
                                            "</NextContinuationToken><Contents><Key>first.txt</Key></Contents>"
                                            "</ListBucketResult>");
    const QString unreadable = "The listing of \"b\" could not be read: ";

    row("plain listing, session token signed", {kListing}, {}, 0, "us-east-1", MINIO, "127.0.0.1", "tok/en+1");
    row("Amazon S3 mode on localhost keeps the bucket in the path", {kListing}, {}, 0, "us-east-1", S3, "localhost");
    row("bucket in another region is asked again there", {moved, kListing}, {}, 0, "eu-central-1", S3);
    row("MinIO names the region in its error reply",
        {reply(400, "<Error><Code>AuthorizationHeaderMalformed</Code><Message>the region 'us-east-1' is wrong; "
                    "expecting 'eu-west-3'</Message><Region>eu-west-3</Region></Error>"),
         kListing},
        {}, 0, "eu-west-3");
    row("two pages", {firstPage, kListing}, {}, 0, "us-east-1", MINIO, "127.0.0.1", {}, {"first.txt", "k.txt"});
    row("a later page refused without a body: nothing listed, still says why", {firstPage, reply(403, {}, {})},
        "Access denied: the access key, secret or session token is not valid for this request.");
    row("a reply that is no listing", {reply(200, "<html>proxy login</html>", {})}, unreadable + "not a bucket listing");
    row("a truncated page without a token is not followed forever",
        {reply(200, "<ListBucketResult><IsTruncated>true</IsTruncated></ListBucketResult>")},
        unreadable + "truncated listing without a continuation token");
    row("a store that stays busy is given up after growing pauses", {busy, busy, busy, busy},
        "The store is busy; try again later.", 3500);
    row("a refused connection is tried again before failing", {"refused"},
        "Listing \"b\": Couldn't connect to server", 3500);
    row("a stalled connection is given up within 30 seconds", {"hang", "hang"}, "Listing \"b\": Timeout was reached",
        2 * S3Transport::kStallSeconds * 1000);
}

void TestS3Wire::listing()
{
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QString, error);
    QFETCH(int, atLeastMs);
    QFETCH(QString, host);
    QFETCH(QString, token);
    QFETCH(int, type);
    const QString authority = QStringLiteral("%1:%2").arg(host).arg(m_server.port());
    serve(replies);
    Storage_S3 s3(Type(type), "http://" + authority, "AKID", "secret", token);
    QStringList got;
    QElapsedTimer clock;
    clock.start();
    const QString failure = offThread([&] { s3.ListObjects("b", "/dir//", got); }, 60000);
    QVERIFY2(clock.elapsed() >= atLeastMs && clock.elapsed() <= 30000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(failure.startsWith(error) && failure.isEmpty() == error.isEmpty(), qPrintable(failure));
    QFETCH(QStringList, keys);
    QCOMPARE(got, error.isEmpty() ? keys : QStringList());
    QCOMPARE(m_server.requestCount(), replies.size() - replies.count("refused"));
    for (const RecordedRequest &r : m_server.requests()) {
        QCOMPARE(r.requestLine, r.target.contains("continuation-token")
                                    ? "GET /b?continuation-token=t%2F2&encoding-type=url&list-type=2&prefix=dir%2F HTTP/1.1"
                                    : QByteArray("GET /b?encoding-type=url&list-type=2&prefix=dir%2F HTTP/1.1"));
        QCOMPARE(r.header("Host"), authority.toLatin1());
        QCOMPARE(r.header("x-amz-security-token"), token.toUtf8());
        const QByteArray signedNames = r.header("Authorization").split('=').value(2).split(',').value(0);
        QCOMPARE(signedNames.contains("x-amz-security-token"), !token.isEmpty());
    }
    QFETCH(QByteArray, region);
    const QByteArray authorization = m_server.lastRequest().header("Authorization");
    QVERIFY2(replies == QList<QByteArray>{"refused"}
                 || (authorization.contains("Credential=AKID/") && authorization.contains("/" + region + "/s3/aws4_request")),
             authorization.constData());
}

void TestS3Wire::uploadFaults_data()
{
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<QStringList>("firstTry"); // requests of the first try
    QTest::addColumn<QString>("firstError");   // empty: the first try finishes
    QTest::addColumn<QStringList>("secondTry"); // requests of a second try, when the first failed

    const QString start = "POST /b/up.bin?uploads=";
    const QString part1 = "PUT /b/up.bin?partNumber=1&uploadId=U1";
    const QString complete1 = "POST /b/up.bin?uploadId=U1";
    const QString parts1 = "GET /b/up.bin?uploadId=U1";
    const QStringList again{start, "PUT /b/up.bin?partNumber=1&uploadId=U2", "POST /b/up.bin?uploadId=U2"};
    const QByteArray u1 = initiated("U1");
    const QByteArray p1 = reply(200, {}, {{"ETag", "\"p1\""}});
    const QList<QByteArray> tail2{initiated("U2"), reply(200, {}, {{"ETag", "\"q1\""}}), completed("\"done-2\"")};

    const auto row = [](const char *name, const QList<QByteArray> &replies, const QStringList &firstTry,
                        const QString &firstError = {}, const QStringList &secondTry = {}) {
        QTest::newRow(name) << replies << firstTry << firstError << secondTry;
    };
    row("a part answered 400 RequestTimeout is sent again",
        {u1, errorReply(400, "RequestTimeout"), p1, completed("\"done-1\"")}, {start, part1, part1, complete1});
    row("a completion the store thinks over longer than a stall still completes",
        {u1, p1, "slow:" + completed("\"done-1\"")}, {start, part1, complete1});
    row("a part refused for good fails the transfer", {u1, errorReply(403, "AccessDenied")}, {start, part1},
        "AccessDenied said the store");
    row("a failed completion: the retry finds the upload gone and starts over",
        QList<QByteArray>{u1, p1, errorReply(200, "InternalError"), errorReply(404, "NoSuchUpload")} + tail2,
        {start, part1, complete1}, "InternalError said the store", QStringList{parts1} + again);
    row("a failed completion: the retry finds the parts and completes",
        {u1, p1, errorReply(200, "InternalError"),
         reply(200, "<ListPartsResult><IsTruncated>false</IsTruncated><Part><PartNumber>1</PartNumber>"
                    "<ETag>\"p1\"</ETag><Size>5242880</Size></Part></ListPartsResult>"),
         completed("\"done-1\"")},
        {start, part1, complete1}, "InternalError said the store", {parts1, complete1});
    row("a completion refused: the retry starts afresh",
        QList<QByteArray>{u1, p1, errorReply(400, "InvalidPart"), reply(204)} + tail2,
        {start, part1, complete1, "DELETE /b/up.bin?uploadId=U1"}, "InvalidPart said the store", again);
}

// One part of 5 MiB, so every request is in a known order.
void TestS3Wire::uploadFaults()
{
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QStringList, firstTry);
    QFETCH(QString, firstError);
    QFETCH(QStringList, secondTry);

    serve(replies);
    const QString source = local(QTest::currentDataTag());
    QVERIFY(writeAll(source, QByteArray(int(5 * kMiB), 'u')));
    Storage_S3 s3(MINIO, m_server.baseUrl(), "AKID", "secret");
    MPInfo step;
    const auto upload = [&] {
        for (int i = 0; i < 50 && !step.finished; ++i)
            step = s3.UploadObjectMultipart("b", "up.bin", source, "application/octet-stream");
    };
    QCOMPARE(offThread(upload), firstError);
    QCOMPARE(lines(m_server.requests()), firstTry);
    if (!secondTry.isEmpty()) {
        m_server.clear();
        serve(replies.mid(firstTry.size()));
        QCOMPARE(offThread(upload), QString());
        QCOMPARE(lines(m_server.requests()), secondTry);
    }
    QCOMPARE(step.finished && step.ETag.startsWith("\"done-"), firstError.isEmpty() || !secondTry.isEmpty());
}

void TestS3Wire::downloadFaults_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("resumeAt"); // bytes already in the partial file; 0: a fresh download
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<QString>("error");
    QTest::addColumn<int>("steps"); // 0: until finished

    const QByteArray body = "0123456789abcdefghij";
    const auto partial = [](const QByteArray &bytes, qint64 from, qint64 size) {
        return reply(206, bytes, {{"Content-Range", QStringLiteral("bytes %1-%2/%3").arg(from).arg(size - 1).arg(size).toLatin1()}});
    };
    const QString get = "GET /b/obj.bin";
    const QString head = "HEAD /b/obj.bin";
    const qint64 beyond = 5 * 1024 * kMiB; // past 4 GiB, without real data

    QTest::newRow("a cut stream goes on at the byte where it stopped")
        << qint64(20) << qint64(0)
        << QList<QByteArray>{objectHead(20), "HTTP/1.1 200 OK\r\nContent-Length: 20\r\nConnection: close\r\n\r\n01234567",
                             partial(body.mid(8), 8, 20)}
        << QStringList{head, get, get + " [bytes=8-19]"} << QString() << 0;
    QTest::newRow("a store that answers a range with the whole object: from byte 0 in the same step")
        << qint64(20) << qint64(5) << QList<QByteArray>{objectHead(20), reply(200, body, {}), reply(200, body, {})}
        << QStringList{head, get + " [bytes=5-19]", get} << QString() << 0;
    QTest::newRow("an object that changes during the download")
        << qint64(20) << qint64(0) << QList<QByteArray>{objectHead(20), errorReply(412, "PreconditionFailed")}
        << QStringList{head, get} << "\"obj.bin\" changed on the store during the download." << 0;
    QTest::newRow("a resume past 4 GiB asks for the right range")
        << beyond + 20 << beyond << QList<QByteArray>{objectHead(beyond + 20), partial(body, beyond, beyond + 20)}
        << QStringList{head, get + QStringLiteral(" [bytes=%1-%2]").arg(beyond).arg(beyond + 19)} << QString() << 0;
    // Steps come back long before a stall is given up, so that a pause can get in.
    QTest::newRow("a body that does not come: steps return, the rest asked for in ranges")
        << 48 * kMiB << qint64(0) << QList<QByteArray>{objectHead(48 * kMiB), "hang", "hang", "hang"}
        << QStringList{head, get, get + QStringLiteral(" [bytes=%1-%2]").arg(16 * kMiB).arg(32 * kMiB - 1),
                       get + QStringLiteral(" [bytes=%1-%2]").arg(32 * kMiB).arg(48 * kMiB - 1)}
        << QString() << 2;
}

void TestS3Wire::downloadFaults()
{
    QFETCH(qint64, size);
    QFETCH(qint64, resumeAt);
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QString, error);
    QFETCH(int, steps);

    serve(replies);
    const QByteArray body = "0123456789abcdefghij";
    const QString target = local(QTest::currentDataTag());
    if (resumeAt > 0) {
        // What an earlier run left: the journal and its sparse partial file.
        const QString journal = TransferJournal::id("download", m_server.baseUrl(), "b", "obj.bin", target);
        const QString partFile = target + "." + journal.section('-', 1).left(12) + ".part";
        QFile part(partFile);
        QVERIFY(part.open(QIODevice::WriteOnly) && part.resize(size));
        QVERIFY(TransferJournal::save(journal, QJsonObject{{"bucket", "b"}, {"key", "obj.bin"}, {"partFile", partFile},
                                                           {"size", double(size)}, {"etag", "\"obj\""},
                                                           {"segments", QJsonArray{QJsonArray{0.0, double(size), double(resumeAt)}}}}));
    }
    Storage_S3 s3(MINIO, m_server.baseUrl(), "AKID", "secret");
    MPInfo step;
    const auto download = [&] {
        for (int i = 0; i < (steps ? steps : 10) && !step.finished; ++i)
            step = s3.DownloadObjectMultipart("b", "obj.bin", target);
    };
    QCOMPARE(offThread(download, steps ? (S3Transport::kStallSeconds - 2) * 1000 : 40000), error);
    QFETCH(QStringList, requests);
    QVERIFY(m_server.waitForRequests(requests.size()));
    QCOMPARE(lines(m_server.requests()), requests);
    QCOMPARE(step.finished, error.isEmpty() && !steps);
    if (!step.finished)
        return;
    QFile out(target);
    QVERIFY(out.open(QIODevice::ReadOnly) && out.size() == size && out.seek(size - 20));
    QCOMPARE(out.read(20), body);
}

// A step comes back while its parts go unanswered; paused (its thread idle in
// its event loop), it leaves no half-sent part open for the store to time out.
void TestS3Wire::pauseClosesPartsInFlight()
{
    serve({initiated("U1"), "hang", "hang"});
    const QString source = local("held-up");
    QVERIFY(writeAll(source, QByteArray(int(6 * kMiB), 'h')));
    const QString endpoint = m_server.baseUrl();
    std::atomic<int> stepped{0}; // 1: a step came back unfinished
    std::unique_ptr<QThread> worker(QThread::create([&] {
        Storage_S3 s3(MINIO, endpoint, "AKID", "secret");
        stepped = s3.UploadObjectMultipart("b", "held.bin", source, "text/plain").finished ? 2 : 1;
        QEventLoop().exec();
    }));
    worker->start();
    const auto stop = qScopeGuard([&] {
        worker->quit();
        worker->wait();
    });
    QTRY_VERIFY_WITH_TIMEOUT(stepped != 0, (S3Transport::kStallSeconds - 2) * 1000);
    QCOMPARE(stepped.load(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(m_server.openConnections() > 0, 1500); // its parts under way, before the pause is noticed
    QTRY_COMPARE_WITH_TIMEOUT(m_server.openConnections(), 0, 8000);
}

QTEST_GUILESS_MAIN(TestS3Wire)
#include "tst_S3Wire.moc"
