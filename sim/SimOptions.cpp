#include "SimOptions.h"

#include <QCommandLineParser>

namespace {

bool readInt(const QCommandLineParser &parser, const QString &name, int minimum, int *target, QString *error)
{
    if (!parser.isSet(name))
        return true;
    bool ok = false;
    const int value = parser.value(name).toInt(&ok);
    if (!ok || value < minimum) {
        *error = QStringLiteral("--%1 needs a whole number of at least %2").arg(name).arg(minimum);
        return false;
    }
    *target = value;
    return true;
}

QString trimmedBase(const QString &base)
{
    QString b = base;
    while (b.endsWith(QLatin1Char('/')))
        b.chop(1);
    if (!b.isEmpty() && !b.startsWith(QLatin1Char('/')))
        b.prepend(QLatin1Char('/'));
    return b;
}

} // namespace

bool SimOptions::parse(const QStringList &arguments, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Zarvo platform simulator: authentication, meeting registry and main service on 127.0.0.1"));
    parser.addHelpOption();
    const QList<QCommandLineOption> options = {
        {QStringLiteral("port"), QStringLiteral("TCP port, 0 for any free one"), QStringLiteral("n"), QStringLiteral("0")},
        {QStringLiteral("auth-base"), QStringLiteral("prefix before /auth/..."), QStringLiteral("path")},
        {QStringLiteral("meeting-base"), QStringLiteral("prefix before /meetings..."), QStringLiteral("path")},
        {QStringLiteral("service-base"), QStringLiteral("prefix before /zrv/svc/..."), QStringLiteral("path")},
        {QStringLiteral("state"), QStringLiteral("state file, loaded at start and saved on exit"), QStringLiteral("file")},
        {QStringLiteral("token-lifetime"), QStringLiteral("access token lifetime in seconds"), QStringLiteral("s")},
        {QStringLiteral("refresh-lifetime"), QStringLiteral("refresh token lifetime in seconds"), QStringLiteral("s")},
        {QStringLiteral("service-version"), QStringLiteral("version text of the main service"), QStringLiteral("text")},
        {QStringLiteral("console-version"), QStringLiteral("console version offered for update"), QStringLiteral("a.b.c")},
        {QStringLiteral("console-update-file"), QStringLiteral("installer served under the update URL"), QStringLiteral("path")},
        {QStringLiteral("console-update-url"), QStringLiteral("\"UpdateUrl\" as given, instead of this server's download address"), QStringLiteral("url")},
        {QStringLiteral("s3-endpoint"), QStringLiteral("object store address"), QStringLiteral("url")},
        {QStringLiteral("s3-bucket"), QStringLiteral("object store bucket"), QStringLiteral("name")},
        {QStringLiteral("s3-access-key"), QStringLiteral("object store access key"), QStringLiteral("k")},
        {QStringLiteral("s3-secret-key"), QStringLiteral("object store secret key"), QStringLiteral("s")},
        {QStringLiteral("webdav-url"), QStringLiteral("NextCloud-like server of the cloud account"), QStringLiteral("url")},
        {QStringLiteral("simulate-life"), QStringLiteral("simulated members in started meetings"), QStringLiteral("on|off")},
        {QStringLiteral("life-interval"), QStringLiteral("milliseconds between two life steps"), QStringLiteral("ms")},
        {QStringLiteral("hang-seconds"), QStringLiteral("how long a hanging request is held before the connection drops"), QStringLiteral("s")},
        {QStringLiteral("s3-key-lifetime"), QStringLiteral("lifetime of temporary storage keys in seconds"), QStringLiteral("s")},
        {QStringLiteral("die-with-parent"), QStringLiteral("stop (and save) when the starting process ends")},
        {QStringLiteral("meeting-minutes"), QStringLiteral("running time of a started meeting that has an end"), QStringLiteral("min")},
    };
    parser.addOptions(options);
    if (!parser.parse(arguments)) {
        *error = parser.errorText();
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        *error = parser.helpText();
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument: %1").arg(parser.positionalArguments().first());
        return false;
    }
    if (!readInt(parser, QStringLiteral("port"), 0, &port, error)
        || !readInt(parser, QStringLiteral("token-lifetime"), 1, &tokenLifetime, error)
        || !readInt(parser, QStringLiteral("refresh-lifetime"), 1, &refreshLifetime, error)
        || !readInt(parser, QStringLiteral("life-interval"), 10, &lifeIntervalMs, error)
        || !readInt(parser, QStringLiteral("hang-seconds"), 1, &hangSeconds, error)
        || !readInt(parser, QStringLiteral("s3-key-lifetime"), 1, &s3KeyLifetime, error)
        || !readInt(parser, QStringLiteral("meeting-minutes"), 1, &meetingMinutes, error))
        return false;
    if (port > 65535) {
        *error = QStringLiteral("--port must be below 65536");
        return false;
    }
    auto text = [&](const char *name, QString *target) {
        if (parser.isSet(QLatin1String(name)))
            *target = parser.value(QLatin1String(name));
    };
    text("auth-base", &authBase);
    text("meeting-base", &meetingBase);
    text("service-base", &serviceBase);
    text("state", &statePath);
    text("service-version", &serviceVersion);
    text("console-version", &consoleVersion);
    text("console-update-file", &consoleUpdateFile);
    text("console-update-url", &consoleUpdateUrl);
    text("s3-endpoint", &s3Endpoint);
    text("s3-bucket", &s3Bucket);
    text("s3-access-key", &s3AccessKey);
    text("s3-secret-key", &s3SecretKey);
    text("webdav-url", &webdavUrl);
    dieWithParent = parser.isSet(QStringLiteral("die-with-parent"));
    authBase = trimmedBase(authBase);
    meetingBase = trimmedBase(meetingBase);
    serviceBase = trimmedBase(serviceBase);
    if (parser.isSet(QStringLiteral("simulate-life"))) {
        const QString v = parser.value(QStringLiteral("simulate-life")).toLower();
        if (v != QLatin1String("on") && v != QLatin1String("off")) {
            *error = QStringLiteral("--simulate-life takes on or off");
            return false;
        }
        simulateLife = v == QLatin1String("on");
    }
    const QStringList parts = consoleVersion.split(QLatin1Char('.'));
    for (const QString &p : parts) {
        bool ok = false;
        p.toInt(&ok);
        if (!ok) {
            *error = QStringLiteral("--console-version must be numbers joined by dots, like 1.0.0");
            return false;
        }
    }
    return true;
}

QList<int> SimOptions::consoleVersionNumbers() const
{
    QList<int> numbers;
    for (const QString &p : consoleVersion.split(QLatin1Char('.')))
        numbers << p.toInt();
    return numbers;
}
