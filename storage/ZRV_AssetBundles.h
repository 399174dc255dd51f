#pragma once

#include <QWidget>

class ZRV_AssetBundles : public QWidget
{
    Q_OBJECT
public:
    explicit ZRV_AssetBundles(QWidget* parent = nullptr);
    ~ZRV_AssetBundles() override;
};
