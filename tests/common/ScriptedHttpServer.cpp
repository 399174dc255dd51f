#include "ScriptedHttpServer.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPointer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <iterator>

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
    return std::any_of(headers.begin(), headers.end(),
                       [&](const auto &pair) { return pair.first.compare(name, Qt::CaseInsensitive) == 0; });
}

QList<QByteArray> RecordedRequest::headerNames() const
{
    QList<QByteArray> names;
    std::transform(headers.begin(), headers.end(), std::back_inserter(names), [](const auto &pair) { return pair.first; });
    return names;
}

ScriptedHttpServer::ScriptedHttpServer(QObject *parent) : QObject(parent)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            m_buffers.insert(socket, QByteArray());
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadyRead(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_buffers.remove(socket);
                socket->deleteLater();
            });
        }
    });
}

bool ScriptedHttpServer::start()
{
    return m_server.isListening() || m_server.listen(QHostAddress::LocalHost, 0);
}

void ScriptedHttpServer::stop()
{
    m_server.close();
    const QList<QTcpSocket *> sockets = m_buffers.keys();
    m_buffers.clear();
    for (QTcpSocket *socket : sockets) {
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
    }
}

QByteArray ScriptedHttpServer::buildResponse(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                                             const QByteArray &body, bool withLength)
{
    QByteArray raw = "HTTP/1.1 " + QByteArray::number(status) + " Scripted\r\n";
    for (const auto &pair : headers) {
        withLength = withLength && pair.first.compare("content-length", Qt::CaseInsensitive) != 0;
        raw += pair.first + ": " + pair.second + "\r\n";
    }
    if (withLength)
        raw += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    return raw + "Connection: close\r\n\r\n" + body;
}

bool ScriptedHttpServer::waitForRequests(int count, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (m_requests.size() < count && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    return m_requests.size() >= count;
}

void ScriptedHttpServer::onReadyRead(QTcpSocket *socket)
{
    // A connection may carry several requests when a client keeps it alive.
    while (m_buffers.contains(socket)) {
        QByteArray &buffer = m_buffers[socket];
        buffer += socket->readAll();
        const int headEnd = buffer.indexOf("\r\n\r\n");
        if (headEnd < 0)
            return;
        const QList<QByteArray> lines = buffer.left(headEnd).split('\n');
        RecordedRequest request;
        request.requestLine = lines.value(0).trimmed();
        request.method = request.requestLine.split(' ').value(0);
        request.target = request.requestLine.split(' ').value(1);
        int length = 0;
        for (const QByteArray &line : lines.mid(1)) {
            const int colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            request.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
            if (line.left(colon).compare("content-length", Qt::CaseInsensitive) == 0)
                length = request.headers.last().second.toInt();
        }
        if (buffer.size() < headEnd + 4 + length)
            return;
        request.body = buffer.mid(headEnd + 4, length);
        buffer.remove(0, headEnd + 4 + length);
        m_requests.append(request);

        const auto step = m_script.isEmpty()
            ? qMakePair(buildResponse(599, {{"Content-Type", "text/plain"}}, "no scripted response"), 0)
            : m_script.dequeue();
        if (step.first.isNull())
            continue; // left hanging
        const QPointer<QTcpSocket> guard(socket);
        const auto send = [this, guard, raw = step.first] {
            if (guard && m_buffers.contains(guard.data())) {
                guard->write(raw);
                guard->disconnectFromHost();
            }
        };
        step.second > 0 ? QTimer::singleShot(step.second, this, send) : send();
    }
}
