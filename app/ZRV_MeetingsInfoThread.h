#pragma once

#include <QMap>
#include <QMetaType>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QStringList>

#include "ZRVAssetBundleApi.h"
#include "ZRVAuthApi.h"
#include "ZRVError.h"
#include "ZRVMeetingServiceApi.h"
#include "ZRVSpawnPoint.h"

class ZRV_Config;
struct ZRV_LoginData;

// The console's one way to the main service for what the panels share: the
// live meeting list, service state and version, logs, commands, the
// temporary storage key, asset bundles and the ban list. It also keeps the
// access token alive and tells every client about a new one.
//
// No thread, in spite of the name: a plain QObject on the main thread, driven
// by the main window's poll timer and by the replies of its clients.
class ZRV_MeetingsInfoThread : public QObject
{
    Q_OBJECT

public:
    struct _serviceVersion
    {
        int major = 0;
        int minor = 0;
        int patch = 0;
    };

    ZRV_MeetingsInfoThread(QObject *parent, ZRV_Config *config);
    ~ZRV_MeetingsInfoThread() override;

    // The version in a status reply's message, "OK - Version v2.0.30"; false
    // when the reply carries none.
    static bool parseServiceVersion(const QByteArray &reply, _serviceVersion *version);

public slots:
    void getMeetingsInfo();
    void setLoginData(ZRV_LoginData *data);
    void getMirrorLog(QString meetingId, int lines);
    void getS3Token();
    void getServiceLog(int lines);
    void sendMeetingCommand(QString meetingId, QString strCmd, QStringList lstParams);
    void getServiceStatus();
    void getServiceVersionInformation();
    void createAssetBundle(ZRV_Service_API::ZRVAssetBundle bundle);
    void deleteAssetBundle(QString id);
    void getAssetBundle(QString id);
    void getAssetBundles();
    void getBanlist();
    void addBanlistEntry(ZRV_Service_API::ZRVBanlistEntry entry);
    void deleteBanlistEntry(int id);

signals:
    void meetingsInfo(QMap<QString, ZRV_Service_API::ZRVMeetingInfo>);
    void serviceStatus(bool);
    void serviceVersion(ZRV_MeetingsInfoThread::_serviceVersion);
    void serviceVersions(ZRV_Service_API::ZRVVersions);
    void mirrorLog(QString log);
    void playerPos(ZRV_Service_API::ZRVSpawnPoint pnt);
    void serviceLog(QString log);
    void s3TempAccess(ZRV_Service_API::ZRVS3TempAccessKey token);
    void getServiceLogSignal();
    void getMirrorLogSignal(int id);
    void tokenChanged(QString token);
    void stopThread();
    void exitApp();
    void sessionExpired();
    void assetBundles(QList<ZRV_Service_API::ZRVAssetBundle> summary);
    void assetBundlePost(QString summary);
    void assetBundlePostError(ZRV_AuthService_API::ZRVError error);
    void assetBundleDeleted(QString summary);
    void banlist(QList<ZRV_Service_API::ZRVBanlistEntry> summary);
    void banlistPost(int summary);
    void banlistPostError(ZRV_AuthService_API::ZRVError error);
    void banlistDeleted(int summary);

private slots:
    void serviceMeetingsCallBack(QList<ZRV_Service_API::ZRVMeetingInfo> summary);
    void serviceMeetingsECallBack(QList<ZRV_Service_API::ZRVMeetingInfo> summary,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void onServiceVersions(ZRV_Service_API::ZRVVersions summary);
    void onServiceVersionsE(ZRV_Service_API::ZRVVersions summary,
                            QNetworkReply::NetworkError error_type, QString error_str);
    void onServiceStatus();
    void onServiceStatusFull(ZRV_Service_API::ZRVHttpRequestWorker *worker);
    void onServiceStatusE(QNetworkReply::NetworkError error_type, QString error_str);
    void onServiceLogfile(QString summary);
    void onServiceLogfileE(QString summary, QNetworkReply::NetworkError error_type,
                           QString error_str);
    void onS3TempAccessKey(ZRV_Service_API::ZRVS3TempAccessKey summary);
    void onS3TempAccessKeyE(ZRV_Service_API::ZRVS3TempAccessKey summary,
                            QNetworkReply::NetworkError error_type, QString error_str);
    void onMeetingLogfile(QString summary);
    void onMeetingLogfileE(QString summary, QNetworkReply::NetworkError error_type,
                           QString error_str);
    void onMeetingCommandCallback(ZRV_Service_API::ZRVMeetingCommandResponse summary);
    void onMeetingCommandCallbackE(ZRV_Service_API::ZRVMeetingCommandResponse summary,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void onAuthRefresh(ZRV_AuthService_API::ZRVAuth s);
    void onAuthRefreshError(ZRV_AuthService_API::ZRVAuth auth,
                            QNetworkReply::NetworkError error_type, QString error_str);
    void onAssetBundlePost(QString summary);
    void onAssetBundlePostE(QString summary, QNetworkReply::NetworkError error_type,
                            QString error_str);
    void onAssetBundleDelete(QString summary);
    void onAssetBundleDeleteE(QString summary, QNetworkReply::NetworkError error_type,
                              QString error_str);
    void onAssetBundleGet(QList<ZRV_Service_API::ZRVAssetBundle> summary);
    void onAssetBundleGetE(QList<ZRV_Service_API::ZRVAssetBundle> summary,
                           QNetworkReply::NetworkError error_type, QString error_str);
    void onBanlistPost(int summary);
    void onBanlistPostE(int summary, QNetworkReply::NetworkError error_type, QString error_str);
    void onBanlistDelete(int summary);
    void onBanlistDeleteE(int summary, QNetworkReply::NetworkError error_type, QString error_str);
    void onBanlistGet(QList<ZRV_Service_API::ZRVBanlistEntry> summary);
    void onBanlistGetE(QList<ZRV_Service_API::ZRVBanlistEntry> summary,
                       QNetworkReply::NetworkError error_type, QString error_str);

private:
    void ensureClients();
    void applyAccessToken(const QString &token);

    QMap<QString, ZRV_Service_API::ZRVMeetingInfo> m_meetingsInfo;
    ZRV_Config *m_config = nullptr;
    ZRV_Service_API::ZRVMeetingServiceApi *m_serviceApi = nullptr;
    ZRV_Service_API::ZRVAssetBundleApi *m_bundleApi = nullptr;
    QString m_logBuffer;
    ZRV_LoginData *m_loginData = nullptr;
    ZRV_AuthService_API::ZRVAuthApi *m_authApi = nullptr;
    bool m_refreshing = false;
    int m_meetingFailures = 0;
    int m_refreshFailures = 0;
    QString m_authHeader;
};

Q_DECLARE_METATYPE(ZRV_MeetingsInfoThread::_serviceVersion)
