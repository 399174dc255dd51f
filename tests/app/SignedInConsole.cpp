#include "SignedInConsole.h"

#include <QJsonDocument>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>
#include <QTreeWidget>
#include <QUrlQuery>

#include "ConsoleDriver.h"

static constexpr int Wait = 30000;

bool SignedInConsole::open(const QString &user, const QString &pass, const QString &s3Endpoint,
                           const QStringList &simArgs)
{
    login = user;
    password = pass;
    const QStringList args{"--console-version", "3.1.2", "--s3-endpoint", s3Endpoint, "--s3-bucket", "zarvo",
                           "--simulate-life", "off"};
    if (!fx.start(args + simArgs)) {
        error = fx.errorText();
        return false;
    }
    ConsoleDriver driver(user, {pass});
    window.reset(new ZRV_ServerApp(ConsoleDriver::arguments(fx.iniPath())));
    window->show();
    QStatusBar *status = window->findChild<QStatusBar *>();
    if (!QTest::qWaitFor([&] { return status->isVisible(); }, Wait) || !fx.exitCodes().isEmpty()) {
        error = QStringLiteral("console not signed in as %1").arg(user);
        return false;
    }
    return true;
}

bool SignedInConsole::selectMeeting(const QString &meetingId)
{
    auto *meetings = window->findChild<QTableWidget *>("tblMeetings");
    QList<QTableWidgetItem *> found;
    if (!QTest::qWaitFor([&] { return !(found = meetings->findItems(meetingId.toUpper(), Qt::MatchExactly)).isEmpty(); }, Wait)) {
        error = QStringLiteral("meeting %1 not listed").arg(meetingId);
        return false;
    }
    const QJsonObject record = liveRecord(meetingId);
    const int expected =
        record.value("assets").toArray().size() + (record.value("assetBundles").toArray().isEmpty() ? 0 : 1);
    meetings->clearSelection();
    meetings->selectRow(found.first()->row());
    auto *area = window->findChild<QWidget *>("widgetFileArea");
    if (!QTest::qWaitFor([&] { return assets()->rowCount() == expected && area->isEnabled(); }, Wait)) {
        error = QStringLiteral("components of %1 not shown: %2 rows for %3").arg(meetingId).arg(assets()->rowCount()).arg(expected);
        return false;
    }
    return true;
}

bool SignedInConsole::waitS3Listing()
{
    auto *tree = window->findChild<QTreeWidget *>("S3TreeWidget");
    auto *refresh = window->findChild<QPushButton *>("btnS3Refresh");
    // The button's own state: the file area around it is off until a meeting is chosen.
    if (QTest::qWaitFor([&] { return !refresh->testAttribute(Qt::WA_ForceDisabled) && tree->topLevelItemCount() == 1; }, Wait))
        return true;
    error = QStringLiteral("S3 listing not in: %1 tree roots").arg(tree->topLevelItemCount());
    return false;
}

bool SignedInConsole::selectS3File(const QString &dir, const QString &name)
{
    auto *tree = window->findChild<QTreeWidget *>("S3TreeWidget");
    QTreeWidgetItem *target = tree->topLevelItem(0);
    for (const QString &part : dir.split('/', Qt::SkipEmptyParts)) {
        QTreeWidgetItem *next = nullptr;
        for (int i = 0; target && i < target->childCount(); ++i)
            next = target->child(i)->text(0) == part ? target->child(i) : next;
        target = next;
    }
    if (!target) {
        error = QStringLiteral("no folder %1").arg(dir);
        return false;
    }
    tree->setCurrentItem(target);
    auto *table = window->findChild<QTableWidget *>("S3TableWidget");
    const QList<QTableWidgetItem *> found = table->findItems(name, Qt::MatchExactly);
    error = QStringLiteral("no file %1 in %2").arg(name, dir);
    table->clearSelection();
    if (!found.isEmpty())
        table->selectRow(found.first()->row());
    return !found.isEmpty();
}

QByteArray SignedInConsole::bearer()
{
    QUrlQuery form{{"client", "BVK"}, {"username", login}, {"password", password}, {"passwordold", ""}};
    const SimProcess::Reply r =
        fx.sim().request("POST", QString(ConsoleFixture::AuthBase) + "/auth/login", form.toString(QUrl::FullyEncoded).toUtf8(),
                         {{"Content-Type", "application/x-www-form-urlencoded"}});
    return "Bearer " + r.object().value("access_token").toString().toUtf8();
}

QJsonValue SignedInConsole::serviceGet(const QString &path)
{
    const SimProcess::Reply reply = fx.sim().request(
        "GET", QString(ConsoleFixture::ServiceBase) + "/zrv/svc" + path, QByteArray(), {{"Authorization", bearer()}});
    const QJsonDocument doc = QJsonDocument::fromJson(reply.body);
    return doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
}

QStringList SignedInConsole::assetRows() const
{
    QStringList rows;
    QTableWidget *table = assets();
    for (int r = 0; r < table->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < 4; ++c)
            cells << (table->item(r, c) ? table->item(r, c)->text() : QString("<none>"));
        rows << cells.join('|');
    }
    return rows;
}
