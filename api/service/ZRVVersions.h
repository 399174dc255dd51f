#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVVersion.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_VERSIONS_FIELDS(F) \
    F(ZRVVersion, Console, console, "Console")                       \
    F(ZRVVersion, WindowsDesktop, windows_desktop, "WindowsDesktop") \
    F(ZRVVersion, WindowsVR, windows_vr, "WindowsVR")                \
    F(ZRVVersion, Android, android, "Android")                       \
    F(ZRVVersion, IOS, i_os, "iOS")

namespace ZRV_Service_API {

// The release of each component.
class ZRVVersions : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVVersions, ZRV_VERSIONS_FIELDS)
};

} // namespace ZRV_Service_API
