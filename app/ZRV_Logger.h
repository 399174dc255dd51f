#pragma once

#include <QObject>
#include <QString>

// Small file logger: a line per call, to logFileName or, with none set, to
// standard output, optionally led by date and time.
class ZRV_Logger : public QObject
{
    Q_OBJECT

public:
    explicit ZRV_Logger(QObject *parent = nullptr);

    QString logFileName;
    bool showDate = false;
    bool showTime = false;

public slots:
    void write(QString value);
    void writeln(QString value);
};
