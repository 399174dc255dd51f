#include "SimOutcome.h"
#include "SimProcess.h"

#include "ZRVAuth.h"
#include "ZRVAuthApi.h"
#include "ZRVUser.h"
#include "ZRVUserGroups.h"

#include <QtTest>

using namespace ZRV_AuthService_API;

// Sign-in, tokens and passwords through the console's own authentication client.
class tst_sim_auth : public QObject
{
    Q_OBJECT

private slots:
    void signInSequence_data();
    void signInSequence();
    void wrongCredentialsAreRefused_data();
    void wrongCredentialsAreRefused();
    void tokenLifetimes_data();
    void tokenLifetimes();
    void logoutEndsTheSession();
    void passwordChange_data();
    void passwordChange();

private:
    bool start(const QStringList &args);
    ZRVAuth login(const QString &user, const QString &password, SimOutcome *o);
    ZRVUser user(const QString &token, SimOutcome *o);
    ZRVAuth refresh(const QString &refreshToken, SimOutcome *o);

    QScopedPointer<SimProcess> m_sim;
    QScopedPointer<ZRVAuthApi> m_api;
};

bool tst_sim_auth::start(const QStringList &args)
{
    m_sim.reset(new SimProcess);
    QString error;
    if (!m_sim->start(args, &error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    m_api.reset(new ZRVAuthApi(QStringLiteral("http"), QStringLiteral("127.0.0.1"), m_sim->port(), QString()));
    m_api->addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded"));
    return true;
}

ZRVAuth tst_sim_auth::login(const QString &user, const QString &password, SimOutcome *o)
{
    return std::get<0>(simCall(m_api.data(), &ZRVAuthApi::authLoginPostSignal, &ZRVAuthApi::authLoginPostSignalE,
                               [&] { m_api->authLoginPost(QStringLiteral("BVK"), user, password, QString()); }, o));
}

ZRVUser tst_sim_auth::user(const QString &token, SimOutcome *o)
{
    m_api->addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + token);
    return std::get<0>(simCall(m_api.data(), &ZRVAuthApi::authUserGetSignal, &ZRVAuthApi::authUserGetSignalE,
                               [&] { m_api->authUserGet(QString(), QStringLiteral("login-app"), QStringLiteral("meeting-app")); }, o));
}

ZRVAuth tst_sim_auth::refresh(const QString &refreshToken, SimOutcome *o)
{
    return std::get<0>(simCall(m_api.data(), &ZRVAuthApi::authRefreshPostSignal, &ZRVAuthApi::authRefreshPostSignalE,
                               [&] { m_api->authRefreshPost(QStringLiteral("BVK"), refreshToken); }, o));
}

void tst_sim_auth::signInSequence_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("presenter");
    QTest::addColumn<QString>("storageGroup");
    QTest::addColumn<QString>("modus");
    QTest::addColumn<bool>("fixedKeys");
    QTest::addColumn<QString>("licence"); // StorageSize/TrialDays/CountEndlessMeetings
    QTest::newRow("admin: MinIO with fixed keys") << "admin" << "admin123" << "active" << true << "S3_Config_Minio" << "MINIO" << true << "-1/0/2";
    QTest::newRow("groupadmin: MinIO through temporary keys") << "groupadmin" << "group123" << "active" << true << "S3_Config_Minio" << "MINIO" << false << "-1/0/2";
    QTest::newRow("presenter: 1024 MB, one endless meeting") << "presenter" << "presenter123" << "active" << true << "S3_Config_Minio" << "MINIO" << true << "1024/0/1";
    QTest::newRow("cloud: NextCloud group") << "cloud" << "cloud123" << "active" << true << "S3_Config_NextCloud" << "NextCloud" << true << "-1/0/2";
    QTest::newRow("nostorage: no storage group") << "nostorage" << "nostorage123" << "active" << true << "" << "" << false << "-1/0/2";
    QTest::newRow("inactive: logs in, record says inactive") << "inactive" << "inactive123" << "inactive" << true << "S3_Config_Minio" << "MINIO" << true << "-1/0/2";
    QTest::newRow("visitor: lacks the presenter role") << "visitor" << "visitor123" << "active" << false << "S3_Config_Minio" << "MINIO" << true << "-1/0/2";
    QTest::newRow("amazon: Amazon S3 through temporary keys") << "amazon" << "amazon123" << "active" << true << "S3_Config_AWS" << "S3" << false << "-1/0/2";
    QTest::newRow("nomode: storage group of an unknown mode") << "nomode" << "nomode123" << "active" << true << "S3_Config_FTP" << "FTP" << true << "-1/0/2";
    QTest::newRow("small: five megabytes") << "small" << "small123" << "active" << true << "S3_Config_Minio" << "MINIO" << true << "5/0/2";
    QTest::newRow("trial: fourteen trial days") << "trial" << "trial123" << "active" << true << "S3_Config_Minio" << "MINIO" << true << "-1/14/2";
}

void tst_sim_auth::signInSequence()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QFETCH(QString, status);
    QFETCH(bool, presenter);
    QFETCH(QString, storageGroup);
    QFETCH(QString, modus);
    QFETCH(bool, fixedKeys);
    QFETCH(QString, licence);
    QVERIFY(start({QStringLiteral("--token-lifetime"), QStringLiteral("120")}));
    SimOutcome o1, o2, o3;
    const ZRVAuth auth = tst_sim_auth::login(login, password, &o1);
    QVERIFY(o1.ok);
    QVERIFY2(auth.isValid(), "all eight token keys, the hyphenated one included");
    QCOMPARE(auth.getExpiresIn(), qint64(120));

    const ZRVUser account = user(auth.getAccessToken(), &o2);
    QVERIFY(o2.ok);
    QCOMPARE(account.getUserId(), login);
    QCOMPARE(account.getStatus(), status);
    QCOMPARE(account.getRoles().contains(QStringLiteral("ZRV_Presenter")), presenter);
    QVERIFY(account.getCreated().isValid());

    const ZRVUserGroups groups = std::get<0>(simCall(m_api.data(), &ZRVAuthApi::authGroupsGetSignal, &ZRVAuthApi::authGroupsGetSignalE,
                                                     [&] { m_api->authGroupsGet(QStringLiteral("BVK"), QStringLiteral("Customer")); }, &o3));
    QVERIFY2(o3.ok, qPrintable(o3.errorText));
    QCOMPARE(groups.getGroups().size(), 1);
    const ZRVUserGroup customer = groups.getGroups().first();
    QCOMPARE(customer.getName(), QStringLiteral("Brenvik Demo"));
    QStringList licenceKeys, licenceValues;
    for (const ZRVUserGroupAttribute &a : customer.getAttributes()) {
        licenceKeys << a.getKey();
        licenceValues << a.getValue().value(0);
    }
    QCOMPARE(licenceKeys, (QStringList{QStringLiteral("StorageSize"), QStringLiteral("TrialDays"), QStringLiteral("CountEndlessMeetings")}));
    QCOMPARE(licenceValues.join(QLatin1Char('/')), licence);
    // A trial runs from the account's creation: this one has ten days left.
    if (licence.contains(QLatin1String("/14/")))
        QCOMPARE(account.getCreated().daysTo(QDate::currentDate()), 4);
    ZRVUserGroup storage;
    for (const ZRVUserGroup &g : customer.getSubGroups()) {
        if (g.getName().startsWith(QLatin1String("S3_Config"), Qt::CaseInsensitive))
            storage = g;
    }
    QCOMPARE(storage.getName(), storageGroup);
    if (storageGroup.isEmpty())
        return;
    QMap<QString, QString> attributes;
    for (const ZRVUserGroupAttribute &a : storage.getAttributes())
        attributes.insert(a.getKey(), a.getValue().value(0));
    QCOMPARE(attributes.keys(), (QStringList{QStringLiteral("Address"), QStringLiteral("Bucket"), QStringLiteral("Folder"),
                                             QStringLiteral("Modus"), QStringLiteral("Pass"), QStringLiteral("User")}));
    QCOMPARE(attributes.value(QStringLiteral("Modus")), modus);
    QCOMPARE(!attributes.value(QStringLiteral("User")).isEmpty(), fixedKeys);
}

void tst_sim_auth::wrongCredentialsAreRefused_data()
{
    QTest::addColumn<QString>("login");
    QTest::addColumn<QString>("password");
    QTest::newRow("wrong password") << "presenter" << "presenter124";
    QTest::newRow("unknown login") << "nobody" << "presenter123";
    QTest::newRow("password of another account") << "presenter" << "admin123";
    QTest::newRow("empty password") << "presenter" << "";
    QTest::newRow("login name in other case") << "Presenter" << "presenter123";
}

void tst_sim_auth::wrongCredentialsAreRefused()
{
    QFETCH(QString, login);
    QFETCH(QString, password);
    QVERIFY(start({}));
    SimOutcome o;
    tst_sim_auth::login(login, password, &o);
    QVERIFY(o.done && !o.ok);
    QCOMPARE(o.errorCode(), 401);
    QCOMPARE(o.errorMessage(), QStringLiteral("invalid user credentials"));
}

void tst_sim_auth::tokenLifetimes_data()
{
    QTest::addColumn<QString>("refreshLifetime");
    QTest::addColumn<bool>("refreshWorks");
    QTest::newRow("refresh after the access token ran out") << "60" << true;
    QTest::newRow("refresh token ran out as well") << "1" << false;
}

void tst_sim_auth::tokenLifetimes()
{
    QFETCH(QString, refreshLifetime);
    QFETCH(bool, refreshWorks);
    QVERIFY(start({QStringLiteral("--token-lifetime"), QStringLiteral("1"), QStringLiteral("--refresh-lifetime"), refreshLifetime}));
    SimOutcome o;
    const ZRVAuth first = tst_sim_auth::login(QStringLiteral("presenter"), QStringLiteral("presenter123"), &o);
    QVERIFY(o.ok);
    // Poll until the one-second token is refused.
    SimOutcome refused;
    QDeadlineTimer deadline(10000);
    do {
        refused = SimOutcome();
        user(first.getAccessToken(), &refused);
    } while (refused.ok && !deadline.hasExpired() && (QTest::qWait(100), true));
    QCOMPARE(refused.error, QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(refused.errorCode(), 401);

    SimOutcome r;
    const ZRVAuth second = refresh(first.getRefreshToken(), &r);
    QCOMPARE(r.ok, refreshWorks);
    if (refreshWorks) {
        QVERIFY(second.isValid());
        SimOutcome u, spent;
        QCOMPARE(user(second.getAccessToken(), &u).getUserId(), QStringLiteral("presenter"));
        refresh(first.getRefreshToken(), &spent); // spent by its use
        QVERIFY(spent.errorText.contains(QLatin1String("Token is not active")));
    } else {
        QVERIFY(r.errorText.contains(QLatin1String("Token is not active")));
    }
}

void tst_sim_auth::logoutEndsTheSession()
{
    QVERIFY(start({}));
    SimOutcome o, out, u, r;
    const ZRVAuth auth = tst_sim_auth::login(QStringLiteral("admin"), QStringLiteral("admin123"), &o);
    QVERIFY(o.ok);
    simCall(m_api.data(), &ZRVAuthApi::authLogoutPostSignal, &ZRVAuthApi::authLogoutPostSignalE,
            [&] { m_api->authLogoutPost(auth.getRefreshToken()); }, &out);
    QVERIFY2(out.ok, qPrintable(out.errorText));
    user(auth.getAccessToken(), &u);
    QCOMPARE(u.errorCode(), 401);
    refresh(auth.getRefreshToken(), &r);
    QVERIFY(r.errorText.contains(QLatin1String("Token is not active")));
}

void tst_sim_auth::passwordChange_data()
{
    QTest::addColumn<QString>("oldPassword");
    QTest::addColumn<QString>("newPassword");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("right old password, form characters in the new") << "presenter123" << "n3w&pass=word" << "";
    QTest::newRow("wrong old password") << "presenter12" << "n3w&pass=word" << "invalid user credentials";
    QTest::newRow("new password too short") << "presenter123" << "short" << "Password is too short";
}

void tst_sim_auth::passwordChange()
{
    QFETCH(QString, oldPassword);
    QFETCH(QString, newPassword);
    QFETCH(QString, refusal);
    QVERIFY(start({}));
    SimOutcome o, withNew, withOld;
    const auto reply = simCall(m_api.data(), &ZRVAuthApi::authPasswordResetPostSignalFull, &ZRVAuthApi::authPasswordResetPostSignalEFull, [&] {
        m_api->authPasswordResetPost(QStringLiteral("8d1f0c52-0a6e-4c1b-9a51-000000000003"), QStringLiteral("BVK"),
                                     QStringLiteral("presenter"), newPassword, oldPassword);
    }, &o);
    QVERIFY(o.done);
    QCOMPARE(o.ok, refusal.isEmpty());
    QVERIFY(o.errorText.contains(refusal, Qt::CaseInsensitive));
    QCOMPARE(std::get<1>(reply).isValid(), refusal.isEmpty()); // fresh tokens come back
    tst_sim_auth::login(QStringLiteral("presenter"), newPassword, &withNew);
    tst_sim_auth::login(QStringLiteral("presenter"), QStringLiteral("presenter123"), &withOld);
    QCOMPARE(withNew.ok, refusal.isEmpty());
    QCOMPARE(withOld.ok, !refusal.isEmpty());
}

QTEST_GUILESS_MAIN(tst_sim_auth)
#include "tst_sim_auth.moc"
