// The meeting dialogs against the scripted server: replies in odd shapes and
// refusals, each answered as the console means to, and never with a crash.
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QInputDialog>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QtTest>

#include "DialogServicePeer.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_BanlistDialog.h"
#include "ZRV_LogfileDialog.h"
#include "ZRV_SpawnPointEditDialog.h"

using namespace ZRV_Service_API;

namespace {

const QByteArray Refusal = R"({"code":403,"message":"Not allowed","source":"scripted"})";

void pressOk(QWidget *dlg)
{
    QTest::mouseClick(dlg->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))->button(QDialogButtonBox::Ok),
                      Qt::LeftButton);
}

QStringList messageBoxes(const ModalAnswerer &answerer)
{
    QStringList out;
    for (const ModalAnswerer::Seen &s : answerer.seen())
        if (s.className == QLatin1String("QMessageBox"))
            out << s.title + QLatin1Char('|') + s.text;
    return out;
}

QString logLines(int count, int width)
{
    QString out;
    for (int i = 0; i < count; ++i)
        out += QStringLiteral("%1 ").arg(i, 4, 10, QLatin1Char('0')) + QString(width, QLatin1Char('x')) + QLatin1Char('\n');
    return out;
}

} // namespace

class tst_zrv_meeting_dialogs_replies : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void playerPosReplies_data();
    void playerPosReplies();
    void logReplies_data();
    void logReplies();
    void scrolledViewStaysPut_data();
    void scrolledViewStaysPut();
    void banlistReplies_data();
    void banlistReplies();

private:
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<DialogServicePeer> m_peer;
};

void tst_zrv_meeting_dialogs_replies::init()
{
    m_server.reset(new ScriptedHttpServer);
    QVERIFY(m_server->start());
    m_peer.reset(new DialogServicePeer);
    QVERIFY2(m_peer->startScripted(*m_server), qPrintable(m_peer->errorText()));
}

void tst_zrv_meeting_dialogs_replies::cleanup()
{
    m_peer.reset();
    m_server.reset();
}

void tst_zrv_meeting_dialogs_replies::playerPosReplies_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected");

    const QString unchanged = QStringLiteral("9|9|9|8|8|8");
    QTest::newRow("two vectors") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":[{"x":1,"y":2,"z":3},{"x":0,"y":90,"z":0}]})") << "1|2|3|0|90|0";
    QTest::newRow("command name in lower case") << 200 << QByteArray(R"({"command":"getplayerpos","vList":[{"x":1,"y":2,"z":3},{"x":0,"y":90,"z":0}]})") << "1|2|3|0|90|0";
    QTest::newRow("more than six digits are rounded") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":[{"x":1.23456789,"y":-0.000123456789,"z":1e9},{}]})") << "1.23457|-0.000123457|1e+09|0|0|0";
    QTest::newRow("a vector with missing axes reads them as 0") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":[{"x":1},{"y":5}]})") << "1|0|0|0|5|0";
    QTest::newRow("vectors that are no objects read as 0") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":["a","b"]})") << "0|0|0|0|0|0";
    QTest::newRow("one vector") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":[{"x":1,"y":2,"z":3}]})") << unchanged;
    QTest::newRow("no vector list") << 200 << QByteArray(R"({"command":"GetPlayerPos","sList":["no position"]})") << unchanged;
    QTest::newRow("vector list that is an object") << 200 << QByteArray(R"({"command":"GetPlayerPos","vList":{"x":1,"y":2}})") << unchanged;
    QTest::newRow("reply to another command") << 200 << QByteArray(R"({"command":"KickPlayer","vList":[{"x":1},{"x":2}]})") << unchanged;
    QTest::newRow("body that is not JSON") << 200 << QByteArray("<html>busy</html>") << unchanged;
    QTest::newRow("refused with 403") << 403 << Refusal << unchanged;
}

void tst_zrv_meeting_dialogs_replies::playerPosReplies()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);

    ZRVMirrorClientInfo member;
    member.setId(4);
    member.setAlias(QStringLiteral("Guest"));
    ZRVMeetingInfo info;
    info.setMeetingId(QStringLiteral("wdr7k2m4"));
    info.setClients({member});
    ZRVSpawnPoint start;
    start.setId(1);
    start.setName(QStringLiteral("Stage"));
    ZRVDefVector3 pos, rot;
    pos.setX(9), pos.setY(9), pos.setZ(9);
    rot.setX(8), rot.setY(8), rot.setZ(8);
    start.setPosition(pos);
    start.setRotation(rot);
    ZRV_SpawnPointEditDialog dlg(info, start, m_peer->thread());

    ModalAnswerer answerer;
    answerer.arm(5000);
    m_server->enqueueJson(status, body);
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnLoadPos")), Qt::LeftButton);
    QVERIFY(m_server->waitForRequests(1));
    const RecordedRequest sent = m_server->lastRequest();
    QCOMPARE(sent.method, QByteArray("POST"));
    QCOMPARE(sent.target, QByteArray("/zrv/svc/meeting/wdr7k2m4/command"));
    const QJsonObject command = QJsonDocument::fromJson(sent.body).object();
    QCOMPARE(command.value("command").toString(), QStringLiteral("GetPlayerPos"));
    QCOMPARE(command.value("params").toArray(), QJsonArray{"4"});

    // A later request's answer, held back a little on a connection of its own,
    // comes after the command's answer has been dealt with.
    m_server->enqueue(200, {{"Content-Type", "text/plain"}}, "barrier\n", 300);
    QSignalSpy barrier(m_peer->thread(), &ZRV_MeetingsInfoThread::serviceLog);
    m_peer->thread()->getServiceLog(1);
    QVERIFY(barrier.wait(5000));

    QStringList fields;
    for (const char *name : {"lePosX", "lePosY", "lePosZ", "leRotX", "leRotY", "leRotZ"})
        fields << dlg.findChild<QLineEdit *>(QLatin1String(name))->text();
    QCOMPARE(fields.join(QLatin1Char('|')), expected);
    QCOMPARE(dlg.findChild<QLineEdit *>(QStringLiteral("leTitle"))->text(), QStringLiteral("Stage"));
    QVERIFY(answerer.seen().isEmpty());
}

void tst_zrv_meeting_dialogs_replies::logReplies_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("encoding");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected");

    const QString empty = QStringLiteral("Empty log file");
    const QString failed = QStringLiteral("Error getting logfile.");
    QTest::newRow("plain text") << 200 << QByteArray("text/plain") << QByteArray() << QByteArray("line 1\nline 2\n") << "line 1\nline 2\n";
    QTest::newRow("empty body") << 200 << QByteArray("text/plain") << QByteArray() << QByteArray() << empty;
    QTest::newRow("no content type: the body is not read") << 200 << QByteArray() << QByteArray() << QByteArray("line\n") << empty;
    QTest::newRow("compressed body") << 200 << QByteArray("text/plain") << QByteArray("gzip") << QByteArray("\x1f\x8b\x08\x00", 4) << empty;
    QTest::newRow("bytes that are no UTF-8") << 200 << QByteArray("application/octet-stream") << QByteArray() << QByteArray("\xff\xfe\xfd") << QString(3, QChar::ReplacementCharacter);
    QTest::newRow("JSON is shown as text") << 200 << QByteArray("application/json") << QByteArray() << QByteArray(R"({"lines":["a"]})") << R"({"lines":["a"]})";
    QTest::newRow("refused with 403") << 403 << QByteArray("application/json") << QByteArray() << Refusal << failed;
    QTest::newRow("server error") << 500 << QByteArray("text/plain") << QByteArray() << QByteArray("boom") << failed;
}

void tst_zrv_meeting_dialogs_replies::logReplies()
{
    QFETCH(int, status);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, encoding);
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);

    QList<QPair<QByteArray, QByteArray>> headers;
    if (!contentType.isEmpty())
        headers.append({"Content-Type", contentType});
    if (!encoding.isEmpty())
        headers.append({"Content-Encoding", encoding});
    m_server->enqueue(status, headers, body);

    ZRV_LogfileDialog dlg(m_peer->thread());
    dlg.findChild<QCheckBox *>(QStringLiteral("chkAutoUpdate"))->setChecked(false);
    QSignalSpy replies(m_peer->thread(), &ZRV_MeetingsInfoThread::mirrorLog);
    QString shown;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        // The count below tells whether the reply came.
        (void)QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 5000);
        shown = w->findChild<QPlainTextEdit *>(QStringLiteral("teLogfile"))->toPlainText();
        pressOk(w);
    });
    answerer.arm(10000);
    dlg.showMirrorLog(QStringLiteral("wdr7k2m4"));

    QCOMPARE(replies.count(), 1);
    QCOMPARE(m_server->lastRequest().target, QByteArray("/zrv/svc/wdr7k2m4/logfile?count=100"));
    QCOMPARE(shown, expected);
    // The log dialog itself and no box.
    QCOMPARE(answerer.seen().size(), 1);
}

void tst_zrv_meeting_dialogs_replies::scrolledViewStaysPut_data()
{
    QTest::addColumn<bool>("userScrolls");
    QTest::newRow("untouched view follows the end") << false;
    QTest::newRow("scrolled view stays put under a shorter text") << true;
}

void tst_zrv_meeting_dialogs_replies::scrolledViewStaysPut()
{
    QFETCH(bool, userScrolls);
    m_server->enqueue(200, {{"Content-Type", "text/plain"}}, logLines(300, 200).toUtf8());
    for (int i = 0; i < 20; ++i)
        m_server->enqueue(200, {{"Content-Type", "text/plain"}}, logLines(200, 200).toUtf8());

    ZRV_LogfileDialog dlg(m_peer->thread());
    QSignalSpy replies(m_peer->thread(), &ZRV_MeetingsInfoThread::mirrorLog);
    // The second opening scrolls by itself again, whatever the user did in the first.
    for (int opening = 0; opening < 2; ++opening) {
        const bool scroll = userScrolls && opening == 0;
        bool refreshed = false;
        int value = -1, maximum = -1, horizontal = -1;
        replies.clear();
        ModalAnswerer answerer;
        answerer.handle([&](QWidget *w) {
            auto *te = w->findChild<QPlainTextEdit *>(QStringLiteral("teLogfile"));
            if (!QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 5000))
                return pressOk(w);
            if (scroll) {
                te->verticalScrollBar()->setValue(10);
                te->horizontalScrollBar()->setValue(30);
            }
            refreshed = QTest::qWaitFor([&replies] { return replies.count() >= 3; }, 8000);
            value = te->verticalScrollBar()->value();
            maximum = te->verticalScrollBar()->maximum();
            horizontal = te->horizontalScrollBar()->value();
            pressOk(w);
        });
        answerer.arm(20000);
        dlg.showMirrorLog(QStringLiteral("wdr7k2m4"));

        QVERIFY(refreshed);
        QVERIFY(maximum > 10);
        QCOMPARE(value, scroll ? 10 : maximum);
        QCOMPARE(horizontal, scroll ? 30 : 0);
    }
}

void tst_zrv_meeting_dialogs_replies::banlistReplies_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("box");
    QTest::addColumn<bool>("readAgain");
    QTest::addColumn<int>("finalCount");

    const QByteArray json("application/json");
    const QByteArray text("text/plain");
    QTest::newRow("list that is not an array") << "get" << 200 << json << QByteArray(R"({"Id":1})") << "" << false << 0;
    QTest::newRow("list refused with 403") << "get" << 403 << json << Refusal
        << "Error getting banlist|An error occured while trying to get the banlist: \nNot allowed" << false << 0;
    QTest::newRow("add answered with text that is no number") << "add" << 200 << text << QByteArray("created") << "" << true << 2;
    QTest::newRow("add answered with an empty object") << "add" << 200 << json << QByteArray("{}") << "" << true << 2;
    QTest::newRow("add refused with 403") << "add" << 403 << json << Refusal
        << "Error adding banlist entry|An error occured while trying to add an entry to the banlist:\nNot allowed" << false << 1;
    QTest::newRow("delete answered with text that is no number") << "delete" << 200 << text << QByteArray("gone") << "" << true << 0;
    QTest::newRow("delete refused with 403") << "delete" << 403 << json << Refusal
        << "Error deleting asset bundle|An error occured while trying to delete asset bundle:\nNot allowed" << false << 1;
}

void tst_zrv_meeting_dialogs_replies::banlistReplies()
{
    QFETCH(QString, action);
    QFETCH(int, status);
    QFETCH(QByteArray, contentType);
    QFETCH(QByteArray, body);
    QFETCH(QString, box);
    QFETCH(bool, readAgain);
    QFETCH(int, finalCount);

    const QByteArray one(R"([{"Id":1,"Mode":0,"Filename":"a.fbx","Checksum":"abc"}])");
    const QByteArray two(R"([{"Id":1,"Mode":0,"Filename":"a.fbx","Checksum":"abc"},{"Id":2,"Mode":3,"Filename":"n","Checksum":"u"}])");
    const QList<QPair<QByteArray, QByteArray>> rowHeaders{{"Content-Type", contentType}};
    if (action == QLatin1String("get"))
        m_server->enqueue(status, rowHeaders, body);
    else
        m_server->enqueueJson(200, one);

    ModalAnswerer answerer;
    if (action == QLatin1String("add")) {
        for (const QString &typed : {QStringLiteral("n"), QStringLiteral("u")})
            answerer.handle([typed](QWidget *w) {
                QTest::keyClicks(w->findChild<QLineEdit *>(), typed);
                static_cast<QDialog *>(w)->accept();
            });
    }
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(10000);

    ZRV_BanlistDialog dlg(m_peer->thread());
    auto *list = dlg.findChild<QListWidget *>(QStringLiteral("banlst"));
    QVERIFY(m_server->waitForRequests(1));
    if (action != QLatin1String("get")) {
        QTRY_COMPARE(list->count(), 1);
        m_server->enqueue(status, rowHeaders, body);
        if (readAgain)
            m_server->enqueueJson(200, action == QLatin1String("add") ? two : QByteArray("[]"));
        if (action == QLatin1String("add")) {
            QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnAddCustom")), Qt::LeftButton);
        } else {
            list->setCurrentRow(0);
            QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnDelete")), Qt::LeftButton);
        }
        QVERIFY(m_server->waitForRequests(2));
        const RecordedRequest sent = m_server->requests().at(1);
        if (action == QLatin1String("add")) {
            QCOMPARE(sent.method, QByteArray("POST"));
            QCOMPARE(sent.target, QByteArray("/zrv/svc/banlist"));
            QCOMPARE(QJsonDocument::fromJson(sent.body).object(),
                     (QJsonObject{{"Mode", 3}, {"Filename", "n"}, {"Checksum", "u"}}));
        } else {
            QCOMPARE(sent.method, QByteArray("DELETE"));
            QCOMPARE(sent.target, QByteArray("/zrv/svc/banlist?banlistId=1"));
        }
        if (readAgain)
            QVERIFY(m_server->waitForRequests(3));
        else
            QVERIFY(!m_server->waitForRequests(3, 1500));
    }

    QTRY_COMPARE(messageBoxes(answerer), box.isEmpty() ? QStringList() : QStringList{box});
    QTRY_COMPARE(list->count(), finalCount);
}

QTEST_MAIN(tst_zrv_meeting_dialogs_replies)
#include "tst_zrv_meeting_dialogs_replies.moc"
