#include "SimLiveRecordCheck.h"

#include <QJsonArray>

#include <initializer_list>

namespace {

enum class Kind { Number, Text, Bool, Object, List };

struct Field;
using Schema = std::initializer_list<Field>;

struct Field
{
    const char *key;
    Kind kind;
    // The shape of a nested object, or of each element of a list of objects.
    const Schema *nested = nullptr;
    // The type of each element of a list.
    Kind element = Kind::Object;
};

const Schema vector3 = {{"x", Kind::Number}, {"y", Kind::Number}, {"z", Kind::Number}};
const Schema credentials = {{"User", Kind::Text}, {"Pass", Kind::Text}};
const Schema client = {
    {"Id", Kind::Number}, {"Alias", Kind::Text}, {"currentRole", Kind::Text}, {"MeetingId", Kind::Text},
    {"IP", Kind::Number}, {"HostName", Kind::Text}, {"voiceEnabled", Kind::Bool}, {"voiceIsTalking", Kind::Bool},
    {"Credentials", Kind::Object, &credentials},
};
const Schema asset = {
    {"Id", Kind::Number}, {"MeetingId", Kind::Text}, {"Name", Kind::Text}, {"Mode", Kind::Number},
    {"StgHost", Kind::Text}, {"StgBucket", Kind::Text}, {"StgRelPath", Kind::Text}, {"StgSize", Kind::Number},
    {"StgPreSgnPath", Kind::Text}, {"StgChecksum", Kind::Text}, {"StgCredentials", Kind::Object, &credentials},
    {"Position", Kind::Object, &vector3}, {"Rotation", Kind::Object, &vector3}, {"Scale", Kind::Object, &vector3},
};
const Schema bundle = {
    {"Id", Kind::Text}, {"UserId", Kind::Text}, {"UserName", Kind::Text}, {"Name", Kind::Text}, {"Mode", Kind::Number},
    {"StgRelPath", Kind::Text}, {"StgSize", Kind::List, nullptr, Kind::Number},
    {"StgPreSgnPath", Kind::List, nullptr, Kind::Text}, {"StgChecksums", Kind::List, nullptr, Kind::Text},
};
const Schema spawnPoint = {
    {"Id", Kind::Number}, {"PlayerId", Kind::Number}, {"MeetingId", Kind::Text}, {"Name", Kind::Text},
    {"Position", Kind::Object, &vector3}, {"Rotation", Kind::Object, &vector3},
};
const Schema meetingInfo = {
    {"meetingId", Kind::Text}, {"statusMirror", Kind::Number}, {"endingTime", Kind::Text},
    {"licenseMode", Kind::Number}, {"licenseCountAttendees", Kind::Number}, {"voiceMode", Kind::Number},
    {"voiceMode3D", Kind::Number}, {"chatMode", Kind::Number},
    {"clients", Kind::List, &client}, {"assets", Kind::List, &asset},
    {"assetBundles", Kind::List, &bundle}, {"spawnPoints", Kind::List, &spawnPoint},
};

QString kindName(Kind kind)
{
    switch (kind) {
    case Kind::Number: return QStringLiteral("a number");
    case Kind::Text: return QStringLiteral("a string");
    case Kind::Bool: return QStringLiteral("true or false");
    case Kind::Object: return QStringLiteral("an object");
    case Kind::List: return QStringLiteral("an array");
    }
    return QString();
}

bool hasKind(const QJsonValue &v, Kind kind)
{
    switch (kind) {
    case Kind::Number: return v.isDouble();
    case Kind::Text: return v.isString();
    case Kind::Bool: return v.isBool();
    case Kind::Object: return v.isObject();
    case Kind::List: return v.isArray();
    }
    return false;
}

QString check(const QJsonObject &object, const Schema &schema, const QString &at);

QString checkValue(const QJsonValue &v, Kind kind, const Schema *nested, const QString &at)
{
    if (!hasKind(v, kind))
        return QStringLiteral("%1 must be %2").arg(at, kindName(kind));
    return kind == Kind::Object && nested ? check(v.toObject(), *nested, at) : QString();
}

QString check(const QJsonObject &object, const Schema &schema, const QString &at)
{
    for (const Field &f : schema) {
        const QString key = QLatin1String(f.key);
        if (!object.contains(key))
            continue;
        const QString here = at.isEmpty() ? key : at + QLatin1Char('.') + key;
        const QJsonValue v = object.value(key);
        QString wrong = checkValue(v, f.kind, f.nested, here);
        if (wrong.isEmpty() && f.kind == Kind::List) {
            const QJsonArray items = v.toArray();
            const Kind element = f.nested ? Kind::Object : f.element;
            for (int i = 0; i < items.size() && wrong.isEmpty(); ++i)
                wrong = checkValue(items.at(i), element, f.nested, QStringLiteral("%1[%2]").arg(here).arg(i));
        }
        if (!wrong.isEmpty())
            return wrong;
    }
    return QString();
}

} // namespace

QString SimLiveRecordCheck::firstWrongField(const QJsonObject &record)
{
    return check(record, meetingInfo, QString());
}
