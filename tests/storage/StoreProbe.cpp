#include "StoreProbe.h"

#include <QEventLoop>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

StoreProbe::StoreProbe(const QString &endpoint)
    : m_endpoint(endpoint)
{
}

QByteArray StoreProbe::send(const QByteArray &verb, const QString &path, const QByteArray &body,
                            QByteArray *headerValue, const QByteArray &headerName)
{
    QNetworkRequest request(QUrl(m_endpoint + path));
    // moto picks the service from the credential scope and checks no signature
    // while its access checks are off; unsigned, it answers HEAD with wrong headers.
    request.setRawHeader("Authorization",
                         "AWS4-HMAC-SHA256 Credential=probe/20260101/us-east-1/s3/aws4_request, "
                         "SignedHeaders=host, Signature=00");
    QNetworkReply *reply = m_nam.sendCustomRequest(request, verb, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    loop.exec();
    if (!reply->isFinished())
        reply->abort();
    m_status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (headerValue)
        *headerValue = reply->rawHeader(headerName);
    const QByteArray answer = reply->readAll();
    reply->deleteLater();
    return answer;
}

bool StoreProbe::put(const QString &bucket, const QString &key, const QByteArray &data)
{
    send("PUT", "/" + bucket + "/" + key, data);
    return m_status == 200;
}

bool StoreProbe::exists(const QString &bucket, const QString &key)
{
    send("HEAD", "/" + bucket + "/" + key, QByteArray());
    return m_status == 200;
}

QByteArray StoreProbe::get(const QString &bucket, const QString &key)
{
    const QByteArray data = send("GET", "/" + bucket + "/" + key, QByteArray());
    return m_status == 200 ? data : QByteArray();
}

QByteArray StoreProbe::header(const QString &bucket, const QString &key, const QByteArray &name)
{
    QByteArray value;
    send("HEAD", "/" + bucket + "/" + key, QByteArray(), &value, name);
    return value;
}
