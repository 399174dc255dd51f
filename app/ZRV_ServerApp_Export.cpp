// The meeting's components to and from a .zrm file.
#include "ZRV_ServerApp.h"

#include <QFile>
#include <QMessageBox>
#include <QStandardPaths>

#include "ZRV_ExportDialog.h"
#include "ZRV_ExportFile.h"
#include "ZRV_FileChooser.h"
#include "ZRV_Meetings.h"

void ZRV_ServerApp::on_btnExport_clicked()
{
    // The dialog saves the file itself; it keeps a pointer to the live record,
    // which a poll may renew while the dialog is open.
    ZRV_ExportDialog dialog(&m_meetingInfo, this);
    dialog.showAndPoll();
}

void ZRV_ServerApp::on_btnImport_clicked()
{
    const QString fileName = ZRV_FileChooser::getOpenFileName(
        this, QStringLiteral("Select Zarvo Export file"),
        QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation),
        QStringLiteral("Zarvo Export File (*.zrm)"));
    if (fileName.isEmpty())
        return;

    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        QMessageBox::critical(this, QStringLiteral("Cannot open import file"),
                              QStringLiteral("Import file could not be opened."));
        return;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    ZRV_ExportFile::Import import;
    if (!ZRV_ExportFile::read(bytes, &import)) {
        QMessageBox::critical(this, QStringLiteral("Error parsing import file"),
                              QStringLiteral("The import file could not be parsed correctly."));
        return;
    }

    const QString meetingId = m_meetings->selectedMeeting().getMeetingId();
    for (const ZRVAsset &asset : import.posts)
        m_serviceApi->assetAdd(meetingId, asset);

    if (ZRV_ExportFile::apply(import, &m_meetingInfo))
        onMeetingConfigChanged(m_meetingInfo);
}
