#include "support/TestRoot.h"

#include <QCoreApplication>
#include <QProcess>
#include <QSet>

// Several programs adding rows to one assistant store at the same time: each waits for the
// others' locks, and no row is lost or given an id twice.
class TestStoreProcesses : public QObject {
    Q_OBJECT
private slots:
    void concurrentWritersLoseNothing();
};

void TestStoreProcesses::concurrentWritersLoseNothing()
{
    TestRoot root;
    QVERIFY(root.ok());
    root.store.reset(); // the writers create nothing new; the file exists with its schema
    constexpr int Writers = 6;
    constexpr int Rows = 60;
    const QString writer = QCoreApplication::applicationDirPath() + QStringLiteral("/store_writer");

    QList<QProcess*> processes;
    for (int w = 0; w < Writers; ++w) {
        auto* p = new QProcess(this);
        p->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        p->start(writer, {root.dir.path(), QStringLiteral("w%1").arg(w), QString::number(Rows)});
        processes << p;
    }
    for (QProcess* p : processes) {
        QVERIFY(p->waitForFinished(120000));
        QCOMPARE(p->exitStatus(), QProcess::NormalExit);
        QCOMPARE(p->exitCode(), 0);
    }

    root.openStore();
    Query q;
    q.table = Table::Simple;
    q.columns = {"id", "name", "usetime"};
    const Result<QList<Row>> rows = root.store->rows(q);
    QVERIFY(rows.ok());
    QCOMPARE(rows.value().size(), Writers * Rows);
    QSet<qint64> ids;
    QSet<QString> names;
    int used = 0;
    for (const Row& r : rows.value()) {
        ids.insert(r.value("id").toLongLong());
        names.insert(r.value("name").toString());
        used += r.value("usetime").toInt();
    }
    QCOMPARE(ids.size(), Writers * Rows);
    QCOMPARE(names.size(), Writers * Rows);
    QCOMPARE(used, Writers * Rows / 2);
}

QTEST_GUILESS_MAIN(TestStoreProcesses)
#include "tst_store_processes.moc"
