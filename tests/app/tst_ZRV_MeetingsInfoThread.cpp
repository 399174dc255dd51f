#include <QPushButton>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include "ModalAnswerer.h"
#include "ScriptedHttpServer.h"
#include "ZRV_Config.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"

using namespace ZRV_Service_API;
using T = ZRV_MeetingsInfoThread;

namespace {

const QByteArray kTokens = R"({"access_token":"tok-2","expires_in":300,"refresh_expires_in":1800,"refresh_token":"ref-tok-2",)"
                           R"("token_type":"Bearer","not-before-policy":0,"session_state":"s","scope":"profile"})";

QByteArray message(int code, const char *text) { return QString(R"({"code":%1,"message":"%2","source":"t"})").arg(code).arg(text).toUtf8(); }

// The service object against scripted main and authentication services; signals and boxes (answered Ok) in order.
struct Scripted
{
    QTemporaryDir dir;
    ScriptedHttpServer service, auth;
    std::unique_ptr<ZRV_Config> config;
    ZRV_LoginData login;
    std::unique_ptr<T> thread;
    ModalAnswerer answerer;
    QStringList events, tokens, boxes;
    QMap<QString, ZRVMeetingInfo> meetings;

    bool open()
    {
        if (!service.start() || !auth.start())
            return false;
        QSettings ini(dir.filePath("s.ini"), QSettings::IniFormat);
        ini.setValue("ZRV_Service/host", service.baseUrl() + "/main");
        ini.setValue("ZRV_AuthService/host", auth.baseUrl() + "/id");
        ini.sync();
        config.reset(new ZRV_Config({"zarvo-console", "-i", ini.fileName()}));
        login.authenticated = true;
        login.accessToken = "tok-1";
        login.refreshToken = "ref-1";
        login.tokenExpiry = QDateTime::currentDateTime().addSecs(3600);
        thread.reset(new T(nullptr, config.get()));
        auto note = [this](const char *event) { return [this, event] { events << event; }; };
        QObject::connect(thread.get(), &T::meetingsInfo, [this](QMap<QString, ZRVMeetingInfo> m) { meetings = m; events << "meetingsInfo"; });
        QObject::connect(thread.get(), &T::serviceStatus, [this](bool ok) { events << (ok ? "status:true" : "status:false"); });
        QObject::connect(thread.get(), &T::serviceVersion,
                         [this](T::_serviceVersion v) { events << QString("version:%1.%2.%3").arg(v.major).arg(v.minor).arg(v.patch); });
        QObject::connect(thread.get(), &T::tokenChanged, [this](QString t) { tokens << t; events << "tokenChanged"; });
        QObject::connect(thread.get(), &T::assetBundlePostError, note("assetBundlePostError"));
        QObject::connect(thread.get(), &T::banlist, note("banlist"));
        QObject::connect(thread.get(), &T::assetBundles, note("assetBundles"));
        QObject::connect(thread.get(), &T::stopThread, note("stopThread"));
        QObject::connect(thread.get(), &T::exitApp, note("exitApp"));
        QObject::connect(thread.get(), &T::sessionExpired, note("sessionExpired"));
        answerer.handle([this](QWidget *w) {
            auto *box = qobject_cast<QMessageBox *>(w);
            events << "box";
            boxes << box->windowTitle() << box->text() << box->buttons().first()->text();
            box->button(QMessageBox::Ok)->click();
        });
        answerer.arm(30000);
        thread->setLoginData(&login);
        return true;
    }
    int count(const QString &prefix) const { return events.filter(QRegularExpression('^' + prefix)).size(); }
};

} // namespace

class tst_ZRV_MeetingsInfoThread : public QObject
{
    Q_OBJECT

private slots:
    // Each failure of the ban list and the bundles: its box, and where its signal stands (failed ban list
    // entries are read through the dialog that sends them).
    void banlistAndBundleFailures_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("events");
        QTest::newRow("ban list read") << "GET banlist" << "Error getting banlist" << "get the banlist: " << "box banlist";
        QTest::newRow("ban list delete speaks of a bundle") << "DELETE banlist" << "Error deleting asset bundle" << "delete asset bundle:" << "box";
        QTest::newRow("bundle read") << "GET assetbundle" << "Error getting asset bundles" << "get asset bundles: " << "box assetBundles";
        QTest::newRow("bundle create")
            << "POST assetbundle" << "Error creating asset bundle" << "create or modify asset bundle:" << "assetBundlePostError box";
    }

    void banlistAndBundleFailures()
    {
        QFETCH(QString, call);
        QFETCH(QString, title);
        QFETCH(QString, text);
        QFETCH(QString, events);
        Scripted s;
        QVERIFY(s.open());
        s.events.clear();
        s.service.enqueueJson(500, message(500, "store down"));
        const QMap<QString, std::function<void()>> calls{
            {"GET banlist", [&] { s.thread->getBanlist(); }}, {"DELETE banlist", [&] { s.thread->deleteBanlistEntry(1); }},
            {"GET assetbundle", [&] { s.thread->getAssetBundles(); }},
            {"POST assetbundle", [&] { s.thread->createAssetBundle(ZRVAssetBundle()); }}};
        calls.value(call)();
        QTRY_COMPARE_WITH_TIMEOUT(s.events.join(' '), events, 10000);
        QCOMPARE(s.boxes.join('|'), title + "|An error occured while trying to " + text + "\nstore down|OK");
        QCOMPARE(s.service.requestCount(), 1);
    }

    // The third failed poll in a row ends the process; a token with 20 whole seconds or less left is refreshed,
    // the second failed refresh in a row ends the session; a refresh under way is not asked for twice.
    void pollSequence_data()
    {
        QTest::addColumn<QString>("service"); // per poll: S good, F failed
        QTest::addColumn<QString>("refresh"); // per poll: see refreshes below
        QTest::addColumn<QString>("events");
        const QString exits = "tokenChanged stopThread box exitApp", expires = "tokenChanged stopThread sessionExpired";
        QTest::newRow("third failed poll in a row ends the process") << "FFF" << "..." << exits;
        QTest::newRow("twenty whole seconds left: refreshed, the next poll carries the new token") << "SS" << "T." << "tokenChanged tokenChanged";
        QTest::newRow("twenty-one whole seconds left: kept") << "S" << "K" << "tokenChanged";
        QTest::newRow("second refresh failure in a row expires") << "SS" << "EE" << expires;
        QTest::newRow("no second refresh while one runs") << "SS" << "DW" << "tokenChanged tokenChanged";
    }

    void pollSequence()
    {
        QFETCH(QString, service);
        QFETCH(QString, refresh);
        QFETCH(QString, events);
        struct Refresh { int msLeft, status; QByteArray reply; };
        // . and W leave the expiry as it is (an hour at first); T 20.5 s left,
        // refreshed; K 21.5 s left, kept; D refreshed late, W then due again; E a failure.
        const QMap<QChar, Refresh> refreshes{{'.', {-1, 0, {}}}, {'W', {-1, 0, {}}},
                                             {'T', {20500, 200, kTokens}}, {'K', {21500, 0, {}}}, {'D', {0, 200, kTokens}},
                                             {'E', {0, 500, message(500, "boom")}}};
        Scripted s;
        QVERIFY(s.open());
        int asked = 0;
        for (int i = 0; i < service.size(); ++i) {
            const QChar r = refresh.at(i);
            if (refreshes[r].msLeft >= 0)
                s.login.tokenExpiry = QDateTime::currentDateTime().addMSecs(refreshes[r].msLeft);
            if (refreshes[r].status)
                s.auth.enqueueJson(refreshes[r].status, refreshes[r].reply, r == 'D' ? 1500 : 0);
            asked += refreshes[r].status ? 1 : 0;
            // A poll asks for the meetings and the status; the refresh reply comes back before theirs.
            const bool failed = service.at(i) == 'F';
            const int before = s.count("status:");
            for (int k = 0; k < 2; ++k)
                s.service.enqueueJson(failed ? 503 : 200, failed ? message(503, "busy") : "[]", asked ? 300 : 0);
            s.thread->getMeetingsInfo();
            QTRY_COMPARE_WITH_TIMEOUT(s.count("status:"), before + 2, 10000);
            QTRY_COMPARE_WITH_TIMEOUT(s.auth.requestCount(), asked, 10000);
        }
        // The status reply may land while the box is open; only the order of these counts.
        QTRY_COMPARE_WITH_TIMEOUT(s.events.filter(QRegularExpression("^(tokenChanged|stopThread|box|exitApp|sessionExpired)$")).join(' '),
                                  events, 10000);
        QCOMPARE(s.boxes.join('|'),
                 events.contains("box") ? QString("Cannot connect to service|Connecting to service failed. Please try again later.|OK") : QString());
        if (asked) {
            const RecordedRequest r = s.auth.requests().first();
            QCOMPARE(r.method + ' ' + r.target + ' ' + r.body + ' ' + r.header("Authorization"),
                     QByteArray("POST /id/auth/refreshtoken realm=BVK&token=ref-1 Bearer tok-1"));
        }
        if (s.tokens.size() > 1)
            QCOMPARE(s.tokens.last() + '|' + s.login.accessToken + '|' + s.login.refreshToken, QString("tok-2|tok-2|ref-tok-2"));
        if (refresh.endsWith('.'))
            QCOMPARE(s.service.lastRequest().header("Authorization"), "Bearer " + s.login.accessToken.toUtf8());
    }

    // Both requests of a poll get the same reply; the status text gives the version.
    void pollReplies_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("expected"); // meeting keys;version
        QTest::newRow("body that is not JSON") << 200 << QByteArray("<html>oops</html>") << ";";
        QTest::newRow("ids differing only in case collapse, the later wins")
            << 200 << QByteArray(R"([{"meetingId":"AbC","statusMirror":1},{"meetingId":"abc","statusMirror":0}])") << "abc;";
        QTest::newRow("capital V, no v at all") << 200 << message(200, "OK - Version V10.0.12") << ";10.0.12";
        QTest::newRow("failed status, good text") << 500 << message(200, "OK - Version v1.2.3") << ";";
    }

    void pollReplies()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        Scripted s;
        QVERIFY(s.open());
        for (int i = 0; i < 2; ++i)
            s.service.enqueueJson(status, body);
        s.thread->getMeetingsInfo();
        QTRY_COMPARE_WITH_TIMEOUT(s.count(status == 200 ? "status:true" : "status:false"), 2, 10000);
        QTEST(s.meetings.keys().join(',') + ';' + s.events.filter(QRegularExpression("^version:")).join(',').remove("version:"), "expected");
        QVERIFY(s.meetings.isEmpty() || s.meetings.first().getStatusMirror() == 0);
    }
};

QTEST_MAIN(tst_ZRV_MeetingsInfoThread)
#include "tst_ZRV_MeetingsInfoThread.moc"
