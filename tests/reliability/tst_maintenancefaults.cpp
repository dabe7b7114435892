#include "data/Schema.h"
#include "data/StoreMaintenance.h"
#include "support/Files.h"
#include "support/ProgramRun.h"
#include "support/SqlFile.h"
#include "support/TestRoot.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSet>
#include <QTest>

namespace {

QSet<qint64> idsIn(const QString& path, const QString& table)
{
    QSet<qint64> ids;
    for (const QVariant& id : sqlOn(path, {"SELECT id FROM " + table}).value_or(QVariantList()))
        ids.insert(id.toLongLong());
    return ids;
}

QProcess* child(const QString& root, const QStringList& args,
                const QList<std::pair<QString, QString>>& env = {})
{
    auto* p = new QProcess;
    QProcessEnvironment e = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : env)
        e.insert(name, value);
    p->setProcessEnvironment(e);
    p->start(QCoreApplication::applicationDirPath() + "/maintenance_child",
             QStringList{root} + args);
    return p;
}

StoreMaintenance shared(const TestRoot& root)
{
    return StoreMaintenance(root.store->filePath(StoreId::Assistant), StoreId::Assistant);
}

} // namespace

class TestMaintenanceFaults : public QObject {
    Q_OBJECT
private slots:
    void backupWhileAnotherSeatWritesHoldsEveryCommit();
    void restoreRefusesWhatIsNotABackupOfThatStore();
    void restoreReplacesContentUnderOpenConnections();
    void compactionKilledHalfwayLeavesAWorkingStore();
    void fileIsOnDiskBeforeItHasItsName_data();
    void fileIsOnDiskBeforeItHasItsName();
};

void TestMaintenanceFaults::backupWhileAnotherSeatWritesHoldsEveryCommit()
{
    TestRoot root;
    QVERIFY(root.ok());
    const QString target = root.path("Assistant.bak");
    QVERIFY(writeBytes(target, "an older backup"));

    std::unique_ptr<QProcess> writer(child(root.dir.path(), {"write", "400"}));
    QByteArray printed;
    while (printed.count('\n') < 30 && writer->waitForReadyRead(10000))
        printed += writer->readAllStandardOutput();
    // Everything reported before the backup starts is committed and must be in it.
    printed += writer->readAllStandardOutput();
    QSet<qint64> committed;
    for (const QByteArray& line : printed.split('\n')) {
        if (!line.isEmpty())
            committed.insert(line.toLongLong());
    }
    QVERIFY(committed.size() >= 30);

    const Result<void> r = shared(root).backup(target);
    QVERIFY2(r.ok(), qPrintable(r.message()));
    QVERIFY(writer->waitForFinished(60000));
    QCOMPARE(writer->exitCode(), 0); // the seat was never refused

    QVERIFY(shared(root).check(target).ok());
    const QSet<qint64> saved = idsIn(target, "simple");
    QVERIFY2(saved.contains(committed), qPrintable(QString("%1 of %2 committed rows saved")
                                                       .arg((saved & committed).size())
                                                       .arg(committed.size())));
    QVERIFY(saved.size() <= 400);
    QCOMPARE(QDir(root.dir.path()).entryList({"*.tmp"}, QDir::Files), QStringList());
}

void TestMaintenanceFaults::restoreRefusesWhatIsNotABackupOfThatStore()
{
    TestRoot root;
    QVERIFY(root.ok());
    for (int i = 0; i < 300; ++i)
        root.add(Table::Knowledge,
                 {{"name", QString("k%1").arg(i)}, {"pic", QByteArray(900, 'p')}});
    const QString store = root.store->filePath(StoreId::Assistant);
    const QString good = root.path("good.bak");
    QVERIFY(shared(root).backup(good).ok());

    const QString damaged = root.path("damaged.bak");
    QByteArray bytes = readBytes(good);
    QVERIFY(writeBytes(damaged, bytes.replace(bytes.size() / 2, 4096, QByteArray(4096, '\xff'))));

    const QString personal = root.path("personal.bak");
    QVERIFY(StoreMaintenance(root.store->filePath(StoreId::Personal), StoreId::Personal)
                .backup(personal)
                .ok());

    const QString foreign = root.path("foreign.bak");
    QVERIFY(sqlOn(foreign, {"PRAGMA application_id = 1234", "CREATE TABLE item (id INTEGER)",
                            "CREATE TABLE knowledge (id INTEGER)"}));

    const QString text = root.path("notes.bak");
    QVERIFY(writeBytes(text, "not a database at all, just some words"));

    const QByteArray before = sha256(store);
    const QString safety = root.path("safety");
    QVERIFY(QDir().mkpath(safety));
    const QList<std::pair<QString, QString>> cases = {{damaged, "已损坏"},
                                                      {personal, "私人数据库的备份"},
                                                      {foreign, "属于其他程序"},
                                                      {text, "不是客服Tavro"},
                                                      {store, "正在使用"}};
    for (const auto& [file, why] : cases) {
        const Result<QString> r = shared(root).restore(file, safety);
        QVERIFY2(!r.ok(), qPrintable(file));
        QVERIFY2(r.message().startsWith("错误号为：") && r.message().contains(why),
                 qPrintable(r.message()));
        QCOMPARE(sha256(store), before);
    }
    QCOMPARE(QDir(safety).entryList(QDir::Files), QStringList());
    // The private store refuses a shared backup the same way.
    QVERIFY(StoreMaintenance(root.store->filePath(StoreId::Personal), StoreId::Personal)
                .restore(good, safety)
                .message()
                .contains("共享数据库的备份"));
}

void TestMaintenanceFaults::restoreReplacesContentUnderOpenConnections()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 kept = root.add(Table::Simple, {{"name", "kept"}});
    const QString backup = root.path("b.bak");
    QVERIFY(shared(root).backup(backup).ok());
    const qint64 later = root.add(Table::Simple, {{"name", "later"}});
    QVERIFY(root.store->remove(Table::Simple, kept).ok());
    const Result<qint64> version = root.store->dataVersion(StoreId::Assistant);
    QVERIFY(version.ok());

    const QString safety = root.path("safety");
    QVERIFY(QDir().mkpath(safety));
    const Result<QString> r = shared(root).restore(backup, safety);
    QVERIFY2(r.ok(), qPrintable(r.message()));

    // The open connection stays usable, is told of the change and reads the backup's rows.
    QVERIFY(root.store->dataVersion(StoreId::Assistant).value() != version.value());
    QVERIFY(root.store->row(Table::Simple, kept).value().has_value());
    QVERIFY(!root.store->row(Table::Simple, later).value().has_value());
    // Ids handed out since the backup are not handed out again.
    const Result<qint64> next = root.store->insert(Table::Simple, {{"name", "next"}});
    QVERIFY(next.ok() && next.value() > later);
    // What was there before is kept aside as a backup of its own.
    QVERIFY(r.value().startsWith(safety) && r.value().endsWith("_恢复前.bak"));
    QCOMPARE(idsIn(r.value(), "simple"), QSet<qint64>{later});
}

void TestMaintenanceFaults::compactionKilledHalfwayLeavesAWorkingStore()
{
#ifndef QUILLMATE_CRASH_SHIM
    QSKIP("the crash shim is preloaded on Linux only");
#else
    TestRoot root;
    QVERIFY(root.ok());
    QList<qint64> ids;
    QVERIFY(root.store
                ->transaction(StoreId::Assistant,
                              [&]() -> Result<void> {
                                  for (int i = 0; i < 600; ++i)
                                      ids << root.add(Table::Knowledge,
                                                      {{"name", QString("k%1").arg(i)},
                                                       {"pic", QByteArray(3000, 'p')}});
                                  for (int i = 0; i < 600; i += 2)
                                      (void)root.store->remove(Table::Knowledge, ids[i]);
                                  return {};
                              })
                .ok());
    const QString store = root.store->filePath(StoreId::Assistant);
    const QSet<qint64> rows = idsIn(store, "knowledge");
    QCOMPARE(rows.size(), 300);
    const qint64 before = QFileInfo(store).size();

    // Every write to the store or its journal is a point where a pulled plug can stop it.
    for (int at : {1, 2, 10, 100, 400}) {
        std::unique_ptr<QProcess> p(child(root.dir.path(), {"compact"},
                                          {{"LD_PRELOAD", QUILLMATE_CRASH_SHIM},
                                           {"QM_CRASH_FILE", "assistant.dll*"},
                                           {"QM_CRASH_AT", QString::number(at)}}));
        QVERIFY(p->waitForFinished(30000));
        QVERIFY2(p->exitStatus() == QProcess::CrashExit,
                 qPrintable(QString("write %1 never came").arg(at)));
        const QString shown = QString("killed at write %1").arg(at);
        Store seat(root.dir.path(), *root.settings);
        QVERIFY2(seat.open().ok(), qPrintable(shown));
        QVERIFY2(idsIn(store, "knowledge") == rows, qPrintable(shown));
        QVERIFY2(shared(root).check(store).ok(), qPrintable(shown));
    }
    const Result<StoreMaintenance::Sizes> sizes = shared(root).compact();
    QVERIFY2(sizes.ok(), qPrintable(sizes.message()));
    QCOMPARE(sizes->before, before);
    QVERIFY(sizes->after < before);
    QCOMPARE(idsIn(store, "knowledge"), rows);
#endif
}

void TestMaintenanceFaults::fileIsOnDiskBeforeItHasItsName_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("file");
    QTest::newRow("backup") << "backup"
                            << "assistant.bak";
    QTest::newRow("export") << "export"
                            << "library.xlsx";
}

void TestMaintenanceFaults::fileIsOnDiskBeforeItHasItsName()
{
#ifndef QUILLMATE_CRASH_SHIM
    QSKIP("the crash shim is preloaded on Linux only");
#else
    QFETCH(QString, command);
    QFETCH(QString, file);
    TestRoot root;
    QVERIFY(root.ok());
    root.add(Table::Simple, {{"name", "保修"}});
    // A power cut right after the rename must not leave an empty file under the new name, maybe
    // in place of a good older one.
    const QString target = root.dir.filePath(file);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LD_PRELOAD", QUILLMATE_CRASH_SHIM);
    env.insert("QM_SYNC_BEFORE_RENAME", "1");
    const ProgramRun run =
        runProgram(QUILLMATE_EXE, {"--data-dir", root.dir.path(), command, target}, env);
    QVERIFY2(run.code == 0, qPrintable(run.err));
    QVERIFY(QFileInfo(target).size() > 0);
#endif
}

QTEST_GUILESS_MAIN(TestMaintenanceFaults)
#include "tst_maintenancefaults.moc"
