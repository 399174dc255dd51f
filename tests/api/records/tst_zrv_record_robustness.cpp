#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include <typeinfo>

#include "ZRVAuth.h"
#include "ZRVError.h"
#include "ZRVGroupMembers.h"
#include "ZRVUser.h"
#include "ZRVUserGroup.h"
#include "ZRVUserGroupAttribute.h"
#include "ZRVUserGroups.h"

#include "ZRVMeeting.h"
#include "ZRVPresenter.h"

#include "ZRVAsset.h"
#include "ZRVAssetBundle.h"
#include "ZRVBanlistEntry.h"
#include "ZRVDefCredentials.h"
#include "ZRVDefVector3.h"
#include "ZRVMeetingCommand.h"
#include "ZRVMeetingCommandResponse.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMirrorClientInfo.h"
#include "ZRVMirrorServerInfo.h"
#include "ZRVS3TempAccessKey.h"
#include "ZRVSpawnPoint.h"
#include "ZRVVersion.h"
#include "ZRVVersions.h"

// Every record and list parser of the three namespaces is fed hostile text: what a record
// makes of it, it must read back as the same, and the sanitizers turn any memory or UB
// fault into a failure.
class tst_ZrvRecordRobustness : public QObject {
    Q_OBJECT

private slots:
    void hostileInput_data();
    void hostileInput();
};

namespace {

// Every key the three services use, so that each field meets each wrong type.
const char *const allKeys =
    "access_token expires_in refresh_expires_in refresh_token token_type not-before-policy "
    "session_state scope id userId company firstName lastName email phone status roles created "
    "key value name attributes subGroups groups groupId members code message source file func line "
    "meetingId title password description creatorId creator modified license audioMode audioMode3D "
    "chatMode presenter User Pass x y z Id MeetingId Name Mode StgHost StgBucket StgRelPath StgSize "
    "StgPreSgnPath StgChecksum StgCredentials Position Rotation Scale UserId UserName StgChecksums "
    "Alias currentRole IP HostName voiceEnabled voiceIsTalking Credentials PlayerId statusMirror "
    "endingTime licenseMode licenseCountAttendees voiceMode voiceMode3D clients assets assetBundles "
    "spawnPoints Filename Checksum command params sList vList AccessKeyId SecretAccessKey "
    "SessionToken AssumedRoleId Arn Expiration Bucket Endpoint Version UpdateUrl Console "
    "WindowsDesktop WindowsVR Android iOS serverId mirrorServerHost mirrorServerPort";

QByteArray everyKeyAs(const QJsonValue &value)
{
    QJsonObject object;
    for (const QString &key : QString::fromLatin1(allKeys).split(' ', Qt::SkipEmptyParts))
        object.insert(key, value);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// All the ways a client reads a record or a list of them. What comes out, written and read
// again, gives the same output: a field that writes what it cannot read back, or that a
// reader leaves half-set, shows here. Returns the first difference, or nothing.
template <typename R>
QString exercise(const QByteArray &bytes)
{
    const QString name = QString::fromLatin1(typeid(R).name());
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    const R fromText(QString::fromUtf8(bytes));
    R fromObject;
    fromObject.fromJsonObject(doc.object());
    const R objectAgain(fromObject.asJson());
    if (objectAgain.asJsonObject() != fromObject.asJsonObject())
        return name + QStringLiteral(": wrote %1, read back %2").arg(fromObject.asJson(), objectAgain.asJson());
    const R again(fromText.asJson());
    if (again.asJsonObject() != fromText.asJsonObject())
        return name + QStringLiteral(": wrote %1, read back %2").arg(fromText.asJson(), again.asJson());
    if (again.isSet() != fromText.isSet())
        return name + QStringLiteral(": isSet changed on reading back");
    QList<R> list;
    fromJsonValue(list, QJsonValue(doc.array()));
    QList<R> listAgain;
    fromJsonValue(listAgain, toJsonValue(list));
    if (toJsonValue(listAgain) != toJsonValue(list))
        return name + QStringLiteral(": list read back differs");
    return QString();
}

template <typename... Records>
QString exerciseAll(const QByteArray &bytes)
{
    QString first;
    ((first = first.isEmpty() ? exercise<Records>(bytes) : first), ...);
    return first;
}

} // namespace

void tst_ZrvRecordRobustness::hostileInput_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not JSON") << QByteArray("<html>502 Bad Gateway</html>");
    QTest::newRow("open brace") << QByteArray("{");
    QTest::newRow("truncated record") << QByteArray(R"({"Id":3,"Position":{"x":1.5,"y":)");
    QTest::newRow("truncated list") << QByteArray(R"([{"meetingId":"a"},{"meetingId":)");
    QTest::newRow("zero byte inside") << QByteArray("{\"Name\":\"a\0b\"}", 14);
    QTest::newRow("invalid UTF-8") << QByteArray("{\"Name\":\"\xff\xfe\xc3\"}");
    QTest::newRow("root scalar") << QByteArray("42");
    QTest::newRow("array of scalars") << QByteArray(R"([1,"a",null,true,[]])");
    QTest::newRow("deep arrays") << (QByteArray(3000, '[') + QByteArray(3000, ']'));
    QByteArray deepObject;
    for (int i = 0; i < 2000; ++i)
        deepObject += "{\"Position\":";
    deepObject += "1" + QByteArray(2000, '}');
    QTest::newRow("deep objects") << deepObject;
    QTest::newRow("every key null") << everyKeyAs(QJsonValue::Null);
    QTest::newRow("every key true") << everyKeyAs(true);
    // Large, yet finite as a float too: JSON has no infinity to write back.
    QTest::newRow("every key huge number") << everyKeyAs(1e30);
    QTest::newRow("every key negative fraction") << everyKeyAs(-2.5);
    QTest::newRow("every key text") << everyKeyAs(QStringLiteral("2024-13-45"));
    QTest::newRow("every key an ISO date") << everyKeyAs(QStringLiteral("2024-02-29"));
    QTest::newRow("every key empty object") << everyKeyAs(QJsonObject());
    QTest::newRow("every key mixed array")
        << everyKeyAs(QJsonArray{1, "a", QJsonValue::Null, QJsonObject{{"x", "y"}}, QJsonArray{}});
    QTest::newRow("every key nested object")
        << everyKeyAs(QJsonObject{{"x", QJsonArray{}}, {"subGroups", QJsonObject{}}, {"Version", "1"}});
    QTest::newRow("list of hostile objects")
        << ("[" + everyKeyAs(QJsonArray{QJsonObject{}}) + "," + everyKeyAs(7) + "]");
}

void tst_ZrvRecordRobustness::hostileInput()
{
    QFETCH(QByteArray, bytes);
    using namespace ZRV_AuthService_API;
    const QString auth = exerciseAll<ZRVAuth, ZRVUser, ZRVUserGroupAttribute, ZRVUserGroup,
                                     ZRVUserGroups, ZRVGroupMembers, ZRVError>(bytes);
    QVERIFY2(auth.isEmpty(), qPrintable(auth));
    const QString meeting = exerciseAll<ZRV_MeetingService_API::ZRVMeeting,
                                        ZRV_MeetingService_API::ZRVPresenter>(bytes);
    QVERIFY2(meeting.isEmpty(), qPrintable(meeting));
    using namespace ZRV_Service_API;
    const QString service =
        exerciseAll<ZRVDefCredentials, ZRVDefVector3, ZRVAsset, ZRVAssetBundle,
                    ZRVMirrorClientInfo, ZRVSpawnPoint, ZRVMeetingInfo, ZRVBanlistEntry,
                    ZRVMeetingCommand, ZRVMeetingCommandResponse, ZRVS3TempAccessKey, ZRVVersion,
                    ZRVVersions, ZRVMirrorServerInfo>(bytes);
    QVERIFY2(service.isEmpty(), qPrintable(service));
}

QTEST_GUILESS_MAIN(tst_ZrvRecordRobustness)
#include "tst_zrv_record_robustness.moc"
