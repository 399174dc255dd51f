#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_VERSION_FIELDS(F) \
    F(QString, Name, name, "Name")                 \
    F(QList<int>, Version, version, "Version")     \
    F(QString, UpdateUrl, update_url, "UpdateUrl")

namespace ZRV_Service_API {

// The release of one component.
class ZRVVersion : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVVersion, ZRV_VERSION_FIELDS)
};

} // namespace ZRV_Service_API
