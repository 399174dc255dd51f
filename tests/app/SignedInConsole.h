#pragma once

#include "DavServer.h"

// A whole console window signed in against the simulator, for the tests of
// a meeting's components and of the bundle page:
//
//   SignedInConsole c;
//   QVERIFY2(c.open("presenter", "presenter123", moto.endpoint()), qPrintable(c.error));
//   QVERIFY(c.selectMeeting("prl5t8c6"));
//   QJsonObject info = c.liveRecord("prl5t8c6");   // read back over the wire
//
// The simulator hands out the moto store at s3Endpoint (bucket "zarvo").
// DavServer is sabre/dav under "php -S" for the NextCloud account.

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <memory>

#include "ConsoleFixture.h"

class QTableWidget;
class ZRV_ServerApp;

class SignedInConsole
{
public:
    SignedInConsole();
    ~SignedInConsole();

    bool open(const QString &login, const QString &password, const QString &s3Endpoint,
              const QStringList &simArgs = {});
    // Selects the meeting's row and waits until tblAssets shows its record.
    bool selectMeeting(const QString &meetingId);
    // The S3 page's listing is in; then the file dir/name is selected in it.
    bool waitS3Listing();
    bool selectS3File(const QString &dir, const QString &name);

    // "Bearer <token>" of a fresh login of the account, for requests over the wire.
    QByteArray bearer();
    // Over the wire with the signed-in account's password.
    QJsonObject liveRecord(const QString &meetingId);
    QJsonArray bundles();
    QJsonArray banlist();
    // The asset of this name in the record, empty when there is none.
    static QJsonObject assetNamed(const QJsonObject &record, const QString &name);

    QTableWidget *assets() const;
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
