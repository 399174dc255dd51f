// The meeting editor's field rules: what goes into the caller's record on Ok,
// above all the password field (bullets, clearing on entry, the hash).

#include <QComboBox>
#include <QCryptographicHash>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStandardItemModel>
#include <QtTest>

#include "ModalAnswerer.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingEditor.h"

using ZRV_MeetingService_API::ZRVMeeting;

namespace {

QString shaOf(const QString &text)
{
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64());
}

// Shows the editor as the panel runs it and waits for its delayed set-up.
bool openEditor(ZRV_MeetingEditor &editor)
{
    editor.show();
    return QTest::qWaitFor([&editor]() { return !editor.windowTitle().isEmpty(); }, 5000);
}

void pressOk(ZRV_MeetingEditor &editor)
{
    QTest::mouseClick(editor.findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

enum PasswordAction { Untouched, EnterOnly, EnterAndType };

} // namespace

class tst_ZRV_MeetingEditor : public QObject
{
    Q_OBJECT

private slots:
    void password_data();
    void password();
    void voiceModes_data();
    void voiceModes();
    void createFillsOwnerAndStatus();
    void emptyTitleKeepsDialogOpen();
    void licenseSelector_data();
    void licenseSelector();
};

void tst_ZRV_MeetingEditor::password_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<int>("action");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("expectSet");
    QTest::addColumn<QString>("expected");

    const QString hash = shaOf("welcome");
    QTest::newRow("modify protected, untouched: the stored hash stays, no hash of bullets")
        << 1 << hash << int(Untouched) << "" << true << hash;
    QTest::newRow("modify protected, entered only: the password is removed") << 1 << hash << int(EnterOnly) << "" << true << "";
    QTest::newRow("modify protected, new text: its hash") << 1 << hash << int(EnterAndType) << "n3w pass" << true << shaOf("n3w pass");
    QTest::newRow("modify open, entered only: nothing is sent") << 1 << "" << int(EnterOnly) << "" << false << "";
    QTest::newRow("modify open, text beyond ASCII: hash of its UTF-8")
        << 1 << "" << int(EnterAndType) << "äöü secret" << true << shaOf("äöü secret");
    QTest::newRow("create with text: its hash") << 0 << "" << int(EnterAndType) << "x" << true << shaOf("x");
    QTest::newRow("create without text: no password") << 0 << "" << int(Untouched) << "" << false << "";
}

void tst_ZRV_MeetingEditor::password()
{
    QFETCH(int, mode);
    QFETCH(QString, stored);
    QFETCH(int, action);
    QFETCH(QString, typed);
    QFETCH(bool, expectSet);
    QFETCH(QString, expected);

    ZRVMeeting meeting;
    meeting.setTitle("Review");
    if (!stored.isEmpty())
        meeting.setPassword(stored);
    ZRV_LoginData login;
    ZRV_MeetingEditor editor(nullptr, &meeting, mode);
    editor.m_loginData = &login;
    QVERIFY(openEditor(editor));

    auto *field = editor.findChild<QLineEdit *>("lePassword");
    QCOMPARE(field->text(), stored.isEmpty() ? QString() : QStringLiteral("••••••••"));
    if (action != Untouched) {
        QFocusEvent focusIn(QEvent::FocusIn, Qt::MouseFocusReason);
        QApplication::sendEvent(field, &focusIn);
        QCOMPARE(field->text(), QString());
    }
    if (action == EnterAndType)
        field->insert(typed); // as typed; keyClicks knows no umlauts
    pressOk(editor);

    QCOMPARE(editor.result(), int(QDialog::Accepted));
    QCOMPARE(meeting.is_password_Set(), expectSet);
    QCOMPARE(meeting.getPassword(), expected);
    QVERIFY(expected.isEmpty() || expected.size() == 88);
    // An emptied password still goes out, as an empty text.
    QCOMPARE(meeting.asJsonObject().contains("password"), expectSet);
}

void tst_ZRV_MeetingEditor::voiceModes_data()
{
    QTest::addColumn<int>("audioMode");
    QTest::addColumn<int>("audioMode3D");  // -1: not in the record
    QTest::addColumn<int>("newVoiceMode"); // -1: left as shown
    QTest::addColumn<int>("shown3D");
    QTest::addColumn<bool>("visible3D");
    QTest::addColumn<int>("sent3D");

    QTest::newRow("3D of 15 shows On and returns as 10") << 1 << 15 << -1 << 1 << true << 10;
    QTest::newRow("3D unset leaves the first item") << 2 << -1 << -1 << 0 << true << 0;
    QTest::newRow("voice off hides 3D yet keeps it at 10") << 1 << 10 << 0 << 1 << false << 10;
    QTest::newRow("voice off from the start: 3D hidden") << 0 << 0 << -1 << 0 << false << 0;
}

void tst_ZRV_MeetingEditor::voiceModes()
{
    QFETCH(int, audioMode);
    QFETCH(int, audioMode3D);
    QFETCH(int, newVoiceMode);
    QFETCH(int, shown3D);
    QFETCH(bool, visible3D);
    QFETCH(int, sent3D);

    ZRVMeeting meeting;
    meeting.setTitle("Voice");
    meeting.setAudioMode(audioMode);
    if (audioMode3D >= 0)
        meeting.setAudioMode3D(audioMode3D);
    ZRV_MeetingEditor editor(nullptr, &meeting, 1);
    QVERIFY(openEditor(editor));
    auto *voice = editor.findChild<QComboBox *>("cmbVoiceMode");
    QCOMPARE(voice->currentIndex(), audioMode);
    QCOMPARE(editor.findChild<QComboBox *>("cmbVoice3D")->currentIndex(), shown3D);
    if (newVoiceMode >= 0)
        voice->setCurrentIndex(newVoiceMode);
    QCOMPARE(editor.findChild<QComboBox *>("cmbVoice3D")->isVisible(), visible3D);
    QCOMPARE(editor.findChild<QLabel *>("lblVoice3D")->isVisible(), visible3D);
    pressOk(editor);
    QCOMPARE(meeting.getAudioMode(), voice->currentIndex());
    QCOMPARE(meeting.getAudioMode3D(), sent3D);
}

void tst_ZRV_MeetingEditor::createFillsOwnerAndStatus()
{
    ZRVMeeting meeting;
    ZRV_MeetingService_API::ZRVPresenter presenter;
    presenter.setName("Pat Presenter");
    meeting.setPresenter(presenter);
    ZRV_LoginData login;
    login.id = "8d1f0c52-0a6e-4c1b-9a51-000000000003";
    login.userId = "presenter";
    ZRV_MeetingEditor editor(nullptr, &meeting, 0);
    editor.m_loginData = &login;
    QVERIFY(openEditor(editor));
    QCOMPARE(editor.windowTitle(), QStringLiteral("Create a new Meeting"));
    QTest::keyClicks(editor.findChild<QLineEdit *>("leTitle"), "Launch");
    pressOk(editor);

    QCOMPARE(meeting.getCreator(), login.userId);
    QCOMPARE(meeting.getCreatorId(), login.id);
    QCOMPARE(meeting.getStatus(), QStringLiteral("pending"));
    QCOMPARE(meeting.getTitle(), QStringLiteral("Launch"));
    // The presenter stays as the caller made it: no fallback e-mail is written.
    QCOMPARE(meeting.getPresenter().getName(), QStringLiteral("Pat Presenter"));
    QVERIFY(!meeting.getPresenter().is_email_Set());
}

void tst_ZRV_MeetingEditor::emptyTitleKeepsDialogOpen()
{
    ZRVMeeting meeting;
    meeting.setTitle("Old");
    ZRV_MeetingEditor editor(nullptr, &meeting, 1);
    QVERIFY(openEditor(editor));
    editor.findChild<QLineEdit *>("leTitle")->clear();
    editor.findChild<QComboBox *>("cmbChatMode")->setCurrentIndex(1);

    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(5000);
    pressOk(editor);
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, QStringLiteral("Meeting Title not set"));
    QCOMPARE(answerer.seen().first().text, QStringLiteral("Meeting Title cannot be empty."));
    QCOMPARE(answerer.seen().first().buttons.size(), 1);
    QVERIFY(editor.isVisible());
    QCOMPARE(meeting.getTitle(), QStringLiteral("Old"));
    QVERIFY(!meeting.is_chat_mode_Set());
}

void tst_ZRV_MeetingEditor::licenseSelector_data()
{
    QTest::addColumn<QString>("license");
    QTest::addColumn<int>("endlessAllowed"); // the account's licence value
    QTest::addColumn<bool>("selectable");
    QTest::addColumn<int>("choose"); // -1: left as shown
    QTest::addColumn<QString>("sent");

    QTest::newRow("default stays default") << "default" << 2 << true << -1 << "default";
    QTest::newRow("no end time chosen") << "default" << 1 << true << 1 << "endless";
    QTest::newRow("endless shown as no end time, back to an end") << "endless" << 2 << true << 0 << "default";
    QTest::newRow("a licence without endless meetings cannot choose it") << "default" << 0 << false << -1 << "default";
    QTest::newRow("an endless meeting keeps its choice under such a licence") << "endless" << 0 << true << -1 << "endless";
}

void tst_ZRV_MeetingEditor::licenseSelector()
{
    QFETCH(QString, license);
    QFETCH(int, endlessAllowed);
    QFETCH(bool, selectable);
    QFETCH(int, choose);
    QFETCH(QString, sent);

    ZRVMeeting meeting;
    meeting.setTitle("Licence");
    meeting.setLicense(license);
    ZRV_LoginData login;
    login.countEndlessMeetings = endlessAllowed;
    ZRV_MeetingEditor editor(nullptr, &meeting, 1);
    editor.m_loginData = &login;
    QVERIFY(openEditor(editor));
    auto *combo = editor.findChild<QComboBox *>("cmbLicense");
    QCOMPARE(combo->currentIndex(), license == "endless" ? 1 : 0);
    QCOMPARE(qobject_cast<QStandardItemModel *>(combo->model())->item(1)->isEnabled(), selectable);
    if (choose >= 0)
        combo->setCurrentIndex(choose);
    pressOk(editor);
    QCOMPARE(meeting.getLicense(), sent);
}

QTEST_MAIN(tst_ZRV_MeetingEditor)
#include "tst_ZRV_MeetingEditor.moc"
