// Drives the storage worker the way the console does, without a thread of its
// own, and reports wall time and the storage library's request count.
//
//   zrv-storage-bench upload   <endpoint> <bucket> <key> <local file>
//   zrv-storage-bench download <endpoint> <bucket> <key> <local file>
//   zrv-storage-bench list     <endpoint> <bucket> <prefix>
//   zrv-storage-bench fill     <endpoint> <bucket> <prefix> <count>
//
// Credentials come from AWS_ACCESS_KEY_ID and AWS_SECRET_ACCESS_KEY; the
// worker's storage type from ZRV_BENCH_TYPE (1 MinIO, the default; 2 Amazon S3).

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTextStream>

#include <cstdio>

#include "Storage_S3.h"
#include "ZRV_S3Worker.h"

namespace {

int usage()
{
    std::fprintf(stderr,
                 "usage: zrv-storage-bench upload|download <endpoint> <bucket> <key> <file>\n"
                 "       zrv-storage-bench list <endpoint> <bucket> <prefix>\n"
                 "       zrv-storage-bench fill <endpoint> <bucket> <prefix> <count>\n");
    return 2;
}

void report(const char *what, qint64 ms, quint64 requests, const QString &extra = QString())
{
    QTextStream(stdout) << what << " seconds=" << QString::number(ms / 1000.0, 'f', 2)
                        << " requests=" << requests << (extra.isEmpty() ? "" : " ") << extra << "\n";
}

// Seeds many small objects at once with plain PUTs; the store under test
// does not check signatures, and the worker is not what is measured here.
int fill(const QString &endpoint, const QString &bucket, const QString &prefix, int count)
{
    QNetworkAccessManager nam;
    int pending = count;
    int failed = 0;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < count; ++i) {
        QNetworkRequest request(QUrl(QStringLiteral("%1/%2/%3obj-%4.txt")
                                         .arg(endpoint, bucket, prefix)
                                         .arg(i, 5, 10, QLatin1Char('0'))));
        request.setRawHeader("Authorization",
                             "AWS4-HMAC-SHA256 Credential=fill/20260101/us-east-1/s3/aws4_request, "
                             "SignedHeaders=host, Signature=00");
        QNetworkReply *reply = nam.put(request, QByteArray::number(i).repeated(8));
        QObject::connect(reply, &QNetworkReply::finished, [&, reply]() {
            if (reply->error() != QNetworkReply::NoError)
                ++failed;
            reply->deleteLater();
            if (--pending == 0)
                QCoreApplication::quit();
        });
    }
    if (count > 0)
        QCoreApplication::exec();
    report("fill", clock.elapsed(), 0, QStringLiteral("objects=%1 failed=%2").arg(count).arg(failed));
    return failed == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.size() < 4)
        return usage();
    const QString mode = args.at(0);
    const QString endpoint = args.at(1);
    const QString bucket = args.at(2);
    if (mode == QLatin1String("fill") && args.size() == 5)
        return fill(endpoint, bucket, args.at(3), args.at(4).toInt());

    qRegisterMetaType<QAWSException>("QAWSException");
    ZRV_S3Worker worker;
    worker.doSetup(qEnvironmentVariableIntValue("ZRV_BENCH_TYPE") == 2 ? 2 : 1, endpoint, qEnvironmentVariable("AWS_ACCESS_KEY_ID", "test"),
                   qEnvironmentVariable("AWS_SECRET_ACCESS_KEY", "test"));

    QString failure;
    auto failed = [&failure](QAWSException ex) { failure = ex.message; };
    QObject::connect(&worker, &ZRV_S3Worker::uploadFailed, failed);
    QObject::connect(&worker, &ZRV_S3Worker::downloadFailed, failed);
    QObject::connect(&worker, &ZRV_S3Worker::listSizesFailed, failed);
    bool done = false;
    QObject::connect(&worker, &ZRV_S3Worker::uploadFinished, [&done]() { done = true; });
    QObject::connect(&worker, &ZRV_S3Worker::downloadFinished, [&done]() { done = true; });
    int listed = 0;
    QObject::connect(&worker, &ZRV_S3Worker::listSizesFinished,
                     [&](const QStringList &keys, const QStringList &sizes) {
                         listed = keys.size();
                         done = sizes.size() == keys.size();
                     });

    const quint64 before = BVK_AWS::Storage_S3::requestCount();
    QElapsedTimer clock;
    clock.start();
    if (mode == QLatin1String("upload") && args.size() == 5)
        worker.doUpload(bucket, args.at(3), args.at(4));
    else if (mode == QLatin1String("download") && args.size() == 5)
        worker.doDownload(bucket, args.at(3), args.at(4));
    else if (mode == QLatin1String("list") && args.size() == 4)
        worker.doListObjectsAndSizes(bucket, args.at(3), true);
    else
        return usage();
    const qint64 ms = clock.elapsed();
    const quint64 requests = BVK_AWS::Storage_S3::requestCount() - before;

    if (!done || !failure.isEmpty()) {
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(mode), qPrintable(failure));
        return 1;
    }
    report(qPrintable(mode), ms, requests,
           mode == QLatin1String("list") ? QStringLiteral("objects=%1").arg(listed) : QString());
    return 0;
}
