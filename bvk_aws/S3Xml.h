#ifndef BVK_AWS_S3XML_H
#define BVK_AWS_S3XML_H

#include <QByteArray>
#include <QList>
#include <QString>

namespace BVK_AWS {

struct S3ListEntry
{
    QString key;
    qint64 size = 0;
    QString etag;
};

struct S3ListPage
{
    QList<S3ListEntry> entries;
    bool truncated = false;
    QString continuationToken;
};

struct S3ErrorReply
{
    QString code;
    QString message;
    QString region;    // where the bucket lives, when the store says
};

struct S3Part
{
    int number = 0;
    qint64 size = 0;
    QString etag;
};

struct S3PartsPage
{
    QList<S3Part> parts;
    bool truncated = false;
    QString nextMarker;
};

// Readers of the store's XML replies, fed with the bytes of a reply body.
namespace S3Xml {

// A ListObjectsV2 page; false with `error` set when the body is not one. Keys
// of a page that says it is URL-encoded come back decoded.
bool parseListPage(const QByteArray &body, S3ListPage *page, QString *error);
// A ListParts page; false when the body is not one.
bool parsePartsPage(const QByteArray &body, S3PartsPage *page);
// An <Error> document; false when the body is none (empty, HTML, other XML).
bool parseError(const QByteArray &body, S3ErrorReply *reply);
// The UploadId of an InitiateMultipartUploadResult; empty when absent.
QString parseUploadId(const QByteArray &body);
// The ETag of a CompleteMultipartUploadResult; empty when absent.
QString parseCompleteETag(const QByteArray &body);
// The body of a CompleteMultipartUpload request.
QByteArray completeBody(const QList<QString> &partETags);

} // namespace S3Xml

} // namespace BVK_AWS

#endif // BVK_AWS_S3XML_H
