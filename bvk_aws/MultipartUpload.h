#ifndef BVK_AWS_MULTIPARTUPLOAD_H
#define BVK_AWS_MULTIPARTUPLOAD_H

#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QVector>

#include <memory>

#include "S3Call.h"
#include "S3Transport.h"
#include "Storage_S3.h"

namespace BVK_AWS {

// One upload of a local file, done in steps. A file below the smallest part
// size goes in one PUT; a larger one as a multi-part upload with a few parts in
// flight at once, whose id and finished parts are journaled after each part.
// A step returns after a second or one part's worth of bytes, with its parts
// still in flight. An upload taken up again from its journal is first checked
// against the store's own list of its parts.
class MultipartUpload
{
public:
    MultipartUpload(S3Transport &transport, const QString &bucket, const QString &key, const QString &path,
                    const QString &mimeType);
    ~MultipartUpload();

    bool isFor(const QString &bucket, const QString &key, const QString &path) const;
    MPInfo step();
    // Stops the parts in flight and gives the upload up on the store.
    void abort();
    // Drops the parts in flight, which the next step sends again.
    void park();

    // Gives up an upload known only from its journal.
    static void abortJournaled(S3Transport &transport, const QString &journalId);

    static qint64 partSizeFor(qint64 size);
    static constexpr qint64 kMinPart = 5 * 1024 * 1024;
    static constexpr int kInFlight = 4;
    static constexpr int kStepMs = 1000;

private:
    void begin();
    void beginMultipart();
    bool adoptSaved(const QJsonObject &saved);
    qint64 movedNow() const;
    bool allSent() const;
    void checkSource();
    // Starts the parts that may go; `checked`: the source was just found unchanged.
    void topUp(bool checked = false);
    void startPart(int index);
    void retire(S3Call *call);
    MPInfo complete();
    void saveJournal() const;
    void dropInFlight();
    qint64 partLength(int index) const;
    MPInfo info(bool finished, const QString &etag = QString()) const;

    S3Transport &m_transport;
    QString m_bucket;
    QString m_key;
    QString m_path;
    QString m_mime;
    QString m_journal;
    bool m_begun = false;
    qint64 m_size = 0;
    qint64 m_mtime = 0;
    qint64 m_partSize = 0;
    QString m_uploadId;
    QVector<QString> m_etags;
    QVector<RetryState> m_retries;
    QHash<int, S3Call *> m_inFlight;
    QFile m_file;
    qint64 m_done = 0;
    qint64 m_movedHere = 0;
    mutable qint64 m_reported = 0;
    QElapsedTimer m_clock;
};

} // namespace BVK_AWS

#endif // BVK_AWS_MULTIPARTUPLOAD_H
