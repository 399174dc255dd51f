#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MEETING_COMMAND_FIELDS(F) \
    F(QString, MeetingId, meeting_id, "meetingId") \
    F(QString, Command, command, "command")        \
    F(QList<QString>, Params, params, "params")

namespace ZRV_Service_API {

// A command on a live meeting.
class ZRVMeetingCommand : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMeetingCommand, ZRV_MEETING_COMMAND_FIELDS)
};

} // namespace ZRV_Service_API
