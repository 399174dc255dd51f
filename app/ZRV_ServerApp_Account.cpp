// The user menu's account and about entries.

#include "ZRV_ServerApp.h"

#include "ZRV_ChangePasswordDialog.h"
#include "ZRV_Meetings.h"
#include "ZRV_VersionDialog.h"

void ZRV_ServerApp::on_actionChangePassword_triggered()
{
    ZRV_ChangePasswordDialog dialog(m_config, m_loginData, nullptr);
    dialog.exec();
    // Taken back whatever the outcome: a cancelled dialog hands back the
    // tokens unchanged, and they are spread again all the same.
    m_loginData = dialog.loginData();
    passLoginDataToStorage();
    m_thread->setLoginData(&m_loginData);
    setServiceApiToken(m_loginData.accessToken);
    m_meetings->setLoginData(&m_loginData);
    m_storageTab = m_loginData.storageMode;
}

void ZRV_ServerApp::on_actionAbout_triggered()
{
    ZRV_VersionDialog dialog(nullptr);
    dialog.exec();
}
