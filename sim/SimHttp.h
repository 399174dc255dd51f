#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>

#include <functional>
#include <string>

namespace httplib {
struct Request;
struct Response;
}

// Reply and request helpers shared by the three services.
class SimHttp
{
public:
    static void json(httplib::Response &res, const QJsonValue &value, int status = 200);
    // The error object the console digs out of its error text; indented, so it starts with "{\n".
    static void error(httplib::Response &res, int status, const QString &message, const QString &source);
    static void text(httplib::Response &res, const QString &text, int status = 200,
                     const char *contentType = "text/plain");

    // Query or form value (cpp-httplib merges both); empty when absent.
    static QString param(const httplib::Request &req, const char *key);
    static bool hasParam(const httplib::Request &req, const char *key);
    static QString capture(const httplib::Request &req, int index);
    static QString bearerToken(const httplib::Request &req);
    // False when the body is not one JSON object.
    static bool bodyObject(const httplib::Request &req, QJsonObject *object);

    // Route pattern: base path (escaped) followed by a regex tail.
    static std::string route(const QString &base, const char *tail);
    // A service's member function as a route handler.
    template<class Service>
    static std::function<void(const httplib::Request &, httplib::Response &)>
    handler(Service *service, void (Service::*method)(const httplib::Request &, httplib::Response &))
    {
        return [service, method](const httplib::Request &req, httplib::Response &res) { (service->*method)(req, res); };
    }

    static QString isoToday();
    // UTC in the text form that QDateTime::fromString(..., Qt::TextDate) reads back.
    static QString textDate(const QDateTime &utc);
    static qint64 nowMs();
    static QString randomToken(int bytes);
};
