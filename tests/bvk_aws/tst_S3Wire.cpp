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

const QByteArray kOneKeyListing = "<ListBucketResult><Name>b</Name><IsTruncated>false</IsTruncated>"
                                  "<Contents><Key>k.txt</Key><Size>3</Size><ETag>\"e\"</ETag></Contents>"
                                  "</ListBucketResult>";

QByteArray xmlReply(int status, const QByteArray &body, const Headers &extra = {})
{
    Headers headers{{"Content-Type", "application/xml"}};
    headers += extra;
    return ScriptedHttpServer::buildResponse(status, headers, body);
}

QByteArray initiated(const QByteArray &id)
{
    return xmlReply(200, "<InitiateMultipartUploadResult><Bucket>b</Bucket><Key>k</Key><UploadId>" + id
                             + "</UploadId></InitiateMultipartUploadResult>");
}

QByteArray partStored(const QByteArray &etag)
{
    return ScriptedHttpServer::buildResponse(200, {{"ETag", etag}}, QByteArray());
}

QByteArray completed(const QByteArray &etag)
{
    return xmlReply(200, "<CompleteMultipartUploadResult><ETag>" + etag + "</ETag></CompleteMultipartUploadResult>");
}

QByteArray errorReply(int status, const QByteArray &code)
{
    return xmlReply(status, "<Error><Code>" + code + "</Code><Message>" + code + " said the store</Message></Error>");
}

QByteArray objectHead(qint64 size)
{
    return ScriptedHttpServer::buildResponse(200, {{"Content-Length", QByteArray::number(size)}, {"ETag", "\"obj\""}},
                                             QByteArray(), false);
}

bool writeAll(const QString &path, const QByteArray &data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QString part1Of(const QStringList &lines)
{
    for (const QString &l : lines) {
        if (l.startsWith("PUT ") && l.contains("partNumber=1&"))
            return l;
    }
    return QString();
}

// "GET /b/k?x HTTP/1.1" -> "GET /b/k?x"; the Range header is added when sent.
QStringList lines(const QList<RecordedRequest> &requests)
{
    QStringList out;
    for (const RecordedRequest &r : requests) {
        QString line = QString::fromLatin1(r.requestLine.left(r.requestLine.lastIndexOf(' ')));
        if (r.hasHeader("Range"))
            line += QStringLiteral(" [%1]").arg(QString::fromLatin1(r.header("Range")));
        out << line;
    }
    return out;
}

// A store on a thread of its own that starts multi-part uploads and then
// holds every other request unanswered; it tells when the client closes a
// held connection.
class HoldingStore : public QObject
{
    Q_OBJECT

public:
    quint16 port = 0;
    std::atomic<int> closed{0};

public slots:
    void listen()
    {
        auto *server = new QTcpServer(this);
        server->listen(QHostAddress::LocalHost, 0);
        port = server->serverPort();
        connect(server, &QTcpServer::newConnection, this, [this, server] {
            while (QTcpSocket *socket = server->nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onRead(socket); });
                connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                    if (socket->property("held").toBool())
                        ++closed;
                    socket->deleteLater();
                });
            }
        });
    }

private:
    void onRead(QTcpSocket *socket)
    {
        QByteArray &buffer = m_buffers[socket];
        buffer += socket->readAll();
        if (socket->property("held").toBool() || !buffer.contains("\r\n\r\n"))
            return;
        if (buffer.startsWith("POST")) {
            socket->write(initiated("U1"));
            socket->disconnectFromHost();
        } else {
            socket->setProperty("held", true);
        }
    }

    QHash<QTcpSocket *, QByteArray> m_buffers;
};

} // namespace

// The storage library's requests and its reading of odd answers, against a
// scripted server. The library blocks, so each call runs on a thread of its
// own while this one serves.
class TestS3Wire : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void listing_data();
    void listing();
    void givingUp_data();
    void givingUp();
    void uploadFaults_data();
    void uploadFaults();
    void downloadFaults_data();
    void downloadFaults();
    void stepsReturnWhileTheStoreIsSlow_data();
    void stepsReturnWhileTheStoreIsSlow();
    void slowSingleStreamIsSplit();
    void pauseClosesPartsInFlight();

private:
    // Runs `op` on a thread while serving; the failure's message, or empty.
    QString offThread(const std::function<void()> &op, int timeoutMs = 40000);
    QString local(const QString &name) const { return m_dir.filePath(name); }
    // Queues the replies in order; "hang" is a request left unanswered, and
    // "slow:" answers only after longer than a stall.
    void serve(const QList<QByteArray> &replies)
    {
        for (const QByteArray &raw : replies) {
            if (raw == "hang")
                m_server.enqueueHang();
            else if (raw.startsWith("slow:"))
                m_server.enqueueRaw(raw.mid(5), (S3Transport::kStallSeconds + 2) * 1000);
            else
                m_server.enqueueRaw(raw);
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
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("host");        // how the endpoint names this machine
    QTest::addColumn<QString>("token");
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QString>("error");       // empty: the listing succeeds
    QTest::addColumn<QByteArray>("lastScope"); // credential scope of the last request
    QTest::addColumn<int>("requests");

    const QByteArray ok = xmlReply(200, kOneKeyListing);
    const QByteArray moved = xmlReply(301, "<Error><Code>PermanentRedirect</Code><Message>Use the bucket's region.</Message></Error>",
                                      {{"x-amz-bucket-region", "eu-central-1"}});
    const QByteArray minioRegion = xmlReply(400, "<Error><Code>AuthorizationHeaderMalformed</Code><Message>the region "
                                                 "'us-east-1' is wrong; expecting 'eu-west-3'</Message>"
                                                 "<Region>eu-west-3</Region></Error>");
    const QByteArray denied = ScriptedHttpServer::buildResponse(403, {}, QByteArray());
    const QByteArray notXml = ScriptedHttpServer::buildResponse(200, {}, "<html>proxy login</html>");
    const QByteArray firstPage = xmlReply(200, "<ListBucketResult><IsTruncated>true</IsTruncated>"
                                               "<NextContinuationToken>t2</NextContinuationToken>"
                                               "<Contents><Key>first.txt</Key><Size>1</Size></Contents></ListBucketResult>");
    const QString us = QStringLiteral("/us-east-1/s3/aws4_request");
    const QStringList one{"k.txt"};

    QTest::newRow("plain listing, session token signed")
        << int(MINIO) << "127.0.0.1" << "tok/en+1" << QList<QByteArray>{ok} << one << QString() << us.toLatin1() << 1;
    QTest::newRow("Amazon S3 mode on a local address keeps the bucket in the path")
        << int(S3) << "127.0.0.1" << QString() << QList<QByteArray>{ok} << one << QString() << us.toLatin1() << 1;
    QTest::newRow("Amazon S3 mode on localhost keeps the bucket in the path")
        << int(S3) << "localhost" << QString() << QList<QByteArray>{ok} << one << QString() << us.toLatin1() << 1;
    QTest::newRow("bucket in another region is asked again there")
        << int(S3) << "127.0.0.1" << QString() << QList<QByteArray>{moved, ok} << one << QString()
        << QByteArray("/eu-central-1/s3/aws4_request") << 2;
    QTest::newRow("MinIO redirect names the region in a header")
        << int(MINIO) << "127.0.0.1" << QString() << QList<QByteArray>{moved, ok} << one << QString()
        << QByteArray("/eu-central-1/s3/aws4_request") << 2;
    QTest::newRow("MinIO names the region in its error reply")
        << int(MINIO) << "127.0.0.1" << QString() << QList<QByteArray>{minioRegion, ok} << one << QString()
        << QByteArray("/eu-west-3/s3/aws4_request") << 2;
    QTest::newRow("a later page that fails leaves nothing listed")
        << int(MINIO) << "127.0.0.1" << QString() << QList<QByteArray>{firstPage, denied} << QStringList()
        << "Access denied: the access key, secret or session token is not valid for this request." << us.toLatin1() << 2;
    QTest::newRow("a refusal without a body still says why")
        << int(MINIO) << "127.0.0.1" << QString() << QList<QByteArray>{denied} << QStringList()
        << "Access denied: the access key, secret or session token is not valid for this request." << us.toLatin1() << 1;
    QTest::newRow("a reply that is no listing")
        << int(MINIO) << "127.0.0.1" << QString() << QList<QByteArray>{notXml} << QStringList()
        << "The listing of \"b\" could not be read: not a bucket listing" << us.toLatin1() << 1;
}

void TestS3Wire::listing()
{
    QFETCH(int, type);
    QFETCH(QString, host);
    QFETCH(QString, token);
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QStringList, keys);
    QFETCH(QString, error);
    QFETCH(QByteArray, lastScope);
    QFETCH(int, requests);

    serve(replies);
    Storage_S3 s3(Type(type), QStringLiteral("http://%1:%2").arg(host).arg(m_server.port()), "AKID", "secret", token);
    QStringList got;
    QCOMPARE(offThread([&] { s3.ListObjects("b", "/dir//", got); }), error);
    QCOMPARE(got, keys);
    QCOMPARE(m_server.requestCount(), requests);
    const QByteArray hostHeader = QStringLiteral("%1:%2").arg(host).arg(m_server.port()).toLatin1();
    for (const RecordedRequest &r : m_server.requests()) {
        if (r.target.contains("continuation-token"))
            continue;
        QCOMPARE(r.requestLine, QByteArray("GET /b?encoding-type=url&list-type=2&prefix=dir%2F HTTP/1.1"));
        QCOMPARE(r.header("Host"), hostHeader);
        QCOMPARE(r.header("x-amz-content-sha256"), QByteArray("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
        QCOMPARE(r.header("x-amz-security-token"), token.toUtf8());
        const QByteArray signedNames = r.header("Authorization").split('=').value(2).split(',').value(0);
        QCOMPARE(signedNames.contains("x-amz-security-token"), !token.isEmpty());
    }
    QVERIFY2(m_server.lastRequest().header("Authorization").contains("Credential=AKID/"),
             m_server.lastRequest().header("Authorization").constData());
    QVERIFY(m_server.lastRequest().header("Authorization").contains(lastScope));
}

void TestS3Wire::givingUp_data()
{
    QTest::addColumn<QList<QByteArray>>("replies"); // "hang": no answer at all
    QTest::addColumn<bool>("refused");               // nobody listens
    QTest::addColumn<int>("requests");
    QTest::addColumn<QString>("error");
    QTest::addColumn<int>("atLeastMs");              // the pauses between tries
    QTest::addColumn<int>("atMostMs");

    const QByteArray busy = ScriptedHttpServer::buildResponse(503, {}, QByteArray());
    const QByteArray ok = xmlReply(200, kOneKeyListing);
    QTest::newRow("a busy store is asked again after growing pauses")
        << QList<QByteArray>{busy, busy, busy, ok} << false << 4 << QString() << 3500 << 20000;
    QTest::newRow("a store that stays busy is given up")
        << QList<QByteArray>{busy, busy, busy, busy} << false << 4 << "The store is busy; try again later." << 3500
        << 20000;
    QTest::newRow("a refused connection is tried again before failing")
        << QList<QByteArray>{} << true << 0 << "Listing \"b\": Couldn't connect to server" << 3500 << 20000;
    QTest::newRow("a stalled connection is given up within 30 seconds")
        << QList<QByteArray>{"hang", "hang", "hang"} << false << 2 << QString("Listing \"b\": Timeout was reached")
        << 2 * S3Transport::kStallSeconds * 1000 << 30000;
}

void TestS3Wire::givingUp()
{
    QFETCH(QList<QByteArray>, replies);
    QFETCH(bool, refused);
    QFETCH(int, requests);
    QFETCH(QString, error);
    QFETCH(int, atLeastMs);
    QFETCH(int, atMostMs);

    serve(replies);
    const quint16 port = m_server.port();
    if (refused)
        m_server.stop();
    Storage_S3 s3(MINIO, QStringLiteral("http://127.0.0.1:%1").arg(port), "AKID", "secret");
    QStringList got;
    QElapsedTimer clock;
    clock.start();
    const QString failure = offThread([&] { s3.ListObjects("b", QString(), got); }, 60000);
    const qint64 took = clock.elapsed();
    QVERIFY2(failure.startsWith(error) && failure.isEmpty() == error.isEmpty(), qPrintable(failure));
    QCOMPARE(m_server.requestCount(), requests);
    QVERIFY2(took >= atLeastMs && took <= atMostMs, qPrintable(QString::number(took)));
}

void TestS3Wire::uploadFaults_data()
{
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<int>("pauseAfterStep"); // ms without a step after the first; 0: none
    QTest::addColumn<QStringList>("firstTry");  // requests of the first try
    QTest::addColumn<QString>("firstError");    // empty: the first try finishes
    QTest::addColumn<QStringList>("secondTry"); // requests of a second try, when the first failed

    const QString start = QStringLiteral("POST /b/up.bin?uploads=");
    const QString part1 = QStringLiteral("PUT /b/up.bin?partNumber=1&uploadId=U1");
    const QString complete1 = QStringLiteral("POST /b/up.bin?uploadId=U1");
    const QString parts1 = QStringLiteral("GET /b/up.bin?uploadId=U1");

    QTest::newRow("a part answered 503 is sent again")
        << QList<QByteArray>{initiated("U1"), ScriptedHttpServer::buildResponse(503, {}, QByteArray()), partStored("\"p1\""),
                             completed("\"done-1\"")}
        << 0 << QStringList{start, part1, part1, complete1} << QString() << QStringList();
    QTest::newRow("a part answered 400 RequestTimeout is sent again")
        << QList<QByteArray>{initiated("U1"), errorReply(400, "RequestTimeout"), partStored("\"p1\""), completed("\"done-1\"")}
        << 0 << QStringList{start, part1, part1, complete1} << QString() << QStringList();
    // Whether the store saw the whole of the part cut by the pause depends on
    // how far it got; either way it is sent again and the upload goes on.
    QTest::newRow("a part cut by a pause is sent again, not counted as a failure")
        << QList<QByteArray>{initiated("U1"), partStored("\"p1\""), partStored("\"p1\""), completed("\"done-1\"")}
        << 2500 << QStringList{start, part1, complete1} << QString() << QStringList();
    QTest::newRow("a completion the store thinks over longer than a stall still completes")
        << QList<QByteArray>{initiated("U1"), partStored("\"p1\""), "slow:" + completed("\"done-1\"")}
        << 0 << QStringList{start, part1, complete1} << QString() << QStringList();
    QTest::newRow("a part refused for good fails the transfer")
        << QList<QByteArray>{initiated("U1"), errorReply(403, "AccessDenied")} << 0 << QStringList{start, part1}
        << "AccessDenied said the store" << QStringList();
    QTest::newRow("a failed completion: the retry finds the upload gone and starts over")
        << QList<QByteArray>{initiated("U1"), partStored("\"p1\""), errorReply(200, "InternalError"),
                             errorReply(404, "NoSuchUpload"), initiated("U2"), partStored("\"q1\""), completed("\"done-2\"")}
        << 0 << QStringList{start, part1, complete1} << "InternalError said the store"
        << QStringList{parts1, start, QStringLiteral("PUT /b/up.bin?partNumber=1&uploadId=U2"),
                       QStringLiteral("POST /b/up.bin?uploadId=U2")};
    QTest::newRow("a failed completion: the retry finds the parts and completes")
        << QList<QByteArray>{initiated("U1"), partStored("\"p1\""), errorReply(200, "InternalError"),
                             xmlReply(200, "<ListPartsResult><IsTruncated>false</IsTruncated><Part><PartNumber>1</PartNumber>"
                                           "<ETag>\"p1\"</ETag><Size>5242880</Size></Part></ListPartsResult>"),
                             completed("\"done-1\"")}
        << 0 << QStringList{start, part1, complete1} << "InternalError said the store"
        << QStringList{parts1, complete1};
    QTest::newRow("a completion refused: the retry starts afresh")
        << QList<QByteArray>{initiated("U1"), partStored("\"p1\""), errorReply(400, "InvalidPart"),
                             ScriptedHttpServer::buildResponse(204, {}, QByteArray()), initiated("U2"), partStored("\"q1\""),
                             completed("\"done-2\"")}
        << 0 << QStringList{start, part1, complete1, QStringLiteral("DELETE /b/up.bin?uploadId=U1")}
        << "InvalidPart said the store"
        << QStringList{start, QStringLiteral("PUT /b/up.bin?partNumber=1&uploadId=U2"),
                       QStringLiteral("POST /b/up.bin?uploadId=U2")};
}

// One part of 5 MiB, so every request is in a known order.
void TestS3Wire::uploadFaults()
{
    QFETCH(QList<QByteArray>, replies);
    QFETCH(int, pauseAfterStep);
    QFETCH(QStringList, firstTry);
    QFETCH(QString, firstError);
    QFETCH(QStringList, secondTry);

    serve(replies);
    const QString source = local(QStringLiteral("up-%1").arg(QTest::currentDataTag()).replace(' ', '_'));
    QVERIFY(writeAll(source, QByteArray(int(5 * kMiB), 'u')));
    Storage_S3 s3(MINIO, m_server.baseUrl(), "AKID", "secret");
    MPInfo step;
    bool paused = pauseAfterStep == 0;
    const auto upload = [&] {
        for (int i = 0; i < 50 && !step.finished; ++i) {
            step = s3.UploadObjectMultipart("b", "up.bin", source, "application/octet-stream");
            if (!paused && !step.finished) {
                paused = true;
                return;
            }
        }
    };
    QString failure = offThread(upload);
    if (pauseAfterStep > 0) {
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        // The user's pause: no step while it lasts.
        QTest::qWait(pauseAfterStep);
        failure = offThread(upload);
    }
    QCOMPARE(failure, firstError);
    QStringList seen = lines(m_server.requests());
    if (pauseAfterStep > 0 && seen.count(part1Of(seen)) == 2)
        seen.removeOne(part1Of(seen));
    QCOMPARE(seen, firstTry);
    if (!firstError.isEmpty() && !secondTry.isEmpty()) {
        m_server.clear();
        serve(replies.mid(firstTry.size()));
        QCOMPARE(offThread(upload), QString());
        QCOMPARE(lines(m_server.requests()), secondTry);
    }
    if (firstError.isEmpty() || !secondTry.isEmpty()) {
        QVERIFY(step.finished);
        QVERIFY(step.ETag.startsWith("\"done-"));
        QCOMPARE(step.progress, 5 * kMiB);
    }
}

void TestS3Wire::downloadFaults_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<qint64>("resumeAt");   // bytes already in the partial file; 0: a fresh download
    QTest::addColumn<QList<QByteArray>>("replies");
    QTest::addColumn<QStringList>("requests");
    QTest::addColumn<QString>("error");

    const QByteArray body = "0123456789abcdefghij";
    const auto partial = [](const QByteArray &bytes, qint64 from, qint64 size) {
        return ScriptedHttpServer::buildResponse(
            206, {{"Content-Range", "bytes " + QByteArray::number(from) + '-' + QByteArray::number(size - 1) + '/'
                                        + QByteArray::number(size)}},
            bytes);
    };
    // Says 20 bytes, sends 8, then the connection drops.
    const QByteArray cut = "HTTP/1.1 200 OK\r\nContent-Length: 20\r\nConnection: close\r\n\r\n01234567";
    const QString get = QStringLiteral("GET /b/obj.bin");
    const QString head = QStringLiteral("HEAD /b/obj.bin");
    const qint64 beyond = 5 * 1024 * kMiB; // past 4 GiB, without real data

    QTest::newRow("a cut stream goes on at the byte where it stopped")
        << qint64(20) << qint64(0)
        << QList<QByteArray>{objectHead(20), cut, partial(body.mid(8), 8, 20)}
        << QStringList{head, get, get + " [bytes=8-19]"} << QString();
    QTest::newRow("a store that answers a range with the whole object: from byte 0 in the same step")
        << qint64(20) << qint64(5)
        << QList<QByteArray>{objectHead(20), ScriptedHttpServer::buildResponse(200, {}, body),
                             ScriptedHttpServer::buildResponse(200, {}, body)}
        << QStringList{head, get + " [bytes=5-19]", get} << QString();
    QTest::newRow("an object that changes during the download")
        << qint64(20) << qint64(0)
        << QList<QByteArray>{objectHead(20), errorReply(412, "PreconditionFailed")}
        << QStringList{head, get} << "\"obj.bin\" changed on the store during the download.";
    QTest::newRow("a resume past 4 GiB asks for the right range")
        << beyond + 20 << beyond
        << QList<QByteArray>{objectHead(beyond + 20), partial(body, beyond, beyond + 20)}
        << QStringList{head, get + QStringLiteral(" [bytes=%1-%2]").arg(beyond).arg(beyond + 19)} << QString();
}

void TestS3Wire::downloadFaults()
{
    QFETCH(qint64, size);
    QFETCH(qint64, resumeAt);
    QFETCH(QList<QByteArray>, replies);
    QFETCH(QStringList, requests);
    QFETCH(QString, error);

    serve(replies);
    const QByteArray body = "0123456789abcdefghij";
    const QString target = local(QStringLiteral("down-%1").arg(QTest::currentDataTag()).replace(' ', '_'));
    const QString endpoint = m_server.baseUrl();
    if (resumeAt > 0) {
        // What an earlier run left: the journal and its partial file, sparse
        // up to where the missing bytes begin.
        const QString journal = TransferJournal::id("download", endpoint, "b", "obj.bin", target);
        const QString partFile = target + "." + journal.section('-', 1).left(12) + ".part";
        QFile part(partFile);
        QVERIFY(part.open(QIODevice::WriteOnly) && part.resize(size));
        QVERIFY(part.seek(0) && part.write(body.left(int(qMin<qint64>(resumeAt, 20)))) >= 0);
        part.close();
        QVERIFY(TransferJournal::save(journal, QJsonObject{{"bucket", "b"}, {"key", "obj.bin"}, {"partFile", partFile},
                                                           {"size", double(size)}, {"etag", "\"obj\""},
                                                           {"segments", QJsonArray{QJsonArray{0.0, double(size), double(resumeAt)}}}}));
    }
    Storage_S3 s3(MINIO, endpoint, "AKID", "secret");
    MPInfo step;
    const QString failure = offThread([&] {
        for (int i = 0; i < 10 && !step.finished; ++i)
            step = s3.DownloadObjectMultipart("b", "obj.bin", target);
    });
    QCOMPARE(failure, error);
    QCOMPARE(lines(m_server.requests()), requests);
    if (!error.isEmpty())
        return;
    QVERIFY(step.finished);
    QCOMPARE(step.progress, size);
    QFile out(target);
    QVERIFY(out.open(QIODevice::ReadOnly));
    QCOMPARE(out.size(), size);
    QVERIFY(out.seek(size - 20));
    QCOMPARE(out.read(20), body);
}

void TestS3Wire::stepsReturnWhileTheStoreIsSlow_data()
{
    QTest::addColumn<bool>("upload");
    QTest::newRow("upload whose part the store does not answer") << true;
    QTest::newRow("download whose body does not come") << false;
}

// A step must come back to its caller, so that a pause or an abort can get in,
// long before a stalled connection would be given up.
void TestS3Wire::stepsReturnWhileTheStoreIsSlow()
{
    QFETCH(bool, upload);
    const QString file = local(upload ? "slow-up" : "slow-down");
    if (upload) {
        QVERIFY(writeAll(file, QByteArray(int(6 * kMiB), 's')));
        m_server.enqueueRaw(initiated("U1"));
    } else {
        m_server.enqueueRaw(objectHead(20 * kMiB));
    }
    m_server.enqueueHang();
    m_server.enqueueHang();
    Storage_S3 s3(MINIO, m_server.baseUrl(), "AKID", "secret");
    MPInfo step;
    const QString failure = offThread(
        [&] {
            step = upload ? s3.UploadObjectMultipart("b", "slow.bin", file, "text/plain")
                          : s3.DownloadObjectMultipart("b", "slow.bin", file);
        },
        (S3Transport::kStallSeconds - 2) * 1000);
    QCOMPARE(failure, QString());
    QVERIFY(!step.finished);
    QCOMPARE(step.size, upload ? 6 * kMiB : 20 * kMiB);
}

// One stream that brings less than its share in a step meets a link that
// limits each connection: the rest is asked for in ranges side by side.
void TestS3Wire::slowSingleStreamIsSplit()
{
    const qint64 size = 48 * kMiB;
    m_server.enqueueRaw(objectHead(size));
    for (int i = 0; i < 3; ++i)
        m_server.enqueueHang();
    Storage_S3 s3(MINIO, m_server.baseUrl(), "AKID", "secret");
    const QString target = local("split-down");
    MPInfo step;
    QCOMPARE(offThread([&] {
                 for (int i = 0; i < 2; ++i)
                     step = s3.DownloadObjectMultipart("b", "obj.bin", target);
             }),
             QString());
    QVERIFY(!step.finished);
    QVERIFY(m_server.waitForRequests(4));
    QCOMPARE(lines(m_server.requests()),
             (QStringList{"HEAD /b/obj.bin", "GET /b/obj.bin",
                          QStringLiteral("GET /b/obj.bin [bytes=%1-%2]").arg(16 * kMiB).arg(32 * kMiB - 1),
                          QStringLiteral("GET /b/obj.bin [bytes=%1-%2]").arg(32 * kMiB).arg(48 * kMiB - 1)}));
}

// A paused transfer (its caller back in its event loop, no step coming) must
// not leave parts half-sent on open connections for the store to time out.
void TestS3Wire::pauseClosesPartsInFlight()
{
    QThread thread;
    auto *store = new HoldingStore;
    store->moveToThread(&thread);
    thread.start();
    const auto stop = qScopeGuard([&] {
        thread.quit();
        thread.wait();
        delete store;
    });
    QVERIFY(QMetaObject::invokeMethod(store, "listen", Qt::BlockingQueuedConnection));
    const QString source = local("held-up");
    QVERIFY(writeAll(source, QByteArray(int(6 * kMiB), 'h')));
    {
        Storage_S3 s3(MINIO, QStringLiteral("http://127.0.0.1:%1").arg(store->port), "AKID", "secret");
        const MPInfo step = s3.UploadObjectMultipart("b", "held.bin", source, "text/plain");
        QVERIFY(!step.finished);
        QCOMPARE(store->closed.load(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(store->closed.load() > 0, 8000);
    }
}

QTEST_GUILESS_MAIN(TestS3Wire)
#include "tst_S3Wire.moc"
