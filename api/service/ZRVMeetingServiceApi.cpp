#include "ZRVMeetingServiceApi.h"

#include "ZRVClientOps.h"

namespace ZRV_Service_API {

ZRVMeetingServiceApi::ZRVMeetingServiceApi(const QString &scheme, const QString &host, int port,
                                           const QString &basePath, int timeOut)
    : scheme(scheme), host(host), port(port), basePath(basePath), timeOut(timeOut)
{
}

void ZRVMeetingServiceApi::addHeaders(const QString &key, const QString &value)
{
    defaultHeaders.insert(key, value);
}

QString ZRVMeetingServiceApi::url(const QString &path) const
{
    return ZRVClientOps::composeUrl(scheme, host, port, basePath, path);
}

template <typename Fill, typename Callback>
void ZRVMeetingServiceApi::send(const QString &url, const QString &verb, Fill fill,
                                Callback callback)
{
    ZRVClientOps::send<ZRVHttpRequestWorker, ZRVHttpRequestInput>(
        this, timeOut, workingDirectory, defaultHeaders, url, verb, fill, callback);
}

void ZRVMeetingServiceApi::assetAdd(const QString &meetingId, ZRVAsset body)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meeting/{meetingId}/asset"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<ZRVAsset>(
             &ZRVClientOps::parseRecord<ZRVAsset>, &ZRVMeetingServiceApi::assetAddSignal,
             &ZRVMeetingServiceApi::assetAddSignalFull, &ZRVMeetingServiceApi::assetAddSignalE,
             &ZRVMeetingServiceApi::assetAddSignalEFull));
}

void ZRVMeetingServiceApi::assetDelete(const QString &meetingId, int assetId)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meeting/{meetingId}/asset/{assetId}"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("assetId"), toStringValue(assetId));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("DELETE"), fill,
         ZRVClientOps::noResultCallback(&ZRVMeetingServiceApi::assetDeleteSignal,
                                        &ZRVMeetingServiceApi::assetDeleteSignalFull,
                                        &ZRVMeetingServiceApi::assetDeleteSignalE,
                                        &ZRVMeetingServiceApi::assetDeleteSignalEFull));
}

void ZRVMeetingServiceApi::banlistDelete(int banlistId)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/banlist"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("banlistId"), toStringValue(banlistId));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("DELETE"), fill,
         ZRVClientOps::resultCallback<int>(&ZRVClientOps::parseText<int, &fromStringValue>,
                                           &ZRVMeetingServiceApi::banlistDeleteSignal,
                                           &ZRVMeetingServiceApi::banlistDeleteSignalFull,
                                           &ZRVMeetingServiceApi::banlistDeleteSignalE,
                                           &ZRVMeetingServiceApi::banlistDeleteSignalEFull));
}

void ZRVMeetingServiceApi::banlistGet()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/banlist"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QList<ZRVBanlistEntry>>(
             &ZRVClientOps::parseRecordList<ZRVBanlistEntry>,
             &ZRVMeetingServiceApi::banlistGetSignal, &ZRVMeetingServiceApi::banlistGetSignalFull,
             &ZRVMeetingServiceApi::banlistGetSignalE,
             &ZRVMeetingServiceApi::banlistGetSignalEFull));
}

void ZRVMeetingServiceApi::banlistPost(ZRVBanlistEntry body)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/banlist"));
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<int>(&ZRVClientOps::parseText<int, &fromStringValue>,
                                           &ZRVMeetingServiceApi::banlistPostSignal,
                                           &ZRVMeetingServiceApi::banlistPostSignalFull,
                                           &ZRVMeetingServiceApi::banlistPostSignalE,
                                           &ZRVMeetingServiceApi::banlistPostSignalEFull));
}

void ZRVMeetingServiceApi::meetingCommand(const QString &meetingId, ZRVMeetingCommand body)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meeting/{meetingId}/command"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("POST"), fill,
         ZRVClientOps::resultCallback<ZRVMeetingCommandResponse>(
             &ZRVClientOps::parseRecord<ZRVMeetingCommandResponse>,
             &ZRVMeetingServiceApi::meetingCommandSignal,
             &ZRVMeetingServiceApi::meetingCommandSignalFull,
             &ZRVMeetingServiceApi::meetingCommandSignalE,
             &ZRVMeetingServiceApi::meetingCommandSignalEFull));
}

void ZRVMeetingServiceApi::meetingInfo(const QString &meetingId)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meeting/{meetingId}/info"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<ZRVMeetingInfo>(
             &ZRVClientOps::parseRecord<ZRVMeetingInfo>, &ZRVMeetingServiceApi::meetingInfoSignal,
             &ZRVMeetingServiceApi::meetingInfoSignalFull,
             &ZRVMeetingServiceApi::meetingInfoSignalE,
             &ZRVMeetingServiceApi::meetingInfoSignalEFull));
}

void ZRVMeetingServiceApi::meetingInfoUpdate(const QString &meetingId, ZRVMeetingInfo body)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meeting/{meetingId}/info"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    auto fill = [&body](ZRVHttpRequestInput &input) {
        input.requestBody.append(body.asJson().toUtf8());
    };
    send(fullUrl, QStringLiteral("PUT"), fill,
         ZRVClientOps::noResultCallback(&ZRVMeetingServiceApi::meetingInfoUpdateSignal,
                                        &ZRVMeetingServiceApi::meetingInfoUpdateSignalFull,
                                        &ZRVMeetingServiceApi::meetingInfoUpdateSignalE,
                                        &ZRVMeetingServiceApi::meetingInfoUpdateSignalEFull));
}

void ZRVMeetingServiceApi::meetingLogfile(const QString &meetingId, int count)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/{meetingId}/logfile"));
    ZRVClientOps::replacePathParam(fullUrl, QStringLiteral("meetingId"), meetingId);
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("count"), toStringValue(count));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QString>(&ZRVClientOps::parseText<QString, &fromStringValue>,
                                               &ZRVMeetingServiceApi::meetingLogfileSignal,
                                               &ZRVMeetingServiceApi::meetingLogfileSignalFull,
                                               &ZRVMeetingServiceApi::meetingLogfileSignalE,
                                               &ZRVMeetingServiceApi::meetingLogfileSignalEFull));
}

void ZRVMeetingServiceApi::s3TempAccessKey()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/s3/token"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<ZRVS3TempAccessKey>(
             &ZRVClientOps::parseRecord<ZRVS3TempAccessKey>,
             &ZRVMeetingServiceApi::s3TempAccessKeySignal,
             &ZRVMeetingServiceApi::s3TempAccessKeySignalFull,
             &ZRVMeetingServiceApi::s3TempAccessKeySignalE,
             &ZRVMeetingServiceApi::s3TempAccessKeySignalEFull));
}

void ZRVMeetingServiceApi::serviceLogfile(int count)
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/logfile"));
    ZRVClientOps::appendQueryParam(fullUrl, QStringLiteral("count"), toStringValue(count));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QString>(&ZRVClientOps::parseText<QString, &fromStringValue>,
                                               &ZRVMeetingServiceApi::serviceLogfileSignal,
                                               &ZRVMeetingServiceApi::serviceLogfileSignalFull,
                                               &ZRVMeetingServiceApi::serviceLogfileSignalE,
                                               &ZRVMeetingServiceApi::serviceLogfileSignalEFull));
}

void ZRVMeetingServiceApi::serviceMeetings()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/meetings"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<QList<ZRVMeetingInfo>>(
             &ZRVClientOps::parseRecordList<ZRVMeetingInfo>,
             &ZRVMeetingServiceApi::serviceMeetingsSignal,
             &ZRVMeetingServiceApi::serviceMeetingsSignalFull,
             &ZRVMeetingServiceApi::serviceMeetingsSignalE,
             &ZRVMeetingServiceApi::serviceMeetingsSignalEFull));
}

void ZRVMeetingServiceApi::serviceStatus()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/status"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::noResultCallback(&ZRVMeetingServiceApi::serviceStatusSignal,
                                        &ZRVMeetingServiceApi::serviceStatusSignalFull,
                                        &ZRVMeetingServiceApi::serviceStatusSignalE,
                                        &ZRVMeetingServiceApi::serviceStatusSignalEFull));
}

void ZRVMeetingServiceApi::serviceUpdate()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/update"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::noResultCallback(&ZRVMeetingServiceApi::serviceUpdateSignal,
                                        &ZRVMeetingServiceApi::serviceUpdateSignalFull,
                                        &ZRVMeetingServiceApi::serviceUpdateSignalE,
                                        &ZRVMeetingServiceApi::serviceUpdateSignalEFull));
}

void ZRVMeetingServiceApi::serviceVersions()
{
    QString fullUrl = url(QStringLiteral("/zrv/svc/versions"));
    auto fill = [](ZRVHttpRequestInput &) {};
    send(fullUrl, QStringLiteral("GET"), fill,
         ZRVClientOps::resultCallback<ZRVVersions>(
             &ZRVClientOps::parseRecord<ZRVVersions>, &ZRVMeetingServiceApi::serviceVersionsSignal,
             &ZRVMeetingServiceApi::serviceVersionsSignalFull,
             &ZRVMeetingServiceApi::serviceVersionsSignalE,
             &ZRVMeetingServiceApi::serviceVersionsSignalEFull));
}

} // namespace ZRV_Service_API
