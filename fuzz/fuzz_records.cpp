// Record JSON as the services send it: the first byte picks the record, the
// rest is the text handed to fromJson. Whatever was read is written back and
// read again, so the writer sees every state the reader can leave.
#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ZRVAuth.h"
#include "ZRVError.h"
#include "ZRVGroupMembers.h"
#include "ZRVUser.h"
#include "ZRVUserGroup.h"
#include "ZRVUserGroupAttribute.h"
#include "ZRVUserGroups.h"

#include "ZRVMeeting.h"
#include "ZRVPresenter.h"

#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVBanlistEntry.h"
#include "ZRVDefCredentials.h"
#include "ZRVDefVector3.h"
#include "ZRVMeetingCommand.h"
#include "ZRVMeetingCommandResponse.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMirrorClientInfo.h"
#include "ZRVMirrorServerInfo.h"
#include "ZRVS3TempAccessKey.h"
#include "ZRVSpawnPoint.h"
#include "ZRVVersion.h"
#include "ZRVVersions.h"

namespace {

template <typename Record>
void roundTrip(const QString &text)
{
    Record record;
    record.fromJson(text);
    const QString written = record.asJson();
    Record again(written);
    (void)again.isSet();
    (void)again.asJsonObject();
}

using Reader = void (*)(const QString &);

const Reader readers[] = {
    roundTrip<ZRV_AuthService_API::ZRVAuth>,
    roundTrip<ZRV_AuthService_API::ZRVError>,
    roundTrip<ZRV_AuthService_API::ZRVGroupMembers>,
    roundTrip<ZRV_AuthService_API::ZRVUser>,
    roundTrip<ZRV_AuthService_API::ZRVUserGroup>,
    roundTrip<ZRV_AuthService_API::ZRVUserGroupAttribute>,
    roundTrip<ZRV_AuthService_API::ZRVUserGroups>,
    roundTrip<ZRV_MeetingService_API::ZRVMeeting>,
    roundTrip<ZRV_MeetingService_API::ZRVPresenter>,
    roundTrip<ZRV_Service_API::ZRVAsset>,
    roundTrip<ZRV_Service_API::ZRVAssetBundle>,
    roundTrip<ZRV_Service_API::ZRVBanlistEntry>,
    roundTrip<ZRV_Service_API::ZRVDefCredentials>,
    roundTrip<ZRV_Service_API::ZRVDefVector3>,
    roundTrip<ZRV_Service_API::ZRVMeetingCommand>,
    roundTrip<ZRV_Service_API::ZRVMeetingCommandResponse>,
    roundTrip<ZRV_Service_API::ZRVMeetingInfo>,
    roundTrip<ZRV_Service_API::ZRVMirrorClientInfo>,
    roundTrip<ZRV_Service_API::ZRVMirrorServerInfo>,
    roundTrip<ZRV_Service_API::ZRVS3TempAccessKey>,
    roundTrip<ZRV_Service_API::ZRVSpawnPoint>,
    roundTrip<ZRV_Service_API::ZRVVersion>,
    roundTrip<ZRV_Service_API::ZRVVersions>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const Reader read = readers[data[0] % (sizeof(readers) / sizeof(readers[0]))];
    read(QString::fromUtf8(reinterpret_cast<const char *>(data + 1), int(size - 1)));
    return 0;
}
