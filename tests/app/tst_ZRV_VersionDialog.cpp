// The about dialog: its texts, and the legal notice read from beside the
// executable when one is there.

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTest>

#include "ZRV_VersionDialog.h"

class tst_ZRV_VersionDialog : public QObject
{
    Q_OBJECT

private slots:
    void texts();
    void notice_data();
    void notice();
    void cleanup();

private:
    QString noticePath() const
    {
        return QCoreApplication::applicationDirPath() + QStringLiteral("/copyright.txt");
    }
};

void tst_ZRV_VersionDialog::cleanup()
{
    QFile::remove(noticePath());
}

void tst_ZRV_VersionDialog::texts()
{
    ZRV_VersionDialog dialog;
    dialog.show();
    QCOMPARE(dialog.windowTitle(), QStringLiteral("About Zarvo Console"));
    // Its own build text, not the main window's.
    QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("lblTitle"))->text(),
             QStringLiteral("Zarvo Console V3.1.0"));
    QCOMPARE(dialog.findChild<QLabel *>(QStringLiteral("lblTitle"))->font().pointSize(), 20);
    QVERIFY(dialog.findChild<QLabel *>(QStringLiteral("lblVersion"))->text().isEmpty());
    auto *box = dialog.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    QVERIFY(box->button(QDialogButtonBox::Ok)->isVisible());
    QVERIFY(!box->button(QDialogButtonBox::Cancel)->isVisible());
    QVERIFY(!(dialog.windowFlags() & Qt::WindowContextHelpButtonHint));
    QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void tst_ZRV_VersionDialog::notice_data()
{
    QTest::addColumn<bool>("fileBeside");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("no file: the built-in notice") << false << QByteArray();
    QTest::newRow("file beside the executable replaces it")
        << true << QByteArray("Zarvo Console\nCopyright (C) Brenvik.\nSecond line \xc3\xa9t\xc3\xa9\n");
    QTest::newRow("empty file gives an empty notice") << true << QByteArray();
}

void tst_ZRV_VersionDialog::notice()
{
    QFETCH(bool, fileBeside);
    QFETCH(QByteArray, content);

    if (fileBeside) {
        QFile file(noticePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    ZRV_VersionDialog dialog;
    const QString shown = dialog.findChild<QLabel *>(QStringLiteral("lblCopyright"))->text();
    if (fileBeside) {
        QCOMPARE(shown, QString::fromUtf8(content));
    } else {
        QVERIFY(shown.contains(QStringLiteral("Brenvik")));
        QVERIFY(shown.startsWith(QStringLiteral("Zarvo Console")));
    }
}

QTEST_MAIN(tst_ZRV_VersionDialog)
#include "tst_ZRV_VersionDialog.moc"
