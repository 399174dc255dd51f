#include "SimRoutes.h"

#include <httplib.h>

#include <QStringList>

SimRoutes::SimRoutes(httplib::Server &server)
    : m_server(server)
{
}

void SimRoutes::add(const char *method, const std::string &pattern, Access access)
{
    m_entries.push_back(Entry{method, std::regex(pattern), access, m_source});
}

void SimRoutes::get(const std::string &pattern, Handler handler, Access access)
{
    add("GET", pattern, access);
    m_server.Get(pattern, std::move(handler));
}

void SimRoutes::post(const std::string &pattern, Handler handler, Access access)
{
    add("POST", pattern, access);
    m_server.Post(pattern, std::move(handler));
}

void SimRoutes::put(const std::string &pattern, Handler handler, Access access)
{
    add("PUT", pattern, access);
    m_server.Put(pattern, std::move(handler));
}

void SimRoutes::patch(const std::string &pattern, Handler handler, Access access)
{
    add("PATCH", pattern, access);
    m_server.Patch(pattern, std::move(handler));
}

void SimRoutes::del(const std::string &pattern, Handler handler, Access access)
{
    add("DELETE", pattern, access);
    m_server.Delete(pattern, std::move(handler));
}

QStringList SimRoutes::methodsFor(const std::string &path) const
{
    QStringList methods;
    for (const Entry &e : m_entries) {
        const QString m = QString::fromStdString(e.method);
        if (!methods.contains(m) && std::regex_match(path, e.pattern)) {
            methods << m;
            if (e.method == "GET")
                methods << QStringLiteral("HEAD");
        }
    }
    return methods;
}

bool SimRoutes::needsToken(const std::string &method, const std::string &path, QString *source) const
{
    const std::string verb = method == "HEAD" ? std::string("GET") : method;
    // The first route that matches serves the request, as in the server's own table.
    for (const Entry &e : m_entries) {
        if (e.method == verb && std::regex_match(path, e.pattern)) {
            *source = e.source;
            return e.access == Access::Token;
        }
    }
    return false;
}
