// A .zrm file as a user may pick any file: read, then put onto a meeting that
// already holds a bundle and spawn points, then written out again.
#include "ZRV_ExportFile.h"

#include <cstddef>
#include <cstdint>

namespace {

ZRVMeetingInfo liveMeeting()
{
    ZRVMeetingInfo info(QStringLiteral(R"({"meetingId":"m1",
        "assetBundles":[{"Id":"b1","Name":"Zarvo Lobby"}],
        "spawnPoints":[{"Id":1,"Name":"Door"},{"Id":3,"Name":"Stage"}]})"));
    return info;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    ZRV_ExportFile::Import import;
    if (!ZRV_ExportFile::read(bytes, &import))
        return 0;
    ZRVMeetingInfo live = liveMeeting();
    ZRV_ExportFile::apply(import, &live);
    (void)ZRV_ExportFile::document(live, ZRV_ExportFile::Parts());
    return 0;
}
