#include "ConsoleDriver.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include "ZRV_Login.h"
#include "ZRV_ServerApp.h"

ConsoleDriver::ConsoleDriver(const QString &user, const QStringList &passwords) : m_user(user), m_passwords(passwords)
{
    for (int i = 0; i < 16; ++i)
        m_answerer.handle([this](QWidget *modal) { answer(modal); });
    m_answerer.arm(60000);
}

bool ConsoleDriver::waitRunning(ZRV_ServerApp &window)
{
    auto *bar = window.findChild<QStatusBar *>("statusBar");
    return QTest::qWaitFor([bar] { return bar->isVisible(); }, 20000);
}

void ConsoleDriver::answer(QWidget *modal)
{
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        m_boxes << QStringLiteral("%1: %2 [%3 buttons]").arg(box->windowTitle(), box->text()).arg(box->buttons().size());
        QAbstractButton *press = box->button(QMessageBox::Ok) ? box->button(QMessageBox::Ok) : box->button(QMessageBox::No);
        press ? press->click() : box->reject();
        return;
    }
    auto *login = qobject_cast<ZRV_Login *>(modal);
    if (!login) {
        modal->close();
        return;
    }
    auto *leUser = login->findChild<QLineEdit *>("leUser");
    auto *btnBox = login->findChild<QDialogButtonBox *>("btnBox");
    m_logins << LoginSeen{leUser->text(), leUser->isEnabled()};
    if (m_passwords.isEmpty()) {
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Cancel), Qt::LeftButton);
        return;
    }
    if (leUser->isEnabled()) {
        leUser->clear();
        QTest::keyClicks(leUser, m_user);
    }
    QTest::keyClicks(login->findChild<QLineEdit *>("lePass"), m_passwords.takeFirst());
    QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
}
