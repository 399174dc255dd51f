#include "ZRV_ExportDialog.h"

#include <QCoreApplication>
#include <QFile>
#include <QMessageBox>
#include <QStandardPaths>
#include <QThread>

#include "ZRV_ExportFile.h"
#include "ZRV_FileChooser.h"
#include "ui_ZRV_ExportDialog.h"

ZRV_ExportDialog::ZRV_ExportDialog(ZRVMeetingInfo *info, QWidget *parent)
    : QDialog(parent), m_info(info), ui(new Ui::ZRV_ExportDialog)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    if (m_info)
        setWindowTitle(QStringLiteral("Export Meeting %1").arg(m_info->getMeetingId()));
    else
        setWindowTitle(QStringLiteral("Export Meetings"));
}

ZRV_ExportDialog::~ZRV_ExportDialog()
{
    delete ui;
}

void ZRV_ExportDialog::showAndPoll()
{
    show();
    while (isVisible()) {
        QThread::msleep(10);
        QCoreApplication::processEvents();
    }
}

void ZRV_ExportDialog::on_buttonBox_accepted()
{
    m_accepted = true;
    m_assets = ui->chkAssets->isChecked();
    m_urls = ui->chkURLs->isChecked();
    m_assetBundles = ui->chkAssetBundles->isChecked();
    m_spawnPoints = ui->chkSpawnPoints->isChecked();
    if (!m_info)
        return;

    QString fileName = ZRV_FileChooser::getSaveFileName(
        this, QStringLiteral("Save meeting components to file"),
        QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
        QStringLiteral("Zarvo Export File (*.zrm)"), QFileDialog::Options());
    if (!fileName.isEmpty() && !fileName.endsWith(QLatin1String(".zrm")))
        fileName += QLatin1String(".zrm");
    // The confirmation follows whatever the writer did, its failure box included.
    write(m_info, fileName);
    QMessageBox::information(this, QStringLiteral("Meeting exported"),
                             QStringLiteral("Meeting components exported to %1.").arg(fileName));
}

void ZRV_ExportDialog::on_buttonBox_rejected()
{
    m_accepted = false;
}

bool ZRV_ExportDialog::write(const ZRVMeetingInfo *info, QString fileName)
{
    if (!info)
        return false;
    ZRV_ExportFile::Parts parts;
    parts.assets = m_assets;
    parts.urls = m_urls;
    parts.assetBundles = m_assetBundles;
    parts.spawnPoints = m_spawnPoints;
    const QByteArray bytes = ZRV_ExportFile::document(*info, parts);

    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        QMessageBox::critical(this, QStringLiteral("Error writing export file"),
                              QStringLiteral("Export file could not be opened."));
        return false;
    }
    file.write(bytes);
    file.close();
    return true;
}
