#include <QtTest>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <functional>

#include "MotoServer.h"
#include "Storage_S3.h"
#include "TransferJournal.h"

using namespace BVK_AWS;

namespace {

constexpr qint64 kMiB = 1024 * 1024;
const QString kBucket = QStringLiteral("store");
const QString kManyBucket = QStringLiteral("many");
constexpr int kMany = 1100;

QByteArray randomBytes(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    QRandomGenerator gen{quint32(size)};
    for (int i = 0; i + 4 <= data.size(); i += 4) {
        const quint32 v = gen.generate();
        memcpy(data.data() + i, &v, 4);
    }
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
    QStringList out;
    for (const QString &name : fi.dir().entryList({fi.fileName() + QStringLiteral(".*.part")}, QDir::Files))
        out << fi.dir().filePath(name);
    return out;
}

// Runs `op` and returns what it threw; a default exception with code -1 when nothing.
QAWSException thrown(const std::function<void()> &op)
{
    try {
        op();
    } catch (const QAWSException &ex) {
        return ex;
    }
    return QAWSException(-1, QString(), QString());
}

} // namespace

class TestStorage_S3 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    // First: the library prunes once per process, when its first object is made.
    void leftoversPrunedAtStart();
    void keysInOneForm_data();
    void keysInOneForm();
    void twoDownloadsOntoOneTarget();
    void resumedDownloadWritesAtItsOffset();
    void oneFileToTwoKeysWithPauses();

    void listing_data();
    void listing();
    void infoAnsweredFromListing();
    void infoSizeDelete();
    void failures_data();
    void failures();
    void signedAgainstCheckingStore_data();
    void signedAgainstCheckingStore();
    void roundTrip_data();
    void roundTrip();
    void abortUploadLeavesNothingOnStore();
    void sourceChangedBetweenSteps();
    void abortedOrFailedDownloadKeepsOldFile_data();
    void abortedOrFailedDownloadKeepsOldFile();

private:
    Storage_S3 *client(const QString &access = "test")
    {
        return new Storage_S3(MINIO, m_moto.endpoint(), access, "test");
    }
    QString local(const QString &name) const { return m_dir.filePath(name); }
    MPInfo uploadAll(Storage_S3 &s3, const QString &key, const QString &path, int *steps);
    MPInfo downloadAll(Storage_S3 &s3, const QString &key, const QString &path, int *steps);

    MotoServer m_moto;
    QTemporaryDir m_dir;
    QStringList m_manyKeys;
};

void TestStorage_S3::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation) + "/bvk_aws-transfers")
        .removeRecursively();
    QVERIFY(m_dir.isValid());
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
    QVERIFY(m_moto.createBucket(kBucket));
    QVERIFY(m_moto.createBucket(kManyBucket));

    // Many small objects at once, so that listing has to page.
    QNetworkAccessManager nam;
    int pending = 0;
    int failed = 0;
    for (int i = 0; i < kMany; ++i) {
        const QString key = QStringLiteral("many/%1.bin").arg(i, 5, 10, QLatin1Char('0'));
        m_manyKeys << key;
        QNetworkReply *r = nam.put(QNetworkRequest(QUrl(m_moto.endpoint() + "/" + kManyBucket + "/" + key)),
                                   QByteArray::number(i));
        ++pending;
        connect(r, &QNetworkReply::finished, r, [r, &pending, &failed] {
            failed += r->error() != QNetworkReply::NoError;
            --pending;
            r->deleteLater();
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(pending, 0, 60000);
    QCOMPARE(failed, 0);
    QVERIFY(m_moto.putObject(kManyBucket, "top.txt", "t"));

    // Leftovers of an earlier run, planted before any library object exists.
    const QString journals = TransferJournal::directory();
    QVERIFY(QDir().mkpath(journals));
    const QDateTime old = QDateTime::currentDateTime().addDays(-8);
    const QDateTime recent = QDateTime::currentDateTime().addDays(-6);
    for (const auto &plant : {qMakePair(QStringLiteral("old"), old), qMakePair(QStringLiteral("recent"), recent)}) {
        const QString part = local(plant.first + ".bin.0123456789ab.part");
        const QString journal = journals + "/download-" + plant.first + ".json";
        QVERIFY(writeAll(part, "partial"));
        QVERIFY(writeAll(journal, QJsonDocument(QJsonObject{{"partFile", part}}).toJson()));
        QFile f(journal);
        QVERIFY(f.open(QIODevice::ReadWrite) && f.setFileTime(plant.second, QFileDevice::FileModificationTime));
    }
}

void TestStorage_S3::cleanupTestCase()
{
    m_moto.stop();
}

MPInfo TestStorage_S3::uploadAll(Storage_S3 &s3, const QString &key, const QString &path, int *steps)
{
    MPInfo step;
    for (*steps = 0; !step.finished && *steps < 100; ++*steps)
        step = s3.UploadObjectMultipart(kBucket, key, path, "application/octet-stream");
    return step;
}

MPInfo TestStorage_S3::downloadAll(Storage_S3 &s3, const QString &key, const QString &path, int *steps)
{
    MPInfo step;
    for (*steps = 0; !step.finished && *steps < 100; ++*steps)
        step = s3.DownloadObjectMultipart(kBucket, key, path);
    return step;
}

void TestStorage_S3::leftoversPrunedAtStart()
{
    const QString journals = TransferJournal::directory();
    QVERIFY(QFile::exists(journals + "/download-old.json"));
    Storage_S3 first(MINIO, m_moto.endpoint(), "test", "test");
    QVERIFY(!QFile::exists(journals + "/download-old.json"));
    QVERIFY(!QFile::exists(local("old.bin.0123456789ab.part")));
    QVERIFY(QFile::exists(journals + "/download-recent.json"));
    QVERIFY(QFile::exists(local("recent.bin.0123456789ab.part")));
    TransferJournal::remove("download-recent");
}

void TestStorage_S3::keysInOneForm_data()
{
    QTest::addColumn<QString>("uploadKey");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("otherSpelling");

    QTest::newRow("doubled slash is one") << "u//f.txt" << "u/f.txt" << "u/f.txt";
    QTest::newRow("leading slash dropped") << "/lead.txt" << "lead.txt" << "lead.txt";
    QTest::newRow("confined user's top folder composed with a second slash")
        << "AROA1:alice//top.txt" << "AROA1:alice/top.txt" << "AROA1:alice/top.txt";
    QTest::newRow("plain key found under a messy spelling") << "d/plain.txt" << "d/plain.txt" << "//d///plain.txt";
}

// Upload under one spelling, then list, read, download and delete under the
// other: all must reach the one object.
void TestStorage_S3::keysInOneForm()
{
    QFETCH(QString, uploadKey);
    QFETCH(QString, stored);
    QFETCH(QString, otherSpelling);
    const QByteArray data = uploadKey.toUtf8();
    const QString source = local("keys-up");
    const QString target = local("keys-down");
    QVERIFY(writeAll(source, data));

    std::unique_ptr<Storage_S3> s3(client());
    int steps = 0;
    QVERIFY(uploadAll(*s3, uploadKey, source, &steps).finished);
    QCOMPARE(m_moto.getObject(kBucket, stored), data);

    QStringList keys;
    s3->ListObjects(kBucket, "/" + stored.left(stored.lastIndexOf('/') + 1), keys);
    QVERIFY2(keys.contains(stored), qPrintable(keys.join(',')));
    QCOMPARE(s3->GetObjectSize(kBucket, otherSpelling), qint64(data.size()));
    QVERIFY(downloadAll(*s3, otherSpelling, target, &steps).finished);
    QCOMPARE(readAll(target), data);
    s3->DeleteObject(kBucket, otherSpelling);
    QVERIFY(!m_moto.hasObject(kBucket, stored));
}

void TestStorage_S3::twoDownloadsOntoOneTarget()
{
    const QByteArray one = randomBytes(20 * kMiB + 1);
    QByteArray two = one;
    two[0] = char(~two.at(0));
    two[int(10 * kMiB)] = char(~two.at(int(10 * kMiB)));
    QVERIFY(m_moto.putObject(kBucket, "same-target/one.bin", one));
    QVERIFY(m_moto.putObject(kBucket, "same-target/two.bin", two));
    const QString target = local("same-target");

    std::unique_ptr<Storage_S3> s3(client());
    QVERIFY(!s3->DownloadObjectMultipart(kBucket, "same-target/one.bin", target).finished);
    QVERIFY(!s3->DownloadObjectMultipart(kBucket, "same-target/two.bin", target).finished);
    QCOMPARE(partialsOf(target).size(), 2);
    int steps = 0;
    QVERIFY(downloadAll(*s3, "same-target/one.bin", target, &steps).finished);
    QVERIFY2(readAll(target) == one, "the first download finished with bytes of the second");
    QVERIFY(downloadAll(*s3, "same-target/two.bin", target, &steps).finished);
    QVERIFY2(readAll(target) == two, "the second download finished with bytes of the first");
    QVERIFY(partialsOf(target).isEmpty());
}

// The bytes written after a resume must sit where they belong at once, before
// any later step could paper over a wrong offset.
void TestStorage_S3::resumedDownloadWritesAtItsOffset()
{
    const QByteArray data = randomBytes(40 * kMiB + 5);
    QVERIFY(m_moto.putObject(kBucket, "offset.bin", data));
    const QString target = local("offset-down");

    std::unique_ptr<Storage_S3> s3(client());
    const MPInfo first = s3->DownloadObjectMultipart(kBucket, "offset.bin", target);
    QVERIFY(!first.finished && first.progress > 0);
    s3.reset(client("renewed"));
    const MPInfo resumed = s3->DownloadObjectMultipart(kBucket, "offset.bin", target);
    QVERIFY(!resumed.finished);
    QVERIFY(resumed.progress > first.progress);

    const QStringList partials = partialsOf(target);
    QCOMPARE(partials.size(), 1);
    const QByteArray partial = readAll(partials.first());
    QCOMPARE(partial.size(), data.size());
    // A slow stream may have been split into ranges, so what arrived need not
    // be one run from the start; every byte written must be in its place.
    qint64 placed = 0;
    qint64 misplaced = 0;
    for (int i = 0; i < partial.size(); ++i) {
        if (partial.at(i) != 0)
            (partial.at(i) == data.at(i) ? placed : misplaced) += 1;
    }
    QCOMPARE(misplaced, qint64(0));
    QVERIFY2(placed >= resumed.progress - resumed.progress / 64, "fewer bytes arrived than reported");

    int steps = 0;
    QVERIFY(downloadAll(*s3, "offset.bin", target, &steps).finished);
    QVERIFY(readAll(target) == data);
}

void TestStorage_S3::oneFileToTwoKeysWithPauses()
{
    const QByteArray data = randomBytes(16 * kMiB + 9);
    const QString source = local("two-keys-up");
    QVERIFY(writeAll(source, data));

    std::unique_ptr<Storage_S3> s3(client());
    QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/first.bin", source, "text/plain").finished);
    QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/second.bin", source, "text/plain").finished);
    bool ok = false;
    const QStringList uploads = m_moto.openUploadIds(kBucket, &ok);
    QVERIFY(ok && uploads.size() == 2);
    // Renewed temporary keys come with a new client and access key; both
    // uploads go on as they were on the store rather than starting over.
    s3.reset(client("renewed"));
    QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/first.bin", source, "text/plain").finished);
    QVERIFY(!s3->UploadObjectMultipart(kBucket, "two/second.bin", source, "text/plain").finished);
    QCOMPARE(m_moto.openUploadIds(kBucket, &ok), uploads);
    int steps = 0;
    QVERIFY(uploadAll(*s3, "two/first.bin", source, &steps).finished);
    QVERIFY(uploadAll(*s3, "two/second.bin", source, &steps).finished);
    QVERIFY(m_moto.getObject(kBucket, "two/first.bin") == data);
    QVERIFY(m_moto.getObject(kBucket, "two/second.bin") == data);
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
}

void TestStorage_S3::listing_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("requests");

    const QStringList odd{QStringLiteral("odd/Grüße aus Köln.txt"), QStringLiteral("odd/a  two blanks"),
                          QStringLiteral("odd/dir/"), QStringLiteral("odd/dir/deep/x+y=z&w.bin"),
                          QStringLiteral("odd/日本語 ファイル")};
    QTest::newRow("whole subtree over two pages") << "many/" << m_manyKeys << 2;
    QTest::newRow("prefix that is no directory") << "many/0000" << QStringList(m_manyKeys.mid(0, 10)) << 1;
    QTest::newRow("non-ASCII, blanks, markers and reserved characters") << "odd/" << odd << 1;
    QTest::newRow("nothing below the prefix") << "void/" << QStringList() << 1;
}

void TestStorage_S3::listing()
{
    QFETCH(QString, prefix);
    QFETCH(QStringList, expected);
    QFETCH(int, requests);
    for (const QString &key : expected) {
        if (key.startsWith("odd/"))
            QVERIFY2(m_moto.putObject(kManyBucket, key, key.toUtf8()), qPrintable(key));
    }

    std::unique_ptr<Storage_S3> s3(client());
    QStringList keys;
    const quint64 before = Storage_S3::requestCount();
    s3->ListObjects(kManyBucket, prefix, keys);
    QCOMPARE(int(Storage_S3::requestCount() - before), requests);
    keys.sort();
    expected.sort();
    QCOMPARE(keys, expected);
}

void TestStorage_S3::infoAnsweredFromListing()
{
    std::unique_ptr<Storage_S3> s3(client());
    QStringList keys;
    s3->ListObjects(kManyBucket, "many/", keys);
    const quint64 before = Storage_S3::requestCount();
    for (int i = 0; i < keys.size(); ++i) {
        const ObjectInfo info = s3->GetObjectInfo(kManyBucket, keys.at(i));
        QCOMPARE(info.size, qint64(QByteArray::number(keys.at(i).mid(5, 5).toInt()).size()));
        QVERIFY(info.ETag.startsWith('"'));
    }
    QCOMPARE(Storage_S3::requestCount() - before, quint64(0));

    // A delete forgets what the listing said: the store is asked, and says no.
    s3->DeleteObject(kManyBucket, "top.txt");
    const QAWSException gone = thrown([&] { s3->GetObjectInfo(kManyBucket, "top.txt"); });
    QCOMPARE(gone.code, 404);
}

void TestStorage_S3::infoSizeDelete()
{
    const QByteArray data = "hello, store";
    QVERIFY(m_moto.putObject(kBucket, "dir/info me.txt", data));
    std::unique_ptr<Storage_S3> s3(client());
    const ObjectInfo info = s3->GetObjectInfo(kBucket, "dir/info me.txt");
    QCOMPARE(info.size, qint64(data.size()));
    QCOMPARE(info.ETag, QString("\"%1\"").arg(QString(QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex())));
    QCOMPARE(s3->GetObjectSize(kBucket, "dir/info me.txt"), qint64(data.size()));
    s3->DeleteObject(kBucket, "dir/info me.txt");
    QCOMPARE(m_moto.request("HEAD", "/store/dir/info%20me.txt"), 404);
}

void TestStorage_S3::failures_data()
{
    QTest::addColumn<QString>("endpoint");
    QTest::addColumn<QString>("bucket");
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("message");

    QTest::newRow("listing a missing bucket") << QString() << "no-such-bucket" << QString() << 404 << "NoSuchBucket"
                                              << "The specified bucket does not exist";
    QTest::newRow("info of a missing object") << QString() << kBucket << "not/there" << 404 << "NotFound"
                                              << "The bucket or object does not exist.";
    QTest::newRow("no address at all") << "::" << kBucket << QString() << 3 << "TransportError"
                                       << "Listing \"store\": URL using bad/illegal format or missing URL";
}

void TestStorage_S3::failures()
{
    QFETCH(QString, endpoint);
    QFETCH(QString, bucket);
    QFETCH(QString, key);
    QFETCH(int, code);
    QFETCH(QString, name);
    QFETCH(QString, message);

    Storage_S3 s3(MINIO, endpoint.isEmpty() ? m_moto.endpoint() : endpoint, "test", "test");
    QStringList keys;
    const QAWSException ex = thrown([&] {
        if (key.isEmpty())
            s3.ListObjects(bucket, QString(), keys);
        else
            s3.GetObjectInfo(bucket, key);
    });
    QCOMPARE(ex.message, message);
    QCOMPARE(ex.name, name);
    QCOMPARE(ex.code, code);
    QCOMPARE(QString::fromUtf8(ex.what()), message);
}

void TestStorage_S3::signedAgainstCheckingStore_data()
{
    QTest::addColumn<bool>("wrongId");
    QTest::addColumn<bool>("wrongSecret");
    QTest::addColumn<QString>("name");

    QTest::newRow("the account's own keys") << false << false << QString();
    QTest::newRow("a wrong secret") << false << true << "SignatureDoesNotMatch";
    QTest::newRow("an unknown access key") << true << false << "InvalidAccessKeyId";
}

// A store that checks every signature: the whole life of a multi-part
// transfer and a listing must pass it with the right keys, and wrong keys must
// come back as the store's own refusal. moto re-checks against the URL as its
// web layer hands it over, partly decoded, so only names that need no
// escaping can pass there; escaping is pinned by the signer's vectors.
void TestStorage_S3::signedAgainstCheckingStore()
{
    QFETCH(bool, wrongId);
    QFETCH(bool, wrongSecret);
    QFETCH(QString, name);

    MotoServer guarded;
    QString error;
    QVERIFY2(guarded.start(&error, 4), qPrintable(error));
    if (!guarded.isMoto())
        QSKIP("only moto checks signatures");
    QString id;
    QString secret;
    QVERIFY(guarded.createAccessKey(&id, &secret));
    QVERIFY(guarded.createBucket(kBucket));
    if (wrongId)
        id = "AKIDNOTKNOWNHERE0000";
    if (wrongSecret)
        secret.chop(1);

    Storage_S3 s3(MINIO, guarded.endpoint(), id, secret);
    const QString source = local("signed-up");
    const QString target = local("signed-down");
    const QByteArray data = randomBytes(6 * kMiB + 1);
    QVERIFY(writeAll(source, data));
    QStringList keys;
    const QAWSException ex = thrown([&] {
        MPInfo step;
        for (int i = 0; i < 20 && !step.finished; ++i)
            step = s3.UploadObjectMultipart(kBucket, "signed/plain_1.bin", source, "text/plain");
        s3.ListObjects(kBucket, QString(), keys);
        s3.GetObjectSize(kBucket, "signed/plain_1.bin");
        step = MPInfo();
        for (int i = 0; i < 20 && !step.finished; ++i)
            step = s3.DownloadObjectMultipart(kBucket, "signed/plain_1.bin", target);
        s3.DeleteObject(kBucket, "signed/plain_1.bin");
    });
    QCOMPARE(ex.name, name);
    if (name.isEmpty()) {
        QCOMPARE(keys, QStringList{"signed/plain_1.bin"});
        QVERIFY(readAll(target) == data);
    } else {
        QCOMPARE(ex.code, 403);
        QVERIFY(!ex.message.isEmpty());
    }
}

void TestStorage_S3::roundTrip_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("minSteps");
    QTest::addColumn<QString>("etagEnd");
    QTest::addColumn<int>("minDownSteps");
    QTest::addColumn<QString>("targetName");
    QTest::addColumn<QByteArray>("existing"); // what the target held before; null: no file

    const QByteArray longer = QByteArray(200, 'x');
    QTest::newRow("empty file, one plain PUT") << qint64(0) << int(MINIO) << 1 << "\"" << 1 << "down-0" << QByteArray();
    QTest::newRow("just below a part, one plain PUT, replaces a longer file")
        << 5 * kMiB - 1 << int(MINIO) << 1 << "\"" << 1 << "down-small" << QByteArray(6 * kMiB, 'x');
    QTest::newRow("exactly one part, multi-part, non-ASCII target")
        << 5 * kMiB << int(MINIO) << 1 << "-1\"" << 1 << "Größe – 日本.bin" << QByteArray();
    QTest::newRow("three parts, the last short, replaces a file")
        << 12 * kMiB + 7 << int(MINIO) << 2 << "-3\"" << 2 << "down-three" << longer;
    // Amazon-style downloads run side by side in ranges; each step is bounded.
    QTest::newRow("several ranged streams") << 70 * kMiB + 3 << int(S3) << 2 << "-8\"" << 8 << "down-70" << QByteArray();
}

void TestStorage_S3::roundTrip()
{
    QFETCH(qint64, size);
    QFETCH(int, type);
    QFETCH(int, minSteps);
    QFETCH(QString, etagEnd);
    QFETCH(int, minDownSteps);
    QFETCH(QString, targetName);
    QFETCH(QByteArray, existing);

    const QByteArray data = randomBytes(size);
    const QString key = QStringLiteral("round/%1.bin").arg(size);
    const QString source = local(QStringLiteral("up-%1").arg(size));
    const QString target = local(targetName);
    QVERIFY(writeAll(source, data));
    if (!existing.isNull())
        QVERIFY(writeAll(target, existing));

    std::unique_ptr<Storage_S3> s3(new Storage_S3(Type(type), m_moto.endpoint(), "test", "test"));
    int steps = 0;
    const MPInfo up = uploadAll(*s3, key, source, &steps);
    QVERIFY(up.finished);
    QVERIFY2(steps >= minSteps, qPrintable(QString::number(steps)));
    QCOMPARE(up.size, size);
    QCOMPARE(up.progress, size);
    QVERIFY2(up.ETag.endsWith(etagEnd), qPrintable(up.ETag + " steps " + QString::number(steps)));
    QCOMPARE(s3->GetObjectInfo(kBucket, key).ETag, up.ETag);
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);

    const quint64 before = Storage_S3::requestCount();
    const MPInfo down = downloadAll(*s3, key, target, &steps);
    QVERIFY(down.finished);
    QVERIFY2(steps >= minDownSteps, qPrintable(QString::number(steps)));
    QVERIFY2(Storage_S3::requestCount() - before <= 5, "a download asks once per stream, not once per step");
    QCOMPARE(down.progress, size);
    QVERIFY(readAll(target) == data);
    QVERIFY(partialsOf(target).isEmpty());
}

void TestStorage_S3::abortUploadLeavesNothingOnStore()
{
    const QString source = local("abort-up");
    QVERIFY(writeAll(source, randomBytes(12 * kMiB)));
    for (const bool fromNewClient : {false, true}) {
        std::unique_ptr<Storage_S3> s3(client());
        QVERIFY(!s3->UploadObjectMultipart(kBucket, "aborted.bin", source, "text/plain").finished);
        QCOMPARE(m_moto.openMultipartUploads(kBucket), 1);
        if (fromNewClient)
            s3.reset(client());
        s3->AbortUploadObjectMultipart();
        QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
        QCOMPARE(m_moto.request("HEAD", "/store/aborted.bin"), 404);
    }
}

void TestStorage_S3::sourceChangedBetweenSteps()
{
    const QString source = local("changing-up");
    QVERIFY(writeAll(source, randomBytes(12 * kMiB)));
    std::unique_ptr<Storage_S3> s3(client());
    QVERIFY(!s3->UploadObjectMultipart(kBucket, "changing.bin", source, "text/plain").finished);
    QFile f(source);
    QVERIFY(f.open(QIODevice::Append) && f.write("more") == 4);
    f.close();
    const QAWSException ex = thrown([&] { s3->UploadObjectMultipart(kBucket, "changing.bin", source, "text/plain"); });
    QCOMPARE(ex.name, QStringLiteral("LocalFileError"));
    QVERIFY2(ex.message.contains("changed while it was being uploaded"), qPrintable(ex.message));
    QCOMPARE(m_moto.openMultipartUploads(kBucket), 0);
    QVERIFY(!m_moto.hasObject(kBucket, "changing.bin"));
}

void TestStorage_S3::abortedOrFailedDownloadKeepsOldFile_data()
{
    QTest::addColumn<bool>("abort");
    QTest::newRow("aborted") << true;
    QTest::newRow("object deleted meanwhile") << false;
}

void TestStorage_S3::abortedOrFailedDownloadKeepsOldFile()
{
    QFETCH(bool, abort);
    const QByteArray remote = randomBytes(40 * kMiB);
    QVERIFY(m_moto.putObject(kBucket, "big.bin", remote));
    const QString target = local("keep-me");
    const QByteArray old = "the file that was there";
    QVERIFY(writeAll(target, old));

    std::unique_ptr<Storage_S3> s3(client());
    QVERIFY(!s3->DownloadObjectMultipart(kBucket, "big.bin", target).finished);
    if (abort) {
        s3->AbortDownloadObjectMultipart();
    } else {
        QCOMPARE(m_moto.request("DELETE", "/store/big.bin"), 204);
        // A fresh client has to ask the store again; the parts in flight of
        // the first one may all have landed before the delete.
        s3.reset(client());
        const QAWSException ex = thrown([&] {
            for (int i = 0; i < 20; ++i)
                s3->DownloadObjectMultipart(kBucket, "big.bin", target);
        });
        QCOMPARE(ex.code, 404);
        QVERIFY(!ex.message.isEmpty());
    }
    QVERIFY(readAll(target) == old);
    QCOMPARE(partialsOf(target).size(), abort ? 0 : 1);
}

QTEST_GUILESS_MAIN(TestStorage_S3)
#include "tst_Storage_S3.moc"
