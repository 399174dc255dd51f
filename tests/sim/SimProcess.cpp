#include "SimProcess.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QTimer>
#include <QUrlQuery>

#include <csignal>

SimProcess::~SimProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

QString SimProcess::executable()
{
    return QStringLiteral(ZARVO_SIM_PATH);
}

bool SimProcess::start(const QStringList &args, QString *error)
{
    m_process.setProgram(executable());
    m_process.setArguments(QStringList{QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--die-with-parent")} + args);
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.start();
    if (!m_process.waitForStarted(10000)) {
        *error = QStringLiteral("cannot start %1: %2").arg(executable(), m_process.errorString());
        return false;
    }
    static const QRegularExpression line(QStringLiteral("^zarvo-sim listening on http://127\\.0\\.0\\.1:(\\d+)\\n$"));
    QDeadlineTimer deadline(20000);
    QByteArray seen;
    while (!deadline.hasExpired()) {
        if (m_process.canReadLine()) {
            seen = m_process.readLine();
            const QRegularExpressionMatch m = line.match(QString::fromUtf8(seen));
            if (!m.hasMatch()) {
                *error = QStringLiteral("unexpected first line: %1").arg(QString::fromUtf8(seen));
                return false;
            }
            m_port = m.captured(1).toInt();
            return true;
        }
        if (m_process.state() == QProcess::NotRunning)
            break;
        m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
    }
    *error = QStringLiteral("no listening line; stderr: %1").arg(QString::fromUtf8(m_process.readAllStandardError()));
    return false;
}

int SimProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    ::kill(pid_t(m_process.processId()), SIGTERM);
    if (!m_process.waitForFinished(20000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
        return -1;
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

qint64 SimProcess::pid() const
{
    return m_process.processId();
}

QString SimProcess::url(const QString &path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path);
}

qint64 SimProcess::rssKb() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid()));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &l : status.readAll().split('\n')) {
        if (l.startsWith("VmRSS:"))
            return l.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

QByteArray SimProcess::Reply::header(const QByteArray &exactName) const
{
    for (const auto &h : headers) {
        if (h.first == exactName)
            return h.second;
    }
    return QByteArray();
}

QJsonObject SimProcess::Reply::object() const
{
    return QJsonDocument::fromJson(body).object();
}

SimProcess::Reply SimProcess::request(const QByteArray &verb, const QString &path, const QByteArray &body,
                                      const QList<QPair<QByteArray, QByteArray>> &headers, int timeoutMs) const
{
    QNetworkAccessManager manager;
    QNetworkRequest req(QUrl(url(path)));
    for (const auto &h : headers)
        req.setRawHeader(h.first, h.second);
    QNetworkReply *reply = manager.sendCustomRequest(req, verb, body);
    QEventLoop loop;
    QTimer bound;
    bound.setSingleShot(true);
    QObject::connect(&bound, &QTimer::timeout, reply, &QNetworkReply::abort);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    bound.start(timeoutMs);
    if (!reply->isFinished())
        loop.exec();
    Reply out;
    out.error = reply->error();
    out.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    out.body = reply->readAll();
    out.headers = reply->rawHeaderPairs();
    delete reply;
    return out;
}

SimProcess::Reply SimProcess::admin(const QByteArray &verb, const QString &path, const QJsonObject &body) const
{
    return request(verb, path, body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact),
                   {{"Content-Type", "application/json"}});
}

QString SimProcess::token(const QString &login, const QString &password) const
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("client"), QStringLiteral("BVK"));
    form.addQueryItem(QStringLiteral("username"), login);
    form.addQueryItem(QStringLiteral("password"), password);
    form.addQueryItem(QStringLiteral("passwordold"), QString());
    const Reply r = request("POST", QStringLiteral("/auth/login"), form.toString(QUrl::FullyEncoded).toUtf8(),
                            {{"Content-Type", "application/x-www-form-urlencoded"}});
    return r.object().value(QStringLiteral("access_token")).toString();
}
