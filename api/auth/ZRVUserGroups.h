#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVUserGroup.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_USER_GROUPS_FIELDS(F) \
    F(QString, UserId, user_id, "userId")            \
    F(QList<ZRVUserGroup>, Groups, groups, "groups")

namespace ZRV_AuthService_API {

// The groups of one account.
class ZRVUserGroups : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVUserGroups, ZRV_USER_GROUPS_FIELDS)
};

} // namespace ZRV_AuthService_API
