#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_ERROR_FIELDS(F) \
    F(int, Code, code, "code")              \
    F(QString, Message, message, "message") \
    F(QString, Source, source, "source")    \
    F(QString, File, file, "file")          \
    F(QString, Func, func, "func")          \
    F(int, Line, line, "line")

namespace ZRV_AuthService_API {

// The error object of a failed call.
class ZRVError : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVError, ZRV_ERROR_FIELDS)
    bool isValid() const override;
};

} // namespace ZRV_AuthService_API
