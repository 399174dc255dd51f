// What a meeting row shows of the live record (time left at its rounding edges,
// which status picture wins), and the .zrm document from records.
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include "ZRV_ExportFile.h"
#include "ZRV_MeetingRows.h"

using namespace ZRV_Service_API;
using Parts = ZRV_ExportFile::Parts;

Q_DECLARE_METATYPE(Parts)

class tst_zrv_meeting_data : public QObject
{
    Q_OBJECT

private slots:
    void timeLeft_data();
    void timeLeft();
    void statusPicture_data();
    void statusPicture();
    void document_data();
    void document();
};

static const QDateTime kNow(QDate(2026, 11, 23), QTime(8, 0, 0), Qt::UTC);

void tst_zrv_meeting_data::timeLeft_data()
{
    QTest::addColumn<QString>("endingTime"); // the service's form: UTC as text date
    QTest::addColumn<QString>("expected");
    const auto ahead = [](int seconds) { return kNow.addSecs(seconds).toString(Qt::TextDate); };
    QTest::newRow("no end: infinite") << QString() << "∞";
    QTest::newRow("30 s ahead rounds down to 0") << ahead(30) << "0 mins";
    QTest::newRow("31 s ahead rounds up to 1") << ahead(31) << "1 mins";
    QTest::newRow("unreadable text shows nothing") << "tomorrow-ish" << "";
}

void tst_zrv_meeting_data::timeLeft()
{
    QFETCH(QString, endingTime);
    QFETCH(QString, expected);
    QCOMPARE(ZRV_MeetingRows::timeLeftText(endingTime, kNow), expected);
}

void tst_zrv_meeting_data::statusPicture_data()
{
    QTest::addColumn<QString>("license");
    QTest::addColumn<QString>("mirror"); // the statusMirror key, if any
    QTest::addColumn<QString>("expected");
    QTest::newRow("mirror trouble wins over endless") << "endless" << R"("statusMirror":2)" << "yellow.svg";
    QTest::newRow("licence compared exactly") << "Endless" << R"("statusMirror":1)" << "green.svg";
}

void tst_zrv_meeting_data::statusPicture()
{
    QFETCH(QString, license);
    QFETCH(QString, mirror);
    QFETCH(QString, expected);
    ZRV_MeetingService_API::ZRVMeeting meeting;
    meeting.fromJson(QString(R"({"status":"ACTIVE","license":"%1"})").arg(license));
    ZRVMeetingInfo live;
    live.fromJson("{" + mirror + "}");
    QCOMPARE(ZRV_MeetingRows::statusPicture(meeting, live), ":/ZRV_ServerApp/" + expected);
}

namespace {

// What the service keeps of an asset beyond the file's keys, a placeholder
// with placement, the border id 22000 and one above the placeholder range.
const char *Meeting = R"({"meetingId":"m1","assets":[
 {"Id":3,"MeetingId":"m1","Name":"hall.fbx","Mode":2,"StgHost":"https://s3.example","StgBucket":"b",
  "StgRelPath":"u/hall.fbx","StgSize":77,"StgPreSgnPath":"https://s3.example/b/u/hall.fbx?sig","StgChecksum":"abc",
  "StgCredentials":{"AccessKey":"AK","SecretKey":"SK"}},
 {"Id":22001,"MeetingId":"m1","Name":"Agenda","Mode":3,"StgRelPath":"https://a.example/x","StgSize":0,
  "StgPreSgnPath":"https://a.example/x","Position":{"x":0,"y":1,"z":0}},
 {"Id":22000,"Name":"Edge","Mode":1,"StgRelPath":"u/edge.png"},
 {"Id":23005,"Name":"Far","Mode":3,"StgRelPath":"https://far.example"}],
 "assetBundles":[{"Id":"ab-7","UserId":"u1","Name":"Stage","Mode":1,"StgRelPath":"u/__ASSETBUNDLES/Stage"}],
 "spawnPoints":[{"Id":0,"Name":"Start"}]})";

} // namespace

void tst_zrv_meeting_data::document_data()
{
    QTest::addColumn<Parts>("parts");
    QTest::addColumn<QByteArray>("expected"); // byte for byte, or, on one line, as compact JSON

    QTest::newRow("spawn point whole, byte for byte") << Parts{false, false, false, true}
        << QByteArray("{\n    \"spawnpoints\": [\n        {\n            \"Id\": 0,\n            \"Name\": \"Start\"\n        }\n    ]\n}\n");
    QTest::newRow("bundle reduced; no storage address or credential, 22000 an asset, above 23000 a placeholder")
        << Parts{true, true, true, false}
        << QByteArray(R"({"assetbundles":[{"Id":"ab-7","Mode":1,"Name":"Stage"}],)"
                      R"("assets":[{"Id":3,"Mode":2,"Name":"hall.fbx","StgRelPath":"u/hall.fbx"},)"
                      R"({"Id":22000,"Mode":1,"Name":"Edge","StgRelPath":"u/edge.png"}],)"
                      R"("urls":[{"Id":22001,"Mode":3,"Name":"Agenda","StgRelPath":"https://a.example/x"},)"
                      R"({"Id":23005,"Mode":3,"Name":"Far","StgRelPath":"https://far.example"}]})");
}

void tst_zrv_meeting_data::document()
{
    QFETCH(Parts, parts);
    QFETCH(QByteArray, expected);
    const QByteArray written = ZRV_ExportFile::document(ZRVMeetingInfo(QString::fromUtf8(Meeting)), parts);
    if (expected.contains('\n'))
        QCOMPARE(written, expected);
    else
        QCOMPARE(QJsonDocument::fromJson(written).toJson(QJsonDocument::Compact), expected);
}

QTEST_GUILESS_MAIN(tst_zrv_meeting_data)
#include "tst_zrv_meeting_data.moc"
