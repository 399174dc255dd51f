#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "ZRV_Logger.h"

class tst_ZRV_Logger : public QObject
{
    Q_OBJECT

private slots:
    void linesInTheFile_data()
    {
        QTest::addColumn<bool>("showDate");
        QTest::addColumn<bool>("showTime");
        QTest::addColumn<QString>("pattern");
        QTest::newRow("bare text") << false << false << "^Grüße\n$";
        QTest::newRow("time only") << false << true << "^\\d\\d:\\d\\d:\\d\\d - Grüße\n$";
        QTest::newRow("date only") << true << false << "^\\d\\d\\.\\d\\d\\.\\d{4} Grüße\n$";
        QTest::newRow("date leads, then time, then text")
            << true << true << "^\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d - Grüße\n$";
    }

    void linesInTheFile()
    {
        QFETCH(bool, showDate);
        QFETCH(bool, showTime);
        QFETCH(QString, pattern);
        QTemporaryDir dir;
        ZRV_Logger logger;
        logger.logFileName = dir.filePath(QStringLiteral("console.log"));
        logger.showDate = showDate;
        logger.showTime = showTime;
        logger.writeln(QStringLiteral("Grüße"));

        QFile file(logger.logFileName);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY2(QRegularExpression(pattern).match(text).hasMatch(), qPrintable(text));
    }

    void writesAppendToTheFile()
    {
        QTemporaryDir dir;
        ZRV_Logger logger;
        logger.logFileName = dir.filePath(QStringLiteral("console.log"));
        logger.write(QStringLiteral("a"));
        logger.writeln(QStringLiteral("b"));
        logger.writeln(QStringLiteral("c"));
        QFile file(logger.logFileName);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("ab\nc\n"));
    }
};

QTEST_GUILESS_MAIN(tst_ZRV_Logger)
#include "tst_ZRV_Logger.moc"
