#pragma once

#include <QMetaType>

#include "ZRV_MeetingService_API/ZRVHelpers.h"
#include "ZRVRecord.h"
#include "ZRVPresenter.h"

// Wire order; F(type, accessor stem, flag name, JSON key).
#define ZRV_MEETING_FIELDS(F) \
    F(qint64, Id, id, "id")                             \
    F(QString, MeetingId, meeting_id, "meetingId")      \
    F(QString, Title, title, "title")                   \
    F(QString, Password, password, "password")          \
    F(QString, Description, description, "description") \
    F(QString, CreatorId, creator_id, "creatorId")      \
    F(QString, Creator, creator, "creator")             \
    F(QDate, Created, created, "created")               \
    F(QDate, Modified, modified, "modified")            \
    F(QString, License, license, "license")             \
    F(QString, Status, status, "status")                \
    F(int, AudioMode, audio_mode, "audioMode")          \
    F(int, AudioMode3D, audio_mode_3d, "audioMode3D")   \
    F(int, ChatMode, chat_mode, "chatMode")             \
    F(ZRVPresenter, Presenter, presenter, "presenter")

namespace ZRV_MeetingService_API {

// A meeting of the registry.
class ZRVMeeting : public ZRVObject {
    ZRV_RECORD_DECLARE(ZRVMeeting, ZRV_MEETING_FIELDS)
};

} // namespace ZRV_MeetingService_API

Q_DECLARE_METATYPE(ZRV_MeetingService_API::ZRVMeeting)
