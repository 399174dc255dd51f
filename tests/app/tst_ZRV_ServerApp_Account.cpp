// The user menu's account entries on a console signed in as "cloud": the
// password change hands its tokens to the service object, and the about
// dialog shows its own version and the notice beside the executable.
#include <QAction>
#include <QDialogButtonBox>
#include <QLabel>
#include <QJsonObject>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>
#include <QUrlQuery>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

class tst_ZRV_ServerApp_Account : public QObject
{
    Q_OBJECT

private slots:
    void changePassword_data();
    void changePassword();
    void about_data();
    void about();
    void cleanup();

private:
    // Records the service object's token changes from the start.
    bool open();

    std::unique_ptr<ConsoleFixture> m_fx;
    std::unique_ptr<ZRV_ServerApp> m_window;
    std::unique_ptr<QSignalSpy> m_tokens;
};

bool tst_ZRV_ServerApp_Account::open()
{
    Q_INIT_RESOURCE(zrv);
    m_window.reset();
    m_fx.reset(new ConsoleFixture);
    if (!m_fx->start({"--console-version", "3.1.2"}))
        return false;
    ModalAnswerer answerer;
    answerer.handle([](QWidget *modal) {
        QTest::keyClicks(modal->findChild<QLineEdit *>("leUser"), "cloud");
        QTest::keyClicks(modal->findChild<QLineEdit *>("lePass"), "cloud123");
        QTest::mouseClick(modal->findChild<QDialogButtonBox *>("btnBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(30000);
    m_window.reset(new ZRV_ServerApp({"zarvo-console", "-i", m_fx->iniPath()}));
    m_tokens.reset(new QSignalSpy(m_window->findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::tokenChanged));
    m_window->show();
    return QTest::qWaitFor([&] { return m_window->statusBar()->isVisible(); }, 30000) && m_fx->exitCodes().isEmpty();
}

void tst_ZRV_ServerApp_Account::cleanup()
{
    m_tokens.reset();
    m_window.reset();
    m_fx.reset();
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
    QVERIFY(open());
    QVERIFY(!m_tokens->isEmpty());
    const QString oldToken = m_tokens->last().at(0).toString();
    m_tokens->clear();

    ModalAnswerer answerer;
    answerer.handle([change](QWidget *modal) {
        auto *box = modal->findChild<QDialogButtonBox *>("buttonBox");
        QTest::keyClicks(modal->findChild<QLineEdit *>("leOldPW"), "cloud123");
        QTest::keyClicks(modal->findChild<QLineEdit *>("leNewPW1"), "fresh-secret");
        QTest::keyClicks(modal->findChild<QLineEdit *>("leNewPW2"), "fresh-secret");
        for (QAbstractButton *b : box->buttons()) {
            if (b->text() == (change ? "Ok" : "Cancel"))
                QTest::mouseClick(b, Qt::LeftButton);
        }
    });
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(20000);
    m_window->findChild<QAction *>("actionChangePassword")->trigger();
    answerer.disarm();
    QCOMPARE(answerer.seen().first().className, QString("ZRV_ChangePasswordDialog"));
    QCOMPARE(answerer.seen().size(), change ? 2 : 1);
    // The service object is told once, whatever the dialog's outcome.
    QCOMPARE(m_tokens->size(), 1);
    const QString newToken = m_tokens->first().at(0).toString();
    if (!change) {
        QCOMPARE(newToken, oldToken);
        return;
    }
    QCOMPARE(answerer.seen().at(1).text, QString("Password changed"));
    QVERIFY(newToken != oldToken);

    // A logout elsewhere ends the old session: only the taken-over tokens still get through.
    const QJsonObject state = m_fx->sim().admin("GET", "/_sim/state").object();
    const QString session = state["accessTokens"][oldToken]["session"].toString();
    const QJsonObject refresh = state["refreshTokens"].toObject();
    const auto old = std::find_if(refresh.begin(), refresh.end(), [&](const QJsonValue &t) { return t["session"] == session; });
    QVERIFY(!session.isEmpty() && old != refresh.end());
    QUrlQuery form{{"refresh_token", old.key()}};
    QCOMPARE(m_fx->sim().request("POST", QString(ConsoleFixture::AuthBase) + "/auth/logout", form.toString(QUrl::FullyEncoded).toUtf8(),
                                 {{"Content-Type", "application/x-www-form-urlencoded"}}).status, 204);
    QSignalSpy polled(m_window->findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::meetingsInfo);
    m_window->onMeetingStatusTimer();
    QVERIFY(polled.wait(15000));
    QVERIFY(m_fx->exitCodes().isEmpty());
}

// A "copyright.txt" beside the executable takes the place of the built-in notice.
void tst_ZRV_ServerApp_Account::about_data()
{
    QTest::addColumn<bool>("fileBeside");
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("no file: the built-in notice") << false << QByteArray("Zarvo Console\nCopyright (C) Brenvik.");
    QTest::newRow("file beside the executable replaces it")
        << true << QByteArray("Zarvo Console\nCopyright (C) Brenvik.\n\xc3\xa9t\xc3\xa9\n");
    QTest::newRow("empty file gives an empty notice") << true << QByteArray();
}

void tst_ZRV_ServerApp_Account::about()
{
    QFETCH(bool, fileBeside);
    QFETCH(QByteArray, content);
    QFile file(QCoreApplication::applicationDirPath() + "/copyright.txt");
    const auto removeFile = qScopeGuard([&] { file.remove(); });
    if (fileBeside)
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    file.close();
    QVERIFY(open());

    QString title, notice;
    bool onlyOk = false;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *modal) {
        title = modal->findChild<QLabel *>("lblTitle")->text();
        notice = modal->findChild<QLabel *>("lblCopyright")->text();
        auto *box = modal->findChild<QDialogButtonBox *>("buttonBox");
        onlyOk = box->button(QDialogButtonBox::Ok)->isVisible() && !box->button(QDialogButtonBox::Cancel)->isVisible();
        QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(20000);
    m_window->findChild<QAction *>("actionAbout")->trigger();
    answerer.disarm();
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QString("About Zarvo Console"));
    // Its own build text, not the main window's 3.1.2.
    QCOMPARE(title, QString("Zarvo Console V3.1.0"));
    QVERIFY(onlyOk);
    QCOMPARE(fileBeside ? notice : notice.left(content.size()), QString::fromUtf8(content));
}

QTEST_MAIN(tst_ZRV_ServerApp_Account)
#include "tst_ZRV_ServerApp_Account.moc"
