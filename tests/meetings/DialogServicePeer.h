#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

#include "ConsoleFixture.h"
#include "SimProcess.h"
#include "ZRVMeetingInfo.h"
#include "ZRV_Config.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"

class ScriptedHttpServer;

// The service object of a signed-in console, as the meeting dialogs get it:
// against the simulator (a real sign-in), or against the scripted server with
// a made-up token so that a test decides every reply.
class DialogServicePeer
{
public:
    DialogServicePeer();
    ~DialogServicePeer();

    // Simulator with life off, so that positions and members hold still.
    bool startSim(const QString &user, const QString &password);
    // Config pointed at the server; the clients are made by one version request
    // that the server is scripted to answer here.
    bool startScripted(ScriptedHttpServer &server);
    QString errorText() const { return m_error; }

    ZRV_MeetingsInfoThread *thread() const { return m_thread.get(); }
    ZRV_Config *config() const { return m_fx ? m_fx->config() : m_config.get(); }
    SimProcess &sim() { return m_fx->sim(); }
    ZRV_LoginData *login() { return &m_login; }

    // One poll of the service object; the live records by lower-case id.
    QMap<QString, ZRV_Service_API::ZRVMeetingInfo> poll();
    // The simulator's main service, with the account's token.
    SimProcess::Reply service(const QByteArray &verb, const QString &path,
                              const QByteArray &body = QByteArray());
    // The registry, with the account's token.
    SimProcess::Reply registry(const QByteArray &verb, const QString &path,
                               const QByteArray &body = QByteArray());

private:
    std::unique_ptr<ConsoleFixture> m_fx;
    QTemporaryDir m_dir;
    std::unique_ptr<ZRV_Config> m_config;
    ZRV_LoginData m_login;
    std::unique_ptr<ZRV_MeetingsInfoThread> m_thread;
    QString m_error;
};
