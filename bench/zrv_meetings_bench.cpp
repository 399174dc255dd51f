// Meetings panel benchmark: how long one live overlay merge and table
// refresh holds the interface with 500 meetings of which 50 run, fed by
// zarvo-sim's registry and live list. Beside it in the same run: the
// registry load, and the same overlay on a table whose rows were dropped
// first, which is what rebuilding the table whole on every poll would cost.
//
//   zrv-meetings-bench [rounds]      (default 100 overlays per case)
//
// Each figure is one slot call plus the event processing that paints it.
#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTableWidget>

#include <algorithm>
#include <cstdio>

#include "SimProcess.h"
#include "ZRVMeeting.h"
#include "ZRVMeetingInfo.h"
#include "ZRV_Config.h"
#include "ZRV_LoginData.h"
#include "ZRV_Meetings.h"
#include "ZRV_MeetingsInfoThread.h"

namespace {

const int kMeetings = 500;
const int kRunning = 50;

struct Stats {
    double median = 0, p95 = 0, max = 0;
};

Stats stats(QList<double> ms)
{
    std::sort(ms.begin(), ms.end());
    Stats s;
    if (ms.isEmpty())
        return s;
    s.median = ms.at(ms.size() / 2);
    s.p95 = ms.at(qMin(ms.size() - 1, int(ms.size() * 0.95)));
    s.max = ms.last();
    return s;
}

SimProcess::Reply call(const SimProcess &sim, const QString &token, const QByteArray &verb,
                       const QString &path, const QJsonObject &body = QJsonObject())
{
    return sim.request(verb, path, body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact),
                       {{"Authorization", "Bearer " + token.toUtf8()}, {"Content-Type", "application/json"}});
}

QList<ZRVMeeting> registry(const SimProcess &sim, const QString &token)
{
    QList<ZRVMeeting> list;
    const QJsonArray array = QJsonDocument::fromJson(call(sim, token, "GET", "/meetings?creator=%2A").body).array();
    for (const QJsonValue &v : array) {
        ZRVMeeting m;
        m.fromJsonObject(v.toObject());
        list << m;
    }
    return list;
}

QMap<QString, ZRVMeetingInfo> live(const SimProcess &sim, const QString &token)
{
    QMap<QString, ZRVMeetingInfo> map;
    const QJsonArray array = QJsonDocument::fromJson(call(sim, token, "GET", "/zrv/svc/meetings").body).array();
    for (const QJsonValue &v : array) {
        ZRVMeetingInfo info;
        info.fromJsonObject(v.toObject());
        map.insert(info.getMeetingId().toLower(), info);
    }
    return map;
}

// The slot's own share of the time goes to *slotMs when asked for.
double timed(QApplication &app, const std::function<void()> &step, QList<double> *slotMs = nullptr)
{
    QElapsedTimer clock;
    clock.start();
    step();
    if (slotMs)
        *slotMs << clock.nsecsElapsed() / 1e6;
    app.processEvents();
    return clock.nsecsElapsed() / 1e6;
}

void quietDebug(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(zrv);
    const int rounds = argc > 1 ? qMax(1, QString::fromLocal8Bit(argv[1]).toInt()) : 100;

    SimProcess sim;
    QString error;
    if (!sim.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error)) {
        std::fprintf(stderr, "zarvo-sim: %s\n", qPrintable(error));
        return 1;
    }
    const QString token = sim.token(QStringLiteral("admin"), QStringLiteral("admin123"));

    // Fill the registry up to 500 and start ordinary meetings up to 50 running.
    int running = 0;
    for (const ZRVMeeting &m : registry(sim, token))
        running += m.getStatus() == QLatin1String("active") ? 1 : 0;
    for (int i = registry(sim, token).size(); i < kMeetings; ++i) {
        const QJsonObject body{{"title", QStringLiteral("Bench meeting %1").arg(i)},
                               {"description", QStringLiteral("Made by the meetings benchmark")},
                               {"license", "default"},
                               {"audioMode", i % 3},
                               {"password", i % 4 == 0 ? QStringLiteral("c2VjcmV0") : QString()}};
        const SimProcess::Reply r = call(sim, token, "POST", "/meetings", body);
        if (r.status != 200 && r.status != 201) {
            std::fprintf(stderr, "create failed: %d %s\n", r.status, r.body.constData());
            return 1;
        }
        if (running < kRunning) {
            const QString id = r.object().value("meetingId").toString();
            call(sim, token, "PATCH", "/meetings/" + id, {{"status", "active"}});
            ++running;
        }
    }
    // Members join the running meetings; two snapshots differ in members and talk.
    sim.admin("POST", "/_sim/tick", {{"steps", 20}});
    const QList<ZRVMeeting> meetings = registry(sim, token);
    const QMap<QString, ZRVMeetingInfo> snapshotA = live(sim, token);
    sim.admin("POST", "/_sim/tick", {{"steps", 3}});
    const QMap<QString, ZRVMeetingInfo> snapshotB = live(sim, token);
    int active = 0;
    for (const ZRVMeeting &m : meetings)
        active += m.getStatus() == QLatin1String("active") ? 1 : 0;

    qInstallMessageHandler(quietDebug);
    ZRV_Config config({QStringLiteral("zrv-meetings-bench")});
    // The service object stays idle: its poll stops for want of a login.
    ZRV_LoginData idle;
    ZRV_MeetingsInfoThread thread(nullptr, &config);
    thread.setLoginData(&idle);
    ZRV_LoginData admin;
    admin.authenticated = true;
    admin.roles = QStringList{QStringLiteral("ZRV_Presenter"), QStringLiteral("ZRV_Administrator")};
    ZRV_Meetings panel(nullptr, &config, &thread, nullptr);
    panel.resize(1200, 800);
    panel.show();
    panel.setLoginData(&admin);
    auto *table = panel.findChild<QTableWidget *>(QStringLiteral("tblMeetings"));

    const double coldLoad = timed(app, [&]() { panel.onGetMeetings(meetings); });
    QList<double> load;
    for (int i = 0; i < qMin(rounds, 20); ++i)
        load << timed(app, [&]() { panel.onGetMeetings(meetings); });
    const double coldOverlay = timed(app, [&]() { panel.onMeetingsInfo(snapshotA); });

    // A running meeting selected, so the member table is filled too.
    for (int row = 0; row < table->rowCount(); ++row) {
        if (snapshotA.value(table->item(row, 0)->text().toLower()).getClients().size() > 2) {
            table->selectRow(row);
            break;
        }
    }
    app.processEvents();

    QList<double> overlay, overlaySlot;
    for (int i = 0; i < rounds; ++i)
        overlay << timed(app, [&]() { panel.onMeetingsInfo(i % 2 ? snapshotB : snapshotA); }, &overlaySlot);

    QList<double> rebuilt;
    for (int i = 0; i < rounds; ++i) {
        rebuilt << timed(app, [&]() {
            table->setRowCount(0);
            panel.onGetMeetings(meetings);
            panel.onMeetingsInfo(i % 2 ? snapshotB : snapshotA);
        });
    }

    const Stats l = stats(load), o = stats(overlay), os = stats(overlaySlot), r = stats(rebuilt);
    std::printf("meetings %d, running %d, live records %d, rounds %d\n", int(meetings.size()), active,
                int(snapshotA.size()), rounds);
    std::printf("%-36s %9s %9s %9s\n", "case (ms)", "median", "p95", "max");
    std::printf("%-36s %9.2f\n", "registry load, first", coldLoad);
    std::printf("%-36s %9.2f %9.2f %9.2f\n", "registry load, rows in place", l.median, l.p95, l.max);
    std::printf("%-36s %9.2f\n", "overlay merge, first", coldOverlay);
    std::printf("%-36s %9.2f %9.2f %9.2f\n", "overlay merge + refresh, in place", o.median, o.p95, o.max);
    std::printf("%-36s %9.2f %9.2f %9.2f\n", "  of which the merge itself", os.median, os.p95, os.max);
    std::printf("%-36s %9.2f %9.2f %9.2f\n", "rows dropped, load + overlay", r.median, r.p95, r.max);
    std::printf("goal: overlay merge + refresh under 16 ms: %s\n", o.p95 < 16.0 ? "met" : "MISSED");
    sim.stop();
    return 0;
}
