#pragma once

#include <QObject>

class QTimer;
class QWidget;

// Watches one window for signs of a user. A window that is not in front and
// has seen no input for a whole interval is reported inactive once; the next
// input reports it active again.
class UserActivityFilter : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int interval READ interval WRITE setInterval)

public:
    UserActivityFilter(QWidget *parent, int interval);

    int interval() const { return m_interval; }
    void setInterval(int interval);

    bool eventFilter(QObject *object, QEvent *event) override;

signals:
    void userInactive();
    void userActive();

public slots:
    void timeout();

private:
    QTimer *m_timer = nullptr;
    int m_interval = 0;
    bool m_inactive = false;
    QWidget *m_window = nullptr;
};
