#pragma once

#include <QString>

class QTreeWidgetItem;

// A storage browser's folder tree as one line, "root[file,...]{child ...}",
// files (the JSON array under Qt::UserRole) as name:size, children in tree
// order, so a test compares a whole tree with one string.
QString storageTreeDump(const QTreeWidgetItem *item);
