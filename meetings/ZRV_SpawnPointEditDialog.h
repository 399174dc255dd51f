#pragma once

#include <QDialog>
#include <QMap>
#include <QString>

#include "ZRVMeetingInfo.h"
#include "ZRVSpawnPoint.h"

class QDoubleValidator;
class ZRV_MeetingsInfoThread;

namespace Ui {
class ZRV_SpawnPointEditDialog;
}

// One spawn point: title, place and view direction, typed in or taken from
// where a member of the running meeting stands right now.
class ZRV_SpawnPointEditDialog : public QDialog
{
    Q_OBJECT

public:
    // A new point that will get this id.
    ZRV_SpawnPointEditDialog(ZRV_Service_API::ZRVMeetingInfo info, int id,
                             ZRV_MeetingsInfoThread *thread, QWidget *parent = nullptr);
    // A copy of an existing point to change.
    ZRV_SpawnPointEditDialog(ZRV_Service_API::ZRVMeetingInfo info, ZRV_Service_API::ZRVSpawnPoint point,
                             ZRV_MeetingsInfoThread *thread, QWidget *parent = nullptr);
    ~ZRV_SpawnPointEditDialog() override;

    // A fresh record: the member and meeting of the point it replaces are not kept.
    ZRV_Service_API::ZRVSpawnPoint getSpawnPoint();

private slots:
    void on_btnLoadPos_clicked();
    void onPlayerPos(ZRV_Service_API::ZRVSpawnPoint pnt);
    void onMeetingsInfo(QMap<QString, ZRV_Service_API::ZRVMeetingInfo> map);
    void on_leTitle_textChanged(QString arg1);

private:
    void setup();
    void fillPlayers();
    void showId();

    int m_id;
    Ui::ZRV_SpawnPointEditDialog *ui;
    ZRV_MeetingsInfoThread *m_thread;
    ZRV_Service_API::ZRVMeetingInfo m_info;
    QDoubleValidator *m_validator;
};
