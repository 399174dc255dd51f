// The log viewer against the simulator: both modes refresh while open and go
// quiet once closed; its settings outlive a closing.
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QtTest>

#include "DialogServicePeer.h"
#include "ModalAnswerer.h"
#include "ZRV_LogfileDialog.h"

namespace {

QString shownText(QWidget *dlg)
{
    return dlg->findChild<QPlainTextEdit *>(QStringLiteral("teLogfile"))->toPlainText();
}

void pressOk(QWidget *dlg)
{
    QTest::mouseClick(dlg->findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"))->button(QDialogButtonBox::Ok),
                      Qt::LeftButton);
}

} // namespace

class tst_ZRV_LogfileDialog : public QObject
{
    Q_OBJECT

private slots:
    void refreshWhileOpen_data();
    void refreshWhileOpen();
    void settingsSurviveReopening();
};

void tst_ZRV_LogfileDialog::refreshWhileOpen_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<QString>("expTitle");
    QTest::addColumn<QString>("logPath");

    QTest::newRow("meeting log") << "wdr7k2m4" << "Mirror Server Logfile - Meeting wdr7k2m4" << "/wdr7k2m4/logfile?count=100";
    QTest::newRow("service log") << "" << "Service Logfile" << "/logfile?count=100";
}

void tst_ZRV_LogfileDialog::refreshWhileOpen()
{
    QFETCH(QString, meetingId);
    QFETCH(QString, expTitle);
    QFETCH(QString, logPath);
    DialogServicePeer peer;
    QVERIFY2(peer.startSim(QStringLiteral("admin"), QStringLiteral("admin123")), qPrintable(peer.errorText()));
    const QString expected = QString::fromUtf8(peer.service("GET", logPath).body);
    QVERIFY(!expected.isEmpty());

    ZRV_LogfileDialog dlg(peer.thread());
    QSignalSpy replies(peer.thread(), meetingId.isEmpty() ? &ZRV_MeetingsInfoThread::serviceLog
                                                          : &ZRV_MeetingsInfoThread::mirrorLog);
    bool refreshed = false;
    QString title, text;
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *w) {
        // The first reply and two ticks of the one-second timer.
        refreshed = QTest::qWaitFor([&replies] { return replies.count() >= 3; }, 8000);
        title = w->windowTitle();
        text = shownText(w);
        pressOk(w);
    });
    answerer.arm(20000);
    if (meetingId.isEmpty())
        dlg.showServiceLog();
    else
        dlg.showMirrorLog(meetingId);

    QVERIFY(refreshed);
    QCOMPARE(title, expTitle);
    QCOMPARE(text, expected);
    // A request sent just before closing may still land; after it, nothing.
    replies.wait(1500);
    replies.clear();
    QVERIFY(!replies.wait(2500));
}

void tst_ZRV_LogfileDialog::settingsSurviveReopening()
{
    DialogServicePeer peer;
    QVERIFY2(peer.startSim(QStringLiteral("admin"), QStringLiteral("admin123")), qPrintable(peer.errorText()));
    ZRV_LogfileDialog dlg(peer.thread());
    QSignalSpy replies(peer.thread(), &ZRV_MeetingsInfoThread::mirrorLog);

    bool loaded = false, quietAfterUntick = false;
    ModalAnswerer first;
    first.handle([&](QWidget *w) {
        loaded = QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 5000);
        QTest::mouseClick(w->findChild<QCheckBox *>(QStringLiteral("chkAutoUpdate")), Qt::LeftButton);
        w->findChild<QSpinBox *>(QStringLiteral("spnLines"))->setValue(3);
        replies.wait(1500);
        replies.clear();
        quietAfterUntick = !replies.wait(2500);
        pressOk(w);
    });
    first.arm(20000);
    dlg.showMirrorLog(QStringLiteral("wdr7k2m4"));
    first.disarm();
    QVERIFY(loaded);
    QVERIFY(quietAfterUntick);

    // A slow service, so that the waiting text can be seen on the second opening.
    const QJsonObject slow{{"latencyMs", 1500}, {"path", "/main/zrv/svc/wdr7k2m4/logfile"}, {"count", -1}};
    QCOMPARE(peer.sim().admin("POST", QStringLiteral("/_sim/fault"), slow).status, 200);
    replies.clear();
    QString waitingText, loadedText;
    bool stillUnticked = false;
    int lines = -1;
    ModalAnswerer second;
    second.handle([&](QWidget *w) {
        waitingText = shownText(w);
        stillUnticked = !w->findChild<QCheckBox *>(QStringLiteral("chkAutoUpdate"))->isChecked();
        lines = w->findChild<QSpinBox *>(QStringLiteral("spnLines"))->value();
        loaded = QTest::qWaitFor([&replies] { return replies.count() >= 1; }, 8000);
        loadedText = shownText(w);
        pressOk(w);
    });
    second.arm(20000);
    dlg.showMirrorLog(QStringLiteral("wdr7k2m4"));

    QVERIFY(loaded);
    QCOMPARE(waitingText, QStringLiteral("Loading, please wait."));
    QVERIFY(stillUnticked);
    QCOMPARE(lines, 3);
    QCOMPARE(replies.count(), 1);
    QCOMPARE(loadedText.count(QLatin1Char('\n')), 3);
    QCOMPARE(loadedText, QString::fromUtf8(peer.service("GET", QStringLiteral("/wdr7k2m4/logfile?count=3")).body));
}

QTEST_MAIN(tst_ZRV_LogfileDialog)
#include "tst_ZRV_LogfileDialog.moc"
