// A meeting's components in the signed-in console, each change read back
// from the simulator, and their export to .zrm files and import onto another
// meeting. Storage is moto and sabre/dav on loopback.
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QJsonDocument>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include "DavServer.h"
#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_FileChooser.h"
#include "ZRV_ServerApp.h"

namespace {

constexpr int Wait = 30000;

// One list of the record as "<field> <field> ..." per element, sorted; "-"
// for a key not sent.
QStringList texts(const QJsonObject &record, const char *key, const QString &fields)
{
    QStringList out;
    for (const QJsonValue &v : record.value(key).toArray()) {
        QStringList values;
        for (const QString &field : fields.split(' ')) {
            const QJsonValue f = v[field];
            values << (f.isUndefined() ? "-" : f.isObject() ? QString("%1,%2,%3").arg(f["x"].toDouble()).arg(f["y"].toDouble()).arg(f["z"].toDouble())
                                                           : f.toVariant().toString());
        }
        out << values.join(' ');
    }
    out.sort();
    return out;
}

const QString AssetFields = "Id Name Mode StgRelPath StgSize StgBucket StgHost StgPreSgnPath StgCredentials Position Rotation Scale";

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
    QFile notes(m_davData.filePath("cloud/Documents/notes.pdf"));
    QVERIFY(QDir().mkpath(m_davData.filePath("cloud/Documents")) && notes.open(QIODevice::WriteOnly) && notes.write(QByteArray(5000, 'n')));
    QVERIFY(m_dav.start(m_davData.path(), "cloud:cloud123"));
}

void TestZRV_ServerApp_Assets::init()
{
    QVERIFY(m_moto.reset() && m_moto.createBucket("zarvo") && m_moto.createBucket("bvkzrv"));
    for (const QString &login : QStringList{"admin", "presenter"}) {
        QVERIFY(m_moto.putObject("zarvo", login + "/models/chair.FBX", QByteArray(3000, 'c')));
        QVERIFY(m_moto.putObject("zarvo", login + "/media/intro.mp4", QByteArray(70000, 'v')));
    }
    for (const QString &name : QStringList{"a.png", "b.png", "c.png"})
        QVERIFY(m_moto.putObject("zarvo", "presenter/pictures/" + name, "png"));
}

// Steps, split by "; ": "add dir/file" (double click in the S3 page), "addall
// dir/file" (that folder's files, Add), "dav dir/file", "url", "props <id
// shown>", "remove <row>", "removeall", "ban dir/file", "refuse" (the service
// refuses the next asset), first "fill N" (placeholders 2 to N put there);
// "select <meeting>", "write <file> <text>", and "Export", "ExportAll" or
// "Import" with the file chooser answering <file> in a folder of the row.
// Dialogs, split by " | ", as met: boxes "title: text", number dialogs "title
// #offered", properties "title" and whether Position, Rotation, Scale, URL
// show, the export dialog's title, "chooser: <caption asked>"; after " => "
// the answer: "cancel", "[#number ][URL]", or export boxes to untick.
// Changes, split by " | ": "+element" new or changed, "-Id" gone or changed,
// of the meeting's assets, bundles and spawn points; "ban ...", "file ...".
void TestZRV_ServerApp_Assets::change_data()
{
    QTest::addColumn<QString>("who");
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("dialogs");
    QTest::addColumn<QString>("changes");

    const QString file = " zarvo {moto} - - 0,0,0 0,0,0 1,1,1", link = " 0 - - - - 0,0,0 0,0,0 1,1,1";
    const QString url = "Create Custom Placeholder #2";
    QTest::newRow("MinIO model in capitals: no question, the service numbers it") << "presenter prl5t8c6"
        << "add models/chair.FBX" << "" << "+2 chair.FBX 1 /presenter/models/chair.FBX 3000" + file;
    QTest::newRow("Amazon S3 video: fixed bucket, mode 2") << "amazon" << "add media/intro.mp4" << "intro.mp4 #1 => #3"
        << "+22003 intro.mp4 2 /{folder}/media/intro.mp4 70000" + QString(file).replace("zarvo", "bvkzrv");
    QTest::newRow("NextCloud document: server address joined to its path, no store fields") << "cloud shw4n1r8"
        << "dav Documents/notes.pdf" << "notes.pdf #2"
        << "+22002 notes.pdf 0 {dav}/remote.php/dav/files/cloud/Documents/notes.pdf 5000 - - - - 0,0,0 0,0,0 1,1,1";
    QTest::newRow("three files, the second skipped: its number goes to the third") << "presenter prl5t8c6"
        << "addall pictures/a.png" << "a.png #2 | b.png #3 => cancel | Item skipped: b.png not added | c.png #3"
        << "+22002 a.png 1 /presenter/pictures/a.png 3" + file + " | +22003 c.png 1 /presenter/pictures/c.png 3" + file;
    QTest::newRow("placeholder: blanks squeezed, the first free number offered") << "presenter prl5t8c6" << "url"
        << url + " =>   https://example.org/slides/deck   one.pdf " << "+22002 deck one.pdf 3 https://example.org/slides/deck one.pdf" + link;
    QTest::newRow("placeholder: with 1 to 20 used, 1 offered and overwritten") << "presenter prl5t8c6" << "fill 20; url"
        << "Create Custom Placeholder #1 => https://example.org/new" << "+22001 new 3 https://example.org/new" + link + " | -22001";
    QTest::newRow("properties: a model moved, turned and scaled") << "admin brd9q3x1" << "props 1" << "stage.fbx 1110"
        << "+1 stage.fbx 1 admin/models/stage.fbx 482133 zarvo {moto} - - 1.5,-2,300 0,90,-45 2,2,0.5 | -1";
    QTest::newRow("properties: a placeholder's URL edited, its presigned path follows") << "admin brd9q3x1" << "props URL#1"
        << "Agenda 0001" << "+22001 Agenda 3 https://example.org/edited 0 - - https://example.org/edited - - - - | -22001";
    QTest::newRow("remove: at once, no question") << "presenter wdr7k2m4" << "remove 1" << "" << "-22001";
    QTest::newRow("remove all: at once, no question") << "presenter prl5t8c6" << "removeall" << "" << "-1 | -22001";
    QTest::newRow("refused by the service: its box, no row") << "presenter prl5t8c6" << "refuse; add models/chair.FBX"
        << "Error during operation: Error trying to add asset to meeting: Storage host not allowed" << "";
    QTest::newRow("ban by the ETag, as administrator") << "admin brd9q3x1" << "ban admin/media/intro.mp4"
        << "Add files to Banlist: Do you really want to add the selected files to the list of Banned files? | Files added "
           "to Banlist: The following files have been added to the Banlist:\nintro.mp4\n" << "ban 0 intro.mp4 {etag}";
    // Exported from one meeting and imported onto another with its own asset
    // 1 and spawn points 0 and 1: the asset comes with a new id and without
    // its store, spawn points are merged by Id and the bundles replaced. With
    // URL placeholders unticked the placeholder travels among the assets and
    // is dropped there. (A placeholder that does come back races the live
    // record sent after it over its presigned path.)
    QTest::newRow("export, then import onto another meeting") << "admin prl5t8c6"
        << "select brd9q3x1; Export board; select prl5t8c6; Import board.zrm"
        << "Export Meeting brd9q3x1 => chkURLs | Meeting exported: Meeting components exported to {dir}/board.zrm. | chooser: "
           "Save meeting components to file | chooser: Select Zarvo Export file"
        << "+2 stage.fbx 1 admin/models/stage.fbx 0 - - - - 0,0,0 0,0,0 1,1,1 | +ab-0001 Zarvo Lobby 1 | +0 Start brd9q3x1 | "
           "+1 Position 1 brd9q3x1 | -0 | -1";
    const QString zrm = " assetbundles,assets,urls | file ";
    QTest::newRow("Export All: one file per live meeting, named by id and creator, as the boxes say") << "admin prl5t8c6"
        << "ExportAll all" << "Export Meetings => chkSpawnPoints | Meetings exported: Meetings exported to {dir}/all. | chooser: "
           "Export all meetings to directory"
        << "file brd9q3x1_admin.zrm" + zrm + "onb3v6p2_groupadmin.zrm" + zrm + "prl5t8c6_presenter.zrm" + zrm
           + "shw4n1r8_cloud.zrm" + zrm + "wdr7k2m4_presenter.zrm assetbundles,assets,urls";
    const QString parse = "Error parsing import file: The import file could not be parsed correctly. | chooser: Select Zarvo Export file";
    QTest::newRow("import of a file that cannot be opened") << "admin prl5t8c6" << "Import none.zrm"
        << "Cannot open import file: Import file could not be opened. | chooser: Select Zarvo Export file" << "";
    QTest::newRow("import of no JSON") << "admin prl5t8c6" << "write x.zrm assets=1; Import x.zrm" << parse << "";
}

void TestZRV_ServerApp_Assets::change()
{
    QFETCH(QString, who);
    QFETCH(QString, steps);
    QFETCH(QString, dialogs);
    const QString login = who.section(' ', 0, 0);
    QString meeting = who.section(' ', 1), folder;
    SignedInConsole c;
    QVERIFY2(c.open(login, login + "123", m_moto.endpoint()), qPrintable(c.error));
    const QList<QPair<QByteArray, QByteArray>> headers{{"Authorization", c.bearer()}, {"Content-Type", "application/json"}};
    if (login == "amazon") {
        // The account has no meeting yet, and keeps its files under the folder of its temporary key.
        meeting = QJsonDocument::fromJson(c.fx.sim().request("POST", QString(ConsoleFixture::MeetingBase) + "/meetings",
                                                             R"({"title":"Amazon Review"})", headers).body)["meetingId"].toString();
        c.window->findChild<QPushButton *>("btnMeetingRefresh")->click();
        folder = QJsonDocument::fromJson(c.fx.sim().request("GET", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/s3/token", {},
                                                            headers).body)["AssumedRoleId"].toString();
        QVERIFY(!folder.isEmpty() && m_moto.putObject("bvkzrv", folder + "/media/intro.mp4", QByteArray(70000, 'v')));
    }
    for (int n = 2; steps.startsWith("fill") && n <= steps.section(';', 0, 0).mid(5).toInt(); ++n)
        post(c, meeting, QString(R"({"Id":%1,"Name":"p%2","Mode":3,"StgRelPath":"https://example.org/p%2"})").arg(22000 + n).arg(n).toUtf8());
    QVERIFY2(c.selectMeeting(meeting), qPrintable(c.error));
    if (login == "amazon") {
        QVERIFY2(c.waitS3Listing(), qPrintable(c.error));
        c.window->findChild<QPushButton *>("btnS3Refresh")->click();
    }
    const QJsonObject before = c.liveRecord(meeting);
    const int bansBefore = c.banlist().size();

    const QStringList expected = dialogs.isEmpty() ? QStringList() : dialogs.split(" | ");
    QStringList met;
    ModalAnswerer answerer;
    for (int i = 0; i < 8; ++i) {
        answerer.handle([&](QWidget *modal) {
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                met << box->windowTitle() + ": " + box->text();
                return box->button(box->button(QMessageBox::Yes) ? QMessageBox::Yes : QMessageBox::Ok)->click();
            }
            const QString answer = expected.value(met.size()).section(" => ", 1);
            if (auto *spin = modal->findChild<QSpinBox *>()) {
                met << modal->windowTitle() + " #" + QString::number(spin->value());
                spin->setValue(answer.startsWith('#') ? answer.section(' ', 0, 0).mid(1).toInt() : spin->value());
                if (auto *url = modal->findChild<QLineEdit *>("leURL"))
                    url->setText(answer.startsWith('#') ? answer.section(' ', 1) : answer);
            } else {
                met << modal->windowTitle() + " ";
                for (const char *group : {"grpPos", "groRot", "grpSca", "grpCustomURL"})
                    met.last() += QString::number(modal->findChild<QGroupBox *>(group)->isVisibleTo(modal));
                for (const QString &set : QString("PosX=1.5 PosY=-2 PosZ=300 RotY=90 RotZ=-45 ScaX=2 ScaY=2 ScaZ=0.5").split(' '))
                    modal->findChild<QDoubleSpinBox *>("spn" + set.section('=', 0, 0))->setValue(set.section('=', 1).toDouble());
                modal->findChild<QLineEdit *>("leCustomURL")->setText("https://example.org/edited");
            }
            // The placeholder dialog takes its outcome from the button clicked.
            if (auto *buttons = modal->findChild<QDialogButtonBox *>("buttonBox"))
                QTest::mouseClick(buttons->button(answer == "cancel" ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok), Qt::LeftButton);
            else
                qobject_cast<QDialog *>(modal)->done(answer == "cancel" ? QDialog::Rejected : QDialog::Accepted);
        });
    }
    answerer.arm(Wait);
    // The export dialog runs without a modal loop of its own: it is looked
    // for among the top-level widgets.
    QPointer<QWidget> handled;
    QTimer exportDialog;
    QObject::connect(&exportDialog, &QTimer::timeout, [&] {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (!w->inherits("ZRV_ExportDialog") || !w->isVisible() || w == handled)
                continue;
            met << (handled = w)->windowTitle();
            const QString answer = expected.value(met.size() - 1).section(" => ", 1);
            for (QCheckBox *box : w->findChildren<QCheckBox *>())
                box->setChecked(!answer.contains(box->objectName()));
            auto *buttons = w->findChild<QDialogButtonBox *>("buttonBox");
            QTest::mouseClick(buttons->button(answer == "cancel" ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok), Qt::LeftButton);
        }
    });
    exportDialog.start(20);
    QTemporaryDir dir;
    auto *s3Files = c.window->findChild<QTableWidget *>("S3TableWidget");
    for (const QString &step : steps.split("; ")) {
        const QString verb = step.section(' ', 0, 0), arg = step.section(' ', 1);
        if (verb == "add" || verb == "addall" || verb == "ban") {
            QVERIFY2(c.waitS3Listing() && c.selectS3File(arg.section('/', 0, -2), arg.section('/', -1)), qPrintable(c.error));
            if (verb == "addall")
                s3Files->selectAll();
            if (verb == "add")
                emit s3Files->itemDoubleClicked(s3Files->selectedItems().first());
            else
                c.window->findChild<QPushButton *>(verb == "ban" ? "btnS3BanFile" : "btnAdd")->click();
            QVERIFY(verb == "ban" || s3Files->selectedItems().isEmpty());
        } else if (verb == "dav") {
            QWidget *page = c.window->findChild<QWidget *>("tabNextCloud2");
            page->findChild<QLineEdit *>("leUrl")->setText(m_dav.url());
            page->findChild<QLineEdit *>("leUser")->setText("cloud");
            page->findChild<QLineEdit *>("lePass")->setText("cloud123");
            page->findChild<QPushButton *>("btnRefresh")->click();
            QTreeWidgetItem *folderItem = nullptr;
            QTRY_VERIFY_WITH_TIMEOUT(folderItem = page->findChild<QTreeWidget *>()->findItems(arg.section('/', 0, 0), Qt::MatchRecursive).value(0), Wait);
            QMetaObject::invokeMethod(page, "on_treeWidget_itemClicked", Q_ARG(QTreeWidgetItem *, folderItem), Q_ARG(int, 0));
            auto *files = page->findChild<QTableWidget *>("tableWidget");
            QTableWidgetItem *item = files->findItems(arg.section('/', 1), Qt::MatchExactly).value(0);
            QVERIFY(item);
            files->selectRow(item->row());
            emit files->itemDoubleClicked(item);
            QVERIFY(files->selectedItems().isEmpty());
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
        } else if (verb == "select") {
            QVERIFY2(c.selectMeeting(arg), qPrintable(c.error));
        } else if (verb == "write") {
            QFile file(dir.filePath(arg.section(' ', 0, 0)));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(arg.section(' ', 1).toUtf8()) > 0);
        } else if (verb.startsWith("Export") || verb == "Import") {
            // Export All works on the live list, which comes with the first poll.
            QVERIFY(QTest::qWaitFor([&] { return c.liveRecord("brd9q3x1").contains("meetingId"); }, Wait));
            QVERIFY(verb != "ExportAll" || QDir(dir.path()).mkpath("all"));
            ZRV_FileChooser::clear();
            ZRV_FileChooser::setNextAnswer(arg.isEmpty() ? "" : dir.filePath(arg));
            c.window->findChild<QPushButton *>("btn" + verb)->click();
            met << "chooser: " + ZRV_FileChooser::lastCaption();
        } else if (verb != "fill") {
            c.window->findChild<QPushButton *>(verb == "url" ? "btnCustomURL" : "btnRemoveAll")->click();
        }
    }
    QFETCH(QString, changes);
    changes.replace("{moto}", m_moto.endpoint()).replace("{dav}", m_dav.url()).replace("{folder}", folder)
        .replace("{etag}", QString::fromLatin1(m_moto.objectHeader("zarvo", "admin/media/intro.mp4", "ETag")).remove('"'));
    const QList<QPair<const char *, QString>> lists{{"assets", AssetFields}, {"assetBundles", "Id Name Mode"}, {"spawnPoints", "Id Name MeetingId"}};
    const auto changed = [&] {
        QStringList out;
        const QJsonObject after = c.liveRecord(meeting);
        for (const auto &list : lists) {
            const QStringList was = texts(before, list.first, list.second), now = texts(after, list.first, list.second);
            for (const QString &text : now)
                out << (was.contains(text) ? QString() : "+" + text);
            for (const QString &text : was)
                out << (now.contains(text) ? QString() : "-" + text.section(' ', 0, 0));
        }
        const QJsonArray bans = c.banlist();
        for (int i = bansBefore; i < bans.size(); ++i)
            out << QString("ban %1 %2 %3").arg(bans[i]["Mode"].toInt()).arg(bans[i]["Filename"].toString(), bans[i]["Checksum"].toString());
        for (const QFileInfo &info : QDir(dir.filePath("all")).entryInfoList(QDir::Files, QDir::Name)) {
            QFile file(info.filePath());
            out << "file " + info.fileName() + " " + (file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object().keys().join(',') : "");
        }
        out.removeAll(QString());
        return out.join(" | ");
    };
    QTRY_COMPARE_WITH_TIMEOUT(changed(), changes, Wait);
    QStringList seen = expected;
    for (QString &dialog : seen)
        dialog = dialog.section(" => ", 0, 0).replace("{dir}", dir.path());
    QTRY_COMPARE_WITH_TIMEOUT(met, seen, Wait);
    answerer.disarm();
    // The table follows the record, the bundle row on top.
    const QJsonObject after = c.liveRecord(meeting);
    QTRY_COMPARE_WITH_TIMEOUT(c.assets()->rowCount(), after["assets"].toArray().size() + !after["assetBundles"].toArray().isEmpty(), Wait);
}

void TestZRV_ServerApp_Assets::componentsTable()
{
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()) && c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    // Assets added elsewhere take their places by Id at the next poll, the
    // selected row stays selected and an unchanged row keeps its items. The
    // account's folder and its slash are cut from every path shown, a URL's too.
    post(c, "brd9q3x1", R"({"Id":22010,"Name":"ten","Mode":3,"StgRelPath":"https://example.org/ten"})");
    post(c, "brd9q3x1", R"({"Id":5,"Name":"five","Mode":1,"StgRelPath":"admin/five.fbx","StgSize":0})");
    c.assets()->selectRow(1);
    QTableWidgetItem *kept = c.assets()->item(1, 1);
    QMetaObject::invokeMethod(c.window.get(), "onMeetingStatusTimer");
    QTRY_COMPARE_WITH_TIMEOUT(c.assetRows(), QStringList({"AB|Zarvo Lobby|14 MB|Asset Bundle", "1|stage.fbx|470 KB|models/", "5|five.fbx|0 KB|",
                                                          "URL#1|agenda|ext|//www.brenvik-demo.example/", "URL#10|ten|ext|//example.org/"}), Wait);
    QCOMPARE(c.assets()->selectionModel()->selectedRows().value(0).row(), 1);
    QCOMPARE(c.assets()->item(1, 1), kept);
}

QTEST_MAIN(TestZRV_ServerApp_Assets)
#include "tst_ZRV_ServerApp_Assets.moc"
