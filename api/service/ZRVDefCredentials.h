#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_DEF_CREDENTIALS_FIELDS(F) \
    F(QString, User, user, "User") \
    F(QString, Pass, pass, "Pass")

namespace ZRV_Service_API {

// A user name and password pair.
class ZRVDefCredentials : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVDefCredentials, ZRV_DEF_CREDENTIALS_FIELDS)
};

} // namespace ZRV_Service_API
