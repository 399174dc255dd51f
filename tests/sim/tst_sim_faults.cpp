#include "SimOutcome.h"
#include "SimProcess.h"

#include "ZRVMeetingServiceApi.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace ZRV_Service_API;

// Each fault switch as the console's service client meets it.
class tst_sim_faults : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void failingStatusForCountedRequests_data();
    void failingStatusForCountedRequests();
    void latencyDelaysMatchingPaths();
    void hangingRequestDropsAfterItsTime();
    void hangingRequestIsReleasedByClearing();
    void oddShapesGiveUnsetRecords_data();
    void oddShapesGiveUnsetRecords();

private:
    // One versions call; the elapsed milliseconds in *ms when given.
    ZRVVersions versions(SimOutcome *o, qint64 *ms = nullptr, int waitMs = 10000);

    SimProcess *m_sim = nullptr;
    ZRVMeetingServiceApi *m_api = nullptr;
};

void tst_sim_faults::init()
{
    m_sim = new SimProcess;
    QString error;
    QVERIFY2(m_sim->start({}, &error), qPrintable(error));
    m_api = new ZRVMeetingServiceApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    m_api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
    m_api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(QStringLiteral("admin"), QStringLiteral("admin123")));
}

void tst_sim_faults::cleanup()
{
    delete m_api;
    m_api = nullptr;
    delete m_sim;
    m_sim = nullptr;
}

ZRVVersions tst_sim_faults::versions(SimOutcome *o, qint64 *ms, int waitMs)
{
    ZRVVersions result;
    QElapsedTimer clock;
    clock.start();
    auto c1 = connect(m_api, &ZRVMeetingServiceApi::serviceVersionsSignal, [&](ZRVVersions v) { result = v; o->succeed(); });
    auto c2 = connect(m_api, &ZRVMeetingServiceApi::serviceVersionsSignalE,
                      [&](ZRVVersions, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
    m_api->serviceVersions();
    o->wait(waitMs);
    disconnect(c1);
    disconnect(c2);
    if (ms)
        *ms = clock.elapsed();
    return result;
}

void tst_sim_faults::failingStatusForCountedRequests_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<QNetworkReply::NetworkError>("error");
    QTest::newRow("two unavailable") << "/zrv/svc/versions" << 2 << 503 << QNetworkReply::ServiceUnavailableError;
    QTest::newRow("one internal error by prefix") << "/zrv/svc/*" << 1 << 500 << QNetworkReply::InternalServerError;
    QTest::newRow("forbidden three times") << "/zrv/svc/versions" << 3 << 403 << QNetworkReply::ContentAccessDenied;
}

void tst_sim_faults::failingStatusForCountedRequests()
{
    QFETCH(QString, path);
    QFETCH(int, count);
    QFETCH(int, status);
    QFETCH(QNetworkReply::NetworkError, error);
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"),
                          QJsonObject{{QStringLiteral("path"), path}, {QStringLiteral("count"), count}, {QStringLiteral("status"), status},
                                      {QStringLiteral("message"), QStringLiteral("maintenance")}}).status, 200);
    // Other paths are left alone.
    const bool otherPathHit = path.endsWith(QLatin1Char('*'));
    SimOutcome meetings;
    connect(m_api, &ZRVMeetingServiceApi::serviceMeetingsSignal, [&] { meetings.succeed(); });
    connect(m_api, &ZRVMeetingServiceApi::serviceMeetingsSignalE, [&](QList<ZRVMeetingInfo>, QNetworkReply::NetworkError e, QString t) { meetings.fail(e, t); });
    m_api->serviceMeetings();
    QVERIFY(meetings.wait());
    QCOMPARE(meetings.ok, !otherPathHit);
    for (int i = otherPathHit ? 1 : 0; i < count; ++i) {
        SimOutcome o;
        versions(&o);
        QVERIFY(o.done && !o.ok);
        QCOMPARE(o.error, error);
        QCOMPARE(o.errorCode(), status);
        QCOMPARE(o.errorMessage(), QStringLiteral("maintenance"));
    }
    SimOutcome after;
    QVERIFY(versions(&after).getConsole().is_version_Set());
    QVERIFY(after.ok);
}

void tst_sim_faults::latencyDelaysMatchingPaths()
{
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"),
                          QJsonObject{{QStringLiteral("latencyMs"), 400}, {QStringLiteral("path"), QStringLiteral("/zrv/svc/versions")}}).status, 200);
    SimOutcome slow;
    qint64 ms = 0;
    versions(&slow, &ms);
    QVERIFY(slow.ok);
    QVERIFY2(ms >= 400, qPrintable(QString::number(ms)));
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"), QJsonObject{{QStringLiteral("latencyMs"), 0}}).status, 200);
    SimOutcome again;
    versions(&again);
    QVERIFY(again.ok);
}

void tst_sim_faults::hangingRequestDropsAfterItsTime()
{
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"),
                          QJsonObject{{QStringLiteral("hang"), QStringLiteral("/zrv/svc/versions")}, {QStringLiteral("seconds"), 1}}).status, 200);
    SimOutcome o;
    qint64 ms = 0;
    versions(&o, &ms);
    QVERIFY2(o.done, "the hang is bounded");
    QVERIFY(!o.ok);
    QVERIFY2(ms >= 1000, qPrintable(QString::number(ms)));
    SimOutcome next;
    versions(&next);
    QVERIFY(next.ok);
}

void tst_sim_faults::hangingRequestIsReleasedByClearing()
{
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"),
                          QJsonObject{{QStringLiteral("hang"), QStringLiteral("/zrv/svc/versions")}, {QStringLiteral("seconds"), 120}}).status, 200);
    SimOutcome o;
    connect(m_api, &ZRVMeetingServiceApi::serviceVersionsSignal, [&] { o.succeed(); });
    connect(m_api, &ZRVMeetingServiceApi::serviceVersionsSignalE, [&](ZRVVersions, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); });
    m_api->serviceVersions();
    QVERIFY(!o.wait(300));
    // Admin calls pass while a request hangs.
    QCOMPARE(m_sim->admin("DELETE", QStringLiteral("/_sim/fault")).status, 200);
    QVERIFY(o.wait());
    QVERIFY(!o.ok);
}

void tst_sim_faults::oddShapesGiveUnsetRecords_data()
{
    QTest::addColumn<QString>("shape");
    QTest::newRow("content-type in lower case") << "lowercase-content-type";
    QTest::newRow("empty body") << "empty-body";
    QTest::newRow("body that is no JSON") << "not-json";
}

void tst_sim_faults::oddShapesGiveUnsetRecords()
{
    QFETCH(QString, shape);
    QCOMPARE(m_sim->admin("POST", QStringLiteral("/_sim/fault"),
                          QJsonObject{{QStringLiteral("shape"), shape}, {QStringLiteral("path"), QStringLiteral("/zrv/svc/versions")}}).status, 200);
    SimOutcome odd;
    const ZRVVersions unset = versions(&odd);
    QVERIFY2(odd.ok, "an odd shape is no failure");
    QVERIFY(!unset.isSet());
    SimOutcome normal;
    QVERIFY(versions(&normal).isSet());
}

QTEST_GUILESS_MAIN(tst_sim_faults)
Q_DECLARE_METATYPE(QNetworkReply::NetworkError)
#include "tst_sim_faults.moc"
