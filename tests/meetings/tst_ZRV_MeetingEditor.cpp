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

    const auto hash = [](const QString &text) {
        return QString(R"("password":"%1")").arg(QString(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha512).toBase64()));
    };
    const QString stored = hash("welcome");
    // The untouched protected modify, its bullets and kept hash, are driven by the meetings panel test.
    QTest::newRow("modify protected, entered only: the password is removed")
        << 1 << stored << 1 << "enter" << "•••••••• 0 0 1" << R"("password":"")";
    QTest::newRow("modify open, entered only: nothing is sent") << 1 << "" << 1 << "enter" << " 0 0 1" << R"("password":null)";
    QTest::newRow("modify open, text beyond ASCII: hash of its UTF-8")
        << 1 << "" << 1 << "enter;type:äöü secret" << " 0 0 1" << hash("äöü secret");
    QTest::newRow("create without text: no password, the owner, pending") << 0 << "" << 1 << "" << " 0 0 1"
        << R"("password":null,"creator":"presenter","creatorId":"8d1f0c52-0a6e-4c1b-9a51-000000000003","status":"pending")";
    QTest::newRow("empty title: a box, the dialog stays open, the record untouched")
        << 1 << "" << 1 << "title=;cmbChatMode=1" << " 0 0 1" << R"("title":"Review","chatMode":null)";
    QTest::newRow("3D of 15 shows On and returns as 10")
        << 1 << R"("audioMode":1,"audioMode3D":15)" << 1 << "" << " 1 1 1" << R"("audioMode":1,"audioMode3D":10)";
    QTest::newRow("voice off hides 3D yet keeps it at 10")
        << 1 << R"("audioMode":1,"audioMode3D":10)" << 1 << "cmbVoiceMode=0" << " 1 0 1" << R"("audioMode":0,"audioMode3D":10)";
    QTest::newRow("endless shown as no end time, back to an end")
        << 1 << R"("license":"endless")" << 2 << "cmbLicense=0" << " 0 0 1" << R"("license":"default")";
    QTest::newRow("a licence without endless meetings cannot choose it")
        << 1 << R"("license":"default")" << 0 << "" << " 0 0 0" << R"("license":"default")";
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
    meeting.fromJson(R"({"title":"Review")" + (record.isEmpty() ? "" : "," + record) + "}");
    // As the panel runs it: login data set after construction, then its delayed set-up.
    ZRV_LoginData login;
    login.id = "8d1f0c52-0a6e-4c1b-9a51-000000000003";
    login.userId = "presenter";
    login.countEndlessMeetings = endless;
    ZRV_MeetingEditor dialog(nullptr, &meeting, mode);
    dialog.m_loginData = &login;
    dialog.show();
    QTRY_COMPARE(dialog.windowTitle(), mode ? "Modify a Meeting" : "Create a new Meeting");
    auto *password = dialog.findChild<QLineEdit *>("lePassword");
    auto *licence = dialog.findChild<QComboBox *>("cmbLicense");
    auto *voice3D = dialog.findChild<QComboBox *>("cmbVoice3D");
    const QString before = password->text();
    for (const QString &step : steps.split(';', Qt::SkipEmptyParts)) {
        if (step == "enter") {
            QFocusEvent focusIn(QEvent::FocusIn, Qt::MouseFocusReason);
            QApplication::sendEvent(password, &focusIn);
            QCOMPARE(password->text(), QString());
        } else if (step.startsWith("title=")) {
            dialog.findChild<QLineEdit *>("leTitle")->setText(step.mid(6));
        } else if (step.startsWith("type:")) {
            password->insert(step.mid(5)); // as typed; keyClicks knows no umlauts
        } else {
            dialog.findChild<QComboBox *>(step.section('=', 0, 0))->setCurrentIndex(step.section('=', 1).toInt());
        }
    }
    QCOMPARE(voice3D->isVisible(), dialog.findChild<QLabel *>("lblVoice3D")->isVisible());
    const bool selectable = qobject_cast<QStandardItemModel *>(licence->model())->item(1)->isEnabled();
    QCOMPARE(QString("%1 %2 %3 %4").arg(before).arg(voice3D->currentIndex()).arg(voice3D->isVisible()).arg(selectable), shown);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(5000);
    QTest::mouseClick(dialog.findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok), Qt::LeftButton);
    const bool refused = dialog.findChild<QLineEdit *>("leTitle")->text().isEmpty();
    QStringList boxes;
    for (const ModalAnswerer::Seen &seen : answerer.seen())
        boxes << QString("%1|%2|%3").arg(seen.title, seen.text).arg(seen.buttons.size());
    QCOMPARE(boxes.join('\n'), refused ? "Meeting Title not set|Meeting Title cannot be empty.|1" : "");
    QCOMPARE(dialog.isVisible(), refused);
    const QJsonObject out = meeting.asJsonObject();
    const QJsonObject expected = QJsonDocument::fromJson("{" + sent.toUtf8() + "}").object();
    for (const QString &key : expected.keys())
        QCOMPARE(out.contains(key) ? out.value(key) : QJsonValue(QJsonValue::Null), expected.value(key));
}

QTEST_MAIN(tst_ZRV_MeetingEditor)
#include "tst_ZRV_MeetingEditor.moc"
