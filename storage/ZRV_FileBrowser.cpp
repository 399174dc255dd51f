#include "ZRV_FileBrowser.h"

ZRV_FileBrowser::ZRV_FileBrowser(QWidget *parent)
    : QWidget(parent)
{
}

ZRV_FileBrowser::~ZRV_FileBrowser() = default;

void ZRV_FileBrowser::on_treeView_clicked(QModelIndex)
{
}

QList<QTableWidgetItem *> ZRV_FileBrowser::selectedItems()
{
    return {};
}

void ZRV_FileBrowser::clearSelection()
{
}
