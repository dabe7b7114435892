#include "content/ContentFiles.h"
#include "data/IniFile.h"
#include "data/Settings.h"
#include "send/ContentCache.h"
#include "support/Files.h"
#include "support/FixtureRows.h"
#include "support/ProgramRun.h"
#include "support/TestRoot.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTest>

// What must survive on the agents' machines: config.ini and copies written on a full disk,
// config.ini holding bytes of two encodings, send copies of entries that share a name or change,
// and stored names that Windows or the file system would not take.

namespace {

// Runs the writer child with a disk that is full after `limit` bytes; it prints what it was told.
ProgramRun writeOnFullDisk(qint64 limit, const QStringList& args)
{
    return runProgram(QCoreApplication::applicationDirPath() + "/filefaults_writer",
                      QStringList{QString::number(limit)} + args);
}

ContentCache::Loader bytesOf(const QByteArray& bytes)
{
    return [bytes] { return Result<std::optional<QByteArray>>(std::optional<QByteArray>(bytes)); };
}

QString cachedFile(const ContentCache& cache, qint64 id, const QString& name, const QString& ext,
                   const QByteArray& bytes)
{
    const Result<std::optional<QString>> placed = cache.file(id, name, ext, bytesOf(bytes));
    if (!placed || !placed.value()) {
        QTest::qFail(qPrintable(QString("no copy of %1: %2").arg(id).arg(placed.message())),
                     __FILE__, __LINE__);
        return {};
    }
    return *placed.value();
}

} // namespace

class TestFileFaults : public QObject {
    Q_OBJECT
private slots:
    void fullDiskLeavesConfigIniAsItWas();
    void fullDiskWritesNoShortCopy();
    void replacedFilesKeepTheirLinkAndPermissions();
    void mixedBytesKeepEveryReadableValue_data();
    void mixedBytesKeepEveryReadableValue();
    void sendCopiesAreTheEntrysCurrentContent();
    void namesAreSafeOnEverySystem_data();
    void namesAreSafeOnEverySystem();
    void oddNamesDoNotStopExportAll();
};

void TestFileFaults::fullDiskLeavesConfigIniAsItWas()
{
#ifndef Q_OS_UNIX
    QSKIP("a full disk is made with a file size limit, which only Unix systems have");
#endif
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("config.ini");
    QVERIFY(Settings::ensureFile(path).ok());
    Settings settings(path);
    QVERIFY(settings.load().ok());
    QVERIFY(settings.setValue(Setting::DatabasePath, "/srv/客服/库").ok());
    QVERIFY(settings.setHotKey(3, HotKeyField::SendContent, "您好").ok());
    const QByteArray before = readBytes(path);
    QVERIFY(before.size() > 64);

    // The save at exit, with room for 27 bytes.
    const ProgramRun save = writeOnFullDisk(27, {"ini", path});
    QCOMPARE(save.code, 1);
    QVERIFY2(save.out.startsWith("无法写入配置文件 " + QDir::toNativeSeparators(path) + "："),
             qPrintable(save.out));
    QVERIFY2(save.out.endsWith("文件超出系统允许的大小"), qPrintable(save.out));
    QCOMPARE(readBytes(path), before);
    QCOMPARE(filesUnder(dir.path()), QStringList{"config.ini"});

    // The first start writes the default file: none rather than a short one.
    const QString fresh = dir.filePath("new/config.ini");
    const ProgramRun ensure = writeOnFullDisk(64, {"ensure", fresh});
    QCOMPARE(ensure.code, 1);
    QVERIFY2(ensure.out.startsWith("配置文件不存在！\n无法写入配置文件 "), qPrintable(ensure.out));
    QCOMPARE(filesUnder(dir.filePath("new")), QStringList());
}

void TestFileFaults::fullDiskWritesNoShortCopy()
{
#ifndef Q_OS_UNIX
    QSKIP("a full disk is made with a file size limit, which only Unix systems have");
#endif
    QTemporaryDir root;
    QVERIFY(root.isValid());
    const QByteArray bytes(4096, 'x');

    // A copy for sending: the failure is told, nothing is left to be reused.
    const ProgramRun copy = writeOnFullDisk(
        1000, {"cache", root.path(), "7", "报价单", "pdf", QString::number(bytes.size())});
    QCOMPARE(copy.code, 1);
    QVERIFY2(copy.out.contains("报价单.pdf："), qPrintable(copy.out));
    QCOMPARE(filesUnder(root.path()), QStringList());
    // Once there is room again the copy is written whole.
    const QString sent = cachedFile(ContentCache(root.path()), 7, "报价单", "pdf", bytes);
    QCOMPARE(readBytes(sent), bytes);

    // An exported copy keeps what it held.
    const QString exported = root.filePath("file/报价单.pdf");
    QVERIFY(QDir().mkpath(QFileInfo(exported).absolutePath()));
    QVERIFY(writeBytes(exported, "old"));
    const ProgramRun write =
        writeOnFullDisk(1000, {"export", root.path(), exported, QString::number(bytes.size())});
    QCOMPARE(write.code, 1);
    QVERIFY2(write.out.startsWith("无法写入文件 " + QDir::toNativeSeparators(exported)),
             qPrintable(write.out));
    QCOMPARE(readBytes(exported), QByteArray("old"));
    QCOMPARE(filesUnder(root.filePath("file")), QStringList{"报价单.pdf"});
}

void TestFileFaults::replacedFilesKeepTheirLinkAndPermissions()
{
#ifndef Q_OS_UNIX
    QSKIP("links and permission bits are those of Unix systems");
#endif
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString real = dir.filePath("shared/config.ini");
    const QString link = dir.filePath("config.ini");
    QVERIFY(QDir().mkpath(QFileInfo(real).absolutePath()));
    QVERIFY(writeBytes(real, "[Set]\nStartTop=1\n"));
    const auto mode = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup;
    QVERIFY(QFile::setPermissions(real, mode));
    QVERIFY(QFile::link(real, link));

    IniFile ini(link);
    QVERIFY(ini.load().ok());
    QVERIFY(ini.writeIni("Set", "StartTop", "0"));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(readBytes(real), QByteArray("[Set]\nStartTop=0\n"));
    QCOMPARE(QFile::permissions(real) & ~(QFileDevice::ReadUser | QFileDevice::WriteUser), mode);
}

void TestFileFaults::mixedBytesKeepEveryReadableValue_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("databasePath");
    QTest::addColumn<QString>("hotKeyText");

    const QByteArray gbkServiceFolder = "D:\\\xBF\xCD\xB7\xFE"; // "D:\客服" in GBK
    QTest::newRow("UTF-8 file, one stray byte on another line")
        << QByteArray("[Set]\nDatabasePath=D:\\客服\nStartTop=1\n[HotKey]\nK1=客户\xFF\n")
        << QString("D:\\客服") << QString("客户\uFFFD");
    QTest::newRow("UTF-8 file, one line in GBK")
        << QByteArray("[Set]\r\nDatabasePath=" + gbkServiceFolder +
                      "\r\nStartTop=1\r\n[HotKey]\r\nK1=客户\r\n")
        << QString("D:\\客服") << QString("客户");
    // "谢谢" in GBK happens to be well-formed UTF-8 ("лл").
    QTest::newRow("GBK file, a line that passes for UTF-8")
        << QByteArray("[Set]\nDatabasePath=" + gbkServiceFolder +
                      "\n[HotKey]\nK1=\xD0\xBB\xD0\xBB\n")
        << QString("D:\\客服") << QString("谢谢");
}

void TestFileFaults::mixedBytesKeepEveryReadableValue()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, databasePath);
    QFETCH(QString, hotKeyText);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath("config.ini");
    QVERIFY(writeBytes(path, file));

    Settings settings(path);
    QVERIFY(settings.load().ok());
    QCOMPARE(settings.value(Setting::DatabasePath), databasePath);
    QCOMPARE(settings.hotKey(1, HotKeyField::Key), hotKeyText);

    // The save at exit writes UTF-8 that reads back the same, again and again.
    for (int round = 0; round < 2; ++round) {
        QVERIFY(settings.setValue(Setting::StartTop, QString::number(round)).ok());
        const QByteArray saved = readBytes(path);
        QCOMPARE(QString::fromUtf8(saved).toUtf8(), saved);
        Settings reread(path);
        QVERIFY(reread.load().ok());
        QCOMPARE(reread.value(Setting::DatabasePath), databasePath);
        QCOMPARE(reread.hotKey(1, HotKeyField::Key), hotKeyText);
    }
}

void TestFileFaults::sendCopiesAreTheEntrysCurrentContent()
{
    QTemporaryDir root;
    QVERIFY(root.isValid());
    const ContentCache cache(root.path());

    // Names that meet once extension and slash are made safe: each entry sends its own bytes,
    // under the name the customer sees.
    const QString first = cachedFile(cache, 1, "report", "pdf", "first");
    const QString second = cachedFile(cache, 2, "report.pdf", "无", "second");
    const QString slash = cachedFile(cache, 3, "a/b", "txt", "slash");
    const QString underscore = cachedFile(cache, 4, "a_b", "txt", "underscore");
    QStringList sent;
    for (const QString& copy : {first, second, slash, underscore})
        sent << QFileInfo(copy).fileName() + ": " + QString::fromUtf8(readBytes(copy));
    QCOMPARE(sent, (QStringList{"report.pdf: first", "report.pdf: second", "a_b.txt: slash",
                                "a_b.txt: underscore"}));
    QCOMPARE(cachedFile(cache, 1, "report", "pdf", "first"), first);

    // Edited on another seat, to bytes of the same length: the next send has the new bytes, and
    // the old copy goes.
    const QString edited = cachedFile(cache, 1, "report", "pdf", "FIRST");
    QCOMPARE(readBytes(edited), QByteArray("FIRST"));
    QVERIFY(!QFileInfo::exists(first));
    const QString renamed = cachedFile(cache, 1, "offer", "pdf", "FIRST");
    QCOMPARE(QFileInfo(renamed).fileName(), "offer.pdf");
    QVERIFY(!QFileInfo::exists(edited));

    // Pictures of the two stores share ids, not copies.
    const auto picture = [&](bool personal, const QByteArray& bytes) {
        return cache.picture(personal, 5, "png", bytesOf(bytes)).value().value_or(QString());
    };
    const QString knowledge = picture(false, "knowledge");
    const QString personal = picture(true, "personal");
    QCOMPARE(readBytes(knowledge), QByteArray("knowledge"));
    QCOMPARE(readBytes(personal), QByteArray("personal"));

    // A copy damaged on disk since it was written is not handed on.
    QVERIFY(writeBytes(slash, ""));
    QCOMPARE(readBytes(cachedFile(cache, 3, "a/b", "txt", "slash")), QByteArray("slash"));
}

void TestFileFaults::namesAreSafeOnEverySystem_data()
{
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QString>("safe");
    const auto row = [](const char* tag, const QString& stored, const QString& safe) {
        QTest::newRow(tag) << stored << safe;
    };
    for (const QStringList& named : fixtureRows("safe-names.txt"))
        row(qPrintable(named.value(0)), named.value(1), named.value(2));
    // Long names, made here.
    const QString guest(1, QChar(0x5BA2)); // 客: three bytes in UTF-8
    row("long, extension kept", guest.repeated(300) + ".pdf", guest.repeated(83) + ".pdf");
    const QString smile = QString::fromUcs4(U"\U0001F600"); // four bytes, two UTF-16 units
    row("long, no pair split", smile.repeated(100), smile.repeated(63));
    row("long extension is no extension", QString(200, u'a') + "." + QString(100, u'b'),
        QString(200, u'a') + "." + QString(54, u'b'));
}

void TestFileFaults::namesAreSafeOnEverySystem()
{
    QFETCH(QString, stored);
    QFETCH(QString, safe);
    const QString made = ContentCache::safeFileName(stored);
    QCOMPARE(made, safe);
    QVERIFY(made.toUtf8().size() <= ContentCache::MaxNameBytes);
}

void TestFileFaults::oddNamesDoNotStopExportAll()
{
    TestRoot root;
    QVERIFY(root.ok());
    const ContentFiles files(root.dir.path());
    const QString longName = QString(120, QChar(0x6587)) + "说明"; // 文...说明
    const QStringList names = {longName, "CON", "正常"};
    for (const QString& name : names)
        root.add(Table::File, {{"name", name}, {"file", name.toUtf8()}, {"extname", "docx"}});

    const Result<int> exported = files.exportAll(*root.store, Kinds::descriptor(ContentKind::File));
    QVERIFY2(exported.ok(), qPrintable(exported.message()));
    QCOMPARE(exported.value(), 3);
    for (const QString& name : names)
        QCOMPARE(readBytes(files.filePath(name, "docx")), name.toUtf8());
    QCOMPARE(filesUnder(root.dir.filePath("file")).size(), 3);
}

QTEST_GUILESS_MAIN(TestFileFaults)
#include "tst_filefaults.moc"
