#include <QtTest>

#include "S3Xml.h"

using namespace BVK_AWS;

class TestS3Xml : public QObject
{
    Q_OBJECT

private slots:
    void listPage_data();
    void listPage();
    void errorReply_data();
    void errorReply();
    void multipartReplies();
};

void TestS3Xml::listPage_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QList<qint64>>("sizes");
    QTest::addColumn<QStringList>("etags");
    QTest::addColumn<QString>("token");

    const QByteArray head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                            "<ListBucketResult xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">"
                            "<Name>b</Name><Prefix></Prefix><KeyCount>2</KeyCount><MaxKeys>1000</MaxKeys>";
    QTest::newRow("last page with two objects and a directory marker")
        << head + "<IsTruncated>false</IsTruncated>"
                  "<Contents><Key>dir/</Key><Size>0</Size><ETag>&quot;d41d8cd98f00b204e9800998ecf8427e&quot;</ETag>"
                  "<StorageClass>STANDARD</StorageClass></Contents>"
                  "<Contents><Key>dir/a b.txt</Key><LastModified>2026-01-01T00:00:00.000Z</LastModified>"
                  "<ETag>&quot;abc-3&quot;</ETag><Size>16777216</Size><Owner><ID>x</ID></Owner></Contents>"
                  "</ListBucketResult>"
        << true << QStringList{"dir/", "dir/a b.txt"} << QList<qint64>{0, 16777216}
        << QStringList{"\"d41d8cd98f00b204e9800998ecf8427e\"", "\"abc-3\""} << QString();
    QTest::newRow("truncated page carries the token on")
        << head + "<IsTruncated>true</IsTruncated><NextContinuationToken>tok/+=</NextContinuationToken>"
                  "<Contents><Key>Grüße €.bin</Key><Size>7</Size><ETag>\"e\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{QStringLiteral("Grüße €.bin")} << QList<qint64>{7} << QStringList{"\"e\""}
        << QStringLiteral("tok/+=");
    QTest::newRow("URL-encoded keys come back decoded, control character and all")
        << head + "<EncodingType>url</EncodingType><IsTruncated>false</IsTruncated>"
                  "<Contents><Key>ctl%01key</Key><Size>1</Size><ETag>\"e\"</ETag></Contents>"
                  "<Contents><Key>a+b%2Bc%20d%C3%BC</Key><Size>2</Size><ETag>\"f\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{QStringLiteral("ctl\x01key"), QStringLiteral("a b+c dü")} << QList<qint64>{1, 2}
        << QStringList{"\"e\"", "\"f\""} << QString();
    QTest::newRow("a page that does not say it is encoded keeps % and + as they are")
        << head + "<IsTruncated>false</IsTruncated>"
                  "<Contents><Key>100%+done</Key><Size>1</Size><ETag>\"e\"</ETag></Contents></ListBucketResult>"
        << true << QStringList{"100%+done"} << QList<qint64>{1} << QStringList{"\"e\""} << QString();
    QTest::newRow("empty bucket") << head + "<IsTruncated>false</IsTruncated></ListBucketResult>" << true
                                  << QStringList() << QList<qint64>() << QStringList() << QString();
    const auto refused = [](const char *name, const QByteArray &body) {
        QTest::newRow(name) << body << false << QStringList() << QList<qint64>() << QStringList() << QString();
    };
    refused("truncated without a token is refused", head + "<IsTruncated>true</IsTruncated></ListBucketResult>");
    refused("cut-off body is refused", head + "<IsTruncated>false</IsTruncated><Contents><Key>a</Ke");
    refused("an error document is no listing", "<Error><Code>NoSuchBucket</Code></Error>");
    refused("HTML from a proxy is no listing", "<html><body>Bad gateway</body></html>");
}

void TestS3Xml::listPage()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, ok);
    QFETCH(QStringList, keys);
    QFETCH(QList<qint64>, sizes);
    QFETCH(QStringList, etags);
    QFETCH(QString, token);

    S3ListPage page;
    QString error;
    QCOMPARE(S3Xml::parseListPage(body, &page, &error), ok);
    if (!ok) {
        QVERIFY(!error.isEmpty());
        return;
    }
    QStringList gotKeys, gotEtags;
    QList<qint64> gotSizes;
    for (const S3ListEntry &e : qAsConst(page.entries)) {
        gotKeys << e.key;
        gotSizes << e.size;
        gotEtags << e.etag;
    }
    QCOMPARE(gotKeys, keys);
    QCOMPARE(gotSizes, sizes);
    QCOMPARE(gotEtags, etags);
    QCOMPARE(page.truncated, !token.isEmpty());
    QCOMPARE(page.continuationToken, token);
}

void TestS3Xml::errorReply_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("isError");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("message");

    QTest::newRow("missing bucket")
        << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>NoSuchBucket</Code>"
                      "<Message>The specified bucket does not exist</Message><BucketName>nope</BucketName>"
                      "<RequestId>1</RequestId></Error>")
        << true << "NoSuchBucket" << "The specified bucket does not exist";
    QTest::newRow("code without message") << QByteArray("<Error><Code>SlowDown</Code></Error>") << true
                                          << "SlowDown" << QString();
    QTest::newRow("error nested in a moto envelope is not taken for one")
        << QByteArray("<ErrorResponse><Error><Code>X</Code></Error></ErrorResponse>") << false << QString()
        << QString();
    QTest::newRow("empty body of a HEAD") << QByteArray() << false << QString() << QString();
    QTest::newRow("a successful document") << QByteArray("<CompleteMultipartUploadResult/>") << false << QString()
                                           << QString();
}

void TestS3Xml::errorReply()
{
    QFETCH(QByteArray, body);
    QFETCH(bool, isError);
    QFETCH(QString, code);
    QFETCH(QString, message);
    S3ErrorReply reply;
    QCOMPARE(S3Xml::parseError(body, &reply), isError);
    QCOMPARE(reply.code, code);
    QCOMPARE(reply.message, message);
}

void TestS3Xml::multipartReplies()
{
    QCOMPARE(S3Xml::parseUploadId("<InitiateMultipartUploadResult><Bucket>b</Bucket><Key>k</Key>"
                                  "<UploadId> VXBsb2FkIElE </UploadId></InitiateMultipartUploadResult>"),
             QStringLiteral("VXBsb2FkIElE"));
    QVERIFY(S3Xml::parseUploadId("<Error><UploadId>x</UploadId></Error>").isEmpty());
    QCOMPARE(S3Xml::parseCompleteETag("<CompleteMultipartUploadResult><Location>l</Location>"
                                      "<ETag>&quot;3858f62230ac3c915f300c664312c11f-9&quot;</ETag>"
                                      "</CompleteMultipartUploadResult>"),
             QStringLiteral("\"3858f62230ac3c915f300c664312c11f-9\""));
    QCOMPARE(S3Xml::parseCompleteETag("<CompleteMultipartUploadResponse xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\">"
                                      "<Key>k</Key><ETag>\"e-2\"</ETag></CompleteMultipartUploadResponse>"),
             QStringLiteral("\"e-2\""));
    QVERIFY(S3Xml::parseCompleteETag("<Error><ETag>x</ETag></Error>").isEmpty());

    // The completion body names the parts in order, numbered from 1.
    const QByteArray body = S3Xml::completeBody({"\"a\"", "\"b\""});
    QXmlStreamReader xml(body);
    QStringList seen;
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() != QLatin1String("Part")
            && xml.name() != QLatin1String("CompleteMultipartUpload"))
            seen << xml.name().toString() + QLatin1Char('=') + xml.readElementText();
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(seen, (QStringList{"PartNumber=1", "ETag=\"a\"", "PartNumber=2", "ETag=\"b\""}));
}

QTEST_APPLESS_MAIN(TestS3Xml)
#include "tst_S3Xml.moc"
