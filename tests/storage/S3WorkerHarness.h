#ifndef S3WORKERHARNESS_H
#define S3WORKERHARNESS_H

#include <QObject>
#include <QSignalSpy>
#include <QThread>
#include <QVariantList>

#include "ZRV_S3Worker.h"

// Runs a worker on its own thread and drives it the way the S3 panel does:
// through queued signals in, queued signals out. Every answer is recorded in
// arrival order as one `seen(name, args)`; a failure's exception arrives as
// its code, name and message.
class S3WorkerHarness : public QObject
{
    Q_OBJECT

public:
    S3WorkerHarness();
    ~S3WorkerHarness() override;

    // Posts `call` (doPause or doAbort) to the worker from within the opening
    // progress signal of the next transfer, so that it arrives while the
    // transfer's first step runs, as a press of a button during a transfer does.
    // Posted any earlier, the worker's event loop would hold it back until the
    // transfer's slot has returned.
    void sendWhenOpening(void (S3WorkerHarness::*call)());
    // Waits until `count` answers called `name` have arrived in all.
    bool waitFor(const QString &name, int count = 1, int timeoutMs = 60000);
    // Waits until the worker has handled everything sent before and all its
    // answers to that have arrived. A running transfer lets the drain in
    // between two steps, so wait for its last expected answer first.
    bool drain(int timeoutMs = 60000);

    QStringList names() const;
    QList<QVariantList> argsOf(const QString &name) const;
    void clear() { spy.clear(); }

    QSignalSpy spy{this, &S3WorkerHarness::seen};

signals:
    void seen(QString name, QVariantList args);

    void doSetup(int type, QString url, QString user, QString pass, QString sessiontoken);
    void doListObjects(QString bucket, QString pathPrefix);
    void doListObjectsAndSizes(QString bucket, QString pathPrefix, bool doSubDirs);
    void doPause();
    void doAbort();
    void doDownload(QString bucket, QString key, QString path);
    void doUpload(QString bucket, QString key, QString path);
    void doDelete(QString bucket, QString key);
    void doGetFileSize(QString bucket, QString key);

private:
    template <typename... A> void relay(void (ZRV_S3Worker::*signal)(A...), const char *name);

    QThread m_thread;
    ZRV_S3Worker *m_worker;
    int m_drained = 0;
};

#endif // S3WORKERHARNESS_H
