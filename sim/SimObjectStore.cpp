#include "SimObjectStore.h"

#include <httplib.h>

#include <QUrl>

namespace {

// Short limits: a store that is not there must not hold up the service's reply.
void limit(httplib::Client &client)
{
    client.set_connection_timeout(2, 0);
    client.set_read_timeout(5, 0);
    client.set_write_timeout(5, 0);
}

} // namespace

SimObjectStore::SimObjectStore(const QString &endpoint)
    : m_endpoint(endpoint)
{
    while (m_endpoint.endsWith(QLatin1Char('/')))
        m_endpoint.chop(1);
}

QString SimObjectStore::storeKey(const QString &key)
{
    QString k = key;
    while (k.startsWith(QLatin1Char('/')))
        k.remove(0, 1);
    return k;
}

std::string SimObjectStore::objectPath(const QString &bucket, const QString &key) const
{
    const QUrl base(m_endpoint);
    QByteArray path = base.path(QUrl::FullyEncoded).toUtf8() + '/' + QUrl::toPercentEncoding(bucket) + '/';
    path += QUrl::toPercentEncoding(storeKey(key), "/");
    return path.toStdString();
}

qint64 SimObjectStore::size(const QString &bucket, const QString &key) const
{
    const QUrl base(m_endpoint);
    httplib::Client client(base.adjusted(QUrl::RemovePath).toString().toStdString());
    limit(client);
    const httplib::Result r = client.Head(objectPath(bucket, key));
    if (!r || r->status != 200 || !r->has_header("Content-Length"))
        return -1;
    return QByteArray::fromStdString(r->get_header_value("Content-Length")).toLongLong();
}

bool SimObjectStore::remove(const QString &bucket, const QString &key, QString *error) const
{
    const QUrl base(m_endpoint);
    httplib::Client client(base.adjusted(QUrl::RemovePath).toString().toStdString());
    limit(client);
    const httplib::Result r = client.Delete(objectPath(bucket, key));
    if (!r) {
        *error = QStringLiteral("object store %1 did not answer").arg(m_endpoint);
        return false;
    }
    if (r->status != 204 && r->status != 200 && r->status != 404) {
        *error = QStringLiteral("object store answered %1 to deleting %2").arg(r->status).arg(storeKey(key));
        return false;
    }
    return true;
}
