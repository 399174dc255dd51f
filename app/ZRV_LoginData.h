#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>
#include <QStringList>

// The signed-in account: its single access token, roles and storage
// settings. The main window owns the one instance everybody points at; the
// login dialog fills its own copy, which is then assigned over it.
struct ZRV_LoginData
{
    QString id;
    QString accessToken;
    QString refreshToken;
    QDateTime tokenExpiry;
    QString userId;
    QString password;
    QString company;
    QString firstName;
    QString lastName;
    QString email;
    QString phone;
    bool authenticated = false;
    QStringList roles;
    int loginComplete = 0;
    int storageMode = -1; // -1 none, 0 NextCloud, 1 MinIO, 2 S3
    qint64 storageSize = -1; // megabytes; negative: no limit
    QString storageUser;
    QString storageSessionToken;
    QString storagePass;
    QString storageFolder;
    QDateTime storageTokenExpiry;
    QString storageAddress;
    QString storageBucket;
    QDate created;
    int trialDays = 0;
    int countEndlessMeetings = 0;

    // Forgets the account but keeps the token expiry, the password, the
    // licence values and the temporary storage key's token and expiry.
    void clearLoginData();
};

// Same as data.clearLoginData().
void clearLoginData(ZRV_LoginData &data);
