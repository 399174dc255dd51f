#include <QApplication>
#include <QIcon>

#include "UserActivityFilter.h"
#include "ZRV_ServerApp.h"

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(zrv);
    // Every dialog, the login first, carries the console's icon; the desktop
    // entry resources/zarvo-console.desktop goes by this name.
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/ZRV_ServerApp/logo.png")));
    QGuiApplication::setDesktopFileName(QStringLiteral("zarvo-console"));

    // The window stands before any login: the login follows the version request.
    ZRV_ServerApp window(QCoreApplication::arguments());

    auto *filter = new UserActivityFilter(&window, window.getInactivityTime() * 1000);
    window.installEventFilter(filter);
    QObject::connect(filter, &UserActivityFilter::userInactive, &window, &ZRV_ServerApp::onUserInactive);
    QObject::connect(filter, &UserActivityFilter::userActive, &window, &ZRV_ServerApp::onUserActive);

    window.show();
    return QApplication::exec();
}
