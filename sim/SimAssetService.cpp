#include "SimAssetService.h"

#include "SimHttp.h"
#include "SimRoutes.h"
#include "SimMainService.h"
#include "SimObjectStore.h"
#include "SimSeedData.h"

#include <httplib.h>

#include <QCryptographicHash>
#include <QJsonArray>
#include <QSet>

namespace {

const QString administrator = QStringLiteral("ZRV_Administrator");
const QStringList bundleSuffixes = {QStringLiteral(".win.asb"), QStringLiteral(".ios.asb"),
                                    QStringLiteral(".android.asb"), QStringLiteral(".web.asb")};

// Where a bundle's four files live: Amazon S3 bundles in the one fixed bucket.
QString bundleBucket(const QJsonObject &bundle, const SimOptions &options)
{
    return bundle.value(QStringLiteral("Mode")).toInt() == 2 ? SimSeedData::amazonBucket() : options.s3Bucket;
}

int findById(const QJsonArray &list, int id)
{
    for (int i = 0; i < list.size(); ++i) {
        if (list.at(i).toObject().value(QStringLiteral("Id")).toInt() == id)
            return i;
    }
    return -1;
}

// Writes the 403 for everyone else.
bool mayChangeBanlist(const SimState &s, const QString &accountId, httplib::Response &res, const QString &source)
{
    if (s.hasRole(accountId, administrator))
        return true;
    SimHttp::error(res, 403, QStringLiteral("Only administrators may change the ban list"), source);
    return false;
}

} // namespace

void SimAssetService::registerRoutes(SimRoutes &routes)
{
    const QString base = m_options.serviceBase;
    routes.setSource(SimMainService::source());
    routes.post(SimHttp::route(base, "/zrv/svc/meeting/([^/]+)/asset"), SimHttp::handler(this, &SimAssetService::assetAdd));
    routes.del(SimHttp::route(base, "/zrv/svc/meeting/([^/]+)/asset/([^/]+)"), SimHttp::handler(this, &SimAssetService::assetDelete));
    routes.get(SimHttp::route(base, "/zrv/svc/banlist"), SimHttp::handler(this, &SimAssetService::banlistGet));
    routes.post(SimHttp::route(base, "/zrv/svc/banlist"), SimHttp::handler(this, &SimAssetService::banlistPost));
    routes.del(SimHttp::route(base, "/zrv/svc/banlist"), SimHttp::handler(this, &SimAssetService::banlistDelete));
    routes.get(SimHttp::route(base, "/zrv/svc/assetbundle"), SimHttp::handler(this, &SimAssetService::bundleGet));
    routes.post(SimHttp::route(base, "/zrv/svc/assetbundle"), SimHttp::handler(this, &SimAssetService::bundlePost));
    routes.del(SimHttp::route(base, "/zrv/svc/assetbundle"), SimHttp::handler(this, &SimAssetService::bundleDelete));
}

void SimAssetService::assetAdd(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    QJsonObject asset;
    const QString accountId = m_store.authoriseWithBody(req, res, source, &asset);
    if (accountId.isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const qint64 key = m_store.changeableMeeting(req, res, source, accountId);
    if (key < 0)
        return;
    const QJsonObject meeting = s.meetings.value(key);
    QJsonObject &info = s.liveFor(meeting);
    QJsonArray assets = info.value(QStringLiteral("assets")).toArray();
    int id = asset.value(QStringLiteral("Id")).toInt();
    const int mode = asset.value(QStringLiteral("Mode")).toInt();
    if (id < 0 || id == placeholderBase || id > placeholderLast) {
        SimHttp::error(res, 400, QStringLiteral("Asset id %1 is out of range").arg(id), source);
        return;
    }
    if (mode == 3 && id <= placeholderBase) {
        SimHttp::error(res, 400, QStringLiteral("A URL placeholder needs an id from %1 to %2").arg(placeholderBase + 1).arg(placeholderLast), source);
        return;
    }
    if (id == 0) {
        // The next free number of the ordinary range.
        QSet<int> used;
        for (const QJsonValue &a : assets)
            used.insert(a.toObject().value(QStringLiteral("Id")).toInt());
        id = 1;
        while (used.contains(id))
            ++id;
        if (id >= placeholderBase) {
            SimHttp::error(res, 409, QStringLiteral("No free asset number left"), source);
            return;
        }
    }
    const QString meetingId = meeting.value(QStringLiteral("meetingId")).toString();
    asset.insert(QStringLiteral("Id"), id);
    asset.insert(QStringLiteral("MeetingId"), meetingId);
    const int index = findById(assets, id);
    if (index >= 0)
        assets.replace(index, asset);
    else
        assets.append(asset);
    info.insert(QStringLiteral("assets"), assets);
    s.logMeeting(meetingId, QStringLiteral("Asset %1 %2: %3").arg(id).arg(index >= 0 ? QStringLiteral("changed") : QStringLiteral("added"),
                                                                     asset.value(QStringLiteral("StgRelPath")).toString()));
    SimHttp::json(res, asset);
}

void SimAssetService::assetDelete(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    bool ok = false;
    const int id = SimHttp::capture(req, 2).toInt(&ok);
    if (!ok) {
        SimHttp::error(res, 400, QStringLiteral("Asset id must be a number"), source);
        return;
    }
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const qint64 key = m_store.changeableMeeting(req, res, source, accountId);
    if (key < 0)
        return;
    const QJsonObject meeting = s.meetings.value(key);
    QJsonObject &info = s.liveFor(meeting);
    QJsonArray assets = info.value(QStringLiteral("assets")).toArray();
    const int index = findById(assets, id);
    if (index < 0) {
        SimHttp::error(res, 404, QStringLiteral("Asset %1 not found").arg(id), source);
        return;
    }
    const QJsonObject removed = assets.at(index).toObject();
    assets.removeAt(index);
    info.insert(QStringLiteral("assets"), assets);
    s.logMeeting(meeting.value(QStringLiteral("meetingId")).toString(), QStringLiteral("Asset %1 removed").arg(id));
    SimHttp::json(res, removed);
}

void SimAssetService::banlistGet(const httplib::Request &req, httplib::Response &res)
{
    if (m_store.authorise(req, res, SimMainService::source()).isEmpty())
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    QJsonArray out;
    for (const QJsonObject &entry : m_store.state().banlist)
        out << entry;
    SimHttp::json(res, out);
}

void SimAssetService::banlistPost(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    QJsonObject entry;
    const QString accountId = m_store.authoriseWithBody(req, res, source, &entry);
    if (accountId.isEmpty())
        return;
    if (entry.value(QStringLiteral("Filename")).toString().isEmpty() || entry.value(QStringLiteral("Checksum")).toString().isEmpty()) {
        SimHttp::error(res, 400, QStringLiteral("A ban list entry needs a Filename and a Checksum"), source);
        return;
    }
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    if (!mayChangeBanlist(s, accountId, res, source))
        return;
    int id = entry.value(QStringLiteral("Id")).toInt();
    if (id <= 0 || !s.banlist.contains(id))
        id = s.nextBanId++;
    entry.insert(QStringLiteral("Id"), id);
    if (!entry.contains(QStringLiteral("Mode")))
        entry.insert(QStringLiteral("Mode"), 0);
    s.banlist.insert(id, entry);
    s.logService(QStringLiteral("Ban list entry %1 added: %2").arg(id).arg(entry.value(QStringLiteral("Filename")).toString()));
    SimHttp::json(res, id);
}

void SimAssetService::banlistDelete(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    bool ok = false;
    const int id = SimHttp::param(req, "banlistId").toInt(&ok);
    if (!ok) {
        SimHttp::error(res, 400, QStringLiteral("banlistId must be a number"), source);
        return;
    }
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    if (!mayChangeBanlist(s, accountId, res, source))
        return;
    if (!s.banlist.remove(id)) {
        SimHttp::error(res, 404, QStringLiteral("Ban list entry %1 not found").arg(id), source);
        return;
    }
    s.logService(QStringLiteral("Ban list entry %1 removed").arg(id));
    SimHttp::json(res, id);
}

void SimAssetService::bundleGet(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    const QString bundleId = SimHttp::param(req, "bundleId");
    std::lock_guard<std::mutex> lock(m_store.mutex());
    const SimState &s = m_store.state();
    const bool admin = s.hasRole(accountId, administrator);
    QJsonArray out;
    for (const QJsonObject &b : s.bundles) {
        const QString owner = b.value(QStringLiteral("UserId")).toString();
        const bool visible = admin || owner.isEmpty() || owner == accountId;
        if (visible && (bundleId.isEmpty() || b.value(QStringLiteral("Id")).toString() == bundleId))
            out << b;
    }
    if (!bundleId.isEmpty() && out.isEmpty()) {
        SimHttp::error(res, 404, QStringLiteral("Asset bundle %1 not found").arg(bundleId), source);
        return;
    }
    SimHttp::json(res, out);
}

void SimAssetService::bundlePost(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    QJsonObject bundle;
    const QString accountId = m_store.authoriseWithBody(req, res, source, &bundle);
    if (accountId.isEmpty())
        return;
    const QString name = bundle.value(QStringLiteral("Name")).toString();
    const QString stem = bundle.value(QStringLiteral("StgRelPath")).toString();
    if (name.isEmpty() || stem.isEmpty()) {
        SimHttp::error(res, 400, QStringLiteral("An asset bundle needs a Name and a StgRelPath"), source);
        return;
    }
    // The sizes of the stored files, asked before the lock: the store may be slow or away.
    const QString bucket = bundleBucket(bundle, m_options);
    const SimObjectStore store(m_options.s3Endpoint);
    QList<qint64> storedSizes;
    for (const QString &suffix : bundleSuffixes)
        storedSizes << store.size(bucket, stem + suffix);
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimState &s = m_store.state();
    const bool admin = s.hasRole(accountId, administrator);
    QString id = bundle.value(QStringLiteral("Id")).toString();
    const bool global = id == QLatin1String("GLOBAL");
    if (global && !admin) {
        SimHttp::error(res, 403, QStringLiteral("Only administrators may create global asset bundles"), source);
        return;
    }
    const QJsonObject existing = s.bundles.value(id);
    if (!existing.isEmpty()) {
        const QString owner = existing.value(QStringLiteral("UserId")).toString();
        if (!admin && owner != accountId) {
            SimHttp::error(res, 403, QStringLiteral("Not allowed to modify asset bundle %1").arg(id), source);
            return;
        }
        bundle.insert(QStringLiteral("UserId"), owner);
        bundle.insert(QStringLiteral("UserName"), existing.value(QStringLiteral("UserName")));
    } else {
        const QString ownerId = global ? QString() : accountId;
        for (const QJsonObject &b : s.bundles) {
            if (b.value(QStringLiteral("UserId")).toString() == ownerId && b.value(QStringLiteral("Name")).toString() == name) {
                SimHttp::error(res, 409, QStringLiteral("An assetbundle of the name '%1' already exists.").arg(name), source);
                return;
            }
        }
        id = QStringLiteral("ab-%1").arg(s.nextBundleId++, 4, 10, QLatin1Char('0'));
        bundle.insert(QStringLiteral("UserId"), ownerId);
        bundle.insert(QStringLiteral("UserName"), global ? QString() : s.accounts.value(accountId).value(QStringLiteral("userId")).toString());
    }
    bundle.insert(QStringLiteral("Id"), id);
    // The service describes the four stored files; a file the store does not show keeps the
    // size the client sent, or 0.
    const QJsonArray sentSizes = bundle.value(QStringLiteral("StgSize")).toArray();
    QJsonArray sizes, paths, sums;
    for (int i = 0; i < bundleSuffixes.size(); ++i) {
        if (storedSizes.at(i) >= 0)
            sizes << double(storedSizes.at(i));
        else
            sizes << (i < sentSizes.size() ? sentSizes.at(i) : QJsonValue(0));
        paths << QStringLiteral("%1/%2/%3%4").arg(m_options.s3Endpoint, bucket, SimObjectStore::storeKey(stem), bundleSuffixes.at(i));
        sums << QString::fromLatin1(QCryptographicHash::hash((stem + bundleSuffixes.at(i)).toUtf8(), QCryptographicHash::Md5).toHex());
    }
    bundle.insert(QStringLiteral("StgSize"), sizes);
    bundle.insert(QStringLiteral("StgPreSgnPath"), paths);
    bundle.insert(QStringLiteral("StgChecksums"), sums);
    s.bundles.insert(id, bundle);
    s.logService(QStringLiteral("Asset bundle %1 (%2) stored").arg(id, name));
    SimHttp::text(res, id);
}

void SimAssetService::bundleDelete(const httplib::Request &req, httplib::Response &res)
{
    const QString source = SimMainService::source();
    const QString accountId = m_store.authorise(req, res, source);
    if (accountId.isEmpty())
        return;
    const QString id = SimHttp::param(req, "bundleId");
    QJsonObject removed;
    {
        std::lock_guard<std::mutex> lock(m_store.mutex());
        SimState &s = m_store.state();
        const auto it = s.bundles.constFind(id);
        if (it == s.bundles.cend()) {
            SimHttp::error(res, 404, QStringLiteral("Asset bundle %1 not found").arg(id), source);
            return;
        }
        const QString owner = it->value(QStringLiteral("UserId")).toString();
        if (owner.isEmpty()) {
            SimHttp::error(res, 403, QStringLiteral("This Asset Bundle cannot be deleted."), source);
            return;
        }
        if (owner != accountId && !s.hasRole(accountId, administrator)) {
            SimHttp::error(res, 403, QStringLiteral("Not allowed to delete asset bundle %1").arg(id), source);
            return;
        }
        removed = *it;
        s.bundles.remove(id);
        // Meetings that showed the bundle stop showing it.
        for (QJsonObject &info : s.live) {
            const QJsonArray shown = info.value(QStringLiteral("assetBundles")).toArray();
            QJsonArray kept;
            for (const QJsonValue &b : shown) {
                if (b.toObject().value(QStringLiteral("Id")).toString() != id)
                    kept << b;
            }
            if (kept.size() != shown.size()) {
                info.insert(QStringLiteral("assetBundles"), kept);
                s.logMeeting(info.value(QStringLiteral("meetingId")).toString(), QStringLiteral("Asset bundle %1 removed").arg(id));
            }
        }
        s.logService(QStringLiteral("Asset bundle %1 deleted").arg(id));
    }
    // Its four files go too, which the client leaves to the service; outside the lock,
    // since the store may be slow or away.
    const SimObjectStore store(m_options.s3Endpoint);
    const QString bucket = bundleBucket(removed, m_options);
    const QString stem = removed.value(QStringLiteral("StgRelPath")).toString();
    QStringList failures;
    for (const QString &suffix : bundleSuffixes) {
        QString why;
        if (!store.remove(bucket, stem + suffix, &why))
            failures << why;
    }
    if (!failures.isEmpty()) {
        std::lock_guard<std::mutex> lock(m_store.mutex());
        for (const QString &why : failures)
            m_store.state().logService(QStringLiteral("Asset bundle %1: %2").arg(id, why));
    }
    SimHttp::text(res, id);
}
