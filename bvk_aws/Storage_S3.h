// BVK_AWS: the console's client of S3 and MinIO object stores, over libcurl
// with its own request signing.
//
// Unfinished transfers are journaled so that they go on where they stopped,
// also from a new Storage_S3 object or after a restart: one small JSON file per
// transfer in "bvk_aws-transfers" under the user's application data folder
// (QStandardPaths::AppLocalDataLocation). A download is written beside its
// target as "<target>.<12 hex digits>.part", the digits naming the transfer,
// and takes the target's place only when complete. Journals and the partial
// files they name that were left untouched for 7 days are removed when the
// first Storage_S3 object of a process is made.
#ifndef STORAGE_S3_H
#define STORAGE_S3_H

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <memory>

#include "QAWSException.h"

namespace BVK_AWS {

enum Type {
    MINIO = 0,
    S3 = 1
};

// Result of one step of a multi-part transfer.
struct MPInfo
{
    qint64 size = 0;
    qint64 progress = 0;
    qint32 bytespersecond = 0;
    bool finished = false;
    QString ETag;
};

struct ObjectInfo
{
    qint64 size = 0;
    QString ETag;
};

class StorageSession;

// Client of one S3 or MinIO endpoint. Every operation but construction and
// destruction is blocking and throws QAWSException on failure. The transfer
// operations do a bounded piece of work per call (about a second, or one
// part's worth of bytes) and return; calling again with the same arguments
// goes on where the last call stopped, also from a new Storage_S3 object or
// after a restart of the program. A transfer not stepped for two seconds is
// taken as paused and closes its connections; the next step opens them again.
//
// Keys and prefixes are taken in one form: a leading "/" is dropped and runs
// of "/" count as one, so "/a//b.txt" and "a/b.txt" are the same object.
//
// GetObjectInfo (and GetObjectSize) answer from a listing of the same object
// made by this object in the last 60 seconds, and ask the store otherwise: a
// caller may ask once per listed file at no cost.
//
// An object is not thread-safe: use each one from one thread at a time.
class Storage_S3
{
public:
    Storage_S3(Type type, const QString &url, const QString &user, const QString &pass,
               const QString &sessiontoken = QString());
    ~Storage_S3();

    Storage_S3(const Storage_S3 &) = delete;
    Storage_S3 &operator=(const Storage_S3 &) = delete;

    void ListObjects(const QString &bucket, const QString &prefix, QStringList &out);
    ObjectInfo GetObjectInfo(const QString &bucket, const QString &key);
    qint64 GetObjectSize(const QString &bucket, const QString &key);
    void DeleteObject(const QString &bucket, const QString &key);

    MPInfo DownloadObjectMultipart(const QString &bucket, const QString &key, const QString &path);
    void AbortDownloadObjectMultipart();
    MPInfo UploadObjectMultipart(const QString &bucket, const QString &key, const QString &path,
                                 const QString &mimeType);
    void AbortUploadObjectMultipart();

    Type type() const;

    // HTTP requests sent by all Storage_S3 objects of this process so far.
    static quint64 requestCount();

private:
    std::unique_ptr<StorageSession> d;
};

} // namespace BVK_AWS

#endif // STORAGE_S3_H
