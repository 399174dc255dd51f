// The spawn point list and its editor: what a modify keeps and drops, list
// editing with its buttons and the editor's start values, and a member's
// position read from the simulator.
#include <QComboBox>
#include <QDialogButtonBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include "DialogServicePeer.h"
#include "ModalAnswerer.h"
#include "ZRV_SpawnPointEditDialog.h"
#include "ZRV_SpawnPointsDialog.h"

using namespace ZRV_Service_API;

namespace {

ZRVDefVector3 vec(float x, float y, float z)
{
    ZRVDefVector3 v;
    v.setX(x);
    v.setY(y);
    v.setZ(z);
    return v;
}

ZRVSpawnPoint point(int id, const QString &name, ZRVDefVector3 pos = vec(0, 0, 0), ZRVDefVector3 rot = vec(0, 0, 0))
{
    ZRVSpawnPoint p;
    p.setId(id);
    p.setName(name);
    p.setPosition(pos);
    p.setRotation(rot);
    return p;
}

QString text(const QWidget *w, const char *name)
{
    return w->findChild<QLineEdit *>(QLatin1String(name))->text();
}

// The six coordinate fields as "x|y|z|x|y|z".
QString coordinates(const QWidget *dlg)
{
    QStringList parts;
    for (const char *name : {"lePosX", "lePosY", "lePosZ", "leRotX", "leRotY", "leRotZ"})
        parts << text(dlg, name);
    return parts.join(QLatin1Char('|'));
}

QPushButton *okButton(const QWidget *dlg)
{
    return dlg->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))->button(QDialogButtonBox::Ok);
}

QStringList column(const QTableWidget *tbl, int col)
{
    QStringList out;
    for (int row = 0; row < tbl->rowCount(); ++row)
        out << tbl->item(row, col)->text();
    return out;
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
    void positionFromMember();
};

void tst_ZRV_SpawnPointsDialog::editorResult_data()
{
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("okEnabled");
    QTest::addColumn<QString>("expName");
    QTest::addColumn<double>("expX");
    QTest::addColumn<double>("expY");

    QTest::newRow("untouched modify stores the rounded value") << "" << "" << true << "Stage" << 1.23457 << 2.0;
    QTest::newRow("cleared coordinate reads as 0") << "lePosY" << "" << true << "Stage" << 1.23457 << 0.0;
    QTest::newRow("typed coordinate with a sign and decimals") << "lePosY" << "-7.25" << true << "Stage" << 1.23457 << -7.25;
    QTest::newRow("letters are not taken in a coordinate") << "lePosY" << "abc" << true << "Stage" << 1.23457 << 0.0;
    QTest::newRow("new title") << "leTitle" << "Podium" << true << "Podium" << 1.23457 << 2.0;
    QTest::newRow("cleared title disables Ok") << "leTitle" << "" << false << "" << 1.23457 << 2.0;
}

void tst_ZRV_SpawnPointsDialog::editorResult()
{
    QFETCH(QString, field);
    QFETCH(QString, typed);
    QFETCH(bool, okEnabled);
    QFETCH(QString, expName);
    QFETCH(double, expX);
    QFETCH(double, expY);

    ZRVSpawnPoint original = point(3, QStringLiteral("Stage"), vec(1.23456789f, 2, 3), vec(0, 90.5f, 0));
    original.setPlayerId(7);
    original.setMeetingId(QStringLiteral("wdr7k2m4"));
    ZRV_SpawnPointEditDialog dlg(ZRVMeetingInfo(), original, nullptr);
    QCOMPARE(text(&dlg, "leId"), QStringLiteral("3"));
    QCOMPARE(coordinates(&dlg), QStringLiteral("1.23457|2|3|0|90.5|0"));
    if (!field.isEmpty()) {
        auto *le = dlg.findChild<QLineEdit *>(field);
        le->clear();
        QTest::keyClicks(le, typed);
    }
    QCOMPARE(okButton(&dlg)->isEnabled(), okEnabled);

    const ZRVSpawnPoint result = dlg.getSpawnPoint();
    QCOMPARE(result.getId(), 3);
    QCOMPARE(result.getName(), expName);
    QCOMPARE(result.getPosition().getX(), float(expX));
    QCOMPARE(result.getPosition().getY(), float(expY));
    QCOMPARE(result.getRotation().getY(), 90.5f);
    // A modify makes a fresh record: member and meeting of the old point are gone.
    QVERIFY(!result.is_player_id_Set());
    QVERIFY(!result.is_meeting_id_Set());
}

void tst_ZRV_SpawnPointsDialog::listOperations_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QStringList>("ops");
    QTest::addColumn<QStringList>("expNames");
    QTest::addColumn<QStringList>("expIdColumn");
    QTest::addColumn<QString>("expButtons"); // Modify, Delete, Up, Down
    QTest::addColumn<QString>("expEditor");  // "leId/leTitle" as the editor opened

    const QStringList none;
    QTest::newRow("delete the first of three: the old second is Default")
        << 3 << QStringList{"select 0", "delete"} << QStringList{"B", "C"} << QStringList{"Default", "1"} << "0000" << "";
    QTest::newRow("up on row 1 swaps with the default")
        << 3 << QStringList{"select 1", "up"} << QStringList{"B", "A", "C"} << QStringList{"Default", "1", "2"} << "1101" << "";
    QTest::newRow("down from the default")
        << 3 << QStringList{"select 0", "down"} << QStringList{"B", "A", "C"} << QStringList{"Default", "1", "2"} << "1111" << "";
    QTest::newRow("up is off on row 0")
        << 3 << QStringList{"select 0", "up"} << QStringList{"A", "B", "C"} << QStringList{"Default", "1", "2"} << "1101" << "";
    QTest::newRow("down is off on the last row")
        << 3 << QStringList{"select 2", "down"} << QStringList{"A", "B", "C"} << QStringList{"Default", "1", "2"} << "1110" << "";
    QTest::newRow("one row: up and down off")
        << 1 << QStringList{"select 0"} << QStringList{"A"} << QStringList{"Default"} << "1100" << "";
    QTest::newRow("add to an empty list offers Default and Start")
        << 0 << QStringList{"add"} << QStringList{"Start"} << QStringList{"Default"} << "0000" << "Default/Start";
    QTest::newRow("second add offers 1 and Position 1")
        << 1 << QStringList{"add"} << QStringList{"A", "Position 1"} << QStringList{"Default", "1"} << "0000" << "1/Position 1";
    QTest::newRow("modify shows the stored id until Ok")
        << 3 << QStringList{"select 2", "modify"} << QStringList{"A", "B", "M"} << QStringList{"Default", "1", "2"} << "1110" << "12/C";
    QTest::newRow("every row deleted")
        << 2 << QStringList{"select 0", "delete", "select 0", "delete"} << none << none << "0000" << "";
}

void tst_ZRV_SpawnPointsDialog::listOperations()
{
    QFETCH(int, count);
    QFETCH(QStringList, ops);
    QFETCH(QStringList, expNames);
    QFETCH(QStringList, expIdColumn);
    QFETCH(QString, expButtons);
    QFETCH(QString, expEditor);

    // Stored ids far from the rows, so that a row number cannot pass for one.
    const QList<ZRVSpawnPoint> all{point(10, "A"), point(11, "B"), point(12, "C")};
    ZRVMeetingInfo info;
    info.setMeetingId(QStringLiteral("wdr7k2m4"));
    info.setSpawnPoints(all.mid(0, count));
    ZRV_SpawnPointsDialog dlg(info, nullptr);
    dlg.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dlg));
    auto *tbl = dlg.findChild<QTableWidget *>(QStringLiteral("tblSpawnPoints"));
    const auto button = [&dlg](const char *name) { return dlg.findChild<QPushButton *>(QLatin1String(name)); };

    QString seenEditor;
    for (const QString &op : ops) {
        if (op.startsWith(QLatin1String("select "))) {
            const int row = op.mid(7).toInt();
            QTest::mouseClick(tbl->viewport(), Qt::LeftButton, {}, tbl->visualItemRect(tbl->item(row, 1)).center());
            continue;
        }
        const bool rename = op == QLatin1String("modify");
        ModalAnswerer answerer;
        answerer.handle([&seenEditor, rename](QWidget *editor) {
            seenEditor = text(editor, "leId") + QLatin1Char('/') + text(editor, "leTitle");
            if (rename)
                editor->findChild<QLineEdit *>(QStringLiteral("leTitle"))->setText(QStringLiteral("M"));
            QTest::mouseClick(okButton(editor), Qt::LeftButton);
        });
        answerer.arm();
        const QByteArray name = op == QLatin1String("add") ? "btnSPAdd"
                              : op == QLatin1String("modify") ? "btnSPModify"
                              : op == QLatin1String("delete") ? "btnSPDelete"
                              : op == QLatin1String("up") ? "btnSPUp" : "btnSPDown";
        QTest::mouseClick(button(name.constData()), Qt::LeftButton);
    }

    QCOMPARE(column(tbl, 0), expIdColumn);
    QCOMPARE(column(tbl, 1), expNames);
    QString buttons;
    for (const char *name : {"btnSPModify", "btnSPDelete", "btnSPUp", "btnSPDown"})
        buttons += button(name)->isEnabled() ? QLatin1Char('1') : QLatin1Char('0');
    QCOMPARE(buttons, expButtons);
    QVERIFY(button("btnSPAdd")->isEnabled());
    QCOMPARE(seenEditor, expEditor);

    const QList<ZRVSpawnPoint> result = dlg.getMeetingInfo().getSpawnPoints();
    QCOMPARE(result.size(), expNames.size());
    for (int i = 0; i < result.size(); ++i) {
        QCOMPARE(result.at(i).getId(), i);
        QCOMPARE(result.at(i).getName(), expNames.at(i));
    }
}

void tst_ZRV_SpawnPointsDialog::positionFromMember()
{
    DialogServicePeer peer;
    QVERIFY2(peer.startSim(QStringLiteral("presenter"), QStringLiteral("presenter123")), qPrintable(peer.errorText()));
    const ZRVMeetingInfo info = peer.poll().value(QStringLiteral("wdr7k2m4"));
    const QList<ZRVMirrorClientInfo> clients = info.getClients();
    QCOMPARE(clients.size(), 3);

    ZRV_SpawnPointEditDialog dlg(info, point(1, QStringLiteral("Stage"), vec(9, 9, 9), vec(8, 8, 8)), peer.thread());
    auto *cmb = dlg.findChild<QComboBox *>(QStringLiteral("cmbPlayers"));
    QVERIFY(cmb->isEnabled());
    QCOMPARE(cmb->count(), 3);
    QCOMPARE(cmb->itemText(1), QString::number(clients.at(1).getId()) + " - " + clients.at(1).getAlias());
    cmb->setCurrentIndex(1);
    const int member = clients.at(1).getId();

    // What the meeting says of that member, asked over the wire by the test itself.
    const QJsonObject command{{"command", "GetPlayerPos"}, {"params", QJsonArray{QString::number(member)}}};
    const SimProcess::Reply direct = peer.service("POST", QStringLiteral("/meeting/wdr7k2m4/command"),
                                                  QJsonDocument(command).toJson());
    QCOMPARE(direct.status, 200);
    QStringList expected;
    for (const QJsonValue &v : direct.object().value("vList").toArray())
        for (const char *axis : {"x", "y", "z"})
            expected << QString::number(float(v.toObject().value(QLatin1String(axis)).toDouble()), 'g', 6);
    QCOMPARE(expected.size(), 6);

    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnLoadPos")), Qt::LeftButton);
    QTRY_COMPARE(coordinates(&dlg), expected.join(QLatin1Char('|')));
    QCOMPARE(text(&dlg, "leTitle"), QStringLiteral("Stage"));

    // Another member leaves: the list follows and the chosen member stays chosen.
    const int other = clients.at(2).getId();
    const QJsonObject kick{{"command", "KickPlayer"}, {"params", QJsonArray{QString::number(other)}}};
    QCOMPARE(peer.service("POST", QStringLiteral("/meeting/wdr7k2m4/command"), QJsonDocument(kick).toJson()).status, 200);
    peer.poll();
    QCOMPARE(cmb->count(), 2);
    QCOMPARE(cmb->currentData().toInt(), member);

    // The meeting stops: no members left to read from.
    QCOMPARE(peer.registry("PATCH", QStringLiteral("/meetings/wdr7k2m4"), R"({"status":"pending"})").status, 200);
    peer.poll();
    QCOMPARE(cmb->count(), 0);
    QVERIFY(!cmb->isEnabled());
}

QTEST_MAIN(tst_ZRV_SpawnPointsDialog)
#include "tst_ZRV_SpawnPointsDialog.moc"
