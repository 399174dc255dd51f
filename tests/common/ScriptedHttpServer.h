#pragma once

#include <QHash>
#include <QList>
#include <QPair>
#include <QQueue>
#include <QTcpServer>

class QTcpSocket;

// One request exactly as it reached the server: names in the case and headers in the order sent, the raw body.
struct RecordedRequest {
    QByteArray requestLine;
    QByteArray method;
    QByteArray target;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    // First value of a header, name compared without case; null when absent.
    QByteArray header(const QByteArray &name) const;
    bool hasHeader(const QByteArray &name) const;
    QList<QByteArray> headerNames() const; // in arrival order and in the case sent
};

// A loopback HTTP/1.1 server answering from a per-test script: exact wire forms in, odd replies out.
// It runs on the thread that made it and needs that thread's event loop.
class ScriptedHttpServer : public QObject {
    Q_OBJECT

public:
    explicit ScriptedHttpServer(QObject *parent = nullptr);
    ~ScriptedHttpServer() override { stop(); }

    bool start(); // 127.0.0.1, a free port
    void stop();
    quint16 port() const { return m_server.serverPort(); }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(port()); }

    // The raw bytes of one reply, sent delayMs after its request arrived.
    void enqueueRaw(const QByteArray &raw, int delayMs = 0) { m_script.enqueue({raw, delayMs}); }
    // Content-Length is added unless the caller gives its own (any case) or withLength is false.
    void enqueue(int status, const QList<QPair<QByteArray, QByteArray>> &headers, const QByteArray &body,
                 int delayMs = 0, bool withLength = true)
    {
        enqueueRaw(buildResponse(status, headers, body, withLength), delayMs);
    }
    void enqueueJson(int status, const QByteArray &body, int delayMs = 0)
    {
        enqueue(status, {{"Content-Type", "application/json"}}, body, delayMs);
    }
    // The next request gets no answer; the connection stays open until stop.
    void enqueueHang() { m_script.enqueue({QByteArray(), 0}); }

    static QByteArray buildResponse(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                                    const QByteArray &body, bool withLength = true);

    QList<RecordedRequest> requests() const { return m_requests; }
    RecordedRequest lastRequest() const { return m_requests.value(m_requests.size() - 1); }
    int requestCount() const { return m_requests.size(); }
    int openConnections() const { return m_buffers.size(); }
    void clear()
    {
        m_requests.clear();
        m_script.clear();
    }
    // Runs the event loop until count requests arrived or timeoutMs passed.
    bool waitForRequests(int count, int timeoutMs = 5000);

private:
    void onReadyRead(QTcpSocket *socket);

    QTcpServer m_server;
    QQueue<QPair<QByteArray, int>> m_script; // a reply (null: none) and its delay
    QList<RecordedRequest> m_requests;
    QHash<QTcpSocket *, QByteArray> m_buffers; // the open connections
};
