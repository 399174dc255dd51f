#pragma once

#include <QMap>
#include <QObject>
#include <QString>

#include <functional>

#include "ZRVMeeting.h"
#include "ZRVMeetingInfo.h"

class QPushButton;
class QTableWidget;
class QWidget;
class ZRV_Config;
class ZRV_MeetingsInfoThread;

// The moderating half of the meetings panel: the member table of the
// selected running meeting and what is done to its members. Kick and
// messages go to the meeting as commands; mute and the presenter role go
// out as a changed live record that the main window stores.
class ZRV_MeetingControl : public QObject
{
    Q_OBJECT

public:
    struct Widgets {
        QWidget *panel;
        QTableWidget *meetings;
        QTableWidget *members;
        QPushButton *mute;
        QPushButton *kick;
        QPushButton *presenter;
    };

    ZRV_MeetingControl(const Widgets &widgets,
                       QMap<QString, ZRV_Service_API::ZRVMeetingInfo> *infoMap,
                       ZRV_MeetingsInfoThread *thread, ZRV_Config *config);

    void setupColumns();
    void updatePlayerList(const QMap<QString, ZRV_Service_API::ZRVMeetingInfo> &map);
    void memberSelectionChanged();
    void muteMember();
    void kickMember();
    void togglePresenter();
    void sendMessage();
    void copyInviteUrl(const ZRV_MeetingService_API::ZRVMeeting &meeting);

    // The invite address of a meeting on the service host: the meeting id and,
    // for a protected meeting, its stored password hash.
    static QString inviteUrl(const QString &serviceHost,
                             const ZRV_MeetingService_API::ZRVMeeting &meeting,
                             const QString &lowerCaseId);

signals:
    void meetingConfigChanged(ZRV_Service_API::ZRVMeetingInfo info);
    // A mute went out; the panel re-gates its buttons and reports the change.
    void memberVoiceChanged();

private:
    // The live record that holds the selected member and its index there; -1
    // when the record has members but not this one, -2 when it has none.
    int memberIndex(const ZRV_Service_API::ZRVMirrorClientInfo &member,
                    ZRV_Service_API::ZRVMeetingInfo *record, QString *key) const;
    // Lets `change` edit the selected member (beside its entry in the live
    // record) and keeps the record in the map; false when nothing was selected
    // or the record does not know the member.
    using MemberChange = std::function<void(ZRV_Service_API::ZRVMirrorClientInfo &member,
                                            const ZRV_Service_API::ZRVMirrorClientInfo &inRecord)>;
    bool changeSelectedMember(const MemberChange &change, ZRV_Service_API::ZRVMeetingInfo *record);

    Widgets m_ui;
    QMap<QString, ZRV_Service_API::ZRVMeetingInfo> *m_infoMap;
    ZRV_MeetingsInfoThread *m_thread;
    ZRV_Config *m_config;
};
