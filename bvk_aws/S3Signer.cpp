#include "S3Signer.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>

#include <openssl/evp.h>

#include <algorithm>

namespace BVK_AWS {

namespace {

QByteArray hmac(const QByteArray &key, const QByteArray &message)
{
    return QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha256);
}

// Sequential spaces inside a value count as one; outer ones go.
QByteArray trimmedValue(const QByteArray &value)
{
    return value.simplified();
}

} // namespace

S3Signer::S3Signer(const QString &accessKey, const QString &secretKey, const QString &region,
                   const QString &service)
    : m_accessKey(accessKey.toUtf8())
    , m_secretKey(secretKey.toUtf8())
    , m_region(region)
    , m_service(service)
{
}

QByteArray S3Signer::uriEncode(const QString &text, bool keepSlash)
{
    static const char hex[] = "0123456789ABCDEF";
    const QByteArray utf8 = text.toUtf8();
    QByteArray out;
    out.reserve(utf8.size() * 3);
    for (const char ch : utf8) {
        const auto c = static_cast<unsigned char>(ch);
        const bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')
                                || c == '-' || c == '_' || c == '.' || c == '~';
        if (unreserved || (keepSlash && c == '/')) {
            out.append(static_cast<char>(c));
        } else {
            out.append('%');
            out.append(hex[c >> 4]);
            out.append(hex[c & 0x0f]);
        }
    }
    return out;
}

QByteArray S3Signer::canonicalQuery(const Query &query)
{
    QList<QPair<QByteArray, QByteArray>> encoded;
    encoded.reserve(query.size());
    for (const auto &item : query)
        encoded.append({uriEncode(item.first, false), uriEncode(item.second, false)});
    std::sort(encoded.begin(), encoded.end());
    QByteArray out;
    for (const auto &item : encoded) {
        if (!out.isEmpty())
            out.append('&');
        // A parameter without a value is still written "name=".
        out.append(item.first).append('=').append(item.second);
    }
    return out;
}

QByteArray S3Signer::amzDate(const QDateTime &when)
{
    return when.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
}

QByteArray S3Signer::sha256Hex(const QByteArray &data)
{
    // Part bodies are hashed whole on the transfer thread; OpenSSL's digest
    // uses the CPU's SHA instructions and is several times faster than Qt's.
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(data.constData(), size_t(data.size()), digest, &length, EVP_sha256(), nullptr) != 1)
        return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
    return QByteArray(reinterpret_cast<const char *>(digest), int(length)).toHex();
}

const QByteArray &S3Signer::emptyPayloadHash()
{
    static const QByteArray empty = sha256Hex(QByteArray());
    return empty;
}

void S3Signer::canonicalHeaders(const Headers &headers, QByteArray *canonical, QByteArray *signedNames)
{
    QList<QPair<QByteArray, QByteArray>> sorted;
    for (const auto &h : headers) {
        const QByteArray name = h.first.trimmed().toLower();
        auto it = std::find_if(sorted.begin(), sorted.end(), [&name](const auto &e) { return e.first == name; });
        if (it != sorted.end())
            it->second.append(',').append(trimmedValue(h.second));
        else
            sorted.append({name, trimmedValue(h.second)});
    }
    std::sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    canonical->clear();
    signedNames->clear();
    for (const auto &h : sorted) {
        canonical->append(h.first).append(':').append(h.second).append('\n');
        if (!signedNames->isEmpty())
            signedNames->append(';');
        signedNames->append(h.first);
    }
}

QByteArray S3Signer::canonicalRequest(const Request &request) const
{
    QByteArray headers;
    QByteArray names;
    canonicalHeaders(request.headers, &headers, &names);
    QByteArray out;
    out.append(request.method).append('\n');
    out.append(request.path.isEmpty() ? QByteArray("/") : uriEncode(request.path, true)).append('\n');
    out.append(canonicalQuery(request.query)).append('\n');
    out.append(headers).append('\n');
    out.append(names).append('\n');
    out.append(request.payloadHash);
    return out;
}

QByteArray S3Signer::scope(const QDateTime &when) const
{
    return amzDate(when).left(8) + '/' + m_region.toUtf8() + '/' + m_service.toUtf8() + "/aws4_request";
}

QByteArray S3Signer::stringToSign(const Request &request, const QDateTime &when) const
{
    return QByteArray("AWS4-HMAC-SHA256\n") + amzDate(when) + '\n' + scope(when) + '\n'
           + sha256Hex(canonicalRequest(request));
}

QByteArray S3Signer::signingKey(const QDateTime &when) const
{
    const QByteArray date = hmac("AWS4" + m_secretKey, amzDate(when).left(8));
    const QByteArray region = hmac(date, m_region.toUtf8());
    const QByteArray service = hmac(region, m_service.toUtf8());
    return hmac(service, "aws4_request");
}

QByteArray S3Signer::signature(const Request &request, const QDateTime &when) const
{
    return hmac(signingKey(when), stringToSign(request, when)).toHex();
}

QByteArray S3Signer::authorization(const Request &request, const QDateTime &when) const
{
    QByteArray headers;
    QByteArray names;
    canonicalHeaders(request.headers, &headers, &names);
    return "AWS4-HMAC-SHA256 Credential=" + m_accessKey + '/' + scope(when) + ", SignedHeaders=" + names
           + ", Signature=" + signature(request, when);
}

} // namespace BVK_AWS
