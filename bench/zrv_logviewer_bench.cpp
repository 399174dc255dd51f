// Log viewer benchmark: how long one refresh of ZRV_LogfileDialog holds the
// interface, for a 1 MB log of 999 long lines against lighter logs in the
// same run, fed by zarvo-sim through the console's own service object.
//
//   zrv-logviewer-bench [refreshes]      (default 10 per case)
//
// Per case: the time setLog takes for one reply (the interface is blocked for
// that long), and the longest pause a 5 ms heartbeat timer sees while the
// dialog refreshes every second.
#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <cstdio>

#include "SimProcess.h"
#include "ZRV_Config.h"
#include "ZRV_LogfileDialog.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"

namespace {

struct Case {
    const char *name;
    QString meetingId;
    int lines;     // lines written into the meeting's log
    int width;     // characters of each message
    int requested; // the dialog's line count
};

struct Result {
    QList<double> refreshMs;
    double longestPauseMs = 0;
    qint64 bytes = 0;
};

bool fillLog(const SimProcess &sim, const QString &token, const Case &c)
{
    const QString filler(c.width, QLatin1Char('x'));
    for (int i = 0; i < c.lines; ++i) {
        const QJsonObject command{{"command", "SendMessage"},
                                  {"params", QJsonArray{QStringLiteral("%1 ").arg(i, 4, 10, QLatin1Char('0')) + filler}}};
        const SimProcess::Reply r = sim.request("POST", QStringLiteral("/zrv/svc/meeting/%1/command").arg(c.meetingId),
                                                QJsonDocument(command).toJson(QJsonDocument::Compact),
                                                {{"Authorization", "Bearer " + token.toUtf8()},
                                                 {"Content-Type", "application/json"}});
        if (r.status != 200)
            return false;
    }
    return true;
}

Result run(ZRV_MeetingsInfoThread *thread, const Case &c, int refreshes)
{
    Result result;
    QElapsedTimer clock;
    // Connected around the dialog's own connection, so the two lambdas bracket setLog.
    auto before = QObject::connect(thread, &ZRV_MeetingsInfoThread::mirrorLog, [&](const QString &log) {
        result.bytes = log.toUtf8().size();
        clock.start();
    });
    ZRV_LogfileDialog dlg(thread);
    dlg.findChild<QSpinBox *>(QStringLiteral("spnLines"))->setValue(c.requested);
    auto after = QObject::connect(thread, &ZRV_MeetingsInfoThread::mirrorLog, [&](const QString &) {
        result.refreshMs.append(clock.nsecsElapsed() / 1e6);
        if (result.refreshMs.size() >= refreshes)
            dlg.done(QDialog::Accepted);
    });

    QElapsedTimer beat;
    QTimer heartbeat;
    heartbeat.setInterval(5);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        if (beat.isValid())
            result.longestPauseMs = std::max(result.longestPauseMs, beat.nsecsElapsed() / 1e6 - 5.0);
        beat.start();
    });
    heartbeat.start();
    dlg.showMirrorLog(c.meetingId);
    heartbeat.stop();
    QObject::disconnect(before);
    QObject::disconnect(after);
    return result;
}

double median(QList<double> v)
{
    std::sort(v.begin(), v.end());
    return v.isEmpty() ? 0 : v.at(v.size() / 2);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int refreshes = argc > 1 ? std::max(1, atoi(argv[1])) : 10;
    QTextStream out(stdout);

    SimProcess sim;
    QString error;
    if (!sim.start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error)) {
        fprintf(stderr, "zarvo-sim did not start: %s\n", qPrintable(error));
        return 1;
    }
    const QString token = sim.token(QStringLiteral("admin"), QStringLiteral("admin123"));
    if (token.isEmpty()) {
        fprintf(stderr, "no token from zarvo-sim\n");
        return 1;
    }

    // Two running meetings of the seed data: one gets long lines, one short ones.
    const QList<Case> cases{
        {"999 long lines, about 1 MB", QStringLiteral("brd9q3x1"), 999, 1000, 999},
        {"100 of those long lines", QStringLiteral("brd9q3x1"), 0, 0, 100},
        {"999 short lines", QStringLiteral("wdr7k2m4"), 999, 60, 999},
    };
    for (const Case &c : cases) {
        if (c.lines > 0 && !fillLog(sim, token, c)) {
            fprintf(stderr, "filling the log of %s failed\n", qPrintable(c.meetingId));
            return 1;
        }
    }

    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("bench.ini"));
    {
        QSettings s(ini, QSettings::IniFormat);
        for (const char *group : {"ZRV_MeetingService", "ZRV_AuthService", "ZRV_Service"})
            s.setValue(QLatin1String(group) + QStringLiteral("/host"), QStringLiteral("http://127.0.0.1:%1").arg(sim.port()));
    }
    ZRV_Config config({QStringLiteral("zrv-logviewer-bench"), QStringLiteral("-i"), ini});
    ZRV_LoginData login;
    login.authenticated = true;
    login.accessToken = token;
    login.tokenExpiry = QDateTime::currentDateTime().addSecs(3600);
    ZRV_MeetingsInfoThread thread(nullptr, &config);
    thread.setLoginData(&login);
    // The log calls use the clients that the version request makes.
    bool ready = false;
    QObject::connect(&thread, &ZRV_MeetingsInfoThread::serviceVersions, [&ready] { ready = true; });
    thread.getServiceVersionInformation();
    QElapsedTimer wait;
    wait.start();
    while (!ready && wait.elapsed() < 10000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);

    out << "Log viewer, " << refreshes << " refreshes per case (one a second), zarvo-sim on loopback\n";
    out << QStringLiteral("%1 %2 %3 %4 %5\n")
               .arg(QStringLiteral("case"), -28)
               .arg(QStringLiteral("bytes"), 9)
               .arg(QStringLiteral("refresh median ms"), 18)
               .arg(QStringLiteral("refresh max ms"), 15)
               .arg(QStringLiteral("longest pause ms"), 17);
    for (const Case &c : cases) {
        const Result r = run(&thread, c, refreshes);
        const double worst = r.refreshMs.isEmpty() ? 0 : *std::max_element(r.refreshMs.cbegin(), r.refreshMs.cend());
        out << QStringLiteral("%1 %2 %3 %4 %5\n")
                   .arg(QString::fromLatin1(c.name), -28)
                   .arg(r.bytes, 9)
                   .arg(median(r.refreshMs), 18, 'f', 1)
                   .arg(worst, 15, 'f', 1)
                   .arg(r.longestPauseMs, 17, 'f', 1);
        out.flush();
    }
    sim.stop();
    return 0;
}
