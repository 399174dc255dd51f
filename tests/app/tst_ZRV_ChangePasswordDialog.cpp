#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_ChangePasswordDialog.h"

namespace {

const QString PresenterId = "8d1f0c52-0a6e-4c1b-9a51-000000000003";

ZRV_LoginData presenterData()
{
    ZRV_LoginData data;
    data.id = PresenterId;
    data.userId = "presenter";
    data.password = "presenter123";
    data.accessToken = "at.before";
    data.refreshToken = "rt.before";
    data.authenticated = true;
    return data;
}

// Fills the dialog, presses "Ok", answers the box Ok; a dialog still open
// after that is cancelled and *reopenedEnabled tells whether it was usable.
int runDialog(ZRV_ChangePasswordDialog &dialog, ModalAnswerer &answerer, const QStringList &fields, bool *reopenedEnabled)
{
    auto *buttons = dialog.findChild<QDialogButtonBox *>("buttonBox");
    answerer.handle([&](QWidget *) {
        for (int i = 0; i < 3; ++i)
            QTest::keyClicks(dialog.findChild<QLineEdit *>(QStringList{"leOldPW", "leNewPW1", "leNewPW2"}.at(i)), fields.at(i));
        // Pressed after the answerer's turn: a refusal box opens inside the press.
        QTimer::singleShot(0, &dialog, [buttons] {
            for (QAbstractButton *b : buttons->buttons())
                b->text() == "Ok" ? QTest::mouseClick(b, Qt::LeftButton) : void();
        });
    });
    answerer.pressButton(QMessageBox::Ok);
    answerer.handle([&](QWidget *) {
        *reopenedEnabled = buttons->isEnabled();
        dialog.reject();
    });
    answerer.arm(20000);
    return dialog.exec();
}

} // namespace

class tst_ZRV_ChangePasswordDialog : public QObject
{
    Q_OBJECT
    ConsoleFixture m_fx;

private slots:
    void initTestCase() { QVERIFY2(m_fx.start(), qPrintable(m_fx.errorText())); }

    void refusals_data()
    {
        QTest::addColumn<QString>("fields"); // current|new|confirmation
        QTest::addColumn<bool>("serviceFails");
        QTest::addColumn<QString>("box"); // title: text
        const QString refused = "Cannot change Password: ";
        QTest::newRow("current password empty") << "|abcdefgh|abcdefgh" << false << refused + "Current Password field is empty";
        QTest::newRow("current empty wins over a short new one") << "|abc|xyz" << false << refused + "Current Password field is empty";
        QTest::newRow("new password empty") << "presenter123||abcdefgh" << false << refused + "New Password field is empty";
        QTest::newRow("empty confirmation reads as mismatch")
            << "presenter123|abcdefgh|" << false << refused + "Password Confirmation doesn't match New Password";
        QTest::newRow("seven characters are too short")
            << "presenter123|abcdefg|abcdefg" << false << refused + "Password is too short (minimum is 8 characters)";
        QTest::newRow("wrong current password") << "not-my-password|abcdefgh|abcdefgh" << false
                                                << "Error: The password you have entered is wrong. Your password was not changed.";
        QTest::newRow("service failure is an unknown error") << "presenter123|abcdefgh|abcdefgh" << true << "Error: Unknown error changing password.";
    }

    void refusals()
    {
        QFETCH(QString, fields);
        QFETCH(bool, serviceFails);
        QFETCH(QString, box);
        QCOMPARE(m_fx.sim().admin("DELETE", "/_sim/fault").status, 200);
        if (serviceFails)
            QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", {{"path", "/idp/auth/user/*"}, {"status", 503}}).status, 200);
        ZRV_ChangePasswordDialog dialog(m_fx.config(), presenterData(), nullptr);
        ModalAnswerer answerer;
        bool reopenedEnabled = false;
        QCOMPARE(runDialog(dialog, answerer, fields.split('|'), &reopenedEnabled), int(QDialog::Rejected));
        QCOMPARE(answerer.seen().at(1).title + ": " + answerer.seen().at(1).text + answerer.seen().at(1).buttons.join(','), box + "OK");
        QVERIFY(reopenedEnabled);
        QCOMPARE(dialog.loginData().password + dialog.loginData().accessToken, QString("presenter123at.before"));
    }

    // The old password authorises the request, no token does; a reply without
    // access token keeps the old one and still counts as done.
    void wireAndReplyWithoutToken()
    {
        ScriptedHttpServer server;
        QVERIFY(server.start());
        server.enqueueJson(200, R"({"refresh_token":"rt.fresh","expires_in":60})");
        ConsoleFixture fx;
        QVERIFY2(fx.start({}, {{"ZRV_AuthService/host", server.baseUrl()}}), qPrintable(fx.errorText()));
        ZRV_ChangePasswordDialog dialog(fx.config(), presenterData(), nullptr);
        ModalAnswerer answerer;
        bool reopened = false;
        QCOMPARE(runDialog(dialog, answerer, {"presenter123", "new & secret", "new & secret"}, &reopened), int(QDialog::Accepted));
        QCOMPARE(answerer.seen().value(1).text, QString("Password changed"));
        QCOMPARE(server.requestCount(), 1);
        const RecordedRequest request = server.lastRequest();
        QCOMPARE(request.method + ' ' + request.target, "PATCH /idp/auth/user/" + PresenterId.toLatin1() + "/pwdreset");
        QVERIFY(!request.hasHeader("Authorization"));
        QCOMPARE(request.header("Content-Type"), QByteArray("application/x-www-form-urlencoded"));
        QCOMPARE(request.body, QByteArray("client=BVK&password=new%20%26%20secret&passwordold=presenter123&username=presenter"));
        QCOMPARE(dialog.loginData().accessToken + '|' + dialog.loginData().refreshToken, QString("at.before|rt.fresh"));
    }
};

QTEST_MAIN(tst_ZRV_ChangePasswordDialog)
#include "tst_ZRV_ChangePasswordDialog.moc"
