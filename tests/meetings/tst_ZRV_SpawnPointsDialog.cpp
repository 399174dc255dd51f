// The spawn point list and its editor, without a service: what a modify keeps
// and drops, and the ids by position after list edits.
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include "ModalAnswerer.h"
#include "ZRV_SpawnPointEditDialog.h"
#include "ZRV_SpawnPointsDialog.h"

using namespace ZRV_Service_API;

namespace {

ZRVSpawnPoint point(int id, const QString &name, const QByteArray &placement = {})
{
    ZRVSpawnPoint p;
    p.fromJson(QString(R"({"Id":%1,"Name":"%2"%3})").arg(id).arg(name, placement));
    return p;
}

QString field(const QWidget *w, const QString &name)
{
    return w->findChild<QLineEdit *>(name)->text();
}

QPushButton *okButton(const QWidget *dlg)
{
    return dlg->findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok);
}

} // namespace

class tst_ZRV_SpawnPointsDialog : public QObject
{
    Q_OBJECT

private slots:
    void editorResult_data();
    void editorResult();
    void listOperations_data();
    void listOperations();
};

void tst_ZRV_SpawnPointsDialog::editorResult_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("result"); // name, position x and y

    QTest::newRow("untouched modify stores the rounded value") << "" << "" << "Stage 1.23457 2";
    QTest::newRow("typed coordinate with a sign and decimals") << "lePosY" << "-7.25" << "Stage 1.23457 -7.25";
    QTest::newRow("letters are not taken in a coordinate") << "lePosY" << "abc" << "Stage 1.23457 0";
    QTest::newRow("cleared title disables Ok") << "leTitle" << "" << " 1.23457 2";
}

void tst_ZRV_SpawnPointsDialog::editorResult()
{
    QFETCH(QString, field);
    QFETCH(QString, typed);
    QFETCH(QString, result);

    const ZRVSpawnPoint original = point(3, "Stage", R"(,"PlayerId":7,"MeetingId":"wdr7k2m4",
        "Position":{"x":1.23456789,"y":2,"z":3},"Rotation":{"x":0,"y":90.5,"z":0})");
    ZRV_SpawnPointEditDialog dlg(ZRVMeetingInfo(), original, nullptr);
    QStringList shown;
    for (const char *name : {"leId", "lePosX", "lePosY", "lePosZ", "leRotX", "leRotY", "leRotZ"})
        shown << ::field(&dlg, name);
    QCOMPARE(shown.join('|'), "3|1.23457|2|3|0|90.5|0");
    if (!field.isEmpty()) {
        dlg.findChild<QLineEdit *>(field)->clear();
        QTest::keyClicks(dlg.findChild<QLineEdit *>(field), typed);
    }
    const ZRVSpawnPoint p = dlg.getSpawnPoint();
    QCOMPARE(okButton(&dlg)->isEnabled(), !p.getName().isEmpty());
    QCOMPARE(QString("%1 %2 %3").arg(p.getName()).arg(p.getPosition().getX()).arg(p.getPosition().getY()), result);
    // A modify makes a fresh record: member and meeting of the old point are gone.
    QVERIFY(p.getId() == 3 && !p.is_player_id_Set() && !p.is_meeting_id_Set());
}

void tst_ZRV_SpawnPointsDialog::listOperations_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("ops");
    QTest::addColumn<QString>("rows");    // "Id column:Name" as shown
    QTest::addColumn<QString>("editor");  // "leId/leTitle" as the editor opened

    QTest::newRow("delete the first of three: the old second is Default") << 3 << "select0 btnSPDelete" << "Default:B 1:C" << "";
    QTest::newRow("up on row 1 swaps with the default") << 3 << "select1 btnSPUp" << "Default:B 1:A 2:C" << "";
    QTest::newRow("add to an empty list offers Default and Start") << 0 << "btnSPAdd" << "Default:Start" << "Default/Start";
    QTest::newRow("second add offers 1 and Position 1") << 1 << "btnSPAdd" << "Default:A 1:Position 1" << "1/Position 1";
    QTest::newRow("modify shows the stored id until Ok") << 3 << "select2 btnSPModify" << "Default:A 1:B 2:M" << "12/C";
}

void tst_ZRV_SpawnPointsDialog::listOperations()
{
    QFETCH(int, count);
    QFETCH(QString, ops);
    QFETCH(QString, rows);
    QFETCH(QString, editor);

    // Stored ids far from the rows, so that a row number cannot pass for one.
    ZRVMeetingInfo info;
    info.setMeetingId("wdr7k2m4");
    info.setSpawnPoints(QList<ZRVSpawnPoint>{point(10, "A"), point(11, "B"), point(12, "C")}.mid(0, count));
    ZRV_SpawnPointsDialog dlg(info, nullptr);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    auto *tbl = dlg.findChild<QTableWidget *>("tblSpawnPoints");

    QString seenEditor;
    for (const QString &op : ops.split(' ')) {
        if (op.startsWith("select")) {
            const QRect cell = tbl->visualItemRect(tbl->item(op.mid(6).toInt(), 1));
            QTest::mouseClick(tbl->viewport(), Qt::LeftButton, {}, cell.center());
            continue;
        }
        ModalAnswerer answerer;
        answerer.handle([&seenEditor, op](QWidget *w) {
            seenEditor = field(w, "leId") + '/' + field(w, "leTitle");
            if (op == "btnSPModify")
                w->findChild<QLineEdit *>("leTitle")->setText("M");
            QTest::mouseClick(okButton(w), Qt::LeftButton);
        });
        answerer.arm();
        QTest::mouseClick(dlg.findChild<QPushButton *>(op), Qt::LeftButton);
    }

    QStringList shown;
    for (int row = 0; row < tbl->rowCount(); ++row)
        shown << tbl->item(row, 0)->text() + ':' + tbl->item(row, 1)->text();
    QCOMPARE(shown.join(' '), rows);
    QCOMPARE(seenEditor, editor);
    // The result numbers the points by position.
    QStringList result;
    for (const ZRVSpawnPoint &p : dlg.getMeetingInfo().getSpawnPoints())
        result << QString("%1:%2").arg(p.getId()).arg(p.getName());
    QCOMPARE(result.join(' '), rows.replace("Default:", "0:"));
}

QTEST_MAIN(tst_ZRV_SpawnPointsDialog)
#include "tst_ZRV_SpawnPointsDialog.moc"
