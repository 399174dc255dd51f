#include "S3Xml.h"

#include <QUrl>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

namespace BVK_AWS {
namespace S3Xml {

namespace {

// Text of the first element `name` below the document element, wherever it is.
QString firstText(const QByteArray &body, const QLatin1String &root, const QLatin1String &name)
{
    QXmlStreamReader xml(body);
    bool inRoot = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (!inRoot) {
            if (xml.name() != root)
                return QString();
            inRoot = true;
        } else if (xml.name() == name) {
            return xml.readElementText(QXmlStreamReader::IncludeChildElements);
        }
    }
    return QString();
}

} // namespace

bool parseListPage(const QByteArray &body, S3ListPage *page, QString *error)
{
    *page = S3ListPage();
    bool urlEncoded = false;
    QXmlStreamReader xml(body);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("ListBucketResult")) {
        *error = xml.hasError() ? xml.errorString() : QStringLiteral("not a bucket listing");
        return false;
    }
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Contents")) {
            S3ListEntry entry;
            bool hasKey = false;
            while (xml.readNextStartElement()) {
                if (xml.name() == QLatin1String("Key")) {
                    entry.key = xml.readElementText();
                    hasKey = true;
                } else if (xml.name() == QLatin1String("Size")) {
                    entry.size = xml.readElementText().trimmed().toLongLong();
                } else if (xml.name() == QLatin1String("ETag")) {
                    entry.etag = xml.readElementText();
                } else {
                    xml.skipCurrentElement();
                }
            }
            if (hasKey)
                page->entries.append(entry);
        } else if (xml.name() == QLatin1String("IsTruncated")) {
            page->truncated = xml.readElementText().trimmed() == QLatin1String("true");
        } else if (xml.name() == QLatin1String("NextContinuationToken")) {
            page->continuationToken = xml.readElementText();
        } else if (xml.name() == QLatin1String("EncodingType")) {
            urlEncoded = xml.readElementText().trimmed().compare(QLatin1String("url"), Qt::CaseInsensitive) == 0;
        } else {
            xml.skipCurrentElement();
        }
    }
    if (xml.hasError()) {
        *error = xml.errorString();
        return false;
    }
    if (urlEncoded) {
        // Form encoding: a blank may come as "+", a real "+" as "%2B".
        for (S3ListEntry &entry : page->entries) {
            QByteArray raw = entry.key.toUtf8();
            raw.replace('+', ' ');
            entry.key = QUrl::fromPercentEncoding(raw);
        }
    }
    if (page->truncated && page->continuationToken.isEmpty()) {
        *error = QStringLiteral("truncated listing without a continuation token");
        return false;
    }
    return true;
}

bool parseError(const QByteArray &body, S3ErrorReply *reply)
{
    *reply = S3ErrorReply();
    QXmlStreamReader xml(body);
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("Error"))
        return false;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Code"))
            reply->code = xml.readElementText().trimmed();
        else if (xml.name() == QLatin1String("Message"))
            reply->message = xml.readElementText().trimmed();
        else if (xml.name() == QLatin1String("Region"))
            reply->region = xml.readElementText().trimmed();
        else
            xml.skipCurrentElement();
    }
    return !reply->code.isEmpty() || !reply->message.isEmpty();
}

bool parsePartsPage(const QByteArray &body, S3PartsPage *page)
{
    *page = S3PartsPage();
    QXmlStreamReader xml(body);
    // AWS names the root "...Result", moto "...Response".
    if (!xml.readNextStartElement()
        || (xml.name() != QLatin1String("ListPartsResult") && xml.name() != QLatin1String("ListPartsResponse")))
        return false;
    while (xml.readNextStartElement()) {
        if (xml.name() == QLatin1String("Part")) {
            S3Part part;
            while (xml.readNextStartElement()) {
                if (xml.name() == QLatin1String("PartNumber"))
                    part.number = xml.readElementText().trimmed().toInt();
                else if (xml.name() == QLatin1String("Size"))
                    part.size = xml.readElementText().trimmed().toLongLong();
                else if (xml.name() == QLatin1String("ETag"))
                    part.etag = xml.readElementText().trimmed();
                else
                    xml.skipCurrentElement();
            }
            if (part.number > 0)
                page->parts.append(part);
        } else if (xml.name() == QLatin1String("IsTruncated")) {
            page->truncated = xml.readElementText().trimmed() == QLatin1String("true");
        } else if (xml.name() == QLatin1String("NextPartNumberMarker")) {
            page->nextMarker = xml.readElementText().trimmed();
        } else {
            xml.skipCurrentElement();
        }
    }
    return !xml.hasError() && !(page->truncated && page->nextMarker.isEmpty());
}

QString parseUploadId(const QByteArray &body)
{
    return firstText(body, QLatin1String("InitiateMultipartUploadResult"), QLatin1String("UploadId")).trimmed();
}

QString parseCompleteETag(const QByteArray &body)
{
    // AWS names the root "...Result", moto "...Response".
    const QString etag = firstText(body, QLatin1String("CompleteMultipartUploadResult"), QLatin1String("ETag"));
    if (!etag.isEmpty())
        return etag.trimmed();
    return firstText(body, QLatin1String("CompleteMultipartUploadResponse"), QLatin1String("ETag")).trimmed();
}

QByteArray completeBody(const QList<QString> &partETags)
{
    QByteArray out;
    QXmlStreamWriter xml(&out);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("CompleteMultipartUpload"));
    xml.writeDefaultNamespace(QStringLiteral("http://s3.amazonaws.com/doc/2006-03-01/"));
    for (int i = 0; i < partETags.size(); ++i) {
        xml.writeStartElement(QStringLiteral("Part"));
        xml.writeTextElement(QStringLiteral("PartNumber"), QString::number(i + 1));
        xml.writeTextElement(QStringLiteral("ETag"), partETags.at(i));
        xml.writeEndElement();
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    return out;
}

} // namespace S3Xml
} // namespace BVK_AWS
