#pragma once

#include <QJsonObject>
#include <QString>

// The JSON types of a live meeting record and of the records inside it, as the console
// writes them. A PUT with a field of another type is refused whole, so that a half-applied
// record never reaches the members.
class SimLiveRecordCheck
{
public:
    // Empty when every known key has its type; else which field is wrong, e.g.
    // "assets[0].Position.x must be a number". Unknown keys pass.
    static QString firstWrongField(const QJsonObject &record);
};
