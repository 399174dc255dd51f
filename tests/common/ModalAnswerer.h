#pragma once

#include <QElapsedTimer>
#include <QMessageBox>
#include <QPointer>
#include <QQueue>
#include <QTimer>
#include <functional>

// Answers the modal dialogs code under test opens while a test sits in a blocking exec(): arm it before, read
// what it saw after. An unexpected or late dialog is closed as Escape would close it, and noted.
class ModalAnswerer : public QObject {
    Q_OBJECT

public:
    struct Seen {
        QString className;
        QString title;
        QString text;        // QMessageBox text, empty for other dialogs
        QStringList buttons; // QMessageBox button texts, in layout order
    };

    explicit ModalAnswerer(QObject *parent = nullptr);

    // One answer per dialog, in the order they open. A handler fills in and closes the dialog; one it
    // leaves open is rejected at the bound.
    void pressButton(QMessageBox::StandardButton button);
    void handle(const std::function<void(QWidget *)> &handler) { m_answers.enqueue(handler); }

    // After giveUpMs it stops and rejects any modal widget still open, so a test never hangs on a dialog.
    void arm(int giveUpMs = 10000);
    void disarm() { m_poll.stop(); }

    QList<Seen> seen() const { return m_seen; }
    bool gaveUp() const { return m_gaveUp; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void poll();

    QTimer m_poll;
    QElapsedTimer m_clock;
    int m_giveUpMs = 10000;
    bool m_gaveUp = false;
    QQueue<std::function<void(QWidget *)>> m_answers;
    QList<Seen> m_seen;
    QPointer<QWidget> m_current;
};
