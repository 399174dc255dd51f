#pragma once

// A whole console window signed in against the simulator, which hands out the
// moto store at s3Endpoint (bucket "zarvo"); failures leave their reason in error.

#include <QJsonArray>
#include <QJsonObject>
#include <QTableWidget>

#include <memory>

#include "ConsoleFixture.h"
#include "ZRV_ServerApp.h"

class SignedInConsole
{
public:
    bool open(const QString &login, const QString &password, const QString &s3Endpoint,
              const QStringList &simArgs = {});
    // Selects the meeting's row and waits until tblAssets shows its record.
    bool selectMeeting(const QString &meetingId);
    // Waits for the S3 page's listing; dir is a path of folder names below the root.
    bool waitS3Listing();
    bool selectS3File(const QString &dir, const QString &name);

    // "Bearer <token>" of a fresh login of the account.
    QByteArray bearer();
    QJsonObject liveRecord(const QString &meetingId) { return serviceGet("/meeting/" + meetingId + "/info").toObject(); }
    QJsonArray bundles() { return serviceGet("/assetbundle?bundleId=").toArray(); }
    QJsonArray banlist() { return serviceGet("/banlist?banlistId=").toArray(); }

    QTableWidget *assets() const { return window->findChild<QTableWidget *>("tblAssets"); }
    // Rows of tblAssets as "col0|col1|col2|col3".
    QStringList assetRows() const;

    ConsoleFixture fx;
    std::unique_ptr<ZRV_ServerApp> window;
    QString login;
    QString password;
    QString error;

private:
    QJsonValue serviceGet(const QString &path);
};
