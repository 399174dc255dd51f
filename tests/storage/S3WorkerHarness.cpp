#include "S3WorkerHarness.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <memory>

namespace {
// Each answer's arguments as variants; a failure's exception as its code, name and message.
QVariantList pack() { return {}; }
template <typename... R> QVariantList pack(const QAWSException &ex, const R &...rest);
template <typename T, typename... R> QVariantList pack(const T &v, const R &...rest)
{
    return QVariantList{QVariant::fromValue(v)} + pack(rest...);
}
template <typename... R> QVariantList pack(const QAWSException &ex, const R &...rest)
{
    return QVariantList{ex.code, ex.name, ex.message} + pack(rest...);
}
} // namespace

template <typename... A> void S3WorkerHarness::relay(void (ZRV_S3Worker::*signal)(A...), const char *name)
{
    // The context object lives on this thread, so every answer is queued.
    connect(m_worker, signal, this, [this, name](A... args) { emit seen(QString::fromLatin1(name), pack(args...)); });
}

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

    relay(&ZRV_S3Worker::listFinished, "listFinished");
    relay(&ZRV_S3Worker::listFailed, "listFailed");
    relay(&ZRV_S3Worker::listSizesFinished, "listSizesFinished");
    relay(&ZRV_S3Worker::listSizesFailed, "listSizesFailed");
    relay(&ZRV_S3Worker::downloadFinished, "downloadFinished");
    relay(&ZRV_S3Worker::downloadFailed, "downloadFailed");
    relay(&ZRV_S3Worker::transferProgress, "transferProgress");
    relay(&ZRV_S3Worker::uploadFinished, "uploadFinished");
    relay(&ZRV_S3Worker::uploadFailed, "uploadFailed");
    relay(&ZRV_S3Worker::deleteFinished, "deleteFinished");
    relay(&ZRV_S3Worker::deleteFailed, "deleteFailed");
    relay(&ZRV_S3Worker::setupFinished, "setupFinished");
    relay(&ZRV_S3Worker::setupFailed, "setupFailed");
    relay(&ZRV_S3Worker::fileSizeFinished, "fileSizeFinished");
    relay(&ZRV_S3Worker::fileSizeFailed, "fileSizeFailed");

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
