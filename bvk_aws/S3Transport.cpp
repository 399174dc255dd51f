#include "S3Transport.h"

#include "S3Xml.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QThread>
#include <QUrl>

#include <curl/curl.h>

#include <algorithm>
#include <atomic>

namespace BVK_AWS {

namespace {

std::atomic<quint64> g_requests{0};

struct CurlGlobal
{
    CurlGlobal() { curl_global_init(CURL_GLOBAL_DEFAULT); }
    ~CurlGlobal() { curl_global_cleanup(); }
};

void ensureCurl()
{
    static CurlGlobal global;
    Q_UNUSED(global);
}

// What lives beside a call while curl works on it.
struct Exchange
{
    CURL *easy = nullptr;
    curl_slist *headers = nullptr;
    qint64 readPos = 0;
    S3Call *call = nullptr;
    QByteArray url;
};

size_t onWrite(char *data, size_t size, size_t count, void *user)
{
    auto *x = static_cast<Exchange *>(user);
    S3Call *call = x->call;
    const qint64 n = qint64(size * count);
    if (call->sinkFile && call->sinkPartialOnly && call->status == 200) {
        // The whole object in answer to a range: it would land in the wrong place.
        call->rangeIgnored = true;
        return 0;
    }
    const bool success = call->status >= 200 && call->status < 300;
    if (call->sinkFile && success) {
        if (call->holdAt >= 0 && call->sunk >= call->holdAt) {
            call->held = true;
            return CURL_WRITEFUNC_PAUSE; // curl hands the same data again on resume
        }
        if (call->sinkLimit >= 0 && call->sunk + n > call->sinkLimit) {
            if (!call->stopAtLimit) {
                call->sinkFailed = true;
                return 0;
            }
            const qint64 keep = call->sinkLimit - call->sunk;
            if (keep > 0
                && (!call->sinkFile->seek(call->sinkOffset + call->sunk) || call->sinkFile->write(data, keep) != keep)) {
                call->sinkFailed = true;
                return 0;
            }
            call->sunk += qMax<qint64>(0, keep);
            call->limitReached = true;
            return 0;
        }
        if (!call->sinkFile->seek(call->sinkOffset + call->sunk) || call->sinkFile->write(data, n) != n) {
            call->sinkFailed = true;
            return 0;
        }
        call->sunk += n;
    } else if (call->reply.size() < 4 * 1024 * 1024) {
        call->reply.append(data, int(n));
    }
    return size_t(n);
}

size_t onHeader(char *data, size_t size, size_t count, void *user)
{
    auto *x = static_cast<Exchange *>(user);
    const QByteArray line = QByteArray(data, int(size * count)).trimmed();
    if (line.startsWith("HTTP/")) {
        // A new status line: interim answers (100 Continue) leave nothing behind.
        x->call->replyHeaders.clear();
        const QList<QByteArray> parts = line.split(' ');
        x->call->status = parts.size() > 1 ? parts.at(1).toLong() : 0;
    } else {
        const int colon = line.indexOf(':');
        if (colon > 0)
            x->call->replyHeaders.append({line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed()});
    }
    return size * count;
}

size_t onRead(char *buffer, size_t size, size_t count, void *user)
{
    auto *x = static_cast<Exchange *>(user);
    const QByteArray &body = x->call->body;
    const qint64 n = qMin<qint64>(qint64(size * count), body.size() - x->readPos);
    if (n <= 0)
        return 0;
    memcpy(buffer, body.constData() + x->readPos, size_t(n));
    x->readPos += n;
    x->call->sent = x->readPos;
    return size_t(n);
}

QString statusText(long status)
{
    switch (status) {
    case 301: return QStringLiteral("The bucket is in another region or must be addressed differently.");
    case 400: return QStringLiteral("The store rejected the request as malformed.");
    case 403: return QStringLiteral("Access denied: the access key, secret or session token is not valid for this request.");
    case 404: return QStringLiteral("The bucket or object does not exist.");
    case 409: return QStringLiteral("The request conflicts with the state of the bucket or object.");
    case 416: return QStringLiteral("The requested range lies outside the object.");
    case 500: return QStringLiteral("The store had an internal error.");
    case 503: return QStringLiteral("The store is busy; try again later.");
    default: return QStringLiteral("The store answered with HTTP status %1.").arg(status);
    }
}

QString statusName(long status)
{
    switch (status) {
    case 301: return QStringLiteral("PermanentRedirect");
    case 400: return QStringLiteral("BadRequest");
    case 403: return QStringLiteral("AccessDenied");
    case 404: return QStringLiteral("NotFound");
    case 409: return QStringLiteral("Conflict");
    case 416: return QStringLiteral("InvalidRange");
    case 500: return QStringLiteral("InternalError");
    case 503: return QStringLiteral("ServiceUnavailable");
    default: return QStringLiteral("HTTP%1").arg(status);
    }
}

} // namespace

S3Transport::S3Transport(Type type, const QString &url, const QString &user, const QString &pass,
                         const QString &sessiontoken)
    : m_type(type)
    , m_access(user)
    , m_secret(pass)
    , m_token(sessiontoken)
{
    ensureCurl();
    QString text = url.trimmed();
    if (!text.contains(QLatin1String("://")))
        text.prepend(QLatin1String("https://"));
    const QUrl parsed(text);
    m_scheme = parsed.scheme().toLower();
    m_host = parsed.host().toLower();
    m_port = parsed.port(-1);
    if (!parsed.isValid() || m_host.isEmpty() || (m_scheme != QLatin1String("http") && m_scheme != QLatin1String("https")))
        m_badUrl = url;

    static const QRegularExpression amazon(
        QStringLiteral("^(?:.+\\.)?s3(?:[.-]dualstack)?[.-]([a-z0-9-]+)\\.amazonaws\\.com(?:\\.cn)?$"));
    const QRegularExpressionMatch m = amazon.match(m_host);
    m_amazon = m_host.endsWith(QLatin1String(".amazonaws.com")) || m_host.endsWith(QLatin1String(".amazonaws.com.cn"));
    m_defaultRegion = m.hasMatch() && m.captured(1) != QLatin1String("amazonaws") ? m.captured(1)
                                                                                   : QStringLiteral("us-east-1");
    // "s3.amazonaws.com" is the global endpoint: the bucket's region is learned.
    if (m_host == QLatin1String("s3.amazonaws.com") || m_host.endsWith(QLatin1String(".s3.amazonaws.com")))
        m_defaultRegion = QStringLiteral("us-east-1");
    m_multi = curl_multi_init();
}

S3Transport::~S3Transport()
{
    const QList<S3Call *> active = m_active;
    for (S3Call *call : active)
        cancel(call);
    curl_multi_cleanup(static_cast<CURLM *>(m_multi));
}

quint64 S3Transport::requestCount()
{
    return g_requests.load();
}

QString S3Transport::identity() const
{
    // Not the access key: renewed temporary keys must find the transfer again.
    return m_scheme + QLatin1String("://") + m_host + QLatin1Char(':') + QString::number(m_port);
}

S3Transport::Route S3Transport::route(const QString &bucket)
{
    Route r;
    r.region = m_regions.value(bucket, m_defaultRegion);
    const QString port = m_port > 0 ? QStringLiteral(":%1").arg(m_port) : QString();
    if (m_type == S3 && m_amazon && !bucket.isEmpty() && !bucket.contains(QLatin1Char('.'))) {
        // Amazon S3 wants the bucket in the host name; dotted names would break TLS there.
        r.pathStyle = false;
        r.host = (bucket + QLatin1String(".s3.") + r.region + QLatin1String(".amazonaws.com") + port).toUtf8();
    } else if (m_type == S3 && m_amazon) {
        r.host = (QLatin1String("s3.") + r.region + QLatin1String(".amazonaws.com") + port).toUtf8();
    } else {
        r.host = (m_host + port).toUtf8();
    }
    return r;
}

bool S3Transport::learnRegion(const S3Call &call)
{
    if (call.bucket.isEmpty())
        return false;
    if (call.status != 301 && call.status != 400 && call.status != 403 && call.status != 307)
        return false;
    // Amazon names the region in a header, MinIO in its error reply.
    QString named = QString::fromLatin1(call.replyHeader("x-amz-bucket-region")).trimmed();
    if (named.isEmpty()) {
        S3ErrorReply reply;
        if (S3Xml::parseError(call.reply, &reply))
            named = reply.region;
    }
    if (named.isEmpty() || named == m_regions.value(call.bucket, m_defaultRegion))
        return false;
    m_regions.insert(call.bucket, named);
    return true;
}

void S3Transport::prepare(S3Call *call)
{
    auto *x = new Exchange;
    x->call = call;
    x->easy = curl_easy_init();
    call->handle = x;
    call->status = 0;
    call->curlCode = 0;
    call->curlError.clear();
    call->reply.clear();
    call->replyHeaders.clear();
    call->sunk = 0;
    call->sent = 0;
    call->held = false;
    call->sinkFailed = false;
    call->rangeIgnored = false;
    call->limitReached = false;

    const Route r = route(call->bucket);
    QString path = QStringLiteral("/");
    if (r.pathStyle && !call->bucket.isEmpty()) {
        path += call->bucket;
        if (!call->key.isEmpty())
            path += QLatin1Char('/') + call->key;
    } else {
        path += call->key;
    }
    if (call->payloadHash.isEmpty())
        call->payloadHash = call->body.isEmpty() ? S3Signer::emptyPayloadHash() : S3Signer::sha256Hex(call->body);

    const QDateTime now = QDateTime::currentDateTimeUtc();
    S3Signer::Request req;
    req.method = call->method;
    req.path = path;
    req.query = call->query;
    req.payloadHash = call->payloadHash;
    req.headers = call->headers;
    req.headers.append({"host", r.host});
    req.headers.append({"x-amz-date", S3Signer::amzDate(now)});
    req.headers.append({"x-amz-content-sha256", call->payloadHash});
    if (!m_token.isEmpty())
        req.headers.append({"x-amz-security-token", m_token.toUtf8()});
    const S3Signer signer(m_access, m_secret, r.region);
    const QByteArray authorization = signer.authorization(req, now);

    x->url = m_scheme.toLatin1() + "://" + r.host + S3Signer::uriEncode(path, true);
    const QByteArray query = S3Signer::canonicalQuery(call->query);
    if (!query.isEmpty())
        x->url += '?' + query;

    for (const auto &h : req.headers)
        x->headers = curl_slist_append(x->headers, (h.first + ": " + h.second).constData());
    x->headers = curl_slist_append(x->headers, ("Authorization: " + authorization).constData());
    // No waiting for "100 Continue", and no form content type on a POST.
    x->headers = curl_slist_append(x->headers, "Expect:");
    bool hasType = false;
    for (const auto &h : call->headers)
        hasType = hasType || h.first.toLower() == "content-type";
    if (!hasType)
        x->headers = curl_slist_append(x->headers, "Content-Type:");

    CURL *e = x->easy;
    curl_easy_setopt(e, CURLOPT_URL, x->url.constData());
    curl_easy_setopt(e, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(e, CURLOPT_HTTPHEADER, x->headers);
    curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT, long(kStallSeconds));
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, long(call->stallSeconds > 0 ? call->stallSeconds : kStallSeconds));
    curl_easy_setopt(e, CURLOPT_BUFFERSIZE, 512L * 1024L);
    curl_easy_setopt(e, CURLOPT_UPLOAD_BUFFERSIZE, 2L * 1024L * 1024L);
    curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, onWrite);
    curl_easy_setopt(e, CURLOPT_WRITEDATA, x);
    curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(e, CURLOPT_HEADERDATA, x);
    curl_easy_setopt(e, CURLOPT_PRIVATE, x);
    if (call->method == "HEAD") {
        curl_easy_setopt(e, CURLOPT_NOBODY, 1L);
    } else if (call->method == "PUT") {
        curl_easy_setopt(e, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(e, CURLOPT_READFUNCTION, onRead);
        curl_easy_setopt(e, CURLOPT_READDATA, x);
        curl_easy_setopt(e, CURLOPT_INFILESIZE_LARGE, curl_off_t(call->body.size()));
    } else if (call->method == "POST") {
        curl_easy_setopt(e, CURLOPT_POST, 1L);
        curl_easy_setopt(e, CURLOPT_READFUNCTION, onRead);
        curl_easy_setopt(e, CURLOPT_READDATA, x);
        curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(call->body.size()));
    } else if (call->method != "GET") {
        curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, call->method.constData());
    }
}

void S3Transport::start(S3Call *call)
{
    prepare(call);
    ++g_requests;
    m_active.append(call);
    if (!m_badUrl.isEmpty()) {
        // Nothing to send to; it fails like a call that could not connect.
        curl_easy_setopt(static_cast<Exchange *>(call->handle)->easy, CURLOPT_URL, "");
    }
    curl_multi_add_handle(static_cast<CURLM *>(m_multi), static_cast<Exchange *>(call->handle)->easy);
}

void S3Transport::finish(S3Call *call, int curlCode)
{
    auto *x = static_cast<Exchange *>(call->handle);
    call->curlCode = curlCode;
    if (curlCode != 0)
        call->curlError = QString::fromUtf8(curl_easy_strerror(CURLcode(curlCode)));
    long status = 0;
    curl_easy_getinfo(x->easy, CURLINFO_RESPONSE_CODE, &status);
    if (status)
        call->status = status;
    curl_multi_remove_handle(static_cast<CURLM *>(m_multi), x->easy);
    curl_easy_cleanup(x->easy);
    curl_slist_free_all(x->headers);
    delete x;
    call->handle = nullptr;
    m_active.removeOne(call);
}

S3Call *S3Transport::collect(const void *owner)
{
    for (int i = 0; i < m_finished.size(); ++i) {
        if (m_finished.at(i)->owner == owner)
            return m_finished.takeAt(i);
    }
    auto *multi = static_cast<CURLM *>(m_multi);
    int running = 0;
    curl_multi_perform(multi, &running);
    S3Call *mine = nullptr;
    int queued = 0;
    while (CURLMsg *msg = curl_multi_info_read(multi, &queued)) {
        if (msg->msg != CURLMSG_DONE)
            continue;
        Exchange *x = nullptr;
        curl_easy_getinfo(msg->easy_handle, CURLINFO_PRIVATE, reinterpret_cast<char **>(&x));
        S3Call *call = x->call;
        finish(call, msg->data.result);
        if (call->owner == owner && !mine)
            mine = call;
        else
            m_finished.append(call);
    }
    return mine;
}

S3Call *S3Transport::waitAny(const void *owner)
{
    const auto ownerActive = [this, owner] {
        return std::any_of(m_active.cbegin(), m_active.cend(), [owner](S3Call *c) { return c->owner == owner; });
    };
    for (;;) {
        if (S3Call *call = collect(owner))
            return call;
        if (!ownerActive())
            return nullptr;
        waitForActivity(1000);
    }
}

void S3Transport::waitForActivity(int ms)
{
    curl_multi_poll(static_cast<CURLM *>(m_multi), nullptr, 0, ms, nullptr);
}

void S3Transport::resume(S3Call *call)
{
    if (!call->held || !call->handle)
        return;
    call->held = false;
    curl_easy_pause(static_cast<Exchange *>(call->handle)->easy, CURLPAUSE_CONT);
}

void S3Transport::cancel(S3Call *call)
{
    m_finished.removeOne(call);
    if (!call->handle)
        return;
    finish(call, CURLE_ABORTED_BY_CALLBACK);
}

QString S3Transport::errorCode(const S3Call &call)
{
    S3ErrorReply reply;
    return S3Xml::parseError(call.reply, &reply) ? reply.code : QString();
}

bool S3Transport::stalled(const S3Call &call)
{
    return call.curlCode == CURLE_OPERATION_TIMEDOUT;
}

bool S3Transport::worthRetrying(const S3Call &call)
{
    if (call.sinkFailed)
        return false;
    switch (call.curlCode) {
    case CURLE_OK:
        // A store gives up on a request body that came too slowly (or not at
        // all, while the transfer was paused) with 400 RequestTimeout.
        return call.status == 500 || call.status == 502 || call.status == 503 || call.status == 504
               || (call.status == 400 && errorCode(call) == QLatin1String("RequestTimeout"));
    case CURLE_COULDNT_CONNECT:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
        return true;
    default:
        return false;
    }
}

bool S3Transport::retryLater(const S3Call &call, RetryState &state)
{
    constexpr int kMaxFailures = 3;
    if (!worthRetrying(call) || state.failures >= kMaxFailures)
        return false;
    if (stalled(call) && state.stalls++ >= 1)
        return false;
    // 0.5, 1, 2 seconds: a store that is busy for a moment gets that moment.
    const qint64 wait = 500LL << state.failures;
    ++state.failures;
    state.notBefore = QDateTime::currentMSecsSinceEpoch() + wait;
    return true;
}

void S3Transport::run(S3Call &call)
{
    bool relocated = false;
    RetryState retry;
    for (;;) {
        call.owner = &call;
        start(&call);
        while (call.handle)
            waitAny(&call);
        if (!relocated && learnRegion(call)) {
            relocated = true;
            continue;
        }
        if (!retryLater(call, retry))
            return;
        const qint64 wait = retry.notBefore - QDateTime::currentMSecsSinceEpoch();
        if (wait > 0)
            QThread::msleep(quint64(wait));
    }
}

void S3Transport::runChecked(S3Call &call, const QString &what)
{
    run(call);
    if (!call.ok())
        throw failure(call, what);
}

QAWSException S3Transport::failure(const S3Call &call, const QString &what)
{
    if (call.sinkFailed) {
        return QAWSException(int(call.status), QStringLiteral("LocalFileError"),
                             QStringLiteral("%1: the local file could not be written.").arg(what));
    }
    if (call.curlCode != 0 && call.curlCode != CURLE_WRITE_ERROR) {
        return QAWSException(call.curlCode, QStringLiteral("TransportError"),
                             QStringLiteral("%1: %2").arg(what, call.curlError));
    }
    S3ErrorReply reply;
    if (S3Xml::parseError(call.reply, &reply)) {
        return QAWSException(int(call.status), reply.code.isEmpty() ? statusName(call.status) : reply.code,
                             reply.message.isEmpty() ? statusText(call.status) : reply.message);
    }
    return QAWSException(int(call.status), statusName(call.status), statusText(call.status));
}

} // namespace BVK_AWS
