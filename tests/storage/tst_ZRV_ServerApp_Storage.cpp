// The storage tabs of the signed-in console: the pages each storage mode
// keeps, temporary keys from the simulator applied and renewed, btnAdd by the
// selection, and the status line of a transfer. Storage is moto on loopback.
#include <QDialogButtonBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include <memory>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_S3.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 60000;
// The folder in the simulator's temporary keys for groupadmin: an assumed role
// id made of its account id, a colon and the login.
const QString GroupAdminFolder = "AROAZRVSIM00000000002:groupadmin";
const QString AmazonFolder = "AROAZRVSIM00000000008:amazon";

QStringList tabNames(QTabWidget *tabs)
{
    QStringList names;
    for (int i = 0; i < tabs->count(); ++i)
        names << tabs->widget(i)->objectName();
    return names;
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
    struct Console
    {
        ConsoleFixture fx;
        std::unique_ptr<ZRV_ServerApp> window;
        std::unique_ptr<QSignalSpy> keys;
        QList<ModalAnswerer::Seen> boxes;
        ZRV_S3 *s3() const { return window->findChild<ZRV_S3 *>("tabS3"); }
        QTreeWidget *s3Tree() const { return s3()->findChild<QTreeWidget *>("S3TreeWidget"); }
    };
    // A console signed in as login; the boxes met on the way are kept.
    bool openConsole(Console &c, const QString &login, const QString &password, const QStringList &simArgs = {},
                     const QJsonObject &fault = {});
    static bool waitForListing(Console &c);

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
    for (const QString &login : {QString("admin"), GroupAdminFolder, QString("presenter")}) {
        QVERIFY(m_moto.putObject("zarvo", login + "/readme.txt", "read me"));
        QVERIFY(m_moto.putObject("zarvo", login + "/models/stage.fbx", QByteArray(4096, 's')));
    }
    QVERIFY(m_moto.putObject("bvkzrv", GroupAdminFolder + "/in-bvkzrv.txt", "fixed bucket"));
    QVERIFY(m_moto.putObject("bvkzrv", AmazonFolder + "/in-bvkzrv.txt", "fixed bucket"));
}

bool TestZRV_ServerApp_Storage::openConsole(Console &c, const QString &login, const QString &password,
                                            const QStringList &simArgs, const QJsonObject &fault)
{
    QStringList args{"--console-version", "3.1.2", "--s3-endpoint", m_moto.endpoint(), "--s3-bucket", "zarvo"};
    if (!c.fx.start(args + simArgs)) {
        qWarning() << c.fx.errorText();
        return false;
    }
    if (!fault.isEmpty() && c.fx.sim().admin("POST", "/_sim/fault", fault).status != 200)
        return false;
    ModalAnswerer answerer;
    answerer.handle([login, password](QWidget *modal) {
        auto *leUser = modal->findChild<QLineEdit *>("leUser");
        auto *lePass = modal->findChild<QLineEdit *>("lePass");
        auto *btnBox = modal->findChild<QDialogButtonBox *>("btnBox");
        if (!leUser || !lePass || !btnBox) {
            qobject_cast<QDialog *>(modal)->reject();
            return;
        }
        QTest::keyClicks(leUser, login);
        QTest::keyClicks(lePass, password);
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(30000);
    c.window.reset(new ZRV_ServerApp({"zarvo-console", "-i", c.fx.iniPath()}));
    auto *thread = c.window->findChild<ZRV_MeetingsInfoThread *>();
    if (!thread)
        return false;
    c.keys.reset(new QSignalSpy(thread, &ZRV_MeetingsInfoThread::s3TempAccess));
    c.window->show();
    QStatusBar *status = c.window->findChild<QStatusBar *>();
    const bool up = QTest::qWaitFor([&] { return status->isVisible(); }, 30000);
    // The key of an account without fixed keys, and the box of a refused one,
    // arrive after the login.
    bool settled = true;
    if (login == "groupadmin" || login == "amazon")
        settled = QTest::qWaitFor([&] { return !c.keys->isEmpty(); }, 15000);
    if (settled && !fault.isEmpty())
        settled = QTest::qWaitFor([&] { return answerer.seen().size() > 1; }, 15000);
    answerer.disarm();
    c.boxes = answerer.seen().mid(1);
    return up && settled && c.fx.exitCodes().isEmpty();
}

bool TestZRV_ServerApp_Storage::waitForListing(Console &c)
{
    // A failed listing opens a box; it is closed and told, not waited on.
    ModalAnswerer answerer;
    answerer.arm(Wait);
    auto *refresh = c.s3()->findChild<QPushButton *>("btnS3Refresh");
    // The file area stays disabled until a meeting is open: the button's own state counts.
    const bool done = QTest::qWaitFor(
        [&] { return !refresh->testAttribute(Qt::WA_ForceDisabled) && c.s3Tree()->topLevelItemCount() == 1; }, Wait);
    for (const ModalAnswerer::Seen &box : answerer.seen())
        qWarning() << "box during the listing:" << box.title << box.text;
    return done && answerer.seen().isEmpty();
}

void TestZRV_ServerApp_Storage::pageSet_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QStringList>("tabs");
    QTest::addColumn<int>("keyRequests");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("rootFile");
    QTest::addColumn<QString>("box");

    QTest::newRow("fixed MinIO keys: no key request, own folder")
        << "presenter" << "presenter123" << QStringList{"tabS3", "tabBundles"} << 0 << "MINIO - presenter/"
        << "readme.txt" << "";
    QTest::newRow("administrator with fixed keys sees the whole bucket")
        << "admin" << "admin123" << QStringList{"tabS3", "tabBundles"} << 0 << "MINIO - root" << "" << "";
    QTest::newRow("no keys in the account: temporary keys from the service")
        << "groupadmin" << "group123" << QStringList{"tabS3", "tabBundles"} << 1 << "MINIO - groupadmin/"
        << "readme.txt" << "";
    QTest::newRow("Amazon S3 account: temporary keys, the fixed bucket")
        << "amazon" << "amazon123" << QStringList{"tabS3", "tabBundles"} << 1 << "S3 - amazon/"
        << "in-bvkzrv.txt" << "";
    QTest::newRow("NextCloud account: the NextCloud page comes first")
        << "cloud" << "cloud123" << QStringList{"tabNextCloud2", "tabBundles"} << 0 << "" << "" << "";
    QTest::newRow("storage of an unknown mode: the warning, all pages stay")
        << "nomode" << "nomode123" << QStringList{"tabS3", "tabNextCloud2", "tabBundles"} << 0 << "" << ""
        << "No Storage Configuration|Your Account is missing storage configuration. Please ask your administrator "
           "to configure storage access for you.";
}

void TestZRV_ServerApp_Storage::pageSet()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    Console c;
    QVERIFY(openConsole(c, login, password));
    QStringList boxes;
    for (const ModalAnswerer::Seen &box : c.boxes)
        boxes << box.title + "|" + box.text;
    QTEST(boxes.join("\n"), "box");
    auto *tabs = c.window->findChild<QTabWidget *>("tabBrowser");
    QTEST(tabNames(tabs), "tabs");
    QVERIFY(!c.window->findChild<QWidget *>("tabBundles")->isEnabled());

    QFETCH(QString, root);
    if (!root.isEmpty()) {
        QVERIFY(waitForListing(c));
        QCOMPARE(c.s3Tree()->topLevelItem(0)->text(0), root);
        c.s3Tree()->setCurrentItem(c.s3Tree()->topLevelItem(0));
        auto *table = c.s3()->findChild<QTableWidget *>("S3TableWidget");
        QFETCH(QString, rootFile);
        QCOMPARE(table->rowCount() ? table->item(0, 0)->text() : QString(), rootFile);
    }
    QTEST(int(c.keys->size()), "keyRequests");
}

void TestZRV_ServerApp_Storage::refusedKey_data()
{
    QTest::addColumn<QString>("arn");
    QTest::addColumn<bool>("refused");
    QTest::addColumn<QString>("root");
    QTest::addColumn<QString>("rootFile");

    QTest::newRow("MINIO in lower case passes") << "minio" << false << "MINIO - groupadmin/" << "readme.txt";
    QTest::newRow("S3 makes an S3 account in the fixed bucket")
        << "S3" << false << "S3 - groupadmin/" << "in-bvkzrv.txt";
    QTest::newRow("any other kind is refused") << "GCS" << true << "" << "";
    QTest::newRow("a failed key request is refused") << "" << true << "" << "";
}

void TestZRV_ServerApp_Storage::refusedKey()
{
    QFETCH(QString, arn);
    QFETCH(bool, refused);
    Console c;
    // The key request fails, or its answer is taken and handed on with another kind.
    QJsonObject fault{{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/s3/token"}, {"status", 500},
                      {"message", "no keys today"}};
    QVERIFY(openConsole(c, "groupadmin", "group123", {}, fault));
    QCOMPARE(c.keys->size(), 1);
    QCOMPARE(c.boxes.size(), 1);
    QCOMPARE(c.boxes.value(0).title, QString("S3 Login Data"));
    QCOMPARE(c.boxes.value(0).text, QString("Invalid or incomplete Storage Login Data received from Service. "
                                            "Storage will not be available."));
    QVERIFY(c.s3()->testAttribute(Qt::WA_ForceDisabled));
    if (arn.isEmpty())
        return;

    // The next key comes from the simulator; only its kind is changed on the way.
    auto *thread = c.window->findChild<ZRV_MeetingsInfoThread *>();
    disconnect(thread, &ZRV_MeetingsInfoThread::s3TempAccess, c.window.get(), &ZRV_ServerApp::setS3Token);
    ZRVS3TempAccessKey key;
    connect(thread, &ZRV_MeetingsInfoThread::s3TempAccess, this, [&key](ZRVS3TempAccessKey k) { key = k; });
    thread->getS3Token();
    QVERIFY(c.keys->wait(15000));
    QCOMPARE(key.getArn(), QString("MINIO"));
    key.setArn(arn);
    ModalAnswerer answerer;
    answerer.arm(15000);
    c.window->setS3Token(key);
    answerer.disarm();
    QCOMPARE(answerer.seen().size(), refused ? 1 : 0);
    QCOMPARE(c.s3()->testAttribute(Qt::WA_ForceDisabled), refused);
    if (!refused) {
        QVERIFY(waitForListing(c));
        QFETCH(QString, root);
        QCOMPARE(c.s3Tree()->topLevelItem(0)->text(0), root);
        c.s3Tree()->setCurrentItem(c.s3Tree()->topLevelItem(0));
        auto *table = c.s3()->findChild<QTableWidget *>("S3TableWidget");
        QCOMPARE(table->rowCount(), 1);
        QTEST(table->item(0, 0)->text(), "rootFile");
    }
}

void TestZRV_ServerApp_Storage::addButtonFollowsSelection()
{
    Console c;
    QVERIFY(openConsole(c, "presenter", "presenter123"));
    QVERIFY(waitForListing(c));
    auto *btnAdd = c.window->findChild<QPushButton *>("btnAdd");
    auto *table = c.s3()->findChild<QTableWidget *>("S3TableWidget");
    auto *btnDelete = c.s3()->findChild<QPushButton *>("btnS3Delete");
    c.s3Tree()->setCurrentItem(c.s3Tree()->topLevelItem(0));
    // The file area is disabled without an open meeting: the buttons' own states count.
    auto enabled = [](QWidget *w) { return !w->testAttribute(Qt::WA_ForceDisabled); };
    QVERIFY(!enabled(btnAdd));
    table->selectRow(0);
    QVERIFY(enabled(btnAdd));
    QVERIFY(enabled(btnDelete));
    table->clearSelection();
    QVERIFY(!enabled(btnAdd));
    QVERIFY(!enabled(btnDelete));

    table->selectRow(0);
    auto *tabs = c.window->findChild<QTabWidget *>("tabBrowser");
    tabs->setCurrentIndex(1);
    QVERIFY2(!enabled(btnAdd), "the bundles page has no selection");
    tabs->setCurrentIndex(0);
    QVERIFY(enabled(btnAdd));
}

void TestZRV_ServerApp_Storage::keyRenewedDuringTransfer()
{
    Console c;
    // Keys that live 30 s are always due: every status tick renews them.
    QVERIFY(openConsole(c, "groupadmin", "group123", {"--s3-key-lifetime", "30"}));
    QVERIFY(waitForListing(c));
    c.s3Tree()->setCurrentItem(c.s3Tree()->topLevelItem(0));

    QByteArray data(24 * 1024 * 1024, Qt::Uninitialized);
    QRandomGenerator gen{7u};
    for (int i = 0; i < data.size(); ++i)
        data[i] = char(gen.generate());
    const QString source = m_dir.filePath("renewed.fbx");
    QFile f(source);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(data);
    f.close();

    ZRV_S3 *s3 = c.s3();
    bool renewed = false;
    connect(s3, &ZRV_S3::transferProgress, this, [&](int mode, QString, QString, qlonglong size, qlonglong done, int) {
        if (!renewed && mode == 0 && done > 0 && done < size) {
            renewed = true;
            c.window->onMeetingStatusTimer();
        }
    });
    QSignalSpy finished(s3, &ZRV_S3::uploadsFinished);
    QSignalSpy failed(s3, &ZRV_S3::uploadFailed);
    const int before = c.keys->size();
    ModalAnswerer answerer;
    answerer.arm(Wait);
    s3->uploadFiles({source});
    QVERIFY(finished.wait(Wait));
    answerer.disarm();
    QVERIFY(renewed);
    QVERIFY2(c.keys->size() > before, "a new key arrived while the upload ran");
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
    QTest::addColumn<int>("barMax");
    QTest::addColumn<int>("barValue");

    QTest::newRow("cleared: empty operation and name, zeros in KB")
        << -1 << "" << 0LL << 0LL << 0 << QStringList{"", "", "Completed: 0 KB", "Size: 0 KB", "Speed: 0 KByte/s"}
        << 1 << 0;
    QTest::newRow("upload in KB and MB, speed in KByte/s")
        << 0 << "presenter/models/a.fbx" << 3LL * 1024 * 1024 << 512LL * 1024 << 1536
        << QStringList{"Uploading:", "a.fbx", "Completed: 512 KB", "Size: 3.00 MB", "Speed: 1.5 KByte/s"}
        << 3 * 1024 * 1024 << 512 * 1024;
    QTest::newRow("5,000,000,000 bytes: both divided by ten once for the bar")
        << 1 << "big.bin" << 5000000000LL << 2500000000LL << 3 * 1024 * 1024
        << QStringList{"Downloading:", "big.bin", "Completed: 2.33 GB", "Size: 4.66 GB", "Speed: 3.00 MByte/s"}
        << 500000000 << 250000000;
    QTest::newRow("delete and size query words") << 2 << "x" << 0LL << 0LL << 0
                                                 << QStringList{"Deleting:", "x", "Completed: 0 KB", "Size: 0 KB",
                                                                "Speed: 0 KByte/s"}
                                                 << 1 << 0;
}

void TestZRV_ServerApp_Storage::statusLine()
{
    Console c;
    QVERIFY(openConsole(c, "cloud", "cloud123"));
    QFETCH(int, mode);
    QFETCH(QString, object);
    QFETCH(qlonglong, size);
    QFETCH(qlonglong, progress);
    QFETCH(int, speed);
    c.window->onTransferProgress(mode, "bucket", object, size, progress, speed);
    QStatusBar *status = c.window->findChild<QStatusBar *>();
    QStringList labels;
    // The status line's own labels, in the order they stand.
    QList<QLabel *> found = status->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
    std::sort(found.begin(), found.end(), [](QLabel *a, QLabel *b) { return a->x() < b->x(); });
    for (QLabel *l : found)
        labels << l->text();
    QTEST(labels, "labels");
    auto *bar = status->findChild<QProgressBar *>();
    QTEST(bar->maximum(), "barMax");
    QTEST(bar->value(), "barValue");
}

QTEST_MAIN(TestZRV_ServerApp_Storage)
#include "tst_ZRV_ServerApp_Storage.moc"
