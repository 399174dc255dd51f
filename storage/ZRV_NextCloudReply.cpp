#include "ZRV_NextCloudReply.h"

#include <QApplication>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QStyle>
#include <QTreeWidgetItem>
#include <QUrl>
#include <QXmlStreamReader>

bool ZRV_NextCloudReply::check(const QByteArray &body, QString *exception, QString *message)
{
    QXmlStreamReader reader(body);
    bool isError = false;
    bool broken = false;
    QString text;
    QString ex;
    QString msg;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::Invalid) {
            // A reply with nothing in it has no tokens at all, and is no fault.
            if (reader.error() == QXmlStreamReader::PrematureEndOfDocumentError && body.trimmed().isEmpty())
                break;
            ex = QStringLiteral("Cloud Error = %1").arg(int(reader.error()));
            msg = reader.errorString();
            broken = true;
            break;
        }
        if (token == QXmlStreamReader::StartElement) {
            if (reader.name() == QLatin1String("error"))
                isError = true;
            text.clear();
        } else if (token == QXmlStreamReader::Characters && isError) {
            text += reader.text();
        } else if (token == QXmlStreamReader::EndElement && isError) {
            if (reader.name() == QLatin1String("exception"))
                ex = text;
            else if (reader.name() == QLatin1String("message"))
                msg = text;
        }
    }
    if (exception)
        *exception = ex;
    if (message)
        *message = msg;
    return !isError && !broken;
}

QList<ZRV_NextCloudReply::Entry> ZRV_NextCloudReply::parse(const QByteArray &body)
{
    QList<Entry> entries;
    QXmlStreamReader reader(body);
    Entry entry;
    bool inHref = false;
    bool inLength = false;
    QByteArray href;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::Invalid)
            break;
        if (token == QXmlStreamReader::StartElement) {
            const QStringRef name = reader.name();
            if (name == QLatin1String("response")) {
                entry = Entry();
            } else if (name == QLatin1String("href")) {
                inHref = true;
                href.clear();
            } else if (name == QLatin1String("getcontentlength")) {
                inLength = true;
            } else if (name == QLatin1String("collection")) {
                entry.directory = true;
            }
        } else if (token == QXmlStreamReader::Characters) {
            if (inHref)
                href += reader.text().toLatin1();
            else if (inLength)
                entry.size = reader.text().toInt(); // 0 for 2 GiB and more
        } else if (token == QXmlStreamReader::EndElement) {
            const QStringRef name = reader.name();
            if (name == QLatin1String("response")) {
                entries.append(entry);
            } else if (name == QLatin1String("href")) {
                inHref = false;
                entry.path = QUrl::fromPercentEncoding(href);
                entry.parts = entry.path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
            } else if (name == QLatin1String("getcontentlength")) {
                inLength = false;
            }
        }
    }
    return entries;
}

QTreeWidgetItem *ZRV_NextCloudReply::buildTree(const QList<Entry> &entries, const QString &user, const QString &url)
{
    auto *root = new QTreeWidgetItem(QStringList(QStringLiteral("NextCloud - ") + user));
    const QIcon folderIcon = QApplication::style()->standardIcon(QStyle::SP_DirClosedIcon);
    QHash<QTreeWidgetItem *, QJsonArray> files;
    for (const Entry &entry : entries) {
        QTreeWidgetItem *current = root;
        int start = entry.parts.indexOf(user);
        start = start < 0 ? 0 : start + 1;
        for (int p = start; p < entry.parts.size(); ++p) {
            const QString &part = entry.parts.at(p);
            QTreeWidgetItem *child = nullptr;
            for (int c = 0; c < current->childCount() && !child; ++c) {
                if (current->child(c)->text(0) == part)
                    child = current->child(c);
            }
            if (child) {
                current = child;
            } else if (!entry.directory) {
                QJsonObject file;
                file.insert(QStringLiteral("name"), part);
                file.insert(QStringLiteral("size"), QString::number(entry.size));
                file.insert(QStringLiteral("path"), entry.path);
                file.insert(QStringLiteral("url"), url);
                files[current].append(file);
            } else {
                auto *item = new QTreeWidgetItem(QStringList(part));
                item->setIcon(0, folderIcon);
                item->setData(0, Qt::UserRole, QJsonArray());
                current->addChild(item);
                current = item;
            }
        }
    }
    for (auto it = files.constBegin(); it != files.constEnd(); ++it)
        it.key()->setData(0, Qt::UserRole, it.value());
    return root;
}
