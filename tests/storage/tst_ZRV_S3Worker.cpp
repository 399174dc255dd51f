// The storage worker against moto, called straight on the test's thread: what it
// answers to each call and what it keeps between transfers. Steps, retries and
// resumes are the storage library's own and are tested there.
#include <QtTest>

#include <memory>

#include "MotoServer.h"
#include "Storage_S3.h"
#include "ZRV_S3Worker.h"

namespace {
const qint64 MiB = 1024 * 1024;

// Every answer of a worker in order, by name; progress as "open" (zeros), "step" or "clear" (mode -1).
class Answers : public QObject
{
    Q_OBJECT

public:
    explicit Answers(ZRV_S3Worker &w)
    {
        const QMetaObject &mo = ZRV_S3Worker::staticMetaObject;
        const QMetaMethod note = metaObject()->method(metaObject()->indexOfSlot("note()"));
        for (int i = mo.methodOffset(); i < mo.methodCount(); ++i) {
            const QMetaMethod m = mo.method(i);
            if (m.methodType() == QMetaMethod::Signal && m.name() != "transferProgress")
                connect(&w, m, this, note);
            if (m.parameterTypes().value(m.parameterCount() - 1) == "QAWSException")
                failures.emplace_back(new QSignalSpy(&w, "2" + m.methodSignature()));
        }
        connect(&w, &ZRV_S3Worker::transferProgress, this,
                [this](int mode, QString, QString, qlonglong size, qlonglong done) {
                    names << (mode == -1 ? "clear" : size == 0 && done == 0 ? "open" : "step");
                    lastDone = done;
                });
    }
    QAWSException error() const
    {
        for (const auto &spy : failures) {
            if (!spy->isEmpty())
                return spy->first().last().value<QAWSException>();
        }
        return {};
    }
    QStringList names;
    qlonglong lastDone = 0;
    std::vector<std::unique_ptr<QSignalSpy>> failures;

private slots:
    void note() { names << sender()->metaObject()->method(senderSignalIndex()).name(); }
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
    else if (call == "abort")
        w.doAbort();
    else
        w.doGetFileSize(bucket, key);
}

} // namespace

class TestZRV_S3Worker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The storage library keeps its resumable state under the user's data folder.
        QStandardPaths::setTestModeEnabled(true);
        qRegisterMetaType<QAWSException>();
        QVERIFY(m_dir.isValid());
        QString error;
        QVERIFY2(m_moto.start(&error), qPrintable(error));
    }

    void setupMapsStorageType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("expected");
        QTest::newRow("2 is Amazon S3") << 2 << int(BVK_AWS::S3);
        QTest::newRow("1 is MinIO") << 1 << int(BVK_AWS::MINIO);
        QTest::newRow("0, NextCloud, falls to MinIO") << 0 << int(BVK_AWS::MINIO);
        QTest::newRow("3, a placeholder's number, falls to MinIO") << 3 << int(BVK_AWS::MINIO);
    }

    void setupMapsStorageType()
    {
        QFETCH(int, type);
        ZRV_S3Worker worker;
        QSignalSpy finished(&worker, &ZRV_S3Worker::setupFinished);
        worker.doSetup(type, m_moto.endpoint(), "test", "test");
        QCOMPARE(finished.count(), 1);
        QVERIFY(worker.storage);
        QTEST(int(worker.storage->type()), "expected");
    }

    void listing_data()
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

    void listing()
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

    void answers_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("bucket"); // "" for a fresh one holding "present.bin"; no client for "-"
        QTest::addColumn<QString>("key");
        QTest::addColumn<QStringList>("answers");

        const QString nowhere = "no-such-bucket";
        for (const QString &call : QStringList{"list", "sizes", "download", "upload", "delete", "size"}) {
            const QString failed = QMap<QString, QString>{{"list", "listFailed"}, {"sizes", "listSizesFailed"},
                                                          {"size", "fileSizeFailed"}}
                                       .value(call, call + "Failed");
            QTest::addRow("%s without a client", qPrintable(call)) << call << "-" << "k" << QStringList{failed};
        }
        QTest::newRow("abort without a client still clears the display")
            << "abort" << "-" << "" << QStringList{"clear"};
        QTest::newRow("list of a missing bucket still finishes")
            << "list" << nowhere << "" << QStringList{"listFailed", "listFinished"};
        QTest::newRow("sizes of a missing bucket still finish")
            << "sizes" << nowhere << "" << QStringList{"listSizesFailed", "listSizesFinished"};
        QTest::newRow("delete in a missing bucket still finishes")
            << "delete" << nowhere << "present.bin" << QStringList{"deleteFailed", "deleteFinished"};
        QTest::newRow("size of a missing key is -1 after the failure")
            << "size" << "" << "missing.bin" << QStringList{"fileSizeFailed", "fileSizeFinished"};
        QTest::newRow("size of a present key") << "size" << "" << "present.bin" << QStringList{"fileSizeFinished"};
        QTest::newRow("upload of a missing local file")
            << "upload" << "" << "missing.bin" << QStringList{"open", "uploadFailed"};
        QTest::newRow("download of a missing key") << "download" << "" << "missing.bin"
                                                   << QStringList{"open", "downloadFailed"};
    }

    void answers()
    {
        QFETCH(QString, call);
        QFETCH(QString, bucket);
        QFETCH(QString, key);
        if (bucket.isEmpty()) {
            bucket = freshBucket();
            QVERIFY(m_moto.putObject(bucket, "present.bin", "12345"));
        }
        ZRV_S3Worker w;
        if (bucket != "-")
            setUp(w);
        Answers a(w);
        QSignalSpy lists(&w, &ZRV_S3Worker::listSizesFinished);
        QSignalSpy sizes(&w, &ZRV_S3Worker::fileSizeFinished);
        const QString path = m_dir.filePath("no-such-file");
        send(w, call, bucket, key, path);
        QTEST(a.names, "answers");
        QVERIFY(!QFile::exists(path));
        if (bucket == "-" && call != "abort") {
            const QAWSException ex = a.error();
            QCOMPARE(QString("%1 %2 %3").arg(ex.code).arg(ex.name, ex.message),
                     QString("22 Not Initialized S3 Not initialized. Call Setup first."));
        }
        if ((call == "upload" || call == "download") && bucket != "-") {
            // A failed transfer is over: the next one opens at zero.
            a.names.clear();
            const QString there = call == "upload" ? localFile("present.bin", "12345") : m_dir.filePath("t");
            send(w, call, bucket, "present.bin", there);
            QCOMPARE(a.names, (QStringList{"open", "step", call + "Finished"}));
        }
        if (call == "sizes" && bucket != "-")
            QCOMPARE(lists.at(0), (QVariantList{QStringList(), QStringList(), QStringList()}));
        if (call == "size" && bucket != "-")
            QCOMPARE(sizes.at(0), (QVariantList{bucket, key, qlonglong(key == "present.bin" ? 5 : -1)}));
    }

    void upload_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("type");
        QTest::newRow("endings in capitals go out as text") << "models/CHAIR.FBX" << "text/plain";
        QTest::newRow("pps slideshow") << "talk.pps" << "application/vnd.ms-powerpoint";
        QTest::newRow("docx is not doc")
            << "a.docx" << "application/vnd.openxmlformats-officedocument.wordprocessingml.document";
    }

    void upload()
    {
        QFETCH(QString, key);
        const QString bucket = freshBucket();
        const QByteArray data = QByteArray(1000, 'u');
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
        QCOMPARE(finished.at(0).at(2).toString().remove('"'),
                 m_moto.objectHeader(bucket, key, "ETag").replace('"', ""));
        QCOMPARE(m_moto.getObject(bucket, key), data);
        QTEST(QString(m_moto.objectHeader(bucket, key, "Content-Type")), "type");
    }

    void abortWhilePaused_data()
    {
        QTest::addColumn<bool>("upload");
        QTest::newRow("upload") << true;
        QTest::newRow("download") << false;
    }

    void abortWhilePaused()
    {
        QFETCH(bool, upload);
        const QString bucket = freshBucket();
        // Several steps of the library; its download parts are larger than its upload parts.
        const QByteArray data(int(upload ? 12 * MiB : 34 * MiB), 'w');
        const QString path = scene(upload, bucket, "dropped.bin", data);
        ZRV_S3Worker w;
        setUp(w);
        Answers a(w);
        // The pause goes in at the opening signal, as a press of the button during the first step.
        auto once = std::make_shared<QMetaObject::Connection>();
        *once = connect(&w, &ZRV_S3Worker::transferProgress, this,
                        [&w, once](int mode, QString, QString, qlonglong size) {
                            if (mode != -1 && size == 0) {
                                disconnect(*once);
                                w.doPause();
                            }
                        });
        const auto start = [&] {
            upload ? w.doUpload(bucket, "dropped.bin", path) : w.doDownload(bucket, "dropped.bin", path);
        };
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

QTEST_GUILESS_MAIN(TestZRV_S3Worker)
#include "tst_ZRV_S3Worker.moc"
