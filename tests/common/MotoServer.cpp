#include "MotoServer.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>
#include <QXmlStreamReader>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>
#endif

namespace {

// The store goes down with the test that started it, even when that test is
// killed or crashes and never reaches stop(): the kernel ends the child once
// the thread that forked it is gone.
class TiedProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
#ifdef Q_OS_LINUX
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // The parent may have died before the line above.
        if (::getppid() != m_parent)
            ::_exit(1);
#endif
    }

private:
#ifdef Q_OS_LINUX
    const pid_t m_parent = ::getpid();
#endif
};

quint16 freePort()
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0))
        return 0;
    return probe.serverPort();
}

void fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
}

} // namespace

MotoServer::~MotoServer()
{
    stop();
}

bool MotoServer::start(QString *error, int openActions)
{
    stop();
    QString program = QStandardPaths::findExecutable(QStringLiteral("moto_server"));
    QStringList arguments;
    m_moto = !program.isEmpty();
    m_port = freePort();
    if (m_port == 0) {
        fail(error, QStringLiteral("no free port on 127.0.0.1"));
        return false;
    }
    if (m_moto) {
        arguments << QStringLiteral("-H") << QStringLiteral("127.0.0.1") << QStringLiteral("-p")
                  << QString::number(m_port);
    } else {
        program = QStandardPaths::findExecutable(QStringLiteral("s3rver"));
        if (program.isEmpty()) {
            fail(error, QStringLiteral("neither moto_server nor s3rver is on PATH"));
            return false;
        }
        m_dataDir = std::make_unique<QTemporaryDir>();
        arguments << QStringLiteral("--directory") << m_dataDir->path() << QStringLiteral("--address")
                  << QStringLiteral("127.0.0.1") << QStringLiteral("--port") << QString::number(m_port)
                  << QStringLiteral("--silent");
    }

    m_process = std::make_unique<TiedProcess>();
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (openActions >= 0)
        env.insert(QStringLiteral("INITIAL_NO_AUTH_ACTION_COUNT"), QString::number(openActions));
    m_process->setProcessEnvironment(env);
    m_process->start(program, arguments);
    if (!m_process->waitForStarted(10000)) {
        fail(error, QStringLiteral("%1 did not start: %2").arg(program, m_process->errorString()));
        m_process.reset();
        return false;
    }

    // The server is up once it takes a connection; it prints while it boots, so
    // waiting for its output paces the attempts.
    QDeadlineTimer deadline(30000);
    while (!deadline.hasExpired()) {
        if (m_process->state() != QProcess::Running) {
            fail(error, QStringLiteral("%1 exited: %2")
                            .arg(program, QString::fromLocal8Bit(m_process->readAll())));
            m_process.reset();
            return false;
        }
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_port);
        if (socket.waitForConnected(500)) {
            socket.disconnectFromHost();
            if (openActions >= 0 || request("GET", QStringLiteral("/")) != 0)
                return true;
        }
        m_process->waitForReadyRead(200);
        m_process->readAll();
    }
    fail(error, QStringLiteral("%1 did not answer on port %2 in time").arg(program).arg(m_port));
    stop();
    return false;
}

void MotoServer::stop()
{
    if (!m_process)
        return;
    if (m_process->state() != QProcess::NotRunning) {
        m_process->terminate();
        if (!m_process->waitForFinished(5000)) {
            m_process->kill();
            m_process->waitForFinished(5000);
        }
    }
    m_process.reset();
    m_dataDir.reset();
}

bool MotoServer::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

QString MotoServer::endpoint() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

int MotoServer::request(const QByteArray &verb, const QString &pathAndQuery, const QByteArray &body,
                        QByteArray *reply, const QByteArray &service)
{
    return send(verb, pathAndQuery, body, reply, service, nullptr);
}

int MotoServer::send(const QByteArray &verb, const QString &pathAndQuery, const QByteArray &body,
                     QByteArray *reply, const QByteArray &service, QList<QPair<QByteArray, QByteArray>> *headers)
{
    QNetworkAccessManager nam;
    QNetworkRequest req(QUrl(endpoint() + pathAndQuery));
    if (!body.isEmpty()) {
        req.setHeader(QNetworkRequest::ContentTypeHeader, service == "s3" ? QByteArrayLiteral("application/xml")
                                                                          : QByteArrayLiteral("application/x-www-form-urlencoded"));
    }
    // moto routes by the credential scope and, while its access checks are
    // off, looks at no signature; unsigned, it answers HEAD with wrong headers.
    if (m_moto)
        req.setRawHeader("Authorization", "AWS4-HMAC-SHA256 Credential=fixture/20260101/us-east-1/" + service
                                          + "/aws4_request, SignedHeaders=host, Signature=00");
    QNetworkReply *r = nam.sendCustomRequest(req, verb, body);
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, r, &QNetworkReply::abort);
    QObject::connect(r, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    timeout.start(20000);
    loop.exec();
    const int status = r->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply)
        *reply = r->readAll();
    if (headers)
        *headers = r->rawHeaderPairs();
    r->deleteLater();
    return status;
}

QString MotoServer::objectPath(const QString &bucket, const QString &key)
{
    return QLatin1Char('/') + bucket + QLatin1Char('/') + QString::fromLatin1(QUrl::toPercentEncoding(key, "/"));
}

bool MotoServer::putObject(const QString &bucket, const QString &key, const QByteArray &data)
{
    return request("PUT", objectPath(bucket, key), data) == 200;
}

bool MotoServer::hasObject(const QString &bucket, const QString &key)
{
    return request("HEAD", objectPath(bucket, key)) == 200;
}

QByteArray MotoServer::getObject(const QString &bucket, const QString &key)
{
    QByteArray body;
    return request("GET", objectPath(bucket, key), QByteArray(), &body) == 200 ? body : QByteArray();
}

QByteArray MotoServer::objectHeader(const QString &bucket, const QString &key, const QByteArray &name)
{
    QList<QPair<QByteArray, QByteArray>> headers;
    send("HEAD", objectPath(bucket, key), QByteArray(), nullptr, "s3", &headers);
    for (const auto &h : headers) {
        if (h.first.compare(name, Qt::CaseInsensitive) == 0)
            return h.second;
    }
    return QByteArray();
}

bool MotoServer::createBucket(const QString &name)
{
    const int status = request("PUT", QLatin1Char('/') + name);
    return status == 200 || status == 409;
}

int MotoServer::openMultipartUploads(const QString &bucket)
{
    bool ok = false;
    const QStringList ids = openUploadIds(bucket, &ok);
    return ok ? ids.size() : -1;
}

QStringList MotoServer::openUploadIds(const QString &bucket, bool *ok)
{
    QByteArray body;
    *ok = request("GET", QLatin1Char('/') + bucket + QStringLiteral("?uploads"), QByteArray(), &body) == 200;
    QXmlStreamReader xml(body);
    QStringList ids;
    while (*ok && !xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == QLatin1String("UploadId"))
            ids << xml.readElementText();
    }
    *ok = *ok && !xml.hasError();
    return ids;
}

qint64 MotoServer::processId() const
{
    return m_process ? m_process->processId() : 0;
}

bool MotoServer::reset()
{
    return m_moto && request("POST", QStringLiteral("/moto-api/reset")) == 200;
}

bool MotoServer::createAccessKey(QString *id, QString *secret)
{
    if (!m_moto)
        return false;
    const QByteArray user = "fixture-user";
    const QByteArray policy = QUrl::toPercentEncoding(
        R"({"Version":"2012-10-17","Statement":[{"Effect":"Allow","Action":"*","Resource":"*"}]})");
    QByteArray body;
    if (request("POST", "/", "Action=CreateUser&Version=2010-05-08&UserName=" + user, nullptr, "iam") != 200
        || request("POST", "/", "Action=CreateAccessKey&Version=2010-05-08&UserName=" + user, &body, "iam") != 200
        || request("POST", "/",
                   "Action=PutUserPolicy&Version=2010-05-08&PolicyName=all&UserName=" + user + "&PolicyDocument="
                       + policy,
                   nullptr, "iam")
               != 200)
        return false;
    QXmlStreamReader xml(body);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("AccessKeyId"))
            *id = xml.readElementText();
        else if (xml.name() == QLatin1String("SecretAccessKey"))
            *secret = xml.readElementText();
    }
    return !id->isEmpty() && !secret->isEmpty();
}
