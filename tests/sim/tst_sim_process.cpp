#include "SimProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

// The simulator as a program: command line, base paths, state file, replies on the wire.
class tst_sim_process : public QObject
{
    Q_OBJECT

private slots:
    void badCommandLineIsRefused_data();
    void badCommandLineIsRefused();
    void basePathsPrefixEachService();
    void stateSurvivesRestart();
    void brokenStateFileStopsStart();
    void meetingStopsAtItsEndTime();
    void loadedCountersMoveAhead();
    void oddShapesOnTheWire_data();
    void oddShapesOnTheWire();
};

void tst_sim_process::badCommandLineIsRefused_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::newRow("unknown option") << QStringList{QStringLiteral("--colour"), QStringLiteral("red")};
    QTest::newRow("port is no number") << QStringList{QStringLiteral("--port"), QStringLiteral("eighty")};
    QTest::newRow("port above range") << QStringList{QStringLiteral("--port"), QStringLiteral("70000")};
    QTest::newRow("life neither on nor off") << QStringList{QStringLiteral("--simulate-life"), QStringLiteral("maybe")};
    QTest::newRow("console version with letters") << QStringList{QStringLiteral("--console-version"), QStringLiteral("1.x.0")};
    QTest::newRow("zero token lifetime") << QStringList{QStringLiteral("--token-lifetime"), QStringLiteral("0")};
}

void tst_sim_process::badCommandLineIsRefused()
{
    QFETCH(QStringList, args);
    QProcess p;
    p.start(SimProcess::executable(), args);
    QVERIFY(p.waitForFinished(20000));
    QCOMPARE(p.exitCode(), 2);
    QVERIFY(p.readAllStandardOutput().isEmpty());
    QVERIFY(!p.readAllStandardError().trimmed().isEmpty());
}

void tst_sim_process::basePathsPrefixEachService()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QFile installer(dir.filePath(QStringLiteral("ZarvoConsoleSetup-3.2.0.exe")));
    QVERIFY(installer.open(QIODevice::WriteOnly));
    const QByteArray bytes("MZ\x90\x00 not really an installer", 29);
    installer.write(bytes);
    installer.close();

    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--auth-base"), QStringLiteral("/kc/"),
                        QStringLiteral("--meeting-base"), QStringLiteral("reg"),
                        QStringLiteral("--service-base"), QStringLiteral("/api/v2"),
                        QStringLiteral("--console-version"), QStringLiteral("3.2.0"),
                        QStringLiteral("--console-update-file"), installer.fileName()}, &error), qPrintable(error));

    QCOMPARE(sim.request("POST", QStringLiteral("/auth/login")).status, 404);
    const QByteArray form("client=BVK&username=admin&password=admin123&passwordold=");
    const SimProcess::Reply login = sim.request("POST", QStringLiteral("/kc/auth/login"), form,
                                                {{"Content-Type", "application/x-www-form-urlencoded"}});
    QCOMPARE(login.status, 200);
    const QByteArray bearer = "Bearer " + login.object().value(QStringLiteral("access_token")).toString().toUtf8();
    QCOMPARE(sim.request("GET", QStringLiteral("/reg/meetings?creator=%2A"), {}, {{"Authorization", bearer}}).status, 200);
    QCOMPARE(sim.request("GET", QStringLiteral("/meetings?creator=%2A"), {}, {{"Authorization", bearer}}).status, 404);

    const SimProcess::Reply versions = sim.request("GET", QStringLiteral("/api/v2/zrv/svc/versions"));
    QCOMPARE(versions.status, 200);
    const QJsonObject console = versions.object().value(QStringLiteral("Console")).toObject();
    QCOMPARE(console.value(QStringLiteral("Version")).toArray(), (QJsonArray{3, 2, 0}));
    const QUrl updateUrl(console.value(QStringLiteral("UpdateUrl")).toString());
    QCOMPARE(updateUrl.port(), sim.port());
    QVERIFY2(updateUrl.path().startsWith(QLatin1String("/api/v2/zrv/svc/")), qPrintable(updateUrl.path()));
    QCOMPARE(updateUrl.fileName(), QStringLiteral("ZarvoConsoleSetup-3.2.0.exe"));
    const SimProcess::Reply download = sim.request("GET", updateUrl.path());
    QCOMPARE(download.status, 200);
    QCOMPARE(download.body, bytes);
    QCOMPARE(sim.stop(), 0);
}

void tst_sim_process::stateSurvivesRestart()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString stateFile = dir.filePath(QStringLiteral("state.json"));
    QString createdId;
    {
        SimProcess sim;
        QString error;
        QVERIFY2(sim.start({QStringLiteral("--state"), stateFile, QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error), qPrintable(error));
        const QByteArray bearer = "Bearer " + sim.token(QStringLiteral("presenter"), QStringLiteral("presenter123")).toUtf8();
        const SimProcess::Reply created = sim.request("POST", QStringLiteral("/meetings"), R"({"title":"Kept across restarts"})",
                                                      {{"Authorization", bearer}, {"Content-Type", "application/json"}});
        QCOMPARE(created.status, 200);
        createdId = created.object().value(QStringLiteral("meetingId")).toString();
        QVERIFY(!createdId.isEmpty());
        // A clean stop also proves the exit path leak-free under the sanitizers.
        QCOMPARE(sim.stop(), 0);
    }
    QVERIFY(QFile::exists(stateFile));
    SimProcess again;
    QString error;
    QVERIFY2(again.start({QStringLiteral("--state"), stateFile}, &error), qPrintable(error));
    const QByteArray bearer = "Bearer " + again.token(QStringLiteral("presenter"), QStringLiteral("presenter123")).toUtf8();
    const SimProcess::Reply list = again.request("GET", QStringLiteral("/meetings?creator=8d1f0c52-0a6e-4c1b-9a51-000000000003"), {},
                                                 {{"Authorization", bearer}});
    QCOMPARE(list.status, 200);
    QStringList ids;
    for (const QJsonValue &m : QJsonDocument::fromJson(list.body).array())
        ids << m.toObject().value(QStringLiteral("meetingId")).toString();
    QVERIFY2(ids.contains(createdId), qPrintable(ids.join(QLatin1Char(','))));

    // Saving on request goes to another file when asked.
    const QString copy = dir.filePath(QStringLiteral("copy.json"));
    QCOMPARE(again.admin("POST", QStringLiteral("/_sim/save"), QJsonObject{{QStringLiteral("path"), copy}}).status, 200);
    QFile copied(copy);
    QVERIFY(copied.open(QIODevice::ReadOnly));
    QVERIFY(copied.readAll().contains(createdId.toUtf8()));
    QCOMPARE(again.stop(), 0);
}

void tst_sim_process::brokenStateFileStopsStart()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QFile broken(dir.filePath(QStringLiteral("state.json")));
    QVERIFY(broken.open(QIODevice::WriteOnly));
    broken.write("{\"format\": \"zarvo-sim-state-1\", \"accounts\": [");
    broken.close();
    QProcess p;
    p.start(SimProcess::executable(), {QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--state"), broken.fileName()});
    QVERIFY(p.waitForFinished(20000));
    QCOMPARE(p.exitCode(), 1);
    QVERIFY(p.readAllStandardError().contains("state file"));
    // The file is left as it was: nothing is lost.
    QVERIFY(broken.open(QIODevice::ReadOnly));
    QCOMPARE(broken.readAll(), QByteArray("{\"format\": \"zarvo-sim-state-1\", \"accounts\": ["));
}

void tst_sim_process::meetingStopsAtItsEndTime()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QJsonObject state;
    {
        SimProcess seeded;
        QString error;
        QVERIFY2(seeded.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error), qPrintable(error));
        state = seeded.admin("GET", QStringLiteral("/_sim/state")).object();
    }
    // The running design review ran out a second ago.
    QJsonObject live = state.value(QStringLiteral("live")).toObject();
    QJsonObject review = live.value(QStringLiteral("wdr7k2m4")).toObject();
    QCOMPARE(review.value(QStringLiteral("statusMirror")).toInt(), 1);
    review.insert(QStringLiteral("endingTime"), QDateTime::currentDateTimeUtc().addSecs(-1).toString(Qt::TextDate));
    live.insert(QStringLiteral("wdr7k2m4"), review);
    state.insert(QStringLiteral("live"), live);
    QFile file(dir.filePath(QStringLiteral("state.json")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(state).toJson());
    file.close();

    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--state"), file.fileName(), QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error), qPrintable(error));
    QCOMPARE(sim.admin("POST", QStringLiteral("/_sim/tick")).status, 200);
    const QJsonObject after = sim.admin("GET", QStringLiteral("/_sim/state")).object();
    const QJsonObject stopped = after.value(QStringLiteral("live")).toObject().value(QStringLiteral("wdr7k2m4")).toObject();
    QCOMPARE(stopped.value(QStringLiteral("statusMirror")).toInt(), 0);
    QVERIFY(stopped.value(QStringLiteral("clients")).toArray().isEmpty());
    for (const QJsonValue &m : after.value(QStringLiteral("meetings")).toArray()) {
        const QJsonObject meeting = m.toObject();
        const QString id = meeting.value(QStringLiteral("meetingId")).toString();
        // The board meeting is endless and keeps running.
        if (id == QLatin1String("wdr7k2m4") || id == QLatin1String("brd9q3x1"))
            QCOMPARE(meeting.value(QStringLiteral("status")).toString(), id == QLatin1String("wdr7k2m4") ? QStringLiteral("pending") : QStringLiteral("active"));
    }
}

void tst_sim_process::loadedCountersMoveAhead()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error), qPrintable(error));
    // A file written by hand, or by an older build, whose counters lag behind its records.
    QJsonObject state = sim.admin("GET", QStringLiteral("/_sim/state")).object();
    QCOMPARE(sim.stop(), 0);
    for (const char *counter : {"nextMeetingId", "nextBanId", "nextBundleId", "nextMemberId"})
        state.remove(QLatin1String(counter));
    QFile file(dir.filePath(QStringLiteral("state.json")));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(state).toJson()) > 0);
    file.close();
    QVERIFY2(sim.start({QStringLiteral("--state"), file.fileName(), QStringLiteral("--simulate-life"), QStringLiteral("off"),
                        QStringLiteral("--s3-endpoint"), QStringLiteral("http://127.0.0.1:9")}, &error), qPrintable(error));
    const QByteArray bearer = "Bearer " + sim.token(QStringLiteral("admin"), QStringLiteral("admin123")).toUtf8();
    const QList<QPair<QByteArray, QByteArray>> headers{{"Authorization", bearer}, {"Content-Type", "application/json"}};
    const SimProcess::Reply meeting = sim.request("POST", QStringLiteral("/meetings"), R"({"title":"After load"})", headers);
    QCOMPARE(meeting.object().value(QStringLiteral("id")).toInt(), 6);
    const SimProcess::Reply ban = sim.request("POST", QStringLiteral("/zrv/svc/banlist"), R"({"Mode":0,"Filename":"f","Checksum":"c"})", headers);
    QCOMPARE(ban.body, QByteArray("4"));
    const SimProcess::Reply bundle = sim.request("POST", QStringLiteral("/zrv/svc/assetbundle"), R"({"Name":"After load","StgRelPath":"__ASSETBUNDLES/After load"})", headers);
    QCOMPARE(bundle.body, QByteArray("ab-0003"));
    // Six members joined the two running meetings at the seed; whoever joins now is the seventh or later.
    const auto members = [&sim] {
        QSet<QString> found;
        const QJsonObject live = sim.admin("GET", QStringLiteral("/_sim/state")).object().value(QStringLiteral("live")).toObject();
        for (const QString &key : {QStringLiteral("wdr7k2m4"), QStringLiteral("brd9q3x1")}) {
            for (const QJsonValue &m : live.value(key).toObject().value(QStringLiteral("clients")).toArray())
                found << QStringLiteral("%1 %2").arg(m.toObject().value(QStringLiteral("Id")).toInt()).arg(m.toObject().value(QStringLiteral("Alias")).toString());
        }
        return found;
    };
    const QSet<QString> seeded = members();
    QCOMPARE(seeded.size(), 6);
    QCOMPARE(sim.admin("POST", QStringLiteral("/_sim/tick"), QJsonObject{{QStringLiteral("steps"), 20}}).status, 200);
    const QSet<QString> joined = members() - seeded;
    QVERIFY(!joined.isEmpty());
    for (const QString &m : joined)
        QVERIFY2(m.section(QLatin1Char(' '), 0, 0).toInt() >= 7, qPrintable(m));
}

void tst_sim_process::oddShapesOnTheWire_data()
{
    QTest::addColumn<QString>("shape");
    QTest::addColumn<QByteArray>("typeHeaderName");
    QTest::addColumn<bool>("bodyIsJson");
    QTest::addColumn<bool>("bodyEmpty");
    QTest::newRow("header name in lower case") << QStringLiteral("lowercase-content-type") << QByteArray("content-type") << true << false;
    QTest::newRow("empty body") << QStringLiteral("empty-body") << QByteArray("Content-Type") << false << true;
    QTest::newRow("body that is no JSON") << QStringLiteral("not-json") << QByteArray("Content-Type") << false << false;
}

void tst_sim_process::oddShapesOnTheWire()
{
    QFETCH(QString, shape);
    QFETCH(QByteArray, typeHeaderName);
    QFETCH(bool, bodyIsJson);
    QFETCH(bool, bodyEmpty);
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({}, &error), qPrintable(error));
    QCOMPARE(sim.admin("POST", QStringLiteral("/_sim/fault"),
                       QJsonObject{{QStringLiteral("shape"), shape}, {QStringLiteral("path"), QStringLiteral("/zrv/svc/status")}}).status, 200);
    const SimProcess::Reply odd = sim.request("GET", QStringLiteral("/zrv/svc/status"));
    QCOMPARE(odd.status, 200);
    QCOMPARE(odd.header(typeHeaderName), QByteArray("application/json"));
    QCOMPARE(odd.header(typeHeaderName == "Content-Type" ? "content-type" : "Content-Type"), QByteArray());
    QCOMPARE(odd.body.isEmpty(), bodyEmpty);
    QCOMPARE(QJsonDocument::fromJson(odd.body).isObject(), bodyIsJson);
    QCOMPARE(odd.header("Content-Length").toInt(), odd.body.size());
    // One use only: the next reply has its normal shape again.
    const SimProcess::Reply normal = sim.request("GET", QStringLiteral("/zrv/svc/status"));
    QCOMPARE(normal.header("Content-Type"), QByteArray("application/json"));
    QCOMPARE(normal.object().value(QStringLiteral("message")).toString(), QStringLiteral("OK - Version v2.1.0"));
}

QTEST_GUILESS_MAIN(tst_sim_process)
#include "tst_sim_process.moc"
