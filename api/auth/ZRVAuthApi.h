#pragma once

#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QString>

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRV_AuthService_API/ZRVHttpRequestInput.h"
#include "ZRV_AuthService_API/ZRVHttpRequestWorker.h"
#include "ZRVAuth.h"
#include "ZRVGroupMembers.h"
#include "ZRVUser.h"
#include "ZRVUserGroups.h"

namespace ZRV_AuthService_API {

// Client of the authentication service: form requests, JSON replies.
// Every operation returns at once; exactly one pair of its signals fires.
class ZRVAuthApi : public QObject {
    Q_OBJECT

public:
    ZRVAuthApi(const QString &scheme, const QString &host, int port, const QString &basePath,
               int timeOut = 0);

    void addHeaders(const QString &key, const QString &value);

    void authGroupsGet(const QString &realm, const QString &prefix);
    void authLoginPost(const QString &client, const QString &username, const QString &password,
                       const QString &passwordold);
    void authLogoutPost(const QString &refresh_token);
    void authPasswordResetPost(const QString &id, const QString &client, const QString &username,
                               const QString &password, const QString &passwordold);
    void authRefreshPost(const QString &realm, const QString &token);
    void authUserGet(const QString &client, const QString &clientAuth, const QString &clientApp);

signals:
    void authGroupsGetSignal(ZRVUserGroups summary);
    void authGroupsMembersSignal(ZRVGroupMembers summary);
    void authLoginPostSignal(ZRVAuth summary);
    void authLogoutPostSignal();
    void authPasswordResetPostSignal(ZRVAuth summary);
    void authRefreshPostSignal(ZRVAuth summary);
    void authUserGetSignal(ZRVUser summary);
    void authUserGroupsSignal(ZRVUserGroups summary);
    void serviceHealthSignal();

    void authGroupsGetSignalFull(ZRVHttpRequestWorker *worker, ZRVUserGroups summary);
    void authGroupsMembersSignalFull(ZRVHttpRequestWorker *worker, ZRVGroupMembers summary);
    void authLoginPostSignalFull(ZRVHttpRequestWorker *worker, ZRVAuth summary);
    void authLogoutPostSignalFull(ZRVHttpRequestWorker *worker);
    void authPasswordResetPostSignalFull(ZRVHttpRequestWorker *worker, ZRVAuth summary);
    void authRefreshPostSignalFull(ZRVHttpRequestWorker *worker, ZRVAuth summary);
    void authUserGetSignalFull(ZRVHttpRequestWorker *worker, ZRVUser summary);
    void authUserGroupsSignalFull(ZRVHttpRequestWorker *worker, ZRVUserGroups summary);
    void serviceHealthSignalFull(ZRVHttpRequestWorker *worker);

    void authGroupsGetSignalE(ZRVUserGroups summary, QNetworkReply::NetworkError error_type,
                              QString error_str);
    void authGroupsMembersSignalE(ZRVGroupMembers summary, QNetworkReply::NetworkError error_type,
                                  QString error_str);
    void authLoginPostSignalE(ZRVAuth summary, QNetworkReply::NetworkError error_type,
                              QString error_str);
    void authLogoutPostSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void authPasswordResetPostSignalE(ZRVAuth summary, QNetworkReply::NetworkError error_type,
                                      QString error_str);
    void authRefreshPostSignalE(ZRVAuth summary, QNetworkReply::NetworkError error_type,
                                QString error_str);
    void authUserGetSignalE(ZRVUser summary, QNetworkReply::NetworkError error_type,
                            QString error_str);
    void authUserGroupsSignalE(ZRVUserGroups summary, QNetworkReply::NetworkError error_type,
                               QString error_str);
    void serviceHealthSignalE(QNetworkReply::NetworkError error_type, QString error_str);

    void authGroupsGetSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void authGroupsMembersSignalEFull(ZRVHttpRequestWorker *worker,
                                      QNetworkReply::NetworkError error_type, QString error_str);
    void authLoginPostSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void authLogoutPostSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void authPasswordResetPostSignalEFull(ZRVHttpRequestWorker *worker,
                                          QNetworkReply::NetworkError error_type,
                                          QString error_str);
    void authRefreshPostSignalEFull(ZRVHttpRequestWorker *worker,
                                    QNetworkReply::NetworkError error_type, QString error_str);
    void authUserGetSignalEFull(ZRVHttpRequestWorker *worker,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void authUserGroupsSignalEFull(ZRVHttpRequestWorker *worker,
                                   QNetworkReply::NetworkError error_type, QString error_str);
    void serviceHealthSignalEFull(ZRVHttpRequestWorker *worker,
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

} // namespace ZRV_AuthService_API
