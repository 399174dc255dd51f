#include "ZRV_S3Worker.h"

#include <QCoreApplication>

#include "Storage_S3.h"

namespace {
const QString kNoETag = QStringLiteral("NONE");
}

ZRV_S3Worker::ZRV_S3Worker()
    : QObject(nullptr)
{
    notInitialized.code = 22;
    notInitialized.name = QStringLiteral("Not Initialized");
    notInitialized.message = QStringLiteral("S3 Not initialized. Call Setup first.");
}

ZRV_S3Worker::~ZRV_S3Worker()
{
    delete storage;
}

void ZRV_S3Worker::doSetup(int type, QString url, QString user, QString pass, QString sessiontoken)
{
    delete storage;
    storage = nullptr;
    const BVK_AWS::Type kind = type == 2 ? BVK_AWS::Type::S3 : BVK_AWS::Type::MINIO;
    storage = new BVK_AWS::Storage_S3(kind, url, user, pass, sessiontoken);
    emit setupFinished();
}

void ZRV_S3Worker::doListObjects(QString bucket, QString pathPrefix)
{
    if (!storage) {
        emit listFailed(notInitialized);
        return;
    }
    QStringList keys;
    try {
        storage->ListObjects(bucket, pathPrefix, keys);
    } catch (const QAWSException &ex) {
        emit listFailed(ex);
    }
    emit listFinished(keys);
}

void ZRV_S3Worker::doListObjectsAndSizes(QString bucket, QString pathPrefix, bool doSubDirs)
{
    if (!storage) {
        emit listSizesFailed(notInitialized);
        return;
    }
    QStringList keys;
    try {
        storage->ListObjects(bucket, pathPrefix, keys);
    } catch (const QAWSException &ex) {
        emit listSizesFailed(ex);
    }

    const int depth = pathPrefix.count(QLatin1Char('/'));
    QStringList sizes;
    QStringList etags;
    for (const QString &key : qAsConst(keys)) {
        if (key.endsWith(QLatin1Char('/'))
            || (!doSubDirs && key.count(QLatin1Char('/')) != depth)) {
            sizes.append(QStringLiteral("0"));
            etags.append(kNoETag);
            continue;
        }
        try {
            const BVK_AWS::ObjectInfo info = storage->GetObjectInfo(bucket, key);
            sizes.append(QString::number(info.size));
            etags.append(info.ETag);
        } catch (const QAWSException &ex) {
            // The key stays in the list; the browser copes with the shorter columns.
            emit listSizesFailed(ex);
        }
    }
    emit listSizesFinished(keys, sizes, etags);
}

void ZRV_S3Worker::doPause()
{
    pauseRequested = true;
}

void ZRV_S3Worker::doAbort()
{
    abortRequested = true;
    if (pauseRequested) {
        // A paused transfer has no loop left to see the flag, so its library state is dropped here.
        try {
            if (transferKind == 1)
                storage->AbortUploadObjectMultipart();
            else if (transferKind == 2)
                storage->AbortDownloadObjectMultipart();
        } catch (const QAWSException &) {
            // An abort answers only by clearing the display; what the store
            // keeps of a given-up upload is the store's to expire.
        }
    }
    emit transferProgress(-1, QString(), QString(), 0, 0, 0);
}

void ZRV_S3Worker::doDownload(QString bucket, QString key, QString path)
{
    if (!storage) {
        emit downloadFailed(notInitialized);
        return;
    }
    transferKind = 2;
    abortRequested = false;
    pauseRequested = false;
    // A resumed download keeps its display where it stood.
    if (!downloadActive)
        emit transferProgress(1, bucket, key, 0, 0, 0);
    downloadActive = true;

    BVK_AWS::MPInfo step;
    try {
        for (;;) {
            // storage is read afresh each step: a setup delivered in between replaces it.
            step = storage->DownloadObjectMultipart(bucket, key, path);
            emit transferProgress(1, bucket, key, step.size, step.progress, step.bytespersecond);
            QCoreApplication::processEvents();
            if (step.finished || abortRequested || pauseRequested)
                break;
        }
        if (abortRequested) {
            storage->AbortDownloadObjectMultipart();
            emit transferProgress(-1, QString(), QString(), 0, 0, 0);
            downloadActive = false;
        } else if (pauseRequested) {
            emit transferProgress(1, bucket, key, step.size, step.progress, 0);
        }
    } catch (const QAWSException &ex) {
        emit downloadFailed(ex);
        downloadActive = false;
        return;
    }
    if (step.finished) {
        downloadActive = false;
        emit downloadFinished();
    }
}

void ZRV_S3Worker::doUpload(QString bucket, QString key, QString path)
{
    if (!storage) {
        emit uploadFailed(notInitialized);
        return;
    }
    transferKind = 1;
    abortRequested = false;
    pauseRequested = false;
    if (!uploadActive)
        emit transferProgress(0, bucket, key, 0, 0, 0);
    uploadActive = true;

    BVK_AWS::MPInfo step;
    try {
        for (;;) {
            step = storage->UploadObjectMultipart(bucket, key, path, contentTypeForPath(path));
            QCoreApplication::processEvents();
            emit transferProgress(0, bucket, key, step.size, step.progress,
                                  pauseRequested ? 0 : step.bytespersecond);
            if (step.finished || abortRequested || pauseRequested)
                break;
        }
        if (abortRequested) {
            storage->AbortUploadObjectMultipart();
            emit transferProgress(-1, QString(), QString(), 0, 0, 0);
            uploadActive = false;
        } else if (pauseRequested) {
            emit transferProgress(0, bucket, key, step.size, step.progress, 0);
        }
    } catch (const QAWSException &ex) {
        emit uploadFailed(ex);
        uploadActive = false;
        return;
    }
    if (step.finished) {
        emit uploadFinished(key, step.size, step.ETag);
        uploadActive = false;
    }
}

void ZRV_S3Worker::doDelete(QString bucket, QString key)
{
    if (!storage) {
        emit deleteFailed(notInitialized);
        return;
    }
    try {
        storage->DeleteObject(bucket, key);
    } catch (const QAWSException &ex) {
        emit deleteFailed(ex);
    }
    emit deleteFinished();
}

void ZRV_S3Worker::doGetFileSize(QString bucket, QString key)
{
    if (!storage) {
        emit fileSizeFailed(bucket, key, notInitialized);
        return;
    }
    qint64 size = -1;
    try {
        size = storage->GetObjectSize(bucket, key);
    } catch (const QAWSException &ex) {
        emit fileSizeFailed(bucket, key, ex);
    }
    emit fileSizeFinished(bucket, key, size);
}

QString ZRV_S3Worker::contentTypeForPath(const QString &path)
{
    struct Ending {
        const char *suffix;
        const char *type;
    };
    // Case-sensitive on purpose: capitalised endings fall through to text/plain.
    static const Ending endings[] = {
        {".fbx", "application/octet-stream"},
        {".mp3", "audio/mpeg"},
        {".wav", "audio/wav"},
        {".png", "image/png"},
        {".jpg", "image/jpeg"},
        {".jpeg", "image/jpeg"},
        {".mp4", "video/mp4"},
        {".webm", "video/webm"},
        {".mpg", "video/mpeg"},
        {".mpeg", "video/mpeg"},
        {".pdf", "application/pdf"},
        {".txt", "text/plain"},
        {".doc", "application/msword"},
        {".docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
        {".xls", "application/vnd.ms-excel"},
        {".xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
        {".ppt", "application/vnd.ms-powerpoint"},
        {".pps", "application/vnd.ms-powerpoint"},
        {".pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
        {".ppsx", "application/vnd.openxmlformats-officedocument.presentationml.slideshow"},
    };
    for (const Ending &e : endings) {
        if (path.endsWith(QLatin1String(e.suffix), Qt::CaseSensitive))
            return QString::fromLatin1(e.type);
    }
    return QStringLiteral("text/plain");
}
