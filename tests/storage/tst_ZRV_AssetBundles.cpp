// The asset bundle page inside the signed-in console: a bundle of four real
// files uploaded to moto, registered with the simulator, put on a meeting and
// deleted; the rollback of a refused registration; the refusals; and the
// service versions that get the page at all.
#include <QtTest>
#include <QtWidgets>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_FileChooser.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 30000;
const QStringList Suffixes = {".win.asb", ".ios.asb", ".android.asb", ".web.asb"};

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

// Leaves the progress dialog of a creation open; anything else is answered by what follows.
void letProgressRun(ModalAnswerer &answerer, QStringList *progressLabels)
{
    answerer.handle([progressLabels](QWidget *modal) {
        if (auto *progress = qobject_cast<QProgressDialog *>(modal))
            *progressLabels << progress->windowTitle() + ": " + progress->labelText();
        else
            qobject_cast<QDialog *>(modal)->reject();
    });
}

} // namespace

class TestZRV_AssetBundles : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void bundleLifecycle();
    void refusedRegistrationRolledBack();
    void refusals_data();
    void refusals();
    void versionGate_data();
    void versionGate();

private:
    // The files of a bundle with these suffixes, 1 MiB for Windows up to 4 MiB for Web.
    QString writeBundle(const QString &name, const QStringList &suffixes = Suffixes);
    static QTableWidget *bundleTable(SignedInConsole &c) { return c.window->findChild<QTableWidget *>("ABTableWidget"); }
    bool openWithBundles(SignedInConsole &c, const QString &login = "presenter");
    static bool selectBundle(SignedInConsole &c, const QString &name);

    MotoServer m_moto;
    QTemporaryDir m_files;
};

void TestZRV_AssetBundles::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
    QVERIFY(m_files.isValid());
}

void TestZRV_AssetBundles::init()
{
    QVERIFY(m_moto.reset());
    QVERIFY(m_moto.createBucket("zarvo"));
    QVERIFY(m_moto.putObject("zarvo", "presenter/readme.txt", "read me"));
    ZRV_FileChooser::clear();
}

QString TestZRV_AssetBundles::writeBundle(const QString &name, const QStringList &suffixes)
{
    const QString stem = m_files.filePath(name);
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

bool TestZRV_AssetBundles::openWithBundles(SignedInConsole &c, const QString &login)
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

bool TestZRV_AssetBundles::selectBundle(SignedInConsole &c, const QString &name)
{
    const QList<QTableWidgetItem *> found = bundleTable(c)->findItems(name, Qt::MatchExactly);
    if (!found.isEmpty())
        bundleTable(c)->selectRow(found.first()->row());
    return !found.isEmpty();
}

void TestZRV_AssetBundles::bundleLifecycle()
{
    SignedInConsole c;
    QVERIFY2(openWithBundles(c), qPrintable(c.error));
    // The global bundle first, owned by the team; the id is kept with the row.
    QCOMPARE(tableRows(bundleTable(c)),
             QStringList({"Zarvo Lobby|Zarvo Team|14 MB", "Presenter Stage|presenter|14 MB"}));
    QCOMPARE(bundleTable(c)->item(0, 0)->data(Qt::UserRole).toString(), QString("ab-0001"));
    QVERIFY(c.window->findChild<QPushButton *>("btnCreateGlobal")->isHidden());

    ZRV_FileChooser::setNextAnswer(writeBundle("stage-two"));
    QStringList progress;
    ModalAnswerer answerer;
    letProgressRun(answerer, &progress);
    answerer.pressButton(QMessageBox::Ok);
    answerer.pressButton(QMessageBox::Yes);
    answerer.arm(Wait * 3);
    click(c, "btnCreate");
    QTRY_VERIFY_WITH_TIMEOUT(tableRows(bundleTable(c)).contains("stage-two|presenter|10 MB"), Wait);
    QCOMPARE(progress, QStringList{"Creating Asset Bundle: Uploading Files"});
    QCOMPARE(ZRV_FileChooser::lastCaption(), QString("Select files to Upload"));
    for (int i = 0; i < Suffixes.size(); ++i)
        QCOMPARE(m_moto.getObject("zarvo", "presenter/__ASSETBUNDLES/stage-two" + Suffixes.at(i)).size(),
                 1048576 * (i + 1));
    const QJsonObject registered = bundleNamed(c.bundles(), "stage-two");
    QCOMPARE(registered.value("StgRelPath").toString(), QString("presenter/__ASSETBUNDLES/stage-two"));
    QCOMPARE(registered.value("Mode").toInt(), 1);
    QVERIFY(!registered.value("UserId").toString().isEmpty());

    // On the meeting from the bundle page.
    c.window->findChild<QTabWidget *>("tabBrowser")->setCurrentIndex(1);
    QVERIFY(selectBundle(c, "stage-two"));
    click(c, "btnAdd");
    QTRY_COMPARE_WITH_TIMEOUT(c.assetRows().value(0), QString("AB|stage-two|10 MB|Asset Bundle"), Wait);
    const QJsonArray onMeeting = c.liveRecord("prl5t8c6").value("assetBundles").toArray();
    QCOMPARE(onMeeting.size(), 1);
    QCOMPARE(onMeeting.first().toObject().value("Id").toString(), registered.value("Id").toString());

    // A second one is refused before anything is sent.
    QVERIFY(selectBundle(c, "Presenter Stage"));
    click(c, "btnAdd");
    QCOMPARE(answerer.seen().value(1).title, QString("Cannot add Asset Bundle"));
    QCOMPARE(answerer.seen().value(1).text, QString("Only one Asset Bundle can be assigned per Meeting."));
    QCOMPARE(c.liveRecord("prl5t8c6").value("assetBundles").toArray().size(), 1);

    // Deleted: the service takes it off the meeting and removes its files.
    QVERIFY(selectBundle(c, "stage-two"));
    click(c, "btnDelete");
    QCOMPARE(answerer.seen().value(2).text,
             QString("Do you really want to delete Asset Bundle stage-two?\nAll references to this Bundle will "
                     "automatically be removed."));
    QTRY_VERIFY_WITH_TIMEOUT(bundleTable(c)->findItems("stage-two", Qt::MatchExactly).isEmpty(), Wait);
    QCOMPARE(answerer.seen().size(), 3);
    QVERIFY(bundleNamed(c.bundles(), "stage-two").isEmpty());
    QVERIFY(c.liveRecord("prl5t8c6").value("assetBundles").toArray().isEmpty());
    for (const QString &suffix : Suffixes)
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/stage-two" + suffix));
}

void TestZRV_AssetBundles::refusedRegistrationRolledBack()
{
    SignedInConsole c;
    QVERIFY2(openWithBundles(c), qPrintable(c.error));
    const QJsonObject fault{{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/assetbundle"},
                            {"method", "POST"}, {"status", 409}, {"message", "Bundle store unavailable"}};
    QCOMPARE(c.fx.sim().admin("POST", "/_sim/fault", fault).status, 200);
    const int before = c.bundles().size();

    ZRV_FileChooser::setNextAnswer(writeBundle("refused"));
    QStringList progress;
    ModalAnswerer answerer;
    letProgressRun(answerer, &progress);
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait * 2);
    click(c, "btnCreate");
    QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), 2, Wait);
    QCOMPARE(answerer.seen().at(1).title, QString("Error creating asset bundle"));
    QVERIFY2(answerer.seen().at(1).text.contains("Bundle store unavailable"), qPrintable(answerer.seen().at(1).text));
    // The four files leave the store again, without a question.
    QTRY_VERIFY_WITH_TIMEOUT(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/refused.web.asb"), Wait);
    QCOMPARE(answerer.seen().size(), 2);
    for (const QString &suffix : Suffixes)
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/refused" + suffix));
    QCOMPARE(c.bundles().size(), before);
    QVERIFY(bundleTable(c)->findItems("refused", Qt::MatchExactly).isEmpty());
}

void TestZRV_AssetBundles::refusals_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("name");       // bundle to create, or to delete when no files are given
    QTest::addColumn<QStringList>("files");  // suffixes written
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");       // {stem} for the chosen stem

    const QString missing = "The %1 asset pack file could not be found.\n Expected path: {stem}%2";
    QTest::newRow("iOS file missing") << "presenter" << "lone"
                                      << QStringList{".win.asb", ".web.asb", ".android.asb"} << "Missing file"
                                      << missing.arg("ios", ".ios.asb");
    QTest::newRow("web file missing, checked before Android") << "presenter" << "lone"
                                                              << QStringList{".win.asb", ".ios.asb"} << "Missing file"
                                                              << missing.arg("web", ".web.asb");
    QTest::newRow("Android file missing") << "presenter" << "lone"
                                          << QStringList{".win.asb", ".ios.asb", ".web.asb"} << "Missing file"
                                          << missing.arg("android", ".android.asb");
    QTest::newRow("own bundle of the same name")
        << "presenter" << "Presenter Stage" << Suffixes << "Duplicate"
        << "An assetbundle of the name 'Presenter Stage' already exists.";
    QTest::newRow("the global bundle cannot be deleted, not even by an administrator")
        << "admin" << "Zarvo Lobby" << QStringList() << "Cannot delete Asset Bundle"
        << "This Asset Bundle cannot be deleted.";
}

void TestZRV_AssetBundles::refusals()
{
    QFETCH(QString, login);
    QFETCH(QString, name);
    QFETCH(QStringList, files);
    QFETCH(QString, text);
    SignedInConsole c;
    QVERIFY2(openWithBundles(c, login), qPrintable(c.error));
    QCOMPARE(c.window->findChild<QPushButton *>("btnCreateGlobal")->isHidden(), login != "admin");
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
    QCOMPARE(answerer.seen().first().text, text.replace("{stem}", m_files.filePath(name)));

    // Nothing went to the store or the service.
    QVERIFY(!m_moto.hasObject("zarvo", "presenter/__ASSETBUNDLES/" + name + ".win.asb"));
    QCOMPARE(c.bundles().size(), before);
    QCOMPARE(bundleTable(c)->rowCount(), before);
}

void TestZRV_AssetBundles::versionGate_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<bool>("bundles");

    QTest::newRow("2.0.29 is too old: the tab at index 1 goes") << "v2.0.29" << false;
    QTest::newRow("2.0.30 is the first with bundles") << "v2.0.30" << true;
    QTest::newRow("2.1.0: the minor counts before the patch") << "v2.1.0" << true;
    QTest::newRow("1.9.99 is too old") << "v1.9.99" << false;
}

void TestZRV_AssetBundles::versionGate()
{
    QFETCH(QString, version);
    QFETCH(bool, bundles);
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint(), {"--service-version", version}),
             qPrintable(c.error));
    auto *tabs = c.window->findChild<QTabWidget *>("tabBrowser");
    auto *page = c.window->findChild<QWidget *>("tabBundles");
    // The file area stays disabled until a meeting is chosen: the page itself counts.
    QTRY_COMPARE_WITH_TIMEOUT(tabs->count(), bundles ? 2 : 1, Wait);
    QTRY_COMPARE_WITH_TIMEOUT(bundleTable(c)->rowCount(), bundles ? 2 : 0, Wait);
    QCOMPARE(page->isEnabledTo(tabs), bundles);
    QCOMPARE(tabs->widget(0)->objectName(), QString("tabS3"));
}

QTEST_MAIN(TestZRV_AssetBundles)
#include "tst_ZRV_AssetBundles.moc"
