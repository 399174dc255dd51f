#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_ChangePasswordDialog.h"
#include "ZRV_Login.h"

namespace {

QStringList g_debug;
void capture(QtMsgType, const QMessageLogContext &, const QString &message) { g_debug << message; }

// One press of Ok: the boxes as "title: text [buttons]", the fields as "user/password" once idle again.
struct Attempt { int result = -1; QStringList boxes; QString fields, leaked; ZRV_LoginData data; };

QByteArray attr(const QByteArray &key, const QByteArray &values) { return R"({"key":")" + key + R"(","value":[)" + values + "]}"; }
QByteArray sub(const QByteArray &name, const QByteArray &attrs) { return R"({"id":"s-)" + name + R"(","name":")" + name + R"(","attributes":[)" + attrs + "]}"; }
QByteArray groups(const QByteArray &customer, const QByteArray &subs)
{
    return R"({"userId":"presenter","groups":[{"id":"g-1","name":"Acme","attributes":[)" + customer + R"(],"subGroups":[)" + subs + "]}]}";
}

const QByteArray kUser = R"({"id":"u-1","userId":"presenter","company":"Own Co","firstName":"Pat","lastName":"Lee",)"
                         R"("email":"p@example.org","phone":"1","status":"active","roles":["ZRV_Presenter"],"created":"2025-02-03"})";
const QString kWrong = "Login failed: Login failed. Is your password correct?";
const QString kNoRole = "Error: Your account is missing the 'Presenter' role. Please contact your administrator.";
const QString kNoStorage = "No Storage Configuration: Your Account is missing storage configuration. Please ask your administrator to "
                           "configure storage access for you.";

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

class tst_ZRV_Login : public QObject
{
    Q_OBJECT

    ConsoleFixture m_fx;

    // Answers each box Ok; once the dialog is idle again (or the process would have ended) closes it.
    Attempt attempt(ZRV_Config *config, const QString &user, const QString &password)
    {
        Attempt a;
        ZRV_Login dialog(nullptr, config, QString());
        auto *leUser = dialog.findChild<QLineEdit *>("leUser");
        auto *lePass = dialog.findChild<QLineEdit *>("lePass");
        auto *btnBox = dialog.findChild<QDialogButtonBox *>("btnBox");
        ModalAnswerer answerer;
        answerer.handle([&](QWidget *) {
            QTest::keyClicks(leUser, user);
            QTest::keyClicks(lePass, password);
            QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
        });
        answerer.pressButton(QMessageBox::Ok);
        QTimer watch;
        connect(&watch, &QTimer::timeout, &dialog, [&] {
            if (answerer.seen().size() < 2 || QApplication::activeModalWidget() != &dialog
                || !(btnBox->isEnabled() || !m_fx.exitCodes().isEmpty()))
                return;
            a.fields = leUser->text() + '/' + lePass->text();
            watch.stop();
            dialog.reject();
        });
        watch.start(20);
        g_debug.clear();
        const QtMessageHandler previous = qInstallMessageHandler(capture);
        answerer.arm(20000);
        a.result = dialog.exec();
        answerer.disarm();
        qInstallMessageHandler(previous);
        a.leaked = g_debug.filter(password).join('\n');
        for (const ModalAnswerer::Seen &box : answerer.seen().mid(1))
            a.boxes << box.title + ": " + box.text + " [" + box.buttons.join(',') + ']';
        a.data = dialog.loginData;
        return a;
    }

private slots:
    void initTestCase() { QVERIFY2(m_fx.start(), qPrintable(m_fx.errorText())); }

    void init()
    {
        m_fx.clearExitCodes();
        QCOMPARE(m_fx.sim().admin("DELETE", "/_sim/fault").status, 200);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("failing");
        QTest::addColumn<QString>("box"); // title: text
        QTest::addColumn<QString>("after");
        QTest::newRow("wrong password keeps both texts") << "presenter" << "n0pe-pw" << "" << kWrong << "kept";
        QTest::newRow("login service failing reads like a wrong password") << "presenter" << "presenter123" << "/auth/login" << kWrong << "kept";
        QTest::newRow("inactive account") << "inactive" << "inactive123" << "" << "Error: Authentication failed." << "cleared";
        QTest::newRow("account without the presenter role") << "visitor" << "visitor123" << "" << kNoRole << "cleared";
        QTest::newRow("account without a storage group") << "nostorage" << "nostorage123" << "" << kNoStorage << "cleared";
        QTest::newRow("account record unavailable ends the process") << "presenter" << "presenter123" << "/auth/user"
            << "Login Error: Could not retrieve account information. Please try again later." << "ends";
        QTest::newRow("groups unavailable ends the process") << "presenter" << "presenter123" << "/auth/groups"
            << "Login Error: Could not retrieve account license information. Please try again later." << "ends";
    }

    void refusals()
    {
        QFETCH(QString, user);
        QFETCH(QString, password);
        QFETCH(QString, failing);
        QFETCH(QString, box);
        QFETCH(QString, after);
        if (!failing.isEmpty())
            QCOMPARE(m_fx.sim().admin("POST", "/_sim/fault", {{"path", ConsoleFixture::AuthBase + failing}, {"status", 500}}).status, 200);
        const Attempt a = attempt(m_fx.config(), user, password);
        QCOMPARE(a.result, int(QDialog::Rejected));
        QCOMPARE(a.boxes, QStringList{box + " [OK]"});
        QVERIFY2(a.leaked.isEmpty(), qPrintable(a.leaked));
        QCOMPARE(a.fields, user + '/' + (after == "cleared" ? QString() : password));
        QCOMPARE(m_fx.exitCodes(), after == "ends" ? QList<int>{0} : QList<int>());
    }

    // Exact requests, and the group walk on account data the simulator does not hold.
    void groupWalk_data()
    {
        QTest::addColumn<QByteArray>("user");
        QTest::addColumn<QByteArray>("groups");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<QString>("storage"); // mode|user|folder|bucket|size|trial days
        const QByteArray minio = sub("S3_Config_Minio", attr("Modus", R"("MINIO")") + "," + attr("User", R"("key-a")") + ","
                                                            + attr("Folder", R"("fa")") + "," + attr("Bucket", R"("ba")"));
        const QByteArray licence = attr("StorageSize", R"("500")") + "," + attr("TrialDays", R"("7")") + ","
                                   + attr("CountEndlessMeetings", R"("3")");
        QTest::newRow("of two storage groups the second wins")
            << kUser << groups("", minio + "," + sub("S3_Config_Other", attr("Modus", R"("s3")") + "," + attr("User", R"("key-b")")))
            << "" << "2|key-b|||-1|0";
        QTest::newRow("names, keys and modes compared without case")
            << kUser << groups("", sub("s3_config_x", attr("MODUS", R"("nextCLOUD")") + "," + attr("bucket", R"("bx")")))
            << "" << "0|||bx|-1|0";
        QTest::newRow("no customer group refuses") << kUser << QByteArray(R"({"userId":"presenter","groups":[]})") << kNoStorage << "";
        QTest::newRow("status Active in capitals passes, licence values read")
            << QByteArray(kUser).replace("\"active\"", "\"Active\"") << groups(licence, minio) << "" << "1|key-a|fa|ba|500|7";
    }

    void groupWalk()
    {
        QFETCH(QByteArray, user);
        QFETCH(QByteArray, groups);
        QFETCH(QString, refusal);
        QFETCH(QString, storage);
        ScriptedHttpServer server;
        QVERIFY(server.start());
        server.enqueueJson(200, R"({"access_token":"tok-1","expires_in":120,"refresh_expires_in":600,"refresh_token":"ref-1",)"
                                R"("token_type":"Bearer","not-before-policy":0,"session_state":"s","scope":"profile"})");
        server.enqueueJson(200, user);
        server.enqueueJson(200, groups);
        QTemporaryDir dir;
        QSettings(dir.filePath("s.ini"), QSettings::IniFormat).setValue("ZRV_AuthService/host", server.baseUrl() + "/id");
        ZRV_Config config({"zarvo-console", "-i", dir.filePath("s.ini")});
        const QString password = "S3cr&t=pw";
        const Attempt a = attempt(&config, "presenter", password);
        QVERIFY2(a.leaked.isEmpty(), qPrintable(a.leaked));
        QCOMPARE(a.boxes.join(""), refusal.isEmpty() ? QString() : refusal + " [OK]");
        QCOMPARE(a.result, refusal.isEmpty() ? int(QDialog::Accepted) : int(QDialog::Rejected));
        if (!refusal.isEmpty())
            return;
        const ZRV_LoginData &d = a.data;
        const qint64 left = QDateTime::currentDateTime().secsTo(d.tokenExpiry);
        QVERIFY2(d.loginComplete == 1 && left > 110 && left <= 120, qPrintable(QString::number(left)));
        QCOMPARE(QStringList({QString::number(d.storageMode), d.storageUser, d.storageFolder, d.storageBucket,
                              QString::number(d.storageSize), QString::number(d.trialDays)}).join('|'), storage);
        QCOMPARE(d.company + '|' + d.accessToken + '|' + d.refreshToken + '|' + d.password + '|' + d.created.toString(Qt::ISODate),
                 "Acme|tok-1|ref-1|" + password + "|2025-02-03");

        // The requests' own forms are the clients' business; here the order and the token handed on.
        const QList<RecordedRequest> r = server.requests();
        QCOMPARE(r[0].body + ' ' + r[1].header("Authorization") + ' ' + r[2].header("Authorization"),
                 QByteArray("client=BVK&password=S3cr%26t%3Dpw&passwordold=&username=presenter Bearer tok-1 Bearer tok-1"));
    }

    void passwordChangeRefusals_data()
    {
        QTest::addColumn<QString>("fields"); // current|new|confirmation
        QTest::addColumn<bool>("serviceFails");
        QTest::addColumn<QString>("box"); // title: text
        const QString refused = "Cannot change Password: ";
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

    void passwordChangeRefusals()
    {
        QFETCH(QString, fields);
        QFETCH(bool, serviceFails);
        QFETCH(QString, box);
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
    void passwordChangeWireAndReplyWithoutToken()
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
        const RecordedRequest request = server.lastRequest();
        QCOMPARE(request.method + ' ' + request.target, "PATCH /idp/auth/user/" + PresenterId.toLatin1() + "/pwdreset");
        QVERIFY(!request.hasHeader("Authorization"));
        QCOMPARE(request.body, QByteArray("client=BVK&password=new%20%26%20secret&passwordold=presenter123&username=presenter"));
        QCOMPARE(dialog.loginData().accessToken + '|' + dialog.loginData().refreshToken, QString("at.before|rt.fresh"));
    }
};

QTEST_MAIN(tst_ZRV_Login)
#include "tst_ZRV_Login.moc"
