#pragma once

#include "SimService.h"

// The authentication service: form in, JSON out, under "<auth-base>/auth".
class SimAuthService : public SimService
{
public:
    using SimService::SimService;
    void registerRoutes(SimRoutes &routes);

private:
    void login(const httplib::Request &req, httplib::Response &res);
    void refresh(const httplib::Request &req, httplib::Response &res);
    void logout(const httplib::Request &req, httplib::Response &res);
    void user(const httplib::Request &req, httplib::Response &res);
    void groups(const httplib::Request &req, httplib::Response &res);
    void passwordReset(const httplib::Request &req, httplib::Response &res);

    // New token pair for an account; the caller holds the lock.
    QJsonObject issueTokens(SimState &s, const QString &accountId);
};
