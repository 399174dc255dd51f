// The meeting editor's field rules: what goes into the caller's record on Ok,
// above all the password field (bullets, cleared on entry, the hash).
#include <QComboBox>
#include <QCryptographicHash>
#include <QDialogButtonBox>
#include <QJsonDocument>
#include <QJsonObject>
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

// Runs the editor as the panel does: login data set after construction, then
// its delayed set-up; Ok pressed by pressOk.
struct Editor {
    ZRV_LoginData login;
    ZRV_MeetingEditor dialog;
    Editor(ZRVMeeting *meeting, int mode) : dialog(nullptr, meeting, mode)
    {
        login.id = "8d1f0c52-0a6e-4c1b-9a51-000000000003";
        login.userId = "presenter";
        dialog.m_loginData = &login;
        dialog.show();
    }
    bool ready() { return QTest::qWaitFor([this] { return !dialog.windowTitle().isEmpty(); }, 5000); }
    template <class T> T *child(const char *name) { return dialog.findChild<T *>(name); }
    void pressOk()
    {
        QTest::mouseClick(child<QDialogButtonBox>("buttonBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
    }
};

enum PasswordAction { Untouched, EnterOnly, EnterAndType };

} // namespace

class tst_ZRV_MeetingEditor : public QObject
{
    Q_OBJECT

private slots:
    void password_data();
    void password();
    void fields_data();
    void fields();
    void emptyTitleKeepsDialogOpen();
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
    ZRV_MeetingService_API::ZRVPresenter presenter;
    presenter.setName("Pat Presenter");
    meeting.setPresenter(presenter);
    if (!stored.isEmpty())
        meeting.setPassword(stored);
    Editor e(&meeting, mode);
    QVERIFY(e.ready());
    QCOMPARE(e.dialog.windowTitle(), mode ? "Modify a Meeting" : "Create a new Meeting");
    auto *field = e.child<QLineEdit>("lePassword");
    QCOMPARE(field->text(), stored.isEmpty() ? "" : "••••••••");
    if (action != Untouched) {
        QFocusEvent focusIn(QEvent::FocusIn, Qt::MouseFocusReason);
        QApplication::sendEvent(field, &focusIn);
        QCOMPARE(field->text(), QString());
    }
    if (action == EnterAndType)
        field->insert(typed); // as typed; keyClicks knows no umlauts
    e.pressOk();

    QCOMPARE(e.dialog.result(), int(QDialog::Accepted));
    QCOMPARE(meeting.is_password_Set(), expectSet);
    QCOMPARE(meeting.getPassword(), expected);
    QVERIFY(expected.isEmpty() || expected.size() == 88);
    // An emptied password still goes out, as an empty text.
    QCOMPARE(meeting.asJsonObject().contains("password"), expectSet);
    // A create fills owner and status; neither fills the presenter's fallbacks in.
    QCOMPARE(meeting.getCreator(), mode ? QString() : e.login.userId);
    QCOMPARE(meeting.getCreatorId(), mode ? QString() : e.login.id);
    QCOMPARE(meeting.getStatus(), mode ? "" : "pending");
    QCOMPARE(meeting.getPresenter().getName(), "Pat Presenter");
    QVERIFY(!meeting.getPresenter().is_email_Set());
}

void tst_ZRV_MeetingEditor::fields_data()
{
    QTest::addColumn<QString>("record");  // keys of the stored meeting
    QTest::addColumn<int>("endless");     // the account's licence value for endless meetings
    QTest::addColumn<QString>("change");  // "combo=index", or nothing
    QTest::addColumn<QString>("shown");   // 3D index, 3D shown, "No End Time" selectable
    QTest::addColumn<QString>("sent");    // keys of the record after Ok

    QTest::newRow("3D of 15 shows On and returns as 10")
        << R"("audioMode":1,"audioMode3D":15)" << 1 << "" << "1 1 1" << R"("audioMode":1,"audioMode3D":10)";
    QTest::newRow("3D unset leaves the first item") << R"("audioMode":2)" << 1 << "" << "0 1 1" << R"("audioMode3D":0)";
    QTest::newRow("voice off hides 3D yet keeps it at 10")
        << R"("audioMode":1,"audioMode3D":10)" << 1 << "cmbVoiceMode=0" << "1 0 1" << R"("audioMode":0,"audioMode3D":10)";
    QTest::newRow("voice off from the start: 3D hidden") << R"("audioMode":0,"audioMode3D":0)" << 1 << "" << "0 0 1" << R"("audioMode3D":0)";
    QTest::newRow("no end time chosen") << R"("license":"default")" << 1 << "cmbLicense=1" << "0 0 1" << R"("license":"endless")";
    QTest::newRow("endless shown as no end time, back to an end")
        << R"("license":"endless")" << 2 << "cmbLicense=0" << "0 0 1" << R"("license":"default")";
    QTest::newRow("a licence without endless meetings cannot choose it")
        << R"("license":"default")" << 0 << "" << "0 0 0" << R"("license":"default")";
    QTest::newRow("an endless meeting keeps its choice under such a licence")
        << R"("license":"endless")" << 0 << "" << "0 0 1" << R"("license":"endless")";
}

void tst_ZRV_MeetingEditor::fields()
{
    QFETCH(QString, record);
    QFETCH(int, endless);
    QFETCH(QString, change);
    QFETCH(QString, shown);
    QFETCH(QString, sent);

    ZRVMeeting meeting;
    meeting.fromJson(R"({"title":"Fields",)" + record + "}");
    Editor e(&meeting, 1);
    e.login.countEndlessMeetings = endless;
    QVERIFY(e.ready());
    auto *licence = e.child<QComboBox>("cmbLicense");
    QCOMPARE(licence->currentIndex(), record.contains("endless") ? 1 : 0);
    auto *noEnd = qobject_cast<QStandardItemModel *>(licence->model())->item(1);
    if (!change.isEmpty())
        e.child<QComboBox>(qPrintable(change.section('=', 0, 0)))->setCurrentIndex(change.section('=', 1).toInt());
    auto *voice3D = e.child<QComboBox>("cmbVoice3D");
    QCOMPARE(voice3D->isVisible(), e.child<QLabel>("lblVoice3D")->isVisible());
    QCOMPARE(QString("%1 %2 %3").arg(voice3D->currentIndex()).arg(voice3D->isVisible()).arg(noEnd->isEnabled()), shown);
    e.pressOk();
    const QJsonObject expected = QJsonDocument::fromJson("{" + sent.toUtf8() + "}").object();
    for (const QString &key : expected.keys())
        QCOMPARE(meeting.asJsonObject().value(key), expected.value(key));
}

void tst_ZRV_MeetingEditor::emptyTitleKeepsDialogOpen()
{
    ZRVMeeting meeting;
    meeting.setTitle("Old");
    Editor e(&meeting, 1);
    QVERIFY(e.ready());
    e.child<QLineEdit>("leTitle")->clear();
    e.child<QComboBox>("cmbChatMode")->setCurrentIndex(1);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(5000);
    e.pressOk();
    QCOMPARE(answerer.seen().size(), 1);
    QCOMPARE(answerer.seen().first().title, "Meeting Title not set");
    QCOMPARE(answerer.seen().first().text, "Meeting Title cannot be empty.");
    QCOMPARE(answerer.seen().first().buttons.size(), 1);
    QVERIFY(e.dialog.isVisible());
    QCOMPARE(meeting.getTitle(), "Old");
    QVERIFY(!meeting.is_chat_mode_Set());
}

QTEST_MAIN(tst_ZRV_MeetingEditor)
#include "tst_ZRV_MeetingEditor.moc"
