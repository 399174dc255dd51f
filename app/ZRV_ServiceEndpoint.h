#pragma once

#include <QString>

// Where a client of one service sends its requests: what its constructor
// takes, derived from a configured host and path.
struct ZRV_ServiceEndpoint
{
    QString scheme;
    QString host;
    int port = 0;
    QString basePath;
};

// The host text is read as a URL; a missing port becomes 80, or 443 for
// https; the base path is the URL's own path followed by the configured one.
ZRV_ServiceEndpoint serviceEndpoint(const QString &configuredHost, const QString &configuredPath);

// A new client of any of the four client classes, owned by the caller,
// with no time limit on its requests.
template <typename Client>
Client *newServiceClient(const QString &configuredHost, const QString &configuredPath)
{
    const ZRV_ServiceEndpoint e = serviceEndpoint(configuredHost, configuredPath);
    return new Client(e.scheme, e.host, e.port, e.basePath, 0);
}
