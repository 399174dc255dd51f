// Self-update: the offer of a newer console, the download of its installer
// into the temporary folder, and the hand-over to it.

#include "ZRV_ServerApp.h"

#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QProgressDialog>
#include <QStandardPaths>

#include <cstdio>

#include "ZRV_InstallerStart.h"
#include "ZRV_ProcessExit.h"

using ZRV_Service_API::ZRVVersion;

namespace {

// Entries 0, 1 and 2; a missing one counts 0.
QList<int> firstThree(const QList<int> &numbers)
{
    QList<int> three;
    for (int i = 0; i < 3; ++i)
        three << numbers.value(i, 0);
    return three;
}

QList<int> ownNumbers()
{
    QList<int> numbers;
    for (const QString &part : ZRV_ServerApp::buildVersionParts())
        numbers << part.toInt();
    return firstThree(numbers);
}

// Compared number by number, so an older offer is never taken for an update.
bool isNewer(const QList<int> &offered, const QList<int> &own)
{
    for (int i = 0; i < 3; ++i) {
        if (offered.at(i) != own.at(i))
            return offered.at(i) > own.at(i);
    }
    return false;
}

void writeError(const QString &text)
{
    std::fputs(text.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
}

} // namespace

void ZRV_ServerApp::on_actionUpdate_triggered()
{
    m_manualUpdateCheck = true;
    m_thread->getServiceVersionInformation();
}

void ZRV_ServerApp::onServiceVersions(ZRVVersions versions)
{
    const ZRVVersion console = versions.getConsole();
    // Nothing to compare: a failed request ends here too, and a manual check
    // stays pending for the next good reply.
    if (console.getVersion().isEmpty() || console.getUpdateUrl().isEmpty()) {
        if (m_consoleReady)
            updateConsoleState();
        else
            initConsole();
        return;
    }

    const QList<int> offered = firstThree(console.getVersion());
    const QList<int> own = ownNumbers();
    if (!isNewer(offered, own)) {
        if (m_manualUpdateCheck) {
            QMessageBox::information(
                this, QStringLiteral("Up to date"),
                QStringLiteral("You already have the newest Version (%1) installed.")
                    .arg(QStringLiteral("%1.%2.%3").arg(own.at(0)).arg(own.at(1)).arg(own.at(2))));
        }
    } else {
        const QMessageBox::StandardButton answer = QMessageBox::information(
            this, QStringLiteral("New Console Version available"),
            QStringLiteral("A new Zarvo Console Version (%1.%2.%3) is available. Do you want to "
                           "update now?")
                .arg(offered.at(0))
                .arg(offered.at(1))
                .arg(offered.at(2)),
            QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes);
        if (answer == QMessageBox::Yes) {
            // The download decides what comes next: the installer, or the
            // console going on after a failure.
            m_updateProgress = new QProgressDialog();
            m_updateProgress->setWindowFlags(m_updateProgress->windowFlags()
                                             & ~Qt::WindowCloseButtonHint);
            m_updateProgress->setRange(0, 0);
            m_updateProgress->setModal(true);
            m_updateProgress->setLabelText(QStringLiteral("Downloading Update"));
            m_updateProgress->show();
            QApplication::processEvents();

            // Without a parent, so that the download outlives nothing else;
            // it goes with the window rather than with the process, which
            // keeps leak checks quiet.
            m_updateManager = new QNetworkAccessManager();
            QNetworkAccessManager *manager = m_updateManager;
            connect(this, &QObject::destroyed, manager, [manager]() { delete manager; });
            connect(m_updateManager, &QNetworkAccessManager::finished, this,
                    &ZRV_ServerApp::onDownloadFinished);
            // Public on purpose: no authorisation goes with it.
            QNetworkReply *reply = m_updateManager->get(
                QNetworkRequest(QUrl(console.getUpdateUrl(), QUrl::TolerantMode)));
            connect(reply, &QNetworkReply::sslErrors, this, &ZRV_ServerApp::sslErrors);
            return;
        }
    }

    m_manualUpdateCheck = false;
    m_serviceRunning = true;
    if (m_consoleReady)
        updateConsoleState();
    else
        initConsole();
}

void ZRV_ServerApp::onDownloadFinished(QNetworkReply *reply)
{
    bool stored = false;
    QString path;
    if (reply->error() == QNetworkReply::NoError) {
        if (isHttpRedirect(reply)) {
            // A moved installer is not followed: only the announced address is trusted.
            writeError(QStringLiteral("Request was redirected.\n"));
        } else {
            path = QStandardPaths::writableLocation(QStandardPaths::TempLocation)
                + QStringLiteral("/") + saveFileName(reply->url());
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly)) {
                writeError(QStringLiteral("Could not open %1 for writing: %2\n")
                               .arg(path, file.errorString()));
            } else {
                file.write(reply->readAll());
                file.close();
                stored = true;
            }
        }
    }

    if (stored) {
        // The console ends whether or not the installer could be started.
        ZRV_InstallerStart::start(path);
        reply->deleteLater();
        delete m_updateProgress;
        m_updateProgress = nullptr;
        ZRV_ProcessExit::exit(0);
        return;
    }

    reply->deleteLater();
    QMessageBox::warning(this, QStringLiteral("Update failed"),
                         QStringLiteral("Update download process failed. Please try again later."));
    delete m_updateProgress;
    m_updateProgress = nullptr;
    if (m_consoleReady)
        updateConsoleState();
    else
        initConsole();
}

QString ZRV_ServerApp::saveFileName(QUrl url)
{
    const QString name = url.fileName(QUrl::FullyDecoded);
    return name.isEmpty() ? QStringLiteral("download") : name;
}

bool ZRV_ServerApp::saveToDisk(QString filename, QIODevice *data)
{
    QFile file(filename);
    if (!file.open(QIODevice::WriteOnly)) {
        writeError(QStringLiteral("Could not open %1 for writing: %2\n")
                       .arg(filename, file.errorString()));
        return false;
    }
    file.write(data->readAll());
    file.close();
    return true;
}

bool ZRV_ServerApp::isHttpRedirect(QNetworkReply *reply)
{
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return status == 301 || status == 302 || status == 303 || status == 305 || status == 307
        || status == 308;
}

void ZRV_ServerApp::sslErrors(QList<QSslError> sslErrors)
{
    // Not ignored: the reply then fails and takes the failure path.
    for (const QSslError &error : sslErrors)
        writeError(QStringLiteral("SSL error: %1\n").arg(error.errorString()));
}
