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
    void createThenPatchOnlySentKeys();
    void changesByOwnerOrAdministrator_data();
    void changesByOwnerOrAdministrator();
    void startAndStop_data();
    void startAndStop();
    void endlessMeetingsWithinTheLicence_data();
    void endlessMeetingsWithinTheLicence();

private:
    ZRVMeetingApi *client(const QString &login, const QString &password);
    QList<ZRVMeeting> list(ZRVMeetingApi *api, const QString &creator, SimOutcome *o);
    ZRVMeeting update(ZRVMeetingApi *api, const QString &meetingId, const ZRVMeeting &body, SimOutcome *o);

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
    return std::get<0>(simCall(api, &ZRVMeetingApi::getMeetingsSignal, &ZRVMeetingApi::getMeetingsSignalE,
                               [&] { api->getMeetings(creator); }, o));
}

ZRVMeeting tst_sim_registry::update(ZRVMeetingApi *api, const QString &meetingId, const ZRVMeeting &body, SimOutcome *o)
{
    return std::get<0>(simCall(api, &ZRVMeetingApi::updateMeetingSignal, &ZRVMeetingApi::updateMeetingSignalE,
                               [&] { api->updateMeeting(meetingId, body); }, o));
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
    QCOMPARE(o.ok, count >= 0);
    QCOMPARE(o.errorCode(), count < 0 ? 403 : 0);
    QCOMPARE(meetings.size(), qMax(count, 0));
    for (const ZRVMeeting &m : meetings)
        QVERIFY(creator == QLatin1String("*") || m.getCreatorId() == creator);
}

void tst_sim_registry::createThenPatchOnlySentKeys()
{
    ZRVMeetingApi *api = client(QStringLiteral("presenter"), QStringLiteral("presenter123"));
    ZRVMeeting body;
    body.setTitle(QStringLiteral("Quarterly Review"));
    body.setAudioMode(2);
    body.setStatus(QStringLiteral("active")); // the registry decides: new meetings wait
    SimOutcome c, u, l;
    const ZRVMeeting created = std::get<0>(simCall(api, &ZRVMeetingApi::createMeetingSignal, &ZRVMeetingApi::createMeetingSignalE,
                                                   [&] { api->createMeeting(body); }, &c));
    QVERIFY2(c.ok, qPrintable(c.errorText));
    QVERIFY(created.getId() > 5);
    QCOMPARE(created.getMeetingId(), created.getMeetingId().toLower());
    QCOMPARE(created.getCreatorId(), presenterId);
    QCOMPARE(created.getCreator(), QStringLiteral("presenter"));
    QCOMPARE(created.getCreated(), QDate::currentDate());
    QCOMPARE(created.getStatus(), QStringLiteral("pending"));

    ZRVMeeting patch;
    patch.setDescription(QStringLiteral("only this changes"));
    patch.setCreator(QStringLiteral("intruder")); // the registry's own field stays
    const ZRVMeeting after = update(api, created.getMeetingId().toUpper(), patch, &u);
    QVERIFY2(u.ok, qPrintable(u.errorText));
    QCOMPARE(after.getDescription(), QStringLiteral("only this changes"));
    QCOMPARE(after.getTitle(), QStringLiteral("Quarterly Review"));
    QCOMPARE(after.getAudioMode(), 2);
    QCOMPARE(after.getCreator(), QStringLiteral("presenter"));
    QCOMPARE(after.getId(), created.getId());
    QCOMPARE(list(api, presenterId, &l).size(), 3);
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
    SimOutcome o, l;
    ZRVMeeting patch;
    patch.setTitle(QStringLiteral("Renamed"));
    if (remove)
        simCall(api, &ZRVMeetingApi::deleteMeetingSignal, &ZRVMeetingApi::deleteMeetingSignalE, [&] { api->deleteMeeting(meetingId); }, &o);
    else
        update(api, meetingId, patch, &o);
    QVERIFY(o.done);
    QCOMPARE(o.ok, allowed);
    if (!allowed) {
        QCOMPARE(o.errorCode(), 403);
        QCOMPARE(o.errorMessage(), QStringLiteral("Not allowed to modify meeting"));
    }
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
    auto liveRecord = [&] {
        SimOutcome o;
        const auto listed = simCall(live, &ZRVMeetingServiceApi::serviceMeetingsSignal, &ZRVMeetingServiceApi::serviceMeetingsSignalE,
                                    [&] { live->serviceMeetings(); }, &o);
        for (const ZRVMeetingInfo &i : std::get<0>(listed)) {
            if (i.getMeetingId() == meetingId)
                return i;
        }
        return ZRVMeetingInfo();
    };
    QCOMPARE(liveRecord().getStatusMirror(), 0); // listed while stopped, so it can be started
    for (const QString &status : {QStringLiteral("active"), QStringLiteral("pending")}) {
        ZRVMeeting patch;
        patch.setStatus(status);
        SimOutcome o;
        QCOMPARE(update(api, meetingId, patch, &o).getStatus(), status);
        const ZRVMeetingInfo info = liveRecord();
        const bool running = status == QLatin1String("active");
        QCOMPARE(info.getStatusMirror(), running ? 1 : 0);
        if (running && !endless)
            QVERIFY2(QDateTime::fromString(info.getEndingTime(), Qt::TextDate) > QDateTime::currentDateTimeUtc(), qPrintable(info.getEndingTime()));
        else
            QVERIFY(info.getEndingTime().isEmpty());
    }
}

void tst_sim_registry::endlessMeetingsWithinTheLicence_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("license"); // of the meetings started one after the other
    QTest::addColumn<int>("starts");
    QTest::addColumn<int>("lastStatus");
    // presenter may run one endless meeting at a time, admin two (one runs from the seed).
    QTest::newRow("presenter: first endless meeting") << "presenter" << "presenter123" << "endless" << 1 << 200;
    QTest::newRow("presenter: second endless meeting refused") << "presenter" << "presenter123" << "endless" << 2 << 402;
    QTest::newRow("presenter: meetings with an end are not counted") << "presenter" << "presenter123" << "default" << 3 << 200;
    QTest::newRow("admin: second endless meeting beside the seeded one") << "admin" << "admin123" << "endless" << 1 << 200;
    QTest::newRow("admin: third endless meeting refused") << "admin" << "admin123" << "endless" << 2 << 402;
}

void tst_sim_registry::endlessMeetingsWithinTheLicence()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, license);
    QFETCH(int, starts);
    QFETCH(int, lastStatus);
    ZRVMeetingApi *api = client(login, password);
    SimOutcome last;
    ZRVMeeting started;
    for (int i = 0; i < starts; ++i) {
        ZRVMeeting body;
        body.setTitle(QStringLiteral("Open house %1").arg(i));
        body.setLicense(license);
        SimOutcome c;
        const ZRVMeeting created = std::get<0>(simCall(api, &ZRVMeetingApi::createMeetingSignal, &ZRVMeetingApi::createMeetingSignalE,
                                                       [&] { api->createMeeting(body); }, &c));
        QVERIFY2(c.ok, qPrintable(c.errorText));
        ZRVMeeting start;
        start.setStatus(QStringLiteral("active"));
        last = SimOutcome();
        started = update(api, created.getMeetingId(), start, &last);
    }
    QVERIFY(last.done);
    QCOMPARE(last.errorCode(), lastStatus == 200 ? 0 : lastStatus);
    if (lastStatus == 402)
        QVERIFY2(last.errorMessage().startsWith(QLatin1String("Licence limit reached")), qPrintable(last.errorText));
    else
        QCOMPARE(started.getStatus(), QStringLiteral("active"));
}

QTEST_GUILESS_MAIN(tst_sim_registry)
#include "tst_sim_registry.moc"
