#pragma once

#include <QDialog>
#include <QList>

#include "ZRVMeetingInfo.h"
#include "ZRVSpawnPoint.h"

class ZRV_MeetingsInfoThread;

namespace Ui {
class ZRV_SpawnPointsDialog;
}

// The ordered spawn points of one meeting. The first entry is the default
// point; moving an entry into first place is how the user picks it. Edits
// stay on a copy of the live record until the caller stores the result.
class ZRV_SpawnPointsDialog : public QDialog
{
    Q_OBJECT

public:
    ZRV_SpawnPointsDialog(ZRV_Service_API::ZRVMeetingInfo info, ZRV_MeetingsInfoThread *thread,
                          QWidget *parent = nullptr);
    ~ZRV_SpawnPointsDialog() override;

    // The live record with the edited list, ids rewritten by position.
    ZRV_Service_API::ZRVMeetingInfo getMeetingInfo();

private slots:
    void on_btnSPAdd_clicked();
    void on_tblSpawnPoints_itemSelectionChanged();
    void on_btnSPDelete_clicked();
    void on_btnSPUp_clicked();
    void on_btnSPDown_clicked();
    void on_btnSPModify_clicked();

private:
    void fillTable();
    bool hasSelection() const;

    Ui::ZRV_SpawnPointsDialog *ui;
    ZRV_Service_API::ZRVMeetingInfo m_info;
    QList<ZRV_Service_API::ZRVSpawnPoint> m_spawnPoints;
    ZRV_MeetingsInfoThread *m_thread;
};
