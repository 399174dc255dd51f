#include "ZRV_S3.h"

ZRV_S3::ZRV_S3(QWidget* parent)
    : QWidget(parent)
{
}

ZRV_S3::~ZRV_S3() = default;
