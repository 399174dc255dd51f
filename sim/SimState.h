#pragma once

#include <QHash>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>

// A bearer or refresh token and whom it belongs to.
struct SimToken
{
    QString accountId;
    qint64 expiresAtMs = 0;
    QString session;
};

// Everything the three services know. Not thread-safe by itself: SimStateStore guards it.
class SimState
{
public:
    // Accounts by id. Internal keys beside those of the user record: "password",
    // "storage" (the S3_Config group's attributes and name) and "licence".
    QMap<QString, QJsonObject> accounts;
    // Registry records by their numeric "id".
    QMap<qint64, QJsonObject> meetings;
    // Live records (ZRVMeetingInfo) by lower-case meeting id.
    QMap<QString, QJsonObject> live;
    QMap<QString, QStringList> meetingLogs;
    QStringList serviceLog;
    QMap<int, QJsonObject> banlist;
    QMap<QString, QJsonObject> bundles;
    QHash<QString, SimToken> accessTokens;
    QHash<QString, SimToken> refreshTokens;
    qint64 nextMeetingId = 1;
    int nextBanId = 1;
    int nextBundleId = 1;
    int nextMemberId = 1;
    quint64 lifeSteps = 0;

    static constexpr int meetingLogLimit = 1000;
    static constexpr int serviceLogLimit = 2000;

    QJsonObject toJson() const;
    bool fromJson(const QJsonObject &root, QString *error);

    QString accountIdByLogin(const QString &login) const;
    bool hasRole(const QString &accountId, const QString &role) const;
    // Administrators and group administrators may change every meeting.
    bool mayChangeAny(const QString &accountId) const;
    // Registry id for a meeting id in any letter case, -1 when unknown.
    qint64 meetingKey(const QString &meetingId) const;
    bool isActive(qint64 key) const;

    void logMeeting(const QString &meetingId, const QString &text);
    void logService(const QString &text);
    // The last count lines, each ending in a line feed.
    static QString tail(const QStringList &lines, int count);

    void dropExpiredTokens(qint64 nowMs);

    // Live record of a registry meeting, created on first use.
    QJsonObject &liveFor(const QJsonObject &meeting);
    // Registry status and live record move together; both write the meeting's log.
    void startMeeting(qint64 key, int minutes);
    void stopMeeting(qint64 key, const QString &why);
    // Adds a member under the wanted name, or under that name and a number when it is taken.
    QJsonObject addMember(const QString &meetingId, const QString &wantedAlias, const QString &role);
    QStringList aliases(const QString &meetingId) const;
};
