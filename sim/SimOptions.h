#pragma once

#include <QString>
#include <QStringList>

// Command line of zarvo-sim; every value has a default so a bare start works.
class SimOptions
{
public:
    int port = 0;
    QString authBase;
    QString meetingBase;
    QString serviceBase;
    QString statePath;
    int tokenLifetime = 300;
    int refreshLifetime = 1800;
    QString serviceVersion = QStringLiteral("v2.1.0");
    QString consoleVersion = QStringLiteral("1.0.0");
    QString consoleUpdateFile;
    QString consoleUpdateUrl;
    QString s3Endpoint = QStringLiteral("http://127.0.0.1:9000");
    QString s3Bucket = QStringLiteral("zarvo");
    QString s3AccessKey = QStringLiteral("zarvo");
    QString s3SecretKey = QStringLiteral("zarvo-secret");
    QString webdavUrl = QStringLiteral("http://127.0.0.1:8088");
    bool simulateLife = true;
    bool dieWithParent = false;
    int lifeIntervalMs = 2000;
    int hangSeconds = 60;
    int s3KeyLifetime = 3600;
    int meetingMinutes = 60;

    // Returns false with a message in *error on a bad command line.
    bool parse(const QStringList &arguments, QString *error);

    QList<int> consoleVersionNumbers() const;
};
