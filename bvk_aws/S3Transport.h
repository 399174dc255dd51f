#ifndef BVK_AWS_S3TRANSPORT_H
#define BVK_AWS_S3TRANSPORT_H

#include <QHash>
#include <QList>
#include <QString>

#include "QAWSException.h"
#include "S3Call.h"
#include "Storage_S3.h"

namespace BVK_AWS {

// How often one request has failed in a way worth another try, and when the
// next try may go out.
struct RetryState
{
    int failures = 0;
    int stalls = 0;
    qint64 notBefore = 0;    // msecs since the epoch
};

// Signs S3 calls and runs them over libcurl, several at once when asked. It
// knows how to address a bucket (in the path, except on Amazon's own hosts,
// where the bucket is part of the host name) and learns a bucket's region from
// the store's answers.
class S3Transport
{
public:
    // A connection that moves no byte for this long is given up.
    static constexpr int kStallSeconds = 10;
    S3Transport(Type type, const QString &url, const QString &user, const QString &pass,
                const QString &sessiontoken);
    ~S3Transport();

    S3Transport(const S3Transport &) = delete;
    S3Transport &operator=(const S3Transport &) = delete;

    // Runs one call to its end, retrying a dropped or refused connection or a
    // busy store a few times with growing pauses, and with the right region
    // when the store names another.
    void run(S3Call &call);
    // Runs one call and throws QAWSException unless it succeeded.
    void runChecked(S3Call &call, const QString &what);

    // Calls in flight at once: start some, then collect them as they end.
    void start(S3Call *call);
    // The next finished call of `owner`; null when it has none in flight.
    S3Call *waitAny(const void *owner);
    // Moves the calls in flight along without waiting; a finished call of
    // `owner` when one ended, else null (look at the calls' `sunk`).
    S3Call *collect(const void *owner);
    // Waits at most `ms` for any call in flight to have something to do.
    void waitForActivity(int ms);
    // Lets a call that reached its `holdAt` go on.
    void resume(S3Call *call);
    void cancel(S3Call *call);

    // The failure a finished call stands for.
    static QAWSException failure(const S3Call &call, const QString &what);
    // Whether a failed call is worth another try; if so, counts it and sets
    // when that try may start. A stalled connection is tried once more only.
    static bool retryLater(const S3Call &call, RetryState &state);
    // The store's own error code in a finished call's reply, if any.
    static QString errorCode(const S3Call &call);

    Type type() const { return m_type; }
    QString identity() const;    // the endpoint, for keying saved state
    static quint64 requestCount();

private:
    struct Route
    {
        QString region;
        QByteArray host;         // as sent in the Host header
        bool pathStyle = true;
    };

    Route route(const QString &bucket);
    bool learnRegion(const S3Call &call);
    void prepare(S3Call *call);
    void finish(S3Call *call, int curlCode);
    static bool worthRetrying(const S3Call &call);
    static bool stalled(const S3Call &call);

    Type m_type;
    QString m_scheme;
    QString m_host;
    int m_port = -1;
    QString m_access;
    QString m_secret;
    QString m_token;
    QString m_defaultRegion;
    bool m_amazon = false;
    QString m_badUrl;
    QHash<QString, QString> m_regions;
    void *m_multi = nullptr;
    QList<S3Call *> m_active;
    QList<S3Call *> m_finished;   // ended, not yet collected by their owner
};

} // namespace BVK_AWS

#endif // BVK_AWS_S3TRANSPORT_H
