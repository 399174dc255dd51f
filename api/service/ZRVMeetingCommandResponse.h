#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVDefVector3.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MEETING_COMMAND_RESPONSE_FIELDS(F) \
    F(QString, Command, command, "command")         \
    F(QString, MeetingId, meeting_id, "meetingId")  \
    F(QList<QString>, SList, s_list, "sList")       \
    F(QList<ZRVDefVector3>, VList, v_list, "vList")

namespace ZRV_Service_API {

// The reply to a meeting command.
class ZRVMeetingCommandResponse : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMeetingCommandResponse, ZRV_MEETING_COMMAND_RESPONSE_FIELDS)
};

} // namespace ZRV_Service_API
