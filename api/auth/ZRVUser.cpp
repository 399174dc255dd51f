#include "ZRVUser.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVUser, ZRV_USER_FIELDS)

} // namespace ZRV_AuthService_API
