#include "ZRVPresenter.h"

namespace ZRV_MeetingService_API {

ZRV_RECORD_DEFINE(ZRVPresenter, ZRV_PRESENTER_FIELDS)

} // namespace ZRV_MeetingService_API
