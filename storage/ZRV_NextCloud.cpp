#include "ZRV_NextCloud.h"

ZRV_NextCloud::ZRV_NextCloud(QWidget* parent)
    : QWidget(parent)
{
}

ZRV_NextCloud::~ZRV_NextCloud() = default;
