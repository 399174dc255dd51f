#include "ZRV_SpawnPointEditDialog.h"

#include "ZRV_MeetingsInfoThread.h"
#include "ui_ZRV_SpawnPointEditDialog.h"

#include <QDoubleValidator>
#include <QLocale>
#include <QPushButton>

using namespace ZRV_Service_API;

ZRV_SpawnPointEditDialog::ZRV_SpawnPointEditDialog(ZRVMeetingInfo info, int id,
                                                   ZRV_MeetingsInfoThread *thread, QWidget *parent)
    : QDialog(parent)
    , m_id(id)
    , ui(new Ui::ZRV_SpawnPointEditDialog)
    , m_thread(thread)
    , m_info(info)
    , m_validator(new QDoubleValidator(this))
{
    setup();
    showId();
    ui->leTitle->setText(m_id < 1 ? tr("Start") : tr("Position ") + QString::number(m_id));
    on_leTitle_textChanged(ui->leTitle->text());
}

ZRV_SpawnPointEditDialog::ZRV_SpawnPointEditDialog(ZRVMeetingInfo info, ZRVSpawnPoint point,
                                                   ZRV_MeetingsInfoThread *thread, QWidget *parent)
    : QDialog(parent)
    , m_id(point.getId())
    , ui(new Ui::ZRV_SpawnPointEditDialog)
    , m_thread(thread)
    , m_info(info)
    , m_validator(new QDoubleValidator(this))
{
    setup();
    showId();
    ui->leTitle->setText(point.getName());
    onPlayerPos(point);
    on_leTitle_textChanged(ui->leTitle->text());
}

ZRV_SpawnPointEditDialog::~ZRV_SpawnPointEditDialog()
{
    delete ui;
}

void ZRV_SpawnPointEditDialog::setup()
{
    ui->setupUi(this);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);

    // Fields are read back with QString::toDouble, which knows only the C locale.
    m_validator->setLocale(QLocale::c());
    for (QLineEdit *le : {ui->lePosX, ui->lePosY, ui->lePosZ, ui->leRotX, ui->leRotY, ui->leRotZ})
        le->setValidator(m_validator);

    if (m_thread) {
        connect(m_thread, &ZRV_MeetingsInfoThread::playerPos, this, &ZRV_SpawnPointEditDialog::onPlayerPos);
        connect(m_thread, &ZRV_MeetingsInfoThread::meetingsInfo, this, &ZRV_SpawnPointEditDialog::onMeetingsInfo);
    }
    fillPlayers();
}

void ZRV_SpawnPointEditDialog::showId()
{
    ui->leId->setText(m_id < 1 ? tr("Default") : QString::number(m_id));
}

void ZRV_SpawnPointEditDialog::fillPlayers()
{
    const int previous = ui->cmbPlayers->currentData(Qt::UserRole).toInt();
    ui->cmbPlayers->clear();
    const QList<ZRVMirrorClientInfo> clients = m_info.getClients();
    for (const ZRVMirrorClientInfo &client : clients) {
        ui->cmbPlayers->addItem(QString::number(client.getId()) + QStringLiteral(" - ") + client.getAlias(),
                                client.getId());
        if (client.getId() == previous)
            ui->cmbPlayers->setCurrentIndex(ui->cmbPlayers->count() - 1);
    }
    ui->cmbPlayers->setEnabled(!clients.isEmpty());
}

void ZRV_SpawnPointEditDialog::onMeetingsInfo(QMap<QString, ZRVMeetingInfo> map)
{
    const auto it = map.constFind(m_info.getMeetingId());
    if (it != map.constEnd())
        m_info = it.value();
    fillPlayers();
}

void ZRV_SpawnPointEditDialog::onPlayerPos(ZRVSpawnPoint pnt)
{
    const auto text = [](float value) { return QString::number(value, 'g', 6); };
    const ZRVDefVector3 pos = pnt.getPosition();
    const ZRVDefVector3 rot = pnt.getRotation();
    ui->lePosX->setText(text(pos.getX()));
    ui->lePosY->setText(text(pos.getY()));
    ui->lePosZ->setText(text(pos.getZ()));
    ui->leRotX->setText(text(rot.getX()));
    ui->leRotY->setText(text(rot.getY()));
    ui->leRotZ->setText(text(rot.getZ()));
}

void ZRV_SpawnPointEditDialog::on_btnLoadPos_clicked()
{
    if (!m_thread)
        return;
    const int playerId = ui->cmbPlayers->currentData(Qt::UserRole).toInt();
    m_thread->sendMeetingCommand(m_info.getMeetingId(), QStringLiteral("GetPlayerPos"),
                                 QStringList{QString::number(playerId)});
}

void ZRV_SpawnPointEditDialog::on_leTitle_textChanged(QString arg1)
{
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(!arg1.isEmpty());
}

ZRVSpawnPoint ZRV_SpawnPointEditDialog::getSpawnPoint()
{
    const auto vector = [](QLineEdit *x, QLineEdit *y, QLineEdit *z) {
        ZRVDefVector3 v;
        v.setX(float(x->text().toDouble()));
        v.setY(float(y->text().toDouble()));
        v.setZ(float(z->text().toDouble()));
        return v;
    };
    ZRVSpawnPoint pnt;
    pnt.setId(m_id);
    pnt.setName(ui->leTitle->text());
    pnt.setPosition(vector(ui->lePosX, ui->lePosY, ui->lePosZ));
    pnt.setRotation(vector(ui->leRotX, ui->leRotY, ui->leRotZ));
    return pnt;
}
