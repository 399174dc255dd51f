#include "MultipartUpload.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>

#include "S3Transport.h"
#include "S3Xml.h"
#include "TransferJournal.h"

namespace BVK_AWS {

namespace {

const QString kKind = QStringLiteral("upload");
constexpr qint64 kMiB = 1024 * 1024;
constexpr qint64 kMaxPart = 16 * kMiB;
constexpr int kMaxParts = 10000;
constexpr int kPumpMs = 100;

QAWSException localFailure(const QString &path, const QString &why)
{
    return QAWSException(0, QStringLiteral("LocalFileError"),
                         QStringLiteral("Cannot read \"%1\": %2").arg(path, why));
}

} // namespace

MultipartUpload::MultipartUpload(S3Transport &transport, const QString &bucket, const QString &key,
                                 const QString &path, const QString &mimeType)
    : m_transport(transport)
    , m_bucket(bucket)
    , m_key(key)
    , m_path(path)
    , m_mime(mimeType)
    , m_journal(TransferJournal::id(kKind, transport.identity(), bucket, key, path))
{
    TransferJournal::setLast(kKind, m_journal);
}

MultipartUpload::~MultipartUpload()
{
    dropInFlight();
}

bool MultipartUpload::isFor(const QString &bucket, const QString &key, const QString &path) const
{
    return m_bucket == bucket && m_key == key && m_path == path;
}

qint64 MultipartUpload::partSizeFor(qint64 size)
{
    // About eight parts for a mid-sized file so that several can be in flight,
    // never more than the store's part count allows.
    qint64 part = ((size / 8 + kMiB - 1) / kMiB) * kMiB;
    part = qBound(kMinPart, part, kMaxPart);
    const qint64 floor = ((size / kMaxParts + kMiB) / kMiB) * kMiB;
    return qMax(part, floor);
}

qint64 MultipartUpload::partLength(int index) const
{
    return qMin(m_partSize, m_size - qint64(index) * m_partSize);
}

qint64 MultipartUpload::movedNow() const
{
    qint64 moving = 0;
    for (const S3Call *call : m_inFlight)
        moving += call->sent;
    return m_done + moving;
}

bool MultipartUpload::allSent() const
{
    for (const QString &etag : m_etags) {
        if (etag.isEmpty())
            return false;
    }
    return true;
}

MPInfo MultipartUpload::info(bool finished, const QString &etag) const
{
    MPInfo out;
    out.size = m_size;
    // Parts cut by a pause are sent again; the display does not go back for it.
    m_reported = qMax(m_reported, qMin(movedNow(), m_size));
    out.progress = finished ? m_size : m_reported;
    const qint64 ms = m_clock.isValid() ? qMax<qint64>(1, m_clock.elapsed()) : 1;
    out.bytespersecond = qint32(qMin<qint64>(m_movedHere * 1000 / ms, std::numeric_limits<qint32>::max()));
    out.finished = finished;
    out.ETag = etag;
    return out;
}

void MultipartUpload::begin()
{
    const QFileInfo fi(m_path);
    if (!fi.exists() || !fi.isFile())
        throw localFailure(m_path, QStringLiteral("no such file"));
    m_file.setFileName(m_path);
    if (!m_file.open(QIODevice::ReadOnly))
        throw localFailure(m_path, m_file.errorString());
    m_size = fi.size();
    m_mtime = fi.lastModified().toMSecsSinceEpoch();
    m_clock.start();
    m_begun = true;
    if (m_size < kMinPart)
        return;

    m_partSize = partSizeFor(m_size);
    const int parts = int((m_size + m_partSize - 1) / m_partSize);
    m_etags = QVector<QString>(parts);
    m_retries = QVector<RetryState>(parts);

    const QJsonObject saved = TransferJournal::load(m_journal);
    if (saved.value(QStringLiteral("size")).toDouble() == double(m_size)
        && saved.value(QStringLiteral("mtime")).toDouble() == double(m_mtime)
        && saved.value(QStringLiteral("partSize")).toDouble() == double(m_partSize)
        && !saved.value(QStringLiteral("uploadId")).toString().isEmpty()) {
        if (adoptSaved(saved))
            return;
        // The store no longer knows it: completed meanwhile, or given up.
        TransferJournal::remove(m_journal);
    } else if (!saved.isEmpty()) {
        abortJournaled(m_transport, m_journal);
    }
    beginMultipart();
}

bool MultipartUpload::adoptSaved(const QJsonObject &saved)
{
    const QString uploadId = saved.value(QStringLiteral("uploadId")).toString();
    // What the store holds is what counts: the journal may be behind it, or
    // ahead of it after a completion that failed half-way.
    QHash<int, S3Part> stored;
    QString marker;
    do {
        S3Call call;
        call.bucket = m_bucket;
        call.key = m_key;
        call.query = {{QStringLiteral("uploadId"), uploadId}};
        if (!marker.isEmpty())
            call.query.append({QStringLiteral("part-number-marker"), marker});
        m_transport.run(call);
        if (call.status == 404)
            return false;
        if (!call.ok())
            throw S3Transport::failure(call, QStringLiteral("Resuming the upload of \"%1\"").arg(m_key));
        S3PartsPage page;
        if (!S3Xml::parsePartsPage(call.reply, &page)) {
            throw QAWSException(int(call.status), QStringLiteral("MalformedReply"),
                                QStringLiteral("The store's list of the parts of \"%1\" could not be read.").arg(m_key));
        }
        for (const S3Part &part : qAsConst(page.parts))
            stored.insert(part.number, part);
        marker = page.truncated ? page.nextMarker : QString();
    } while (!marker.isEmpty());

    m_uploadId = uploadId;
    m_done = 0;
    for (int i = 0; i < m_etags.size(); ++i) {
        const auto it = stored.constFind(i + 1);
        m_etags[i] = it != stored.constEnd() && it->size == partLength(i) ? it->etag : QString();
        if (!m_etags[i].isEmpty())
            m_done += partLength(i);
    }
    saveJournal();
    return true;
}

void MultipartUpload::beginMultipart()
{
    S3Call call;
    call.method = "POST";
    call.bucket = m_bucket;
    call.key = m_key;
    call.query = {{QStringLiteral("uploads"), QString()}};
    call.headers = {{"content-type", m_mime.toUtf8()}};
    m_transport.runChecked(call, QStringLiteral("Starting the upload of \"%1\"").arg(m_key));
    m_uploadId = S3Xml::parseUploadId(call.reply);
    if (m_uploadId.isEmpty()) {
        throw QAWSException(int(call.status), QStringLiteral("MalformedReply"),
                            QStringLiteral("The store did not name an upload id for \"%1\".").arg(m_key));
    }
    saveJournal();
}

void MultipartUpload::saveJournal() const
{
    QJsonArray etags;
    for (const QString &e : m_etags)
        etags.append(e);
    TransferJournal::save(m_journal, QJsonObject{{QStringLiteral("bucket"), m_bucket},
                                                 {QStringLiteral("key"), m_key},
                                                 {QStringLiteral("path"), m_path},
                                                 {QStringLiteral("size"), double(m_size)},
                                                 {QStringLiteral("mtime"), double(m_mtime)},
                                                 {QStringLiteral("partSize"), double(m_partSize)},
                                                 {QStringLiteral("uploadId"), m_uploadId},
                                                 {QStringLiteral("etags"), etags}});
}

void MultipartUpload::startPart(int index)
{
    auto *call = new S3Call;
    call->method = "PUT";
    call->bucket = m_bucket;
    call->key = m_key;
    call->query = {{QStringLiteral("partNumber"), QString::number(index + 1)},
                   {QStringLiteral("uploadId"), m_uploadId}};
    call->tag = index;
    call->owner = this;
    const qint64 length = partLength(index);
    if (!m_file.seek(qint64(index) * m_partSize)) {
        delete call;
        throw localFailure(m_path, m_file.errorString());
    }
    call->body = m_file.read(length);
    if (call->body.size() != length) {
        delete call;
        throw localFailure(m_path, QStringLiteral("the file changed while it was being uploaded"));
    }
    m_inFlight.insert(index, call);
    m_transport.start(call);
}

void MultipartUpload::checkSource()
{
    // Parts of two versions of a file would make an object that never existed.
    const QFileInfo now(m_path);
    if (now.size() != m_size || now.lastModified().toMSecsSinceEpoch() != m_mtime) {
        abort();
        throw localFailure(m_path, QStringLiteral("the file changed while it was being uploaded"));
    }
}

void MultipartUpload::topUp(bool checked)
{
    const qint64 clock = QDateTime::currentMSecsSinceEpoch();
    for (int i = 0; i < m_etags.size() && m_inFlight.size() < kInFlight; ++i) {
        if (m_etags.at(i).isEmpty() && !m_inFlight.contains(i) && m_retries.at(i).notBefore <= clock) {
            if (!checked)
                checkSource();
            checked = true;
            startPart(i);
        }
    }
}

void MultipartUpload::dropInFlight()
{
    for (S3Call *call : qAsConst(m_inFlight)) {
        m_transport.cancel(call);
        delete call;
    }
    m_inFlight.clear();
}

void MultipartUpload::retire(S3Call *call)
{
    const int index = call->tag;
    m_inFlight.remove(index);
    std::unique_ptr<S3Call> owned(call);
    if (call->ok() && !call->replyHeader("etag").isEmpty()) {
        m_etags[index] = QString::fromUtf8(call->replyHeader("etag"));
        m_done += partLength(index);
        m_movedHere += partLength(index);
        saveJournal();
        return;
    }
    if (call->status == 404) {
        // The store no longer knows the upload: start it over.
        const QAWSException why = S3Transport::failure(*call, QString());
        dropInFlight();
        TransferJournal::remove(m_journal);
        if (why.name != QLatin1String("NoSuchUpload"))
            throw why;
        m_etags.fill(QString());
        m_retries.fill(RetryState());
        m_done = 0;
        beginMultipart();
        return;
    }
    if (S3Transport::retryLater(*call, m_retries[index]))
        return; // topUp sends it again once its pause is over
    dropInFlight();
    throw S3Transport::failure(*call, QStringLiteral("Uploading \"%1\"").arg(m_key));
}

static constexpr int kCompletionSilenceSeconds = 600;

MPInfo MultipartUpload::complete()
{
    S3Call call;
    call.method = "POST";
    call.bucket = m_bucket;
    call.key = m_key;
    call.query = {{QStringLiteral("uploadId"), m_uploadId}};
    call.headers = {{"content-type", "application/xml"}};
    call.body = S3Xml::completeBody(m_etags.toList());
    // A store joins the parts before it says a word, which takes minutes for
    // a large object on a busy store: silence here is no stall.
    call.stallSeconds = kCompletionSilenceSeconds;
    m_transport.run(call);
    // A completion can fail after its 200 status line; the body then holds an <Error>.
    S3ErrorReply error;
    const bool errorBody = S3Xml::parseError(call.reply, &error);
    if (!call.ok() || errorBody) {
        const QAWSException why = call.ok() ? QAWSException(int(call.status), error.code, error.message)
                                            : S3Transport::failure(call, QStringLiteral("Completing the upload of \"%1\"").arg(m_key));
        // A store that refuses the parts as they are will refuse them again:
        // the next try starts afresh. After a passing fault the journal stays,
        // and the next try asks the store what it holds.
        if (call.status >= 400 && call.status < 500)
            abort();
        m_file.close();
        throw why;
    }
    const QString etag = S3Xml::parseCompleteETag(call.reply);
    TransferJournal::remove(m_journal);
    m_file.close();
    return info(true, etag);
}

MPInfo MultipartUpload::step()
{
    if (!m_begun) {
        begin();
        if (m_size < kMinPart) {
            S3Call call;
            call.method = "PUT";
            call.bucket = m_bucket;
            call.key = m_key;
            call.headers = {{"content-type", m_mime.toUtf8()}};
            call.body = m_file.readAll();
            if (call.body.size() != m_size)
                throw localFailure(m_path, m_file.errorString());
            m_transport.runChecked(call, QStringLiteral("Uploading \"%1\"").arg(m_key));
            m_movedHere = m_size;
            m_file.close();
            return info(true, QString::fromUtf8(call.replyHeader("etag")));
        }
    }
    if (m_size < kMinPart)
        return info(true);

    checkSource();
    topUp(true);
    QElapsedTimer clock;
    clock.start();
    const qint64 movedBefore = movedNow();
    for (;;) {
        if (S3Call *call = m_transport.collect(this)) {
            retire(call);
            topUp();
            continue;
        }
        if (m_inFlight.isEmpty() && allSent())
            return complete();
        if (clock.elapsed() >= kStepMs || movedNow() - movedBefore >= m_partSize)
            break;
        if (m_inFlight.isEmpty())
            QThread::msleep(kPumpMs / 4); // parts waiting to be tried again
        else
            m_transport.waitForActivity(kPumpMs);
        topUp();
    }
    return info(false);
}

void MultipartUpload::park()
{
    dropInFlight();
}

void MultipartUpload::abort()
{
    dropInFlight();
    if (!m_uploadId.isEmpty()) {
        S3Call call;
        call.method = "DELETE";
        call.bucket = m_bucket;
        call.key = m_key;
        call.query = {{QStringLiteral("uploadId"), m_uploadId}};
        m_transport.run(call);
    }
    TransferJournal::remove(m_journal);
}

void MultipartUpload::abortJournaled(S3Transport &transport, const QString &journalId)
{
    const QJsonObject saved = TransferJournal::load(journalId);
    const QString uploadId = saved.value(QStringLiteral("uploadId")).toString();
    if (!uploadId.isEmpty()) {
        S3Call call;
        call.method = "DELETE";
        call.bucket = saved.value(QStringLiteral("bucket")).toString();
        call.key = saved.value(QStringLiteral("key")).toString();
        call.query = {{QStringLiteral("uploadId"), uploadId}};
        transport.run(call);
    }
    TransferJournal::remove(journalId);
}

} // namespace BVK_AWS
