#include <QtTest>

#include <cstdio>

#include "MotoServer.h"

namespace {

bool answers(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected(500);
}

// The child's part: start a store, say its port, and wait to be killed.
int holdStore(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    MotoServer moto;
    QString error;
    if (!moto.start(&error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("%u\n", unsigned(moto.port()));
    std::fflush(stdout);
    return app.exec();
}

} // namespace

// The store fixture must not outlive a test process that dies without
// cleaning up, or every crashed run leaves a server behind.
class TestMotoFixture : public QObject
{
    Q_OBJECT

private slots:
    void storeEndsWithAKilledTest();
};

void TestMotoFixture::storeEndsWithAKilledTest()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--hold-store")});
    QVERIFY(child.waitForStarted(10000));
    QByteArray line;
    QDeadlineTimer deadline(45000);
    while (!line.contains('\n') && !deadline.hasExpired() && child.state() == QProcess::Running) {
        child.waitForReadyRead(500);
        line += child.readAllStandardOutput();
    }
    const quint16 port = quint16(line.trimmed().toUInt());
    QVERIFY2(port != 0, line.constData());
    QVERIFY(answers(port));

    child.kill(); // no chance to stop anything
    QVERIFY(child.waitForFinished(10000));
    QTRY_VERIFY_WITH_TIMEOUT(!answers(port), 15000);
}

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--hold-store") == 0)
        return holdStore(argc, argv);
    QCoreApplication app(argc, argv);
    TestMotoFixture test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_MotoFixture.moc"
