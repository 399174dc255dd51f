#include "ZRVMirrorServerInfo.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVMirrorServerInfo, ZRV_MIRROR_SERVER_INFO_FIELDS)

} // namespace ZRV_Service_API
