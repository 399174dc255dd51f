#include "ZRV_ServerApp.h"

#include <QMessageBox>
#include <QTimer>

#include "ZRV_Meetings.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_S3.h"

void ZRV_ServerApp::onUserInactive()
{
    // Before the login and during a transfer the console stays as it is.
    if (isActiveWindow() || !m_loginData.authenticated || !m_inactivityEnabled)
        return;
    m_statusTimer->stop();
    setEnabled(false);
    m_savedTitle = windowTitle();
    setWindowTitle(m_savedTitle + QStringLiteral(" - INACTIVE"));
    m_inactive = true;
}

void ZRV_ServerApp::onUserActive()
{
    if (!m_inactive)
        return;
    // No poll at once: the next tick is a whole interval away.
    m_statusTimer->start();
    setEnabled(true);
    setWindowTitle(m_savedTitle);
    m_inactive = false;
}

void ZRV_ServerApp::setInactivityOff()
{
    m_inactivityEnabled = false;
    if (m_inactive)
        onUserActive();
}

void ZRV_ServerApp::setInactivityOn()
{
    m_inactivityEnabled = true;
}

void ZRV_ServerApp::spreadLoginData()
{
    m_thread->setLoginData(&m_loginData);
    passLoginDataToStorage();
    m_meetings->setLoginData(&m_loginData);
}

void ZRV_ServerApp::onSessionExpired()
{
    m_statusTimer->stop();
    m_loginData.authenticated = false;
    spreadLoginData();

    QMessageBox::information(nullptr, QStringLiteral("Session expired"),
                             QStringLiteral("Your session has expired. Please perform a new Login."),
                             QMessageBox::Ok);

    if (!runLogin(m_loginData.userId)) {
        ZRV_ProcessExit::exit(0);
        return;
    }

    // The service object goes first: its tokenChanged carries the new token to every client.
    spreadLoginData();
    m_storageTab = m_loginData.storageMode;
    m_statusTimer->start();
    if (m_s3)
        m_s3->setEnabled(true);
    m_thread->getS3Token();
}
