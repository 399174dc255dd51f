#include <QTemporaryFile>
#include <QtTest>

#include "ZRV_Config.h"
#include "ZRV_ServiceEndpoint.h"

class tst_ZRV_Config : public QObject
{
    Q_OBJECT

private slots:
    void iniValues_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<QString>("expected"); // inactivity time|auth|restore window
        QTest::newRow("inactivity 29 is lifted to 30") << QByteArray("[ZRV_Console]\ninactivitytime=29\n") << "30|1|1";
        QTest::newRow("inactivity 30 stays") << QByteArray("[ZRV_Console]\ninactivitytime=30\n") << "30|1|1";
        QTest::newRow("inactivity 3600 stays") << QByteArray("[ZRV_Console]\ninactivitytime=3600\n") << "3600|1|1";
        QTest::newRow("inactivity 3601 is cut to 3600") << QByteArray("[ZRV_Console]\ninactivitytime=3601\n") << "3600|1|1";
        QTest::newRow("inactivity negative is lifted to 30") << QByteArray("[ZRV_Console]\ninactivitytime=-100\n") << "30|1|1";
        QTest::newRow("inactivity that is no number gives 30") << QByteArray("[ZRV_Console]\ninactivitytime=soon\n") << "30|1|1";
        QTest::newRow("auth OFF in capitals is false") << QByteArray("[ZRV_MeetingService]\nauth=OFF\n") << "180|0|1";
        QTest::newRow("auth no is still true") << QByteArray("[ZRV_MeetingService]\nauth=no\n") << "180|1|1";
        QTest::newRow("auth in another group is not read") << QByteArray("[ZRV_Service]\nauth=off\n") << "180|1|1";
        QTest::newRow("restorewindow false") << QByteArray("[ZRV_Console]\nrestorewindow=false\n") << "180|1|0";
        QTest::newRow("console keys outside their group are ignored")
            << QByteArray("[ZRV_Service]\ninactivitytime=45\nrestorewindow=false\n") << "180|1|1";
    }

    void iniValues()
    {
        QFETCH(QByteArray, ini);
        QFETCH(QString, expected);
        QTemporaryFile file;
        QVERIFY(file.open() && file.write(ini) == ini.size() && file.flush());
        const ZRV_Config config({"zarvo-console", "-i", file.fileName()});
        QCOMPARE(QString("%1|%2|%3").arg(config.inactivityTime).arg(config.auth).arg(config.restoreWindow), expected);
    }

    void withoutOptionTheFileSitsBesideTheExecutable()
    {
        const ZRV_Config config({"zarvo-console"});
        QCOMPARE(config.iniFile, QCoreApplication::applicationDirPath() + "/" + QCoreApplication::applicationName() + ".ini");
    }

    void serviceEndpointRule_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected"); // scheme|host|port|base path
        QTest::newRow("http without port gets 80") << "http://svc.example" << "/svc" << "http|svc.example|80|/svc";
        QTest::newRow("https without port gets 443") << "https://svc.example" << "/svc" << "https|svc.example|443|/svc";
        QTest::newRow("scheme in capitals still counts as https") << "HTTPS://svc.example" << "" << "https|svc.example|443|";
        QTest::newRow("explicit port is kept") << "http://127.0.0.1:8080" << "/a" << "http|127.0.0.1|8080|/a";
        QTest::newRow("explicit port on https is kept") << "https://svc.example:8443" << "" << "https|svc.example|8443|";
        QTest::newRow("host path goes ahead of the configured path") << "http://svc.example/base" << "/svc" << "http|svc.example|80|/base/svc";
        QTest::newRow("host path is fully decoded") << "http://svc.example/my%20base" << "/svc" << "http|svc.example|80|/my base/svc";
        QTest::newRow("empty host gives an empty endpoint on port 80") << "" << "/svc" << "||80|/svc";
    }

    void serviceEndpointRule()
    {
        QFETCH(QString, host);
        QFETCH(QString, path);
        QFETCH(QString, expected);
        const ZRV_ServiceEndpoint e = serviceEndpoint(host, path);
        QCOMPARE(QString("%1|%2|%3|%4").arg(e.scheme, e.host).arg(e.port).arg(e.basePath), expected);
    }
};

QTEST_GUILESS_MAIN(tst_ZRV_Config)
#include "tst_ZRV_Config.moc"
