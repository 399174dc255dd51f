#pragma once

#include <QList>
#include <QModelIndex>
#include <QWidget>

class QTableWidgetItem;

// A page for local files as a source of assets, kept in the shape of its two
// siblings (the S3 and NextCloud pages) so that the main window could take it
// up the same way: itemClicked, itemDoubleClicked, selectedItems and
// clearSelection. Nothing creates it yet, and it browses nothing: a page that
// fills it in would hold one JSON object per file under Qt::UserRole in its
// rows' first column, as the NextCloud page does.
class ZRV_FileBrowser : public QWidget
{
    Q_OBJECT

public:
    explicit ZRV_FileBrowser(QWidget *parent = nullptr);
    ~ZRV_FileBrowser() override;

signals:
    void itemClicked();
    void itemDoubleClicked();

public slots:
    void on_treeView_clicked(QModelIndex index);
    QList<QTableWidgetItem *> selectedItems();
    void clearSelection();
};
