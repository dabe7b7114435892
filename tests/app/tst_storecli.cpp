#include "app/SingleInstance.h"
#include "support/ProgramRun.h"
#include "support/SqlFile.h"

#include <QDir>
#include <QLockFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

using Run = ProgramRun;

Run quillmate(const QString& root, const QStringList& args)
{
    return runProgram(QStringLiteral(QUILLMATE_EXE), QStringList{"--data-dir", root} + args);
}

int phrases(const QString& store)
{
    const std::optional<QVariantList> count = sqlOn(store, {"SELECT count(*) FROM simple"});
    return count ? count->value(0).toInt() : -1;
}

} // namespace

class TestStoreCli : public QObject {
    Q_OBJECT
private slots:
    void backupRestoreAndCompactFromTheCommandLine();
    void importAndExportFromTheCommandLine();
};

void TestStoreCli::backupRestoreAndCompactFromTheCommandLine()
{
    QTemporaryDir dir;
    const QString root = dir.path();
    const QString store = dir.filePath("assistant.dll");
    QCOMPARE(quillmate(root, {"init"}).code, 0);

    // Without a file the backup lands in backup/ (pbackup/ for the private store) under its name.
    Run r = quillmate(root, {"backup"});
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith("备份成功!"));
    const QStringList shared = QDir(root + "/backup").entryList({"Assistant*.bak"});
    QCOMPARE(shared.size(), 1);
    QVERIFY(QRegularExpression("^Assistant\\d{14}\\.bak$").match(shared.first()).hasMatch());
    QCOMPARE(quillmate(root, {"backup", "--private"}).code, 0);
    QCOMPARE(QDir(root + "/pbackup").entryList({"personal*.bak"}).size(), 1);
    const QString file = dir.filePath("nightly.bak");
    QCOMPARE(quillmate(root, {"backup", file}).code, 0);

    QVERIFY(sqlOn(store, {"INSERT INTO simple (name) VALUES ('added')"}));
    const int before = phrases(store);

    // Not while a panel of this folder runs: its lock is held by a live process (this one).
    {
        QLockFile panel(SingleInstance::lockPath(root));
        QVERIFY(panel.tryLock(0));
        r = quillmate(root, {"restore", file});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.err.contains("请先退出程序"), qPrintable(r.err));
        QCOMPARE(phrases(store), before);
    }
    r = quillmate(root, {"restore", "--private", file});
    QCOMPARE(r.code, 1);
    QVERIFY2(r.err.startsWith("错误号为："), qPrintable(r.err));

    r = quillmate(root, {"restore", file});
    QCOMPARE(r.code, 0);
    QCOMPARE(phrases(store), before - 1);

    r = quillmate(root, {"compact"});
    QCOMPARE(r.code, 0);
    QVERIFY(r.out.startsWith("数据压缩完成！"));
    QCOMPARE(quillmate(root, {"compact", "--private"}).code, 0);
    QCOMPARE(quillmate(root, {"restore", dir.filePath("missing.bak")}).code, 1);
}

void TestStoreCli::importAndExportFromTheCommandLine()
{
    QTemporaryDir dir;
    const QString root = dir.path();
    const QString book = QStringLiteral(QUILLMATE_FIXTURES "/spreadsheet.xlsx");
    QCOMPARE(quillmate(root, {"init"}).code, 0);

    Run r = quillmate(root, {"import", "--dry-run", book});
    QCOMPARE(r.code, 0);
    QVERIFY2(r.out.startsWith("知识库：新增4条，名称已存在0条，新建分类3个"), qPrintable(r.out));
    r = quillmate(root, {"import", book});
    QCOMPARE(r.code, 0);
    QVERIFY2(r.out.startsWith("成功导入知识库：4条,公司事务：0条,快递：1条!"), qPrintable(r.out));

    const QString out = dir.filePath("out.xlsx");
    r = quillmate(root, {"export", out});
    QCOMPARE(r.code, 0);
    QVERIFY2(r.out.startsWith("成功导出知识库：4条,公司事务：0条,快递：1条,"), qPrintable(r.out));
    r = quillmate(root, {"import", "--dry-run", out});
    QCOMPARE(r.code, 0);
    QVERIFY2(r.out.startsWith("知识库：新增0条，名称已存在4条"), qPrintable(r.out));

    r = quillmate(root, {"import", dir.filePath("config.ini")});
    QCOMPARE(r.code, 1);
    QVERIFY2(r.err.contains("不是Excel工作簿"), qPrintable(r.err));
}

QTEST_GUILESS_MAIN(TestStoreCli)
#include "tst_storecli.moc"
