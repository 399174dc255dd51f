// A meeting's components to a .zrm file and onto another meeting, in the
// signed-in console against the simulator, read back over the wire.
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPushButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "SignedInConsole.h"
#include "ZRV_FileChooser.h"
#include "ZRV_ServerApp.h"

class TestZRV_ServerApp_Export : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void exportThenImport();
    void exportAll_data();
    void exportAll();
    void brokenImport_data();
    void brokenImport();

private:
    bool open();

    MotoServer m_moto;
    std::unique_ptr<SignedInConsole> m_console;
    QTemporaryDir m_dir;
};

namespace {

constexpr int Wait = 30000;

// The export dialog runs without a modal loop of its own, so it is looked for
// among the top-level widgets; `untick` names boxes to clear before Ok. Its
// title lands in *title.
void answerExportDialog(bool ok, QString *title, const QStringList &untick = {})
{
    auto *timer = new QTimer;
    auto *clock = new QElapsedTimer;
    clock->start();
    QObject::connect(timer, &QTimer::timeout, [=] {
        QWidget *dialog = nullptr;
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (w->inherits("ZRV_ExportDialog") && w->isVisible())
                dialog = w;
        }
        if (!dialog && clock->elapsed() < Wait)
            return;
        timer->stop();
        timer->deleteLater();
        delete clock;
        if (!dialog)
            return;
        *title = dialog->windowTitle();
        for (const QString &name : untick)
            dialog->findChild<QCheckBox *>(name)->setChecked(false);
        auto *box = dialog->findChild<QDialogButtonBox *>("buttonBox");
        QTest::mouseClick(box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    timer->start(20);
}

QString boxes(const ModalAnswerer &answerer)
{
    QStringList seen;
    for (const ModalAnswerer::Seen &s : answerer.seen())
        seen << s.title + ": " + s.text;
    return seen.join(" / ");
}

// "Id Name Mode StgRelPath StgSize host|-" per asset, by id.
QStringList assetTexts(const QJsonObject &record)
{
    QMap<int, QString> byId;
    for (const QJsonValue &v : record.value("assets").toArray()) {
        const QJsonObject a = v.toObject();
        const auto vec = [&](const char *key) {
            const QJsonObject o = a.value(key).toObject();
            return QString("%1,%2,%3").arg(o.value("x").toDouble()).arg(o.value("y").toDouble()).arg(o.value("z").toDouble());
        };
        byId.insert(a.value("Id").toInt(),
                    QString("%1 %2 %3 %4 %5 %6 %7 %8")
                        .arg(a.value("Id").toInt())
                        .arg(a.value("Name").toString())
                        .arg(a.value("Mode").toInt())
                        .arg(a.value("StgRelPath").toString())
                        .arg(a.value("StgSize").toInt())
                        .arg(a.contains("StgHost") || a.contains("StgBucket") ? "host" : "-")
                        .arg(vec("Scale"), vec("Position")));
    }
    return byId.values();
}

QString listTexts(const QJsonObject &record, const char *key, const char *second)
{
    QStringList out;
    for (const QJsonValue &v : record.value(key).toArray()) {
        const QJsonObject o = v.toObject();
        out << QString("%1 %2 %3").arg(o.value("Id").toVariant().toString(), o.value("Name").toString(),
                                       o.value(second).toVariant().toString());
    }
    return out.join(", ");
}

// The board meeting of the simulator's seed, written out from the rules:
// sorted keys, records reduced, no storage address.
const char *BoardFile = R"({
    "assetbundles": [
        {
            "Id": "ab-0001",
            "Mode": 1,
            "Name": "Zarvo Lobby"
        }
    ],
    "assets": [
        {
            "Id": 1,
            "Mode": 1,
            "Name": "stage.fbx",
            "Position": {
                "x": 0,
                "y": 0,
                "z": 0
            },
            "Rotation": {
                "x": 0,
                "y": 0,
                "z": 0
            },
            "Scale": {
                "x": 1,
                "y": 1,
                "z": 1
            },
            "StgRelPath": "admin/models/stage.fbx"
        }
    ],
    "spawnpoints": [
        {
            "Id": 0,
            "MeetingId": "brd9q3x1",
            "Name": "Start",
            "Position": {
                "x": 0,
                "y": 0,
                "z": 0
            },
            "Rotation": {
                "x": 0,
                "y": 0,
                "z": 0
            }
        },
        {
            "Id": 1,
            "MeetingId": "brd9q3x1",
            "Name": "Position 1",
            "Position": {
                "x": 4.5,
                "y": 0,
                "z": -2
            },
            "Rotation": {
                "x": 0,
                "y": 90,
                "z": 0
            }
        }
    ],
    "urls": [
        {
            "Id": 22001,
            "Mode": 3,
            "Name": "Agenda",
            "StgRelPath": "https://www.brenvik-demo.example/agenda"
        }
    ]
}
)";

} // namespace

void TestZRV_ServerApp_Export::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QString error;
    QVERIFY2(m_moto.start(&error), qPrintable(error));
}

void TestZRV_ServerApp_Export::init()
{
    ZRV_FileChooser::clear();
    QVERIFY(m_moto.reset());
    QVERIFY(m_moto.createBucket("zarvo"));
    m_console.reset(new SignedInConsole);
    QVERIFY(m_dir.isValid());
    QDir(m_dir.path()).removeRecursively();
    QVERIFY(QDir().mkpath(m_dir.path()));
}

bool TestZRV_ServerApp_Export::open()
{
    // Export and import are the administrator's.
    return m_console->open("admin", "admin123", m_moto.endpoint());
}

void TestZRV_ServerApp_Export::exportThenImport()
{
    QVERIFY2(open(), qPrintable(m_console->error));
    SignedInConsole &c = *m_console;
    QVERIFY2(c.selectMeeting("brd9q3x1"), qPrintable(c.error));

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait);
    ZRV_FileChooser::setNextAnswer(m_dir.path() + "/board");
    QString title;
    answerExportDialog(true, &title);
    QTest::mouseClick(c.window->findChild<QPushButton *>("btnExport"), Qt::LeftButton);
    answerer.disarm();
    QCOMPARE(title, "Export Meeting brd9q3x1");
    QCOMPARE(ZRV_FileChooser::lastCaption(), "Save meeting components to file");
    const QString path = m_dir.path() + "/board.zrm";
    QCOMPARE(boxes(answerer), "Meeting exported: Meeting components exported to " + path + ".");
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray(BoardFile));

    // Onto a meeting that has its own asset 1, placeholder 22001 and spawn points 0 and 1.
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    ZRV_FileChooser::setNextAnswer(path);
    QTest::mouseClick(c.window->findChild<QPushButton *>("btnImport"), Qt::LeftButton);
    const QStringList assets{
        "1 stage.fbx 1 presenter/models/stage.fbx 482133 host 1,1,1 0,0,0",
        "2 stage.fbx 1 admin/models/stage.fbx 0 - 1,1,1 0,0,0",
        "22001 Agenda 3 https://www.brenvik-demo.example/agenda 0 - 1,1,1 0,0,0"};
    QTRY_COMPARE_WITH_TIMEOUT(assetTexts(c.liveRecord("prl5t8c6")), assets, Wait);
    QTRY_COMPARE_WITH_TIMEOUT(listTexts(c.liveRecord("prl5t8c6"), "assetBundles", "Mode"), "ab-0001 Zarvo Lobby 1",
                              Wait);
    // The file's points keep the meeting id they were written with.
    QCOMPARE(listTexts(c.liveRecord("prl5t8c6"), "spawnPoints", "MeetingId"),
             "0 Start brd9q3x1, 1 Position 1 brd9q3x1");
    QTRY_COMPARE_WITH_TIMEOUT(c.assets()->rowCount(), 4, Wait);

    // A hand-made file: points merged by Id, bundles replaced whole, assets
    // untouched since the file names none that count.
    QFile edited(m_dir.path() + "/edited.zrm");
    QVERIFY(edited.open(QIODevice::WriteOnly));
    edited.write(R"({"SpawnPoints":[{"Id":5,"Name":"Door"},{"Id":1,"Name":"Stage left"}],
                    "assetbundles":[{"Id":"ab-0002","Name":"Presenter Stage","Mode":1}],
                    "assets":[{"Id":22001,"Name":"not an asset"}],"urls":{"Id":22005},"version":3})");
    edited.close();
    ZRV_FileChooser::setNextAnswer(edited.fileName());
    QTest::mouseClick(c.window->findChild<QPushButton *>("btnImport"), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(listTexts(c.liveRecord("prl5t8c6"), "spawnPoints", "MeetingId"),
                              "0 Start brd9q3x1, 1 Stage left , 5 Door ", Wait);
    QCOMPARE(listTexts(c.liveRecord("prl5t8c6"), "assetBundles", "Mode"), "ab-0002 Presenter Stage 1");
    QCOMPARE(assetTexts(c.liveRecord("prl5t8c6")), assets);
}

void TestZRV_ServerApp_Export::exportAll_data()
{
    QTest::addColumn<bool>("ok");
    QTest::addColumn<bool>("folderGiven");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("box");

    QTest::newRow("one file per live meeting, named by id and creator")
        << true << true << QStringList{"brd9q3x1_admin.zrm", "onb3v6p2_groupadmin.zrm", "prl5t8c6_presenter.zrm",
                       "shw4n1r8_cloud.zrm", "wdr7k2m4_presenter.zrm"}
        << "Meetings exported: Meetings exported to {dir}.";
    QTest::newRow("folder dialog left empty: silently nothing") << true << false << QStringList() << "";
    QTest::newRow("dialog cancelled: no folder asked") << false << true << QStringList() << "";
}

void TestZRV_ServerApp_Export::exportAll()
{
    QFETCH(bool, ok);
    QFETCH(bool, folderGiven);
    QFETCH(QStringList, files);
    QFETCH(QString, box);

    QVERIFY2(open(), qPrintable(m_console->error));
    SignedInConsole &c = *m_console;
    auto *button = c.window->findChild<QPushButton *>("btnExportAll");
    QVERIFY(button->isVisible());
    // The live list arrives with the first poll.
    QVERIFY(QTest::qWaitFor([&] { return c.liveRecord("brd9q3x1").contains("meetingId"); }, Wait));

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait);
    ZRV_FileChooser::setNextAnswer(folderGiven ? m_dir.path() : QString());
    QString title;
    answerExportDialog(ok, &title, {"chkSpawnPoints"});
    QTest::mouseClick(button, Qt::LeftButton);
    answerer.disarm();
    QCOMPARE(title, "Export Meetings");

    QCOMPARE(boxes(answerer), QString(box).replace("{dir}", m_dir.path()));
    QCOMPARE(QDir(m_dir.path()).entryList(QDir::Files, QDir::Name), files);
    QCOMPARE(ZRV_FileChooser::lastCaption(), ok ? QString("Export all meetings to directory") : QString());
    if (files.isEmpty())
        return;
    QFile board(m_dir.path() + "/" + files.first());
    QVERIFY(board.open(QIODevice::ReadOnly));
    const QJsonObject root = QJsonDocument::fromJson(board.readAll()).object();
    QCOMPARE(root.keys(), (QStringList{"assetbundles", "assets", "urls"}));
    QCOMPARE(root.value("urls").toArray().size(), 1);
}

void TestZRV_ServerApp_Export::brokenImport_data()
{
    QTest::addColumn<QByteArray>("content"); // empty: no file at all
    QTest::addColumn<QString>("box");

    const QString parse = "Error parsing import file: The import file could not be parsed correctly.";
    QTest::newRow("file cannot be opened") << QByteArray() << "Cannot open import file: Import file could not be opened.";
    QTest::newRow("not JSON") << QByteArray("assets=1") << parse;
    QTest::newRow("root is an array") << QByteArray(R"([{"assets":[{"Name":"x"}]}])") << parse;
    QTest::newRow("10 MB that break off") << QByteArray(R"({"assets":[)") + QByteArray(10 * 1024 * 1024, ' ') << parse;
}

void TestZRV_ServerApp_Export::brokenImport()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, box);

    QVERIFY2(open(), qPrintable(m_console->error));
    SignedInConsole &c = *m_console;
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    const QJsonObject before = c.liveRecord("prl5t8c6");

    const QString path = m_dir.path() + "/broken.zrm";
    if (!content.isEmpty()) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait);
    ZRV_FileChooser::setNextAnswer(path);
    QTest::mouseClick(c.window->findChild<QPushButton *>("btnImport"), Qt::LeftButton);
    answerer.disarm();
    QCOMPARE(boxes(answerer), box);
    QCOMPARE(c.liveRecord("prl5t8c6"), before);
}

QTEST_MAIN(TestZRV_ServerApp_Export)
#include "tst_ZRV_ServerApp_Export.moc"
