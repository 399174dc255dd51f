#ifndef STOREPROBE_H
#define STOREPROBE_H

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QString>

// Looks at and seeds the store over plain HTTP, without the storage library,
// so that what the worker did can be checked independently of how it did it.
class StoreProbe
{
public:
    explicit StoreProbe(const QString &endpoint);

    bool put(const QString &bucket, const QString &key, const QByteArray &data);
    bool exists(const QString &bucket, const QString &key);
    QByteArray get(const QString &bucket, const QString &key);
    QByteArray header(const QString &bucket, const QString &key, const QByteArray &name);


private:
    QByteArray send(const QByteArray &verb, const QString &path, const QByteArray &body,
                    QByteArray *headerValue = nullptr, const QByteArray &headerName = QByteArray());

    QString m_endpoint;
    QNetworkAccessManager m_nam;
    int m_status = 0;
};

#endif // STOREPROBE_H
