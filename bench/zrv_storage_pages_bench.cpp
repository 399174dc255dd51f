// Storage pages benchmark: how long the S3 page's work holds the interface.
//
//   zrv-storage-pages-bench [--no-store] [--transfer-mib N]
//
// 1. The tree from a listing of 100,000 keys, nested (1,000 folders of 100
//    files) and flat (one folder), built and put into a tree widget. Beside it
//    the same flat listing with each file written into its folder's array one
//    at a time, the way a literal reading of the walk does it.
// 2. The queue dock with 1,000 entries: the first fill, then one progress
//    update (the running entry changes state), against refilling the whole
//    table on each update.
// 3. A refresh of a folder of 5,000 objects on moto_server: the time from the
//    button to the filled tree, and the requests it makes, counted on the way.
// 4. An upload and a download of N MiB (1024 by default, 0 skips it) through
//    the page's queue on the same moto_server, beside rclone (the storage
//    benchmark's first peer) moving the same file in the same run.
// Figures are the best and the median of several rounds, in milliseconds.
#include <QApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QFile>
#include <QMessageBox>
#include <QTimer>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTreeWidget>

#include <algorithm>
#include <cstdio>
#include <functional>

#include "MotoServer.h"
#include "ZRV_FileChooser.h"
#include "ZRV_LoginData.h"
#include "ZRV_QueueTableWidget.h"
#include "ZRV_S3.h"
#include "ZRV_S3Tree.h"

namespace {

struct Figures
{
    double best = 0, median = 0;
};

Figures measure(int rounds, const std::function<void()> &body)
{
    QList<double> ms;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer t;
        t.start();
        body();
        QCoreApplication::processEvents();
        ms << t.nsecsElapsed() / 1e6;
    }
    std::sort(ms.begin(), ms.end());
    return {ms.first(), ms.at(ms.size() / 2)};
}

void print(const char *what, const Figures &f)
{
    std::printf("%-62s best %9.2f ms   median %9.2f ms\n", what, f.best, f.median);
    std::fflush(stdout);
}

void listing(int folders, int files, QStringList *keys, QStringList *sizes, QStringList *etags)
{
    for (int d = 0; d < folders; ++d) {
        const QString dir = QString("presenter/dir%1/").arg(d, 4, 10, QChar('0'));
        keys->append(dir);
        sizes->append("0");
        etags->append("NONE");
        for (int f = 0; f < files; ++f) {
            keys->append(dir + QString("file%1.fbx").arg(f, 6, 10, QChar('0')));
            sizes->append(QString::number(1000 + f));
            etags->append("0123456789abcdef0123456789abcdef");
        }
    }
}

void treeBench()
{
    ZRV_S3Tree::Input in;
    in.pathPrefix = "presenter/";
    in.storageUser = "zarvo";
    for (auto shape : {std::make_pair(1000, 100), std::make_pair(1, 100000)}) {
        QStringList keys, sizes, etags;
        listing(shape.first, shape.second, &keys, &sizes, &etags);
        QTreeWidget tree;
        const Figures f = measure(5, [&] {
            qint64 total = 0;
            QTreeWidgetItem *root = ZRV_S3Tree::buildTree(keys, sizes, etags, in, &total);
            tree.clear();
            tree.insertTopLevelItem(0, root);
            root->setExpanded(true);
        });
        print(qPrintable(QString("tree from %1 keys, %2 folders of %3 files").arg(keys.size()).arg(shape.first).arg(shape.second)), f);
    }

    // The peer: each file stored into its folder's array as it is met.
    QStringList keys, sizes, etags;
    listing(1, 20000, &keys, &sizes, &etags);
    const Figures f = measure(3, [&] {
        QTreeWidgetItem item;
        for (int i = 1; i < keys.size(); ++i) {
            QJsonArray files = item.data(0, Qt::UserRole).toJsonArray();
            files.append(QJsonObject{{"name", keys.at(i)}, {"size", sizes.at(i)}, {"etag", etags.at(i)}});
            item.setData(0, Qt::UserRole, files);
        }
    });
    print("peer: 20,000 files written into one array one at a time", f);
}

void queueBench()
{
    QList<ZRV_S3::fileEntry> entries;
    for (int i = 0; i < 1000; ++i) {
        ZRV_S3::fileEntry e;
        e.state = i == 0 ? 1 : 0;
        e.type = i % 3;
        e.bucket = "zarvo";
        e.key = QString("presenter/models/file%1.fbx").arg(i);
        e.path = QString("/home/user/Models/file%1.fbx").arg(i);
        e.size = 1024LL * 1024 * (i + 1);
        entries << e;
    }
    ZRV_QueueTableWidget table;
    table.resize(1200, 600);
    table.show();
    print("queue: 1,000 entries shown in an empty table", measure(5, [&] {
              table.setRowCount(0);
              table.showQueue(entries);
          }));
    int flip = 0;
    print("queue: one update (running entry changes state)", measure(50, [&] {
              entries[0].state = (flip++ % 2) ? 1 : 2;
              table.showQueue(entries);
          }));
    print("peer: the same update refilling the whole table", measure(50, [&] {
              entries[0].state = (flip++ % 2) ? 1 : 2;
              table.clearContents();
              table.setRowCount(entries.size());
              for (int r = 0; r < entries.size(); ++r) {
                  const ZRV_S3::fileEntry &e = entries.at(r);
                  table.setRowHeight(r, 20);
                  table.setItem(r, 0, new QTableWidgetItem(ZRV_QueueTableWidget::typeText(e.type)));
                  table.setItem(r, 1, new QTableWidgetItem(e.key.mid(e.key.lastIndexOf('/') + 1)));
                  table.setItem(r, 2, new QTableWidgetItem(ZRV_QueueTableWidget::sizeText(e.size)));
                  table.setItem(r, 3, new QTableWidgetItem(ZRV_QueueTableWidget::stateText(e.state)));
                  table.setItem(r, 4, new QTableWidgetItem(e.key));
                  table.setItem(r, 5, new QTableWidgetItem(ZRV_QueueTableWidget::localDir(e.path)));
              }
          }));
}

// Sits between the page and the store and counts the requests that pass.
class RequestCounter : public QObject
{
public:
    bool open(quint16 target)
    {
        m_target = target;
        connect(&m_server, &QTcpServer::newConnection, this, &RequestCounter::accept);
        return m_server.listen(QHostAddress::LocalHost, 0);
    }
    QString endpoint() const { return QString("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    int requests = 0;
    int listings = 0;

private:
    void accept()
    {
        while (QTcpSocket *client = m_server.nextPendingConnection()) {
            client->setParent(this);
            auto *store = new QTcpSocket(this);
            store->connectToHost(QHostAddress::LocalHost, m_target);
            connect(client, &QTcpSocket::readyRead, store, [client, store, this] {
                const QByteArray data = client->readAll();
                requests += data.count(" HTTP/1.1\r\n");
                listings += data.count("list-type=2");
                store->write(data);
            });
            connect(store, &QTcpSocket::readyRead, client, [client, store] { client->write(store->readAll()); });
            connect(client, &QTcpSocket::disconnected, store, &QTcpSocket::disconnectFromHost);
            connect(store, &QTcpSocket::disconnected, client, &QTcpSocket::disconnectFromHost);
        }
    }

    QTcpServer m_server;
    quint16 m_target = 0;
};

// The presenter of the local platform on the store at `endpoint`.
ZRV_LoginData presenterOn(const QString &endpoint)
{
    ZRV_LoginData login;
    login.roles = QStringList{"ZRV_Presenter"};
    login.storageMode = 1;
    login.storageUser = "zarvo";
    login.storagePass = "zarvo-secret";
    login.storageAddress = endpoint;
    login.storageBucket = "zarvo";
    login.storageFolder = "presenter";
    return login;
}

// A moto store with the platform's bucket; says why when there is none.
bool startStore(MotoServer &moto, const char *what)
{
    QString error;
    if (!moto.start(&error)) {
        std::printf("%s: no store (%s)\n", what, qPrintable(error));
        return false;
    }
    moto.createBucket("zarvo");
    return true;
}

int refreshBench()
{
    MotoServer moto;
    if (!startStore(moto, "refresh"))
        return 1;
    const int objects = 5000;
    QElapsedTimer seedClock;
    seedClock.start();
    for (int i = 0; i < objects; ++i)
        moto.putObject("zarvo", QString("presenter/big/f%1.bin").arg(i), QByteArray::number(i));
    std::printf("refresh: %d objects seeded in %.1f s\n", objects, seedClock.elapsed() / 1000.0);

    RequestCounter counter;
    counter.open(moto.port());
    ZRV_LoginData login = presenterOn(counter.endpoint());
    ZRV_S3 page;
    page.setLoginData(&login);
    page.show();
    auto *button = page.findChild<QPushButton *>("btnS3Refresh");
    auto *tree = page.findChild<QTreeWidget *>("S3TreeWidget");
    const Figures f = measure(3, [&] {
        page.on_btnS3Refresh_clicked();
        while (!button->isEnabled())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    });
    print("refresh of a folder of 5,000 objects, button to tree", f);
    std::printf("refresh: %.0f requests per refresh, %.0f of them listing pages; tree root %s\n",
                counter.requests / 3.0, counter.listings / 3.0,
                qPrintable(tree->topLevelItemCount() ? tree->topLevelItem(0)->text(0) : QString("missing")));
    return 0;
}

double rcloneSeconds(const QString &endpoint, const QStringList &args)
{
    QProcess rclone;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("AWS_CA_BUNDLE");
    env.insert("RCLONE_CONFIG_BENCH_TYPE", "s3");
    env.insert("RCLONE_CONFIG_BENCH_PROVIDER", "Other");
    env.insert("RCLONE_CONFIG_BENCH_ENDPOINT", endpoint);
    env.insert("RCLONE_CONFIG_BENCH_ACCESS_KEY_ID", "test");
    env.insert("RCLONE_CONFIG_BENCH_SECRET_ACCESS_KEY", "test");
    env.insert("RCLONE_CONFIG_BENCH_REGION", "us-east-1");
    rclone.setProcessEnvironment(env);
    QElapsedTimer t;
    t.start();
    rclone.start("rclone", QStringList{"--config", "/dev/null"} + args);
    if (!rclone.waitForFinished(-1) || rclone.exitCode() != 0)
        return -1;
    return t.elapsed() / 1000.0;
}

int transferBench(int mib)
{
    MotoServer moto;
    if (!startStore(moto, "transfer"))
        return 1;
    QTemporaryDir dir;
    const QString source = dir.filePath("big.bin");
    {
        QFile random("/dev/urandom");
        QFile out(source);
        if (!random.open(QIODevice::ReadOnly) || !out.open(QIODevice::WriteOnly))
            return 1;
        const QByteArray block = random.read(1024 * 1024);
        for (int i = 0; i < mib; ++i)
            out.write(block.left(1024 * 1024 - 1) + char(i));
    }
    const double mb = mib * 1048576.0 / 1e6;

    ZRV_LoginData login = presenterOn(moto.endpoint());
    ZRV_S3 page;
    page.setLoginData(&login);
    page.show();
    auto *button = page.findChild<QPushButton *>("btnS3Refresh");
    auto *tree = page.findChild<QTreeWidget *>("S3TreeWidget");
    page.on_btnS3Refresh_clicked();
    while (!button->isEnabled())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    tree->setCurrentItem(tree->topLevelItem(0));

    // A failure box would wait for a hand that never comes: tell it and close it.
    bool failed = false;
    QTimer boxes;
    QObject::connect(&boxes, &QTimer::timeout, [&failed] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            std::printf("transfer: box \"%s\": %s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
            failed = true;
            box->reject();
        }
    });
    boxes.start(200);
    QSignalSpy uploaded(&page, &ZRV_S3::uploadsFinished);
    QElapsedTimer t;
    t.start();
    page.uploadFiles({source});
    while (uploaded.isEmpty() && !failed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    if (failed)
        return 1;
    const double up = t.elapsed() / 1000.0;

    auto *table = page.findChild<QTableWidget *>("S3TableWidget");
    table->selectRow(0);
    page.setDeleteEnabled(true);
    ZRV_FileChooser::setNextAnswer(dir.filePath("back.bin"));
    t.restart();
    page.findChild<QPushButton *>("btnS3Download")->click();
    while ((page.currentEntry().state != 4 || QFileInfo(dir.filePath("back.bin")).size() < mib * 1048576LL) &&
           !failed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    if (failed)
        return 1;
    const double down = t.elapsed() / 1000.0;

    const double rcloneUp = rcloneSeconds(moto.endpoint(), {"copyto", "--ignore-times", "--s3-no-head", source,
                                                           "bench:zarvo/rclone.bin"});
    const double rcloneDown =
        rcloneSeconds(moto.endpoint(), {"copyto", "--ignore-times", "bench:zarvo/rclone.bin", dir.filePath("rclone.out")});
    std::printf("transfer of %d MiB through the page: upload %.1f s (%.0f MB/s), download %.1f s (%.0f MB/s)\n", mib,
                up, mb / up, down, mb / down);
    if (rcloneUp > 0 && rcloneDown > 0)
        std::printf("peer rclone on the same store:          upload %.1f s (%.0f MB/s), download %.1f s (%.0f MB/s)\n",
                    rcloneUp, mb / rcloneUp, rcloneDown, mb / rcloneDown);
    else
        std::printf("peer rclone: not run (missing or failed)\n");
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    // The pages draw their buttons from the console's icons, as in the window.
    Q_INIT_RESOURCE(zrv);
    const QStringList args = app.arguments();
    const int at = args.indexOf("--transfer-mib");
    const int mib = at >= 0 ? args.value(at + 1).toInt() : 1024;
    treeBench();
    queueBench();
    if (args.contains("--no-store"))
        return 0;
    int result = refreshBench();
    if (mib > 0)
        result |= transferBench(mib);
    return result;
}
