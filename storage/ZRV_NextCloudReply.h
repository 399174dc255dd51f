#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

class QTreeWidgetItem;

// Reading a WebDAV PROPFIND reply, apart from how it was fetched.
class ZRV_NextCloudReply
{
public:
    struct Entry
    {
        QString path;  // the decoded href
        int size = 0;  // getcontentlength; 0 when it does not fit
        bool directory = false;
        QStringList parts;
    };

    // False for broken XML and for a server's "error" reply; *exception and
    // *message then hold what the log is to tell.
    static bool check(const QByteArray &body, QString *exception, QString *message);
    static QList<Entry> parse(const QByteArray &body);
    // The tree below "NextCloud - <user>": the path is cut behind its first
    // element that equals the user; files go into their folder's JSON array.
    static QTreeWidgetItem *buildTree(const QList<Entry> &entries, const QString &user, const QString &url);
};
