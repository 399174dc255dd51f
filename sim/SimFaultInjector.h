#pragma once

#include "SimOptions.h"

#include <QJsonObject>
#include <QString>

#include <condition_variable>
#include <mutex>
#include <vector>

namespace httplib {
class Server;
struct Request;
struct Response;
}

// Faults switched at run time through "/_sim/fault": latency, failing statuses,
// requests that hang, and replies of odd shape. Admin paths under "/_sim/" are never hit.
class SimFaultInjector
{
public:
    explicit SimFaultInjector(const SimOptions &options);

    // The admin routes and the reshaping of replies; intercept() goes before routing.
    void install(httplib::Server &server);
    // Drops every fault and lets hanging requests go.
    void clear();
    // Delays, holds or fails a request as the switches say; true when it has been answered.
    bool intercept(const httplib::Request &req, httplib::Response &res);

private:
    enum class Kind { Failure, Hang, Shape };
    struct Rule
    {
        Kind kind = Kind::Failure;
        QString path;      // exact, or a prefix when it ends in "*"; empty matches all
        QString method;    // empty matches every verb
        int remaining = 1; // -1: until cleared
        int status = 500;
        QString message;
        QString location;
        int seconds = 60;
        QString shape;
    };

    void postRouting(const httplib::Request &req, httplib::Response &res);
    void addFault(const httplib::Request &req, httplib::Response &res);
    void listFaults(const httplib::Request &req, httplib::Response &res);
    void clearFaults(const httplib::Request &req, httplib::Response &res);

    // Takes one use of the first matching rule of that kind; the caller holds m_mutex.
    bool take(Kind kind, const QString &method, const QString &path, Rule *rule);
    static bool matches(const QString &pattern, const QString &path);
    static bool matchesMethod(const QString &wanted, const QString &method);
    static QJsonObject ruleJson(const Rule &rule);

    const SimOptions &m_options;
    std::mutex m_mutex;
    std::condition_variable m_release;
    quint64 m_generation = 0;
    std::vector<Rule> m_rules;
    int m_latencyMs = 0;
    QString m_latencyPath;
    QString m_latencyMethod;
};
