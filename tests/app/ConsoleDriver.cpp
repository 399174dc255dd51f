#include "ConsoleDriver.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "ZRV_Login.h"

void ConsoleDriver::logins(const QString &user, const QStringList &passwords)
{
    m_user = user;
    m_passwords = passwords;
}

void ConsoleDriver::arm(int dialogs, int boundMs)
{
    for (int i = 0; i < dialogs; ++i)
        m_answerer.handle([this](QWidget *modal) { answer(modal); });
    m_answerer.arm(boundMs);
}

QString ConsoleDriver::boxSummary() const
{
    QStringList lines;
    for (const BoxSeen &box : m_boxes)
        lines << box.title + QStringLiteral(": ") + box.text;
    return lines.join(QLatin1Char('\n'));
}

bool ConsoleDriver::hasBox(const QString &title) const
{
    for (const BoxSeen &box : m_boxes) {
        if (box.title == title)
            return true;
    }
    return false;
}

void ConsoleDriver::answer(QWidget *modal)
{
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        BoxSeen seen{box->windowTitle(), box->text(), {}};
        for (QAbstractButton *b : box->buttons())
            seen.buttons << b->text();
        m_boxes << seen;
        QAbstractButton *press = box->button(QMessageBox::Ok);
        if (!press)
            press = box->button(QMessageBox::No);
        if (!press)
            press = box->escapeButton();
        if (press)
            press->click();
        else
            box->reject();
        return;
    }
    if (auto *login = qobject_cast<ZRV_Login *>(modal)) {
        auto *leUser = login->findChild<QLineEdit *>(QStringLiteral("leUser"));
        auto *lePass = login->findChild<QLineEdit *>(QStringLiteral("lePass"));
        auto *btnBox = login->findChild<QDialogButtonBox *>(QStringLiteral("btnBox"));
        m_logins << LoginSeen{leUser->text(), leUser->isEnabled()};
        if (m_passwords.isEmpty()) {
            QTest::mouseClick(btnBox->button(QDialogButtonBox::Cancel), Qt::LeftButton);
            return;
        }
        if (leUser->isEnabled()) {
            leUser->clear();
            QTest::keyClicks(leUser, m_user);
        }
        lePass->clear();
        QTest::keyClicks(lePass, m_passwords.takeFirst());
        QTest::mouseClick(btnBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
        return;
    }
    if (auto *dialog = qobject_cast<QDialog *>(modal))
        dialog->reject();
    else
        modal->close();
}
