#include "ZRVAuthApi.h"

#include "ZRVClientOps.h"

namespace ZRV_AuthService_API {

ZRVAuthApi::ZRVAuthApi(const QString &scheme, const QString &host, int port,
                       const QString &basePath, int timeOut)
    : scheme(scheme), host(host), port(port), basePath(basePath), timeOut(timeOut)
{
}

void ZRVAuthApi::addHeaders(const QString &key, const QString &value)
{
    defaultHeaders.insert(key, value);
}

QString ZRVAuthApi::url(const QString &path) const
{
    return ZRVClientOps::composeUrl(scheme, host, port, basePath, path);
}

template <typename Fill, typename Callback>
void ZRVAuthApi::send(const QString &url, const QString &verb, Fill fill, Callback callback)
{
    ZRVClientOps::send<ZRVHttpRequestWorker, ZRVHttpRequestInput>(
        this, timeOut, workingDirectory, defaultHeaders, url, verb, fill, callback);
}

void ZRVAuthApi::authGroupsGet(const QString &realm, const QString &prefix)
{
    QString fullUrl = url(QStringLiteral("/auth/groups"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("realm"), realm);
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("prefix"), prefix);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<ZRVUserGroups>(
             &ZRVClientOps::parseRecord<ZRVUserGroups>, &ZRVAuthApi::authGroupsGetSignal,
             &ZRVAuthApi::authGroupsGetSignalFull, &ZRVAuthApi::authGroupsGetSignalE,
             &ZRVAuthApi::authGroupsGetSignalEFull));
}

void ZRVAuthApi::authLoginPost(const QString &client, const QString &username,
                               const QString &password, const QString &passwordold)
{
    QString fullUrl = url(QStringLiteral("/auth/login"));
    auto fill = [&client, &username, &password, &passwordold](ZRVHttpRequestInput &input) {
        input.addVar(QStringLiteral("client"), client);
        input.addVar(QStringLiteral("username"), username);
        input.addVar(QStringLiteral("password"), password);
        input.addVar(QStringLiteral("passwordold"), passwordold);
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<ZRVAuth>(
             &ZRVClientOps::parseRecord<ZRVAuth>, &ZRVAuthApi::authLoginPostSignal,
             &ZRVAuthApi::authLoginPostSignalFull, &ZRVAuthApi::authLoginPostSignalE,
             &ZRVAuthApi::authLoginPostSignalEFull));
}

void ZRVAuthApi::authLogoutPost(const QString &refresh_token)
{
    QString fullUrl = url(QStringLiteral("/auth/logout"));
    auto fill = [&refresh_token](ZRVHttpRequestInput &input) {
        input.addVar(QStringLiteral("refresh_token"), refresh_token);
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::noResultCallback(
             &ZRVAuthApi::authLogoutPostSignal, &ZRVAuthApi::authLogoutPostSignalFull,
             &ZRVAuthApi::authLogoutPostSignalE, &ZRVAuthApi::authLogoutPostSignalEFull));
}

void ZRVAuthApi::authPasswordResetPost(const QString &id, const QString &client,
                                       const QString &username, const QString &password,
                                       const QString &passwordold)
{
    QString fullUrl = url(QStringLiteral("/auth/user/{id}/pwdreset"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("id"), id);
    auto fill = [&client, &username, &password, &passwordold](ZRVHttpRequestInput &input) {
        input.addVar(QStringLiteral("client"), client);
        input.addVar(QStringLiteral("username"), username);
        input.addVar(QStringLiteral("password"), password);
        input.addVar(QStringLiteral("passwordold"), passwordold);
    };
    send(fullUrl, QStringLiteral("PATCH"), fill,
         ZRVClientOps::resultCallback<ZRVAuth>(&ZRVClientOps::parseRecord<ZRVAuth>,
                                               &ZRVAuthApi::authPasswordResetPostSignal,
                                               &ZRVAuthApi::authPasswordResetPostSignalFull,
                                               &ZRVAuthApi::authPasswordResetPostSignalE,
                                               &ZRVAuthApi::authPasswordResetPostSignalEFull));
}

void ZRVAuthApi::authRefreshPost(const QString &realm, const QString &token)
{
    QString fullUrl = url(QStringLiteral("/auth/refreshtoken"));
    auto fill = [&realm, &token](ZRVHttpRequestInput &input) {
        input.addVar(QStringLiteral("realm"), realm);
        input.addVar(QStringLiteral("token"), token);
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<ZRVAuth>(
             &ZRVClientOps::parseRecord<ZRVAuth>, &ZRVAuthApi::authRefreshPostSignal,
             &ZRVAuthApi::authRefreshPostSignalFull, &ZRVAuthApi::authRefreshPostSignalE,
             &ZRVAuthApi::authRefreshPostSignalEFull));
}

void ZRVAuthApi::authUserGet(const QString &client, const QString &clientAuth,
                             const QString &clientApp)
{
    QString fullUrl = url(QStringLiteral("/auth/user"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("client"), client);
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("clientAuth"), clientAuth);
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("clientApp"), clientApp);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<ZRVUser>(
             &ZRVClientOps::parseRecord<ZRVUser>, &ZRVAuthApi::authUserGetSignal,
             &ZRVAuthApi::authUserGetSignalFull, &ZRVAuthApi::authUserGetSignalE,
             &ZRVAuthApi::authUserGetSignalEFull));
}

} // namespace ZRV_AuthService_API
