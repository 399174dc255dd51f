#include "DialogServicePeer.h"

#include <QSettings>
#include <QTest>

#include "ScriptedHttpServer.h"

using namespace ZRV_Service_API;

DialogServicePeer::DialogServicePeer() = default;

DialogServicePeer::~DialogServicePeer()
{
    // The service object goes before the configuration it points at.
    m_thread.reset();
}

bool DialogServicePeer::startSim(const QString &user, const QString &password)
{
    m_fx.reset(new ConsoleFixture);
    if (!m_fx->start({QStringLiteral("--simulate-life"), QStringLiteral("off")})) {
        m_error = m_fx->errorText();
        return false;
    }
    if (!m_fx->signIn(user, password, &m_login)) {
        m_error = QStringLiteral("sign-in failed: ") + m_fx->lastMessages().join(QLatin1Char('|'));
        return false;
    }
    m_thread.reset(new ZRV_MeetingsInfoThread(nullptr, m_fx->config()));
    m_thread->setLoginData(&m_login);
    if (poll().isEmpty()) {
        m_error = QStringLiteral("no live records from the first poll");
        return false;
    }
    return true;
}

bool DialogServicePeer::startScripted(ScriptedHttpServer &server)
{
    const QString ini = m_dir.filePath(QStringLiteral("scripted.ini"));
    {
        QSettings s(ini, QSettings::IniFormat);
        for (const char *group : {"ZRV_MeetingService", "ZRV_AuthService", "ZRV_Service"}) {
            s.setValue(QLatin1String(group) + QStringLiteral("/host"), server.baseUrl());
            s.setValue(QLatin1String(group) + QStringLiteral("/path"), QString());
        }
    }
    m_config.reset(new ZRV_Config({QStringLiteral("zarvo-console"), QStringLiteral("-i"), ini}));
    m_login.authenticated = true;
    m_login.accessToken = QStringLiteral("scripted-token");
    m_login.tokenExpiry = QDateTime::currentDateTime().addSecs(3600);
    m_thread.reset(new ZRV_MeetingsInfoThread(nullptr, m_config.get()));
    m_thread->setLoginData(&m_login);

    server.enqueueJson(200, "{}");
    bool answered = false;
    const auto c = QObject::connect(m_thread.get(), &ZRV_MeetingsInfoThread::serviceVersions,
                                    [&answered] { answered = true; });
    m_thread->getServiceVersionInformation();
    const bool ok = QTest::qWaitFor([&answered] { return answered; }, 5000);
    QObject::disconnect(c);
    if (!ok) {
        m_error = QStringLiteral("the version request got no answer");
        return false;
    }
    server.clear();
    return true;
}

QMap<QString, ZRVMeetingInfo> DialogServicePeer::poll()
{
    // The record types are no registered meta types, so no QSignalSpy here.
    QMap<QString, ZRVMeetingInfo> map;
    bool got = false;
    const auto c = QObject::connect(m_thread.get(), &ZRV_MeetingsInfoThread::meetingsInfo,
                                    [&](const QMap<QString, ZRVMeetingInfo> &m) { map = m; got = true; });
    m_thread->getMeetingsInfo();
    const bool answered = QTest::qWaitFor([&got] { return got; }, 10000);
    QObject::disconnect(c);
    return answered ? map : QMap<QString, ZRVMeetingInfo>();
}

SimProcess::Reply DialogServicePeer::service(const QByteArray &verb, const QString &path, const QByteArray &body)
{
    return sim().request(verb, QLatin1String(ConsoleFixture::ServiceBase) + QStringLiteral("/zrv/svc") + path, body,
                         {{"Authorization", "Bearer " + m_login.accessToken.toUtf8()},
                          {"Content-Type", "application/json"}});
}

SimProcess::Reply DialogServicePeer::registry(const QByteArray &verb, const QString &path, const QByteArray &body)
{
    return sim().request(verb, QLatin1String(ConsoleFixture::MeetingBase) + path, body,
                         {{"Authorization", "Bearer " + m_login.accessToken.toUtf8()},
                          {"Content-Type", "application/json"}});
}
