#include "ZRV_Meetings.h"
#include "ui_ZRV_Meetings.h"

#include <QDateTime>
#include <QDebug>
#include <QMessageBox>
#include <QMetaEnum>
#include <QTimer>

#include "ZRVError.h"
#include "ZRV_BanlistDialog.h"
#include "ZRV_Config.h"
#include "ZRV_LogfileDialog.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingControl.h"
#include "ZRV_MeetingEditor.h"
#include "ZRV_MeetingRows.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServiceEndpoint.h"
#include "ZRV_SpawnPointsDialog.h"

using ZRV_MeetingService_API::ZRVPresenter;

namespace {

const QString kAdministrator = QStringLiteral("ZRV_Administrator");
const QString kGroupAdministrator = QStringLiteral("ZRV_Group_Administrator");

const char *errorName(QNetworkReply::NetworkError error)
{
    const char *name = QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(error);
    return name ? name : "UnknownError";
}

} // namespace

ZRV_Meetings::ZRV_Meetings(QWidget *parent, ZRV_Config *config, ZRV_MeetingsInfoThread *thread,
                           ZRV_LoginData *loginData)
    : QWidget(parent), ui(new Ui::ZRV_Meetings), m_config(config), m_thread(thread)
{
    ui->setupUi(this);
    ui->btnKickUser->show();
    ui->btnSpawnPoints->show();
    ui->btnSendMsg->show();
    ui->btnBanUser->hide();

    m_control = new ZRV_MeetingControl(
        {this, ui->tblMeetings, ui->tblMeetingMembers, ui->btnMuteUser, ui->btnKickUser,
         ui->btnPresenter},
        &m_infoMap, m_thread, m_config);
    connect(m_control, &ZRV_MeetingControl::meetingConfigChanged, this,
            &ZRV_Meetings::meetingConfigChanged);
    connect(m_control, &ZRV_MeetingControl::memberVoiceChanged, this, [this]() {
        updateButtons();
        emit meetingChanged();
    });

    m_api = newServiceClient<ZRVMeetingApi>(m_config->meetingServiceHost,
                                            m_config->meetingServicePath);
    m_api->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
    m_api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));

    connect(m_thread, &ZRV_MeetingsInfoThread::meetingsInfo, this, &ZRV_Meetings::onMeetingsInfo);
    connect(m_thread, &ZRV_MeetingsInfoThread::tokenChanged, this, &ZRV_Meetings::setAuthToken);
    connect(m_api, &ZRVMeetingApi::getMeetingsSignal, this, &ZRV_Meetings::onGetMeetings);
    connect(m_api, &ZRVMeetingApi::getMeetingsSignalE, this, &ZRV_Meetings::onGetMeetingsE);
    connect(m_api, &ZRVMeetingApi::createMeetingSignal, this, &ZRV_Meetings::onCreateMeeting);
    connect(m_api, &ZRVMeetingApi::createMeetingSignalE, this, &ZRV_Meetings::onCreateMeetingE);
    connect(m_api, &ZRVMeetingApi::deleteMeetingSignal, this, &ZRV_Meetings::onDeleteMeeting);
    connect(m_api, &ZRVMeetingApi::deleteMeetingSignalE, this, &ZRV_Meetings::onDeleteMeetingE);
    connect(m_api, &ZRVMeetingApi::updateMeetingSignal, this, &ZRV_Meetings::onUpdateMeeting);
    connect(m_api, &ZRVMeetingApi::updateMeetingSignalE, this, &ZRV_Meetings::onUpdateMeetingE);

    setLoginData(loginData);
    updateButtons();

    // One viewer for the panel's life, so its line count and auto update box persist.
    m_logDialog = new ZRV_LogfileDialog(m_thread, this);

    ui->btnSvcLog->hide();
    ui->btnMirLog->hide();
    ui->btnBanlist->hide();
    ui->btnExportAll->hide();

    m_refreshTimer = new QTimer(this);
    m_refreshTimer->setSingleShot(true);
    m_refreshTimer->setInterval(1000);
    connect(m_refreshTimer, &QTimer::timeout, this, &ZRV_Meetings::refreshMeetings);
}

ZRV_Meetings::~ZRV_Meetings()
{
    delete m_logDialog;
    delete m_api;
    delete ui;
}

bool ZRV_Meetings::isAdministrator() const
{
    return m_loginData && m_loginData->roles.contains(kAdministrator);
}

bool ZRV_Meetings::isAnyAdministrator() const
{
    return isAdministrator() || (m_loginData && m_loginData->roles.contains(kGroupAdministrator));
}

void ZRV_Meetings::setLoginData(ZRV_LoginData *data)
{
    m_loginData = data;
    if (!m_loginData)
        return;
    setAuthToken(m_loginData->accessToken);
    onSetupUI();
    if (!isAnyAdministrator())
        return;
    applyAdministratorColumns();
    if (isAdministrator()) {
        ui->btnSvcLog->show();
        ui->btnBanlist->show();
        ui->btnMirLog->show();
        ui->btnExportAll->show();
    }
}

void ZRV_Meetings::applyAdministratorColumns()
{
    const int usable = ui->tblMeetings->width() - 40;
    ui->tblMeetings->setColumnHidden(ZRV_MeetingRows::ColCreator, false);
    ui->tblMeetings->setColumnWidth(ZRV_MeetingRows::ColCreator, int(usable * 0.25));
    ui->tblMeetings->setColumnWidth(ZRV_MeetingRows::ColTitle, int(usable * 0.35));
}

void ZRV_Meetings::setAuthToken(QString token)
{
    if (m_config->auth)
        m_api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + token);
}

void ZRV_Meetings::onSetupUI()
{
    // The form's ninth header goes here.
    ui->tblMeetings->setColumnCount(ZRV_MeetingRows::MeetingColumnCount);
    m_control->setupColumns();
    ui->tblMeetings->setColumnHidden(ZRV_MeetingRows::ColCreator, true);
    ZRV_MeetingRows::applyColumns(ui->tblMeetings, {{0.1, QHeaderView::Fixed},
                                                    {0.05, QHeaderView::Fixed},
                                                    {0.05, QHeaderView::Fixed},
                                                    {0.05, QHeaderView::Fixed},
                                                    {0.0, QHeaderView::Interactive},
                                                    {0.55, QHeaderView::Stretch},
                                                    {0.12, QHeaderView::Interactive},
                                                    {0.05, QHeaderView::Interactive}});
}

void ZRV_Meetings::refreshMeetings()
{
    if (!m_loginData || !m_loginData->authenticated)
        return;
    setAuthToken(m_loginData->accessToken);
    // The one rule by owner in the console; the service refuses the rest.
    m_api->getMeetings(isAnyAdministrator() ? QStringLiteral("*") : m_loginData->id);
}

void ZRV_Meetings::onGetMeetings(QList<ZRVMeeting> summary)
{
    m_meetingList = summary;
    m_meetingMap.clear();
    for (const ZRVMeeting &meeting : qAsConst(m_meetingList))
        m_meetingMap.insert(meeting.getMeetingId(), meeting);

    ui->tblMeetingMembers->clearSelection();
    ui->tblMeetingMembers->setRowCount(0);

    // Rows are written over in place; only the count changes as a whole.
    QTableWidget *table = ui->tblMeetings;
    table->clearSelection();
    table->setRowCount(m_meetingMap.size());
    int row = 0;
    for (auto it = m_meetingMap.constBegin(); it != m_meetingMap.constEnd(); ++it, ++row)
        ZRV_MeetingRows::fillRegistryRow(table, row, it.value());

    updateButtons();
    m_thread->getMeetingsInfo();
    emit meetingUpdate(-1);
}

void ZRV_Meetings::onGetMeetingsE(QList<ZRVMeeting> summary,
                                  QNetworkReply::NetworkError error_type, QString error_str)
{
    Q_UNUSED(summary)
    qDebug() << Q_FUNC_INFO << "TYPE:" << errorName(error_type) << "ERROR:" << error_str;
    QMessageBox::critical(nullptr, tr("Cannot connect to meeting service"),
                          tr("Connecting to meeting service failed. Please try again later.\n"
                             "Error Message: %1")
                              .arg(error_str),
                          QMessageBox::Ok);
    // A box with Ok alone never answers Retry, so there is no way back from here.
    emit exitApp();
}

void ZRV_Meetings::onMeetingsInfo(QMap<QString, ZRVMeetingInfo> map)
{
    if (!m_infoMap.isSharedWith(map))
        m_infoMap = map;

    QTableWidget *table = ui->tblMeetings;
    const QDateTime nowUtc = QDateTime::currentDateTimeUtc();
    for (int row = 0; row < table->rowCount(); ++row) {
        const QTableWidgetItem *idCell = table->item(row, ZRV_MeetingRows::ColId);
        const QString key = idCell ? idCell->text().toLower() : QString();
        auto live = map.constFind(key);
        if (live == map.constEnd()) {
            ZRV_MeetingRows::clearLiveRow(table, row);
            continue;
        }
        ZRV_MeetingRows::applyLiveRow(table, row, m_meetingMap.value(key), live.value(), nowUtc);
    }

    updatePlayerList(map);
}

void ZRV_Meetings::updatePlayerList(QMap<QString, ZRVMeetingInfo> map)
{
    m_control->updatePlayerList(map);
}

void ZRV_Meetings::updateButtons()
{
    ui->grpBoxMeetings->setEnabled(m_loginData && m_loginData->authenticated);

    const bool selected = ui->tblMeetings->selectionModel()->hasSelection();
    for (QPushButton *button : {ui->btnMeetingEdit, ui->btnMeetingDelete, ui->btnSpawnPoints,
                                ui->btnSendMsg, ui->btnURL, ui->btnMeetingActivate, ui->btnMirLog})
        button->setEnabled(selected);
    if (!selected)
        return;

    const bool active = ZRV_MeetingRows::isActive(selectedMeeting());
    ui->btnMeetingActivate->setText(active ? tr("&Stop") : tr("&Start"));
    ui->tblMeetingMembers->setEnabled(active);
}

ZRVMeeting ZRV_Meetings::selectedMeeting()
{
    return m_meetingMap.value(ZRV_MeetingRows::selectedKey(ui->tblMeetings));
}

void ZRV_Meetings::on_tblMeetings_itemSelectionChanged()
{
    if (ui->tblMeetings->selectionModel()->hasSelection())
        m_thread->getMeetingsInfo();
    updateButtons();
    emit meetingChanged();
}

void ZRV_Meetings::on_btnMeetingCreate_clicked()
{
    ZRVMeeting meeting;
    ZRVPresenter presenter;
    if (m_loginData) {
        meeting.setCreator(m_loginData->userId);
        presenter.setName(m_loginData->firstName + QLatin1Char(' ') + m_loginData->lastName);
        presenter.setEmail(m_loginData->email);
    }
    meeting.setPresenter(presenter);
    meeting.setAudioMode(0);

    ZRV_MeetingEditor editor(this, &meeting, 0);
    editor.m_loginData = m_loginData;
    if (editor.exec() == 1)
        m_api->createMeeting(meeting);
}

void ZRV_Meetings::on_btnMeetingEdit_clicked()
{
    if (!ui->tblMeetings->selectionModel()->hasSelection())
        return;
    ZRVMeeting meeting = selectedMeeting();
    ZRV_MeetingEditor editor(this, &meeting, 1);
    editor.m_loginData = m_loginData;
    if (editor.exec() == 1)
        m_api->updateMeeting(meeting.getMeetingId(), meeting);
}

void ZRV_Meetings::on_btnMeetingDelete_clicked()
{
    const QString meetingId = ZRV_MeetingRows::selectedKey(ui->tblMeetings);
    if (meetingId.isEmpty())
        return;
    // These two texts are the service desk's wording and stay untranslated.
    const auto answer = QMessageBox::question(
        this, QStringLiteral("Remove Meeting"),
        QStringLiteral("Do you realy want to finally remove meeting %1?").arg(meetingId),
        QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes)
        m_api->deleteMeeting(meetingId);
}

void ZRV_Meetings::on_btnMeetingRefresh_clicked()
{
    refreshMeetings();
}

void ZRV_Meetings::on_btnMeetingActivate_clicked()
{
    const QString meetingId = ZRV_MeetingRows::selectedKey(ui->tblMeetings);
    if (meetingId.isEmpty())
        return;
    // Without a live record the service cannot run the meeting.
    if (!m_infoMap.contains(meetingId)) {
        QMessageBox::warning(this, tr("Error changing meeting status"),
                             tr("There was an error changing the status of the meeting. Please "
                                "refresh the meeting list and try again later."));
        return;
    }
    ZRVMeeting meeting = selectedMeeting();
    meeting.setStatus(ZRV_MeetingRows::isActive(meeting) ? QStringLiteral("pending")
                                                         : QStringLiteral("active"));
    m_api->updateMeeting(meeting.getMeetingId(), meeting);
    updateButtons();
    emit meetingChanged();
    // The new state shows with the list a second from now.
    m_refreshTimer->start();
}

void ZRV_Meetings::onCreateMeeting(ZRVMeeting summary)
{
    Q_UNUSED(summary)
    refreshMeetings();
}

void ZRV_Meetings::onCreateMeetingE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                                    QString error_str)
{
    Q_UNUSED(summary)
    Q_UNUSED(error_type)
    qDebug() << Q_FUNC_INFO << "ERROR:" << error_str;
}

void ZRV_Meetings::onDeleteMeeting()
{
    refreshMeetings();
}

void ZRV_Meetings::onDeleteMeetingE(QNetworkReply::NetworkError error_type, QString error_str)
{
    Q_UNUSED(error_type)
    qDebug() << Q_FUNC_INFO << "ERROR:" << error_str;
}

void ZRV_Meetings::onUpdateMeeting(ZRVMeeting summary)
{
    Q_UNUSED(summary)
    refreshMeetings();
}

void ZRV_Meetings::onUpdateMeetingE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                                    QString error_str)
{
    Q_UNUSED(summary)
    Q_UNUSED(error_type)
    qDebug() << Q_FUNC_INFO << "ERROR:" << error_str;
    // The service's error object follows the transport's text.
    const int brace = error_str.indexOf(QLatin1String(", {"));
    const ZRV_AuthService_API::ZRVError error(brace >= 0 ? error_str.mid(brace + 2) : QString());
    switch (error.getCode()) {
    case 401: // 401, 402 and 405: the licence limits of the service
    case 402:
    case 403:
    case 405:
        QMessageBox::critical(this, tr("Cannot start meeting"), tr("Not allowed to modify meeting."),
                              QMessageBox::Ok);
        break;
    default:
        break;
    }
}

void ZRV_Meetings::on_btnMirLog_clicked()
{
    const QString meetingId = ZRV_MeetingRows::selectedKey(ui->tblMeetings);
    if (meetingId.isEmpty())
        return;
    m_logDialog->showMirrorLog(meetingId);
}

void ZRV_Meetings::on_btnSvcLog_clicked()
{
    m_logDialog->showServiceLog();
}

void ZRV_Meetings::on_btnBanlist_clicked()
{
    ZRV_BanlistDialog dlg(m_thread, this);
    dlg.exec();
}

void ZRV_Meetings::on_btnSpawnPoints_clicked()
{
    const QString key = ZRV_MeetingRows::selectedKey(ui->tblMeetings);
    if (key.isEmpty())
        return;
    ZRVMeetingInfo info = m_infoMap.value(key);
    const QString registryId = selectedMeeting().getMeetingId();
    // A meeting the live list does not know yet still gets its id, so that the
    // title and the stored record name it.
    if (info.getMeetingId().isEmpty())
        info.setMeetingId(registryId.isEmpty() ? key : registryId);

    ZRV_SpawnPointsDialog dlg(info, m_thread);
    if (dlg.exec() != QDialog::Accepted)
        return;
    m_infoMap.insert(key, dlg.getMeetingInfo());
    emit meetingConfigChanged(m_infoMap.value(key));
    m_thread->getMeetingsInfo();
    updateButtons();
    emit meetingChanged();
}

void ZRV_Meetings::on_btnBanUser_clicked()
{
    // The button stays hidden: members are removed by kicking.
    QMessageBox::warning(this, tr("Not implemented"), tr("Not implemented yet"));
}

void ZRV_Meetings::on_btnMuteUser_clicked()
{
    m_control->muteMember();
}

void ZRV_Meetings::on_btnKickUser_clicked()
{
    m_control->kickMember();
}

void ZRV_Meetings::on_btnPresenter_clicked()
{
    m_control->togglePresenter();
}

void ZRV_Meetings::on_tblMeetingMembers_itemSelectionChanged()
{
    m_control->memberSelectionChanged();
}

void ZRV_Meetings::on_btnSendMsg_clicked()
{
    m_control->sendMessage();
}

void ZRV_Meetings::on_btnURL_clicked()
{
    m_control->copyInviteUrl(selectedMeeting());
}
