// The storage worker against moto, called straight on the test's thread: what it
// answers to each call and what it keeps between transfers. Steps, retries and
// resumes are the storage library's own and are tested there.
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "MotoServer.h"
#include "Storage_S3.h"
#include "ZRV_S3Worker.h"

namespace {
const qint64 MiB = 1024 * 1024;

// Every answer of a worker in order; progress as "open" (zeros), "step" or "clear" (mode -1).
class Answers : public QObject
{
public:
    explicit Answers(ZRV_S3Worker &w)
    {
        using W = ZRV_S3Worker;
        note(w, &W::listFinished, "listFinished");
        note(w, &W::listSizesFinished, "listSizesFinished");
        note(w, &W::downloadFinished, "downloadFinished");
        note(w, &W::uploadFinished, "uploadFinished");
        note(w, &W::deleteFinished, "deleteFinished");
        note(w, &W::fileSizeFinished, "fileSizeFinished");
        fails(w, &W::listFailed, "listFailed");
        fails(w, &W::listSizesFailed, "listSizesFailed");
        fails(w, &W::downloadFailed, "downloadFailed");
        fails(w, &W::uploadFailed, "uploadFailed");
        fails(w, &W::deleteFailed, "deleteFailed");
        connect(&w, &W::fileSizeFailed, this, [this](QString, QString, QAWSException ex) {
            names << "fileSizeFailed";
            error = ex;
        });
        connect(&w, &W::transferProgress, this, [this](int mode, QString, QString, qlonglong size, qlonglong done, int) {
            names << (mode == -1 ? "clear" : size == 0 && done == 0 ? "open" : "step");
            lastDone = done;
        });
    }
    QStringList names;
    QAWSException error;
    qlonglong lastDone = 0;

private:
    template <typename... A> void note(ZRV_S3Worker &w, void (ZRV_S3Worker::*s)(A...), const char *name)
    {
        connect(&w, s, this, [this, name] { names << name; });
    }
    void fails(ZRV_S3Worker &w, void (ZRV_S3Worker::*s)(QAWSException), const char *name)
    {
        connect(&w, s, this, [this, name](QAWSException ex) {
            names << name;
            error = ex;
        });
    }
};

void send(ZRV_S3Worker &w, const QString &call, const QString &bucket, const QString &key, const QString &path)
{
    if (call == "list")
        w.doListObjects(bucket, QString());
    else if (call == "sizes")
        w.doListObjectsAndSizes(bucket, QString(), true);
    else if (call == "download")
        w.doDownload(bucket, key, path);
    else if (call == "upload")
        w.doUpload(bucket, key, path);
    else if (call == "delete")
        w.doDelete(bucket, key);
    else
        w.doGetFileSize(bucket, key);
}

QByteArray patterned(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    quint32 x = 2463534242u;
    for (char &c : data) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = char(x);
    }
    return data;
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
    void setupMapsStorageType_data();
    void setupMapsStorageType();
    void withoutClient_data();
    void withoutClient();
    void listing_data();
    void listing();
    void failureThenFinished_data();
    void failureThenFinished();
    void upload_data();
    void upload();
    void abortWhilePaused_data();
    void abortWhilePaused();
    void failedTransferEnds_data();
    void failedTransferEnds();

private:
    QString freshBucket();
    QString localFile(const QString &name, const QByteArray &data);
    void setUp(ZRV_S3Worker &w) { w.doSetup(1, m_moto.endpoint(), "test", "test"); }
    // One side of a transfer holding data: the local file of an upload, the key of a download.
    QString scene(bool upload, const QString &bucket, const QString &key, const QByteArray &data);

    MotoServer m_moto;
    QTemporaryDir m_dir;
    int m_count = 0;
};

void TestZRV_S3Worker::initTestCase()
{
    // The storage library keeps its resumable state under the user's data folder.
    QStandardPaths::setTestModeEnabled(true);
    qRegisterMetaType<QAWSException>();
    QVERIFY(m_dir.isValid());
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
}

QString TestZRV_S3Worker::freshBucket()
{
    const QString bucket = QStringLiteral("worker-%1").arg(++m_count);
    return m_moto.createBucket(bucket) ? bucket : QString();
}

QString TestZRV_S3Worker::localFile(const QString &name, const QByteArray &data)
{
    const QString path = m_dir.filePath(QStringLiteral("%1-%2").arg(++m_count).arg(name));
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size() ? path : QString();
}

QString TestZRV_S3Worker::scene(bool upload, const QString &bucket, const QString &key, const QByteArray &data)
{
    if (upload)
        return localFile(QFileInfo(key).fileName(), data);
    return m_moto.putObject(bucket, key, data) ? m_dir.filePath(QStringLiteral("target-%1").arg(++m_count)) : QString();
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
    ZRV_S3Worker worker;
    QSignalSpy finished(&worker, &ZRV_S3Worker::setupFinished);
    worker.doSetup(type, m_moto.endpoint(), "test", "test");
    QCOMPARE(finished.count(), 1);
    QVERIFY(worker.storage);
    QTEST(int(worker.storage->type()), "expected");
}

void TestZRV_S3Worker::withoutClient_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<QString>("answer");
    QTest::newRow("list") << "list" << "listFailed";
    QTest::newRow("list with sizes") << "sizes" << "listSizesFailed";
    QTest::newRow("download") << "download" << "downloadFailed";
    QTest::newRow("upload") << "upload" << "uploadFailed";
    QTest::newRow("delete") << "delete" << "deleteFailed";
    QTest::newRow("file size") << "size" << "fileSizeFailed";
}

void TestZRV_S3Worker::withoutClient()
{
    QFETCH(QString, call);
    ZRV_S3Worker w;
    Answers a(w);
    const QString path = m_dir.filePath("never-written");
    send(w, call, "any-bucket", "dir/file.png", path);
    QFETCH(QString, answer);
    QCOMPARE(a.names, QStringList{answer});
    QCOMPARE(a.error.code, 22);
    QCOMPARE(a.error.name, QString("Not Initialized"));
    QCOMPARE(a.error.message, QString("S3 Not initialized. Call Setup first."));
    QVERIFY(!QFile::exists(path));
    // An abort without a client still clears the display.
    a.names.clear();
    w.doAbort();
    QCOMPARE(a.names, QStringList{"clear"});
}

void TestZRV_S3Worker::listing_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<bool>("doSubDirs");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("unasked");

    const QStringList tree{"docs/", "docs/a.txt", "docs/deep/b.txt", "top.bin"};
    QTest::newRow("directory marker is not asked about") << QString() << true << tree << QStringList{"docs/"};
    QTest::newRow("without subdirectories deeper keys are not asked about")
        << "docs/" << false << QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt"}
        << QStringList{"docs/", "docs/deep/b.txt"};
    QTest::newRow("root without subdirectories asks only about root keys")
        << QString() << false << tree << QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt"};
}

void TestZRV_S3Worker::listing()
{
    QFETCH(QString, prefix);
    QFETCH(QStringList, keys);
    QFETCH(QStringList, unasked);
    const QString bucket = freshBucket();
    for (const QString &key : QStringList{"docs/", "docs/a.txt", "docs/deep/b.txt", "top.bin"})
        QVERIFY(m_moto.putObject(bucket, key, key.endsWith('/') ? QByteArray() : key.toUtf8().repeated(3)));
    ZRV_S3Worker w;
    setUp(w);
    QSignalSpy finished(&w, &ZRV_S3Worker::listSizesFinished);
    QFETCH(bool, doSubDirs);
    w.doListObjectsAndSizes(bucket, prefix, doSubDirs);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toStringList(), keys);
    QStringList sizes, etags;
    for (const QString &key : keys) {
        const bool skipped = unasked.contains(key);
        sizes << (skipped ? "0" : QString::number(key.toUtf8().size() * 3));
        etags << (skipped ? "NONE" : m_moto.objectHeader(bucket, key, "ETag").replace('"', ""));
    }
    QCOMPARE(finished.at(0).at(1).toStringList(), sizes);
    QCOMPARE(finished.at(0).at(2).toStringList().replaceInStrings("\"", ""), etags);
}

void TestZRV_S3Worker::failureThenFinished_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<bool>("missingBucket");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QStringList>("answers");

    QTest::newRow("list of a missing bucket still finishes")
        << "list" << true << "" << QStringList{"listFailed", "listFinished"};
    QTest::newRow("sizes of a missing bucket still finish")
        << "sizes" << true << "" << QStringList{"listSizesFailed", "listSizesFinished"};
    QTest::newRow("delete in a missing bucket still finishes")
        << "delete" << true << "present.bin" << QStringList{"deleteFailed", "deleteFinished"};
    QTest::newRow("size of a missing key is -1 after the failure")
        << "size" << false << "missing.bin" << QStringList{"fileSizeFailed", "fileSizeFinished"};
    QTest::newRow("size of a present key") << "size" << false << "present.bin" << QStringList{"fileSizeFinished"};
}

void TestZRV_S3Worker::failureThenFinished()
{
    QFETCH(QString, call);
    QFETCH(bool, missingBucket);
    QFETCH(QString, key);
    const QString bucket = missingBucket ? QString("no-such-bucket") : freshBucket();
    if (!missingBucket)
        QVERIFY(m_moto.putObject(bucket, "present.bin", "12345"));
    ZRV_S3Worker w;
    setUp(w);
    Answers a(w);
    QSignalSpy lists(&w, &ZRV_S3Worker::listSizesFinished);
    QSignalSpy sizes(&w, &ZRV_S3Worker::fileSizeFinished);
    send(w, call, bucket, key, QString());
    QTEST(a.names, "answers");
    if (a.names.size() == 2)
        QVERIFY2(!a.error.message.isEmpty(), "a failure carries a message to show");
    if (call == "sizes")
        QCOMPARE(lists.at(0), (QVariantList{QStringList(), QStringList(), QStringList()}));
    if (call == "size")
        QCOMPARE(sizes.at(0), (QVariantList{bucket, key, qlonglong(key == "present.bin" ? 5 : -1)}));
}

void TestZRV_S3Worker::upload_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("type");
    QTest::newRow("a model") << "models/chair.fbx" << "application/octet-stream";
    QTest::newRow("endings in capitals go out as text") << "models/CHAIR.FBX" << "text/plain";
    QTest::newRow("pps slideshow") << "talk.pps" << "application/vnd.ms-powerpoint";
    QTest::newRow("docx is not doc")
        << "a.docx" << "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
}

void TestZRV_S3Worker::upload()
{
    QFETCH(QString, key);
    const QString bucket = freshBucket();
    const QByteArray data = patterned(1000);
    ZRV_S3Worker w;
    setUp(w);
    Answers a(w);
    QSignalSpy progress(&w, &ZRV_S3Worker::transferProgress);
    QSignalSpy finished(&w, &ZRV_S3Worker::uploadFinished);
    w.doUpload(bucket, key, scene(true, bucket, key, data));
    QCOMPARE(a.names, (QStringList{"open", "step", "uploadFinished"}));
    QCOMPARE(progress.at(0), (QVariantList{0, bucket, key, 0, 0, 0}));
    QCOMPARE(progress.at(1).mid(0, 5), (QVariantList{0, bucket, key, 1000, 1000}));
    QCOMPARE(finished.at(0).mid(0, 2), (QVariantList{key, 1000}));
    QCOMPARE(finished.at(0).at(2).toString().remove('"'), m_moto.objectHeader(bucket, key, "ETag").replace('"', ""));
    QCOMPARE(m_moto.getObject(bucket, key), data);
    QTEST(QString(m_moto.objectHeader(bucket, key, "Content-Type")), "type");
}

void TestZRV_S3Worker::abortWhilePaused_data()
{
    byDirection();
}

void TestZRV_S3Worker::abortWhilePaused()
{
    QFETCH(bool, upload);
    const QString bucket = freshBucket();
    // Several steps of the library; its download parts are larger than its upload parts.
    const QByteArray data = patterned(upload ? 12 * MiB : 34 * MiB);
    const QString path = scene(upload, bucket, "dropped.bin", data);
    ZRV_S3Worker w;
    setUp(w);
    Answers a(w);
    // The pause goes in at the opening signal, as a press of the button during the first step.
    auto once = std::make_shared<QMetaObject::Connection>();
    *once = connect(&w, &ZRV_S3Worker::transferProgress, this, [&w, once](int mode, QString, QString, qlonglong size) {
        if (mode != -1 && size == 0) {
            disconnect(*once);
            w.doPause();
        }
    });
    const auto start = [&] { upload ? w.doUpload(bucket, "dropped.bin", path) : w.doDownload(bucket, "dropped.bin", path); };
    start();
    QCOMPARE(a.names, (QStringList{"open", "step", "step"}));
    QVERIFY(a.lastDone > 0 && a.lastDone < data.size());
    if (upload)
        QCOMPARE(m_moto.openMultipartUploads(bucket), 1);
    const int besideBefore = QDir(m_dir.path()).entryList(QDir::Files).size();

    a.names.clear();
    w.doAbort();
    QCOMPARE(a.names, QStringList{"clear"});
    // The library was told: no half upload in the store, no partial file beside the target.
    if (upload)
        QCOMPARE(m_moto.openMultipartUploads(bucket), 0);
    else
        QVERIFY(QDir(m_dir.path()).entryList(QDir::Files).size() < besideBefore);

    // The active flag outlives the abort: the next transfer goes without its opening signal.
    a.names.clear();
    start();
    QCOMPARE(a.names.first(), QString("step"));
    QCOMPARE(a.names.last(), QString(upload ? "uploadFinished" : "downloadFinished"));
    QCOMPARE(a.lastDone, qlonglong(data.size()));
    // The other direction was never active and still opens at zero.
    a.names.clear();
    const QString other = scene(!upload, bucket, "other.bin", "tiny");
    upload ? w.doDownload(bucket, "other.bin", other) : w.doUpload(bucket, "other.bin", other);
    QCOMPARE(a.names.first(), QString("open"));
}

void TestZRV_S3Worker::failedTransferEnds_data()
{
    byDirection();
}

void TestZRV_S3Worker::failedTransferEnds()
{
    QFETCH(bool, upload);
    const QString bucket = freshBucket();
    ZRV_S3Worker w;
    setUp(w);
    Answers a(w);
    const QString failName = upload ? "uploadFailed" : "downloadFailed";
    // The upload's local file and the download's key are missing.
    send(w, upload ? "upload" : "download", bucket, "missing.bin", m_dir.filePath("no-such-file"));
    QCOMPARE(a.names, (QStringList{"open", failName}));
    QVERIFY(!a.error.message.isEmpty());

    // A failed transfer is over: the next one opens at zero.
    a.names.clear();
    send(w, upload ? "upload" : "download", bucket, "there.bin", scene(upload, bucket, "there.bin", "tiny"));
    QCOMPARE(a.names, (QStringList{"open", "step", upload ? "uploadFinished" : "downloadFinished"}));
}

QTEST_GUILESS_MAIN(TestZRV_S3Worker)
#include "tst_ZRV_S3Worker.moc"
