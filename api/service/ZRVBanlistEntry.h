#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_BANLIST_ENTRY_FIELDS(F) \
    F(int, Id, id, "Id")                       \
    F(int, Mode, mode, "Mode")                 \
    F(QString, Filename, filename, "Filename") \
    F(QString, Checksum, checksum, "Checksum")

namespace ZRV_Service_API {

// One entry of the ban list.
class ZRVBanlistEntry : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVBanlistEntry, ZRV_BANLIST_ENTRY_FIELDS)
};

} // namespace ZRV_Service_API
