#pragma once

#include <QObject>

// Declared for a shared network manager that the console never made: each
// request owns its own manager instead.
class BVKNetmanager : public QObject
{
    Q_OBJECT

public:
    explicit BVKNetmanager(QObject *parent = nullptr);
};
