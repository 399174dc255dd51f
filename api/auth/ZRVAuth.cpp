#include "ZRVAuth.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVAuth, ZRV_AUTH_FIELDS)

// A token is usable only when every part of it was read.
bool ZRVAuth::isValid() const
{
    return m_access_token.isValid
        && m_expires_in.isValid
        && m_refresh_expires_in.isValid
        && m_refresh_token.isValid
        && m_token_type.isValid
        && m_not_before_policy.isValid
        && m_session_state.isValid
        && m_scope.isValid;
}

} // namespace ZRV_AuthService_API
