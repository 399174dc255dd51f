#ifndef ZRV_S3WORKER_H
#define ZRV_S3WORKER_H

#include <QObject>
#include <QString>
#include <QStringList>

#include "QAWSException.h"

namespace BVK_AWS {
class Storage_S3;
}

// The console's only door to the object store. It lives on a thread of its own:
// every slot is reached by a queued signal and answers by signals, and a running
// transfer lets pause and abort in between two library steps.
class ZRV_S3Worker : public QObject
{
    Q_OBJECT

public:
    ZRV_S3Worker();
    ~ZRV_S3Worker() override;

public slots:
    void doSetup(int type, QString url, QString user, QString pass, QString sessiontoken = QString());
    void doListObjects(QString bucket, QString pathPrefix);
    void doListObjectsAndSizes(QString bucket, QString pathPrefix, bool doSubDirs = true);
    void doPause();
    void doAbort();
    void doDownload(QString bucket, QString key, QString path);
    void doUpload(QString bucket, QString key, QString path);
    void doDelete(QString bucket, QString key);
    void doGetFileSize(QString bucket, QString key);

signals:
    void listFinished(QStringList lst);
    void listFailed(QAWSException ex);
    void listSizesFinished(QStringList sLst, QStringList iLst, QStringList eLst);
    void listSizesFailed(QAWSException ex);
    void downloadFinished();
    void downloadFailed(QAWSException ex);
    void transferProgress(int mode, QString bucket, QString object, qlonglong size, qlonglong progress,
                          int bytespersecond);
    void uploadFinished(QString key, qlonglong size, QString ETag);
    void uploadFailed(QAWSException ex);
    void deleteFinished();
    void deleteFailed(QAWSException ex);
    void setupFinished();
    void setupFailed(QAWSException ex);
    void fileSizeFinished(QString bucket, QString key, qlonglong size);
    void fileSizeFailed(QString bucket, QString key, QAWSException ex);

private:
    friend class TestZRV_S3Worker;

    static QString contentTypeForPath(const QString &path);

    QAWSException notInitialized;
    BVK_AWS::Storage_S3 *storage = nullptr;
    bool abortRequested = false;
    bool pauseRequested = false;
    int transferKind = 0;
    bool downloadActive = false;
    bool uploadActive = false;
};

#endif // ZRV_S3WORKER_H
