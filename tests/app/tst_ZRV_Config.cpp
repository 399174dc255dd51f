#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include "ZRV_Config.h"
#include "ZRV_ServiceEndpoint.h"

namespace {

// Lines written to one category while a config is built.
QStringList g_captured;
QString g_category;

void capture(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (context.category && g_category == QLatin1String(context.category))
        g_captured << message;
}

} // namespace

class tst_ZRV_Config : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString writeIni(const QByteArray &text)
    {
        static int n = 0;
        const QString path = m_dir.filePath(QStringLiteral("c%1.ini").arg(++n));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return QString();
        file.write(text);
        return path;
    }

private slots:
    void iniValues_data()
    {
        QTest::addColumn<QByteArray>("ini");
        QTest::addColumn<int>("inactivityTime");
        QTest::addColumn<bool>("auth");
        QTest::addColumn<bool>("restoreWindow");

        QTest::newRow("empty file takes every default") << QByteArray() << 180 << true << true;
        QTest::newRow("inactivity inside the range is kept")
            << QByteArray("[ZRV_Console]\ninactivitytime=600\n") << 600 << true << true;
        QTest::newRow("inactivity 29 is lifted to 30")
            << QByteArray("[ZRV_Console]\ninactivitytime=29\n") << 30 << true << true;
        QTest::newRow("inactivity 30 stays")
            << QByteArray("[ZRV_Console]\ninactivitytime=30\n") << 30 << true << true;
        QTest::newRow("inactivity 3600 stays")
            << QByteArray("[ZRV_Console]\ninactivitytime=3600\n") << 3600 << true << true;
        QTest::newRow("inactivity 3601 is cut to 3600")
            << QByteArray("[ZRV_Console]\ninactivitytime=3601\n") << 3600 << true << true;
        QTest::newRow("inactivity 0 is lifted to 30")
            << QByteArray("[ZRV_Console]\ninactivitytime=0\n") << 30 << true << true;
        QTest::newRow("inactivity negative is lifted to 30")
            << QByteArray("[ZRV_Console]\ninactivitytime=-100\n") << 30 << true << true;
        QTest::newRow("inactivity that is no number gives 30")
            << QByteArray("[ZRV_Console]\ninactivitytime=soon\n") << 30 << true << true;
        QTest::newRow("auth OFF in capitals is false")
            << QByteArray("[ZRV_MeetingService]\nauth=OFF\n") << 180 << false << true;
        QTest::newRow("auth off is false")
            << QByteArray("[ZRV_MeetingService]\nauth=off\n") << 180 << false << true;
        QTest::newRow("auth on is true")
            << QByteArray("[ZRV_MeetingService]\nauth=on\n") << 180 << true << true;
        QTest::newRow("auth no is still true")
            << QByteArray("[ZRV_MeetingService]\nauth=no\n") << 180 << true << true;
        QTest::newRow("auth empty is true")
            << QByteArray("[ZRV_MeetingService]\nauth=\n") << 180 << true << true;
        QTest::newRow("auth in another group is not read")
            << QByteArray("[ZRV_Service]\nauth=off\n") << 180 << true << true;
        QTest::newRow("restorewindow false")
            << QByteArray("[ZRV_Console]\nrestorewindow=false\n") << 180 << true << false;
        QTest::newRow("console keys outside their group are ignored")
            << QByteArray("[ZRV_Service]\ninactivitytime=45\nrestorewindow=false\n") << 180 << true
            << true;
    }

    void iniValues()
    {
        QFETCH(QByteArray, ini);
        QFETCH(int, inactivityTime);
        QFETCH(bool, auth);
        QFETCH(bool, restoreWindow);

        const QString path = writeIni(ini);
        QVERIFY(!path.isEmpty());
        const ZRV_Config config(QStringList{QStringLiteral("zarvo-console"), QStringLiteral("-i"), path});
        QCOMPARE(config.iniFile, path);
        QCOMPARE(config.inactivityTime, inactivityTime);
        QCOMPARE(config.auth, auth);
        QCOMPARE(config.restoreWindow, restoreWindow);
    }

    void hostsAndPathsByGroup()
    {
        const QString path = writeIni("[ZRV_MeetingService]\nhost=http://reg.example:81\npath=/reg\n"
                                      "[ZRV_AuthService]\nhost=https://id.example\npath=/id\n"
                                      "[ZRV_Service]\nhost=http://svc.example\npath=/svc\n");
        const ZRV_Config config(QStringList{QStringLiteral("zarvo-console"), QStringLiteral("-i"), path});
        QCOMPARE(config.meetingServiceHost, QStringLiteral("http://reg.example:81"));
        QCOMPARE(config.meetingServicePath, QStringLiteral("/reg"));
        QCOMPARE(config.authServiceHost, QStringLiteral("https://id.example"));
        QCOMPARE(config.authServicePath, QStringLiteral("/id"));
        QCOMPARE(config.serviceHost, QStringLiteral("http://svc.example"));
        QCOMPARE(config.servicePath, QStringLiteral("/svc"));
    }

    void withoutOptionTheFileSitsBesideTheExecutable()
    {
        const ZRV_Config config(QStringList{QStringLiteral("zarvo-console")});
        QCOMPARE(config.iniFile, QCoreApplication::applicationDirPath() + QStringLiteral("/")
                                     + QCoreApplication::applicationName() + QStringLiteral(".ini"));
        QVERIFY(config.serviceHost.isEmpty());
        QVERIFY(config.authServiceHost.isEmpty());
    }

    void srvCategoryLogsTheGroups()
    {
        const QString path = writeIni("[ZRV_MeetingService]\nhost=http://reg\npath=/r\nauth=off\n"
                                      "[ZRV_AuthService]\nhost=http://id\npath=/i\n"
                                      "[ZRV_Service]\nhost=http://svc\npath=/s\n"
                                      "[ZRV_Console]\ninactivitytime=90\nrestorewindow=false\n");
        QLoggingCategory::setFilterRules(QStringLiteral("SRV   .debug=true"));
        g_captured.clear();
        g_category = QStringLiteral("SRV   ");
        const QtMessageHandler previous = qInstallMessageHandler(capture);
        { const ZRV_Config config(QStringList{QStringLiteral("zarvo-console"), QStringLiteral("-i"), path}); }
        qInstallMessageHandler(previous);

        const QStringList expected{
            QStringLiteral("ZRV_MeetingService"), QStringLiteral("  Host: http://reg"),
            QStringLiteral("  Path: /r"),          QStringLiteral("ZRV_AuthService"),
            QStringLiteral("  Host: http://id"),   QStringLiteral("  Path: /i"),
            QStringLiteral("ZRV_Service"),         QStringLiteral("  Host: http://svc"),
            QStringLiteral("  Path: /s"),          QStringLiteral("ZRV_Console"),
            QStringLiteral("  Inactivity Time: 90"), QStringLiteral("  Restore Window: false")};
        QCOMPARE(g_captured, expected);
    }

    void serviceEndpointRule_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("scheme");
        QTest::addColumn<QString>("hostName");
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("basePath");

        QTest::newRow("http without port gets 80")
            << "http://svc.example" << "/svc" << "http" << "svc.example" << 80 << "/svc";
        QTest::newRow("https without port gets 443")
            << "https://svc.example" << "/svc" << "https" << "svc.example" << 443 << "/svc";
        QTest::newRow("scheme in capitals still counts as https")
            << "HTTPS://svc.example" << "" << "https" << "svc.example" << 443 << "";
        QTest::newRow("explicit port is kept")
            << "http://127.0.0.1:8080" << "/a" << "http" << "127.0.0.1" << 8080 << "/a";
        QTest::newRow("explicit port on https is kept")
            << "https://svc.example:8443" << "" << "https" << "svc.example" << 8443 << "";
        QTest::newRow("host path goes ahead of the configured path")
            << "http://svc.example/base" << "/svc" << "http" << "svc.example" << 80 << "/base/svc";
        QTest::newRow("host path is fully decoded")
            << "http://svc.example/my%20base" << "/svc" << "http" << "svc.example" << 80
            << "/my base/svc";
        QTest::newRow("no path at all")
            << "http://svc.example" << "" << "http" << "svc.example" << 80 << "";
        QTest::newRow("empty host gives an empty endpoint on port 80")
            << "" << "/svc" << "" << "" << 80 << "/svc";
    }

    void serviceEndpointRule()
    {
        QFETCH(QString, host);
        QFETCH(QString, path);
        QFETCH(QString, scheme);
        QFETCH(QString, hostName);
        QFETCH(int, port);
        QFETCH(QString, basePath);

        const ZRV_ServiceEndpoint e = serviceEndpoint(host, path);
        QCOMPARE(e.scheme, scheme);
        QCOMPARE(e.host, hostName);
        QCOMPARE(e.port, port);
        QCOMPARE(e.basePath, basePath);
    }
};

QTEST_GUILESS_MAIN(tst_ZRV_Config)
#include "tst_ZRV_Config.moc"
