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
    void expiredTokenIsRefusedAndRefreshed();
    void refreshTokenRunsOut();
    void logoutEndsTheSession();
    void passwordChange_data();
    void passwordChange();

private:
    struct Client
    {
        explicit Client(const SimProcess &sim)
            : api(QStringLiteral("http"), QStringLiteral("127.0.0.1"), sim.port(), QString())
        {
            api.addHeaders(QStringLiteral("Content-Type"), QStringLiteral("application/x-www-form-urlencoded"));
        }
        ZRVAuthApi api;
    };
    static ZRVAuth login(ZRVAuthApi &api, const QString &user, const QString &password, SimOutcome *outcome);
    static ZRVUser user(ZRVAuthApi &api, const QString &token, SimOutcome *outcome);
    static ZRVAuth refresh(ZRVAuthApi &api, const QString &refreshToken, SimOutcome *outcome);
    // Polls the user record until the token is refused; false if it never is.
    static bool waitForRefusal(ZRVAuthApi &api, const QString &token, SimOutcome *last);
};

ZRVAuth tst_sim_auth::login(ZRVAuthApi &api, const QString &user, const QString &password, SimOutcome *outcome)
{
    ZRVAuth result;
    QMetaObject::Connection ok = connect(&api, &ZRVAuthApi::authLoginPostSignal, [&](ZRVAuth s) { result = s; outcome->succeed(); });
    QMetaObject::Connection bad = connect(&api, &ZRVAuthApi::authLoginPostSignalE,
                                          [&](ZRVAuth s, QNetworkReply::NetworkError e, QString t) { result = s; outcome->fail(e, t); });
    api.authLoginPost(QStringLiteral("BVK"), user, password, QString());
    outcome->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

ZRVUser tst_sim_auth::user(ZRVAuthApi &api, const QString &token, SimOutcome *outcome)
{
    api.addHeaders(QStringLiteral("Authorization"), QStringLiteral("Bearer ") + token);
    ZRVUser result;
    QMetaObject::Connection ok = connect(&api, &ZRVAuthApi::authUserGetSignal, [&](ZRVUser s) { result = s; outcome->succeed(); });
    QMetaObject::Connection bad = connect(&api, &ZRVAuthApi::authUserGetSignalE,
                                          [&](ZRVUser, QNetworkReply::NetworkError e, QString t) { outcome->fail(e, t); });
    api.authUserGet(QString(), QStringLiteral("login-app"), QStringLiteral("meeting-app"));
    outcome->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

ZRVAuth tst_sim_auth::refresh(ZRVAuthApi &api, const QString &refreshToken, SimOutcome *outcome)
{
    ZRVAuth result;
    QMetaObject::Connection ok = connect(&api, &ZRVAuthApi::authRefreshPostSignal, [&](ZRVAuth s) { result = s; outcome->succeed(); });
    QMetaObject::Connection bad = connect(&api, &ZRVAuthApi::authRefreshPostSignalE,
                                          [&](ZRVAuth, QNetworkReply::NetworkError e, QString t) { outcome->fail(e, t); });
    api.authRefreshPost(QStringLiteral("BVK"), refreshToken);
    outcome->wait();
    disconnect(ok);
    disconnect(bad);
    return result;
}

bool tst_sim_auth::waitForRefusal(ZRVAuthApi &api, const QString &token, SimOutcome *last)
{
    QDeadlineTimer deadline(10000);
    while (!deadline.hasExpired()) {
        *last = SimOutcome();
        user(api, token, last);
        if (last->done && !last->ok)
            return true;
        QTest::qWait(100);
    }
    return false;
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
    QTest::newRow("admin: MinIO with fixed keys") << "admin" << "admin123" << "active" << true << "S3_Config_Minio" << "MINIO" << true;
    QTest::newRow("groupadmin: MinIO through temporary keys") << "groupadmin" << "group123" << "active" << true << "S3_Config_Minio" << "MINIO" << false;
    QTest::newRow("cloud: NextCloud group") << "cloud" << "cloud123" << "active" << true << "S3_Config_NextCloud" << "NextCloud" << true;
    QTest::newRow("nostorage: no storage group") << "nostorage" << "nostorage123" << "active" << true << "" << "" << false;
    QTest::newRow("inactive: logs in, record says inactive") << "inactive" << "inactive123" << "inactive" << true << "S3_Config_Minio" << "MINIO" << true;
    QTest::newRow("visitor: lacks the presenter role") << "visitor" << "visitor123" << "active" << false << "S3_Config_Minio" << "MINIO" << true;
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
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--token-lifetime"), QStringLiteral("120")}, &error), qPrintable(error));
    Client c(sim);

    SimOutcome o1;
    const ZRVAuth auth = tst_sim_auth::login(c.api, login, password, &o1);
    QVERIFY(o1.ok);
    QVERIFY2(auth.isValid(), "all eight token keys, the hyphenated one included");
    QVERIFY(auth.is_not_before_policy_Set());
    QCOMPARE(auth.getExpiresIn(), qint64(120));

    SimOutcome o2;
    const ZRVUser account = user(c.api, auth.getAccessToken(), &o2);
    QVERIFY(o2.ok);
    QCOMPARE(account.getUserId(), login);
    QCOMPARE(account.getStatus(), status);
    QCOMPARE(account.getRoles().contains(QStringLiteral("ZRV_Presenter")), presenter);
    QVERIFY(account.getCreated().isValid());
    QVERIFY(!account.getId().isEmpty());

    ZRVUserGroups groups;
    SimOutcome o3;
    connect(&c.api, &ZRVAuthApi::authGroupsGetSignal, [&](ZRVUserGroups s) { groups = s; o3.succeed(); });
    connect(&c.api, &ZRVAuthApi::authGroupsGetSignalE, [&](ZRVUserGroups, QNetworkReply::NetworkError e, QString t) { o3.fail(e, t); });
    c.api.authGroupsGet(QStringLiteral("BVK"), QStringLiteral("Customer"));
    QVERIFY(o3.wait());
    QVERIFY2(o3.ok, qPrintable(o3.errorText));
    QCOMPARE(groups.getGroups().size(), 1);
    const ZRVUserGroup customer = groups.getGroups().first();
    QCOMPARE(customer.getName(), QStringLiteral("Brenvik Demo"));
    QStringList licenceKeys;
    for (const ZRVUserGroupAttribute &a : customer.getAttributes())
        licenceKeys << a.getKey();
    QCOMPARE(licenceKeys, (QStringList{QStringLiteral("StorageSize"), QStringLiteral("TrialDays"), QStringLiteral("CountEndlessMeetings")}));

    ZRVUserGroup storage;
    for (const ZRVUserGroup &g : customer.getSubGroups()) {
        if (g.getName().startsWith(QLatin1String("S3_Config"), Qt::CaseInsensitive))
            storage = g;
    }
    QCOMPARE(storage.getName(), storageGroup);
    QMap<QString, QString> attributes;
    for (const ZRVUserGroupAttribute &a : storage.getAttributes())
        attributes.insert(a.getKey(), a.getValue().value(0));
    if (storageGroup.isEmpty())
        return;
    QCOMPARE(attributes.keys(), (QStringList{QStringLiteral("Address"), QStringLiteral("Bucket"), QStringLiteral("Folder"),
                                             QStringLiteral("Modus"), QStringLiteral("Pass"), QStringLiteral("User")}));
    QCOMPARE(attributes.value(QStringLiteral("Modus")), modus);
    QCOMPARE(!attributes.value(QStringLiteral("User")).isEmpty(), fixedKeys);
    QVERIFY(!attributes.value(QStringLiteral("Address")).isEmpty());
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
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({}, &error), qPrintable(error));
    Client c(sim);
    SimOutcome o;
    const ZRVAuth auth = tst_sim_auth::login(c.api, login, password, &o);
    QVERIFY(o.done);
    QVERIFY(!o.ok);
    QCOMPARE(o.errorCode(), 401);
    QCOMPARE(o.errorMessage(), QStringLiteral("invalid user credentials"));
    QVERIFY(auth.getAccessToken().isEmpty());
}

void tst_sim_auth::expiredTokenIsRefusedAndRefreshed()
{
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--token-lifetime"), QStringLiteral("1"), QStringLiteral("--refresh-lifetime"), QStringLiteral("60")}, &error), qPrintable(error));
    Client c(sim);
    SimOutcome o;
    const ZRVAuth first = tst_sim_auth::login(c.api, QStringLiteral("presenter"), QStringLiteral("presenter123"), &o);
    QVERIFY(o.ok);
    SimOutcome refused;
    QVERIFY2(waitForRefusal(c.api, first.getAccessToken(), &refused), "an access token of one second must run out");
    QCOMPARE(refused.error, QNetworkReply::AuthenticationRequiredError);
    QCOMPARE(refused.errorCode(), 401);

    SimOutcome r;
    const ZRVAuth second = refresh(c.api, first.getRefreshToken(), &r);
    QVERIFY2(r.ok, qPrintable(r.errorText));
    QVERIFY(second.isValid());
    QVERIFY(second.getAccessToken() != first.getAccessToken());
    SimOutcome u;
    QCOMPARE(user(c.api, second.getAccessToken(), &u).getUserId(), QStringLiteral("presenter"));
    QVERIFY(u.ok);

    // A refresh token is spent by its use.
    SimOutcome again;
    refresh(c.api, first.getRefreshToken(), &again);
    QVERIFY(again.done && !again.ok);
    QVERIFY(again.errorText.contains(QLatin1String("Token is not active"), Qt::CaseInsensitive));
}

void tst_sim_auth::refreshTokenRunsOut()
{
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({QStringLiteral("--token-lifetime"), QStringLiteral("1"), QStringLiteral("--refresh-lifetime"), QStringLiteral("1")}, &error), qPrintable(error));
    Client c(sim);
    SimOutcome o;
    const ZRVAuth auth = tst_sim_auth::login(c.api, QStringLiteral("admin"), QStringLiteral("admin123"), &o);
    QVERIFY(o.ok);
    SimOutcome refused;
    QVERIFY(waitForRefusal(c.api, auth.getAccessToken(), &refused));
    // Both were issued together with the same lifetime, so the refresh token is gone too.
    SimOutcome r;
    refresh(c.api, auth.getRefreshToken(), &r);
    QVERIFY(r.done && !r.ok);
    QVERIFY(r.errorText.contains(QLatin1String("Token is not active"), Qt::CaseInsensitive));
}

void tst_sim_auth::logoutEndsTheSession()
{
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({}, &error), qPrintable(error));
    Client c(sim);
    SimOutcome o;
    const ZRVAuth auth = tst_sim_auth::login(c.api, QStringLiteral("admin"), QStringLiteral("admin123"), &o);
    QVERIFY(o.ok);
    SimOutcome out;
    connect(&c.api, &ZRVAuthApi::authLogoutPostSignal, [&] { out.succeed(); });
    connect(&c.api, &ZRVAuthApi::authLogoutPostSignalE, [&](QNetworkReply::NetworkError e, QString t) { out.fail(e, t); });
    c.api.authLogoutPost(auth.getRefreshToken());
    QVERIFY(out.wait());
    QVERIFY2(out.ok, qPrintable(out.errorText));
    SimOutcome u;
    user(c.api, auth.getAccessToken(), &u);
    QVERIFY(u.done && !u.ok);
    QCOMPARE(u.errorCode(), 401);
    SimOutcome r;
    refresh(c.api, auth.getRefreshToken(), &r);
    QVERIFY(r.errorText.contains(QLatin1String("Token is not active")));
}

void tst_sim_auth::passwordChange_data()
{
    QTest::addColumn<QString>("oldPassword");
    QTest::addColumn<QString>("newPassword");
    QTest::addColumn<QString>("refusal");
    QTest::newRow("right old password") << "presenter123" << "n3w&pass=word" << "";
    QTest::newRow("wrong old password") << "presenter12" << "n3w&pass=word" << "invalid user credentials";
    QTest::newRow("new password too short") << "presenter123" << "short" << "Password is too short (minimum is 8 characters)";
}

void tst_sim_auth::passwordChange()
{
    QFETCH(QString, oldPassword);
    QFETCH(QString, newPassword);
    QFETCH(QString, refusal);
    SimProcess sim;
    QString error;
    QVERIFY2(sim.start({}, &error), qPrintable(error));
    Client c(sim);
    ZRVAuth fresh;
    SimOutcome o;
    connect(&c.api, &ZRVAuthApi::authPasswordResetPostSignalFull, [&](ZRVHttpRequestWorker *, ZRVAuth s) { fresh = s; o.succeed(); });
    connect(&c.api, &ZRVAuthApi::authPasswordResetPostSignalEFull,
            [&](ZRVHttpRequestWorker *, QNetworkReply::NetworkError e, QString t) { o.fail(e, t); });
    c.api.authPasswordResetPost(QStringLiteral("8d1f0c52-0a6e-4c1b-9a51-000000000003"), QStringLiteral("BVK"),
                                QStringLiteral("presenter"), newPassword, oldPassword);
    QVERIFY(o.wait());
    QCOMPARE(o.ok, refusal.isEmpty());
    SimOutcome withNew, withOld;
    tst_sim_auth::login(c.api, QStringLiteral("presenter"), newPassword, &withNew);
    tst_sim_auth::login(c.api, QStringLiteral("presenter"), QStringLiteral("presenter123"), &withOld);
    if (!refusal.isEmpty()) {
        QVERIFY(o.errorText.contains(refusal, Qt::CaseInsensitive));
        QVERIFY(!withNew.ok);
        QVERIFY(withOld.ok);
        return;
    }
    QVERIFY(fresh.isValid());
    SimOutcome u;
    QCOMPARE(user(c.api, fresh.getAccessToken(), &u).getUserId(), QStringLiteral("presenter"));
    QVERIFY(withNew.ok);
    QVERIFY(!withOld.ok);
}

QTEST_GUILESS_MAIN(tst_sim_auth)
#include "tst_sim_auth.moc"
