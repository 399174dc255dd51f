#include "ZRVUserGroupAttribute.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVUserGroupAttribute, ZRV_USER_GROUP_ATTRIBUTE_FIELDS)

} // namespace ZRV_AuthService_API
