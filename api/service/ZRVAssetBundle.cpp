#include "ZRVAssetBundle.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVAssetBundle, ZRV_ASSET_BUNDLE_FIELDS)

} // namespace ZRV_Service_API
