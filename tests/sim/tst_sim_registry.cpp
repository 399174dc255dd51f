#include "SimOutcome.h"
#include "SimProcess.h"

#include "ZRVMeeting.h"
#include "ZRVMeetingApi.h"
#include "ZRVMeetingInfo.h"
#include "ZRVMeetingServiceApi.h"

#include <QtTest>

using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_MeetingService_API::ZRVMeetingApi;

// The registry's rules through the console's meeting client, and start/stop as the live list shows it.
class tst_sim_registry : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void creatorFilter_data();
    void creatorFilter();
    void createAssignsRegistryFields();
    void patchChangesOnlySentKeys();
    void changesByOwnerOrAdministrator_data();
    void changesByOwnerOrAdministrator();
    void startAndStop_data();
    void startAndStop();

private:
    ZRVMeetingApi *client(const QString &login, const QString &password);
    QList<ZRVMeeting> list(ZRVMeetingApi *api, const QString &creator, SimOutcome *o);
    ZRVMeeting update(ZRVMeetingApi *api, const QString &meetingId, const ZRVMeeting &body, SimOutcome *o);
    ZRVMeeting create(ZRVMeetingApi *api, const QString &title, SimOutcome *o);

    SimProcess *m_sim = nullptr;
    QList<QObject *> m_clients;
};

static const QString presenterId = QStringLiteral("8d1f0c52-0a6e-4c1b-9a51-000000000003");

void tst_sim_registry::init()
{
    m_sim = new SimProcess;
    QString error;
    QVERIFY2(m_sim->start({QStringLiteral("--simulate-life"), QStringLiteral("off")}, &error), qPrintable(error));
}

void tst_sim_registry::cleanup()
{
    qDeleteAll(m_clients);
    m_clients.clear();
    delete m_sim;
    m_sim = nullptr;
}

ZRVMeetingApi *tst_sim_registry::client(const QString &login, const QString &password)
{
    auto *api = new ZRVMeetingApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    api->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/json"));
    api->addHeaders(QStringLiteral("accept"), QStringLiteral("application/json"));
    api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(login, password));
    m_clients << api;
    return api;
}

QList<ZRVMeeting> tst_sim_registry::list(ZRVMeetingApi *api, const QString &creator, SimOutcome *o)
{
    QList<ZRVMeeting> result;
    auto ok = connect(api, &ZRVMeetingApi::getMeetingsSignal, [&](QList<ZRVMeeting> l) { result = l; o->succeed(); });
    auto bad = connect(api, &ZRVMeetingApi::getMeetingsSignalE, [&](QList<ZRVMeeting>, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
    api->getMeetings(creator);
    o->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

ZRVMeeting tst_sim_registry::update(ZRVMeetingApi *api, const QString &meetingId, const ZRVMeeting &body, SimOutcome *o)
{
    ZRVMeeting result;
    auto ok = connect(api, &ZRVMeetingApi::updateMeetingSignal, [&](ZRVMeeting m) { result = m; o->succeed(); });
    auto bad = connect(api, &ZRVMeetingApi::updateMeetingSignalE, [&](ZRVMeeting, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
    api->updateMeeting(meetingId, body);
    o->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

ZRVMeeting tst_sim_registry::create(ZRVMeetingApi *api, const QString &title, SimOutcome *o)
{
    ZRVMeeting body;
    body.setTitle(title);
    body.setCreator(QStringLiteral("presenter"));
    body.setAudioMode(0);
    body.setStatus(QStringLiteral("active")); // the registry decides: new meetings wait
    ZRVMeeting result;
    auto ok = connect(api, &ZRVMeetingApi::createMeetingSignal, [&](ZRVMeeting m) { result = m; o->succeed(); });
    auto bad = connect(api, &ZRVMeetingApi::createMeetingSignalE, [&](ZRVMeeting, QNetworkReply::NetworkError e, QString t) { o->fail(e, t); });
    api->createMeeting(body);
    o->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

void tst_sim_registry::creatorFilter_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("creator");
    QTest::addColumn<int>("count"); // -1: refused with 403
    QTest::newRow("administrator lists all with *") << "admin" << "admin123" << "*" << 5;
    QTest::newRow("group administrator lists all with *") << "groupadmin" << "group123" << "*" << 5;
    QTest::newRow("presenter lists own by account id") << "presenter" << "presenter123" << presenterId << 2;
    QTest::newRow("administrator lists one creator") << "admin" << "admin123" << presenterId << 2;
    QTest::newRow("presenter may not ask for all") << "presenter" << "presenter123" << "*" << -1;
    QTest::newRow("presenter may not ask for another") << "cloud" << "cloud123" << presenterId << -1;
    QTest::newRow("creator without meetings") << "nostorage" << "nostorage123" << "8d1f0c52-0a6e-4c1b-9a51-000000000007" << 0;
}

void tst_sim_registry::creatorFilter()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, creator);
    QFETCH(int, count);
    SimOutcome o;
    const QList<ZRVMeeting> meetings = list(client(login, password), creator, &o);
    QVERIFY(o.done);
    if (count < 0) {
        QVERIFY(!o.ok);
        QCOMPARE(o.errorCode(), 403);
        return;
    }
    QVERIFY2(o.ok, qPrintable(o.errorText));
    QCOMPARE(meetings.size(), count);
    for (const ZRVMeeting &m : meetings)
        QVERIFY(creator == QLatin1String("*") || m.getCreatorId() == creator);
}

void tst_sim_registry::createAssignsRegistryFields()
{
    ZRVMeetingApi *api = client(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    SimOutcome o;
    const ZRVMeeting m = create(api, QStringLiteral("Quarterly Review"), &o);
    QVERIFY2(o.ok, qPrintable(o.errorText));
    QVERIFY(m.getId() > 5);
    QVERIFY(!m.getMeetingId().isEmpty());
    QCOMPARE(m.getMeetingId(), m.getMeetingId().toLower());
    QCOMPARE(m.getCreatorId(), presenterId);
    QCOMPARE(m.getCreator(), QStringLiteral("presenter"));
    QCOMPARE(m.getCreated(), QDate::currentDate());
    QCOMPARE(m.getModified(), QDate::currentDate());
    QCOMPARE(m.getStatus(), QStringLiteral("pending"));
    SimOutcome l;
    QCOMPARE(list(api, presenterId, &l).size(), 3);
}

void tst_sim_registry::patchChangesOnlySentKeys()
{
    ZRVMeetingApi *api = client(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    SimOutcome o;
    const ZRVMeeting before = create(api, QStringLiteral("Partial"), &o);
    QVERIFY(o.ok);
    ZRVMeeting patch;
    patch.setDescription(QStringLiteral("only this changes"));
    patch.setCreator(QStringLiteral("intruder")); // the registry's own field stays
    SimOutcome u;
    const ZRVMeeting after = update(api, before.getMeetingId().toUpper(), patch, &u);
    QVERIFY2(u.ok, qPrintable(u.errorText));
    QCOMPARE(after.getDescription(), QStringLiteral("only this changes"));
    QCOMPARE(after.getTitle(), QStringLiteral("Partial"));
    QCOMPARE(after.getAudioMode(), 0);
    QCOMPARE(after.getCreator(), QStringLiteral("presenter"));
    QCOMPARE(after.getStatus(), QStringLiteral("pending"));
    QCOMPARE(after.getId(), before.getId());
}

void tst_sim_registry::changesByOwnerOrAdministrator_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<bool>("remove");
    QTest::addColumn<bool>("allowed");
    QTest::newRow("presenter changes own") << "presenter" << "presenter123" << "prl5t8c6" << false << true;
    QTest::newRow("presenter changes the administrator's") << "presenter" << "presenter123" << "brd9q3x1" << false << false;
    QTest::newRow("presenter deletes the administrator's") << "presenter" << "presenter123" << "brd9q3x1" << true << false;
    QTest::newRow("group administrator changes the presenter's") << "groupadmin" << "group123" << "prl5t8c6" << false << true;
    QTest::newRow("administrator deletes the presenter's") << "admin" << "admin123" << "prl5t8c6" << true << true;
}

void tst_sim_registry::changesByOwnerOrAdministrator()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, meetingId);
    QFETCH(bool, remove);
    QFETCH(bool, allowed);
    ZRVMeetingApi *api = client(login, password);
    SimOutcome o;
    if (remove) {
        connect(api, &ZRVMeetingApi::deleteMeetingSignal, [&] { o.succeed(); });
        connect(api, &ZRVMeetingApi::deleteMeetingSignalE, [&](QNetworkReply::NetworkError e, QString t) { o.fail(e, t); });
        api->deleteMeeting(meetingId);
        QVERIFY(o.wait());
    } else {
        ZRVMeeting patch;
        patch.setTitle(QStringLiteral("Renamed"));
        update(api, meetingId, patch, &o);
    }
    QVERIFY(o.done);
    QCOMPARE(o.ok, allowed);
    if (!allowed) {
        QCOMPARE(o.errorCode(), 403);
        QCOMPARE(o.errorMessage(), QStringLiteral("Not allowed to modify meeting"));
    }
    SimOutcome l;
    const QList<ZRVMeeting> all = list(client(QStringLiteral("admin"), QStringLiteral("admin123")), QStringLiteral("*"), &l);
    QCOMPARE(all.size(), remove && allowed ? 4 : 5);
}

void tst_sim_registry::startAndStop_data()
{
    QTest::addColumn<QString>("meetingId");
    QTest::addColumn<bool>("endless");
    QTest::newRow("meeting with an end") << "prl5t8c6" << false;
    QTest::newRow("endless meeting") << "shw4n1r8" << true;
}

void tst_sim_registry::startAndStop()
{
    QFETCH(QString, meetingId);
    QFETCH(bool, endless);
    using namespace ZRV_Service_API;
    ZRVMeetingApi *api = client(QStringLiteral("admin"), QStringLiteral("admin123"));
    auto *live = new ZRVMeetingServiceApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString());
    m_clients << live;
    live->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + m_sim->token(QStringLiteral("admin"), QStringLiteral("admin123")));
    auto liveRecord = [&]() {
        ZRVMeetingInfo found;
        SimOutcome o;
        auto c = connect(live, &ZRVMeetingServiceApi::serviceMeetingsSignal, [&](QList<ZRVMeetingInfo> l) {
            for (const ZRVMeetingInfo &i : l)
                if (i.getMeetingId() == meetingId)
                    found = i;
            o.succeed();
        });
        live->serviceMeetings();
        o.wait();
        disconnect(c);
        return found;
    };
    QCOMPARE(liveRecord().getStatusMirror(), 0);

    for (const QString status : {QStringLiteral("active"), QStringLiteral("pending")}) {
        ZRVMeeting patch;
        patch.setStatus(status);
        SimOutcome o;
        QCOMPARE(update(api, meetingId, patch, &o).getStatus(), status);
        QVERIFY2(o.ok, qPrintable(o.errorText));
        const ZRVMeetingInfo info = liveRecord();
        const bool running = status == QLatin1String("active");
        QCOMPARE(info.getStatusMirror(), running ? 1 : 0);
        const QDateTime end = QDateTime::fromString(info.getEndingTime(), Qt::TextDate);
        if (running && !endless)
            QVERIFY2(end > QDateTime::currentDateTimeUtc(), qPrintable(info.getEndingTime()));
        else
            QVERIFY(info.getEndingTime().isEmpty());
        QVERIFY(info.getClients().isEmpty());
    }
}

QTEST_GUILESS_MAIN(tst_sim_registry)
#include "tst_sim_registry.moc"
