#pragma once

#include "SimService.h"

// The main service's catalogue side: assets of a meeting, the ban list and asset bundles.
class SimAssetService : public SimService
{
public:
    using SimService::SimService;
    void registerRoutes(SimRoutes &routes);

    static constexpr int placeholderBase = 22000;
    static constexpr int placeholderLast = 22999;

private:
    void assetAdd(const httplib::Request &req, httplib::Response &res);
    void assetDelete(const httplib::Request &req, httplib::Response &res);
    void banlistGet(const httplib::Request &req, httplib::Response &res);
    void banlistPost(const httplib::Request &req, httplib::Response &res);
    void banlistDelete(const httplib::Request &req, httplib::Response &res);
    void bundleGet(const httplib::Request &req, httplib::Response &res);
    void bundlePost(const httplib::Request &req, httplib::Response &res);
    void bundleDelete(const httplib::Request &req, httplib::Response &res);
};
