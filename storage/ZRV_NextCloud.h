#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QTableWidgetItem;
class QTreeWidgetItem;

namespace Ui {
class ZRV_NextCloud;
}

// The NextCloud page: one deep PROPFIND per refresh, shown as a folder tree
// and the files of the selected folder. Read-only.
class ZRV_NextCloud : public QWidget
{
    Q_OBJECT

public:
    explicit ZRV_NextCloud(QWidget *parent = nullptr);
    ~ZRV_NextCloud() override;

signals:
    void itemClicked();
    void itemDoubleClicked();

public slots:
    void on_btnRefresh_clicked();
    void on_treeWidget_itemClicked(QTreeWidgetItem *itm, int col);
    void on_tableWidget_itemClicked(QTableWidgetItem *item);
    void on_tableWidget_itemDoubleClicked(QTableWidgetItem *item);
    QList<QTableWidgetItem *> selectedItems();
    void clearSelection();

private:
    QTreeWidgetItem *readTree();

    Ui::ZRV_NextCloud *ui;
    QString m_url;
    QString m_user;
    QString m_pass;
    int m_depth = 10;
    int m_timeout = 30000;
};
