// The storage tabs of the signed-in console: the pages of each storage mode, temporary
// keys refused and renewed, the status line; and the asset bundle page with its version gate.
#include <QtTest>
#include <QtWidgets>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_FileChooser.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_S3.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 60000;
// The folders of the simulator's temporary keys: an assumed role id, a colon and the login.
const QString GroupAdminFolder = "AROAZRVSIM00000000002:groupadmin";
const QString AmazonFolder = "AROAZRVSIM00000000008:amazon";

// The root of the S3 tree and the first file in it, once listed.
QString rootListing(SignedInConsole &c)
{
    auto *tree = c.window->findChild<QTreeWidget *>("S3TreeWidget");
    auto *table = c.window->findChild<QTableWidget *>("S3TableWidget");
    if (!c.waitS3Listing())
        return c.error;
    tree->setCurrentItem(tree->topLevelItem(0));
    return tree->topLevelItem(0)->text(0) + "|" + (table->rowCount() ? table->item(0, 0)->text() : QString());
}

const QStringList Suffixes = {".win.asb", ".ios.asb", ".android.asb", ".web.asb"};

QTableWidget *bundleTable(SignedInConsole &c) { return c.window->findChild<QTableWidget *>("ABTableWidget"); }

QStringList tableRows(QTableWidget *table)
{
    QStringList rows;
    for (int r = 0; r < table->rowCount(); ++r)
        rows << table->item(r, 0)->text() + "|" + table->item(r, 1)->text() + "|" + table->item(r, 3)->text();
    return rows;
}

QJsonObject bundleNamed(const QJsonArray &bundles, const QString &name)
{
    for (const QJsonValue &v : bundles) {
        if (v.toObject().value("Name").toString() == name)
            return v.toObject();
    }
    return QJsonObject();
}

void click(SignedInConsole &c, const char *button) { c.window->findChild<QPushButton *>(button)->click(); }

bool selectBundle(SignedInConsole &c, const QString &name)
{
    const QList<QTableWidgetItem *> found = bundleTable(c)->findItems(name, Qt::MatchExactly);
    if (!found.isEmpty())
        bundleTable(c)->selectRow(found.first()->row());
    return !found.isEmpty();
}

} // namespace

class TestZRV_ServerApp_Storage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(zrv);
        QString error;
        QVERIFY2(m_moto.start(&error), qPrintable(error));
        QVERIFY(m_dir.isValid());
    }

    void init()
    {
        QVERIFY(m_moto.reset());
        QVERIFY(m_moto.createBucket("zarvo"));
        QVERIFY(m_moto.createBucket("bvkzrv"));
        for (const QString &login : {QString("admin"), GroupAdminFolder, QString("presenter")})
            QVERIFY(m_moto.putObject("zarvo", login + "/readme.txt", "read me"));
        QVERIFY(m_moto.putObject("bvkzrv", AmazonFolder + "/in-bvkzrv.txt", "fixed bucket"));
        ZRV_FileChooser::clear();
    }

    void pageSet_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("version");
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<QString>("listing");

        const QStringList s3{"tabS3", "tabBundles"};
        // A key of the service would list the empty folder "<role id>:presenter/".
        QTest::newRow("fixed MinIO keys: own folder") << "presenter" << "" << s3 << "MINIO - presenter/|readme.txt";
        QTest::newRow("no keys in the account: temporary keys from the service")
            << "groupadmin" << "" << s3 << "MINIO - groupadmin/|readme.txt";
        QTest::newRow("Amazon S3 account: temporary keys, the fixed bucket")
            << "amazon" << "" << s3 << "S3 - amazon/|in-bvkzrv.txt";
        QTest::newRow("NextCloud account: the NextCloud page comes first")
            << "cloud" << "" << QStringList{"tabNextCloud2", "tabBundles"} << "";
        QTest::newRow("service 2.0.29 is too old for bundles") << "presenter" << "v2.0.29" << QStringList{"tabS3"} << "";
        QTest::newRow("service 2.0.30 is the first with bundles") << "presenter" << "v2.0.30" << s3 << "";
        QTest::newRow("service 2.1.0: the minor counts before the patch") << "presenter" << "v2.1.0" << s3 << "";
    }

    void pageSet()
    {
        QFETCH(QString, login);
        QFETCH(QString, version);
        SignedInConsole c;
        const QString password = login == "groupadmin" ? "group123" : login + "123";
        const QStringList args = version.isEmpty() ? QStringList() : QStringList{"--service-version", version};
        QVERIFY2(c.open(login, password, m_moto.endpoint(), args), qPrintable(c.error));
        auto *browser = c.window->findChild<QTabWidget *>("tabBrowser");
        const auto names = [browser] {
            QStringList names;
            for (int i = 0; i < browser->count(); ++i)
                names << browser->widget(i)->objectName();
            return names;
        };
        QFETCH(QStringList, tabs);
        QTRY_COMPARE_WITH_TIMEOUT(names(), tabs, Wait);
        // The file area, the bundle page with it, stays disabled until a meeting is chosen.
        QVERIFY(!c.window->findChild<QWidget *>("tabBundles")->isEnabled());
        QFETCH(QString, listing);
        if (!listing.isEmpty())
            QCOMPARE(rootListing(c), listing);
    }

    void refusedKey()
    {
        SignedInConsole c;
        QVERIFY2(c.open("groupadmin", "group123", m_moto.endpoint()) && c.waitS3Listing(), qPrintable(c.error));
        auto *thread = c.window->findChild<ZRV_MeetingsInfoThread *>();
        QSignalSpy keys(thread, &ZRV_MeetingsInfoThread::s3TempAccess);
        const QJsonObject fault{{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/s3/token"},
                                {"status", 500}, {"message", "no keys today"}};
        QCOMPARE(c.fx.sim().admin("POST", "/_sim/fault", fault).status, 200);
        ModalAnswerer answerer;
        answerer.arm(Wait);
        thread->getS3Token();
        QVERIFY(keys.wait(15000));
        answerer.disarm();
        QVERIFY(c.window->findChild<ZRV_S3 *>("tabS3")->testAttribute(Qt::WA_ForceDisabled));
        QCOMPARE(answerer.seen().size(), 1);
        QCOMPARE(answerer.seen().value(0).title + "|" + answerer.seen().value(0).text,
                 QString("S3 Login Data|Invalid or incomplete Storage Login Data received from Service. "
                         "Storage will not be available."));
    }

    void keyRenewedDuringTransfer()
    {
        SignedInConsole c;
        // Keys that live 30 s are always due: every status tick renews them.
        QVERIFY2(c.open("groupadmin", "group123", m_moto.endpoint(), {"--s3-key-lifetime", "30"}), qPrintable(c.error));
        QCOMPARE(rootListing(c), QString("MINIO - groupadmin/|readme.txt"));
        const QByteArray data(24 * 1024 * 1024, 'r');
        const QString source = m_dir.filePath("renewed.fbx");
        QFile f(source);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(data) == data.size());
        f.close();

        ZRV_S3 *s3 = c.window->findChild<ZRV_S3 *>("tabS3");
        QSignalSpy keys(c.window->findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::s3TempAccess);
        connect(s3, &ZRV_S3::transferProgress, this, [&](int mode, QString, QString, qlonglong size, qlonglong done) {
            if (keys.isEmpty() && mode == 0 && done > 0 && done < size)
                c.window->onMeetingStatusTimer();
        });
        QSignalSpy finished(s3, &ZRV_S3::uploadsFinished);
        ModalAnswerer answerer;
        answerer.arm(Wait);
        s3->uploadFiles({source});
        QVERIFY(finished.wait(Wait));
        answerer.disarm();
        QVERIFY2(!keys.isEmpty(), "a new key arrived while the upload ran");
        QVERIFY2(answerer.seen().isEmpty(), qPrintable(answerer.seen().value(0).text));
        QCOMPARE(m_moto.getObject("zarvo", GroupAdminFolder + "/renewed.fbx"), data);
    }

    void statusLine()
    {
        SignedInConsole c;
        QVERIFY2(c.open("cloud", "cloud123", m_moto.endpoint()), qPrintable(c.error));
        QStatusBar *status = c.window->findChild<QStatusBar *>();
        // The status line's own labels in the order they stand, then the bar as value/maximum.
        const auto line = [&](int mode, const QString &object, qlonglong size, qlonglong done, int speed) {
            c.window->onTransferProgress(mode, "bucket", object, size, done, speed);
            QList<QLabel *> found = status->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
            std::sort(found.begin(), found.end(), [](QLabel *a, QLabel *b) { return a->x() < b->x(); });
            QStringList labels;
            for (QLabel *l : found)
                labels << l->text();
            auto *bar = status->findChild<QProgressBar *>();
            return labels.join(" ") + QString(" %1/%2").arg(bar->value()).arg(bar->maximum());
        };
        // 5,000,000,000 bytes: both divided by ten once for the bar.
        QCOMPARE(line(1, "big.bin", 5000000000LL, 2500000000LL, 3 << 20),
                 QString("Downloading: big.bin Completed: 2.33 GB Size: 4.66 GB Speed: 3.00 MByte/s 250000000/500000000"));
    }

    void bundleLifecycle()
    {
        SignedInConsole c;
        QVERIFY2(openWithBundles(c), qPrintable(c.error));
        // The global bundle first, owned by the team.
        QCOMPARE(tableRows(bundleTable(c)),
                 QStringList({"Zarvo Lobby|Zarvo Team|14 MB", "Presenter Stage|presenter|14 MB"}));
        c.window->findChild<QTabWidget *>("tabBrowser")->setCurrentIndex(1); // btnAdd follows the current page

        ZRV_FileChooser::setNextAnswer(writeBundle("stage-two"));
        QStringList progress;
        ModalAnswerer answerer;
        // The progress dialog of a creation stays open; message boxes are answered in turn.
        answerer.handle([&progress](QWidget *modal) {
            auto *dialog = qobject_cast<QProgressDialog *>(modal);
            progress << (dialog ? dialog->windowTitle() + ": " + dialog->labelText() : QString());
        });
        answerer.pressButton(QMessageBox::Ok);
        answerer.pressButton(QMessageBox::Yes);
        answerer.arm(Wait * 3);
        click(c, "btnCreate");
        QTRY_VERIFY_WITH_TIMEOUT(tableRows(bundleTable(c)).contains("stage-two|presenter|10 MB"), Wait);
        QCOMPARE(progress, QStringList{"Creating Asset Bundle: Uploading Files"});
        for (int i = 0; i < Suffixes.size(); ++i)
            QCOMPARE(m_moto.getObject("zarvo", "presenter/__ASSETBUNDLES/stage-two" + Suffixes.at(i)).size(),
                     1048576 * (i + 1));
        QCOMPARE(bundleNamed(c.bundles(), "stage-two").value("StgRelPath").toString(),
                 QString("presenter/__ASSETBUNDLES/stage-two"));

        // On the meeting from the bundle page; a second one is refused before anything is sent.
        QVERIFY(selectBundle(c, "stage-two"));
        click(c, "btnAdd");
        QTRY_COMPARE_WITH_TIMEOUT(c.assetRows().value(0), QString("AB|stage-two|10 MB|Asset Bundle"), Wait);
        QVERIFY(selectBundle(c, "Presenter Stage"));
        click(c, "btnAdd");
        QCOMPARE(answerer.seen().value(1).title + "|" + answerer.seen().value(1).text,
                 QString("Cannot add Asset Bundle|Only one Asset Bundle can be assigned per Meeting."));
        QCOMPARE(c.liveRecord("prl5t8c6").value("assetBundles").toArray().size(), 1);

        // Deleted: the service takes it off the meeting.
        QVERIFY(selectBundle(c, "stage-two"));
        click(c, "btnDelete");
        QCOMPARE(answerer.seen().value(2).text, QString("Do you really want to delete Asset Bundle stage-two?\n"
                                                        "All references to this Bundle will automatically be removed."));
        QTRY_VERIFY_WITH_TIMEOUT(bundleTable(c)->findItems("stage-two", Qt::MatchExactly).isEmpty(), Wait);
        QVERIFY(bundleNamed(c.bundles(), "stage-two").isEmpty());

        // A refused registration: the box, and the four files leave the store again without a question.
        const QJsonObject fault{{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/assetbundle"},
                                {"method", "POST"}, {"status", 409}, {"message", "Bundle store unavailable"}};
        QCOMPARE(c.fx.sim().admin("POST", "/_sim/fault", fault).status, 200);
        ZRV_FileChooser::setNextAnswer(writeBundle("refused"));
        answerer.handle([](QWidget *) {});
        answerer.pressButton(QMessageBox::Ok);
        click(c, "btnCreate");
        QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), 5, Wait);
        QCOMPARE(answerer.seen().last().title, QString("Error creating asset bundle"));
        QVERIFY2(answerer.seen().last().text.contains("Bundle store unavailable"), qPrintable(answerer.seen().last().text));
        QTRY_VERIFY_WITH_TIMEOUT(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/refused.web.asb"), Wait);
        for (const QString &suffix : Suffixes)
            QVERIFY(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/refused" + suffix));
        QCOMPARE(tableRows(bundleTable(c)).size(), 2);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("name");       // bundle to create, or to delete when no files are given
        QTest::addColumn<QStringList>("files");  // suffixes written
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");       // {stem} for the chosen stem

        const QString missing = "The %1 asset pack file could not be found.\n Expected path: {stem}%2";
        QTest::newRow("web file missing, checked before Android")
            << "presenter" << "lone" << QStringList{".win.asb", ".ios.asb"} << "Missing file"
            << missing.arg("web", ".web.asb");
        QTest::newRow("own bundle of the same name")
            << "presenter" << "Presenter Stage" << Suffixes << "Duplicate"
            << "An assetbundle of the name 'Presenter Stage' already exists.";
        QTest::newRow("the global bundle cannot be deleted, not even by an administrator")
            << "admin" << "Zarvo Lobby" << QStringList() << "Cannot delete Asset Bundle"
            << "This Asset Bundle cannot be deleted.";
    }

    void refusals()
    {
        QFETCH(QString, login);
        QFETCH(QString, name);
        QFETCH(QStringList, files);
        QFETCH(QString, text);
        SignedInConsole c;
        QVERIFY2(openWithBundles(c, login), qPrintable(c.error));
        const int before = c.bundles().size();

        ModalAnswerer answerer;
        answerer.pressButton(QMessageBox::Ok);
        answerer.arm(Wait);
        if (files.isEmpty()) {
            QVERIFY(selectBundle(c, name));
            click(c, "btnDelete");
        } else {
            ZRV_FileChooser::setNextAnswer(writeBundle(name, files));
            click(c, "btnCreate");
        }
        answerer.disarm();
        QCOMPARE(answerer.seen().size(), 1);
        QTEST(answerer.seen().first().title, "title");
        QCOMPARE(answerer.seen().first().text, text.replace("{stem}", m_dir.filePath(name)));

        // Nothing went to the store or the service.
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/" + name + ".win.asb"));
        QCOMPARE(c.bundles().size(), before);
    }

private:
    // The files of a bundle with these suffixes, 1 MiB for Windows up to 4 MiB for Web.
    QString writeBundle(const QString &name, const QStringList &suffixes = Suffixes);
    bool openWithBundles(SignedInConsole &c, const QString &login = "presenter");

    MotoServer m_moto;
    QTemporaryDir m_dir;
};

QString TestZRV_ServerApp_Storage::writeBundle(const QString &name, const QStringList &suffixes)
{
    const QString stem = m_dir.filePath(name);
    for (int i = 0; i < Suffixes.size(); ++i) {
        QFile::remove(stem + Suffixes.at(i));
        if (!suffixes.contains(Suffixes.at(i)))
            continue;
        QFile f(stem + Suffixes.at(i));
        if (f.open(QIODevice::WriteOnly))
            f.write(QByteArray(1048576 * (i + 1), char('a' + i)));
    }
    return stem + ".win.asb";
}

bool TestZRV_ServerApp_Storage::openWithBundles(SignedInConsole &c, const QString &login)
{
    // The file area, and with it the bundle page, works once a meeting is chosen.
    if (!c.open(login, login + "123", m_moto.endpoint()) || !c.waitS3Listing() ||
        !c.selectMeeting(login == "admin" ? "brd9q3x1" : "prl5t8c6"))
        return false;
    if (QTest::qWaitFor([&] { return bundleTable(c)->rowCount() > 0; }, Wait))
        return true;
    c.error = "no bundles listed";
    return false;
}

QTEST_MAIN(TestZRV_ServerApp_Storage)
#include "tst_ZRV_ServerApp_Storage.moc"
