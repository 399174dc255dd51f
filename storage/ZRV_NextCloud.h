#pragma once

#include <QWidget>

class ZRV_NextCloud : public QWidget
{
    Q_OBJECT
public:
    explicit ZRV_NextCloud(QWidget* parent = nullptr);
    ~ZRV_NextCloud() override;
};
