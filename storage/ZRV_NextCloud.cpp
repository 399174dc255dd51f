#include "ZRV_NextCloud.h"

#include "ui_ZRV_NextCloud.h"

#include "ZRV_LogCategories.h"
#include "ZRV_NextCloudReply.h"

#include <QEventLoop>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>

ZRV_NextCloud::ZRV_NextCloud(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::ZRV_NextCloud)
{
    ui->setupUi(this);
    // Rows are 20 high, below the style's default minimum.
    ui->tableWidget->verticalHeader()->setMinimumSectionSize(15);
}

ZRV_NextCloud::~ZRV_NextCloud()
{
    delete ui;
}

void ZRV_NextCloud::on_btnRefresh_clicked()
{
    m_url = ui->leUrl->text();
    m_user = ui->leUser->text();
    m_pass = ui->lePass->text();
    QTreeWidgetItem *root = readTree();
    ui->treeWidget->clear();
    if (root)
        ui->treeWidget->insertTopLevelItem(0, root);
    ui->treeWidget->expandAll();
    ui->tableWidget->setRowCount(0);
}

QTreeWidgetItem *ZRV_NextCloud::readTree()
{
    const QString address = m_url + QStringLiteral("/remote.php/dav/files/") + m_user;
    QNetworkRequest request{QUrl(address)};
    request.setRawHeader("Depth", QByteArray::number(m_depth));
    request.setRawHeader("Authorization", "Basic " + (m_user + QLatin1Char(':') + m_pass).toUtf8().toBase64());
    qCDebug(lcNCL).noquote() << "PROPFIND" << address << QStringLiteral("Depth: %1").arg(m_depth) << "user"
                             << m_user + QStringLiteral(":*****");

    QNetworkAccessManager manager;
    QNetworkReply *reply = manager.sendCustomRequest(request, "PROPFIND");
    // The server's certificate is not checked: NextCloud installations are
    // often reached by address or carry their own certificates.
    connect(reply, &QNetworkReply::sslErrors, reply, [reply](const QList<QSslError> &) { reply->ignoreSslErrors(); });

    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    timer.start(m_timeout);
    // The refresh holds the interface as a blocking wait would: no input
    // reaches it meanwhile, but painting goes on.
    if (!reply->isFinished())
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    const bool done = reply->isFinished();
    qCDebug(lcNCL).noquote() << QStringLiteral("Done. %1").arg(done ? QStringLiteral("TRUE") : QStringLiteral("FALSE"));
    // Whatever arrived is read, as a partial reply would have been.
    const QByteArray body = reply->readAll();
    if (!done)
        reply->abort();
    delete reply;

    QString exception;
    QString message;
    if (!ZRV_NextCloudReply::check(body, &exception, &message)) {
        qCCritical(lcNCL).noquote() << exception;
        qCCritical(lcNCL).noquote() << message;
        return nullptr;
    }
    return ZRV_NextCloudReply::buildTree(ZRV_NextCloudReply::parse(body), m_user, m_url);
}

void ZRV_NextCloud::on_treeWidget_itemClicked(QTreeWidgetItem *itm, int)
{
    if (!itm)
        return;
    ui->tableWidget->clearSelection();
    const QJsonArray files = itm->data(0, Qt::UserRole).toJsonArray();
    ui->tableWidget->setRowCount(files.size());
    for (int row = 0; row < files.size(); ++row) {
        const QJsonObject file = files.at(row).toObject();
        ui->tableWidget->setRowHeight(row, 20);
        auto *name = new QTableWidgetItem(file.value(QStringLiteral("name")).toString());
        name->setData(Qt::UserRole, file);
        name->setIcon(QIcon(QStringLiteral(":/ZRV_ServerApp/fbx.ico")));
        ui->tableWidget->setItem(row, 0, name);
        const double mb = file.value(QStringLiteral("size")).toString().toLongLong() / 1000000.0;
        auto *size = new QTableWidgetItem(QString::asprintf("%.2f", mb));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        ui->tableWidget->setItem(row, 1, size);
    }
    emit itemClicked();
}

void ZRV_NextCloud::on_tableWidget_itemClicked(QTableWidgetItem *)
{
    emit itemClicked();
}

void ZRV_NextCloud::on_tableWidget_itemDoubleClicked(QTableWidgetItem *)
{
    emit itemDoubleClicked();
}

QList<QTableWidgetItem *> ZRV_NextCloud::selectedItems()
{
    const QList<QTableWidgetItem *> all = ui->tableWidget->selectedItems();
    const int columns = qMax(1, ui->tableWidget->columnCount());
    QList<QTableWidgetItem *> firsts;
    for (int i = 0; i < all.size(); i += columns)
        firsts.append(all.at(i));
    return firsts;
}

void ZRV_NextCloud::clearSelection()
{
    ui->tableWidget->clearSelection();
}
