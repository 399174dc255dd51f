// The floor of the start-up benchmark: a Qt program that only shows an empty
// dialog titled "Login".
#include <QApplication>
#include <QDialog>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QDialog dialog;
    dialog.setWindowTitle(QStringLiteral("Login"));
    dialog.resize(300, 180);
    dialog.show();
    return app.exec();
}
