// The S3 page against moto on loopback: what each kind of account sees, and
// files moved through the queue, with its questions, allowance, pause and abort.
#include <QRandomGenerator>
#include <QtTest>
#include <QtWidgets>

#include <memory>

#include "ModalAnswerer.h"
#include "MotoServer.h"
#include "StorageTreeDump.h"
#include "ZRV_FileChooser.h"
#include "ZRV_LoginData.h"
#include "ZRV_QueueTableWidget.h"
#include "ZRV_S3.h"

namespace {

const QStringList Presenter{"ZRV_Presenter"};
const QStringList Administrator{"ZRV_Presenter", "ZRV_Administrator"};
constexpr int Wait = 60000;
constexpr int Big = 24 * 1024 * 1024; // several steps of the storage library

QByteArray randomBytes(qint64 size)
{
    QByteArray data(int(size), Qt::Uninitialized);
    QRandomGenerator gen{quint32(size)};
    for (char &c : data)
        c = char(gen.generate());
    return data;
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(data) == data.size();
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

struct Page
{
    ZRV_LoginData login;
    ZRV_S3 page;
    QTreeWidget *tree() { return page.findChild<QTreeWidget *>("S3TreeWidget"); }
    QTableWidget *table() { return page.findChild<QTableWidget *>("S3TableWidget"); }
    QPushButton *button(const char *name) { return page.findChild<QPushButton *>(name); }
    void click(const char *name) { QTest::mouseClick(button(name), Qt::LeftButton); }
    bool selectFolder(const QString &text)
    {
        const auto found = tree()->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
        if (!found.isEmpty())
            tree()->setCurrentItem(found.first());
        return !found.isEmpty();
    }
    void selectFiles(const QStringList &names)
    {
        table()->clearSelection();
        for (int r = 0; r < table()->rowCount(); ++r) {
            if (names.contains(table()->item(r, 0)->text()))
                table()->selectionModel()->select(table()->model()->index(r, 0),
                                                  QItemSelectionModel::Select | QItemSelectionModel::Rows);
        }
        page.setDeleteEnabled(!page.selectedItems().isEmpty()); // as the main window does
    }
};

} // namespace

class TestZRV_S3 : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        Q_INIT_RESOURCE(zrv);
        QString error;
        QVERIFY2(m_moto.start(&error), qPrintable(error));
        QVERIFY2(m_moto.isMoto(), "the abort checks read the store's open multipart uploads");
        QVERIFY(m_dir.isValid());
    }

    void init()
    {
        QVERIFY(m_moto.reset());
        QVERIFY(m_moto.createBucket("zarvo"));
        const QList<QPair<QString, QByteArray>> objects{{"presenter/models/stage.fbx", QByteArray(3000, 's')},
                                                        {"presenter/models/chair.fbx", QByteArray(2000, 'c')},
                                                        {"presenter/readme.txt", "read me"},
                                                        {"presenter/__ASSETBUNDLES/Presenter Stage.win.asb", "bundle"},
                                                        {"global/__ASSETBUNDLES/Zarvo Lobby.win.asb", "bundle"},
                                                        {"AROA9:alice/notes.txt", "alice"}};
        for (const auto &o : objects)
            QVERIFY(m_moto.putObject("zarvo", o.first, o.second));
        ZRV_FileChooser::clear();
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }

    void firstListing_data()
    {
        QTest::addColumn<QStringList>("roles");
        QTest::addColumn<QString>("folder");
        QTest::addColumn<qint64>("allowance");
        QTest::addColumn<QString>("tree");
        QTest::addColumn<QString>("free");

        const QString own = "MINIO - presenter/[readme.txt:7]{models[chair.fbx:2000,stage.fbx:3000]}";
        QTest::newRow("administrator on MinIO sees the whole bucket, bundles too")
            << Administrator << "presenter" << qint64(-1)
            << "MINIO - root{AROA9:alice[notes.txt:5] global{__ASSETBUNDLES[Zarvo Lobby.win.asb:6]} "
               "presenter[readme.txt:7]{__ASSETBUNDLES[Presenter Stage.win.asb:6] "
               "models[chair.fbx:2000,stage.fbx:3000]}}"
            << "";
        QTest::newRow("presenter confined to the own folder with leading slashes, bundles hidden")
            << Presenter << "//presenter" << qint64(-1) << own << "";
    }

    void firstListing()
    {
        QFETCH(QStringList, roles);
        QFETCH(QString, folder);
        QFETCH(qint64, allowance);
        auto p = open(roles, "", folder, allowance);
        QVERIFY(p);
        QTEST(storageTreeDump(p->tree()->topLevelItem(0)), "tree");
        QTEST(p->page.findChild<QLabel *>("lblFree")->text(), "free");
        QCOMPARE(p->button("btnS3BanFile")->isVisible(), roles == Administrator);
    }

    // The upload and download through the buttons are the end-to-end storage test's; here the
    // directory that exists only in the tree, and the boxes around it.
    void newDirectory()
    {
        auto p = open();
        QVERIFY(p);
        ModalAnswerer answerer;
        answerer.handle([](QWidget *w) {
            auto *dialog = qobject_cast<QInputDialog *>(w);
            QCOMPARE(dialog->windowTitle() + "|" + dialog->labelText() + "|" + dialog->textValue(),
                     QString("New Directory|Directory Name:|New Directory"));
            dialog->setTextValue("props");
            dialog->accept();
        });
        answerer.arm(Wait);
        p->click("btnS3Mkdir");
        QVERIFY(p->selectFolder("props"));
        const QString source = m_dir.filePath("scene.fbx");
        QVERIFY(writeFile(source, QByteArray(6 * 1024 * 1024 + 123, 's')));
        QSignalSpy finished(&p->page, &ZRV_S3::uploadsFinished);
        p->page.uploadFiles({source});
        QVERIFY(finished.wait(Wait));
        QVERIFY(m_moto.hasObject("zarvo", "presenter/models/props/scene.fbx"));

        answerer.pressButton(QMessageBox::Yes);
        p->selectFiles({"scene.fbx"});
        p->click("btnS3Delete");
        QTRY_COMPARE_WITH_TIMEOUT(p->table()->rowCount(), 0, Wait);
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/models/props/scene.fbx"));
        QCOMPARE(answerer.seen().value(1).title + "|" + answerer.seen().value(1).text,
                 QString("Delete File|Do you really want to delete 'scene.fbx'?"));

        // The same name again is refused.
        QVERIFY(p->selectFolder("models"));
        answerer.handle([](QWidget *w) {
            qobject_cast<QInputDialog *>(w)->setTextValue("props");
            qobject_cast<QInputDialog *>(w)->accept();
        });
        p->click("btnS3Mkdir");
        QCOMPARE(answerer.seen().value(3).title + "|" + answerer.seen().value(3).text,
                 QString("Directory already exists|A directory with the name props already exists."));
    }

    void overwrite_data()
    {
        QTest::addColumn<bool>("download");
        QTest::addColumn<QList<int>>("answers");
        QTest::addColumn<QStringList>("replaced");

        using B = QMessageBox;
        const QStringList both{"stage.fbx", "chair.fbx"};
        QTest::newRow("upload: yes, then no") << false << QList<int>{B::Yes, B::No} << QStringList{"stage.fbx"};
        QTest::newRow("upload: yes to all, asked once") << false << QList<int>{B::YesToAll} << both;
        QTest::newRow("download: no to all lasts the session, the queue waits")
            << true << QList<int>{B::NoToAll} << QStringList();
    }

    void overwrite()
    {
        QFETCH(bool, download);
        QFETCH(QList<int>, answers);
        QFETCH(QStringList, replaced);
        auto p = open();
        QVERIFY(p);
        const QStringList names{"stage.fbx", "chair.fbx", "fresh.fbx"};
        QStringList paths;
        for (const QString &name : names) {
            paths << m_dir.filePath(name);
            QVERIFY(writeFile(paths.last(), "local " + name.toUtf8()));
        }
        ModalAnswerer answerer;
        for (int a : answers)
            answerer.pressButton(QMessageBox::StandardButton(a));
        answerer.pressButton(QMessageBox::No);
        answerer.arm();
        QSignalSpy finished(&p->page, &ZRV_S3::uploadsFinished);
        // Sent twice: an "all" answer of an upload lasts its own call only, of a download the session.
        for (int call = 0; call < 2; ++call) {
            if (download) {
                p->selectFiles(names.mid(0, 2));
                ZRV_FileChooser::setNextAnswer(m_dir.path());
                p->click("btnS3Download");
                QCOMPARE(ZRV_FileChooser::lastCaption(), QString("Save files in"));
            } else {
                p->page.uploadFiles(call ? paths.mid(0, 1) : paths);
                QVERIFY(call || finished.wait(Wait));
            }
            if (call == 0) {
                QCOMPARE(answerer.seen().size(), answers.size());
                QCOMPARE(answerer.seen().value(0).text,
                         download ? "Overwrite " + paths.at(1) + "?"
                                  : QString("File stage.fbx already exists on the Server. Overwrite?"));
                const auto isReplaced = [&](const QString &name) {
                    const QByteArray remote = m_moto.getObject("zarvo", "presenter/models/" + name);
                    return download ? readFile(m_dir.filePath(name)) == remote : remote.startsWith("local ");
                };
                for (const QString &name : names.mid(0, 2))
                    QTRY_COMPARE_WITH_TIMEOUT(isReplaced(name), replaced.contains(name), Wait);
                if (download && replaced.isEmpty()) // the skip does not move the queue on
                    QCOMPARE(p->page.queuedEntries().size(), 1);
            }
        }
        QCOMPARE(answerer.seen().size(), answers.size() + (download ? 0 : 1));
    }

    void allowance_data()
    {
        QTest::addColumn<qint64>("extra");
        QTest::newRow("exactly fills the allowance") << qint64(0);
        QTest::newRow("one byte too large") << qint64(1);
    }

    void allowance()
    {
        QFETCH(qint64, extra);
        auto p = open(Presenter, "models", "presenter", 1);
        QVERIFY(p);
        const qint64 used = 3000 + 2000 + 7;
        const qint64 size = 1048576 - used + extra;
        const QString first = m_dir.filePath("first.bin");
        const QString big = m_dir.filePath("big.bin");
        QVERIFY(writeFile(first, "") && writeFile(big, QByteArray(int(size), 'b')));
        ModalAnswerer answerer;
        answerer.arm();
        QSignalSpy started(&p->page, &ZRV_S3::startUploadDownload);
        QSignalSpy finished(&p->page, &ZRV_S3::uploadsFinished);
        p->page.uploadFiles({first, big});
        if (extra == 0) {
            QVERIFY(finished.wait(Wait));
            QCOMPARE(m_moto.getObject("zarvo", "presenter/models/big.bin").size(), int(size));
            return;
        }
        QCOMPARE(answerer.seen().size(), 1);
        QCOMPARE(answerer.seen().value(0).title + "|" + answerer.seen().value(0).text,
                 QString("Not enough free space|Not enough free space. Allowed: 1MB Used: 0MB File Size: %1KB")
                     .arg(size / 1024));
        // The whole batch is gone, the empty file before it too, while its bytes still count.
        QCOMPARE(started.count(), 0);
        QCOMPARE(p->page.usedBytes(), used);
    }

    void uploadErrorBox()
    {
        auto p = open();
        QVERIFY(p);
        const QString source = m_dir.filePath("lost.fbx");
        QVERIFY(writeFile(source, "kept"));
        QVERIFY(m_moto.reset()); // the bucket goes away under the page
        ModalAnswerer answerer;
        answerer.pressButton(QMessageBox::Ok);
        answerer.arm(Wait);
        p->page.uploadFiles({source});
        QTRY_COMPARE_WITH_TIMEOUT(answerer.seen().size(), 1, Wait);
        QVERIFY2(answerer.seen().value(0).title == "Upload Error" &&
                     answerer.seen().value(0).text.startsWith("Error uploading Object to S3 Storage: "),
                 qPrintable(answerer.seen().value(0).text));
    }

    void pauseResumeWithTheQueueInTheDock()
    {
        auto p = open();
        QVERIFY(p);
        const QByteArray data = randomBytes(Big);
        QStringList paths;
        for (const QString &name : QStringList{"q1.fbx", "q2.fbx", "q3.fbx"}) {
            paths << m_dir.filePath(name);
            QVERIFY(writeFile(paths.last(), name == "q1.fbx" ? data : name.toUtf8()));
        }
        // The dock's table wired as the main window wires it.
        ZRV_QueueTableWidget table;
        table.resize(800, 200);
        table.show();
        connect(&p->page, &ZRV_S3::updateQueue, &table, &ZRV_QueueTableWidget::showQueue);
        connect(&table, &ZRV_QueueTableWidget::deleteSlot, &p->page, &ZRV_S3::onDeleteSlot);
        QPushButton *pause = p->button("btnPause");
        QList<QVariantList> progress;
        connect(&p->page, &ZRV_S3::transferProgress, this,
                [&](int mode, QString, QString object, qlonglong size, qlonglong done, int speed) {
                    progress << QVariantList{mode, done, speed, object};
                    if (!pause->isChecked() && progress.size() < 10 && done > 0 && done < size)
                        QTest::mouseClick(pause, Qt::LeftButton);
                });
        QSignalSpy finished(&p->page, &ZRV_S3::uploadsFinished);
        p->page.uploadFiles(paths);
        // The worker stops at the next step and says so with speed 0; then no step, no signal.
        QTRY_VERIFY_WITH_TIMEOUT(pause->isChecked() && progress.last().value(0).toInt() == 0 &&
                                     progress.last().value(2).toInt() == 0, Wait);
        QVERIFY(!finished.wait(1000));
        const int seen = progress.size();
        QVERIFY(!finished.wait(500));
        QCOMPARE(progress.size(), seen);

        QStringList first;
        for (int c = 0; c < table.columnCount(); ++c)
            first << table.item(0, c)->text();
        QCOMPARE(first, (QStringList{"\u2191", "q1.fbx", "24.00 MB", "In Progress", "presenter/models/q1.fbx",
                                     m_dir.path()}));
        QCOMPARE(table.item(1, 3)->text(), QString("Queued"));
        ModalAnswerer answerer;
        answerer.arm();
        table.setCurrentCell(0, 1);
        QTest::keyClick(&table, Qt::Key_Delete);
        QCOMPARE(answerer.seen().value(0).title + "|" + answerer.seen().value(0).text,
                 QString("Cannot abort|Cannot abort current operation."));
        table.setCurrentCell(1, 1);
        QTest::keyClick(&table, Qt::Key_Delete);
        QCOMPARE(table.rowCount(), 2);
        QCOMPARE(table.item(0, 3)->text(), QString("Paused"));
        QCOMPARE(table.item(1, 1)->text(), QString("q3.fbx"));

        QTest::mouseClick(pause, Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(m_moto.hasObject("zarvo", "presenter/models/q3.fbx"), Wait);
        QCOMPARE(m_moto.getObject("zarvo", "presenter/models/q1.fbx"), data);
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/models/q2.fbx"));
        QVERIFY2(progress.at(seen).value(1).toLongLong() > 0, "a resumed transfer does not start its display from zero");
    }

    void abort_data()
    {
        QTest::addColumn<bool>("upload");
        QTest::newRow("upload: nothing left in the store, the waiting one dropped") << true;
        QTest::newRow("download: the old local file kept") << false;
    }

    void abort()
    {
        QFETCH(bool, upload);
        const QByteArray data = randomBytes(upload ? Big : 40 * 1024 * 1024);
        const QString target = m_dir.filePath("huge.fbx");
        const QString waiting = m_dir.filePath("waiting.fbx");
        QVERIFY(writeFile(waiting, "w") && writeFile(target, upload ? data : "the old local file"));
        if (!upload)
            QVERIFY(m_moto.putObject("zarvo", "presenter/models/huge.fbx", data));
        auto p = open();
        QVERIFY(p);
        QPushButton *abort = p->button("btnAbort");
        QList<int> modes;
        connect(&p->page, &ZRV_S3::transferProgress, this,
                [&](int mode, QString, QString, qlonglong size, qlonglong done) {
                    modes << mode;
                    if (mode >= 0 && done > 0 && done < size && abort->isEnabled())
                        QTest::mouseClick(abort, Qt::LeftButton);
                });
        ModalAnswerer answerer;
        answerer.pressButton(QMessageBox::Yes);
        answerer.arm();
        if (upload) {
            p->page.uploadFiles({target, waiting});
        } else {
            p->selectFiles({"huge.fbx"});
            ZRV_FileChooser::setNextAnswer(target);
            p->click("btnS3Download");
        }
        QTRY_COMPARE_WITH_TIMEOUT(p->page.currentEntry().state, 3, Wait);
        // The worker is done with the aborted step once it has cleared the display.
        QTRY_COMPARE_WITH_TIMEOUT(modes.last(), -1, Wait);
        QCOMPARE(m_moto.openMultipartUploads("zarvo"), 0);
        QCOMPARE(readFile(target), upload ? data : QByteArray("the old local file"));
        if (!upload)
            return;
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/models/huge.fbx"));
        QVERIFY(!m_moto.hasObject("zarvo", "presenter/models/waiting.fbx"));
    }

private:
    // The page of an account, listed, with a folder selected ("" for its root).
    std::unique_ptr<Page> open(const QStringList &roles = Presenter, const QString &select = "models",
                               const QString &folder = "presenter", qint64 allowance = -1);

    MotoServer m_moto;
    QTemporaryDir m_dir;
};

std::unique_ptr<Page> TestZRV_S3::open(const QStringList &roles, const QString &select, const QString &folder,
                                       qint64 allowance)
{
    auto p = std::make_unique<Page>();
    p->login.roles = roles;
    p->login.storageMode = 1;
    p->login.storageUser = "zarvo";
    p->login.storagePass = "zarvo-secret";
    p->login.storageAddress = m_moto.endpoint();
    p->login.storageBucket = "zarvo";
    p->login.storageFolder = folder;
    p->login.storageSize = allowance;
    p->page.resize(900, 500);
    p->page.setLoginData(&p->login);
    p->page.show();
    p->page.on_btnS3Refresh_clicked();
    QPushButton *refresh = p->button("btnS3Refresh");
    if (!QTest::qWaitFor([&] { return refresh->isEnabled() && p->tree()->topLevelItemCount() == 1; }, Wait))
        return nullptr;
    return p->selectFolder(select.isEmpty() ? p->tree()->topLevelItem(0)->text(0) : select) ? std::move(p) : nullptr;
}

QTEST_MAIN(TestZRV_S3)
#include "tst_ZRV_S3.moc"
