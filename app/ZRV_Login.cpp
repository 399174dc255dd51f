#include "ZRV_Login.h"

#include <QDateTime>
#include <QDebug>
#include <QDialogButtonBox>
#include <QMessageBox>
#include <QPushButton>

#include "ZRV_Config.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_ServiceEndpoint.h"
#include "ui_ZRV_Login.h"

using namespace ZRV_AuthService_API;

ZRV_Login::ZRV_Login(QWidget *parent, ZRV_Config *config, QString user)
    : QDialog(parent), ui(new Ui::ZRV_Login), m_config(config)
{
    ui->setupUi(this);
    setWindowFlags(Qt::Tool);
    setWindowState(Qt::WindowActive);

    m_authApi = newAuthClient(QString());
    connect(m_authApi, &ZRVAuthApi::authLoginPostSignal, this, &ZRV_Login::onAuthLogin);
    connect(m_authApi, &ZRVAuthApi::authLoginPostSignalE, this, &ZRV_Login::onAuthLoginError);
    connect(m_authApi, &ZRVAuthApi::authUserGetSignal, this, &ZRV_Login::onAuthUser);
    connect(m_authApi, &ZRVAuthApi::authUserGetSignalE, this, &ZRV_Login::onAuthUserError);
    connect(m_authApi, &ZRVAuthApi::authGroupsGetSignal, this, &ZRV_Login::onGroupsGetSignal);
    connect(m_authApi, &ZRVAuthApi::authGroupsGetSignalE, this,
            &ZRV_Login::onGroupsGetSignalError);

    // The form offers Reset as well; the user is meant to see only these two.
    ui->btnBox->setStandardButtons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);

    if (!user.isEmpty()) {
        ui->leUser->setText(user);
        ui->leUser->setEnabled(false);
    }
    loginData.clearLoginData();
}

ZRV_Login::~ZRV_Login()
{
    delete m_authApi;
    delete ui;
}

ZRVAuthApi *ZRV_Login::newAuthClient(const QString &authorization) const
{
    ZRVAuthApi *api =
        newServiceClient<ZRVAuthApi>(m_config->authServiceHost, m_config->authServicePath);
    api->addHeaders(QStringLiteral("Content-Type"),
                    QStringLiteral("application/x-www-form-urlencoded"));
    if (!authorization.isEmpty())
        api->addHeaders(QStringLiteral("Authorization"), authorization);
    return api;
}

void ZRV_Login::on_btnBox_accepted()
{
    loginData.clearLoginData();
    ui->btnBox->setEnabled(false);
    const QString user = ui->leUser->text();
    m_password = ui->lePass->text();
    m_authApi->authLoginPost(QStringLiteral("BVK"), user, m_password, QString());
}

void ZRV_Login::on_btnBox_rejected()
{
    close();
}

void ZRV_Login::on_btnBox_clicked(QAbstractButton *button)
{
    if (button->text().toLower() != QLatin1String("reset"))
        return;

    // The lower-case "bearer" is how this path has always spoken.
    ZRVAuthApi *logout = newAuthClient(QStringLiteral("bearer ") + loginData.accessToken);
    logout->setParent(this);
    connect(logout, &ZRVAuthApi::authLogoutPostSignal, this, &ZRV_Login::onAuthLogout);
    connect(logout, &ZRVAuthApi::authLogoutPostSignalE, this,
            [this](QNetworkReply::NetworkError error_type, QString error_str) {
                onAuthLogoutError(error_type, error_str);
            });
    logout->authLogoutPost(loginData.refreshToken);
}

void ZRV_Login::onAuthLogout()
{
    ZRVAuthApi *check = newAuthClient(QStringLiteral("bearer ") + loginData.accessToken);
    check->setParent(this);
    check->authUserGet(QString(), QString(), QString());
}

void ZRV_Login::onAuthLogoutError(QNetworkReply::NetworkError error_type, QString &error_str)
{
    qDebug() << "ERROR:" << error_type << error_str;
}

void ZRV_Login::onAuthLogin(ZRVAuth summary)
{
    loginData.accessToken = summary.getAccessToken();
    loginData.refreshToken = summary.getRefreshToken();
    loginData.tokenExpiry = QDateTime::currentDateTime().addSecs(summary.getExpiresIn());

    // One token serves all three services: the access token of this login.
    m_authApi->addHeaders(QStringLiteral("Authorization"),
                          QStringLiteral("Bearer ") + loginData.accessToken);
    m_authApi->authUserGet(QString(), QStringLiteral("login-app"), QStringLiteral("meeting-app"));
}

void ZRV_Login::onAuthLoginError(ZRVAuth, QNetworkReply::NetworkError, QString)
{
    // A network failure reads like a wrong password; what was typed stays.
    QMessageBox::critical(this, QStringLiteral("Login failed"),
                          QStringLiteral("Login failed. Is your password correct?"),
                          QMessageBox::Ok);
    ui->btnBox->setEnabled(true);
}

void ZRV_Login::onAuthUser(ZRVUser summary)
{
    if (!summary.is_user_id_Set() || !summary.is_status_Set()
        || summary.getStatus().compare(QStringLiteral("active"), Qt::CaseInsensitive) != 0) {
        QMessageBox::critical(this, QStringLiteral("Error"),
                              QStringLiteral("Authentication failed."), QMessageBox::Ok);
        resetLogin();
        return;
    }
    // Unlike the group walk, the role name is compared with its case.
    if (!summary.getRoles().contains(QStringLiteral("ZRV_Presenter"))) {
        QMessageBox::critical(this, QStringLiteral("Error"),
                              QStringLiteral("Your account is missing the 'Presenter' role. "
                                             "Please contact your administrator."),
                              QMessageBox::Ok);
        resetLogin();
        return;
    }

    loginData.authenticated = true;
    loginData.id = summary.getId();
    loginData.userId = summary.getUserId();
    loginData.company = summary.getCompany();
    loginData.firstName = summary.getFirstName();
    loginData.lastName = summary.getLastName();
    loginData.email = summary.getEmail();
    loginData.phone = summary.getPhone();
    loginData.created = summary.getCreated();
    loginData.password = m_password;
    loginData.roles.append(summary.getRoles());

    m_authApi->authGroupsGet(QStringLiteral("BVK"), QStringLiteral("Customer"));
}

void ZRV_Login::onAuthUserError(ZRVUser, QNetworkReply::NetworkError error_type, QString error_str)
{
    qDebug() << "onAuthUserError" << "ERROR:" << error_type << error_str;
    QMessageBox::critical(this, QStringLiteral("Login Error"),
                          QStringLiteral("Could not retrieve account information. "
                                         "Please try again later."),
                          QMessageBox::Ok);
    ZRV_ProcessExit::exit(0);
}

void ZRV_Login::onGroupsGetSignalError(ZRVUserGroups, QNetworkReply::NetworkError error_type,
                                       QString error_str)
{
    qDebug() << "onGroupsGetSignalError" << "ERROR:" << error_type << error_str;
    QMessageBox::critical(this, QStringLiteral("Login Error"),
                          QStringLiteral("Could not retrieve account license information. "
                                         "Please try again later."),
                          QMessageBox::Ok);
    ZRV_ProcessExit::exit(0);
}

namespace {

// A licence value as decimal text; an attribute that is absent or no number
// keeps what the account had.
void readLicenceValue(const ZRVUserGroup &customer, const QString &key, qint64 *target)
{
    for (const ZRVUserGroupAttribute &attribute : customer.getAttributes()) {
        if (attribute.getKey().compare(key, Qt::CaseInsensitive) != 0)
            continue;
        bool ok = false;
        const qint64 value = attribute.getValue().value(0).toLongLong(&ok);
        if (ok)
            *target = value;
    }
}

} // namespace

bool ZRV_Login::applyLicence(const ZRVUserGroup &customer)
{
    qint64 storageSize = loginData.storageSize;
    qint64 trialDays = loginData.trialDays;
    qint64 countEndless = loginData.countEndlessMeetings;
    readLicenceValue(customer, QStringLiteral("StorageSize"), &storageSize);
    readLicenceValue(customer, QStringLiteral("TrialDays"), &trialDays);
    readLicenceValue(customer, QStringLiteral("CountEndlessMeetings"), &countEndless);
    loginData.storageSize = storageSize;
    loginData.trialDays = int(trialDays);
    loginData.countEndlessMeetings = int(countEndless);

    // The storage walk: the last subgroup named "S3_Config..." wins.
    ZRVUserGroup storage;
    storage.setId(QStringLiteral("notfound"));
    for (const ZRVUserGroup &sub : customer.getSubGroups()) {
        if (sub.getName().startsWith(QStringLiteral("S3_Config"), Qt::CaseInsensitive))
            storage = sub;
    }
    if (storage.getId() == QLatin1String("notfound"))
        return false;

    for (const ZRVUserGroupAttribute &attribute : storage.getAttributes()) {
        const QString key = attribute.getKey();
        const QString value = attribute.getValue().value(0);
        auto is = [&key](const char *name) {
            return key.compare(QLatin1String(name), Qt::CaseInsensitive) == 0;
        };
        if (is("Modus")) {
            if (value.compare(QLatin1String("S3"), Qt::CaseInsensitive) == 0)
                loginData.storageMode = 2;
            else if (value.compare(QLatin1String("MINIO"), Qt::CaseInsensitive) == 0)
                loginData.storageMode = 1;
            else if (value.compare(QLatin1String("NextCloud"), Qt::CaseInsensitive) == 0)
                loginData.storageMode = 0;
        } else if (is("User")) {
            loginData.storageUser = value;
        } else if (is("Pass")) {
            loginData.storagePass = value;
        } else if (is("Folder")) {
            loginData.storageFolder = value;
        } else if (is("Address")) {
            loginData.storageAddress = value;
        } else if (is("Bucket")) {
            loginData.storageBucket = value;
        }
    }
    return true;
}

void ZRV_Login::onGroupsGetSignal(ZRVUserGroups summary)
{
    const QList<ZRVUserGroup> groups = summary.getGroups();
    const bool accepted = !groups.isEmpty() && applyLicence(groups.first());
    if (!accepted) {
        QMessageBox::critical(this, QStringLiteral("No Storage Configuration"),
                              QStringLiteral("Your Account is missing storage configuration. "
                                             "Please ask your administrator to configure storage "
                                             "access for you."),
                              QMessageBox::Ok);
        resetLogin();
        return;
    }
    loginData.company = groups.first().getName();
    loginData.loginComplete = 1;
    accept();
}

void ZRV_Login::resetLogin()
{
    loginData.clearLoginData();
    ui->lePass->clear();
    ui->btnBox->setEnabled(true);
}
