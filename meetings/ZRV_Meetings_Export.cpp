// The panel's export of every live meeting, one file each.
#include "ZRV_Meetings.h"

#include <QMessageBox>
#include <QStandardPaths>

#include "ZRV_ExportDialog.h"
#include "ZRV_FileChooser.h"

void ZRV_Meetings::on_btnExportAll_clicked()
{
    ZRV_ExportDialog dialog(nullptr, this);
    dialog.showAndPoll();
    if (!dialog.accepted())
        return;

    const QString folder = ZRV_FileChooser::getExistingDirectory(
        this, QStringLiteral("Export all meetings to directory"),
        QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    if (folder.isEmpty())
        return;

    // The live list decides which meetings are written; the map may change
    // while a box is open, so the keys are taken once.
    const QStringList keys = m_infoMap.keys();
    for (const QString &key : keys) {
        const ZRVMeetingInfo info = m_infoMap.value(key);
        const ZRVMeeting meeting = m_meetingMap.value(key);
        const QString fileName = folder + QLatin1Char('/') + info.getMeetingId() + QLatin1Char('_') +
                                 meeting.getCreator() + QStringLiteral(".zrm");
        dialog.write(&info, fileName);
    }
    QMessageBox::information(this, QStringLiteral("Meetings exported"),
                             QStringLiteral("Meetings exported to %1.").arg(folder));
}
