#include "MultipartDownload.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>
#include <memory>

#include "S3Transport.h"
#include "TransferJournal.h"

namespace BVK_AWS {

namespace {

const QString kKind = QStringLiteral("download");
constexpr int kMaxRetries = 3;

QAWSException localFailure(const QString &path, const QString &why)
{
    return QAWSException(0, QStringLiteral("LocalFileError"),
                         QStringLiteral("Cannot write \"%1\": %2").arg(path, why));
}

} // namespace

MultipartDownload::MultipartDownload(S3Transport &transport, const QString &bucket, const QString &key,
                                     const QString &path)
    : m_transport(transport)
    , m_bucket(bucket)
    , m_key(key)
    , m_path(path)
    , m_journal(TransferJournal::id(kKind, transport.identity(), bucket, key, path))
{
    TransferJournal::setLast(kKind, m_journal);
}

MultipartDownload::~MultipartDownload()
{
    dropInFlight();
}

bool MultipartDownload::isFor(const QString &bucket, const QString &key, const QString &path) const
{
    return m_bucket == bucket && m_key == key && m_path == path;
}

qint64 MultipartDownload::partLength(int index) const
{
    return qMin(kPartSize, m_size - qint64(index) * kPartSize);
}

MPInfo MultipartDownload::info(bool finished) const
{
    MPInfo out;
    out.size = m_size;
    out.progress = finished ? m_size : m_bytesDone;
    const qint64 ms = m_clock.isValid() ? qMax<qint64>(1, m_clock.elapsed()) : 1;
    out.bytespersecond = qint32(qMin<qint64>(m_movedHere * 1000 / ms, std::numeric_limits<qint32>::max()));
    out.finished = finished;
    return out;
}

void MultipartDownload::saveJournal() const
{
    QJsonArray done;
    for (int i = 0; i < m_done.size(); ++i) {
        if (m_done.at(i))
            done.append(i);
    }
    TransferJournal::save(m_journal, QJsonObject{{QStringLiteral("bucket"), m_bucket},
                                                 {QStringLiteral("key"), m_key},
                                                 {QStringLiteral("partFile"), partPath()},
                                                 {QStringLiteral("size"), double(m_size)},
                                                 {QStringLiteral("etag"), m_etag},
                                                 {QStringLiteral("partSize"), double(kPartSize)},
                                                 {QStringLiteral("done"), done}});
}

void MultipartDownload::begin()
{
    S3Call head;
    head.method = "HEAD";
    head.bucket = m_bucket;
    head.key = m_key;
    m_transport.runChecked(head, QStringLiteral("Reading \"%1\"").arg(m_key));
    m_size = head.replyHeader("content-length").toLongLong();
    m_etag = QString::fromUtf8(head.replyHeader("etag"));
    const int parts = int((m_size + kPartSize - 1) / kPartSize);
    m_done = QVector<bool>(parts, false);
    m_retries = QVector<int>(parts, 0);
    m_clock.start();

    // Go on with an earlier partial file only while the object is the same one.
    const QJsonObject saved = TransferJournal::load(m_journal);
    const QFileInfo partial(partPath());
    const bool resumable = !saved.isEmpty() && saved.value(QStringLiteral("etag")).toString() == m_etag
                           && !m_etag.isEmpty() && saved.value(QStringLiteral("size")).toDouble() == double(m_size)
                           && saved.value(QStringLiteral("partSize")).toDouble() == double(kPartSize)
                           && partial.exists() && partial.size() == m_size;
    m_file.setFileName(partPath());
    if (resumable) {
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
            throw localFailure(partPath(), m_file.errorString());
        const QJsonArray done = saved.value(QStringLiteral("done")).toArray();
        for (const QJsonValue &v : done) {
            const int i = v.toInt(-1);
            if (i >= 0 && i < parts && !m_done.at(i)) {
                m_done[i] = true;
                m_bytesDone += partLength(i);
            }
        }
    } else {
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered))
            throw localFailure(partPath(), m_file.errorString());
        // Full length at once: ranges land anywhere, and a full disk shows now.
        if (!m_file.resize(m_size))
            throw localFailure(partPath(), m_file.errorString());
        saveJournal();
    }
    m_begun = true;
}

void MultipartDownload::topUp()
{
    for (int i = 0; i < m_done.size() && m_inFlight.size() < kInFlight; ++i) {
        if (m_done.at(i) || m_inFlight.contains(i))
            continue;
        auto *call = new S3Call;
        call->bucket = m_bucket;
        call->key = m_key;
        const qint64 from = qint64(i) * kPartSize;
        call->headers = {{"range", QByteArray("bytes=") + QByteArray::number(from) + '-'
                                       + QByteArray::number(from + partLength(i) - 1)}};
        if (!m_etag.isEmpty())
            call->headers.append({"if-match", m_etag.toUtf8()});
        call->sinkFile = &m_file;
        call->sinkOffset = from;
        call->sinkLimit = partLength(i);
        call->tag = i;
        call->owner = this;
        m_inFlight.insert(i, call);
        m_transport.start(call);
    }
}

void MultipartDownload::dropInFlight()
{
    for (S3Call *call : qAsConst(m_inFlight)) {
        m_transport.cancel(call);
        delete call;
    }
    m_inFlight.clear();
}

void MultipartDownload::retire(S3Call *call)
{
    const int index = call->tag;
    m_inFlight.remove(index);
    std::unique_ptr<S3Call> owned(call);
    if (call->ok() && call->received == partLength(index)) {
        m_done[index] = true;
        m_bytesDone += partLength(index);
        m_movedHere += partLength(index);
        saveJournal();
        return;
    }
    const bool transient = !call->sinkFailed && (call->curlCode != 0 || call->status >= 500 || call->ok());
    if (transient && ++m_retries[index] <= kMaxRetries)
        return;
    dropInFlight();
    if (call->status == 412) {
        // The object changed under us: what is on disk is of no use any more.
        TransferJournal::remove(m_journal);
        throw QAWSException(412, QStringLiteral("PreconditionFailed"),
                            QStringLiteral("\"%1\" changed on the store during the download.").arg(m_key));
    }
    throw S3Transport::failure(*call, QStringLiteral("Downloading \"%1\"").arg(m_key));
}

MPInfo MultipartDownload::finish()
{
    if (!m_file.flush())
        throw localFailure(partPath(), m_file.errorString());
    m_file.close();
    // rename() replaces the old file in one move, so there is never a moment without one.
    if (std::rename(QFile::encodeName(partPath()).constData(), QFile::encodeName(m_path).constData()) != 0)
        throw localFailure(m_path, QStringLiteral("the finished download could not take its place"));
    TransferJournal::remove(m_journal);
    m_finished = true;
    return info(true);
}

MPInfo MultipartDownload::step()
{
    if (m_finished)
        return info(true);
    if (!m_begun)
        begin();
    topUp();
    if (m_inFlight.isEmpty())
        return finish();
    if (S3Call *call = m_transport.waitAny(this))
        retire(call);
    topUp();
    if (m_inFlight.isEmpty())
        return finish();
    return info(false);
}

void MultipartDownload::abort()
{
    dropInFlight();
    if (m_file.isOpen())
        m_file.close();
    if (!m_finished)
        QFile::remove(partPath());
    TransferJournal::remove(m_journal);
}

void MultipartDownload::abortJournaled(const QString &journalId)
{
    const QJsonObject saved = TransferJournal::load(journalId);
    const QString partFile = saved.value(QStringLiteral("partFile")).toString();
    if (!partFile.isEmpty())
        QFile::remove(partFile);
    TransferJournal::remove(journalId);
}

} // namespace BVK_AWS
