#pragma once

#include <QElapsedTimer>
#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QQueue>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <functional>

class QWidget;

// Answers the modal dialogs and message boxes that code under test opens
// while a test sits in a blocking exec(). Arm it before the blocking call,
// assert on what it saw after the call returns. It never leaves a dialog
// open past its bound: an unexpected or late dialog is closed as Escape would
// close it (a message box's escape button, else reject) and noted.
class ModalAnswerer : public QObject {
    Q_OBJECT

public:
    struct Seen {
        QString className;
        QString objectName;
        QString title;
        QString text;          // QMessageBox text, empty for other dialogs
        QStringList buttons;   // QMessageBox button texts, in layout order
        bool answered = false; // false: no answer was queued, it was rejected
    };

    explicit ModalAnswerer(QObject *parent = nullptr);
    ~ModalAnswerer() override;

    // Queue answers, consumed one per dialog in the order they open.
    void pressButton(QMessageBox::StandardButton button);
    void pressButtonText(const QString &text);
    // A handler gets the dialog to fill in and close as it likes; it must
    // close it (accept, reject, done); one left open is rejected at the bound.
    void handle(const std::function<void(QWidget *)> &handler);

    // Starts polling; after giveUpMs the answerer stops and rejects any
    // modal widget still open, so a test can never hang on a dialog.
    void arm(int giveUpMs = 10000);
    void disarm();

    QList<Seen> seen() const { return m_seen; }
    int pendingAnswers() const { return m_answers.size(); }
    bool gaveUp() const { return m_gaveUp; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    struct Answer {
        QMessageBox::StandardButton button = QMessageBox::NoButton;
        QString buttonText;
        std::function<void(QWidget *)> handler;
    };

    void poll();
    void answer(QWidget *modal);
    static void closeWidget(QWidget *modal);

    QTimer m_poll;
    QElapsedTimer m_clock;
    int m_giveUpMs = 10000;
    bool m_gaveUp = false;
    QQueue<Answer> m_answers;
    QList<Seen> m_seen;
    QPointer<QWidget> m_current;
};
