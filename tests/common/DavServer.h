#pragma once

#include <QProcess>
#include <QString>

// sabre/dav under "php -S" on a free loopback port, serving one data folder
// (the platform's WebDAV server), owned by one test.
class DavServer
{
public:
    ~DavServer() { stop(); }
    // root: the data folder; users: "name:password" pairs as the platform takes them.
    bool start(const QString &root, const QString &users);
    void stop();
    QString url() const { return QString("http://127.0.0.1:%1").arg(m_port); }

private:
    QProcess m_process;
    quint16 m_port = 0;
};
