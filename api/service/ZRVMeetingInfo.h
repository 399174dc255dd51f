#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVMirrorClientInfo.h"
#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVSpawnPoint.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MEETING_INFO_FIELDS(F) \
    F(QString, MeetingId, meeting_id, "meetingId")                                  \
    F(int, StatusMirror, status_mirror, "statusMirror")                             \
    F(QString, EndingTime, ending_time, "endingTime")                               \
    F(int, LicenseMode, license_mode, "licenseMode")                                \
    F(int, LicenseCountAttendees, license_count_attendees, "licenseCountAttendees") \
    F(int, VoiceMode, voice_mode, "voiceMode")                                      \
    F(int, VoiceMode3D, voice_mode_3d, "voiceMode3D")                               \
    F(int, ChatMode, chat_mode, "chatMode")                                         \
    F(QList<ZRVMirrorClientInfo>, Clients, clients, "clients")                      \
    F(QList<ZRVAsset>, Assets, assets, "assets")                                    \
    F(QList<ZRVAssetBundle>, AssetBundles, asset_bundles, "assetBundles")           \
    F(QList<ZRVSpawnPoint>, SpawnPoints, spawn_points, "spawnPoints")

namespace ZRV_Service_API {

// The running state of a meeting.
class ZRVMeetingInfo : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMeetingInfo, ZRV_MEETING_INFO_FIELDS)
};

} // namespace ZRV_Service_API
