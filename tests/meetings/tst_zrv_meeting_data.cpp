// What a meeting row shows of the live record (time left at its rounding edges,
// which status picture wins), and the .zrm document from records and back.
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
    void readAndApply_data();
    void readAndApply();
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
    QTest::newRow("the present shows nothing") << ahead(0) << "";
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
    QTest::newRow("endless, mirror left out") << "endless" << "" << "blue.svg";
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

void tst_zrv_meeting_data::readAndApply_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("readable");
    // Each post as "Id Mode Name StgRelPath StgSize scale position rotation".
    QTest::addColumn<QStringList>("posts");
    // Then onto a live record with bundle "ab-live" and points 2, 0, 1:
    QTest::addColumn<bool>("changed");
    QTest::addColumn<QString>("bundles");
    QTest::addColumn<QString>("points");

    const QString untouched = "2 Two live,0 Start live,1 One live";
    QTest::newRow("a file cut short: nothing posted") << QByteArray(R"({"assets":[{"Id":4,"Name":"a"}])") << false
        << QStringList() << false << "" << "";
    QTest::newRow("asset gets id 0 and size 0, keeps path and placement, changes no configuration")
        << QByteArray(R"({"assets":[{"Id":5,"Mode":1,"Name":"a.fbx","StgRelPath":"u/a.fbx","StgSize":99,
                          "Position":{"x":1,"y":2,"z":3},"Rotation":{"x":0,"y":45,"z":0},"Scale":{"x":2,"y":2,"z":2}}]})") << true
        << QStringList{"0 1 a.fbx u/a.fbx 0 2,2,2 1,2,3 0,45,0"} << false << "ab-live" << untouched;
    QTest::newRow("assets from 22000 on are dropped, wrong types post as id 0")
        << QByteArray(R"({"assets":[{"Id":22000,"Name":"x"},{"Id":22500},7,"text",{"Id":21999,"Name":"last"}]})") << true
        << QStringList{"0 0   0 0,0,0 0,0,0 0,0,0", "0 0   0 0,0,0 0,0,0 0,0,0", "0 0 last  0 0,0,0 0,0,0 0,0,0"}
        << false << "ab-live" << untouched;
    QTest::newRow("placeholders 22000 to 23000 keep their id, placement reset")
        << QByteArray(R"({"urls":[{"Id":21999},{"Id":22000,"Mode":3,"Name":"A","StgRelPath":"https://a","StgSize":5,
                          "Scale":{"x":9,"y":9,"z":9},"Position":{"x":4,"y":4,"z":4}},{"Id":23000,"Mode":3},{"Id":23001},5]})") << true
        << QStringList{"22000 3 A https://a 0 1,1,1 0,0,0 0,0,0", "23000 3   0 1,1,1 0,0,0 0,0,0"} << false << "ab-live" << untouched;
    QTest::newRow("keys in any case, in sorted order, other keys and non-arrays passed over")
        << QByteArray(R"({"URLS":[{"Id":22002}],"Assets":[{"Name":"b"}],"meeting":{"assets":[{"Name":"c"}]},
                          "spawnpoints":{"Id":1},"assetbundles":"none","version":2})") << true
        << QStringList{"0 0 b  0 0,0,0 0,0,0 0,0,0", "22002 0   0 1,1,1 0,0,0 0,0,0"} << false << "ab-live" << untouched;
    QTest::newRow("spawn points merged by Id, the file wins, ascending")
        << QByteArray(R"({"SpawnPoints":[{"Id":9,"Name":"Nine"},{"Id":1,"Name":"File one","MeetingId":"other"}]})") << true
        << QStringList() << true << "ab-live" << "0 Start live,1 File one other,2 Two live,9 Nine ";
    QTest::newRow("a point without Id replaces the default one") << QByteArray(R"({"spawnpoints":[{"Name":"Entry"}]})")
        << true << QStringList() << true << "ab-live" << "0 Entry ,1 One live,2 Two live";
    QTest::newRow("bundles replaced whole") << QByteArray(R"({"assetbundles":[{"Id":"ab-1"},{"Id":"ab-2"}]})") << true
        << QStringList() << true << "ab-1,ab-2" << untouched;
}

void tst_zrv_meeting_data::readAndApply()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, readable);
    QFETCH(QStringList, posts);
    QFETCH(bool, changed);
    QFETCH(QString, bundles);
    QFETCH(QString, points);

    ZRV_ExportFile::Import import;
    QCOMPARE(ZRV_ExportFile::read(bytes, &import), readable);
    const auto v = [](const ZRVDefVector3 &d) { return QString("%1,%2,%3").arg(d.getX()).arg(d.getY()).arg(d.getZ()); };
    QStringList got;
    for (const ZRVAsset &a : import.posts)
        got << QString("%1 %2 %3 %4 %5 %6 %7 %8").arg(a.getId()).arg(a.getMode()).arg(a.getName(), a.getStgRelPath())
                   .arg(a.getStgSize()).arg(v(a.getScale()), v(a.getPosition()), v(a.getRotation()));
    QCOMPARE(got, posts);
    if (!readable)
        return;

    ZRVMeetingInfo live(R"({"meetingId":"live","assetBundles":[{"Id":"ab-live"}],"spawnPoints":[
        {"Id":2,"Name":"Two","MeetingId":"live"},{"Id":0,"Name":"Start","MeetingId":"live"},
        {"Id":1,"Name":"One","MeetingId":"live"}]})");
    QCOMPARE(ZRV_ExportFile::apply(import, &live), changed);
    QStringList texts;
    for (const ZRVAssetBundle &b : live.getAssetBundles())
        texts << b.getId();
    QCOMPARE(texts.join(','), bundles);
    texts.clear();
    for (const ZRVSpawnPoint &p : live.getSpawnPoints())
        texts << QString("%1 %2 %3").arg(p.getId()).arg(p.getName(), p.getMeetingId());
    QCOMPARE(texts.join(','), points);
}

QTEST_GUILESS_MAIN(tst_zrv_meeting_data)
#include "tst_zrv_meeting_data.moc"
