#include "ZRVMeetingCommandResponse.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVMeetingCommandResponse, ZRV_MEETING_COMMAND_RESPONSE_FIELDS)

} // namespace ZRV_Service_API
