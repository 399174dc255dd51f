#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include <functional>

#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVAuth.h"
#include "ZRVBanlistEntry.h"
#include "ZRVError.h"
#include "ZRVGroupMembers.h"
#include "ZRVMeeting.h"
#include "ZRVMeetingCommand.h"
#include "ZRVMeetingCommandResponse.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMirrorServerInfo.h"
#include "ZRVS3TempAccessKey.h"
#include "ZRVUser.h"
#include "ZRVUserGroups.h"
#include "ZRVVersions.h"

namespace Auth = ZRV_AuthService_API;
namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

class tst_ZrvRecords : public QObject {
    Q_OBJECT

private slots:
    void everyKeyByValue_data();
    void everyKeyByValue();
    void roundTrip_data();
    void roundTrip();
    void flagsAfterOddInput();
    void isValid_data();
    void isValid();
    void setterAndCopy();
    void nestedGroups();
};

namespace {

using Writer = std::function<QJsonObject(const QString &)>;

template <typename R>
Writer through()
{
    return [](const QString &text) { return R(text).asJsonObject(); };
}

const QHash<QString, Writer> &writers()
{
    static const QHash<QString, Writer> all{
        {"ZRVAuth", through<Auth::ZRVAuth>()},
        {"ZRVUser", through<Auth::ZRVUser>()},
        {"ZRVUserGroupAttribute", through<Auth::ZRVUserGroupAttribute>()},
        {"ZRVUserGroup", through<Auth::ZRVUserGroup>()},
        {"ZRVUserGroups", through<Auth::ZRVUserGroups>()},
        {"ZRVGroupMembers", through<Auth::ZRVGroupMembers>()},
        {"ZRVError", through<Auth::ZRVError>()},
        {"ZRVMeeting", through<Meet::ZRVMeeting>()},
        {"ZRVPresenter", through<Meet::ZRVPresenter>()},
        {"ZRVDefCredentials", through<Svc::ZRVDefCredentials>()},
        {"ZRVDefVector3", through<Svc::ZRVDefVector3>()},
        {"ZRVAsset", through<Svc::ZRVAsset>()},
        {"ZRVAssetBundle", through<Svc::ZRVAssetBundle>()},
        {"ZRVMirrorClientInfo", through<Svc::ZRVMirrorClientInfo>()},
        {"ZRVSpawnPoint", through<Svc::ZRVSpawnPoint>()},
        {"ZRVMeetingInfo", through<Svc::ZRVMeetingInfo>()},
        {"ZRVBanlistEntry", through<Svc::ZRVBanlistEntry>()},
        {"ZRVMeetingCommand", through<Svc::ZRVMeetingCommand>()},
        {"ZRVMeetingCommandResponse", through<Svc::ZRVMeetingCommandResponse>()},
        {"ZRVS3TempAccessKey", through<Svc::ZRVS3TempAccessKey>()},
        {"ZRVVersion", through<Svc::ZRVVersion>()},
        {"ZRVVersions", through<Svc::ZRVVersions>()},
        {"ZRVMirrorServerInfo", through<Svc::ZRVMirrorServerInfo>()},
    };
    return all;
}

QJsonObject obj(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

} // namespace

// Each record with every key of its wire table, values chosen so that a wrong key, a wrong
// field type (text for a number, int for a 64-bit size, ...) or a missing field changes
// what comes back.
void tst_ZrvRecords::everyKeyByValue_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("input");

    QTest::newRow("ZRVAuth") << "ZRVAuth" << R"({"access_token":"at","expires_in":8589934593,
        "refresh_expires_in":8589934594,"refresh_token":"rt","token_type":"Bearer","not-before-policy":7,
        "session_state":"ss","scope":"profile email"})";
    QTest::newRow("ZRVUser") << "ZRVUser" << R"({"id":"u1","userId":"presenter","company":"Brenvik",
        "firstName":"Petra","lastName":"Presenter","email":"p@x","phone":"+47","status":"active",
        "roles":["ZRV_Presenter","ZRV_User"],"created":"2025-03-01"})";
    QTest::newRow("ZRVUserGroupAttribute") << "ZRVUserGroupAttribute" << R"({"key":"Modus","value":["MINIO","S3"]})";
    QTest::newRow("ZRVUserGroup") << "ZRVUserGroup" << R"({"id":"g","name":"S3_Config_Minio",
        "attributes":[{"key":"k","value":["v"]}],"subGroups":[{"id":"s","name":"sub"}]})";
    QTest::newRow("ZRVUserGroups") << "ZRVUserGroups" << R"({"userId":"u","groups":[{"id":"g","name":"n"}]})";
    QTest::newRow("ZRVGroupMembers") << "ZRVGroupMembers" << R"({"groupId":"g","members":[{"id":"u1","userId":"x"}]})";
    QTest::newRow("ZRVError") << "ZRVError" << R"({"code":404,"message":"m","source":"s","file":"f.cpp","func":"fn","line":12})";
    QTest::newRow("ZRVMeeting") << "ZRVMeeting" << R"({"id":8589934593,"meetingId":"wdr7k2m4","title":"t",
        "password":"p","description":"d","creatorId":"c1","creator":"presenter","created":"2026-11-02",
        "modified":"2026-11-20","license":"endless","status":"active","audioMode":1,"audioMode3D":10,
        "chatMode":2,"presenter":{"name":"P","email":"e"}})";
    QTest::newRow("ZRVPresenter") << "ZRVPresenter" << R"({"name":"P","email":"e"})";
    QTest::newRow("ZRVDefCredentials") << "ZRVDefCredentials" << R"({"User":"u","Pass":"p"})";
    QTest::newRow("ZRVDefVector3") << "ZRVDefVector3" << R"({"x":0.5,"y":-2.25,"z":1024.75})";
    QTest::newRow("ZRVAsset") << "ZRVAsset" << R"({"Id":3,"MeetingId":"m","Name":"n","Mode":1,"StgHost":"h",
        "StgBucket":"b","StgRelPath":"r","StgSize":8589934593,"StgPreSgnPath":"ps","StgChecksum":"cs",
        "StgCredentials":{"User":"u","Pass":"p"},"Position":{"x":1.5},"Rotation":{"y":90},"Scale":{"z":2}})";
    QTest::newRow("ZRVAssetBundle") << "ZRVAssetBundle" << R"({"Id":"ab-1","UserId":"u","UserName":"un","Name":"n",
        "Mode":2,"StgRelPath":"r","StgSize":[8589934593,2],"StgPreSgnPath":["a","b"],"StgChecksums":["c","d"]})";
    QTest::newRow("ZRVMirrorClientInfo") << "ZRVMirrorClientInfo" << R"({"Id":4,"Alias":"a","currentRole":"Presenter",
        "MeetingId":"m","IP":167772161,"HostName":"h","voiceEnabled":true,"voiceIsTalking":false,
        "Credentials":{"User":"u"}})";
    QTest::newRow("ZRVSpawnPoint") << "ZRVSpawnPoint" << R"({"Id":0,"PlayerId":2,"MeetingId":"m","Name":"Start",
        "Position":{"x":1},"Rotation":{"y":2}})";
    QTest::newRow("ZRVMeetingInfo") << "ZRVMeetingInfo" << R"({"meetingId":"m","statusMirror":1,
        "endingTime":"Mon Nov 23 08:47:49 2026 GMT","licenseMode":1,"licenseCountAttendees":25,"voiceMode":1,
        "voiceMode3D":10,"chatMode":1,"clients":[{"Id":1}],"assets":[{"Id":2}],"assetBundles":[{"Id":"ab"}],
        "spawnPoints":[{"Id":0}]})";
    QTest::newRow("ZRVBanlistEntry") << "ZRVBanlistEntry" << R"({"Id":1,"Mode":3,"Filename":"f","Checksum":"c"})";
    QTest::newRow("ZRVMeetingCommand") << "ZRVMeetingCommand" << R"({"meetingId":"m","command":"KickPlayer","params":["1","2"]})";
    QTest::newRow("ZRVMeetingCommandResponse") << "ZRVMeetingCommandResponse" << R"({"command":"GetPlayerPos",
        "meetingId":"m","sList":["s"],"vList":[{"x":1},{"y":2}]})";
    QTest::newRow("ZRVS3TempAccessKey") << "ZRVS3TempAccessKey" << R"({"AccessKeyId":"a","SecretAccessKey":"s",
        "SessionToken":"t","AssumedRoleId":"AROA1:alice","Arn":"S3","Expiration":"Mon Nov 23 08:47:49 2026",
        "Bucket":"b","Endpoint":"e"})";
    QTest::newRow("ZRVVersion") << "ZRVVersion" << R"({"Name":"Console","Version":[1,2,3],"UpdateUrl":"u"})";
    QTest::newRow("ZRVVersions") << "ZRVVersions" << R"({"Console":{"Name":"c"},"WindowsDesktop":{"Name":"w"},
        "WindowsVR":{"Name":"v"},"Android":{"Name":"a"},"iOS":{"Name":"i"}})";
    QTest::newRow("ZRVMirrorServerInfo") << "ZRVMirrorServerInfo" << R"({"meetingId":"m","serverId":"s",
        "mirrorServerHost":"h","mirrorServerPort":7777,"currentRole":"r"})";
}

void tst_ZrvRecords::everyKeyByValue()
{
    QFETCH(QString, record);
    QFETCH(QString, input);
    QVERIFY2(writers().contains(record), qPrintable(record));
    QCOMPARE(writers().value(record)(input), obj(input));
}

// A record read from a reply writes back exactly what it could read.
void tst_ZrvRecords::roundTrip_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");

    QTest::newRow("unknown keys dropped") << "ZRVUser" << R"({"id":"1","extra":5})" << R"({"id":"1"})";
    QTest::newRow("roles empty array left out") << "ZRVUser" << R"({"roles":[]})" << "{}";
    QTest::newRow("created not ISO left out") << "ZRVUser" << R"({"id":"1","created":"03/04/2024"})"
                                              << R"({"id":"1"})";
    QTest::newRow("null field left out") << "ZRVUser" << R"({"email":null,"phone":"1"})"
                                         << R"({"phone":"1"})";
    QTest::newRow("nested position only x") << "ZRVAsset" << R"({"Id":3,"Position":{"x":1.5}})"
                                            << R"({"Id":3,"Position":{"x":1.5}})";
    QTest::newRow("nested position with nothing readable left out")
        << "ZRVAsset" << R"({"Id":3,"Position":{"x":"1"},"Scale":{}})" << R"({"Id":3})";
    QTest::newRow("float narrowed then widened") << "ZRVAsset" << R"({"Rotation":{"y":0.1}})"
                                                 << R"({"Rotation":{"y":0.10000000149011612}})";
    QTest::newRow("meeting presenter partial") << "ZRVMeeting" << R"({"presenter":{"email":"p@x"}})"
                                               << R"({"presenter":{"email":"p@x"}})";
    QTest::newRow("bad list element keeps its place, written empty")
        << "ZRVMeetingCommandResponse" << R"({"vList":[{"x":1},5,{"z":2}]})"
        << R"({"vList":[{"x":1},{},{"z":2}]})";
    QTest::newRow("root array gives empty record") << "ZRVMeeting" << R"([{"id":1}])" << "{}";
    QTest::newRow("text cut at first zero byte") << "ZRVMeeting" << QString::fromUtf8("{\"id\":1}\0garbage", 16)
                                                 << R"({"id":1})";
}

void tst_ZrvRecords::roundTrip()
{
    QFETCH(QString, record);
    QFETCH(QString, input);
    QFETCH(QString, output);
    QVERIFY2(writers().contains(record), qPrintable(record));
    QCOMPARE(writers().value(record)(input), obj(output));
}

void tst_ZrvRecords::flagsAfterOddInput()
{
    const Auth::ZRVUser missing(R"({"id":"1"})");
    QVERIFY(!missing.is_roles_Set());
    QVERIFY(!missing.is_roles_Valid());
    const Auth::ZRVUser empty(R"({"roles":[],"created":"yesterday"})");
    QVERIFY(empty.is_roles_Set());
    QVERIFY(empty.is_roles_Valid());
    QVERIFY(!empty.isSet());
    QVERIFY(!empty.is_created_Set());
    QVERIFY(!empty.getCreated().isValid());

    // A list given as one object: empty, not valid, and left out.
    const Svc::ZRVMeetingInfo info(R"({"meetingId":"m","assets":{"Id":1}})");
    QVERIFY(!info.is_assets_Valid());
    QVERIFY(!info.is_assets_Set());
    QVERIFY(info.getAssets().isEmpty());
    QCOMPARE(info.asJsonObject(), obj(R"({"meetingId":"m"})"));

    // A failed read keeps what the field held before.
    Svc::ZRVAsset kept;
    kept.setName(QStringLiteral("before"));
    kept.fromJsonObject(obj(R"({"Name":{"a":1}})"));
    QCOMPARE(kept.getName(), QStringLiteral("before"));
    QVERIFY(!kept.is_name_Set());
    QVERIFY(!kept.is_name_Valid());
}

void tst_ZrvRecords::isValid_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("input");
    QTest::addColumn<bool>("valid");

    const QString token = R"({"access_token":"a","expires_in":300,"refresh_expires_in":1800,"refresh_token":"r",)"
                          R"("token_type":"Bearer","not-before-policy":0,"session_state":"s")";
    QTest::newRow("token complete") << "ZRVAuth" << token + R"(,"scope":"email"})" << true;
    QTest::newRow("token without scope") << "ZRVAuth" << token + "}" << false;
    QTest::newRow("token with null scope") << "ZRVAuth" << token + R"(,"scope":null})" << false;
    QTest::newRow("token times as text still valid") << "ZRVAuth" << R"({"access_token":"a",
        "expires_in":"300","refresh_expires_in":"x","refresh_token":"r","token_type":"Bearer",
        "not-before-policy":"0","session_state":"s","scope":""})" << true;
    QTest::newRow("token empty body") << "ZRVAuth" << "" << false;
    QTest::newRow("error with required fields") << "ZRVError" << R"({"code":404,"message":"m","source":"s"})" << true;
    QTest::newRow("error without source") << "ZRVError" << R"({"code":404,"message":"m","file":"f","line":3})" << false;
    QTest::newRow("error code as object") << "ZRVError" << R"({"code":{},"message":"m","source":"s"})" << false;
    QTest::newRow("error empty") << "ZRVError" << "{}" << false;
    QTest::newRow("record without required fields always valid") << "ZRVUser" << "{}" << true;
}

void tst_ZrvRecords::isValid()
{
    QFETCH(QString, record);
    QFETCH(QString, input);
    QFETCH(bool, valid);
    QCOMPARE(record == "ZRVAuth"    ? Auth::ZRVAuth(input).isValid()
             : record == "ZRVError" ? Auth::ZRVError(input).isValid()
                                    : Auth::ZRVUser(input).isValid(),
             valid);
}

void tst_ZrvRecords::setterAndCopy()
{
    Svc::ZRVAsset asset;
    asset.setScale(Svc::ZRVDefVector3());
    asset.setStgCredentials(Svc::ZRVDefCredentials());
    QVERIFY(asset.is_scale_Set());
    QVERIFY(!asset.isSet()); // nested records count by their own isSet
    QCOMPARE(asset.asJsonObject(), QJsonObject());
    Svc::ZRVDefVector3 position;
    position.setX(2.0f);
    asset.setPosition(position);
    QVERIFY(asset.isSet());
    asset.setStgSize(7);
    QVERIFY(asset.is_stg_size_Set());
    QVERIFY(!asset.is_stg_size_Valid());

    Svc::ZRVAsset copy = asset;
    position.setX(9.0f);
    asset.setPosition(position);
    QCOMPARE(copy.getPosition().getX(), 2.0f);
    QCOMPARE(copy.asJsonObject(), obj(R"({"StgSize":7,"Position":{"x":2}})"));

    Auth::ZRVAuth token;
    token.setNotBeforePolicy(3);
    const QString text = token.asJson();
    QVERIFY(text.endsWith('\n'));
    QVERIFY(text.contains("\n    \"not-before-policy\": 3\n"));
}

void tst_ZrvRecords::nestedGroups()
{
    QString text = R"({"id":"leaf","attributes":[{"key":"k","value":["v1","v2"]}]})";
    for (int level = 0; level < 6; ++level)
        text = QStringLiteral(R"({"id":"g%1","subGroups":[%2]})").arg(level).arg(text);
    const Auth::ZRVUserGroups groups(QStringLiteral(R"({"userId":"u","groups":[%1]})").arg(text));

    Auth::ZRVUserGroup group = groups.getGroups().value(0);
    for (int level = 5; level >= 0; --level) {
        QCOMPARE(group.getId(), QStringLiteral("g%1").arg(level));
        QVERIFY(group.is_sub_groups_Valid());
        QCOMPARE(group.getSubGroups().size(), 1);
        group = group.getSubGroups().at(0);
    }
    QCOMPARE(group.getId(), QStringLiteral("leaf"));
    QCOMPARE(group.getAttributes().value(0).getValue(), (QList<QString>{"v1", "v2"}));
    QCOMPARE(groups.asJsonObject(), obj(QStringLiteral(R"({"userId":"u","groups":[%1]})").arg(text)));
}

QTEST_GUILESS_MAIN(tst_ZrvRecords)
#include "tst_zrv_records.moc"
