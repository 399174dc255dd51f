#include "ZRV_ServerApp.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDebug>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QResizeEvent>
#include <QSettings>
#include <QTimer>

#include "ZRV_Config.h"
#include "ZRV_Login.h"
#include "ZRV_Meetings.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_ServiceEndpoint.h"
#include "ui_ZRV_ServerApp.h"

using ZRV_MeetingService_API::ZRVMeeting;

namespace {

// Stamped by hand at each release: "v<major>.<minor>-<patch>-g<hash>".
const char BuildVersion[] = "v3.1-2-gb60c8eb";

const int StatusInterval = 10000;

const char SettingsOrganisation[] = "Brenvik";
const char SettingsApplication[] = "Zarvo Console";
const char SettingsGroup[] = "MainWindow";

} // namespace

QString ZRV_ServerApp::buildVersionText()
{
    return QString::fromLatin1(BuildVersion);
}

QStringList ZRV_ServerApp::buildVersionParts()
{
    QString text = buildVersionText().mid(1);
    text.chop(9);
    return text.replace(QLatin1Char('-'), QLatin1Char('.')).split(QLatin1Char('.'), Qt::SkipEmptyParts);
}

ZRV_ServerApp::ZRV_ServerApp(const QStringList &arguments, QWidget *parent)
    : QMainWindow(parent), ui(new Ui::ZRV_ServerAppClass)
{
    ui->setupUi(this);

    createStatusLine();
    ui->dckProgress->hide();
    ui->statusBar->hide();

    m_config = new ZRV_Config(arguments);

    const QStringList version = buildVersionParts();
    setWindowTitle(QStringLiteral("%1 %2.%3").arg(windowTitle(), version.value(0), version.value(1)));
    ui->btnUserMenu->setText(version.join(QLatin1Char('.')));

    m_thread = new ZRV_MeetingsInfoThread(this, m_config);
    connect(m_thread, &ZRV_MeetingsInfoThread::exitApp, this, &ZRV_ServerApp::onExit);
    connect(m_thread, &ZRV_MeetingsInfoThread::stopThread, this, &ZRV_ServerApp::onStopUpdate);
    connect(m_thread, &ZRV_MeetingsInfoThread::sessionExpired, this, &ZRV_ServerApp::onSessionExpired);
    connect(m_thread, &ZRV_MeetingsInfoThread::serviceStatus, this, &ZRV_ServerApp::onServiceStatus);
    connect(m_thread, &ZRV_MeetingsInfoThread::serviceVersion, this, &ZRV_ServerApp::onServiceVersion);
    connect(m_thread, &ZRV_MeetingsInfoThread::serviceVersions, this, &ZRV_ServerApp::onServiceVersions);
    connect(m_thread, &ZRV_MeetingsInfoThread::tokenChanged, this, &ZRV_ServerApp::setServiceApiToken);

    m_meetings = new ZRV_Meetings(ui->centralWidget, m_config, m_thread, &m_loginData);
    ui->verticalLayoutCentralWidget->insertWidget(1, m_meetings, 0);
    connect(m_meetings, &ZRV_Meetings::exitApp, this, &ZRV_ServerApp::onExit);
    connect(m_meetings, &ZRV_Meetings::meetingUpdate, this, &ZRV_ServerApp::onMeetingUpdate);
    connect(m_meetings, &ZRV_Meetings::meetingChanged, this, &ZRV_ServerApp::onMeetingChanged);
    connect(m_meetings, &ZRV_Meetings::meetingConfigChanged, this, &ZRV_ServerApp::onMeetingConfigChanged);

    m_loginData.clearLoginData();

    takeUpStoragePages();

    // Administrators get these back after their login.
    ui->btnProperties->hide();
    ui->btnExport->hide();
    ui->btnImport->hide();

    restoreWindowState();

    m_serviceApi = newServiceClient<ZRVMeetingServiceApi>(m_config->serviceHost, m_config->servicePath);
    m_serviceApi->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
    connect(m_serviceApi, &ZRVMeetingServiceApi::serviceUpdateSignal, this, &ZRV_ServerApp::onServiceUpdate);
    connect(m_serviceApi, &ZRVMeetingServiceApi::serviceUpdateSignalE, this, &ZRV_ServerApp::onServiceUpdateE);
    connect(m_serviceApi, &ZRVMeetingServiceApi::meetingInfoUpdateSignal, this,
            &ZRV_ServerApp::onMeetingInfoUpdateSignal);
    connect(m_serviceApi, &ZRVMeetingServiceApi::meetingInfoUpdateSignalE, this,
            &ZRV_ServerApp::onMeetingInfoUpdateSignalE);
    connectAssetFunctions();

    m_statusTimer = new QTimer(this);
    m_statusTimer->setInterval(StatusInterval);
    connect(m_statusTimer, &QTimer::timeout, this, &ZRV_ServerApp::onMeetingStatusTimer);

    // The first request of the program; its answer, good or bad, leads on to the login.
    m_thread->getServiceVersionInformation();

    ui->lblSvcAddress->setText(m_config->serviceHost);
    blankStatusLine();
}

ZRV_ServerApp::~ZRV_ServerApp()
{
    delete m_config;
    delete m_serviceApi;
    m_meetings->deleteLater();
    m_thread->deleteLater();
    m_statusTimer->deleteLater();
    if (m_userMenu)
        m_userMenu->deleteLater();
    delete ui;
}

void ZRV_ServerApp::createStatusLine()
{
    m_lblOperation = new QLabel(this);
    m_lblFileName = new QLabel(this);
    m_progressBar = new QProgressBar(this);
    m_lblCompleted = new QLabel(this);
    m_lblSize = new QLabel(this);
    m_lblSpeed = new QLabel(this);

    m_progressBar->setFormat(QStringLiteral("%p%"));
    m_progressBar->setMinimumSize(400, 20);
    m_progressBar->setMinimumSize(400, 0);
    m_progressBar->setMaximumSize(600, 16777215);
    m_progressBar->setStyleSheet(QStringLiteral("border: none;"));
    m_progressBar->setAlignment(Qt::AlignLeft | Qt::AlignHCenter | Qt::AlignVCenter);

    ui->statusBar->insertPermanentWidget(0, m_lblOperation, 0);
    ui->statusBar->insertPermanentWidget(1, m_lblFileName, 200);
    ui->statusBar->insertPermanentWidget(2, m_progressBar, 500);
    ui->statusBar->insertPermanentWidget(3, m_lblCompleted, 50);
    ui->statusBar->insertPermanentWidget(4, m_lblSize, 50);
    ui->statusBar->insertPermanentWidget(5, m_lblSpeed, 50);
}

void ZRV_ServerApp::blankStatusLine()
{
    m_lblOperation->clear();
    m_lblFileName->clear();
    m_progressBar->setValue(0);
    m_lblCompleted->clear();
    m_lblSize->clear();
    m_lblSpeed->clear();
}

bool ZRV_ServerApp::runLogin(const QString &fixedUser)
{
    ZRV_Login login(this, m_config, fixedUser);
    if (login.exec() == 0)
        return false;
    while (!login.loginData.loginComplete)
        QCoreApplication::processEvents();
    m_loginData = login.loginData;
    return true;
}

void ZRV_ServerApp::initConsole()
{
    if (m_consoleReady)
        return;
    m_consoleReady = true;

    m_userMenu = new QMenu(this);
    m_userMenu->addAction(ui->actionChangePassword);
    m_userMenu->addAction(ui->actionUpdate);
    m_userMenu->addAction(ui->actionAbout);
    m_userMenu->addAction(ui->actionQuit);
    ui->btnUserMenu->setMenu(m_userMenu);

    m_progressBar->setRange(0, 1);
    m_progressBar->setValue(0);
    // The queue table lays out its columns on a resize; give it one now.
    QResizeEvent queueResize(ui->tblProgress->size(), ui->tblProgress->size());
    QCoreApplication::sendEvent(ui->tblProgress, &queueResize);

    QTableWidget *assets = ui->tblAssets;
    assets->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    assets->setColumnCount(4);
    const int width = assets->width();
    assets->setColumnWidth(0, int(width * 0.05));
    assets->setColumnWidth(1, int(width * 0.40));
    assets->setColumnWidth(2, int(width * 0.05));
    assets->setColumnWidth(3, int(width * 0.50));

    if (!runLogin(QString())) {
        ZRV_ProcessExit::exit(0);
        return;
    }

    if (m_loginData.authenticated) {
        if (!m_loginData.roles.contains(QStringLiteral("ZRV_Presenter"))) {
            QMessageBox::critical(this, QStringLiteral("Unsufficient User Rights"),
                                  QStringLiteral("Only Presenters can use the Console Application. Ask your "
                                                 "administrator for Presenter rights."),
                                  QMessageBox::Ok);
            ZRV_ProcessExit::exit(0);
            return;
        }
        if (m_loginData.roles.contains(QStringLiteral("ZRV_Administrator"))) {
            ui->btnProperties->show();
            ui->btnExport->show();
            ui->btnImport->show();
        }
    }

    ui->btnUserMenu->setText(m_loginData.userId);

    m_thread->setLoginData(&m_loginData);
    setServiceApiToken(m_loginData.accessToken);
    passLoginDataToStorage();

    layOutStorageTabs();

    m_meetings->setLoginData(&m_loginData);
    m_meetings->refreshMeetings();

    onMeetingStatusTimer();
    m_statusTimer->start();

    ui->statusBar->show();
    updateConsoleState();
}

void ZRV_ServerApp::updateConsoleState()
{
    ui->icoConSvc->setPixmap(QPixmap(m_serviceRunning ? QStringLiteral(":/ZRV_ServerApp/green.svg")
                                                      : QStringLiteral(":/ZRV_ServerApp/red.svg")));
    m_meetings->setEnabled(m_serviceRunning && m_loginData.authenticated);
    ui->btnProperties->setEnabled(false);

    const bool meetingOpen = m_serviceRunning && m_meetings->selectedMeeting().is_id_Set();
    ui->btnCustomURL->setEnabled(meetingOpen);
    ui->widgetFileArea->setEnabled(meetingOpen);

    setAddButtonByTab();

    const bool assetSelected = !ui->tblAssets->selectedItems().isEmpty();
    ui->btnRemove->setEnabled(assetSelected);
    ui->btnProperties->setEnabled(assetSelected);
    ui->btnRemoveAll->setEnabled(ui->tblAssets->rowCount() > 0);
}

void ZRV_ServerApp::onShowAssetBundleDialog()
{
}

void ZRV_ServerApp::onPlaygroundSignal(QString)
{
}

void ZRV_ServerApp::onServiceStatus(bool isRunning)
{
    m_serviceRunning = isRunning;
    updateConsoleState();
}

void ZRV_ServerApp::onServiceVersion(ZRV_MeetingsInfoThread::_serviceVersion ver)
{
    if (m_consoleReady)
        updateConsoleState();
    else
        initConsole();
    evaluateAssetBundleGate(ver);
}

void ZRV_ServerApp::onStopUpdate()
{
    m_statusTimer->stop();
}

void ZRV_ServerApp::onExit()
{
    ZRV_ProcessExit::exit(0);
}

void ZRV_ServerApp::on_actionQuit_triggered()
{
    // Leaves without saving the window state: only closing the window saves it.
    ZRV_ProcessExit::exit(0);
}

void ZRV_ServerApp::onMeetingStatusTimer()
{
    const ZRVMeeting meeting = m_meetings->selectedMeeting();
    if (meeting.is_id_Valid() && meeting.is_creator_Set())
        m_serviceApi->meetingInfo(meeting.getMeetingId());
    m_thread->getMeetingsInfo();
    renewS3TokenWhenDue();
}

void ZRV_ServerApp::onMeetingUpdate(int)
{
    if (m_serviceRunning)
        m_serviceApi->serviceUpdate();
}

void ZRV_ServerApp::onServiceUpdate()
{
    qDebug() << "Service Updated";
}

void ZRV_ServerApp::onServiceUpdateE(QNetworkReply::NetworkError, QString)
{
    qDebug() << "Error Updating Service";
}

void ZRV_ServerApp::onMeetingChanged()
{
    const ZRVMeeting meeting = m_meetings->selectedMeeting();
    if (!meeting.is_creator_Set())
        return;
    ui->tblAssets->setRowCount(0);
    m_serviceApi->meetingInfo(meeting.getMeetingId());
}

void ZRV_ServerApp::onMeetingInfoUpdateSignal()
{
    onMeetingChanged();
}

void ZRV_ServerApp::onMeetingInfoUpdateSignalE(QNetworkReply::NetworkError error_type, QString error_str)
{
    qDebug() << "Error updating meeting info:" << error_type << error_str;
}

void ZRV_ServerApp::onMeetingConfigChanged(ZRVMeetingInfo info)
{
    m_serviceApi->meetingInfoUpdate(info.getMeetingId(), info);
}

void ZRV_ServerApp::setServiceApiToken(QString token)
{
    m_serviceApi->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + token);
}

int ZRV_ServerApp::getInactivityTime()
{
    return m_config->inactivityTime;
}

void ZRV_ServerApp::on_btnQueue_clicked()
{
    ui->dckProgress->setVisible(ui->btnQueue->isChecked());
}

void ZRV_ServerApp::on_dckProgress_visibilityChanged(bool visible)
{
    ui->btnQueue->setChecked(visible);
}

void ZRV_ServerApp::restoreWindowState()
{
    QSettings settings(QString::fromLatin1(SettingsOrganisation), QString::fromLatin1(SettingsApplication));
    settings.beginGroup(QString::fromLatin1(SettingsGroup));
    if (settings.contains(QStringLiteral("geometry")) && m_config->restoreWindow) {
        restoreGeometry(settings.value(QStringLiteral("geometry")).toByteArray());
    } else {
        move(100, 50);
        resize(900, 650);
    }
    restoreState(settings.value(QStringLiteral("windowState")).toByteArray());
    if (settings.contains(QStringLiteral("queuevisible")))
        ui->dckProgress->setVisible(settings.value(QStringLiteral("queuevisible")).toBool());
}

void ZRV_ServerApp::saveWindowState()
{
    QSettings settings(QString::fromLatin1(SettingsOrganisation), QString::fromLatin1(SettingsApplication));
    settings.beginGroup(QString::fromLatin1(SettingsGroup));
    settings.setValue(QStringLiteral("geometry"), saveGeometry());
    settings.setValue(QStringLiteral("windowState"), saveState());
    settings.setValue(QStringLiteral("queuevisible"), ui->dckProgress->isVisible());
}

void ZRV_ServerApp::closeEvent(QCloseEvent *event)
{
    saveWindowState();
    event->accept();
}
