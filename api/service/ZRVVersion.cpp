#include "ZRVVersion.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVVersion, ZRV_VERSION_FIELDS)

} // namespace ZRV_Service_API
