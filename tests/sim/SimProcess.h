#pragma once

#include <QJsonObject>
#include <QPair>
#include <QProcess>

// A zarvo-sim child process on a free loopback port, owned by one test.
class SimProcess
{
public:
    struct Reply
    {
        int status = -1; // 0 when no reply came
        QByteArray body;
        QJsonObject object() const;
    };

    SimProcess() = default;
    ~SimProcess();
    SimProcess(const SimProcess &) = delete;
    SimProcess &operator=(const SimProcess &) = delete;

    // Starts with --port 0 plus args and waits for the listening line. False with *error.
    bool start(const QStringList &args, QString *error);
    // SIGTERM and wait; the exit code, or -1 when it crashed or had to be killed.
    int stop();
    int port() const { return m_port; }

    // One bounded HTTP exchange, for admin endpoints and wire-level checks.
    Reply request(const QByteArray &verb, const QString &path, const QByteArray &body = QByteArray(),
                  const QList<QPair<QByteArray, QByteArray>> &headers = {}, int timeoutMs = 10000) const;
    Reply admin(const QByteArray &verb, const QString &path, const QJsonObject &body = QJsonObject()) const;
    // Logs in over the wire: the token reply, or empty. token() is its access token.
    QJsonObject signIn(const QString &login, const QString &password) const;
    QString token(const QString &login, const QString &password) const;

private:
    QProcess m_process;
    int m_port = -1;
};
