// What a meeting row shows of the live record: the time left with its
// rounding, and the status picture's order of conditions.

#include <QtTest>

#include "ZRV_MeetingRows.h"

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_Service_API::ZRVMeetingInfo;

class tst_ZRV_MeetingRows : public QObject
{
    Q_OBJECT

private slots:
    void timeLeft_data();
    void timeLeft();
    void statusPicture_data();
    void statusPicture();
};

void tst_ZRV_MeetingRows::timeLeft_data()
{
    QTest::addColumn<QString>("endingTime");
    QTest::addColumn<QString>("expected");

    const QDateTime now(QDate(2026, 11, 23), QTime(8, 0, 0), Qt::UTC);
    auto ahead = [now](int seconds) {
        // The service's form: a UTC time as text date, which carries its zone.
        return now.addSecs(seconds).toString(Qt::TextDate);
    };
    QTest::newRow("no end: infinite") << QString() << "∞";
    QTest::newRow("30 s ahead rounds down to 0") << ahead(30) << "0 mins";
    QTest::newRow("31 s ahead rounds up to 1") << ahead(31) << "1 mins";
    QTest::newRow("90 s ahead is 1") << ahead(90) << "1 mins";
    QTest::newRow("91 s ahead is 2") << ahead(91) << "2 mins";
    QTest::newRow("the present shows nothing") << ahead(0) << "";
    QTest::newRow("the past shows nothing") << ahead(-600) << "";
    QTest::newRow("unreadable text shows nothing") << "tomorrow-ish" << "";
}

void tst_ZRV_MeetingRows::timeLeft()
{
    QFETCH(QString, endingTime);
    QFETCH(QString, expected);
    const QDateTime now(QDate(2026, 11, 23), QTime(8, 0, 0), Qt::UTC);
    QCOMPARE(ZRV_MeetingRows::timeLeftText(endingTime, now), expected);
}

void tst_ZRV_MeetingRows::statusPicture_data()
{
    QTest::addColumn<QString>("license");
    QTest::addColumn<int>("statusMirror"); // -1: left out by the service
    QTest::addColumn<QString>("expected");

    QTest::newRow("mirror trouble wins over endless") << "endless" << 2 << "yellow.svg";
    QTest::newRow("mirror 0 is trouble too") << "default" << 0 << "yellow.svg";
    QTest::newRow("endless, mirror left out") << "endless" << -1 << "blue.svg";
    QTest::newRow("licence compared exactly") << "Endless" << 1 << "green.svg";
}

void tst_ZRV_MeetingRows::statusPicture()
{
    QFETCH(QString, license);
    QFETCH(int, statusMirror);
    QFETCH(QString, expected);

    ZRVMeeting meeting;
    meeting.fromJson(QStringLiteral(R"({"status":"ACTIVE","license":"%1"})").arg(license));
    ZRVMeetingInfo live;
    live.fromJson(statusMirror < 0 ? QStringLiteral("{}")
                                   : QStringLiteral(R"({"statusMirror":%1})").arg(statusMirror));
    QVERIFY(ZRV_MeetingRows::isActive(meeting));
    QCOMPARE(ZRV_MeetingRows::statusPicture(meeting, live), QStringLiteral(":/ZRV_ServerApp/") + expected);
}

QTEST_MAIN(tst_ZRV_MeetingRows)
#include "tst_ZRV_MeetingRows.moc"
