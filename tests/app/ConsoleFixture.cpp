#include "ConsoleFixture.h"

#include <QDeadlineTimer>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>

#include "ModalAnswerer.h"
#include "ZRV_Login.h"
#include "ZRV_ProcessExit.h"

ConsoleFixture::ConsoleFixture() : m_exitCodes(std::make_shared<QList<int>>())
{
    auto codes = m_exitCodes;
    ZRV_ProcessExit::setHandler([codes](int code) { codes->append(code); });
}

ConsoleFixture::~ConsoleFixture()
{
    ZRV_ProcessExit::setHandler({});
    m_sim.stop();
}

bool ConsoleFixture::start(const QStringList &simArgs, const QMap<QString, QVariant> &iniExtras)
{
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("no temporary directory");
        return false;
    }
    const QStringList bases{QStringLiteral("--auth-base"), QString::fromLatin1(AuthBase),
                            QStringLiteral("--meeting-base"), QString::fromLatin1(MeetingBase),
                            QStringLiteral("--service-base"), QString::fromLatin1(ServiceBase)};
    if (!m_sim.start(bases + simArgs, &m_error))
        return false;
    return rewriteIni(iniExtras);
}

bool ConsoleFixture::rewriteIni(const QMap<QString, QVariant> &iniExtras)
{
    if (!writeIni(iniExtras))
        return false;
    m_config.reset(new ZRV_Config(
        QStringList{QStringLiteral("zarvo-console"), QStringLiteral("-i"), iniPath()}));
    return true;
}

QString ConsoleFixture::iniPath() const
{
    return m_dir.filePath(QStringLiteral("zarvo-console.ini"));
}

QString ConsoleFixture::simBaseUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_sim.port());
}

bool ConsoleFixture::writeIni(const QMap<QString, QVariant> &iniExtras)
{
    QFile::remove(iniPath());
    QSettings ini(iniPath(), QSettings::IniFormat);
    const QString host = simBaseUrl();
    ini.setValue(QStringLiteral("ZRV_MeetingService/host"), host);
    ini.setValue(QStringLiteral("ZRV_MeetingService/path"), QString::fromLatin1(MeetingBase));
    ini.setValue(QStringLiteral("ZRV_MeetingService/auth"), QStringLiteral("on"));
    ini.setValue(QStringLiteral("ZRV_AuthService/host"), host);
    ini.setValue(QStringLiteral("ZRV_AuthService/path"), QString::fromLatin1(AuthBase));
    ini.setValue(QStringLiteral("ZRV_Service/host"), host);
    ini.setValue(QStringLiteral("ZRV_Service/path"), QString::fromLatin1(ServiceBase));
    ini.setValue(QStringLiteral("ZRV_Console/inactivitytime"), 180);
    ini.setValue(QStringLiteral("ZRV_Console/restorewindow"), true);
    for (auto it = iniExtras.cbegin(); it != iniExtras.cend(); ++it)
        ini.setValue(it.key(), it.value());
    ini.sync();
    if (ini.status() != QSettings::NoError) {
        m_error = QStringLiteral("cannot write %1").arg(iniPath());
        return false;
    }
    return true;
}

bool ConsoleFixture::signIn(const QString &user, const QString &password, ZRV_LoginData *out,
                            int timeoutMs)
{
    m_messages.clear();
    ZRV_Login dialog(nullptr, m_config.get(), QString());

    ModalAnswerer answerer;
    // First the login itself: type and press Ok as a user would.
    answerer.handle([&user, &password](QWidget *modal) {
        auto *leUser = modal->findChild<QLineEdit *>(QStringLiteral("leUser"));
        auto *lePass = modal->findChild<QLineEdit *>(QStringLiteral("lePass"));
        auto *btnBox = modal->findChild<QDialogButtonBox *>(QStringLiteral("btnBox"));
        if (!leUser || !lePass || !btnBox)
            return;
        leUser->clear();
        QTest::keyClicks(leUser, user);
        lePass->clear();
        QTest::keyClicks(lePass, password);
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
    });
    // Then any refusal: note it, answer Ok, give up on the dialog.
    answerer.handle([this, &dialog](QWidget *modal) {
        if (auto *box = qobject_cast<QMessageBox *>(modal)) {
            m_messages << box->windowTitle() << box->text();
            if (QAbstractButton *ok = box->button(QMessageBox::Ok))
                ok->click();
            else
                box->reject();
        }
        QTimer::singleShot(0, &dialog, &QDialog::reject);
    });
    answerer.arm(timeoutMs);
    const int result = dialog.exec();
    answerer.disarm();
    if (result == 0)
        return false;

    QDeadlineTimer deadline(timeoutMs);
    while (!dialog.loginData.loginComplete && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    if (!dialog.loginData.loginComplete)
        return false;
    if (out)
        *out = dialog.loginData;
    return true;
}
