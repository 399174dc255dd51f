#include "ZRVError.h"

namespace ZRV_AuthService_API {

ZRV_RECORD_DEFINE(ZRVError, ZRV_ERROR_FIELDS)

// Only the fields the service guarantees decide whether the record is usable.
bool ZRVError::isValid() const
{
    return m_code.isValid
        && m_message.isValid
        && m_source.isValid;
}

} // namespace ZRV_AuthService_API
