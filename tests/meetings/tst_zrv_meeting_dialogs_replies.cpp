// The meeting dialogs against the scripted server: odd replies, refusals and
// refused input, each answered as the console means to, never with a crash;
// and the log viewer across its openings.
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_BanlistDialog.h"
#include "ZRV_Config.h"
#include "ZRV_LogfileDialog.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_SpawnPointEditDialog.h"

using namespace ZRV_Service_API;

namespace {

const QByteArray Refusal = R"({"code":403,"message":"Not allowed","source":"scripted"})";

void pressOk(QWidget *dlg)
{
    QTest::mouseClick(dlg->findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

QByteArray contentType(const QByteArray &body)
{
    return body.startsWith('{') || body.startsWith('[') ? "application/json" : "text/plain";
}

} // namespace

class tst_zrv_meeting_dialogs_replies : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
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

// A service object whose every request goes to the scripted server, with a made-up token.
void tst_zrv_meeting_dialogs_replies::init()
{
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
    QSignalSpy versions(m_thread.get(), &ZRV_MeetingsInfoThread::serviceVersions);
    m_server->enqueueJson(200, "{}");
    m_thread->getServiceVersionInformation();
    QVERIFY(versions.wait(5000));
    m_server->clear();
}

void tst_zrv_meeting_dialogs_replies::cleanup()
{
    m_thread.reset(); // before the configuration it points at
    m_config.reset();
    m_server.reset();
}

void tst_zrv_meeting_dialogs_replies::replies_data()
{
    QTest::addColumn<QString>("call"); // what the dialog asked
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("type"); // the content type; none given: the body's; "-": no header
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected"); // the coordinates, or the log text shown

    const QString unchanged = "9|9|9|8|8|8";
    const QByteArray pos = R"({"command":"GetPlayerPos","vList":)";
    const auto row = [](const char *name, const char *call, int status, const QByteArray &type, const QByteArray &body,
                        const QString &expected) { QTest::newRow(name) << call << status << type << body << expected; };
    row("position: two vectors, more than six digits rounded", "pos", 200, {},
        pos + R"([{"x":1.23456789,"y":-0.000123456789,"z":1e9},{"x":0,"y":90,"z":0}]})", "1.23457|-0.000123457|1e+09|0|90|0");
    row("position: command name in lower case", "pos", 200, {}, R"({"command":"getplayerpos","vList":[{"x":1},{"y":5}]})", "1|0|0|0|5|0");
    row("position: one vector", "pos", 200, {}, pos + R"([{"x":1,"y":2,"z":3}]})", unchanged);
    row("position: reply to another command", "pos", 200, {}, R"({"command":"KickPlayer","vList":[{"x":1},{"x":2}]})", unchanged);
    row("position: body that is not JSON", "pos", 200, "application/json", "<html>busy</html>", unchanged);
    row("position: refused with 403", "pos", 403, {}, Refusal, unchanged);
    row("log: plain text", "log", 200, {}, "line 1\nline 2\n", "line 1\nline 2\n");
    row("log: empty body", "log", 200, {}, {}, "Empty log file");
    row("log: no content type, the body is not read", "log", 200, "-", "line\n", "Empty log file");
    row("log: JSON is shown as text", "log", 200, {}, R"({"lines":["a"]})", R"({"lines":["a"]})");
    row("log: refused with 403", "log", 403, {}, Refusal, "Error getting logfile.");
}

void tst_zrv_meeting_dialogs_replies::replies()
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
        answerer.handle([&](QWidget *w) {
            (void)QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 5000); // counted below
            shown = w->findChild<QPlainTextEdit *>("teLogfile")->toPlainText();
            pressOk(w);
        });
        answerer.arm(10000);
        dlg.showMirrorLog("wdr7k2m4");
        QCOMPARE(replies.count(), 1);
        QCOMPARE(m_server->lastRequest().target, "/zrv/svc/wdr7k2m4/logfile?count=100");
    } else {
        ZRVMeetingInfo info;
        info.fromJson(R"({"meetingId":"wdr7k2m4","clients":[{"Id":4,"Alias":"Guest"}]})");
        ZRVSpawnPoint start;
        start.fromJson(R"({"Id":1,"Name":"Stage","Position":{"x":9,"y":9,"z":9},"Rotation":{"x":8,"y":8,"z":8}})");
        ZRV_SpawnPointEditDialog dlg(info, start, m_thread.get());
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
    }
    QCOMPARE(shown, expected);
    for (const ModalAnswerer::Seen &seen : answerer.seen())
        QCOMPARE(seen.className, "ZRV_LogfileDialog"); // and no box
}

// One viewer opened twice: the user's scroll freezes the view until the next
// opening, which follows the end again; closed or unticked, it asks no more.
void tst_zrv_meeting_dialogs_replies::viewer()
{
    const auto lines = [](int count) {
        QByteArray out;
        for (int i = 0; i < count; ++i)
            out += QByteArray::number(i).rightJustified(4, '0') + ' ' + QByteArray(200, 'x') + '\n';
        return out;
    };
    m_server->enqueue(200, {{"Content-Type", "text/plain"}}, lines(300));
    for (int i = 0; i < 30; ++i)
        m_server->enqueue(200, {{"Content-Type", "text/plain"}}, lines(200));
    QSignalSpy mirror(m_thread.get(), &ZRV_MeetingsInfoThread::mirrorLog);
    QSignalSpy service(m_thread.get(), &ZRV_MeetingsInfoThread::serviceLog);
    const auto quiet = [](QSignalSpy &replies) {
        replies.wait(1500); // a request sent just before may still land
        replies.clear();
        return replies.wait(2500) ? "still asking" : "quiet";
    };
    // What the openings of one viewer saw, in order.
    QStringList seen;
    const auto look = [&seen](QWidget *w, QSignalSpy &replies, bool scroll) {
        auto *te = w->findChild<QPlainTextEdit *>("teLogfile");
        replies.clear();
        if (QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 5000) && scroll) {
            te->verticalScrollBar()->setValue(10);
            te->horizontalScrollBar()->setValue(30);
        }
        // Two ticks of the one-second timer.
        const bool refreshed = QTest::qWaitFor([&replies] { return replies.count() >= 3; }, 8000);
        const QScrollBar *v = te->verticalScrollBar();
        seen << w->windowTitle() << (refreshed ? "refreshed" : "not refreshed")
             << (v->value() == v->maximum() && v->maximum() > 10 ? "end" : QString::number(v->value())) + ' '
                    + QString::number(te->horizontalScrollBar()->value());
    };
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        look(w, mirror, true);
        pressOk(w);
    });
    answerer.handle([&](QWidget *w) {
        look(w, service, false);
        QTest::mouseClick(w->findChild<QCheckBox *>("chkAutoUpdate"), Qt::LeftButton);
        seen << quiet(service);
        pressOk(w);
    });
    answerer.arm(60000);
    ZRV_LogfileDialog dlg(m_thread.get());
    dlg.showMirrorLog("wdr7k2m4");
    seen << quiet(mirror);
    dlg.showServiceLog();
    QCOMPARE(seen, (QStringList{"Mirror Server Logfile - Meeting wdr7k2m4", "refreshed", "10 30", "quiet",
                                "Service Logfile", "refreshed", "end 0", "quiet"}));
}

void tst_zrv_meeting_dialogs_replies::banlist_data()
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
    const QString del = "DELETE /zrv/svc/banlist?banlistId=1";
    const QString reread = "\nGET /zrv/svc/banlist";
    const auto row = [](const char *name, const QString &action, const QStringList &typed, int lines, const QString &box = {},
                        const QString &requests = {}, int status = 0, const QByteArray &reply = {}) {
        QTest::newRow(name) << typed << action << status << reply << box << requests << lines;
    };
    row("list that is not an array", "read", {}, 0, "", "", 200, R"({"Id":1})");
    row("add answered with text that is no number: read again", "add", nu, 2, "", post + reread, 200, "created");
    row("add refused with 403: not read again", "add", nu, 1,
        "Error adding banlist entry|An error occured while trying to add an entry to the banlist:\nNot allowed", post, 403, Refusal);
    row("delete answered with text that is no number: read again", "delete", {}, 0, "", del + reread, 200, "gone");
    row("cancel at the name asks nothing further", "add", {"<cancel>"}, 1, "Empty name not allowed.|Cannot add entry without a name.");
    row("name, then an empty URL", "add", {"x", ""}, 1, "Empty entry not allowed.|Cannot add empty entry.");
    row("a line whose id was not in the last list", "delete 987654", {}, 2, "Delete not possible|Invalid entry - Could not delete");
    row("a line whose data is no number: nothing", "delete abc", {}, 2);
}

void tst_zrv_meeting_dialogs_replies::banlist()
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

QTEST_MAIN(tst_zrv_meeting_dialogs_replies)
#include "tst_zrv_meeting_dialogs_replies.moc"
