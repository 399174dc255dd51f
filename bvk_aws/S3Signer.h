#ifndef BVK_AWS_S3SIGNER_H
#define BVK_AWS_S3SIGNER_H

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>

namespace BVK_AWS {

// AWS Signature Version 4 for one HTTP request, computed without a network so
// that it can be checked against published vectors. Paths are encoded once, the
// way S3 wants them (no double encoding, no dot-segment removal).
class S3Signer
{
public:
    using Query = QList<QPair<QString, QString>>;
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    struct Request
    {
        QByteArray method;
        QString path;        // decoded, starting with "/"
        Query query;         // decoded names and values, in any order
        Headers headers;     // every header to be signed, "host" included
        QByteArray payloadHash;
    };

    S3Signer(const QString &accessKey, const QString &secretKey, const QString &region,
             const QString &service = QStringLiteral("s3"));

    // The value of the Authorization header for `request` at `when` (UTC).
    QByteArray authorization(const Request &request, const QDateTime &when) const;

    QByteArray canonicalRequest(const Request &request) const;
    QByteArray stringToSign(const Request &request, const QDateTime &when) const;
    QByteArray signature(const Request &request, const QDateTime &when) const;

    const QString &region() const { return m_region; }

    // RFC 3986 encoding with upper-case hex; "/" kept when `keepSlash`.
    static QByteArray uriEncode(const QString &text, bool keepSlash);
    static QByteArray canonicalQuery(const Query &query);
    static QByteArray amzDate(const QDateTime &when);
    static QByteArray sha256Hex(const QByteArray &data);
    static const QByteArray &emptyPayloadHash();

private:
    QByteArray scope(const QDateTime &when) const;
    QByteArray signingKey(const QDateTime &when) const;
    static void canonicalHeaders(const Headers &headers, QByteArray *canonical, QByteArray *signedNames);

    QByteArray m_accessKey;
    QByteArray m_secretKey;
    QString m_region;
    QString m_service;
};

} // namespace BVK_AWS

#endif // BVK_AWS_S3SIGNER_H
