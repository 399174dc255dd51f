// The NextCloud page against sabre/dav under php -S on loopback, and its WebDAV
// reply read from bytes (what counts as a failure, the tree of a multistatus).
#include <QMutex>
#include <QtTest>
#include <QtWidgets>

#include <memory>

#include "DavServer.h"
#include "ModalAnswerer.h"
#include "StorageTreeDump.h"
#include "ZRV_NextCloud.h"
#include "ZRV_NextCloudReply.h"

namespace {

QStringList g_log;
QMutex g_logLock;

void collect(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker lock(&g_logLock);
    const char *kind = type == QtCriticalMsg ? "critical" : type == QtDebugMsg ? "debug" : "other";
    g_log << QString("%1 %2 %3").arg(kind, QString(context.category), text);
}

} // namespace

class TestZRV_NextCloud : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(zrv);
        QVERIFY(m_data.isValid());
        const QString root = m_data.path() + "/cloud/";
        for (const char *dir : {"Models/Furniture", "Images/Backgrounds/2026", "Documents", "Empty"})
            QVERIFY(QDir().mkpath(root + dir));
        const QList<QPair<QString, qint64>> files{
            {"readme.txt", 5}, {"Models/Furniture/chair one.fbx", 1234567}, {"Documents/notes.pdf", 999},
            {"Images/Backgrounds/2026/huge.png", qint64(3) << 30}}; // sparse: no disk space
        for (const auto &f : files) {
            QFile out(root + f.first);
            QVERIFY(out.open(QIODevice::WriteOnly) && out.resize(f.second));
        }
        QVERIFY(m_dav.start(m_data.path(), "cloud:cloud123,other:other123"));
        qInstallMessageHandler(collect);
    }

    void cleanupTestCase()
    {
        qInstallMessageHandler(nullptr);
        m_dav.stop();
    }

    void refresh()
    {
        ModalAnswerer answerer;
        answerer.arm(20000);
        ZRV_NextCloud page;
        page.resize(800, 400);
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        const QString log = refreshAs(page, "cloud123");
        auto *tree = page.findChild<QTreeWidget *>("treeWidget");
        tree->sortItems(0, Qt::AscendingOrder);
        QCOMPARE(storageTreeDump(tree->topLevelItem(0)),
                 QString("NextCloud - cloud[readme.txt:5]{Documents[notes.pdf:999] Empty "
                         "Images{Backgrounds{2026[huge.png:0]}} Models{Furniture[chair one.fbx:1234567]}}"));
        // The request is named with the password masked, and nothing critical.
        QVERIFY2(log.contains(QString("debug NCL    PROPFIND %1/remote.php/dav/files/cloud Depth: 10 user cloud:*****\n"
                                      "debug NCL    Done. TRUE").arg(m_dav.url())), qPrintable(log));
        QVERIFY2(!log.contains("critical") && !log.contains("cloud123"), qPrintable(log));

        // Files only, sizes in MB of a million bytes; 3 GiB does not fit and shows 0.00.
        auto *table = page.findChild<QTableWidget *>("tableWidget");
        const QList<QPair<QString, QString>> folders{{"Furniture", "chair one.fbx|1.23"}, {"Models", ""},
                                                     {"2026", "huge.png|0.00"}, {"Documents", "notes.pdf|0.00"}};
        for (const auto &folder : folders) {
            QTreeWidgetItem *item = tree->findItems(folder.first, Qt::MatchExactly | Qt::MatchRecursive).value(0);
            QVERIFY(item);
            tree->scrollToItem(item);
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, tree->visualItemRect(item).center());
            QStringList rows;
            for (int r = 0; r < table->rowCount(); ++r)
                rows << table->item(r, 0)->text() + "|" + table->item(r, 1)->text();
            QCOMPARE(rows.join(","), folder.second);
        }
        const QJsonObject o = table->item(0, 0)->data(Qt::UserRole).toJsonObject();
        QCOMPARE(o.value("path").toString(), QString("/remote.php/dav/files/cloud/Documents/notes.pdf"));

        // A refused login reaches the log only: the server's words, an empty tree, no box.
        const QString refused = refreshAs(page, "wrong");
        QVERIFY2(refused.contains("critical NCL    Sabre\\DAV\\Exception\\NotAuthenticated\n"
                                  "critical NCL    Username or password does not match"), qPrintable(refused));
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(table->rowCount(), 0);
        QVERIFY(answerer.seen().isEmpty());
    }

    // A reply that passes the check becomes the tree; one that fails gives its exception and message.
    void reply_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("result");

        QTest::newRow("empty reply has no tokens and is no fault") << QByteArray() << "NextCloud - cloud";
        QTest::newRow("broken XML: the reader's error number and text")
            << QByteArray("<d:multistatus xmlns:d=\"DAV:\"><d:response></d:multistatus>")
            << "Cloud Error = 3|Opening and ending tag mismatch.";
    }

    void reply()
    {
        QFETCH(QByteArray, body);
        QString exception, message;
        if (!ZRV_NextCloudReply::check(body, &exception, &message)) {
            QTEST(exception + "|" + message, "result");
            return;
        }
        std::unique_ptr<QTreeWidgetItem> root(
            ZRV_NextCloudReply::buildTree(ZRV_NextCloudReply::parse(body), "cloud", "https://cloud.example"));
        QTEST(storageTreeDump(root.get()), "result");
    }

private:
    // Refreshes by Return in the password field, as the button does; the log lines it wrote.
    QString refreshAs(ZRV_NextCloud &page, const QString &pass)
    {
        QMutexLocker lock(&g_logLock);
        g_log.clear();
        lock.unlock();
        page.findChild<QLineEdit *>("leUrl")->setText(m_dav.url());
        page.findChild<QLineEdit *>("leUser")->setText("cloud");
        page.findChild<QLineEdit *>("lePass")->setText(pass);
        QTest::keyClick(page.findChild<QLineEdit *>("lePass"), Qt::Key_Return);
        lock.relock();
        return g_log.join("\n");
    }

    QTemporaryDir m_data;
    DavServer m_dav;
};

QTEST_MAIN(TestZRV_NextCloud)
#include "tst_ZRV_NextCloud.moc"
