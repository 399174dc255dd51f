#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVDefVector3.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_SPAWN_POINT_FIELDS(F) \
    F(int, Id, id, "Id")                             \
    F(int, PlayerId, player_id, "PlayerId")          \
    F(QString, MeetingId, meeting_id, "MeetingId")   \
    F(QString, Name, name, "Name")                   \
    F(ZRVDefVector3, Position, position, "Position") \
    F(ZRVDefVector3, Rotation, rotation, "Rotation")

namespace ZRV_Service_API {

// A place where attendees enter a meeting.
class ZRVSpawnPoint : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVSpawnPoint, ZRV_SPAWN_POINT_FIELDS)
};

} // namespace ZRV_Service_API
