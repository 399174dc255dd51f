// The S3 page's tree model where the page's own listings do not reach: a flat
// listing's odd cases, the size texts, and single objects in and out after transfers.
#include <QtTest>
#include <QtWidgets>

#include "StorageTreeDump.h"
#include "ZRV_S3Tree.h"

class TestZRV_S3Tree : public QObject
{
    Q_OBJECT

private slots:
    void buildTree_data();
    void buildTree();
    void sizeText_data();
    void sizeText();
    void addAndRemove();
};

void TestZRV_S3Tree::buildTree_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("sizes");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QStringList>("roles");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<qint64>("total");

    const QStringList admin{"ZRV_Presenter", "ZRV_Administrator"};
    QTest::newRow("storage user's own path element hides itself and all above it")
        << QStringList{"top/zarvo/docs/a.pdf", "top/zarvo/b.txt"} << QStringList{"20", "15"} << "zarvo" << admin
        << "MINIO - root[b.txt:15]{top docs[a.pdf:20]}" << qint64(35);
    QTest::newRow("administrator role matched without regard to case")
        << QStringList{"__ASSETBUNDLES/x.win.asb"} << QStringList{"24"} << "key" << QStringList{"zrv_administrator"}
        << "MINIO - root{__ASSETBUNDLES[x.win.asb:24]}" << qint64(24);
    QTest::newRow("a bundle folder below another folder is shown to a presenter")
        << QStringList{"__ASSETBUNDLES/x.win.asb", "p/__ASSETBUNDLES/y.win.asb"} << QStringList{"1", "2"} << "key"
        << QStringList{"ZRV_Presenter"} << "MINIO - root{p{__ASSETBUNDLES[y.win.asb:2]}}" << qint64(2);
    QTest::newRow("folders implied by keys without markers")
        << QStringList{"x/y/deep.bin"} << QStringList{"14"} << "key" << admin << "MINIO - root{x{y[deep.bin:14]}}"
        << qint64(14);
    // After a failed info call the sizes and ETags are shorter than the keys.
    QTest::newRow("short info lists are read safely")
        << QStringList{"a.txt", "b.txt", "c.txt"} << QStringList{"10", "20"} << "key" << admin
        << "MINIO - root[a.txt:10,b.txt:20,c.txt:0]" << qint64(30);
}

void TestZRV_S3Tree::buildTree()
{
    QFETCH(QStringList, keys);
    QFETCH(QStringList, sizes);
    ZRV_S3Tree::Input in;
    QFETCH(QString, user);
    in.storageUser = user;
    QFETCH(QStringList, roles);
    in.roles = roles;
    qint64 total = -1;
    std::unique_ptr<QTreeWidgetItem> root(ZRV_S3Tree::buildTree(keys, sizes, {}, in, &total));
    QTEST(storageTreeDump(root.get()), "expected");
    QTEST(total, "total");
}

void TestZRV_S3Tree::sizeText_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("under a kilobyte shows 0 KB") << qint64(500) << "0 KB";
    QTest::newRow("one byte short of 1025 KB still whole KB") << qint64(1025 * 1024 - 1) << "1024 KB";
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
    // The doubled "/" of an upload into a confined account's top folder.
    QVERIFY(ZRV_S3Tree::addFileToTree(&tree, "p//top.txt", 6, "e"));
    QVERIFY(!ZRV_S3Tree::addFileToTree(&tree, "p/nowhere/x.txt", 1, "e"));
    QCOMPARE(storageTreeDump(tree.topLevelItem(0)), QString("MINIO - p/[top.txt:6]{d[b.txt:1,c.txt:3,d.txt:4,a.txt:5]}"));

    qint64 removed = 0;
    QVERIFY(ZRV_S3Tree::removeFileFromTree(&tree, "/p/d/c.txt", &removed));
    QCOMPARE(removed, qint64(3));
    QVERIFY(!ZRV_S3Tree::removeFileFromTree(&tree, "/p/d/c.txt", &removed));
    QCOMPARE(storageTreeDump(tree.topLevelItem(0)), QString("MINIO - p/[top.txt:6]{d[b.txt:1,d.txt:4,a.txt:5]}"));
}

QTEST_MAIN(TestZRV_S3Tree)
#include "tst_ZRV_S3Tree.moc"
