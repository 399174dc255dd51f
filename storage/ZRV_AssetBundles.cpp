#include "ZRV_AssetBundles.h"

ZRV_AssetBundles::ZRV_AssetBundles(QWidget* parent)
    : QWidget(parent)
{
}

ZRV_AssetBundles::~ZRV_AssetBundles() = default;
