#pragma once

#include <QList>
#include <QMainWindow>
#include <QNetworkReply>
#include <QSslError>
#include <QString>
#include <QStringList>
#include <QUrl>

#include "ZRVMeetingInfo.h"
#include "ZRVMeetingServiceApi.h"
#include "ZRVS3TempAccessKey.h"
#include "ZRVVersions.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_S3.h"

class QCloseEvent;
class QIODevice;
class QLabel;
class QMenu;
class QMessageBox;
class QNetworkAccessManager;
class QProgressBar;
class QProgressDialog;
class QTableWidgetItem;
class QTimer;
class ZRV_AssetBundles;
class ZRV_Config;
class ZRV_Meetings;
class ZRV_NextCloud;
class ZRV_S3;

namespace Ui {
class ZRV_ServerAppClass;
}

using ZRV_Service_API::ZRVAsset;
using ZRV_Service_API::ZRVMeetingInfo;
using ZRV_Service_API::ZRVMeetingServiceApi;
using ZRV_Service_API::ZRVS3TempAccessKey;
using ZRV_Service_API::ZRVVersions;

// The console's one main window. Its members are defined in files named by
// concern: ZRV_ServerApp.cpp (frame, start-up, poll, state, window state),
// ZRV_ServerApp_Session.cpp (inactivity, session expiry),
// ZRV_ServerApp_Update.cpp (self-update),
// ZRV_ServerApp_Account.cpp (password change and about dialog),
// ZRV_ServerApp_Storage.cpp (the storage tabs) and
// ZRV_ServerApp_Assets.cpp (the meeting's components in tblAssets).
class ZRV_ServerApp : public QMainWindow {
    Q_OBJECT

public:
    explicit ZRV_ServerApp(const QStringList &arguments, QWidget *parent = nullptr);
    ~ZRV_ServerApp() override;

    // The build's version text as the version control describes the commit.
    static QString buildVersionText();
    // Its numbers: first character and the 9-character hash suffix dropped,
    // "-" read as ".", empty parts skipped ("v3.1-2-gb60c8eb" gives 3, 1, 2).
    static QStringList buildVersionParts();

public slots:
    void initConsole();
    void onShowAssetBundleDialog();
    void onServiceStatus(bool isRunning);
    void onServiceVersion(ZRV_MeetingsInfoThread::_serviceVersion ver);
    void onServiceVersions(ZRVVersions versions);
    QString saveFileName(QUrl url);
    bool saveToDisk(QString filename, QIODevice *data);
    bool isHttpRedirect(QNetworkReply *reply);
    void sslErrors(QList<QSslError> sslErrors);
    void onDownloadFinished(QNetworkReply *reply);
    void onServiceUpdate();
    void onServiceUpdateE(QNetworkReply::NetworkError error_type, QString error_str);
    void onExit();
    void onUserInactive();
    void onUserActive();
    void onStopUpdate();
    void onSessionExpired();
    void onPlaygroundSignal(QString name);
    void onMeetingStatusTimer();
    void onMeetingUpdate(int id);
    void onMeetingChanged();
    void onMeetingConfigChanged(ZRVMeetingInfo info);
    void onMeetingInfoUpdateSignal();
    void onMeetingInfoUpdateSignalE(QNetworkReply::NetworkError error_type, QString error_str);
    void setInactivityOn();
    void setInactivityOff();
    void setS3Token(ZRVS3TempAccessKey token);
    void setServiceApiToken(QString token);
    int getInactivityTime();
    void onBrowserTab_itemClicked();
    // The queue dock and the status line follow the S3 page's queue.
    void onUpdateQueue(QList<ZRV_S3::fileEntry> files);
    void onTransferProgress(int mode, QString bucket, QString object, qlonglong size, qlonglong progress,
                            int bytespersecond);

    // The meeting's components (ZRV_ServerApp_Assets.cpp).
    void on_btnAdd_clicked();
    void assetAdd();
    void assetBundleAdd();
    void onAssetAdd(ZRVAsset assret);
    void onAssetAddE(ZRVAsset summary, QNetworkReply::NetworkError error_type, QString error_str);
    void onAssetDelete();
    void onAssetDeleteE();
    void onBanFile();
    void on_btnProperties_released();
    void showProperties(QTableWidgetItem *item);
    void on_btnRemove_clicked();
    void on_btnRemoveAll_clicked();
    void on_btnCustomURL_clicked();
    void onMeetingInfo(ZRVMeetingInfo summary);
    void onMeetingInfoE(ZRVMeetingInfo summary, QNetworkReply::NetworkError error_type, QString error_str);

    // The meeting's components to and from a .zrm file (ZRV_ServerApp_Export.cpp).
    void on_btnExport_clicked();
    void on_btnImport_clicked();

private slots:
    void on_tblAssets_itemClicked(QTableWidgetItem *item);
    void on_actionChangePassword_triggered();
    void on_actionQuit_triggered();
    void on_dckProgress_visibilityChanged(bool visible);
    void on_btnQueue_clicked();
    void on_actionUpdate_triggered();
    void on_actionAbout_triggered();
    void on_tabBrowser_currentChanged(int index);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void createStatusLine();
    void blankStatusLine();
    void restoreWindowState();
    void saveWindowState();
    void updateConsoleState();
    // Runs a login dialog to its end; false when the user gave up. The
    // dialog's result is copied over m_loginData.
    bool runLogin(const QString &fixedUser);
    void spreadLoginData();

    // Storage tabs (ZRV_ServerApp_Storage.cpp).
    // Finds the three pages, wires them, disables the bundles page.
    void takeUpStoragePages();
    // After the first login: the pages kept for the account's storage mode.
    void layOutStorageTabs();
    // btnAdd by the current tab and the selection on it.
    void setAddButtonByTab();
    // The last step of each poll: a temporary key close to its end is renewed.
    void renewS3TokenWhenDue();
    // Hands the shared login data to the S3 page.
    void passLoginDataToStorage();

    // Components (ZRV_ServerApp_Assets.cpp).
    // The connections of the asset functions to the pages, tblAssets and m_serviceApi.
    void connectAssetFunctions();
    // Bundles only from service version 2.0.30 on; decided once, after the login.
    void evaluateAssetBundleGate(const ZRV_MeetingsInfoThread::_serviceVersion &ver);
    // Replaces the row that shows the asset's Id, or appends one.
    void addAssetRow(const ZRVAsset &asset);

    Ui::ZRV_ServerAppClass *ui;

    ZRV_LoginData m_loginData;
    ZRV_Config *m_config = nullptr;
    ZRV_MeetingsInfoThread *m_thread = nullptr;
    QTimer *m_statusTimer = nullptr;
    ZRVMeetingServiceApi *m_serviceApi = nullptr;
    ZRV_Meetings *m_meetings = nullptr;
    bool m_consoleReady = false;
    bool m_serviceRunning = false;
    bool m_manualUpdateCheck = false;
    bool m_inactive = false;
    bool m_inactivityEnabled = true;
    QString m_savedTitle;
    QMenu *m_userMenu = nullptr;
    QNetworkAccessManager *m_updateManager = nullptr;
    QProgressDialog *m_updateProgress = nullptr;

    // Status line: operation, file name, progress, completed, size, speed.
    QLabel *m_lblOperation = nullptr;
    QLabel *m_lblFileName = nullptr;
    QProgressBar *m_progressBar = nullptr;
    QLabel *m_lblCompleted = nullptr;
    QLabel *m_lblSize = nullptr;
    QLabel *m_lblSpeed = nullptr;

    // Storage tabs; the tab widget owns the pages.
    ZRV_S3 *m_s3 = nullptr;
    ZRV_NextCloud *m_nextCloud = nullptr;
    ZRV_AssetBundles *m_assetBundles = nullptr;
    int m_storageTab = -1;
    int m_currentTab = 0;

    // Components: the last live record of the selected meeting.
    ZRVMeetingInfo m_meetingInfo;
    bool m_bundlesChecked = false;
    QMessageBox *m_errorBox = nullptr;
    // An asset row to select again once the reloaded record arrives.
    int m_reselectAssetId = -1;
};
