#include "ZRV_MeetingRows.h"

#include <QCoreApplication>
#include <QHash>
#include <QItemSelectionModel>
#include <QLabel>
#include <QTableWidget>

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_Service_API::ZRVMeetingInfo;
using ZRV_Service_API::ZRVMirrorClientInfo;

namespace {

const char *const kPictureProperty = "zrvPicture";

QString pictureOfAudioMode(int audioMode)
{
    // Modes 1 and 2 share the talking picture; the enabled picture is not shown in a row.
    return audioMode == 0 ? QStringLiteral(":/ZRV_ServerApp/mic_disabled.png")
                          : QStringLiteral(":/ZRV_ServerApp/mic_talking.png");
}

} // namespace

QPixmap ZRV_MeetingRows::picture(const QString &resource)
{
    // Reachable for the whole run: scaled once, shared by every label.
    static auto *cache = new QHash<QString, QPixmap>;
    auto it = cache->constFind(resource);
    if (it != cache->constEnd())
        return it.value();
    const QPixmap scaled =
        QPixmap(resource).scaled(17, 17, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    cache->insert(resource, scaled);
    return scaled;
}

void ZRV_MeetingRows::setPictureCell(QTableWidget *table, int row, int column,
                                     const QString &resource)
{
    auto *label = qobject_cast<QLabel *>(table->cellWidget(row, column));
    if (label && label->property(kPictureProperty).toString() == resource)
        return;
    if (!label) {
        label = new QLabel;
        label->setAlignment(Qt::AlignCenter);
        table->setCellWidget(row, column, label);
    }
    label->setPixmap(picture(resource));
    label->setProperty(kPictureProperty, resource);
}

void ZRV_MeetingRows::setTextCell(QTableWidget *table, int row, int column, const QString &text,
                                  Qt::Alignment alignment)
{
    QTableWidgetItem *cell = table->item(row, column);
    if (!cell) {
        cell = new QTableWidgetItem(text);
        if (alignment)
            cell->setTextAlignment(alignment);
        table->setItem(row, column, cell);
        return;
    }
    if (cell->text() != text)
        cell->setText(text);
    if (alignment && cell->textAlignment() != int(alignment))
        cell->setTextAlignment(alignment);
}

void ZRV_MeetingRows::applyColumns(QTableWidget *table, const QList<ColumnLayout> &columns)
{
    const int usable = table->width() - 40;
    QHeaderView *header = table->horizontalHeader();
    for (int col = 0; col < columns.size() && col < table->columnCount(); ++col) {
        header->setSectionResizeMode(col, columns.at(col).mode);
        table->setColumnWidth(col, int(usable * columns.at(col).share));
    }
}

QString ZRV_MeetingRows::selectedKey(const QTableWidget *meetings)
{
    if (!meetings->selectionModel() || !meetings->selectionModel()->hasSelection())
        return QString();
    const QTableWidgetItem *cell = meetings->item(meetings->currentRow(), ColId);
    return cell ? cell->text().toLower() : QString();
}

void ZRV_MeetingRows::fillRegistryRow(QTableWidget *table, int row, const ZRVMeeting &meeting)
{
    setTextCell(table, row, ColId, meeting.getMeetingId().toUpper(), Qt::AlignCenter);
    setPictureCell(table, row, ColPw,
                   meeting.getPassword().isEmpty() ? QStringLiteral(":/ZRV_ServerApp/lock_open.png")
                                                   : QStringLiteral(":/ZRV_ServerApp/lock_closed.png"));
    setPictureCell(table, row, ColVoice, pictureOfAudioMode(meeting.getAudioMode()));
    setTextCell(table, row, ColCreator, meeting.getCreator());
    setTextCell(table, row, ColTitle, meeting.getTitle());
    setTextCell(table, row, ColTimeLeft, QString());
    setTextCell(table, row, ColUsers, QString());
}

void ZRV_MeetingRows::applyLiveRow(QTableWidget *table, int row, const ZRVMeeting &meeting,
                                   const ZRVMeetingInfo &live, const QDateTime &nowUtc)
{
    if (!isActive(meeting)) {
        clearLiveRow(table, row);
        setPictureCell(table, row, ColStatus, QStringLiteral(":/ZRV_ServerApp/red.svg"));
        return;
    }
    setTextCell(table, row, ColUsers, QString::number(live.getClients().size()));
    setTextCell(table, row, ColTimeLeft, timeLeftText(live.getEndingTime(), nowUtc));
    setPictureCell(table, row, ColStatus, statusPicture(meeting, live));
}

void ZRV_MeetingRows::clearLiveRow(QTableWidget *table, int row)
{
    setTextCell(table, row, ColTimeLeft, QString());
    setTextCell(table, row, ColUsers, QString());
}

QString ZRV_MeetingRows::statusPicture(const ZRVMeeting &meeting, const ZRVMeetingInfo &live)
{
    if (live.is_status_mirror_Set() && live.getStatusMirror() != 1)
        return QStringLiteral(":/ZRV_ServerApp/yellow.svg");
    if (meeting.getLicense() == QLatin1String("endless"))
        return QStringLiteral(":/ZRV_ServerApp/blue.svg");
    return QStringLiteral(":/ZRV_ServerApp/green.svg");
}

QString ZRV_MeetingRows::timeLeftText(const QString &endingTime, const QDateTime &nowUtc)
{
    if (endingTime.isEmpty())
        return QStringLiteral("∞");
    const QDateTime end = QDateTime::fromString(endingTime, Qt::TextDate);
    const qint64 seconds = end.isValid() ? nowUtc.secsTo(end) : 0;
    if (seconds < 1)
        return QString();
    qint64 minutes = seconds / 60;
    if (seconds % 60 > 30)
        ++minutes;
    return QString::number(minutes) + QCoreApplication::translate("ZRV_Meetings", " mins");
}

bool ZRV_MeetingRows::isActive(const ZRVMeeting &meeting)
{
    return meeting.getStatus().compare(QLatin1String("active"), Qt::CaseInsensitive) == 0;
}

void ZRV_MeetingRows::fillMemberRow(QTableWidget *members, int row,
                                    const ZRVMirrorClientInfo &client)
{
    setTextCell(members, row, 0, QString::number(client.getId()), Qt::AlignCenter);
    members->item(row, 0)->setData(Qt::UserRole, client.asJson());
    // Talking or not, an enabled microphone shows one picture.
    setPictureCell(members, row, 1,
                   client.getVoiceEnabled() ? QStringLiteral(":/ZRV_ServerApp/mic_talking.png")
                                            : QStringLiteral(":/ZRV_ServerApp/mic_disabled.png"));
    setTextCell(members, row, 2, client.getAlias());
    setTextCell(members, row, 3, client.getCredentials().getUser());
    setTextCell(members, row, 4, client.getCurrentRole());
    setTextCell(members, row, 5, client.getHostName());
    // The form's "IP" column is cut away at set-up; the text only lands if it comes back.
    if (members->columnCount() > 6)
        setTextCell(members, row, 6, ipText(client.getIp()));
}

ZRVMirrorClientInfo ZRV_MeetingRows::memberOfRow(const QTableWidget *members, int row)
{
    ZRVMirrorClientInfo member;
    if (const QTableWidgetItem *cell = members->item(row, 0))
        member.fromJson(cell->data(Qt::UserRole).toString());
    return member;
}

QString ZRV_MeetingRows::ipText(int ip)
{
    const quint32 v = quint32(ip);
    return QStringLiteral("%1.%2.%3.%4")
        .arg((v >> 24) & 0xff)
        .arg((v >> 16) & 0xff)
        .arg((v >> 8) & 0xff)
        .arg(v & 0xff);
}
