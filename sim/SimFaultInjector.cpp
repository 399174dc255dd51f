#include "SimFaultInjector.h"

#include "SimHttp.h"

#include <httplib.h>

#include <QJsonArray>

#include <chrono>

namespace {

const QString source = QStringLiteral("zarvo-sim");
const QStringList shapes = {QStringLiteral("lowercase-content-type"), QStringLiteral("empty-body"), QStringLiteral("not-json")};

bool isAdminPath(const std::string &path)
{
    return path.rfind("/_sim/", 0) == 0;
}

void adminError(httplib::Response &res, const QString &message)
{
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("error"), message}}, 400);
}

} // namespace

SimFaultInjector::SimFaultInjector(const SimOptions &options)
    : m_options(options)
{
}

void SimFaultInjector::install(httplib::Server &server)
{
    server.set_post_routing_handler(SimHttp::handler(this, &SimFaultInjector::postRouting));
    server.Post("/_sim/fault", SimHttp::handler(this, &SimFaultInjector::addFault));
    server.Get("/_sim/faults", SimHttp::handler(this, &SimFaultInjector::listFaults));
    server.Delete("/_sim/fault", SimHttp::handler(this, &SimFaultInjector::clearFaults));
}

void SimFaultInjector::clear()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_rules.clear();
        m_latencyMs = 0;
        m_latencyPath.clear();
        m_latencyMethod.clear();
        ++m_generation;
    }
    m_release.notify_all();
}

bool SimFaultInjector::matches(const QString &pattern, const QString &path)
{
    if (pattern.isEmpty())
        return true;
    if (pattern.endsWith(QLatin1Char('*')))
        return path.startsWith(pattern.chopped(1));
    return pattern == path;
}

bool SimFaultInjector::matchesMethod(const QString &wanted, const QString &method)
{
    return wanted.isEmpty() || wanted.compare(method, Qt::CaseInsensitive) == 0;
}

bool SimFaultInjector::take(Kind kind, const QString &method, const QString &path, Rule *rule)
{
    for (auto it = m_rules.begin(); it != m_rules.end(); ++it) {
        if (it->kind != kind || !matches(it->path, path) || !matchesMethod(it->method, method))
            continue;
        *rule = *it;
        if (it->remaining > 0 && --it->remaining == 0)
            m_rules.erase(it);
        return true;
    }
    return false;
}

bool SimFaultInjector::intercept(const httplib::Request &req, httplib::Response &res)
{
    // Replies go out uncompressed, whatever the client offers, so that a reshaped body and
    // its length stay what the switch says. The request object is httplib's own, not const.
    const_cast<httplib::Request &>(req).headers.erase("Accept-Encoding");
    if (isAdminPath(req.path))
        return false;
    const QString path = QString::fromStdString(req.path);
    const QString method = QString::fromStdString(req.method);
    std::unique_lock<std::mutex> lock(m_mutex);
    const quint64 generation = m_generation;
    const auto released = [&] { return m_generation != generation; };
    if (m_latencyMs > 0 && matches(m_latencyPath, path) && matchesMethod(m_latencyMethod, method))
        m_release.wait_for(lock, std::chrono::milliseconds(m_latencyMs), released);
    Rule rule;
    if (take(Kind::Hang, method, path, &rule)) {
        m_release.wait_for(lock, std::chrono::seconds(rule.seconds), released);
        // A declared length that never arrives: the client sees the connection drop.
        res.status = 200;
        res.set_content_provider(1, "application/json", [](size_t, size_t, httplib::DataSink &) { return false; });
        return true;
    }
    if (take(Kind::Failure, method, path, &rule)) {
        SimHttp::error(res, rule.status, rule.message.isEmpty() ? QStringLiteral("Injected failure") : rule.message, source);
        if (rule.status < 400) // a redirect: somewhere else, or back to the same path
            res.set_header("Location", rule.location.isEmpty() ? req.path : rule.location.toStdString());
        return true;
    }
    return false;
}

void SimFaultInjector::postRouting(const httplib::Request &req, httplib::Response &res)
{
    if (isAdminPath(req.path))
        return;
    Rule rule;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!take(Kind::Shape, QString::fromStdString(req.method), QString::fromStdString(req.path), &rule))
            return;
    }
    if (rule.shape == QLatin1String("lowercase-content-type")) {
        const std::string type = res.get_header_value("Content-Type");
        res.headers.erase("Content-Type"); // the header map ignores case, so this takes any spelling
        res.headers.emplace("content-type", type.empty() ? std::string("application/json") : type);
    } else if (rule.shape == QLatin1String("empty-body")) {
        res.body.clear();
    } else {
        res.body = "<html><head><title>502 Bad Gateway</title></head><body>upstream hiccup</body></html>";
    }
    // The length was fixed when the handler set its content.
    res.headers.erase("Content-Length");
    res.headers.emplace("Content-Length", std::to_string(res.body.size()));
}

void SimFaultInjector::addFault(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    if (!SimHttp::bodyObject(req, &body)) {
        adminError(res, QStringLiteral("body must be a JSON object"));
        return;
    }
    Rule rule;
    rule.remaining = body.value(QStringLiteral("count")).toInt(1);
    if (rule.remaining == 0 || rule.remaining < -1) {
        adminError(res, QStringLiteral("count must be positive, or -1 for until cleared"));
        return;
    }
    rule.method = body.value(QStringLiteral("method")).toString();
    std::lock_guard<std::mutex> lock(m_mutex);
    if (body.contains(QStringLiteral("latencyMs"))) {
        m_latencyMs = qMax(0, body.value(QStringLiteral("latencyMs")).toInt());
        m_latencyPath = body.value(QStringLiteral("path")).toString();
        m_latencyMethod = rule.method;
    } else if (body.contains(QStringLiteral("hang"))) {
        rule.kind = Kind::Hang;
        rule.path = body.value(QStringLiteral("hang")).toString();
        rule.seconds = qBound(1, body.value(QStringLiteral("seconds")).toInt(m_options.hangSeconds), 600);
        m_rules.push_back(rule);
    } else if (body.contains(QStringLiteral("shape"))) {
        rule.kind = Kind::Shape;
        rule.shape = body.value(QStringLiteral("shape")).toString();
        rule.path = body.value(QStringLiteral("path")).toString();
        if (!shapes.contains(rule.shape)) {
            adminError(res, QStringLiteral("shape must be one of: %1").arg(shapes.join(QStringLiteral(", "))));
            return;
        }
        m_rules.push_back(rule);
    } else if (body.contains(QStringLiteral("status"))) {
        rule.kind = Kind::Failure;
        rule.path = body.value(QStringLiteral("path")).toString();
        rule.status = body.value(QStringLiteral("status")).toInt();
        rule.message = body.value(QStringLiteral("message")).toString();
        rule.location = body.value(QStringLiteral("location")).toString();
        if (rule.status < 300 || rule.status > 599) {
            adminError(res, QStringLiteral("status must be from 300 to 599"));
            return;
        }
        m_rules.push_back(rule);
    } else {
        adminError(res, QStringLiteral("expected one of latencyMs, hang, shape, status"));
        return;
    }
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}});
}

QJsonObject SimFaultInjector::ruleJson(const Rule &rule)
{
    QJsonObject o{{QStringLiteral("path"), rule.path}, {QStringLiteral("count"), rule.remaining}};
    if (!rule.method.isEmpty())
        o.insert(QStringLiteral("method"), rule.method);
    switch (rule.kind) {
    case Kind::Failure:
        o.insert(QStringLiteral("status"), rule.status);
        break;
    case Kind::Hang:
        o.insert(QStringLiteral("hang"), rule.path);
        o.insert(QStringLiteral("seconds"), rule.seconds);
        break;
    case Kind::Shape:
        o.insert(QStringLiteral("shape"), rule.shape);
        break;
    }
    return o;
}

void SimFaultInjector::listFaults(const httplib::Request &, httplib::Response &res)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    QJsonArray rules;
    for (const Rule &r : m_rules)
        rules << ruleJson(r);
    SimHttp::json(res, QJsonObject{{QStringLiteral("latencyMs"), m_latencyMs},
                                   {QStringLiteral("latencyPath"), m_latencyPath},
                                   {QStringLiteral("latencyMethod"), m_latencyMethod},
                                   {QStringLiteral("faults"), rules}});
}

void SimFaultInjector::clearFaults(const httplib::Request &, httplib::Response &res)
{
    clear();
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}});
}
