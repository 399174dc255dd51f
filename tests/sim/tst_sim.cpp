#include "MotoServer.h"
#include "SimProcess.h"

#include <QTcpSocket>
#include <QtTest>

namespace {

using Headers = QList<QPair<QByteArray, QByteArray>>;
const Headers Form{{"Content-Type", "application/x-www-form-urlencoded"}};

bool start(SimProcess &sim, const QStringList &args = {})
{
    QString error;
    // A store address where nothing listens unless a test says otherwise.
    if (sim.start(QStringList{"--simulate-life", "off", "--s3-endpoint", "http://127.0.0.1:9"} + args, &error))
        return true;
    qWarning("%s", qPrintable(error));
    return false;
}

QJsonObject signIn(const SimProcess &sim, const QString &login)
{
    return sim.signIn(login, login == QLatin1String("groupadmin") ? QStringLiteral("group123") : login + QStringLiteral("123"));
}

Headers bearer(const QJsonObject &tokens)
{
    return {{"Authorization", "Bearer " + tokens.value("access_token").toString().toUtf8()}, {"Content-Type", "application/json"}};
}

SimProcess::Reply as(const SimProcess &sim, const QString &login, const QByteArray &verb, const QString &path, const QByteArray &body = {})
{
    return sim.request(verb, path, body, bearer(signIn(sim, login)));
}

} // namespace

// What the console's own end-to-end tests do not reach: the account table, token lifetimes,
// refusals on the wire, caller checks, typed updates, bundle files, licence.
class tst_sim : public QObject
{
    Q_OBJECT

    SimProcess m_sim; // read-mostly, shared by the tables that change nothing
    MotoServer m_moto;
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(start(m_sim, {"--token-lifetime", "120"}));
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("unknown option") << QStringList{"--colour", "red"} << 2;
        QFile broken(m_dir.filePath("broken.json"));
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write(R"({"format": "zarvo-sim-state-1", "accounts": [)") > 0);
        QTest::newRow("broken state file, left as it was") << QStringList{"--port", "0", "--state", broken.fileName()} << 1;
    }

    void commandLine()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QProcess p;
        p.start(QStringLiteral(ZARVO_SIM_PATH), args);
        QVERIFY(p.waitForFinished(20000));
        QCOMPARE(p.exitCode(), exitCode);
        const QByteArray why = p.readAllStandardError();
        QVERIFY2(!why.trimmed().isEmpty() && why.contains("state file") == (exitCode == 1), why.constData());
        QFile broken(m_dir.filePath("broken.json"));
        QVERIFY(broken.open(QIODevice::ReadOnly) && broken.readAll().endsWith("\"accounts\": [")); // nothing lost
    }

    // A file written by an older build has no id counters: loading it moves them past its records.
    void stateFileAcrossRestarts()
    {
        const QString path = m_dir.filePath("state.json");
        SimProcess sim;
        QVERIFY(start(sim, {"--state", path}));
        const SimProcess::Reply created = as(sim, "presenter", "POST", "/meetings", R"({"title":"Kept across restarts"})");
        QCOMPARE(created.object().value("id").toInt(), 6);
        QCOMPARE(sim.stop(), 0); // a clean exit, leak-free under the sanitizers
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
        for (const char *counter : {"nextMeetingId", "nextBanId", "nextBundleId", "nextMemberId"})
            QVERIFY2(state.take(QLatin1String(counter)).isDouble(), counter);
        QVERIFY(file.resize(0) && file.seek(0) && file.write(QJsonDocument(state).toJson()) > 0);
        file.close();

        QVERIFY(start(sim, {"--state", path}));
        QCOMPARE(QJsonDocument::fromJson(as(sim, "admin", "GET", "/meetings?creator=%2A").body).array().last()["title"].toString(),
                 QStringLiteral("Kept across restarts"));
        QCOMPARE(as(sim, "admin", "POST", "/meetings", R"({"title":"After load"})").object().value("id").toInt(), 7);
    }

    void accounts_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("account"); // status, presenter role, licence StorageSize/TrialDays/CountEndlessMeetings
        QTest::addColumn<QString>("storage"); // storage group, its Modus, fixed or temporary keys
        QTest::addColumn<QString>("keys");    // temporary keys: Arn and Bucket; empty: refused with 404
        QTest::newRow("admin: MinIO with fixed keys") << "admin" << "active presenter -1/0/2" << "S3_Config_Minio MINIO fixed" << "MINIO zarvo";
        QTest::newRow("groupadmin: MinIO through temporary keys") << "groupadmin" << "active presenter -1/0/2" << "S3_Config_Minio MINIO temporary" << "MINIO zarvo";
        QTest::newRow("presenter: 1024 MB, one endless meeting") << "presenter" << "active presenter 1024/0/1" << "S3_Config_Minio MINIO fixed" << "MINIO zarvo";
        QTest::newRow("cloud: NextCloud, no object store") << "cloud" << "active presenter -1/0/2" << "S3_Config_NextCloud NextCloud fixed" << "";
        QTest::newRow("amazon: S3 in the fixed bucket") << "amazon" << "active presenter -1/0/2" << "S3_Config_AWS S3 temporary" << "S3 bvkzrv";
    }

    void accounts()
    {
        QFETCH(QString, login);
        QFETCH(QString, account);
        QFETCH(QString, storage);
        QFETCH(QString, keys);
        const QJsonObject tokens = signIn(m_sim, login);
        QCOMPARE(tokens.value("expires_in").toInt(), 120);
        const QJsonObject user = m_sim.request("GET", "/auth/user?client=&clientAuth=login-app&clientApp=meeting-app", {}, bearer(tokens)).object();
        QCOMPARE(user.value("userId").toString(), login);
        const QJsonObject customer = m_sim.request("GET", "/auth/groups?realm=BVK&prefix=Customer", {}, bearer(tokens))
                                         .object().value("groups").toArray().first().toObject();
        QCOMPARE(customer.value("name").toString(), QStringLiteral("Brenvik Demo"));
        QStringList licence, group;
        for (const QJsonValue &a : customer.value("attributes").toArray())
            licence << a["value"][0].toString();
        const bool presenter = user.value("roles").toArray().contains(QStringLiteral("ZRV_Presenter"));
        QCOMPARE(user.value("status").toString() + (presenter ? " presenter " : " visitor ") + licence.join('/'), account);
        for (const QJsonValue &g : customer.value("subGroups").toArray()) {
            if (!g["name"].toString().startsWith("S3_Config"))
                continue;
            QMap<QString, QString> attributes;
            for (const QJsonValue &a : g["attributes"].toArray())
                attributes.insert(a["key"].toString(), a["value"][0].toString());
            group << g["name"].toString() << attributes.value("Modus") << (attributes.value("User").isEmpty() ? "temporary" : "fixed");
        }
        QCOMPARE(group.join(' '), storage);

        const SimProcess::Reply key = m_sim.request("GET", "/zrv/svc/s3/token", {}, bearer(tokens));
        QCOMPARE(key.status, keys.isEmpty() ? 404 : 200);
        if (keys.isEmpty())
            return;
        const QJsonObject k = key.object();
        QCOMPARE(k["Arn"].toString() + ' ' + k["Bucket"].toString(), keys);
    }

    void tokenLifetimes_data()
    {
        QTest::addColumn<QString>("accessLifetime");
        QTest::addColumn<QString>("refreshLifetime");
        QTest::addColumn<bool>("logout");
        QTest::newRow("refresh after the access token ran out") << "1" << "60" << false;
        QTest::newRow("logout ends both at once") << "60" << "60" << true;
    }

    void tokenLifetimes()
    {
        QFETCH(QString, accessLifetime);
        QFETCH(QString, refreshLifetime);
        QFETCH(bool, logout);
        SimProcess sim;
        QVERIFY(start(sim, {"--token-lifetime", accessLifetime, "--refresh-lifetime", refreshLifetime}));
        const QJsonObject first = signIn(sim, "presenter");
        const QByteArray refreshToken = first.value("refresh_token").toString().toUtf8();
        if (logout)
            QCOMPARE(sim.request("POST", "/auth/logout", "refresh_token=" + refreshToken, Form).status, 204);
        QTRY_COMPARE_WITH_TIMEOUT(sim.request("GET", "/auth/user", {}, bearer(first)).status, 401, 10000);
        const SimProcess::Reply second = sim.request("POST", "/auth/refreshtoken", "realm=BVK&token=" + refreshToken, Form);
        const bool refreshWorks = refreshLifetime == QLatin1String("60") && !logout;
        QCOMPARE(second.status, refreshWorks ? 200 : 400);
        if (refreshWorks) {
            QCOMPARE(sim.request("GET", "/auth/user", {}, bearer(second.object())).object().value("userId").toString(), QStringLiteral("presenter"));
            // Spent by its one use.
            QCOMPARE(sim.request("POST", "/auth/refreshtoken", "realm=BVK&token=" + refreshToken, Form).status, 400);
        } else {
            QCOMPARE(second.object().value("message").toString(), QStringLiteral("Token is not active"));
        }
    }

    void protectedRoutes_data()
    {
        QTest::addColumn<QByteArray>("route"); // verb, path and a body that would be taken with a token
        QTest::addColumn<QByteArray>("authorization"); // null: none sent
        const QByteArrayList routes{
            "GET /auth/user?client=&clientAuth=login-app&clientApp=meeting-app",
            "GET /meetings?creator=%2A",
            R"(POST /meetings {"title":"Stolen"})",
            R"(PATCH /meetings/wdr7k2m4 {"status":"pending"})",
            "DELETE /meetings/wdr7k2m4",
            "GET /zrv/svc/meetings",
            R"(PUT /zrv/svc/meeting/wdr7k2m4/info {"chatMode":0})",
            R"(POST /zrv/svc/meeting/wdr7k2m4/command {"command":"KickPlayer","params":["1"]})",
            "GET /zrv/svc/wdr7k2m4/logfile?count=5",
            "GET /zrv/svc/s3/token",
            R"(POST /zrv/svc/banlist {"Mode":0,"Filename":"f","Checksum":"c"})",
            R"(POST /zrv/svc/assetbundle {"Name":"n","StgRelPath":"presenter/__ASSETBUNDLES/n"})",
        };
        for (const QByteArray &route : routes) {
            for (const QByteArray &token : {QByteArray(), QByteArray("Bearer at.not-a-token-of-ours")}) {
                const QByteArray name = route.split(' ').mid(0, 2).join(' ') + (token.isEmpty() ? " without a token" : " with a bad token");
                QTest::newRow(name.constData()) << route << token;
            }
        }
    }

    void protectedRoutes()
    {
        QFETCH(QByteArray, route);
        QFETCH(QByteArray, authorization);
        const QByteArrayList parts = route.split(' ');
        const SimProcess::Reply refused =
            m_sim.request(parts[0], parts[1], parts.value(2), {{"Content-Type", "application/json"}, {"Authorization", authorization}});
        QCOMPARE(refused.status, 401);
        QCOMPARE(refused.object().value("code").toInt(), 401);
    }

    void refusedOnTheWire_data()
    {
        QTest::addColumn<QByteArray>("head"); // request line and the headers besides Host and Authorization
        QTest::addColumn<bool>("token");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QByteArray>("answer"); // status, and for 405 the Allow header
        QTest::newRow("unknown path") << QByteArray("GET /nowhere") << true << QByteArray() << QByteArray("404");
        QTest::newRow("live record posted") << QByteArray("POST /zrv/svc/meeting/wdr7k2m4/info") << true << QByteArray() << QByteArray("405 GET, HEAD, PUT");
        // A body that never comes would hold the reply for as long as the server waits for it.
        const QByteArray post("POST /meetings HTTP/1.1\r\nContent-Type: application/json\r\nContent-Length: ");
        QTest::newRow("over the limit: refused before the body comes") << post + QByteArray::number(17 << 20) << true << QByteArray("{") << QByteArray("413");
        QTest::newRow("within the limit and sent whole: served") << post + "22" << true << QByteArray(R"({"title":"Sent whole"})") << QByteArray("200");
    }

    void refusedOnTheWire()
    {
        QFETCH(QByteArray, head);
        QFETCH(bool, token);
        QFETCH(QByteArray, sent);
        QFETCH(QByteArray, answer);
        if (!head.contains("HTTP/1.1"))
            head += " HTTP/1.1\r\nContent-Length: 0";
        QTcpSocket socket;
        socket.connectToHost("127.0.0.1", quint16(m_sim.port()));
        QVERIFY(socket.waitForConnected(5000));
        socket.write(head + "\r\nHost: 127.0.0.1\r\n" + (token ? "Authorization: " + bearer(signIn(m_sim, "admin")).first().second + "\r\n" : "")
                     + "\r\n" + sent);
        QByteArray reply;
        QDeadlineTimer deadline(5000);
        while (!reply.trimmed().endsWith('}') && socket.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))))
            reply += socket.readAll();
        const QByteArray allow = QRegularExpression("\r\nAllow: ([^\r]*)").match(QString(reply)).captured(1).toUtf8();
        QCOMPARE(reply.mid(9, 3) + (allow.isEmpty() ? "" : " " + allow), answer);
        const int status = answer.left(3).toInt();
        const QJsonObject error = QJsonDocument::fromJson(reply.mid(reply.indexOf("\r\n\r\n") + 4)).object();
        QCOMPARE(error.value("code").toInt(), status == 200 ? 0 : status);
        if (status == 404 || status == 405)
            QVERIFY2(error.value("message").toString().contains(head.split(' ').at(1)), reply.constData());
        // A refusal with the body still on its way asks the client to close the connection.
        QCOMPARE(reply.contains("\r\nConnection: close\r\n"), sent == "{");
    }

    void typedLiveRecord_data()
    {
        QTest::addColumn<QByteArray>("field"); // a JSON member beside "chatMode":0
        QTest::addColumn<QString>("refusal");  // empty: taken
        QTest::newRow("voice mode as text") << QByteArray(R"("voiceMode":"1")") << "voiceMode must be a number";
        QTest::newRow("assets as one object") << QByteArray(R"("assets":{"Id":1})") << "assets must be an array";
        QTest::newRow("coordinate as text, deep in an asset") << QByteArray(R"("assets":[{"Id":1},{"Id":2,"Position":{"x":"1"}}])")
                                                              << "assets[1].Position.x must be a number";
        QTest::newRow("bundle size as text") << QByteArray(R"("assetBundles":[{"Id":"ab-0002","StgSize":[1,"2"]}])") << "assetBundles[0].StgSize[1] must be a number";
        QTest::newRow("all types right") << QByteArray(R"("spawnPoints":[{"Id":0,"PlayerId":2,"Name":"Start","Position":{"x":1.5}}])") << "";
    }

    void typedLiveRecord()
    {
        QFETCH(QByteArray, field);
        QFETCH(QString, refusal);
        SimProcess sim;
        QVERIFY(start(sim));
        const SimProcess::Reply put = as(sim, "presenter", "PUT", "/zrv/svc/meeting/wdr7k2m4/info", R"({"chatMode":0,)" + field + "}");
        QCOMPARE(put.status, refusal.isEmpty() ? 200 : 400);
        if (!refusal.isEmpty())
            QCOMPARE(put.object(), (QJsonObject{{"code", 400}, {"message", refusal}, {"source", "zrv-service"}}));
        // Refused whole: the field beside the wrong one is not taken either.
        QCOMPARE(as(sim, "presenter", "GET", "/zrv/svc/meeting/wdr7k2m4/info").object().value("chatMode").toInt(), refusal.isEmpty() ? 0 : 1);
    }

    void commandsCheckTheCaller_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("meetingId");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("param");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("logged"); // the meeting log's last line then
        QTest::newRow("owner kicks a member") << "presenter" << "wdr7k2m4" << "KickPlayer" << "2" << 200 << "Player 2 (Guest Aino) kicked";
        QTest::newRow("administrator kicks in another's meeting") << "admin" << "wdr7k2m4" << "KickPlayer" << "3" << 200 << "Player 3 (Guest Bjarne) kicked";
        QTest::newRow("kick in somebody else's meeting") << "presenter" << "brd9q3x1" << "KickPlayer" << "4" << 403 << "";
        QTest::newRow("command to a stopped meeting") << "presenter" << "prl5t8c6" << "SendMessage" << "anyone?" << 409 << "";
    }

    void commandsCheckTheCaller()
    {
        QFETCH(QString, login);
        QFETCH(QString, meetingId);
        QFETCH(QString, command);
        QFETCH(QString, param);
        QFETCH(int, status);
        QFETCH(QString, logged);
        SimProcess sim;
        QVERIFY(start(sim));
        const QJsonObject body{{"command", command}, {"params", QJsonArray{param}}};
        const SimProcess::Reply reply = as(sim, login, "POST", "/zrv/svc/meeting/" + meetingId + "/command", QJsonDocument(body).toJson());
        QCOMPARE(reply.status, status);
        const QString log = as(sim, "admin", "GET", "/zrv/svc/" + meetingId + "/logfile?count=1").body;
        QVERIFY2(status != 200 || log.contains(logged), qPrintable(log));
        QList<int> present;
        for (const QJsonValue &m : as(sim, "admin", "GET", "/zrv/svc/meeting/" + meetingId + "/info").object().value("clients").toArray())
            present << m["Id"].toInt();
        if (command == QLatin1String("KickPlayer"))
            QCOMPARE(present.contains(param.toInt()), status == 403);
    }

    void endlessMeetingLicence_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("license"); // of the meetings created and started one after the other
        QTest::addColumn<int>("starts");
        QTest::addColumn<int>("lastStatus");
        // presenter may run one endless meeting at a time; the starts before the last pass.
        QTest::newRow("presenter: second endless meeting refused") << "presenter" << "endless" << 2 << 402;
        QTest::newRow("presenter: meetings with an end are not counted") << "presenter" << "default" << 3 << 200;
    }

    void endlessMeetingLicence()
    {
        QFETCH(QString, login);
        QFETCH(QString, license);
        QFETCH(int, starts);
        QFETCH(int, lastStatus);
        SimProcess sim;
        QVERIFY(start(sim));
        SimProcess::Reply started;
        for (int i = 0; i < starts; ++i) {
            const QJsonObject meeting{{"title", QStringLiteral("Open house %1").arg(i)}, {"license", license}};
            const SimProcess::Reply created = as(sim, login, "POST", "/meetings", QJsonDocument(meeting).toJson());
            QCOMPARE(created.status, 200);
            started = as(sim, login, "PATCH", "/meetings/" + created.object().value("meetingId").toString(), R"({"status":"active"})");
            QVERIFY(i == starts - 1 || started.status == 200);
        }
        QCOMPARE(started.status, lastStatus);
        if (lastStatus == 402)
            QVERIFY2(started.object().value("message").toString().startsWith("Licence limit reached"), started.body.constData());
        else
            QCOMPARE(started.object().value("status").toString(), QStringLiteral("active"));
    }

    void bundleDeleteRemovesFiles_data()
    {
        QTest::addColumn<QString>("login");
        QTest::addColumn<QString>("bucket");
        QTest::addColumn<QString>("stem"); // StgRelPath as the console forms it; the files lie beside it, without a leading "/"
        QTest::newRow("MinIO bundle of a confined account") << "presenter" << "zarvo" << "presenter/__ASSETBUNDLES/Stage C";
        QTest::newRow("Amazon S3 bundle in the fixed bucket") << "amazon" << "bvkzrv" << "AROAZRVSIM00000000008:amazon/__ASSETBUNDLES/Stage C";
        QTest::newRow("administrator's stem starts with a slash") << "admin" << "zarvo" << "/__ASSETBUNDLES/Stage C";
    }

    // The bundle leaves the meetings that show it, and its four files leave the store.
    void bundleDeleteRemovesFiles()
    {
        QFETCH(QString, login);
        QFETCH(QString, bucket);
        QFETCH(QString, stem);
        const QString folder = stem.mid(stem.startsWith('/') ? 1 : 0).chopped(7);
        QString error;
        QVERIFY2(m_moto.port() || m_moto.start(&error), qPrintable(error));
        QVERIFY(m_moto.reset() && m_moto.createBucket(bucket));
        const QStringList suffixes{".win.asb", ".ios.asb", ".android.asb", ".web.asb"};
        QJsonArray sizes;
        for (const QString &suffix : suffixes) {
            sizes << 1000 + 17 * sizes.size();
            QVERIFY(m_moto.putObject(bucket, folder + "Stage C" + suffix, QByteArray(sizes.last().toInt(), 'b')));
        }
        QVERIFY(m_moto.putObject(bucket, folder + "Stage C.win.asb.bak", "keep"));
        SimProcess sim;
        QVERIFY(start(sim, {"--s3-endpoint", m_moto.endpoint()}));

        const QJsonObject bundle{{"Name", "Stage C"}, {"Mode", login == QLatin1String("amazon") ? 2 : 1}, {"StgRelPath", stem}};
        const QByteArray id = as(sim, login, "POST", "/zrv/svc/assetbundle", QJsonDocument(bundle).toJson()).body;
        const QJsonValue found = QJsonDocument::fromJson(as(sim, login, "GET", "/zrv/svc/assetbundle?bundleId=" + id).body).array().first();
        QCOMPARE(found["StgSize"].toArray(), sizes);
        const QString info = "/zrv/svc/meeting/prl5t8c6/info";
        QJsonObject record = as(sim, "admin", "GET", info).object();
        record.insert("assetBundles", QJsonArray{found});
        QCOMPARE(as(sim, "admin", "PUT", info, QJsonDocument(record).toJson()).status, 200);
        QCOMPARE(as(sim, "admin", "GET", info).object().value("assetBundles").toArray().size(), 1);
        QCOMPARE(as(sim, login, "DELETE", "/zrv/svc/assetbundle?bundleId=" + id).status, 200);
        QVERIFY(as(sim, "admin", "GET", info).object().value("assetBundles").toArray().isEmpty());
        for (const QString &suffix : suffixes)
            QVERIFY2(!m_moto.hasObject(bucket, folder + "Stage C" + suffix), qPrintable(suffix));
        QVERIFY(m_moto.hasObject(bucket, folder + "Stage C.win.asb.bak"));
    }
};

QTEST_GUILESS_MAIN(tst_sim)
#include "tst_sim.moc"
