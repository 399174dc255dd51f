#pragma once

#include <QString>

// The object store behind the accounts, as far as the service itself uses it: the size of a
// stored file and its removal. Requests go unsigned, as the local stores take them.
class SimObjectStore
{
public:
    explicit SimObjectStore(const QString &endpoint);

    // Size in bytes, -1 when the object is missing or the store does not answer.
    qint64 size(const QString &bucket, const QString &key) const;
    // True when the object is gone afterwards (a missing object counts as removed).
    bool remove(const QString &bucket, const QString &key, QString *error) const;

    // Keys as the console forms them may start with "/"; the store's keys do not.
    static QString storeKey(const QString &key);

private:
    std::string objectPath(const QString &bucket, const QString &key) const;

    QString m_endpoint;
};
