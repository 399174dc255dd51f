#pragma once

// The request sequence and reply callback that every operation of every
// client shares, written once over the worker, input and client types so
// that the three service namespaces instantiate it rather than copy it.

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QString>
#include <QUrl>

namespace ZRVClientOps {

inline QString percentEncoded(const QString &value)
{
    return QString(QUrl::toPercentEncoding(value));
}

// "%1://%2%3%4%5"; the port part is left out only for port 0.
inline QString composeUrl(const QString &scheme, const QString &host, int port,
                          const QString &basePath, const QString &path)
{
    const QString portPart = port != 0 ? QStringLiteral(":") + QString::number(port) : QString();
    return QStringLiteral("%1://%2%3%4%5")
        .arg(scheme)
        .arg(host)
        .arg(portPart)
        .arg(basePath)
        .arg(path);
}

// Every occurrence of "{name}" is replaced, not only the first.
inline void replacePathParam(QString &url, const QString &name, const QString &value)
{
    url.replace(QStringLiteral("{") + name + QStringLiteral("}"), percentEncoded(value),
                Qt::CaseSensitive);
}

// An empty value is still sent as "key=".
inline void appendQueryParam(QString &url, const QString &key, const QString &value)
{
    url.append(url.indexOf(QStringLiteral("?")) > 0 ? QStringLiteral("&") : QStringLiteral("?"));
    url.append(percentEncoded(key));
    url.append(QStringLiteral("="));
    url.append(percentEncoded(value));
}

// Reply parsers; each takes the reply text and never fails loudly.
template <typename Record> Record parseRecord(const QString &text)
{
    return Record(text);
}

template <typename Record> QList<Record> parseRecordList(const QString &text)
{
    QList<Record> list;
    const QJsonArray array = QJsonDocument::fromJson(text.toUtf8()).array();
    for (const QJsonValue &element : array) {
        Record item;
        fromJsonValue(item, element); // found by argument lookup in the record's namespace
        list.append(item);
    }
    return list;
}

template <typename T, bool (*FromString)(const QString &, T &)> T parseText(const QString &text)
{
    T value{};
    FromString(text, value);
    return value;
}

// The error text that reaches the caller carries the server's body behind
// ", " so that a failure slot can find the error object in it.
template <typename Worker> QString callerErrorText(const Worker *worker)
{
    if (worker->error_type == QNetworkReply::NoError)
        return worker->error_str;
    return QStringLiteral("%1, %2").arg(worker->error_str, QString(worker->response));
}

// Callback of an operation with a result: parse in both outcomes, schedule
// the worker's deletion, then emit the plain signal and its Full twin.
template <typename Result, typename Api, typename Worker>
auto resultCallback(Result (*parse)(const QString &), void (Api::*ok)(Result),
                    void (Api::*okFull)(Worker *, Result),
                    void (Api::*err)(Result, QNetworkReply::NetworkError, QString),
                    void (Api::*errFull)(Worker *, QNetworkReply::NetworkError, QString))
{
    return [parse, ok, okFull, err, errFull](Api *api, Worker *worker) {
        const QNetworkReply::NetworkError errorType = worker->error_type;
        const QString errorText = callerErrorText(worker);
        const Result summary = parse(QString(worker->response));
        worker->deleteLater();
        if (errorType == QNetworkReply::NoError) {
            emit(api->*ok)(summary);
            emit(api->*okFull)(worker, summary);
        } else {
            emit(api->*err)(summary, errorType, errorText);
            emit(api->*errFull)(worker, errorType, errorText);
        }
    };
}

// Callback of an operation without a result.
template <typename Api, typename Worker>
auto noResultCallback(void (Api::*ok)(), void (Api::*okFull)(Worker *),
                      void (Api::*err)(QNetworkReply::NetworkError, QString),
                      void (Api::*errFull)(Worker *, QNetworkReply::NetworkError, QString))
{
    return [ok, okFull, err, errFull](Api *api, Worker *worker) {
        const QNetworkReply::NetworkError errorType = worker->error_type;
        const QString errorText = callerErrorText(worker);
        worker->deleteLater();
        if (errorType == QNetworkReply::NoError) {
            emit(api->*ok)();
            emit(api->*okFull)(worker);
        } else {
            emit(api->*err)(errorType, errorText);
            emit(api->*errFull)(worker, errorType, errorText);
        }
    };
}

// The operation sequence after the URL is composed: worker with the client
// as parent, its limits, the input, the client's headers, the callback, the
// abort hook, execute. The input lives only until execute returns.
template <typename Worker, typename Input, typename Api, typename Fill, typename Callback>
void send(Api *api, int timeOut, const QString &workingDirectory,
          const QMap<QString, QString> &defaultHeaders, const QString &url, const QString &verb,
          Fill fill, Callback callback)
{
    auto *worker = new Worker(api);
    worker->setTimeOut(timeOut);
    worker->setWorkingDirectory(workingDirectory);
    Input input(url, verb);
    fill(input);
    for (auto it = defaultHeaders.cbegin(); it != defaultHeaders.cend(); ++it)
        input.headers.insert(it.key(), it.value());
    QObject::connect(worker, &Worker::on_execution_finished, api,
                     [api, callback](Worker *finished) { callback(api, finished); });
    QObject::connect(api, &Api::abortRequestsSignal, worker, &QObject::deleteLater);
    worker->execute(&input);
}

} // namespace ZRVClientOps
