#include "SimRegistryService.h"

#include "SimHttp.h"
#include "SimRoutes.h"

#include <httplib.h>

#include <QJsonArray>
#include <QRandomGenerator>

namespace {

const QString source = QStringLiteral("meeting-service");

// Keys a client may write; the rest belongs to the registry.
const QStringList writableKeys = {
    QStringLiteral("title"), QStringLiteral("password"), QStringLiteral("description"),
    QStringLiteral("license"), QStringLiteral("status"), QStringLiteral("audioMode"),
    QStringLiteral("audioMode3D"), QStringLiteral("chatMode"), QStringLiteral("presenter"),
};

bool isEndless(const QJsonObject &meeting)
{
    return meeting.value(QStringLiteral("license")).toString().compare(QLatin1String("endless"), Qt::CaseInsensitive) == 0;
}

QString newMeetingId(const SimState &s)
{
    static const char alphabet[] = "abcdefghijkmnpqrstuvwxyz23456789";
    for (;;) {
        QString id;
        for (int i = 0; i < 8; ++i)
            id += QLatin1Char(alphabet[QRandomGenerator::global()->bounded(int(sizeof(alphabet) - 1))]);
        if (s.meetingKey(id) < 0)
            return id;
    }
}

} // namespace

void SimRegistryService::registerRoutes(SimRoutes &routes)
{
    const QString base = m_options.meetingBase;
    routes.setSource(source);
    routes.get(SimHttp::route(base, "/meetings"), SimHttp::handler(this, &SimRegistryService::list));
    routes.post(SimHttp::route(base, "/meetings"), SimHttp::handler(this, &SimRegistryService::create));
    routes.patch(SimHttp::route(base, "/meetings/([^/]+)"), SimHttp::handler(this, &SimRegistryService::update));
    routes.del(SimHttp::route(base, "/meetings/([^/]+)"), SimHttp::handler(this, &SimRegistryService::remove));
}

void SimRegistryService::list(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    const QString creator = SimHttp::param(req, "creator");
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const SimState &s = m_store.state();
    const bool all = creator == QLatin1String("*");
    if ((all || (!creator.isEmpty() && creator != accountId)) && !s.mayChangeAny(accountId)) {
        SimHttp::error(res, 403, QStringLiteral("Not allowed to list meetings of other accounts"), source);
        return;
    }
    const QString wanted = creator.isEmpty() ? accountId : creator;
    QJsonArray out;
    for (const QJsonObject &m : s.meetings) {
        if (all || m.value(QStringLiteral("creatorId")).toString() == wanted)
            out << m;
    }
    SimHttp::json(res, out);
}

void SimRegistryService::create(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    const QString accountId = m_store.authoriseWithBody(req, res, source, &body);
    if (accountId.isEmpty())
        return;
    if (body.value(QStringLiteral("title")).toString().trimmed().isEmpty()) {
        SimHttp::error(res, 400, QStringLiteral("A meeting needs a title"), source);
        return;
    }
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    if (!s.hasRole(accountId, QStringLiteral("ZRV_Presenter"))) {
        SimHttp::error(res, 403, QStringLiteral("Only presenters may create meetings"), source);
        return;
    }
    const QJsonObject owner = s.accounts.value(accountId);
    QJsonObject m;
    for (const QString &key : writableKeys) {
        if (body.contains(key))
            m.insert(key, body.value(key));
    }
    const qint64 id = s.nextMeetingId++;
    const QString today = SimHttp::isoToday();
    m.insert(QStringLiteral("id"), double(id));
    m.insert(QStringLiteral("meetingId"), newMeetingId(s));
    m.insert(QStringLiteral("creatorId"), accountId);
    m.insert(QStringLiteral("creator"), owner.value(QStringLiteral("userId")));
    m.insert(QStringLiteral("created"), today);
    m.insert(QStringLiteral("modified"), today);
    // A new meeting never starts running on creation.
    m.insert(QStringLiteral("status"), QStringLiteral("pending"));
    s.meetings.insert(id, m);
    s.liveFor(m);
    const QString meetingId = m.value(QStringLiteral("meetingId")).toString();
    s.logMeeting(meetingId, QStringLiteral("Meeting %1 registered (%2)").arg(meetingId, m.value(QStringLiteral("title")).toString()));
    s.logService(QStringLiteral("Meeting %1 created by %2").arg(meetingId, owner.value(QStringLiteral("userId")).toString()));
    SimHttp::json(res, m);
}

void SimRegistryService::update(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    const QString accountId = m_store.authoriseWithBody(req, res, source, &body);
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const qint64 key = m_store.changeableMeeting(req, res, source, accountId);
    if (key < 0)
        return;
    QJsonObject m = s.meetings.value(key);
    const bool wasActive = s.isActive(key);
    for (const QString &k : writableKeys) {
        if (body.contains(k))
            m.insert(k, body.value(k));
    }
    const QString status = m.value(QStringLiteral("status")).toString().toLower();
    if (status != QLatin1String("active") && status != QLatin1String("pending")) {
        SimHttp::error(res, 400, QStringLiteral("Unknown meeting status '%1'").arg(m.value(QStringLiteral("status")).toString()), source);
        return;
    }
    const bool nowActive = status == QLatin1String("active");
    if (nowActive && !wasActive && isEndless(m)) {
        // The licence caps how many endless meetings one account runs at a time.
        const QString ownerId = m.value(QStringLiteral("creatorId")).toString();
        const int allowed = s.accounts.value(ownerId).value(QStringLiteral("licence")).toObject()
                                .value(QStringLiteral("CountEndlessMeetings")).toInt();
        int running = 0;
        for (auto it = s.meetings.cbegin(); it != s.meetings.cend(); ++it) {
            if (it.key() != key && s.isActive(it.key()) && isEndless(*it)
                && it->value(QStringLiteral("creatorId")).toString() == ownerId)
                ++running;
        }
        if (running >= allowed) {
            SimHttp::error(res, 402, QStringLiteral("Licence limit reached: %1 endless meeting(s) allowed").arg(allowed), source);
            return;
        }
    }
    m.insert(QStringLiteral("modified"), SimHttp::isoToday());
    s.meetings.insert(key, m);
    QJsonObject &info = s.liveFor(m);
    info.insert(QStringLiteral("voiceMode"), m.value(QStringLiteral("audioMode")).toInt());
    info.insert(QStringLiteral("voiceMode3D"), m.value(QStringLiteral("audioMode3D")).toInt());
    info.insert(QStringLiteral("chatMode"), m.value(QStringLiteral("chatMode")).toInt());
    if (nowActive && !wasActive)
        s.startMeeting(key, m_options.meetingMinutes);
    else if (!nowActive && wasActive)
        s.stopMeeting(key, QStringLiteral("stopped by %1").arg(s.accounts.value(accountId).value(QStringLiteral("userId")).toString()));
    SimHttp::json(res, s.meetings.value(key));
}

void SimRegistryService::remove(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const qint64 key = m_store.changeableMeeting(req, res, source, accountId);
    if (key < 0)
        return;
    const QJsonObject m = s.meetings.value(key);
    const QString meetingId = m.value(QStringLiteral("meetingId")).toString();
    s.meetings.remove(key);
    s.live.remove(meetingId.toLower());
    s.meetingLogs.remove(meetingId.toLower());
    s.logService(QStringLiteral("Meeting %1 deleted").arg(meetingId));
    SimHttp::json(res, QJsonObject{{QStringLiteral("meetingId"), meetingId}});
}
