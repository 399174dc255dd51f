#pragma once

// zarvo-sim plus an INI pointing the three services at it, each under its own base path (so a dropped
// base path fails); a process exit of the code under test lands in exitCodes() instead of ending the run.

#include <QMap>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

#include <memory>

#include "SimProcess.h"
#include "ZRV_Config.h"
#include "ZRV_LoginData.h"

class ConsoleFixture
{
public:
    static constexpr const char *AuthBase = "/idp";
    static constexpr const char *MeetingBase = "/registry";
    static constexpr const char *ServiceBase = "/main";

    ConsoleFixture();
    ~ConsoleFixture();

    // iniExtras are keyed "Group/key" and override the service addresses.
    bool start(const QStringList &simArgs = {}, const QMap<QString, QVariant> &iniExtras = {});
    QString errorText() const { return m_error; }
    QString iniPath() const { return m_dir.filePath(QStringLiteral("zarvo-console.ini")); }
    ZRV_Config *config() const { return m_config.get(); }
    SimProcess &sim() { return m_sim; }

    // Signs in through the real ZRV_Login; false on a refusal.
    bool signIn(const QString &user, const QString &password, ZRV_LoginData *out, int timeoutMs = 15000);

    QList<int> exitCodes() const { return *m_exitCodes; }
    void clearExitCodes() { m_exitCodes->clear(); }

private:
    QTemporaryDir m_dir;
    SimProcess m_sim;
    std::unique_ptr<ZRV_Config> m_config;
    std::shared_ptr<QList<int>> m_exitCodes = std::make_shared<QList<int>>();
    QString m_error;
};
