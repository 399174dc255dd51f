#include "ZRV_LogfileDialog.h"

#include "ZRV_MeetingsInfoThread.h"
#include "ui_ZRV_LogfileDialog.h"

#include <QCoreApplication>
#include <QPushButton>
#include <QScrollBar>
#include <QTimer>

ZRV_LogfileDialog::ZRV_LogfileDialog(ZRV_MeetingsInfoThread *thread, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_LogfileDialog)
    , m_timer(new QTimer(this))
    , m_thread(thread)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    ui->buttonBox->button(QDialogButtonBox::Cancel)->hide();

    m_timer->setInterval(1000);
    connect(m_timer, &QTimer::timeout, this, &ZRV_LogfileDialog::autoUpdate);
    if (m_thread) {
        connect(m_thread, &ZRV_MeetingsInfoThread::serviceLog, this, &ZRV_LogfileDialog::setLog);
        connect(m_thread, &ZRV_MeetingsInfoThread::mirrorLog, this, &ZRV_LogfileDialog::setLog);
    }
    connect(ui->teLogfile->verticalScrollBar(), &QScrollBar::valueChanged, this,
            &ZRV_LogfileDialog::disableAutoScroll);
}

ZRV_LogfileDialog::~ZRV_LogfileDialog()
{
    delete ui;
}

void ZRV_LogfileDialog::showMirrorLog(QString meetingId)
{
    openLog(meetingId, tr("Mirror Server Logfile - Meeting %1").arg(meetingId));
}

void ZRV_LogfileDialog::showServiceLog()
{
    openLog(QString(), tr("Service Logfile"));
}

void ZRV_LogfileDialog::openLog(const QString &meetingId, const QString &title)
{
    m_meetingId = meetingId;
    m_autoScroll = true;
    setWindowTitle(title);
    setLog(tr("Loading, please wait."));
    autoUpdate();
    if (ui->chkAutoUpdate->isChecked())
        m_timer->start();
    exec();
}

void ZRV_LogfileDialog::autoUpdate()
{
    if (!m_thread)
        return;
    // The whole tail each time, so a changed line count applies at the next tick.
    if (!m_meetingId.isEmpty())
        m_thread->getMirrorLog(m_meetingId, ui->spnLines->value());
    else
        m_thread->getServiceLog(ui->spnLines->value());
}

void ZRV_LogfileDialog::on_chkAutoUpdate_stateChanged(int arg1)
{
    if (arg1 == Qt::Checked)
        m_timer->start();
    else
        m_timer->stop();
}

void ZRV_LogfileDialog::on_ZRV_LogfileDialog_finished(int result)
{
    Q_UNUSED(result)
    m_timer->stop();
}

void ZRV_LogfileDialog::setLog(QString log)
{
    m_updating = true;
    QCoreApplication::processEvents();
    QScrollBar *vertical = ui->teLogfile->verticalScrollBar();
    QScrollBar *horizontal = ui->teLogfile->horizontalScrollBar();
    const int verticalValue = vertical->value();
    const int horizontalValue = horizontal->value();

    ui->teLogfile->clear();
    if (!log.isEmpty())
        ui->teLogfile->insertPlainText(log);

    if (m_autoScroll) {
        vertical->setValue(vertical->maximum());
        QCoreApplication::processEvents();
        // Scrolling to the end may pass through disableAutoScroll after the guard is
        // down (a nested setLog), so the flag is restored here.
        m_autoScroll = true;
    } else {
        vertical->setValue(verticalValue);
        horizontal->setValue(horizontalValue);
        QCoreApplication::processEvents();
    }
    m_updating = false;
}

void ZRV_LogfileDialog::disableAutoScroll(int val)
{
    Q_UNUSED(val)
    if (!m_updating)
        m_autoScroll = false;
}
