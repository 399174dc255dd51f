#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVDefCredentials.h"
#include "ZRVDefVector3.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_ASSET_FIELDS(F) \
    F(int, Id, id, "Id")                                                    \
    F(QString, MeetingId, meeting_id, "MeetingId")                          \
    F(QString, Name, name, "Name")                                          \
    F(int, Mode, mode, "Mode")                                              \
    F(QString, StgHost, stg_host, "StgHost")                                \
    F(QString, StgBucket, stg_bucket, "StgBucket")                          \
    F(QString, StgRelPath, stg_rel_path, "StgRelPath")                      \
    F(qint64, StgSize, stg_size, "StgSize")                                 \
    F(QString, StgPreSgnPath, stg_pre_sgn_path, "StgPreSgnPath")            \
    F(QString, StgChecksum, stg_checksum, "StgChecksum")                    \
    F(ZRVDefCredentials, StgCredentials, stg_credentials, "StgCredentials") \
    F(ZRVDefVector3, Position, position, "Position")                        \
    F(ZRVDefVector3, Rotation, rotation, "Rotation")                        \
    F(ZRVDefVector3, Scale, scale, "Scale")

namespace ZRV_Service_API {

// One asset of a meeting.
class ZRVAsset : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVAsset, ZRV_ASSET_FIELDS)
};

} // namespace ZRV_Service_API
