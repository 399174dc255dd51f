// Components table benchmark: a meeting with 500 assets, its live record read
// from zarvo-sim, shown in the main window's tblAssets.
//
//   zrv-assets-bench [rounds]      (default 50)
//
// Per case, the interface time of one refresh (the slot, the columns sized to
// their contents and a synchronous repaint of the table): the first fill of an
// empty table, which builds every row as a rebuild would, against the ten second poll with nothing changed and
// with one asset changed; and the 500 replies of adding the assets one by one.
// The window is never signed in: its event loop does not run, so its own
// start-up requests stay unanswered and only the called slots do work.
#include <QApplication>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QTableWidget>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>

#include "SimProcess.h"
#include "ZRVMeetingInfo.h"
#include "ZRV_ServerApp.h"

using ZRV_Service_API::ZRVAsset;
using ZRV_Service_API::ZRVMeetingInfo;

namespace {

const char MeetingId[] = "brd9q3x1";
const int Assets = 500;

bool addAssets(const SimProcess &sim, const QString &token)
{
    for (int i = 0; i < Assets; ++i) {
        // Two in five are placeholders, the rest 3D models that the service numbers.
        const bool placeholder = i % 5 < 2;
        const QJsonObject asset{
            {"Id", placeholder ? 22002 + i : 0},
            {"Name", QStringLiteral("asset-%1%2").arg(i).arg(placeholder ? ".png" : ".fbx")},
            {"Mode", placeholder ? 3 : 1},
            {"StgRelPath", placeholder ? QStringLiteral("https://example.org/media/asset-%1.png").arg(i)
                                       : QStringLiteral("admin/models/set-%1/asset-%2.fbx").arg(i % 7).arg(i)},
            {"StgSize", placeholder ? 0 : 1000 * i}};
        const SimProcess::Reply r = sim.request("POST", QStringLiteral("/zrv/svc/meeting/%1/asset").arg(MeetingId),
                                                QJsonDocument(asset).toJson(QJsonDocument::Compact),
                                                {{"Authorization", "Bearer " + token.toUtf8()},
                                                 {"Content-Type", "application/json"}});
        if (r.status != 200)
            return false;
    }
    return true;
}

struct Stats {
    double mean = 0;
    double median = 0;
    double max = 0;
};

Stats stats(QList<double> ms)
{
    Stats s;
    if (ms.isEmpty())
        return s;
    std::sort(ms.begin(), ms.end());
    for (double v : ms)
        s.mean += v;
    s.mean /= ms.size();
    s.median = ms.at(ms.size() / 2);
    s.max = ms.last();
    return s;
}

double timed(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return clock.nsecsElapsed() / 1e6;
}

void report(const char *name, const QList<double> &ms)
{
    const Stats s = stats(ms);
    printf("%-34s %6d %10.3f %10.3f %10.3f\n", name, int(ms.size()), s.mean, s.median, s.max);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(zrv);
    const int rounds = argc > 1 ? qMax(1, atoi(argv[1])) : 50;

    SimProcess sim;
    QString error;
    if (!sim.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error)) {
        fprintf(stderr, "zarvo-sim did not start: %s\n", qPrintable(error));
        return 1;
    }
    const QString token = sim.token(QStringLiteral("admin"), QStringLiteral("admin123"));
    if (token.isEmpty() || !addAssets(sim, token)) {
        fprintf(stderr, "could not fill the meeting on zarvo-sim\n");
        return 1;
    }
    const SimProcess::Reply reply = sim.request("GET", QStringLiteral("/zrv/svc/meeting/%1/info").arg(MeetingId), {},
                                                {{"Authorization", "Bearer " + token.toUtf8()}});
    const ZRVMeetingInfo record(QString::fromUtf8(reply.body));
    ZRVMeetingInfo changed = record;
    QList<ZRVAsset> changedAssets = changed.getAssets();
    changedAssets[changedAssets.size() / 2].setStgSize(123456789);
    changed.setAssets(changedAssets);

    // The window talks to a port where nothing listens, and never runs its loop.
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("bench.ini"));
    {
        QSettings s(ini, QSettings::IniFormat);
        for (const char *group : {"ZRV_MeetingService", "ZRV_AuthService", "ZRV_Service"})
            s.setValue(QLatin1String(group) + QStringLiteral("/host"), QStringLiteral("http://127.0.0.1:1"));
    }
    ZRV_ServerApp window({QStringLiteral("zarvo-console"), QStringLiteral("-i"), ini});
    window.show();
    auto *table = window.findChild<QTableWidget *>(QStringLiteral("tblAssets"));
    // As the signed-in window lays it out: columns sized to their contents.
    // That sizing waits for the event loop, which never runs here, so each
    // refresh below does it by hand before it paints.
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    auto settle = [table] {
        table->horizontalHeader()->resizeSections(QHeaderView::ResizeToContents);
        table->viewport()->repaint();
    };

    QList<double> firstFill, pollSame, pollChanged, added;
    for (int i = 0; i < rounds; ++i) {
        table->setRowCount(0);
        firstFill << timed([&] {
            window.onMeetingInfo(record);
            settle();
        });
        pollSame << timed([&] {
            window.onMeetingInfo(record);
            settle();
        });
        pollChanged << timed([&] {
            window.onMeetingInfo(i % 2 ? record : changed);
            settle();
        });
    }
    const QList<ZRVAsset> assets = record.getAssets();
    for (int r = 0; r < qMin(rounds, 5); ++r) {
        table->setRowCount(0);
        window.onMeetingInfo(ZRVMeetingInfo());
        for (const ZRVAsset &asset : assets) {
            added << timed([&] {
                window.onAssetAdd(asset);
                settle();
            });
        }
    }

    printf("tblAssets with %d rows (%d assets in the record)\n", table->rowCount(), int(assets.size()));
    printf("%-34s %6s %10s %10s %10s\n", "case (ms per refresh)", "n", "mean", "median", "max");
    report("first fill of an empty table", firstFill);
    report("poll, nothing changed", pollSame);
    report("poll, one asset changed", pollChanged);
    report("one added asset's reply", added);
    return 0;
}
