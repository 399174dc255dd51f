#pragma once

#include <QString>
#include <QStringList>

class QTreeWidget;
class QTreeWidgetItem;

// The S3 page's model of the store is its tree: every directory item holds the
// files directly in it as a JSON array (column 0, Qt::UserRole) and its own path
// (column 1, Qt::UserRole). These are the operations on that model, apart from
// the page so that a listing can be turned into a tree without a store.
class ZRV_S3Tree
{
public:
    struct Input
    {
        QString pathPrefix;  // empty for the whole bucket, else "folder/"
        QString storageUser; // a path element of this name hides itself and all above it
        int storageMode = 1;
        QStringList roles;
    };

    // A flat listing (keys, sizes, ETags by index) becomes a root item with its
    // directories below it; *total gets the bytes of all files placed.
    static QTreeWidgetItem *buildTree(const QStringList &sLst, const QStringList &iLst, const QStringList &eLst,
                                      const Input &in, qint64 *total);
    static QString rootName(int storageMode, const QString &pathPrefix);

    static QTreeWidgetItem *findTreeItem(QTreeWidget *tree, QString path);
    // Puts a just uploaded object into its directory's array; null when the
    // directory has no item, else the item that changed.
    static QTreeWidgetItem *addFileToTree(QTreeWidget *tree, const QString &key, qint64 size, const QString &etag);
    // Takes a deleted object out; null when not found, else the item that
    // changed, with the entry's size in *removedSize.
    static QTreeWidgetItem *removeFileFromTree(QTreeWidget *tree, const QString &key, qint64 *removedSize);
    // Refills one directory from a listing; the change of bytes in use is returned.
    static QTreeWidgetItem *refreshDirectory(QTreeWidget *tree, const QString &path, const QStringList &keys,
                                             const QStringList &sizes, const QStringList &etags, qint64 *delta);

    // Whole KB, then up one unit while above 1024: "0 KB", "1024 MB".
    static QString sizeText(qint64 bytes);
    // The administrator test as the tree walk makes it, without regard to case.
    static bool hidesAssetBundles(const QStringList &roles);
};
