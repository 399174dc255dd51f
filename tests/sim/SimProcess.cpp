#include "SimProcess.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QTimer>

#include <csignal>

SimProcess::~SimProcess()
{
    // A test that failed half-way may leave requests hanging: no graceful stop here.
    m_process.kill();
    m_process.waitForFinished(5000);
}

bool SimProcess::start(const QStringList &args, QString *error)
{
    m_process.start(QStringLiteral(ZARVO_SIM_PATH), QStringList{"--port", "0", "--die-with-parent"} + args);
    const QDeadlineTimer deadline(20000);
    while (!m_process.canReadLine() && m_process.waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime()))))
        ;
    static const QRegularExpression line(QStringLiteral("^zarvo-sim listening on http://127\\.0\\.0\\.1:(\\d+)\\n$"));
    const QString seen = QString::fromUtf8(m_process.readLine());
    m_port = line.match(seen).captured(1).toInt();
    *error = QStringLiteral("no listening line (%1) but \"%2\"; stderr: %3")
                 .arg(m_process.errorString(), seen, QString::fromUtf8(m_process.readAllStandardError()));
    return m_port > 0;
}

int SimProcess::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        ::kill(pid_t(m_process.processId()), SIGTERM);
        if (!m_process.waitForFinished(20000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
            return -1;
        }
    }
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

QJsonObject SimProcess::Reply::object() const
{
    return QJsonDocument::fromJson(body).object();
}

SimProcess::Reply SimProcess::request(const QByteArray &verb, const QString &path, const QByteArray &body,
                                      const QList<QPair<QByteArray, QByteArray>> &headers, int timeoutMs) const
{
    QNetworkAccessManager manager;
    QNetworkRequest req(QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_port).arg(path)));
    for (const auto &h : headers)
        req.setRawHeader(h.first, h.second);
    QNetworkReply *reply = manager.sendCustomRequest(req, verb, body);
    QEventLoop loop;
    QTimer::singleShot(timeoutMs, reply, &QNetworkReply::abort);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    Reply out{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), reply->readAll()};
    delete reply;
    return out;
}

SimProcess::Reply SimProcess::admin(const QByteArray &verb, const QString &path, const QJsonObject &body) const
{
    return request(verb, path, body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact),
                   {{"Content-Type", "application/json"}});
}

QJsonObject SimProcess::signIn(const QString &login, const QString &password) const
{
    const QByteArray form = "client=BVK&username=" + QUrl::toPercentEncoding(login) + "&password=" + QUrl::toPercentEncoding(password)
                            + "&passwordold=";
    return request("POST", QStringLiteral("/auth/login"), form, {{"Content-Type", "application/x-www-form-urlencoded"}}).object();
}

QString SimProcess::token(const QString &login, const QString &password) const
{
    return signIn(login, password).value(QStringLiteral("access_token")).toString();
}
