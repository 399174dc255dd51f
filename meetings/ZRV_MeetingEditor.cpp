#include "ZRV_MeetingEditor.h"
#include "ui_ZRV_MeetingEditor.h"

#include <QCryptographicHash>
#include <QEvent>
#include <QMessageBox>
#include <QStandardItemModel>
#include <QTimer>

#include "ZRV_LoginData.h"

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_MeetingService_API::ZRVPresenter;

namespace {

const QString kBullets = QStringLiteral("••••••••");
const QString kBullet = QStringLiteral("•");

// Items of the license selector and what the registry stores for them.
const QString kLicenseDefault = QStringLiteral("default");
const QString kLicenseEndless = QStringLiteral("endless");
const int kEndlessIndex = 1;

} // namespace

ZRV_MeetingEditor::ZRV_MeetingEditor(QWidget *parent, ZRVMeeting *meeting, int mode)
    : QDialog(parent), m_mode(mode), ui(new Ui::ZRV_MeetingEditor), m_meeting(meeting)
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    setMaximumWidth(400);
    ui->lePassword->installEventFilter(this);
    // The caller sets m_loginData after construction; the set-up reads it.
    QTimer::singleShot(100, this, &ZRV_MeetingEditor::onSetupUI);
    ui->lblVoice3D->hide();
    ui->cmbVoice3D->hide();
}

ZRV_MeetingEditor::~ZRV_MeetingEditor()
{
    delete ui;
}

QString ZRV_MeetingEditor::passwordHash(const QString &password)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(password.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

void ZRV_MeetingEditor::onSetupUI()
{
    setWindowTitle(m_mode == 1 ? tr("Modify a Meeting") : tr("Create a new Meeting"));

    const ZRVPresenter presenter = m_meeting->getPresenter();
    m_presenterName = presenter.getName().isEmpty() ? QStringLiteral("empty_name") : presenter.getName();
    m_presenterEmail =
        presenter.getEmail().isEmpty() ? QStringLiteral("empty_email") : presenter.getEmail();

    ui->leTitle->setText(m_meeting->getTitle());
    ui->leDescription->setText(m_meeting->getDescription());
    ui->cmbVoiceMode->setCurrentIndex(m_meeting->getAudioMode());
    if (m_meeting->is_audio_mode_3d_Set())
        ui->cmbVoice3D->setCurrentIndex(m_meeting->getAudioMode3D() / 10);
    ui->cmbChatMode->setCurrentIndex(m_meeting->getChatMode());
    ui->lePassword->setText(m_meeting->getPassword().isEmpty() ? QString() : kBullets);

    const bool endless = m_meeting->getLicense().compare(kLicenseEndless, Qt::CaseInsensitive) == 0;
    ui->cmbLicense->setCurrentIndex(endless ? kEndlessIndex : 0);
    // An account whose licence allows no meeting without end cannot choose it.
    if (auto *model = qobject_cast<QStandardItemModel *>(ui->cmbLicense->model())) {
        if (QStandardItem *item = model->item(kEndlessIndex))
            item->setEnabled(endless || endlessPermitted());
    }
}

bool ZRV_MeetingEditor::endlessPermitted() const
{
    // Negative: no limit. The service still refuses a start beyond the count.
    return !m_loginData || m_loginData->countEndlessMeetings != 0;
}

QString ZRV_MeetingEditor::selectedLicense() const
{
    return ui->cmbLicense->currentIndex() == kEndlessIndex ? kLicenseEndless : kLicenseDefault;
}

void ZRV_MeetingEditor::on_tblMeetingMembers_itemSelectionChanged()
{
}

void ZRV_MeetingEditor::on_cmbVoiceMode_currentIndexChanged(int index)
{
    ui->lblVoice3D->setVisible(index >= 1);
    ui->cmbVoice3D->setVisible(index >= 1);
}

bool ZRV_MeetingEditor::eventFilter(QObject *object, QEvent *event)
{
    // Entering a protected meeting's field is an edit: left empty, it removes the password.
    if (object == ui->lePassword && event->type() == QEvent::FocusIn
        && ui->lePassword->text().contains(kBullet)) {
        ui->lePassword->clear();
        ui->lePassword->setModified(true);
    }
    return false;
}

void ZRV_MeetingEditor::on_buttonBox_clicked(QAbstractButton *button)
{
    switch (ui->buttonBox->buttonRole(button)) {
    case QDialogButtonBox::RejectRole:
        reject();
        break;
    case QDialogButtonBox::AcceptRole:
        if (ui->leTitle->text().isEmpty()) {
            QMessageBox::critical(this, tr("Meeting Title not set"),
                                  tr("Meeting Title cannot be empty."), QMessageBox::Ok);
            return;
        }
        if (m_mode == 1)
            fillOnModify();
        else
            fillOnCreate();
        accept();
        break;
    default:
        break;
    }
}

void ZRV_MeetingEditor::fillModes()
{
    m_meeting->setAudioMode(ui->cmbVoiceMode->currentIndex());
    // Sent even while hidden, so a meeting keeps its 3D voice when voice goes off.
    m_meeting->setAudioMode3D(ui->cmbVoice3D->currentIndex() * 10);
    m_meeting->setChatMode(ui->cmbChatMode->currentIndex());
}

void ZRV_MeetingEditor::fillOnCreate()
{
    if (m_loginData) {
        m_meeting->setCreator(m_loginData->userId);
        m_meeting->setCreatorId(m_loginData->id);
    }
    m_meeting->setTitle(ui->leTitle->text());
    m_meeting->setDescription(ui->leDescription->text());
    m_meeting->setStatus(QStringLiteral("pending"));
    fillModes();
    m_meeting->setLicense(selectedLicense());
    if (!ui->lePassword->text().isEmpty())
        m_meeting->setPassword(passwordHash(ui->lePassword->text()));

    // The presenter is filled on a copy only: the record keeps the one it came with.
    ZRVPresenter presenter = m_meeting->getPresenter();
    presenter.setName(m_presenterName);
    presenter.setEmail(m_presenterEmail);
}

void ZRV_MeetingEditor::fillOnModify()
{
    m_meeting->setTitle(ui->leTitle->text());
    m_meeting->setDescription(ui->leDescription->text());
    fillModes();
    // The selector offers no end time only where the licence permits it.
    m_meeting->setLicense(selectedLicense());
    if (ui->lePassword->isModified()) {
        const QString text = ui->lePassword->text();
        m_meeting->setPassword(text.isEmpty() ? QStringLiteral("") : passwordHash(text));
    }

    // The presenter is filled on a copy only: the record keeps the one it came with.
    ZRVPresenter presenter = m_meeting->getPresenter();
    presenter.setName(m_presenterName);
    presenter.setEmail(m_presenterEmail);
}
