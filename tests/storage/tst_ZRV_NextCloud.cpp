// The NextCloud page against the platform's WebDAV server (sabre/dav under
// php -S) on loopback: the tree of an account, the file table, and failures
// that reach the log only.
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QLineEdit>
#include <QSignalSpy>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QPushButton>
#include <QTableWidget>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>

#include "DavServer.h"
#include "ModalAnswerer.h"
#include "ZRV_NextCloud.h"

namespace {

QStringList g_log;
QMutex g_logLock;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker lock(&g_logLock);
    const char *kind = type == QtCriticalMsg ? "critical" : type == QtDebugMsg ? "debug" : "other";
    g_log << QString("%1 %2 %3").arg(kind, QString(context.category), text);
}

QString treeDump(const QTreeWidgetItem *item)
{
    QString out = item->text(0);
    if (item->childCount()) {
        QStringList children;
        for (int i = 0; i < item->childCount(); ++i)
            children << treeDump(item->child(i));
        children.sort();
        out += "{" + children.join(" ") + "}";
    }
    return out;
}

QTreeWidgetItem *findFolder(QTreeWidget *tree, const QString &text)
{
    const QList<QTreeWidgetItem *> found = tree->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
    return found.isEmpty() ? nullptr : found.first();
}

} // namespace

class TestZRV_NextCloud : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();
    void refresh_data();
    void refresh();
    void fileTable_data();
    void fileTable();
    void selectionAndSignals();

private:
    void refreshAs(ZRV_NextCloud &page, const QString &url, const QString &user, const QString &pass);

    QTemporaryDir m_data;
    DavServer m_dav;
};

void TestZRV_NextCloud::initTestCase()
{
    Q_INIT_RESOURCE(zrv);
    QVERIFY(m_data.isValid());
    const QString root = m_data.path() + "/cloud";
    for (const char *dir : {"Models/Furniture", "Images/Backgrounds/2026", "Documents/Handouts", "Empty"})
        QVERIFY(QDir().mkpath(root + "/" + QString(dir)));
    auto put = [&](const QString &name, const QByteArray &data) {
        QFile f(root + "/" + name);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(data);
    };
    put("readme.txt", "hello");
    put("Models/Furniture/chair one.fbx", QByteArray(1234567, 'c'));
    put("Models/stage.fbx", QByteArray(2500000, 's'));
    put("Documents/Handouts/notes.pdf", QByteArray(999, 'n'));
    // A sparse file: no disk space, but 3 GiB as the server reports it.
    QFile big(root + "/Images/Backgrounds/2026/huge.png");
    QVERIFY(big.open(QIODevice::WriteOnly));
    QVERIFY(big.resize(qint64(3) << 30));
    big.close();
    QVERIFY(m_dav.start(m_data.path(), "cloud:cloud123,other:other123"));
    qInstallMessageHandler(collect);
}

void TestZRV_NextCloud::init()
{
    QMutexLocker lock(&g_logLock);
    g_log.clear();
}

void TestZRV_NextCloud::cleanupTestCase()
{
    qInstallMessageHandler(nullptr);
    m_dav.stop();
}

void TestZRV_NextCloud::refreshAs(ZRV_NextCloud &page, const QString &url, const QString &user, const QString &pass)
{
    page.findChild<QLineEdit *>("leUrl")->setText(url);
    page.findChild<QLineEdit *>("leUser")->setText(user);
    QLineEdit *pass_ = page.findChild<QLineEdit *>("lePass");
    pass_->setText(pass);
    // Return in the password field refreshes, as the button does.
    QTest::keyClick(pass_, Qt::Key_Return);
}

void TestZRV_NextCloud::refresh_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("pass");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QStringList>("criticals");

    QTest::newRow("the account's whole tree from one request")
        << "" << "cloud" << "cloud123"
        << "NextCloud - cloud{Documents{Handouts} Empty Images{Backgrounds{2026}} Models{Furniture}}"
        << QStringList();
    QTest::newRow("wrong password: empty tree, the server's words in the log")
        << "" << "cloud" << "wrong" << ""
        << QStringList{"critical NCL    Sabre\\DAV\\Exception\\NotAuthenticated",
                       "critical NCL    Username or password does not match"};
    QTest::newRow("another account's folder is refused")
        << "" << "other" << "cloud123" << "" << QStringList{"critical NCL    Sabre\\DAV\\Exception\\NotAuthenticated",
                                                             "critical NCL    Username or password does not match"};
    QTest::newRow("nobody listening: nothing came back, the root alone")
        << "http://127.0.0.1:1" << "cloud" << "cloud123" << "NextCloud - cloud" << QStringList();
}

void TestZRV_NextCloud::refresh()
{
    QFETCH(QString, url);
    QFETCH(QString, user);
    QFETCH(QString, pass);
    ModalAnswerer answerer;
    answerer.arm(20000);
    ZRV_NextCloud page;
    page.show();
    refreshAs(page, url.isEmpty() ? m_dav.url() : url, user, pass);

    auto *view = page.findChild<QTreeWidget *>("treeWidget");
    QTEST(view->topLevelItemCount() ? treeDump(view->topLevelItem(0)) : QString(), "tree");
    QCOMPARE(page.findChild<QTableWidget *>("tableWidget")->rowCount(), 0);
    QVERIFY2(answerer.seen().isEmpty(), "no box for the user, whatever happened");

    QMutexLocker lock(&g_logLock);
    QStringList criticals;
    for (const QString &line : g_log) {
        if (line.startsWith("critical"))
            criticals << line;
        QVERIFY2(!line.contains(pass), qPrintable("password in the log: " + line));
    }
    QTEST(criticals, "criticals");
    // The request is named, with the password masked.
    const QString address = (url.isEmpty() ? m_dav.url() : url) + "/remote.php/dav/files/" + user;
    QVERIFY2(g_log.contains(QString("debug NCL    PROPFIND %1 Depth: 10 user %2:*****").arg(address, user)),
             qPrintable(g_log.join("\n")));
    QVERIFY2(g_log.contains("debug NCL    Done. TRUE"), qPrintable(g_log.join("\n")));
}

void TestZRV_NextCloud::fileTable_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QStringList>("rows");

    QTest::newRow("root files") << "NextCloud - cloud" << QStringList{"readme.txt|0.00"};
    QTest::newRow("a name with a blank, sizes in MB of a million bytes")
        << "Furniture" << QStringList{"chair one.fbx|1.23"};
    QTest::newRow("files only, not the subfolder") << "Models" << QStringList{"stage.fbx|2.50"};
    QTest::newRow("a file of 3 GiB shows 0.00") << "2026" << QStringList{"huge.png|0.00"};
    QTest::newRow("a folder without files") << "Empty" << QStringList();
}

void TestZRV_NextCloud::fileTable()
{
    QFETCH(QString, folder);
    ZRV_NextCloud page;
    page.resize(800, 400);
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    refreshAs(page, m_dav.url(), "cloud", "cloud123");
    auto *tree = page.findChild<QTreeWidget *>("treeWidget");
    QTreeWidgetItem *item = findFolder(tree, folder);
    QVERIFY(item);
    QSignalSpy clicked(&page, &ZRV_NextCloud::itemClicked);
    tree->scrollToItem(item);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
    QCOMPARE(clicked.count(), 1);

    auto *table = page.findChild<QTableWidget *>("tableWidget");
    QStringList rows;
    for (int r = 0; r < table->rowCount(); ++r) {
        rows << table->item(r, 0)->text() + "|" + table->item(r, 1)->text();
        QCOMPARE(table->rowHeight(r), 20);
        const QJsonObject o = table->item(r, 0)->data(Qt::UserRole).toJsonObject();
        QCOMPARE(o.value("name").toString(), table->item(r, 0)->text());
        QCOMPARE(o.value("url").toString(), m_dav.url());
        QVERIFY2(o.value("path").toString().startsWith("/remote.php/dav/files/cloud/"), qPrintable(o.value("path").toString()));
        QVERIFY(o.value("path").toString().endsWith("/" + o.value("name").toString()));
    }
    QTEST(rows, "rows");
}

void TestZRV_NextCloud::selectionAndSignals()
{
    ZRV_NextCloud page;
    page.resize(800, 400);
    page.show();
    QVERIFY(QTest::qWaitForWindowExposed(&page));
    refreshAs(page, m_dav.url(), "cloud", "cloud123");
    auto *tree = page.findChild<QTreeWidget *>("treeWidget");
    page.on_treeWidget_itemClicked(findFolder(tree, "Models"), 0);
    auto *table = page.findChild<QTableWidget *>("tableWidget");
    QCOMPARE(table->rowCount(), 1);
    QSignalSpy clicked(&page, &ZRV_NextCloud::itemClicked);
    QSignalSpy doubled(&page, &ZRV_NextCloud::itemDoubleClicked);
    const QPoint cell = table->visualItemRect(table->item(0, 1)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, cell);
    QCOMPARE(clicked.count(), 1);
    // Whole rows are selected; the page hands out each row's first cell.
    QCOMPARE(page.selectedItems(), QList<QTableWidgetItem *>{table->item(0, 0)});
    QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, cell);
    QCOMPARE(doubled.count(), 1);
    page.clearSelection();
    QVERIFY(page.selectedItems().isEmpty());
}

QTEST_MAIN(TestZRV_NextCloud)
#include "tst_ZRV_NextCloud.moc"
