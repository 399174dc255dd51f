#include "ZRV_Logger.h"

#include <QDateTime>
#include <QFile>
#include <QTextStream>

#include <cstdio>

ZRV_Logger::ZRV_Logger(QObject *parent) : QObject(parent) {}

void ZRV_Logger::write(QString value)
{
    // Time goes in front first, then the date in front of that: date, time, text.
    const QDateTime now = QDateTime::currentDateTime();
    if (showTime)
        value.prepend(now.toString(QStringLiteral("hh:mm:ss - ")));
    if (showDate)
        value.prepend(now.toString(QStringLiteral("dd.MM.yyyy ")));

    if (!logFileName.isEmpty()) {
        QFile file(logFileName);
        if (!file.open(QIODevice::Append | QIODevice::Text))
            return;
        QTextStream out(&file);
        out.setCodec("UTF-8");
        out << value;
        out.flush();
        file.close();
    } else {
        QTextStream out(stdout);
        out.setCodec("UTF-8");
        out << value;
        out.flush();
    }
}

void ZRV_Logger::writeln(QString value)
{
    write(value + QLatin1Char('\n'));
}
