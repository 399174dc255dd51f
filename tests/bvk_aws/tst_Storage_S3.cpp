#include <QtTest>

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

} // namespace

// The storage library against moto: what reaches the store, and what comes back.
class TestStorage_S3 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void roundTrip_data();
    void roundTrip();
    void twoDownloadsOntoOneTargetResumedInPlace();
    void signedAgainstCheckingStore();
    void interrupted_data();
    void interrupted();

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

    // Leftovers of an earlier run: the library prunes once per process, when its first object is made.
    const QString journals = TransferJournal::directory();
    QVERIFY(QDir().mkpath(journals));
    for (const int age : {8, 6}) {
        const QString journal = journals + QStringLiteral("/download-%1.json").arg(age);
        const QString part = local(QStringLiteral("%1.0123456789ab.part").arg(age));
        QVERIFY(writeAll(part, "partial") && writeAll(journal, QJsonDocument(QJsonObject{{"partFile", part}}).toJson()));
        QFile f(journal);
        QVERIFY(f.open(QIODevice::ReadWrite)
                && f.setFileTime(QDateTime::currentDateTime().addDays(-age), QFileDevice::FileModificationTime));
    }
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
    QTest::newRow("three parts, the last short, replaces a file; a key to escape, found under a messy spelling")
        << 12 * kMiB + 7 << int(MINIO) << "-3\"" << "d/x+y=z&w Grüße  日本.bin" << "d/x+y=z&w Grüße  日本.bin"
        << "//d///x+y=z&w Grüße  日本.bin" << "down-three" << QByteArray(200, 'x');
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
    const quint64 before = Storage_S3::requestCount();
    const MPInfo down = finish(*s3, false, spelling, target);
    QVERIFY2(Storage_S3::requestCount() - before <= 5, "a download asks once per stream, not once per step");
    QVERIFY(down.finished && down.progress == size);
    QVERIFY(readAll(target) == data);
    QVERIFY(partialsOf(target).isEmpty());
    s3->DeleteObject(kBucket, spelling);
    QVERIFY(!m_moto.hasObject(kBucket, stored));
}

// Two downloads onto one target never share a partial file; a resumed one's bytes sit in place at once.
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
    // A slow stream may have been split into ranges: every byte written must be in its place.
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

// moto re-checks signatures against the URL partly decoded, so only names that need no escaping pass.
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
    QTest::addColumn<QString>("error"); // a pattern for what the next steps throw
    QTest::newRow("upload whose source grew between steps") << true << "LocalFileError: .*changed while it was being uploaded";
    QTest::newRow("download of an object deleted meanwhile keeps the old file") << false << "^404 .+";
}

// Nothing left open on the store, nothing half-written over the user's file.
void TestStorage_S3::interrupted()
{
    QFETCH(bool, upload);
    const QString file = local("interrupted");
    const QByteArray old = "the file that was there";
    QVERIFY(writeAll(file, upload ? randomBytes(12 * kMiB) : old));
    QVERIFY(upload || m_moto.putObject(kBucket, "interrupted.bin", randomBytes(40 * kMiB)));
    std::unique_ptr<Storage_S3> s3(client());
    const auto step = [&] {
        return upload ? s3->UploadObjectMultipart(kBucket, "interrupted.bin", file, "text/plain")
                      : s3->DownloadObjectMultipart(kBucket, "interrupted.bin", file);
    };
    QVERIFY(!step().finished);
    if (upload) {
        QFile f(file);
        QVERIFY(f.open(QIODevice::Append) && f.write("more") == 4);
    } else {
        QVERIFY(m_moto.request("DELETE", "/store/interrupted.bin") == 204);
        s3.reset(client()); // asks the store again: the first client's parts may all have landed before the delete
    }
    const QString failure = thrown([&] {
        for (int i = 0; i < 20; ++i)
            step();
    });
    QFETCH(QString, error);
    QVERIFY2(failure.contains(QRegularExpression(error)), qPrintable(failure));
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
    QVERIFY(upload ? !m_moto.hasObject(kBucket, "interrupted.bin") : readAll(file) == old && partialsOf(file).size() == 1);
}

QTEST_GUILESS_MAIN(TestStorage_S3)
#include "tst_Storage_S3.moc"
