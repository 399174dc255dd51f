#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QString>
#include <QTest>

#include <tuple>
#include <type_traits>

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

// One client call: connects the operation's success and failure signals, runs invoke,
// waits (bounded) for either, and hands back the success signal's arguments.
template <typename Api, typename... Ok, typename... Err, typename Invoke>
std::tuple<std::decay_t<Ok>...> simCall(Api *api, void (Api::*okSignal)(Ok...), void (Api::*errSignal)(Err...),
                                        Invoke invoke, SimOutcome *outcome, int ms = 10000)
{
    static_assert(sizeof...(Err) >= 2, "failure signals end in error type and text");
    std::tuple<std::decay_t<Ok>...> values;
    const QMetaObject::Connection ok = QObject::connect(api, okSignal, [&](Ok... args) {
        values = std::make_tuple(args...);
        outcome->succeed();
    });
    const QMetaObject::Connection bad = QObject::connect(api, errSignal, [&](Err... args) {
        const auto all = std::make_tuple(args...);
        outcome->fail(std::get<sizeof...(Err) - 2>(all), std::get<sizeof...(Err) - 1>(all));
    });
    invoke();
    outcome->wait(ms);
    QObject::disconnect(ok);
    QObject::disconnect(bad);
    return values;
}
