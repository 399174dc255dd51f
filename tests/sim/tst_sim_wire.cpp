#include "SimProcess.h"

#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QtTest>

// The simulator's answers to requests it cannot serve: no token, unknown paths and verbs,
// bodies over the limit. One simulator for the whole table.
class tst_sim_wire : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void protectedRoutesWantAToken_data();
    void protectedRoutesWantAToken();
    void unknownPathsAndVerbs_data();
    void unknownPathsAndVerbs();
    void bodyLimits_data();
    void bodyLimits();

private:
    SimProcess m_sim;
    QByteArray m_bearer;
};

namespace {

struct Route
{
    const char *verb;
    const char *path;
    const char *body;
};

// Every route that needs a token, with a body that would be accepted with one.
const QList<Route> protectedRoutes = {
    {"GET", "/auth/user?client=&clientAuth=login-app&clientApp=meeting-app", ""},
    {"GET", "/auth/groups?realm=BVK&prefix=Customer", ""},
    {"GET", "/meetings?creator=%2A", ""},
    {"POST", "/meetings", R"({"title":"Stolen"})"},
    {"PATCH", "/meetings/wdr7k2m4", R"({"status":"pending"})"},
    {"DELETE", "/meetings/wdr7k2m4", ""},
    {"GET", "/zrv/svc/meetings", ""},
    {"GET", "/zrv/svc/meeting/wdr7k2m4/info", ""},
    {"PUT", "/zrv/svc/meeting/wdr7k2m4/info", R"({"chatMode":0})"},
    {"POST", "/zrv/svc/meeting/wdr7k2m4/command", R"({"command":"KickPlayer","params":["1"]})"},
    {"POST", "/zrv/svc/meeting/wdr7k2m4/asset", R"({"Id":0,"Mode":1,"StgRelPath":"x.fbx"})"},
    {"DELETE", "/zrv/svc/meeting/wdr7k2m4/asset/1", ""},
    {"GET", "/zrv/svc/wdr7k2m4/logfile?count=5", ""},
    {"GET", "/zrv/svc/logfile?count=5", ""},
    {"GET", "/zrv/svc/s3/token", ""},
    {"GET", "/zrv/svc/update", ""},
    {"GET", "/zrv/svc/banlist", ""},
    {"POST", "/zrv/svc/banlist", R"({"Mode":0,"Filename":"f","Checksum":"c"})"},
    {"DELETE", "/zrv/svc/banlist?banlistId=1", ""},
    {"GET", "/zrv/svc/assetbundle?bundleId=", ""},
    {"POST", "/zrv/svc/assetbundle", R"({"Name":"n","StgRelPath":"presenter/__ASSETBUNDLES/n"})"},
    {"DELETE", "/zrv/svc/assetbundle?bundleId=ab-0002", ""},
};

// The reply to a request written by hand, so that a body can be announced and not sent.
QByteArray rawExchange(int port, const QByteArray &head, QByteArray *status)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), quint16(port));
    if (!socket.waitForConnected(5000))
        return QByteArray();
    socket.write(head);
    // The small reply is whole once its JSON body has closed.
    QByteArray reply;
    QDeadlineTimer deadline(5000);
    while (!reply.endsWith("}\n") && !reply.endsWith("}") && socket.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))))
        reply += socket.readAll();
    *status = reply.mid(9, 3);
    return reply;
}

} // namespace

void tst_sim_wire::initTestCase()
{
    QString error;
    // A store address where nothing listens: the bundle deleted below must touch no real store.
    QVERIFY2(m_sim.start({QStringLiteral("--simulate-life"), QStringLiteral("off"), QStringLiteral("--s3-endpoint"), QStringLiteral("http://127.0.0.1:9")}, &error), qPrintable(error));
    m_bearer = "Bearer " + m_sim.token(QStringLiteral("admin"), QStringLiteral("admin123")).toUtf8();
    QVERIFY(m_bearer.size() > 10);
}

void tst_sim_wire::cleanupTestCase()
{
    QCOMPARE(m_sim.stop(), 0);
}

void tst_sim_wire::protectedRoutesWantAToken_data()
{
    QTest::addColumn<QByteArray>("verb");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QByteArray>("authorization"); // empty: none sent
    for (const Route &r : protectedRoutes) {
        for (const char *token : {"", "Bearer at.not-a-token-of-ours"}) {
            const QByteArray name = QByteArray(r.verb) + ' ' + r.path + (*token ? " with a bad token" : " without a token");
            QTest::newRow(name.constData()) << QByteArray(r.verb) << QString::fromLatin1(r.path) << QByteArray(r.body) << QByteArray(token);
        }
    }
}

void tst_sim_wire::protectedRoutesWantAToken()
{
    QFETCH(QByteArray, verb);
    QFETCH(QString, path);
    QFETCH(QByteArray, body);
    QFETCH(QByteArray, authorization);
    QList<QPair<QByteArray, QByteArray>> headers{{"Content-Type", "application/json"}};
    if (!authorization.isEmpty())
        headers.append({"Authorization", authorization});
    const SimProcess::Reply refused = m_sim.request(verb, path, body, headers);
    QCOMPARE(refused.status, 401);
    QCOMPARE(refused.object().value(QStringLiteral("code")).toInt(), 401);
    QVERIFY(!refused.object().value(QStringLiteral("message")).toString().isEmpty());
}

void tst_sim_wire::unknownPathsAndVerbs_data()
{
    QTest::addColumn<QByteArray>("verb");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("allow");
    QTest::newRow("unknown path") << QByteArray("GET") << "/nowhere" << 404 << QByteArray();
    QTest::newRow("unknown path under the service") << QByteArray("GET") << "/zrv/svc/meeting/wdr7k2m4/nothing" << 404 << QByteArray();
    QTest::newRow("unknown path, verb of no route") << QByteArray("PATCH") << "/zrv/svc" << 404 << QByteArray();
    QTest::newRow("public status deleted") << QByteArray("DELETE") << "/zrv/svc/status" << 405 << QByteArray("GET, HEAD");
    QTest::newRow("login read") << QByteArray("GET") << "/auth/login" << 405 << QByteArray("POST");
    QTest::newRow("live record posted") << QByteArray("POST") << "/zrv/svc/meeting/wdr7k2m4/info" << 405 << QByteArray("GET, HEAD, PUT");
    QTest::newRow("meeting read by id") << QByteArray("GET") << "/meetings/wdr7k2m4" << 405 << QByteArray("PATCH, DELETE");
}

void tst_sim_wire::unknownPathsAndVerbs()
{
    QFETCH(QByteArray, verb);
    QFETCH(QString, path);
    QFETCH(int, status);
    QFETCH(QByteArray, allow);
    const SimProcess::Reply r = m_sim.request(verb, path, QByteArray(), {{"Authorization", m_bearer}});
    QCOMPARE(r.status, status);
    QCOMPARE(r.header("Content-Type"), QByteArray("application/json"));
    QCOMPARE(r.object().value(QStringLiteral("code")).toInt(), status);
    QVERIFY(r.object().value(QStringLiteral("message")).toString().contains(path));
    QCOMPARE(r.header("Allow"), allow);
}

void tst_sim_wire::bodyLimits_data()
{
    QTest::addColumn<bool>("token");
    QTest::addColumn<qint64>("announced");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("status");
    const QByteArray meeting(R"({"title":"Sent whole"})");
    // A body that never comes would hold the reply for as long as the server waits for it.
    QTest::newRow("no token: refused before the body comes") << false << qint64(1000000) << QByteArray("{") << QByteArray("401");
    QTest::newRow("announced over the limit: refused before the body comes") << true << qint64(17) * 1024 * 1024 << QByteArray("{") << QByteArray("413");
    QTest::newRow("within the limit and sent whole: served") << true << qint64(meeting.size()) << meeting << QByteArray("200");
}

void tst_sim_wire::bodyLimits()
{
    QFETCH(bool, token);
    QFETCH(qint64, announced);
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, status);
    QByteArray head = "POST /meetings HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n";
    if (token)
        head += "Authorization: " + m_bearer + "\r\n";
    head += "Content-Length: " + QByteArray::number(announced) + "\r\n\r\n" + sent;
    QByteArray got;
    const QByteArray reply = rawExchange(m_sim.port(), head, &got);
    QCOMPARE(got, status);
    const int bodyAt = reply.indexOf("\r\n\r\n");
    QCOMPARE(QJsonDocument::fromJson(reply.mid(bodyAt + 4)).object().value(QStringLiteral("code")).toInt(), status == "200" ? 0 : status.toInt());
    // A refusal with the body still on its way asks the client to close the connection.
    QCOMPARE(reply.contains("Connection: close"), status != "200");
}

QTEST_GUILESS_MAIN(tst_sim_wire)
#include "tst_sim_wire.moc"
