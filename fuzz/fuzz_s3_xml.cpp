// The object store's XML replies: every reader gets the same body, as any of
// them may be handed a page that was meant for another or none at all.
#include "S3Xml.h"

#include <cstddef>
#include <cstdint>

using namespace BVK_AWS;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), int(size));

    S3ListPage list;
    QString error;
    S3Xml::parseListPage(body, &list, &error);
    S3PartsPage parts;
    S3Xml::parsePartsPage(body, &parts);
    S3ErrorReply reply;
    S3Xml::parseError(body, &reply);
    (void)S3Xml::parseUploadId(body);
    const QString etag = S3Xml::parseCompleteETag(body);

    // Keys and ETags that came in go out again in the next request.
    QList<QString> etags;
    for (const S3ListEntry &entry : list.entries)
        etags.append(entry.etag);
    for (const S3Part &part : parts.parts)
        etags.append(part.etag);
    etags.append(etag);
    (void)S3Xml::completeBody(etags);
    return 0;
}
