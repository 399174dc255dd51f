#pragma once

#include <QDialog>

namespace Ui {
class ZRV_VersionDialog;
}

// The console's version and its legal notice.
class ZRV_VersionDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ZRV_VersionDialog(QWidget *parent = nullptr);
    ~ZRV_VersionDialog() override;

    // This dialog's own build text; it is stamped apart from the main
    // window's and need not agree with it.
    static QString versionText();

private:
    Ui::ZRV_VersionDialog *ui;
};
