// The change of the account password: the checks before anything is sent,
// the service's answers from the simulator, and the exact request and an
// answer without token from the scripted server.

#include <QDialogButtonBox>
#include <QJsonObject>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QUrlQuery>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_ChangePasswordDialog.h"

namespace {

const QString PresenterId = QStringLiteral("8d1f0c52-0a6e-4c1b-9a51-000000000003");

QPushButton *okButton(QDialog &dialog)
{
    auto *box = dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    for (QAbstractButton *b : box->buttons()) {
        if (b->text() == QLatin1String("Ok"))
            return qobject_cast<QPushButton *>(b);
    }
    return nullptr;
}

void fill(QDialog &dialog, const QString &oldPw, const QString &new1, const QString &new2)
{
    QTest::keyClicks(dialog.findChild<QLineEdit *>(QStringLiteral("leOldPW")), oldPw);
    QTest::keyClicks(dialog.findChild<QLineEdit *>(QStringLiteral("leNewPW1")), new1);
    QTest::keyClicks(dialog.findChild<QLineEdit *>(QStringLiteral("leNewPW2")), new2);
}

// The dialog as the window opens it: filled, "Ok" pressed, the box answered
// with Ok. A dialog still open after the box is noted as *reopenedEnabled
// (its buttons usable again) and cancelled. Returns exec's result.
int runDialog(ZRV_ChangePasswordDialog &dialog, ModalAnswerer &answerer, const QString &oldPw,
              const QString &new1, const QString &new2, bool *reopenedEnabled = nullptr)
{
    // Pressed after the answerer's turn is over: a refusal box opens inside
    // the press, and the answerer has to be free to answer it.
    answerer.handle([&](QWidget *) {
        fill(dialog, oldPw, new1, new2);
        QTimer::singleShot(0, &dialog, [&dialog] { QTest::mouseClick(okButton(dialog), Qt::LeftButton); });
    });
    answerer.pressButton(QMessageBox::Ok);
    answerer.handle([&dialog, reopenedEnabled](QWidget *) {
        if (reopenedEnabled)
            *reopenedEnabled =
                dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))->isEnabled();
        dialog.reject();
    });
    answerer.arm(20000);
    const int result = dialog.exec();
    answerer.disarm();
    return result;
}

ZRV_LoginData presenterData()
{
    ZRV_LoginData data;
    data.id = PresenterId;
    data.userId = QStringLiteral("presenter");
    data.password = QStringLiteral("presenter123");
    data.accessToken = QStringLiteral("at.before");
    data.refreshToken = QStringLiteral("rt.before");
    data.tokenExpiry = QDateTime::currentDateTime().addSecs(30);
    data.authenticated = true;
    return data;
}

bool simLogin(ConsoleFixture &fx, const QString &user, const QString &password)
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("client"), QStringLiteral("BVK"));
    form.addQueryItem(QStringLiteral("username"), user);
    form.addQueryItem(QStringLiteral("password"), password);
    form.addQueryItem(QStringLiteral("passwordold"), QString());
    const SimProcess::Reply r = fx.sim().request(
        "POST", QString::fromLatin1(ConsoleFixture::AuthBase) + QStringLiteral("/auth/login"),
        form.toString(QUrl::FullyEncoded).toUtf8(),
        {{"Content-Type", "application/x-www-form-urlencoded"}});
    return r.status == 200;
}

} // namespace

class tst_ZRV_ChangePasswordDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void answer_data();
    void answer();
    void wireAndReplyWithoutToken();

private:
    ConsoleFixture m_fx;
};

void tst_ZRV_ChangePasswordDialog::initTestCase()
{
    QVERIFY2(m_fx.start(), qPrintable(m_fx.errorText()));
}

// Refusals before anything is sent, then the service's own answers.
void tst_ZRV_ChangePasswordDialog::answer_data()
{
    QTest::addColumn<QString>("oldPw");
    QTest::addColumn<QString>("new1");
    QTest::addColumn<QString>("new2");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");

    const QString refused = QStringLiteral("Cannot change Password");
    const QString good = QStringLiteral("presenter123");
    QTest::newRow("current password empty")
        << "" << "abcdefgh" << "abcdefgh" << QJsonObject() << refused << "Current Password field is empty";
    QTest::newRow("current empty wins over a short new one")
        << "" << "abc" << "xyz" << QJsonObject() << refused << "Current Password field is empty";
    QTest::newRow("new password empty")
        << good << "" << "abcdefgh" << QJsonObject() << refused << "New Password field is empty";
    QTest::newRow("empty confirmation reads as mismatch")
        << good << "abcdefgh" << "" << QJsonObject() << refused
        << "Password Confirmation doesn't match New Password";
    QTest::newRow("confirmation differs")
        << good << "abcdefgh" << "abcdefgH" << QJsonObject() << refused
        << "Password Confirmation doesn't match New Password";
    QTest::newRow("seven characters are too short")
        << good << "abcdefg" << "abcdefg" << QJsonObject() << refused
        << "Password is too short (minimum is 8 characters)";
    QTest::newRow("wrong current password")
        << "not-my-password" << "abcdefgh" << "abcdefgh" << QJsonObject() << "Error"
        << "The password you have entered is wrong. Your password was not changed.";
    QTest::newRow("service failure is an unknown error")
        << good << "abcdefgh" << "abcdefgh"
        << QJsonObject{{QStringLiteral("path"), QStringLiteral("/idp/auth/user/*")},
                       {QStringLiteral("status"), 503}}
        << "Error" << "Unknown error changing password.";
    QTest::newRow("eight characters pass and new tokens come back")
        << good << "abcdefgh" << "abcdefgh" << QJsonObject() << "Change Password" << "Password changed";
}

void tst_ZRV_ChangePasswordDialog::answer()
{
    QFETCH(QString, oldPw);
    QFETCH(QString, new1);
    QFETCH(QString, new2);
    QFETCH(QJsonObject, fault);
    QFETCH(QString, title);
    QFETCH(QString, text);
    const bool changed = title == QLatin1String("Change Password");

    QCOMPARE(m_fx.sim().admin("POST", QStringLiteral("/_sim/reset")).status, 200);
    if (!fault.isEmpty())
        QCOMPARE(m_fx.sim().admin("POST", QStringLiteral("/_sim/fault"), fault).status, 200);

    const ZRV_LoginData before = presenterData();
    ZRV_ChangePasswordDialog dialog(m_fx.config(), before, nullptr);
    ModalAnswerer answerer;
    bool reopenedEnabled = false;
    const int result = runDialog(dialog, answerer, oldPw, new1, new2, &reopenedEnabled);
    const ModalAnswerer::Seen box = answerer.seen().value(1);
    QCOMPARE(box.title, title);
    QCOMPARE(box.text, text);
    QCOMPARE(box.buttons, QStringList{QStringLiteral("OK")});

    const ZRV_LoginData after = dialog.loginData();
    QCOMPARE(after.password, before.password);
    if (changed) {
        QCOMPARE(result, int(QDialog::Accepted));
        QVERIFY(after.accessToken.startsWith(QLatin1String("at.")));
        QVERIFY(after.refreshToken != before.refreshToken);
        // The simulator's tokens live 300 s.
        const qint64 left = QDateTime::currentDateTime().secsTo(after.tokenExpiry);
        QVERIFY2(left > 290 && left <= 300, qPrintable(QString::number(left)));
        QVERIFY(simLogin(m_fx, QStringLiteral("presenter"), new1));
    } else {
        // Still open for another try, its buttons usable; nothing changed.
        QCOMPARE(result, int(QDialog::Rejected));
        QCOMPARE(answerer.seen().size(), 3);
        QVERIFY(reopenedEnabled);
        QCOMPARE(after.accessToken, before.accessToken);
        QCOMPARE(after.refreshToken, before.refreshToken);
        QCOMPARE(after.tokenExpiry, before.tokenExpiry);
        QVERIFY(simLogin(m_fx, QStringLiteral("presenter"), QStringLiteral("presenter123")));
    }
}

// The request as it leaves: the old password authorises it, no token does.
// A reply without access token keeps the old one and still counts as done.
void tst_ZRV_ChangePasswordDialog::wireAndReplyWithoutToken()
{
    ScriptedHttpServer server;
    QVERIFY(server.start());
    server.enqueueJson(200, R"({"refresh_token":"rt.fresh","expires_in":60})");
    ConsoleFixture fx;
    QVERIFY2(fx.start({}, {{QStringLiteral("ZRV_AuthService/host"), server.baseUrl()}}),
             qPrintable(fx.errorText()));

    const ZRV_LoginData before = presenterData();
    ZRV_ChangePasswordDialog dialog(fx.config(), before, nullptr);
    ModalAnswerer answerer;
    const int result = runDialog(dialog, answerer, QStringLiteral("presenter123"),
                                 QStringLiteral("new & secret"), QStringLiteral("new & secret"));
    QCOMPARE(result, int(QDialog::Accepted));
    QCOMPARE(answerer.seen().value(1).text, QStringLiteral("Password changed"));

    QCOMPARE(server.requestCount(), 1);
    const RecordedRequest request = server.lastRequest();
    QCOMPARE(request.method, QByteArray("PATCH"));
    QCOMPARE(request.target, QByteArray("/idp/auth/user/") + PresenterId.toLatin1() + "/pwdreset");
    QVERIFY(!request.hasHeader("Authorization"));
    QCOMPARE(request.header("Content-Type"), QByteArray("application/x-www-form-urlencoded"));
    const QUrlQuery form(QString::fromUtf8(request.body));
    QCOMPARE(form.queryItemValue(QStringLiteral("client")), QStringLiteral("BVK"));
    QCOMPARE(form.queryItemValue(QStringLiteral("username")), QStringLiteral("presenter"));
    QCOMPARE(form.queryItemValue(QStringLiteral("password"), QUrl::FullyDecoded),
             QStringLiteral("new & secret"));
    QCOMPARE(form.queryItemValue(QStringLiteral("passwordold"), QUrl::FullyDecoded),
             QStringLiteral("presenter123"));

    const ZRV_LoginData after = dialog.loginData();
    QCOMPARE(after.accessToken, before.accessToken);
    QCOMPARE(after.refreshToken, QStringLiteral("rt.fresh"));
    const qint64 left = QDateTime::currentDateTime().secsTo(after.tokenExpiry);
    QVERIFY2(left > 50 && left <= 60, qPrintable(QString::number(left)));
}

QTEST_MAIN(tst_ZRV_ChangePasswordDialog)
#include "tst_ZRV_ChangePasswordDialog.moc"
