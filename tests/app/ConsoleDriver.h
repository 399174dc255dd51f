#pragma once

// Answers everything a console window opens while a test drives it: each
// login dialog gets the next password typed (with the user name unless the
// dialog fixes it) and Ok pressed, or Cancel once the passwords run out;
// each message box is noted and answered Ok (No where it asks a question).
//
//   ConsoleDriver driver;
//   driver.logins("presenter", {"presenter123"});
//   driver.arm();
//   ZRV_ServerApp window(fx.windowArguments());

#include <QList>
#include <QString>
#include <QStringList>

#include "ModalAnswerer.h"

class ConsoleDriver
{
public:
    struct LoginSeen
    {
        QString user;       // leUser's text as the dialog opened
        bool userEditable;  // false on a new login after session expiry
    };
    struct BoxSeen
    {
        QString title;
        QString text;
        QStringList buttons;
    };

    void logins(const QString &user, const QStringList &passwords);
    // Answers up to `dialogs` dialogs within boundMs; later ones are closed.
    void arm(int dialogs = 16, int boundMs = 60000);

    QList<LoginSeen> loginsSeen() const { return m_logins; }
    QList<BoxSeen> boxesSeen() const { return m_boxes; }
    // "title: text" of every box, for failure messages.
    QString boxSummary() const;
    bool hasBox(const QString &title) const;

private:
    void answer(QWidget *modal);

    ModalAnswerer m_answerer;
    QString m_user;
    QStringList m_passwords;
    QList<LoginSeen> m_logins;
    QList<BoxSeen> m_boxes;
};
