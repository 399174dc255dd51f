#include "ConsoleFixture.h"

#include <QDeadlineTimer>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QTest>

#include "ModalAnswerer.h"
#include "ZRV_Login.h"
#include "ZRV_ProcessExit.h"

ConsoleFixture::ConsoleFixture()
{
    ZRV_ProcessExit::setHandler([codes = m_exitCodes](int code) { codes->append(code); });
}

ConsoleFixture::~ConsoleFixture()
{
    ZRV_ProcessExit::setHandler({});
    m_sim.stop();
}

bool ConsoleFixture::start(const QStringList &simArgs, const QMap<QString, QVariant> &iniExtras)
{
    const QStringList bases{"--auth-base", AuthBase, "--meeting-base", MeetingBase, "--service-base", ServiceBase};
    if (!m_sim.start(bases + simArgs, &m_error))
        return false;
    QSettings ini(iniPath(), QSettings::IniFormat);
    const QMap<QString, QString> groups{
        {"ZRV_MeetingService", MeetingBase}, {"ZRV_AuthService", AuthBase}, {"ZRV_Service", ServiceBase}};
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        ini.setValue(it.key() + "/host", QStringLiteral("http://127.0.0.1:%1").arg(m_sim.port()));
        ini.setValue(it.key() + "/path", it.value());
    }
    for (auto it = iniExtras.cbegin(); it != iniExtras.cend(); ++it)
        ini.setValue(it.key(), it.value());
    ini.sync();
    m_config.reset(new ZRV_Config({"zarvo-console", "-i", iniPath()}));
    return true;
}

bool ConsoleFixture::signIn(const QString &user, const QString &password, ZRV_LoginData *out, int timeoutMs)
{
    ZRV_Login dialog(nullptr, m_config.get(), QString());
    ModalAnswerer answerer;
    answerer.handle([&](QWidget *modal) {
        QTest::keyClicks(modal->findChild<QLineEdit *>("leUser"), user);
        QTest::keyClicks(modal->findChild<QLineEdit *>("lePass"), password);
        QTest::mouseClick(modal->findChild<QDialogButtonBox *>("btnBox")->button(QDialogButtonBox::Ok),
                          Qt::LeftButton);
    });
    // A refusal: answer its box and give up on the dialog.
    answerer.handle([&](QWidget *modal) {
        qobject_cast<QDialog *>(modal)->reject();
        QTimer::singleShot(0, &dialog, &QDialog::reject);
    });
    answerer.arm(timeoutMs);
    if (dialog.exec() == 0)
        return false;
    const QDeadlineTimer deadline(timeoutMs);
    while (!dialog.loginData.loginComplete && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    if (out && dialog.loginData.loginComplete)
        *out = dialog.loginData;
    return dialog.loginData.loginComplete;
}
