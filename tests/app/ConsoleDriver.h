#pragma once

#include <QList>
#include <QStringList>

#include "ModalAnswerer.h"

class ZRV_ServerApp;

// Answers what a console window opens: each login the next password (and the user unless fixed) and Ok,
// Cancel once they run out; each box is noted as "title: text [n buttons]" and answered Ok, or No.
class ConsoleDriver
{
public:
    struct LoginSeen { QString user; bool userEditable; };

    ConsoleDriver(const QString &user, const QStringList &passwords);

    QList<LoginSeen> logins() const { return m_logins; }
    QStringList boxes() const { return m_boxes; }

    static QStringList arguments(const QString &iniPath) { return {"zarvo-console", "-i", iniPath}; }
    // True once initConsole has shown the status line.
    static bool waitRunning(ZRV_ServerApp &window);

private:
    void answer(QWidget *modal);

    ModalAnswerer m_answerer;
    QString m_user;
    QStringList m_passwords;
    QList<LoginSeen> m_logins;
    QStringList m_boxes;
};
