#include "ZRVS3TempAccessKey.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVS3TempAccessKey, ZRV_S3_TEMP_ACCESS_KEY_FIELDS)

} // namespace ZRV_Service_API
