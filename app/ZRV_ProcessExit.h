#pragma once

#include <functional>

// Every place that ends the console at once goes through here, so that a test
// can watch the exit instead of losing its process. A caller returns right
// after calling exit(): with a handler installed, control comes back.
class ZRV_ProcessExit
{
public:
    // Ends the process with code, or hands code to the installed handler.
    static void exit(int code);
    // An empty handler restores the real exit.
    static void setHandler(std::function<void(int)> handler);

private:
    static std::function<void(int)> &handler();
};
