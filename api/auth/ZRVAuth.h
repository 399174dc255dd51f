#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_AUTH_FIELDS(F) \
    F(QString, AccessToken, access_token, "access_token")                 \
    F(qint64, ExpiresIn, expires_in, "expires_in")                        \
    F(qint64, RefreshExpiresIn, refresh_expires_in, "refresh_expires_in") \
    F(QString, RefreshToken, refresh_token, "refresh_token")              \
    F(QString, TokenType, token_type, "token_type")                       \
    F(int, NotBeforePolicy, not_before_policy, "not-before-policy")       \
    F(QString, SessionState, session_state, "session_state")              \
    F(QString, Scope, scope, "scope")

namespace ZRV_AuthService_API {

// The token reply of a login or refresh.
class ZRVAuth : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVAuth, ZRV_AUTH_FIELDS)
    bool isValid() const override;
};

} // namespace ZRV_AuthService_API
