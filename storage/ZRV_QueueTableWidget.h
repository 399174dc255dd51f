#pragma once

#include <QList>
#include <QString>
#include <QTableWidget>

#include "ZRV_S3.h"

// The queue dock's table: row 0 is the running transfer, the rows below it
// the waiting entries. The Delete key asks to take a waiting entry out.
class ZRV_QueueTableWidget : public QTableWidget
{
    Q_OBJECT

public:
    explicit ZRV_QueueTableWidget(QWidget *parent = nullptr);

    // Shows the queue; rows whose texts did not change are left alone, so a
    // long queue costs only what changed.
    void showQueue(const QList<ZRV_S3::fileEntry> &files);

    // "%1 KB" below 1024 KB, then "%1 MB" and "%1 GB" with two decimals.
    static QString sizeText(qint64 bytes);
    static QString stateText(int state);
    static QString typeText(int type);
    // The local folder: up to the last "/", else up to the last "\".
    static QString localDir(const QString &path);

signals:
    void deleteSlot(int slot);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void setCellText(int row, int column, const QString &text);
};
