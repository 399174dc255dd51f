#include "SimProcess.h"

#include "ZRVMeetingServiceApi.h"

#include <QElapsedTimer>
#include <QtTest>

using namespace ZRV_Service_API;

// A burst through eight clients at once: no request may fail, and memory must level off.
class tst_sim_load : public QObject
{
    Q_OBJECT

private slots:
    void burstKeepsMemoryFlat();
};

namespace {

constexpr int clients = 8;
constexpr int total = 10000;
constexpr int warmUp = 2000;

} // namespace

void tst_sim_load::burstKeepsMemoryFlat()
{
    // Without the sanitizer's quarantine, freed memory is reused at once, so growth is real growth.
    qputenv("ASAN_OPTIONS", qgetenv("ASAN_OPTIONS") + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0");
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--life-interval"), QStringLiteral("50")}, &error), qPrintable(error));
    const QString bearer = QStringLiteral("Bearer ") + sim.token(QStringLiteral("admin"), QStringLiteral("admin123"));

    int sent = 0, finished = 0, failed = 0;
    qint64 rssAfterWarmUp = -1;
    QString firstFailure;
    QList<ZRVMeetingServiceApi *> apis;
    std::function<void(ZRVMeetingServiceApi *)> next = [&](ZRVMeetingServiceApi *api) {
        if (sent >= total)
            return;
        // A mix of list, record and text replies, as the console's poll makes them.
        switch (sent++ % 3) {
        case 0: api->serviceMeetings(); break;
        case 1: api->meetingInfo(QStringLiteral("wdr7k2m4")); break;
        default: api->meetingLogfile(QStringLiteral("brd9q3x1"), 50); break;
        }
    };
    auto done = [&](ZRVMeetingServiceApi *api, bool ok, const QString &why) {
        ++finished;
        if (!ok && failed++ == 0)
            firstFailure = why;
        if (finished == warmUp)
            rssAfterWarmUp = sim.rssKb();
        next(api);
    };
    for (int i = 0; i < clients; ++i) {
        auto *api = new ZRVMeetingServiceApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), sim.port(), QString());
        api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
        api->addHeaders(QStringLiteral("Authorization"), bearer);
        connect(api, &ZRVMeetingServiceApi::serviceMeetingsSignal, [=] { done(api, true, QString()); });
        connect(api, &ZRVMeetingServiceApi::meetingInfoSignal, [=] { done(api, true, QString()); });
        connect(api, &ZRVMeetingServiceApi::meetingLogfileSignal, [=](QString t) { done(api, !t.isEmpty(), QStringLiteral("empty log")); });
        connect(api, &ZRVMeetingServiceApi::serviceMeetingsSignalE, [=](QList<ZRVMeetingInfo>, QNetworkReply::NetworkError, QString t) { done(api, false, t); });
        connect(api, &ZRVMeetingServiceApi::meetingInfoSignalE, [=](ZRVMeetingInfo, QNetworkReply::NetworkError, QString t) { done(api, false, t); });
        connect(api, &ZRVMeetingServiceApi::meetingLogfileSignalE, [=](QString, QNetworkReply::NetworkError, QString t) { done(api, false, t); });
        apis << api;
    }
    QElapsedTimer clock;
    clock.start();
    for (ZRVMeetingServiceApi *api : apis)
        next(api);
    QTRY_VERIFY_WITH_TIMEOUT(finished == total, 120000);
    const qint64 ms = qMax<qint64>(1, clock.elapsed());
    const qint64 rssEnd = sim.rssKb();
    qDeleteAll(apis);
    qInfo("%d requests from %d clients in %lld ms: %.0f requests/s; VmRSS %lld kB after warm-up, %lld kB at the end",
          total, clients, ms, total * 1000.0 / double(ms), rssAfterWarmUp, rssEnd);
    QVERIFY2(failed == 0, qPrintable(QStringLiteral("%1 failures, first: %2").arg(failed).arg(firstFailure)));
    QVERIFY(rssAfterWarmUp > 0);
    // Flat means bounded: what the remaining 8000 requests add must stay small.
    QVERIFY2(rssEnd - rssAfterWarmUp < 16 * 1024, qPrintable(QStringLiteral("grew by %1 kB").arg(rssEnd - rssAfterWarmUp)));
    QCOMPARE(sim.stop(), 0);
}

QTEST_GUILESS_MAIN(tst_sim_load)
#include "tst_sim_load.moc"
