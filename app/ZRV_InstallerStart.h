#pragma once

#include <QString>

#include <functional>

// Hands a downloaded installer to the operating system. Tests install a
// handler to see the path instead of starting a process.
class ZRV_InstallerStart
{
public:
    // Starts the file detached, with its path as the single argument, or
    // hands the path to the installed handler. True when it was started.
    static bool start(const QString &path);
    // An empty handler restores the real start.
    static void setHandler(std::function<bool(const QString &)> handler);

private:
    static std::function<bool(const QString &)> &handler();
};
