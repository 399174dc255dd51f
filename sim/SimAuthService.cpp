#include "SimAuthService.h"

#include "SimHttp.h"
#include "SimRoutes.h"

#include <httplib.h>

#include <QJsonArray>
#include <QUuid>

namespace {

const QString source = QStringLiteral("auth-service");

QJsonObject attribute(const QString &key, const QString &value)
{
    return QJsonObject{{QStringLiteral("key"), key}, {QStringLiteral("value"), QJsonArray{value}}};
}

QString groupId(const QString &seed)
{
    return QUuid::createUuidV5(QUuid(), seed).toString(QUuid::WithoutBraces);
}

// Every console call names the one realm, as "client" or "realm"; writes the 400 for any other.
bool isOurRealm(const QString &name, httplib::Response &res, const QString &message)
{
    if (name == QLatin1String("BVK"))
        return true;
    SimHttp::error(res, 400, message, source);
    return false;
}

} // namespace

void SimAuthService::registerRoutes(SimRoutes &routes)
{
    const QString base = m_options.authBase;
    routes.setSource(source);
    routes.post(SimHttp::route(base, "/auth/login"), SimHttp::handler(this, &SimAuthService::login), SimRoutes::Access::Public);
    routes.post(SimHttp::route(base, "/auth/refreshtoken"), SimHttp::handler(this, &SimAuthService::refresh), SimRoutes::Access::Public);
    routes.post(SimHttp::route(base, "/auth/logout"), SimHttp::handler(this, &SimAuthService::logout), SimRoutes::Access::Public);
    routes.get(SimHttp::route(base, "/auth/user"), SimHttp::handler(this, &SimAuthService::user));
    routes.get(SimHttp::route(base, "/auth/groups"), SimHttp::handler(this, &SimAuthService::groups));
    routes.patch(SimHttp::route(base, "/auth/user/([^/]+)/pwdreset"), SimHttp::handler(this, &SimAuthService::passwordReset), SimRoutes::Access::Public);
}

QJsonObject SimAuthService::issueTokens(SimState &s, const QString &accountId)
{
    const qint64 now = SimHttp::nowMs();
    s.dropExpiredTokens(now);
    SimToken access;
    access.accountId = accountId;
    access.session = QUuid::createUuid().toString(QUuid::WithoutBraces);
    access.expiresAtMs = now + qint64(m_options.tokenLifetime) * 1000;
    SimToken refresh = access;
    refresh.expiresAtMs = now + qint64(m_options.refreshLifetime) * 1000;
    const QString accessToken = QStringLiteral("at.") + SimHttp::randomToken(24);
    const QString refreshToken = QStringLiteral("rt.") + SimHttp::randomToken(24);
    s.accessTokens.insert(accessToken, access);
    s.refreshTokens.insert(refreshToken, refresh);
    return QJsonObject{
        {QStringLiteral("access_token"), accessToken},
        {QStringLiteral("expires_in"), m_options.tokenLifetime},
        {QStringLiteral("refresh_expires_in"), m_options.refreshLifetime},
        {QStringLiteral("refresh_token"), refreshToken},
        {QStringLiteral("token_type"), QStringLiteral("Bearer")},
        {QStringLiteral("not-before-policy"), 0},
        {QStringLiteral("session_state"), access.session},
        {QStringLiteral("scope"), QStringLiteral("profile email")},
    };
}

void SimAuthService::login(const httplib::Request &req, httplib::Response &res)
{
    const QString client = SimHttp::param(req, "client");
    const QString username = SimHttp::param(req, "username");
    const QString password = SimHttp::param(req, "password");
    if (!isOurRealm(client, res, QStringLiteral("unknown client '%1'").arg(client)))
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const QString accountId = s.accountIdByLogin(username);
    if (accountId.isEmpty() || s.accounts.value(accountId).value(QStringLiteral("password")).toString() != password) {
        s.logService(QStringLiteral("Login refused for '%1'").arg(username));
        SimHttp::error(res, 401, QStringLiteral("invalid user credentials"), source);
        return;
    }
    s.logService(QStringLiteral("Login of '%1'").arg(username));
    SimHttp::json(res, issueTokens(s, accountId));
}

void SimAuthService::refresh(const httplib::Request &req, httplib::Response &res)
{
    const QString realm = SimHttp::param(req, "realm");
    const QString token = SimHttp::param(req, "token");
    if (!isOurRealm(realm, res, QStringLiteral("unknown realm '%1'").arg(realm)))
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const auto it = s.refreshTokens.constFind(token);
    if (it == s.refreshTokens.cend() || it->expiresAtMs <= SimHttp::nowMs()) {
        SimHttp::error(res, 400, QStringLiteral("Token is not active"), source);
        return;
    }
    const QString accountId = it->accountId;
    // A refresh token is good for one use; the new pair replaces it.
    s.refreshTokens.remove(token);
    SimHttp::json(res, issueTokens(s, accountId));
}

void SimAuthService::logout(const httplib::Request &req, httplib::Response &res)
{
    const QString token = SimHttp::param(req, "refresh_token");
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const auto it = s.refreshTokens.constFind(token);
    if (it == s.refreshTokens.cend()) {
        SimHttp::error(res, 400, QStringLiteral("Token is not active"), source);
        return;
    }
    const QString session = it->session;
    s.refreshTokens.remove(token);
    for (auto a = s.accessTokens.begin(); a != s.accessTokens.end();) {
        if (a->session == session)
            a = s.accessTokens.erase(a);
        else
            ++a;
    }
    res.status = 204;
}

void SimAuthService::user(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const QJsonObject a = m_store.state().accounts.value(accountId);
    QJsonObject user;
    for (const char *key : {"id", "userId", "company", "firstName", "lastName", "email", "phone", "status", "roles", "created"})
        user.insert(QLatin1String(key), a.value(QLatin1String(key)));
    SimHttp::json(res, user);
}

void SimAuthService::groups(const httplib::Request &req, httplib::Response &res)
{
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    if (!isOurRealm(SimHttp::param(req, "realm"), res, QStringLiteral("unknown realm")))
        return;
    const QString prefix = SimHttp::param(req, "prefix");
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const QJsonObject a = m_store.state().accounts.value(accountId);
    const QString company = a.value(QStringLiteral("company")).toString();
    QJsonArray subGroups;
    subGroups << QJsonObject{{QStringLiteral("id"), groupId(company + QStringLiteral("/Presenters"))},
                             {QStringLiteral("name"), QStringLiteral("Presenters")},
                             {QStringLiteral("attributes"), QJsonArray()},
                             {QStringLiteral("subGroups"), QJsonArray()}};
    const QJsonObject storage = a.value(QStringLiteral("storage")).toObject();
    if (!storage.isEmpty()) {
        QJsonArray attributes;
        for (const char *key : {"Modus", "User", "Pass", "Folder", "Address", "Bucket"})
            attributes << attribute(QLatin1String(key), storage.value(QLatin1String(key)).toString());
        const QString name = storage.value(QStringLiteral("group")).toString();
        subGroups << QJsonObject{{QStringLiteral("id"), groupId(company + QLatin1Char('/') + name + QLatin1Char('/') + accountId)},
                                 {QStringLiteral("name"), name},
                                 {QStringLiteral("attributes"), attributes},
                                 {QStringLiteral("subGroups"), QJsonArray()}};
    }
    const QJsonObject licence = a.value(QStringLiteral("licence")).toObject();
    QJsonArray licenceAttributes;
    for (const char *key : {"StorageSize", "TrialDays", "CountEndlessMeetings"})
        licenceAttributes << attribute(QLatin1String(key), QString::number(licence.value(QLatin1String(key)).toInt()));
    const QJsonObject customer{{QStringLiteral("id"), groupId(company)},
                               {QStringLiteral("name"), company},
                               {QStringLiteral("attributes"), licenceAttributes},
                               {QStringLiteral("subGroups"), subGroups}};
    // Customer groups live under "/Customer"; another prefix finds none of them.
    const bool customerPrefix = prefix.compare(QLatin1String("Customer"), Qt::CaseInsensitive) == 0;
    SimHttp::json(res, QJsonObject{{QStringLiteral("userId"), accountId},
                                   {QStringLiteral("groups"), customerPrefix ? QJsonArray{customer} : QJsonArray()}});
}

void SimAuthService::passwordReset(const httplib::Request &req, httplib::Response &res)
{
    const QString id = SimHttp::capture(req, 1);
    const QString username = SimHttp::param(req, "username");
    const QString password = SimHttp::param(req, "password");
    const QString passwordOld = SimHttp::param(req, "passwordold");
    if (!isOurRealm(SimHttp::param(req, "client"), res, QStringLiteral("unknown client")))
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    if (!s.accounts.contains(id)) {
        SimHttp::error(res, 404, QStringLiteral("User not found"), source);
        return;
    }
    QJsonObject &a = s.accounts[id];
    if (a.value(QStringLiteral("userId")).toString() != username
        || a.value(QStringLiteral("password")).toString() != passwordOld) {
        SimHttp::error(res, 401, QStringLiteral("invalid user credentials"), source);
        return;
    }
    if (password.size() < 8) {
        SimHttp::error(res, 400, QStringLiteral("Password is too short (minimum is 8 characters)"), source);
        return;
    }
    a.insert(QStringLiteral("password"), password);
    s.logService(QStringLiteral("Password changed for '%1'").arg(username));
    SimHttp::json(res, issueTokens(s, id));
}
