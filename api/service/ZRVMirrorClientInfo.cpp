#include "ZRVMirrorClientInfo.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVMirrorClientInfo, ZRV_MIRROR_CLIENT_INFO_FIELDS)

} // namespace ZRV_Service_API
