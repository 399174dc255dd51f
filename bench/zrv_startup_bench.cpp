// Start-up benchmark: the time from starting zarvo-console to its "Login"
// window being mapped on the X display, against zarvo-sim, and the same for
// a bare Qt dialog in the same run as the floor any Qt program pays here.
//
//   zrv-startup-bench <zarvo-console> [runs]      (default 15; needs $DISPLAY)
//
// bench/startup-bench.sh gives it a virtual display and a Release build.
// The window is seen by the X server's own map notification, so no polling
// interval adds to the figure.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <poll.h>

#include "SimProcess.h"

// Last: its macros (Status, None, ...) clash with Qt's headers.
#include <X11/Xlib.h>

namespace {

const qint64 GiveUpMs = 20000;

// Waits for a top-level window named `name` to be mapped; its time in ms
// since `clock` started, or -1 at the bound or when the process ended first.
double waitForMappedWindow(Display *display, const char *name, const QElapsedTimer &clock,
                           QProcess &process)
{
    const int fd = ConnectionNumber(display);
    while (clock.elapsed() < GiveUpMs) {
        while (XPending(display)) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type != MapNotify)
                continue;
            char *title = nullptr;
            const bool match = XFetchName(display, event.xmap.window, &title) && title
                && qstrcmp(title, name) == 0;
            if (title)
                XFree(title);
            if (match)
                return clock.nsecsElapsed() / 1e6;
        }
        if (process.state() == QProcess::NotRunning)
            return -1;
        pollfd p{fd, POLLIN, 0};
        ::poll(&p, 1, 50);
    }
    return -1;
}

struct Series {
    const char *name;
    QString program;
    QStringList arguments;
    QList<double> ms;
};

double median(QList<double> v)
{
    std::sort(v.begin(), v.end());
    const int n = v.size();
    return n == 0 ? -1 : (n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: zrv-startup-bench <zarvo-console> [runs]\n");
        return 2;
    }
    const int runs = args.size() > 2 ? qMax(1, args.at(2).toInt()) : 15;

    Display *display = XOpenDisplay(nullptr);
    if (!display) {
        std::fprintf(stderr, "zrv-startup-bench: no X display (set DISPLAY)\n");
        return 2;
    }
    XSelectInput(display, DefaultRootWindow(display), SubstructureNotifyMask);
    XSync(display, False);

    SimProcess sim;
    QString error;
    if (!sim.start({}, &error)) {
        std::fprintf(stderr, "zrv-startup-bench: zarvo-sim: %s\n", qPrintable(error));
        return 1;
    }
    QTemporaryDir dir;
    const QString ini = dir.filePath(QStringLiteral("zarvo.ini"));
    {
        QSettings s(ini, QSettings::IniFormat);
        const QString host = QStringLiteral("http://127.0.0.1:%1").arg(sim.port());
        for (const char *group : {"ZRV_MeetingService", "ZRV_AuthService", "ZRV_Service"})
            s.setValue(QLatin1String(group) + QStringLiteral("/host"), host);
        // The console's own version is offered, so no update box stands first.
    }

    // The floor: a Qt program that does nothing but show a dialog of that name.
    QList<Series> series{
        {"zarvo-console to Login", args.at(1), {QStringLiteral("-i"), ini}, {}},
        {"bare Qt dialog (floor)", QStringLiteral(ZRV_BARE_DIALOG_PATH), {}, {}},
    };
    // Window state would go to the user's settings otherwise.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir.filePath(QStringLiteral("config")));

    // Rounds alternate the two, so that a busy moment of the machine hits both.
    for (int round = 0; round < runs; ++round) {
        for (Series &s : series) {
            QProcess process;
            process.setArguments(s.arguments);
            process.setProcessEnvironment(env);
            process.setProgram(s.program);
            process.setStandardOutputFile(QProcess::nullDevice());
            process.setStandardErrorFile(QProcess::nullDevice());
            QElapsedTimer clock;
            clock.start();
            process.start();
            const double ms = waitForMappedWindow(display, "Login", clock, process);
            process.terminate();
            if (!process.waitForFinished(5000)) {
                process.kill();
                process.waitForFinished(5000);
            }
            if (ms < 0) {
                std::fprintf(stderr, "zrv-startup-bench: %s: no Login window\n", s.name);
                return 1;
            }
            s.ms << ms;
        }
    }
    sim.stop();
    XCloseDisplay(display);

    std::printf("%-26s %8s %8s %8s  (%d runs)\n", "start to mapped window", "median", "min", "max",
                runs);
    for (const Series &s : series) {
        std::printf("%-26s %6.1f ms %6.1f ms %6.1f ms\n", s.name, median(s.ms),
                    *std::min_element(s.ms.begin(), s.ms.end()),
                    *std::max_element(s.ms.begin(), s.ms.end()));
    }
    const double console = median(series.first().ms);
    std::printf("goal: under 300 ms for the console: %s\n", console < 300 ? "met" : "NOT met");
    return 0;
}
