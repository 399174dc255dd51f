#pragma once

#include <QDialog>
#include <QString>

class QTimer;
class ZRV_MeetingsInfoThread;

namespace Ui {
class ZRV_LogfileDialog;
}

// The tail of a meeting's mirror server log, or of the service's own log,
// fetched anew every second while the dialog is open. The panel keeps one
// instance, so the line count and the auto update box survive a reopening.
class ZRV_LogfileDialog : public QDialog
{
    Q_OBJECT

public:
    ZRV_LogfileDialog(ZRV_MeetingsInfoThread *thread, QWidget *parent = nullptr);
    ~ZRV_LogfileDialog() override;

    void showMirrorLog(QString meetingId);
    void showServiceLog();

private slots:
    void on_chkAutoUpdate_stateChanged(int arg1);
    void autoUpdate();
    void setLog(QString log);
    void on_ZRV_LogfileDialog_finished(int result);
    void disableAutoScroll(int val);

private:
    void openLog(const QString &meetingId, const QString &title);

    Ui::ZRV_LogfileDialog *ui;
    QTimer *m_timer;
    ZRV_MeetingsInfoThread *m_thread;
    QString m_meetingId;
    bool m_autoScroll = true;
    bool m_updating = false;
};
