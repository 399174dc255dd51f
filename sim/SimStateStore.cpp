#include "SimStateStore.h"

#include "SimHttp.h"
#include "SimSeedData.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

SimStateStore::SimStateStore(const SimOptions &options)
    : m_options(options)
{
}

bool SimStateStore::initialise(QString *error)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_options.statePath.isEmpty() || !QFileInfo::exists(m_options.statePath)) {
        m_state = SimSeedData(m_options).build();
        return true;
    }
    QFile file(m_options.statePath);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read state file %1: %2").arg(m_options.statePath, file.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError || !doc.isObject()) {
        *error = QStringLiteral("state file %1 is not a JSON object: %2").arg(m_options.statePath, parseError.errorString());
        return false;
    }
    QString why;
    if (!m_state.fromJson(doc.object(), &why)) {
        *error = QStringLiteral("state file %1: %2").arg(m_options.statePath, why);
        return false;
    }
    return true;
}

void SimStateStore::reseed()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_state = SimSeedData(m_options).build();
}

bool SimStateStore::save(const QString &path, QString *error)
{
    QByteArray bytes;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        bytes = QJsonDocument(m_state.toJson()).toJson(QJsonDocument::Indented);
    }
    // QSaveFile keeps the old state intact if the disk fills up halfway.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        *error = QStringLiteral("cannot write state file %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

QString SimStateStore::authorise(const httplib::Request &req, httplib::Response &res, const QString &source)
{
    const QString token = SimHttp::bearerToken(req);
    if (token.isEmpty()) {
        SimHttp::error(res, 401, QStringLiteral("Missing bearer token"), source);
        return QString();
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_state.accessTokens.constFind(token);
    if (it == m_state.accessTokens.cend()) {
        SimHttp::error(res, 401, QStringLiteral("Unknown or revoked token"), source);
        return QString();
    }
    if (it->expiresAtMs <= SimHttp::nowMs()) {
        SimHttp::error(res, 401, QStringLiteral("Token expired"), source);
        return QString();
    }
    if (!m_state.accounts.contains(it->accountId)) {
        SimHttp::error(res, 401, QStringLiteral("Account no longer exists"), source);
        return QString();
    }
    return it->accountId;
}

QString SimStateStore::authoriseWithBody(const httplib::Request &req, httplib::Response &res, const QString &source,
                                         QJsonObject *body)
{
    const QString accountId = authorise(req, res, source);
    if (accountId.isEmpty())
        return QString();
    if (!SimHttp::bodyObject(req, body)) {
        SimHttp::error(res, 400, QStringLiteral("Request body is not a JSON object"), source);
        return QString();
    }
    return accountId;
}

qint64 SimStateStore::routeMeeting(const httplib::Request &req, httplib::Response &res, const QString &source)
{
    const qint64 key = m_state.meetingKey(SimHttp::capture(req, 1));
    if (key < 0)
        SimHttp::error(res, 404, QStringLiteral("Meeting not found"), source);
    return key;
}

qint64 SimStateStore::changeableMeeting(const httplib::Request &req, httplib::Response &res, const QString &source,
                                        const QString &accountId)
{
    const qint64 key = routeMeeting(req, res, source);
    if (key < 0)
        return -1;
    if (m_state.meetings.value(key).value(QStringLiteral("creatorId")).toString() != accountId
        && !m_state.mayChangeAny(accountId)) {
        SimHttp::error(res, 403, QStringLiteral("Not allowed to modify meeting"), source);
        return -1;
    }
    return key;
}
