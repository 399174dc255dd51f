#include "ZRV_Config.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSettings>

#include "ZRV_LogCategories.h"

ZRV_Config::ZRV_Config(QStringList arguments)
{
    // The command line names the INI file, so it comes first.
    parseArguments(arguments);
    readIni();
}

void ZRV_Config::parseArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption iniOption(QStringLiteral("i"), QStringLiteral("Path to the INI File"),
                                       QStringLiteral("ini file"), QString());
    parser.addOption(iniOption);
    parser.process(arguments);

    if (parser.isSet(iniOption))
        iniFile = parser.value(iniOption);
    else
        iniFile = QCoreApplication::applicationDirPath() + QStringLiteral("/")
                  + QCoreApplication::applicationName() + QStringLiteral(".ini");
}

void ZRV_Config::readIni()
{
    // A missing file is no error: every key keeps its default.
    QSettings *settings = new QSettings(iniFile, QSettings::IniFormat, QCoreApplication::instance());

    settings->beginGroup(QStringLiteral("ZRV_MeetingService"));
    meetingServiceHost = settings->value(QStringLiteral("host")).toString();
    meetingServicePath = settings->value(QStringLiteral("path")).toString();
    auth = settings->value(QStringLiteral("auth"), QStringLiteral("on")).toString().compare(
               QStringLiteral("off"), Qt::CaseInsensitive)
           != 0;
    settings->endGroup();

    settings->beginGroup(QStringLiteral("ZRV_AuthService"));
    authServiceHost = settings->value(QStringLiteral("host")).toString();
    authServicePath = settings->value(QStringLiteral("path")).toString();
    settings->endGroup();

    settings->beginGroup(QStringLiteral("ZRV_Service"));
    serviceHost = settings->value(QStringLiteral("host")).toString();
    servicePath = settings->value(QStringLiteral("path")).toString();
    settings->endGroup();

    settings->beginGroup(QStringLiteral("ZRV_Console"));
    // toInt turns a text that is no number into 0, which the lower bound then lifts.
    inactivityTime = settings->value(QStringLiteral("inactivitytime"), 180).toInt();
    if (inactivityTime > 3600)
        inactivityTime = 3600;
    if (inactivityTime < 30)
        inactivityTime = 30;
    restoreWindow = settings->value(QStringLiteral("restorewindow"), true).toBool();
    settings->endGroup();

    qCDebug(lcSRV) << "ZRV_MeetingService";
    qCDebug(lcSRV).noquote() << "  Host: " + meetingServiceHost;
    qCDebug(lcSRV).noquote() << "  Path: " + meetingServicePath;
    qCDebug(lcSRV) << "ZRV_AuthService";
    qCDebug(lcSRV).noquote() << "  Host: " + authServiceHost;
    qCDebug(lcSRV).noquote() << "  Path: " + authServicePath;
    qCDebug(lcSRV) << "ZRV_Service";
    qCDebug(lcSRV).noquote() << "  Host: " + serviceHost;
    qCDebug(lcSRV).noquote() << "  Path: " + servicePath;
    qCDebug(lcSRV) << "ZRV_Console";
    qCDebug(lcSRV).noquote() << QStringLiteral("  Inactivity Time: %1").arg(inactivityTime);
    qCDebug(lcSRV).noquote()
        << QStringLiteral("  Restore Window: %1").arg(restoreWindow ? "true" : "false");
}
