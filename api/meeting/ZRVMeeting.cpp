#include "ZRVMeeting.h"

namespace ZRV_MeetingService_API {

ZRV_RECORD_DEFINE(ZRVMeeting, ZRV_MEETING_FIELDS)

} // namespace ZRV_MeetingService_API
