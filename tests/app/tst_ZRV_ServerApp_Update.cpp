// The console's own update: the offer at start and on request, the download
// of the installer and what follows it, against the simulator and, for the
// exact request and odd replies of the download server, the scripted server.

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_InstallerStart.h"
#include "ZRV_ServerApp.h"

namespace {

const char Download[] = "/main/zrv/svc/download/*";
const QString OfferTitle = QStringLiteral("New Console Version available");
const QString FailedTitle = QStringLiteral("Update failed");
const QString FailedText = QStringLiteral("Update download process failed. Please try again later.");

// What a user meets, in order: box titles and the login dialog's class name.
// The progress dialog is met again whenever a box on top of it closes, so it
// is left out here and checked on its own.
QStringList titles(const ModalAnswerer &answerer)
{
    QStringList out;
    for (const ModalAnswerer::Seen &s : answerer.seen()) {
        if (s.className == QLatin1String("QProgressDialog"))
            continue;
        out << (s.className == QLatin1String("ZRV_Login") ? QStringLiteral("<login>") : s.title);
    }
    return out;
}

// The progress dialog while a download runs, as the user sees it: its label,
// and "modal" when it blocks the window and offers no close button.
QString progressShown()
{
    for (QWidget *w : QApplication::topLevelWidgets()) {
        auto *progress = qobject_cast<QProgressDialog *>(w);
        if (!progress || !progress->isVisible())
            continue;
        const bool blocking = progress->windowModality() != Qt::NonModal
            && !(progress->windowFlags() & Qt::WindowCloseButtonHint);
        return progress->labelText() + (blocking ? QStringLiteral(", modal") : QString());
    }
    return QString();
}

// How a user answers: the offer as asked, every other box Ok, the login
// given up so that the run ends there (or signed into as "cloud"); the
// progress dialog is left to the code. Which shows first depends on how fast
// the download server answers, so each answer looks at what it got.
struct Script
{
    QMessageBox::StandardButton offer = QMessageBox::Yes;
    bool signIn = false;
    std::shared_ptr<QString> defaultText = std::make_shared<QString>();
    std::shared_ptr<QString> progressLabel = std::make_shared<QString>();

    void queue(ModalAnswerer &answerer, int answers = 12) const
    {
        const Script self = *this;
        for (int i = 0; i < answers; ++i) {
            answerer.handle([self](QWidget *modal) {
                if (qobject_cast<QProgressDialog *>(modal))
                    return;
                auto *box = qobject_cast<QMessageBox *>(modal);
                if (!box) {
                    auto *btnBox = modal->findChild<QDialogButtonBox *>(QStringLiteral("btnBox"));
                    if (!self.signIn || !btnBox) {
                        qobject_cast<QDialog *>(modal)->reject();
                        return;
                    }
                    QTest::keyClicks(modal->findChild<QLineEdit *>(QStringLiteral("leUser")), "cloud");
                    QTest::keyClicks(modal->findChild<QLineEdit *>(QStringLiteral("lePass")), "cloud123");
                    QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
                    return;
                }
                QMessageBox::StandardButton press = QMessageBox::Ok;
                if (box->windowTitle() == FailedTitle)
                    *self.progressLabel = progressShown();
                if (box->windowTitle() == OfferTitle) {
                    if (box->defaultButton())
                        *self.defaultText = box->defaultButton()->text();
                    press = self.offer;
                }
                if (QAbstractButton *b = box->button(press))
                    b->click();
                else
                    box->reject();
            });
        }
    }
};

QStringList consoleArgs(const ConsoleFixture &fx)
{
    return {QStringLiteral("zarvo-console"), QStringLiteral("-i"), fx.iniPath()};
}

// A console on the simulator of fx, run until it ends.
bool runUntilExit(ConsoleFixture &fx, ModalAnswerer &answerer, const Script &script)
{
    script.queue(answerer);
    answerer.arm(60000);
    ZRV_ServerApp window(consoleArgs(fx));
    window.show();
    const bool ended = QTest::qWaitFor([&fx] { return !fx.exitCodes().isEmpty(); }, 30000);
    answerer.disarm();
    return ended;
}

bool addFault(ConsoleFixture &fx, const QJsonObject &fault)
{
    return fx.sim().admin("POST", QStringLiteral("/_sim/fault"), fault).status == 200;
}

} // namespace

class tst_ZRV_ServerApp_Update : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startupOffer_data();
    void startupOffer();
    void downloadOutcome_data();
    void downloadOutcome();
    void downloadServer_data();
    void downloadServer();
    void manualCheck_data();
    void manualCheck();

private:
    std::unique_ptr<QTemporaryDir> m_tmp;
    QByteArray m_savedTmp;
    QStringList m_started;
    QString m_progressAtStart;
};

void tst_ZRV_ServerApp_Update::init()
{
    Q_INIT_RESOURCE(zrv);
    // Downloads land in a folder of this test, never in the real temporary one.
    m_tmp.reset(new QTemporaryDir);
    QVERIFY(m_tmp->isValid());
    m_savedTmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", m_tmp->path().toLocal8Bit());
    m_started.clear();
    m_progressAtStart.clear();
    ZRV_InstallerStart::setHandler([this](const QString &path) {
        m_started << path;
        m_progressAtStart = progressShown();
        return true;
    });
}

void tst_ZRV_ServerApp_Update::cleanup()
{
    ZRV_InstallerStart::setHandler({});
    qputenv("TMPDIR", m_savedTmp);
    m_tmp.reset();
}

// The build is 3.1.2; the simulator offers the version of each row.
void tst_ZRV_ServerApp_Update::startupOffer_data()
{
    QTest::addColumn<QString>("offered");
    QTest::addColumn<QString>("offerText"); // empty: no offer

    const QString text = QStringLiteral(
        "A new Zarvo Console Version (%1) is available. Do you want to update now?");
    QTest::newRow("same version is not offered") << "3.1.2" << QString();
    QTest::newRow("older patch is never offered") << "3.0.9" << QString();
    QTest::newRow("older minor with higher patch is not offered") << "3.0.12" << QString();
    QTest::newRow("older major with higher minor is not offered") << "2.9.9" << QString();
    QTest::newRow("two numbers count the third as 0") << "3.1" << QString();
    QTest::newRow("higher patch is offered") << "3.1.3" << text.arg("3.1.3");
    QTest::newRow("patch compared as a number, not as text") << "3.1.10" << text.arg("3.1.10");
    QTest::newRow("higher minor with lower patch is offered") << "3.2.0" << text.arg("3.2.0");
    QTest::newRow("higher major is offered") << "4.0.0" << text.arg("4.0.0");
    QTest::newRow("two numbers, newer, shown with 0") << "3.2" << text.arg("3.2.0");
}

void tst_ZRV_ServerApp_Update::startupOffer()
{
    QFETCH(QString, offered);
    QFETCH(QString, offerText);

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--console-version"), offered}), qPrintable(fx.errorText()));

    ModalAnswerer answerer;
    Script script;
    script.offer = QMessageBox::No;
    QVERIFY(runUntilExit(fx, answerer, script));

    // Declining goes on to the login exactly as if nothing had been offered.
    if (offerText.isEmpty()) {
        QCOMPARE(titles(answerer), QStringList{QStringLiteral("<login>")});
    } else {
        QCOMPARE(titles(answerer), (QStringList{OfferTitle, QStringLiteral("<login>")}));
        const ModalAnswerer::Seen offer = answerer.seen().first();
        QCOMPARE(offer.text, offerText);
        QStringList buttons = offer.buttons;
        buttons.sort();
        QCOMPARE(buttons, (QStringList{QStringLiteral("&No"), QStringLiteral("&Yes")}));
        QCOMPARE(*script.defaultText, QStringLiteral("&Yes"));
    }
    QCOMPARE(fx.exitCodes(), QList<int>{0});
    QVERIFY(m_started.isEmpty());
}

void tst_ZRV_ServerApp_Update::downloadOutcome_data()
{
    QTest::addColumn<QJsonObject>("fault");      // empty: none
    QTest::addColumn<bool>("tempWritable");
    QTest::addColumn<bool>("installerStarted");

    const auto status = [](int code) {
        return QJsonObject{{QStringLiteral("path"), QString::fromLatin1(Download)},
                           {QStringLiteral("status"), code}};
    };
    QTest::newRow("installer stored and started") << QJsonObject() << true << true;
    QTest::newRow("not found fails") << status(404) << true << false;
    QTest::newRow("server error fails") << status(503) << true << false;
    // 302 and 308 are met, with a target to follow, on the scripted server below.
    for (const int code : {301, 303, 305, 307})
        QTest::newRow(qPrintable(QStringLiteral("%1 is refused").arg(code))) << status(code) << true << false;
    QTest::newRow("reply cut short fails")
        << QJsonObject{{QStringLiteral("hang"), QString::fromLatin1(Download)},
                       {QStringLiteral("seconds"), 1}}
        << true << false;
    QTest::newRow("temporary folder not writable fails") << QJsonObject() << false << false;
}

void tst_ZRV_ServerApp_Update::downloadOutcome()
{
    QFETCH(QJsonObject, fault);
    QFETCH(bool, tempWritable);
    QFETCH(bool, installerStarted);

    const QByteArray installer("#!/bin/sh\necho installing Zarvo Console 3.2.0\n");
    const QString source = m_tmp->filePath(QStringLiteral("served/ZarvoConsoleSetup-3.2.0.run"));
    QVERIFY(QDir().mkpath(QFileInfo(source).path()));
    QFile sourceFile(source);
    QVERIFY(sourceFile.open(QIODevice::WriteOnly) && sourceFile.write(installer) == installer.size());
    sourceFile.close();

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--console-version"), QStringLiteral("3.2.0"),
                       QStringLiteral("--console-update-file"), source}),
             qPrintable(fx.errorText()));
    if (!fault.isEmpty())
        QVERIFY(addFault(fx, fault));
    // A plain file where the folder should be: nothing can be written below
    // it, even for root.
    const QString downloads = m_tmp->filePath(QStringLiteral("downloads"));
    if (tempWritable) {
        QVERIFY(QDir().mkpath(downloads));
    } else {
        QFile blocker(downloads);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
    }
    qputenv("TMPDIR", downloads.toLocal8Bit());

    ModalAnswerer answerer;
    Script script;
    QVERIFY(runUntilExit(fx, answerer, script));

    // Up while the download ran, gone once it is over.
    QCOMPARE(installerStarted ? m_progressAtStart : *script.progressLabel,
             QStringLiteral("Downloading Update, modal"));
    QCOMPARE(progressShown(), QString());
    const QString stored = downloads + QStringLiteral("/ZarvoConsoleSetup-3.2.0.run");
    if (installerStarted) {
        // No login: the console ends for the installer.
        QCOMPARE(titles(answerer), QStringList{OfferTitle});
        QCOMPARE(m_started, QStringList{stored});
        QFile file(stored);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), installer);
    } else {
        QCOMPARE(titles(answerer), (QStringList{OfferTitle, FailedTitle, QStringLiteral("<login>")}));
        const QList<ModalAnswerer::Seen> seen = answerer.seen();
        const ModalAnswerer::Seen failed =
            *std::find_if(seen.cbegin(), seen.cend(), [](const ModalAnswerer::Seen &s) { return s.title == FailedTitle; });
        QCOMPARE(failed.text, FailedText);
        QCOMPARE(failed.buttons, QStringList{QStringLiteral("OK")});
        QVERIFY(m_started.isEmpty());
        // A refused or failed download leaves nothing behind to be run later.
        QVERIFY(!QFileInfo(stored).isFile());
    }
    QCOMPARE(fx.exitCodes(), QList<int>{0});
}

// The download server as the wire sees it: a plain GET on the announced
// address without the account's token, its file name, no redirect followed.
void tst_ZRV_ServerApp_Update::downloadServer_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("storedName"); // empty: the download fails

    QTest::newRow("path ending in a slash stores as download") << "/releases/" << 200 << "download";
    QTest::newRow("encoded blank is decoded in the name")
        << "/files/Zarvo%20Setup.run" << 200 << "Zarvo Setup.run";
    QTest::newRow("302 is not followed") << "/files/setup.run" << 302 << QString();
    QTest::newRow("308 is not followed") << "/files/setup.run" << 308 << QString();
    QTest::newRow("306 is no redirect: stored") << "/files/setup.run" << 306 << "setup.run";
}

void tst_ZRV_ServerApp_Update::downloadServer()
{
    QFETCH(QString, path);
    QFETCH(int, status);
    QFETCH(QString, storedName);

    ScriptedHttpServer server;
    QVERIFY(server.start());
    const QByteArray body("installer bytes\n");
    QList<QPair<QByteArray, QByteArray>> headers{{"Content-Type", "application/octet-stream"}};
    if (status >= 300 && status < 400)
        headers << qMakePair(QByteArray("Location"), QByteArray("/elsewhere/setup.run"));
    server.enqueue(status, headers, body);
    // A redirect that were followed would find its target here.
    server.enqueue(200, {{"Content-Type", "application/octet-stream"}}, "moved installer\n");

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--console-version"), QStringLiteral("3.2.0"),
                       QStringLiteral("--console-update-url"), server.baseUrl() + path}),
             qPrintable(fx.errorText()));

    ModalAnswerer answerer;
    Script script;
    QVERIFY(runUntilExit(fx, answerer, script));

    QCOMPARE(server.requestCount(), 1);
    const RecordedRequest request = server.lastRequest();
    QCOMPARE(request.method, QByteArray("GET"));
    QCOMPARE(QString::fromLatin1(request.target), path);
    QVERIFY(!request.hasHeader("Authorization"));

    if (storedName.isEmpty()) {
        QCOMPARE(titles(answerer), (QStringList{OfferTitle, FailedTitle, QStringLiteral("<login>")}));
        QVERIFY(m_started.isEmpty());
    } else {
        const QString stored = m_tmp->filePath(storedName);
        QCOMPARE(m_started, QStringList{stored});
        QFile file(stored);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), body);
    }
}

// After a login, "Check for Updates" in the user menu.
void tst_ZRV_ServerApp_Update::manualCheck_data()
{
    QTest::addColumn<QString>("offered");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");

    const QString upToDate = QStringLiteral("Up to date");
    const QString newest = QStringLiteral("You already have the newest Version (3.1.2) installed.");
    QTest::newRow("same version: up to date") << "3.1.2" << upToDate << newest;
    QTest::newRow("older version: up to date, no downgrade") << "3.0.9" << upToDate << newest;
    QTest::newRow("declined offer comes back on request")
        << "3.2.0" << OfferTitle
        << "A new Zarvo Console Version (3.2.0) is available. Do you want to update now?";
}

void tst_ZRV_ServerApp_Update::manualCheck()
{
    QFETCH(QString, offered);
    QFETCH(QString, title);
    QFETCH(QString, text);

    ConsoleFixture fx;
    QVERIFY2(fx.start({QStringLiteral("--console-version"), offered}), qPrintable(fx.errorText()));
    ModalAnswerer answerer;
    Script script;
    script.offer = QMessageBox::No;
    script.signIn = true;
    script.queue(answerer);
    answerer.arm(60000);
    ZRV_ServerApp window(consoleArgs(fx));
    window.show();
    QTRY_VERIFY_WITH_TIMEOUT(window.findChild<QStatusBar *>()->isVisible(), 30000);
    // The check at start says nothing about an up-to-date console.
    const int before = titles(answerer).count(title);
    QCOMPARE(before, title == OfferTitle ? 1 : 0);

    window.findChild<QAction *>(QStringLiteral("actionUpdate"))->trigger();
    QTRY_COMPARE_WITH_TIMEOUT(titles(answerer).count(title), before + 1, 30000);
    answerer.disarm();
    const ModalAnswerer::Seen box = answerer.seen().last();
    QCOMPARE(box.text, text);
    if (title != OfferTitle)
        QCOMPARE(box.buttons, QStringList{QStringLiteral("OK")});
    QVERIFY(fx.exitCodes().isEmpty());
}

QTEST_MAIN(tst_ZRV_ServerApp_Update)
#include "tst_ZRV_ServerApp_Update.moc"
