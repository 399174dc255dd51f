#pragma once

#include <QDialog>
#include <QList>
#include <QMap>

#include "ZRVBanlistEntry.h"

class QListWidgetItem;
class ZRV_MeetingsInfoThread;

namespace Ui {
class ZRV_BanlistDialog;
}

// The service's one global list of banned files and URL patterns. Works on
// the service directly: every change is followed by reading the list anew.
class ZRV_BanlistDialog : public QDialog
{
    Q_OBJECT

public:
    ZRV_BanlistDialog(ZRV_MeetingsInfoThread *thread, QWidget *parent = nullptr);
    ~ZRV_BanlistDialog() override;

private slots:
    void on_btnAddCustom_clicked();
    void on_btnDelete_clicked();
    void on_banlst_currentItemChanged(QListWidgetItem *current, QListWidgetItem *previous);
    void onBanlist(QList<ZRV_Service_API::ZRVBanlistEntry> lst);
    void onBanlistPost(int id);
    void onBanlistDeleted(int id);

private:
    Ui::ZRV_BanlistDialog *ui;
    ZRV_MeetingsInfoThread *m_thread;
    QMap<int, ZRV_Service_API::ZRVBanlistEntry> m_entries;
};
