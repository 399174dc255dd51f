// The meeting dialogs without the simulator: the spawn point editor, the meeting
// editor's field rules, and, against the scripted server, odd replies,
// refusals and refused input, never with a crash; the log viewer while open and closed.
#include <QtTest>
#include <QtWidgets>

#include <memory>

#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_BanlistDialog.h"
#include "ZRV_Config.h"
#include "ZRV_LogfileDialog.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingEditor.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_SpawnPointEditDialog.h"

using namespace ZRV_Service_API;
using ZRV_MeetingService_API::ZRVMeeting;

namespace {

const QByteArray Refusal = R"({"code":403,"message":"Not allowed","source":"scripted"})";

QPushButton *okButton(const QWidget *dlg)
{
    return dlg->findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok);
}

void pressOk(QWidget *dlg)
{
    QTest::mouseClick(okButton(dlg), Qt::LeftButton);
}

QByteArray contentType(const QByteArray &body)
{
    return body.startsWith('{') || body.startsWith('[') ? "application/json" : "text/plain";
}

ZRVSpawnPoint point(int id, const QString &name, const QByteArray &placement = {})
{
    ZRVSpawnPoint p;
    p.fromJson(QString(R"({"Id":%1,"Name":"%2"%3})").arg(id).arg(name, placement));
    return p;
}

} // namespace

class tst_zrv_meeting_dialogs : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void editorFields_data();
    void editorFields();
    void replies_data();
    void replies();
    void viewer();
    void banlist_data();
    void banlist();

private:
    std::unique_ptr<ScriptedHttpServer> m_server;
    QTemporaryDir m_dir;
    std::unique_ptr<ZRV_Config> m_config;
    ZRV_LoginData m_login;
    std::unique_ptr<ZRV_MeetingsInfoThread> m_thread;
};

void tst_zrv_meeting_dialogs::editorFields_data()
{
    QTest::addColumn<int>("mode");        // 0 create, 1 modify
    QTest::addColumn<QString>("record");  // keys of the stored meeting
    QTest::addColumn<int>("endless");     // the account's licence value for endless meetings
    // "enter" the password field, "type:" into it, "title=" text, "combo=index"; ";" between.
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("shown");   // password field, 3D index, 3D shown, "No End Time" selectable
    QTest::addColumn<QString>("sent");    // keys of the record after Ok; null: not in it

    const auto hash = [](const QString &text) {
        return QString(R"("password":"%1")").arg(QString(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64()));
    };
    const QString stored = hash("welcome");
    // The untouched protected modify, its bullets and kept hash, are driven by the meetings panel test.
    QTest::newRow("modify protected, entered only: the password is removed")
        << 1 << stored << 1 << "enter" << "•••••••• 0 0 1" << R"("password":"")";
    QTest::newRow("create without text: no password, the owner's id") << 0 << "" << 1 << "" << " 0 0 1"
        << R"("password":null,"creatorId":"8d1f0c52-0a6e-4c1b-9a51-000000000003")";
    QTest::newRow("empty title: a box, the dialog stays open, the record untouched")
        << 1 << "" << 1 << "title=;cmbChatMode=1" << " 0 0 1" << R"("title":"Review","chatMode":null)";
    QTest::newRow("3D of 15 shows On and returns as 10")
        << 1 << R"("audioMode":1,"audioMode3D":15)" << 1 << "" << " 1 1 1" << R"("audioMode":1,"audioMode3D":10)";
    QTest::newRow("a licence without endless meetings cannot choose it")
        << 1 << R"("license":"default")" << 0 << "" << " 0 0 0" << R"("license":"default")";
}

void tst_zrv_meeting_dialogs::editorFields()
{
    QFETCH(int, mode);
    QFETCH(QString, record);
    QFETCH(int, endless);
    QFETCH(QString, steps);
    QFETCH(QString, shown);
    QFETCH(QString, sent);

    ZRVMeeting meeting;
    meeting.fromJson(R"({"title":"Review")" + (record.isEmpty() ? "" : "," + record) + "}");
    // As the panel runs it: login data set after construction, then its delayed set-up.
    ZRV_LoginData login;
    login.id = "8d1f0c52-0a6e-4c1b-9a51-000000000003";
    login.userId = "presenter";
    login.countEndlessMeetings = endless;
    ZRV_MeetingEditor dialog(nullptr, &meeting, mode);
    dialog.m_loginData = &login;
    dialog.show();
    QTRY_COMPARE(dialog.windowTitle(), mode ? "Modify a Meeting" : "Create a new Meeting");
    auto *password = dialog.findChild<QLineEdit *>("lePassword");
    auto *licence = dialog.findChild<QComboBox *>("cmbLicense");
    auto *voice3D = dialog.findChild<QComboBox *>("cmbVoice3D");
    const QString before = password->text();
    for (const QString &step : steps.split(';', Qt::SkipEmptyParts)) {
        if (step == "enter") {
            QFocusEvent focusIn(QEvent::FocusIn, Qt::MouseFocusReason);
            QApplication::sendEvent(password, &focusIn);
            QCOMPARE(password->text(), QString());
        } else if (step.startsWith("title=")) {
            dialog.findChild<QLineEdit *>("leTitle")->setText(step.mid(6));
        } else {
            dialog.findChild<QComboBox *>(step.section('=', 0, 0))->setCurrentIndex(step.section('=', 1).toInt());
        }
    }
    const bool selectable = qobject_cast<QStandardItemModel *>(licence->model())->item(1)->isEnabled();
    QCOMPARE(QString("%1 %2 %3 %4").arg(before).arg(voice3D->currentIndex()).arg(voice3D->isVisible()).arg(selectable), shown);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(5000);
    QTest::mouseClick(okButton(&dialog), Qt::LeftButton);
    const bool refused = dialog.findChild<QLineEdit *>("leTitle")->text().isEmpty();
    QStringList boxes;
    for (const ModalAnswerer::Seen &seen : answerer.seen())
        boxes << QString("%1|%2|%3").arg(seen.title, seen.text).arg(seen.buttons.size());
    QCOMPARE(boxes.join('\n'), refused ? "Meeting Title not set|Meeting Title cannot be empty.|1" : "");
    QCOMPARE(dialog.isVisible(), refused);
    const QJsonObject out = meeting.asJsonObject();
    const QJsonObject expected = QJsonDocument::fromJson("{" + sent.toUtf8() + "}").object();
    for (const QString &key : expected.keys())
        QCOMPARE(out.contains(key) ? out.value(key) : QJsonValue(QJsonValue::Null), expected.value(key));
}

// For the dialogs that talk to the service: a service object whose every request
// goes to the scripted server, with a made-up token.
void tst_zrv_meeting_dialogs::init()
{
    if (!QByteArrayList{"replies", "viewer", "banlist"}.contains(QTest::currentTestFunction()))
        return;
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
    const QString ini = m_dir.filePath("scripted.ini");
    {
        QSettings s(ini, QSettings::IniFormat);
        for (const QString group : {"ZRV_MeetingService", "ZRV_AuthService", "ZRV_Service"}) {
            s.setValue(group + "/host", m_server->baseUrl());
            s.setValue(group + "/path", QString());
        }
    }
    m_config.reset(new ZRV_Config({"zarvo-console", "-i", ini}));
    m_login.authenticated = true;
    m_login.accessToken = "scripted-token";
    m_login.tokenExpiry = QDateTime::currentDateTime().addSecs(3600);
    m_thread.reset(new ZRV_MeetingsInfoThread(nullptr, m_config.get()));
    m_thread->setLoginData(&m_login);
    // The clients are made by one version request.
    bool answered = false;
    QObject scope;
    connect(m_thread.get(), &ZRV_MeetingsInfoThread::serviceVersions, &scope, [&answered] { answered = true; });
    m_server->enqueueJson(200, "{}");
    m_thread->getServiceVersionInformation();
    QVERIFY(QTest::qWaitFor([&answered] { return answered; }, 5000));
    m_server->clear();
}

void tst_zrv_meeting_dialogs::cleanup()
{
    m_thread.reset(); // before the configuration it points at
    m_config.reset();
    m_server.reset();
}

void tst_zrv_meeting_dialogs::replies_data()
{
    QTest::addColumn<QString>("call"); // what the dialog asked
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("type"); // the content type; none given: the body's; "-": no header
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected"); // the coordinates, or the log text shown

    const QString unchanged = "1.23457|2|3|0|90.5|0"; // the stored values, rounded
    const QByteArray pos = R"({"command":"GetPlayerPos","vList":)";
    const auto row = [](const char *name, const char *call, int status, const QByteArray &type, const QByteArray &body,
                        const QString &expected) { QTest::newRow(name) << call << status << type << body << expected; };
    row("position: two vectors, more than six digits rounded", "pos", 200, {},
        pos + R"([{"x":1.23456789,"y":-0.000123456789,"z":1e9},{"x":0,"y":90,"z":0}]})", "1.23457|-0.000123457|1e+09|0|90|0");
    row("position: reply to another command", "pos", 200, {}, R"({"command":"KickPlayer","vList":[{"x":1},{"x":2}]})", unchanged);
    row("position: body that is not JSON", "pos", 200, "application/json", "<html>busy</html>", unchanged);
    row("position: refused with 403", "pos", 403, {}, Refusal, unchanged);
    row("log: plain text", "log", 200, {}, "line 1\nline 2\n", "line 1\nline 2\n");
    row("log: empty body", "log", 200, {}, {}, "Empty log file");
    row("log: no content type, the body is not read", "log", 200, "-", "line\n", "Empty log file");
    row("log: refused with 403", "log", 403, {}, Refusal, "Error getting logfile.");
}

void tst_zrv_meeting_dialogs::replies()
{
    QFETCH(QString, call);
    QFETCH(int, status);
    QFETCH(QByteArray, type);
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);

    m_server->enqueue(status, type == "-" ? QList<QPair<QByteArray, QByteArray>>() : QList<QPair<QByteArray, QByteArray>>{
        {"Content-Type", type.isEmpty() ? contentType(body) : type}}, body);
    ModalAnswerer answerer;
    QString shown;
    if (call == "log") {
        ZRV_LogfileDialog dlg(m_thread.get());
        dlg.findChild<QCheckBox *>("chkAutoUpdate")->setChecked(false);
        QSignalSpy replies(m_thread.get(), &ZRV_MeetingsInfoThread::mirrorLog);
        // Read once the reply is shown, never blocking: the viewer's own event loop may run this.
        answerer.handle([&](QWidget *w) {
            auto *tick = new QTimer(w);
            connect(tick, &QTimer::timeout, w, [&, w, tick] {
                if (!replies.isEmpty()) { // counted after the viewer has taken it
                    shown = w->findChild<QPlainTextEdit *>("teLogfile")->toPlainText();
                    tick->stop();
                    pressOk(w);
                }
            });
            tick->start(20);
        });
        answerer.arm(10000);
        dlg.showMirrorLog("wdr7k2m4");
        QCOMPARE(m_server->lastRequest().target, "/zrv/svc/wdr7k2m4/logfile?count=100");
    } else {
        ZRV_SpawnPointEditDialog dlg(ZRVMeetingInfo(R"({"meetingId":"wdr7k2m4","clients":[{"Id":4,"Alias":"Guest"}]})"),
                                     point(3, "Stage", R"(,"PlayerId":7,"MeetingId":"wdr7k2m4",
            "Position":{"x":1.23456789,"y":2,"z":3},"Rotation":{"x":0,"y":90.5,"z":0})"), m_thread.get());
        answerer.arm(5000);
        QTest::mouseClick(dlg.findChild<QPushButton *>("btnLoadPos"), Qt::LeftButton);
        QVERIFY(m_server->waitForRequests(1));
        const RecordedRequest sent = m_server->lastRequest();
        QCOMPARE(sent.method + ' ' + sent.target, "POST /zrv/svc/meeting/wdr7k2m4/command");
        QCOMPARE(QJsonDocument::fromJson(sent.body).object(), (QJsonObject{{"command", "GetPlayerPos"}, {"params", QJsonArray{"4"}}}));
        // A later request's answer, held back a little on a connection of its own,
        // comes after the command's answer has been dealt with.
        m_server->enqueue(200, {{"Content-Type", "text/plain"}}, "barrier\n", 300);
        QSignalSpy barrier(m_thread.get(), &ZRV_MeetingsInfoThread::serviceLog);
        m_thread->getServiceLog(1);
        QVERIFY(barrier.wait(5000));
        QStringList fields;
        for (const char *name : {"lePosX", "lePosY", "lePosZ", "leRotX", "leRotY", "leRotZ"})
            fields << dlg.findChild<QLineEdit *>(name)->text();
        shown = fields.join('|');
        // A modify makes a fresh record of what is shown: member and meeting of the old point are gone.
        const ZRVSpawnPoint p = dlg.getSpawnPoint();
        QCOMPARE(QString::number(p.getPosition().getX()), fields.first());
        QVERIFY(p.getId() == 3 && !p.is_player_id_Set() && !p.is_meeting_id_Set());
        dlg.findChild<QLineEdit *>("leTitle")->clear();
        QVERIFY(!okButton(&dlg)->isEnabled());
    }
    QCOMPARE(shown, expected);
    for (const ModalAnswerer::Seen &seen : answerer.seen())
        QCOMPARE(seen.className, "ZRV_LogfileDialog"); // and no box
}

// An open viewer refreshes itself; closed, it asks no more.
void tst_zrv_meeting_dialogs::viewer()
{
    for (int i = 0; i < 30; ++i)
        m_server->enqueue(200, {{"Content-Type", "text/plain"}}, "line\n");
    QSignalSpy mirror(m_thread.get(), &ZRV_MeetingsInfoThread::mirrorLog);
    QStringList seen;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        // Two ticks of the one-second timer.
        const bool refreshed = QTest::qWaitFor([&mirror] { return mirror.count() >= 3; }, 8000);
        seen << w->windowTitle() << (refreshed ? "refreshed" : "not refreshed");
        pressOk(w);
    });
    answerer.arm(60000);
    ZRV_LogfileDialog dlg(m_thread.get());
    dlg.showMirrorLog("wdr7k2m4");
    mirror.wait(1500); // a request sent just before may still land
    mirror.clear();
    seen << (mirror.wait(2500) ? "still asking" : "quiet");
    QCOMPARE(seen, (QStringList{"Mirror Server Logfile - Meeting wdr7k2m4", "refreshed", "quiet"}));
}

void tst_zrv_meeting_dialogs::banlist_data()
{
    QTest::addColumn<QStringList>("typed"); // into the input dialogs; "<cancel>" cancels
    QTest::addColumn<QString>("action");    // "read": the reply is the list's; "add"; "delete", with the data of a stray line
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("requests"); // after the first read
    QTest::addColumn<int>("lines");

    const QStringList nu{"n", "u"};
    const QString post = R"(POST /zrv/svc/banlist {"Checksum":"u","Filename":"n","Mode":3})";
    const QString reread = "\nGET /zrv/svc/banlist";
    const auto row = [](const char *name, const QString &action, const QStringList &typed, int lines, const QString &box = {},
                        const QString &requests = {}, int status = 0, const QByteArray &reply = {}) {
        QTest::newRow(name) << typed << action << status << reply << box << requests << lines;
    };
    row("list that is not an array", "read", {}, 0, "", "", 200, R"({"Id":1})");
    row("add answered with text that is no number: read again", "add", nu, 2, "", post + reread, 200, "created");
    row("add refused with 403: not read again", "add", nu, 1,
        "Error adding banlist entry|An error occured while trying to add an entry to the banlist:\nNot allowed", post, 403, Refusal);
    row("cancel at the name asks nothing further", "add", {"<cancel>"}, 1, "Empty name not allowed.|Cannot add entry without a name.");
    row("name, then an empty URL", "add", {"x", ""}, 1, "Empty entry not allowed.|Cannot add empty entry.");
    row("a line whose id was not in the last list", "delete 987654", {}, 2, "Delete not possible|Invalid entry - Could not delete");
}

void tst_zrv_meeting_dialogs::banlist()
{
    QFETCH(QStringList, typed);
    QFETCH(QString, action);
    QFETCH(int, status);
    QFETCH(QByteArray, reply);
    QFETCH(QString, box);
    QFETCH(QString, requests);
    QFETCH(int, lines);

    const QByteArray one(R"([{"Id":1,"Mode":0,"Filename":"a.fbx","Checksum":"abc"}])");
    if (action == "read")
        m_server->enqueue(status, {{"Content-Type", contentType(reply)}}, reply);
    else
        m_server->enqueueJson(200, one);
    ModalAnswerer answerer;
    for (const QString &text : typed) {
        answerer.handle([text, &answerer](QWidget *w) {
            QCOMPARE(w->windowTitle(), answerer.seen().size() == 1 ? "Name" : "URL");
            if (text == "<cancel>")
                return static_cast<QDialog *>(w)->reject();
            QTest::keyClicks(w->findChild<QLineEdit *>(), text);
            static_cast<QDialog *>(w)->accept();
        });
    }
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(10000);

    ZRV_BanlistDialog dlg(m_thread.get());
    auto *list = dlg.findChild<QListWidget *>("banlst");
    QVERIFY(m_server->waitForRequests(1));
    if (action != "read") {
        QTRY_COMPARE(list->count(), 1);
        m_server->enqueue(status, {{"Content-Type", contentType(reply)}}, reply);
        m_server->enqueueJson(200, action == "add" ? R"([{"Id":1},{"Id":2,"Mode":3,"Filename":"n","Checksum":"u"}])" : "[]");
        if (action == "add") {
            QTest::mouseClick(dlg.findChild<QPushButton *>("btnAddCustom"), Qt::LeftButton);
        } else {
            if (action != "delete") { // a line the dialog did not make from the service's list
                auto *stray = new QListWidgetItem("#? - stray", list);
                stray->setData(Qt::UserRole, action.section(' ', 1).toInt() ? QVariant(action.section(' ', 1).toInt())
                                                                            : QVariant(action.section(' ', 1)));
            }
            list->setCurrentRow(list->count() - 1);
            QTest::mouseClick(dlg.findChild<QPushButton *>("btnDelete"), Qt::LeftButton);
        }
    }
    const int expectedRequests = 1 + (requests.isEmpty() ? 0 : requests.count('\n') + 1);
    QVERIFY(m_server->waitForRequests(expectedRequests));
    QVERIFY(!m_server->waitForRequests(expectedRequests + 1, 1500));
    QStringList sent;
    for (const RecordedRequest &r : m_server->requests().mid(1)) {
        const QByteArray body = QJsonDocument::fromJson(r.body).toJson(QJsonDocument::Compact);
        sent << QString::fromUtf8(r.method + ' ' + r.target + (r.body.isEmpty() ? "" : ' ' + body));
    }
    QCOMPARE(sent.join('\n'), requests);
    QStringList boxes;
    for (const ModalAnswerer::Seen &s : answerer.seen())
        boxes << (s.className == "QMessageBox" ? s.title + '|' + s.text : QString());
    QCOMPARE(boxes.filter("|").join('\n'), box);
    QTRY_COMPARE(list->count(), lines);
    if (action == "add" && lines == 2)
        QCOMPARE(list->item(1)->text(), "#2 - n (u)");
}

QTEST_MAIN(tst_zrv_meeting_dialogs)
#include "tst_zrv_meeting_dialogs.moc"
