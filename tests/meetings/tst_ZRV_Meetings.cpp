// The meetings panel against the simulator over real HTTP: the list by role, the
// changes and moderation that reach the simulator, and the refusals.
#include <QtTest>
#include <QtWidgets>

#include <memory>

#include "ConsoleDriver.h"
#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRVMeetingServiceApi.h"
#include "ZRV_Meetings.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"
#include "ZRV_ServiceEndpoint.h"

using namespace ZRV_Service_API;

namespace {

const int kWait = 10000;

QImage cellPicture(const QString &name)
{
    return QPixmap(":/ZRV_ServerApp/" + name).scaled(17, 17, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).toImage();
}

QString shaOf(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

void pressOk(QWidget *dialog)
{
    QTest::mouseClick(dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

// The dialogs seen, each as "title|text|number of buttons".
QString asked(const ModalAnswerer &answerer)
{
    QStringList out;
    for (const ModalAnswerer::Seen &s : answerer.seen())
        out << QString("%1|%2|%3").arg(s.title, s.text).arg(s.buttons.size());
    return out.join('\n');
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
    QPushButton *button(const QString &name) const { return panel->findChild<QPushButton *>(name); }
    void click(const QString &name) { QTest::mouseClick(button(name), Qt::LeftButton); }
    int rowOf(const QString &text) const
    {
        const auto found = meetings()->findItems(text, Qt::MatchExactly);
        return found.isEmpty() ? -1 : found.first()->row();
    }
    void select(const QString &meetingId) { meetings()->selectRow(rowOf(meetingId.toUpper())); }
    static QImage picture(QTableWidget *table, int row, int column)
    {
        auto *label = qobject_cast<QLabel *>(table->cellWidget(row, column));
        return label ? label->pixmap(Qt::ReturnByValue).toImage() : QImage();
    }
    // One poll, as the main window's timer makes it.
    void poll()
    {
        bool got = false;
        const auto c = QObject::connect(thread.get(), &ZRV_MeetingsInfoThread::meetingsInfo, [&got] { got = true; });
        thread->getMeetingsInfo();
        (void)QTest::qWaitFor([&got] { return got; }, kWait);
        QObject::disconnect(c);
    }
};

class tst_ZRV_Meetings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void listFollowsRole_data();
    void listFollowsRole();
    void createModifyDelete();
    void actions_data();
    void actions();
    void failedListEndsProcess();

private:
    std::unique_ptr<Console> open(const QString &user, bool waitForOverlay = true);
    QString simValue(const QString &path);
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
    const QMap<QString, QString> passwords{{"presenter", "presenter123"}, {"groupadmin", "group123"}, {"admin", "admin123"}};
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
            [api](ZRVMeetingInfo info) { api->meetingInfoUpdate(info.getMeetingId(), info); });
    c->panel->resize(791, 379);
    c->panel->show();
    c->panel->setLoginData(&c->login);
    c->panel->refreshMeetings();
    Console *raw = c.get();
    if (waitForOverlay && !QTest::qWaitFor([raw] { return raw->meetings()->cellWidget(0, 1); }, kWait))
        return nullptr;
    return c;
}

// A value of the simulator's state by path: "meetings/<id>/status", "live/<id>/clients/1/Alias";
// an array as its size; in the log lines of a meeting, the number of lines ending with the last step.
QString tst_ZRV_Meetings::simValue(const QString &path)
{
    QJsonValue v = m_fx.sim().admin("GET", "/_sim/state").object();
    for (const QString &key : path.split('/')) {
        const QJsonArray array = v.toArray();
        bool isIndex = false;
        const int index = key.toInt(&isIndex);
        int ending = 0;
        v = v.isObject() ? v.toObject().value(key) : isIndex ? array.at(index) : QJsonValue();
        for (const QJsonValue &e : array) {
            if (!isIndex && e.toObject().value("meetingId").toString() == key)
                v = e;
            ending += e.toString().endsWith(key);
        }
        if (!array.isEmpty() && array.first().isString())
            v = ending;
    }
    return v.isArray() ? QString::number(v.toArray().size()) : v.isObject() ? "{...}" : v.toVariant().toString();
}

void tst_ZRV_Meetings::listFollowsRole_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("liveListUnreadable");
    QTest::addColumn<QStringList>("rows"); // id, pictures of status, password and voice, users, time left
    QTest::addColumn<bool>("admin");

    const QStringList all{"BRD9Q3X1 blue lock_open mic_talking 3 ∞", "ONB3V6P2 red lock_closed mic_talking  ",
                          "PRL5T8C6 red lock_open mic_talking  ", "SHW4N1R8 red lock_open mic_disabled  ",
                          "WDR7K2M4 green lock_open mic_talking 3 60 mins"};
    QTest::newRow("presenter sees own meetings, no logs, ban list or export")
        << "presenter" << false << QStringList{all.at(2), all.at(4)} << false;
    QTest::newRow("administrator sees all and those buttons") << "admin" << false << all << true;
    QStringList left = all;
    left.first() = "BRD9Q3X1 blue lock_open mic_talking  ";
    left.last() = "WDR7K2M4 green lock_open mic_talking  ";
    // A live list that is no JSON reads as empty.
    QTest::newRow("meetings missing from the live list keep their picture, lose their texts") << "admin" << true << left << true;
}

void tst_ZRV_Meetings::listFollowsRole()
{
    QFETCH(QString, user);
    QFETCH(bool, liveListUnreadable);
    QFETCH(QStringList, rows);
    QFETCH(bool, admin);

    auto c = open(user);
    QVERIFY(c);
    if (liveListUnreadable) {
        QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", QJsonObject{{"shape", "not-json"},
                 {"path", QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meetings"}}).status, 200);
        c->poll();
    }
    QStringList shown;
    for (int row = 0; row < c->meetings()->rowCount(); ++row) {
        shown << c->meetings()->item(row, 0)->text();
        for (int column = 1; column <= 3; ++column) {
            const QImage picture = Console::picture(c->meetings(), row, column);
            for (const char *name : {"green.svg", "blue.svg", "red.svg", "lock_open.png", "lock_closed.png",
                                     "mic_talking.png", "mic_disabled.png"}) {
                if (picture == cellPicture(name) && !picture.isNull())
                    shown.last() += ' ' + QString(name).section('.', 0, 0);
            }
        }
        shown.last() += ' ' + c->meetings()->item(row, 7)->text() + ' ' + c->meetings()->item(row, 6)->text();
    }
    QCOMPARE(shown, rows);
    QCOMPARE(c->meetings()->isColumnHidden(4), user == "presenter");
    for (const char *name : {"btnSvcLog", "btnBanlist", "btnMirLog", "btnExportAll"})
        QVERIFY2(c->button(name)->isHidden() == !admin, name);
    const QStringList perMeeting{"btnMeetingEdit", "btnMeetingDelete", "btnMeetingActivate", "btnURL", "btnSendMsg", "btnSpawnPoints"};
    for (const QString &name : perMeeting)
        QVERIFY2(!c->button(name)->isEnabled(), qPrintable(name));
    c->select(rows.last().left(8));
    for (const QString &name : perMeeting)
        QVERIFY2(c->button(name)->isEnabled(), qPrintable(name));
}

void tst_ZRV_Meetings::createModifyDelete()
{
    auto c = open("presenter");
    QVERIFY(c);
    ModalAnswerer answerer;
    answerer.handle([](QWidget *editor) {
        QTRY_COMPARE(editor->windowTitle(), "Create a new Meeting");
        QTest::keyClicks(editor->findChild<QLineEdit *>("leTitle"), "Quarterly Review");
        QTest::keyClicks(editor->findChild<QLineEdit *>("lePassword"), "s3cret pass");
        editor->findChild<QComboBox *>("cmbVoice3D")->setCurrentIndex(1);
        pressOk(editor);
    });
    answerer.arm(kWait);
    c->click("btnMeetingCreate");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf("Quarterly Review") >= 0, kWait);
    const QString id = c->meetings()->item(c->rowOf("Quarterly Review"), 0)->text().toLower();
    QCOMPARE(QStringList({simValue("meetings/" + id + "/status"), simValue("meetings/" + id + "/creator"),
                          simValue("meetings/" + id + "/audioMode3D"), simValue("meetings/" + id + "/password")}),
             QStringList({"pending", "presenter", "10", shaOf("s3cret pass")}));

    // Modify the title only: the stored hash stays, no hash of the bullets goes out.
    c->select(id);
    answerer.handle([](QWidget *editor) {
        QTRY_COMPARE(editor->windowTitle(), "Modify a Meeting");
        QCOMPARE(editor->findChild<QLineEdit *>("lePassword")->text(), "••••••••");
        editor->findChild<QLineEdit *>("leTitle")->setText("Quarterly Review II");
        pressOk(editor);
    });
    answerer.arm(kWait);
    c->click("btnMeetingEdit");
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf("Quarterly Review II") >= 0, kWait);
    QCOMPARE(simValue("meetings/" + id + "/password"), shaOf("s3cret pass"));

    // Delete: No keeps it, Yes removes it.
    for (QMessageBox::StandardButton answer : {QMessageBox::No, QMessageBox::Yes}) {
        c->select(id);
        answerer.pressButton(answer);
        answerer.arm(kWait);
        c->click("btnMeetingDelete");
        QCOMPARE(asked(answerer).section('\n', -1), QString("Remove Meeting|Do you realy want to finally remove meeting %1?|2").arg(id));
    }
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf(id.toUpper()) < 0, kWait);
    QCOMPARE(simValue("meetings/" + id), "");
    QCOMPARE(c->meetings()->rowCount(), 2);
}

void tst_ZRV_Meetings::actions_data()
{
    QTest::addColumn<QString>("meeting");
    QTest::addColumn<int>("member"); // the member row selected first, -1: none
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("answer");   // button of the dialog, then ":" and the text typed
    QTest::addColumn<QString>("asked");    // the dialogs seen
    // Simulator values, ";" between; "emitted": live records handed out; "clipboard".
    QTest::addColumn<QString>("probes");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("fault");    // status, path and count of a refusal by the simulator
    QTest::addColumn<QString>("caption");  // of the button, before ">" after
    QTest::addColumn<QString>("picture");  // of the meeting's status or the member's microphone, after a poll
    const auto row = [](const char *name, const QString &meeting, int member, const QString &button, const QString &answer,
                        const QString &asked, const QString &probes, const QString &expected, const QString &fault = {},
                        const QString &caption = {}, const QString &picture = {}) {
        QTest::newRow(name) << meeting << member << button << answer << asked << probes << expected << fault << caption << picture;
    };

    const QString w = "wdr7k2m4";
    const QString kick = "Kick User|Kick user Guest Bjarne from meeting wdr7k2m4?|2";
    const QString message = "Send Message to Meeting WDR7K2M4||0", sent = "meetingLogs/wdr7k2m4/Message to all: ";
    const QString points = "Manage Spawn Points for Meeting WDR7K2M4||0";
    const QString spawn = "emitted;live/wdr7k2m4/spawnPoints/0/Name;live/wdr7k2m4/spawnPoints/0/Id;live/wdr7k2m4/spawnPoints/1/Id";
    row("start a pending meeting", "prl5t8c6", -1, "btnMeetingActivate", "", "", "meetings/prl5t8c6/status", "active", "",
        "&Start>", "green.svg");
    row("mute a member", w, 1, "btnMuteUser", "", "", "live/wdr7k2m4/clients/1/voiceEnabled", "false", "", "Mute>Unmute",
        "mic_disabled.png");
    row("presenter role given; several may hold it", w, 1, "btnPresenter", "", "",
        "live/wdr7k2m4/clients/1/currentRole;live/wdr7k2m4/clients/0/currentRole", "Presenter;Presenter", "",
        "Give Presenter>Take Presenter");
    row("kick, Yes", w, 2, "btnKickUser", "Yes", kick, "live/wdr7k2m4/clients", "2");
    row("kick, No", w, 2, "btnKickUser", "No", kick, "live/wdr7k2m4/clients", "3");
    row("message confirmed", w, -1, "btnSendMsg", "Ok:Break until ten past", message, sent + "Break until ten past", "1");
    row("spawn points reordered: stored with ids by position", w, -1, "btnSpawnPoints", "Ok", points, spawn, "1;Position 1;0;1");
    row("spawn points cancelled: nothing sent", w, -1, "btnSpawnPoints", "Cancel", points, spawn, "0;Start;0;1");
    const QString invite = "Invite URL Copied To Clipboard|The meeting invite URL has been copied to the clipboard.|1";
    row("invite URL of a protected meeting: the stored hash, percent-encoded", "onb3v6p2", -1, "btnURL", "", invite, "clipboard",
        "http://127.0.0.1/?meetingid=onb3v6p2&pwd=" + QString(QUrl::toPercentEncoding(shaOf("welcome"))));
    // Refusals: the meeting stays as it was.
    const QString registry = QString(ConsoleFixture::MeetingBase) + "/meetings/prl5t8c6 1";
    const QString refused = "Cannot start meeting|Not allowed to modify meeting.|1";
    const QString status = "meetings/prl5t8c6/status";
    const QString editor = "||0\n"; // seen before its delayed title
    row("403 on start", "prl5t8c6", -1, "btnMeetingActivate", "", refused, status, "pending", "403 " + registry);
    row("405 licence limit on modify", "prl5t8c6", -1, "btnMeetingEdit", "", editor + refused, status, "pending", "405 " + registry);
    // The live list fails for the load and for the selection: no live record at all.
    row("start without a live record", "prl5t8c6", -1, "btnMeetingActivate", "", "Error changing meeting status|There was an error "
        "changing the status of the meeting. Please refresh the meeting list and try again later.|1",
        status, "pending", "503 " + QString(ConsoleFixture::ServiceBase) + "/zrv/svc/meetings 2");
}

void tst_ZRV_Meetings::actions()
{
    QFETCH(QString, meeting);
    QFETCH(int, member);
    QFETCH(QString, button);
    QFETCH(QString, answer);
    QFETCH(QString, asked);
    QFETCH(QString, probes);
    QFETCH(QString, expected);
    QFETCH(QString, caption);
    QFETCH(QString, picture);
    QFETCH(QString, fault);

    if (!fault.isEmpty()) {
        QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", QJsonObject{{"status", fault.section(' ', 0, 0).toInt()},
                 {"path", fault.section(' ', 1, 1)}, {"count", fault.section(' ', 2, 2).toInt()}}).status, 200);
    }
    const bool noLiveRecord = fault.contains("/zrv/svc/meetings");
    auto c = open("admin", !noLiveRecord);
    QVERIFY(c);
    QTRY_VERIFY_WITH_TIMEOUT(c->rowOf(meeting.toUpper()) >= 0, kWait);
    QApplication::clipboard()->clear();
    int emitted = 0;
    connect(c->panel.get(), &ZRV_Meetings::meetingConfigChanged, this, [&emitted] { ++emitted; });
    c->select(meeting);
    if (noLiveRecord)
        QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);
    if (member >= 0) {
        QTRY_COMPARE_WITH_TIMEOUT(c->members()->rowCount(), 3, kWait);
        c->members()->selectRow(member);
    }
    if (!caption.isEmpty())
        QCOMPARE(c->button(button)->text(), caption.section('>', 0, 0));
    const bool ok = answer.startsWith("Ok") || answer == "Yes";
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        if (auto *box = qobject_cast<QMessageBox *>(w))
            return box->button(answer.isEmpty() ? QMessageBox::Ok : ok ? QMessageBox::Yes : QMessageBox::No)->click();
        if (auto *input = qobject_cast<QInputDialog *>(w)) {
            QCOMPARE(input->labelText(), "Message:");
            input->setTextValue(answer.section(':', 1));
            return ok ? input->accept() : input->reject();
        }
        if (w->inherits("ZRV_MeetingEditor")) {
            QTRY_VERIFY(!w->windowTitle().isEmpty());
            return pressOk(w);
        }
        // The spawn point list: the second point becomes the default.
        w->findChild<QTableWidget *>("tblSpawnPoints")->setCurrentCell(0, 0);
        QTest::mouseClick(w->findChild<QPushButton *>("btnSPDown"), Qt::LeftButton);
        auto *box = w->findChild<QDialogButtonBox *>("buttonBox");
        QTest::mouseClick(box->button(ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel), Qt::LeftButton);
    });
    answerer.arm(kWait);
    c->click(button);
    if (!fault.isEmpty()) { // a list round trip after the refusal
        QTRY_VERIFY_WITH_TIMEOUT(faultsConsumed(), kWait);
        QSignalSpy listed(c->panel.get(), &ZRV_Meetings::meetingUpdate);
        c->click("btnMeetingRefresh");
        QVERIFY(listed.wait(kWait));
    }
    QTRY_COMPARE_WITH_TIMEOUT(::asked(answerer), asked, kWait);
    if (button == "btnKickUser" || button == "btnSendMsg") {
        // Commands reach a meeting in order: once a later one is in, the action's had its chance.
        c->thread->sendMeetingCommand("wdr7k2m4", "SendMessage", {"marker after"});
        QTRY_COMPARE_WITH_TIMEOUT(simValue("meetingLogs/wdr7k2m4/Message to all: marker after"), "1", kWait);
    }
    const QStringList paths = probes.split(';');
    for (int i = 0; i < paths.size(); ++i) {
        const QString &path = paths.at(i);
        QTRY_COMPARE_WITH_TIMEOUT(path == "emitted" ? QString::number(emitted) : path == "clipboard" ? QApplication::clipboard()->text()
                                                                                                      : simValue(path),
                                  expected.section(';', i, i), kWait);
    }
    if (!caption.section('>', 1).isEmpty())
        QCOMPARE(c->button(button)->text(), caption.section('>', 1));
    if (!picture.isEmpty()) {
        c->poll();
        QTRY_COMPARE_WITH_TIMEOUT(member >= 0 ? Console::picture(c->members(), member, 1)
                                              : Console::picture(c->meetings(), c->rowOf(meeting.toUpper()), 1),
                                  cellPicture(picture), kWait);
    }
}

void tst_ZRV_Meetings::failedListEndsProcess()
{
    // The whole console: its panel's first list fails, and the process ends.
    QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", QJsonObject{{"path", QString(ConsoleFixture::MeetingBase) + "/meetings"},
                                                                   {"status", 503}}).status, 200);
    m_fx.clearExitCodes();
    ConsoleDriver driver("presenter", {"presenter123"});
    ZRV_ServerApp window(ConsoleDriver::arguments(m_fx.iniPath()));
    window.show();
    QVERIFY2(ConsoleDriver::waitRunning(window), qPrintable(driver.boxes().join('\n')));
    QTRY_COMPARE_WITH_TIMEOUT(m_fx.exitCodes(), QList<int>{0}, kWait);
    const QString box = driver.boxes().join('\n');
    QVERIFY2(box.startsWith("Cannot connect to meeting service: Connecting to meeting service failed. "
                            "Please try again later.\nError Message: ") && box.endsWith("[1 buttons]"), qPrintable(box));
}

QTEST_MAIN(tst_ZRV_Meetings)
#include "tst_ZRV_Meetings.moc"
