#include "ZRV_ServiceEndpoint.h"

#include <QUrl>

ZRV_ServiceEndpoint serviceEndpoint(const QString &configuredHost, const QString &configuredPath)
{
    const QUrl url(configuredHost, QUrl::TolerantMode);
    ZRV_ServiceEndpoint endpoint;
    endpoint.scheme = url.scheme();
    endpoint.host = url.host();
    endpoint.port = url.port(-1);
    if (endpoint.port == -1)
        endpoint.port = url.scheme() == QLatin1String("https") ? 443 : 80;
    endpoint.basePath = url.path(QUrl::FullyDecoded) + configuredPath;
    return endpoint;
}
