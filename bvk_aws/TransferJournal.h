#ifndef BVK_AWS_TRANSFERJOURNAL_H
#define BVK_AWS_TRANSFERJOURNAL_H

#include <QJsonObject>
#include <QString>

namespace BVK_AWS {

// The saved state of unfinished transfers, one small JSON file each, so that a
// transfer goes on from where it was after its Storage_S3 object was replaced
// or the program restarted.
class TransferJournal
{
public:
    static QString id(const QString &kind, const QString &identity, const QString &bucket, const QString &key,
                      const QString &path);
    static QJsonObject load(const QString &id);
    static bool save(const QString &id, const QJsonObject &state);
    static void remove(const QString &id);
    static QString directory();
    // Removes journals untouched for `days` days, with the partial files they name.
    static void prune(int days);

    // The transfer last begun in this process, per kind, so that an abort can
    // reach it from a Storage_S3 object that never stepped it.
    static void setLast(const QString &kind, const QString &id);
    static QString last(const QString &kind);
};

} // namespace BVK_AWS

#endif // BVK_AWS_TRANSFERJOURNAL_H
