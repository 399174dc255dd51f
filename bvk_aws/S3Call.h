#ifndef BVK_AWS_S3CALL_H
#define BVK_AWS_S3CALL_H

#include <QByteArray>
#include <QFile>
#include <QString>

#include "S3Signer.h"

namespace BVK_AWS {

// One HTTP exchange with the store: what to send, and what came back.
struct S3Call
{
    QByteArray method = "GET";
    QString bucket;
    QString key;
    S3Signer::Query query;
    S3Signer::Headers headers;      // signed along with the standard ones
    QByteArray body;
    QByteArray payloadHash;          // empty: the SHA-256 of `body`

    // A response body goes to `sinkFile` at `sinkOffset` when set, else to `reply`.
    QFile *sinkFile = nullptr;
    qint64 sinkOffset = 0;
    int stallSeconds = 0;            // silence before the call counts as stalled; 0: the default
    qint64 sinkLimit = -1;           // more than this many bytes is a failure...
    bool stopAtLimit = false;        // ...or, with this, where the call ends
    // Set for a ranged GET: only a 206 answer goes to the sink. A store that
    // answers 200 instead sends the whole object, so the call stops at once
    // with `rangeIgnored` set rather than writing it to the wrong place.
    bool sinkPartialOnly = false;
    // The transfer holds still once this many bytes are in the sink (-1: never)
    // until S3Transport::resume; it bounds what one step receives.
    qint64 holdAt = -1;
    bool held = false;

    // Results.
    long status = 0;
    int curlCode = 0;
    QString curlError;
    QByteArray reply;
    S3Signer::Headers replyHeaders;  // names lower-case
    qint64 sunk = 0;                 // bytes written to `sinkFile`
    qint64 sent = 0;                 // bytes of `body` handed to the connection
    bool sinkFailed = false;
    bool rangeIgnored = false;
    bool limitReached = false;       // ended at its sink limit, as asked

    int tag = -1;                    // free for the caller (e.g. a part number)
    const void *owner = nullptr;     // whose collect/waitAny hands it back
    void *handle = nullptr;          // the transport's handle while in flight

    QByteArray replyHeader(const QByteArray &lowerName) const
    {
        for (const auto &h : replyHeaders) {
            if (h.first == lowerName)
                return h.second;
        }
        return QByteArray();
    }
    bool ok() const { return curlCode == 0 && status >= 200 && status < 300 && !sinkFailed; }
};

} // namespace BVK_AWS

#endif // BVK_AWS_S3CALL_H
