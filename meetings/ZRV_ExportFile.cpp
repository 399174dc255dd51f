#include "ZRV_ExportFile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QStringList>

using ZRV_Service_API::ZRVDefVector3;

namespace ZRV_ExportFile {

namespace {

constexpr int PlaceholderBase = 22000;
constexpr int PlaceholderLast = 23000;

// Keys are matched in any case, so that a record read from a hand-made file
// loses nothing it can use.
QJsonObject reduced(const QJsonObject &object, const QStringList &keep)
{
    QJsonObject out;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (keep.contains(it.key(), Qt::CaseInsensitive))
            out.insert(it.key(), it.value());
    }
    return out;
}

ZRVDefVector3 vector(float x, float y, float z)
{
    ZRVDefVector3 v;
    v.setX(x);
    v.setY(y);
    v.setZ(z);
    return v;
}

} // namespace

QByteArray document(const ZRVMeetingInfo &info, const Parts &parts)
{
    static const QStringList assetKeys{QStringLiteral("Id"),         QStringLiteral("Mode"),
                                       QStringLiteral("Name"),       QStringLiteral("Position"),
                                       QStringLiteral("Rotation"),   QStringLiteral("Scale"),
                                       QStringLiteral("StgRelPath")};
    static const QStringList bundleKeys{QStringLiteral("Id"), QStringLiteral("Mode"), QStringLiteral("Name")};

    QJsonObject root;
    if (parts.assets || parts.urls) {
        QJsonArray assets;
        QJsonArray urls;
        for (const ZRVAsset &asset : info.getAssets()) {
            QJsonObject object = reduced(asset.asJsonObject(), assetKeys);
            // With placeholders unticked a placeholder travels as an asset,
            // placement and all; the reader then drops it by its id.
            if (asset.getId() > PlaceholderBase && parts.urls) {
                object.remove(QStringLiteral("Position"));
                object.remove(QStringLiteral("Rotation"));
                object.remove(QStringLiteral("Scale"));
                urls.append(object);
            } else if (parts.assets) {
                assets.append(object);
            }
        }
        if (parts.assets)
            root.insert(QStringLiteral("assets"), assets);
        if (parts.urls)
            root.insert(QStringLiteral("urls"), urls);
    }
    if (parts.assetBundles) {
        QJsonArray bundles;
        for (const ZRVAssetBundle &bundle : info.getAssetBundles())
            bundles.append(reduced(bundle.asJsonObject(), bundleKeys));
        root.insert(QStringLiteral("assetbundles"), bundles);
    }
    if (parts.spawnPoints) {
        QJsonArray points;
        for (const ZRVSpawnPoint &point : info.getSpawnPoints())
            points.append(point.asJsonObject());
        root.insert(QStringLiteral("spawnpoints"), points);
    }
    return QJsonDocument(root).toJson();
}

bool read(const QByteArray &bytes, Import *out)
{
    *out = Import();
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return false;

    const QJsonObject root = doc.object();
    for (auto it = root.constBegin(); it != root.constEnd(); ++it) {
        if (!it.value().isArray())
            continue;
        const QString key = it.key().toLower();
        const QJsonArray elements = it.value().toArray();
        if (key == QLatin1String("assets")) {
            for (const QJsonValue &element : elements) {
                ZRVAsset asset;
                asset.fromJsonObject(element.toObject());
                if (asset.getId() >= PlaceholderBase)
                    continue;
                // The service gives new assets their ids.
                asset.setId(0);
                asset.setStgSize(0);
                out->posts.append(asset);
            }
        } else if (key == QLatin1String("urls")) {
            for (const QJsonValue &element : elements) {
                ZRVAsset asset;
                asset.fromJsonObject(element.toObject());
                if (asset.getId() < PlaceholderBase || asset.getId() > PlaceholderLast)
                    continue;
                asset.setScale(vector(1, 1, 1));
                asset.setPosition(vector(0, 0, 0));
                asset.setRotation(vector(0, 0, 0));
                asset.setStgSize(0);
                out->posts.append(asset);
            }
        } else if (key == QLatin1String("assetbundles")) {
            out->hasAssetBundles = true;
            out->assetBundles.clear();
            for (const QJsonValue &element : elements) {
                ZRVAssetBundle bundle;
                bundle.fromJsonObject(element.toObject());
                out->assetBundles.append(bundle);
            }
        } else if (key == QLatin1String("spawnpoints")) {
            out->hasSpawnPoints = true;
            for (const QJsonValue &element : elements) {
                ZRVSpawnPoint point;
                point.fromJsonObject(element.toObject());
                out->spawnPoints.append(point);
            }
        }
    }
    return true;
}

bool apply(const Import &import, ZRVMeetingInfo *live)
{
    if (import.hasAssetBundles)
        live->setAssetBundles(import.assetBundles);
    if (import.hasSpawnPoints) {
        // A point without Id counts as 0 and so replaces the default one.
        QMap<int, ZRVSpawnPoint> byId;
        for (const ZRVSpawnPoint &point : live->getSpawnPoints())
            byId.insert(point.getId(), point);
        for (const ZRVSpawnPoint &point : import.spawnPoints)
            byId.insert(point.getId(), point);
        live->setSpawnPoints(byId.values());
    }
    return import.hasAssetBundles || import.hasSpawnPoints;
}

} // namespace ZRV_ExportFile
