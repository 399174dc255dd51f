#pragma once

#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_DEF_VECTOR3_FIELDS(F) \
    F(float, X, x, "x") \
    F(float, Y, y, "y") \
    F(float, Z, z, "z")

namespace ZRV_Service_API {

// A position, rotation or scale.
class ZRVDefVector3 : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVDefVector3, ZRV_DEF_VECTOR3_FIELDS)
};

} // namespace ZRV_Service_API
