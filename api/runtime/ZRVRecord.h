#pragma once

// Field machinery shared by the records of all three namespaces.
//
// A record lists its fields once, in wire order, as an X-macro:
//
//   #define ZRV_FOO_FIELDS(F)  F(QString, Name, name, "Name")  F(QList<int>, Version, version, "Version")
//
// with F(type, AccessorStem, snake_name, "json key"), one per line in practice. ZRV_RECORD_DECLARE in
// the class body and ZRV_RECORD_DEFINE in the namespace of the .cpp then
// produce the members, getX/setX/is_x_Set/is_x_Valid and the JSON rules.
// The conversions are found by unqualified lookup in the record's namespace.

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

#include <type_traits>
#include <utility>

// One field: its value and the two flags.
template <typename T>
struct ZRVField {
    T value{};
    bool isSet = false;
    bool isValid = false;
};

namespace ZRVRecordDetail {

template <typename T, typename = void>
struct HasIsSet : std::false_type {};
template <typename T>
struct HasIsSet<T, std::void_t<decltype(std::declval<const T &>().isSet())>> : std::true_type {};

} // namespace ZRVRecordDetail

// Whether a field takes part in output and in the record's isSet: a scalar by
// its flag, a nested record by its own isSet, a list by having elements.
template <typename T>
bool zrvFieldPresent(const ZRVField<T> &field)
{
    if constexpr (ZRVRecordDetail::HasIsSet<T>::value)
        return field.value.isSet();
    else
        return field.isSet;
}

template <typename T>
bool zrvFieldPresent(const ZRVField<QList<T>> &field)
{
    return !field.value.isEmpty();
}

// Record text is read as UTF-8 up to the first zero byte.
inline QJsonObject zrvParseObject(const QString &jsonString)
{
    QByteArray bytes = jsonString.toUtf8();
    const int zero = bytes.indexOf('\0');
    if (zero >= 0)
        bytes.truncate(zero);
    return QJsonDocument::fromJson(bytes).object();
}

#define ZRV_FIELD_ACCESSORS(T, Stem, snake, key)                                                   \
    T get##Stem() const { return m_##snake.value; }                                                \
    void set##Stem(const T &value)                                                                 \
    {                                                                                              \
        m_##snake.value = value;                                                                   \
        m_##snake.isSet = true;                                                                    \
    }                                                                                              \
    bool is_##snake##_Set() const { return m_##snake.isSet; }                                      \
    bool is_##snake##_Valid() const { return m_##snake.isValid; }

#define ZRV_FIELD_MEMBER(T, Stem, snake, key) ZRVField<T> m_##snake;

#define ZRV_FIELD_WRITE(T, Stem, snake, key)                                                       \
    if (zrvFieldPresent(m_##snake))                                                                \
        obj.insert(QStringLiteral(key), toJsonValue(m_##snake.value));

#define ZRV_FIELD_READ(T, Stem, snake, key)                                                        \
    {                                                                                              \
        const QJsonValue jval = json.value(QStringLiteral(key));                                   \
        m_##snake.isValid = fromJsonValue(m_##snake.value, jval);                                  \
        m_##snake.isSet = !jval.isNull() && m_##snake.isValid;                                     \
    }

#define ZRV_FIELD_ANY_SET(T, Stem, snake, key) anySet = anySet || zrvFieldPresent(m_##snake);

#define ZRV_RECORD_DECLARE(Class, FIELDS)                                                          \
public:                                                                                            \
    Class();                                                                                       \
    explicit Class(QString jsonString);                                                            \
    ~Class() override;                                                                             \
    QJsonObject asJsonObject() const override;                                                     \
    QString asJson() const override;                                                               \
    void fromJson(QString jsonString) override;                                                    \
    void fromJsonObject(QJsonObject json) override;                                                \
    bool isSet() const override;                                                                   \
    FIELDS(ZRV_FIELD_ACCESSORS)                                                                    \
                                                                                                   \
private:                                                                                           \
    FIELDS(ZRV_FIELD_MEMBER)                                                                       \
public:

#define ZRV_RECORD_DEFINE(Class, FIELDS)                                                           \
    Class::Class() = default;                                                                      \
    Class::Class(QString jsonString) { Class::fromJson(jsonString); }                              \
    Class::~Class() = default;                                                                     \
    QJsonObject Class::asJsonObject() const                                                        \
    {                                                                                              \
        QJsonObject obj;                                                                           \
        FIELDS(ZRV_FIELD_WRITE)                                                                    \
        return obj;                                                                                \
    }                                                                                              \
    QString Class::asJson() const { return QString(QJsonDocument(asJsonObject()).toJson()); }     \
    void Class::fromJson(QString jsonString) { Class::fromJsonObject(zrvParseObject(jsonString)); } \
    void Class::fromJsonObject(QJsonObject json) { FIELDS(ZRV_FIELD_READ) }                        \
    bool Class::isSet() const                                                                      \
    {                                                                                              \
        bool anySet = false;                                                                       \
        FIELDS(ZRV_FIELD_ANY_SET)                                                                  \
        return anySet;                                                                             \
    }
