#include "ZRVUserGroups.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVUserGroups, ZRV_USER_GROUPS_FIELDS)

} // namespace ZRV_AuthService_API
