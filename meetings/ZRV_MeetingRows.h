#pragma once

#include <QDateTime>
#include <QHeaderView>
#include <QList>
#include <QPixmap>
#include <QString>

#include "ZRVMeeting.h"
#include "ZRVMeetingInfo.h"

class QTableWidget;

// How one row of the meeting table and of the member table looks: the
// pictures, the texts and the column widths. The panel decides when a row is
// written; this decides what goes into it, touching only cells that change,
// since the live overlay repaints every row every ten seconds.
class ZRV_MeetingRows
{
public:
    enum MeetingColumn {
        ColId = 0,
        ColStatus,
        ColPw,
        ColVoice,
        ColCreator,
        ColTitle,
        ColTimeLeft,
        ColUsers,
        MeetingColumnCount
    };

    struct ColumnLayout {
        double share;
        QHeaderView::ResizeMode mode;
    };

    // A picture of the resource, scaled once to the 17 by 17 of a cell.
    static QPixmap picture(const QString &resource);
    // Puts a centred picture label into the cell, reusing the label there.
    static void setPictureCell(QTableWidget *table, int row, int column, const QString &resource);
    // Sets the text of the cell, creating its item only when it is missing.
    static void setTextCell(QTableWidget *table, int row, int column, const QString &text,
                            Qt::Alignment alignment = Qt::Alignment());
    // Column widths as shares of the table width less 40, truncated.
    static void applyColumns(QTableWidget *table, const QList<ColumnLayout> &columns);

    // The lower-cased id of the current row, empty when nothing is selected:
    // the one key into both maps of the panel.
    static QString selectedKey(const QTableWidget *meetings);

    // Registry columns of a row; the status cell is the overlay's alone.
    static void fillRegistryRow(QTableWidget *table, int row,
                                const ZRV_MeetingService_API::ZRVMeeting &meeting);
    // Overlay of one row that has a live record.
    static void applyLiveRow(QTableWidget *table, int row,
                             const ZRV_MeetingService_API::ZRVMeeting &meeting,
                             const ZRV_Service_API::ZRVMeetingInfo &live, const QDateTime &nowUtc);
    // Overlay of one row that the live list does not hold.
    static void clearLiveRow(QTableWidget *table, int row);

    static QString statusPicture(const ZRV_MeetingService_API::ZRVMeeting &meeting,
                                 const ZRV_Service_API::ZRVMeetingInfo &live);
    // "∞" without an end, "<n> mins" rounded to the nearest minute with 30
    // seconds rounding down, empty once the end has come or cannot be read.
    static QString timeLeftText(const QString &endingTime, const QDateTime &nowUtc);
    static bool isActive(const ZRV_MeetingService_API::ZRVMeeting &meeting);

    // One member row of the member table.
    static void fillMemberRow(QTableWidget *members, int row,
                              const ZRV_Service_API::ZRVMirrorClientInfo &client);
    // The member a row was filled from; empty when the row holds none.
    static ZRV_Service_API::ZRVMirrorClientInfo memberOfRow(const QTableWidget *members, int row);
    // Dotted form of the service's integer address, highest byte first.
    static QString ipText(int ip);
};
