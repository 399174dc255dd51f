#include <QDialog>
#include <QPushButton>
#include <QtTest>

#include "ModalAnswerer.h"

// Every widget test leans on the answerer while the code under test blocks in
// exec(): it must answer what it was told, note what it saw, and never leave
// a test hanging.
class TestModalAnswerer : public QObject
{
    Q_OBJECT

private slots:
    void messageBox_data();
    void messageBox();
    void sameDialogTwiceThenGivesUp();
};

void TestModalAnswerer::messageBox_data()
{
    QTest::addColumn<int>("press"); // a standard button; 0: nothing queued
    QTest::addColumn<QString>("clicked");
    QTest::newRow("standard button") << int(QMessageBox::No) << "&No";
    QTest::newRow("button that is not there: Escape") << int(QMessageBox::Retry) << "Keep";
    QTest::newRow("nothing queued: Escape") << 0 << "Keep";
}

void TestModalAnswerer::messageBox()
{
    QFETCH(int, press);
    QMessageBox box(QMessageBox::Question, "Remove asset", "Remove \"stage.fbx\"?");
    box.addButton("Delete", QMessageBox::DestructiveRole);
    box.addButton(QMessageBox::No);
    box.setEscapeButton(box.addButton("Keep", QMessageBox::RejectRole));
    ModalAnswerer answerer;
    if (press)
        answerer.pressButton(QMessageBox::StandardButton(press));
    answerer.arm(5000);
    box.exec();
    QVERIFY(box.clickedButton());
    QTEST(box.clickedButton()->text(), "clicked");
    QCOMPARE(answerer.seen().size(), 1);
    const ModalAnswerer::Seen seen = answerer.seen().first();
    QCOMPARE(QStringList({seen.className, seen.title, seen.text}),
             QStringList({"QMessageBox", "Remove asset", "Remove \"stage.fbx\"?"}));
    QCOMPARE(seen.buttons.size(), 3);
    QVERIFY(seen.buttons.contains("Delete") && seen.buttons.contains("Keep"));
    QVERIFY(!answerer.gaveUp());
}

// The same dialog shown again is a new question; one its handler leaves open
// is rejected at the bound.
void TestModalAnswerer::sameDialogTwiceThenGivesUp()
{
    QDialog dialog;
    ModalAnswerer answerer;
    answerer.handle([](QWidget *w) { static_cast<QDialog *>(w)->done(7); });
    answerer.handle([](QWidget *) {});
    QElapsedTimer clock;
    clock.start();
    answerer.arm(1000);
    QCOMPARE(dialog.exec(), 7);
    QCOMPARE(dialog.exec(), int(QDialog::Rejected));
    QCOMPARE(answerer.seen().size(), 2);
    QVERIFY(answerer.gaveUp());
    QVERIFY2(clock.elapsed() < 5000, "the bound was not kept");
}

QTEST_MAIN(TestModalAnswerer)
#include "tst_ModalAnswerer.moc"
