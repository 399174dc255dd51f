#pragma once

#include <QWidget>

class ZRV_S3 : public QWidget
{
    Q_OBJECT
public:
    explicit ZRV_S3(QWidget* parent = nullptr);
    ~ZRV_S3() override;
};
