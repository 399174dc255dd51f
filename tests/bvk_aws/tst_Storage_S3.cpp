#include <QtTest>

#include <cstdio>
#include <functional>

#include "MotoServer.h"
#include "Storage_S3.h"
#include "TransferJournal.h"

using namespace BVK_AWS;

namespace {

constexpr qint64 kMiB = 1024 * 1024;
const QString kBucket = "store";

QByteArray randomBytes(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    QRandomGenerator(quint32(size)).fillRange(reinterpret_cast<quint32 *>(data.data()), data.size() / 4);
    return data;
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

bool writeAll(const QString &path, const QByteArray &data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

// The partial files a download keeps beside `target`.
QStringList partialsOf(const QString &target)
{
    const QFileInfo fi(target);
    return fi.dir().entryList({fi.fileName() + ".*.part"}, QDir::Files);
}

// What `op` threw, as "code name: message"; empty when nothing.
QString thrown(const std::function<void()> &op)
{
    try {
        op();
    } catch (const QAWSException &ex) {
        return QStringLiteral("%1 %2: %3").arg(ex.code).arg(ex.name, ex.message);
    }
    return QString();
}

bool answers(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected(500);
}

} // namespace

// The storage library against moto: what reaches the store, and what comes back.
class TestStorage_S3 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    // First: the library prunes once per process, when its first object is made.
    void leftoversPrunedAtStart();
    void roundTrip_data();
    void roundTrip();
    void twoDownloadsOntoOneTargetResumedInPlace();
    void oneFileToTwoKeysWithPauses();
    void listing();
    void signedAgainstCheckingStore();
    void interrupted_data();
    void interrupted();
    void storeEndsWithAKilledTest();

private:
    Storage_S3 *client(const QString &access = "test", Type type = MINIO)
    {
        return new Storage_S3(type, m_moto.endpoint(), access, "test");
    }
    QString local(const QString &name) const { return m_dir.filePath(name); }
    MPInfo finish(Storage_S3 &s3, bool upload, const QString &key, const QString &path, const QString &bucket = kBucket)
    {
        MPInfo step;
        for (int i = 0; !step.finished && i < 100; ++i)
            step = upload ? s3.UploadObjectMultipart(bucket, key, path, "application/octet-stream")
                          : s3.DownloadObjectMultipart(bucket, key, path);
        return step;
    }

    MotoServer m_moto;
    QTemporaryDir m_dir;
};

void TestStorage_S3::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QDir(TransferJournal::directory()).removeRecursively();
    QVERIFY(m_dir.isValid());
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
    QVERIFY(m_moto.createBucket(kBucket));

    // Leftovers of an earlier run, planted before any library object exists.
    QVERIFY(QDir().mkpath(TransferJournal::directory()));
    for (const int age : {8, 6}) {
        const QString journal = TransferJournal::directory() + QStringLiteral("/download-%1.json").arg(age);
        QVERIFY(writeAll(local(QStringLiteral("%1.0123456789ab.part").arg(age)), "partial"));
        QVERIFY(writeAll(journal, QJsonDocument(QJsonObject{{"partFile", local(QStringLiteral("%1.0123456789ab.part").arg(age))}}).toJson()));
        QFile f(journal);
        QVERIFY(f.open(QIODevice::ReadWrite)
                && f.setFileTime(QDateTime::currentDateTime().addDays(-age), QFileDevice::FileModificationTime));
    }
}

void TestStorage_S3::leftoversPrunedAtStart()
{
    const QString journals = TransferJournal::directory();
    QVERIFY(QFile::exists(journals + "/download-8.json"));
    Storage_S3 first(MINIO, m_moto.endpoint(), "test", "test");
    QCOMPARE(QFile::exists(journals + "/download-8.json") || QFile::exists(local("8.0123456789ab.part")), false);
    QVERIFY(QFile::exists(journals + "/download-6.json") && QFile::exists(local("6.0123456789ab.part")));
    TransferJournal::remove("download-6");
}

void TestStorage_S3::roundTrip_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("etagEnd");
    QTest::addColumn<QString>("key");      // as uploaded
    QTest::addColumn<QString>("stored");   // as the store has it
    QTest::addColumn<QString>("spelling"); // downloaded and deleted as
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("existing"); // what the target held before; null: no file

    QTest::newRow("empty file, one plain PUT; a doubled slash is one")
        << qint64(0) << int(MINIO) << "\"" << "u//f.txt" << "u/f.txt" << "u/f.txt" << "down-0" << QByteArray();
    QTest::newRow("just below a part, one plain PUT, replaces a longer file; leading slash dropped")
        << 5 * kMiB - 1 << int(MINIO) << "\"" << "/lead.txt" << "lead.txt" << "lead.txt" << "down-small"
        << QByteArray(6 * kMiB, 'x');
    QTest::newRow("exactly one part, non-ASCII target; the confined user's top folder")
        << 5 * kMiB << int(MINIO) << "-1\"" << "AROA1:alice//top.txt" << "AROA1:alice/top.txt"
        << "AROA1:alice/top.txt" << "Größe – 日本.bin" << QByteArray();
    QTest::newRow("three parts, the last short, replaces a file; found under a messy spelling")
        << 12 * kMiB + 7 << int(MINIO) << "-3\"" << "d/plain me.bin" << "d/plain me.bin" << "//d///plain me.bin"
        << "down-three" << QByteArray(200, 'x');
    // Amazon-style downloads run side by side in ranges.
    QTest::newRow("several ranged streams") << 70 * kMiB + 3 << int(S3) << "-8\"" << "round/70.bin" << "round/70.bin"
                                            << "round/70.bin" << "down-70" << QByteArray();
}

void TestStorage_S3::roundTrip()
{
    QFETCH(qint64, size);
    QFETCH(int, type);
    QFETCH(QString, key);
    QFETCH(QString, stored);
    QFETCH(QString, spelling);
    QFETCH(QString, target);
    QFETCH(QByteArray, existing);

    const QByteArray data = randomBytes(size);
    const QString source = local("up");
    target = local(target);
    QVERIFY(writeAll(source, data) && (existing.isNull() || writeAll(target, existing)));
    std::unique_ptr<Storage_S3> s3(client("test", Type(type)));
    const MPInfo up = finish(*s3, true, key, source);
    QVERIFY(up.finished && up.size == size && up.progress == size);
    QFETCH(QString, etagEnd);
    QVERIFY2(up.ETag.endsWith(etagEnd), qPrintable(up.ETag));
    QCOMPARE(m_moto.getObject(kBucket, stored), data);
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);

    QStringList keys;
    s3->ListObjects(kBucket, "/" + stored.left(stored.lastIndexOf('/') + 1), keys);
    QVERIFY2(keys.contains(stored), qPrintable(keys.join(',')));
    QCOMPARE(s3->GetObjectInfo(kBucket, spelling).ETag, up.ETag);
    QCOMPARE(s3->GetObjectSize(kBucket, spelling), size);
    const quint64 before = Storage_S3::requestCount();
    const MPInfo down = finish(*s3, false, spelling, target);
    QVERIFY2(Storage_S3::requestCount() - before <= 5, "a download asks once per stream, not once per step");
    QVERIFY(down.finished && down.progress == size);
    QVERIFY(readAll(target) == data);
    QVERIFY(partialsOf(target).isEmpty());
    s3->DeleteObject(kBucket, spelling);
    QVERIFY(!m_moto.hasObject(kBucket, stored));
}

// Two downloads onto one target never share a partial file; a resumed one's
// bytes sit in place at once, before a later step could paper over an offset.
void TestStorage_S3::twoDownloadsOntoOneTargetResumedInPlace()
{
    const QByteArray one = randomBytes(40 * kMiB + 5);
    QByteArray two = one;
    two[0] = char(~two.at(0));
    two[int(10 * kMiB)] = char(~two.at(int(10 * kMiB)));
    QVERIFY(m_moto.putObject(kBucket, "same/one.bin", one) && m_moto.putObject(kBucket, "same/two.bin", two));
    const QString target = local("same-target");

    std::unique_ptr<Storage_S3> s3(client());
    const MPInfo first = s3->DownloadObjectMultipart(kBucket, "same/one.bin", target);
    QVERIFY(!first.finished && first.progress > 0);
    QVERIFY(!s3->DownloadObjectMultipart(kBucket, "same/two.bin", target).finished);
    QCOMPARE(partialsOf(target).size(), 2);
    s3.reset(client("renewed"));
    const MPInfo resumed = s3->DownloadObjectMultipart(kBucket, "same/one.bin", target);
    QVERIFY(!resumed.finished && resumed.progress > first.progress);

    const QString journal = TransferJournal::id("download", m_moto.endpoint(), kBucket, "same/one.bin", target);
    const QByteArray partial = readAll(target + "." + journal.section('-', 1).left(12) + ".part");
    QCOMPARE(partial.size(), one.size());
    // A slow stream may have been split into ranges, so what arrived need not
    // be one run from the start; every byte written must be in its place.
    qint64 placed = 0;
    qint64 misplaced = 0;
    for (int i = 0; i < partial.size(); ++i) {
        if (partial.at(i) != 0)
            (partial.at(i) == one.at(i) ? placed : misplaced) += 1;
    }
    QCOMPARE(misplaced, qint64(0));
    QVERIFY2(placed >= resumed.progress - resumed.progress / 64, "fewer bytes arrived than reported");

    QVERIFY(finish(*s3, false, "same/one.bin", target).finished);
    QVERIFY2(readAll(target) == one, "the first download finished with bytes of the second");
    QVERIFY(finish(*s3, false, "same/two.bin", target).finished);
    QVERIFY2(readAll(target) == two, "the second download finished with bytes of the first");
    QVERIFY(partialsOf(target).isEmpty());
}

void TestStorage_S3::oneFileToTwoKeysWithPauses()
{
    const QByteArray data = randomBytes(16 * kMiB + 9);
    const QString source = local("two-keys-up");
    QVERIFY(writeAll(source, data));
    std::unique_ptr<Storage_S3> s3(client());
    QStringList uploads;
    // Renewed temporary keys come with a new client and access key; both
    // uploads go on as they were on the store rather than starting over.
    for (const char *access : {"test", "renewed"}) {
        s3.reset(client(access));
        QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/first.bin", source, "text/plain").finished);
        QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/second.bin", source, "text/plain").finished);
        bool ok = false;
        const QStringList ids = m_moto.openUploadIds(kBucket, &ok);
        QVERIFY(ok && ids.size() == 2 && (uploads.isEmpty() || ids == uploads));
        uploads = ids;
    }
    QVERIFY(finish(*s3, true, "two/first.bin", source).finished && finish(*s3, true, "two/second.bin", source).finished);
    QVERIFY(m_moto.getObject(kBucket, "two/first.bin") == data && m_moto.getObject(kBucket, "two/second.bin") == data);
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
}

// Keys that need escaping come back whole. GetObjectInfo, called once per file
// of a folder, is answered by a recent listing, and after a delete asks again.
void TestStorage_S3::listing()
{
    const QStringList odd{"odd/Grüße aus Köln.txt", "odd/a  two blanks", "odd/dir/", "odd/dir/deep/x+y=z&w.bin",
                          "odd/日本語 ファイル"};
    for (const QString &key : odd)
        QVERIFY2(m_moto.putObject(kBucket, key, key.toUtf8()), qPrintable(key));
    std::unique_ptr<Storage_S3> s3(client());
    QStringList keys;
    quint64 before = Storage_S3::requestCount();
    s3->ListObjects(kBucket, "odd/", keys);
    QCOMPARE(Storage_S3::requestCount() - before, quint64(1));
    keys.sort();
    QCOMPARE(keys, odd);
    before = Storage_S3::requestCount();
    for (const QString &key : odd)
        QCOMPARE(s3->GetObjectInfo(kBucket, key).size, qint64(key.toUtf8().size()));
    QCOMPARE(Storage_S3::requestCount() - before, quint64(0));
    s3->DeleteObject(kBucket, odd.last());
    QCOMPARE(thrown([&] { s3->GetObjectInfo(kBucket, odd.last()); }),
             "404 NotFound: The bucket or object does not exist.");
    QCOMPARE(thrown([&] { s3->ListObjects("no-such-bucket", QString(), keys); }),
             "404 NoSuchBucket: The specified bucket does not exist");
}

// A store that checks every signature. moto re-checks against the URL partly
// decoded, so only names that need no escaping pass; the vectors pin escaping.
void TestStorage_S3::signedAgainstCheckingStore()
{
    MotoServer guarded;
    QString error;
    QVERIFY2(guarded.start(&error, 4), qPrintable(error));
    if (!guarded.isMoto())
        QSKIP("only moto checks signatures");
    QString id;
    QString secret;
    QVERIFY(guarded.createAccessKey(&id, &secret) && guarded.createBucket(kBucket));
    QStringList keys;
    Storage_S3 wrong(MINIO, guarded.endpoint(), id, secret + "x");
    QCOMPARE(thrown([&] { wrong.ListObjects(kBucket, QString(), keys); }).section(':', 0, 0),
             "403 SignatureDoesNotMatch");
    const QByteArray data = randomBytes(6 * kMiB + 1);
    QVERIFY(writeAll(local("signed-up"), data));
    Storage_S3 s3(MINIO, guarded.endpoint(), id, secret);
    QCOMPARE(thrown([&] {
                 finish(s3, true, "signed/plain_1.bin", local("signed-up"));
                 s3.ListObjects(kBucket, QString(), keys);
                 s3.GetObjectSize(kBucket, "signed/plain_1.bin");
                 finish(s3, false, "signed/plain_1.bin", local("signed-down"));
                 s3.DeleteObject(kBucket, "signed/plain_1.bin");
             }),
             QString());
    QCOMPARE(keys, QStringList{"signed/plain_1.bin"});
    QVERIFY(readAll(local("signed-down")) == data);
}

void TestStorage_S3::interrupted_data()
{
    QTest::addColumn<bool>("upload");
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("error"); // a pattern for what the next steps throw
    // Plain aborts are driven through the transfer page and the worker.
    QTest::newRow("upload aborted by a new client") << true << "renew abort" << "^$";
    QTest::newRow("upload whose source changed between steps")
        << true << "change" << "LocalFileError: .*changed while it was being uploaded";
    QTest::newRow("download of an object deleted meanwhile keeps the old file") << false << "delete" << "^404 .+";
}

// Nothing left open on the store, nothing half-written over the user's file.
void TestStorage_S3::interrupted()
{
    QFETCH(bool, upload);
    QFETCH(QString, action);
    const QString file = local("interrupted");
    const QByteArray old = "the file that was there";
    QVERIFY(writeAll(file, upload ? randomBytes(12 * kMiB) : old));
    QVERIFY(upload || m_moto.putObject(kBucket, "interrupted.bin", randomBytes(40 * kMiB)));
    std::unique_ptr<Storage_S3> s3(client());
    const auto steps = [&](int count) {
        MPInfo step;
        for (int i = 0; i < count; ++i)
            step = upload ? s3->UploadObjectMultipart(kBucket, "interrupted.bin", file, "text/plain")
                          : s3->DownloadObjectMultipart(kBucket, "interrupted.bin", file);
        return step;
    };
    QVERIFY(!steps(1).finished);
    QCOMPARE(m_moto.openMultipartUploads(kBucket), upload ? 1 : 0);
    if (action.startsWith("renew"))
        s3.reset(client());
    if (action.endsWith("abort"))
        s3->AbortUploadObjectMultipart();
    if (action == "change") {
        QFile f(file);
        QVERIFY(f.open(QIODevice::Append) && f.write("more") == 4);
    } else if (action == "delete") {
        QVERIFY(m_moto.request("DELETE", "/store/interrupted.bin") == 204);
        // A fresh client has to ask the store again; the parts in flight of
        // the first one may all have landed before the delete.
        s3.reset(client());
    }
    const QString failure = action.endsWith("abort") ? QString() : thrown([&] { steps(20); });
    QFETCH(QString, error);
    QVERIFY2(failure.contains(QRegularExpression(error)), qPrintable(failure));
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
    if (upload)
        QVERIFY(!m_moto.hasObject(kBucket, "interrupted.bin"));
    else
        QVERIFY(readAll(file) == old && partialsOf(file).size() == 1);
}

// The store fixture must not outlive a test process that dies without
// cleaning up, or every crashed run leaves a server behind.
void TestStorage_S3::storeEndsWithAKilledTest()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), {"--hold-store"});
    QVERIFY(child.waitForStarted(10000));
    QByteArray line;
    QDeadlineTimer deadline(45000);
    while (!line.contains('\n') && !deadline.hasExpired() && child.state() == QProcess::Running) {
        child.waitForReadyRead(500);
        line += child.readAllStandardOutput();
    }
    const quint16 port = quint16(line.trimmed().toUInt());
    QVERIFY2(port != 0 && answers(port), line.constData());
    child.kill(); // no chance to stop anything
    QVERIFY(child.waitForFinished(10000));
    QTRY_VERIFY_WITH_TIMEOUT(!answers(port), 15000);
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--hold-store") == 0) {
        // The child's part: start a store, say its port, and wait to be killed.
        MotoServer moto;
        QString error;
        if (!moto.start(&error))
            return std::fprintf(stderr, "%s\n", qPrintable(error)), 1;
        std::printf("%u\n", unsigned(moto.port()));
        std::fflush(stdout);
        return app.exec();
    }
    TestStorage_S3 test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_Storage_S3.moc"
