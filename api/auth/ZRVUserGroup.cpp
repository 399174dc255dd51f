#include "ZRVUserGroup.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVUserGroup, ZRV_USER_GROUP_FIELDS)

} // namespace ZRV_AuthService_API
