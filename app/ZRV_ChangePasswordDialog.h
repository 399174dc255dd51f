#pragma once

#include <QDialog>
#include <QNetworkReply>
#include <QString>

#include "ZRVAuth.h"
#include "ZRVAuthApi.h"
#include "ZRV_LoginData.h"

class QAbstractButton;
class ZRV_Config;

namespace Ui {
class ZRV_ChangePasswordDialog;
}

// Changes the account's password. The old password authorises the change,
// and the reply's fresh tokens replace those of the dialog's copy of the
// login data, which the caller takes back whatever the outcome.
class ZRV_ChangePasswordDialog : public QDialog
{
    Q_OBJECT

public:
    ZRV_ChangePasswordDialog(ZRV_Config *config, ZRV_LoginData data, QWidget *parent = nullptr);
    ~ZRV_ChangePasswordDialog() override;

    ZRV_LoginData loginData() const { return m_loginData; }

private slots:
    void on_buttonBox_clicked(QAbstractButton *button);
    void onAuthPasswordResetPostSignalFull(ZRV_AuthService_API::ZRVHttpRequestWorker *worker,
                                           ZRV_AuthService_API::ZRVAuth summary);
    void onAuthPasswordResetPostSignalEFull(ZRV_AuthService_API::ZRVHttpRequestWorker *worker,
                                            QNetworkReply::NetworkError error_type,
                                            QString error_str);

private:
    Ui::ZRV_ChangePasswordDialog *ui;
    ZRV_Config *m_config = nullptr;
    ZRV_AuthService_API::ZRVAuthApi *m_authApi = nullptr;
    ZRV_LoginData m_loginData;
};
