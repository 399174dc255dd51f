// Reply headers as a server may send them, one "Name: value" a line, read
// into the map the worker keeps and planned as the worker plans its body.
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"

#include <cstddef>
#include <cstdint>

using ZRV_Service_API::ZRVHttpRequestWorker;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray raw(reinterpret_cast<const char *>(data), int(size));
    QMap<QString, QString> headers;
    for (const QByteArray &line : raw.split('\n')) {
        const int colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        // As the reply hands them over: names and values undecoded, UTF-8 taken as it comes.
        headers.insert(QString::fromUtf8(line.left(colon)),
                       QString::fromUtf8(line.mid(colon + 1).trimmed()));
    }
    const ZRVHttpRequestWorker::ResponsePlan plan = ZRVHttpRequestWorker::planResponse(headers);
    if (plan.kind == ZRVHttpRequestWorker::ResponsePlan::SaveFile)
        (void)(plan.fileName.size() + plan.contentType.size());
    return 0;
}
