#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include <functional>

#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVAuth.h"
#include "ZRVError.h"
#include "ZRVMeeting.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMeetingCommandResponse.h"
#include "ZRVUser.h"
#include "ZRVUserGroups.h"
#include "ZRVVersions.h"

namespace Auth = ZRV_AuthService_API;
namespace Meet = ZRV_MeetingService_API;
namespace Svc = ZRV_Service_API;

class tst_ZrvRecords : public QObject {
    Q_OBJECT

private slots:
    void roundTrip_data();
    void roundTrip();
    void flagsAfterOddInput();
    void isValid_data();
    void isValid();
    void setterAndCopy();
    void nestedGroups();
    void meetingMetaType();
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
        {"ZRVUserGroups", through<Auth::ZRVUserGroups>()},
        {"ZRVMeeting", through<Meet::ZRVMeeting>()},
        {"ZRVAsset", through<Svc::ZRVAsset>()},
        {"ZRVAssetBundle", through<Svc::ZRVAssetBundle>()},
        {"ZRVMeetingInfo", through<Svc::ZRVMeetingInfo>()},
        {"ZRVMeetingCommandResponse", through<Svc::ZRVMeetingCommandResponse>()},
        {"ZRVVersions", through<Svc::ZRVVersions>()},
    };
    return all;
}

QJsonObject obj(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

} // namespace

// A record read from a reply writes back exactly what it could read.
void tst_ZrvRecords::roundTrip_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("output");

    const QString token = R"({"access_token":"a","expires_in":300,"refresh_expires_in":1800,
        "refresh_token":"r","token_type":"Bearer","not-before-policy":0,"session_state":"s","scope":"email"})";
    QTest::newRow("hyphenated key kept both ways") << "ZRVAuth" << token << token;
    QTest::newRow("unknown keys dropped") << "ZRVUser" << R"({"id":"1","extra":5})" << R"({"id":"1"})";
    QTest::newRow("roles empty array left out") << "ZRVUser" << R"({"roles":[]})" << "{}";
    QTest::newRow("roles kept") << "ZRVUser" << R"({"roles":["admin","presenter"]})"
                                << R"({"roles":["admin","presenter"]})";
    QTest::newRow("created not ISO left out") << "ZRVUser" << R"({"id":"1","created":"03/04/2024"})"
                                              << R"({"id":"1"})";
    QTest::newRow("created ISO kept") << "ZRVUser" << R"({"created":"2024-04-03"})"
                                      << R"({"created":"2024-04-03"})";
    QTest::newRow("null field left out") << "ZRVUser" << R"({"email":null,"phone":"1"})"
                                         << R"({"phone":"1"})";
    QTest::newRow("number in text field becomes text") << "ZRVAsset" << R"({"Name":1234567})"
                                                       << R"({"Name":"1.23457e+06"})";
    QTest::newRow("nested position only x") << "ZRVAsset" << R"({"Id":3,"Position":{"x":1.5}})"
                                            << R"({"Id":3,"Position":{"x":1.5}})";
    QTest::newRow("nested position with nothing readable left out")
        << "ZRVAsset" << R"({"Id":3,"Position":{"x":"1"},"Scale":{}})" << R"({"Id":3})";
    QTest::newRow("float narrowed then widened") << "ZRVAsset" << R"({"Rotation":{"y":0.1}})"
                                                 << R"({"Rotation":{"y":0.10000000149011612}})";
    QTest::newRow("string Id of asset reads as 0") << "ZRVAsset" << R"({"Id":"17"})" << R"({"Id":0})";
    QTest::newRow("size above 32 bits exact") << "ZRVAsset" << R"({"StgSize":8589934593})"
                                              << R"({"StgSize":8589934593})";
    QTest::newRow("string Id of bundle stays text") << "ZRVAssetBundle" << R"({"Id":"17","StgSize":[1,2]})"
                                                    << R"({"Id":"17","StgSize":[1,2]})";
    QTest::newRow("voiceEnabled as string not written")
        << "ZRVMeetingInfo" << R"({"clients":[{"Id":1,"voiceEnabled":"true","voiceIsTalking":false}]})"
        << R"({"clients":[{"Id":1,"voiceIsTalking":false}]})";
    QTest::newRow("list given as object left out") << "ZRVMeetingInfo" << R"({"meetingId":"m","assets":{"Id":1}})"
                                                   << R"({"meetingId":"m"})";
    QTest::newRow("empty clients written as absent") << "ZRVMeetingInfo" << R"({"clients":[],"chatMode":1})"
                                                     << R"({"chatMode":1})";
    QTest::newRow("bad list element keeps its place")
        << "ZRVMeetingCommandResponse" << R"({"vList":[{"x":1},5,{"z":2}]})"
        << R"({"vList":[{"x":1},{},{"z":2}]})";
    QTest::newRow("version element string is 0")
        << "ZRVVersions" << R"({"Console":{"Name":"c","Version":[1,"2",3]},"iOS":{"UpdateUrl":"u"}})"
        << R"({"Console":{"Name":"c","Version":[1,0,3]},"iOS":{"UpdateUrl":"u"}})";
    QTest::newRow("meeting presenter absent") << "ZRVMeeting" << R"({"id":5000000000,"audioMode3D":1})"
                                              << R"({"id":5000000000,"audioMode3D":1})";
    QTest::newRow("meeting presenter partial") << "ZRVMeeting" << R"({"presenter":{"email":"p@x"}})"
                                               << R"({"presenter":{"email":"p@x"}})";
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

    const Svc::ZRVMeetingInfo info(R"({"clients":[],"assets":{"Id":1},
        "spawnPoints":[{"Id":2,"Position":{"x":1}}]})");
    QVERIFY(info.is_clients_Set());
    QVERIFY(!info.is_assets_Valid());
    QVERIFY(!info.is_assets_Set());
    QVERIFY(info.getAssets().isEmpty());
    QCOMPARE(info.getSpawnPoints().size(), 1);
    QCOMPARE(info.getSpawnPoints().at(0).getPosition().getX(), 1.0f);
    QVERIFY(!info.getSpawnPoints().at(0).getPosition().is_y_Set());

    const Svc::ZRVAsset asset(R"({"Id":"17","Mode":true})");
    QVERIFY(asset.is_id_Set() && asset.is_id_Valid());
    QCOMPARE(asset.getId(), 0);
    QCOMPARE(asset.getMode(), 0);
    QVERIFY(!asset.getPosition().isSet());

    const Svc::ZRVVersions versions(R"({"Console":{"Version":[1,"x"]}})");
    QVERIFY(versions.getConsole().is_version_Valid());
    QCOMPARE(versions.getConsole().getVersion(), (QList<int>{1, 0}));
    QVERIFY(!versions.getIOS().isSet());

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

    QTest::newRow("token complete") << "ZRVAuth" << R"({"access_token":"a","expires_in":300,
        "refresh_expires_in":1800,"refresh_token":"r","token_type":"Bearer","not-before-policy":0,
        "session_state":"s","scope":"email"})" << true;
    QTest::newRow("token without scope") << "ZRVAuth" << R"({"access_token":"a","expires_in":300,
        "refresh_expires_in":1800,"refresh_token":"r","token_type":"Bearer","not-before-policy":0,
        "session_state":"s"})" << false;
    QTest::newRow("token with null scope") << "ZRVAuth" << R"({"access_token":"a","expires_in":300,
        "refresh_expires_in":1800,"refresh_token":"r","token_type":"Bearer","not-before-policy":0,
        "session_state":"s","scope":null})" << false;
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
    if (record == "ZRVAuth")
        QCOMPARE(Auth::ZRVAuth(input).isValid(), valid);
    else if (record == "ZRVError")
        QCOMPARE(Auth::ZRVError(input).isValid(), valid);
    else
        QCOMPARE(Auth::ZRVUser(input).isValid(), valid);
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

void tst_ZrvRecords::meetingMetaType()
{
    QCOMPARE(QMetaType::typeName(qMetaTypeId<Meet::ZRVMeeting>()),
             "ZRV_MeetingService_API::ZRVMeeting");
    Meet::ZRVMeeting meeting;
    meeting.setTitle(QStringLiteral("t"));
    const QVariant held = QVariant::fromValue(meeting);
    QCOMPARE(held.value<Meet::ZRVMeeting>().getTitle(), QStringLiteral("t"));
}

QTEST_GUILESS_MAIN(tst_ZrvRecords)
#include "tst_zrv_records.moc"
