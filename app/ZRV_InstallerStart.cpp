#include "ZRV_InstallerStart.h"

#include <QFile>
#include <QProcess>
#include <QStringList>

std::function<bool(const QString &)> &ZRV_InstallerStart::handler()
{
    static std::function<bool(const QString &)> current;
    return current;
}

void ZRV_InstallerStart::setHandler(std::function<bool(const QString &)> handler)
{
    ZRV_InstallerStart::handler() = std::move(handler);
}

bool ZRV_InstallerStart::start(const QString &path)
{
    if (handler())
        return handler()(path);
#ifndef Q_OS_WIN
    // A download lands without the execute bit; the user chose to install,
    // so the file may run.
    QFile::setPermissions(path, QFile::permissions(path) | QFileDevice::ExeOwner
                                    | QFileDevice::ExeUser);
#endif
    // The path is the program itself, so blanks in it need no quoting.
    return QProcess::startDetached(path, QStringList());
}
