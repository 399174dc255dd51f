#include "ZRV_QueueTableWidget.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QMessageBox>

ZRV_QueueTableWidget::ZRV_QueueTableWidget(QWidget *parent)
    : QTableWidget(parent)
{
    setColumnCount(6);
    setHorizontalHeaderLabels({QStringLiteral(" "), QStringLiteral("File"), QStringLiteral("Size"),
                               QStringLiteral("Status"), QStringLiteral("Remote"), QStringLiteral("Local")});
    verticalHeader()->hide();
    setSelectionBehavior(QAbstractItemView::SelectRows);
    horizontalHeader()->setMinimumSectionSize(15);
    // Rows are 20 high, below the style's default minimum.
    verticalHeader()->setMinimumSectionSize(15);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
}

QString ZRV_QueueTableWidget::sizeText(qint64 bytes)
{
    const double kb = double(bytes / 1024);
    if (kb < 1024)
        return QStringLiteral("%1 KB").arg(kb, 0, 'f', 0);
    if (kb < 1048576)
        return QStringLiteral("%1 MB").arg(kb / 1024, 0, 'f', 2);
    return QStringLiteral("%1 GB").arg(kb / 1048576, 0, 'f', 2);
}

QString ZRV_QueueTableWidget::stateText(int state)
{
    switch (state) {
    case 0:
        return QStringLiteral("Queued");
    case 1:
        return QStringLiteral("In Progress");
    case 2:
        return QStringLiteral("Paused");
    case 3:
        return QStringLiteral("Skipped");
    case 4:
        return QStringLiteral("Complete");
    case 5:
        return QStringLiteral("Failed");
    default:
        return QString();
    }
}

QString ZRV_QueueTableWidget::typeText(int type)
{
    switch (type) {
    case 0:
        return QStringLiteral("\u2191");
    case 1:
        return QStringLiteral("\u2193");
    case 2:
        return QStringLiteral("X");
    case 3:
        return QStringLiteral("?");
    default:
        return QString();
    }
}

QString ZRV_QueueTableWidget::localDir(const QString &path)
{
    int cut = path.lastIndexOf(QLatin1Char('/'));
    if (cut < 0)
        cut = path.lastIndexOf(QLatin1Char('\\'));
    return cut < 0 ? path : path.left(cut);
}

void ZRV_QueueTableWidget::setCellText(int row, int column, const QString &text)
{
    QTableWidgetItem *cell = item(row, column);
    if (!cell) {
        setItem(row, column, new QTableWidgetItem(text));
        return;
    }
    if (cell->text() != text)
        cell->setText(text);
}

void ZRV_QueueTableWidget::showQueue(const QList<ZRV_S3::fileEntry> &files)
{
    const int oldRows = rowCount();
    setRowCount(files.size());
    for (int row = 0; row < files.size(); ++row) {
        const ZRV_S3::fileEntry &f = files.at(row);
        if (row >= oldRows)
            setRowHeight(row, 20);
        setCellText(row, 0, typeText(f.type));
        setCellText(row, 1, f.key.mid(f.key.lastIndexOf(QLatin1Char('/')) + 1));
        setCellText(row, 2, sizeText(f.size));
        setCellText(row, 3, stateText(f.state));
        setCellText(row, 4, f.key);
        setCellText(row, 5, localDir(f.path));
    }
}

void ZRV_QueueTableWidget::keyPressEvent(QKeyEvent *event)
{
    // Other keys are swallowed on purpose: the table is not for navigating.
    if (event->key() != Qt::Key_Delete)
        return;
    // Row 0 is the running transfer; the waiting entries start below it.
    const int slot = currentRow() - 1;
    if (slot >= 0)
        emit deleteSlot(slot);
    else
        QMessageBox::critical(this, QStringLiteral("Cannot abort"), QStringLiteral("Cannot abort current operation."),
                              QMessageBox::Ok);
}

void ZRV_QueueTableWidget::resizeEvent(QResizeEvent *event)
{
    const int w = width();
    horizontalHeader()->setStretchLastSection(true);
    setColumnWidth(0, w / 100);
    setColumnWidth(1, w * 20 / 100);
    setColumnWidth(2, qMax(100, w * 5 / 100));
    setColumnWidth(3, qMax(100, w * 5 / 100));
    setColumnWidth(4, w * 30 / 100);
    setColumnWidth(5, w * 10 / 100);
    QTableWidget::resizeEvent(event);
}
