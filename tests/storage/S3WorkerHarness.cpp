#include "S3WorkerHarness.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <memory>

namespace {
QVariantList failure(const QAWSException &ex)
{
    return {ex.code, ex.name, ex.message};
}
} // namespace

S3WorkerHarness::S3WorkerHarness()
    : m_worker(new ZRV_S3Worker)
{
    qRegisterMetaType<QAWSException>("QAWSException");
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);

    // Queued as from the panel; also when sendWhenOpening emits from the worker's thread.
    ZRV_S3Worker *w = m_worker;
    const auto q = Qt::QueuedConnection;
    connect(this, &S3WorkerHarness::doSetup, w, &ZRV_S3Worker::doSetup, q);
    connect(this, &S3WorkerHarness::doListObjects, w, &ZRV_S3Worker::doListObjects, q);
    connect(this, &S3WorkerHarness::doListObjectsAndSizes, w, &ZRV_S3Worker::doListObjectsAndSizes, q);
    connect(this, &S3WorkerHarness::doPause, w, &ZRV_S3Worker::doPause, q);
    connect(this, &S3WorkerHarness::doAbort, w, &ZRV_S3Worker::doAbort, q);
    connect(this, &S3WorkerHarness::doDownload, w, &ZRV_S3Worker::doDownload, q);
    connect(this, &S3WorkerHarness::doUpload, w, &ZRV_S3Worker::doUpload, q);
    connect(this, &S3WorkerHarness::doDelete, w, &ZRV_S3Worker::doDelete, q);
    connect(this, &S3WorkerHarness::doGetFileSize, w, &ZRV_S3Worker::doGetFileSize, q);

    // The context object lives on this thread, so every answer is queued.
    connect(w, &ZRV_S3Worker::listFinished, this,
            [this](QStringList l) { emit seen("listFinished", {l}); });
    connect(w, &ZRV_S3Worker::listFailed, this,
            [this](QAWSException ex) { emit seen("listFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::listSizesFinished, this, [this](QStringList s, QStringList i, QStringList e) {
        emit seen("listSizesFinished", {s, i, e});
    });
    connect(w, &ZRV_S3Worker::listSizesFailed, this,
            [this](QAWSException ex) { emit seen("listSizesFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::downloadFinished, this, [this]() { emit seen("downloadFinished", {}); });
    connect(w, &ZRV_S3Worker::downloadFailed, this,
            [this](QAWSException ex) { emit seen("downloadFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::transferProgress, this,
            [this](int mode, QString bucket, QString object, qlonglong size, qlonglong progress, int bps) {
                emit seen("transferProgress", {mode, bucket, object, size, progress, bps});
            });
    connect(w, &ZRV_S3Worker::uploadFinished, this, [this](QString key, qlonglong size, QString etag) {
        emit seen("uploadFinished", {key, size, etag});
    });
    connect(w, &ZRV_S3Worker::uploadFailed, this,
            [this](QAWSException ex) { emit seen("uploadFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::deleteFinished, this, [this]() { emit seen("deleteFinished", {}); });
    connect(w, &ZRV_S3Worker::deleteFailed, this,
            [this](QAWSException ex) { emit seen("deleteFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::setupFinished, this, [this]() { emit seen("setupFinished", {}); });
    connect(w, &ZRV_S3Worker::setupFailed, this,
            [this](QAWSException ex) { emit seen("setupFailed", failure(ex)); });
    connect(w, &ZRV_S3Worker::fileSizeFinished, this, [this](QString bucket, QString key, qlonglong size) {
        emit seen("fileSizeFinished", {bucket, key, size});
    });
    connect(w, &ZRV_S3Worker::fileSizeFailed, this, [this](QString bucket, QString key, QAWSException ex) {
        emit seen("fileSizeFailed", QVariantList{bucket, key} + failure(ex));
    });

    m_thread.start(QThread::InheritPriority);
}

S3WorkerHarness::~S3WorkerHarness()
{
    m_thread.quit();
    m_thread.wait();
}

void S3WorkerHarness::sendWhenOpening(void (S3WorkerHarness::*call)())
{
    auto once = std::make_shared<QMetaObject::Connection>();
    *once = connect(
        m_worker, &ZRV_S3Worker::transferProgress, m_worker,
        [this, once, call](int mode, QString, QString, qlonglong size, qlonglong progress, int) {
            if (mode == -1 || size != 0 || progress != 0)
                return;
            disconnect(*once);
            emit(this->*call)();
        },
        Qt::DirectConnection);
}

bool S3WorkerHarness::waitFor(const QString &name, int count, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (names().count(name) < count) {
        if (deadline.hasExpired() || !spy.wait(int(qMax<qint64>(1, deadline.remainingTime()))))
            return names().count(name) >= count;
    }
    return true;
}

bool S3WorkerHarness::drain(int timeoutMs)
{
    const int target = m_drained + 1;
    // A no-op queued to the worker that answers with a queued call back: both
    // queues are in order, so every answer sent before it has arrived by then.
    QMetaObject::invokeMethod(
        m_worker, [this]() { QMetaObject::invokeMethod(this, [this]() { ++m_drained; }, Qt::QueuedConnection); },
        Qt::QueuedConnection);
    QDeadlineTimer deadline(timeoutMs);
    while (m_drained < target && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    return m_drained >= target;
}

QStringList S3WorkerHarness::names() const
{
    QStringList out;
    for (const QList<QVariant> &call : spy)
        out << call.at(0).toString();
    return out;
}

QList<QVariantList> S3WorkerHarness::argsOf(const QString &name) const
{
    QList<QVariantList> out;
    for (const QList<QVariant> &call : spy) {
        if (call.at(0).toString() == name)
            out << call.at(1).toList();
    }
    return out;
}
