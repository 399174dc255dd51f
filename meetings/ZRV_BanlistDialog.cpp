#include "ZRV_BanlistDialog.h"

#include "ZRV_MeetingsInfoThread.h"
#include "ui_ZRV_BanlistDialog.h"

#include <QInputDialog>
#include <QListWidgetItem>
#include <QMessageBox>

using namespace ZRV_Service_API;

ZRV_BanlistDialog::ZRV_BanlistDialog(ZRV_MeetingsInfoThread *thread, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_BanlistDialog)
    , m_thread(thread)
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    if (m_thread) {
        connect(m_thread, &ZRV_MeetingsInfoThread::banlist, this, &ZRV_BanlistDialog::onBanlist);
        connect(m_thread, &ZRV_MeetingsInfoThread::banlistPost, this, &ZRV_BanlistDialog::onBanlistPost);
        connect(m_thread, &ZRV_MeetingsInfoThread::banlistDeleted, this, &ZRV_BanlistDialog::onBanlistDeleted);
        m_thread->getBanlist();
    }
}

ZRV_BanlistDialog::~ZRV_BanlistDialog()
{
    delete ui;
}

void ZRV_BanlistDialog::onBanlist(QList<ZRVBanlistEntry> lst)
{
    m_entries.clear();
    ui->banlst->clear();
    for (const ZRVBanlistEntry &entry : lst) {
        // A repeated id replaces the map's entry but still gets its own line.
        m_entries.insert(entry.getId(), entry);
        auto *item = new QListWidgetItem(QStringLiteral("#") + QString::number(entry.getId()) + QStringLiteral(" - ")
                                         + entry.getFilename() + QStringLiteral(" (") + entry.getChecksum()
                                         + QStringLiteral(")"));
        item->setData(Qt::UserRole, entry.getId());
        ui->banlst->addItem(item);
    }
}

void ZRV_BanlistDialog::onBanlistPost(int id)
{
    Q_UNUSED(id)
    m_thread->getBanlist();
}

void ZRV_BanlistDialog::onBanlistDeleted(int id)
{
    Q_UNUSED(id)
    m_thread->getBanlist();
}

void ZRV_BanlistDialog::on_banlst_currentItemChanged(QListWidgetItem *current, QListWidgetItem *previous)
{
    Q_UNUSED(previous)
    ui->btnDelete->setEnabled(current != nullptr);
}

void ZRV_BanlistDialog::on_btnAddCustom_clicked()
{
    const Qt::WindowFlags flags = windowFlags()
        & ~(Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint | Qt::WindowContextHelpButtonHint);
    bool ok = false;
    const QString name = QInputDialog::getText(this, tr("Name"), tr("Enter a name for the new entry:"),
                                               QLineEdit::Normal, QString(), &ok, flags);
    // A cancel is answered like an empty name.
    if (!ok || name.isEmpty()) {
        QMessageBox::information(this, tr("Empty name not allowed."), tr("Cannot add entry without a name."));
        return;
    }
    const QString url = QInputDialog::getText(this, tr("URL"), tr("Enter a URL to ban (* can be used):"),
                                              QLineEdit::Normal, QString(), &ok, flags);
    if (!ok || url.isEmpty()) {
        QMessageBox::information(this, tr("Empty entry not allowed."), tr("Cannot add empty entry."));
        return;
    }
    ZRVBanlistEntry entry;
    entry.setMode(3);
    entry.setFilename(name);
    entry.setChecksum(url);
    if (m_thread)
        m_thread->addBanlistEntry(entry);
}

void ZRV_BanlistDialog::on_btnDelete_clicked()
{
    QListWidgetItem *item = ui->banlst->currentItem();
    if (!item)
        return;
    bool ok = false;
    const int id = item->data(Qt::UserRole).toInt(&ok);
    if (!ok)
        return;
    if (m_entries.contains(id)) {
        if (m_thread)
            m_thread->deleteBanlistEntry(id);
    } else {
        QMessageBox::critical(this, tr("Delete not possible"), tr("Invalid entry - Could not delete"));
    }
}
