#include "MultipartDownload.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>

#include <cstdio>
#include <memory>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

#include "S3Transport.h"
#include "TransferJournal.h"

namespace BVK_AWS {

namespace {

const QString kKind = QStringLiteral("download");
constexpr int kPumpMs = 100;

// Puts the finished file in the place of `to` in one move, also where `to`
// exists: on Windows rename() refuses that, and it takes 8-bit names there.
bool replaceFile(const QString &from, const QString &to)
{
#ifdef Q_OS_WIN
    return MoveFileExW(reinterpret_cast<const wchar_t *>(QDir::toNativeSeparators(from).utf16()),
                       reinterpret_cast<const wchar_t *>(QDir::toNativeSeparators(to).utf16()),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)
           != 0;
#else
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
#endif
}

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
    // Two downloads onto one target never share a partial file.
    m_partPath = path + QLatin1Char('.') + m_journal.section(QLatin1Char('-'), 1).left(12) + QStringLiteral(".part");
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

qint64 MultipartDownload::bytesOnDisk() const
{
    qint64 total = 0;
    for (const Segment &s : m_segments)
        total += s.done + (s.call ? s.call->sunk : 0);
    return total;
}

bool MultipartDownload::anyInFlight() const
{
    for (const Segment &s : m_segments) {
        if (s.call)
            return true;
    }
    return false;
}

bool MultipartDownload::allDone() const
{
    for (const Segment &s : m_segments) {
        if (s.done < s.length)
            return false;
    }
    return true;
}

bool MultipartDownload::anyRunning() const
{
    for (const Segment &s : m_segments) {
        if (s.call && !s.call->held)
            return true;
    }
    return false;
}

MPInfo MultipartDownload::info(bool finished) const
{
    MPInfo out;
    out.size = m_size;
    out.progress = finished ? m_size : bytesOnDisk();
    const qint64 ms = m_clock.isValid() ? qMax<qint64>(1, m_clock.elapsed()) : 1;
    const qint64 moved = qMax<qint64>(0, out.progress - m_resumedAt);
    out.bytespersecond = qint32(qMin<qint64>(moved * 1000 / ms, std::numeric_limits<qint32>::max()));
    out.finished = finished;
    return out;
}

void MultipartDownload::saveJournal() const
{
    QJsonArray segments;
    for (const Segment &s : m_segments)
        segments.append(QJsonArray{double(s.start), double(s.length), double(s.done + (s.call ? s.call->sunk : 0))});
    TransferJournal::save(m_journal, QJsonObject{{QStringLiteral("bucket"), m_bucket},
                                                 {QStringLiteral("key"), m_key},
                                                 {QStringLiteral("partFile"), partPath()},
                                                 {QStringLiteral("size"), double(m_size)},
                                                 {QStringLiteral("etag"), m_etag},
                                                 {QStringLiteral("segments"), segments}});
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

    // Go on with an earlier partial file only while the object is the same one.
    const QJsonObject saved = TransferJournal::load(m_journal);
    QVector<Segment> savedSegments;
    qint64 covered = 0;
    for (const QJsonValue &v : saved.value(QStringLiteral("segments")).toArray()) {
        const QJsonArray a = v.toArray();
        Segment s;
        s.start = qint64(a.at(0).toDouble(-1));
        s.length = qint64(a.at(1).toDouble(-1));
        s.done = qint64(a.at(2).toDouble(-1));
        if (s.start != covered || s.length <= 0 || s.done < 0 || s.done > s.length)
            break;
        covered += s.length;
        savedSegments.append(s);
    }
    const QFileInfo partial(partPath());
    const bool resumable = !m_etag.isEmpty() && saved.value(QStringLiteral("etag")).toString() == m_etag
                           && saved.value(QStringLiteral("size")).toDouble() == double(m_size) && covered == m_size
                           && partial.exists() && partial.size() == m_size;
    m_file.setFileName(partPath());
    if (resumable) {
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
            throw localFailure(partPath(), m_file.errorString());
        m_segments = savedSegments;
    } else {
        if (!m_file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered))
            throw localFailure(partPath(), m_file.errorString());
        // Full length at once: ranges land anywhere, and a full disk shows now.
        if (!m_file.resize(m_size))
            throw localFailure(partPath(), m_file.errorString());
        // Amazon S3 serves each connection at a limited rate, so a large
        // object comes faster over several; a MinIO on the local network fills
        // the link with one, and one plain GET costs it the least work.
        const int most = m_transport.type() == S3 ? kStreams : 1;
        const int streams = int(qBound<qint64>(1, m_size / kMinSegment, most));
        const qint64 each = m_size / streams;
        m_segments.clear();
        for (int i = 0; i < streams && m_size > 0; ++i) {
            Segment s;
            s.start = i * each;
            s.length = i + 1 == streams ? m_size - s.start : each;
            m_segments.append(s);
        }
        saveJournal();
    }
    m_resumedAt = bytesOnDisk();
    m_clock.start();
    m_begun = true;
}

void MultipartDownload::startStream(Segment &s, qint64 share)
{
    auto *call = new S3Call;
    call->bucket = m_bucket;
    call->key = m_key;
    if (m_noRanges)
        s.done = 0; // nothing can be asked for from the middle
    const qint64 from = s.start + s.done;
    const bool ranged = from > 0 || s.length < m_size;
    if (ranged) {
        call->headers = {{"range", QByteArray("bytes=") + QByteArray::number(from) + '-'
                                       + QByteArray::number(s.start + s.length - 1)}};
    }
    if (!m_etag.isEmpty())
        call->headers.append({"if-match", m_etag.toUtf8()});
    call->sinkFile = &m_file;
    call->sinkOffset = from;
    call->sinkLimit = s.length - s.done;
    call->sinkPartialOnly = ranged;
    call->holdAt = share;
    call->owner = this;
    s.call = call;
    m_transport.start(call);
}

void MultipartDownload::topUp(qint64 share)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    for (Segment &s : m_segments) {
        if (!s.call && s.done < s.length && s.retry.notBefore <= now)
            startStream(s, share);
    }
}

void MultipartDownload::restartWhole()
{
    // The store ignores ranges: one plain GET from byte 0 is all that works.
    dropInFlight();
    m_noRanges = true;
    Segment whole;
    whole.length = m_size;
    m_segments = {whole};
    saveJournal();
}

void MultipartDownload::dropInFlight()
{
    for (Segment &s : m_segments) {
        if (!s.call)
            continue;
        // Whatever reached the disk before the cut is kept.
        s.done += s.call->sunk;
        m_transport.cancel(s.call);
        delete s.call;
        s.call = nullptr;
    }
}

void MultipartDownload::retire(S3Call *finished)
{
    std::unique_ptr<S3Call> call(finished);
    Segment *segment = nullptr;
    for (Segment &s : m_segments) {
        if (s.call == finished)
            segment = &s;
    }
    if (!segment)
        return;
    segment->call = nullptr;
    segment->done += call->sunk;
    if (call->sunk > 0)
        segment->retry = RetryState();
    if (call->rangeIgnored) {
        restartWhole();
        return;
    }
    if ((call->ok() || call->limitReached) && segment->done == segment->length)
        return;

    // topUp opens the stream again from where it stopped, after a pause.
    if (S3Transport::retryLater(*call, segment->retry))
        return;
    if (call->ok() && segment->retry.failures < 3) {
        // A body that ended early without a transport error.
        segment->retry.notBefore = QDateTime::currentMSecsSinceEpoch() + (500LL << segment->retry.failures++);
        return;
    }
    dropInFlight();
    if (call->status == 412) {
        // The object changed under us: what is on disk is of no use any more.
        TransferJournal::remove(m_journal);
        throw QAWSException(412, QStringLiteral("PreconditionFailed"),
                            QStringLiteral("\"%1\" changed on the store during the download.").arg(m_key));
    }
    saveJournal();
    throw S3Transport::failure(*call, QStringLiteral("Downloading \"%1\"").arg(m_key));
}

MPInfo MultipartDownload::finish()
{
    if (!m_file.flush())
        throw localFailure(partPath(), m_file.errorString());
    m_file.close();
    // One move replaces the old file, so there is never a moment without one.
    if (!replaceFile(partPath(), m_path))
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
    // Each stream may take its share of one step's bytes, then holds still
    // (its connection open) until the next step.
    const qint64 share = qMax<qint64>(1, kStepBytes / qMax(1, m_segments.size()));
    for (Segment &s : m_segments) {
        if (s.call) {
            s.call->holdAt = s.call->sunk + share;
            m_transport.resume(s.call);
        }
    }
    topUp(share);
    QElapsedTimer clock;
    clock.start();
    // Until every stream holds or the step's second is up; streams waiting to
    // be tried again count as running.
    for (;;) {
        if (S3Call *call = m_transport.collect(this)) {
            retire(call);
            topUp(share);
            continue;
        }
        const bool waiting = !anyInFlight() && !allDone();
        if (!anyRunning() && !waiting)
            break;
        if (clock.elapsed() >= kStepMs)
            break;
        if (anyRunning())
            m_transport.waitForActivity(kPumpMs); // not once all hold: nothing would wake it
        else
            QThread::msleep(kPumpMs / 4);
        topUp(share);
    }
    if (!anyInFlight() && allDone())
        return finish();
    splitIfSlow();
    saveJournal();
    return info(false);
}

void MultipartDownload::splitIfSlow()
{
    // One stream that could not take its share within the step's second runs
    // over a link that limits each connection (a long way to the store): the
    // rest comes faster over several, in ranges side by side.
    if (m_noRanges || m_segments.size() != 1 || !m_segments.first().call || m_segments.first().call->held)
        return;
    Segment &only = m_segments.first();
    const qint64 at = only.done + only.call->sunk;
    const qint64 rest = only.length - at;
    const int streams = int(qMin<qint64>(kStreams, rest / kMinSegment));
    if (streams < 2)
        return;
    const qint64 each = rest / streams;
    const qint64 from = only.start + at;
    const qint64 end = only.start + only.length;
    // The running stream stops where the next range begins.
    only.length = at + each;
    only.call->sinkLimit = only.length - only.done;
    only.call->stopAtLimit = true;
    for (int i = 1; i < streams; ++i) {
        Segment next;
        next.start = from + i * each;
        next.length = i + 1 == streams ? end - next.start : each;
        m_segments.append(next);
    }
}

void MultipartDownload::park()
{
    dropInFlight();
    if (m_begun && !m_finished)
        saveJournal();
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
