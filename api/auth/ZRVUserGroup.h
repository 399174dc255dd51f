#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVUserGroupAttribute.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_USER_GROUP_FIELDS(F) \
    F(QString, Id, id, "id")                                              \
    F(QString, Name, name, "name")                                        \
    F(QList<ZRVUserGroupAttribute>, Attributes, attributes, "attributes") \
    F(QList<ZRVUserGroup>, SubGroups, sub_groups, "subGroups")

namespace ZRV_AuthService_API {

// A group and its sub-groups, to any depth.
class ZRVUserGroup : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVUserGroup, ZRV_USER_GROUP_FIELDS)
};

} // namespace ZRV_AuthService_API
