#include "ZRVAsset.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVAsset, ZRV_ASSET_FIELDS)

} // namespace ZRV_Service_API
