#include "ZRVBanlistEntry.h"

namespace ZRV_Service_API {

ZRV_RECORD_DEFINE(ZRVBanlistEntry, ZRV_BANLIST_ENTRY_FIELDS)

} // namespace ZRV_Service_API
