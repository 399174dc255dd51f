// The user menu's account entries on a console signed in as "cloud": the
// password change hands its tokens to the service object, the about dialog
// shows its own version and the notice beside the executable.
#include <QAction>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTest>

#include "ConsoleFixture.h"
#include "ModalAnswerer.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_ServerApp.h"

class tst_ZRV_ServerApp_Account : public QObject
{
    Q_OBJECT

private slots:
    void menu_data();
    void menu();
};

void tst_ZRV_ServerApp_Account::menu_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QByteArray>("notice"); // "copyright.txt" beside the executable; null: none
    QTest::addColumn<QStringList>("seen");  // the dialog's class or title, then what it and any box show

    const QStringList about{"About Zarvo Console", "Zarvo Console V3.1.0"};
    QTest::newRow("password changed: the new session's token is taken over")
        << "change" << QByteArray() << QStringList{"ZRV_ChangePasswordDialog", "Password changed"};
    QTest::newRow("password change cancelled: the old tokens are applied again")
        << "cancel" << QByteArray() << QStringList{"ZRV_ChangePasswordDialog"};
    QTest::newRow("about, no file: the built-in notice")
        << "about" << QByteArray() << about + QStringList{"Zarvo Console\nCopyright (C) Brenvik. All rights reserved.", "OK", "ZRV_VersionDialog"};
    QTest::newRow("about, a file beside the executable replaces it")
        << "about" << QByteArray("Zarvo Console\nCopyright (C) Brenvik. \xc3\xa9t\xc3\xa9\n")
        << about + QStringList{"Zarvo Console\nCopyright (C) Brenvik. \u00e9t\u00e9", "OK", "ZRV_VersionDialog"};
    QTest::newRow("about, an empty file gives an empty notice") << "about" << QByteArray("") << about + QStringList{"", "OK", "ZRV_VersionDialog"};
}

void tst_ZRV_ServerApp_Account::menu()
{
    QFETCH(QString, action);
    QFETCH(QByteArray, notice);
    Q_INIT_RESOURCE(zrv);
    QFile file(QCoreApplication::applicationDirPath() + "/copyright.txt");
    const auto removeFile = qScopeGuard([&] { file.remove(); });
    QVERIFY(notice.isNull() || (file.open(QIODevice::WriteOnly) && file.write(notice) == notice.size()));
    file.close();

    ConsoleFixture fx;
    QVERIFY2(fx.start({"--console-version", "3.1.2"}), qPrintable(fx.errorText()));
    ModalAnswerer login;
    login.handle([](QWidget *modal) {
        QTest::keyClicks(modal->findChild<QLineEdit *>("leUser"), "cloud");
        QTest::keyClicks(modal->findChild<QLineEdit *>("lePass"), "cloud123");
        QTest::mouseClick(modal->findChild<QDialogButtonBox *>("btnBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    login.arm(30000);
    ZRV_ServerApp window({"zarvo-console", "-i", fx.iniPath()});
    QSignalSpy tokens(window.findChild<ZRV_MeetingsInfoThread *>(), &ZRV_MeetingsInfoThread::tokenChanged);
    window.show();
    QTRY_VERIFY_WITH_TIMEOUT(window.findChild<QStatusBar *>()->isVisible() && !tokens.isEmpty(), 30000);
    login.disarm();
    const QString oldToken = tokens.last().at(0).toString();
    tokens.clear();

    QStringList met;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *modal) {
        auto *box = modal->findChild<QDialogButtonBox *>("buttonBox");
        if (action == "about") {
            met << modal->windowTitle() << modal->findChild<QLabel *>("lblTitle")->text()
                << modal->findChild<QLabel *>("lblCopyright")->text().section('\n', 0, 1) << "";
            for (QAbstractButton *b : box->buttons())
                met.last() += b->isVisible() ? b->text() : "";
        }
        for (const char *field : {"leOldPW", "leNewPW1", "leNewPW2"}) {
            if (auto *edit = modal->findChild<QLineEdit *>(field))
                QTest::keyClicks(edit, field == QByteArray("leOldPW") ? "cloud123" : "fresh-secret");
        }
        // The password dialog's Ok is a button of its own that leaves it open until the service answers.
        QAbstractButton *press = box->button(action == "cancel" ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok);
        for (QAbstractButton *b : box->buttons())
            press = press ? press : b->text() == "Ok" ? b : nullptr;
        QTest::mouseClick(press, Qt::LeftButton);
    });
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(20000);
    window.findChild<QAction *>(action == "about" ? "actionAbout" : "actionChangePassword")->trigger();
    answerer.disarm();
    for (const ModalAnswerer::Seen &s : answerer.seen())
        met << (s.text.isEmpty() ? s.className : s.text);
    QFETCH(QStringList, seen);
    QCOMPARE(met, seen);
    if (action == "about")
        return;
    // The service object, which hands them to every client, is told once
    // whatever the dialog's outcome: the new session's token or the old one again.
    QCOMPARE(tokens.size(), 1);
    QCOMPARE(tokens.first().at(0).toString() == oldToken, action == "cancel");
    QVERIFY(tokens.first().at(0).toString().startsWith("at."));
    QVERIFY(fx.exitCodes().isEmpty());
}

QTEST_MAIN(tst_ZRV_ServerApp_Account)
#include "tst_ZRV_ServerApp_Account.moc"
