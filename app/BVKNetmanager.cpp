#include "BVKNetmanager.h"

BVKNetmanager::BVKNetmanager(QObject *parent) : QObject(parent) {}
