#include "ZRV_AssetPropertiesDialog.h"

#include "ui_ZRV_AssetPropertiesDialog.h"

#include <QDoubleSpinBox>

using ZRV_Service_API::ZRVAsset;
using ZRV_Service_API::ZRVDefVector3;

namespace {

void showVector(const ZRVDefVector3 &v, QDoubleSpinBox *x, QDoubleSpinBox *y, QDoubleSpinBox *z)
{
    x->setValue(v.getX());
    y->setValue(v.getY());
    z->setValue(v.getZ());
}

ZRVDefVector3 readVector(const QDoubleSpinBox *x, const QDoubleSpinBox *y, const QDoubleSpinBox *z)
{
    ZRVDefVector3 v;
    v.setX(float(x->value()));
    v.setY(float(y->value()));
    v.setZ(float(z->value()));
    return v;
}

} // namespace

ZRV_AssetPropertiesDialog::ZRV_AssetPropertiesDialog(QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::ZRV_AssetPropertiesDialog)
{
    ui->setupUi(this);
    setWindowFlags(windowFlags() & ~Qt::WindowContextHelpButtonHint);
}

ZRV_AssetPropertiesDialog::~ZRV_AssetPropertiesDialog()
{
    delete ui;
}

bool ZRV_AssetPropertiesDialog::editAsset(ZRVAsset &asset)
{
    setWindowTitle(QStringLiteral("%1").arg(asset.getName()));
    const bool placeholder = asset.getMode() == 3;
    ui->grpSca->setVisible(!placeholder);
    ui->grpPos->setVisible(!placeholder);
    ui->groRot->setVisible(!placeholder);
    ui->grpCustomURL->setVisible(placeholder);

    showVector(asset.getPosition(), ui->spnPosX, ui->spnPosY, ui->spnPosZ);
    showVector(asset.getRotation(), ui->spnRotX, ui->spnRotY, ui->spnRotZ);
    showVector(asset.getScale(), ui->spnScaX, ui->spnScaY, ui->spnScaZ);
    ui->leCustomURL->setText(asset.getStgRelPath());

    if (exec() != QDialog::Accepted)
        return false;

    if (placeholder) {
        asset.setStgPreSgnPath(ui->leCustomURL->text());
        asset.setStgRelPath(ui->leCustomURL->text());
    } else {
        asset.setPosition(readVector(ui->spnPosX, ui->spnPosY, ui->spnPosZ));
        asset.setRotation(readVector(ui->spnRotX, ui->spnRotY, ui->spnRotZ));
        asset.setScale(readVector(ui->spnScaX, ui->spnScaY, ui->spnScaZ));
    }
    return true;
}
