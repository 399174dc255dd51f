#pragma once

#include <QList>
#include <QString>
#include <QWidget>

#include "ZRVAssetBundle.h"
#include "ZRVError.h"

class QProgressDialog;
class QTableWidgetItem;
class ZRV_MeetingsInfoThread;
class ZRV_S3;
struct ZRV_LoginData;

namespace Ui {
class ZRV_AssetBundles;
}

// The asset bundle page: the account's and the global bundles, a new bundle
// from its four platform files (uploaded through the S3 page's queue, then
// registered with the service, and taken off the store again when the
// service refuses it), and deletion. Idle until init, which the main window
// calls once the service is new enough for bundles.
class ZRV_AssetBundles : public QWidget
{
    Q_OBJECT

public:
    explicit ZRV_AssetBundles(QWidget *parent = nullptr);
    ~ZRV_AssetBundles() override;

    void init(ZRV_S3 *s3, ZRV_MeetingsInfoThread *thread, ZRV_LoginData *loginData);
    // Column 0 items of the selected rows.
    QList<QTableWidgetItem *> selectedItems() const;
    // error: 0, -2 with more than one row selected, -3 with none or an unknown Id.
    ZRV_Service_API::ZRVAssetBundle selectedBundle(int *error) const;
    int selectedCount() const;
    void clearSelection();

signals:
    void itemClicked();
    void itemDoubleClicked();

public slots:
    void onAssetBundles(QList<ZRV_Service_API::ZRVAssetBundle> bundles);
    void onAssetBundlePost(QString summary);
    void onAssetBundlePostError(ZRV_AuthService_API::ZRVError error);
    void onAssetBundleDeleted(QString id);
    void onUploadsFailed();
    void onUploadsFinished();

private slots:
    void initUI();
    void on_btnRefresh_clicked();
    void on_btnDelete_clicked();
    void on_btnCreate_clicked();
    void on_ABTableWidget_itemSelectionChanged();
    void on_ABTableWidget_itemDoubleClicked(QTableWidgetItem *item);
    void on_btnCreateGlobal_clicked();

private:
    void createBundle(bool global);
    void dropProgress();
    bool isAdministrator() const;

    Ui::ZRV_AssetBundles *ui;
    bool m_initialized = false;
    ZRV_MeetingsInfoThread *m_thread = nullptr;
    ZRV_LoginData *m_loginData = nullptr;
    ZRV_S3 *m_s3 = nullptr;
    ZRV_Service_API::ZRVAssetBundle *m_pendingBundle = nullptr;
    QString m_lastDir;
    QList<ZRV_Service_API::ZRVAssetBundle> m_bundles;
    QProgressDialog *m_progress = nullptr;
};
