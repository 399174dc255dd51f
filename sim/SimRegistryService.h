#pragma once

#include "SimOptions.h"
#include "SimStateStore.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}

// The meeting registry: stored meeting definitions under "<meeting-base>/meetings".
// Setting "status" to "active" by PATCH starts a meeting, "pending" stops it.
class SimRegistryService
{
public:
    SimRegistryService(const SimOptions &options, SimStateStore &store);
    void registerRoutes(httplib::Server &server);

private:
    void list(const httplib::Request &req, httplib::Response &res);
    void create(const httplib::Request &req, httplib::Response &res);
    void update(const httplib::Request &req, httplib::Response &res);
    void remove(const httplib::Request &req, httplib::Response &res);

    const SimOptions &m_options;
    SimStateStore &m_store;
};
