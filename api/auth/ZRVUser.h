#pragma once

#include "ZRV_AuthService_API/ZRVHelpers.h"
#include "ZRVRecord.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_USER_FIELDS(F) \
    F(QString, Id, id, "id")                       \
    F(QString, UserId, user_id, "userId")          \
    F(QString, Company, company, "company")        \
    F(QString, FirstName, first_name, "firstName") \
    F(QString, LastName, last_name, "lastName")    \
    F(QString, Email, email, "email")              \
    F(QString, Phone, phone, "phone")              \
    F(QString, Status, status, "status")           \
    F(QList<QString>, Roles, roles, "roles")       \
    F(QDate, Created, created, "created")

namespace ZRV_AuthService_API {

// An account.
class ZRVUser : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVUser, ZRV_USER_FIELDS)
};

} // namespace ZRV_AuthService_API
