#include "SimService.h"

SimService::SimService(const SimOptions &options, SimStateStore &store)
    : m_options(options)
    , m_store(store)
{
}
