#pragma once

#include "SimOptions.h"
#include "SimStateStore.h"

#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

// Members of started meetings join, leave, talk and pass the presenter role around;
// a meeting whose end time has come is stopped.
class SimLifeSimulator
{
public:
    SimLifeSimulator(const SimOptions &options, SimStateStore &store);
    ~SimLifeSimulator();

    // Runs steps on a thread of its own when --simulate-life is on.
    void start();
    void stop();
    // One step at once, from any thread (admin endpoint /_sim/tick).
    void step();

private:
    void run();
    void stepMeeting(SimState &s, qint64 key);
    double chance();

    const SimOptions &m_options;
    SimStateStore &m_store;
    std::thread m_thread;
    std::mutex m_wakeMutex;
    std::condition_variable m_wake;
    bool m_stopping = false;
    std::mutex m_randomMutex;
    std::mt19937 m_random;
};
