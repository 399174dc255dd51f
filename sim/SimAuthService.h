#pragma once

#include "SimOptions.h"
#include "SimStateStore.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}

// The authentication service: form in, JSON out, under "<auth-base>/auth".
class SimAuthService
{
public:
    SimAuthService(const SimOptions &options, SimStateStore &store);
    void registerRoutes(httplib::Server &server);

private:
    void login(const httplib::Request &req, httplib::Response &res);
    void refresh(const httplib::Request &req, httplib::Response &res);
    void logout(const httplib::Request &req, httplib::Response &res);
    void user(const httplib::Request &req, httplib::Response &res);
    void groups(const httplib::Request &req, httplib::Response &res);
    void passwordReset(const httplib::Request &req, httplib::Response &res);

    // New token pair for an account; the caller holds the lock.
    QJsonObject issueTokens(SimState &s, const QString &accountId);

    const SimOptions &m_options;
    SimStateStore &m_store;
};
