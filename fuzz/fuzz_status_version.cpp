// The service status reply whose message carries the version the bundle
// gate compares, e.g. {"message":"OK - Version v2.0.30"}.
#include "ZRV_MeetingsInfoThread.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray reply(reinterpret_cast<const char *>(data), int(size));
    ZRV_MeetingsInfoThread::_serviceVersion version;
    ZRV_MeetingsInfoThread::parseServiceVersion(reply, &version);
    return 0;
}
