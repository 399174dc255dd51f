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
// operations do a bounded piece of work per call and return; calling again with
// the same arguments goes on where the last call stopped, also from a new
// Storage_S3 object or after a restart of the program.
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

    // HTTP requests sent by all Storage_S3 objects of this process so far.
    static quint64 requestCount();

private:
    std::unique_ptr<StorageSession> d;
};

} // namespace BVK_AWS

#endif // STORAGE_S3_H
