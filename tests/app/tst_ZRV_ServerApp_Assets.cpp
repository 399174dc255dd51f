// A meeting's components in the signed-in console, each change read back
// from the simulator. Storage is moto and sabre/dav on loopback.
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QJsonDocument>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include "DavServer.h"
#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 30000;

// A meeting's assets as "Id Name Mode StgRelPath StgSize StgBucket StgHost
// StgPreSgnPath StgCredentials Position Rotation Scale", "-" for a key not sent.
QStringList assetTexts(const QJsonObject &record)
{
    QStringList out;
    for (const QJsonValue &v : record.value("assets").toArray()) {
        QStringList fields;
        for (const QString &key : {"Id", "Name", "Mode", "StgRelPath", "StgSize", "StgBucket", "StgHost", "StgPreSgnPath",
                                   "StgCredentials", "Position", "Rotation", "Scale"}) {
            const QJsonValue f = v[key];
            fields << (f.isUndefined() ? "-" : f.isObject() ? QString("%1,%2,%3").arg(f["x"].toDouble()).arg(f["y"].toDouble()).arg(f["z"].toDouble())
                                                           : f.toVariant().toString());
        }
        out << fields.join(' ');
    }
    out.sort();
    return out;
}

void post(SignedInConsole &c, const QString &meetingId, const QByteArray &asset)
{
    c.fx.sim().request("POST", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meeting/" + meetingId + "/asset", asset,
                       {{"Authorization", c.bearer()}, {"Content-Type", "application/json"}});
}

} // namespace

class TestZRV_ServerApp_Assets : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void change_data();
    void change();
    void componentsTable();

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
    QVERIFY(QDir().mkpath(m_davData.filePath("cloud/Documents")));
    QFile notes(m_davData.filePath("cloud/Documents/notes.pdf"));
    QVERIFY(notes.open(QIODevice::WriteOnly) && notes.write(QByteArray(5000, 'n')) == 5000);
    QVERIFY(m_dav.start(m_davData.path(), "cloud:cloud123"));
}

void TestZRV_ServerApp_Assets::init()
{
    QVERIFY(m_moto.reset() && m_moto.createBucket("zarvo") && m_moto.createBucket("bvkzrv"));
    for (const QString &login : {"admin", "presenter"}) {
        QVERIFY(m_moto.putObject("zarvo", login + "/models/chair.FBX", QByteArray(3000, 'c')));
        QVERIFY(m_moto.putObject("zarvo", login + "/media/intro.mp4", QByteArray(70000, 'v')));
    }
    for (const QString &name : {"a.png", "b.png", "c.png"})
        QVERIFY(m_moto.putObject("zarvo", "presenter/pictures/" + name, "png"));
}

// Steps: "add dir/file" (double click in the S3 page), "addall dir/file"
// (the folder's files, Add button), "dav dir/file", "url", "props <id shown>",
// "remove <row>", "removeall", "ban dir/file", "refuse" (the service refuses
// the next asset), "fill N" first (placeholders 2 to N put on the meeting).
// Answers, in turn to the dialogs: "cancel", "ok", or "[#number ][URL]".
// Seen: message boxes "title: text", number dialogs "title #offered",
// properties "title" plus the visibility of Position, Rotation, Scale, URL.
// Changes: "+asset" new or changed, "-Id" gone or changed, "ban ..." banned.
void TestZRV_ServerApp_Assets::change_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("meeting");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("seen");
    QTest::addColumn<QStringList>("changes");

    const QString file = " zarvo {moto} - - 0,0,0 0,0,0 1,1,1";
    const QString link = " 0 - - - - 0,0,0 0,0,0 1,1,1";
    const QStringList marker{"#50 https://example.org/marker"};
    const QString url = "Create Custom Placeholder #2";
    QTest::newRow("MinIO model in capitals: no question, the service numbers it")
        << "presenter" << "prl5t8c6" << QStringList{"add models/chair.FBX"} << QStringList() << QStringList()
        << QStringList{"+2 chair.FBX 1 /presenter/models/chair.FBX 3000" + file};
    QTest::newRow("MinIO video: the first free number offered, another taken")
        << "presenter" << "prl5t8c6" << QStringList{"add media/intro.mp4"} << QStringList{"#7"} << QStringList{"intro.mp4 #2"}
        << QStringList{"+22007 intro.mp4 1 /presenter/media/intro.mp4 70000" + file};
    QTest::newRow("Amazon S3 video: fixed bucket, mode 2")
        << "amazon" << "" << QStringList{"add media/intro.mp4"} << QStringList{"#3"} << QStringList{"intro.mp4 #1"}
        << QStringList{"+22003 intro.mp4 2 /{folder}/media/intro.mp4 70000" + QString(file).replace("zarvo", "bvkzrv")};
    QTest::newRow("NextCloud document: server address joined to its path, no store fields")
        << "cloud" << "shw4n1r8" << QStringList{"dav Documents/notes.pdf"} << QStringList{""} << QStringList{"notes.pdf #2"}
        << QStringList{"+22002 notes.pdf 0 {dav}/remote.php/dav/files/cloud/Documents/notes.pdf 5000 - - - - 0,0,0 0,0,0 1,1,1"};
    QTest::newRow("three files, the second skipped: its number goes to the third")
        << "presenter" << "prl5t8c6" << QStringList{"addall pictures/a.png"} << QStringList{"", "cancel", ""}
        << QStringList{"a.png #2", "b.png #3", "Item skipped: b.png not added", "c.png #3"}
        << QStringList{"+22002 a.png 1 /presenter/pictures/a.png 3" + file, "+22003 c.png 1 /presenter/pictures/c.png 3" + file};
    QTest::newRow("placeholder: blanks squeezed, the first free number offered")
        << "presenter" << "prl5t8c6" << QStringList{"url"} << QStringList{"  https://example.org/slides/deck   one.pdf "}
        << QStringList{url} << QStringList{"+22002 deck one.pdf 3 https://example.org/slides/deck one.pdf" + link};
    QTest::newRow("placeholder: with 1 to 20 used, 1 offered and overwritten")
        << "presenter" << "prl5t8c6" << QStringList{"fill 20", "url"} << QStringList{"https://example.org/new"}
        << QStringList{"Create Custom Placeholder #1"} << QStringList{"+22001 new 3 https://example.org/new" + link, "-22001"};
    QTest::newRow("placeholder: an empty URL adds nothing") << "presenter" << "prl5t8c6" << QStringList{"url", "url"}
        << QStringList{"   "} + marker << QStringList{url, url} << QStringList{"+22050 marker 3 https://example.org/marker" + link};
    QTest::newRow("placeholder: cancel adds nothing") << "presenter" << "prl5t8c6" << QStringList{"url", "url"}
        << QStringList{"cancel"} + marker << QStringList{url, url} << QStringList{"+22050 marker 3 https://example.org/marker" + link};
    QTest::newRow("properties: a model moved, turned and scaled")
        << "admin" << "brd9q3x1" << QStringList{"props 1"} << QStringList{"ok"} << QStringList{"stage.fbx 1110"}
        << QStringList{"+1 stage.fbx 1 admin/models/stage.fbx 482133 zarvo {moto} - - 1.5,-2,300 0,90,-45 2,2,0.5", "-1"};
    QTest::newRow("properties: a placeholder's URL edited, its presigned path follows")
        << "admin" << "brd9q3x1" << QStringList{"props URL#1"} << QStringList{"ok"} << QStringList{"Agenda 0001"}
        << QStringList{"+22001 Agenda 3 https://example.org/edited 0 - - https://example.org/edited - - - -", "-22001"};
    QTest::newRow("properties: cancel changes nothing") << "admin" << "brd9q3x1" << QStringList{"props 1", "url"}
        << QStringList{"cancel"} + marker << QStringList{"stage.fbx 1110", url}
        << QStringList{"+22050 marker 3 https://example.org/marker" + link};
    QTest::newRow("properties: the bundle row opens nothing")
        << "admin" << "brd9q3x1" << QStringList{"props AB"} << QStringList() << QStringList() << QStringList();
    QTest::newRow("remove: at once, no question")
        << "presenter" << "wdr7k2m4" << QStringList{"remove 1"} << QStringList() << QStringList() << QStringList{"-22001"};
    QTest::newRow("remove all: at once, no question")
        << "presenter" << "prl5t8c6" << QStringList{"removeall"} << QStringList() << QStringList() << QStringList{"-1", "-22001"};
    QTest::newRow("refused by the service: its box, no row")
        << "presenter" << "prl5t8c6" << QStringList{"refuse", "add models/chair.FBX"} << QStringList()
        << QStringList{"Error during operation: Error trying to add asset to meeting: Storage host not allowed"} << QStringList();
    QTest::newRow("ban by the ETag, as administrator")
        << "admin" << "brd9q3x1" << QStringList{"ban admin/media/intro.mp4"} << QStringList()
        << QStringList{"Add files to Banlist: Do you really want to add the selected files to the list of Banned files?",
                       "Files added to Banlist: The following files have been added to the Banlist:\nintro.mp4\n"}
        << QStringList{"ban 0 intro.mp4 {etag}"};
}

void TestZRV_ServerApp_Assets::change()
{
    QFETCH(QString, login);
    QFETCH(QString, meeting);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, answers);
    QFETCH(QStringList, changes);
    SignedInConsole c;
    QVERIFY2(c.open(login, login + "123", m_moto.endpoint()), qPrintable(c.error));
    QString folder;
    if (login == "amazon") {
        // The account has no meeting yet, and keeps its files under the folder of its temporary key.
        const QByteArray created = c.fx.sim().request("POST", QString(ConsoleFixture::MeetingBase) + "/meetings",
                                                      R"({"title":"Amazon Review"})",
                                                      {{"Authorization", c.bearer()}, {"Content-Type", "application/json"}}).body;
        meeting = QJsonDocument::fromJson(created)["meetingId"].toString();
        c.window->findChild<QPushButton *>("btnMeetingRefresh")->click();
        const QByteArray token = c.fx.sim().request("GET", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/s3/token", {},
                                                    {{"Authorization", c.bearer()}}).body;
        folder = QJsonDocument::fromJson(token)["AssumedRoleId"].toString();
        QVERIFY(!folder.isEmpty() && m_moto.putObject("bvkzrv", folder + "/media/intro.mp4", QByteArray(70000, 'v')));
    }
    for (int n = 2; steps.first().startsWith("fill") && n <= steps.first().mid(5).toInt(); ++n)
        post(c, meeting, QString(R"({"Id":%1,"Name":"p%2","Mode":3,"StgRelPath":"https://example.org/p%2"})").arg(22000 + n).arg(n).toUtf8());
    QVERIFY2(c.selectMeeting(meeting), qPrintable(c.error));
    if (login == "amazon") {
        QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
        c.window->findChild<QPushButton *>("btnS3Refresh")->click();
    }
    const QJsonObject before = c.liveRecord(meeting);
    const int bansBefore = c.banlist().size();

    QStringList met;
    ModalAnswerer answerer;
    for (int i = 0; i < 8; ++i) {
        answerer.handle([&](QWidget *modal) {
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                met << box->windowTitle() + ": " + box->text();
                box->button(box->button(QMessageBox::Yes) ? QMessageBox::Yes : QMessageBox::Ok)->click();
                return;
            }
            const QString answer = answers.isEmpty() ? "cancel" : answers.takeFirst();
            if (auto *spin = modal->findChild<QSpinBox *>()) {
                met << modal->windowTitle() + " #" + QString::number(spin->value());
                if (answer.startsWith('#'))
                    spin->setValue(answer.section(' ', 0, 0).mid(1).toInt());
                if (auto *url = modal->findChild<QLineEdit *>("leURL"))
                    url->setText(answer.startsWith('#') ? answer.section(' ', 1) : answer);
            } else {
                met << modal->windowTitle() + " ";
                for (const char *group : {"grpPos", "groRot", "grpSca", "grpCustomURL"})
                    met.last() += QString::number(modal->findChild<QGroupBox *>(group)->isVisibleTo(modal));
                const double values[] = {1.5, -2, 300, 0, 90, -45, 2, 2, 0.5};
                int n = 0;
                for (const QString &group : {"Pos", "Rot", "Sca"})
                    for (const QString &axis : {"X", "Y", "Z"})
                        modal->findChild<QDoubleSpinBox *>("spn" + group + axis)->setValue(values[n++]);
                modal->findChild<QLineEdit *>("leCustomURL")->setText("https://example.org/edited");
            }
            // The placeholder dialog takes its outcome from the button clicked.
            if (auto *buttons = modal->findChild<QDialogButtonBox *>("buttonBox"))
                QTest::mouseClick(buttons->button(answer == "cancel" ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok), Qt::LeftButton);
            else
                answer == "cancel" ? qobject_cast<QDialog *>(modal)->reject() : qobject_cast<QDialog *>(modal)->accept();
        });
    }
    answerer.arm(Wait);
    auto *s3Files = c.window->findChild<QTableWidget *>("S3TableWidget");
    for (const QString &step : steps) {
        const QString verb = step.section(' ', 0, 0), arg = step.section(' ', 1);
        if (verb == "add" || verb == "addall" || verb == "ban") {
            QVERIFY2(c.waitS3Listing() && c.selectS3File(arg.section('/', 0, -2), arg.section('/', -1)), qPrintable(c.error));
            if (verb == "add") {
                emit s3Files->itemDoubleClicked(s3Files->selectedItems().first());
            } else {
                s3Files->selectAll();
                c.window->findChild<QPushButton *>(verb == "ban" ? "btnS3BanFile" : "btnAdd")->click();
            }
            QVERIFY(verb == "ban" || s3Files->selectedItems().isEmpty());
        } else if (verb == "dav") {
            QWidget *page = c.window->findChild<QWidget *>("tabNextCloud2");
            page->findChild<QLineEdit *>("leUrl")->setText(m_dav.url());
            page->findChild<QLineEdit *>("leUser")->setText("cloud");
            page->findChild<QLineEdit *>("lePass")->setText("cloud123");
            page->findChild<QPushButton *>("btnRefresh")->click();
            QTreeWidgetItem *folder = nullptr;
            QTRY_VERIFY_WITH_TIMEOUT(folder = page->findChild<QTreeWidget *>("treeWidget")->findItems(arg.section('/', 0, 0), Qt::MatchExactly | Qt::MatchRecursive).value(0), Wait);
            QMetaObject::invokeMethod(page, "on_treeWidget_itemClicked", Q_ARG(QTreeWidgetItem *, folder), Q_ARG(int, 0));
            auto *files = page->findChild<QTableWidget *>("tableWidget");
            QTableWidgetItem *item = files->findItems(arg.section('/', 1), Qt::MatchExactly).value(0);
            QVERIFY(item);
            files->selectRow(item->row());
            emit files->itemDoubleClicked(item);
            QVERIFY(files->selectedItems().isEmpty());
        } else if (verb == "url" || verb == "removeall") {
            c.window->findChild<QPushButton *>(verb == "url" ? "btnCustomURL" : "btnRemoveAll")->click();
        } else if (verb == "props") {
            QTableWidgetItem *item = c.assets()->findItems(arg, Qt::MatchExactly).value(0);
            QVERIFY(item);
            c.assets()->setCurrentItem(item);
            emit c.assets()->itemDoubleClicked(item);
        } else if (verb == "remove") {
            QTest::mouseClick(c.assets()->viewport(), Qt::LeftButton, {}, c.assets()->visualItemRect(c.assets()->item(arg.toInt(), 1)).center());
            c.window->findChild<QPushButton *>("btnRemove")->click();
        } else if (verb == "refuse") {
            QCOMPARE(c.fx.sim().admin("POST", "/_sim/fault", {{"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meeting/" + meeting + "/asset"},
                                                              {"status", 400}, {"message", "Storage host not allowed"}}).status, 200);
        }
    }
    const QString etag = QString::fromLatin1(m_moto.objectHeader("zarvo", "admin/media/intro.mp4", "ETag")).remove('"');
    for (QString &change : changes)
        change.replace("{moto}", m_moto.endpoint()).replace("{dav}", m_dav.url()).replace("{folder}", folder).replace("{etag}", etag);
    const auto changed = [&] {
        QStringList out;
        const QStringList was = assetTexts(before), now = assetTexts(c.liveRecord(meeting));
        for (const QString &text : now)
            out << (was.contains(text) ? QString() : "+" + text);
        for (const QString &text : was)
            out << (now.contains(text) ? QString() : "-" + text.section(' ', 0, 0));
        const QJsonArray bans = c.banlist();
        for (int i = bansBefore; i < bans.size(); ++i)
            out << QString("ban %1 %2 %3").arg(bans[i]["Mode"].toInt()).arg(bans[i]["Filename"].toString(), bans[i]["Checksum"].toString());
        out.removeAll(QString());
        return out;
    };
    QTRY_COMPARE_WITH_TIMEOUT(changed(), changes, Wait);
    QFETCH(QStringList, seen);
    QTRY_COMPARE_WITH_TIMEOUT(met, seen, Wait);
    answerer.disarm();
    // The table follows the record: "URL#n" for placeholder 22000 + n.
    const auto ids = [&](bool shown) {
        QStringList out;
        for (int r = 0; shown && r < c.assets()->rowCount(); ++r)
            out << (c.assets()->item(r, 0)->text() == "AB" ? QString() : c.assets()->item(r, 0)->text());
        for (const QJsonValue &a : shown ? QJsonArray() : c.liveRecord(meeting)["assets"].toArray())
            out << (a["Id"].toInt() > 22000 ? QString("URL#%1").arg(a["Id"].toInt() - 22000) : QString::number(a["Id"].toInt()));
        out.removeAll(QString());
        out.sort();
        return out;
    };
    QTRY_COMPARE_WITH_TIMEOUT(ids(true), ids(false), Wait);
}

void TestZRV_ServerApp_Assets::componentsTable()
{
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()) && c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    // The bundle row first; the account's folder and its slash cut from the
    // front of every path shown, a placeholder's URL too.
    QCOMPARE(c.assetRows(), QStringList({"AB|Zarvo Lobby|14 MB|Asset Bundle", "1|stage.fbx|470 KB|models/",
                                         "URL#1|agenda|ext|//www.brenvik-demo.example/"}));
    QCOMPARE(c.assets()->item(0, 0)->data(Qt::UserRole).toInt(), -1);
    // New assets from elsewhere take their places by Id at the next poll;
    // the selected row stays selected and an unchanged row keeps its items.
    post(c, "brd9q3x1", R"({"Id":22010,"Name":"ten","Mode":3,"StgRelPath":"https://example.org/ten"})");
    post(c, "brd9q3x1", R"({"Id":5,"Name":"five","Mode":1,"StgRelPath":"admin/five.fbx","StgSize":0})");
    c.assets()->selectRow(1);
    QTableWidgetItem *kept = c.assets()->item(1, 1);
    QMetaObject::invokeMethod(c.window.get(), "onMeetingStatusTimer");
    QTRY_COMPARE_WITH_TIMEOUT(c.assets()->rowCount(), 5, Wait);
    QStringList ids;
    for (int r = 0; r < c.assets()->rowCount(); ++r)
        ids << c.assets()->item(r, 0)->text();
    QCOMPARE(ids, QStringList({"AB", "1", "5", "URL#1", "URL#10"}));
    QCOMPARE(c.assets()->selectedItems().value(0, nullptr) ? c.assets()->selectedItems().first()->row() : -1, 1);
    QCOMPARE(c.assets()->item(1, 1), kept);
}

QTEST_MAIN(TestZRV_ServerApp_Assets)
#include "tst_ZRV_ServerApp_Assets.moc"
