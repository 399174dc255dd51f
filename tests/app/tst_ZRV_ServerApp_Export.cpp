// A meeting's components to a .zrm file and onto another meeting, in the
// console signed in as the administrator, read back from the simulator.
#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
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

namespace {

constexpr int Wait = 30000;

// Clicks the button with the file chooser's next answer preset, and answers
// what follows: the export dialog, looked for among the top-level widgets
// since it runs without a modal loop of its own, with `untick` cleared and Ok
// or Cancel; every box with Ok. Returns the dialog's title, then the boxes
// as "title: text".
QStringList run(SignedInConsole &c, const QString &button, const QString &file, bool ok = true, const QString &untick = "-")
{
    QStringList out;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        for (QWidget *w : QApplication::topLevelWidgets()) {
            if (!w->inherits("ZRV_ExportDialog") || !w->isVisible() || !poll.isActive())
                continue;
            poll.stop();
            out << w->windowTitle();
            if (auto *box = w->findChild<QCheckBox *>(untick))
                box->setChecked(false);
            auto *buttons = w->findChild<QDialogButtonBox *>("buttonBox");
            QTest::mouseClick(buttons->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
        }
    });
    poll.start(20);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(Wait);
    ZRV_FileChooser::clear();
    ZRV_FileChooser::setNextAnswer(file);
    QTest::mouseClick(c.window->findChild<QPushButton *>(button), Qt::LeftButton);
    if (button != "btnImport")
        QTest::qWaitFor([&] { return !poll.isActive(); }, Wait);
    answerer.disarm();
    for (const ModalAnswerer::Seen &s : answerer.seen())
        out << s.title + ": " + s.text;
    return out;
}

// One list of the record as "<field> <field> ..." per element, sorted.
QStringList texts(const QJsonObject &record, const char *key, const QStringList &fields)
{
    QStringList out;
    for (const QJsonValue &v : record.value(key).toArray()) {
        out << QString();
        for (const QString &field : fields)
            out.last() += v[field].toVariant().toString() + " ";
    }
    out.sort();
    return out;
}

} // namespace

class TestZRV_ServerApp_Export : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exportThenImport();
    void fileDialogs_data();
    void fileDialogs();

private:
    MotoServer m_moto;
    QTemporaryDir m_dir;
};

void TestZRV_ServerApp_Export::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QString error;
    QVERIFY2(m_moto.start(&error) && m_moto.createBucket("zarvo"), qPrintable(error));
}

void TestZRV_ServerApp_Export::exportThenImport()
{
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()) && c.selectMeeting("brd9q3x1"), qPrintable(c.error));
    const QString path = m_dir.filePath("board.zrm");
    QCOMPARE(run(c, "btnExport", m_dir.filePath("board")),
             QStringList({"Export Meeting brd9q3x1", "Meeting exported: Meeting components exported to " + path + "."}));
    QCOMPARE(ZRV_FileChooser::lastCaption(), QString("Save meeting components to file"));

    // Onto a meeting with its own asset 1, placeholder 22001 and spawn points
    // 0 and 1: the asset comes with a new id and without its store, the
    // placeholder keeps its id, points are merged by Id, bundles replaced.
    QVERIFY2(c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    QCOMPARE(run(c, "btnImport", path), QStringList());
    QTRY_COMPARE_WITH_TIMEOUT(texts(c.liveRecord("prl5t8c6"), "assets", {"Id", "Name", "Mode", "StgRelPath", "StgSize", "StgBucket"}),
                              QStringList({"1 stage.fbx 1 presenter/models/stage.fbx 482133 zarvo ",
                                           "2 stage.fbx 1 admin/models/stage.fbx 0  ",
                                           "22001 Agenda 3 https://www.brenvik-demo.example/agenda 0  "}), Wait);
    QTRY_COMPARE_WITH_TIMEOUT(texts(c.liveRecord("prl5t8c6"), "assetBundles", {"Id", "Name"}), QStringList{"ab-0001 Zarvo Lobby "}, Wait);
    QCOMPARE(texts(c.liveRecord("prl5t8c6"), "spawnPoints", {"Id", "Name", "MeetingId"}),
             QStringList({"0 Start brd9q3x1 ", "1 Position 1 brd9q3x1 "}));
    QTRY_COMPARE_WITH_TIMEOUT(c.assets()->rowCount(), 4, Wait);
}

// Export All into a folder, or an import of a broken file; neither changes
// the selected meeting.
void TestZRV_ServerApp_Export::fileDialogs_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QByteArray>("content"); // of the file imported; null: no such file
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("seen");
    QTest::addColumn<QStringList>("files"); // written by Export All

    const QString parse = "Error parsing import file: The import file could not be parsed correctly.";
    QTest::newRow("Export All: one file per live meeting, named by id and creator") << "btnExportAll" << QByteArray() << true
        << QStringList{"Export Meetings", "Meetings exported: Meetings exported to {dir}."}
        << QStringList{"brd9q3x1_admin.zrm", "onb3v6p2_groupadmin.zrm", "prl5t8c6_presenter.zrm", "shw4n1r8_cloud.zrm", "wdr7k2m4_presenter.zrm"};
    QTest::newRow("Export All, folder dialog left empty: silently nothing")
        << "btnExportAll" << QByteArray("") << true << QStringList{"Export Meetings"} << QStringList();
    QTest::newRow("Export All cancelled: no folder asked")
        << "btnExportAll" << QByteArray() << false << QStringList{"Export Meetings"} << QStringList();
    QTest::newRow("import of a file that cannot be opened")
        << "btnImport" << QByteArray() << true << QStringList{"Cannot open import file: Import file could not be opened."} << QStringList();
    QTest::newRow("import of no JSON") << "btnImport" << QByteArray("assets=1") << true << QStringList{parse} << QStringList();
    QTest::newRow("import of an array") << "btnImport" << QByteArray(R"([{"assets":[{"Name":"x"}]}])") << true << QStringList{parse} << QStringList();
}

void TestZRV_ServerApp_Export::fileDialogs()
{
    QFETCH(QString, button);
    QFETCH(QByteArray, content);
    QFETCH(QStringList, files);
    SignedInConsole c;
    QVERIFY2(c.open("admin", "admin123", m_moto.endpoint()) && c.selectMeeting("prl5t8c6"), qPrintable(c.error));
    // The live list arrives with the first poll.
    QVERIFY(QTest::qWaitFor([&] { return c.liveRecord("brd9q3x1").contains("meetingId"); }, Wait));
    const QJsonObject before = c.liveRecord("prl5t8c6");
    QTemporaryDir dir;
    QFile file(m_dir.filePath(QTest::currentDataTag()));
    QVERIFY(content.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(content) == content.size()));
    file.close();
    QFETCH(bool, ok);
    QFETCH(QStringList, seen);
    QCOMPARE(run(c, button, button == "btnImport" ? file.fileName() : content.isNull() ? dir.path() : "", ok, "chkSpawnPoints"),
             seen.replaceInStrings("{dir}", dir.path()));
    QCOMPARE(ZRV_FileChooser::lastCaption(), QString(!ok ? "" : button == "btnImport" ? "Select Zarvo Export file" : "Export all meetings to directory"));
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files, QDir::Name), files);
    QCOMPARE(c.liveRecord("prl5t8c6"), before);
    if (files.isEmpty())
        return;
    // The dialog's boxes hold for every file.
    QFile board(dir.filePath(files.first()));
    QVERIFY(board.open(QIODevice::ReadOnly));
    QCOMPARE(QJsonDocument::fromJson(board.readAll()).object().keys(), QStringList({"assetbundles", "assets", "urls"}));
}

QTEST_MAIN(TestZRV_ServerApp_Export)
#include "tst_ZRV_ServerApp_Export.moc"
