#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QString>
#include <QTest>

// The result of one client call: which signal pair fired, and the service's error object.
class SimOutcome
{
public:
    bool done = false;
    bool ok = false;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorText;

    void succeed()
    {
        done = ok = true;
    }
    void fail(QNetworkReply::NetworkError type, const QString &text)
    {
        done = true;
        ok = false;
        error = type;
        errorText = text;
    }
    // Bounded wait for either signal.
    bool wait(int ms = 10000)
    {
        QDeadlineTimer deadline(ms);
        while (!done && !deadline.hasExpired())
            QTest::qWait(5);
        return done;
    }
    // The error object behind the first ", {", read the way the console reads it.
    QJsonObject errorObject() const
    {
        const int at = errorText.indexOf(QLatin1String(", {"));
        return QJsonDocument::fromJson(errorText.mid(at + 1).toUtf8()).object();
    }
    QString errorMessage() const
    {
        return errorObject().value(QStringLiteral("message")).toString();
    }
    int errorCode() const
    {
        return errorObject().value(QStringLiteral("code")).toInt();
    }
};
