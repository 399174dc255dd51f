#include "Storage_S3.h"

#include <QAbstractEventDispatcher>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QThread>
#include <QTimer>

#include <mutex>

#include "MultipartDownload.h"
#include "MultipartUpload.h"
#include "S3Transport.h"
#include "S3Xml.h"
#include "TransferJournal.h"

namespace BVK_AWS {

namespace {

// How long what a listing said about an object stands in for asking again.
constexpr qint64 kListingFreshMs = 60 * 1000;
// A transfer not stepped for this long is taken to be paused: its requests in
// flight are dropped rather than left open for the store to time out.
constexpr int kIdleMs = 2000;
constexpr int kLeftoverDays = 7;

QString cacheKey(const QString &bucket, const QString &key)
{
    return bucket + QLatin1Char('\n') + key;
}

// The one form of every key and prefix: no leading "/", no runs of "/"; a
// trailing "/" (a directory marker) stays. "a//b" and "/a/b" name "a/b".
QString storeKey(const QString &key)
{
    QString out;
    out.reserve(key.size());
    for (const QChar c : key) {
        if (c == QLatin1Char('/') && (out.isEmpty() || out.endsWith(QLatin1Char('/'))))
            continue;
        out += c;
    }
    return out;
}

} // namespace

class StorageSession
{
public:
    StorageSession(Type type, const QString &url, const QString &user, const QString &pass, const QString &token)
        : transport(type, url, user, pass, token)
    {
    }

    ~StorageSession()
    {
        if (!idleTimer)
            return;
        QObject::disconnect(idleTimer, nullptr, nullptr, nullptr);
        if (idleTimer->thread() == QThread::currentThread())
            delete idleTimer;
        else
            idleTimer->deleteLater();
    }

    // Called as a step begins: a long gap since the last one was a pause.
    void resumeFromIdle()
    {
        if (idleTimer && idleTimer->thread() == QThread::currentThread())
            idleTimer->stop();
        if (lastStep.isValid() && lastStep.elapsed() >= kIdleMs)
            park();
        lastStep.invalidate();
    }

    // Called as a step returns with its transfer unfinished.
    void stepReturned()
    {
        lastStep.start();
        // Where the thread runs an event loop (the worker's does while paused),
        // the requests are dropped as soon as the pause is plain, not only when
        // the next step comes.
        if (!idleTimer && QAbstractEventDispatcher::instance(QThread::currentThread())) {
            idleTimer = new QTimer;
            idleTimer->setSingleShot(true);
            idleTimer->setInterval(kIdleMs);
            QObject::connect(idleTimer, &QTimer::timeout, [this] { park(); });
        }
        if (idleTimer && idleTimer->thread() == QThread::currentThread())
            idleTimer->start();
    }

    void park()
    {
        if (upload)
            upload->park();
        if (download)
            download->park();
    }

    struct Listed
    {
        ObjectInfo info;
        qint64 at = 0;
    };

    // Declared first so that the transfers, which use it, go before it.
    S3Transport transport;
    std::unique_ptr<MultipartUpload> upload;
    std::unique_ptr<MultipartDownload> download;
    QHash<QString, Listed> listed;
    QElapsedTimer lastStep;
    QTimer *idleTimer = nullptr;
};

Storage_S3::Storage_S3(Type type, const QString &url, const QString &user, const QString &pass,
                       const QString &sessiontoken)
    : d(std::make_unique<StorageSession>(type, url, user, pass, sessiontoken))
{
    static std::once_flag pruned;
    std::call_once(pruned, [] { TransferJournal::prune(kLeftoverDays); });
}

Type Storage_S3::type() const
{
    return d->transport.type();
}

Storage_S3::~Storage_S3() = default;

quint64 Storage_S3::requestCount()
{
    return S3Transport::requestCount();
}

void Storage_S3::ListObjects(const QString &bucket, const QString &prefix, QStringList &out)
{
    QString token;
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    // Nothing is handed back unless every page came: a part of a listing
    // would look like a store that lost files.
    QStringList keys;
    QList<S3ListEntry> entries;
    do {
        S3Call call;
        call.bucket = bucket;
        // Encoded keys: one key with a character XML cannot carry would
        // otherwise make the whole page unreadable.
        call.query = {{QStringLiteral("list-type"), QStringLiteral("2")},
                      {QStringLiteral("prefix"), storeKey(prefix)},
                      {QStringLiteral("encoding-type"), QStringLiteral("url")}};
        if (!token.isEmpty())
            call.query.append({QStringLiteral("continuation-token"), token});
        d->transport.runChecked(call, QStringLiteral("Listing \"%1\"").arg(bucket));
        S3ListPage page;
        QString error;
        if (!S3Xml::parseListPage(call.reply, &page, &error)) {
            throw QAWSException(int(call.status), QStringLiteral("MalformedReply"),
                                QStringLiteral("The listing of \"%1\" could not be read: %2").arg(bucket, error));
        }
        entries += page.entries;
        token = page.truncated ? page.continuationToken : QString();
    } while (!token.isEmpty());
    for (const S3ListEntry &entry : qAsConst(entries)) {
        out.append(entry.key);
        d->listed.insert(cacheKey(bucket, entry.key), {ObjectInfo{entry.size, entry.etag}, now});
    }
}

ObjectInfo Storage_S3::GetObjectInfo(const QString &bucket, const QString &rawKey)
{
    const QString key = storeKey(rawKey);
    const auto it = d->listed.constFind(cacheKey(bucket, key));
    if (it != d->listed.constEnd() && QDateTime::currentMSecsSinceEpoch() - it->at < kListingFreshMs)
        return it->info;
    S3Call call;
    call.method = "HEAD";
    call.bucket = bucket;
    call.key = key;
    d->transport.runChecked(call, QStringLiteral("Reading \"%1\"").arg(key));
    ObjectInfo info;
    info.size = call.replyHeader("content-length").toLongLong();
    info.ETag = QString::fromUtf8(call.replyHeader("etag"));
    return info;
}

qint64 Storage_S3::GetObjectSize(const QString &bucket, const QString &key)
{
    return GetObjectInfo(bucket, key).size;
}

void Storage_S3::DeleteObject(const QString &bucket, const QString &rawKey)
{
    const QString key = storeKey(rawKey);
    d->listed.remove(cacheKey(bucket, key));
    S3Call call;
    call.method = "DELETE";
    call.bucket = bucket;
    call.key = key;
    d->transport.runChecked(call, QStringLiteral("Deleting \"%1\"").arg(key));
}

MPInfo Storage_S3::DownloadObjectMultipart(const QString &bucket, const QString &rawKey, const QString &path)
{
    const QString key = storeKey(rawKey);
    d->resumeFromIdle();
    if (!d->download || !d->download->isFor(bucket, key, path))
        d->download = std::make_unique<MultipartDownload>(d->transport, bucket, key, path);
    try {
        const MPInfo step = d->download->step();
        if (step.finished)
            d->download.reset();
        else
            d->stepReturned();
        return step;
    } catch (const QAWSException &) {
        // What was finished is journaled; the next call starts from there.
        d->download.reset();
        throw;
    }
}

void Storage_S3::AbortDownloadObjectMultipart()
{
    if (d->download) {
        d->download->abort();
        d->download.reset();
        return;
    }
    const QString last = TransferJournal::last(QStringLiteral("download"));
    if (!last.isEmpty())
        MultipartDownload::abortJournaled(last);
}

MPInfo Storage_S3::UploadObjectMultipart(const QString &bucket, const QString &rawKey, const QString &path,
                                         const QString &mimeType)
{
    const QString key = storeKey(rawKey);
    d->resumeFromIdle();
    if (!d->upload || !d->upload->isFor(bucket, key, path))
        d->upload = std::make_unique<MultipartUpload>(d->transport, bucket, key, path, mimeType);
    try {
        const MPInfo step = d->upload->step();
        if (step.finished) {
            d->upload.reset();
            d->listed.remove(cacheKey(bucket, key));
        } else {
            d->stepReturned();
        }
        return step;
    } catch (const QAWSException &) {
        d->upload.reset();
        throw;
    }
}

void Storage_S3::AbortUploadObjectMultipart()
{
    if (d->upload) {
        d->upload->abort();
        d->upload.reset();
        return;
    }
    const QString last = TransferJournal::last(QStringLiteral("upload"));
    if (!last.isEmpty())
        MultipartUpload::abortJournaled(d->transport, last);
}

} // namespace BVK_AWS
