// The queue dock's table: the texts of a row, updates in place, and the
// keys it answers.
#include <QApplication>
#include <QSignalSpy>
#include <QTest>

#include "ModalAnswerer.h"
#include "ZRV_QueueTableWidget.h"

namespace {
ZRV_S3::fileEntry entry(int state, int type, const QString &key, const QString &path, qint64 size)
{
    ZRV_S3::fileEntry e;
    e.state = state;
    e.type = type;
    e.bucket = "b";
    e.key = key;
    e.path = path;
    e.size = size;
    return e;
}
} // namespace

class TestZRV_QueueTableWidget : public QObject
{
    Q_OBJECT

private slots:
    void row_data();
    void row();
    void updatedInPlace();
    void keys_data();
    void keys();
};

void TestZRV_QueueTableWidget::row_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("path");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QStringList>("cells");

    QTest::newRow("upload in progress, KB without decimals")
        << 1 << 0 << "p/models/a.fbx" << "/home/u/a.fbx" << qint64(1023 * 1024 + 1023)
        << QStringList{"\u2191", "a.fbx", "1023 KB", "In Progress", "p/models/a.fbx", "/home/u"};
    QTest::newRow("download queued, MB with two decimals")
        << 0 << 1 << "x.bin" << "/tmp/x.bin" << qint64(1536 * 1024)
        << QStringList{"\u2193", "x.bin", "1.50 MB", "Queued", "x.bin", "/tmp"};
    QTest::newRow("delete has no local path") << 2 << 2 << "p//gone.txt" << "" << qint64(0)
                                              << QStringList{"X", "gone.txt", "0 KB", "Paused", "p//gone.txt", ""};
    QTest::newRow("back-slashes only: cut at the last one")
        << 3 << 3 << "k" << "C:\\Users\\u\\file.fbx" << qint64(3) * 1024 * 1024 * 1024
        << QStringList{"?", "k", "3.00 GB", "Skipped", "k", "C:\\Users\\u"};
    QTest::newRow("a path with neither stands whole") << 4 << 0 << "k" << "file.fbx" << qint64(1048575 * 1024)
                                                      << QStringList{"\u2191", "k", "1024.00 MB", "Complete", "k",
                                                                     "file.fbx"};
    QTest::newRow("failed") << 5 << 1 << "k" << "/a/b" << qint64(1048576 * 1024)
                            << QStringList{"\u2193", "k", "1.00 GB", "Failed", "k", "/a"};
}

void TestZRV_QueueTableWidget::row()
{
    QFETCH(int, state);
    QFETCH(int, type);
    QFETCH(QString, key);
    QFETCH(QString, path);
    QFETCH(qint64, size);
    ZRV_QueueTableWidget table;
    table.showQueue({entry(state, type, key, path, size)});
    QCOMPARE(table.rowCount(), 1);
    QStringList cells;
    for (int c = 0; c < table.columnCount(); ++c)
        cells << table.item(0, c)->text();
    QTEST(cells, "cells");
    QCOMPARE(table.rowHeight(0), 20);
}

void TestZRV_QueueTableWidget::updatedInPlace()
{
    ZRV_QueueTableWidget table;
    table.showQueue({entry(1, 0, "a", "/a", 1), entry(0, 0, "b", "/b", 2), entry(0, 0, "c", "/c", 3)});
    QTableWidgetItem *kept = table.item(1, 1);
    table.showQueue({entry(2, 0, "a", "/a", 1), entry(0, 0, "b", "/b", 2)});
    QCOMPARE(table.rowCount(), 2);
    QCOMPARE(table.item(0, 3)->text(), QString("Paused"));
    QCOMPARE(table.item(1, 1), kept);
    table.showQueue({});
    QCOMPARE(table.rowCount(), 0);
}

void TestZRV_QueueTableWidget::keys_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<int>("key");
    QTest::addColumn<QList<int>>("emitted");
    QTest::addColumn<QString>("box");

    QTest::newRow("row 0 is the running transfer") << 0 << int(Qt::Key_Delete) << QList<int>{}
                                                   << "Cannot abort current operation.";
    QTest::newRow("row 1 is the first waiting entry") << 1 << int(Qt::Key_Delete) << QList<int>{0} << "";
    QTest::newRow("row 2 is the second") << 2 << int(Qt::Key_Delete) << QList<int>{1} << "";
    QTest::newRow("other keys do nothing, not even move") << 1 << int(Qt::Key_Down) << QList<int>{} << "";
    QTest::newRow("backspace is no delete") << 1 << int(Qt::Key_Backspace) << QList<int>{} << "";
}

void TestZRV_QueueTableWidget::keys()
{
    QFETCH(int, row);
    QFETCH(int, key);
    ZRV_QueueTableWidget table;
    table.showQueue({entry(1, 0, "a", "/a", 1), entry(0, 0, "b", "/b", 2), entry(0, 0, "c", "/c", 3)});
    table.setCurrentCell(row, 1);
    QSignalSpy deleted(&table, &ZRV_QueueTableWidget::deleteSlot);
    ModalAnswerer answerer;
    answerer.arm();
    QTest::keyClick(&table, Qt::Key(key));
    answerer.disarm();
    QList<int> emitted;
    for (const QVariantList &args : deleted)
        emitted << args.at(0).toInt();
    QTEST(emitted, "emitted");
    QTEST(answerer.seen().value(0).text, "box");
    QCOMPARE(table.currentRow(), row);
}

QTEST_MAIN(TestZRV_QueueTableWidget)
#include "tst_ZRV_QueueTableWidget.moc"
