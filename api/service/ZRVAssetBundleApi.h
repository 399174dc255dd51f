#pragma once

#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QString>

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRV_Service_API/ZRVHttpRequestInput.h"
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"
#include "ZRVAssetBundle.h"

namespace ZRV_Service_API {

// Client of the asset bundle resource of the main service.
// Every operation returns at once; exactly one pair of its signals fires.
class ZRVAssetBundleApi : public QObject {
    Q_OBJECT

public:
    ZRVAssetBundleApi(const QString &scheme, const QString &host, int port, const QString &basePath,
                      int timeOut = 0);

    void addHeaders(const QString &key, const QString &value);

    void assetBundleDelete(const QString &bundleId);
    void assetBundleGet(const QString &bundleId);
    void assetBundlePost(ZRVAssetBundle body);

signals:
    void assetBundleDeleteSignal(QString summary);
    void assetBundleGetSignal(QList<ZRVAssetBundle> summary);
    void assetBundlePostSignal(QString summary);

    void assetBundleDeleteSignalFull(ZRVHttpRequestWorker *worker, QString summary);
    void assetBundleGetSignalFull(ZRVHttpRequestWorker *worker, QList<ZRVAssetBundle> summary);
    void assetBundlePostSignalFull(ZRVHttpRequestWorker *worker, QString summary);

    void assetBundleDeleteSignalE(QString summary, QNetworkReply::NetworkError error_type,
                                  QString error_str);
    void assetBundleGetSignalE(QList<ZRVAssetBundle> summary,
                               QNetworkReply::NetworkError error_type, QString error_str);
    void assetBundlePostSignalE(QString summary, QNetworkReply::NetworkError error_type,
                                QString error_str);

    void assetBundleDeleteSignalEFull(ZRVHttpRequestWorker *worker,
                                      QNetworkReply::NetworkError error_type, QString error_str);
    void assetBundleGetSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void assetBundlePostSignalEFull(ZRVHttpRequestWorker *worker,
                                    QNetworkReply::NetworkError error_type, QString error_str);

    void abortRequestsSignal();

private:
    QString url(const QString &path) const;
    template <typename Fill, typename Callback>
    void send(const QString &url, const QString &verb, Fill fill, Callback callback);

    QString scheme;
    QString host;
    int port;
    QString basePath;
    int timeOut;
    QString workingDirectory;
    QMap<QString, QString> defaultHeaders;
    bool isResponseCompressionEnabled = false;
    bool isRequestCompressionEnabled = false;
};

} // namespace ZRV_Service_API
