#include "ZRV_S3.h"

#include "ui_ZRV_S3.h"

#include "ZRV_LoginData.h"
#include "ZRV_ProcessExit.h"
#include "ZRV_S3Tree.h"
#include "ZRV_S3Worker.h"

#include <QApplication>
#include <QCoreApplication>
#include <QInputDialog>
#include <QJsonArray>
#include <QJsonObject>
#include <QMessageBox>
#include <QSpacerItem>
#include <QStyle>
#include <QThread>
#include <QTreeWidgetItemIterator>

namespace {
const QString Administrator = QStringLiteral("ZRV_Administrator");
}

ZRV_S3::ZRV_S3(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::ZRV_S3)
{
    qRegisterMetaType<QAWSException>("QAWSException");
    qRegisterMetaType<ZRV_S3::fileEntry>("fileEntry");
    qRegisterMetaType<QList<ZRV_S3::fileEntry>>("QList<fileEntry>");

    ui->setupUi(this);
    ui->S3TableWidget->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    ui->S3TableWidget->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Fixed);
    ui->S3TableWidget->setColumnWidth(1, 50);
    // Rows are 20 high, below the style's default minimum.
    ui->S3TableWidget->verticalHeader()->setMinimumSectionSize(15);

    setManagedWidgetsVisible(false);
    ui->btnS3BanFile->hide();
    m_spacer = new QSpacerItem(100, 20, QSizePolicy::Expanding, QSizePolicy::Minimum);
    ui->S3ToolWgt->layout()->addItem(m_spacer);
    m_spacerInLayout = true;
    connect(ui->leS3Pass, &QLineEdit::returnPressed, ui->btnS3Refresh, &QPushButton::click);

    // The first entry may start at once.
    m_current.state = 4;

    m_worker = new ZRV_S3Worker();
    m_thread = new QThread(this);
    m_worker->moveToThread(m_thread);
    connect(m_thread, &QThread::finished, m_worker, &QObject::deleteLater);

    connect(this, &ZRV_S3::doSetup, m_worker, &ZRV_S3Worker::doSetup);
    connect(this, &ZRV_S3::doListObjectsAndSizes, m_worker, &ZRV_S3Worker::doListObjectsAndSizes);
    connect(this, &ZRV_S3::doDownload, m_worker, &ZRV_S3Worker::doDownload);
    connect(this, &ZRV_S3::doUpload, m_worker, &ZRV_S3Worker::doUpload);
    connect(this, &ZRV_S3::doDelete, m_worker, &ZRV_S3Worker::doDelete);
    // Pause and abort are read by the running transfer loop between two steps,
    // which drains the worker's queued events itself.
    connect(this, &ZRV_S3::doPause, m_worker, &ZRV_S3Worker::doPause);
    connect(this, &ZRV_S3::doAbort, m_worker, &ZRV_S3Worker::doAbort);

    connect(m_worker, &ZRV_S3Worker::listSizesFinished, this, &ZRV_S3::onListSizesFinished);
    connect(m_worker, &ZRV_S3Worker::listSizesFailed, this, &ZRV_S3::onListSizesFailed);
    connect(m_worker, &ZRV_S3Worker::setupFinished, this, &ZRV_S3::onSetupFinished);
    connect(m_worker, &ZRV_S3Worker::setupFailed, this, &ZRV_S3::onSetupFailed);
    connect(m_worker, &ZRV_S3Worker::downloadFinished, this, &ZRV_S3::onDownloadFinished);
    connect(m_worker, &ZRV_S3Worker::downloadFailed, this, &ZRV_S3::onDownloadFailed);
    connect(m_worker, &ZRV_S3Worker::uploadFinished, this, &ZRV_S3::onUploadFinished);
    connect(m_worker, &ZRV_S3Worker::uploadFailed, this, &ZRV_S3::onUploadFailed);
    connect(m_worker, &ZRV_S3Worker::deleteFinished, this, &ZRV_S3::onDeleteFinished);
    connect(m_worker, &ZRV_S3Worker::deleteFailed, this, &ZRV_S3::onDeleteFailed);
    connect(m_worker, &ZRV_S3Worker::fileSizeFinished, this, &ZRV_S3::onFileSizeFinished);
    connect(m_worker, &ZRV_S3Worker::fileSizeFailed, this, &ZRV_S3::onFileSizeFailed);
    connect(m_worker, &ZRV_S3Worker::transferProgress, this, &ZRV_S3::transferProgress);

    m_thread->start(QThread::InheritPriority);
}

ZRV_S3::~ZRV_S3()
{
    // A transfer that still runs is carried to its end before the thread stops.
    m_thread->quit();
    m_thread->wait();
    m_thread->deleteLater();
    if (!m_spacerInLayout)
        delete m_spacer;
    delete ui;
}

void ZRV_S3::setConfig(ZRV_Config *config)
{
    m_config = config;
}

bool ZRV_S3::isAdministrator() const
{
    return m_loginData && m_loginData->roles.contains(Administrator);
}

void ZRV_S3::setManagedWidgetsVisible(bool visible)
{
    for (QWidget *w : {static_cast<QWidget *>(ui->lbS3Url), static_cast<QWidget *>(ui->leS3Url),
                       static_cast<QWidget *>(ui->lbS3Bucket), static_cast<QWidget *>(ui->leS3Bucket),
                       static_cast<QWidget *>(ui->lbS3User), static_cast<QWidget *>(ui->leS3User),
                       static_cast<QWidget *>(ui->lbS3Pass), static_cast<QWidget *>(ui->leS3Pass)})
        w->setVisible(visible);
}

void ZRV_S3::setLoginData(ZRV_LoginData *data)
{
    m_loginData = data;
    m_managed = data && (data->storageMode == 1 || data->storageMode == 2);
    setManagedWidgetsVisible(!m_managed);
    if (!m_managed) {
        if (m_spacerInLayout) {
            ui->S3ToolWgt->layout()->removeItem(m_spacer);
            m_spacerInLayout = false;
        }
        return;
    }
    ui->leS3Url->setText(data->storageAddress);
    ui->leS3User->setText(data->storageUser);
    ui->leS3Pass->setText(data->storagePass);
    if (isAdministrator())
        ui->btnS3BanFile->show();
}

void ZRV_S3::on_btnS3Refresh_clicked()
{
    ui->btnS3Refresh->setEnabled(false);
    m_url = ui->leS3Url->text();
    m_user = ui->leS3User->text();
    m_pass = ui->leS3Pass->text();
    m_bucket = ui->leS3Bucket->text();
    setup();
}

QString ZRV_S3::derivePathPrefix() const
{
    if (!m_managed || isAdministrator())
        return QString();
    QString prefix = m_loginData->storageFolder;
    while (prefix.startsWith(QLatin1Char('/')))
        prefix.remove(0, 1);
    if (!prefix.endsWith(QLatin1Char('/')))
        prefix += QLatin1Char('/');
    return prefix;
}

void ZRV_S3::setup()
{
    // The regions the console knows by name; none is ever passed on or shown.
    static const QStringList regions = {
        "us-east-2",      "us-east-1",      "us-west-1",      "us-west-2",  "af-south-1", "ap-east-1",
        "ap-south-1",     "ap-northeast-3", "ap-northeast-2", "ap-southeast-1", "ap-southeast-2",
        "ap-northeast-1", "ca-central-1",   "cn-north-1",     "cn-northwest-1", "eu-central-1",
        "eu-west-1",      "eu-west-2",      "eu-south-1",     "eu-west-3",  "eu-north-1", "me-south-1",
        "sa-east-1"};
    Q_UNUSED(regions)

    m_pathPrefix = derivePathPrefix();
    const int mode = m_loginData ? m_loginData->storageMode : -1;
    if (mode == 2) {
        // Amazon S3 accounts all live in the one bucket, whatever their key names.
        m_bucket = m_managed ? QStringLiteral("bvkzrv") : ui->leS3Bucket->text();
        m_type = 2;
    } else {
        m_bucket = m_managed ? m_loginData->storageBucket : ui->leS3Bucket->text();
        m_type = 1;
    }
    ui->lblStatus->setText(QStringLiteral("Refreshing..."));
    emit doSetup(m_type, m_url, m_user, m_pass, m_loginData ? m_loginData->storageSessionToken : QString());
}

void ZRV_S3::onSetupFinished()
{
    emit doListObjectsAndSizes(m_bucket, m_pathPrefix, true);
}

void ZRV_S3::onSetupFailed(QAWSException ex)
{
    QMessageBox::critical(this, QStringLiteral("Error during initialisation"),
                          QStringLiteral("An error has occurred during the initialisation of the S3 Module. "
                                         "Error Message: %1")
                              .arg(ex.message),
                          QMessageBox::Ok);
    ZRV_ProcessExit::exit(-1);
}

void ZRV_S3::onListSizesFinished(QStringList sLst, QStringList iLst, QStringList eLst)
{
    if (!m_pendingDir.isEmpty()) {
        qint64 delta = 0;
        if (QTreeWidgetItem *item = ZRV_S3Tree::refreshDirectory(ui->S3TreeWidget, m_pendingDir, sLst, iLst, eLst,
                                                                 &delta)) {
            m_usedBytes += delta;
            showDirectory(item);
        }
        m_pendingDir.clear();
        return;
    }

    QString selectedPath;
    const QList<QTreeWidgetItem *> selected = ui->S3TreeWidget->selectedItems();
    if (!selected.isEmpty())
        selectedPath = selected.first()->data(1, Qt::UserRole).toString();

    m_pathPrefix = derivePathPrefix();
    ZRV_S3Tree::Input in;
    in.pathPrefix = m_pathPrefix;
    in.storageUser = m_user;
    in.storageMode = m_loginData ? m_loginData->storageMode : -1;
    in.roles = m_loginData ? m_loginData->roles : QStringList();
    qint64 total = 0;
    QTreeWidgetItem *root = ZRV_S3Tree::buildTree(sLst, iLst, eLst, in, &total);

    {
        // The old items go before the new ones show; nothing may point at them.
        const QSignalBlocker block(ui->S3TreeWidget);
        m_currentItem = nullptr;
        ui->S3TreeWidget->clear();
    }
    ui->S3TreeWidget->insertTopLevelItem(0, root);
    root->setExpanded(true);
    ui->S3TableWidget->setRowCount(0);

    if (!selectedPath.isEmpty()) {
        for (QTreeWidgetItemIterator it(ui->S3TreeWidget); *it; ++it) {
            if ((*it)->data(1, Qt::UserRole).toString() == selectedPath) {
                ui->S3TreeWidget->setCurrentItem(*it);
                (*it)->setSelected(true);
                break;
            }
        }
    }

    const qint64 allowance = m_loginData ? m_loginData->storageSize : -1;
    if (allowance >= 0)
        ui->lblFree->setText(QStringLiteral("Free: %1MB").arg(qMax<qint64>(0, allowance - total / 1048576)));
    m_usedBytes = total;

    ui->lblStatus->clear();
    ui->btnS3Refresh->setEnabled(true);
}

void ZRV_S3::onListSizesFailed(QAWSException ex)
{
    QMessageBox::critical(this, QStringLiteral("S3 Error"),
                          QStringLiteral("Error listing S3 Storage Objects: %1").arg(ex.message), QMessageBox::Ok);
    ui->btnS3Refresh->setEnabled(true);
    m_pendingDir.clear();
}

void ZRV_S3::onListFinished(QStringList)
{
}

void ZRV_S3::onListFailed(QAWSException ex)
{
    QMessageBox::critical(this, QStringLiteral("S3 Error"),
                          QStringLiteral("Error listing S3 Storage Objects: %1").arg(ex.message), QMessageBox::Ok);
    ui->btnS3Refresh->setEnabled(true);
}

void ZRV_S3::onFileSizeFinished(QString, QString, qlonglong)
{
}

void ZRV_S3::onFileSizeFailed(QString, QString, QAWSException)
{
}

QString ZRV_S3::getPathPrefix() const
{
    if (m_pathPrefix.isEmpty())
        return QStringLiteral("/");
    return m_pathPrefix.endsWith(QLatin1Char('/')) ? m_pathPrefix : m_pathPrefix + QLatin1Char('/');
}

QList<QTableWidgetItem *> ZRV_S3::selectedItems() const
{
    // Whole rows are selected: every n-th item is a row's first column.
    const QList<QTableWidgetItem *> all = ui->S3TableWidget->selectedItems();
    const int columns = qMax(1, ui->S3TableWidget->columnCount());
    QList<QTableWidgetItem *> firsts;
    for (int i = 0; i < all.size(); i += columns)
        firsts.append(all.at(i));
    return firsts;
}

void ZRV_S3::clearSelection()
{
    ui->S3TableWidget->clearSelection();
}

void ZRV_S3::setDeleteEnabled(bool enabled)
{
    ui->btnS3Delete->setEnabled(enabled);
    ui->btnS3Download->setEnabled(enabled);
    ui->btnS3BanFile->setEnabled(enabled);
}

void ZRV_S3::SetIconFromFilename(QTableWidgetItem *itm, QString name)
{
    static const QList<QPair<QStringList, QString>> icons = {
        {{".fbx"}, "fbx"},   {{".wav"}, "wav"},   {{".mp3"}, "mp3"},           {{".m4a"}, "m4a"},
        {{".webm"}, "webm"}, {{".mkv"}, "mkv"},   {{".mov"}, "mov"},           {{".wma"}, "wma"},
        {{".wmv"}, "wmv"},   {{".flv"}, "flv"},   {{".avi"}, "avi"},           {{".mp4"}, "mp4"},
        {{".jpg", ".jpeg"}, "jpg"},               {{".png"}, "png"},           {{".gif"}, "gif"},
        {{".bmp"}, "bmp"},   {{".txt"}, "txt"},   {{".pdf"}, "pdf"},           {{".mpg", ".mpeg"}, "mpg"},
        {{".tiff", ".svg"}, "pic"},               {{".doc", ".docx"}, "doc"}, {{".xls", ".xlsx"}, "xls"},
        {{".ppt", ".pptx", ".ppts"}, "ppt"}};
    for (const auto &entry : icons) {
        for (const QString &ending : entry.first) {
            if (name.endsWith(ending, Qt::CaseInsensitive)) {
                itm->setIcon(QIcon(QStringLiteral(":/ZRV_ServerApp/%1.ico").arg(entry.second)));
                return;
            }
        }
    }
    itm->setIcon(QApplication::style()->standardIcon(QStyle::SP_FileIcon));
}

void ZRV_S3::showDirectory(QTreeWidgetItem *item)
{
    const QJsonArray files = item->data(0, Qt::UserRole).toJsonArray();
    QTableWidget *table = ui->S3TableWidget;
    table->setRowCount(files.size());
    for (int row = 0; row < files.size(); ++row) {
        const QJsonObject file = files.at(row).toObject();
        table->setRowHeight(row, 20);
        auto *name = new QTableWidgetItem(file.value(QStringLiteral("name")).toString());
        name->setData(Qt::UserRole, file);
        SetIconFromFilename(name, name->text());
        table->setItem(row, 0, name);
        auto *size = new QTableWidgetItem(ZRV_S3Tree::sizeText(file.value(QStringLiteral("size")).toString().toLongLong()));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        table->setItem(row, 1, size);
    }
}

void ZRV_S3::showIfSelected(QTreeWidgetItem *item)
{
    if (item && item == m_currentItem)
        showDirectory(item);
}

void ZRV_S3::on_S3TreeWidget_currentItemChanged(QTreeWidgetItem *current, QTreeWidgetItem *)
{
    if (!current)
        return;
    ui->S3TableWidget->clearSelection();
    m_currentItem = current;

    QString name;
    if (current->parent()) {
        QStringList names;
        for (QTreeWidgetItem *it = current; it->parent(); it = it->parent())
            names.prepend(it->text(0));
        name = names.join(QLatin1Char('/'));
    }
    if (m_pathPrefix.endsWith(QLatin1Char('/')) && name.startsWith(QLatin1Char('/')))
        name.remove(0, 1);
    m_currentDir = m_pathPrefix;
    if (m_pathPrefix.isEmpty() || !m_pathPrefix.endsWith(QLatin1Char('/')))
        m_currentDir += QLatin1Char('/');
    m_currentDir += name;

    showDirectory(current);
    ui->btnS3Upload->setEnabled(true);
    ui->btnS3Mkdir->setEnabled(true);
    emit itemClicked();
}

void ZRV_S3::on_S3TableWidget_itemSelectionChanged()
{
    emit itemClicked();
}

void ZRV_S3::on_S3TableWidget_itemDoubleClicked(QTableWidgetItem *)
{
    emit itemDoubleClicked();
}

void ZRV_S3::on_btnS3Mkdir_clicked()
{
    bool ok = false;
    const Qt::WindowFlags flags = windowFlags() & ~(Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint |
                                                     Qt::WindowContextHelpButtonHint);
    const QString name = QInputDialog::getText(this, QStringLiteral("New Directory"), QStringLiteral("Directory Name:"),
                                               QLineEdit::Normal, QStringLiteral("New Directory"), &ok, flags);
    if (!ok || name.isEmpty() || !m_currentItem)
        return;
    QString path = m_currentDir;
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    path += name + QLatin1Char('/');
    for (int i = 0; i < m_currentItem->childCount(); ++i) {
        if (m_currentItem->child(i)->data(1, Qt::UserRole).toString() == path) {
            QMessageBox::warning(this, QStringLiteral("Directory already exists"),
                                 QStringLiteral("A directory with the name %1 already exists.").arg(name));
            return;
        }
    }
    // Only the tree learns of it: the store gets the directory with its first file.
    auto *item = new QTreeWidgetItem(QStringList(name));
    item->setIcon(0, QApplication::style()->standardIcon(QStyle::SP_DirClosedIcon));
    item->setData(1, Qt::UserRole, path);
    m_currentItem->addChild(item);
}

void ZRV_S3::on_btnS3BanFile_clicked()
{
    if (ui->S3TableWidget->selectedItems().isEmpty())
        return;
    if (QMessageBox::question(this, QStringLiteral("Add files to Banlist"),
                              QStringLiteral("Do you really want to add the selected files to the list of Banned "
                                             "files?"),
                              QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes)
        emit banFile();
}

void ZRV_S3::on_btnS3Delete_clicked()
{
    if (ui->S3TableWidget->selectedItems().isEmpty())
        return;
    QCoreApplication::processEvents();

    QStringList keys;
    QString single;
    for (QTableWidgetItem *item : selectedItems()) {
        single = item->text();
        keys.append(m_currentDir + (m_currentDir.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/")) +
                    item->text());
    }
    const bool one = keys.size() == 1;
    const QMessageBox::StandardButton answer =
        QMessageBox::question(this, one ? QStringLiteral("Delete File") : QStringLiteral("Delete Files"),
                              one ? QStringLiteral("Do you really want to delete '%1'?").arg(single)
                                  : QStringLiteral("Do you really want to delete these files?"),
                              QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes)
        deleteFiles(keys);
}
