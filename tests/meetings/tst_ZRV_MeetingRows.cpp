// What a meeting row shows of the live record: time left at its rounding edges,
// and which status picture wins.
#include <QtTest>

#include "ZRV_MeetingRows.h"

class tst_ZRV_MeetingRows : public QObject
{
    Q_OBJECT

private slots:
    void timeLeft_data();
    void timeLeft();
    void statusPicture_data();
    void statusPicture();
};

static const QDateTime kNow(QDate(2026, 11, 23), QTime(8, 0, 0), Qt::UTC);

void tst_ZRV_MeetingRows::timeLeft_data()
{
    QTest::addColumn<QString>("endingTime"); // the service's form: UTC as text date
    QTest::addColumn<QString>("expected");
    const auto ahead = [](int seconds) { return kNow.addSecs(seconds).toString(Qt::TextDate); };
    QTest::newRow("no end: infinite") << QString() << "∞";
    QTest::newRow("30 s ahead rounds down to 0") << ahead(30) << "0 mins";
    QTest::newRow("31 s ahead rounds up to 1") << ahead(31) << "1 mins";
    QTest::newRow("the present shows nothing") << ahead(0) << "";
    QTest::newRow("unreadable text shows nothing") << "tomorrow-ish" << "";
}

void tst_ZRV_MeetingRows::timeLeft()
{
    QFETCH(QString, endingTime);
    QFETCH(QString, expected);
    QCOMPARE(ZRV_MeetingRows::timeLeftText(endingTime, kNow), expected);
}

void tst_ZRV_MeetingRows::statusPicture_data()
{
    QTest::addColumn<QString>("license");
    QTest::addColumn<QString>("mirror"); // the statusMirror key, if any
    QTest::addColumn<QString>("expected");
    QTest::newRow("mirror trouble wins over endless") << "endless" << R"("statusMirror":2)" << "yellow.svg";
    QTest::newRow("endless, mirror left out") << "endless" << "" << "blue.svg";
    QTest::newRow("licence compared exactly") << "Endless" << R"("statusMirror":1)" << "green.svg";
}

void tst_ZRV_MeetingRows::statusPicture()
{
    QFETCH(QString, license);
    QFETCH(QString, mirror);
    QFETCH(QString, expected);
    ZRV_MeetingService_API::ZRVMeeting meeting;
    meeting.fromJson(QString(R"({"status":"ACTIVE","license":"%1"})").arg(license));
    ZRV_Service_API::ZRVMeetingInfo live;
    live.fromJson("{" + mirror + "}");
    QCOMPARE(ZRV_MeetingRows::statusPicture(meeting, live), ":/ZRV_ServerApp/" + expected);
}

QTEST_MAIN(tst_ZRV_MeetingRows)
#include "tst_ZRV_MeetingRows.moc"
