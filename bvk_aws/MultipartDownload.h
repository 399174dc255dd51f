#ifndef BVK_AWS_MULTIPARTDOWNLOAD_H
#define BVK_AWS_MULTIPARTDOWNLOAD_H

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QString>
#include <QVector>

#include "S3Call.h"
#include "Storage_S3.h"

namespace BVK_AWS {

class S3Transport;

// One download into "<path>.part" in ranged steps, a few ranges in flight at
// once, each written straight to its place in the file. The file takes the
// place of `path` only when complete, so a failed or aborted download leaves
// what was there untouched. Finished ranges are journaled with the object's
// ETag, so that a later step goes on only while the object is the same.
class MultipartDownload
{
public:
    MultipartDownload(S3Transport &transport, const QString &bucket, const QString &key, const QString &path);
    ~MultipartDownload();

    bool isFor(const QString &bucket, const QString &key, const QString &path) const;
    MPInfo step();
    // Stops the ranges in flight and removes the partial file.
    void abort();

    static void abortJournaled(const QString &journalId);

    static constexpr qint64 kPartSize = 16 * 1024 * 1024;
    static constexpr int kInFlight = 4;

private:
    void begin();
    void topUp();
    void retire(S3Call *call);
    MPInfo finish();
    void saveJournal() const;
    void dropInFlight();
    qint64 partLength(int index) const;
    MPInfo info(bool finished) const;
    QString partPath() const { return m_path + QStringLiteral(".part"); }

    S3Transport &m_transport;
    QString m_bucket;
    QString m_key;
    QString m_path;
    QString m_journal;
    bool m_begun = false;
    bool m_finished = false;
    qint64 m_size = 0;
    QString m_etag;
    QVector<bool> m_done;
    QVector<int> m_retries;
    QHash<int, S3Call *> m_inFlight;
    QFile m_file;
    qint64 m_bytesDone = 0;
    qint64 m_movedHere = 0;
    QElapsedTimer m_clock;
};

} // namespace BVK_AWS

#endif // BVK_AWS_MULTIPARTDOWNLOAD_H
