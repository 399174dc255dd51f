#include "ZRV_AssetBundles.h"

#include "ui_ZRV_AssetBundles.h"

#include "ZRV_FileChooser.h"
#include "ZRV_LoginData.h"
#include "ZRV_MeetingsInfoThread.h"
#include "ZRV_S3.h"
#include "ZRV_S3Tree.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHeaderView>
#include <QIcon>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSet>
#include <QStandardPaths>

using ZRV_AuthService_API::ZRVError;
using ZRV_Service_API::ZRVAssetBundle;

namespace {

const QString WinSuffix = QStringLiteral(".win.asb");
const QString IosSuffix = QStringLiteral(".ios.asb");
const QString WebSuffix = QStringLiteral(".web.asb");
const QString AndroidSuffix = QStringLiteral(".android.asb");
const QString BundleDir = QStringLiteral("__ASSETBUNDLES");
const QString Administrator = QStringLiteral("ZRV_Administrator");

QIcon modeIcon(int mode)
{
    switch (mode) {
    case 2:
        return QIcon(QStringLiteral(":/ZRV_ServerApp/aws.png"));
    case 1:
        return QIcon(QStringLiteral(":/ZRV_ServerApp/minio.png"));
    case 0:
        return QIcon(QStringLiteral(":/ZRV_ServerApp/nextcloud2.png"));
    default:
        return QIcon();
    }
}

} // namespace

ZRV_AssetBundles::ZRV_AssetBundles(QWidget *parent)
    : QWidget(parent)
    , ui(new Ui::ZRV_AssetBundles)
{
    ui->setupUi(this);
    initUI();
}

ZRV_AssetBundles::~ZRV_AssetBundles()
{
    delete m_pendingBundle;
    delete ui;
}

void ZRV_AssetBundles::initUI()
{
    QTableWidget *table = ui->ABTableWidget;
    table->setColumnCount(4);
    table->setHorizontalHeaderLabels({QStringLiteral("Name"), QStringLiteral("Owner"), QStringLiteral("Storage"),
                                      QStringLiteral("Size")});
    QHeaderView *header = table->horizontalHeader();
    header->setSectionResizeMode(0, QHeaderView::Stretch);
    for (int c = 1; c < 4; ++c)
        header->setSectionResizeMode(c, QHeaderView::Fixed);
    table->setColumnWidth(1, 250);
    table->setColumnWidth(2, 50);
    table->setColumnWidth(3, 50);
}

bool ZRV_AssetBundles::isAdministrator() const
{
    return m_loginData && m_loginData->roles.contains(Administrator);
}

void ZRV_AssetBundles::init(ZRV_S3 *s3, ZRV_MeetingsInfoThread *thread, ZRV_LoginData *loginData)
{
    m_s3 = s3;
    m_thread = thread;
    m_loginData = loginData;
    m_initialized = true;
    connect(m_thread, &ZRV_MeetingsInfoThread::assetBundles, this, &ZRV_AssetBundles::onAssetBundles);
    connect(m_thread, &ZRV_MeetingsInfoThread::assetBundlePost, this, &ZRV_AssetBundles::onAssetBundlePost);
    connect(m_thread, &ZRV_MeetingsInfoThread::assetBundlePostError, this,
            &ZRV_AssetBundles::onAssetBundlePostError);
    connect(m_thread, &ZRV_MeetingsInfoThread::assetBundleDeleted, this, &ZRV_AssetBundles::onAssetBundleDeleted);
    connect(m_s3, &ZRV_S3::uploadsFinished, this, &ZRV_AssetBundles::onUploadsFinished);
    connect(m_s3, &ZRV_S3::uploadFailed, this, &ZRV_AssetBundles::onUploadsFailed);
    ui->btnCreateGlobal->setVisible(isAdministrator());
    m_thread->getAssetBundles();
    initUI();
}

void ZRV_AssetBundles::onAssetBundles(QList<ZRVAssetBundle> bundles)
{
    QList<ZRVAssetBundle> global;
    QList<ZRVAssetBundle> others;
    for (const ZRVAssetBundle &b : bundles)
        (b.getUserId().isEmpty() ? global : others).append(b);
    m_bundles = global + others;

    QTableWidget *table = ui->ABTableWidget;
    table->clearSelection();
    table->setRowCount(m_bundles.size());
    static const QIcon box(QStringLiteral(":/ZRV_ServerApp/empty_box.svg"));
    for (int row = 0; row < m_bundles.size(); ++row) {
        const ZRVAssetBundle &b = m_bundles.at(row);
        table->setRowHeight(row, 20);

        auto *name = new QTableWidgetItem(box, b.getName());
        name->setData(Qt::UserRole, b.getId());
        table->setItem(row, 0, name);

        table->setItem(row, 1, new QTableWidgetItem(b.getUserId().isEmpty() ? QStringLiteral("Zarvo Team")
                                                                            : b.getUserName()));

        auto *storage = new QTableWidgetItem(modeIcon(b.getMode()), QString());
        storage->setData(Qt::UserRole, b.getId());
        table->setItem(row, 2, storage);

        qint64 total = 0;
        for (qint64 size : b.getStgSize())
            total += size;
        auto *size = new QTableWidgetItem(ZRV_S3Tree::sizeText(total));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        table->setItem(row, 3, size);
    }
}

QList<QTableWidgetItem *> ZRV_AssetBundles::selectedItems() const
{
    QList<QTableWidgetItem *> firsts;
    QSet<int> rows;
    for (QTableWidgetItem *item : ui->ABTableWidget->selectedItems()) {
        if (rows.contains(item->row()))
            continue;
        rows.insert(item->row());
        if (QTableWidgetItem *first = ui->ABTableWidget->item(item->row(), 0))
            firsts.append(first);
    }
    return firsts;
}

int ZRV_AssetBundles::selectedCount() const
{
    return selectedItems().size();
}

void ZRV_AssetBundles::clearSelection()
{
    ui->ABTableWidget->clearSelection();
}

ZRVAssetBundle ZRV_AssetBundles::selectedBundle(int *error) const
{
    const QList<QTableWidgetItem *> items = selectedItems();
    if (items.size() > 1) {
        *error = -2;
        return ZRVAssetBundle();
    }
    if (items.isEmpty()) {
        *error = -3;
        return ZRVAssetBundle();
    }
    const QString id = items.first()->data(Qt::UserRole).toString();
    for (const ZRVAssetBundle &b : m_bundles) {
        if (b.getId() == id) {
            *error = 0;
            return b;
        }
    }
    *error = -3;
    return ZRVAssetBundle();
}

void ZRV_AssetBundles::on_btnCreate_clicked()
{
    createBundle(false);
}

void ZRV_AssetBundles::on_btnCreateGlobal_clicked()
{
    if (!m_initialized || !isAdministrator())
        return;
    if (QMessageBox::question(this, QStringLiteral("Create Global Asset Bundle"),
                              QStringLiteral("Do you want to create a global Asset Bundle available to all users on "
                                             "the service?"),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    if (QMessageBox::question(this, QStringLiteral("Are you sure?"),
                              QStringLiteral("Are you sure? This will make the contents of the Asset Bundle "
                                             "available to all users."),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    QMessageBox::warning(this, QStringLiteral("Creating global Asset Bundle"),
                         QStringLiteral("Creating global Asset Bundle - It will be available to all users"));
    createBundle(true);
}

void ZRV_AssetBundles::createBundle(bool global)
{
    if (!m_initialized)
        return;
    delete m_pendingBundle;
    m_pendingBundle = nullptr;

    const QString dir = m_lastDir.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation)
                                            : m_lastDir;
    const QString winFile = ZRV_FileChooser::getOpenFileName(this, QStringLiteral("Select files to Upload"), dir,
                                                             QStringLiteral("Win Assetpack (*%1)").arg(WinSuffix));
    if (winFile.isEmpty())
        return;

    QString stem = winFile;
    if (stem.endsWith(WinSuffix))
        stem.chop(WinSuffix.size());
    const QString iosFile = stem + IosSuffix;
    const QString webFile = stem + WebSuffix;
    const QString androidFile = stem + AndroidSuffix;
    const struct
    {
        QString path;
        const char *text;
    } expected[] = {{iosFile, "The ios asset pack file could not be found.\n Expected path: %1"},
                    {webFile, "The web asset pack file could not be found.\n Expected path: %1"},
                    {androidFile, "The android asset pack file could not be found.\n Expected path: %1"}};
    for (const auto &file : expected) {
        if (!QFileInfo::exists(file.path)) {
            QMessageBox::critical(this, QStringLiteral("Missing file"), QString::fromLatin1(file.text).arg(file.path));
            return;
        }
    }

    // The name is the stem the four keys share on the store.
    const QString name = QFileInfo(stem).fileName();
    for (const ZRVAssetBundle &b : m_bundles) {
        if (b.getName() == name && b.getUserId() == m_loginData->id) {
            QMessageBox::critical(this, QStringLiteral("Duplicate"),
                                  QStringLiteral("An assetbundle of the name '%1' already exists.").arg(name));
            return;
        }
    }

    m_pendingBundle = new ZRVAssetBundle;
    if (global)
        m_pendingBundle->setId(QStringLiteral("GLOBAL"));
    m_pendingBundle->setMode(m_s3->type());
    m_pendingBundle->setName(name);
    QString relPath = m_s3->getPathPrefix();
    if (!relPath.endsWith(QLatin1Char('/')))
        relPath += QLatin1Char('/');
    m_pendingBundle->setStgRelPath(relPath + BundleDir + QLatin1Char('/') + name);

    m_progress = new QProgressDialog(this);
    m_progress->setWindowFlags(m_progress->windowFlags() & ~(Qt::WindowCloseButtonHint |
                                                             Qt::WindowContextHelpButtonHint));
    m_progress->setRange(0, 0);
    m_progress->setCancelButton(nullptr);
    m_progress->setModal(true);
    m_progress->setWindowTitle(QStringLiteral("Creating Asset Bundle"));
    m_progress->setLabelText(QStringLiteral("Uploading Files"));
    m_progress->show();
    QCoreApplication::processEvents();

    // What is on the store under these keys is overwritten without a question.
    m_s3->uploadFiles({winFile, iosFile, androidFile, webFile}, false, true, BundleDir);
}

void ZRV_AssetBundles::dropProgress()
{
    if (!m_progress)
        return;
    m_progress->hide();
    m_progress->deleteLater();
    m_progress = nullptr;
}

void ZRV_AssetBundles::onUploadsFinished()
{
    if (m_initialized && m_pendingBundle) {
        if (m_progress) {
            m_progress->setLabelText(QStringLiteral("Creating Asset Bundle in Service"));
            m_progress->show();
        }
        QCoreApplication::processEvents();
        m_thread->createAssetBundle(*m_pendingBundle);
        return;
    }
    dropProgress();
}

void ZRV_AssetBundles::onUploadsFailed()
{
    // The pending bundle waits for the next creation; stored files stay.
    dropProgress();
}

void ZRV_AssetBundles::onAssetBundlePost(QString)
{
    m_thread->getAssetBundles();
    dropProgress();
    delete m_pendingBundle;
    m_pendingBundle = nullptr;
}

void ZRV_AssetBundles::onAssetBundlePostError(ZRVError)
{
    m_thread->getAssetBundles();
    dropProgress();
    if (m_pendingBundle) {
        // The service refused the bundle: its files leave the store again.
        const QString stem = m_pendingBundle->getStgRelPath();
        m_s3->deleteFiles({stem + WinSuffix, stem + IosSuffix, stem + AndroidSuffix, stem + WebSuffix});
    }
    delete m_pendingBundle;
    m_pendingBundle = nullptr;
}

void ZRV_AssetBundles::on_btnDelete_clicked()
{
    if (!m_initialized)
        return;
    int error = 0;
    const ZRVAssetBundle bundle = selectedBundle(&error);
    if (error != 0) {
        QMessageBox::critical(this, QStringLiteral("Cannot delete Asset Bundle"),
                              QStringLiteral("Unknown Error finding Asset Bundle ID."));
        return;
    }
    if (bundle.getUserId().isEmpty()) {
        QMessageBox::critical(this, QStringLiteral("Cannot delete Asset Bundle"),
                              QStringLiteral("This Asset Bundle cannot be deleted."));
        return;
    }
    if (QMessageBox::question(this, QStringLiteral("Delete Asset Bundle"),
                              QStringLiteral("Do you really want to delete Asset Bundle %1?\nAll references to this "
                                             "Bundle will automatically be removed.")
                                  .arg(bundle.getName()),
                              QMessageBox::Yes | QMessageBox::No) != QMessageBox::Yes)
        return;
    QCoreApplication::processEvents();
    // The four files and the meetings' references are the service's to remove.
    m_thread->deleteAssetBundle(bundle.getId());
}

void ZRV_AssetBundles::onAssetBundleDeleted(QString)
{
    if (m_initialized)
        m_thread->getAssetBundles();
}

void ZRV_AssetBundles::on_btnRefresh_clicked()
{
    if (m_initialized)
        m_thread->getAssetBundles();
}

void ZRV_AssetBundles::on_ABTableWidget_itemSelectionChanged()
{
    emit itemClicked();
}

void ZRV_AssetBundles::on_ABTableWidget_itemDoubleClicked(QTableWidgetItem *)
{
    emit itemDoubleClicked();
}
