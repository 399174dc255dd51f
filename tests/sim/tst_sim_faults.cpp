#include "SimOutcome.h"
#include "SimProcess.h"

#include "ZRVMeetingServiceApi.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace ZRV_Service_API;
using S = ZRVMeetingServiceApi;

// Each fault switch as the console's service client meets it; the reply shapes on the wire are
// checked in tst_sim_process.
class tst_sim_faults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void failingStatusForCountedRequests_data();
    void failingStatusForCountedRequests();
    void latencyDelaysMatchingPaths();
    void switchMatchesTheVerb_data();
    void switchMatchesTheVerb();
    void hangingRequest_data();
    void hangingRequest();

private:
    // One versions call; returns the elapsed milliseconds.
    qint64 versions(SimOutcome *o, int waitMs = 10000);
    bool fault(const QJsonObject &body) { return m_sim->admin("POST", QStringLiteral("/_sim/fault"), body).status == 200; }

    SimProcess *m_sim = nullptr;
    S *m_api = nullptr;
};

void tst_sim_faults::init()
{
    m_sim = new SimProcess;
    QString error;
    QVERIFY2(m_sim->start({}, &error), qPrintable(error));
    m_api = new S(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    m_api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(QStringLiteral("admin"), QStringLiteral("admin123")));
}

void tst_sim_faults::cleanup()
{
    delete m_api;
    m_api = nullptr;
    delete m_sim;
    m_sim = nullptr;
}

qint64 tst_sim_faults::versions(SimOutcome *o, int waitMs)
{
    QElapsedTimer clock;
    clock.start();
    simCall(m_api, &S::serviceVersionsSignal, &S::serviceVersionsSignalE, [&] { m_api->serviceVersions(); }, o, waitMs);
    return clock.elapsed();
}

void tst_sim_faults::failingStatusForCountedRequests_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("error");
    QTest::newRow("two unavailable") << "/zrv/svc/versions" << 2 << 503 << int(QNetworkReply::ServiceUnavailableError);
    QTest::newRow("one internal error by prefix") << "/zrv/svc/*" << 1 << 500 << int(QNetworkReply::InternalServerError);
    QTest::newRow("forbidden three times") << "/zrv/svc/versions" << 3 << 403 << int(QNetworkReply::ContentAccessDenied);
}

void tst_sim_faults::failingStatusForCountedRequests()
{
    QFETCH(QString, path);
    QFETCH(int, count);
    QFETCH(int, status);
    QFETCH(int, error);
    QVERIFY(fault({{QStringLiteral("path"), path}, {QStringLiteral("count"), count}, {QStringLiteral("status"), status},
                   {QStringLiteral("message"), QStringLiteral("maintenance")}}));
    // Another path is hit only by a prefix switch, and then takes the one use.
    const bool prefix = path.endsWith(QLatin1Char('*'));
    SimOutcome other;
    simCall(m_api, &S::serviceMeetingsSignal, &S::serviceMeetingsSignalE, [&] { m_api->serviceMeetings(); }, &other);
    QCOMPARE(other.ok, !prefix);
    for (int i = prefix ? 1 : 0; i < count; ++i) {
        SimOutcome o;
        versions(&o);
        QVERIFY(o.done && !o.ok);
        QCOMPARE(int(o.error), error);
        QCOMPARE(o.errorCode(), status);
        QCOMPARE(o.errorMessage(), QStringLiteral("maintenance"));
    }
    SimOutcome after;
    versions(&after);
    QVERIFY(after.ok);
}

void tst_sim_faults::latencyDelaysMatchingPaths()
{
    QVERIFY(fault({{QStringLiteral("latencyMs"), 400}, {QStringLiteral("path"), QStringLiteral("/zrv/svc/versions")}}));
    SimOutcome slow, off;
    const qint64 ms = versions(&slow);
    QVERIFY(slow.ok);
    QVERIFY2(ms >= 400, qPrintable(QString::number(ms)));
    QVERIFY(fault({{QStringLiteral("latencyMs"), 0}}));
    versions(&off);
    QVERIFY(off.ok);
}

void tst_sim_faults::switchMatchesTheVerb_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<bool>("readFails");
    QTest::addColumn<bool>("writeFails");
    QTest::newRow("PUT only: the read passes") << "PUT" << false << true;
    QTest::newRow("GET only, in lower case: the write passes") << "get" << true << false;
    QTest::newRow("no verb: both fail") << "" << true << true;
}

// A switch on the live record's path, told apart by verb as the console's poll (GET) and
// its changes (PUT) share that path.
void tst_sim_faults::switchMatchesTheVerb()
{
    QFETCH(QString, method);
    QFETCH(bool, readFails);
    QFETCH(bool, writeFails);
    QJsonObject body{{QStringLiteral("path"), QStringLiteral("/zrv/svc/meeting/wdr7k2m4/info")}, {QStringLiteral("count"), -1},
                     {QStringLiteral("status"), 502}};
    if (!method.isEmpty())
        body.insert(QStringLiteral("method"), method);
    QVERIFY(fault(body));
    SimOutcome read, write;
    const ZRVMeetingInfo record = std::get<0>(simCall(m_api, &S::meetingInfoSignal, &S::meetingInfoSignalE,
                                                      [&] { m_api->meetingInfo(QStringLiteral("wdr7k2m4")); }, &read));
    QVERIFY(read.done);
    QCOMPARE(read.errorCode(), readFails ? 502 : 0);
    ZRVMeetingInfo change;
    change.setChatMode(0);
    simCall(m_api, &S::meetingInfoUpdateSignal, &S::meetingInfoUpdateSignalE,
            [&] { m_api->meetingInfoUpdate(QStringLiteral("wdr7k2m4"), change); }, &write);
    QVERIFY(write.done);
    QCOMPARE(write.errorCode(), writeFails ? 502 : 0);
    QCOMPARE(record.getMeetingId(), readFails ? QString() : QStringLiteral("wdr7k2m4"));
}

void tst_sim_faults::hangingRequest_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<bool>("clearEarly");
    QTest::newRow("connection drops after its time") << 1 << false;
    QTest::newRow("clearing the switches lets it go") << 120 << true;
}

void tst_sim_faults::hangingRequest()
{
    QFETCH(int, seconds);
    QFETCH(bool, clearEarly);
    QVERIFY(fault({{QStringLiteral("hang"), QStringLiteral("/zrv/svc/versions")}, {QStringLiteral("seconds"), seconds}}));
    SimOutcome hung;
    QElapsedTimer clock;
    clock.start();
    auto c1 = connect(m_api, &S::serviceVersionsSignal, [&] { hung.succeed(); });
    auto c2 = connect(m_api, &S::serviceVersionsSignalE, [&](ZRVVersions, QNetworkReply::NetworkError e, QString t) { hung.fail(e, t); });
    m_api->serviceVersions();
    if (clearEarly) {
        QVERIFY(!hung.wait(300));
        QCOMPARE(m_sim->admin("DELETE", QStringLiteral("/_sim/fault")).status, 200); // admin calls pass meanwhile
    }
    QVERIFY2(hung.wait(), "a hang is bounded");
    disconnect(c1);
    disconnect(c2);
    QVERIFY2(!hung.ok, "the reply is cut short");
    QVERIFY(clock.elapsed() >= (clearEarly ? 300 : 1000));
    SimOutcome next;
    versions(&next);
    QVERIFY(next.ok);
}

QTEST_GUILESS_MAIN(tst_sim_faults)
#include "tst_sim_faults.moc"
