// The panel's buttons for spawn points, logs and the ban list: who sees them,
// when they work, and what reaches the service after the spawn point dialog.
#include <QDialog>
#include <QDialogButtonBox>
#include <QJsonArray>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include "DialogServicePeer.h"
#include "ModalAnswerer.h"
#include "ZRV_Meetings.h"

using namespace ZRV_Service_API;

namespace {

struct Panel {
    DialogServicePeer peer;
    std::unique_ptr<ZRV_Meetings> panel;

    bool open(const QString &user, const QString &password)
    {
        if (!peer.startSim(user, password))
            return false;
        panel.reset(new ZRV_Meetings(nullptr, peer.config(), peer.thread(), nullptr));
        panel->resize(791, 379);
        panel->show();
        panel->setLoginData(peer.login());
        panel->refreshMeetings();
        // Rows first, then the live overlay, which brings the records the dialogs edit.
        return QTest::qWaitFor([this] { return table()->rowCount() > 0 && table()->cellWidget(0, 1); }, 10000);
    }
    QTableWidget *table() const { return panel->findChild<QTableWidget *>(QStringLiteral("tblMeetings")); }
    QPushButton *button(const char *name) const { return panel->findChild<QPushButton *>(QLatin1String(name)); }
    bool select(const QString &meetingId)
    {
        const auto found = table()->findItems(meetingId.toUpper(), Qt::MatchExactly);
        if (found.isEmpty())
            return false;
        table()->selectRow(found.first()->row());
        return true;
    }
};

} // namespace

class tst_zrv_meeting_dialog_buttons : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Q_INIT_RESOURCE(zrv); }
    void buttonsByRole_data();
    void buttonsByRole();
    void spawnPointsFromPanel_data();
    void spawnPointsFromPanel();
    void dialogsFromPanel();
};

void tst_zrv_meeting_dialog_buttons::buttonsByRole_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("adminButtons");

    QTest::newRow("presenter sees no log and ban list buttons") << "presenter" << "presenter123" << false;
    QTest::newRow("group administrator neither") << "groupadmin" << "group123" << false;
    QTest::newRow("administrator sees them") << "admin" << "admin123" << true;
}

void tst_zrv_meeting_dialog_buttons::buttonsByRole()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(bool, adminButtons);
    Panel p;
    QVERIFY2(p.open(user, password), qPrintable(p.peer.errorText()));

    for (const char *name : {"btnMirLog", "btnSvcLog", "btnBanlist"})
        QCOMPARE(p.button(name)->isHidden(), !adminButtons);
    QVERIFY(!p.button("btnSpawnPoints")->isHidden());
    // Spawn points and the meeting log need a meeting; the service log and the ban list do not.
    QVERIFY(!p.button("btnSpawnPoints")->isEnabled());
    QVERIFY(!p.button("btnMirLog")->isEnabled());
    QVERIFY(p.button("btnSvcLog")->isEnabled());
    QVERIFY(p.button("btnBanlist")->isEnabled());
    QVERIFY(p.select(QStringLiteral("wdr7k2m4")));
    QVERIFY(p.button("btnSpawnPoints")->isEnabled());
    QVERIFY(p.button("btnMirLog")->isEnabled());
}

void tst_zrv_meeting_dialog_buttons::spawnPointsFromPanel_data()
{
    QTest::addColumn<bool>("confirm");
    QTest::newRow("Ok stores the reordered list with ids by position") << true;
    QTest::newRow("Cancel sends nothing") << false;
}

void tst_zrv_meeting_dialog_buttons::spawnPointsFromPanel()
{
    QFETCH(bool, confirm);
    Panel p;
    QVERIFY2(p.open(QStringLiteral("presenter"), QStringLiteral("presenter123")), qPrintable(p.peer.errorText()));
    QVERIFY(p.select(QStringLiteral("wdr7k2m4")));
    QTRY_VERIFY(p.button("btnSpawnPoints")->isEnabled());

    // The main window stores a changed live record; the test does it the same way.
    QList<ZRVMeetingInfo> emitted;
    int storeStatus = -1;
    connect(p.panel.get(), &ZRV_Meetings::meetingConfigChanged, this, [&](ZRVMeetingInfo info) {
        emitted.append(info);
        storeStatus = p.peer.service("PUT", QStringLiteral("/meeting/%1/info").arg(info.getMeetingId()),
                                     info.asJson().toUtf8()).status;
    });

    QString title;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        title = w->windowTitle();
        // The second point becomes the default.
        auto *tbl = w->findChild<QTableWidget *>(QStringLiteral("tblSpawnPoints"));
        tbl->setCurrentCell(0, 0);
        QTest::mouseClick(w->findChild<QPushButton *>(QStringLiteral("btnSPDown")), Qt::LeftButton);
        auto *box = w->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
        QTest::mouseClick(box->button(confirm ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    answerer.arm();
    QTest::mouseClick(p.button("btnSpawnPoints"), Qt::LeftButton);

    QCOMPARE(title, QStringLiteral("Manage Spawn Points for Meeting WDR7K2M4"));
    const QJsonArray stored = p.peer.service("GET", QStringLiteral("/meeting/wdr7k2m4/info")).object().value("spawnPoints").toArray();
    QCOMPARE(emitted.size(), confirm ? 1 : 0);
    QCOMPARE(storeStatus, confirm ? 200 : -1);
    const QStringList expNames = confirm ? QStringList{"Position 1", "Start"} : QStringList{"Start", "Position 1"};
    QCOMPARE(stored.size(), 2);
    for (int i = 0; i < stored.size(); ++i) {
        QCOMPARE(stored.at(i).toObject().value("Id").toInt(), i);
        QCOMPARE(stored.at(i).toObject().value("Name").toString(), expNames.at(i));
    }
}

void tst_zrv_meeting_dialog_buttons::dialogsFromPanel()
{
    Panel p;
    QVERIFY2(p.open(QStringLiteral("admin"), QStringLiteral("admin123")), qPrintable(p.peer.errorText()));
    QVERIFY(p.select(QStringLiteral("wdr7k2m4")));
    QTRY_VERIFY(p.button("btnMirLog")->isEnabled());

    QStringList titles;
    QList<QWidget *> logDialogs;
    ModalAnswerer answerer;
    for (int i = 0; i < 4; ++i)
        answerer.handle([&](QWidget *w) {
            titles << w->windowTitle();
            if (w->objectName() == QLatin1String("ZRV_LogfileDialog"))
                logDialogs << w;
            static_cast<QDialog *>(w)->reject();
        });
    answerer.arm();
    for (const char *name : {"btnMirLog", "btnSvcLog", "btnBanlist", "btnMirLog"})
        QTest::mouseClick(p.button(name), Qt::LeftButton);

    QCOMPARE(titles, (QStringList{"Mirror Server Logfile - Meeting wdr7k2m4", "Service Logfile", "Banlist",
                                  "Mirror Server Logfile - Meeting wdr7k2m4"}));
    // One viewer, reused for every opening.
    QCOMPARE(logDialogs.size(), 3);
    QCOMPARE(logDialogs.at(0), logDialogs.at(1));
    QCOMPARE(logDialogs.at(0), logDialogs.at(2));
}

QTEST_MAIN(tst_zrv_meeting_dialog_buttons)
#include "tst_zrv_meeting_dialog_buttons.moc"
