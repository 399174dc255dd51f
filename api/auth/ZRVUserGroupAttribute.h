#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_USER_GROUP_ATTRIBUTE_FIELDS(F) \
    F(QString, Key, key, "key")              \
    F(QList<QString>, Value, value, "value")

namespace ZRV_AuthService_API {

// One attribute of a group.
class ZRVUserGroupAttribute : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVUserGroupAttribute, ZRV_USER_GROUP_ATTRIBUTE_FIELDS)
};

} // namespace ZRV_AuthService_API
