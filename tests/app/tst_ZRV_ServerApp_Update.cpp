// The user menu's entries on a console of its own: the update offer at start
// and on request, the download from the simulator or, for the exact request
// and odd replies, from the scripted server, and what follows it; the password
// change and the about dialog.
#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QProgressDialog>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTest>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_InstallerStart.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

namespace {

const QString Login = "<login>";
const QString Failed = "Update failed: Update download process failed. Please try again later. [OK*]";
const QString UpToDate = "Up to date: You already have the newest Version (3.1.2) installed. [OK*]";
const QByteArray Installer("#!/bin/sh\necho installing Zarvo Console 3.2.0\n");

QString offerBox(const QString &version)
{
    return "New Console Version available: A new Zarvo Console Version (" + version + ") is available. Do you want to "
           "update now? [&No/&Yes*]";
}

// The progress dialog's label, and "modal" when it blocks the window and offers no close button.
QString progressShown()
{
    for (QWidget *w : QApplication::topLevelWidgets()) {
        auto *p = qobject_cast<QProgressDialog *>(w);
        if (p && p->isVisible())
            return p->labelText() + (p->isModal() && !(p->windowFlags() & Qt::WindowCloseButtonHint) ? ", modal" : "");
    }
    return QString();
}

} // namespace

class tst_ZRV_ServerApp_Update : public QObject
{
    Q_OBJECT

private slots:
    void menu_data();
    void menu();
};

// The build is 3.1.2. "path" empty: the simulator serves the installer,
// otherwise the scripted server at that path. "status" -1: the reply is cut
// short. Flags: "decline" the offer, the temporary folder "readonly", an
// action of the user menu triggered once signed in, "cancel" the password
// dialog.
void tst_ZRV_ServerApp_Update::menu_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("flags");
    QTest::addColumn<QStringList>("boxes");
    QTest::addColumn<QString>("installed"); // stored and started; empty: nothing left behind

    const QStringList none{Login}, offered{offerBox("3.2.0")}, failed{offerBox("3.2.0"), Failed, Login};
    QTest::newRow("same version: no offer") << "3.1.2" << "" << 200 << "" << none << "";
    QTest::newRow("patch compared as a number; declined goes on to the login")
        << "3.1.10" << "" << 200 << "decline" << QStringList{offerBox("3.1.10"), Login} << "";
    QTest::newRow("two newer numbers shown with a 0") << "3.2" << "" << 200 << "decline" << offered + none << "";
    QTest::newRow("accepted: installer stored and started, no login")
        << "3.2.0" << "" << 200 << "" << offered << "ZarvoConsoleSetup-3.2.0.run";
    QTest::newRow("not found fails") << "3.2.0" << "" << 404 << "" << failed << "";
    QTest::newRow("reply cut short fails") << "3.2.0" << "" << -1 << "" << failed << "";
    QTest::newRow("temporary folder not writable fails") << "3.2.0" << "" << 200 << "readonly" << failed << "";
    QTest::newRow("302 is not followed") << "3.2.0" << "/files/setup.run" << 302 << "" << failed << "";
    QTest::newRow("on request, same version: up to date") << "3.1.2" << "" << 200 << "actionUpdate" << QStringList{Login, UpToDate} << "";
    QTest::newRow("on request, a declined offer comes back")
        << "3.2.0" << "" << 200 << "decline actionUpdate" << offered + none + offered << "";
    QTest::newRow("password changed: the new session's token is taken over") << "3.1.2" << "" << 200 << "actionChangePassword"
        << QStringList{Login, "ZRV_ChangePasswordDialog", "Change Password: Password changed [OK*]"} << "";
    QTest::newRow("password change cancelled: the old token is applied again") << "3.1.2" << "" << 200
        << "actionChangePassword cancel" << QStringList{Login, "ZRV_ChangePasswordDialog"} << "";
    // The about dialog's own version text, not the main window's 3.1.2.
    const QString about = "About Zarvo Console: Zarvo Console V3.1.0 / ";
    QTest::newRow("about, no file: the built-in notice") << "3.1.2" << "" << 200 << "actionAbout"
        << QStringList{Login, about + "Zarvo Console\nCopyright (C) Brenvik. All rights reserved. [OK]"} << "";
}

void tst_ZRV_ServerApp_Update::menu()
{
    QFETCH(QString, path);
    QFETCH(int, status);
    QFETCH(QString, flags);
    QFETCH(QString, installed);
    Q_INIT_RESOURCE(zrv);
    QTemporaryDir tmp;
    QFile source(tmp.filePath("ZarvoConsoleSetup-3.2.0.run"));
    QVERIFY(source.open(QIODevice::WriteOnly) && source.write(Installer) == Installer.size());
    source.close();
    QFETCH(QString, version);
    QStringList args{"--console-version", version, "--console-update-file", source.fileName()};
    ScriptedHttpServer server;
    if (!path.isEmpty()) {
        QVERIFY(server.start());
        // A redirect, were it followed, would find its target in the second reply.
        server.enqueue(status, {{"Content-Type", "application/octet-stream"}, {"Location", "/elsewhere/setup.run"}}, Installer);
        server.enqueue(200, {{"Content-Type", "application/octet-stream"}}, "moved installer\n");
        args << "--console-update-url" << server.baseUrl() + path;
    }
    ConsoleFixture fx;
    QVERIFY2(fx.start(args), qPrintable(fx.errorText()));
    const QString download = "/main/zrv/svc/download/*";
    if (path.isEmpty() && status != 200)
        QCOMPARE(fx.sim().admin("POST", "/_sim/fault", status < 0 ? QJsonObject{{"hang", download}, {"seconds", 1}}
                                                                   : QJsonObject{{"path", download}, {"status", status}}).status, 200);
    // Downloads land in a folder of this test; a plain file in its place lets
    // nothing be written below it, even for root.
    const QString downloads = tmp.filePath("downloads");
    QVERIFY(flags.contains("readonly") ? QFile(downloads).open(QIODevice::WriteOnly) : QDir().mkpath(downloads));
    const QByteArray savedTmp = qgetenv("TMPDIR");
    qputenv("TMPDIR", downloads.toLocal8Bit());
    QStringList started, met;
    QString progressAtStart, progressAtFailure;
    ZRV_InstallerStart::setHandler([&](const QString &file) {
        started << file;
        progressAtStart = progressShown();
        return true;
    });
    const auto restore = qScopeGuard([&] {
        ZRV_InstallerStart::setHandler({});
        qputenv("TMPDIR", savedTmp);
    });

    // The offer as the row says, every other box Ok, the login as "cloud", the
    // password changed or not; the progress dialog, met again whenever a box on
    // top of it closes, is left alone.
    ModalAnswerer answerer;
    for (int i = 0; i < 12; ++i) {
        answerer.handle([&](QWidget *modal) {
            auto *box = qobject_cast<QMessageBox *>(modal);
            auto *buttonBox = modal->findChild<QDialogButtonBox *>("buttonBox");
            if (modal->inherits("ZRV_Login")) {
                met << Login;
                QTest::keyClicks(modal->findChild<QLineEdit *>("leUser"), "cloud");
                QTest::keyClicks(modal->findChild<QLineEdit *>("lePass"), "cloud123");
                QTest::mouseClick(modal->findChild<QDialogButtonBox *>("btnBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
            } else if (modal->inherits("ZRV_ChangePasswordDialog")) {
                met << modal->metaObject()->className();
                for (const char *field : {"leOldPW", "leNewPW1", "leNewPW2"})
                    QTest::keyClicks(modal->findChild<QLineEdit *>(field), field == QByteArray("leOldPW") ? "cloud123" : "fresh-secret");
                // Its Ok is a button of its own that leaves it open until the service answers.
                for (QAbstractButton *b : buttonBox->buttons()) {
                    if (b->text() == (flags.contains("cancel") ? "Cancel" : "Ok"))
                        QTest::mouseClick(b, Qt::LeftButton);
                }
            } else if (modal->inherits("ZRV_VersionDialog")) {
                QStringList shown;
                for (QAbstractButton *b : buttonBox->buttons())
                    shown << (b->isVisible() ? b->text() : QString());
                met << modal->windowTitle() + ": " + modal->findChild<QLabel *>("lblTitle")->text() + " / "
                           + modal->findChild<QLabel *>("lblCopyright")->text().section('\n', 0, 1) + " [" + shown.join("") + "]";
                QTest::mouseClick(buttonBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
            }
            if (!box)
                return;
            QStringList buttons;
            for (QAbstractButton *b : box->buttons())
                buttons << b->text() + (b == box->defaultButton() ? "*" : "");
            buttons.sort();
            met << box->windowTitle() + ": " + box->text() + " [" + buttons.join('/') + "]";
            progressAtFailure = met.last() == Failed ? progressShown() : progressAtFailure;
            box->button(!box->button(QMessageBox::No) ? QMessageBox::Ok : flags.contains("decline") ? QMessageBox::No : QMessageBox::Yes)->click();
        });
    }
    answerer.arm(60000);
    ZRV_ServerApp window({"zarvo-console", "-i", fx.iniPath()});
    QSignalSpy tokens(window.findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::tokenChanged);
    window.show();
    QVERIFY(QTest::qWaitFor([&] { return !fx.exitCodes().isEmpty() || window.findChild<QStatusBar *>()->isVisible(); }, 30000));
    const QList<QVariantList> signedIn = tokens;
    for (const QString &flag : flags.split(' ')) {
        if (flag.startsWith("action"))
            window.findChild<QAction *>(flag)->trigger();
    }
    QFETCH(QStringList, boxes);
    QTRY_COMPARE_WITH_TIMEOUT(met, boxes, 30000);
    answerer.disarm();

    QCOMPARE(fx.exitCodes(), installed.isEmpty() ? QList<int>() : QList<int>{0});
    // The service object, which hands the tokens to every client, is told once
    // whatever the password dialog's outcome: the new session's or the old one again.
    QCOMPARE(tokens.size() - signedIn.size(), flags.contains("actionChangePassword") ? 1 : 0);
    QCOMPARE(tokens.value(tokens.size() - 1) != signedIn.value(signedIn.size() - 1), flags.contains("actionChangePassword") && !flags.contains("cancel"));
    // Up while the download ran, gone once it is over.
    QCOMPARE(installed.isEmpty() ? progressAtFailure : progressAtStart,
             QString(boxes.contains(Failed) || !installed.isEmpty() ? "Downloading Update, modal" : ""));
    QCOMPARE(progressShown(), QString());
    if (!path.isEmpty()) {
        // A plain GET on the announced address, without the account's token.
        const RecordedRequest request = server.lastRequest();
        QCOMPARE(server.requestCount(), 1);
        QCOMPARE(request.method + ' ' + request.target, "GET " + path.toLatin1());
        QVERIFY(!request.hasHeader("Authorization"));
    }
    // A refused or failed download leaves nothing behind to be run later.
    const QStringList stored = installed.isEmpty() ? QStringList() : QStringList{installed};
    QCOMPARE(QDir(downloads).entryList(QDir::Files), stored);
    QCOMPARE(started, stored.isEmpty() ? stored : QStringList{downloads + "/" + installed});
    QFile file(started.value(0));
    QCOMPARE(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), stored.isEmpty() ? QByteArray() : Installer);
}

QTEST_MAIN(tst_ZRV_ServerApp_Update)
#include "tst_ZRV_ServerApp_Update.moc"
