#include "ZRV_SpawnPointsDialog.h"

#include "ZRV_SpawnPointEditDialog.h"
#include "ui_ZRV_SpawnPointsDialog.h"

#include <QTableWidgetItem>

using namespace ZRV_Service_API;

namespace {

QString vectorText(const ZRVDefVector3 &v)
{
    return QStringLiteral("%1|%2|%3")
        .arg(QString::number(v.getX(), 'g', 6), QString::number(v.getY(), 'g', 6),
             QString::number(v.getZ(), 'g', 6));
}

} // namespace

ZRV_SpawnPointsDialog::ZRV_SpawnPointsDialog(ZRVMeetingInfo info, ZRV_MeetingsInfoThread *thread,
                                             QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_SpawnPointsDialog)
    , m_info(info)
    , m_spawnPoints(info.getSpawnPoints())
    , m_thread(thread)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setWindowTitle(tr("Manage Spawn Points for Meeting %1").arg(m_info.getMeetingId().toUpper()));

    ui->tblSpawnPoints->setColumnWidth(0, 15);
    ui->tblSpawnPoints->setColumnWidth(1, 90);
    ui->tblSpawnPoints->setColumnWidth(2, 90);
    ui->tblSpawnPoints->setColumnWidth(3, 90);
    fillTable();
}

ZRV_SpawnPointsDialog::~ZRV_SpawnPointsDialog()
{
    delete ui;
}

ZRVMeetingInfo ZRV_SpawnPointsDialog::getMeetingInfo()
{
    for (int i = 0; i < m_spawnPoints.size(); ++i)
        m_spawnPoints[i].setId(i);
    m_info.setSpawnPoints(m_spawnPoints);
    return m_info;
}

bool ZRV_SpawnPointsDialog::hasSelection() const
{
    return ui->tblSpawnPoints->selectionModel()->hasSelection();
}

void ZRV_SpawnPointsDialog::fillTable()
{
    QTableWidget *tbl = ui->tblSpawnPoints;
    tbl->setRowCount(m_spawnPoints.size());
    for (int row = 0; row < m_spawnPoints.size(); ++row) {
        const ZRVSpawnPoint &pnt = m_spawnPoints.at(row);
        // The id column counts by row: stored ids are only rewritten on Ok.
        tbl->setItem(row, 0, new QTableWidgetItem(row == 0 ? tr("Default") : QString::number(row)));
        tbl->setItem(row, 1, new QTableWidgetItem(pnt.getName()));
        tbl->setItem(row, 2, new QTableWidgetItem(vectorText(pnt.getPosition())));
        tbl->setItem(row, 3, new QTableWidgetItem(vectorText(pnt.getRotation())));
    }
}

void ZRV_SpawnPointsDialog::on_tblSpawnPoints_itemSelectionChanged()
{
    const bool selected = hasSelection();
    const int row = ui->tblSpawnPoints->currentRow();
    const int count = m_spawnPoints.size();
    ui->btnSPModify->setEnabled(selected);
    ui->btnSPDelete->setEnabled(selected);
    ui->btnSPUp->setEnabled(selected && count >= 2 && row > 0);
    ui->btnSPDown->setEnabled(selected && count >= 2 && row < count - 1);
}

void ZRV_SpawnPointsDialog::on_btnSPAdd_clicked()
{
    ZRV_SpawnPointEditDialog dlg(m_info, m_spawnPoints.size(), m_thread, this);
    if (dlg.exec() != QDialog::Accepted)
        return;
    m_spawnPoints.append(dlg.getSpawnPoint());
    fillTable();
}

void ZRV_SpawnPointsDialog::on_btnSPModify_clicked()
{
    const int row = ui->tblSpawnPoints->currentRow();
    if (!hasSelection() || row < 0 || row >= m_spawnPoints.size())
        return;
    ZRV_SpawnPointEditDialog dlg(m_info, m_spawnPoints.at(row), m_thread, this);
    if (dlg.exec() != QDialog::Accepted)
        return;
    m_spawnPoints[row] = dlg.getSpawnPoint();
    fillTable();
}

void ZRV_SpawnPointsDialog::on_btnSPDelete_clicked()
{
    const int row = ui->tblSpawnPoints->currentRow();
    if (!hasSelection() || row < 0 || row >= m_spawnPoints.size())
        return;
    m_spawnPoints.removeAt(row);
    fillTable();
    ui->tblSpawnPoints->clearSelection();
    on_tblSpawnPoints_itemSelectionChanged();
}

void ZRV_SpawnPointsDialog::on_btnSPUp_clicked()
{
    const int row = ui->tblSpawnPoints->currentRow();
    if (!hasSelection() || m_spawnPoints.size() < 2 || row < 1 || row >= m_spawnPoints.size())
        return;
    m_spawnPoints.swapItemsAt(row, row - 1);
    ui->tblSpawnPoints->setCurrentCell(row - 1, 0);
    fillTable();
}

void ZRV_SpawnPointsDialog::on_btnSPDown_clicked()
{
    const int row = ui->tblSpawnPoints->currentRow();
    if (!hasSelection() || m_spawnPoints.size() < 2 || row < 0 || row >= m_spawnPoints.size() - 1)
        return;
    m_spawnPoints.swapItemsAt(row, row + 1);
    ui->tblSpawnPoints->setCurrentCell(row + 1, 0);
    fillTable();
}
