#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVDefCredentials.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MIRROR_CLIENT_INFO_FIELDS(F) \
    F(int, Id, id, "Id")                                          \
    F(QString, Alias, alias, "Alias")                             \
    F(QString, CurrentRole, current_role, "currentRole")          \
    F(QString, MeetingId, meeting_id, "MeetingId")                \
    F(int, Ip, ip, "IP")                                          \
    F(QString, HostName, host_name, "HostName")                   \
    F(bool, VoiceEnabled, voice_enabled, "voiceEnabled")          \
    F(bool, VoiceIsTalking, voice_is_talking, "voiceIsTalking")   \
    F(ZRVDefCredentials, Credentials, credentials, "Credentials")

namespace ZRV_Service_API {

// One attendee of a live meeting.
class ZRVMirrorClientInfo : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMirrorClientInfo, ZRV_MIRROR_CLIENT_INFO_FIELDS)
};

} // namespace ZRV_Service_API
