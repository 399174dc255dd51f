// The storage worker against moto, called straight on the test's thread: its own
// mapping and answers. Steps, retries and resumes are the storage library's and tested there.
#include <QtTest>

#include <memory>

#include "MotoServer.h"
#include "Storage_S3.h"
#include "ZRV_S3Worker.h"

namespace {

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

} // namespace

class TestZRV_S3Worker : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true); // the library keeps resumable state under the data folder
        qRegisterMetaType<QAWSException>();
        QVERIFY(m_dir.isValid());
        QString error;
        QVERIFY2(m_moto.start(&error), qPrintable(error));
    }

    void answers_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("bucket"); // "" for a fresh one holding "present.bin"; no client for "-"
        QTest::addColumn<QString>("key");
        QTest::addColumn<QStringList>("answers");

        const QMap<QString, QString> failed{{"list", "listFailed"}, {"sizes", "listSizesFailed"},
                                            {"size", "fileSizeFailed"}};
        for (const QString &call : QStringList{"list", "sizes", "download", "upload", "delete", "size"}) {
            QTest::addRow("%s without a client", qPrintable(call))
                << call << "-" << "k" << QStringList{failed.value(call, call + "Failed")};
        }
        QTest::newRow("sizes of a missing bucket still finish")
            << "sizes" << "no-such-bucket" << "" << QStringList{"listSizesFailed", "listSizesFinished"};
        QTest::newRow("upload of a missing local file") << "upload" << "" << "missing.bin"
                                                        << QStringList{"open", "uploadFailed"};
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
        const QString path = m_dir.filePath("no-such-file");
        send(w, call, bucket, key, path);
        QTEST(a.names, "answers");
        QVERIFY(!QFile::exists(path));
        if (bucket == "-") {
            const QAWSException ex = a.error();
            QCOMPARE(QString("%1 %2 %3").arg(ex.code).arg(ex.name, ex.message),
                     QString("22 Not Initialized S3 Not initialized. Call Setup first."));
        } else if (call == "upload" || call == "download") {
            // A failed transfer is over: the next one opens at zero.
            a.names.clear();
            send(w, call, bucket, "present.bin", call == "upload" ? localFile("present.bin", "12345") : path);
            QCOMPARE(a.names, (QStringList{"open", "step", call + "Finished"}));
        }
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
        const QByteArray data(int(upload ? 12 : 34) * 1024 * 1024, 'w');
        QString path = m_dir.filePath("target");
        if (upload)
            path = localFile("dropped.bin", data);
        else
            QVERIFY(m_moto.putObject(bucket, "dropped.bin", data));
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
        send(w, upload ? "upload" : "download", bucket, "dropped.bin", path);
        QCOMPARE(a.names, (QStringList{"open", "step", "step"}));
        a.names.clear();
        w.doAbort();
        QCOMPARE(a.names, QStringList{"clear"});
        QCOMPARE(m_moto.openMultipartUploads(bucket), 0);

        // The active flag outlives the abort: the next transfer goes without its opening signal.
        a.names.clear();
        send(w, upload ? "upload" : "download", bucket, "dropped.bin", path);
        QCOMPARE(a.names.first(), QString("step"));
        QCOMPARE(a.lastDone, qlonglong(data.size()));
    }

private:
    void setUp(ZRV_S3Worker &w) { w.doSetup(1, m_moto.endpoint(), "test", "test"); }

    QString freshBucket()
    {
        const QString bucket = QStringLiteral("worker-%1").arg(++m_count);
        return m_moto.createBucket(bucket) ? bucket : QString();
    }

    QString localFile(const QString &name, const QByteArray &data)
    {
        const QString path = m_dir.filePath(QStringLiteral("%1-%2").arg(++m_count).arg(name));
        QFile f(path);
        return f.open(QIODevice::WriteOnly) && f.write(data) == data.size() ? path : QString();
    }

    static void send(ZRV_S3Worker &w, const QString &call, const QString &bucket, const QString &key,
                     const QString &path)
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

    MotoServer m_moto;
    QTemporaryDir m_dir;
    int m_count = 0;
};

QTEST_GUILESS_MAIN(TestZRV_S3Worker)
#include "tst_ZRV_S3Worker.moc"
