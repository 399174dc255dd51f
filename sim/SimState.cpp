#include "SimState.h"

#include <QDateTime>
#include <QJsonArray>

namespace {

QJsonObject tokensToJson(const QHash<QString, SimToken> &tokens)
{
    QJsonObject out;
    for (auto it = tokens.cbegin(); it != tokens.cend(); ++it) {
        out.insert(it.key(), QJsonObject{{QStringLiteral("accountId"), it->accountId},
                                         {QStringLiteral("expiresAtMs"), double(it->expiresAtMs)},
                                         {QStringLiteral("session"), it->session}});
    }
    return out;
}

QHash<QString, SimToken> tokensFromJson(const QJsonObject &in)
{
    QHash<QString, SimToken> tokens;
    for (auto it = in.begin(); it != in.end(); ++it) {
        const QJsonObject o = it.value().toObject();
        SimToken t;
        t.accountId = o.value(QStringLiteral("accountId")).toString();
        t.expiresAtMs = qint64(o.value(QStringLiteral("expiresAtMs")).toDouble());
        t.session = o.value(QStringLiteral("session")).toString();
        tokens.insert(it.key(), t);
    }
    return tokens;
}

QJsonArray linesToJson(const QStringList &lines)
{
    return QJsonArray::fromStringList(lines);
}

QStringList linesFromJson(const QJsonValue &v)
{
    QStringList lines;
    for (const QJsonValue &l : v.toArray())
        lines << l.toString();
    return lines;
}

void appendCapped(QStringList &lines, const QString &line, int limit)
{
    lines << line;
    if (lines.size() > limit)
        lines.erase(lines.begin(), lines.begin() + (lines.size() - limit));
}

QString stamped(const QString &text)
{
    return QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz")) + QStringLiteral(" [INFO] ") + text;
}

} // namespace

QJsonObject SimState::toJson() const
{
    QJsonArray accountArray, meetingArray, banArray, bundleArray;
    for (const QJsonObject &a : accounts)
        accountArray << a;
    for (const QJsonObject &m : meetings)
        meetingArray << m;
    for (const QJsonObject &b : banlist)
        banArray << b;
    for (const QJsonObject &b : bundles)
        bundleArray << b;
    QJsonObject liveObject, logObject;
    for (auto it = live.cbegin(); it != live.cend(); ++it)
        liveObject.insert(it.key(), *it);
    for (auto it = meetingLogs.cbegin(); it != meetingLogs.cend(); ++it)
        logObject.insert(it.key(), linesToJson(*it));
    return QJsonObject{
        {QStringLiteral("format"), QStringLiteral("zarvo-sim-state-1")},
        {QStringLiteral("accounts"), accountArray},
        {QStringLiteral("meetings"), meetingArray},
        {QStringLiteral("live"), liveObject},
        {QStringLiteral("meetingLogs"), logObject},
        {QStringLiteral("serviceLog"), linesToJson(serviceLog)},
        {QStringLiteral("banlist"), banArray},
        {QStringLiteral("bundles"), bundleArray},
        {QStringLiteral("accessTokens"), tokensToJson(accessTokens)},
        {QStringLiteral("refreshTokens"), tokensToJson(refreshTokens)},
        {QStringLiteral("nextMeetingId"), double(nextMeetingId)},
        {QStringLiteral("nextBanId"), nextBanId},
        {QStringLiteral("nextBundleId"), nextBundleId},
        {QStringLiteral("nextMemberId"), nextMemberId},
    };
}

bool SimState::fromJson(const QJsonObject &root, QString *error)
{
    if (root.value(QStringLiteral("format")).toString() != QLatin1String("zarvo-sim-state-1")) {
        *error = QStringLiteral("not a zarvo-sim state file (format key missing or unknown)");
        return false;
    }
    SimState s;
    for (const QJsonValue &v : root.value(QStringLiteral("accounts")).toArray()) {
        const QJsonObject a = v.toObject();
        if (a.value(QStringLiteral("id")).toString().isEmpty()) {
            *error = QStringLiteral("account without id in state file");
            return false;
        }
        s.accounts.insert(a.value(QStringLiteral("id")).toString(), a);
    }
    for (const QJsonValue &v : root.value(QStringLiteral("meetings")).toArray()) {
        const QJsonObject m = v.toObject();
        s.meetings.insert(qint64(m.value(QStringLiteral("id")).toDouble()), m);
    }
    const QJsonObject liveObject = root.value(QStringLiteral("live")).toObject();
    for (auto it = liveObject.begin(); it != liveObject.end(); ++it)
        s.live.insert(it.key(), it.value().toObject());
    const QJsonObject logObject = root.value(QStringLiteral("meetingLogs")).toObject();
    for (auto it = logObject.begin(); it != logObject.end(); ++it)
        s.meetingLogs.insert(it.key(), linesFromJson(it.value()));
    s.serviceLog = linesFromJson(root.value(QStringLiteral("serviceLog")));
    for (const QJsonValue &v : root.value(QStringLiteral("banlist")).toArray()) {
        const QJsonObject b = v.toObject();
        s.banlist.insert(b.value(QStringLiteral("Id")).toInt(), b);
    }
    for (const QJsonValue &v : root.value(QStringLiteral("bundles")).toArray()) {
        const QJsonObject b = v.toObject();
        s.bundles.insert(b.value(QStringLiteral("Id")).toString(), b);
    }
    s.accessTokens = tokensFromJson(root.value(QStringLiteral("accessTokens")).toObject());
    s.refreshTokens = tokensFromJson(root.value(QStringLiteral("refreshTokens")).toObject());
    s.nextMeetingId = qMax<qint64>(1, qint64(root.value(QStringLiteral("nextMeetingId")).toDouble()));
    s.nextBanId = qMax(1, root.value(QStringLiteral("nextBanId")).toInt());
    s.nextBundleId = qMax(1, root.value(QStringLiteral("nextBundleId")).toInt());
    s.nextMemberId = qMax(1, root.value(QStringLiteral("nextMemberId")).toInt());
    // Counters must stay ahead of what the file holds, whatever it says.
    if (!s.meetings.isEmpty())
        s.nextMeetingId = qMax(s.nextMeetingId, s.meetings.lastKey() + 1);
    if (!s.banlist.isEmpty())
        s.nextBanId = qMax(s.nextBanId, s.banlist.lastKey() + 1);
    for (const QString &id : s.bundles.keys()) {
        if (id.startsWith(QLatin1String("ab-")))
            s.nextBundleId = qMax(s.nextBundleId, id.mid(3).toInt() + 1);
    }
    for (const QJsonObject &info : s.live) {
        for (const QJsonValue &member : info.value(QStringLiteral("clients")).toArray())
            s.nextMemberId = qMax(s.nextMemberId, member.toObject().value(QStringLiteral("Id")).toInt() + 1);
    }
    *this = s;
    return true;
}

QString SimState::accountIdByLogin(const QString &login) const
{
    for (const QJsonObject &a : accounts) {
        if (a.value(QStringLiteral("userId")).toString() == login)
            return a.value(QStringLiteral("id")).toString();
    }
    return QString();
}

bool SimState::hasRole(const QString &accountId, const QString &role) const
{
    const QJsonArray roles = accounts.value(accountId).value(QStringLiteral("roles")).toArray();
    return roles.contains(QJsonValue(role));
}

bool SimState::mayChangeAny(const QString &accountId) const
{
    return hasRole(accountId, QStringLiteral("ZRV_Administrator"))
        || hasRole(accountId, QStringLiteral("ZRV_Group_Administrator"));
}

qint64 SimState::meetingKey(const QString &meetingId) const
{
    for (auto it = meetings.cbegin(); it != meetings.cend(); ++it) {
        if (it->value(QStringLiteral("meetingId")).toString().compare(meetingId, Qt::CaseInsensitive) == 0)
            return it.key();
    }
    return -1;
}

bool SimState::isActive(qint64 key) const
{
    return meetings.value(key).value(QStringLiteral("status")).toString().compare(QLatin1String("active"), Qt::CaseInsensitive) == 0;
}

void SimState::logMeeting(const QString &meetingId, const QString &text)
{
    appendCapped(meetingLogs[meetingId.toLower()], stamped(text), meetingLogLimit);
}

void SimState::logService(const QString &text)
{
    appendCapped(serviceLog, stamped(text), serviceLogLimit);
}

QString SimState::tail(const QStringList &lines, int count)
{
    if (count <= 0)
        return QString();
    const int from = qMax(0, lines.size() - count);
    QString out;
    for (int i = from; i < lines.size(); ++i) {
        out += lines.at(i);
        out += QLatin1Char('\n');
    }
    return out;
}

void SimState::dropExpiredTokens(qint64 nowMs)
{
    for (QHash<QString, SimToken> *tokens : {&accessTokens, &refreshTokens}) {
        for (auto it = tokens->begin(); it != tokens->end();) {
            if (it->expiresAtMs <= nowMs)
                it = tokens->erase(it);
            else
                ++it;
        }
    }
}

QStringList SimState::aliases(const QString &meetingId) const
{
    QStringList names;
    for (const QJsonValue &m : live.value(meetingId.toLower()).value(QStringLiteral("clients")).toArray())
        names << m.toObject().value(QStringLiteral("Alias")).toString();
    return names;
}

QJsonObject &SimState::liveFor(const QJsonObject &meeting)
{
    const QString meetingId = meeting.value(QStringLiteral("meetingId")).toString();
    const QString key = meetingId.toLower();
    auto it = live.find(key);
    if (it == live.end()) {
        it = live.insert(key, QJsonObject{
            {QStringLiteral("meetingId"), meetingId},
            {QStringLiteral("statusMirror"), 0},
            {QStringLiteral("endingTime"), QString()},
            {QStringLiteral("licenseMode"), 1},
            {QStringLiteral("licenseCountAttendees"), 25},
            {QStringLiteral("voiceMode"), meeting.value(QStringLiteral("audioMode")).toInt()},
            {QStringLiteral("voiceMode3D"), meeting.value(QStringLiteral("audioMode3D")).toInt()},
            {QStringLiteral("chatMode"), meeting.value(QStringLiteral("chatMode")).toInt()},
            {QStringLiteral("clients"), QJsonArray()},
            {QStringLiteral("assets"), QJsonArray()},
            {QStringLiteral("assetBundles"), QJsonArray()},
            {QStringLiteral("spawnPoints"), QJsonArray()},
        });
    }
    return *it;
}

void SimState::startMeeting(qint64 key, int minutes)
{
    QJsonObject &meeting = meetings[key];
    meeting.insert(QStringLiteral("status"), QStringLiteral("active"));
    QJsonObject &info = liveFor(meeting);
    info.insert(QStringLiteral("statusMirror"), 1);
    const bool endless = meeting.value(QStringLiteral("license")).toString().compare(QLatin1String("endless"), Qt::CaseInsensitive) == 0;
    info.insert(QStringLiteral("endingTime"),
                endless ? QString() : QDateTime::currentDateTimeUtc().addSecs(qint64(minutes) * 60).toString(Qt::TextDate));
    info.insert(QStringLiteral("clients"), QJsonArray());
    const QString meetingId = meeting.value(QStringLiteral("meetingId")).toString();
    logMeeting(meetingId, QStringLiteral("Mirror server started for meeting %1").arg(meetingId));
    logService(QStringLiteral("Meeting %1 started").arg(meetingId));
}

void SimState::stopMeeting(qint64 key, const QString &why)
{
    QJsonObject &meeting = meetings[key];
    meeting.insert(QStringLiteral("status"), QStringLiteral("pending"));
    QJsonObject &info = liveFor(meeting);
    info.insert(QStringLiteral("statusMirror"), 0);
    info.insert(QStringLiteral("endingTime"), QString());
    info.insert(QStringLiteral("clients"), QJsonArray());
    const QString meetingId = meeting.value(QStringLiteral("meetingId")).toString();
    logMeeting(meetingId, QStringLiteral("Mirror server stopped: %1").arg(why));
    logService(QStringLiteral("Meeting %1 stopped: %2").arg(meetingId, why));
}

QJsonObject SimState::addMember(const QString &meetingId, const QString &wantedAlias, const QString &role)
{
    const int id = nextMemberId++;
    // Two members of one meeting never share a name; a taken one gets a number.
    const QStringList taken = aliases(meetingId);
    QString alias = wantedAlias;
    for (int n = 2; taken.contains(alias); ++n)
        alias = QStringLiteral("%1 %2").arg(wantedAlias).arg(n);
    const QJsonObject member{
        {QStringLiteral("Id"), id},
        {QStringLiteral("Alias"), alias},
        {QStringLiteral("currentRole"), role},
        {QStringLiteral("MeetingId"), meetingId},
        // 10.0.<id / 256>.<id % 256>, as the service's integer form
        {QStringLiteral("IP"), int((10u << 24) | (quint32(id) & 0xffffu))},
        {QStringLiteral("HostName"), QStringLiteral("client-%1.zarvo.local").arg(id)},
        {QStringLiteral("voiceEnabled"), true},
        {QStringLiteral("voiceIsTalking"), false},
        {QStringLiteral("Credentials"), QJsonObject{{QStringLiteral("User"), alias.toLower().replace(QLatin1Char(' '), QLatin1Char('.'))}}},
    };
    QJsonObject &info = live[meetingId.toLower()];
    QJsonArray clients = info.value(QStringLiteral("clients")).toArray();
    clients.append(member);
    info.insert(QStringLiteral("clients"), clients);
    logMeeting(meetingId, QStringLiteral("Player %1 (%2) joined as %3").arg(id).arg(alias, role));
    return member;
}
