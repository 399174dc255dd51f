// The meetings panel against the simulator over real HTTP: the list and its
// live overlay, gating, the changes that reach the registry, moderation of a
// running meeting, and the registry's refusals.

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QInputDialog>
#include <QJsonArray>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QUrlQuery>
#include <QtTest>

#include <memory>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRVMeetingServiceApi.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_Meetings.h"
#include "ZRV_ServerApp.h"
#include "ZRV_ServiceEndpoint.h"

using ZRV_Service_API::ZRVMeetingServiceApi;

namespace {

const int kWait = 10000;
const QString kPictures = QStringLiteral(":/ZRV_ServerApp/");

QImage cellPicture(const QString &name)
{
    return QPixmap(kPictures + name).scaled(17, 17, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).toImage();
}

QString shaOf(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

void pressOk(QWidget *dialog)
{
    QTest::mouseClick(dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
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
    void click(const char *name) { QTest::mouseClick(button(name), Qt::LeftButton); }
    int rowOf(const QString &text, int column = 0) const
    {
        const auto found = meetings()->findItems(text, Qt::MatchExactly);
        for (const QTableWidgetItem *cell : found) {
            if (cell->column() == column)
                return cell->row();
        }
        return -1;
    }
    void select(const QString &meetingId) { meetings()->selectRow(rowOf(meetingId.toUpper())); }
    QString text(const QString &meetingId, int column) const
    {
        const QTableWidgetItem *cell = meetings()->item(rowOf(meetingId.toUpper()), column);
        return cell ? cell->text() : QStringLiteral("<none>");
    }
    static QImage picture(QTableWidget *table, int row, int column)
    {
        auto *label = qobject_cast<QLabel *>(table->cellWidget(row, column));
        return label ? label->pixmap(Qt::ReturnByValue).toImage() : QImage();
    }
    QImage status(const QString &meetingId) const { return picture(meetings(), rowOf(meetingId.toUpper()), 1); }
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
    void liveListWithoutMeetingKeepsStatus();
    void createModifyDelete();
    void startAndStop();
    void registryRefusals_data();
    void registryRefusals();
    void failedListEndsProcess();
    void startWithoutLiveRecord();
    void muteAndPresenterReachService();
    void kick_data();
    void kick();
    void sendMessage_data();
    void sendMessage();
    void inviteUrl_data();
    void inviteUrl();

private:
    std::unique_ptr<Console> open(const QString &user, bool waitForOverlay = true);
    std::unique_ptr<Console> openOnMembers(); // presenter, running meeting selected
    QJsonObject sim(const QString &section, const QString &meetingId);
    void fault(const QString &path, int status, int count = 1);
    bool faultsConsumed() { return m_fx.sim().admin("GET", "/_sim/faults").object().value("faults").toArray().isEmpty(); }

    ConsoleFixture m_fx;
};

void tst_ZRV_Meetings::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QVERIFY2(m_fx.start({"--simulate-life", "off"}), qPrintable(m_fx.errorText()));
}

void tst_ZRV_Meetings::init()
{
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/reset").status, 200);
}

std::unique_ptr<Console> tst_ZRV_Meetings::open(const QString &user, bool waitForOverlay)
{
    const QMap<QString, QString> passwords{
        {"presenter", "presenter123"}, {"groupadmin", "group123"}, {"admin", "admin123"}};
    auto c = std::make_unique<Console>();
    if (!m_fx.signIn(user, passwords.value(user), &c->login))
        return nullptr;
    c->thread = std::make_unique<ZRV_MeetingsInfoThread>(nullptr, m_fx.config());
    c->thread->setLoginData(&c->login);
    c->infoApi.reset(newServiceClient<ZRVMeetingServiceApi>(m_fx.config()->serviceHost, m_fx.config()->servicePath));
    c->infoApi->addHeaders("Authorization", "Bearer " + c->login.accessToken);
    c->panel = std::make_unique<ZRV_Meetings>(nullptr, m_fx.config(), c->thread.get(), nullptr);
    ZRVMeetingServiceApi *api = c->infoApi.get();
    connect(c->panel.get(), &ZRV_Meetings::meetingConfigChanged, api,
            [api](ZRV_Service_API::ZRVMeetingInfo info) { api->meetingInfoUpdate(info.getMeetingId(), info); });
    c->panel->resize(791, 379);
    c->panel->show();
    c->panel->setLoginData(&c->login);
    c->panel->refreshMeetings();
    Console *raw = c.get();
    if (waitForOverlay && !QTest::qWaitFor([raw]() { return raw->meetings()->cellWidget(0, 1); }, kWait))
        return nullptr;
    return c;
}

std::unique_ptr<Console> tst_ZRV_Meetings::openOnMembers()
{
    auto c = open("presenter");
    if (c) {
        c->select("wdr7k2m4");
        Console *raw = c.get();
        if (!QTest::qWaitFor([raw]() { return raw->members()->rowCount() == 3; }, kWait))
            return nullptr;
    }
    return c;
}

// A meeting's registry record ("meetings"), live record ("live") or log ("meetingLogs") in the simulator.
QJsonObject tst_ZRV_Meetings::sim(const QString &section, const QString &meetingId)
{
    const QJsonObject state = m_fx.sim().admin("GET", "/_sim/state").object();
    if (section == "meetingLogs")
        return {{"lines", state.value(section).toObject().value(meetingId)}};
    if (section == "live")
        return state.value(section).toObject().value(meetingId).toObject();
    for (const QJsonValue &m : state.value(section).toArray()) {
        if (m.toObject().value("meetingId").toString() == meetingId)
            return m.toObject();
    }
    return {};
}

void tst_ZRV_Meetings::fault(const QString &path, int status, int count)
{
    const QJsonObject body{{"path", path}, {"status", status}, {"count", count}, {"message", "Refused by test"}};
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", body).status, 200);
}

void tst_ZRV_Meetings::listFollowsRole_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QStringList>("ids");
    QTest::addColumn<bool>("creatorShown");
    QTest::addColumn<bool>("adminButtons");

    const QStringList all{"BRD9Q3X1", "ONB3V6P2", "PRL5T8C6", "SHW4N1R8", "WDR7K2M4"};
    QTest::newRow("presenter sees only own meetings") << "presenter" << QStringList{"PRL5T8C6", "WDR7K2M4"} << false << false;
    QTest::newRow("group administrator sees all, creator column, no admin buttons") << "groupadmin" << all << true << false;
    QTest::newRow("administrator sees all with the admin buttons") << "admin" << all << true << true;
}

void tst_ZRV_Meetings::listFollowsRole()
{
    QFETCH(QString, user);
    QFETCH(QStringList, ids);
    QFETCH(bool, creatorShown);
    QFETCH(bool, adminButtons);

    auto c = open(user);
    QVERIFY(c);
    QStringList shown;
    for (int row = 0; row < c->meetings()->rowCount(); ++row)
        shown << c->meetings()->item(row, 0)->text();
    QCOMPARE(shown, ids);
    QCOMPARE(c->meetings()->columnCount(), 8);
    QCOMPARE(c->members()->columnCount(), 6);
    QCOMPARE(c->meetings()->isColumnHidden(4), !creatorShown);
    for (const char *name : {"btnSvcLog", "btnBanlist", "btnMirLog", "btnExportAll"})
        QVERIFY2(c->button(name)->isHidden() == !adminButtons, name);
    QVERIFY(c->button("btnBanUser")->isHidden());
    for (const char *name : {"btnMeetingEdit", "btnMeetingDelete", "btnMeetingActivate", "btnURL", "btnSendMsg",
                             "btnMuteUser", "btnKickUser", "btnPresenter"})
        QVERIFY2(!c->button(name)->isEnabled(), name);
    QVERIFY(c->button("btnMeetingCreate")->isEnabled());
}

void tst_ZRV_Meetings::rowPictures_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QStringList>("pictures"); // status, lock, voice
    QTest::addColumn<QString>("users");
    QTest::addColumn<QString>("timeLeft");

    QTest::newRow("running with an end: green, members, minutes left")
        << "wdr7k2m4" << QStringList{"green.svg", "lock_open.png", "mic_talking.png"} << "3" << "60 mins";
    QTest::newRow("running without end: blue and infinite")
        << "brd9q3x1" << QStringList{"blue.svg", "lock_open.png", "mic_talking.png"} << "3" << "∞";
    QTest::newRow("pending with password: red, locked, no live texts")
        << "onb3v6p2" << QStringList{"red.svg", "lock_closed.png", "mic_talking.png"} << "" << "";
    QTest::newRow("pending with voice off: microphone off")
        << "shw4n1r8" << QStringList{"red.svg", "lock_open.png", "mic_disabled.png"} << "" << "";
}

void tst_ZRV_Meetings::rowPictures()
{
    QFETCH(QString, meetingId);
    QFETCH(QStringList, pictures);
    QFETCH(QString, users);
    QFETCH(QString, timeLeft);

    auto c = open("admin");
    QVERIFY(c);
    const int row = c->rowOf(meetingId.toUpper());
    for (int i = 0; i < pictures.size(); ++i) {
        QVERIFY(!cellPicture(pictures.at(i)).isNull());
        QVERIFY2(Console::picture(c->meetings(), row, 1 + i) == cellPicture(pictures.at(i)), qPrintable(pictures.at(i)));
    }
    QCOMPARE(c->text(meetingId, 7), users);
    QCOMPARE(c->text(meetingId, 6), timeLeft);
}

void tst_ZRV_Meetings::liveListWithoutMeetingKeepsStatus()
{
    auto c = open("admin");
    QVERIFY(c);
    QCOMPARE(c->text("wdr7k2m4", 7), QStringLiteral("3"));
    // A live list that is no JSON reads as empty: every meeting drops out of it.
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", {{"shape", "not-json"},
             {"path", QString::fromLatin1(ConsoleFixture::ServiceBase) + "/zrv/svc/meetings"}}).status, 200);
    int polls = 0;
    connect(c->thread.get(), &ZRV_MeetingsInfoThread::meetingsInfo, c->panel.get(), [&polls]() { ++polls; });
    c->thread->getMeetingsInfo();
    QTRY_COMPARE_WITH_TIMEOUT(polls, 1, kWait);
    QCOMPARE(c->meetings()->rowCount(), 5);
    QCOMPARE(c->text("wdr7k2m4", 7), QString());
    QCOMPARE(c->text("wdr7k2m4", 6), QString());
    QCOMPARE(c->status("wdr7k2m4"), cellPicture("green.svg"));
    QCOMPARE(c->status("brd9q3x1"), cellPicture("blue.svg"));
}

void tst_ZRV_Meetings::createModifyDelete()
{
    auto c = open("presenter");
    QVERIFY(c);
    ModalAnswerer answerer;
    answerer.handle([](QWidget *editor) {
        QTRY_COMPARE(editor->windowTitle(), QStringLiteral("Create a new Meeting"));
        QTest::keyClicks(editor->findChild<QLineEdit *>("leTitle"), "Quarterly Review");
        QTest::keyClicks(editor->findChild<QLineEdit *>("lePassword"), "s3cret pass");
        editor->findChild<QComboBox *>("cmbVoiceMode")->setCurrentIndex(1);
        editor->findChild<QComboBox *>("cmbVoice3D")->setCurrentIndex(1);
        pressOk(editor);
    });
    answerer.arm(kWait);
    c->click("btnMeetingCreate");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf("Quarterly Review", 5) >= 0, kWait);
    const QString meetingId = c->meetings()->item(c->rowOf("Quarterly Review", 5), 0)->text().toLower();
    QJsonObject stored = sim("meetings", meetingId);
    QCOMPARE(stored.value("status").toString(), QStringLiteral("pending"));
    QCOMPARE(stored.value("creator").toString(), QStringLiteral("presenter"));
    QCOMPARE(stored.value("audioMode3D").toInt(), 10);
    QCOMPARE(stored.value("password").toString(), shaOf("s3cret pass"));

    // Modify the title only: the stored hash stays, no hash of the bullets goes out.
    c->select(meetingId);
    answerer.handle([](QWidget *editor) {
        QTRY_COMPARE(editor->windowTitle(), QStringLiteral("Modify a Meeting"));
        QCOMPARE(editor->findChild<QLineEdit *>("lePassword")->text(), QStringLiteral("••••••••"));
        editor->findChild<QLineEdit *>("leTitle")->setText("Quarterly Review II");
        pressOk(editor);
    });
    answerer.arm(kWait);
    c->click("btnMeetingEdit");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf("Quarterly Review II", 5) >= 0, kWait);
    QCOMPARE(sim("meetings", meetingId).value("password").toString(), shaOf("s3cret pass"));

    // Delete: No keeps it, Yes removes it.
    for (QMessageBox::StandardButton answer : {QMessageBox::No, QMessageBox::Yes}) {
        c->select(meetingId);
        answerer.pressButton(answer);
        answerer.arm(kWait);
        c->click("btnMeetingDelete");
        QCOMPARE(answerer.seen().last().title, QStringLiteral("Remove Meeting"));
        QCOMPARE(answerer.seen().last().text, QStringLiteral("Do you realy want to finally remove meeting %1?").arg(meetingId));
    }
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf(meetingId.toUpper()) < 0, kWait);
    QVERIFY(sim("meetings", meetingId).isEmpty());
    QCOMPARE(c->meetings()->rowCount(), 2);
}

void tst_ZRV_Meetings::startAndStop()
{
    auto c = open("presenter");
    QVERIFY(c);
    c->select("prl5t8c6");
    QCOMPARE(c->button("btnMeetingActivate")->text(), QStringLiteral("&Start"));
    QVERIFY(!c->members()->isEnabled());
    c->click("btnMeetingActivate");
    QTRY_COMPARE_WITH_TIMEOUT(sim("meetings", "prl5t8c6").value("status").toString(), QStringLiteral("active"), kWait);
    // The list follows by itself; the new list drops the selection.
    QTRY_COMPARE_WITH_TIMEOUT(c->status("prl5t8c6"), cellPicture("green.svg"), kWait);
    QCOMPARE(c->text("prl5t8c6", 7), QStringLiteral("0"));
    QVERIFY(c->text("prl5t8c6", 6).endsWith(" mins"));
    QVERIFY(!c->button("btnMeetingActivate")->isEnabled());

    c->select("prl5t8c6");
    QCOMPARE(c->button("btnMeetingActivate")->text(), QStringLiteral("&Stop"));
    QVERIFY(c->members()->isEnabled());
    c->click("btnMeetingActivate");
    QTRY_COMPARE_WITH_TIMEOUT(sim("meetings", "prl5t8c6").value("status").toString(), QStringLiteral("pending"), kWait);
    QTRY_COMPARE_WITH_TIMEOUT(c->status("prl5t8c6"), cellPicture("red.svg"), kWait);
    QCOMPARE(c->text("prl5t8c6", 7), QString());
    QCOMPARE(c->text("prl5t8c6", 6), QString());
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

    auto c = open("presenter");
    QVERIFY(c);
    c->select("prl5t8c6");
    fault(QString::fromLatin1(ConsoleFixture::MeetingBase) + "/meetings/prl5t8c6", status);
    ModalAnswerer answerer;
    if (viaEditor) {
        answerer.handle([](QWidget *editor) {
            QTRY_VERIFY(!editor->windowTitle().isEmpty());
            pressOk(editor);
        });
    }
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    c->click(viaEditor ? "btnMeetingEdit" : "btnMeetingActivate");
    QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);
    const int editorSeen = viaEditor ? 1 : 0;
    if (boxShown) {
        QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), editorSeen + 1, kWait);
        QCOMPARE(answerer.seen().last().title, QStringLiteral("Cannot start meeting"));
        QCOMPARE(answerer.seen().last().text, QStringLiteral("Not allowed to modify meeting."));
        QCOMPARE(answerer.seen().last().buttons.size(), 1);
    } else {
        // A list round trip later, still no box.
        QSignalSpy listed(c->panel.get(), &ZRV_Meetings::meetingUpdate);
        c->click("btnMeetingRefresh");
        QVERIFY(listed.wait(kWait));
        QCOMPARE(answerer.seen().size(), editorSeen);
    }
    QCOMPARE(sim("meetings", "prl5t8c6").value("status").toString(), QStringLiteral("pending"));
}

void tst_ZRV_Meetings::failedListEndsProcess()
{
    // The whole console: its panel's first list fails, and the process ends.
    fault(QString::fromLatin1(ConsoleFixture::MeetingBase) + "/meetings", 503);
    m_fx.clearExitCodes();
    ConsoleDriver driver("presenter", {"presenter123"});
    ZRV_ServerApp window(ConsoleDriver::arguments(m_fx.iniPath()));
    window.show();
    QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.exitCodes(), QList<int>{0}, kWait);
    QCOMPARE(driver.boxes().size(), 1);
    const QString box = driver.boxes().first();
    QVERIFY2(box.startsWith("Cannot connect to meeting service: Connecting to meeting service failed. "
                            "Please try again later.\nError Message: "), qPrintable(box));
    QVERIFY2(box.endsWith("[1 buttons]") && box.contains("Refused by test"), qPrintable(box));
    QCOMPARE(window.findChild<QTableWidget *>("tblMeetings")->rowCount(), 0);
}

void tst_ZRV_Meetings::startWithoutLiveRecord()
{
    // The live list fails for the load and for the selection: no live record at all.
    fault(QString::fromLatin1(ConsoleFixture::ServiceBase) + "/zrv/svc/meetings", 503, 2);
    auto c = open("presenter", false);
    QVERIFY(c);
    QTRY_COMPARE_WITH_TIMEOUT(c->meetings()->rowCount(), 2, kWait);
    c->select("prl5t8c6");
    QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);
    QVERIFY(!c->meetings()->cellWidget(0, 1)); // the status column was never painted

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(kWait);
    c->click("btnMeetingActivate");
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Error changing meeting status"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("There was an error changing the status of the meeting. "
                                                          "Please refresh the meeting list and try again later."));
    QCOMPARE(sim("meetings", "prl5t8c6").value("status").toString(), QStringLiteral("pending"));
}

void tst_ZRV_Meetings::muteAndPresenterReachService()
{
    auto c = openOnMembers();
    QVERIFY(c);
    auto member = [this](int index) { return sim("live", "wdr7k2m4").value("clients").toArray().at(index).toObject(); };
    c->members()->selectRow(0);
    QCOMPARE(c->button("btnPresenter")->text(), QStringLiteral("Take Presenter"));
    c->members()->selectRow(1);
    QCOMPARE(c->button("btnPresenter")->text(), QStringLiteral("Give Presenter"));
    QCOMPARE(c->button("btnMuteUser")->text(), QStringLiteral("Mute"));
    QCOMPARE(c->members()->item(1, 2)->text(), member(1).value("Alias").toString());

    c->click("btnMuteUser");
    QCOMPARE(c->button("btnMuteUser")->text(), QStringLiteral("Unmute"));
    QTRY_VERIFY_WITH_TIMEOUT(!member(1).value("voiceEnabled").toBool(), kWait);
    c->thread->getMeetingsInfo(); // the main window's next poll
    QTRY_COMPARE_WITH_TIMEOUT(Console::picture(c->members(), 1, 1), cellPicture("mic_disabled.png"), kWait);

    c->click("btnPresenter");
    QCOMPARE(c->members()->item(1, 4)->text(), QStringLiteral("Presenter"));
    QCOMPARE(c->button("btnPresenter")->text(), QStringLiteral("Take Presenter"));
    QTRY_COMPARE_WITH_TIMEOUT(member(1).value("currentRole").toString(), QStringLiteral("Presenter"), kWait);
    QCOMPARE(member(0).value("currentRole").toString(), QStringLiteral("Presenter")); // several may hold it

    c->click("btnMuteUser"); // the caption says Unmute, so this unmutes
    QTRY_VERIFY_WITH_TIMEOUT(member(1).value("voiceEnabled").toBool(), kWait);

    // With voice off in the meeting, selecting a member offers no muting.
    ZRV_Service_API::ZRVMeetingInfo voiceOff;
    voiceOff.setVoiceMode(0);
    c->infoApi->meetingInfoUpdate("wdr7k2m4", voiceOff);
    QTRY_COMPARE_WITH_TIMEOUT(sim("live", "wdr7k2m4").value("voiceMode").toInt(), 0, kWait);
    int polls = 0;
    connect(c->thread.get(), &ZRV_MeetingsInfoThread::meetingsInfo, c->panel.get(), [&polls]() { ++polls; });
    c->thread->getMeetingsInfo();
    QTRY_COMPARE_WITH_TIMEOUT(polls, 1, kWait);
    c->members()->selectRow(2);
    QVERIFY(!c->button("btnMuteUser")->isEnabled());
    QVERIFY(c->button("btnKickUser")->isEnabled());
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

    auto c = openOnMembers();
    QVERIFY(c);
    c->members()->selectRow(2);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::StandardButton(answer));
    answerer.arm(kWait);
    c->click("btnKickUser");
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Kick User"));
    QCOMPARE(answerer.seen().first().text,
             QStringLiteral("Kick user %1 from meeting wdr7k2m4?").arg(c->members()->item(2, 2)->text()));
    QTRY_COMPARE_WITH_TIMEOUT(sim("live", "wdr7k2m4").value("clients").toArray().size(), membersLeft, kWait);
    c->thread->getMeetingsInfo(); // the table follows with the next poll
    QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), membersLeft, kWait);
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

    auto c = open("presenter");
    QVERIFY(c);
    c->select("wdr7k2m4");
    ModalAnswerer answerer;
    QString label;
    answerer.handle([&](QWidget *modal) {
        auto *input = qobject_cast<QInputDialog *>(modal);
        label = input->labelText();
        input->setTextValue(message);
        confirm ? input->accept() : input->reject();
    });
    answerer.arm(kWait);
    c->click("btnSendMsg");
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Send Message to Meeting WDR7K2M4"));
    QCOMPARE(label, QStringLiteral("Message:"));

    // A later command on the same meeting: once it is in, a message sent before it had its chance.
    c->thread->sendMeetingCommand("wdr7k2m4", "SendMessage", {"marker after"});
    auto logged = [this](const QString &text) {
        const QJsonArray lines = sim("meetingLogs", "wdr7k2m4").value("lines").toArray();
        return std::any_of(lines.begin(), lines.end(), [&text](const QJsonValue &line) {
            return line.toString().endsWith(QStringLiteral("Message to all: ") + text);
        });
    };
    QTRY_VERIFY_WITH_TIMEOUT(logged("marker after"), kWait);
    if (sent)
        QTRY_VERIFY_WITH_TIMEOUT(logged(message), kWait);
    else
        QVERIFY(!logged(message));
}

void tst_ZRV_Meetings::inviteUrl_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<bool>("protectedMeeting");
    QTest::newRow("open meeting: its id only") << "presenter" << "wdr7k2m4" << false;
    QTest::newRow("protected meeting: the stored hash, encoded") << "groupadmin" << "onb3v6p2" << true;
}

void tst_ZRV_Meetings::inviteUrl()
{
    QFETCH(QString, user);
    QFETCH(QString, meetingId);
    QFETCH(bool, protectedMeeting);

    auto c = open(user);
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
    const QUrl host(m_fx.config()->serviceHost);
    const QString bare = QStringLiteral("%1://%2/?meetingid=%3").arg(host.scheme(), host.host(), meetingId);
    if (!protectedMeeting) {
        QCOMPARE(text, bare);
        return;
    }
    QVERIFY2(text.startsWith(bare + "&pwd="), qPrintable(text));
    const QString stored = sim("meetings", meetingId).value("password").toString();
    QCOMPARE(stored, shaOf("welcome"));
    QCOMPARE(QUrlQuery(QUrl(text)).queryItemValue("pwd", QUrl::FullyDecoded), stored);
    QVERIFY2(!text.section("pwd=", 1).contains(QRegularExpression("[+/=]")), qPrintable(text));
}

QTEST_MAIN(tst_ZRV_Meetings)
#include "tst_ZRV_Meetings.moc"
