#include <QJsonArray>
#include <QJsonDocument>
#include <QTextCodec>
#include <QtTest>

#include "ZRVError.h"
#include "ZRVDefVector3.h"
#include "ZRV_Service_API/ZRVHelpers.h"
#include "ZRV_Service_API/ZRVHttpRequestWorker.h"

using namespace ZRV_Service_API;

class tst_ZrvHelpers : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void fromJsonValueRules_data();
    void fromJsonValueRules();
    void stringValues_data();
    void stringValues();
    void httpAttributeEncode_data();
    void httpAttributeEncode();
};

void tst_ZrvHelpers::initTestCase()
{
    // The attribute encoder works on local 8-bit bytes; pin them for the table.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
}

namespace {

const QString untouched = QStringLiteral("untouched");

QJsonValue json(const char *text)
{
    return QJsonDocument::fromJson(QByteArray("[") + text + "]").array().at(0);
}

template <typename T>
QVariant asVariant(const T &v)
{
    return QVariant::fromValue(v);
}
QVariant asVariant(const ZRV_AuthService_API::ZRVError &v) { return v.asJsonObject(); }
QVariant asVariant(const ZRVDefVector3 &v) { return v.asJsonObject(); }
QVariant asVariant(const QList<QString> &v) { return QStringList(v); }
template <typename T>
QVariant asVariant(const QList<T> &v)
{
    QVariantList l;
    for (const T &item : v)
        l << asVariant(item);
    return l;
}

// One conversion into a target that starts in a known, non-default state, so that
// "value untouched" can be told from "value reset".
template <typename T>
bool into(T v, const QJsonValue &in, QVariant &out)
{
    const bool ok = fromJsonValue(v, in);
    out = asVariant(v);
    return ok;
}

bool convert(const QString &target, const QJsonValue &in, QVariant &out)
{
    if (target == "QString")
        return into(untouched, in, out);
    if (target == "int")
        return into(-7, in, out);
    if (target == "qint64")
        return into(qint64(-7), in, out);
    if (target == "float")
        return into(-7.0f, in, out);
    if (target == "bool")
        return into(false, in, out);
    if (target == "QDate")
        return into(QDate(2000, 1, 1), in, out);
    if (target == "error record")
        return into(ZRV_AuthService_API::ZRVError(), in, out);
    if (target == "list of QString")
        return into(QList<QString>{untouched}, in, out);
    if (target == "list of int")
        return into(QList<int>{-7}, in, out);
    if (target == "list of qint64")
        return into(QList<qint64>(), in, out);
    if (target == "list of record")
        return into(QList<ZRVDefVector3>(), in, out);
    qFatal("unknown target %s", qPrintable(target));
    return false;
}

QVariantList vl(std::initializer_list<QVariant> items)
{
    return QVariantList(items);
}

QJsonObject obj(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

void tst_ZrvHelpers::fromJsonValueRules_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QJsonValue>("input");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QVariant>("value");

    QTest::newRow("string from string") << "QString" << json("\"abc\"") << true << QVariant("abc");
    QTest::newRow("string from true") << "QString" << json("true") << true << QVariant("true");
    QTest::newRow("string from big number has six digits")
        << "QString" << json("1500000000") << true << QVariant("1.5e+09");
    QTest::newRow("string from fraction") << "QString" << json("3.14159265") << true << QVariant("3.14159");
    QTest::newRow("string from null untouched") << "QString" << json("null") << false << QVariant(untouched);
    QTest::newRow("string from undefined untouched") << "QString" << QJsonValue(QJsonValue::Undefined) << false << QVariant(untouched);
    QTest::newRow("string from object untouched") << "QString" << json("{}") << false << QVariant(untouched);
    QTest::newRow("string from array untouched") << "QString" << json("[\"a\"]") << false << QVariant(untouched);

    QTest::newRow("int from number") << "int" << json("42") << true << QVariant(42);
    QTest::newRow("int from digit string is 0 and ok") << "int" << json("\"12\"") << true << QVariant(0);
    QTest::newRow("int from bool is 0 and ok") << "int" << json("true") << true << QVariant(0);
    QTest::newRow("int from fraction is 0 and ok") << "int" << json("2.5") << true << QVariant(0);
    QTest::newRow("int from null untouched") << "int" << json("null") << false << QVariant(-7);
    QTest::newRow("int from object untouched") << "int" << json("{\"a\":1}") << false << QVariant(-7);

    QTest::newRow("qint64 above 32 bits") << "qint64" << json("5000000000") << true << QVariant(qint64(5000000000LL));
    QTest::newRow("qint64 from digit string") << "qint64" << json("\"12\"") << true << QVariant(qint64(12));
    QTest::newRow("qint64 from unreadable text is 0 and ok") << "qint64" << json("\"abc\"") << true << QVariant(qint64(0));
    QTest::newRow("qint64 from null untouched") << "qint64" << json("null") << false << QVariant(qint64(-7));

    QTest::newRow("float narrowed") << "float" << json("0.1") << true << QVariant(0.1f);
    QTest::newRow("float from string refused") << "float" << json("\"0.1\"") << false << QVariant(-7.0f);
    QTest::newRow("float from bool refused") << "float" << json("true") << false << QVariant(-7.0f);

    QTest::newRow("bool from true") << "bool" << json("true") << true << QVariant(true);
    QTest::newRow("bool from string true refused") << "bool" << json("\"true\"") << false << QVariant(false);
    QTest::newRow("bool from 1 refused") << "bool" << json("1") << false << QVariant(false);

    QTest::newRow("date from ISO text") << "QDate" << json("\"2024-02-29\"") << true << QVariant(QDate(2024, 2, 29));
    QTest::newRow("date in local form is no ISO date") << "QDate" << json("\"29.02.2024\"") << false << QVariant(QDate());
    QTest::newRow("date from number untouched") << "QDate" << json("20240229") << false << QVariant(QDate(2000, 1, 1));
    QTest::newRow("date from null untouched") << "QDate" << json("null") << false << QVariant(QDate(2000, 1, 1));

    QTest::newRow("record result is its isValid")
        << "error record" << json("{\"code\":5,\"message\":\"m\",\"source\":\"s\"}") << true
        << QVariant(obj("{\"code\":5,\"message\":\"m\",\"source\":\"s\"}"));
    QTest::newRow("record lacking a required field is read but fails")
        << "error record" << json("{\"code\":5,\"message\":\"m\"}") << false
        << QVariant(obj("{\"code\":5,\"message\":\"m\"}"));
    QTest::newRow("record from array refused") << "error record" << json("[{\"code\":5}]") << false << QVariant(QJsonObject());

    QTest::newRow("string list appends every element")
        << "list of QString" << json("[\"a\", 1, null, \"b\"]") << false
        << QVariant(QStringList{untouched, "a", "1", "", "b"});
    QTest::newRow("string list all good") << "list of QString" << json("[\"a\"]") << true
                                          << QVariant(QStringList{untouched, "a"});
    QTest::newRow("string list from object left as it was")
        << "list of QString" << json("{\"a\":\"b\"}") << false << QVariant(QStringList{untouched});
    QTest::newRow("int list takes strings as 0") << "list of int" << json("[1, \"2\", 3]") << true
                                                 << QVariant(vl({-7, 1, 0, 3}));
    QTest::newRow("int list with null element fails but keeps the place")
        << "list of int" << json("[null, 4]") << false << QVariant(vl({-7, 0, 4}));
    QTest::newRow("qint64 list") << "list of qint64" << json("[1, 5000000000]") << true
                                 << QVariant(vl({qint64(1), qint64(5000000000LL)}));
    QTest::newRow("record list from scalar") << "list of record" << json("7") << false << QVariant(QVariantList());
}

void tst_ZrvHelpers::fromJsonValueRules()
{
    QFETCH(QString, target);
    QFETCH(QJsonValue, input);
    QFETCH(bool, ok);
    QFETCH(QVariant, value);

    QVariant out;
    QCOMPARE(convert(target, input, out), ok);
    QCOMPARE(out, value);
}

void tst_ZrvHelpers::stringValues_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("stringOk");
    QTest::addColumn<bool>("intOk");
    QTest::addColumn<int>("number");

    QTest::newRow("digits") << "42" << true << true << 42;
    QTest::newRow("empty") << "" << false << false << 0;
    QTest::newRow("not a number") << "4x" << true << false << 0;
    QTest::newRow("negative") << "-3" << true << true << -3;
}

void tst_ZrvHelpers::stringValues()
{
    QFETCH(QString, text);
    QFETCH(bool, stringOk);
    QFETCH(bool, intOk);
    QFETCH(int, number);

    QString s = QStringLiteral("old");
    QCOMPARE(fromStringValue(text, s), stringOk);
    QCOMPARE(s, text);
    int n = -7;
    QCOMPARE(fromStringValue(text, n), intOk);
    QCOMPARE(n, number);
}

void tst_ZrvHelpers::httpAttributeEncode_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("encoded");

    QTest::newRow("plain name") << "report-1.pdf" << "name=\"report-1.pdf\"";
    QTest::newRow("blank stays plain") << "a b" << "name=\"a b\"";
    QTest::newRow("quote escaped") << "a\"b" << "name=\"a\\\"b\"";
    QTest::newRow("slash asks for extended form") << "a/b" << "name=\"ab\"; name*=utf-8''a%2Fb";
    QTest::newRow("backslash asks for extended form") << "a\\b" << "name=\"ab\"; name*=utf-8''a%5Cb";
    QTest::newRow("tab hex has no leading zero") << "a\tb" << "name=\"ab\"; name*=utf-8''a%9b";
    QTest::newRow("empty value") << "" << "name=\"\"; name*=utf-8''";
    QTest::newRow("non-ASCII kept out of the plain form")
        << QString::fromUtf8("n\xc3\xa9.txt") << "name=\"n.txt\"; name*=utf-8''n%C3%A9%2Etxt";
}

void tst_ZrvHelpers::httpAttributeEncode()
{
    QFETCH(QString, value);
    QFETCH(QString, encoded);
    QCOMPARE(ZRVHttpRequestWorker::httpAttributeEncode(QStringLiteral("name"), value), encoded);
}

QTEST_GUILESS_MAIN(tst_ZrvHelpers)
#include "tst_zrv_helpers.moc"
