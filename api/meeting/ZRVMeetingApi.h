#pragma once

#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QString>

#include "ZRV_MeetingService_API/ZRVHelpers.h"
#include "ZRV_MeetingService_API/ZRVHttpRequestInput.h"
#include "ZRV_MeetingService_API/ZRVHttpRequestWorker.h"
#include "ZRVMeeting.h"

namespace ZRV_MeetingService_API {

// Client of the meeting registry: stored meeting definitions.
// Every operation returns at once; exactly one pair of its signals fires.
class ZRVMeetingApi : public QObject {
    Q_OBJECT

public:
    ZRVMeetingApi(const QString &scheme, const QString &host, int port, const QString &basePath,
                  int timeOut = 0);

    void addHeaders(const QString &key, const QString &value);

    void createMeeting(ZRVMeeting body);
    void deleteMeeting(const QString &meetingId);
    void getMeetings(const QString &creator);
    void updateMeeting(const QString &meetingId, ZRVMeeting body);

signals:
    void createMeetingSignal(ZRVMeeting summary);
    void deleteMeetingSignal();
    void getMeetingSignal(ZRVMeeting summary);
    void getMeetingsSignal(QList<ZRVMeeting> summary);
    void updateMeetingSignal(ZRVMeeting summary);

    void createMeetingSignalFull(ZRVHttpRequestWorker *worker, ZRVMeeting summary);
    void deleteMeetingSignalFull(ZRVHttpRequestWorker *worker);
    void getMeetingSignalFull(ZRVHttpRequestWorker *worker, ZRVMeeting summary);
    void getMeetingsSignalFull(ZRVHttpRequestWorker *worker, QList<ZRVMeeting> summary);
    void updateMeetingSignalFull(ZRVHttpRequestWorker *worker, ZRVMeeting summary);

    void createMeetingSignalE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                              QString error_str);
    void deleteMeetingSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void getMeetingSignalE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                           QString error_str);
    void getMeetingsSignalE(QList<ZRVMeeting> summary, QNetworkReply::NetworkError error_type,
                            QString error_str);
    void updateMeetingSignalE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                              QString error_str);

    void createMeetingSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void deleteMeetingSignalEFull(ZRVHttpRequestWorker *worker,
                                  QNetworkReply::NetworkError error_type, QString error_str);
    void getMeetingSignalEFull(ZRVHttpRequestWorker *worker, QNetworkReply::NetworkError error_type,
                               QString error_str);
    void getMeetingsSignalEFull(ZRVHttpRequestWorker *worker,
                                QNetworkReply::NetworkError error_type, QString error_str);
    void updateMeetingSignalEFull(ZRVHttpRequestWorker *worker,
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

} // namespace ZRV_MeetingService_API
