#include "ZRVGroupMembers.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVGroupMembers, ZRV_GROUP_MEMBERS_FIELDS)

} // namespace ZRV_AuthService_API
