#include "DavServer.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTest>

#include <memory>

bool DavServer::start(const QString &root, const QString &users)
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return false;
    m_port = probe.serverPort();
    probe.close();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ZRV_DAV_ROOT", root);
    env.insert("ZRV_DAV_USERS", users);
    m_process.setProcessEnvironment(env);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start("php", {"-d", "display_errors=stderr", "-S", QString("127.0.0.1:%1").arg(m_port),
                            qEnvironmentVariable("ZRV_SOURCE_DIR") + "/platform/webdav/router.php"});
    QNetworkAccessManager nam;
    return m_process.waitForStarted(10000) && QTest::qWaitFor([&] {
               std::unique_ptr<QNetworkReply> reply(nam.get(QNetworkRequest(QUrl(url() + "/status.php"))));
               QSignalSpy(reply.get(), &QNetworkReply::finished).wait(2000);
               return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() == 200;
           }, 15000);
}

void DavServer::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }
}
