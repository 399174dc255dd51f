#pragma once

#include "ZRV_MeetingService_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_PRESENTER_FIELDS(F) \
    F(QString, Name, name, "name")    \
    F(QString, Email, email, "email")

namespace ZRV_MeetingService_API {

// The presenter of a meeting.
class ZRVPresenter : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVPresenter, ZRV_PRESENTER_FIELDS)
};

} // namespace ZRV_MeetingService_API
