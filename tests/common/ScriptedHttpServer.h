#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPair>
#include <QQueue>
#include <QString>
#include <QTcpServer>

class QTcpSocket;

// One request exactly as it reached the server: names in the case sent,
// headers in the order sent, the raw body.
struct RecordedRequest {
    QByteArray requestLine;
    QByteArray method;
    QByteArray target;
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    // First value of a header, name compared without case; null when absent.
    QByteArray header(const QByteArray &name) const;
    bool hasHeader(const QByteArray &name) const;
    // Names only, in arrival order and in the case sent.
    QList<QByteArray> headerNames() const;
};

// A loopback HTTP/1.1 server that answers from a per-test script, so that a
// test can see the exact wire form of a request and send odd replies back.
// It runs on the thread that made it and needs that thread's event loop.
class ScriptedHttpServer : public QObject {
    Q_OBJECT

public:
    enum class Action { Answer, Close, Hang };

    explicit ScriptedHttpServer(QObject *parent = nullptr);
    ~ScriptedHttpServer() override;

    // Listens on 127.0.0.1 at a free port.
    bool start();
    void stop();
    quint16 port() const;
    // "http://127.0.0.1:<port>"
    QString baseUrl() const;

    // Queue the raw bytes of one reply, sent after delayMs once a request arrived.
    void enqueueRaw(const QByteArray &raw, int delayMs = 0);
    // Queue a reply built from its parts; Content-Length is added unless the
    // caller gives its own (compared without case) or withLength is false.
    void enqueue(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                 const QByteArray &body, int delayMs = 0, bool withLength = true);
    // Queue a JSON reply with "Content-Type: application/json".
    void enqueueJson(int status, const QByteArray &body, int delayMs = 0);
    // The next request's connection is closed without a byte of answer.
    void enqueueClose();
    // The next request gets no answer; the connection stays open until stop.
    void enqueueHang();

    static QByteArray buildResponse(int status, const QList<QPair<QByteArray, QByteArray>> &headers,
                                    const QByteArray &body, bool withLength = true);

    QList<RecordedRequest> requests() const { return m_requests; }
    RecordedRequest lastRequest() const;
    int requestCount() const { return m_requests.size(); }
    int pendingScripts() const { return m_script.size(); }
    void clear();

    // Runs the event loop until count requests arrived or timeoutMs passed.
    bool waitForRequests(int count, int timeoutMs = 5000);

signals:
    void requestReceived();

private:
    struct Step {
        Action action = Action::Answer;
        QByteArray raw;
        int delayMs = 0;
    };

    void onNewConnection();
    void onReadyRead(QTcpSocket *socket);
    void reply(QTcpSocket *socket);

    QTcpServer m_server;
    QQueue<Step> m_script;
    QList<RecordedRequest> m_requests;
    QList<QTcpSocket *> m_sockets;
    QHash<QTcpSocket *, QByteArray> m_buffers;
};
