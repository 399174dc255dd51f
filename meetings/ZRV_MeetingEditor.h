#pragma once

#include <QDialog>
#include <QString>

#include "ZRVMeeting.h"

namespace Ui {
class ZRV_MeetingEditor;
}

class QAbstractButton;
struct ZRV_LoginData;

// Creates or modifies one meeting of the registry. Edits the caller's record
// and sends nothing: on Ok it writes the fields and closes; the caller sends.
// A set password shows as bullets; entering the field clears it, and only a
// changed field goes out again, as the Base64 SHA-512 hash of its text.
class ZRV_MeetingEditor : public QDialog
{
    Q_OBJECT

public:
    // mode 0 creates, 1 modifies. Set m_loginData before exec().
    ZRV_MeetingEditor(QWidget *parent, ZRV_MeetingService_API::ZRVMeeting *meeting, int mode);
    ~ZRV_MeetingEditor() override;

    // The form of a password the registry stores: 88 characters.
    static QString passwordHash(const QString &password);

    int m_mode = 0;
    ZRV_LoginData *m_loginData = nullptr;

public slots:
    bool eventFilter(QObject *object, QEvent *event) override;

private slots:
    void onSetupUI();
    void on_tblMeetingMembers_itemSelectionChanged();
    void on_buttonBox_clicked(QAbstractButton *button);
    void on_cmbVoiceMode_currentIndexChanged(int index);

private:
    void fillOnCreate();
    void fillOnModify();
    void fillModes();
    bool endlessPermitted() const;
    QString selectedLicense() const;

    Ui::ZRV_MeetingEditor *ui;
    ZRV_MeetingService_API::ZRVMeeting *m_meeting;
    QString m_presenterName;
    QString m_presenterEmail;
};
