#pragma once

#include <QString>
#include <QStringList>

// Service addresses and the two console settings, from the command line
// ("-i <ini file>") and the INI file it names. Everyone else holds a
// non-owning pointer to the main window's instance.
class ZRV_Config
{
public:
    explicit ZRV_Config(QStringList arguments);

    QString meetingServiceHost;
    QString meetingServicePath;
    bool auth = true;
    QString authServiceHost;
    QString authServicePath;
    QString serviceHost;
    int inactivityTime = 180; // seconds, 30 ... 3600
    QString servicePath;
    bool restoreWindow = true;
    QString iniFile;

private:
    void parseArguments(const QStringList &arguments);
    void readIni();
};
