#include <QDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include "ModalAnswerer.h"

// The dialog answerer is what every widget test leans on when the code under
// test blocks in exec(): it must answer what it was told, note what it saw,
// and never leave a test hanging.
class TestModalAnswerer : public QObject
{
    Q_OBJECT

private slots:
    void messageBoxes_data();
    void messageBoxes();
    void handlerFillsADialog();
    void sameDialogTwice();
    void unansweredDialogGivesUpInTime();
};

void TestModalAnswerer::messageBoxes_data()
{
    QTest::addColumn<int>("press");        // a standard button, or 0
    QTest::addColumn<QString>("pressText"); // a button's text, or empty
    QTest::addColumn<QString>("clicked");   // text of the button the box saw clicked
    QTest::addColumn<bool>("answered");

    QTest::newRow("standard button") << int(QMessageBox::No) << QString() << "&No" << true;
    QTest::newRow("button by its text") << 0 << "Delete" << "Delete" << true;
    QTest::newRow("button that is not there") << int(QMessageBox::Retry) << QString() << "Keep" << false;
    QTest::newRow("nothing queued") << -1 << QString() << "Keep" << false;
}

void TestModalAnswerer::messageBoxes()
{
    QFETCH(int, press);
    QFETCH(QString, pressText);
    QFETCH(QString, clicked);
    QFETCH(bool, answered);

    QMessageBox box(QMessageBox::Question, "Remove asset", "Remove \"stage.fbx\"?");
    box.setObjectName("removeBox");
    box.addButton("Delete", QMessageBox::DestructiveRole);
    box.addButton(QMessageBox::No);
    box.setEscapeButton(box.addButton("Keep", QMessageBox::RejectRole));

    ModalAnswerer answerer;
    if (press > 0)
        answerer.pressButton(QMessageBox::StandardButton(press));
    else if (press == 0)
        answerer.pressButtonText(pressText);
    answerer.arm(5000);
    box.exec();

    QVERIFY(box.clickedButton());
    QCOMPARE(box.clickedButton()->text(), clicked);
    QCOMPARE(answerer.seen().size(), 1);
    const ModalAnswerer::Seen seen = answerer.seen().first();
    QCOMPARE(seen.className, QStringLiteral("QMessageBox"));
    QCOMPARE(seen.objectName, QStringLiteral("removeBox"));
    QCOMPARE(seen.title, QStringLiteral("Remove asset"));
    QCOMPARE(seen.text, QStringLiteral("Remove \"stage.fbx\"?"));
    QCOMPARE(seen.buttons.size(), 3);
    QVERIFY(seen.buttons.contains("Delete") && seen.buttons.contains("Keep"));
    QCOMPARE(seen.answered, answered);
    QCOMPARE(answerer.pendingAnswers(), 0);
    QVERIFY(!answerer.gaveUp());
}

void TestModalAnswerer::handlerFillsADialog()
{
    ModalAnswerer answerer;
    answerer.handle([](QWidget *w) {
        auto *dialog = qobject_cast<QInputDialog *>(w);
        QVERIFY(dialog);
        dialog->findChild<QLineEdit *>()->setText("Board Meeting");
        dialog->accept();
    });
    answerer.arm(5000);
    bool ok = false;
    const QString text = QInputDialog::getText(nullptr, "Rename", "Title:", QLineEdit::Normal, "old", &ok);
    QVERIFY(ok);
    QCOMPARE(text, QStringLiteral("Board Meeting"));
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Rename"));
}

void TestModalAnswerer::sameDialogTwice()
{
    // A dialog object shown a second time is a second question.
    QDialog dialog;
    ModalAnswerer answerer;
    answerer.handle([](QWidget *w) { static_cast<QDialog *>(w)->accept(); });
    answerer.handle([](QWidget *w) { static_cast<QDialog *>(w)->done(7); });
    answerer.arm(5000);
    QCOMPARE(dialog.exec(), int(QDialog::Accepted));
    QCOMPARE(dialog.exec(), 7);
    QCOMPARE(answerer.seen().size(), 2);
}

void TestModalAnswerer::unansweredDialogGivesUpInTime()
{
    QDialog dialog;
    ModalAnswerer answerer;
    answerer.handle([](QWidget *) {}); // leaves it open
    QElapsedTimer clock;
    clock.start();
    answerer.arm(300);
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    QVERIFY(answerer.gaveUp());
    QVERIFY2(clock.elapsed() < 5000, "the bound was not kept");
}

QTEST_MAIN(TestModalAnswerer)
#include "tst_ModalAnswerer.moc"
