#include "ZRV_CustomURLInputDialog.h"

#include "ui_ZRV_CustomURLInputDialog.h"

#include <QPushButton>

ZRV_CustomURLInputDialog::ZRV_CustomURLInputDialog(QString *url, int *number, bool *accepted, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_CustomURLInputDialog)
    , m_url(url)
    , m_number(number)
    , m_accepted(accepted)
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
    ui->spnId->setValue(*m_number);
    *m_accepted = false;
}

ZRV_CustomURLInputDialog::~ZRV_CustomURLInputDialog()
{
    delete ui;
}

void ZRV_CustomURLInputDialog::on_buttonBox_clicked(QAbstractButton *button)
{
    const QDialogButtonBox::ButtonRole role = ui->buttonBox->buttonRole(button);
    if (role == QDialogButtonBox::AcceptRole) {
        *m_url = ui->leURL->text().simplified();
        *m_number = ui->spnId->value() + 22000;
        *m_accepted = true;
    } else if (role == QDialogButtonBox::RejectRole) {
        *m_accepted = false;
    }
}
