#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MIRROR_SERVER_INFO_FIELDS(F) \
    F(QString, MeetingId, meeting_id, "meetingId")                       \
    F(QString, ServerId, server_id, "serverId")                          \
    F(QString, MirrorServerHost, mirror_server_host, "mirrorServerHost") \
    F(int, MirrorServerPort, mirror_server_port, "mirrorServerPort")     \
    F(QString, CurrentRole, current_role, "currentRole")

namespace ZRV_Service_API {

// The mirror server of a meeting.
class ZRVMirrorServerInfo : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMirrorServerInfo, ZRV_MIRROR_SERVER_INFO_FIELDS)
};

} // namespace ZRV_Service_API
