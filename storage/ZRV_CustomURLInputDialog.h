#pragma once

#include <QDialog>
#include <QString>

class QAbstractButton;

namespace Ui {
class ZRV_CustomURLInputDialog;
}

// Asks for a URL placeholder: its URL and its number. The answers go to the
// caller's variables; the number comes back with 22000 added.
class ZRV_CustomURLInputDialog : public QDialog
{
    Q_OBJECT

public:
    // *number holds the preset placeholder number (1 to 999) on entry.
    ZRV_CustomURLInputDialog(QString *url, int *number, bool *accepted, QWidget *parent = nullptr);
    ~ZRV_CustomURLInputDialog() override;

private slots:
    void on_buttonBox_clicked(QAbstractButton *button);

private:
    Ui::ZRV_CustomURLInputDialog *ui;
    QString *m_url;
    int *m_number;
    bool *m_accepted;
};
