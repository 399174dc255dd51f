#include "ZRV_MeetingControl.h"

#include <QApplication>
#include <QClipboard>
#include <QCoreApplication>
#include <QInputDialog>
#include <QItemSelectionModel>
#include <QMessageBox>
#include <QPushButton>
#include <QTableWidget>
#include <QUrl>

#include "ZRV_Config.h"
#include "ZRV_MeetingRows.h"
#include "ZRV_MeetingsInfoThread.h"

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_Service_API::ZRVMeetingInfo;
using ZRV_Service_API::ZRVMirrorClientInfo;

namespace {

// Captions are translated in the panel's context, where the form sets them.
QString panelTr(const char *text)
{
    return QCoreApplication::translate("ZRV_Meetings", text);
}

bool hasSelection(const QTableWidget *table)
{
    return table->selectionModel() && table->selectionModel()->hasSelection();
}

} // namespace

ZRV_MeetingControl::ZRV_MeetingControl(const Widgets &widgets,
                                       QMap<QString, ZRVMeetingInfo> *infoMap,
                                       ZRV_MeetingsInfoThread *thread, ZRV_Config *config)
    : QObject(widgets.panel), m_ui(widgets), m_infoMap(infoMap), m_thread(thread), m_config(config)
{
}

void ZRV_MeetingControl::setupColumns()
{
    QTableWidget *members = m_ui.members;
    members->setColumnCount(6);
    ZRV_MeetingRows::applyColumns(members, {{0.05, QHeaderView::Fixed},
                                            {0.05, QHeaderView::Fixed},
                                            {0.8, QHeaderView::Interactive},
                                            {0.0, QHeaderView::Interactive},
                                            {0.1, QHeaderView::Interactive},
                                            {0.0, QHeaderView::Interactive}});
    members->setColumnHidden(3, true);
    members->setColumnHidden(5, true);
}

void ZRV_MeetingControl::updatePlayerList(const QMap<QString, ZRVMeetingInfo> &map)
{
    const QString key = ZRV_MeetingRows::selectedKey(m_ui.meetings);
    if (key.isEmpty())
        return;
    auto it = map.constFind(key);
    if (it == map.constEnd())
        return;
    // Rows are written over in place, so the member selection stays on its index.
    const QList<ZRVMirrorClientInfo> clients = it.value().getClients();
    m_ui.members->setRowCount(clients.size());
    for (int row = 0; row < clients.size(); ++row)
        ZRV_MeetingRows::fillMemberRow(m_ui.members, row, clients.at(row));
}

void ZRV_MeetingControl::memberSelectionChanged()
{
    if (!hasSelection(m_ui.members))
        return;
    const ZRVMeetingInfo live = m_infoMap->value(ZRV_MeetingRows::selectedKey(m_ui.meetings));
    m_ui.mute->setEnabled(live.getVoiceMode() != 0);
    m_ui.kick->setEnabled(true);
    m_ui.presenter->setEnabled(true);

    const ZRVMirrorClientInfo member =
        ZRV_MeetingRows::memberOfRow(m_ui.members, m_ui.members->currentRow());
    m_ui.mute->setText(member.getVoiceEnabled() ? panelTr("Mute") : panelTr("Unmute"));
    m_ui.presenter->setText(member.getCurrentRole() == QLatin1String("Presenter")
                                ? panelTr("Take Presenter")
                                : panelTr("Give Presenter"));
}

int ZRV_MeetingControl::memberIndex(const ZRVMirrorClientInfo &member, ZRVMeetingInfo *record,
                                    QString *key) const
{
    // The member's own meeting id is the key, not the selected meeting row.
    *key = member.getMeetingId().toLower();
    *record = m_infoMap->value(*key);
    const QList<ZRVMirrorClientInfo> clients = record->getClients();
    if (clients.isEmpty())
        return -2;
    for (int i = 0; i < clients.size(); ++i) {
        if (clients.at(i).getId() == member.getId())
            return i;
    }
    return -1;
}

bool ZRV_MeetingControl::changeSelectedMember(const MemberChange &change, ZRVMeetingInfo *record)
{
    if (!hasSelection(m_ui.members))
        return false;
    ZRVMirrorClientInfo member = ZRV_MeetingRows::memberOfRow(m_ui.members, m_ui.members->currentRow());
    QString key;
    const int index = memberIndex(member, record, &key);
    if (index == -1)
        return false;
    QList<ZRVMirrorClientInfo> clients = record->getClients();
    if (index >= 0) {
        change(member, clients.at(index));
        clients[index] = member;
    }
    record->setClients(clients);
    m_infoMap->insert(key, *record);
    return true;
}

void ZRV_MeetingControl::muteMember()
{
    ZRVMeetingInfo record;
    const bool changed = changeSelectedMember(
        [this](ZRVMirrorClientInfo &member, const ZRVMirrorClientInfo &) {
            // The caption decides, even where it and the record disagree.
            const bool unmute = m_ui.mute->text() == panelTr("Unmute");
            member.setVoiceEnabled(unmute);
            m_ui.mute->setText(unmute ? panelTr("Mute") : panelTr("Unmute"));
        },
        &record);
    if (!changed)
        return;
    emit meetingConfigChanged(record);
    m_thread->getMeetingsInfo();
    emit memberVoiceChanged();
}

void ZRV_MeetingControl::togglePresenter()
{
    const int row = m_ui.members->currentRow();
    ZRVMeetingInfo record;
    const bool changed = changeSelectedMember(
        [this, row](ZRVMirrorClientInfo &member, const ZRVMirrorClientInfo &inRecord) {
            const QString role = inRecord.getCurrentRole();
            if (role == QLatin1String("Presenter")) {
                member.setCurrentRole(QStringLiteral("User"));
                m_ui.presenter->setText(panelTr("Give Presenter"));
                ZRV_MeetingRows::setTextCell(m_ui.members, row, 4, QStringLiteral("User"));
            } else if (role == QLatin1String("User")) {
                member.setCurrentRole(QStringLiteral("Presenter"));
                m_ui.presenter->setText(panelTr("Take Presenter"));
                ZRV_MeetingRows::setTextCell(m_ui.members, row, 4, QStringLiteral("Presenter"));
            }
        },
        &record);
    // Unlike a mute, nothing is re-read or re-gated here.
    if (changed)
        emit meetingConfigChanged(record);
}

void ZRV_MeetingControl::kickMember()
{
    if (!hasSelection(m_ui.meetings) || !hasSelection(m_ui.members))
        return;
    const ZRVMirrorClientInfo member =
        ZRV_MeetingRows::memberOfRow(m_ui.members, m_ui.members->currentRow());
    const QString meetingId = ZRV_MeetingRows::selectedKey(m_ui.meetings);
    const auto answer = QMessageBox::question(
        m_ui.panel, panelTr("Kick User"),
        panelTr("Kick user %1 from meeting %2?").arg(member.getAlias(), meetingId),
        QMessageBox::Yes | QMessageBox::No);
    if (answer != QMessageBox::Yes)
        return;
    m_thread->sendMeetingCommand(meetingId, QStringLiteral("KickPlayer"),
                                 {QString::number(member.getId())});
}

void ZRV_MeetingControl::sendMessage()
{
    const QString meetingId = ZRV_MeetingRows::selectedKey(m_ui.meetings);
    if (meetingId.isEmpty())
        return;
    bool ok = false;
    const QString text = QInputDialog::getText(
        m_ui.panel, panelTr("Send Message to Meeting %1").arg(meetingId.toUpper()), panelTr("Message:"),
        QLineEdit::Normal, QString(), &ok);
    if (ok && !text.isEmpty())
        m_thread->sendMeetingCommand(meetingId, QStringLiteral("SendMessage"), {text});
}

QString ZRV_MeetingControl::inviteUrl(const QString &serviceHost, const ZRVMeeting &meeting,
                                      const QString &lowerCaseId)
{
    QUrl url(serviceHost, QUrl::TolerantMode);
    url.setPort(-1);
    url.setPath(QStringLiteral("/"));
    QString query = QStringLiteral("meetingid=") + lowerCaseId;
    // The stored hash goes out, never a plain password: the console has none.
    if (!meeting.getPassword().isEmpty())
        query += QStringLiteral("&pwd=") + QString::fromLatin1(QUrl::toPercentEncoding(meeting.getPassword()));
    url.setQuery(query);
    return url.toString();
}

void ZRV_MeetingControl::copyInviteUrl(const ZRVMeeting &meeting)
{
    const QString meetingId = ZRV_MeetingRows::selectedKey(m_ui.meetings);
    if (meetingId.isEmpty())
        return;
    QApplication::clipboard()->setText(inviteUrl(m_config->serviceHost, meeting, meetingId));
    QMessageBox::information(m_ui.panel, panelTr("Invite URL Copied To Clipboard"),
                             panelTr("The meeting invite URL has been copied to the clipboard."));
}
