#include "SimOptions.h"
#include "SimServer.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <thread>

int main(int argc, char *argv[])
{
    // Block the stop signals before any thread starts, so only the waiter below takes them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("zarvo-sim"));

    SimOptions options;
    QString error;
    if (!options.parse(QCoreApplication::arguments(), &error)) {
        const bool help = QCoreApplication::arguments().contains(QStringLiteral("--help"))
                       || QCoreApplication::arguments().contains(QStringLiteral("-h"));
        std::fprintf(help ? stdout : stderr, "%s\n", qPrintable(error));
        return help ? 0 : 2;
    }

    // A test that crashes must not leave its simulator behind.
    if (options.dieWithParent) {
        const pid_t parent = getppid();
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            return 0;
    }

    SimServer server(options);
    if (!server.prepare(&error)) {
        std::fprintf(stderr, "zarvo-sim: %s\n", qPrintable(error));
        return 1;
    }

    // Saved as soon as the signal comes: idle keep-alive connections may hold the
    // shutdown for a few seconds more, and whoever sent the signal may not wait that long.
    bool saved = true;
    std::thread signalWaiter([&server, &saved, stopSignals] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        server.stop();
        QString saveError;
        saved = server.saveState(&saveError);
        if (!saved)
            std::fprintf(stderr, "zarvo-sim: %s\n", qPrintable(saveError));
    });

    std::cout << "zarvo-sim listening on http://127.0.0.1:" << server.port() << std::endl;
    const bool ok = server.run();
    if (!ok) // the waiter still sleeps in sigwait; wake it so it saves and ends
        pthread_kill(signalWaiter.native_handle(), SIGTERM);
    signalWaiter.join();
    return ok && saved ? 0 : 1;
}
