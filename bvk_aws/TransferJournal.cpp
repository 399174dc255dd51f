#include "TransferJournal.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QMutex>
#include <QSaveFile>
#include <QStandardPaths>

namespace BVK_AWS {

namespace {
QMutex g_lastLock;
QHash<QString, QString> g_last;
} // namespace

QString TransferJournal::directory()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)
           + QStringLiteral("/bvk_aws-transfers");
}

QString TransferJournal::id(const QString &kind, const QString &identity, const QString &bucket, const QString &key,
                            const QString &path)
{
    const QString joined = kind + QLatin1Char('\n') + identity + QLatin1Char('\n') + bucket + QLatin1Char('\n') + key
                           + QLatin1Char('\n') + QDir::cleanPath(QDir::current().absoluteFilePath(path));
    return kind + QLatin1Char('-')
           + QString::fromLatin1(QCryptographicHash::hash(joined.toUtf8(), QCryptographicHash::Sha1).toHex());
}

QJsonObject TransferJournal::load(const QString &id)
{
    QFile file(directory() + QLatin1Char('/') + id + QStringLiteral(".json"));
    if (!file.open(QIODevice::ReadOnly))
        return QJsonObject();
    return QJsonDocument::fromJson(file.readAll()).object();
}

bool TransferJournal::save(const QString &id, const QJsonObject &state)
{
    if (!QDir().mkpath(directory()))
        return false;
    QSaveFile file(directory() + QLatin1Char('/') + id + QStringLiteral(".json"));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(QJsonDocument(state).toJson(QJsonDocument::Compact));
    return file.commit();
}

void TransferJournal::remove(const QString &id)
{
    QFile::remove(directory() + QLatin1Char('/') + id + QStringLiteral(".json"));
}

void TransferJournal::prune(int days)
{
    const QDateTime cutoff = QDateTime::currentDateTimeUtc().addDays(-days);
    const QFileInfoList journals =
        QDir(directory()).entryInfoList({QStringLiteral("*.json")}, QDir::Files | QDir::NoDotAndDotDot);
    for (const QFileInfo &journal : journals) {
        if (journal.lastModified().toUTC() >= cutoff)
            continue;
        const QString id = journal.completeBaseName();
        const QString partFile = load(id).value(QStringLiteral("partFile")).toString();
        // Only our own kind of file: a damaged journal must not delete a stranger's.
        if (partFile.endsWith(QLatin1String(".part")))
            QFile::remove(partFile);
        remove(id);
    }
}

void TransferJournal::setLast(const QString &kind, const QString &id)
{
    QMutexLocker lock(&g_lastLock);
    g_last.insert(kind, id);
}

QString TransferJournal::last(const QString &kind)
{
    QMutexLocker lock(&g_lastLock);
    return g_last.value(kind);
}

} // namespace BVK_AWS
