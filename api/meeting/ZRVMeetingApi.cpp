#include "ZRVMeetingApi.h"

#include "ZRVClientOps.h"

namespace ZRV_MeetingService_API {

ZRVMeetingApi::ZRVMeetingApi(const QString &scheme, const QString &host, int port,
                             const QString &basePath, int timeOut)
    : scheme(scheme), host(host), port(port), basePath(basePath), timeOut(timeOut)
{
}

void ZRVMeetingApi::addHeaders(const QString &key, const QString &value)
{
    defaultHeaders.insert(key, value);
}

QString ZRVMeetingApi::url(const QString &path) const
{
    return ZRVClientOps::composeUrl(scheme, host, port, basePath, path);
}

template <typename Fill, typename Callback>
void ZRVMeetingApi::send(const QString &url, const QString &verb, Fill fill, Callback callback)
{
    ZRVClientOps::send<ZRVHttpRequestWorker, ZRVHttpRequestInput>(
        this, timeOut, workingDirectory, defaultHeaders, url, verb, fill, callback);
}

void ZRVMeetingApi::createMeeting(ZRVMeeting body)
{
    QString fullUrl = url(QStringLiteral("/meetings"));
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<ZRVMeeting>(
             &ZRVClientOps::parseRecord<ZRVMeeting>, &ZRVMeetingApi::createMeetingSignal,
             &ZRVMeetingApi::createMeetingSignalFull, &ZRVMeetingApi::createMeetingSignalE,
             &ZRVMeetingApi::createMeetingSignalEFull));
}

void ZRVMeetingApi::deleteMeeting(const QString &meetingId)
{
    QString fullUrl = url(QStringLiteral("/meetings/{meetingId}"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("DELETE"), fill,
         ZRVClientOps::noResultCallback(
             &ZRVMeetingApi::deleteMeetingSignal, &ZRVMeetingApi::deleteMeetingSignalFull,
             &ZRVMeetingApi::deleteMeetingSignalE, &ZRVMeetingApi::deleteMeetingSignalEFull));
}

void ZRVMeetingApi::getMeetings(const QString &creator)
{
    QString fullUrl = url(QStringLiteral("/meetings"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("creator"), creator);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QList<ZRVMeeting>>(
             &ZRVClientOps::parseRecordList<ZRVMeeting>, &ZRVMeetingApi::getMeetingsSignal,
             &ZRVMeetingApi::getMeetingsSignalFull, &ZRVMeetingApi::getMeetingsSignalE,
             &ZRVMeetingApi::getMeetingsSignalEFull));
}

void ZRVMeetingApi::updateMeeting(const QString &meetingId, ZRVMeeting body)
{
    QString fullUrl = url(QStringLiteral("/meetings/{meetingId}"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("PATCH"), fill,
         ZRVClientOps::resultCallback<ZRVMeeting>(
             &ZRVClientOps::parseRecord<ZRVMeeting>, &ZRVMeetingApi::updateMeetingSignal,
             &ZRVMeetingApi::updateMeetingSignalFull, &ZRVMeetingApi::updateMeetingSignalE,
             &ZRVMeetingApi::updateMeetingSignalEFull));
}

} // namespace ZRV_MeetingService_API
