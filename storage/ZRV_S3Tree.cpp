#include "ZRV_S3Tree.h"

#include <QApplication>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QStyle>
#include <QTreeWidget>
#include <QTreeWidgetItem>
#include <QTreeWidgetItemIterator>

#include <vector>

namespace {

struct Node
{
    QString relative;
    QString full;
    qint64 size = 0;
    bool directory = false;
    QStringList parts;
    QString etag;
};

const QLatin1String AssetBundleDir("__ASSETBUNDLES/");

QJsonObject fileObject(const QString &name, qint64 size, const QString &etag, const QString &path)
{
    QJsonObject o;
    o.insert(QStringLiteral("name"), name);
    o.insert(QStringLiteral("size"), QString::number(size));
    o.insert(QStringLiteral("etag"), etag);
    o.insert(QStringLiteral("path"), path);
    return o;
}

} // namespace

bool ZRV_S3Tree::hidesAssetBundles(const QStringList &roles)
{
    return !roles.contains(QStringLiteral("ZRV_Administrator"), Qt::CaseInsensitive);
}

QString ZRV_S3Tree::rootName(int storageMode, const QString &pathPrefix)
{
    QString name = storageMode == 1 ? QStringLiteral("MINIO - ") : QStringLiteral("S3 - ");
    if (pathPrefix.isEmpty())
        return name + QStringLiteral("root");
    // A temporary key's folder is an assumed role id: id, colon, session name.
    const int colon = pathPrefix.indexOf(QLatin1Char(':'));
    return name + (colon >= 0 ? pathPrefix.mid(colon + 1) : pathPrefix);
}

QTreeWidgetItem *ZRV_S3Tree::buildTree(const QStringList &sLst, const QStringList &iLst, const QStringList &eLst,
                                       const Input &in, qint64 *total)
{
    const int depth = in.pathPrefix.count(QLatin1Char('/'));
    const bool hideBundles = hidesAssetBundles(in.roles);

    std::vector<Node> nodes;
    nodes.reserve(size_t(sLst.size()) * 2);
    QHash<QString, int> seen;
    seen.reserve(sLst.size() * 2);

    for (int i = 0; i < sLst.size(); ++i) {
        const QString &key = sLst.at(i);
        const QStringList parts = key.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        QString base = QStringLiteral("/");
        for (int p = 0; p < depth && p < parts.size(); ++p)
            base += parts.at(p) + QLatin1Char('/');

        const bool keyIsDir = key.endsWith(QLatin1Char('/'));
        QString relative;
        for (int level = depth; level < parts.size(); ++level) {
            relative += parts.at(level);
            if (level < parts.size() - 1 || keyIsDir)
                relative += QLatin1Char('/');
            if (seen.contains(relative))
                continue;
            if (hideBundles && relative.startsWith(AssetBundleDir))
                continue;
            Node node;
            node.relative = relative;
            node.directory = relative.endsWith(QLatin1Char('/'));
            node.parts = parts.mid(depth, level - depth + 1);
            node.full = base + relative;
            if (!node.directory) {
                // Sizes and ETags are read by the key's index: a listing whose
                // info call failed for a key leaves them shorter than the keys.
                node.size = iLst.value(i).toLongLong();
                node.etag = eLst.value(i);
            }
            seen.insert(relative, int(nodes.size()));
            nodes.push_back(std::move(node));
        }
    }

    auto *root = new QTreeWidgetItem(QStringList(rootName(in.storageMode, in.pathPrefix)));
    QString rootPath = QStringLiteral("/");
    if (!in.pathPrefix.isEmpty())
        rootPath = in.pathPrefix.startsWith(QLatin1Char('/')) ? in.pathPrefix : QLatin1Char('/') + in.pathPrefix;
    root->setData(1, Qt::UserRole, rootPath);

    const QIcon folderIcon = QApplication::style()->standardIcon(QStyle::SP_DirClosedIcon);
    // Arrays are gathered here and stored once: writing an item's array back
    // after every file would copy it once per file.
    QHash<QTreeWidgetItem *, QJsonArray> files;
    // Every child made here is also noted by parent and text: a large folder
    // would otherwise be searched child by child for each key below it.
    QHash<QPair<QTreeWidgetItem *, QString>, QTreeWidgetItem *> children;
    qint64 sum = 0;
    for (const Node &node : nodes) {
        QTreeWidgetItem *current = root;
        int start = node.parts.indexOf(in.storageUser);
        start = start < 0 ? 0 : start + 1;
        for (int p = start; p < node.parts.size(); ++p) {
            const QString &part = node.parts.at(p);
            if (QTreeWidgetItem *child = children.value(qMakePair(current, part))) {
                current = child;
                continue;
            }
            if (node.directory) {
                auto *item = new QTreeWidgetItem(QStringList(part));
                item->setIcon(0, folderIcon);
                item->setData(1, Qt::UserRole, node.full);
                current->addChild(item);
                children.insert(qMakePair(current, part), item);
                current = item;
            } else {
                files[current].append(fileObject(part, node.size, node.etag, node.full));
                sum += node.size;
            }
        }
    }
    for (auto it = files.constBegin(); it != files.constEnd(); ++it)
        it.key()->setData(0, Qt::UserRole, it.value());
    if (total)
        *total = sum;
    return root;
}

QTreeWidgetItem *ZRV_S3Tree::findTreeItem(QTreeWidget *tree, QString path)
{
    if (!path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    if (!path.endsWith(QLatin1Char('/')))
        path.append(QLatin1Char('/'));
    for (QTreeWidgetItemIterator it(tree); *it; ++it) {
        const QString itemPath = (*it)->data(1, Qt::UserRole).toString();
        if (itemPath == path || QLatin1Char('/') + itemPath == path)
            return *it;
    }
    return nullptr;
}

QTreeWidgetItem *ZRV_S3Tree::addFileToTree(QTreeWidget *tree, const QString &key, qint64 size,
                                           const QString &etag)
{
    const int slash = key.lastIndexOf(QLatin1Char('/'));
    const QString dir = slash < 0 ? QString() : key.left(slash);
    const QString name = key.mid(slash + 1);
    QTreeWidgetItem *item = findTreeItem(tree, dir);
    if (!item)
        return nullptr;

    QJsonArray array = item->data(0, Qt::UserRole).toJsonArray();
    int exact = -1;
    int before = -1;
    for (int i = 0; i < array.size(); ++i) {
        const QString entry = array.at(i).toObject().value(QStringLiteral("name")).toString();
        if (entry == name)
            exact = i;
        else if (entry < name)
            before = i;
    }
    const QString path = dir + (dir.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/")) + name;
    const QJsonObject object = fileObject(name, size, etag, path);
    if (exact >= 0)
        array.replace(exact, object);
    else if (before >= 0)
        array.insert(before + 1, object);
    else
        array.append(object);
    item->setData(0, Qt::UserRole, array);
    return item;
}

QTreeWidgetItem *ZRV_S3Tree::removeFileFromTree(QTreeWidget *tree, const QString &key, qint64 *removedSize)
{
    const int slash = key.lastIndexOf(QLatin1Char('/'));
    const QString dir = slash < 0 ? QString() : key.left(slash);
    const QString name = key.mid(slash + 1);
    QTreeWidgetItem *item = findTreeItem(tree, dir);
    if (!item)
        return nullptr;
    QJsonArray array = item->data(0, Qt::UserRole).toJsonArray();
    for (int i = 0; i < array.size(); ++i) {
        const QJsonObject entry = array.at(i).toObject();
        if (entry.value(QStringLiteral("name")).toString() != name)
            continue;
        if (removedSize)
            *removedSize = entry.value(QStringLiteral("size")).toString().toLongLong();
        array.removeAt(i);
        item->setData(0, Qt::UserRole, array);
        return item;
    }
    return nullptr;
}

QTreeWidgetItem *ZRV_S3Tree::refreshDirectory(QTreeWidget *tree, const QString &path, const QStringList &keys,
                                              const QStringList &sizes, const QStringList &etags, qint64 *delta)
{
    QTreeWidgetItem *item = findTreeItem(tree, path);
    if (!item)
        return nullptr;
    qint64 change = 0;
    for (const QJsonValue &v : item->data(0, Qt::UserRole).toJsonArray())
        change -= v.toObject().value(QStringLiteral("size")).toString().toLongLong();

    const int slashes = path.size() < 2 ? 0 : path.count(QLatin1Char('/'));
    QJsonArray array;
    for (int i = 0; i < keys.size(); ++i) {
        const QString &key = keys.at(i);
        if (key.endsWith(QLatin1Char('/')) || key.count(QLatin1Char('/')) != slashes)
            continue;
        const qint64 size = sizes.value(i).toLongLong();
        array.append(fileObject(key.mid(key.lastIndexOf(QLatin1Char('/')) + 1), size, etags.value(i),
                                key.startsWith(QLatin1Char('/')) ? key : QLatin1Char('/') + key));
        change += size;
    }
    item->setData(0, Qt::UserRole, array);
    if (delta)
        *delta = change;
    return item;
}

QString ZRV_S3Tree::sizeText(qint64 bytes)
{
    static const char *const units[] = {"KB", "MB", "GB", "TB"};
    qint64 value = bytes / 1024;
    int unit = 0;
    while (value > 1024 && unit < 3) {
        value /= 1024;
        ++unit;
    }
    return QString::number(value) + QLatin1Char(' ') + QLatin1String(units[unit]);
}
