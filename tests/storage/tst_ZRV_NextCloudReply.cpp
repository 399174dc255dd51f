// The WebDAV reply read from bytes: what counts as a failure, and the tree
// that a multistatus reply becomes.
#include <QApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <QTreeWidgetItem>

#include <memory>

#include "StorageTreeDump.h"
#include "ZRV_NextCloudReply.h"

namespace {

QByteArray response(const QByteArray &href, const QByteArray &props)
{
    return "<d:response><d:href>" + href + "</d:href><d:propstat><d:prop>" + props +
           "</d:prop><d:status>HTTP/1.1 200 OK</d:status></d:propstat></d:response>";
}

QByteArray multistatus(const QByteArray &responses)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<d:multistatus xmlns:d=\"DAV:\" "
           "xmlns:s=\"http://sabredav.org/ns\">" +
           responses + "</d:multistatus>";
}

const QByteArray Folder = "<d:resourcetype><d:collection/></d:resourcetype>";
QByteArray file(qint64 size)
{
    return "<d:resourcetype/><d:getcontentlength>" + QByteArray::number(size) + "</d:getcontentlength>";
}


} // namespace

class TestZRV_NextCloudReply : public QObject
{
    Q_OBJECT

private slots:
    void check_data();
    void check();
    void tree_data();
    void tree();
    void fileObjectCarriesPathAndUrl();
};

void TestZRV_NextCloudReply::check_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("good");
    QTest::addColumn<QString>("exception");
    QTest::addColumn<QString>("message");

    QTest::newRow("empty reply has no tokens and is no fault") << QByteArray() << true << "" << "";
    QTest::newRow("a good multistatus") << multistatus(response("/remote.php/dav/files/u/", Folder)) << true << ""
                                        << "";
    QTest::newRow("refused login: exception and message of the error element")
        << QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<d:error xmlns:d=\"DAV:\" "
                      "xmlns:s=\"http://sabredav.org/ns\"><s:sabredav-version>1.8.12</s:sabredav-version>"
                      "<s:exception>Sabre\\DAV\\Exception\\NotAuthenticated</s:exception>"
                      "<s:message>Username or password does not match</s:message></d:error>")
        << false << "Sabre\\DAV\\Exception\\NotAuthenticated" << "Username or password does not match";
    QTest::newRow("error element without details") << QByteArray("<d:error xmlns:d=\"DAV:\"/>") << false << ""
                                                   << "";
    QTest::newRow("broken XML: the reader's error number and text")
        << QByteArray("<d:multistatus xmlns:d=\"DAV:\"><d:response></d:multistatus>") << false
        << "Cloud Error = 3" << "Opening and ending tag mismatch.";
    QTest::newRow("cut off in the middle") << multistatus(response("/x/", Folder)).left(60) << false
                                           << "Cloud Error = 4" << "Premature end of document.";
    QTest::newRow("an HTML error page") << QByteArray("<html><body><h1>502 Bad Gateway</h1><hr></body></html>")
                                        << false << "Cloud Error = 3" << "Opening and ending tag mismatch.";
}

void TestZRV_NextCloudReply::check()
{
    QFETCH(QByteArray, body);
    QString exception = "unset";
    QString message = "unset";
    QTEST(ZRV_NextCloudReply::check(body, &exception, &message), "good");
    QTEST(exception, "exception");
    QTEST(message, "message");
}

void TestZRV_NextCloudReply::tree_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("expected");

    const QByteArray base = "/remote.php/dav/files/cloud/";
    QTest::newRow("folders before their files, user's root changes nothing")
        << multistatus(response(base, Folder) + response(base + "Models/", Folder) +
                       response(base + "Models/chair.fbx", file(1234)) + response(base + "readme.txt", file(5)))
        << "cloud" << "NextCloud - cloud[readme.txt:5]{Models[chair.fbx:1234]}";
    QTest::newRow("percent-encoded blank decoded into the name")
        << multistatus(response(base + "My%20Models/", Folder) + response(base + "My%20Models/a%20b.fbx", file(1)))
        << "cloud" << "NextCloud - cloud{My Models[a b.fbx:1]}";
    QTest::newRow("a file of 2 GiB or more does not fit and reads 0")
        << multistatus(response(base + "big.bin", file(2147483648LL)) + response(base + "ok.bin", file(2147483647)))
        << "cloud" << "NextCloud - cloud[big.bin:0,ok.bin:2147483647]";
    QTest::newRow("without the user in the path every element shows")
        << multistatus(response("/dav/x/", Folder) + response("/dav/x/y.txt", file(3))) << "cloud"
        << "NextCloud - cloud{dav{x[y.txt:3]}}";
    QTest::newRow("the first element equal to the user counts")
        << multistatus(response("/remote.php/dav/files/cloud/cloud/", Folder) +
                       response("/remote.php/dav/files/cloud/cloud/in.txt", file(2)))
        << "cloud" << "NextCloud - cloud{cloud[in.txt:2]}";
    QTest::newRow("empty reply gives the root alone") << QByteArray() << "cloud" << "NextCloud - cloud";
}

void TestZRV_NextCloudReply::tree()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, user);
    std::unique_ptr<QTreeWidgetItem> root(
        ZRV_NextCloudReply::buildTree(ZRV_NextCloudReply::parse(body), user, "https://cloud.example"));
    QTEST(storageTreeDump(root.get()), "expected");
}

void TestZRV_NextCloudReply::fileObjectCarriesPathAndUrl()
{
    const QByteArray body = multistatus(response("/remote.php/dav/files/cloud/a%20b.txt", file(10)));
    std::unique_ptr<QTreeWidgetItem> root(
        ZRV_NextCloudReply::buildTree(ZRV_NextCloudReply::parse(body), "cloud", "https://cloud.example"));
    const QJsonObject o = root->data(0, Qt::UserRole).toJsonArray().at(0).toObject();
    QCOMPARE(o.value("path").toString(), QString("/remote.php/dav/files/cloud/a b.txt"));
    QCOMPARE(o.value("url").toString(), QString("https://cloud.example"));
    QCOMPARE(o.keys(), (QStringList{"name", "path", "size", "url"}));
}

QTEST_MAIN(TestZRV_NextCloudReply)
#include "tst_ZRV_NextCloudReply.moc"
