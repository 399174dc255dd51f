// The meeting editor's field rules: what it shows and what goes into the
// caller's record on Ok, above all the password (bullets, cleared on entry, the hash).
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

// The editor as the panel runs it: login data set after construction, then its delayed set-up.
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
    void pressOk() { QTest::mouseClick(child<QDialogButtonBox>("buttonBox")->button(QDialogButtonBox::Ok), Qt::LeftButton); }
};

} // namespace

class tst_ZRV_MeetingEditor : public QObject
{
    Q_OBJECT

private slots:
    void fields_data();
    void fields();
};

void tst_ZRV_MeetingEditor::fields_data()
{
    QTest::addColumn<int>("mode");        // 0 create, 1 modify
    QTest::addColumn<QString>("record");  // keys of the stored meeting
    QTest::addColumn<int>("endless");     // the account's licence value for endless meetings
    // "enter" the password field, "type:" into it, "title=" text, "combo=index"; ";" between.
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("shown");   // password field, 3D index, 3D shown, "No End Time" selectable
    QTest::addColumn<QString>("sent");    // keys of the record after Ok; null: not in it

    const QString stored = QString(R"("password":"%1")").arg(shaOf("welcome"));
    const QString bullets = "•••••••• 0 0 1";
    const auto hash = [](const char *text) { return QString(R"("password":"%1")").arg(shaOf(text)); };
    QTest::newRow("modify protected, untouched: the stored hash stays, no hash of bullets")
        << 1 << stored << 1 << "" << bullets << stored;
    QTest::newRow("modify protected, entered only: the password is removed")
        << 1 << stored << 1 << "enter" << bullets << R"("password":"")";
    QTest::newRow("modify protected, new text: its hash") << 1 << stored << 1 << "enter;type:n3w pass" << bullets << hash("n3w pass");
    QTest::newRow("modify open, entered only: nothing is sent") << 1 << "" << 1 << "enter" << " 0 0 1" << R"("password":null)";
    QTest::newRow("modify open, text beyond ASCII: hash of its UTF-8")
        << 1 << "" << 1 << "enter;type:äöü secret" << " 0 0 1" << hash("äöü secret");
    QTest::newRow("create with text: its hash, the owner, pending") << 0 << "" << 1 << "enter;type:x" << " 0 0 1"
        << hash("x") + R"(,"creator":"presenter","creatorId":"8d1f0c52-0a6e-4c1b-9a51-000000000003","status":"pending")";
    QTest::newRow("create without text: no password") << 0 << "" << 1 << "" << " 0 0 1" << R"("password":null,"status":"pending")";
    QTest::newRow("empty title: a box, the dialog stays open, the record untouched")
        << 1 << "" << 1 << "title=;cmbChatMode=1" << " 0 0 1" << R"("title":"Review","chatMode":null)";
    QTest::newRow("3D of 15 shows On and returns as 10")
        << 1 << R"("audioMode":1,"audioMode3D":15)" << 1 << "" << " 1 1 1" << R"("audioMode":1,"audioMode3D":10)";
    QTest::newRow("3D unset leaves the first item") << 1 << R"("audioMode":2)" << 1 << "" << " 0 1 1" << R"("audioMode3D":0)";
    QTest::newRow("voice off hides 3D yet keeps it at 10")
        << 1 << R"("audioMode":1,"audioMode3D":10)" << 1 << "cmbVoiceMode=0" << " 1 0 1" << R"("audioMode":0,"audioMode3D":10)";
    QTest::newRow("no end time chosen") << 1 << R"("license":"default")" << 1 << "cmbLicense=1" << " 0 0 1" << R"("license":"endless")";
    QTest::newRow("endless shown as no end time, back to an end")
        << 1 << R"("license":"endless")" << 2 << "cmbLicense=0" << " 0 0 1" << R"("license":"default")";
    QTest::newRow("a licence without endless meetings cannot choose it")
        << 1 << R"("license":"default")" << 0 << "" << " 0 0 0" << R"("license":"default")";
    QTest::newRow("an endless meeting keeps its choice under such a licence")
        << 1 << R"("license":"endless")" << 0 << "" << " 0 0 1" << R"("license":"endless")";
}

void tst_ZRV_MeetingEditor::fields()
{
    QFETCH(int, mode);
    QFETCH(QString, record);
    QFETCH(int, endless);
    QFETCH(QString, steps);
    QFETCH(QString, shown);
    QFETCH(QString, sent);

    ZRVMeeting meeting;
    meeting.fromJson(R"({"title":"Review","presenter":{"name":"Pat Presenter"})" + (record.isEmpty() ? "" : "," + record) + "}");
    Editor e(&meeting, mode);
    e.login.countEndlessMeetings = endless;
    QVERIFY(e.ready());
    QCOMPARE(e.dialog.windowTitle(), mode ? "Modify a Meeting" : "Create a new Meeting");
    auto *password = e.child<QLineEdit>("lePassword");
    auto *licence = e.child<QComboBox>("cmbLicense");
    QCOMPARE(licence->currentIndex(), record.contains("endless") ? 1 : 0);
    auto *voice3D = e.child<QComboBox>("cmbVoice3D");
    const QString before = password->text();
    for (const QString &step : steps.split(';', Qt::SkipEmptyParts)) {
        if (step == "enter") {
            QFocusEvent focusIn(QEvent::FocusIn, Qt::MouseFocusReason);
            QApplication::sendEvent(password, &focusIn);
            QCOMPARE(password->text(), QString());
        } else if (step.startsWith("title=")) {
            e.child<QLineEdit>("leTitle")->setText(step.mid(6));
        } else if (step.startsWith("type:")) {
            password->insert(step.mid(5)); // as typed; keyClicks knows no umlauts
        } else {
            e.child<QComboBox>(qPrintable(step.section('=', 0, 0)))->setCurrentIndex(step.section('=', 1).toInt());
        }
    }
    QCOMPARE(voice3D->isVisible(), e.child<QLabel>("lblVoice3D")->isVisible());
    const bool selectable = qobject_cast<QStandardItemModel *>(licence->model())->item(1)->isEnabled();
    QCOMPARE(QString("%1 %2 %3 %4").arg(before).arg(voice3D->currentIndex()).arg(voice3D->isVisible()).arg(selectable), shown);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(5000);
    e.pressOk();
    const bool refused = e.child<QLineEdit>("leTitle")->text().isEmpty();
    QStringList boxes;
    for (const ModalAnswerer::Seen &seen : answerer.seen())
        boxes << QString("%1|%2|%3").arg(seen.title, seen.text).arg(seen.buttons.size());
    QCOMPARE(boxes.join('\n'), refused ? "Meeting Title not set|Meeting Title cannot be empty.|1" : "");
    QCOMPARE(e.dialog.isVisible(), refused);
    QCOMPARE(e.dialog.result(), refused ? 0 : int(QDialog::Accepted));
    const QJsonObject out = meeting.asJsonObject();
    const QJsonObject expected = QJsonDocument::fromJson("{" + sent.toUtf8() + "}").object();
    for (const QString &key : expected.keys())
        QCOMPARE(out.contains(key) ? out.value(key) : QJsonValue(QJsonValue::Null), expected.value(key));
    QVERIFY(out.value("password").toString().isEmpty() || out.value("password").toString().size() == 88);
    // The presenter stays as the caller made it: no fallback is written into it.
    QCOMPARE(meeting.getPresenter().getName(), "Pat Presenter");
    QVERIFY(!meeting.getPresenter().is_email_Set());
}

QTEST_MAIN(tst_ZRV_MeetingEditor)
#include "tst_ZRV_MeetingEditor.moc"
