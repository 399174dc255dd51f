#include "SimServer.h"

#include "SimHttp.h"

#include <httplib.h>

#include <QJsonDocument>

#include <cerrno>
#include <cstdlib>
#include <cstring>

SimServer::SimServer(const SimOptions &options)
    : m_options(options)
    , m_server(new httplib::Server)
    , m_routes(*m_server)
    , m_store(options)
    , m_faults(options)
    , m_auth(options, m_store)
    , m_registry(options, m_store)
    , m_main(options, m_store)
    , m_assets(options, m_store)
    , m_life(options, m_store)
{
}

SimServer::~SimServer()
{
    m_life.stop();
}

bool SimServer::prepare(QString *error)
{
    if (!m_store.initialise(error) || !m_main.prepare(error))
        return false;
    // Hanging requests hold a worker each, so keep plenty in reserve.
    m_server->new_task_queue = [] { return new httplib::ThreadPool(32); };
    m_server->set_keep_alive_max_count(1000);
    m_server->set_payload_max_length(maxBodyBytes);
    m_faults.install(*m_server);
    m_server->set_pre_routing_handler([this](const httplib::Request &req, httplib::Response &res) {
        return beforeRouting(req, res) ? httplib::Server::HandlerResponse::Handled : httplib::Server::HandlerResponse::Unhandled;
    });
    m_server->set_error_handler(httplib::Server::Handler(SimHttp::handler(this, &SimServer::completeError)));
    m_auth.registerRoutes(m_routes);
    m_registry.registerRoutes(m_routes);
    m_main.registerRoutes(m_routes);
    m_assets.registerRoutes(m_routes);
    m_server->Get("/_sim/health", SimHttp::handler(this, &SimServer::health));
    m_server->Post("/_sim/reset", SimHttp::handler(this, &SimServer::reset));
    m_server->Post("/_sim/save", SimHttp::handler(this, &SimServer::save));
    m_server->Get("/_sim/state", SimHttp::handler(this, &SimServer::dump));
    m_server->Post("/_sim/tick", SimHttp::handler(this, &SimServer::tick));
    m_server->set_logger([this](const httplib::Request &req, const httplib::Response &res) { logRequest(req, res); });
    errno = 0;
    if (m_options.port == 0)
        m_port = m_server->bind_to_any_port("127.0.0.1");
    else
        m_port = m_server->bind_to_port("127.0.0.1", m_options.port) ? m_options.port : -1;
    if (m_port <= 0) {
        const int why = errno;
        *error = QStringLiteral("cannot listen on 127.0.0.1:%1%2").arg(m_options.port)
                     .arg(why ? QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(why)) : QString());
        return false;
    }
    return true;
}

bool SimServer::run()
{
    m_life.start();
    const bool ok = m_server->listen_after_bind();
    m_life.stop();
    return ok;
}

void SimServer::stop()
{
    m_faults.clear();
    m_server->stop();
}

bool SimServer::saveState(QString *error)
{
    if (m_options.statePath.isEmpty())
        return true;
    return m_store.save(m_options.statePath, error);
}

void SimServer::logRequest(const httplib::Request &req, const httplib::Response &res)
{
    // Reads leave no trace, as in the real service; changes and failures do.
    if (req.path.rfind("/_sim/", 0) == 0 || (req.method == "GET" && res.status < 400))
        return;
    std::lock_guard<std::mutex> lock(m_store.mutex());
    m_store.state().logService(QStringLiteral("%1 %2 -> %3").arg(QString::fromStdString(req.method),
                                                                  QString::fromStdString(req.path)).arg(res.status));
}

bool SimServer::beforeRouting(const httplib::Request &req, httplib::Response &res)
{
    QString source;
    bool answered = m_faults.intercept(req, res)
        || (req.path.rfind("/_sim/", 0) != 0 && m_routes.needsToken(req.method, req.path, &source)
            && m_store.authorise(req, res, source).isEmpty());
    // An announced length over the limit is refused at once rather than read and thrown away.
    if (!answered && std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10) > maxBodyBytes) {
        res.status = 413;
        answered = true;
    }
    // A body left unread would be taken for the next request on this connection.
    if (answered && (req.has_header("Content-Length") || req.has_header("Transfer-Encoding")))
        res.set_header("Connection", "close");
    return answered;
}

void SimServer::completeError(const httplib::Request &req, httplib::Response &res)
{
    if (!res.body.empty())
        return;
    const QString source = QStringLiteral("zarvo-sim");
    const QString path = QString::fromStdString(req.path);
    if (res.status == 404) {
        const QStringList allowed = m_routes.methodsFor(req.path);
        if (!allowed.isEmpty()) {
            SimHttp::error(res, 405, QStringLiteral("Method %1 not allowed on %2").arg(QString::fromStdString(req.method), path), source);
            res.set_header("Allow", allowed.join(QStringLiteral(", ")).toStdString());
            return;
        }
        SimHttp::error(res, 404, QStringLiteral("No such path: %1").arg(path), source);
    } else if (res.status == 413) {
        SimHttp::error(res, 413, QStringLiteral("Request body larger than %1 bytes").arg(maxBodyBytes), source);
    } else {
        SimHttp::error(res, res.status, QStringLiteral("Bad request"), source);
    }
}

void SimServer::health(const httplib::Request &, httplib::Response &res)
{
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("port"), m_port}});
}

void SimServer::reset(const httplib::Request &, httplib::Response &res)
{
    m_faults.clear();
    m_store.reseed();
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}});
}

void SimServer::save(const httplib::Request &req, httplib::Response &res)
{
    QJsonObject body;
    QString path = m_options.statePath;
    if (SimHttp::bodyObject(req, &body) && body.contains(QStringLiteral("path")))
        path = body.value(QStringLiteral("path")).toString();
    if (path.isEmpty()) {
        SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("error"), QStringLiteral("no --state file and no \"path\" given")}}, 400);
        return;
    }
    QString error;
    if (!m_store.save(path, &error)) {
        SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), false}, {QStringLiteral("error"), error}}, 500);
        return;
    }
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("path"), path}});
}

void SimServer::dump(const httplib::Request &, httplib::Response &res)
{
    std::lock_guard<std::mutex> lock(m_store.mutex());
    SimHttp::json(res, m_store.state().toJson());
}

void SimServer::tick(const httplib::Request &req, httplib::Response &res)
{
    int steps = 1;
    QJsonObject body;
    if (SimHttp::bodyObject(req, &body))
        steps = qBound(1, body.value(QStringLiteral("steps")).toInt(1), 1000);
    for (int i = 0; i < steps; ++i)
        m_life.step();
    SimHttp::json(res, QJsonObject{{QStringLiteral("ok"), true}, {QStringLiteral("steps"), steps}});
}
