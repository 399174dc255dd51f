#include "ZRV_MeetingsInfoThread.h"

#include <QDateTime>
#include <QDebug>
#include <QMessageBox>
#include <QRegularExpression>

#include "ZRV_Config.h"
#include "ZRV_LoginData.h"
#include "ZRV_ServiceEndpoint.h"

using namespace ZRV_Service_API;
using ZRV_AuthService_API::ZRVAuth;
using ZRV_AuthService_API::ZRVAuthApi;
using ZRV_AuthService_API::ZRVError;

namespace {

// The service's error object sits behind the first ", {" of a failure text.
// Without that mark the search gives -1, the text is read from its second
// character, and the message stays empty.
ZRVError serviceError(const QString &error_str)
{
    const int at = error_str.indexOf(QStringLiteral(", {"));
    return ZRVError(error_str.mid(at + 1));
}

void showCritical(const QString &title, const QString &text)
{
    QMessageBox::critical(nullptr, title, text, QMessageBox::Ok);
}

} // namespace

ZRV_MeetingsInfoThread::ZRV_MeetingsInfoThread(QObject *parent, ZRV_Config *config)
    : QObject(parent), m_config(config)
{
}

ZRV_MeetingsInfoThread::~ZRV_MeetingsInfoThread()
{
    delete m_bundleApi;
    delete m_serviceApi;
    delete m_authApi;
}

void ZRV_MeetingsInfoThread::ensureClients()
{
    if (!m_bundleApi) {
        m_bundleApi = newServiceClient<ZRVAssetBundleApi>(m_config->serviceHost, m_config->servicePath);
        m_bundleApi->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
        m_bundleApi->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
        if (!m_authHeader.isEmpty())
            m_bundleApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundleGetSignal, this,
                &ZRV_MeetingsInfoThread::onAssetBundleGet);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundleGetSignalE, this,
                &ZRV_MeetingsInfoThread::onAssetBundleGetE);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundleDeleteSignal, this,
                &ZRV_MeetingsInfoThread::onAssetBundleDelete);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundleDeleteSignalE, this,
                &ZRV_MeetingsInfoThread::onAssetBundleDeleteE);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundlePostSignal, this,
                &ZRV_MeetingsInfoThread::onAssetBundlePost);
        connect(m_bundleApi, &ZRVAssetBundleApi::assetBundlePostSignalE, this,
                &ZRV_MeetingsInfoThread::onAssetBundlePostE);
    }

    if (!m_serviceApi) {
        m_serviceApi = newServiceClient<ZRVMeetingServiceApi>(m_config->serviceHost, m_config->servicePath);
        m_serviceApi->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
        m_serviceApi->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
        if (!m_authHeader.isEmpty())
            m_serviceApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
        using Api = ZRVMeetingServiceApi;
        using Self = ZRV_MeetingsInfoThread;
        connect(m_serviceApi, &Api::meetingCommandSignal, this, &Self::onMeetingCommandCallback);
        connect(m_serviceApi, &Api::meetingCommandSignalE, this, &Self::onMeetingCommandCallbackE);
        connect(m_serviceApi, &Api::serviceVersionsSignal, this, &Self::onServiceVersions);
        connect(m_serviceApi, &Api::serviceVersionsSignalE, this, &Self::onServiceVersionsE);
        connect(m_serviceApi, &Api::serviceStatusSignal, this, &Self::onServiceStatus);
        connect(m_serviceApi, &Api::serviceStatusSignalFull, this, &Self::onServiceStatusFull);
        connect(m_serviceApi, &Api::serviceStatusSignalE, this, &Self::onServiceStatusE);
        connect(m_serviceApi, &Api::serviceMeetingsSignal, this, &Self::serviceMeetingsCallBack);
        connect(m_serviceApi, &Api::serviceMeetingsSignalE, this, &Self::serviceMeetingsECallBack);
        connect(m_serviceApi, &Api::serviceLogfileSignal, this, &Self::onServiceLogfile);
        connect(m_serviceApi, &Api::serviceLogfileSignalE, this, &Self::onServiceLogfileE);
        connect(m_serviceApi, &Api::meetingLogfileSignal, this, &Self::onMeetingLogfile);
        connect(m_serviceApi, &Api::meetingLogfileSignalE, this, &Self::onMeetingLogfileE);
        connect(m_serviceApi, &Api::s3TempAccessKeySignal, this, &Self::onS3TempAccessKey);
        connect(m_serviceApi, &Api::s3TempAccessKeySignalE, this, &Self::onS3TempAccessKeyE);
        connect(m_serviceApi, &Api::banlistGetSignal, this, &Self::onBanlistGet);
        connect(m_serviceApi, &Api::banlistGetSignalE, this, &Self::onBanlistGetE);
        connect(m_serviceApi, &Api::banlistDeleteSignal, this, &Self::onBanlistDelete);
        connect(m_serviceApi, &Api::banlistDeleteSignalE, this, &Self::onBanlistDeleteE);
        connect(m_serviceApi, &Api::banlistPostSignal, this, &Self::onBanlistPost);
        connect(m_serviceApi, &Api::banlistPostSignalE, this, &Self::onBanlistPostE);
    }

    if (!m_authApi) {
        m_authApi = newServiceClient<ZRVAuthApi>(m_config->authServiceHost, m_config->authServicePath);
        m_authApi->addHeaders(QStringLiteral("Content-Type"),
                              QStringLiteral("application/x-www-form-urlencoded"));
        if (!m_authHeader.isEmpty())
            m_authApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
        connect(m_authApi, &ZRVAuthApi::authRefreshPostSignal, this,
                &ZRV_MeetingsInfoThread::onAuthRefresh);
        connect(m_authApi, &ZRVAuthApi::authRefreshPostSignalE, this,
                &ZRV_MeetingsInfoThread::onAuthRefreshError);
    }
}

void ZRV_MeetingsInfoThread::getMeetingsInfo()
{
    ensureClients();

    if (!m_loginData || !m_loginData->authenticated) {
        qDebug() << "Cannot get Meetings, not Authenticated.";
        return;
    }

    // A negative count (already out of date) asks for a refresh too.
    if (!m_refreshing && QDateTime::currentDateTime().secsTo(m_loginData->tokenExpiry) <= 20) {
        m_refreshing = true;
        m_authApi->authRefreshPost(QStringLiteral("BVK"), m_loginData->refreshToken);
    }

    // The poll goes on with the old token while a refresh is under way.
    m_serviceApi->serviceMeetings();
    m_serviceApi->serviceStatus();
}

void ZRV_MeetingsInfoThread::setLoginData(ZRV_LoginData *data)
{
    m_loginData = data;
    applyAccessToken(m_loginData ? m_loginData->accessToken : QString());
}

void ZRV_MeetingsInfoThread::applyAccessToken(const QString &token)
{
    m_authHeader = QStringLiteral("Bearer ") + token;
    if (m_serviceApi)
        m_serviceApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
    if (m_bundleApi)
        m_bundleApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
    if (m_authApi)
        m_authApi->addHeaders(QStringLiteral("Authorization"), m_authHeader);
    emit tokenChanged(token);
}

// These four rely on the clients made by the first poll or by the version
// request at start.
void ZRV_MeetingsInfoThread::getMirrorLog(QString meetingId, int lines)
{
    if (m_serviceApi)
        m_serviceApi->meetingLogfile(meetingId, lines);
}

void ZRV_MeetingsInfoThread::getS3Token()
{
    if (m_serviceApi)
        m_serviceApi->s3TempAccessKey();
}

void ZRV_MeetingsInfoThread::getServiceLog(int lines)
{
    if (m_serviceApi)
        m_serviceApi->serviceLogfile(lines);
}

void ZRV_MeetingsInfoThread::sendMeetingCommand(QString meetingId, QString strCmd,
                                                QStringList lstParams)
{
    if (!m_serviceApi)
        return;
    ZRVMeetingCommand command;
    command.setCommand(strCmd);
    command.setParams(lstParams);
    m_serviceApi->meetingCommand(meetingId, command);
}

void ZRV_MeetingsInfoThread::getServiceStatus()
{
    ensureClients();
    m_serviceApi->serviceStatus();
}

void ZRV_MeetingsInfoThread::getServiceVersionInformation()
{
    ensureClients();
    m_serviceApi->serviceVersions();
}

void ZRV_MeetingsInfoThread::createAssetBundle(ZRVAssetBundle bundle)
{
    ensureClients();
    m_bundleApi->assetBundlePost(bundle);
}

void ZRV_MeetingsInfoThread::deleteAssetBundle(QString id)
{
    ensureClients();
    m_bundleApi->assetBundleDelete(id);
}

void ZRV_MeetingsInfoThread::getAssetBundle(QString id)
{
    ensureClients();
    m_bundleApi->assetBundleGet(id);
}

void ZRV_MeetingsInfoThread::getAssetBundles()
{
    getAssetBundle(QString());
}

void ZRV_MeetingsInfoThread::getBanlist()
{
    ensureClients();
    m_serviceApi->banlistGet();
}

void ZRV_MeetingsInfoThread::addBanlistEntry(ZRVBanlistEntry entry)
{
    ensureClients();
    m_serviceApi->banlistPost(entry);
}

void ZRV_MeetingsInfoThread::deleteBanlistEntry(int id)
{
    ensureClients();
    m_serviceApi->banlistDelete(id);
}

void ZRV_MeetingsInfoThread::serviceMeetingsCallBack(QList<ZRVMeetingInfo> summary)
{
    m_meetingFailures = 0;
    QMap<QString, ZRVMeetingInfo> map;
    for (const ZRVMeetingInfo &info : summary)
        map.insert(info.getMeetingId().toLower(), info);
    emit meetingsInfo(map);
    emit serviceStatus(true);
    m_meetingsInfo = map;
}

void ZRV_MeetingsInfoThread::serviceMeetingsECallBack(QList<ZRVMeetingInfo>,
                                                      QNetworkReply::NetworkError error_type,
                                                      QString error_str)
{
    ++m_meetingFailures;
    qDebug() << "Connecting to service failed: " << error_type << error_str;

    if (m_meetingFailures == 3) {
        emit stopThread();
        // Only Ok is offered, so the retry the answer is compared with never comes.
        const int answer = QMessageBox::critical(
            nullptr, QStringLiteral("Cannot connect to service"),
            QStringLiteral("Connecting to service failed. Please try again later."), QMessageBox::Ok);
        if (answer != QMessageBox::Retry)
            emit exitApp();
    }
    emit serviceStatus(false);
}

void ZRV_MeetingsInfoThread::onServiceVersions(ZRVVersions summary)
{
    emit serviceVersions(summary);
}

void ZRV_MeetingsInfoThread::onServiceVersionsE(ZRVVersions summary, QNetworkReply::NetworkError,
                                                QString)
{
    // The login still opens when the service is down: the window waits for this.
    emit serviceVersions(summary);
    emit serviceStatus(false);
}

void ZRV_MeetingsInfoThread::onServiceStatus()
{
    emit serviceStatus(true);
}

void ZRV_MeetingsInfoThread::onServiceStatusFull(ZRVHttpRequestWorker *worker)
{
    _serviceVersion version;
    if (parseServiceVersion(worker->response, &version))
        emit serviceVersion(version);
}

bool ZRV_MeetingsInfoThread::parseServiceVersion(const QByteArray &reply, _serviceVersion *version)
{
    const ZRVError status{QString(reply)};
    const QString message = status.getMessage();
    if (!status.is_message_Set() || !message.contains(QStringLiteral("OK - Version")))
        return false;

    QString text = message.mid(13);
    if (text.startsWith(QLatin1Char('v'), Qt::CaseInsensitive))
        text.remove(0, 1);

    QStringList parts =
        text.split(QRegularExpression(QStringLiteral("[(\\.|\\-)]")), Qt::SkipEmptyParts);
    if (parts.size() != 3)
        return false;
    if (parts[0].startsWith(QLatin1Char('v')))
        parts[0].remove(0, 1);

    version->major = parts[0].toInt();
    version->minor = parts[1].toInt();
    version->patch = parts[2].toInt();
    return true;
}

void ZRV_MeetingsInfoThread::onServiceStatusE(QNetworkReply::NetworkError, QString)
{
    emit serviceStatus(false);
}

void ZRV_MeetingsInfoThread::onServiceLogfile(QString summary)
{
    if (summary.isEmpty()) {
        m_logBuffer = QStringLiteral("Empty log file");
        emit serviceLog(m_logBuffer);
    } else {
        emit serviceLog(summary);
    }
}

void ZRV_MeetingsInfoThread::onServiceLogfileE(QString, QNetworkReply::NetworkError, QString)
{
    m_logBuffer = QStringLiteral("Error getting logfile.");
    emit serviceLog(m_logBuffer);
}

void ZRV_MeetingsInfoThread::onMeetingLogfile(QString summary)
{
    if (summary.isEmpty()) {
        m_logBuffer = QStringLiteral("Empty log file");
        emit mirrorLog(m_logBuffer);
    } else {
        emit mirrorLog(summary);
    }
}

void ZRV_MeetingsInfoThread::onMeetingLogfileE(QString, QNetworkReply::NetworkError, QString)
{
    m_logBuffer = QStringLiteral("Error getting logfile.");
    emit mirrorLog(m_logBuffer);
}

// Both outcomes hand the key on as it came; the receiver judges its content.
void ZRV_MeetingsInfoThread::onS3TempAccessKey(ZRVS3TempAccessKey summary)
{
    emit s3TempAccess(summary);
}

void ZRV_MeetingsInfoThread::onS3TempAccessKeyE(ZRVS3TempAccessKey summary,
                                                QNetworkReply::NetworkError, QString)
{
    emit s3TempAccess(summary);
}

void ZRV_MeetingsInfoThread::onMeetingCommandCallback(ZRVMeetingCommandResponse summary)
{
    const QList<ZRVDefVector3> vectors = summary.getVList();
    if (summary.getCommand().compare(QStringLiteral("GetPlayerPos"), Qt::CaseInsensitive) == 0
        && vectors.size() >= 2) {
        ZRVSpawnPoint point;
        point.setName(QStringLiteral("Player Pos"));
        point.setPosition(vectors.at(0));
        point.setRotation(vectors.at(1));
        emit playerPos(point);
    }
    for (const QString &line : summary.getSList())
        qDebug() << line;
    for (const ZRVDefVector3 &v : vectors)
        qDebug() << v.getX() << v.getY() << v.getZ();
}

void ZRV_MeetingsInfoThread::onMeetingCommandCallbackE(ZRVMeetingCommandResponse,
                                                       QNetworkReply::NetworkError, QString)
{
    // A failed command is not reported.
}

void ZRV_MeetingsInfoThread::onAuthRefresh(ZRVAuth s)
{
    if (m_loginData) {
        m_loginData->accessToken = s.getAccessToken();
        m_loginData->refreshToken = s.getRefreshToken();
        m_loginData->tokenExpiry = QDateTime::currentDateTime().addSecs(s.getExpiresIn());
    }
    applyAccessToken(s.getAccessToken());
    m_refreshing = false;
    m_refreshFailures = 0;
}

void ZRV_MeetingsInfoThread::onAuthRefreshError(ZRVAuth, QNetworkReply::NetworkError,
                                                QString error_str)
{
    m_refreshing = false;
    ++m_refreshFailures;
    // One unexplained failure is forgiven: the next poll tries again.
    if (error_str.contains(QStringLiteral("Token is not active"), Qt::CaseInsensitive)
        || m_refreshFailures > 1) {
        emit stopThread();
        emit sessionExpired();
    }
}

void ZRV_MeetingsInfoThread::onAssetBundlePost(QString summary)
{
    emit assetBundlePost(summary);
}

void ZRV_MeetingsInfoThread::onAssetBundlePostE(QString, QNetworkReply::NetworkError,
                                                QString error_str)
{
    const ZRVError error = serviceError(error_str);
    emit assetBundlePostError(error);
    showCritical(
        QStringLiteral("Error creating asset bundle"),
        QStringLiteral("An error occured while trying to create or modify asset bundle:\n%1")
            .arg(error.getMessage()));
}

void ZRV_MeetingsInfoThread::onAssetBundleDelete(QString summary)
{
    emit assetBundleDeleted(summary);
}

void ZRV_MeetingsInfoThread::onAssetBundleDeleteE(QString, QNetworkReply::NetworkError,
                                                  QString error_str)
{
    showCritical(QStringLiteral("Error deleting asset bundle"),
                 QStringLiteral("An error occured while trying to delete asset bundle:\n%1")
                     .arg(serviceError(error_str).getMessage()));
}

void ZRV_MeetingsInfoThread::onAssetBundleGet(QList<ZRVAssetBundle> summary)
{
    emit assetBundles(summary);
}

void ZRV_MeetingsInfoThread::onAssetBundleGetE(QList<ZRVAssetBundle> summary,
                                               QNetworkReply::NetworkError, QString error_str)
{
    showCritical(QStringLiteral("Error getting asset bundles"),
                 QStringLiteral("An error occured while trying to get asset bundles: \n%1")
                     .arg(serviceError(error_str).getMessage()));
    emit assetBundles(summary);
}

void ZRV_MeetingsInfoThread::onBanlistPost(int summary)
{
    emit banlistPost(summary);
}

void ZRV_MeetingsInfoThread::onBanlistPostE(int, QNetworkReply::NetworkError, QString error_str)
{
    const ZRVError error = serviceError(error_str);
    emit banlistPostError(error);
    showCritical(
        QStringLiteral("Error adding banlist entry"),
        QStringLiteral("An error occured while trying to add an entry to the banlist:\n%1")
            .arg(error.getMessage()));
}

void ZRV_MeetingsInfoThread::onBanlistDelete(int summary)
{
    emit banlistDeleted(summary);
}

// The wording speaks of an asset bundle; that is how this box has always read.
void ZRV_MeetingsInfoThread::onBanlistDeleteE(int, QNetworkReply::NetworkError, QString error_str)
{
    showCritical(QStringLiteral("Error deleting asset bundle"),
                 QStringLiteral("An error occured while trying to delete asset bundle:\n%1")
                     .arg(serviceError(error_str).getMessage()));
}

void ZRV_MeetingsInfoThread::onBanlistGet(QList<ZRVBanlistEntry> summary)
{
    emit banlist(summary);
}

void ZRV_MeetingsInfoThread::onBanlistGetE(QList<ZRVBanlistEntry> summary,
                                           QNetworkReply::NetworkError, QString error_str)
{
    showCritical(QStringLiteral("Error getting banlist"),
                 QStringLiteral("An error occured while trying to get the banlist: \n%1")
                     .arg(serviceError(error_str).getMessage()));
    emit banlist(summary);
}
