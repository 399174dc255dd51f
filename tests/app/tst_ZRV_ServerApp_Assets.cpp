// A meeting's components in the signed-in console: storage files of MinIO,
// Amazon S3 and NextCloud added and read back from the simulator, URL
// placeholders, properties, removal, the ban of a file and a refused asset.
// Storage is moto and sabre/dav on loopback.
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFile>
#include <QGroupBox>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 30000;

// A dialog's spin box is set to `value` (left as offered with 0) and the
// dialog accepted; with -1 it is rejected. What it offered lands in *offered.
std::function<void(QWidget *)> numberAnswer(int value, int *offered)
{
    return [value, offered](QWidget *modal) {
        auto *dialog = qobject_cast<QDialog *>(modal);
        auto *spin = modal->findChild<QSpinBox *>();
        if (spin)
            *offered = spin->value();
        if (value < 0 || !spin) {
            dialog->reject();
            return;
        }
        if (value > 0)
            spin->setValue(value);
        dialog->accept();
    };
}

QString vectorText(const QJsonObject &v)
{
    return QString("%1,%2,%3").arg(v.value("x").toDouble()).arg(v.value("y").toDouble()).arg(v.value("z").toDouble());
}

} // namespace

class TestZRV_ServerApp_Assets : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void storageFileAdded_data();
    void storageFileAdded();
    void skippedFileFreesItsNumber();
    void componentsTable();
    void customUrl_data();
    void customUrl();
    void properties_data();
    void properties();
    void removeAndRemoveAll();
    void banFile();
    void refusedAsset();

private:
    MotoServer m_moto;
    QTemporaryDir m_davData;
    DavServer m_dav;
};

void TestZRV_ServerApp_Assets::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
    QVERIFY(m_davData.isValid());
    QVERIFY(QDir().mkpath(m_davData.path() + "/cloud/Documents"));
    QFile notes(m_davData.path() + "/cloud/Documents/notes.pdf");
    QVERIFY(notes.open(QIODevice::WriteOnly));
    notes.write(QByteArray(5000, 'n'));
    notes.close();
    QVERIFY(m_dav.start(m_davData.path(), "cloud:cloud123"));
}

void TestZRV_ServerApp_Assets::init()
{
    QVERIFY(m_moto.reset());
    QVERIFY(m_moto.createBucket("zarvo"));
    QVERIFY(m_moto.createBucket("bvkzrv"));
    for (const QString &login : {QString("admin"), QString("presenter")}) {
        QVERIFY(m_moto.putObject("zarvo", login + "/models/chair.FBX", QByteArray(3000, 'c')));
        QVERIFY(m_moto.putObject("zarvo", login + "/media/intro.mp4", QByteArray(70000, 'v')));
    }
}

void TestZRV_ServerApp_Assets::storageFileAdded_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("dir");
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("answer");     // placeholder number typed; 0: no question expected
    QTest::addColumn<int>("offered");    // number the question offered
    QTest::addColumn<int>("id");         // on the service
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("bucket"); // empty: no StgHost and no StgBucket
    QTest::addColumn<QString>("relPath");
    QTest::addColumn<int>("size");

    QTest::newRow("MinIO model in capitals: no question, the service numbers it")
        << "presenter" << "presenter123" << "models" << "chair.FBX" << 0 << 0 << 2 << 1 << "zarvo"
        << "/presenter/models/chair.FBX" << 3000;
    QTest::newRow("MinIO video: the first free placeholder is offered, another is taken")
        << "presenter" << "presenter123" << "media" << "intro.mp4" << 7 << 2 << 22007 << 1 << "zarvo"
        << "/presenter/media/intro.mp4" << 70000;
    QTest::newRow("Amazon S3 video: fixed bucket, mode 2")
        << "amazon" << "amazon123" << "media" << "intro.mp4" << 3 << 1 << 22003 << 2 << "bvkzrv"
        << "/{folder}/media/intro.mp4" << 70000;
    QTest::newRow("NextCloud document: server address joined to its path, no store fields")
        << "cloud" << "cloud123" << "Documents" << "notes.pdf" << 2 << 2 << 22002 << 0 << ""
        << "{dav}/remote.php/dav/files/cloud/Documents/notes.pdf" << 5000;
}

void TestZRV_ServerApp_Assets::storageFileAdded()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, dir);
    QFETCH(QString, file);
    QFETCH(int, answer);
    QFETCH(QString, relPath);

    SignedInConsole c;
    QVERIFY2(c.open(login, password, m_moto.endpoint()), qPrintable(c.error));
    QString meetingId = login == "cloud" ? "shw4n1r8" : "prl5t8c6";
    QString folder;
    if (login == "amazon") {
        // The account has no meeting of its own yet.
        const SimProcess::Reply created =
            c.fx.sim().request("POST", QString(ConsoleFixture::MeetingBase) + "/meetings", R"({"title":"Amazon Review"})",
                               {{"Authorization", c.bearer()}, {"Content-Type", "application/json"}});
        meetingId = QJsonDocument::fromJson(created.body).object().value("meetingId").toString();
        QVERIFY2(!meetingId.isEmpty(), created.body.constData());
        c.window->findChild<QPushButton *>("btnMeetingRefresh")->click();
    }
    QVERIFY2(c.selectMeeting(meetingId), qPrintable(c.error));
    if (login == "amazon") {
        // Amazon S3 accounts keep their files under the folder of their temporary key.
        const QString service = QString(ConsoleFixture::ServiceBase) + "/zrv/svc";
        folder = QJsonDocument::fromJson(
                     c.fx.sim().request("GET", service + "/s3/token", {}, {{"Authorization", c.bearer()}}).body)
                     .object()
                     .value("AssumedRoleId")
                     .toString();
        QVERIFY(!folder.isEmpty());
        QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
        QVERIFY(m_moto.putObject("bvkzrv", folder + "/media/intro.mp4", QByteArray(70000, 'v')));
        c.window->findChild<QPushButton *>("btnS3Refresh")->click();
    }

    QTableWidget *files = nullptr;
    if (login == "cloud") {
        QWidget *page = c.window->findChild<QWidget *>("tabNextCloud2");
        page->findChild<QLineEdit *>("leUrl")->setText(m_dav.url());
        page->findChild<QLineEdit *>("leUser")->setText("cloud");
        page->findChild<QLineEdit *>("lePass")->setText("cloud123");
        page->findChild<QPushButton *>("btnRefresh")->click();
        auto *tree = page->findChild<QTreeWidget *>("treeWidget");
        const QList<QTreeWidgetItem *> folders = tree->findItems(dir, Qt::MatchExactly | Qt::MatchRecursive);
        QVERIFY(!folders.isEmpty());
        tree->setCurrentItem(folders.first());
        QMetaObject::invokeMethod(page, "on_treeWidget_itemClicked", Q_ARG(QTreeWidgetItem *, folders.first()),
                                  Q_ARG(int, 0));
        files = page->findChild<QTableWidget *>("tableWidget");
        const QList<QTableWidgetItem *> found = files->findItems(file, Qt::MatchExactly);
        QVERIFY(!found.isEmpty());
        files->selectRow(found.first()->row());
    } else {
        QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
        QVERIFY2(c.selectS3File(dir, file), qPrintable(c.error));
        files = c.window->findChild<QTableWidget *>("S3TableWidget");
    }

    ModalAnswerer answerer;
    int offered = 0;
    if (answer)
        answerer.handle(numberAnswer(answer, &offered));
    answerer.arm(Wait);
    // A double click on the file adds it, as the Add button does.
    emit files->itemDoubleClicked(files->selectedItems().first());
    answerer.disarm();
    QCOMPARE(answerer.seen().size(), answer ? 1 : 0);
    QTEST(offered, "offered");
    QVERIFY(files->selectedItems().isEmpty());

    QFETCH(int, id);
    QJsonObject asset;
    QVERIFY(QTest::qWaitFor([&] { return !(asset = SignedInConsole::assetNamed(c.liveRecord(meetingId), file)).isEmpty(); },
                            Wait));
    QCOMPARE(asset.value("Id").toInt(), id);
    QTEST(asset.value("Mode").toInt(), "mode");
    QFETCH(QString, bucket);
    QCOMPARE(asset.value("StgBucket").toString(), bucket);
    QCOMPARE(asset.value("StgHost").toString(), bucket.isEmpty() ? QString() : m_moto.endpoint());
    QCOMPARE(asset.contains("StgHost"), !bucket.isEmpty());
    relPath.replace("{folder}", folder).replace("{dav}", m_dav.url());
    QCOMPARE(asset.value("StgRelPath").toString(), relPath);
    QTEST(asset.value("StgSize").toInt(), "size");
    QVERIFY(!asset.contains("StgCredentials"));
    QVERIFY(!asset.contains("StgPreSgnPath"));
    QCOMPARE(vectorText(asset.value("Position").toObject()), QString("0,0,0"));
    QCOMPARE(vectorText(asset.value("Rotation").toObject()), QString("0,0,0"));
    QCOMPARE(vectorText(asset.value("Scale").toObject()), QString("1,1,1"));

    // The reply's record becomes its row at once.
    const QString idText = id > 22000 ? QString("URL#%1").arg(id - 22000) : QString::number(id);
    QTRY_VERIFY_WITH_TIMEOUT(!c.assets()->findItems(idText, Qt::MatchExactly).isEmpty(), Wait);
    const int row = c.assets()->findItems(idText, Qt::MatchExactly).first()->row();
    QCOMPARE(c.assets()->item(row, 1)->text(), file);
}

void TestZRV_ServerApp_Assets::skippedFileFreesItsNumber()
{
    for (const char *name : {"a.png", "b.png", "c.png"})
        QVERIFY(m_moto.putObject("zarvo", QString("presenter/pictures/") + name, "png"));
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
    QVERIFY2(c.selectS3File("pictures", "a.png"), qPrintable(c.error));
    c.window->findChild<QTableWidget *>("S3TableWidget")->selectAll();

    ModalAnswerer answerer;
    int offered[3] = {0, 0, 0};
    answerer.handle(numberAnswer(0, &offered[0]));
    answerer.handle(numberAnswer(-1, &offered[1]));
    answerer.pressButton(QMessageBox::Ok);
    answerer.handle(numberAnswer(0, &offered[2]));
    answerer.arm(Wait);
    c.window->findChild<QPushButton *>("btnAdd")->click();
    answerer.disarm();
    QCOMPARE(answerer.seen().size(), 4);
    QCOMPARE(answerer.seen().at(2).title, QString("Item skipped"));
    QCOMPARE(answerer.seen().at(2).text, QString("b.png not added"));
    // The number the skipped file was offered goes to the next one.
    QCOMPARE(QList<int>({offered[0], offered[1], offered[2]}), QList<int>({2, 3, 3}));
    QTRY_VERIFY_WITH_TIMEOUT(!SignedInConsole::assetNamed(c.liveRecord("prl5t8c6"), "c.png").isEmpty(), Wait);
    const QJsonObject record = c.liveRecord("prl5t8c6");
    QCOMPARE(SignedInConsole::assetNamed(record, "a.png").value("Id").toInt(), 22002);
    QCOMPARE(SignedInConsole::assetNamed(record, "c.png").value("Id").toInt(), 22003);
    QVERIFY(SignedInConsole::assetNamed(record, "b.png").isEmpty());
}

void TestZRV_ServerApp_Assets::componentsTable()
{
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()), qPrintable(c.error));
    // The board meeting carries the global bundle beside the seeded assets.
    QVERIFY2(c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    // The account's folder and its slash are cut from the front of every
    // path shown, a placeholder's URL too.
    QCOMPARE(c.assetRows(), QStringList({"AB|Zarvo Lobby|14 MB|Asset Bundle", "1|stage.fbx|470 KB|models/",
                                         "URL#1|agenda|ext|//www.brenvik-demo.example/"}));
    QCOMPARE(c.assets()->item(0, 0)->data(Qt::UserRole).toInt(), -1);

    // New assets from elsewhere take their places by Id.
    const QByteArray auth = c.bearer();
    for (const char *body : {R"({"Id":22010,"Name":"ten","Mode":3,"StgRelPath":"https://example.org/ten"})",
                             R"({"Id":5,"Name":"five","Mode":1,"StgRelPath":"admin/five.fbx","StgSize":0})"}) {
        c.fx.sim().request("POST", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meeting/brd9q3x1/asset", body,
                           {{"Authorization", auth}, {"Content-Type", "application/json"}});
    }
    // The selected row is found again after the poll brings the new record.
    c.assets()->selectRow(1);
    QTableWidgetItem *kept = c.assets()->item(1, 1);
    QMetaObject::invokeMethod(c.window.get(), "onMeetingStatusTimer");
    QTRY_COMPARE_WITH_TIMEOUT(c.assets()->rowCount(), 5, Wait);
    QStringList ids;
    for (int r = 0; r < 5; ++r)
        ids << c.assets()->item(r, 0)->text();
    QCOMPARE(ids, QStringList({"AB", "1", "5", "URL#1", "URL#10"}));
    QCOMPARE(c.assets()->selectedItems().value(0) ? c.assets()->selectedItems().first()->row() : -1, 1);
    // An unchanged row keeps its items.
    QCOMPARE(c.assets()->item(1, 1), kept);
}

void TestZRV_ServerApp_Assets::customUrl_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<int>("fill");   // placeholders 22001.. put on the meeting first
    QTest::addColumn<int>("offered");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QString>("stored"); // empty: nothing new on the service

    QTest::newRow("blanks are squeezed, first free number offered")
        << "  https://example.org/slides/deck   one.pdf " << 1 << 2 << true << "https://example.org/slides/deck one.pdf";
    QTest::newRow("all of 1 to 20 used: 1 offered, and its placeholder overwritten")
        << "https://example.org/new" << 20 << 1 << true << "https://example.org/new";
    QTest::newRow("empty URL adds nothing") << "   " << 1 << 2 << true << "";
    QTest::newRow("cancel adds nothing") << "https://example.org/x" << 1 << 2 << false << "";
}

void TestZRV_ServerApp_Assets::customUrl()
{
    QFETCH(QString, typed);
    QFETCH(int, fill);
    QFETCH(bool, ok);
    QFETCH(QString, stored);
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint()), qPrintable(c.error));
    const QByteArray auth = c.bearer();
    for (int n = 2; n <= fill; ++n) {
        const QByteArray body = QString(R"({"Id":%1,"Name":"p%2","Mode":3,"StgRelPath":"https://example.org/p%2"})")
                                    .arg(22000 + n)
                                    .arg(n)
                                    .toUtf8();
        c.fx.sim().request("POST", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meeting/prl5t8c6/asset", body,
                           {{"Authorization", auth}, {"Content-Type", "application/json"}});
    }
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    const int before = c.liveRecord("prl5t8c6").value("assets").toArray().size();

    ModalAnswerer answerer;
    int offered = 0;
    QString title;
    answerer.handle([&](QWidget *modal) {
        title = modal->windowTitle();
        offered = modal->findChild<QSpinBox *>("spnId")->value();
        modal->findChild<QLineEdit *>("leURL")->setText(typed);
        auto *box = modal->findChild<QDialogButtonBox *>("buttonBox");
        QTest::mouseClick(box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    answerer.arm(Wait);
    c.window->findChild<QPushButton *>("btnCustomURL")->click();
    answerer.disarm();
    QCOMPARE(title, QString("Create Custom Placeholder"));
    QTEST(offered, "offered");

    if (stored.isEmpty()) {
        // A placeholder added after it through the same window comes in alone.
        ModalAnswerer marker;
        marker.handle([](QWidget *modal) {
            modal->findChild<QSpinBox *>("spnId")->setValue(50);
            modal->findChild<QLineEdit *>("leURL")->setText("https://example.org/marker");
            QTest::mouseClick(modal->findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok),
                              Qt::LeftButton);
        });
        marker.arm(Wait);
        c.window->findChild<QPushButton *>("btnCustomURL")->click();
        marker.disarm();
        QTRY_VERIFY_WITH_TIMEOUT(!c.assets()->findItems("URL#50", Qt::MatchExactly).isEmpty(), Wait);
        QCOMPARE(c.liveRecord("prl5t8c6").value("assets").toArray().size(), before + 1);
        return;
    }
    const int id = 22000 + offered;
    QJsonObject asset;
    QVERIFY(QTest::qWaitFor(
        [&] {
            for (const QJsonValue &v : c.liveRecord("prl5t8c6").value("assets").toArray()) {
                if (v.toObject().value("Id").toInt() == id && v.toObject().value("StgRelPath").toString() == stored)
                    asset = v.toObject();
            }
            return !asset.isEmpty();
        },
        Wait));
    QCOMPARE(asset.value("Mode").toInt(), 3);
    QCOMPARE(asset.value("Name").toString(), stored.mid(stored.lastIndexOf('/') + 1));
    QCOMPARE(asset.value("StgSize").toInt(), 0);
    QVERIFY(!asset.contains("StgHost"));
    QCOMPARE(c.liveRecord("prl5t8c6").value("assets").toArray().size(), fill == 20 ? before : before + 1);
    QTRY_VERIFY_WITH_TIMEOUT(!c.assets()->findItems(QString("URL#%1").arg(offered), Qt::MatchExactly).isEmpty(), Wait);
}

void TestZRV_ServerApp_Assets::properties_data()
{
    QTest::addColumn<QString>("idText");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("expected"); // Position, Rotation, Scale, StgRelPath, StgPreSgnPath

    QTest::newRow("model moved, turned and scaled")
        << "1" << true << QStringList{"1.5,-2,300", "0,90,-45", "2,2,0.5", "admin/models/stage.fbx", ""};
    QTest::newRow("placeholder URL edited, presigned path follows")
        << "URL#1" << true
        << QStringList{"", "", "", "https://example.org/edited", "https://example.org/edited"};
    QTest::newRow("cancel changes nothing")
        << "1" << false << QStringList{"0,0,0", "0,0,0", "1,1,1", "admin/models/stage.fbx", ""};
    QTest::newRow("the bundle row opens nothing") << "AB" << true << QStringList();
}

void TestZRV_ServerApp_Assets::properties()
{
    QFETCH(QString, idText);
    QFETCH(bool, ok);
    QFETCH(QStringList, expected);
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    QVERIFY(!c.window->findChild<QPushButton *>("btnProperties")->isHidden());
    QTableWidgetItem *item = c.assets()->findItems(idText, Qt::MatchExactly).value(0);
    QVERIFY(item);
    c.assets()->setCurrentItem(item);
    c.assets()->selectRow(item->row());

    ModalAnswerer answerer;
    QStringList shown;
    answerer.handle([&](QWidget *modal) {
        shown << modal->windowTitle();
        for (const char *group : {"grpSca", "grpPos", "groRot", "grpCustomURL"})
            shown << QString::number(modal->findChild<QGroupBox *>(group)->isVisibleTo(modal));
        auto set = [&](const char *name, double v) { modal->findChild<QDoubleSpinBox *>(name)->setValue(v); };
        set("spnPosX", 1.5), set("spnPosY", -2), set("spnPosZ", 300);
        set("spnRotX", 0), set("spnRotY", 90), set("spnRotZ", -45);
        set("spnScaX", 2), set("spnScaY", 2), set("spnScaZ", 0.5);
        modal->findChild<QLineEdit *>("leCustomURL")->setText("https://example.org/edited");
        auto *box = modal->findChild<QDialogButtonBox *>("buttonBox");
        QTest::mouseClick(box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    answerer.arm(Wait);
    emit c.assets()->itemDoubleClicked(item);
    answerer.disarm();
    if (expected.isEmpty()) {
        QVERIFY(answerer.seen().isEmpty());
        return;
    }
    const bool placeholder = idText.startsWith("URL");
    QCOMPARE(shown, QStringList({placeholder ? "Agenda" : "stage.fbx", placeholder ? "0" : "1", placeholder ? "0" : "1",
                                 placeholder ? "0" : "1", placeholder ? "1" : "0"}));

    const int id = placeholder ? 22001 : 1;
    auto current = [&] {
        for (const QJsonValue &v : c.liveRecord("brd9q3x1").value("assets").toArray()) {
            const QJsonObject a = v.toObject();
            if (a.value("Id").toInt() == id)
                return QStringList{a.contains("Position") ? vectorText(a.value("Position").toObject()) : "",
                                   a.contains("Rotation") ? vectorText(a.value("Rotation").toObject()) : "",
                                   a.contains("Scale") ? vectorText(a.value("Scale").toObject()) : "",
                                   a.value("StgRelPath").toString(),
                                   placeholder ? a.value("StgPreSgnPath").toString() : ""};
        }
        return QStringList();
    };
    QTRY_COMPARE_WITH_TIMEOUT(current(), expected, Wait);
    // The table is read anew and the edited row comes back selected.
    QTRY_VERIFY_WITH_TIMEOUT(!c.assets()->selectedItems().isEmpty() &&
                                 c.assets()->item(c.assets()->selectedItems().first()->row(), 0)->text() == idText,
                             Wait);
}

void TestZRV_ServerApp_Assets::removeAndRemoveAll()
{
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.selectMeeting("wdr7k2m4"), qPrintable(c.error));
    QTest::mouseClick(c.assets()->viewport(), Qt::LeftButton, {}, c.assets()->visualItemRect(c.assets()->item(1, 1)).center());
    QVERIFY(c.window->findChild<QPushButton *>("btnRemove")->isEnabled());
    ModalAnswerer answerer; // no question may come
    answerer.arm(Wait);
    c.window->findChild<QPushButton *>("btnRemove")->click();
    QCOMPARE(c.assetRows(), QStringList({"1|stage.fbx|470 KB|models/"}));
    QTRY_COMPARE_WITH_TIMEOUT(c.liveRecord("wdr7k2m4").value("assets").toArray().size(), 1, Wait);
    QCOMPARE(c.liveRecord("wdr7k2m4").value("assets").toArray().first().toObject().value("Id").toInt(), 1);

    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    c.window->findChild<QPushButton *>("btnRemoveAll")->click();
    QCOMPARE(c.assets()->rowCount(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(c.liveRecord("prl5t8c6").value("assets").toArray().size(), 0, Wait);
    answerer.disarm();
    QVERIFY(answerer.seen().isEmpty());
    // The other meeting kept what it had.
    QCOMPARE(c.liveRecord("wdr7k2m4").value("assets").toArray().size(), 1);
}

void TestZRV_ServerApp_Assets::banFile()
{
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    QVERIFY(c.waitS3Listing());
    QVERIFY2(c.selectS3File("admin/media", "intro.mp4"), qPrintable(c.error));
    const QString etag = QString::fromLatin1(m_moto.objectHeader("zarvo", "admin/media/intro.mp4", "ETag")).remove('"');
    QVERIFY(!etag.isEmpty());
    const int before = c.banlist().size();

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Yes);
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait);
    c.window->findChild<QPushButton *>("btnS3BanFile")->click();
    answerer.disarm();
    QCOMPARE(answerer.seen().size(), 2);
    QCOMPARE(answerer.seen().at(1).title, QString("Files added to Banlist"));
    QCOMPARE(answerer.seen().at(1).text, QString("The following files have been added to the Banlist:\nintro.mp4\n"));

    QTRY_COMPARE_WITH_TIMEOUT(c.banlist().size(), before + 1, Wait);
    const QJsonObject entry = c.banlist().last().toObject();
    QCOMPARE(entry.value("Mode").toInt(), 0);
    QCOMPARE(entry.value("Filename").toString(), QString("intro.mp4"));
    QCOMPARE(entry.value("Checksum").toString(), etag);
}

void TestZRV_ServerApp_Assets::refusedAsset()
{
    SignedInConsole c;
    QVERIFY2(c.open("presenter", "presenter123", m_moto.endpoint()), qPrintable(c.error));
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    QVERIFY(c.waitS3Listing());
    QVERIFY2(c.selectS3File("models", "chair.FBX"), qPrintable(c.error));
    QCOMPARE(c.fx.sim()
                 .admin("POST", "/_sim/fault",
                        {{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meeting/prl5t8c6/asset"},
                         {"status", 400},
                         {"message", "Storage host not allowed"}})
                 .status,
             200);
    ModalAnswerer answerer;
    answerer.arm(Wait);
    c.window->findChild<QPushButton *>("btnAdd")->click();
    QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), 1, Wait);
    answerer.disarm();
    QCOMPARE(answerer.seen().first().title, QString("Error during operation"));
    QCOMPARE(answerer.seen().first().text, QString("Error trying to add asset to meeting: Storage host not allowed"));
    QCOMPARE(c.assets()->rowCount(), 2);
}

QTEST_MAIN(TestZRV_ServerApp_Assets)
#include "tst_ZRV_ServerApp_Assets.moc"
