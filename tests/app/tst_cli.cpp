#include "data/DataRoot.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/ProgramRun.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

namespace {

using Run = ProgramRun;

Run quillmate(const QStringList& args,
              const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment())
{
    return runProgram(QStringLiteral(QUILLMATE_EXE), args, env);
}

// Content and modification time of every file in a folder.
QMap<QString, QString> snapshot(const QString& folder)
{
    QMap<QString, QString> out;
    for (const QFileInfo& fi : QDir(folder).entryInfoList(QDir::Files)) {
        out.insert(fi.fileName(), sha256(fi.filePath()).toHex() + ' ' +
                                      QString::number(fi.lastModified().toMSecsSinceEpoch()));
    }
    return out;
}

} // namespace

class TestCli : public QObject {
    Q_OBJECT
private slots:
    void printsVersion();
    void initPreparesTheRootOnceAndOnlyOnce();
    void unwritableRootHasNoConfig();
    void sharedStoreLivesInDatabasePath();
    void searchPrintsRowsPerKind();
    void rejectsBadArguments_data() { fixtureData("bad-arguments.txt"); }
    void rejectsBadArguments();
    void rootResolutionOrder();
    void environmentAndUserFolderChooseTheRoot();
};

void TestCli::printsVersion()
{
    const Run r = quillmate({"--version"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, "2.1.8\n");
}

void TestCli::initPreparesTheRootOnceAndOnlyOnce()
{
    QTemporaryDir dir;
    const QString root = dir.filePath("nested/root");
    Run r = quillmate({"--data-dir", root, "init"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.err, QString());
    for (const char* name : {"config.ini", "assistant.dll", "personal.dll", "pylib.dll"})
        QVERIFY2(QFileInfo(QDir(root).filePath(QLatin1String(name))).size() > 0, name);
    QVERIFY(readBytes(QDir(root).filePath("config.ini")).startsWith("[Set]"));

    const auto before = snapshot(root);
    QTest::qWait(20); // a rewrite would show in the modification time
    r = quillmate({"init", "--data-dir", root});
    QCOMPARE(r.code, 0);
    QCOMPARE(snapshot(root), before);
}

void TestCli::unwritableRootHasNoConfig()
{
    QTemporaryDir dir;
    QVERIFY(writeBytes(dir.filePath("file"), {}));
    // A folder below a plain file cannot exist, even for root.
    const Run r = quillmate({"--data-dir", dir.filePath("file/root"), "init"});
    QVERIFY(r.code != 0);
    QVERIFY2(r.err.contains("配置文件不存在！"), qPrintable(r.err));

    // A program shipped without its pinyin table cannot prepare a folder.
    const QString lone = dir.filePath("bin/quillmate");
    QVERIFY(QDir().mkpath(dir.filePath("bin")) && QFile::copy(QUILLMATE_EXE, lone));
    const Run alone = runProgram(lone, {"--data-dir", dir.filePath("seat"), "init"});
    QCOMPARE(alone.code, 1);
    QVERIFY(alone.err.contains("pylib.dll"));
}

void TestCli::sharedStoreLivesInDatabasePath()
{
    QTemporaryDir dir;
    const QString root = dir.filePath("seat");
    const QString share = dir.filePath("share");
    QVERIFY(QDir().mkpath(root) && QDir().mkpath(share));
    QVERIFY(Settings::ensureFile(QDir(root).filePath("config.ini")).ok());
    Settings settings(QDir(root).filePath("config.ini"));
    QVERIFY(settings.load().ok());
    QVERIFY(settings.setValue(Setting::DatabasePath, share + "/").ok());

    QCOMPARE(quillmate({"--data-dir", root, "init"}).code, 0);
    QVERIFY(QFileInfo::exists(QDir(share).filePath("assistant.dll")));
    QVERIFY(!QFileInfo::exists(QDir(root).filePath("assistant.dll")));
    QVERIFY(QFileInfo::exists(QDir(root).filePath("personal.dll")));
    QVERIFY(!QFileInfo::exists(QDir(share).filePath("personal.dll")));

    // A shared folder that is not there is reported, not created.
    QVERIFY(settings.setValue(Setting::DatabasePath, dir.filePath("gone")).ok());
    const Run r = quillmate({"--data-dir", root, "init"});
    QCOMPARE(r.code, 1);
    QVERIFY(r.err.contains("错误号："));
    QVERIFY(!QFileInfo::exists(dir.filePath("gone")));
}

void TestCli::searchPrintsRowsPerKind()
{
    QTemporaryDir dir;
    QCOMPARE(quillmate({"--data-dir", dir.path(), "init"}).code, 0);
    qint64 k = 0, s = 0, e = 0;
    {
        Settings settings(dir.filePath("config.ini"));
        QVERIFY(settings.load().ok());
        Store store(dir.path(), settings);
        QVERIFY(store.open().ok());
        k = store
                .insert(Table::Knowledge,
                        {{"name", "退货\t流程"}, {"pycode", "THLC"}, {"commonflag", 1}})
                .value();
        s = store.insert(Table::Simple, {{"name", "亲，可以退货"}, {"pycode", "QKYTH"}}).value();
        e = store.insert(Table::Type, {{"name", "退货快递"}, {"itemid", 4}, {"pycode", "THKD"}})
                .value();
    }
    Run r = quillmate({"--data-dir", dir.path(), "search", "退货"});
    QCOMPARE(r.code, 0);
    QCOMPARE(
        r.out,
        QString("W\t%1\t退货 流程\nS\t%2\t亲，可以退货\nE\t%3\t退货快递\n").arg(k).arg(s).arg(e));
    r = quillmate({"--data-dir", dir.path(), "search", "th", "--kind", "S"});
    QCOMPARE(r.out, QString("S\t%1\t亲，可以退货\n").arg(s));
    r = quillmate({"--data-dir", dir.path(), "search", "", "--kind=common"});
    QCOMPARE(r.out, QString("W\t%1\t退货 流程\n").arg(k));
    r = quillmate({"--data-dir", dir.path(), "search", "nothing-like-this"});
    QCOMPARE(r.code, 0);
    QCOMPARE(r.out, QString());
}

// A row of bad-arguments.txt: a name, then the arguments.
void TestCli::rejectsBadArguments()
{
    QFETCH(QStringList, row);
    QTemporaryDir dir;
    auto env = QProcessEnvironment::systemEnvironment();
    env.insert("QUILLMATE_HOME", dir.path());
    const Run r = quillmate(row.mid(1), env);
    QCOMPARE(r.code, 2);
    QVERIFY(r.err.contains("quillmate"));
    QVERIFY(QDir(dir.path()).isEmpty());
}

void TestCli::rootResolutionOrder()
{
    DataRoot::Candidates c;
    c.commandLine = "/cli";
    c.environment = "/env";
    c.executableFolder = "/opt/quillmate";
    c.portable = true;
    c.userFolder = "/home/u/.local/share/quillmate";
    QCOMPARE(DataRoot::resolve(c).folder(), "/cli");
    c.commandLine.clear();
    QCOMPARE(DataRoot::resolve(c).folder(), "/env");
    c.environment.clear();
    QCOMPARE(DataRoot::resolve(c).folder(), "/opt/quillmate");
    c.portable = false;
    QCOMPARE(DataRoot::resolve(c).folder(), "/home/u/.local/share/quillmate");
}

void TestCli::environmentAndUserFolderChooseTheRoot()
{
    QTemporaryDir dir;
    auto env = QProcessEnvironment::systemEnvironment();
    env.remove("QUILLMATE_HOME");
    env.insert("XDG_DATA_HOME", dir.filePath("xdg"));
    QCOMPARE(quillmate({"init"}, env).code, 0);
    QVERIFY(QFileInfo::exists(dir.filePath("xdg/quillmate/config.ini")));

    env.insert("QUILLMATE_HOME", dir.filePath("home"));
    QCOMPARE(quillmate({"init"}, env).code, 0);
    QVERIFY(QFileInfo::exists(dir.filePath("home/assistant.dll")));

    QCOMPARE(quillmate({"init", "--data-dir", dir.filePath("cli")}, env).code, 0);
    QVERIFY(QFileInfo::exists(dir.filePath("cli/personal.dll")));
}

QTEST_GUILESS_MAIN(TestCli)
#include "tst_cli.moc"
