#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_ASSET_BUNDLE_FIELDS(F) \
    F(QString, Id, id, "Id")                                            \
    F(QString, UserId, user_id, "UserId")                               \
    F(QString, UserName, user_name, "UserName")                         \
    F(QString, Name, name, "Name")                                      \
    F(int, Mode, mode, "Mode")                                          \
    F(QString, StgRelPath, stg_rel_path, "StgRelPath")                  \
    F(QList<qint64>, StgSize, stg_size, "StgSize")                      \
    F(QList<QString>, StgPreSgnPath, stg_pre_sgn_path, "StgPreSgnPath") \
    F(QList<QString>, StgChecksums, stg_checksums, "StgChecksums")

namespace ZRV_Service_API {

// A set of files under one name, one storage entry per file.
class ZRVAssetBundle : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVAssetBundle, ZRV_ASSET_BUNDLE_FIELDS)
};

} // namespace ZRV_Service_API
