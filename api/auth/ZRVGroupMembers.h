#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVUser.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_GROUP_MEMBERS_FIELDS(F) \
    F(QString, GroupId, group_id, "groupId")       \
    F(QList<ZRVUser>, Members, members, "members")

namespace ZRV_AuthService_API {

// The members of one group.
class ZRVGroupMembers : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVGroupMembers, ZRV_GROUP_MEMBERS_FIELDS)
};

} // namespace ZRV_AuthService_API
