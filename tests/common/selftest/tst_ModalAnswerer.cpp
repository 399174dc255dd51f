#include <QDialog>
#include <QtTest>

#include "ModalAnswerer.h"

// A broken answer shows as every widget test hanging; what they would not show is the bound being kept.
class TestModalAnswerer : public QObject
{
    Q_OBJECT

private slots:
    void dialogLeftOpenIsRejectedAtTheBound();
};

// The same dialog shown again is a new question; one its handler leaves open is rejected at the bound.
void TestModalAnswerer::dialogLeftOpenIsRejectedAtTheBound()
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
    QVERIFY(answerer.gaveUp());
    QVERIFY2(clock.elapsed() < 5000, "the bound was not kept");
}

QTEST_MAIN(TestModalAnswerer)
#include "tst_ModalAnswerer.moc"
