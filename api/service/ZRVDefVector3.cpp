#include "ZRVDefVector3.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVDefVector3, ZRV_DEF_VECTOR3_FIELDS)

} // namespace ZRV_Service_API
