#ifndef BVK_AWS_MULTIPARTDOWNLOAD_H
#define BVK_AWS_MULTIPARTDOWNLOAD_H

#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QVector>

#include "S3Call.h"
#include "S3Transport.h"
#include "Storage_S3.h"

namespace BVK_AWS {

// One download into a partial file of its own beside `path`, named after the
// transfer, by streaming GETs that stay open from step to step and write
// straight to their place in the file; a step ends once a bounded amount has
// arrived or a second has passed. On Amazon S3 a large object is cut into a
// few long ranges fetched side by side; elsewhere one GET carries it all.
// Either way the store is asked a few times, not once per part.
// The file takes the place of `path` only when complete, so a failed or
// aborted download leaves what was there untouched. What has arrived is
// journaled with the object's ETag after each step, so that a later step (also
// of a new object, or after a restart) goes on while the object is the same.
class MultipartDownload
{
public:
    MultipartDownload(S3Transport &transport, const QString &bucket, const QString &key, const QString &path);
    ~MultipartDownload();

    bool isFor(const QString &bucket, const QString &key, const QString &path) const;
    MPInfo step();
    // Stops the streams and removes the partial file.
    void abort();
    // Closes the streams, keeping what arrived; the next step opens them again.
    void park();

    static void abortJournaled(const QString &journalId);

    static constexpr qint64 kStepBytes = 8 * 1024 * 1024;
    static constexpr qint64 kMinSegment = 16 * 1024 * 1024;
    static constexpr int kStreams = 4;
    static constexpr int kStepMs = 1000;

private:
    struct Segment
    {
        qint64 start = 0;
        qint64 length = 0;
        qint64 done = 0;       // bytes on disk from `start` on
        RetryState retry;      // failures in a row, without progress
        S3Call *call = nullptr;
    };

    void begin();
    void startStream(Segment &segment, qint64 share);
    void retire(S3Call *call);
    void restartWhole();
    void splitIfSlow();
    void topUp(qint64 share);
    bool allDone() const;
    qint64 bytesOnDisk() const;
    MPInfo finish();
    void saveJournal() const;
    void dropInFlight();
    bool anyInFlight() const;
    bool anyRunning() const;
    MPInfo info(bool finished) const;
    QString partPath() const { return m_partPath; }

    S3Transport &m_transport;
    QString m_bucket;
    QString m_key;
    QString m_path;
    QString m_journal;
    QString m_partPath;
    bool m_begun = false;
    bool m_noRanges = false;   // the store answers a range with the whole object
    bool m_finished = false;
    qint64 m_size = 0;
    QString m_etag;
    QVector<Segment> m_segments;
    QFile m_file;
    qint64 m_resumedAt = 0;
    QElapsedTimer m_clock;
};

} // namespace BVK_AWS

#endif // BVK_AWS_MULTIPARTDOWNLOAD_H
