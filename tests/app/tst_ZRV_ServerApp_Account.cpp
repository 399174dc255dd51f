// The user menu's account entries on a signed-in console: the password
// change hands its tokens to everyone who talks to the services, and the
// about dialog opens from the menu.

#include <QAction>
#include <QCoreApplication>
#include <QFile>
#include <QDialogButtonBox>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>
#include <QUrlQuery>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

namespace {

void signInAs(ModalAnswerer &answerer, const QString &user, const QString &password)
{
    answerer.handle([user, password](QWidget *modal) {
        auto *leUser = modal->findChild<QLineEdit *>(QStringLiteral("leUser"));
        auto *lePass = modal->findChild<QLineEdit *>(QStringLiteral("lePass"));
        auto *btnBox = modal->findChild<QDialogButtonBox *>(QStringLiteral("btnBox"));
        if (!leUser || !lePass || !btnBox) {
            qobject_cast<QDialog *>(modal)->reject();
            return;
        }
        QTest::keyClicks(leUser, user);
        QTest::keyClicks(lePass, password);
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
}

// Ends every token of the session that accessToken belongs to, as a logout
// elsewhere would; a client still holding one of them is then refused.
int endSessionOf(ConsoleFixture &fx, const QString &accessToken)
{
    const QJsonObject state = fx.sim().admin("GET", QStringLiteral("/_sim/state")).object();
    const QString session = state.value(QStringLiteral("accessTokens"))
                                .toObject()
                                .value(accessToken)
                                .toObject()
                                .value(QStringLiteral("session"))
                                .toString();
    if (session.isEmpty())
        return 0;
    int ended = 0;
    const QJsonObject refresh = state.value(QStringLiteral("refreshTokens")).toObject();
    for (auto it = refresh.begin(); it != refresh.end(); ++it) {
        if (it.value().toObject().value(QStringLiteral("session")).toString() != session)
            continue;
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("refresh_token"), it.key());
        const SimProcess::Reply r = fx.sim().request(
            "POST", QString::fromLatin1(ConsoleFixture::AuthBase) + QStringLiteral("/auth/logout"),
            form.toString(QUrl::FullyEncoded).toUtf8(),
            {{"Content-Type", "application/x-www-form-urlencoded"}});
        if (r.status == 204)
            ++ended;
    }
    return ended;
}

} // namespace

class tst_ZRV_ServerApp_Account : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void changePassword_data();
    void changePassword();
    void aboutFromMenu_data();
    void aboutFromMenu();
    void cleanup();

private:
    // A console signed in as "cloud"; its service object's token changes
    // are recorded from the start.
    bool openConsole(ConsoleFixture &fx, std::unique_ptr<ZRV_ServerApp> &window,
                     std::unique_ptr<QSignalSpy> &tokens);
};

void tst_ZRV_ServerApp_Account::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
}

bool tst_ZRV_ServerApp_Account::openConsole(ConsoleFixture &fx,
                                            std::unique_ptr<ZRV_ServerApp> &window,
                                            std::unique_ptr<QSignalSpy> &tokens)
{
    if (!fx.start({QStringLiteral("--console-version"), QStringLiteral("3.1.2")})) {
        qWarning() << fx.errorText();
        return false;
    }
    ModalAnswerer answerer;
    signInAs(answerer, QStringLiteral("cloud"), QStringLiteral("cloud123"));
    answerer.arm(30000);
    window.reset(new ZRV_ServerApp({QStringLiteral("zarvo-console"), QStringLiteral("-i"), fx.iniPath()}));
    auto *thread = window->findChild<ZRV_MeetingsInfoThread *>();
    if (!thread)
        return false;
    tokens.reset(new QSignalSpy(thread, &ZRV_MeetingsInfoThread::tokenChanged));
    window->show();
    QStatusBar *status = window->findChild<QStatusBar *>();
    const bool up = QTest::qWaitFor([&] { return status->isVisible(); }, 30000);
    answerer.disarm();
    return up && fx.exitCodes().isEmpty();
}

void tst_ZRV_ServerApp_Account::changePassword_data()
{
    QTest::addColumn<bool>("change");

    QTest::newRow("changed: the new session is used from then on") << true;
    QTest::newRow("cancelled: the old tokens are applied again") << false;
}

void tst_ZRV_ServerApp_Account::changePassword()
{
    QFETCH(bool, change);

    ConsoleFixture fx;
    std::unique_ptr<ZRV_ServerApp> window;
    std::unique_ptr<QSignalSpy> tokens;
    QVERIFY(openConsole(fx, window, tokens));
    QVERIFY(!tokens->isEmpty());
    const QString oldToken = tokens->last().at(0).toString();
    QVERIFY(oldToken.startsWith(QLatin1String("at.")));
    tokens->clear();

    ModalAnswerer answerer;
    answerer.handle([change](QWidget *modal) {
        auto *box = modal->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
        if (!change) {
            QTest::mouseClick(box->button(QDialogButtonBox::Cancel), Qt::LeftButton);
            return;
        }
        QTest::keyClicks(modal->findChild<QLineEdit *>(QStringLiteral("leOldPW")),
                         QStringLiteral("cloud123"));
        QTest::keyClicks(modal->findChild<QLineEdit *>(QStringLiteral("leNewPW1")),
                         QStringLiteral("fresh-secret"));
        QTest::keyClicks(modal->findChild<QLineEdit *>(QStringLiteral("leNewPW2")),
                         QStringLiteral("fresh-secret"));
        for (QAbstractButton *b : box->buttons()) {
            if (b->text() == QLatin1String("Ok"))
                QTest::mouseClick(b, Qt::LeftButton);
        }
    });
    if (change)
        answerer.pressButton(QMessageBox::Ok);
    answerer.arm(20000);
    window->findChild<QAction *>(QStringLiteral("actionChangePassword"))->trigger();
    answerer.disarm();

    QCOMPARE(answerer.seen().first().className, QStringLiteral("ZRV_ChangePasswordDialog"));
    // The service object is told once, whatever the dialog's outcome.
    QCOMPARE(tokens->size(), 1);
    const QString newToken = tokens->first().at(0).toString();
    if (!change) {
        QCOMPARE(newToken, oldToken);
        return;
    }
    QCOMPARE(answerer.seen().value(1).text, QStringLiteral("Password changed"));
    QVERIFY(newToken != oldToken);

    // With the old session gone, only the taken-over tokens still get through.
    QVERIFY(endSessionOf(fx, oldToken) > 0);
    auto *thread = window->findChild<ZRV_MeetingsInfoThread *>();
    QSignalSpy polled(thread, &ZRV_MeetingsInfoThread::meetingsInfo);
    window->onMeetingStatusTimer();
    QVERIFY(polled.wait(15000));
    QVERIFY(fx.exitCodes().isEmpty());
}

void tst_ZRV_ServerApp_Account::cleanup()
{
    QFile::remove(QCoreApplication::applicationDirPath() + QStringLiteral("/copyright.txt"));
}

// The about dialog's own version text, and a notice beside the executable
// taking the place of the built-in one.
void tst_ZRV_ServerApp_Account::aboutFromMenu_data()
{
    QTest::addColumn<bool>("fileBeside");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("no file: the built-in notice") << false << QByteArray();
    QTest::newRow("file beside the executable replaces it")
        << true << QByteArray("Zarvo Console\nCopyright (C) Brenvik.\n\xc3\xa9t\xc3\xa9\n");
    QTest::newRow("empty file gives an empty notice") << true << QByteArray();
}

void tst_ZRV_ServerApp_Account::aboutFromMenu()
{
    QFETCH(bool, fileBeside);
    QFETCH(QByteArray, content);

    if (fileBeside) {
        QFile file(QCoreApplication::applicationDirPath() + QStringLiteral("/copyright.txt"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    ConsoleFixture fx;
    std::unique_ptr<ZRV_ServerApp> window;
    std::unique_ptr<QSignalSpy> tokens;
    QVERIFY(openConsole(fx, window, tokens));

    QString title;
    QString notice;
    bool onlyOk = false;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *modal) {
        title = modal->findChild<QLabel *>(QStringLiteral("lblTitle"))->text();
        notice = modal->findChild<QLabel *>(QStringLiteral("lblCopyright"))->text();
        auto *box = modal->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
        onlyOk = box->button(QDialogButtonBox::Ok)->isVisible()
            && !box->button(QDialogButtonBox::Cancel)->isVisible();
        QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(20000);
    window->findChild<QAction *>(QStringLiteral("actionAbout"))->trigger();
    answerer.disarm();

    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("About Zarvo Console"));
    // Its own build text, not the main window's 3.1.2.
    QCOMPARE(title, QStringLiteral("Zarvo Console V3.1.0"));
    QVERIFY(onlyOk);
    if (fileBeside)
        QCOMPARE(notice, QString::fromUtf8(content));
    else
        QVERIFY(notice.startsWith(QStringLiteral("Zarvo Console\nCopyright (C) Brenvik.")));
}

QTEST_MAIN(tst_ZRV_ServerApp_Account)
#include "tst_ZRV_ServerApp_Account.moc"
