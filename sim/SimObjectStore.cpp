#include "SimObjectStore.h"

#include <httplib.h>

#include <QUrl>

namespace {

// Short limits: a store that is not there must not hold up the service's reply.
void prepare(httplib::Client &client)
{
    // The local stores check no signature, but moto tells the service and the caller by the
    // credential scope, and takes a request without any as anonymous.
    client.set_default_headers({{"Authorization", "AWS4-HMAC-SHA256 Credential=zarvo-sim/20260101/us-east-1/s3/aws4_request, "
                                                  "SignedHeaders=host, Signature=00"}});
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
    prepare(client);
    // One byte of it tells the whole size in "Content-Range"; the local stores refuse an
    // unsigned HEAD, and a whole GET could be large.
    const httplib::Result r = client.Get(objectPath(bucket, key), httplib::Headers{{"Range", "bytes=0-0"}});
    if (!r)
        return -1;
    if (r->status == 416) // nothing to take a byte from
        return 0;
    if (r->status == 200)
        return qint64(r->body.size());
    if (r->status != 206)
        return -1;
    const QByteArray range = QByteArray::fromStdString(r->get_header_value("Content-Range"));
    bool ok = false;
    const qint64 total = range.mid(range.lastIndexOf('/') + 1).toLongLong(&ok);
    return ok ? total : -1;
}

bool SimObjectStore::remove(const QString &bucket, const QString &key, QString *error) const
{
    const QUrl base(m_endpoint);
    httplib::Client client(base.adjusted(QUrl::RemovePath).toString().toStdString());
    prepare(client);
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
