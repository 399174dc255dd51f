#include "StorageTreeDump.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <QTreeWidgetItem>

QString storageTreeDump(const QTreeWidgetItem *item)
{
    QStringList files;
    for (const QJsonValue &v : item->data(0, Qt::UserRole).toJsonArray()) {
        const QJsonObject o = v.toObject();
        files << o.value("name").toString() + ":" + o.value("size").toString();
    }
    QString out = item->text(0);
    if (!files.isEmpty())
        out += "[" + files.join(",") + "]";
    if (item->childCount()) {
        QStringList children;
        for (int i = 0; i < item->childCount(); ++i)
            children << storageTreeDump(item->child(i));
        out += "{" + children.join(" ") + "}";
    }
    return out;
}
