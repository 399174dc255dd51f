#include "ZRVSpawnPoint.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVSpawnPoint, ZRV_SPAWN_POINT_FIELDS)

} // namespace ZRV_Service_API
