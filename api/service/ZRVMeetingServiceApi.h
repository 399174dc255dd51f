#pragma once

#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QString>

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRV_Service_API/ZRVHttpRequestInput.h"
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"
#include "ZRVAsset.h"
#include "ZRVBanlistEntry.h"
#include "ZRVMeetingCommand.h"
#include "ZRVMeetingCommandResponse.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMirrorServerInfo.h"
#include "ZRVS3TempAccessKey.h"
#include "ZRVVersions.h"

namespace ZRV_Service_API {

// Client of the main service: live meetings, commands, assets, ban list, logs, keys, versions.
// Every operation returns at once; exactly one pair of its signals fires.
class ZRVMeetingServiceApi : public QObject {
    Q_OBJECT

public:
    ZRVMeetingServiceApi(const QString &scheme, const QString &host, int port,
                         const QString &basePath, int timeOut = 0);

    void addHeaders(const QString &key, const QString &value);

    void assetAdd(const QString &meetingId, ZRVAsset body);
    void assetDelete(const QString &meetingId, int assetId);
    void banlistDelete(int banlistId);
    void banlistGet();
    void banlistPost(ZRVBanlistEntry body);
    void meetingCommand(const QString &meetingId, ZRVMeetingCommand body);
    void meetingInfo(const QString &meetingId);
    void meetingInfoUpdate(const QString &meetingId, ZRVMeetingInfo body);
    void meetingLogfile(const QString &meetingId, int count);
    void s3TempAccessKey();
    void serviceLogfile(int count);
    void serviceMeetings();
    void serviceStatus();
    void serviceUpdate();
    void serviceVersions();

signals:
    void assetAddSignal(ZRVAsset summary);
    void assetDeleteSignal();
    void banlistDeleteSignal(int summary);
    void banlistGetSignal(QList<ZRVBanlistEntry> summary);
    void banlistPostSignal(int summary);
    void meetingCommandSignal(ZRVMeetingCommandResponse summary);
    void meetingInfoSignal(ZRVMeetingInfo summary);
    void meetingInfoUpdateSignal();
    void meetingLogfileSignal(QString summary);
    void meetingStatusSignal();
    void mirrorServerInfoSignal(ZRVMirrorServerInfo summary);
    void s3TempAccessKeySignal(ZRVS3TempAccessKey summary);
    void serviceLogfileSignal(QString summary);
    void serviceMeetingsSignal(QList<ZRVMeetingInfo> summary);
    void serviceStatusSignal();
    void serviceUpdateSignal();
    void serviceVersionsSignal(ZRVVersions summary);

    void assetAddSignalFull(ZRVHttpRequestWorker *worker, ZRVAsset summary);
    void assetDeleteSignalFull(ZRVHttpRequestWorker *worker);
    void banlistDeleteSignalFull(ZRVHttpRequestWorker *worker, int summary);
    void banlistGetSignalFull(ZRVHttpRequestWorker *worker, QList<ZRVBanlistEntry> summary);
    void banlistPostSignalFull(ZRVHttpRequestWorker *worker, int summary);
    void meetingCommandSignalFull(ZRVHttpRequestWorker *worker, ZRVMeetingCommandResponse summary);
    void meetingInfoSignalFull(ZRVHttpRequestWorker *worker, ZRVMeetingInfo summary);
    void meetingInfoUpdateSignalFull(ZRVHttpRequestWorker *worker);
    void meetingLogfileSignalFull(ZRVHttpRequestWorker *worker, QString summary);
    void meetingStatusSignalFull(ZRVHttpRequestWorker *worker);
    void mirrorServerInfoSignalFull(ZRVHttpRequestWorker *worker, ZRVMirrorServerInfo summary);
    void s3TempAccessKeySignalFull(ZRVHttpRequestWorker *worker, ZRVS3TempAccessKey summary);
    void serviceLogfileSignalFull(ZRVHttpRequestWorker *worker, QString summary);
    void serviceMeetingsSignalFull(ZRVHttpRequestWorker *worker, QList<ZRVMeetingInfo> summary);
    void serviceStatusSignalFull(ZRVHttpRequestWorker *worker);
    void serviceUpdateSignalFull(ZRVHttpRequestWorker *worker);
    void serviceVersionsSignalFull(ZRVHttpRequestWorker *worker, ZRVVersions summary);

    void assetAddSignalE(ZRVAsset summary, QNetworkReply::NetworkError error_type,
                         QString error_str);
    void assetDeleteSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void banlistDeleteSignalE(int summary, QNetworkReply::NetworkError error_type,
                              QString error_str);
    void banlistGetSignalE(QList<ZRVBanlistEntry> summary, QNetworkReply::NetworkError error_type,
                           QString error_str);
    void banlistPostSignalE(int summary, QNetworkReply::NetworkError error_type, QString error_str);
    void meetingCommandSignalE(ZRVMeetingCommandResponse summary,
                               QNetworkReply::NetworkError error_type, QString error_str);
    void meetingInfoSignalE(ZRVMeetingInfo summary, QNetworkReply::NetworkError error_type,
                            QString error_str);
    void meetingInfoUpdateSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void meetingLogfileSignalE(QString summary, QNetworkReply::NetworkError error_type,
                               QString error_str);
    void meetingStatusSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void mirrorServerInfoSignalE(ZRVMirrorServerInfo summary,
                                 QNetworkReply::NetworkError error_type, QString error_str);
    void s3TempAccessKeySignalE(ZRVS3TempAccessKey summary, QNetworkReply::NetworkError error_type,
                                QString error_str);
    void serviceLogfileSignalE(QString summary, QNetworkReply::NetworkError error_type,
                               QString error_str);
    void serviceMeetingsSignalE(QList<ZRVMeetingInfo> summary,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void serviceStatusSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void serviceUpdateSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void serviceVersionsSignalE(ZRVVersions summary, QNetworkReply::NetworkError error_type,
                                QString error_str);

    void assetAddSignalEFull(ZRVHttpRequestWorker *worker, QNetworkReply::NetworkError error_type,
                             QString error_str);
    void assetDeleteSignalEFull(ZRVHttpRequestWorker *worker,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void banlistDeleteSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void banlistGetSignalEFull(ZRVHttpRequestWorker *worker, QNetworkReply::NetworkError error_type,
                               QString error_str);
    void banlistPostSignalEFull(ZRVHttpRequestWorker *worker,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void meetingCommandSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void meetingInfoSignalEFull(ZRVHttpRequestWorker *worker,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void meetingInfoUpdateSignalEFull(ZRVHttpRequestWorker *worker,
                                      QNetworkReply::NetworkError error_type, QString error_str);
    void meetingLogfileSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void meetingStatusSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void mirrorServerInfoSignalEFull(ZRVHttpRequestWorker *worker,
                                     QNetworkReply::NetworkError error_type, QString error_str);
    void s3TempAccessKeySignalEFull(ZRVHttpRequestWorker *worker,
                                    QNetworkReply::NetworkError error_type, QString error_str);
    void serviceLogfileSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void serviceMeetingsSignalEFull(ZRVHttpRequestWorker *worker,
                                    QNetworkReply::NetworkError error_type, QString error_str);
    void serviceStatusSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void serviceUpdateSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void serviceVersionsSignalEFull(ZRVHttpRequestWorker *worker,
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
