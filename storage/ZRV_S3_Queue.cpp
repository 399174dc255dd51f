// The transfer queue of the S3 page: what goes next, the questions about
// existing files, the allowance, pause and abort.
#include "ZRV_S3.h"

#include "ui_ZRV_S3.h"

#include "ZRV_FileChooser.h"
#include "ZRV_LoginData.h"
#include "ZRV_S3Tree.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QMessageBox>
#include <QMutexLocker>
#include <QStandardPaths>

namespace {
const QString PauseIcon = QStringLiteral(":/ZRV_ServerApp/pause.png");
const QString PlayIcon = QStringLiteral(":/ZRV_ServerApp/play.png");
} // namespace

void ZRV_S3::publishQueue()
{
    QList<fileEntry> files = m_queue;
    if (m_current.state == 1 || m_current.state == 2)
        files.prepend(m_current);
    emit updateQueue(files);
    ui->btnAbort->setEnabled(!files.isEmpty());
    ui->btnPause->setEnabled(!files.isEmpty());
}

void ZRV_S3::processQueue()
{
    // Only a running entry blocks: one paused and resumed goes on beside new work.
    if (m_current.state == 1) {
        publishQueue();
        return;
    }
    fileEntry entry;
    bool found = false;
    {
        QMutexLocker lock(&m_queueMutex);
        for (int i = 0; i < m_queue.size(); ++i) {
            if (m_queue.at(i).state == 0) {
                entry = m_queue.takeAt(i);
                found = true;
                break;
            }
            if (m_aborted || m_paused)
                break;
        }
        if (found) {
            entry.state = 1;
            m_current = entry;
        }
    }
    // The entry is out of the list before anything below can open a box: a
    // queue event delivered inside that box's loop must find the lock free.
    publishQueue();
    if (found) {
        switch (entry.type) {
        case 0:
            emit doUpload(entry.bucket, entry.key, entry.path);
            break;
        case 1:
            startDownload(entry, true);
            break;
        case 2:
            emit doDelete(entry.bucket, entry.key);
            break;
        default:
            break;
        }
    }
    publishQueue();
}

void ZRV_S3::startDownload(fileEntry entry, bool checkOverwrite)
{
    emit betweenUploadDownloads();
    if (checkOverwrite && QFileInfo::exists(entry.path)) {
        if (m_noToAll) {
            m_current.state = 3;
            return;
        }
        if (!m_yesToAll) {
            const QMessageBox::StandardButton answer = QMessageBox::question(
                this, QStringLiteral("Overwrite?"), QStringLiteral("Overwrite %1?").arg(entry.path),
                QMessageBox::Yes | QMessageBox::YesToAll | QMessageBox::No | QMessageBox::NoToAll);
            if (answer == QMessageBox::YesToAll) {
                m_yesToAll = true;
            } else if (answer == QMessageBox::NoToAll) {
                m_noToAll = true;
                m_current.state = 3;
                return;
            } else if (answer != QMessageBox::Yes) {
                m_current.state = 3;
                return;
            }
        }
    }
    emit doDownload(entry.bucket, entry.key, entry.path);
}

void ZRV_S3::on_btnS3Upload_clicked()
{
    const QString dir = m_lastUploadDir.isEmpty()
                            ? QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)
                            : m_lastUploadDir;
    const QStringList files = ZRV_FileChooser::getOpenFileNames(
        this, QStringLiteral("Select files to Upload"), dir,
        QStringLiteral("3D Files (*.fbx);;Audio (*.mp3 *.wav);;Images (*.png *.jpg *.jpeg);;Videos (*.webm *.mp4 "
                       "*.mpg *.mpeg);;Documents (*.pdf *.txt *.docx *.doc *.xlsx *.xls *.pptx *.ppt *.ppsx *.pps)"));
    uploadFiles(files, false, false, QString());
}

void ZRV_S3::uploadFiles(QStringList uploadfiles, bool noAll, bool yesAll, QString pathoverride)
{
    if (uploadfiles.isEmpty())
        return;
    QCoreApplication::processEvents();

    for (const QString &file : uploadfiles) {
        const QFileInfo info(file);
        m_lastUploadDir = info.absoluteDir().absolutePath();
        const qint64 size = info.size();
        const QString sizeText = size / 1024 <= 1024 ? QStringLiteral("%1KB").arg(size / 1024)
                                                     : QStringLiteral("%1MB").arg(size / 1024 / 1024);

        const qint64 allowance = m_loginData ? m_loginData->storageSize : -1;
        if (allowance >= 0 && allowance * 1048576 < m_usedBytes + size) {
            QMessageBox::critical(this, QStringLiteral("Not enough free space"),
                                  QStringLiteral("Not enough free space. Allowed: %1MB Used: %2MB File Size: %3")
                                      .arg(allowance)
                                      .arg(m_usedBytes / 1048576)
                                      .arg(sizeText),
                                  QMessageBox::Ok);
            QMutexLocker lock(&m_queueMutex);
            m_queue.clear();
            return;
        }
        // Counted before the question and kept when the answer is no: an upper
        // estimate until the next refresh.
        m_usedBytes += size;

        bool skip = false;
        if (!ui->S3TableWidget->findItems(info.fileName(), Qt::MatchExactly).isEmpty()) {
            if (noAll) {
                skip = true;
            } else if (!yesAll) {
                const QMessageBox::StandardButton answer = QMessageBox::question(
                    this, QStringLiteral("Overwrite?"),
                    QStringLiteral("File %1 already exists on the Server. Overwrite?").arg(info.fileName()),
                    QMessageBox::Yes | QMessageBox::YesToAll | QMessageBox::No | QMessageBox::NoToAll);
                if (answer == QMessageBox::YesToAll) {
                    yesAll = true;
                } else if (answer == QMessageBox::NoToAll) {
                    noAll = true;
                    skip = true;
                } else if (answer != QMessageBox::Yes) {
                    skip = true;
                }
            }
        }
        if (skip || !info.exists())
            continue;

        QString key;
        if (pathoverride.isEmpty()) {
            key = m_currentDir + QLatin1Char('/') + info.fileName();
        } else {
            QString over = pathoverride;
            if (over.startsWith(QLatin1Char('/')))
                over.remove(0, 1);
            if (over.endsWith(QLatin1Char('/')))
                over.chop(1);
            key = m_pathPrefix;
            if (m_pathPrefix.isEmpty() || !m_pathPrefix.endsWith(QLatin1Char('/')))
                key += QLatin1Char('/');
            key += over + QLatin1Char('/') + info.fileName();
        }

        fileEntry entry;
        entry.state = 0;
        entry.type = 0;
        entry.bucket = m_bucket;
        entry.key = key;
        entry.path = QDir::toNativeSeparators(info.absoluteFilePath());
        entry.size = size;
        QMutexLocker lock(&m_queueMutex);
        m_queue.append(entry);
    }

    emit startUploadDownload();
    ui->btnPause->setIcon(QIcon(PauseIcon));
    ui->btnPause->setChecked(false);
    processQueue();
}

void ZRV_S3::on_btnS3Download_clicked()
{
    const QList<QTableWidgetItem *> items = selectedItems();
    if (items.isEmpty())
        return;
    emit startUploadDownload();
    ui->btnPause->setIcon(QIcon(PauseIcon));
    ui->btnPause->setChecked(false);

    const QString startDir = m_lastDownloadDir.isEmpty()
                                 ? QStandardPaths::writableLocation(QStandardPaths::DownloadLocation)
                                 : m_lastDownloadDir;
    QString targetDir;
    if (items.size() > 1) {
        targetDir = ZRV_FileChooser::getExistingDirectory(this, QStringLiteral("Save files in"), startDir);
        if (targetDir.isEmpty())
            return;
        m_lastDownloadDir = targetDir;
    }

    // The save question of a single file comes before the lock, so that no
    // queue event inside the dialog's loop meets it taken.
    QString singleTarget;
    if (items.size() == 1) {
        singleTarget = ZRV_FileChooser::getSaveFileName(
            this, QStringLiteral("Save File As"), startDir + QLatin1Char('/') + items.first()->text(),
            QStringLiteral("*.*"), QFileDialog::DontConfirmOverwrite);
        if (singleTarget.isEmpty())
            return;
        m_lastDownloadDir = QFileInfo(singleTarget).absolutePath();
    }

    {
        QMutexLocker lock(&m_queueMutex);
        for (QTableWidgetItem *item : items) {
            fileEntry entry;
            entry.state = 0;
            entry.type = 1;
            entry.bucket = m_bucket;
            entry.key = m_currentDir + QLatin1Char('/') + item->text();
            entry.path = items.size() == 1 ? singleTarget : QDir(targetDir).filePath(item->text());
            entry.size = item->data(Qt::UserRole).toJsonObject().value(QStringLiteral("size")).toString().toLongLong();
            m_queue.append(entry);
        }
    }
    processQueue();
}

void ZRV_S3::deleteFiles(QStringList files)
{
    {
        QMutexLocker lock(&m_queueMutex);
        for (const QString &key : files) {
            fileEntry entry;
            entry.state = 0;
            entry.type = 2;
            entry.bucket = m_bucket;
            entry.key = key;
            entry.size = 0;
            m_queue.append(entry);
        }
    }
    processQueue();
}

void ZRV_S3::onDeleteSlot(int slot)
{
    if (slot < 0 || slot >= m_queue.size())
        return;
    QMutexLocker lock(&m_queueMutex);
    m_queue.removeAt(slot);
    publishQueue();
}

void ZRV_S3::endOperation(int state)
{
    m_current.state = state;
    emit transferProgress(-1, QString(), QString(), 0, 0, 0);
}

void ZRV_S3::onDownloadFinished()
{
    endOperation(4);
    publishQueue();
    processQueue();
}

void ZRV_S3::onDownloadFailed(QAWSException ex)
{
    endOperation(5);
    publishQueue();
    QMessageBox::critical(this, QStringLiteral("An error has occurred"),
                          QStringLiteral("An error has occurred during the download operation. Please try again "
                                         "later. If this problem persists, contact your system administrator.\n\n"
                                         "Error Message: %1")
                              .arg(ex.message),
                          QMessageBox::Ok);
    processQueue();
}

void ZRV_S3::onUploadFinished(QString key, qlonglong size, QString ETag)
{
    endOperation(4);
    publishQueue();
    showIfSelected(ZRV_S3Tree::addFileToTree(ui->S3TreeWidget, key, size, ETag));
    if (m_queue.isEmpty())
        emit uploadsFinished();
    processQueue();
}

void ZRV_S3::onUploadFailed(QAWSException ex)
{
    m_current.state = 5;
    emit uploadFailed();
    emit transferProgress(-1, QString(), QString(), 0, 0, 0);
    QMessageBox::critical(this, QStringLiteral("Upload Error"),
                          QStringLiteral("Error uploading Object to S3 Storage: %1").arg(ex.message),
                          QMessageBox::Ok);
    publishQueue();
    processQueue();
}

void ZRV_S3::onDeleteFinished()
{
    endOperation(4);
    publishQueue();
    qint64 removed = 0;
    if (QTreeWidgetItem *item = ZRV_S3Tree::removeFileFromTree(ui->S3TreeWidget, m_current.key, &removed)) {
        m_usedBytes -= removed;
        showIfSelected(item);
    }
    processQueue();
}

void ZRV_S3::onDeleteFailed(QAWSException ex)
{
    endOperation(5);
    publishQueue();
    QMessageBox::critical(this, QStringLiteral("Delete Error"),
                          QStringLiteral("Error deleting Object from S3 Storage: %1").arg(ex.message),
                          QMessageBox::Ok);
    processQueue();
}

void ZRV_S3::on_btnAbort_clicked()
{
    abortTransfer();
}

void ZRV_S3::abortTransfer()
{
    m_aborted = true;
    m_queue.clear();
    m_current.state = 3;
    emit doAbort();
    publishQueue();
}

void ZRV_S3::on_btnPause_clicked()
{
    if (ui->btnPause->isChecked()) {
        pauseTransfer();
    } else {
        continueTransfer();
        ui->btnPause->setIcon(QIcon(PauseIcon));
    }
}

void ZRV_S3::pauseTransfer()
{
    ui->btnPause->setIcon(QIcon(PlayIcon));
    ui->btnPause->setChecked(true);
    ui->btnPause->setEnabled(true);
    m_current.state = 2;
    m_paused = true;
    emit doPause();
}

void ZRV_S3::continueTransfer()
{
    m_paused = false;
    switch (m_current.type) {
    case 0:
        emit doUpload(m_current.bucket, m_current.key, m_current.path);
        break;
    case 1:
        startDownload(m_current, false);
        break;
    case 2:
        emit doDelete(m_current.bucket, m_current.key);
        break;
    default:
        break;
    }
}
