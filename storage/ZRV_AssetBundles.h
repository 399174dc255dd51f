#pragma once

#include <QList>
#include <QWidget>

class QTableWidgetItem;

// The asset bundle page. It holds no bundles yet: the main window keeps it
// disabled, and its selection is always empty.
class ZRV_AssetBundles : public QWidget
{
    Q_OBJECT
public:
    explicit ZRV_AssetBundles(QWidget *parent = nullptr);
    ~ZRV_AssetBundles() override;

    QList<QTableWidgetItem *> selectedItems() const { return {}; }
    int selectedCount() const { return 0; }
    void clearSelection() {}

signals:
    void itemClicked();
    void itemDoubleClicked();
};
