#include "ZRVMeetingCommand.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVMeetingCommand, ZRV_MEETING_COMMAND_FIELDS)

} // namespace ZRV_Service_API
