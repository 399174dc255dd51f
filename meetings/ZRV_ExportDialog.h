#pragma once

#include <QDialog>
#include <QString>

#include "ZRVMeetingInfo.h"

namespace Ui {
class ZRV_ExportDialog;
}

using ZRV_Service_API::ZRVMeetingInfo;

// Chooses which components of a meeting go into a .zrm file and writes it.
// With a record it saves that one meeting itself after Ok; without one
// (all meetings) the caller goes on with the writer.
class ZRV_ExportDialog : public QDialog
{
    Q_OBJECT

public:
    ZRV_ExportDialog(ZRVMeetingInfo *info, QWidget *parent);
    ~ZRV_ExportDialog() override;

    bool accepted() const { return m_accepted; }
    // Writes the ticked components of info; false (after a box) when the
    // file could not be opened.
    bool write(const ZRVMeetingInfo *info, QString fileName);
    // Shown without a modal loop of its own: the window's timers and replies
    // keep running until the dialog is gone.
    void showAndPoll();

private slots:
    void on_buttonBox_accepted();
    void on_buttonBox_rejected();

private:
    bool m_accepted = false;
    bool m_assets = true;
    bool m_urls = true;
    bool m_assetBundles = true;
    bool m_spawnPoints = true;
    ZRVMeetingInfo *m_info = nullptr;
    Ui::ZRV_ExportDialog *ui;
};
