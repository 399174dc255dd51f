#pragma once

#include "SimOptions.h"
#include "SimState.h"

// The state a fresh simulator starts with: the accounts, meetings in both states,
// ban list, bundles and logs.
class SimSeedData
{
public:
    explicit SimSeedData(const SimOptions &options);
    SimState build() const;

    // Base64 of the SHA-512 of a password, the form the console stores meeting passwords in.
    static QString passwordHash(const QString &password);
    // The one bucket an Amazon S3 account works in, whatever its keys name.
    static QString amazonBucket() { return QStringLiteral("bvkzrv"); }
    // Role id of the temporary keys of an account, as a real service hands it out:
    // "AROA..." followed by a colon and the session name (the login).
    static QString assumedRoleId(const QString &accountId, const QString &login);

private:
    QJsonObject account(const QString &id, const QString &login, const QString &password,
                        const QString &first, const QString &last, const QStringList &roles) const;
    QJsonObject minioStorage(const QString &folder, bool fixedCredentials) const;
    QJsonObject storageFor(const QString &login) const;
    void addMeetings(SimState &s) const;
    void addBanlistAndBundles(SimState &s) const;

    const SimOptions &m_options;
};
