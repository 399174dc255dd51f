// The S3 page's tree model: a flat listing becomes folders and file arrays,
// and single objects go in and out after transfers.
#include <QApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <QTreeWidget>

#include "StorageTreeDump.h"
#include "ZRV_S3Tree.h"

namespace {


QStringList sizesFor(const QStringList &keys)
{
    QStringList s;
    for (const QString &k : keys)
        s << (k.endsWith('/') ? "0" : QString::number(k.size() * 100));
    return s;
}

} // namespace

class TestZRV_S3Tree : public QObject
{
    Q_OBJECT

private slots:
    void buildTree_data();
    void buildTree();
    void filePathsAndRoot_data();
    void filePathsAndRoot();
    void shortInfoListsAreReadSafely();
    void sizeText_data();
    void sizeText();
    void addAndRemove();
    void findTreeItemToleratesMissingSlash();
};

void TestZRV_S3Tree::buildTree_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("roles");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<qint64>("total");

    const QStringList admin{"ZRV_Presenter", "ZRV_Administrator"};
    const QStringList presenter{"ZRV_Presenter"};

    QTest::newRow("administrator on S3: marker, nested file, file on root")
        << QStringList{"a/", "a/b.txt", "c.txt"} << "" << "key" << 2 << admin
        << "S3 - root[c.txt:500]{a[b.txt:700]}" << qint64(1200);
    QTest::newRow("confined MinIO account: folder cut off, role id shown behind the colon")
        << QStringList{"AROA1:alice/models/stage.fbx", "AROA1:alice/readme.txt"} << "AROA1:alice/" << "key" << 1
        << presenter << "MINIO - alice/[readme.txt:2200]{models[stage.fbx:2800]}" << qint64(5000);
    QTest::newRow("bundle folder on top hidden from a presenter, one below a folder shown")
        << QStringList{"__ASSETBUNDLES/x.win.asb", "p/__ASSETBUNDLES/y.win.asb", "z.txt"} << "" << "key" << 1
        << presenter << "MINIO - root[z.txt:500]{p{__ASSETBUNDLES[y.win.asb:2600]}}" << qint64(3100);
    QTest::newRow("asset bundles hidden inside a confined folder")
        << QStringList{"p/__ASSETBUNDLES/y.win.asb", "p/z.txt"} << "p/" << "key" << 1 << presenter
        << "MINIO - p/[z.txt:700]" << qint64(700);
    QTest::newRow("administrator role matched without regard to case in the walk")
        << QStringList{"__ASSETBUNDLES/x.win.asb"} << "" << "key" << 1 << QStringList{"zrv_administrator"}
        << "MINIO - root{__ASSETBUNDLES[x.win.asb:2400]}" << qint64(2400);
    QTest::newRow("storage user's own path element hides itself and all above it")
        << QStringList{"top/zarvo/docs/a.pdf", "top/zarvo/b.txt"} << "" << "zarvo" << 1 << admin
        << "MINIO - root[b.txt:1500]{top docs[a.pdf:2000]}" << qint64(3500);
    QTest::newRow("folder implied by keys without markers")
        << QStringList{"x/y/z/deep.bin"} << "" << "key" << 2 << admin << "S3 - root{x{y{z[deep.bin:1400]}}}"
        << qint64(1400);
    QTest::newRow("empty listing: the root alone") << QStringList{} << "" << "key" << 1 << admin
                                                   << "MINIO - root" << qint64(0);
}

void TestZRV_S3Tree::buildTree()
{
    QFETCH(QStringList, keys);
    ZRV_S3Tree::Input in;
    QFETCH(QString, prefix);
    in.pathPrefix = prefix;
    QFETCH(QString, user);
    in.storageUser = user;
    QFETCH(int, mode);
    in.storageMode = mode;
    QFETCH(QStringList, roles);
    in.roles = roles;
    QStringList etags;
    for (int i = 0; i < keys.size(); ++i)
        etags << QString("e%1").arg(i);
    qint64 total = -1;
    std::unique_ptr<QTreeWidgetItem> root(ZRV_S3Tree::buildTree(keys, sizesFor(keys), etags, in, &total));
    QTEST(storageTreeDump(root.get()), "expected");
    QTEST(total, "total");
}

void TestZRV_S3Tree::filePathsAndRoot_data()
{
    QTest::addColumn<QString>("prefix");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("rootPath");
    QTest::addColumn<QString>("filePath");
    QTest::addColumn<QString>("dirPath");

    QTest::newRow("whole bucket") << "" << "a/b.txt" << "/" << "/a/b.txt" << "/a/";
    QTest::newRow("confined folder") << "alice/" << "alice/a/b.txt" << "/alice/" << "/alice/a/b.txt" << "/alice/a/";
}

void TestZRV_S3Tree::filePathsAndRoot()
{
    QFETCH(QString, prefix);
    QFETCH(QString, key);
    ZRV_S3Tree::Input in;
    in.pathPrefix = prefix;
    std::unique_ptr<QTreeWidgetItem> root(ZRV_S3Tree::buildTree({key}, {"5"}, {"etag5"}, in, nullptr));
    QTEST(root->data(1, Qt::UserRole).toString(), "rootPath");
    QCOMPARE(root->childCount(), 1);
    QTEST(root->child(0)->data(1, Qt::UserRole).toString(), "dirPath");
    const QJsonObject file = root->child(0)->data(0, Qt::UserRole).toJsonArray().at(0).toObject();
    QTEST(file.value("path").toString(), "filePath");
    QCOMPARE(file.value("etag").toString(), QString("etag5"));
    QCOMPARE(file.value("size").toString(), QString("5"));
}

void TestZRV_S3Tree::shortInfoListsAreReadSafely()
{
    // After a failed info call the sizes and ETags are shorter than the keys.
    ZRV_S3Tree::Input in;
    qint64 total = -1;
    std::unique_ptr<QTreeWidgetItem> root(
        ZRV_S3Tree::buildTree({"a.txt", "b.txt", "c.txt"}, {"10", "20"}, {"x", "y"}, in, &total));
    QCOMPARE(storageTreeDump(root.get()), QString("MINIO - root[a.txt:10,b.txt:20,c.txt:0]"));
    QCOMPARE(total, qint64(30));
}

void TestZRV_S3Tree::sizeText_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("under a kilobyte shows 0 KB") << qint64(500) << "0 KB";
    QTest::newRow("exactly 1024 KB stays in KB") << qint64(1024 * 1024) << "1024 KB";
    QTest::newRow("one byte over 1024 KB still whole KB") << qint64(1024 * 1024 + 1023) << "1024 KB";
    QTest::newRow("1025 KB steps up to MB") << qint64(1025 * 1024) << "1 MB";
    QTest::newRow("one GiB shows 1024 MB") << qint64(1073741824) << "1024 MB";
    QTest::newRow("five TiB") << qint64(5) * 1024 * 1024 * 1024 * 1024 << "5 TB";
}

void TestZRV_S3Tree::sizeText()
{
    QFETCH(qint64, bytes);
    QTEST(ZRV_S3Tree::sizeText(bytes), "text");
}

void TestZRV_S3Tree::addAndRemove()
{
    QTreeWidget tree;
    ZRV_S3Tree::Input in;
    in.pathPrefix = "p/";
    tree.addTopLevelItem(ZRV_S3Tree::buildTree({"p/d/b.txt", "p/d/d.txt"}, {"1", "2"}, {"", ""}, in, nullptr));

    // Sorted in behind the last name before it, an existing name replaced, a
    // name before all others appended: as the page's order has always been.
    QVERIFY(ZRV_S3Tree::addFileToTree(&tree, "p/d/c.txt", 3, "e"));
    QVERIFY(ZRV_S3Tree::addFileToTree(&tree, "p/d/d.txt", 4, "e"));
    QVERIFY(ZRV_S3Tree::addFileToTree(&tree, "p/d/a.txt", 5, "e"));
    QCOMPARE(storageTreeDump(tree.topLevelItem(0)), QString("MINIO - p/{d[b.txt:1,c.txt:3,d.txt:4,a.txt:5]}"));
    // The doubled "/" of an upload into a confined account's top folder.
    QVERIFY(ZRV_S3Tree::addFileToTree(&tree, "p//top.txt", 6, "e"));
    QCOMPARE(storageTreeDump(tree.topLevelItem(0)), QString("MINIO - p/[top.txt:6]{d[b.txt:1,c.txt:3,d.txt:4,a.txt:5]}"));
    QVERIFY(!ZRV_S3Tree::addFileToTree(&tree, "p/nowhere/x.txt", 1, "e"));

    qint64 removed = 0;
    QVERIFY(ZRV_S3Tree::removeFileFromTree(&tree, "/p/d/c.txt", &removed));
    QCOMPARE(removed, qint64(3));
    QVERIFY(!ZRV_S3Tree::removeFileFromTree(&tree, "/p/d/c.txt", &removed));
    QCOMPARE(storageTreeDump(tree.topLevelItem(0)), QString("MINIO - p/[top.txt:6]{d[b.txt:1,d.txt:4,a.txt:5]}"));
}

void TestZRV_S3Tree::findTreeItemToleratesMissingSlash()
{
    QTreeWidget tree;
    auto *root = new QTreeWidgetItem(QStringList("r"));
    root->setData(1, Qt::UserRole, "/");
    auto *made = new QTreeWidgetItem(QStringList("New Directory"));
    // "New Directory" on a confined account makes a path without a leading "/".
    made->setData(1, Qt::UserRole, "alice/New Directory/");
    root->addChild(made);
    tree.addTopLevelItem(root);
    QCOMPARE(ZRV_S3Tree::findTreeItem(&tree, "alice/New Directory"), made);
    QCOMPARE(ZRV_S3Tree::findTreeItem(&tree, "/alice/New Directory/"), made);
    QCOMPARE(ZRV_S3Tree::findTreeItem(&tree, ""), root);
    QCOMPARE(ZRV_S3Tree::findTreeItem(&tree, "/alice/"), nullptr);
}

QTEST_MAIN(TestZRV_S3Tree)
#include "tst_ZRV_S3Tree.moc"
