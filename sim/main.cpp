#include "SimOptions.h"
#include "SimServer.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <pthread.h>
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

    SimServer server(options);
    if (!server.prepare(&error)) {
        std::fprintf(stderr, "zarvo-sim: %s\n", qPrintable(error));
        return 1;
    }

    std::thread signalWaiter([&server, stopSignals] {
        int signal = 0;
        sigwait(&stopSignals, &signal);
        server.stop();
    });

    std::cout << "zarvo-sim listening on http://127.0.0.1:" << server.port() << std::endl;
    const bool ok = server.run();

    // A stop that did not come from a signal still has to release the waiter.
    pthread_kill(signalWaiter.native_handle(), SIGTERM);
    signalWaiter.join();

    if (!server.saveState(&error)) {
        std::fprintf(stderr, "zarvo-sim: %s\n", qPrintable(error));
        return 1;
    }
    return ok ? 0 : 1;
}
