#include "ZRVAssetBundleApi.h"

#include "ZRVClientOps.h"

namespace ZRV_Service_API {

ZRVAssetBundleApi::ZRVAssetBundleApi(const QString &scheme, const QString &host, int port,
                                     const QString &basePath, int timeOut)
    : scheme(scheme), host(host), port(port), basePath(basePath), timeOut(timeOut)
{
}

void ZRVAssetBundleApi::addHeaders(const QString &key, const QString &value)
{
    defaultHeaders.insert(key, value);
}

QString ZRVAssetBundleApi::url(const QString &path) const
{
    return ZRVClientOps::composeUrl(scheme, host, port, basePath, path);
}

template <typename Fill, typename Callback>
void ZRVAssetBundleApi::send(const QString &url, const QString &verb, Fill fill, Callback callback)
{
    ZRVClientOps::send<ZRVHttpRequestWorker, ZRVHttpRequestInput>(
        this, timeOut, workingDirectory, defaultHeaders, url, verb, fill, callback);
}

void ZRVAssetBundleApi::assetBundleDelete(const QString &bundleId)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/assetbundle"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("bundleId"), bundleId);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("DELETE"), fill,
         ZRVClientOps::resultCallback<QString>(&ZRVClientOps::parseText<QString, &fromStringValue>,
                                               &ZRVAssetBundleApi::assetBundleDeleteSignal,
                                               &ZRVAssetBundleApi::assetBundleDeleteSignalFull,
                                               &ZRVAssetBundleApi::assetBundleDeleteSignalE,
                                               &ZRVAssetBundleApi::assetBundleDeleteSignalEFull));
}

void ZRVAssetBundleApi::assetBundleGet(const QString &bundleId)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/assetbundle"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("bundleId"), bundleId);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QList<ZRVAssetBundle>>(
             &ZRVClientOps::parseRecordList<ZRVAssetBundle>,
             &ZRVAssetBundleApi::assetBundleGetSignal, &ZRVAssetBundleApi::assetBundleGetSignalFull,
             &ZRVAssetBundleApi::assetBundleGetSignalE,
             &ZRVAssetBundleApi::assetBundleGetSignalEFull));
}

void ZRVAssetBundleApi::assetBundlePost(ZRVAssetBundle body)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/assetbundle"));
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<QString>(&ZRVClientOps::parseText<QString, &fromStringValue>,
                                               &ZRVAssetBundleApi::assetBundlePostSignal,
                                               &ZRVAssetBundleApi::assetBundlePostSignalFull,
                                               &ZRVAssetBundleApi::assetBundlePostSignalE,
                                               &ZRVAssetBundleApi::assetBundlePostSignalEFull));
}

} // namespace ZRV_Service_API
