#pragma once

#include "SimOptions.h"
#include "SimState.h"

#include <mutex>

namespace httplib {
struct Request;
struct Response;
}

// The one lock around the simulator's state, plus loading and saving it.
class SimStateStore
{
public:
    explicit SimStateStore(const SimOptions &options);

    std::mutex &mutex() { return m_mutex; }
    // Only with mutex() held.
    SimState &state() { return m_state; }

    // Loads --state when it exists, else seeds. Returns false with *error on a broken file.
    bool initialise(QString *error);
    void reseed();
    bool save(const QString &path, QString *error);

    // Account id of the request's bearer token; on failure writes a 401 and returns empty.
    QString authorise(const httplib::Request &req, httplib::Response &res, const QString &source);
    // authorise() plus a body that must be one JSON object (400 otherwise); empty on failure.
    QString authoriseWithBody(const httplib::Request &req, httplib::Response &res, const QString &source,
                              QJsonObject *body);

    // Only with mutex() held. Registry key of the meeting whose id the route captured first;
    // on failure writes a 404 and returns -1.
    qint64 routeMeeting(const httplib::Request &req, httplib::Response &res, const QString &source);
    // routeMeeting(), and only its creator or someone who may change any meeting gets it (403 otherwise).
    qint64 changeableMeeting(const httplib::Request &req, httplib::Response &res, const QString &source,
                             const QString &accountId);

private:
    const SimOptions &m_options;
    std::mutex m_mutex;
    SimState m_state;
};
