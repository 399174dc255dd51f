#pragma once

#include "SimOptions.h"
#include "SimRoutes.h"
#include "SimStateStore.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}

// What each of the services works from: the options and the one state store.
class SimService
{
public:
    SimService(const SimOptions &options, SimStateStore &store);

protected:
    ~SimService() = default;

    const SimOptions &m_options;
    SimStateStore &m_store;
};
