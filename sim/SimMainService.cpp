#include "SimMainService.h"

#include "SimHttp.h"
#include "SimLiveRecordCheck.h"
#include "SimSeedData.h"
#include "SimRoutes.h"

#include <httplib.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QUrl>

#include <cmath>

namespace {

QJsonObject component(const QString &name, const QList<int> &version, const QString &url)
{
    QJsonArray numbers;
    for (int n : version)
        numbers << n;
    return QJsonObject{{QStringLiteral("Name"), name}, {QStringLiteral("Version"), numbers}, {QStringLiteral("UpdateUrl"), url}};
}

QJsonObject vector3(double x, double y, double z)
{
    return QJsonObject{{QStringLiteral("x"), x}, {QStringLiteral("y"), y}, {QStringLiteral("z"), z}};
}

// Members may change their voice and role through the live record; nobody joins that way.
QJsonArray mergedClients(const QJsonArray &current, const QJsonArray &sent)
{
    QJsonArray out;
    for (const QJsonValue &c : current) {
        QJsonObject member = c.toObject();
        for (const QJsonValue &s : sent) {
            const QJsonObject changed = s.toObject();
            if (changed.value(QStringLiteral("Id")).toInt(-1) != member.value(QStringLiteral("Id")).toInt())
                continue;
            if (changed.value(QStringLiteral("voiceEnabled")).isBool())
                member.insert(QStringLiteral("voiceEnabled"), changed.value(QStringLiteral("voiceEnabled")));
            const QString role = changed.value(QStringLiteral("currentRole")).toString();
            if (role == QLatin1String("Presenter") || role == QLatin1String("User"))
                member.insert(QStringLiteral("currentRole"), role);
        }
        if (!member.value(QStringLiteral("voiceEnabled")).toBool())
            member.insert(QStringLiteral("voiceIsTalking"), false);
        out << member;
    }
    return out;
}

// Assets come and go through their own routes; the live record only changes
// the placement and properties of the ones a meeting already has, so a record
// sent with an older asset list neither drops new assets nor revives old ones.
QJsonArray mergedAssets(const QJsonArray &current, const QJsonArray &sent)
{
    QJsonArray out;
    for (const QJsonValue &c : current) {
        QJsonObject asset = c.toObject();
        for (const QJsonValue &s : sent) {
            const QJsonObject changed = s.toObject();
            if (changed.value(QStringLiteral("Id")).toInt(-1) != asset.value(QStringLiteral("Id")).toInt())
                continue;
            for (auto it = changed.begin(); it != changed.end(); ++it)
                asset.insert(it.key(), it.value());
        }
        out << asset;
    }
    return out;
}

} // namespace

QString SimMainService::source()
{
    return QStringLiteral("zrv-service");
}

bool SimMainService::prepare(QString *error)
{
    if (m_options.consoleUpdateFile.isEmpty()) {
        m_installerName = QStringLiteral("ZarvoConsoleSetup-%1.sh").arg(m_options.consoleVersion);
        m_installer = QStringLiteral("#!/bin/sh\necho \"Zarvo Console %1 installer (simulated)\"\n").arg(m_options.consoleVersion).toUtf8();
        return true;
    }
    QFile file(m_options.consoleUpdateFile);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read --console-update-file %1: %2").arg(m_options.consoleUpdateFile, file.errorString());
        return false;
    }
    m_installer = file.readAll();
    m_installerName = QFileInfo(m_options.consoleUpdateFile).fileName();
    return true;
}

void SimMainService::registerRoutes(SimRoutes &routes)
{
    const QString base = m_options.serviceBase;
    routes.setSource(source());
    routes.get(SimHttp::route(base, "/zrv/svc/meetings"), SimHttp::handler(this, &SimMainService::meetings));
    routes.get(SimHttp::route(base, "/zrv/svc/status"), SimHttp::handler(this, &SimMainService::status), SimRoutes::Access::Public);
    routes.get(SimHttp::route(base, "/zrv/svc/versions"), SimHttp::handler(this, &SimMainService::versions), SimRoutes::Access::Public);
    routes.get(SimHttp::route(base, "/zrv/svc/update"), SimHttp::handler(this, &SimMainService::update));
    routes.get(SimHttp::route(base, "/zrv/svc/download/([^/]+)"), SimHttp::handler(this, &SimMainService::download), SimRoutes::Access::Public);
    routes.get(SimHttp::route(base, "/zrv/svc/meeting/([^/]+)/info"), SimHttp::handler(this, &SimMainService::info));
    routes.put(SimHttp::route(base, "/zrv/svc/meeting/([^/]+)/info"), SimHttp::handler(this, &SimMainService::infoUpdate));
    routes.post(SimHttp::route(base, "/zrv/svc/meeting/([^/]+)/command"), SimHttp::handler(this, &SimMainService::command));
    routes.get(SimHttp::route(base, "/zrv/svc/logfile"), SimHttp::handler(this, &SimMainService::serviceLog));
    routes.get(SimHttp::route(base, "/zrv/svc/s3/token"), SimHttp::handler(this, &SimMainService::s3Token));
    // After the fixed paths, so that "s3" or "meeting" never read as a meeting id.
    routes.get(SimHttp::route(base, "/zrv/svc/([^/]+)/logfile"), SimHttp::handler(this, &SimMainService::meetingLog));
}

void SimMainService::meetings(const httplib::Request &req, httplib::Response &res)
{
    if (m_store.authorise(req, res, source()).isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    QJsonArray out;
    for (const QJsonObject &info : m_store.state().live)
        out << info;
    SimHttp::json(res, out);
}

void SimMainService::status(const httplib::Request &, httplib::Response &res)
{
    // Public like a health check: the console also polls it while its token is being renewed.
    const QJsonObject body{{QStringLiteral("code"), 200},
                           {QStringLiteral("message"), QStringLiteral("OK - Version %1").arg(m_options.serviceVersion)},
                           {QStringLiteral("source"), source()}};
    SimHttp::json(res, body);
}

void SimMainService::versions(const httplib::Request &req, httplib::Response &res)
{
    // Asked before any login, so no token is needed.
    const QString host = QString::fromStdString(req.get_header_value("Host"));
    const QString url = !m_options.consoleUpdateUrl.isEmpty()
        ? m_options.consoleUpdateUrl
        : QStringLiteral("http://%1%2/zrv/svc/download/%3").arg(host, m_options.serviceBase, QString::fromLatin1(QUrl::toPercentEncoding(m_installerName)));
    const QList<int> client = {2, 4, 1};
    SimHttp::json(res, QJsonObject{
        {QStringLiteral("Console"), component(QStringLiteral("Console"), m_options.consoleVersionNumbers(), url)},
        {QStringLiteral("WindowsDesktop"), component(QStringLiteral("WindowsDesktop"), client, QString())},
        {QStringLiteral("WindowsVR"), component(QStringLiteral("WindowsVR"), client, QString())},
        {QStringLiteral("Android"), component(QStringLiteral("Android"), client, QString())},
        {QStringLiteral("iOS"), component(QStringLiteral("iOS"), client, QString())},
    });
}

void SimMainService::update(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source());
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    s.logService(QStringLiteral("Service update requested by %1").arg(s.accounts.value(accountId).value(QStringLiteral("userId")).toString()));
    SimHttp::json(res, QJsonObject{{QStringLiteral("code"), 200},
                                   {QStringLiteral("message"), QStringLiteral("OK - Update scheduled")},
                                   {QStringLiteral("source"), source()}});
}

void SimMainService::download(const httplib::Request &req, httplib::Response &res)
{
    // Public: the console fetches the installer without its token.
    if (SimHttp::capture(req, 1) != m_installerName) {
        SimHttp::error(res, 404, QStringLiteral("No such file"), source());
        return;
    }
    res.status = 200;
    res.set_header("Content-Disposition", QStringLiteral("attachment; filename=\"%1\"").arg(m_installerName).toStdString());
    res.set_content(m_installer.constData(), size_t(m_installer.size()), "application/octet-stream");
}

void SimMainService::info(const httplib::Request &req, httplib::Response &res)
{
    if (m_store.authorise(req, res, source()).isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const SimState &s = m_store.state();
    const auto it = s.live.constFind(SimHttp::capture(req, 1).toLower());
    if (it == s.live.cend()) {
        SimHttp::error(res, 404, QStringLiteral("Meeting not found"), source());
        return;
    }
    SimHttp::json(res, *it);
}

void SimMainService::infoUpdate(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    const QString accountId = m_store.authoriseWithBody(req, res, source(), &body);
    if (accountId.isEmpty())
        return;
    const QString wrong = SimLiveRecordCheck::firstWrongField(body);
    if (!wrong.isEmpty()) {
        SimHttp::error(res, 400, wrong, source());
        return;
    }
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const qint64 key = m_store.changeableMeeting(req, res, source(), accountId);
    if (key < 0)
        return;
    const QJsonObject meeting = s.meetings.value(key);
    QJsonObject &info = s.liveFor(meeting);
    for (const char *key : {"voiceMode", "voiceMode3D", "chatMode", "assetBundles", "spawnPoints"}) {
        const QString k = QLatin1String(key);
        if (body.contains(k))
            info.insert(k, body.value(k));
    }
    if (body.contains(QStringLiteral("assets")))
        info.insert(QStringLiteral("assets"), mergedAssets(info.value(QStringLiteral("assets")).toArray(),
                                                           body.value(QStringLiteral("assets")).toArray()));
    if (body.contains(QStringLiteral("clients")))
        info.insert(QStringLiteral("clients"), mergedClients(info.value(QStringLiteral("clients")).toArray(),
                                                             body.value(QStringLiteral("clients")).toArray()));
    s.logMeeting(meeting.value(QStringLiteral("meetingId")).toString(), QStringLiteral("Meeting configuration updated"));
    SimHttp::json(res, info);
}

void SimMainService::command(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    const QString accountId = m_store.authoriseWithBody(req, res, source(), &body);
    if (accountId.isEmpty())
        return;
    const QString name = body.value(QStringLiteral("command")).toString();
    const QJsonArray params = body.value(QStringLiteral("params")).toArray();
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    // Moderating a meeting is for its owner and the administrators, as changing it is.
    const qint64 key = m_store.changeableMeeting(req, res, source(), accountId);
    if (key < 0)
        return;
    const QString meetingId = s.meetings.value(key).value(QStringLiteral("meetingId")).toString();
    if (!s.isActive(key)) {
        SimHttp::error(res, 409, QStringLiteral("Meeting %1 is not running").arg(meetingId), source());
        return;
    }
    if (params.isEmpty()) {
        SimHttp::error(res, 400, QStringLiteral("Command %1 needs one parameter").arg(name), source());
        return;
    }
    QJsonObject &info = s.live[meetingId.toLower()];
    QJsonObject reply{{QStringLiteral("command"), name}, {QStringLiteral("meetingId"), meetingId}};
    const QString param = params.first().toString();
    if (name == QLatin1String("SendMessage")) {
        s.logMeeting(meetingId, QStringLiteral("Message to all: %1").arg(param));
        reply.insert(QStringLiteral("sList"), QJsonArray{QStringLiteral("Message delivered")});
        SimHttp::json(res, reply);
        return;
    }
    if (name != QLatin1String("KickPlayer") && name != QLatin1String("GetPlayerPos")) {
        SimHttp::error(res, 400, QStringLiteral("Unknown command '%1'").arg(name), source());
        return;
    }
    bool ok = false;
    const int memberId = param.toInt(&ok);
    QJsonArray clients = info.value(QStringLiteral("clients")).toArray();
    int index = -1;
    for (int i = 0; ok && i < clients.size(); ++i) {
        if (clients.at(i).toObject().value(QStringLiteral("Id")).toInt() == memberId)
            index = i;
    }
    if (index < 0) {
        SimHttp::error(res, 404, QStringLiteral("Player %1 not in meeting %2").arg(param, meetingId), source());
        return;
    }
    const QJsonObject member = clients.at(index).toObject();
    if (name == QLatin1String("KickPlayer")) {
        clients.removeAt(index);
        info.insert(QStringLiteral("clients"), clients);
        s.logMeeting(meetingId, QStringLiteral("Player %1 (%2) kicked").arg(memberId).arg(member.value(QStringLiteral("Alias")).toString()));
        reply.insert(QStringLiteral("sList"), QJsonArray{QStringLiteral("Player %1 kicked").arg(memberId)});
    } else {
        // Members wander on a circle; the position follows the life steps.
        const double angle = double(s.lifeSteps % 36) * 10.0 + memberId * 40.0;
        const double rad = angle * 3.14159265358979 / 180.0;
        reply.insert(QStringLiteral("sList"), QJsonArray{QStringLiteral("Position of player %1").arg(memberId)});
        reply.insert(QStringLiteral("vList"), QJsonArray{vector3(std::round(5.0 * std::cos(rad) * 100) / 100, 0.0, std::round(5.0 * std::sin(rad) * 100) / 100),
                                                         vector3(0.0, std::fmod(angle + 90.0, 360.0), 0.0)});
    }
    SimHttp::json(res, reply);
}

int SimMainService::authorisedLogCount(const httplib::Request &req, httplib::Response &res)
{
    if (m_store.authorise(req, res, source()).isEmpty())
        return -1;
    if (!SimHttp::hasParam(req, "count"))
        return 100;
    bool ok = false;
    const int count = SimHttp::param(req, "count").toInt(&ok);
    if (!ok || count < 0) {
        SimHttp::error(res, 400, QStringLiteral("count must be a number of lines"), source());
        return -1;
    }
    return count;
}

void SimMainService::meetingLog(const httplib::Request &req, httplib::Response &res)
{
    const int count = authorisedLogCount(req, res);
    if (count < 0)
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const SimState &s = m_store.state();
    if (m_store.routeMeeting(req, res, source()) < 0)
        return;
    SimHttp::text(res, SimState::tail(s.meetingLogs.value(SimHttp::capture(req, 1).toLower()), count));
}

void SimMainService::serviceLog(const httplib::Request &req, httplib::Response &res)
{
    const int count = authorisedLogCount(req, res);
    if (count < 0)
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimHttp::text(res, SimState::tail(m_store.state().serviceLog, count));
}

void SimMainService::s3Token(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source());
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const QJsonObject account = m_store.state().accounts.value(accountId);
    const QJsonObject storage = account.value(QStringLiteral("storage")).toObject();
    const QString mode = storage.value(QStringLiteral("Modus")).toString().toUpper();
    if (mode != QLatin1String("MINIO") && mode != QLatin1String("S3")) {
        SimHttp::error(res, 404, QStringLiteral("No object store configured for this account"), source());
        return;
    }
    // The storage kind travels in "Arn"; an Amazon S3 account works in the one fixed bucket.
    const bool amazon = mode == QLatin1String("S3");
    SimHttp::json(res, QJsonObject{
        {QStringLiteral("AccessKeyId"), m_options.s3AccessKey},
        {QStringLiteral("SecretAccessKey"), m_options.s3SecretKey},
        {QStringLiteral("SessionToken"), QStringLiteral("st.") + SimHttp::randomToken(18)},
        {QStringLiteral("AssumedRoleId"), SimSeedData::assumedRoleId(accountId, account.value(QStringLiteral("userId")).toString())},
        {QStringLiteral("Arn"), amazon ? QStringLiteral("S3") : QStringLiteral("MINIO")},
        {QStringLiteral("Expiration"), SimHttp::textDate(QDateTime::currentDateTimeUtc().addSecs(m_options.s3KeyLifetime))},
        {QStringLiteral("Bucket"), amazon ? SimSeedData::amazonBucket() : m_options.s3Bucket},
        {QStringLiteral("Endpoint"), m_options.s3Endpoint},
    });
}
