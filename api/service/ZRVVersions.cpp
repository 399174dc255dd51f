#include "ZRVVersions.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVVersions, ZRV_VERSIONS_FIELDS)

} // namespace ZRV_Service_API
