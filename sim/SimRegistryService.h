#pragma once

#include "SimService.h"

// The meeting registry: stored meeting definitions under "<meeting-base>/meetings".
// Setting "status" to "active" by PATCH starts a meeting, "pending" stops it.
class SimRegistryService : public SimService
{
public:
    using SimService::SimService;
    void registerRoutes(SimRoutes &routes);

private:
    void list(const httplib::Request &req, httplib::Response &res);
    void create(const httplib::Request &req, httplib::Response &res);
    void update(const httplib::Request &req, httplib::Response &res);
    void remove(const httplib::Request &req, httplib::Response &res);
};
