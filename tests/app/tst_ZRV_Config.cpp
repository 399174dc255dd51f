#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QtTest>

#include "ZRV_Config.h"
#include "ZRV_Logger.h"
#include "ZRV_ServiceEndpoint.h"

class tst_ZRV_Config : public QObject
{
    Q_OBJECT

private slots:
    void inactivityClamp_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<int>("expected");
        QTest::newRow("29 is lifted to 30") << QByteArray("[ZRV_Console]\ninactivitytime=29\n") << 30;
        QTest::newRow("3601 is cut to 3600") << QByteArray("[ZRV_Console]\ninactivitytime=3601\n") << 3600;
        QTest::newRow("no number gives 30") << QByteArray("[ZRV_Console]\ninactivitytime=soon\n") << 30;
    }

    void inactivityClamp()
    {
        QFETCH(QByteArray, ini);
        QTemporaryFile file;
        QVERIFY(file.open() && file.write(ini) == ini.size() && file.flush());
        QTEST(ZRV_Config({"zarvo-console", "-i", file.fileName()}).inactivityTime, "expected");
    }

    void serviceEndpointRule_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected"); // scheme|host|port|base path
        QTest::newRow("http without port gets 80") << "http://svc.example" << "/svc" << "http|svc.example|80|/svc";
        QTest::newRow("scheme in capitals still counts as https") << "HTTPS://svc.example" << "" << "https|svc.example|443|";
        QTest::newRow("host path, decoded, goes ahead of the configured path") << "http://svc.example/my%20base" << "/svc" << "http|svc.example|80|/my base/svc";
        QTest::newRow("empty host gives an empty endpoint on port 80") << "" << "/svc" << "||80|/svc";
    }

    void serviceEndpointRule()
    {
        QFETCH(QString, host);
        QFETCH(QString, path);
        const ZRV_ServiceEndpoint e = serviceEndpoint(host, path);
        QTEST(QString("%1|%2|%3|%4").arg(e.scheme, e.host).arg(e.port).arg(e.basePath), "expected");
    }

    // The log prefix: date leads, then time, then text; each write appends.
    void logLinesCarryDateThenTime()
    {
        QTemporaryDir dir;
        ZRV_Logger logger;
        logger.logFileName = dir.filePath("console.log");
        logger.showDate = logger.showTime = true;
        logger.write("a");
        logger.writeln("Grüße");
        QFile file(logger.logFileName);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll()), prefix = "\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d - ";
        QVERIFY2(QRegularExpression('^' + prefix + 'a' + prefix + "Grüße\n$").match(text).hasMatch(), qPrintable(text));
    }
};

QTEST_GUILESS_MAIN(tst_ZRV_Config)
#include "tst_ZRV_Config.moc"
