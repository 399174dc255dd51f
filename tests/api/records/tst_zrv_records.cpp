// The 23 records of the three namespaces: every wire key by value, what a reply of the wrong
// shape reads as, and hostile text that must read back as what it wrote.

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>

// The clients' headers bring in every record.
#include "ZRVAssetBundleApi.h"
#include "ZRVAuthApi.h"
#include "ZRVError.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingServiceApi.h"

namespace Auth = ZRV_AuthService_API;
namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

namespace {

// Each record with every key of its wire table, values chosen so that a wrong key, a wrong
// field type (text for a number, int for a 64-bit size, ...) or a missing field shows.
const char *const kEveryKey[][2] = {
    {"ZRVAuth", R"({"access_token":"at","expires_in":8589934593,"refresh_expires_in":8589934594,"refresh_token":"rt",
        "token_type":"Bearer","not-before-policy":7,"session_state":"ss","scope":"profile email"})"},
    {"ZRVUser", R"({"id":"u1","userId":"presenter","company":"Brenvik","firstName":"Petra","lastName":"Presenter",
        "email":"p@x","phone":"+47","status":"active","roles":["ZRV_Presenter","ZRV_User"],"created":"2025-03-01"})"},
    {"ZRVUserGroupAttribute", R"({"key":"Modus","value":["MINIO","S3"]})"},
    {"ZRVUserGroup", R"({"id":"g","name":"S3_Config_Minio","attributes":[{"key":"k","value":["v"]}],
        "subGroups":[{"id":"s","name":"sub"}]})"},
    {"ZRVUserGroups", R"({"userId":"u","groups":[{"id":"g","name":"n"}]})"},
    {"ZRVGroupMembers", R"({"groupId":"g","members":[{"id":"u1","userId":"x"}]})"},
    {"ZRVError", R"({"code":404,"message":"m","source":"s","file":"f.cpp","func":"fn","line":12})"},
    {"ZRVMeeting", R"({"id":8589934593,"meetingId":"wdr7k2m4","title":"t","password":"p","description":"d",
        "creatorId":"c1","creator":"presenter","created":"2026-11-02","modified":"2026-11-20","license":"endless",
        "status":"active","audioMode":1,"audioMode3D":10,"chatMode":2,"presenter":{"name":"P","email":"e"}})"},
    {"ZRVPresenter", R"({"name":"P","email":"e"})"},
    {"ZRVDefCredentials", R"({"User":"u","Pass":"p"})"},
    {"ZRVDefVector3", R"({"x":0.5,"y":-2.25,"z":1024.75})"},
    {"ZRVAsset", R"({"Id":3,"MeetingId":"m","Name":"n","Mode":1,"StgHost":"h","StgBucket":"b","StgRelPath":"r",
        "StgSize":8589934593,"StgPreSgnPath":"ps","StgChecksum":"cs","StgCredentials":{"User":"u","Pass":"p"},
        "Position":{"x":1.5},"Rotation":{"y":90},"Scale":{"z":2}})"},
    {"ZRVAssetBundle", R"({"Id":"ab-1","UserId":"u","UserName":"un","Name":"n","Mode":2,"StgRelPath":"r",
        "StgSize":[8589934593,2],"StgPreSgnPath":["a","b"],"StgChecksums":["c","d"]})"},
    {"ZRVMirrorClientInfo", R"({"Id":4,"Alias":"a","currentRole":"Presenter","MeetingId":"m","IP":167772161,
        "HostName":"h","voiceEnabled":true,"voiceIsTalking":false,"Credentials":{"User":"u"}})"},
    {"ZRVSpawnPoint", R"({"Id":0,"PlayerId":2,"MeetingId":"m","Name":"Start","Position":{"x":1},"Rotation":{"y":2}})"},
    {"ZRVMeetingInfo", R"({"meetingId":"m","statusMirror":1,"endingTime":"Mon Nov 23 08:47:49 2026 GMT",
        "licenseMode":1,"licenseCountAttendees":25,"voiceMode":1,"voiceMode3D":10,"chatMode":1,"clients":[{"Id":1}],
        "assets":[{"Id":2}],"assetBundles":[{"Id":"ab"}],"spawnPoints":[{"Id":0}]})"},
    {"ZRVBanlistEntry", R"({"Id":1,"Mode":3,"Filename":"f","Checksum":"c"})"},
    {"ZRVMeetingCommand", R"({"meetingId":"m","command":"KickPlayer","params":["1","2"]})"},
    {"ZRVMeetingCommandResponse", R"({"command":"GetPlayerPos","meetingId":"m","sList":["s"],
        "vList":[{"x":1},{"y":2}]})"},
    {"ZRVS3TempAccessKey", R"({"AccessKeyId":"a","SecretAccessKey":"s","SessionToken":"t",
        "AssumedRoleId":"AROA1:alice","Arn":"S3","Expiration":"Mon Nov 23 08:47:49 2026","Bucket":"b","Endpoint":"e"})"},
    {"ZRVVersion", R"({"Name":"Console","Version":[1,2,3],"UpdateUrl":"u"})"},
    {"ZRVVersions", R"({"Console":{"Name":"c"},"WindowsDesktop":{"Name":"w"},"WindowsVR":{"Name":"v"},
        "Android":{"Name":"a"},"iOS":{"Name":"i"}})"},
    {"ZRVMirrorServerInfo", R"({"meetingId":"m","serverId":"s","mirrorServerHost":"h","mirrorServerPort":7777,
        "currentRole":"r"})"},
};

// Both ways a client reads: a record from reply text, a list element by element. What comes
// out, written and read again, gives the same: a field that writes what it cannot read back,
// or that a reader leaves half-set, shows here. Returns the first difference, or nothing.
template <typename R>
QString exercise(const QByteArray &bytes)
{
    const R read(QString::fromUtf8(bytes)), again(read.asJson());
    if (again.asJsonObject() != read.asJsonObject() || again.isSet() != read.isSet())
        return QStringLiteral("wrote %1, read back %2").arg(read.asJson(), again.asJson());
    QList<R> list, listAgain;
    fromJsonValue(list, QJsonValue(QJsonDocument::fromJson(bytes).array()));
    fromJsonValue(listAgain, toJsonValue(list));
    return toJsonValue(listAgain) == toJsonValue(list) ? QString() : QStringLiteral("list read back differs");
}

struct Kind {
    QJsonObject (*readWrite)(const QString &);
    QString (*hostile)(const QByteArray &);
};
template <typename R>
Kind kind()
{
    return {[](const QString &text) { return R(text).asJsonObject(); }, exercise<R>};
}
#define KIND(ns, R) {#R, kind<ns::R>()}

const QMap<QString, Kind> &kinds()
{
    static const QMap<QString, Kind> all{
        KIND(Auth, ZRVAuth), KIND(Auth, ZRVUser), KIND(Auth, ZRVUserGroupAttribute), KIND(Auth, ZRVUserGroup),
        KIND(Auth, ZRVUserGroups), KIND(Auth, ZRVGroupMembers), KIND(Auth, ZRVError), KIND(Meet, ZRVMeeting),
        KIND(Meet, ZRVPresenter), KIND(Svc, ZRVDefCredentials), KIND(Svc, ZRVDefVector3), KIND(Svc, ZRVAsset),
        KIND(Svc, ZRVAssetBundle), KIND(Svc, ZRVMirrorClientInfo), KIND(Svc, ZRVSpawnPoint),
        KIND(Svc, ZRVMeetingInfo), KIND(Svc, ZRVBanlistEntry), KIND(Svc, ZRVMeetingCommand),
        KIND(Svc, ZRVMeetingCommandResponse), KIND(Svc, ZRVS3TempAccessKey), KIND(Svc, ZRVVersion),
        KIND(Svc, ZRVVersions), KIND(Svc, ZRVMirrorServerInfo)};
    return all;
}

// Every key the three services use, so that each field meets each wrong type.
QByteArray everyKeyAs(const QJsonValue &value)
{
    QJsonObject object;
    for (const auto &row : kEveryKey) {
        auto keys = QRegularExpression("\"([^\"]+)\":").globalMatch(row[1]);
        while (keys.hasNext())
            object.insert(keys.next().captured(1), value);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

class tst_ZrvRecords : public QObject {
    Q_OBJECT

private slots:
    void everyKeyByValue_data();
    void everyKeyByValue();
    void readBack_data();
    void readBack();
    void hostileInput_data();
    void hostileInput();
};

void tst_ZrvRecords::everyKeyByValue_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");
    QCOMPARE(int(std::size(kEveryKey)), kinds().size());
    for (const auto &row : kEveryKey)
        QTest::newRow(row[0]) << row[0] << QByteArray(row[1]) << QByteArray(row[1]);
}

void tst_ZrvRecords::everyKeyByValue()
{
    QFETCH(QString, record);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, output);
    QVERIFY2(kinds().contains(record), qPrintable(record));
    QCOMPARE(kinds().value(record).readWrite(QString::fromUtf8(input)), QJsonDocument::fromJson(output).object());
}

// A record read from a reply writes back exactly what it could read, by the conversion rules
// of its field types.
void tst_ZrvRecords::readBack_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");
    const auto row = [](const char *name, const char *record, const char *in, const char *out) {
        QTest::newRow(name) << record << QByteArray(in) << QByteArray(out);
    };
    row("unknown keys dropped", "ZRVUser", R"({"id":"1","extra":5})", R"({"id":"1"})");
    row("null field left out", "ZRVUser", R"({"email":null,"phone":"1"})", R"({"phone":"1"})");
    row("empty list left out", "ZRVUser", R"({"roles":[]})", "{}");
    row("text list takes other elements as text, null as empty", "ZRVUser", R"({"roles":["a",1,null,"b"]})",
        R"({"roles":["a","1","","b"]})");
    row("date: no such day left out", "ZRVMeeting", R"({"created":"2023-02-29"})", "{}");
    row("int from digit text is 0", "ZRVMeeting", R"({"audioMode":"12"})", R"({"audioMode":0})");
    row("64-bit from digit text", "ZRVMeeting", R"({"id":"12"})", R"({"id":12})");
    row("int list null element keeps its place", "ZRVVersion", R"({"Version":[null,4]})", R"({"Version":[0,4]})");
    row("float narrowed then widened", "ZRVDefVector3", R"({"y":0.1})", R"({"y":0.10000000149011612})");
    row("bool from 1 refused", "ZRVMirrorClientInfo", R"({"voiceEnabled":1})", "{}");
    row("nested record with nothing readable left out", "ZRVAsset", R"({"Id":3,"Position":{"x":"1"},"Scale":{}})",
        R"({"Id":3})");
    row("list given as one object left out", "ZRVMeetingInfo", R"({"meetingId":"m","assets":{"Id":1}})",
        R"({"meetingId":"m"})");
    row("bad list element keeps its place, written empty", "ZRVMeetingCommandResponse",
        R"({"vList":[{"x":1},5,{"z":2}]})", R"({"vList":[{"x":1},{},{"z":2}]})");
    row("root array gives empty record", "ZRVMeeting", R"([{"id":1}])", "{}");
    QTest::newRow("text cut at first zero byte") << "ZRVMeeting" << QByteArray("{\"id\":1}\0garbage", 16)
                                                 << QByteArray(R"({"id":1})");
}

void tst_ZrvRecords::readBack()
{
    everyKeyByValue(); // same columns, same check
}

void tst_ZrvRecords::hostileInput_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("<html>502 Bad Gateway</html>");
    QTest::newRow("cut short") << QByteArray(R"([{"meetingId":"a"},{"meetingId":)");
    QTest::newRow("zero byte inside") << QByteArray("{\"Name\":\"a\0b\"}", 14);
    QTest::newRow("invalid UTF-8") << QByteArray("{\"Name\":\"\xff\xfe\xc3\"}");
    QTest::newRow("deep arrays") << (QByteArray(3000, '[') + QByteArray(3000, ']'));
    QTest::newRow("deep objects") << (QByteArray("{\"Position\":").repeated(2000) + "1" + QByteArray(2000, '}'));
    QTest::newRow("every key null") << everyKeyAs(QJsonValue::Null);
    QTest::newRow("every key true") << everyKeyAs(true);
    // Large, yet finite as a float too: JSON has no infinity to write back.
    QTest::newRow("every key huge number") << everyKeyAs(1e30);
    QTest::newRow("every key mixed array")
        << everyKeyAs(QJsonArray{1, "a", QJsonValue::Null, QJsonObject{{"x", "y"}}, QJsonArray{}});
    QTest::newRow("list of hostile objects") << ("[" + everyKeyAs(QJsonArray{QJsonObject{}}) + "," + everyKeyAs(7) + "]");
}

// The sanitizers turn any memory or UB fault on the way into a failure too.
void tst_ZrvRecords::hostileInput()
{
    QFETCH(QByteArray, bytes);
    for (auto it = kinds().begin(); it != kinds().end(); ++it) {
        const QString fault = it->hostile(bytes);
        QVERIFY2(fault.isEmpty(), qPrintable(it.key() + ": " + fault));
    }
}

QTEST_GUILESS_MAIN(tst_ZrvRecords)
#include "tst_zrv_records.moc"
