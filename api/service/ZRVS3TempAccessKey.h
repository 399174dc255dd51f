#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_S3_TEMP_ACCESS_KEY_FIELDS(F) \
    F(QString, AccessKeyId, access_key_id, "AccessKeyId")             \
    F(QString, SecretAccessKey, secret_access_key, "SecretAccessKey") \
    F(QString, SessionToken, session_token, "SessionToken")           \
    F(QString, AssumedRoleId, assumed_role_id, "AssumedRoleId")       \
    F(QString, Arn, arn, "Arn")                                       \
    F(QString, Expiration, expiration, "Expiration")                  \
    F(QString, Bucket, bucket, "Bucket")                              \
    F(QString, Endpoint, endpoint, "Endpoint")

namespace ZRV_Service_API {

// Temporary storage credentials.
class ZRVS3TempAccessKey : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVS3TempAccessKey, ZRV_S3_TEMP_ACCESS_KEY_FIELDS)
};

} // namespace ZRV_Service_API
