// The components of the selected meeting: tblAssets mirrors its live record,
// files of the storage pages become assets, URL placeholders and one bundle
// are added, properties edited, rows removed, and files banned by checksum.
#include "ZRV_ServerApp.h"

#include "ui_ZRV_ServerApp.h"

#include "ZRV_AssetBundles.h"
#include "ZRV_AssetPropertiesDialog.h"
#include "ZRV_CustomURLInputDialog.h"
#include "ZRV_Meetings.h"
#include "ZRV_NextCloud.h"
#include "ZRV_S3.h"
#include "ZRV_S3Tree.h"

#include <QDebug>
#include <QHash>
#include <QIcon>
#include <QInputDialog>
#include <QJsonObject>
#include <QHeaderView>
#include <QMessageBox>
#include <QSet>
#include <QTableWidget>
#include <QVector>

#include <algorithm>
#include <functional>

using ZRV_AuthService_API::ZRVError;
using ZRV_MeetingService_API::ZRVMeeting;
using ZRV_Service_API::ZRVAssetBundle;
using ZRV_Service_API::ZRVBanlistEntry;
using ZRV_Service_API::ZRVDefVector3;

namespace {

const int PlaceholderBase = 22000;
const int RowHeight = 20;

// What one row of tblAssets shows; rows are compared by it so that a refresh
// touches only the cells that changed.
struct AssetRow
{
    QString text[4];
    int id = -1;          // column 0, Qt::UserRole
    QString bundleId;     // column 1, Qt::UserRole, bundle rows only
    int mode = -1;
    bool bundle = false;
};

ZRVDefVector3 vector3(float x, float y, float z)
{
    ZRVDefVector3 v;
    v.setX(x);
    v.setY(y);
    v.setZ(z);
    return v;
}

const QIcon &modeIcon(int mode)
{
    static const QHash<int, QIcon> icons = {
        {0, QIcon(QStringLiteral(":/ZRV_ServerApp/nextcloud2.png"))},
        {1, QIcon(QStringLiteral(":/ZRV_ServerApp/minio.png"))},
        {2, QIcon(QStringLiteral(":/ZRV_ServerApp/aws.png"))},
        {3, QIcon(QStringLiteral(":/ZRV_ServerApp/link.svg"))}};
    static const QIcon none;
    const auto it = icons.constFind(mode);
    return it == icons.constEnd() ? none : *it;
}

// The S3 page's icon for a file name, read once per ending: each new icon
// unpacks its picture from the resources again.
QIcon fileTypeIcon(const QString &name)
{
    static QHash<QString, QIcon> icons;
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    const QString ending = dot < 0 ? QString() : name.mid(dot).toLower();
    auto it = icons.find(ending);
    if (it == icons.end()) {
        QTableWidgetItem probe;
        ZRV_S3::SetIconFromFilename(&probe, QStringLiteral("x") + ending);
        it = icons.insert(ending, probe.icon());
    }
    return *it;
}

QString fileNameOf(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

AssetRow assetRow(const ZRVAsset &asset, const QString &storageFolder)
{
    AssetRow row;
    row.id = asset.getId();
    row.mode = asset.getMode();
    row.text[0] = row.id > PlaceholderBase ? QStringLiteral("URL#%1").arg(row.id - PlaceholderBase)
                                           : QString::number(row.id);
    const QString relPath = asset.getStgRelPath();
    row.text[1] = fileNameOf(relPath);
    row.text[2] = row.mode == 3 ? QStringLiteral("ext") : ZRV_S3Tree::sizeText(asset.getStgSize());
    QString dir = storageFolder.isEmpty() ? relPath : relPath.mid(storageFolder.size() + 1);
    dir.truncate(dir.lastIndexOf(QLatin1Char('/')) + 1);
    row.text[3] = dir;
    return row;
}

AssetRow bundleRow(const ZRVAssetBundle &bundle)
{
    AssetRow row;
    row.bundle = true;
    row.id = -1;
    row.bundleId = bundle.getId();
    row.mode = bundle.getMode();
    qint64 total = 0;
    for (qint64 size : bundle.getStgSize())
        total += size;
    row.text[0] = QStringLiteral("AB");
    row.text[1] = bundle.getName();
    row.text[2] = ZRV_S3Tree::sizeText(total);
    row.text[3] = QStringLiteral("Asset Bundle");
    return row;
}

bool rowShows(QTableWidget *table, int row, const AssetRow &content)
{
    for (int c = 0; c < 4; ++c) {
        const QTableWidgetItem *item = table->item(row, c);
        if (!item || item->text() != content.text[c])
            return false;
    }
    return table->item(row, 0)->data(Qt::UserRole).toInt() == content.id &&
           table->item(row, 1)->data(Qt::UserRole).toString() == content.bundleId &&
           table->item(row, 3)->data(Qt::UserRole + 1).toInt() == content.mode;
}

void showRow(QTableWidget *table, int row, const AssetRow &content)
{
    if (rowShows(table, row, content))
        return;
    static const Qt::Alignment alignment[4] = {Qt::AlignCenter, Qt::AlignLeft | Qt::AlignVCenter,
                                               Qt::AlignRight | Qt::AlignVCenter, Qt::AlignLeft | Qt::AlignVCenter};
    QTableWidgetItem *items[4];
    for (int c = 0; c < 4; ++c) {
        items[c] = new QTableWidgetItem(content.text[c]);
        items[c]->setTextAlignment(int(alignment[c]));
    }
    items[0]->setData(Qt::UserRole, content.id);
    // The mode is kept beside the path so that a changed mode changes the icon.
    items[3]->setData(Qt::UserRole + 1, content.mode);
    if (content.bundle) {
        items[1]->setData(Qt::UserRole, content.bundleId);
        static const QIcon box(QStringLiteral(":/ZRV_ServerApp/empty_box.svg"));
        items[1]->setIcon(box);
        if (content.mode != 3)
            items[3]->setIcon(modeIcon(content.mode));
    } else {
        items[1]->setIcon(fileTypeIcon(content.text[1]));
        items[3]->setIcon(modeIcon(content.mode));
    }
    for (int c = 0; c < 4; ++c)
        table->setItem(row, c, items[c]);
    // Each height set lays out the whole header again: only where it differs.
    if (table->rowHeight(row) != RowHeight)
        table->setRowHeight(row, RowHeight);
}

// Placeholder Ids in use: all above 22000.
QSet<int> usedPlaceholders(const ZRVMeetingInfo &info)
{
    QSet<int> used;
    for (const ZRVAsset &asset : info.getAssets()) {
        if (asset.getId() > PlaceholderBase)
            used.insert(asset.getId());
    }
    return used;
}

// The last bundle of this Id leaves the record.
void removeBundle(ZRVMeetingInfo *info, const QString &bundleId)
{
    QList<ZRVAssetBundle> bundles = info->getAssetBundles();
    for (int i = bundles.size() - 1; i >= 0; --i) {
        if (bundles.at(i).getId() == bundleId) {
            bundles.removeAt(i);
            break;
        }
    }
    info->setAssetBundles(bundles);
}

int assetIdOfRow(QTableWidget *table, int row)
{
    const QTableWidgetItem *item = table->item(row, 0);
    return item ? item->data(Qt::UserRole).toInt() : -1;
}

} // namespace

void ZRV_ServerApp::connectAssetFunctions()
{
    // New rows come with their height of 20.
    ui->tblAssets->verticalHeader()->setDefaultSectionSize(RowHeight);
    // Columns sized to their contents measure the rows on show, not every row
    // of a long list at each change.
    ui->tblAssets->horizontalHeader()->setResizeContentsPrecision(0);
    connect(m_s3, &ZRV_S3::itemDoubleClicked, this, &ZRV_ServerApp::on_btnAdd_clicked);
    connect(m_nextCloud, &ZRV_NextCloud::itemDoubleClicked, this, &ZRV_ServerApp::on_btnAdd_clicked);
    connect(m_assetBundles, &ZRV_AssetBundles::itemDoubleClicked, this, &ZRV_ServerApp::on_btnAdd_clicked);
    connect(m_s3, &ZRV_S3::banFile, this, &ZRV_ServerApp::onBanFile);
    connect(ui->tblAssets, &QTableWidget::itemDoubleClicked, this, &ZRV_ServerApp::showProperties);
    connect(m_serviceApi, &ZRVMeetingServiceApi::meetingInfoSignal, this, &ZRV_ServerApp::onMeetingInfo);
    connect(m_serviceApi, &ZRVMeetingServiceApi::meetingInfoSignalE, this, &ZRV_ServerApp::onMeetingInfoE);
    connect(m_serviceApi, &ZRVMeetingServiceApi::assetAddSignal, this, &ZRV_ServerApp::onAssetAdd);
    connect(m_serviceApi, &ZRVMeetingServiceApi::assetAddSignalE, this, &ZRV_ServerApp::onAssetAddE);
    connect(m_serviceApi, &ZRVMeetingServiceApi::assetDeleteSignal, this, &ZRV_ServerApp::onAssetDelete);
    connect(m_serviceApi, &ZRVMeetingServiceApi::assetDeleteSignalE, this, &ZRV_ServerApp::onAssetDeleteE);
}

void ZRV_ServerApp::evaluateAssetBundleGate(const ZRV_MeetingsInfoThread::_serviceVersion &ver)
{
    if (m_bundlesChecked || !m_loginData.authenticated)
        return;
    m_bundlesChecked = true;
    const bool supported = ver.major > 2 || (ver.major == 2 && ver.minor >= 1) ||
                           (ver.major == 2 && ver.minor == 0 && ver.patch >= 30);
    if (supported) {
        m_assetBundles->setEnabled(true);
        m_assetBundles->init(m_s3, m_thread, &m_loginData);
    } else {
        m_assetBundles->setEnabled(false);
        // Index 1 whatever the storage mode: the bundles page only once a
        // storage page has gone before it.
        ui->tabBrowser->removeTab(1);
    }
}

void ZRV_ServerApp::onMeetingInfo(ZRVMeetingInfo summary)
{
    m_meetingInfo = summary;

    QTableWidget *table = ui->tblAssets;
    int remembered = -1;
    const QList<QTableWidgetItem *> selected = table->selectedItems();
    if (!selected.isEmpty())
        remembered = assetIdOfRow(table, selected.first()->row());
    else
        remembered = m_reselectAssetId;
    m_reselectAssetId = -1;

    QVector<AssetRow> rows;
    const QList<ZRVAssetBundle> bundles = summary.getAssetBundles();
    if (!bundles.isEmpty())
        rows.append(bundleRow(bundles.first()));
    QList<ZRVAsset> assets = summary.getAssets();
    // Ordinary assets first, then from 22000 on the placeholders, each ascending.
    std::stable_sort(assets.begin(), assets.end(),
                     [](const ZRVAsset &a, const ZRVAsset &b) { return a.getId() < b.getId(); });
    for (const ZRVAsset &asset : assets)
        rows.append(assetRow(asset, m_loginData.storageFolder));

    // The table is brought to the record row by row; unchanged rows stay as
    // they are, so that a poll of a long list costs little.
    table->setUpdatesEnabled(false);
    table->clearSelection();
    table->setRowCount(rows.size());
    int selectRow = -1;
    for (int r = 0; r < rows.size(); ++r) {
        showRow(table, r, rows.at(r));
        if (!rows.at(r).bundle && remembered != -1 && rows.at(r).id == remembered)
            selectRow = r;
    }
    if (selectRow >= 0)
        table->selectRow(selectRow);
    table->setUpdatesEnabled(true);

    updateConsoleState();
}

void ZRV_ServerApp::onMeetingInfoE(ZRVMeetingInfo, QNetworkReply::NetworkError error_type, QString error_str)
{
    qDebug() << "Error reading meeting info:" << error_type << error_str;
}

void ZRV_ServerApp::addAssetRow(const ZRVAsset &asset)
{
    QTableWidget *table = ui->tblAssets;
    const AssetRow content = assetRow(asset, m_loginData.storageFolder);
    for (int r = 0; r < table->rowCount(); ++r) {
        const QTableWidgetItem *item = table->item(r, 0);
        if (item && item->text() != QLatin1String("AB") && item->data(Qt::UserRole).toInt() == content.id) {
            showRow(table, r, content);
            return;
        }
    }
    const int row = table->rowCount();
    table->insertRow(row);
    showRow(table, row, content);
}

void ZRV_ServerApp::on_btnAdd_clicked()
{
    if (m_currentTab == 0)
        assetAdd();
    else if (m_currentTab == 1)
        assetBundleAdd();
}

void ZRV_ServerApp::assetAdd()
{
    const ZRVMeeting meeting = m_meetings->selectedMeeting();
    if (!meeting.is_id_Set())
        return;

    QList<QTableWidgetItem *> items;
    if (m_storageTab == 1 || m_storageTab == 2) {
        items = m_s3->selectedItems();
        m_s3->clearSelection();
    } else if (m_storageTab == 0) {
        items = m_nextCloud->selectedItems();
        m_nextCloud->clearSelection();
    } else {
        return;
    }
    // Read before the first question: the page may refill while a dialog runs.
    QList<QJsonObject> files;
    for (QTableWidgetItem *item : items)
        files.append(item->data(Qt::UserRole).toJsonObject());

    QSet<int> used = usedPlaceholders(m_meetingInfo);
    const Qt::WindowFlags flags = windowFlags() & ~(Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint |
                                                     Qt::WindowContextHelpButtonHint);
    for (const QJsonObject &file : files) {
        const QString path = file.value(QStringLiteral("path")).toString();
        const QString name = fileNameOf(path);
        const QJsonValue sizeValue = file.value(QStringLiteral("size"));
        const qint64 size = sizeValue.isString() ? sizeValue.toString().toLongLong() : qint64(sizeValue.toDouble());

        ZRVAsset asset;
        asset.setName(name);
        asset.setMode(m_storageTab);
        if (m_storageTab == 0) {
            asset.setStgRelPath(file.value(QStringLiteral("url")).toString() + path);
        } else {
            asset.setStgHost(m_s3->url());
            asset.setStgBucket(m_s3->bucket());
            asset.setStgRelPath(path);
        }
        asset.setStgSize(size);
        asset.setPosition(vector3(0, 0, 0));
        asset.setRotation(vector3(0, 0, 0));
        asset.setScale(vector3(1, 1, 1));

        if (path.endsWith(QLatin1String(".fbx"), Qt::CaseInsensitive)) {
            // The service numbers 3D models itself.
            asset.setId(0);
        } else {
            int preset = 1;
            while (used.contains(PlaceholderBase + preset))
                ++preset;
            bool ok = false;
            const int number = QInputDialog::getInt(this, name, QStringLiteral("Placeholder ID:"), preset, 1, 999, 1,
                                                    &ok, flags);
            if (!ok) {
                QMessageBox::information(this, QStringLiteral("Item skipped"),
                                         QStringLiteral("%1 not added").arg(name));
                continue;
            }
            asset.setId(PlaceholderBase + number);
            used.insert(PlaceholderBase + number);
        }
        m_serviceApi->assetAdd(meeting.getMeetingId(), asset);
    }
}

void ZRV_ServerApp::assetBundleAdd()
{
    const ZRVMeeting meeting = m_meetings->selectedMeeting();
    if (m_assetBundles->selectedCount() == 0 || !meeting.is_id_Set())
        return;
    if (!m_meetingInfo.getAssetBundles().isEmpty()) {
        QMessageBox::critical(this, QStringLiteral("Cannot add Asset Bundle"),
                              QStringLiteral("Only one Asset Bundle can be assigned per Meeting."), QMessageBox::Ok);
        return;
    }
    int error = 0;
    const ZRVAssetBundle bundle = m_assetBundles->selectedBundle(&error);
    if (error != 0) {
        QMessageBox::critical(this, QStringLiteral("Cannot add Asset Bundle"),
                              QStringLiteral("Unknown Error finding Asset Bundle ID."), QMessageBox::Ok);
        return;
    }
    m_meetingInfo.setAssetBundles({bundle});
    onMeetingConfigChanged(m_meetingInfo);
}

void ZRV_ServerApp::onAssetAdd(ZRVAsset assret)
{
    QList<ZRVAsset> assets = m_meetingInfo.getAssets();
    assets.append(assret);
    m_meetingInfo.setAssets(assets);
    addAssetRow(assret);
    updateConsoleState();
}

void ZRV_ServerApp::onAssetAddE(ZRVAsset, QNetworkReply::NetworkError, QString error_str)
{
    if (!m_errorBox)
        m_errorBox = new QMessageBox(this);
    if (m_errorBox->isVisible())
        return;
    const int start = error_str.indexOf(QStringLiteral("{\n"));
    const ZRVError error(start >= 0 ? error_str.mid(start) : QString());
    m_errorBox->setIcon(QMessageBox::Critical);
    m_errorBox->setStandardButtons(QMessageBox::Ok);
    m_errorBox->setText(QStringLiteral("Error trying to add asset to meeting: %1").arg(error.getMessage()));
    m_errorBox->setWindowTitle(QStringLiteral("Error during operation"));
    m_errorBox->exec();
}

void ZRV_ServerApp::onAssetDelete()
{
    updateConsoleState();
}

void ZRV_ServerApp::onAssetDeleteE()
{
}

void ZRV_ServerApp::onBanFile()
{
    QString names;
    for (QTableWidgetItem *item : m_s3->selectedItems()) {
        const QJsonObject file = item->data(Qt::UserRole).toJsonObject();
        if (!file.contains(QStringLiteral("etag")) || !file.contains(QStringLiteral("name")))
            return;
        const QString name = file.value(QStringLiteral("name")).toString();
        QString etag = file.value(QStringLiteral("etag")).toString();
        etag.remove(QLatin1Char('"'));
        etag.remove(QLatin1Char('\''));
        ZRVBanlistEntry entry;
        entry.setMode(0);
        entry.setFilename(name);
        entry.setChecksum(etag);
        m_thread->addBanlistEntry(entry);
        names += name + QLatin1Char('\n');
    }
    QMessageBox::information(this, QStringLiteral("Files added to Banlist"),
                             QStringLiteral("The following files have been added to the Banlist:\n") + names);
}

void ZRV_ServerApp::on_btnProperties_released()
{
    showProperties(ui->tblAssets->currentItem());
}

void ZRV_ServerApp::showProperties(QTableWidgetItem *)
{
    QTableWidget *table = ui->tblAssets;
    if (ui->btnProperties->isHidden() || !m_meetings->selectedMeeting().is_id_Set())
        return;
    QSet<int> selectedRows;
    for (const QTableWidgetItem *item : table->selectedItems())
        selectedRows.insert(item->row());
    if (selectedRows.size() > 1 || table->currentRow() < 0)
        return;

    const int id = assetIdOfRow(table, table->currentRow());
    // The table is read anew; the row comes back selected with the record.
    onMeetingChanged();
    m_reselectAssetId = id;

    if (id == -1)
        return;
    const QList<ZRVAsset> assets = m_meetingInfo.getAssets();
    const auto found = std::find_if(assets.begin(), assets.end(), [id](const ZRVAsset &a) { return a.getId() == id; });
    if (found == assets.end())
        return;
    ZRVAsset asset = *found;
    const QString meetingId = m_meetingInfo.getMeetingId();
    ZRV_AssetPropertiesDialog dialog(this);
    if (dialog.editAsset(asset))
        m_serviceApi->assetAdd(meetingId, asset);
}

void ZRV_ServerApp::on_btnRemove_clicked()
{
    QTableWidget *table = ui->tblAssets;
    QList<int> rows;
    for (const QTableWidgetItem *item : table->selectedItems()) {
        if (!rows.contains(item->row()))
            rows.append(item->row());
    }
    // From the bottom up, so that the rows still to go keep their numbers.
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    const QString meetingId = m_meetings->selectedMeeting().getMeetingId();
    for (int row : rows) {
        const int id = assetIdOfRow(table, row);
        if (id != -1) {
            m_serviceApi->assetDelete(meetingId, id);
        } else if (const QTableWidgetItem *nameItem = table->item(row, 1)) {
            const QString bundleId = nameItem->data(Qt::UserRole).toString();
            removeBundle(&m_meetingInfo, bundleId);
            m_serviceApi->meetingInfoUpdate(m_meetingInfo.getMeetingId(), m_meetingInfo);
        }
        table->removeRow(row);
        table->setCurrentItem(nullptr);
    }
}

void ZRV_ServerApp::on_btnRemoveAll_clicked()
{
    QTableWidget *table = ui->tblAssets;
    const QString meetingId = m_meetings->selectedMeeting().getMeetingId();
    for (int row = 0; row < table->rowCount(); ++row) {
        const QTableWidgetItem *idItem = table->item(row, 0);
        if (!idItem)
            continue;
        bool ok = false;
        const int id = idItem->data(Qt::UserRole).toInt(&ok);
        if (!ok)
            continue;
        if (id != -1) {
            m_serviceApi->assetDelete(meetingId, id);
            continue;
        }
        const QString bundleId = table->item(row, 1) ? table->item(row, 1)->data(Qt::UserRole).toString() : QString();
        removeBundle(&m_meetingInfo, bundleId);
        m_serviceApi->meetingInfoUpdate(m_meetingInfo.getMeetingId(), m_meetingInfo);
    }
    table->setRowCount(0);
}

void ZRV_ServerApp::on_btnCustomURL_clicked()
{
    const ZRVMeeting meeting = m_meetings->selectedMeeting();
    if (!meeting.is_id_Set())
        return;
    const QSet<int> used = usedPlaceholders(m_meetingInfo);
    int preset = 1;
    for (int n = 1; n <= 20; ++n) {
        if (!used.contains(PlaceholderBase + n)) {
            preset = n;
            break;
        }
    }

    QString url;
    int number = preset;
    bool accepted = false;
    ZRV_CustomURLInputDialog dialog(&url, &number, &accepted, this);
    dialog.exec();
    if (!accepted || url.isEmpty() || number <= PlaceholderBase || number > PlaceholderBase + 1000)
        return;

    ZRVAsset asset;
    asset.setId(number);
    asset.setName(fileNameOf(url));
    asset.setMode(3);
    asset.setStgRelPath(url);
    asset.setStgSize(0);
    asset.setPosition(vector3(0, 0, 0));
    asset.setRotation(vector3(0, 0, 0));
    asset.setScale(vector3(1, 1, 1));
    m_serviceApi->assetAdd(meeting.getMeetingId(), asset);
}

void ZRV_ServerApp::on_tblAssets_itemClicked(QTableWidgetItem *)
{
    updateConsoleState();
}
