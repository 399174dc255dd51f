#include "SignedInConsole.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPushButton>
#include <QSignalSpy>
#include <QStatusBar>
#include <QTableWidget>
#include <QTcpServer>
#include <QTest>
#include <QTreeWidget>
#include <QUrlQuery>

#include "ModalAnswerer.h"
#include "ZRV_ServerApp.h"

namespace {
constexpr int Wait = 30000;
}

SignedInConsole::SignedInConsole() = default;

SignedInConsole::~SignedInConsole()
{
    window.reset();
}

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
    ModalAnswerer answerer;
    answerer.handle([user, pass](QWidget *modal) {
        auto *leUser = modal->findChild<QLineEdit *>("leUser");
        auto *lePass = modal->findChild<QLineEdit *>("lePass");
        auto *btnBox = modal->findChild<QDialogButtonBox *>("btnBox");
        if (!leUser || !lePass || !btnBox) {
            qobject_cast<QDialog *>(modal)->reject();
            return;
        }
        QTest::keyClicks(leUser, user);
        QTest::keyClicks(lePass, pass);
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    answerer.arm(Wait);
    window.reset(new ZRV_ServerApp({"zarvo-console", "-i", fx.iniPath()}));
    window->show();
    QStatusBar *status = window->findChild<QStatusBar *>();
    const bool up = QTest::qWaitFor([&] { return status->isVisible(); }, Wait);
    answerer.disarm();
    if (!up || !fx.exitCodes().isEmpty()) {
        error = QStringLiteral("console not signed in as %1").arg(user);
        return false;
    }
    return true;
}

bool SignedInConsole::selectMeeting(const QString &meetingId)
{
    auto *meetings = window->findChild<QTableWidget *>("tblMeetings");
    int row = -1;
    const bool listed = QTest::qWaitFor(
        [&] {
            const QList<QTableWidgetItem *> found = meetings->findItems(meetingId.toUpper(), Qt::MatchExactly);
            row = found.isEmpty() ? -1 : found.first()->row();
            return row >= 0;
        },
        Wait);
    if (!listed) {
        error = QStringLiteral("meeting %1 not listed").arg(meetingId);
        return false;
    }
    const int expected = [&] {
        const QJsonObject record = liveRecord(meetingId);
        return record.value("assets").toArray().size() + (record.value("assetBundles").toArray().isEmpty() ? 0 : 1);
    }();
    meetings->clearSelection();
    meetings->selectRow(row);
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
    auto idle = [refresh] { return !refresh->testAttribute(Qt::WA_ForceDisabled); };
    if (QTest::qWaitFor([&] { return idle() && tree->topLevelItemCount() == 1; }, Wait))
        return true;
    error = QStringLiteral("S3 listing not in: refresh %1, %2 tree roots").arg(idle()).arg(tree->topLevelItemCount());
    return false;
}

bool SignedInConsole::selectS3File(const QString &dir, const QString &name)
{
    auto *tree = window->findChild<QTreeWidget *>("S3TreeWidget");
    // dir is a path of folder names below the root, "" for the root itself.
    QTreeWidgetItem *target = tree->topLevelItem(0);
    for (const QString &part : dir.split('/', Qt::SkipEmptyParts)) {
        QTreeWidgetItem *next = nullptr;
        for (int i = 0; target && i < target->childCount(); ++i) {
            if (target->child(i)->text(0) == part)
                next = target->child(i);
        }
        target = next;
    }
    if (!target) {
        error = QStringLiteral("no folder %1").arg(dir);
        return false;
    }
    tree->setCurrentItem(target);
    auto *table = window->findChild<QTableWidget *>("S3TableWidget");
    const QList<QTableWidgetItem *> found = table->findItems(name, Qt::MatchExactly);
    if (found.isEmpty()) {
        error = QStringLiteral("no file %1 in %2").arg(name, dir);
        return false;
    }
    table->clearSelection();
    table->selectRow(found.first()->row());
    return true;
}

QByteArray SignedInConsole::bearer()
{
    QUrlQuery form;
    form.addQueryItem("client", "BVK");
    form.addQueryItem("username", login);
    form.addQueryItem("password", password);
    form.addQueryItem("passwordold", QString());
    const SimProcess::Reply r =
        fx.sim().request("POST", QString(ConsoleFixture::AuthBase) + "/auth/login",
                         form.toString(QUrl::FullyEncoded).toUtf8(), {{"Content-Type", "application/x-www-form-urlencoded"}});
    return "Bearer " + r.object().value("access_token").toString().toUtf8();
}

QJsonValue SignedInConsole::serviceGet(const QString &path)
{
    const SimProcess::Reply reply = fx.sim().request(
        "GET", QString(ConsoleFixture::ServiceBase) + "/zrv/svc" + path, QByteArray(), {{"Authorization", bearer()}});
    const QJsonDocument doc = QJsonDocument::fromJson(reply.body);
    return doc.isArray() ? QJsonValue(doc.array()) : QJsonValue(doc.object());
}

QJsonObject SignedInConsole::liveRecord(const QString &meetingId)
{
    return serviceGet("/meeting/" + meetingId + "/info").toObject();
}

QJsonArray SignedInConsole::bundles()
{
    return serviceGet("/assetbundle?bundleId=").toArray();
}

QJsonArray SignedInConsole::banlist()
{
    return serviceGet("/banlist?banlistId=").toArray();
}

QJsonObject SignedInConsole::assetNamed(const QJsonObject &record, const QString &name)
{
    for (const QJsonValue &v : record.value("assets").toArray()) {
        if (v.toObject().value("Name").toString() == name)
            return v.toObject();
    }
    return QJsonObject();
}

QTableWidget *SignedInConsole::assets() const
{
    return window->findChild<QTableWidget *>("tblAssets");
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
