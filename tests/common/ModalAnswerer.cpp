#include "ModalAnswerer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>

namespace {

// As a user's Escape would: a message box's escape button, else reject.
void closeWidget(QWidget *modal)
{
    if (auto *box = qobject_cast<QMessageBox *>(modal); box && box->escapeButton())
        box->escapeButton()->click();
    else if (auto *dialog = qobject_cast<QDialog *>(modal))
        dialog->reject();
    else
        modal->close();
}

} // namespace

ModalAnswerer::ModalAnswerer(QObject *parent) : QObject(parent)
{
    m_poll.setInterval(20);
    connect(&m_poll, &QTimer::timeout, this, &ModalAnswerer::poll);
}

void ModalAnswerer::pressButton(QMessageBox::StandardButton button)
{
    handle([button](QWidget *modal) {
        auto *box = qobject_cast<QMessageBox *>(modal);
        // A button that is not there: close rather than wait forever.
        if (box && box->button(button))
            box->button(button)->click();
        else
            closeWidget(modal);
    });
}

void ModalAnswerer::arm(int giveUpMs)
{
    m_giveUpMs = giveUpMs;
    m_gaveUp = false;
    m_clock.start();
    m_poll.start();
}

bool ModalAnswerer::eventFilter(QObject *watched, QEvent *event)
{
    // Once hidden, the same dialog shown again is a new question.
    if (watched == m_current && event->type() == QEvent::Hide)
        m_current = nullptr;
    return QObject::eventFilter(watched, event);
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

    Seen seen{QString::fromLatin1(modal->metaObject()->className()), modal->windowTitle(), {}, {}};
    if (auto *box = qobject_cast<QMessageBox *>(modal)) {
        seen.text = box->text();
        // Layout order, as the user sees them, rather than creation order.
        if (auto *buttonBox = box->findChild<QDialogButtonBox *>()) {
            for (QAbstractButton *b : buttonBox->buttons())
                seen.buttons.append(b->text());
        }
    }
    m_seen.append(seen);
    if (m_answers.isEmpty())
        closeWidget(modal);
    else
        m_answers.dequeue()(modal);
}
