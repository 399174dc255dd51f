#pragma once

#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QString>
#include <QWidget>

#include "ZRVMeeting.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingInfo.h"

namespace Ui {
class ZRV_Meetings;
}

class QTimer;
class ZRV_Config;
class ZRV_LogfileDialog;
class ZRV_MeetingControl;
class ZRV_MeetingsInfoThread;
struct ZRV_LoginData;

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_MeetingService_API::ZRVMeetingApi;
using ZRV_Service_API::ZRVMeetingInfo;

// The meeting area of the main window: the registry's meetings with the live
// state laid over each row, the buttons that change them, and the members of
// the selected running meeting. Holds the two lists the other meeting dialogs
// read. Rows are found by the id in column 0, lower-cased, in both maps.
class ZRV_Meetings : public QWidget
{
    Q_OBJECT

public:
    ZRV_Meetings(QWidget *parent, ZRV_Config *config, ZRV_MeetingsInfoThread *thread,
                 ZRV_LoginData *loginData);
    ~ZRV_Meetings() override;

    void setLoginData(ZRV_LoginData *data);
    void refreshMeetings();
    void updateButtons();
    ZRVMeeting selectedMeeting();

signals:
    void meetingUpdate(int);
    void meetingChanged();
    void meetingConfigChanged(ZRVMeetingInfo info);
    void exitApp();

public slots:
    void onSetupUI();
    void onCreateMeeting(ZRVMeeting summary);
    void onCreateMeetingE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                          QString error_str);
    void onDeleteMeeting();
    void onDeleteMeetingE(QNetworkReply::NetworkError error_type, QString error_str);
    void onUpdateMeeting(ZRVMeeting summary);
    void onUpdateMeetingE(ZRVMeeting summary, QNetworkReply::NetworkError error_type,
                          QString error_str);
    void on_tblMeetings_itemSelectionChanged();
    void on_btnMirLog_clicked();
    void on_btnSvcLog_clicked();
    void on_btnMeetingCreate_clicked();
    void on_btnMeetingEdit_clicked();
    void on_btnMeetingDelete_clicked();
    void on_btnMeetingRefresh_clicked();
    void on_btnMeetingActivate_clicked();
    void onMeetingsInfo(QMap<QString, ZRVMeetingInfo> map);
    void updatePlayerList(QMap<QString, ZRVMeetingInfo> map);
    void onGetMeetings(QList<ZRVMeeting> summary);
    void onGetMeetingsE(QList<ZRVMeeting> summary, QNetworkReply::NetworkError error_type,
                        QString error_str);

private slots:
    void setAuthToken(QString token);
    void on_btnMuteUser_clicked();
    void on_btnKickUser_clicked();
    void on_btnBanUser_clicked();
    void on_tblMeetingMembers_itemSelectionChanged();
    void on_btnSpawnPoints_clicked();
    void on_btnSendMsg_clicked();
    void on_btnURL_clicked();
    void on_btnPresenter_clicked();
    void on_btnBanlist_clicked();
    void on_btnExportAll_clicked();

private:
    bool isAdministrator() const;
    bool isAnyAdministrator() const;
    void applyAdministratorColumns();

    Ui::ZRV_Meetings *ui;
    ZRV_LoginData *m_loginData = nullptr;
    ZRV_Config *m_config = nullptr;
    ZRVMeetingApi *m_api = nullptr;
    QList<ZRVMeeting> m_meetingList;
    QMap<QString, ZRVMeeting> m_meetingMap;
    QMap<QString, ZRVMeetingInfo> m_infoMap;
    ZRV_MeetingsInfoThread *m_thread = nullptr;
    // The log viewer's one instance; made here once the viewer exists.
    ZRV_LogfileDialog *m_logDialog = nullptr;
    QTimer *m_refreshTimer = nullptr;
    ZRV_MeetingControl *m_control = nullptr;
};
