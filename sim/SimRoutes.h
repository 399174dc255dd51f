#pragma once

#include <QString>

#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace httplib {
class Server;
struct Request;
struct Response;
}

// Every route of the simulator, kept beside the server's own table so that a path known
// under another verb answers 405, and so that a bearer token is checked before any body is read.
class SimRoutes
{
public:
    using Handler = std::function<void(const httplib::Request &, httplib::Response &)>;
    enum class Access { Token, Public };

    explicit SimRoutes(httplib::Server &server);
    // The "source" of refusals for the routes added from now on.
    void setSource(const QString &source) { m_source = source; }

    void get(const std::string &pattern, Handler handler, Access access = Access::Token);
    void post(const std::string &pattern, Handler handler, Access access = Access::Token);
    void put(const std::string &pattern, Handler handler, Access access = Access::Token);
    void patch(const std::string &pattern, Handler handler, Access access = Access::Token);
    void del(const std::string &pattern, Handler handler, Access access = Access::Token);

    // The verbs under which the path is served, in the order they were added; HEAD comes with GET.
    QStringList methodsFor(const std::string &path) const;
    // Whether the route that serves this verb and path needs a token (false when none serves
    // it), and the source its refusals name.
    bool needsToken(const std::string &method, const std::string &path, QString *source) const;

private:
    struct Entry
    {
        std::string method;
        std::regex pattern;
        Access access;
        QString source;
    };
    void add(const char *method, const std::string &pattern, Access access);

    httplib::Server &m_server;
    std::vector<Entry> m_entries;
    QString m_source;
};
