#pragma once

#include <QList>
#include <QMetaType>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QWidget>

#include "QAWSException.h"

class QSpacerItem;
class QTableWidgetItem;
class QThread;
class QTreeWidgetItem;
class ZRV_Config;
class ZRV_S3Worker;
struct ZRV_LoginData;

namespace Ui {
class ZRV_S3;
}

// The object store page: a directory tree built from the flat listing, the
// files of the selected directory, and the queue that moves files one at a
// time through the worker on its own thread. The queue's members are defined
// in ZRV_S3_Queue.cpp.
class ZRV_S3 : public QWidget
{
    Q_OBJECT

public:
    // One unit of the transfer queue.
    struct fileEntry
    {
        int state = 0; // 0 queued, 1 in progress, 2 paused, 3 skipped, 4 complete, 5 failed
        int type = 0;  // 0 upload, 1 download, 2 delete
        QString bucket;
        QString key;
        QString path;
        qint64 size = 0;
    };

    explicit ZRV_S3(QWidget *parent = nullptr);
    ~ZRV_S3() override;

    void setConfig(ZRV_Config *config);
    void setLoginData(ZRV_LoginData *data);
    QString getPathPrefix() const;
    QList<QTableWidgetItem *> selectedItems() const;
    void clearSelection();
    void setDeleteEnabled(bool enabled);
    static void SetIconFromFilename(QTableWidgetItem *itm, QString name);

    // The store as the assets and bundles record it.
    QString url() const { return m_url; }
    QString bucket() const { return m_bucket; }
    int type() const { return m_type; }

    qint64 usedBytes() const { return m_usedBytes; }
    QList<fileEntry> queuedEntries() const { return m_queue; }
    fileEntry currentEntry() const { return m_current; }

public slots:
    void on_btnS3Refresh_clicked();
    void uploadFiles(QStringList uploadfiles, bool noAll = false, bool yesAll = false,
                     QString pathoverride = QString());
    void deleteFiles(QStringList files);
    void onDeleteSlot(int slot);
    void abortTransfer();
    void pauseTransfer();
    void continueTransfer();

signals:
    void itemClicked();
    void itemDoubleClicked();
    void banFile();
    void startUploadDownload();
    void betweenUploadDownloads();
    void endUploadDownload();
    void uploadsFinished();
    void uploadFailed();
    void transferProgress(int mode, QString bucket, QString object, qlonglong size, qlonglong progress,
                          int bytespersecond);
    void updateQueue(QList<ZRV_S3::fileEntry> files);

    // To the worker, across its thread.
    void doSetup(int type, QString url, QString user, QString pass, QString sessiontoken);
    void doListObjectsAndSizes(QString bucket, QString pathPrefix, bool doSubDirs);
    void doDownload(QString bucket, QString key, QString path);
    void doUpload(QString bucket, QString key, QString path);
    void doDelete(QString bucket, QString key);
    void doPause();
    void doAbort();

private slots:
    void onListSizesFinished(QStringList sLst, QStringList iLst, QStringList eLst);
    void onListSizesFailed(QAWSException ex);
    void onListFinished(QStringList lst);
    void onListFailed(QAWSException ex);
    void onSetupFinished();
    void onSetupFailed(QAWSException ex);
    void onDownloadFinished();
    void onDownloadFailed(QAWSException ex);
    void onUploadFinished(QString key, qlonglong size, QString ETag);
    void onUploadFailed(QAWSException ex);
    void onDeleteFinished();
    void onDeleteFailed(QAWSException ex);
    void onFileSizeFinished(QString bucket, QString key, qlonglong size);
    void onFileSizeFailed(QString bucket, QString key, QAWSException ex);

    void on_S3TreeWidget_currentItemChanged(QTreeWidgetItem *current, QTreeWidgetItem *previous);
    void on_S3TableWidget_itemSelectionChanged();
    void on_S3TableWidget_itemDoubleClicked(QTableWidgetItem *item);
    void on_btnS3Mkdir_clicked();
    void on_btnS3Upload_clicked();
    void on_btnS3Download_clicked();
    void on_btnS3BanFile_clicked();
    void on_btnS3Delete_clicked();
    void on_btnPause_clicked();
    void on_btnAbort_clicked();

private:
    void setup();
    QString derivePathPrefix() const;
    bool isAdministrator() const;
    void showDirectory(QTreeWidgetItem *item);
    void showIfSelected(QTreeWidgetItem *item);
    void setManagedWidgetsVisible(bool visible);

    // Queue (ZRV_S3_Queue.cpp).
    void publishQueue();
    void processQueue();
    void startDownload(fileEntry entry, bool checkOverwrite);
    void endOperation(int state);

    Ui::ZRV_S3 *ui;
    ZRV_Config *m_config = nullptr;
    QThread *m_thread = nullptr;
    ZRV_S3Worker *m_worker = nullptr;
    ZRV_LoginData *m_loginData = nullptr;
    QString m_url;
    QString m_user;
    QString m_pass;
    QString m_currentDir;
    QTreeWidgetItem *m_currentItem = nullptr;
    QString m_pathPrefix;
    QString m_bucket;
    int m_type = 1;
    bool m_managed = false;
    QSpacerItem *m_spacer = nullptr;
    bool m_spacerInLayout = false;
    qint64 m_usedBytes = 0;
    QString m_pendingDir;
    QString m_lastDownloadDir;
    QString m_lastUploadDir;

    fileEntry m_current;
    QList<fileEntry> m_queue;
    bool m_yesToAll = false;
    bool m_noToAll = false;
    bool m_paused = false;
    bool m_aborted = false;
    QMutex m_queueMutex;
};

Q_DECLARE_METATYPE(ZRV_S3::fileEntry)
Q_DECLARE_METATYPE(QList<ZRV_S3::fileEntry>)
