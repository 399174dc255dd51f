#include "ModalAnswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>

ModalAnswerer::ModalAnswerer(QObject *parent) : QObject(parent)
{
    m_poll.setInterval(20);
    connect(&m_poll, &QTimer::timeout, this, &ModalAnswerer::poll);
}

ModalAnswerer::~ModalAnswerer()
{
    disarm();
}

void ModalAnswerer::pressButton(QMessageBox::StandardButton button)
{
    Answer a;
    a.button = button;
    m_answers.enqueue(a);
}

void ModalAnswerer::pressButtonText(const QString &text)
{
    Answer a;
    a.buttonText = text;
    m_answers.enqueue(a);
}

void ModalAnswerer::handle(const std::function<void(QWidget *)> &handler)
{
    Answer a;
    a.handler = handler;
    m_answers.enqueue(a);
}

void ModalAnswerer::arm(int giveUpMs)
{
    m_giveUpMs = giveUpMs;
    m_gaveUp = false;
    m_clock.start();
    m_poll.start();
}

void ModalAnswerer::disarm()
{
    m_poll.stop();
}

bool ModalAnswerer::eventFilter(QObject *watched, QEvent *event)
{
    // Once hidden, the same dialog shown again is a new question.
    if (watched == m_current && event->type() == QEvent::Hide)
        m_current = nullptr;
    return QObject::eventFilter(watched, event);
}

void ModalAnswerer::closeWidget(QWidget *modal)
{
    // As a user's Escape would: a message box's escape button, else reject.
    auto *box = qobject_cast<QMessageBox *>(modal);
    if (box && box->escapeButton())
        box->escapeButton()->click();
    else if (auto *dialog = qobject_cast<QDialog *>(modal))
        dialog->reject();
    else
        modal->close();
}

void ModalAnswerer::poll()
{
    QWidget *modal = QApplication::activeModalWidget();
    if (m_clock.elapsed() > m_giveUpMs) {
        m_gaveUp = true;
        m_poll.stop();
        if (modal)
            closeWidget(modal);
        return;
    }
    // The same widget still open means its answer has not taken effect yet.
    if (!modal || modal == m_current || !modal->isVisible())
        return;
    m_current = modal;
    modal->installEventFilter(this);
    answer(modal);
}

void ModalAnswerer::answer(QWidget *modal)
{
    Seen seen;
    seen.className = QString::fromLatin1(modal->metaObject()->className());
    seen.objectName = modal->objectName();
    seen.title = modal->windowTitle();
    auto *box = qobject_cast<QMessageBox *>(modal);
    if (box) {
        seen.text = box->text();
        // Layout order, as the user sees them, rather than creation order.
        if (auto *buttonBox = box->findChild<QDialogButtonBox *>()) {
            for (QAbstractButton *b : buttonBox->buttons())
                seen.buttons.append(b->text());
        }
    }

    if (m_answers.isEmpty()) {
        m_seen.append(seen);
        closeWidget(modal);
        return;
    }
    const Answer a = m_answers.dequeue();
    seen.answered = true;
    m_seen.append(seen);

    if (a.handler) {
        a.handler(modal);
        return;
    }
    if (box) {
        QAbstractButton *target = nullptr;
        if (a.button != QMessageBox::NoButton)
            target = box->button(a.button);
        if (!target && !a.buttonText.isEmpty()) {
            for (QAbstractButton *b : box->buttons()) {
                if (b->text() == a.buttonText)
                    target = b;
            }
        }
        if (target) {
            target->click();
            return;
        }
    }
    // A button that is not there: note it and close, rather than wait forever.
    m_seen.last().answered = false;
    closeWidget(modal);
}
