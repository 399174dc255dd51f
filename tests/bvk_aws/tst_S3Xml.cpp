#include <QtTest>

#include "S3Xml.h"

using namespace BVK_AWS;

class TestS3Xml : public QObject
{
    Q_OBJECT

private slots:
    void listPage_data();
    void listPage();
    void multipartReplies();
};

void TestS3Xml::listPage_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("entries"); // key|size|etag
    QTest::addColumn<QString>("token");
    // Plain pages, markers and empty ones come from moto in the storage test.

    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<ListBucketResult xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">"
                            "<Name>b</Name><Prefix></Prefix><KeyCount>2</KeyCount><MaxKeys>1000</MaxKeys>";
    const QByteArray last = head + "<IsTruncated>false</IsTruncated>";
    QTest::newRow("truncated page carries the token on")
        << head + "<IsTruncated>true</IsTruncated><NextContinuationToken>tok/+=</NextContinuationToken>"
                  "<Contents><Key>Grüße €.bin</Key><Size>7</Size><ETag>\"e\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{QStringLiteral("Grüße €.bin|7|\"e\"")} << QStringLiteral("tok/+=");
    QTest::newRow("URL-encoded keys come back decoded, control character and all")
        << head + "<EncodingType>url</EncodingType><IsTruncated>false</IsTruncated>"
                  "<Contents><Key>ctl%01key</Key><Size>1</Size><ETag>\"e\"</ETag></Contents>"
                  "<Contents><Key>a+b%2Bc%20d%C3%BC</Key><Size>2</Size><ETag>\"f\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{QStringLiteral("ctl\x01key|1|\"e\""), QStringLiteral("a b+c dü|2|\"f\"")} << QString();
    QTest::newRow("a page that does not say it is encoded keeps % and + as they are")
        << last + "<Contents><Key>100%+done</Key><Size>1</Size><ETag>\"e\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{"100%+done|1|\"e\""} << QString();
    QTest::newRow("truncated without a token is refused")
        << head + "<IsTruncated>true</IsTruncated></ListBucketResult>" << false << QStringList() << QString();
    QTest::newRow("cut-off body is refused")
        << last + "<Contents><Key>a</Ke" << false << QStringList() << QString();
    QTest::newRow("HTML from a proxy is no listing")
        << QByteArray("<html><body>Bad gateway</body></html>") << false << QStringList() << QString();
}

void TestS3Xml::listPage()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, ok);
    QFETCH(QString, token);
    S3ListPage page;
    QString error;
    QCOMPARE(S3Xml::parseListPage(body, &page, &error), ok);
    QCOMPARE(error.isEmpty(), ok);
    QStringList entries;
    for (const S3ListEntry &e : qAsConst(page.entries))
        entries << e.key + '|' + QString::number(e.size) + '|' + e.etag;
    if (ok) {
        QTEST(entries, "entries");
        QCOMPARE(page.truncated, !token.isEmpty());
        QCOMPARE(page.continuationToken, token);
    }
}

// Error documents and the usual replies are read in the wire and moto tests;
// these are the shapes neither sends.
void TestS3Xml::multipartReplies()
{
    QCOMPARE(S3Xml::parseUploadId("<InitiateMultipartUploadResult><Bucket>b</Bucket><Key>k</Key>"
                                  "<UploadId> VXBsb2FkIElE </UploadId></InitiateMultipartUploadResult>"),
             QStringLiteral("VXBsb2FkIElE"));
    QVERIFY(S3Xml::parseUploadId("<Error><UploadId>x</UploadId></Error>").isEmpty());
    QCOMPARE(S3Xml::parseCompleteETag("<CompleteMultipartUploadResponse xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">"
                                      "<Key>k</Key><ETag>&quot;e-2&quot;</ETag></CompleteMultipartUploadResponse>"),
             QStringLiteral("\"e-2\""));
    QVERIFY(S3Xml::parseCompleteETag("<Error><ETag>x</ETag></Error>").isEmpty());
}

QTEST_APPLESS_MAIN(TestS3Xml)
#include "tst_S3Xml.moc"
