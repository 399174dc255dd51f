#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "MotoServer.h"
#include "S3WorkerHarness.h"
#include "Storage_S3.h"
#include "ZRV_S3Worker.h"

namespace {
const qint64 MiB = 1024 * 1024;

// Big enough to take several steps of the storage library, whose download
// parts are larger than its upload parts; small enough to stay quick.
qint64 severalSteps(bool upload)
{
    return upload ? 12 * MiB : 34 * MiB;
}

// Answers of a worker in a compact form: a progress signal becomes "open"
// (opening zero), "step" (numbers from the store) or "clear" (mode -1, which
// must carry nothing); every other answer keeps its name.
QStringList tokens(const S3WorkerHarness &h)
{
    QStringList out;
    for (const QList<QVariant> &call : h.spy) {
        const QString name = call.at(0).toString();
        if (name != QLatin1String("transferProgress")) {
            out << name;
            continue;
        }
        const QVariantList a = call.at(1).toList();
        if (a.at(0).toInt() == -1) {
            const bool empty = a.at(1).toString().isEmpty() && a.at(2).toString().isEmpty()
                && a.at(3).toLongLong() == 0 && a.at(4).toLongLong() == 0 && a.at(5).toInt() == 0;
            out << (empty ? "clear" : "clear-with-data");
        } else {
            out << (a.at(3).toLongLong() == 0 && a.at(4).toLongLong() == 0 ? "open" : "step");
        }
    }
    return out;
}

QList<QVariantList> steps(const S3WorkerHarness &h)
{
    QList<QVariantList> out;
    for (const QVariantList &a : h.argsOf(QStringLiteral("transferProgress"))) {
        if (a.at(0).toInt() != -1 && a.at(3).toLongLong() != 0)
            out << a;
    }
    return out;
}

QByteArray patterned(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    quint32 x = 2463534242u;
    for (int i = 0; i < data.size(); ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        data[i] = char(x);
    }
    return data;
}

QString unquoted(QString etag)
{
    return etag.remove(QLatin1Char('"'));
}

// Sends the worker the call named by a table row.
void send(S3WorkerHarness &h, const QString &call, const QString &bucket, const QString &key, const QString &path)
{
    if (call == "doListObjects")
        emit h.doListObjects(bucket, QString());
    else if (call == "doListObjectsAndSizes")
        emit h.doListObjectsAndSizes(bucket, QString(), true);
    else if (call == "doDownload")
        emit h.doDownload(bucket, key, path);
    else if (call == "doUpload")
        emit h.doUpload(bucket, key, path);
    else if (call == "doDelete")
        emit h.doDelete(bucket, key);
    else if (call == "doGetFileSize")
        emit h.doGetFileSize(bucket, key);
    else if (call == "doPause")
        emit h.doPause();
    else
        emit h.doAbort();
}

void startTransfer(S3WorkerHarness &h, bool upload, const QString &bucket, const QString &key, const QString &path)
{
    send(h, upload ? "doUpload" : "doDownload", bucket, key, path);
}

void byDirection()
{
    QTest::addColumn<bool>("upload");
    QTest::newRow("upload") << true;
    QTest::newRow("download") << false;
}
} // namespace

class TestZRV_S3Worker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void contentTypeForPath_data();
    void contentTypeForPath();
    void withoutClient_data();
    void withoutClient();
    void setupTwiceLeavesOneClient();
    void setupMapsStorageType_data();
    void setupMapsStorageType();
    void listing_data();
    void listing();
    void failureThenFinished_data();
    void failureThenFinished();
    void transfer_data();
    void transfer();
    void pauseThenResume_data();
    void pauseThenResume();
    void abortRunning_data();
    void abortRunning();
    void abortWhilePaused_data();
    void abortWhilePaused();
    void failingStep_data();
    void failingStep();

private:
    // A bucket of its own and the two ends of one transfer: for an upload the
    // local file holds `data`, for a download the store does.
    struct Scene
    {
        QString bucket;
        QString key;
        QString path;
        QByteArray data;
    };
    Scene scene(bool upload, const QString &key, const QByteArray &data);
    // Whether the far end of the transfer now holds `data`.
    bool arrived(bool upload, const Scene &s);
    // Starts a transfer with a pause queued behind its opening signal and
    // waits until it has stopped after its first step.
    bool startPaused(S3WorkerHarness &h, bool upload, const Scene &s);

    QString freshBucket();
    QString localFile(const QString &name, const QByteArray &data);
    bool setUp(S3WorkerHarness &h, const QString &user = QStringLiteral("test"),
               const QString &pass = QStringLiteral("test"));

    MotoServer m_moto;
    QTemporaryDir m_dir;
    int m_buckets = 0;
    int m_files = 0;
};

void TestZRV_S3Worker::initTestCase()
{
    // The storage library keeps its resumable state under the user's data folder.
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_dir.isValid());
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
}

void TestZRV_S3Worker::cleanupTestCase()
{
    m_moto.stop();
}

QString TestZRV_S3Worker::freshBucket()
{
    const QString bucket = QStringLiteral("worker-%1").arg(++m_buckets);
    if (!m_moto.createBucket(bucket))
        qWarning("could not create bucket %s", qPrintable(bucket));
    return bucket;
}

QString TestZRV_S3Worker::localFile(const QString &name, const QByteArray &data)
{
    const QString path = m_dir.filePath(QStringLiteral("%1-%2").arg(++m_files).arg(name));
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size())
        qWarning("could not write %s", qPrintable(path));
    return path;
}

bool TestZRV_S3Worker::setUp(S3WorkerHarness &h, const QString &user, const QString &pass)
{
    emit h.doSetup(1, m_moto.endpoint(), user, pass, QString());
    const bool ok = h.waitFor(QStringLiteral("setupFinished"));
    h.clear();
    return ok;
}

TestZRV_S3Worker::Scene TestZRV_S3Worker::scene(bool upload, const QString &key, const QByteArray &data)
{
    Scene s{freshBucket(), key, QString(), data};
    if (upload) {
        // The content type is read off the local name, so it keeps the key's.
        s.path = localFile(QFileInfo(key).fileName(), data);
    } else {
        s.path = m_dir.filePath(QStringLiteral("target-%1").arg(++m_files));
        if (!m_moto.putObject(s.bucket, key, data))
            qWarning("could not seed %s", qPrintable(key));
    }
    return s;
}

bool TestZRV_S3Worker::arrived(bool upload, const Scene &s)
{
    if (upload)
        return m_moto.getObject(s.bucket, s.key) == s.data;
    QFile f(s.path);
    return f.open(QIODevice::ReadOnly) && f.readAll() == s.data;
}

bool TestZRV_S3Worker::startPaused(S3WorkerHarness &h, bool upload, const Scene &s)
{
    h.sendWhenOpening(&S3WorkerHarness::doPause);
    startTransfer(h, upload, s.bucket, s.key, s.path);
    // Opening, first step, paused; drain() alone would be answered between two steps.
    return h.waitFor("transferProgress", 3) && h.drain();
}

void TestZRV_S3Worker::contentTypeForPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("type");
    QTest::newRow("pps slideshow") << "talk.pps" << "application/vnd.ms-powerpoint";
    QTest::newRow("docx is not doc")
        << "a.docx" << "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
}

void TestZRV_S3Worker::contentTypeForPath()
{
    QFETCH(QString, path);
    QFETCH(QString, type);
    QCOMPARE(ZRV_S3Worker::contentTypeForPath(path), type);
}

void TestZRV_S3Worker::withoutClient_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QStringList>("answers");
    QTest::newRow("list") << "doListObjects" << QStringList{"listFailed"};
    QTest::newRow("list with sizes") << "doListObjectsAndSizes" << QStringList{"listSizesFailed"};
    QTest::newRow("download") << "doDownload" << QStringList{"downloadFailed"};
    QTest::newRow("upload") << "doUpload" << QStringList{"uploadFailed"};
    QTest::newRow("delete") << "doDelete" << QStringList{"deleteFailed"};
    QTest::newRow("file size keeps bucket and key") << "doGetFileSize" << QStringList{"fileSizeFailed"};
    QTest::newRow("pause only sets its flag") << "doPause" << QStringList{};
    QTest::newRow("abort still clears the display") << "doAbort" << QStringList{"clear"};
}

void TestZRV_S3Worker::withoutClient()
{
    QFETCH(QString, call);
    QFETCH(QStringList, answers);
    S3WorkerHarness h;
    const QString bucket = QStringLiteral("any-bucket");
    const QString key = QStringLiteral("dir/file.png");
    const QString path = m_dir.filePath(QStringLiteral("never-written"));

    send(h, call, bucket, key, path);
    QVERIFY(h.drain());

    QCOMPARE(tokens(h).join(' '), answers.join(' '));
    if (answers.isEmpty() || answers.first() == "clear")
        return;
    QVariantList args = h.spy.at(0).at(1).toList();
    if (call == "doGetFileSize") {
        QCOMPARE(args.takeFirst().toString(), bucket);
        QCOMPARE(args.takeFirst().toString(), key);
    }
    QCOMPARE(args, (QVariantList{22, "Not Initialized", "S3 Not initialized. Call Setup first."}));
    QVERIFY(!QFile::exists(path));
}

void TestZRV_S3Worker::setupTwiceLeavesOneClient()
{
    S3WorkerHarness h;
    const QString bucket = freshBucket();
    QVERIFY(m_moto.putObject(bucket, "a.txt", "abc"));
    // The first client points nowhere; only its replacement can answer.
    emit h.doSetup(1, QStringLiteral("http://127.0.0.1:9"), "test", "test", QString());
    emit h.doSetup(1, m_moto.endpoint(), "test", "test", QString());
    QVERIFY(h.waitFor("setupFinished", 2));
    emit h.doListObjectsAndSizes(bucket, QString(), true);
    QVERIFY(h.waitFor("listSizesFinished"));
    QCOMPARE(tokens(h), (QStringList{"setupFinished", "setupFinished", "listSizesFinished"}));
    QCOMPARE(h.argsOf("listSizesFinished").at(0).at(1).toStringList(), QStringList{"3"});
}

void TestZRV_S3Worker::setupMapsStorageType_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("expected");
    QTest::newRow("2 is Amazon S3") << 2 << int(BVK_AWS::S3);
    QTest::newRow("1 is MinIO") << 1 << int(BVK_AWS::MINIO);
    QTest::newRow("0, NextCloud, falls to MinIO") << 0 << int(BVK_AWS::MINIO);
    QTest::newRow("3, a placeholder's number, falls to MinIO") << 3 << int(BVK_AWS::MINIO);
}

void TestZRV_S3Worker::setupMapsStorageType()
{
    QFETCH(int, type);
    QFETCH(int, expected);
    ZRV_S3Worker worker;
    QSignalSpy finished(&worker, &ZRV_S3Worker::setupFinished);
    worker.doSetup(type, m_moto.endpoint(), "test", "test");
    QCOMPARE(finished.count(), 1);
    QVERIFY(worker.storage);
    QCOMPARE(int(worker.storage->type()), expected);
}

void TestZRV_S3Worker::listing_data()
{
    QTest::addColumn<QStringList>("objects");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<bool>("doSubDirs");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("unasked");

    const QStringList tree{"docs/", "docs/a.txt", "docs/deep/b.txt", "top.bin"};
    QTest::newRow("empty bucket gives three empty lists")
        << QStringList{} << QString() << true << QStringList{} << QStringList{};
    QTest::newRow("directory marker is not asked about")
        << tree << QString() << true << tree << QStringList{"docs/"};
    QTest::newRow("prefix lists its whole subtree")
        << tree << "docs/" << true << QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt"}
        << QStringList{"docs/"};
    QTest::newRow("without subdirectories deeper keys are not asked about")
        << tree << "docs/" << false << QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt"}
        << QStringList{"docs/", "docs/deep/b.txt"};
    QTest::newRow("root without subdirectories asks only about root keys")
        << tree << QString() << false << tree << QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt"};
}

void TestZRV_S3Worker::listing()
{
    QFETCH(QStringList, objects);
    QFETCH(QString, prefix);
    QFETCH(bool, doSubDirs);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, unasked);

    const QString bucket = freshBucket();
    for (const QString &key : objects)
        QVERIFY(m_moto.putObject(bucket, key, key.endsWith('/') ? QByteArray() : key.toUtf8().repeated(3)));
    S3WorkerHarness h;
    QVERIFY(setUp(h));

    emit h.doListObjectsAndSizes(bucket, prefix, doSubDirs);
    QVERIFY(h.waitFor("listSizesFinished"));
    QCOMPARE(tokens(h), QStringList{"listSizesFinished"});

    const QVariantList args = h.argsOf("listSizesFinished").at(0);
    QCOMPARE(args.at(0).toStringList(), keys);
    QStringList sizes;
    QStringList etags;
    for (const QString &key : keys) {
        const bool skipped = unasked.contains(key);
        sizes << (skipped ? QStringLiteral("0") : QString::number(key.toUtf8().size() * 3));
        etags << (skipped ? QStringLiteral("NONE") : unquoted(m_moto.objectHeader(bucket, key, "ETag")));
    }
    QCOMPARE(args.at(1).toStringList(), sizes);
    QStringList gotEtags = args.at(2).toStringList();
    for (QString &e : gotEtags)
        e = unquoted(e);
    QCOMPARE(gotEtags, etags);
}

void TestZRV_S3Worker::failureThenFinished_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("bucket");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QVariantList>("finished");

    const QString missing = QStringLiteral("no-such-bucket");
    QTest::newRow("list of a missing bucket")
        << "doListObjects" << missing << QStringList{"listFailed", "listFinished"}
        << QVariantList{QStringList{}};
    QTest::newRow("sizes of a missing bucket")
        << "doListObjectsAndSizes" << missing << QStringList{"listSizesFailed", "listSizesFinished"}
        << QVariantList{QStringList{}, QStringList{}, QStringList{}};
    QTest::newRow("delete in a missing bucket")
        << "doDelete" << missing << QStringList{"deleteFailed", "deleteFinished"} << QVariantList{};
    QTest::newRow("size of a missing key is -1 after the failure")
        << "doGetFileSize" << QString() << QStringList{"fileSizeFailed", "fileSizeFinished"}
        << QVariantList{QString(), "missing.bin", qlonglong(-1)};
    QTest::newRow("size of a present key")
        << "doGetFileSize" << QString() << QStringList{"fileSizeFinished"}
        << QVariantList{QString(), "present.bin", qlonglong(5)};
    QTest::newRow("delete of a present key")
        << "doDelete" << QString() << QStringList{"deleteFinished"} << QVariantList{};
}

void TestZRV_S3Worker::failureThenFinished()
{
    QFETCH(QString, call);
    QFETCH(QString, bucket);
    QFETCH(QStringList, answers);
    QFETCH(QVariantList, finished);

    if (bucket.isEmpty()) {
        bucket = freshBucket();
        QVERIFY(m_moto.putObject(bucket, "present.bin", "12345"));
        if (!finished.isEmpty())
            finished[0] = bucket;
    }
    const QString key = finished.size() == 3 ? finished.at(1).toString() : QStringLiteral("present.bin");
    S3WorkerHarness h;
    QVERIFY(setUp(h));
    send(h, call, bucket, key, QString());
    QVERIFY(h.waitFor(answers.last()));
    QVERIFY(h.drain());

    QCOMPARE(tokens(h).join(' '), answers.join(' '));
    if (answers.size() == 2) {
        const QVariantList failure = h.spy.at(0).at(1).toList();
        QVERIFY2(!failure.last().toString().isEmpty(), "a failure carries a message to show");
        if (call == "doGetFileSize")
            QCOMPARE(failure.mid(0, 2), (QVariantList{bucket, key}));
    }
    QCOMPARE(h.spy.last().at(1).toList(), finished);
    if (call == "doDelete" && answers.size() == 1)
        QVERIFY(!m_moto.hasObject(bucket, key));
}

void TestZRV_S3Worker::transfer_data()
{
    QTest::addColumn<bool>("upload");
    QTest::addColumn<QString>("key");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("idlePauseFirst");
    QTest::addColumn<QString>("type");

    QTest::newRow("upload of a model in several steps")
        << true << "models/chair.fbx" << 16 * MiB << false << "application/octet-stream";
    QTest::newRow("upload ending in capitals goes out as text")
        << true << "models/CHAIR.FBX" << qint64(1000) << false << "text/plain";
    QTest::newRow("upload after an idle pause runs to its end")
        << true << "paused-before.png" << severalSteps(true) << true << "image/png";
    QTest::newRow("download in several steps")
        << false << "media/clip.mp4" << severalSteps(false) << false << QString();
    QTest::newRow("download after an idle pause runs to its end")
        << false << "paused-before.bin" << severalSteps(false) << true << QString();
}

void TestZRV_S3Worker::transfer()
{
    QFETCH(bool, upload);
    QFETCH(QString, key);
    QFETCH(qint64, size);
    QFETCH(bool, idlePauseFirst);
    QFETCH(QString, type);

    const Scene sc = scene(upload, key, patterned(size));
    S3WorkerHarness h;
    QVERIFY(setUp(h));

    if (idlePauseFirst)
        emit h.doPause();
    startTransfer(h, upload, sc.bucket, key, sc.path);
    const QString finishedName = upload ? "uploadFinished" : "downloadFinished";
    QVERIFY(h.waitFor(finishedName));
    QVERIFY(h.drain());

    const QStringList seen = tokens(h);
    QCOMPARE(seen.first(), QStringLiteral("open"));
    QCOMPARE(seen.last(), finishedName);
    QCOMPARE(seen.count("step"), seen.size() - 2);
    if (size > 8 * MiB)
        QVERIFY2(seen.count("step") > 1, "a file this large takes several steps");

    const QVariantList opening = h.argsOf("transferProgress").first();
    QCOMPARE(opening, (QVariantList{upload ? 0 : 1, sc.bucket, key, 0, 0, 0}));
    qlonglong last = 0;
    for (const QVariantList &s : steps(h)) {
        QCOMPARE(s.mid(0, 4), (QVariantList{upload ? 0 : 1, sc.bucket, key, size}));
        // A step that met a slow store may report no new bytes, never fewer.
        QVERIFY(s.at(4).toLongLong() >= last);
        last = s.at(4).toLongLong();
    }
    QCOMPARE(last, size);
    QVERIFY(arrived(upload, sc));
    if (upload) {
        const QVariantList done = h.argsOf("uploadFinished").first();
        QCOMPARE(done.mid(0, 2), (QVariantList{key, size}));
        QCOMPARE(unquoted(done.at(2).toString()), unquoted(m_moto.objectHeader(sc.bucket, key, "ETag")));
        QCOMPARE(m_moto.objectHeader(sc.bucket, key, "Content-Type"), type.toLatin1());
    }
}

void TestZRV_S3Worker::pauseThenResume_data()
{
    byDirection();
}

void TestZRV_S3Worker::pauseThenResume()
{
    QFETCH(bool, upload);
    const Scene sc = scene(upload, QStringLiteral("resumed.bin"), patterned(severalSteps(upload)));
    S3WorkerHarness h;
    QVERIFY(setUp(h));

    QVERIFY(startPaused(h, upload, sc));
    QCOMPARE(tokens(h).join(' '), QStringLiteral("open step step"));
    const QList<QVariantList> paused = steps(h);
    QCOMPARE(paused.at(1).mid(0, 5), paused.at(0).mid(0, 5));
    QCOMPARE(paused.at(1).at(5).toInt(), 0);
    if (upload)
        QCOMPARE(paused.at(0).at(5).toInt(), 0); // the pause got in before this one was sent
    const qlonglong pausedAt = paused.at(1).at(4).toLongLong();
    QVERIFY(pausedAt > 0 && pausedAt < sc.data.size());

    h.clear();
    startTransfer(h, upload, sc.bucket, sc.key, sc.path);
    QVERIFY(h.waitFor(upload ? "uploadFinished" : "downloadFinished"));
    const QStringList resumed = tokens(h);
    QVERIFY2(!resumed.contains("open"), qPrintable(resumed.join(',')));
    const QList<QVariantList> after = steps(h);
    QVERIFY(after.first().at(4).toLongLong() > pausedAt);
    QCOMPARE(after.last().at(4).toLongLong(), qlonglong(sc.data.size()));
    QVERIFY(arrived(upload, sc));
}

void TestZRV_S3Worker::abortRunning_data()
{
    QTest::addColumn<bool>("upload");
    QTest::addColumn<bool>("oneStep");
    QTest::addColumn<QStringList>("answers");
    // The upload lets events in before it reports its step, the download after.
    QTest::newRow("upload") << true << false << QStringList{"open", "clear", "step", "clear"};
    QTest::newRow("download") << false << false << QStringList{"open", "step", "clear", "clear"};
    QTest::newRow("upload done in its one step still finishes")
        << true << true << QStringList{"open", "clear", "step", "clear", "uploadFinished"};
    QTest::newRow("download done in its one step still finishes")
        << false << true << QStringList{"open", "step", "clear", "clear", "downloadFinished"};
}

void TestZRV_S3Worker::abortRunning()
{
    QFETCH(bool, upload);
    QFETCH(bool, oneStep);
    QFETCH(QStringList, answers);
    Scene sc = scene(upload, QStringLiteral("aborted.bin"),
                     oneStep ? QByteArray("fits in a single part") : patterned(severalSteps(upload)));
    const QByteArray old("what was there before");
    if (!upload && !oneStep) {
        sc.path = localFile("file", old);
        sc.data = old;
    }
    S3WorkerHarness h;
    QVERIFY(setUp(h));

    h.sendWhenOpening(&S3WorkerHarness::doAbort);
    startTransfer(h, upload, sc.bucket, sc.key, sc.path);
    QVERIFY(h.waitFor(oneStep ? answers.last() : QStringLiteral("transferProgress"), oneStep ? 1 : 4));
    QVERIFY(h.drain());
    QCOMPARE(tokens(h).join(' '), answers.join(' '));
    if (oneStep || !upload) {
        QVERIFY2(arrived(upload, sc), "a finished transfer arrived; an aborted download left the old file");
        if (oneStep)
            return;
    } else {
        QCOMPARE(m_moto.openMultipartUploads(sc.bucket), 0);
        QVERIFY(!m_moto.hasObject(sc.bucket, sc.key));
    }

    // The loop itself stopped the transfer, so the next one opens at zero again.
    h.clear();
    const Scene small = scene(upload, QStringLiteral("small.bin"), "tiny");
    startTransfer(h, upload, small.bucket, small.key, small.path);
    QVERIFY(h.waitFor(upload ? "uploadFinished" : "downloadFinished"));
    QCOMPARE(tokens(h).first(), QStringLiteral("open"));
}

void TestZRV_S3Worker::abortWhilePaused_data()
{
    byDirection();
}

void TestZRV_S3Worker::abortWhilePaused()
{
    QFETCH(bool, upload);
    const Scene sc = scene(upload, QStringLiteral("dropped.bin"), patterned(severalSteps(upload)));
    S3WorkerHarness h;
    QVERIFY(setUp(h));

    QVERIFY(startPaused(h, upload, sc));
    if (upload)
        QCOMPARE(m_moto.openMultipartUploads(sc.bucket), 1);
    const QStringList leftBeside = QDir(m_dir.path()).entryList(QDir::Files);

    h.clear();
    emit h.doAbort();
    QVERIFY(h.drain());
    QCOMPARE(tokens(h), QStringList{"clear"});
    // The library was told: the store holds no half upload, and a half download
    // leaves nothing of its own beside its target.
    if (upload)
        QCOMPARE(m_moto.openMultipartUploads(sc.bucket), 0);
    else
        QVERIFY(QDir(m_dir.path()).entryList(QDir::Files).size() < leftBeside.size());

    // The active flag outlives the abort, so the next transfer goes without
    // its opening signal.
    h.clear();
    startTransfer(h, upload, sc.bucket, sc.key, sc.path);
    QVERIFY(h.waitFor(upload ? "uploadFinished" : "downloadFinished"));
    QCOMPARE(tokens(h).first(), QStringLiteral("step"));
    QCOMPARE(steps(h).last().at(4).toLongLong(), qlonglong(sc.data.size()));

    // The other direction was never active and still opens at zero.
    h.clear();
    const Scene other = scene(!upload, QStringLiteral("other.bin"), "tiny");
    startTransfer(h, !upload, other.bucket, other.key, other.path);
    QVERIFY(h.waitFor(upload ? "downloadFinished" : "uploadFinished"));
    QCOMPARE(tokens(h).first(), QStringLiteral("open"));
}

// The upload's local file and the download's key are missing.
void TestZRV_S3Worker::failingStep_data()
{
    byDirection();
}

void TestZRV_S3Worker::failingStep()
{
    QFETCH(bool, upload);
    const QString bucket = freshBucket();
    S3WorkerHarness h;
    QVERIFY(setUp(h));
    const QString failName = upload ? "uploadFailed" : "downloadFailed";
    const QString doneName = upload ? "uploadFinished" : "downloadFinished";

    startTransfer(h, upload, bucket, "missing.bin", m_dir.filePath(upload ? "no-such-source" : "never-target"));
    QVERIFY(h.waitFor(failName));
    QVERIFY(h.drain());
    QCOMPARE(tokens(h), (QStringList{"open", failName}));
    QVERIFY(!h.spy.at(1).at(1).toList().last().toString().isEmpty());

    // A failed transfer is over: the next one opens at zero.
    h.clear();
    const Scene there = scene(upload, QStringLiteral("there.bin"), "tiny");
    startTransfer(h, upload, there.bucket, there.key, there.path);
    QVERIFY(h.waitFor(doneName));
    QCOMPARE(tokens(h), (QStringList{"open", "step", doneName}));
}

QTEST_GUILESS_MAIN(TestZRV_S3Worker)
#include "tst_ZRV_S3Worker.moc"
