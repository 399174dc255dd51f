#pragma once

#include <QAbstractButton>
#include <QDialog>
#include <QNetworkReply>
#include <QString>

#include "ZRVAuthApi.h"
#include "ZRV_LoginData.h"

namespace Ui {
class ZRV_Login;
}

class ZRV_Config;

// The sign-in dialog. Ok runs the whole sequence (token, account, groups)
// on the replies of one client; exec() returns non-zero only when all of it
// succeeded, and loginData then holds the account.
class ZRV_Login : public QDialog
{
    Q_OBJECT

public:
    // A non-empty user is a new login after session expiry: the name is fixed.
    ZRV_Login(QWidget *parent, ZRV_Config *config, QString user);
    ~ZRV_Login() override;

    ZRV_LoginData loginData;

public slots:
    void on_btnBox_accepted();
    void on_btnBox_rejected();
    void on_btnBox_clicked(QAbstractButton *button);
    void onAuthLogin(ZRV_AuthService_API::ZRVAuth summary);
    void onAuthLoginError(ZRV_AuthService_API::ZRVAuth summary,
                          QNetworkReply::NetworkError error_type, QString error_str);
    void onAuthLogout();
    void onAuthLogoutError(QNetworkReply::NetworkError error_type, QString &error_str);
    void onAuthUser(ZRV_AuthService_API::ZRVUser summary);
    void onAuthUserError(ZRV_AuthService_API::ZRVUser summary,
                         QNetworkReply::NetworkError error_type, QString error_str);
    void onGroupsGetSignal(ZRV_AuthService_API::ZRVUserGroups summary);
    void onGroupsGetSignalError(ZRV_AuthService_API::ZRVUserGroups summary,
                                QNetworkReply::NetworkError error_type, QString error_str);

private:
    void resetLogin();
    bool applyLicence(const ZRV_AuthService_API::ZRVUserGroup &customer);
    ZRV_AuthService_API::ZRVAuthApi *newAuthClient(const QString &authorization) const;

    Ui::ZRV_Login *ui;
    ZRV_Config *m_config = nullptr;
    ZRV_AuthService_API::ZRVAuthApi *m_authApi = nullptr;
    QString m_password;
};
