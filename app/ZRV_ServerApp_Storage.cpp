// The storage tabs of the main window: which pages stay for the account's
// storage mode, the temporary storage keys, btnAdd by the current page, and
// the queue dock and status line that follow the S3 page.
#include "ZRV_ServerApp.h"

#include "ui_ZRV_ServerApp.h"

#include "ZRV_AssetBundles.h"
#include "ZRV_Config.h"
#include "ZRV_NextCloud.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_QueueTableWidget.h"
#include "ZRV_S3.h"

#include <QDateTime>
#include <QDebug>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>

#include <climits>

void ZRV_ServerApp::takeUpStoragePages()
{
    m_storageTab = -1;

    m_assetBundles = dynamic_cast<ZRV_AssetBundles *>(ui->tabBrowser->widget(2));
    if (!m_assetBundles) {
        ZRV_ProcessExit::exit(-1);
        return;
    }
    connect(m_assetBundles, &ZRV_AssetBundles::itemClicked, this, &ZRV_ServerApp::onBrowserTab_itemClicked);

    m_nextCloud = dynamic_cast<ZRV_NextCloud *>(ui->tabBrowser->widget(1));
    if (!m_nextCloud) {
        ZRV_ProcessExit::exit(-1);
        return;
    }
    connect(m_nextCloud, &ZRV_NextCloud::itemClicked, this, &ZRV_ServerApp::onBrowserTab_itemClicked);

    m_s3 = dynamic_cast<ZRV_S3 *>(ui->tabBrowser->widget(0));
    if (!m_s3) {
        ZRV_ProcessExit::exit(-1);
        return;
    }
    connect(m_s3, &ZRV_S3::itemClicked, this, &ZRV_ServerApp::onBrowserTab_itemClicked);
    connect(m_s3, &ZRV_S3::startUploadDownload, this, &ZRV_ServerApp::setInactivityOff);
    connect(m_s3, &ZRV_S3::endUploadDownload, this, &ZRV_ServerApp::setInactivityOn);
    connect(m_s3, &ZRV_S3::betweenUploadDownloads, this, &ZRV_ServerApp::onMeetingStatusTimer);
    connect(m_s3, &ZRV_S3::transferProgress, this, &ZRV_ServerApp::onTransferProgress);
    connect(m_s3, &ZRV_S3::updateQueue, this, &ZRV_ServerApp::onUpdateQueue);
    if (auto *queue = qobject_cast<ZRV_QueueTableWidget *>(ui->tblProgress))
        connect(queue, &ZRV_QueueTableWidget::deleteSlot, m_s3, &ZRV_S3::onDeleteSlot);

    m_assetBundles->setEnabled(false);
    m_s3->setConfig(m_config);
    connect(m_thread, &ZRV_MeetingsInfoThread::s3TempAccess, this, &ZRV_ServerApp::setS3Token);
}

void ZRV_ServerApp::passLoginDataToStorage()
{
    if (m_s3)
        m_s3->setLoginData(&m_loginData);
}

void ZRV_ServerApp::layOutStorageTabs()
{
    m_storageTab = m_loginData.storageMode;
    switch (m_loginData.storageMode) {
    case -1:
        ui->tabBrowser->tabBar()->setVisible(true);
        QMessageBox::warning(this, QStringLiteral("No Storage Configuration"),
                             QStringLiteral("Your Account is missing storage configuration. Please ask your "
                                            "administrator to configure storage access for you."));
        break;
    case 0:
        ui->tabBrowser->removeTab(0);
        break;
    case 1:
    case 2:
        ui->tabBrowser->removeTab(1);
        if (!m_loginData.storageUser.isEmpty() && !m_loginData.storagePass.isEmpty() &&
            !m_loginData.storageAddress.isEmpty())
            m_s3->on_btnS3Refresh_clicked();
        else
            m_thread->getS3Token();
        break;
    default:
        break;
    }
}

void ZRV_ServerApp::setS3Token(ZRVS3TempAccessKey token)
{
    const QString arn = token.getArn();
    const bool isS3 = arn.compare(QStringLiteral("S3"), Qt::CaseInsensitive) == 0;
    const bool isMinio = arn.compare(QStringLiteral("MINIO"), Qt::CaseInsensitive) == 0;
    if (!token.isSet() || (!isS3 && !isMinio)) {
        QMessageBox::critical(this, QStringLiteral("S3 Login Data"),
                              QStringLiteral("Invalid or incomplete Storage Login Data received from Service. "
                                             "Storage will not be available."),
                              QMessageBox::Ok);
        m_s3->setEnabled(false);
        return;
    }
    m_loginData.storageMode = isS3 ? 2 : 1;
    m_loginData.storagePass = token.getSecretAccessKey();
    m_loginData.storageUser = token.getAccessKeyId();
    m_loginData.storageAddress = token.getEndpoint();
    // An administrator sees the whole bucket, not the key's own folder.
    m_loginData.storageFolder = m_loginData.roles.contains(QStringLiteral("ZRV_Administrator"))
                                    ? QString()
                                    : token.getAssumedRoleId();
    m_loginData.storageSessionToken = token.getSessionToken();
    m_loginData.storageBucket = token.getBucket();
    m_loginData.storageTokenExpiry = QDateTime::fromString(token.getExpiration(), Qt::TextDate);

    m_s3->setLoginData(&m_loginData);
    m_storageTab = m_loginData.storageMode;
    m_s3->setEnabled(true);
    m_s3->on_btnS3Refresh_clicked();
}

void ZRV_ServerApp::renewS3TokenWhenDue()
{
    if (m_loginData.storageSessionToken.isEmpty())
        return;
    const qint64 left = QDateTime::currentDateTime().secsTo(m_loginData.storageTokenExpiry);
    qDebug() << "S3 Token valid: " << left;
    if (left < 60)
        m_thread->getS3Token();
}

void ZRV_ServerApp::setAddButtonByTab()
{
    if (m_currentTab == 0) {
        if (m_storageTab == 0) {
            ui->btnAdd->setEnabled(!m_nextCloud->selectedItems().isEmpty());
        } else if (m_storageTab == 1 || m_storageTab == 2) {
            const bool selected = !m_s3->selectedItems().isEmpty();
            ui->btnAdd->setEnabled(selected);
            m_s3->setDeleteEnabled(selected);
        }
    } else if (m_currentTab == 1) {
        ui->btnAdd->setEnabled(m_assetBundles->selectedCount() > 0);
    }
}

void ZRV_ServerApp::on_tabBrowser_currentChanged(int index)
{
    m_currentTab = index;
    if (m_s3 && m_nextCloud && m_assetBundles)
        setAddButtonByTab();
}

void ZRV_ServerApp::onBrowserTab_itemClicked()
{
    updateConsoleState();
}

void ZRV_ServerApp::onUpdateQueue(QList<ZRV_S3::fileEntry> files)
{
    if (auto *queue = qobject_cast<ZRV_QueueTableWidget *>(ui->tblProgress))
        queue->showQueue(files);
}

void ZRV_ServerApp::onTransferProgress(int mode, QString, QString object, qlonglong size, qlonglong progress,
                                       int bytespersecond)
{
    const QString completed = QStringLiteral("Completed: ") + ZRV_QueueTableWidget::sizeText(progress);
    const QString sizeText = QStringLiteral("Size: ") + ZRV_QueueTableWidget::sizeText(size);

    // The bar counts in int.
    while (size > INT_MAX) {
        size /= 10;
        progress /= 10;
    }

    switch (mode) {
    case 0:
        m_lblOperation->setText(QStringLiteral("Uploading:"));
        break;
    case 1:
        m_lblOperation->setText(QStringLiteral("Downloading:"));
        break;
    case 2:
        m_lblOperation->setText(QStringLiteral("Deleting:"));
        break;
    case 3:
        m_lblOperation->setText(QStringLiteral("Size Query:"));
        break;
    default:
        m_lblOperation->clear();
        break;
    }
    m_lblFileName->setText(object.mid(object.lastIndexOf(QLatin1Char('/')) + 1));
    m_progressBar->setRange(0, size == 0 ? 1 : int(size));
    m_progressBar->setValue(int(progress));
    m_lblCompleted->setText(completed);
    m_lblSize->setText(sizeText);

    const double kbps = bytespersecond / 1024.0;
    if (kbps <= 1024)
        m_lblSpeed->setText(QStringLiteral("Speed: %1 KByte/s").arg(kbps));
    else
        m_lblSpeed->setText(QStringLiteral("Speed: %1 MByte/s").arg(kbps / 1024, 0, 'f', 2));
}
