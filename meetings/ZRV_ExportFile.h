#pragma once

#include <QByteArray>
#include <QList>

#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVMeetingInfo.h"
#include "ZRVSpawnPoint.h"

using ZRV_Service_API::ZRVAsset;
using ZRV_Service_API::ZRVAssetBundle;
using ZRV_Service_API::ZRVMeetingInfo;
using ZRV_Service_API::ZRVSpawnPoint;

// The .zrm file of a meeting's components, written and read without any
// widget or file in between, so that both sides can be fed bytes directly.
namespace ZRV_ExportFile {

// Which components go into a file.
struct Parts {
    bool assets = true;
    bool urls = true;
    bool assetBundles = true;
    bool spawnPoints = true;
};

// The document: one object whose keys are the ticked components, each an
// array (also when empty) of records reduced to what another meeting can use.
QByteArray document(const ZRVMeetingInfo &info, const Parts &parts);

// What a file puts onto a meeting.
struct Import {
    // Assets and placeholders to post, in the order the file gives them.
    QList<ZRVAsset> posts;
    bool hasAssetBundles = false;
    QList<ZRVAssetBundle> assetBundles;
    bool hasSpawnPoints = false;
    QList<ZRVSpawnPoint> spawnPoints;
};

// False when the bytes are no JSON document with an object at its root.
bool read(const QByteArray &bytes, Import *out);

// Bundles replaced whole, spawn points merged by Id with the file winning,
// in ascending Id order. True when the live record has to be sent back.
bool apply(const Import &import, ZRVMeetingInfo *live);

} // namespace ZRV_ExportFile
