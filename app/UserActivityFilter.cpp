#include "UserActivityFilter.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <QWidget>

UserActivityFilter::UserActivityFilter(QWidget *parent, int interval)
    : QObject(parent), m_interval(interval), m_window(parent)
{
    m_timer = new QTimer(this);
    connect(m_timer, &QTimer::timeout, this, &UserActivityFilter::timeout);
    // The count runs from construction, before the window is even shown.
    m_timer->start(m_interval);
}

void UserActivityFilter::setInterval(int interval)
{
    m_interval = interval;
    if (m_timer->isActive())
        m_timer->start(m_interval);
}

bool UserActivityFilter::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::KeyPress:
    case QEvent::TouchBegin:
    case QEvent::Wheel:
    case QEvent::WindowActivate:
    case QEvent::WindowStateChange:
        m_timer->start(m_interval);
        if (m_inactive) {
            m_inactive = false;
            emit userActive();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(object, event);
}

void UserActivityFilter::timeout()
{
    // A console in front of the user never goes inactive, however idle.
    if (m_window && m_window->isActiveWindow())
        return;
    m_timer->stop();
    m_inactive = true;
    emit userInactive();
}
