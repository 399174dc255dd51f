#include "ZRVMeetingInfo.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVMeetingInfo, ZRV_MEETING_INFO_FIELDS)

} // namespace ZRV_Service_API
