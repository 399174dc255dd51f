#ifndef MOTOSERVER_H
#define MOTOSERVER_H

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

// A throw-away S3 store on 127.0.0.1: moto_server from PATH, else the npm s3rver. Requests made here are
// unsigned, which the store accepts while its access checks are off. It ends with the test process.
class MotoServer
{
public:
    MotoServer() = default;
    ~MotoServer() { stop(); }
    MotoServer(const MotoServer &) = delete;
    MotoServer &operator=(const MotoServer &) = delete;

    // Waits (bounded) until it answers. With `openActions` >= 0 (moto only) the store checks
    // signatures and access once that many requests have been served.
    bool start(QString *error = nullptr, int openActions = -1);
    void stop();
    QString endpoint() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }
    quint16 port() const { return m_port; }
    bool isMoto() const { return m_moto; }

    bool createBucket(const QString &name) { return QList<int>{200, 409}.contains(request("PUT", '/' + name)); }
    // Multi-part uploads begun and neither completed nor aborted; -1 on failure.
    int openMultipartUploads(const QString &bucket);
    // A new IAM user allowed everything, and its key pair (moto only; costs three of the open actions).
    bool createAccessKey(QString *id, QString *secret);
    bool reset() { return m_moto && request("POST", "/moto-api/reset") == 200; } // forgets every bucket and object

    // One unsigned request; the HTTP status, 0 when nothing came back.
    int request(const QByteArray &verb, const QString &pathAndQuery, const QByteArray &body = QByteArray(),
                QByteArray *reply = nullptr, const QByteArray &service = "s3",
                QList<QPair<QByteArray, QByteArray>> *headers = nullptr);

    // Objects seeded and read without the storage library, so what a test's subject did is checked apart from how.
    bool putObject(const QString &bucket, const QString &key, const QByteArray &data)
    {
        return request("PUT", path(bucket, key), data) == 200;
    }
    bool hasObject(const QString &bucket, const QString &key) { return request("HEAD", path(bucket, key)) == 200; }
    QByteArray getObject(const QString &bucket, const QString &key) // null when absent
    {
        QByteArray body;
        return request("GET", path(bucket, key), QByteArray(), &body) == 200 ? body : QByteArray();
    }
    QByteArray objectHeader(const QString &bucket, const QString &key, const QByteArray &name);

private:
    static QString path(const QString &bucket, const QString &key)
    {
        return '/' + bucket + '/' + QString::fromLatin1(QUrl::toPercentEncoding(key, "/"));
    }

    std::unique_ptr<QProcess> m_process;
    std::unique_ptr<QTemporaryDir> m_dataDir;
    quint16 m_port = 0;
    bool m_moto = true;
};

#endif // MOTOSERVER_H
