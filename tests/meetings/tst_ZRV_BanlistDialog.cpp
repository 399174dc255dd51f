// The ban list against the simulator as administrator: an entry added and
// deleted, the answers to a refused input, and to an entry it cannot delete.
#include <QDialog>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QtTest>

#include "DialogServicePeer.h"
#include "ModalAnswerer.h"
#include "ZRV_BanlistDialog.h"

namespace {

const char *const Cancel = "<cancel>";

// Answers one input dialog: its text typed and accepted, or cancelled.
void answerInput(ModalAnswerer &answerer, const QString &answer)
{
    answerer.handle([answer](QWidget *w) {
        auto *input = qobject_cast<QInputDialog *>(w);
        if (!input || answer == QLatin1String(Cancel)) {
            static_cast<QDialog *>(w)->reject();
            return;
        }
        QTest::keyClicks(input->findChild<QLineEdit *>(), answer);
        input->accept();
    });
}

QJsonArray serviceList(DialogServicePeer &peer)
{
    return QJsonDocument::fromJson(peer.service("GET", QStringLiteral("/banlist")).body).array();
}

} // namespace

class tst_ZRV_BanlistDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void addAndDelete();
    void refusedInput_data();
    void refusedInput();
    void deleteWithoutKnownId_data();
    void deleteWithoutKnownId();

private:
    DialogServicePeer m_peer;
};

void tst_ZRV_BanlistDialog::initTestCase()
{
    QVERIFY2(m_peer.startSim(QStringLiteral("admin"), QStringLiteral("admin123")), qPrintable(m_peer.errorText()));
}

void tst_ZRV_BanlistDialog::addAndDelete()
{
    ZRV_BanlistDialog dlg(m_peer.thread());
    QCOMPARE(dlg.windowTitle(), QStringLiteral("Banlist"));
    auto *list = dlg.findChild<QListWidget *>(QStringLiteral("banlst"));
    auto *btnDelete = dlg.findChild<QPushButton *>(QStringLiteral("btnDelete"));
    const int before = serviceList(m_peer).size();
    QTRY_COMPARE(list->count(), before);
    QVERIFY(!btnDelete->isEnabled());

    ModalAnswerer answerer;
    answerInput(answerer, QStringLiteral("Rogue model"));
    answerInput(answerer, QStringLiteral("https://bad.example/*"));
    answerer.arm();
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnAddCustom")), Qt::LeftButton);
    QCOMPARE(answerer.seen().size(), 2);
    QCOMPARE(answerer.seen().at(0).title, QStringLiteral("Name"));
    QCOMPARE(answerer.seen().at(1).title, QStringLiteral("URL"));

    // The line shows once the list has been read again.
    QTRY_COMPARE(list->count(), before + 1);
    const QJsonArray stored = serviceList(m_peer);
    const QJsonObject added = stored.last().toObject();
    QCOMPARE(added.value("Mode").toInt(), 3);
    QCOMPARE(added.value("Filename").toString(), QStringLiteral("Rogue model"));
    QCOMPARE(added.value("Checksum").toString(), QStringLiteral("https://bad.example/*"));
    const int id = added.value("Id").toInt();
    QListWidgetItem *item = list->item(list->count() - 1);
    QCOMPARE(item->text(), QStringLiteral("#%1 - Rogue model (https://bad.example/*)").arg(id));
    QCOMPARE(item->data(Qt::UserRole).toInt(), id);

    list->setCurrentItem(item);
    QVERIFY(btnDelete->isEnabled());
    QTest::mouseClick(btnDelete, Qt::LeftButton);
    QTRY_COMPARE(list->count(), before);
    QCOMPARE(serviceList(m_peer).size(), before);
    // The rebuilt list has no current line, so there is nothing to delete.
    QVERIFY(!btnDelete->isEnabled());
}

void tst_ZRV_BanlistDialog::refusedInput_data()
{
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<int>("questions");
    QTest::addColumn<QString>("boxTitle");
    QTest::addColumn<QString>("boxText");

    const QString noName = QStringLiteral("Empty name not allowed.");
    const QString noNameText = QStringLiteral("Cannot add entry without a name.");
    const QString noUrl = QStringLiteral("Empty entry not allowed.");
    const QString noUrlText = QStringLiteral("Cannot add empty entry.");
    QTest::newRow("cancel at the name asks nothing further") << QStringList{Cancel} << 1 << noName << noNameText;
    QTest::newRow("empty name") << QStringList{""} << 1 << noName << noNameText;
    QTest::newRow("name, then cancel at the URL") << QStringList{"x", Cancel} << 2 << noUrl << noUrlText;
    QTest::newRow("name, then an empty URL") << QStringList{"x", ""} << 2 << noUrl << noUrlText;
}

void tst_ZRV_BanlistDialog::refusedInput()
{
    QFETCH(QStringList, answers);
    QFETCH(int, questions);
    QFETCH(QString, boxTitle);
    QFETCH(QString, boxText);
    const int before = serviceList(m_peer).size();
    ZRV_BanlistDialog dlg(m_peer.thread());
    QTRY_COMPARE(dlg.findChild<QListWidget *>(QStringLiteral("banlst"))->count(), before);

    ModalAnswerer answerer;
    for (const QString &answer : answers)
        answerInput(answerer, answer);
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm();
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnAddCustom")), Qt::LeftButton);

    const QList<ModalAnswerer::Seen> seen = answerer.seen();
    QCOMPARE(seen.size(), questions + 1);
    QCOMPARE(seen.last().title, boxTitle);
    QCOMPARE(seen.last().text, boxText);
    QCOMPARE(seen.last().buttons.size(), 1);
    QCOMPARE(serviceList(m_peer).size(), before);
}

void tst_ZRV_BanlistDialog::deleteWithoutKnownId_data()
{
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<bool>("boxShown");

    QTest::newRow("id not in the last list") << QVariant(987654) << true;
    QTest::newRow("data that is no number") << QVariant(QStringLiteral("abc")) << false;
}

void tst_ZRV_BanlistDialog::deleteWithoutKnownId()
{
    QFETCH(QVariant, data);
    QFETCH(bool, boxShown);
    const int before = serviceList(m_peer).size();
    ZRV_BanlistDialog dlg(m_peer.thread());
    auto *list = dlg.findChild<QListWidget *>(QStringLiteral("banlst"));
    QTRY_COMPARE(list->count(), before);

    // A line the dialog did not make from the service's list.
    auto *stray = new QListWidgetItem(QStringLiteral("#? - stray"), list);
    stray->setData(Qt::UserRole, data);
    list->setCurrentItem(stray);
    ModalAnswerer answerer;
    answerer.pressButton(QMessageBox::Ok);
    answerer.arm(3000);
    QTest::mouseClick(dlg.findChild<QPushButton *>(QStringLiteral("btnDelete")), Qt::LeftButton);

    QCOMPARE(answerer.seen().size(), boxShown ? 1 : 0);
    if (boxShown) {
        QCOMPARE(answerer.seen().at(0).title, QStringLiteral("Delete not possible"));
        QCOMPARE(answerer.seen().at(0).text, QStringLiteral("Invalid entry - Could not delete"));
    }
    QCOMPARE(serviceList(m_peer).size(), before);
}

QTEST_MAIN(tst_ZRV_BanlistDialog)
#include "tst_ZRV_BanlistDialog.moc"
