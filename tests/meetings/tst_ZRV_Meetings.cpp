// The meetings panel against the simulator over real HTTP: the list and its
// live overlay, the buttons and their gating, the changes that reach the
// registry, the moderation of a running meeting, and the registry's refusals.

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QUrl>
#include <QUrlQuery>
#include <QtTest>

#include <memory>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRVMeetingServiceApi.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_Meetings.h"
#include "ZRV_ServiceEndpoint.h"

using ZRV_Service_API::ZRVMeetingServiceApi;

namespace {

const int kWait = 10000;

QImage cellPicture(const QString &resource)
{
    return QPixmap(resource).scaled(17, 17, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).toImage();
}

QString shaOf(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

} // namespace

// A signed-in panel with its own service object, as the main window holds
// them; a changed live record is stored as the window stores it.
struct Console {
    ZRV_LoginData login;
    std::unique_ptr<ZRV_MeetingsInfoThread> thread;
    std::unique_ptr<ZRVMeetingServiceApi> infoApi;
    std::unique_ptr<ZRV_Meetings> panel;

    QTableWidget *meetings() const { return panel->findChild<QTableWidget *>("tblMeetings"); }
    QTableWidget *members() const { return panel->findChild<QTableWidget *>("tblMeetingMembers"); }
    QPushButton *button(const char *name) const { return panel->findChild<QPushButton *>(name); }

    int rowOf(const QString &meetingId) const
    {
        for (int row = 0; row < meetings()->rowCount(); ++row) {
            if (meetings()->item(row, 0) && meetings()->item(row, 0)->text() == meetingId.toUpper())
                return row;
        }
        return -1;
    }
    int rowOfTitle(const QString &title) const
    {
        for (int row = 0; row < meetings()->rowCount(); ++row) {
            if (meetings()->item(row, 5) && meetings()->item(row, 5)->text() == title)
                return row;
        }
        return -1;
    }
    QString text(int row, int column) const
    {
        const QTableWidgetItem *cell = meetings()->item(row, column);
        return cell ? cell->text() : QStringLiteral("<none>");
    }
    QImage picture(QTableWidget *table, int row, int column) const
    {
        auto *label = qobject_cast<QLabel *>(table->cellWidget(row, column));
        return label ? label->pixmap(Qt::ReturnByValue).toImage() : QImage();
    }
    bool overlaid() const
    {
        return meetings()->rowCount() > 0 && meetings()->cellWidget(0, 1) != nullptr;
    }
    void select(const QString &meetingId) { meetings()->selectRow(rowOf(meetingId)); }
    void click(const char *name) { QTest::mouseClick(button(name), Qt::LeftButton); }
};

class tst_ZRV_Meetings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void listFollowsRole_data();
    void listFollowsRole();
    void rowPictures_data();
    void rowPictures();
    void selectionGating_data();
    void selectionGating();
    void createModifyDelete();
    void startAndStop();
    void registryRefusals_data();
    void registryRefusals();
    void failedListEndsProcess();
    void startWithoutLiveRecord();
    void memberCaptions_data();
    void memberCaptions();
    void muteAndPresenterReachService();
    void kick_data();
    void kick();
    void sendMessage_data();
    void sendMessage();
    void inviteUrl_data();
    void inviteUrl();

private:
    std::unique_ptr<Console> open(const QString &user, const QString &password, bool waitForOverlay = true);
    QJsonObject simState();
    QJsonObject simMeeting(const QString &meetingId);
    QJsonArray simMembers(const QString &meetingId);
    void fault(const QJsonObject &body);
    bool faultsConsumed();

    ConsoleFixture m_fx;
};

void tst_ZRV_Meetings::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QVERIFY2(m_fx.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}),
             qPrintable(m_fx.errorText()));
}

void tst_ZRV_Meetings::init()
{
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/reset").status, 200);
    m_fx.clearExitCodes();
}

std::unique_ptr<Console> tst_ZRV_Meetings::open(const QString &user, const QString &password,
                                                bool waitForOverlay)
{
    auto c = std::make_unique<Console>();
    if (!m_fx.signIn(user, password, &c->login))
        return nullptr;
    c->thread = std::make_unique<ZRV_MeetingsInfoThread>(nullptr, m_fx.config());
    c->thread->setLoginData(&c->login);
    c->infoApi.reset(newServiceClient<ZRVMeetingServiceApi>(m_fx.config()->serviceHost,
                                                             m_fx.config()->servicePath));
    c->infoApi->addHeaders("Authorization", "Bearer " + c->login.accessToken);
    c->panel = std::make_unique<ZRV_Meetings>(nullptr, m_fx.config(), c->thread.get(), nullptr);
    Console *raw = c.get();
    QObject::connect(c->panel.get(), &ZRV_Meetings::meetingConfigChanged, c->panel.get(),
                     [raw](ZRV_Service_API::ZRVMeetingInfo info) {
                         raw->infoApi->meetingInfoUpdate(info.getMeetingId(), info);
                     });
    c->panel->resize(791, 379);
    c->panel->show();
    c->panel->setLoginData(&c->login);
    c->panel->refreshMeetings();
    if (waitForOverlay) {
        QDeadlineTimer deadline(kWait);
        while (!c->overlaid() && !deadline.hasExpired())
            QTest::qWait(20);
        if (!c->overlaid())
            return nullptr;
    }
    return c;
}

QJsonObject tst_ZRV_Meetings::simState()
{
    return m_fx.sim().admin("GET", "/_sim/state").object();
}

QJsonObject tst_ZRV_Meetings::simMeeting(const QString &meetingId)
{
    for (const QJsonValue &m : simState().value("meetings").toArray()) {
        if (m.toObject().value("meetingId").toString() == meetingId)
            return m.toObject();
    }
    return QJsonObject();
}

QJsonArray tst_ZRV_Meetings::simMembers(const QString &meetingId)
{
    return simState().value("live").toObject().value(meetingId).toObject().value("clients").toArray();
}

void tst_ZRV_Meetings::fault(const QJsonObject &body)
{
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", body).status, 200);
}

bool tst_ZRV_Meetings::faultsConsumed()
{
    const QByteArray body = m_fx.sim().admin("GET", "/_sim/faults").body;
    const QJsonDocument doc = QJsonDocument::fromJson(body);
    const QJsonArray list = doc.isArray() ? doc.array() : doc.object().value("faults").toArray();
    return list.isEmpty();
}

void tst_ZRV_Meetings::listFollowsRole_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<bool>("creatorShown");
    QTest::addColumn<bool>("adminButtons");

    const QStringList all{"BRD9Q3X1", "ONB3V6P2", "PRL5T8C6", "SHW4N1R8", "WDR7K2M4"};
    QTest::newRow("presenter sees only own meetings") << "presenter" << "presenter123"
                                                      << QStringList{"PRL5T8C6", "WDR7K2M4"} << false << false;
    QTest::newRow("group administrator sees all, creator column, no admin buttons")
        << "groupadmin" << "group123" << all << true << false;
    QTest::newRow("administrator sees all with the admin buttons") << "admin" << "admin123" << all << true << true;
}

void tst_ZRV_Meetings::listFollowsRole()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QStringList, ids);
    QFETCH(bool, creatorShown);
    QFETCH(bool, adminButtons);

    auto c = open(user, password);
    QVERIFY(c);
    QStringList shown;
    for (int row = 0; row < c->meetings()->rowCount(); ++row)
        shown << c->text(row, 0);
    QCOMPARE(shown, ids);
    QCOMPARE(c->meetings()->columnCount(), 8);
    QCOMPARE(c->members()->columnCount(), 6);
    QCOMPARE(c->meetings()->isColumnHidden(4), !creatorShown);
    for (const char *name : {"btnSvcLog", "btnBanlist", "btnMirLog", "btnExportAll"})
        QVERIFY2(c->button(name)->isHidden() == !adminButtons, name);
    QVERIFY(c->button("btnBanUser")->isHidden());
    QVERIFY(c->panel->findChild<QWidget *>("grpBoxMeetings")->isEnabled());
    for (const char *name : {"btnMeetingEdit", "btnMeetingDelete", "btnMeetingActivate", "btnURL", "btnSendMsg"})
        QVERIFY2(!c->button(name)->isEnabled(), name);
    QVERIFY(c->button("btnMeetingCreate")->isEnabled());
}

void tst_ZRV_Meetings::rowPictures_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("lock");
    QTest::addColumn<QString>("voice");
    QTest::addColumn<QString>("users");
    QTest::addColumn<QString>("timeLeft");

    QTest::newRow("running with an end: green, members, minutes left")
        << "wdr7k2m4" << "green.svg" << "lock_open.png" << "mic_talking.png" << "3" << "60 mins";
    QTest::newRow("running without end: blue and infinite")
        << "brd9q3x1" << "blue.svg" << "lock_open.png" << "mic_talking.png" << "3" << "∞";
    QTest::newRow("pending with password: red, locked, no live texts")
        << "onb3v6p2" << "red.svg" << "lock_closed.png" << "mic_talking.png" << "" << "";
    QTest::newRow("pending with voice off: red, microphone off")
        << "shw4n1r8" << "red.svg" << "lock_open.png" << "mic_disabled.png" << "" << "";
}

void tst_ZRV_Meetings::rowPictures()
{
    QFETCH(QString, meetingId);
    QFETCH(QString, status);
    QFETCH(QString, lock);
    QFETCH(QString, voice);
    QFETCH(QString, users);
    QFETCH(QString, timeLeft);

    auto c = open("admin", "admin123");
    QVERIFY(c);
    const int row = c->rowOf(meetingId);
    QVERIFY(row >= 0);
    const QString prefix = QStringLiteral(":/ZRV_ServerApp/");
    QVERIFY(!cellPicture(prefix + status).isNull());
    QCOMPARE(c->picture(c->meetings(), row, 1), cellPicture(prefix + status));
    QCOMPARE(c->picture(c->meetings(), row, 2), cellPicture(prefix + lock));
    QCOMPARE(c->picture(c->meetings(), row, 3), cellPicture(prefix + voice));
    QCOMPARE(c->text(row, 7), users);
    QCOMPARE(c->text(row, 6), timeLeft);
    QCOMPARE(c->meetings()->item(row, 0)->textAlignment(), int(Qt::AlignCenter));
}

void tst_ZRV_Meetings::selectionGating_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<bool>("membersEnabled");
    QTest::addColumn<int>("memberRows");

    QTest::newRow("pending meeting offers Start, no members") << "prl5t8c6" << "&Start" << false << 0;
    QTest::newRow("running meeting offers Stop and lists its members") << "wdr7k2m4" << "&Stop" << true << 3;
}

void tst_ZRV_Meetings::selectionGating()
{
    QFETCH(QString, meetingId);
    QFETCH(QString, caption);
    QFETCH(bool, membersEnabled);
    QFETCH(int, memberRows);

    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    QSignalSpy changed(c->panel.get(), &ZRV_Meetings::meetingChanged);
    c->select(meetingId);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(c->panel->selectedMeeting().getMeetingId(), meetingId);
    for (const char *name : {"btnMeetingEdit", "btnMeetingDelete", "btnMeetingActivate", "btnURL",
                             "btnSendMsg", "btnSpawnPoints"})
        QVERIFY2(c->button(name)->isEnabled(), name);
    QCOMPARE(c->button("btnMeetingActivate")->text(), caption);
    QCOMPARE(c->members()->isEnabled(), membersEnabled);
    // The selection asks for the live list again; its members then fill the table.
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), memberRows, kWait);

    // A new list drops the selection and with it every selection-bound button.
    QSignalSpy listed(c->panel.get(), &ZRV_Meetings::meetingUpdate);
    c->click("btnMeetingRefresh");
    QVERIFY(listed.wait(kWait));
    QCOMPARE(listed.first().first().toInt(), -1);
    QVERIFY(!c->button("btnMeetingActivate")->isEnabled());
    QCOMPARE(c->members()->rowCount(), 0);
    QVERIFY(c->panel->selectedMeeting().getMeetingId().isEmpty());
}

void tst_ZRV_Meetings::createModifyDelete()
{
    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    ModalAnswerer answerer;

    // Create, with a password and voice on with 3D.
    answerer.handle([](QWidget *modal) {
        QTRY_VERIFY(!modal->windowTitle().isEmpty());
        QCOMPARE(modal->windowTitle(), QStringLiteral("Create a new Meeting"));
        QTest::keyClicks(modal->findChild<QLineEdit *>("leTitle"), "Quarterly Review");
        QTest::keyClicks(modal->findChild<QLineEdit *>("lePassword"), "s3cret pass");
        modal->findChild<QComboBox *>("cmbVoiceMode")->setCurrentIndex(1);
        modal->findChild<QComboBox *>("cmbVoice3D")->setCurrentIndex(1);
        QTest::mouseClick(modal->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(kWait);
    c->click("btnMeetingCreate");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOfTitle("Quarterly Review") >= 0, kWait);
    int row = c->rowOfTitle("Quarterly Review");
    const QString meetingId = c->text(row, 0).toLower();
    QJsonObject stored = simMeeting(meetingId);
    QCOMPARE(stored.value("status").toString(), QStringLiteral("pending"));
    QCOMPARE(stored.value("creator").toString(), QStringLiteral("presenter"));
    QCOMPARE(stored.value("audioMode").toInt(), 1);
    QCOMPARE(stored.value("audioMode3D").toInt(), 10);
    QCOMPARE(stored.value("password").toString(), shaOf("s3cret pass"));
    QCOMPARE(stored.value("password").toString().size(), 88);
    QTRY_COMPARE_WITH_TIMEOUT(c->picture(c->meetings(), row, 2), cellPicture(":/ZRV_ServerApp/lock_closed.png"), kWait);

    // Modify the title only: the stored password hash stays as it was.
    c->select(meetingId);
    answerer.handle([](QWidget *modal) {
        QTRY_COMPARE(modal->windowTitle(), QStringLiteral("Modify a Meeting"));
        auto *pw = modal->findChild<QLineEdit *>("lePassword");
        QCOMPARE(pw->text(), QStringLiteral("••••••••"));
        auto *title = modal->findChild<QLineEdit *>("leTitle");
        title->clear();
        QTest::keyClicks(title, "Quarterly Review II");
        QTest::mouseClick(modal->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(kWait);
    c->click("btnMeetingEdit");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOfTitle("Quarterly Review II") >= 0, kWait);
    stored = simMeeting(meetingId);
    QCOMPARE(stored.value("title").toString(), QStringLiteral("Quarterly Review II"));
    QCOMPARE(stored.value("password").toString(), shaOf("s3cret pass"));

    // Delete: No keeps it, Yes removes it.
    c->select(meetingId);
    answerer.pressButton(QMessageBox::No);
    answerer.arm(kWait);
    c->click("btnMeetingDelete");
    QCOMPARE(answerer.seen().last().title, QStringLiteral("Remove Meeting"));
    QCOMPARE(answerer.seen().last().text,
             QStringLiteral("Do you realy want to finally remove meeting %1?").arg(meetingId));
    QVERIFY(!simMeeting(meetingId).isEmpty());

    answerer.pressButton(QMessageBox::Yes);
    answerer.arm(kWait);
    c->click("btnMeetingDelete");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf(meetingId) < 0, kWait);
    QVERIFY(simMeeting(meetingId).isEmpty());
    QCOMPARE(c->meetings()->rowCount(), 2);
}

void tst_ZRV_Meetings::startAndStop()
{
    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->select("prl5t8c6");
    QCOMPARE(c->button("btnMeetingActivate")->text(), QStringLiteral("&Start"));
    c->click("btnMeetingActivate");
    QTRY_COMPARE_WITH_TIMEOUT(simMeeting("prl5t8c6").value("status").toString(), QStringLiteral("active"), kWait);
    // The list follows by itself, and the overlay paints the row as running.
    int row = c->rowOf("prl5t8c6");
    QTRY_COMPARE_WITH_TIMEOUT(c->picture(c->meetings(), row, 1), cellPicture(":/ZRV_ServerApp/green.svg"), kWait);
    QCOMPARE(c->text(row, 7), QStringLiteral("0"));
    QVERIFY(c->text(row, 6).endsWith(" mins"));

    c->select("prl5t8c6");
    QCOMPARE(c->button("btnMeetingActivate")->text(), QStringLiteral("&Stop"));
    QVERIFY(c->members()->isEnabled());
    c->click("btnMeetingActivate");
    QTRY_COMPARE_WITH_TIMEOUT(simMeeting("prl5t8c6").value("status").toString(), QStringLiteral("pending"), kWait);
    row = c->rowOf("prl5t8c6");
    QTRY_COMPARE_WITH_TIMEOUT(c->picture(c->meetings(), row, 1), cellPicture(":/ZRV_ServerApp/red.svg"), kWait);
    QCOMPARE(c->text(row, 7), QString());
    QCOMPARE(c->text(row, 6), QString());
}

void tst_ZRV_Meetings::registryRefusals_data()
{
    QTest::addColumn<bool>("viaEditor");
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("boxShown");

    QTest::newRow("403 on start") << false << 403 << true;
    QTest::newRow("403 on modify") << true << 403 << true;
    QTest::newRow("402 licence limit on start") << false << 402 << true;
    QTest::newRow("405 licence limit on modify") << true << 405 << true;
    QTest::newRow("500 on start is only logged") << false << 500 << false;
}

void tst_ZRV_Meetings::registryRefusals()
{
    QFETCH(bool, viaEditor);
    QFETCH(int, status);
    QFETCH(bool, boxShown);

    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->select("prl5t8c6");
    fault({{"path", QString::fromLatin1(ConsoleFixture::MeetingBase) + "/meetings/prl5t8c6"},
           {"status", status}, {"message", "Refused by test"}});

    ModalAnswerer answerer;
    if (viaEditor) {
        answerer.handle([](QWidget *modal) {
            QTRY_VERIFY(!modal->windowTitle().isEmpty());
            QTest::mouseClick(modal->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
        });
    }
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    c->click(viaEditor ? "btnMeetingEdit" : "btnMeetingActivate");
    QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);
    const int before = viaEditor ? 1 : 0;
    if (boxShown) {
        QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), before + 1, kWait);
        const ModalAnswerer::Seen box = answerer.seen().last();
        QCOMPARE(box.title, QStringLiteral("Cannot start meeting"));
        QCOMPARE(box.text, QStringLiteral("Not allowed to modify meeting."));
        QCOMPARE(box.buttons.size(), 1);
    } else {
        // A full list round trip later, still no box.
        QSignalSpy listed(c->panel.get(), &ZRV_Meetings::meetingUpdate);
        c->click("btnMeetingRefresh");
        QVERIFY(listed.wait(kWait));
        QCOMPARE(answerer.seen().size(), before);
    }
    QCOMPARE(simMeeting("prl5t8c6").value("status").toString(), QStringLiteral("pending"));
}

void tst_ZRV_Meetings::failedListEndsProcess()
{
    fault({{"path", QString::fromLatin1(ConsoleFixture::MeetingBase) + "/meetings"}, {"status", 503},
           {"message", "Registry down for test"}});
    auto c = open("presenter", "presenter123", false);
    QVERIFY(c);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    QSignalSpy exits(c->panel.get(), &ZRV_Meetings::exitApp);
    QVERIFY(exits.wait(kWait));
    QCOMPARE(answerer.seen().size(), 1);
    const ModalAnswerer::Seen box = answerer.seen().first();
    QCOMPARE(box.title, QStringLiteral("Cannot connect to meeting service"));
    QVERIFY2(box.text.startsWith("Connecting to meeting service failed. Please try again later.\nError Message: "),
             qPrintable(box.text));
    QVERIFY2(box.text.contains("Registry down for test"), qPrintable(box.text));
    QCOMPARE(box.buttons.size(), 1);
    QCOMPARE(c->meetings()->rowCount(), 0);
}

void tst_ZRV_Meetings::startWithoutLiveRecord()
{
    // The live list fails for the load and for the selection: no live record at all.
    fault({{"path", QString::fromLatin1(ConsoleFixture::ServiceBase) + "/zrv/svc/meetings"},
           {"status", 503}, {"count", 2}});
    auto c = open("presenter", "presenter123", false);
    QVERIFY(c);
    QTRY_COMPARE_WITH_TIMEOUT(c->meetings()->rowCount(), 2, kWait);
    c->select("prl5t8c6");
    QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    c->click("btnMeetingActivate");
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error changing meeting status"));
    QCOMPARE(answerer.seen().first().text,
             QStringLiteral("There was an error changing the status of the meeting. Please refresh the "
                            "meeting list and try again later."));
    QCOMPARE(simMeeting("prl5t8c6").value("status").toString(), QStringLiteral("pending"));
}

void tst_ZRV_Meetings::memberCaptions_data()
{
    QTest::addColumn<int>("memberRow");
    QTest::addColumn<int>("voiceMode");
    QTest::addColumn<QString>("presenterCaption");
    QTest::addColumn<bool>("muteEnabled");

    QTest::newRow("the presenter can have the role taken") << 0 << 1 << "Take Presenter" << true;
    QTest::newRow("a guest can be given the role") << 1 << 1 << "Give Presenter" << true;
    QTest::newRow("voice off in the meeting: no muting") << 1 << 0 << "Give Presenter" << false;
}

void tst_ZRV_Meetings::memberCaptions()
{
    QFETCH(int, memberRow);
    QFETCH(int, voiceMode);
    QFETCH(QString, presenterCaption);
    QFETCH(bool, muteEnabled);

    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->infoApi->meetingInfoUpdate("wdr7k2m4", [voiceMode]() {
        ZRV_Service_API::ZRVMeetingInfo info;
        info.setVoiceMode(voiceMode);
        return info;
    }());
    QTRY_COMPARE_WITH_TIMEOUT(simState().value("live").toObject().value("wdr7k2m4").toObject().value("voiceMode").toInt(),
                              voiceMode, kWait);
    c->select("wdr7k2m4");
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), 3, kWait);
    c->members()->selectRow(memberRow);
    QCOMPARE(c->button("btnPresenter")->text(), presenterCaption);
    QCOMPARE(c->button("btnMuteUser")->text(), QStringLiteral("Mute"));
    QCOMPARE(c->button("btnMuteUser")->isEnabled(), muteEnabled);
    QVERIFY(c->button("btnKickUser")->isEnabled());
    QCOMPARE(c->members()->item(memberRow, 2)->text(),
             simMembers("wdr7k2m4").at(memberRow).toObject().value("Alias").toString());
}

void tst_ZRV_Meetings::muteAndPresenterReachService()
{
    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->select("wdr7k2m4");
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), 3, kWait);
    c->members()->selectRow(1);
    QCOMPARE(c->members()->item(1, 4)->text(), QStringLiteral("User"));

    c->click("btnMuteUser");
    QCOMPARE(c->button("btnMuteUser")->text(), QStringLiteral("Unmute"));
    QTRY_VERIFY_WITH_TIMEOUT(!simMembers("wdr7k2m4").at(1).toObject().value("voiceEnabled").toBool(), kWait);
    // The next poll shows the member muted.
    c->thread->getMeetingsInfo();
    QTRY_COMPARE_WITH_TIMEOUT(c->picture(c->members(), 1, 1), cellPicture(":/ZRV_ServerApp/mic_disabled.png"), kWait);

    c->click("btnPresenter");
    QCOMPARE(c->members()->item(1, 4)->text(), QStringLiteral("Presenter"));
    QCOMPARE(c->button("btnPresenter")->text(), QStringLiteral("Take Presenter"));
    QTRY_COMPARE_WITH_TIMEOUT(simMembers("wdr7k2m4").at(1).toObject().value("currentRole").toString(),
                              QStringLiteral("Presenter"), kWait);
    // Several presenters at once are allowed.
    QCOMPARE(simMembers("wdr7k2m4").at(0).toObject().value("currentRole").toString(), QStringLiteral("Presenter"));

    // Unmute goes back by the caption.
    c->click("btnMuteUser");
    QTRY_VERIFY_WITH_TIMEOUT(simMembers("wdr7k2m4").at(1).toObject().value("voiceEnabled").toBool(), kWait);
}

void tst_ZRV_Meetings::kick_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<int>("membersLeft");

    QTest::newRow("Yes removes the member") << int(QMessageBox::Yes) << 2;
    QTest::newRow("No keeps the member") << int(QMessageBox::No) << 3;
}

void tst_ZRV_Meetings::kick()
{
    QFETCH(int, answer);
    QFETCH(int, membersLeft);

    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->select("wdr7k2m4");
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), 3, kWait);
    c->members()->selectRow(2);
    const QString alias = c->members()->item(2, 2)->text();

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::StandardButton(answer));
    answerer.arm(kWait);
    c->click("btnKickUser");
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Kick User"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Kick user %1 from meeting wdr7k2m4?").arg(alias));
    if (membersLeft < 3)
        QTRY_COMPARE_WITH_TIMEOUT(simMembers("wdr7k2m4").size(), membersLeft, kWait);
    // The table follows only with the next live list.
    c->thread->getMeetingsInfo();
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), membersLeft, kWait);
    QCOMPARE(simMembers("wdr7k2m4").size(), membersLeft);
}

void tst_ZRV_Meetings::sendMessage_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("confirm");
    QTest::addColumn<bool>("sent");

    QTest::newRow("confirmed text reaches the meeting") << "Break until ten past" << true << true;
    QTest::newRow("cancelled text stays") << "Never sent" << false << false;
    QTest::newRow("empty text is not sent") << "" << true << false;
}

void tst_ZRV_Meetings::sendMessage()
{
    QFETCH(QString, message);
    QFETCH(bool, confirm);
    QFETCH(bool, sent);

    auto c = open("presenter", "presenter123");
    QVERIFY(c);
    c->select("wdr7k2m4");
    QString title, label;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *modal) {
        auto *input = qobject_cast<QInputDialog *>(modal);
        QVERIFY(input);
        title = input->windowTitle();
        label = input->labelText();
        input->setTextValue(message);
        if (confirm)
            input->accept();
        else
            input->reject();
    });
    answerer.arm(kWait);
    c->click("btnSendMsg");
    QCOMPARE(title, QStringLiteral("Send Message to Meeting WDR7K2M4"));
    QCOMPARE(label, QStringLiteral("Message:"));

    // A refusal of the same path after the message proves it went first, or not at all.
    auto logged = [this, message]() {
        const QJsonArray lines = simState().value("meetingLogs").toObject().value("wdr7k2m4").toArray();
        for (const QJsonValue &line : lines) {
            if (!message.isEmpty() && line.toString().contains(message))
                return true;
        }
        return false;
    };
    if (sent) {
        QTRY_VERIFY_WITH_TIMEOUT(logged(), kWait);
    } else {
        c->thread->sendMeetingCommand("wdr7k2m4", "SendMessage", {"marker after"});
        QTRY_VERIFY_WITH_TIMEOUT(simState().value("meetingLogs").toObject().value("wdr7k2m4").toArray()
                                     .last().toString().contains("marker after"), kWait);
        QVERIFY(!logged());
    }
}

void tst_ZRV_Meetings::inviteUrl_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<bool>("protectedMeeting");

    QTest::newRow("open meeting: its id only") << "presenter" << "presenter123" << "wdr7k2m4" << false;
    QTest::newRow("protected meeting: the stored hash, encoded") << "groupadmin" << "group123" << "onb3v6p2" << true;
}

void tst_ZRV_Meetings::inviteUrl()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QString, meetingId);
    QFETCH(bool, protectedMeeting);

    auto c = open(user, password);
    QVERIFY(c);
    c->select(meetingId);
    QApplication::clipboard()->clear();
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    c->click("btnURL");
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Invite URL Copied To Clipboard"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("The meeting invite URL has been copied to the clipboard."));

    const QString text = QApplication::clipboard()->text();
    const QUrl url(text);
    const QUrl host(m_fx.config()->serviceHost);
    QCOMPARE(url.scheme(), host.scheme());
    QCOMPARE(url.host(), host.host());
    QCOMPARE(url.port(), -1);
    QCOMPARE(url.path(), QStringLiteral("/"));
    const QUrlQuery query(url);
    QCOMPARE(query.queryItemValue("meetingid"), meetingId);
    QCOMPARE(query.hasQueryItem("pwd"), protectedMeeting);
    if (protectedMeeting) {
        const QString stored = simMeeting(meetingId).value("password").toString();
        QCOMPARE(stored, shaOf("welcome"));
        QCOMPARE(query.queryItemValue("pwd", QUrl::FullyDecoded), stored);
        // '+', '/' and '=' of the hash go out percent-encoded.
        QVERIFY2(!text.section("pwd=", 1).contains('+') && !text.section("pwd=", 1).contains('/'), qPrintable(text));
    } else {
        QCOMPARE(text, QStringLiteral("%1://%2/?meetingid=%3").arg(host.scheme(), host.host(), meetingId));
    }
}

QTEST_MAIN(tst_ZRV_Meetings)
#include "tst_ZRV_Meetings.moc"
