#pragma once

#include <QDialog>

#include "ZRVAsset.h"

namespace Ui {
class ZRV_AssetPropertiesDialog;
}

// Edits a copy of one asset: the geometry of a file, the URL of a placeholder.
class ZRV_AssetPropertiesDialog : public QDialog
{
    Q_OBJECT

public:
    explicit ZRV_AssetPropertiesDialog(QWidget *parent = nullptr);
    ~ZRV_AssetPropertiesDialog() override;

    // Shows the asset, runs the dialog and writes the values back; false on cancel.
    bool editAsset(ZRV_Service_API::ZRVAsset &asset);

private:
    Ui::ZRV_AssetPropertiesDialog *ui;
};
