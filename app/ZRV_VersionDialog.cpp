#include "ZRV_VersionDialog.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QLayout>
#include <QPushButton>

#include "ui_ZRV_VersionDialog.h"

QString ZRV_VersionDialog::versionText()
{
    return QStringLiteral("v3.1-0-g6d496fb");
}

ZRV_VersionDialog::ZRV_VersionDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_VersionDialog)
{
    ui->setupUi(this);
    ui->buttonBox->button(QDialogButtonBox::Cancel)->hide();
    setWindowFlags((windowFlags() | Qt::Dialog) & ~Qt::WindowContextHelpButtonHint);
    setWindowState(Qt::WindowActive);
    layout()->setSizeConstraint(QLayout::SetFixedSize);
    connect(ui->buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(ui->buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);

    // "v3.1-0-g6d496fb": no "v", no 9-character hash suffix, dots throughout.
    QString version = versionText().mid(1);
    version.chop(9);
    version.replace(QLatin1Char('-'), QLatin1Char('.'));
    ui->lblTitle->setText(QStringLiteral("Zarvo Console") + QStringLiteral(" V") + version);

    // A notice shipped beside the executable overrides the built-in one, so
    // that a distributor can change it without a rebuild.
    QFile notice(QCoreApplication::applicationDirPath() + QStringLiteral("/copyright.txt"));
    if (QFileInfo(notice).isReadable() && notice.open(QIODevice::ReadOnly))
        ui->lblCopyright->setText(QString::fromUtf8(notice.readAll()));
}

ZRV_VersionDialog::~ZRV_VersionDialog()
{
    delete ui;
}
