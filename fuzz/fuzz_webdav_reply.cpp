// A PROPFIND reply from the WebDAV store: the error check, the entries, and
// the folder tree built from them for the account "cloud".
#include "ZRV_NextCloudReply.h"

#include <QApplication>
#include <QTreeWidgetItem>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // The tree takes its folder icon from the application's style. The
    // application lives on to the end: the offscreen platform drops part of
    // its screen when it is torn down, which is no finding of ours.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication *app = new QApplication(*argc, *argv);
    (void)app;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char *>(data), int(size));
    QString exception;
    QString message;
    ZRV_NextCloudReply::check(body, &exception, &message);
    const QList<ZRV_NextCloudReply::Entry> entries = ZRV_NextCloudReply::parse(body);
    delete ZRV_NextCloudReply::buildTree(entries, QStringLiteral("cloud"),
                                         QStringLiteral("http://127.0.0.1:1/remote.php/dav/files/cloud"));
    return 0;
}
