#pragma once

// The console's widgets against a running simulator, for every widget test.
//
//   ConsoleFixture fx;
//   QVERIFY2(fx.start(), qPrintable(fx.errorText()));     // zarvo-sim + INI + config
//   ZRV_LoginData login;
//   QVERIFY(fx.signIn("presenter", "presenter123", &login)); // the real login dialog
//   ZRV_MeetingsInfoThread service(nullptr, fx.config());
//   service.setLoginData(&login);
//   ...  fx.sim().admin("POST", "/_sim/fault", {...});  // simulator switches
//
// start() takes extra simulator options and extra INI values keyed
// "Group/key" (e.g. {"ZRV_Console/restorewindow", "false"}). The INI points the
// three services at the simulator under their own base paths, so that a
// client that drops its base path fails. Any process exit of the code under
// test goes to exitCodes() instead of ending the test run; the real exit is
// restored when the fixture goes. Tests that use it link zrv_consolefixture
// and run headless (zrv_add_test does that).

#include <QList>
#include <QMap>
#include <QString>
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
    // Where each service lives on the simulator.
    static constexpr const char *AuthBase = "/idp";
    static constexpr const char *MeetingBase = "/registry";
    static constexpr const char *ServiceBase = "/main";

    ConsoleFixture();
    ~ConsoleFixture();
    ConsoleFixture(const ConsoleFixture &) = delete;
    ConsoleFixture &operator=(const ConsoleFixture &) = delete;

    // Starts zarvo-sim with simArgs, writes the INI and builds the config.
    bool start(const QStringList &simArgs = {}, const QMap<QString, QVariant> &iniExtras = {});
    QString errorText() const { return m_error; }

    // Rewrites the INI (same service addresses plus extras) and rebuilds config().
    bool rewriteIni(const QMap<QString, QVariant> &iniExtras);

    QString iniPath() const;
    ZRV_Config *config() const { return m_config.get(); }
    SimProcess &sim() { return m_sim; }
    QString simBaseUrl() const;

    // Opens the real ZRV_Login, types user and password, presses Ok and waits
    // for the completed login. False when the dialog did not accept within
    // timeoutMs; lastMessages() then holds the titles and texts of the boxes seen.
    bool signIn(const QString &user, const QString &password, ZRV_LoginData *out,
                int timeoutMs = 15000);
    QStringList lastMessages() const { return m_messages; }

    // Codes given to ZRV_ProcessExit while this fixture lives.
    QList<int> exitCodes() const { return *m_exitCodes; }
    void clearExitCodes() { m_exitCodes->clear(); }

private:
    bool writeIni(const QMap<QString, QVariant> &iniExtras);

    QTemporaryDir m_dir;
    SimProcess m_sim;
    std::unique_ptr<ZRV_Config> m_config;
    std::shared_ptr<QList<int>> m_exitCodes;
    QStringList m_messages;
    QString m_error;
};
