#include "ZRVDefCredentials.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVDefCredentials, ZRV_DEF_CREDENTIALS_FIELDS)

} // namespace ZRV_Service_API
