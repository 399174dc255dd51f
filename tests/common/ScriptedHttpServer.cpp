#include "ScriptedHttpServer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

QByteArray RecordedRequest::header(const QByteArray &name) const
{
    for (const auto &pair : headers) {
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return pair.second;
    }
    return QByteArray();
}

bool RecordedRequest::hasHeader(const QByteArray &name) const
{
    for (const auto &pair : headers) {
        if (pair.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QList<QByteArray> RecordedRequest::headerNames() const
{
    QList<QByteArray> names;
    for (const auto &pair : headers)
        names.append(pair.first);
    return names;
}

ScriptedHttpServer::ScriptedHttpServer(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, &ScriptedHttpServer::onNewConnection);
}

ScriptedHttpServer::~ScriptedHttpServer()
{
    stop();
}

bool ScriptedHttpServer::start()
{
    return m_server.isListening() || m_server.listen(QHostAddress::LocalHost, 0);
}

void ScriptedHttpServer::stop()
{
    m_server.close();
    const QList<QTcpSocket *> sockets = m_sockets;
    m_sockets.clear();
    m_buffers.clear();
    for (QTcpSocket *socket : sockets) {
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
}

quint16 ScriptedHttpServer::port() const
{
    return m_server.serverPort();
}

QString ScriptedHttpServer::baseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(port());
}

void ScriptedHttpServer::enqueueRaw(const QByteArray &raw, int delayMs)
{
    Step step;
    step.raw = raw;
    step.delayMs = delayMs;
    m_script.enqueue(step);
}

QByteArray ScriptedHttpServer::buildResponse(int status,
                                             const QList<QPair<QByteArray, QByteArray>> &headers,
                                             const QByteArray &body, bool withLength)
{
    QByteArray raw = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    bool hasLength = false;
    for (const auto &pair : headers) {
        if (pair.first.compare("content-length", Qt::CaseInsensitive) == 0)
            hasLength = true;
        raw += pair.first + ": " + pair.second + "\r\n";
    }
    if (withLength && !hasLength)
        raw += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    raw += "Connection: close\r\n\r\n";
    return raw + body;
}

void ScriptedHttpServer::enqueue(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                                 const QByteArray &body, int delayMs, bool withLength)
{
    enqueueRaw(buildResponse(status, headers, body, withLength), delayMs);
}

void ScriptedHttpServer::enqueueJson(int status, const QByteArray &body, int delayMs)
{
    enqueue(status, {{"Content-Type", "application/json"}}, body, delayMs);
}

void ScriptedHttpServer::enqueueClose()
{
    Step step;
    step.action = Action::Close;
    m_script.enqueue(step);
}

void ScriptedHttpServer::enqueueHang()
{
    Step step;
    step.action = Action::Hang;
    m_script.enqueue(step);
}

RecordedRequest ScriptedHttpServer::lastRequest() const
{
    return m_requests.isEmpty() ? RecordedRequest() : m_requests.last();
}

void ScriptedHttpServer::clear()
{
    m_requests.clear();
    m_script.clear();
}

bool ScriptedHttpServer::waitForRequests(int count, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (m_requests.size() < count && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    return m_requests.size() >= count;
}

void ScriptedHttpServer::onNewConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        m_sockets.append(socket);
        m_buffers.insert(socket, QByteArray());
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_sockets.removeAll(socket);
            m_buffers.remove(socket);
            socket->deleteLater();
        });
    }
}

void ScriptedHttpServer::onReadyRead(QTcpSocket *socket)
{
    if (!m_buffers.contains(socket))
        return;
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();

    // A connection may carry several requests when a client keeps it alive.
    for (;;) {
        const int headEnd = buffer.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
        RecordedRequest request;
        request.requestLine = lines.value(0).trimmed();
        const QList<QByteArray> parts = request.requestLine.split(' ');
        request.method = parts.value(0);
        request.target = parts.value(1);
        qint64 length = 0;
        for (int i = 1; i < lines.size(); ++i) {
            QByteArray line = lines.at(i);
            if (line.endsWith('\r'))
                line.chop(1);
            const int colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = line.left(colon);
            const QByteArray value = line.mid(colon + 1).trimmed();
            request.headers.append(qMakePair(name, value));
            if (name.compare("content-length", Qt::CaseInsensitive) == 0)
                length = value.toLongLong();
        }
        if (buffer.size() < headEnd + 4 + length)
            return;
        request.body = buffer.mid(headEnd + 4, int(length));
        buffer.remove(0, headEnd + 4 + int(length));
        m_requests.append(request);
        emit requestReceived();
        reply(socket);
        if (!m_buffers.contains(socket))
            return;
    }
}

void ScriptedHttpServer::reply(QTcpSocket *socket)
{
    Step step;
    if (m_script.isEmpty())
        step.raw = buildResponse(599, {{"Content-Type", "text/plain"}}, "no scripted response");
    else
        step = m_script.dequeue();

    switch (step.action) {
    case Action::Hang:
        return;
    case Action::Close:
        m_buffers.remove(socket);
        socket->disconnectFromHost();
        return;
    case Action::Answer:
        break;
    }
    const QPointer<QTcpSocket> guard(socket);
    const QByteArray raw = step.raw;
    auto send = [this, guard, raw] {
        if (!guard || !m_sockets.contains(guard.data()))
            return;
        guard->write(raw);
        guard->disconnectFromHost();
    };
    if (step.delayMs > 0)
        QTimer::singleShot(step.delayMs, this, send);
    else
        send();
}
