// The storage tabs of the signed-in console: the pages each storage mode
// keeps, temporary keys from the simulator applied, refused and renewed,
// btnAdd by the selection, and the status line of a transfer.
#include <QRandomGenerator>
#include <QtTest>
#include <QtWidgets>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_S3.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 60000;
// The folders of the simulator's temporary keys: an assumed role id, a colon and the login.
const QString GroupAdminFolder = "AROAZRVSIM00000000002:groupadmin";
const QString AmazonFolder = "AROAZRVSIM00000000008:amazon";

QTreeWidget *s3Tree(SignedInConsole &c) { return c.window->findChild<QTreeWidget *>("S3TreeWidget"); }

// The root of the S3 tree and the first file in it, once listed.
QString rootListing(SignedInConsole &c)
{
    if (!c.waitS3Listing())
        return c.error;
    s3Tree(c)->setCurrentItem(s3Tree(c)->topLevelItem(0));
    auto *table = c.window->findChild<QTableWidget *>("S3TableWidget");
    return s3Tree(c)->topLevelItem(0)->text(0) + "|" + (table->rowCount() ? table->item(0, 0)->text() : QString());
}

} // namespace

class TestZRV_ServerApp_Storage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void pageSet_data();
    void pageSet();
    void refusedKey_data();
    void refusedKey();
    void addButtonFollowsSelection();
    void keyRenewedDuringTransfer();
    void statusLine_data();
    void statusLine();

private:
    MotoServer m_moto;
    QTemporaryDir m_dir;
};

void TestZRV_ServerApp_Storage::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
    QVERIFY(m_dir.isValid());
}

void TestZRV_ServerApp_Storage::init()
{
    QVERIFY(m_moto.reset());
    QVERIFY(m_moto.createBucket("zarvo"));
    QVERIFY(m_moto.createBucket("bvkzrv"));
    for (const QString &login : {QString("admin"), GroupAdminFolder, QString("presenter")})
        QVERIFY(m_moto.putObject("zarvo", login + "/readme.txt", "read me"));
    QVERIFY(m_moto.putObject("bvkzrv", GroupAdminFolder + "/in-bvkzrv.txt", "fixed bucket"));
    QVERIFY(m_moto.putObject("bvkzrv", AmazonFolder + "/in-bvkzrv.txt", "fixed bucket"));
}

void TestZRV_ServerApp_Storage::pageSet_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QStringList>("tabs");
    QTest::addColumn<QString>("listing");

    const QStringList s3{"tabS3", "tabBundles"};
    // A key of the service would list the empty folder "<role id>:presenter/".
    QTest::newRow("fixed MinIO keys: own folder") << "presenter" << s3 << "MINIO - presenter/|readme.txt";
    QTest::newRow("administrator with fixed keys sees the whole bucket") << "admin" << s3 << "MINIO - root|";
    QTest::newRow("no keys in the account: temporary keys from the service")
        << "groupadmin" << s3 << "MINIO - groupadmin/|readme.txt";
    QTest::newRow("Amazon S3 account: temporary keys, the fixed bucket")
        << "amazon" << s3 << "S3 - amazon/|in-bvkzrv.txt";
    QTest::newRow("NextCloud account: the NextCloud page comes first")
        << "cloud" << QStringList{"tabNextCloud2", "tabBundles"} << "";
    QTest::newRow("storage of an unknown mode: all pages stay")
        << "nomode" << QStringList{"tabS3", "tabNextCloud2", "tabBundles"} << "";
}

void TestZRV_ServerApp_Storage::pageSet()
{
    QFETCH(QString, login);
    SignedInConsole c;
    QVERIFY2(c.open(login, login == "groupadmin" ? "group123" : login + "123", m_moto.endpoint()), qPrintable(c.error));
    auto *tabs = c.window->findChild<QTabWidget *>("tabBrowser");
    QStringList names;
    for (int i = 0; i < tabs->count(); ++i)
        names << tabs->widget(i)->objectName();
    QTEST(names, "tabs");
    QVERIFY(!c.window->findChild<QWidget *>("tabBundles")->isEnabled());
    QFETCH(QString, listing);
    if (!listing.isEmpty())
        QCOMPARE(rootListing(c), listing);
}

void TestZRV_ServerApp_Storage::refusedKey_data()
{
    QTest::addColumn<QString>("arn");
    QTest::addColumn<QString>("listing");
    QTest::newRow("a failed key request is refused") << "" << "";
    QTest::newRow("any other kind is refused") << "GCS" << "";
    QTest::newRow("MINIO in lower case passes") << "minio" << "MINIO - groupadmin/|readme.txt";
    QTest::newRow("S3 makes an S3 account in the fixed bucket") << "S3" << "S3 - groupadmin/|in-bvkzrv.txt";
}

void TestZRV_ServerApp_Storage::refusedKey()
{
    QFETCH(QString, arn);
    QFETCH(QString, listing);
    SignedInConsole c;
    QVERIFY2(c.open("groupadmin", "group123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
    auto *thread = c.window->findChild<ZRV_MeetingsInfoThread *>();
    QSignalSpy keys(thread, &ZRV_MeetingsInfoThread::s3TempAccess);
    ZRVS3TempAccessKey key;
    if (arn.isEmpty()) {
        const QJsonObject fault{{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/s3/token"},
                                {"status", 500}, {"message", "no keys today"}};
        QCOMPARE(c.fx.sim().admin("POST", "/_sim/fault", fault).status, 200);
    } else {
        // The next key comes from the simulator; only its kind is changed on the way.
        disconnect(thread, &ZRV_MeetingsInfoThread::s3TempAccess, c.window.get(), &ZRV_ServerApp::setS3Token);
        connect(thread, &ZRV_MeetingsInfoThread::s3TempAccess, this, [&key](ZRVS3TempAccessKey k) { key = k; });
    }
    ModalAnswerer answerer;
    answerer.arm(Wait);
    thread->getS3Token();
    QVERIFY(keys.wait(15000));
    if (!arn.isEmpty()) {
        QCOMPARE(key.getArn(), QString("MINIO"));
        key.setArn(arn);
        c.window->setS3Token(key);
    }
    answerer.disarm();
    ZRV_S3 *s3 = c.window->findChild<ZRV_S3 *>("tabS3");
    QCOMPARE(s3->testAttribute(Qt::WA_ForceDisabled), listing.isEmpty());
    if (!listing.isEmpty()) {
        QVERIFY(answerer.seen().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(rootListing(c), listing, Wait);
        return;
    }
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().value(0).title, QString("S3 Login Data"));
    QCOMPARE(answerer.seen().value(0).text, QString("Invalid or incomplete Storage Login Data received from Service. "
                                                    "Storage will not be available."));
}

void TestZRV_ServerApp_Storage::addButtonFollowsSelection()
{
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint()), qPrintable(c.error));
    QCOMPARE(rootListing(c), QString("MINIO - presenter/|readme.txt"));
    auto *table = c.window->findChild<QTableWidget *>("S3TableWidget");
    // The file area is disabled without an open meeting: the buttons' own states count.
    auto enabled = [&](const char *name) {
        return !c.window->findChild<QPushButton *>(name)->testAttribute(Qt::WA_ForceDisabled);
    };
    QVERIFY(!enabled("btnAdd"));
    table->selectRow(0);
    QVERIFY(enabled("btnAdd") && enabled("btnS3Delete"));
    table->clearSelection();
    QVERIFY(!enabled("btnAdd") && !enabled("btnS3Delete"));

    table->selectRow(0);
    auto *tabs = c.window->findChild<QTabWidget *>("tabBrowser");
    tabs->setCurrentIndex(1);
    QVERIFY2(!enabled("btnAdd"), "the bundles page has no selection");
    tabs->setCurrentIndex(0);
    QVERIFY(enabled("btnAdd"));
}

void TestZRV_ServerApp_Storage::keyRenewedDuringTransfer()
{
    SignedInConsole c;
    // Keys that live 30 s are always due: every status tick renews them.
    QVERIFY2(c.open("groupadmin", "group123", m_moto.endpoint(), {"--s3-key-lifetime", "30"}), qPrintable(c.error));
    QCOMPARE(rootListing(c), QString("MINIO - groupadmin/|readme.txt"));
    QByteArray data(24 * 1024 * 1024, Qt::Uninitialized);
    QRandomGenerator gen{7u};
    for (char &ch : data)
        ch = char(gen.generate());
    const QString source = m_dir.filePath("renewed.fbx");
    QFile f(source);
    QVERIFY(f.open(QIODevice::WriteOnly) && f.write(data) == data.size());
    f.close();

    ZRV_S3 *s3 = c.window->findChild<ZRV_S3 *>("tabS3");
    QSignalSpy keys(c.window->findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::s3TempAccess);
    bool renewed = false;
    connect(s3, &ZRV_S3::transferProgress, this, [&](int mode, QString, QString, qlonglong size, qlonglong done) {
        if (!renewed && mode == 0 && done > 0 && done < size) {
            renewed = true;
            c.window->onMeetingStatusTimer();
        }
    });
    QSignalSpy finished(s3, &ZRV_S3::uploadsFinished);
    QSignalSpy failed(s3, &ZRV_S3::uploadFailed);
    ModalAnswerer answerer;
    answerer.arm(Wait);
    s3->uploadFiles({source});
    QVERIFY(finished.wait(Wait));
    answerer.disarm();
    QVERIFY(renewed);
    QVERIFY2(!keys.isEmpty(), "a new key arrived while the upload ran");
    QCOMPARE(failed.count(), 0);
    QVERIFY2(answerer.seen().isEmpty(), qPrintable(answerer.seen().value(0).text));
    QCOMPARE(m_moto.getObject("zarvo", GroupAdminFolder + "/renewed.fbx"), data);
    QCOMPARE(m_moto.openMultipartUploads("zarvo"), 0);
}

void TestZRV_ServerApp_Storage::statusLine_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("object");
    QTest::addColumn<qlonglong>("size");
    QTest::addColumn<qlonglong>("progress");
    QTest::addColumn<int>("speed");
    QTest::addColumn<QStringList>("labels");
    QTest::addColumn<QList<int>>("bar");

    QTest::newRow("cleared: empty operation and name, zeros in KB")
        << -1 << "" << 0LL << 0LL << 0 << QStringList{"", "", "Completed: 0 KB", "Size: 0 KB", "Speed: 0 KByte/s"}
        << QList<int>{1, 0};
    QTest::newRow("upload in KB and MB, speed in KByte/s")
        << 0 << "presenter/models/a.fbx" << 3LL * 1024 * 1024 << 512LL * 1024 << 1536
        << QStringList{"Uploading:", "a.fbx", "Completed: 512 KB", "Size: 3.00 MB", "Speed: 1.5 KByte/s"}
        << QList<int>{3 * 1024 * 1024, 512 * 1024};
    QTest::newRow("5,000,000,000 bytes: both divided by ten once for the bar")
        << 1 << "big.bin" << 5000000000LL << 2500000000LL << 3 * 1024 * 1024
        << QStringList{"Downloading:", "big.bin", "Completed: 2.33 GB", "Size: 4.66 GB", "Speed: 3.00 MByte/s"}
        << QList<int>{500000000, 250000000};
    QTest::newRow("delete") << 2 << "x" << 0LL << 0LL << 0
                            << QStringList{"Deleting:", "x", "Completed: 0 KB", "Size: 0 KB", "Speed: 0 KByte/s"}
                            << QList<int>{1, 0};
}

void TestZRV_ServerApp_Storage::statusLine()
{
    QFETCH(int, mode);
    QFETCH(QString, object);
    QFETCH(qlonglong, size);
    QFETCH(qlonglong, progress);
    QFETCH(int, speed);
    SignedInConsole c;
    QVERIFY2(c.open("cloud", "cloud123", m_moto.endpoint()), qPrintable(c.error));
    c.window->onTransferProgress(mode, "bucket", object, size, progress, speed);
    QStatusBar *status = c.window->findChild<QStatusBar *>();
    // The status line's own labels, in the order they stand.
    QList<QLabel *> found = status->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
    std::sort(found.begin(), found.end(), [](QLabel *a, QLabel *b) { return a->x() < b->x(); });
    QStringList labels;
    for (QLabel *l : found)
        labels << l->text();
    QTEST(labels, "labels");
    auto *bar = status->findChild<QProgressBar *>();
    QTEST((QList<int>{bar->maximum(), bar->value()}), "bar");
}

QTEST_MAIN(TestZRV_ServerApp_Storage)
#include "tst_ZRV_ServerApp_Storage.moc"
