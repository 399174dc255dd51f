#pragma once

#include "SimAssetService.h"
#include "SimAuthService.h"
#include "SimFaultInjector.h"
#include "SimLifeSimulator.h"
#include "SimMainService.h"
#include "SimOptions.h"
#include "SimRegistryService.h"
#include "SimRoutes.h"
#include "SimStateStore.h"

#include <memory>

namespace httplib {
class Server;
struct Request;
struct Response;
}

// Puts the services, the fault switches and the admin endpoints on one loopback server.
class SimServer
{
public:
    explicit SimServer(const SimOptions &options);
    ~SimServer();

    // Loads or seeds the state and binds the port. False with *error on failure.
    bool prepare(QString *error);
    int port() const { return m_port; }
    // Blocks until stop().
    bool run();
    // Safe from another thread.
    void stop();
    // Saves to --state when one was given.
    bool saveState(QString *error);

private:
    void health(const httplib::Request &req, httplib::Response &res);
    void reset(const httplib::Request &req, httplib::Response &res);
    void save(const httplib::Request &req, httplib::Response &res);
    void dump(const httplib::Request &req, httplib::Response &res);
    void tick(const httplib::Request &req, httplib::Response &res);
    void logRequest(const httplib::Request &req, const httplib::Response &res);
    // Fault switches first, then the token of a route that needs one, before any body is read.
    bool beforeRouting(const httplib::Request &req, httplib::Response &res);
    // Gives the replies the server makes on its own (404, 405, 413, ...) a JSON error body.
    void completeError(const httplib::Request &req, httplib::Response &res);

    const SimOptions &m_options;
    std::unique_ptr<httplib::Server> m_server;
    SimRoutes m_routes;
    SimStateStore m_store;
    SimFaultInjector m_faults;
    SimAuthService m_auth;
    SimRegistryService m_registry;
    SimMainService m_main;
    SimAssetService m_assets;
    SimLifeSimulator m_life;
    int m_port = -1;

public:
    // Request bodies above this size are refused with 413.
    static constexpr size_t maxBodyBytes = 16 * 1024 * 1024;
};
