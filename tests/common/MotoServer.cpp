#include "MotoServer.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QXmlStreamReader>

#include <algorithm>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>
#endif

namespace {

// The store goes down with the test that started it, even when that test is killed and never reaches stop().
class TiedProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
#ifdef Q_OS_LINUX
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != m_parent) // died before the line above
            ::_exit(1);
#endif
    }

private:
#ifdef Q_OS_LINUX
    const pid_t m_parent = ::getpid();
#endif
};

QStringList elements(const QByteArray &xmlText, const QString &name, bool *ok = nullptr)
{
    QXmlStreamReader xml(xmlText);
    QStringList found;
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == name)
            found << xml.readElementText();
    }
    if (ok)
        *ok = !xml.hasError();
    return found;
}

} // namespace

bool MotoServer::start(QString *error, int openActions)
{
    stop();
    QString noError;
    QString &why = error ? *error : noError;
    QString program = QStandardPaths::findExecutable("moto_server");
    m_moto = !program.isEmpty();
    {
        QTcpServer probe;
        m_port = probe.listen(QHostAddress::LocalHost, 0) ? probe.serverPort() : 0;
    }
    QStringList arguments{"-H", "127.0.0.1", "-p", QString::number(m_port)};
    if (!m_moto) {
        program = QStandardPaths::findExecutable("s3rver");
        m_dataDir = std::make_unique<QTemporaryDir>();
        arguments = QStringList{"--directory", m_dataDir->path(), "--address", "127.0.0.1", "--port",
                                QString::number(m_port), "--silent"};
    }
    if (program.isEmpty() || m_port == 0) {
        why = QStringLiteral("neither moto_server nor s3rver is on PATH, or no free port");
        return false;
    }
    m_process = std::make_unique<TiedProcess>();
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (openActions >= 0)
        env.insert("INITIAL_NO_AUTH_ACTION_COUNT", QString::number(openActions));
    m_process->setProcessEnvironment(env);
    m_process->start(program, arguments);

    // It prints while it boots: waiting for its output paces the attempts.
    QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired() && m_process->waitForStarted(10000)) {
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_port);
        // A request here would use up one of the open actions.
        if (socket.waitForConnected(500) && (openActions >= 0 || request("GET", "/") != 0))
            return true;
        m_process->waitForReadyRead(200);
        m_process->readAll();
    }
    why = QStringLiteral("%1 did not answer on port %2: %3")
              .arg(program)
              .arg(m_port)
              .arg(QString::fromLocal8Bit(m_process->readAll()) + m_process->errorString());
    stop();
    return false;
}

void MotoServer::stop()
{
    if (m_process) {
        m_process->kill(); // a throw-away store has nothing to save
        m_process->waitForFinished(5000);
    }
    m_process.reset();
    m_dataDir.reset();
}

int MotoServer::request(const QByteArray &verb, const QString &pathAndQuery, const QByteArray &body,
                        QByteArray *reply, const QByteArray &service, QList<QPair<QByteArray, QByteArray>> *headers)
{
    QNetworkAccessManager nam;
    QNetworkRequest req(QUrl(endpoint() + pathAndQuery));
    if (!body.isEmpty())
        req.setHeader(QNetworkRequest::ContentTypeHeader,
                      service == "s3" ? "application/xml" : "application/x-www-form-urlencoded");
    // moto routes by the credential scope (unsigned, it answers HEAD wrongly); with checks off it ignores the signature.
    if (m_moto)
        req.setRawHeader("Authorization", "AWS4-HMAC-SHA256 Credential=fixture/20260101/us-east-1/" + service
                                              + "/aws4_request, SignedHeaders=host, Signature=00");
    QNetworkReply *r = nam.sendCustomRequest(req, verb, body);
    QEventLoop loop;
    QObject::connect(r, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(20000, r, &QNetworkReply::abort);
    loop.exec();
    if (reply)
        *reply = r->readAll();
    if (headers)
        *headers = r->rawHeaderPairs();
    r->deleteLater();
    return r->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

QByteArray MotoServer::objectHeader(const QString &bucket, const QString &key, const QByteArray &name)
{
    QList<QPair<QByteArray, QByteArray>> headers;
    request("HEAD", path(bucket, key), QByteArray(), nullptr, "s3", &headers);
    const auto it = std::find_if(headers.cbegin(), headers.cend(),
                                 [&](const auto &h) { return h.first.compare(name, Qt::CaseInsensitive) == 0; });
    return it == headers.cend() ? QByteArray() : it->second;
}

int MotoServer::openMultipartUploads(const QString &bucket)
{
    QByteArray body;
    bool ok = false;
    const int count = request("GET", '/' + bucket + "?uploads", QByteArray(), &body) == 200
                          ? elements(body, "UploadId", &ok).size() : -1;
    return ok ? count : -1;
}

bool MotoServer::createAccessKey(QString *id, QString *secret)
{
    const QByteArray user = "&Version=2010-05-08&UserName=fixture-user";
    const QByteArray policy = QUrl::toPercentEncoding(
        R"({"Version":"2012-10-17","Statement":[{"Effect":"Allow","Action":"*","Resource":"*"}]})");
    QByteArray body;
    if (!m_moto || request("POST", "/", "Action=CreateUser" + user, nullptr, "iam") != 200
        || request("POST", "/", "Action=CreateAccessKey" + user, &body, "iam") != 200
        || request("POST", "/", "Action=PutUserPolicy&PolicyName=all&PolicyDocument=" + policy + user, nullptr, "iam")
               != 200)
        return false;
    *id = elements(body, "AccessKeyId").value(0);
    *secret = elements(body, "SecretAccessKey").value(0);
    return !id->isEmpty() && !secret->isEmpty();
}
