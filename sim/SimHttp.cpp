#include "SimHttp.h"

#include <httplib.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>

void SimHttp::json(httplib::Response &res, const QJsonValue &value, int status)
{
    QByteArray body;
    if (value.isObject())
        body = QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    else if (value.isArray())
        body = QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    else if (value.isString())
        body = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
    else if (value.isDouble())
        body = QByteArray::number(value.toDouble(), 'g', 17);
    else if (value.isBool())
        body = value.toBool() ? "true" : "false";
    else
        body = "null";
    res.status = status;
    res.set_content(body.constData(), size_t(body.size()), "application/json");
}

void SimHttp::error(httplib::Response &res, int status, const QString &message, const QString &source)
{
    const QJsonObject err{{QStringLiteral("code"), status},
                          {QStringLiteral("message"), message},
                          {QStringLiteral("source"), source}};
    const QByteArray body = QJsonDocument(err).toJson(QJsonDocument::Indented);
    res.status = status;
    res.set_content(body.constData(), size_t(body.size()), "application/json");
}

void SimHttp::text(httplib::Response &res, const QString &text, int status, const char *contentType)
{
    const QByteArray body = text.toUtf8();
    res.status = status;
    res.set_content(body.constData(), size_t(body.size()), contentType);
}

QString SimHttp::param(const httplib::Request &req, const char *key)
{
    return QString::fromStdString(req.get_param_value(key));
}

bool SimHttp::hasParam(const httplib::Request &req, const char *key)
{
    return req.has_param(key);
}

QString SimHttp::capture(const httplib::Request &req, int index)
{
    if (index < 0 || size_t(index) >= req.matches.size())
        return QString();
    return QString::fromStdString(req.matches[size_t(index)].str());
}

QString SimHttp::bearerToken(const httplib::Request &req)
{
    const QString header = QString::fromStdString(req.get_header_value("Authorization")).trimmed();
    if (!header.startsWith(QLatin1String("bearer "), Qt::CaseInsensitive))
        return QString();
    return header.mid(7).trimmed();
}

bool SimHttp::bodyObject(const httplib::Request &req, QJsonObject *object)
{
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(QByteArray::fromStdString(req.body), &err);
    if (err.error != QJsonParseError::NoError || !doc.isObject())
        return false;
    *object = doc.object();
    return true;
}

std::string SimHttp::route(const QString &base, const char *tail)
{
    static const QString special = QStringLiteral("\\^$.|?*+()[]{}");
    QString escaped;
    for (const QChar c : base) {
        if (special.contains(c))
            escaped += QLatin1Char('\\');
        escaped += c;
    }
    return escaped.toStdString() + tail;
}

QString SimHttp::isoToday()
{
    return QDate::currentDate().toString(Qt::ISODate);
}

QString SimHttp::textDate(const QDateTime &utc)
{
    return utc.toUTC().toString(Qt::TextDate);
}

qint64 SimHttp::nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString SimHttp::randomToken(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    for (int i = 0; i < bytes; ++i)
        raw[i] = char(QRandomGenerator::system()->bounded(256));
    return QString::fromLatin1(raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}
