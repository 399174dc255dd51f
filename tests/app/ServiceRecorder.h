#pragma once

// What a service object under test said, in order, for the console's service tests.

#include <QMap>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>

#include "ModalAnswerer.h"
#include "ZRV_MeetingsInfoThread.h"

using namespace ZRV_Service_API;
using ZRV_AuthService_API::ZRVError;

// Everything the service object says, in order, with the last value of each kind.
struct Recorder
{
    QStringList events;
    QMap<QString, ZRVMeetingInfo> meetings;
    ZRVVersions versions;
    QString serviceLog, mirrorLog;
    QList<ZRVSpawnPoint> points;
    ZRVS3TempAccessKey key;
    QStringList tokens;
    QList<ZRVBanlistEntry> banlist;
    QList<ZRVAssetBundle> bundles;
    int banPost = -1, banDeleted = -1;
    QString bundlePost, bundleDeleted;
    ZRVError error;

    int count(const QString &prefix) const
    {
        int n = 0;
        for (const QString &e : events)
            n += e.startsWith(prefix) ? 1 : 0;
        return n;
    }

    void attach(ZRV_MeetingsInfoThread *s)
    {
        using T = ZRV_MeetingsInfoThread;
        QObject::connect(s, &T::meetingsInfo, [this](QMap<QString, ZRVMeetingInfo> m) {
            meetings = m;
            events << QStringLiteral("meetingsInfo");
        });
        QObject::connect(s, &T::serviceStatus, [this](bool ok) {
            events << (ok ? QStringLiteral("status:true") : QStringLiteral("status:false"));
        });
        QObject::connect(s, &T::serviceVersion, [this](T::_serviceVersion v) {
            events << QStringLiteral("version:%1.%2.%3").arg(v.major).arg(v.minor).arg(v.patch);
        });
        QObject::connect(s, &T::serviceVersions, [this](ZRVVersions v) {
            versions = v;
            events << QStringLiteral("versions");
        });
        QObject::connect(s, &T::serviceLog, [this](QString t) {
            serviceLog = t;
            events << QStringLiteral("serviceLog");
        });
        QObject::connect(s, &T::mirrorLog, [this](QString t) {
            mirrorLog = t;
            events << QStringLiteral("mirrorLog");
        });
        QObject::connect(s, &T::playerPos, [this](ZRVSpawnPoint p) {
            points << p;
            events << QStringLiteral("playerPos");
        });
        QObject::connect(s, &T::s3TempAccess, [this](ZRVS3TempAccessKey k) {
            key = k;
            events << QStringLiteral("s3TempAccess");
        });
        QObject::connect(s, &T::tokenChanged, [this](QString t) {
            tokens << t;
            events << QStringLiteral("tokenChanged");
        });
        QObject::connect(s, &T::stopThread, [this] { events << QStringLiteral("stopThread"); });
        QObject::connect(s, &T::exitApp, [this] { events << QStringLiteral("exitApp"); });
        QObject::connect(s, &T::sessionExpired, [this] { events << QStringLiteral("sessionExpired"); });
        QObject::connect(s, &T::assetBundles, [this](QList<ZRVAssetBundle> b) {
            bundles = b;
            events << QStringLiteral("assetBundles");
        });
        QObject::connect(s, &T::assetBundlePost, [this](QString id) {
            bundlePost = id;
            events << QStringLiteral("assetBundlePost");
        });
        QObject::connect(s, &T::assetBundlePostError, [this](ZRVError e) {
            error = e;
            events << QStringLiteral("assetBundlePostError");
        });
        QObject::connect(s, &T::assetBundleDeleted, [this](QString id) {
            bundleDeleted = id;
            events << QStringLiteral("assetBundleDeleted");
        });
        QObject::connect(s, &T::banlist, [this](QList<ZRVBanlistEntry> b) {
            banlist = b;
            events << QStringLiteral("banlist");
        });
        QObject::connect(s, &T::banlistPost, [this](int id) {
            banPost = id;
            events << QStringLiteral("banlistPost");
        });
        QObject::connect(s, &T::banlistPostError, [this](ZRVError e) {
            error = e;
            events << QStringLiteral("banlistPostError");
        });
        QObject::connect(s, &T::banlistDeleted, [this](int id) {
            banDeleted = id;
            events << QStringLiteral("banlistDeleted");
        });
    }
};

// Notes each message box as an event and answers it with Ok.
inline void answerBoxesInto(ModalAnswerer &answerer, Recorder &rec, QStringList *texts, int boxes)
{
    for (int i = 0; i < boxes; ++i) {
        answerer.handle([&rec, texts](QWidget *w) {
            auto *box = qobject_cast<QMessageBox *>(w);
            rec.events << QStringLiteral("box");
            if (!box)
                return;
            *texts << box->windowTitle() << box->text();
            box->button(QMessageBox::Ok)->click();
        });
    }
    answerer.arm(30000);
}
