#include <QTemporaryDir>
#include <QtTest>

#include "ZRV_Logger.h"

class tst_ZRV_Logger : public QObject
{
    Q_OBJECT

private slots:
    void eachWriteAppendsWithItsPrefix_data()
    {
        QTest::addColumn<bool>("showDate");
        QTest::addColumn<bool>("showTime");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("bare text") << false << false << "";
        QTest::newRow("time only") << false << true << "\\d\\d:\\d\\d:\\d\\d - ";
        QTest::newRow("date only") << true << false << "\\d\\d\\.\\d\\d\\.\\d{4} ";
        QTest::newRow("date leads, then time, then text") << true << true << "\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d - ";
    }

    void eachWriteAppendsWithItsPrefix()
    {
        QFETCH(bool, showDate);
        QFETCH(bool, showTime);
        QFETCH(QString, prefix);
        QTemporaryDir dir;
        ZRV_Logger logger;
        logger.logFileName = dir.filePath("console.log");
        logger.showDate = showDate;
        logger.showTime = showTime;
        logger.write("a");
        logger.writeln("Grüße");
        QFile file(logger.logFileName);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY2(QRegularExpression('^' + prefix + 'a' + prefix + "Grüße\n$").match(text).hasMatch(), qPrintable(text));
    }
};

QTEST_GUILESS_MAIN(tst_ZRV_Logger)
#include "tst_ZRV_Logger.moc"
