#include "ZRV_ProcessExit.h"

#include <cstdlib>

std::function<void(int)> &ZRV_ProcessExit::handler()
{
    static std::function<void(int)> installed;
    return installed;
}

void ZRV_ProcessExit::exit(int code)
{
    if (handler()) {
        handler()(code);
        return;
    }
    std::exit(code);
}

void ZRV_ProcessExit::setHandler(std::function<void(int)> newHandler)
{
    handler() = std::move(newHandler);
}
