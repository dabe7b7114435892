#include "content/ContentFiles.h"
#include "content/EntryWriter.h"
#include "send/ContentCache.h"
#include "support/Files.h"
#include "support/OtherSeat.h"
#include "support/TestRoot.h"

#include <QTest>

// Saving and deleting rows of every kind against a real store: duplicates, the store's
// constraint as a second line, what each kind writes, pictures and files, cascades and exports.

Q_DECLARE_METATYPE(ContentKind)

namespace {

struct Library {
    TestRoot root;
    ContentFiles files{root.dir.path()};
    EntryWriter writer{*root.store, files};
    qint64 big = 0, small = 0, simpleType = 0, fileType = 0, toolsType = 0, personalType = 0;

    Library()
    {
        big = root.add(Table::Type, {{"name", "手机"}, {"itemid", 2}});
        small = root.add(Table::Goods, {{"name", "华为"}, {"typeid", big}});
        simpleType = root.add(Table::SimpleType, {{"name", "问候"}});
        fileType = root.add(Table::FileType, {{"name", "资料"}});
        toolsType = root.add(Table::ToolsType, {{"name", "常用"}});
        personalType = root.add(Table::PersonalType, {{"name", "备忘"}});
    }

    // Values that pass every check of the kind, under the given name.
    EntryValues valid(ContentKind kind, const QString& name) const
    {
        EntryValues v;
        v.fields = {{"name", name},
                    {"description", "说明"},
                    {"url", "https://x.example"},
                    {"path", "/usr/bin/tool"},
                    {"flag", 1}};
        const QMap<ContentKind, qint64> category = {
            {ContentKind::SmallCategory, big}, {ContentKind::Knowledge, big},
            {ContentKind::Simple, simpleType}, {ContentKind::File, fileType},
            {ContentKind::Tools, toolsType},   {ContentKind::Personal, personalType}};
        if (category.contains(kind))
            v.fields.insert("typeid", category.value(kind));
        if (kind == ContentKind::Knowledge)
            v.fields.insert("goodsid", small);
        if (kind == ContentKind::File)
            v.attachment = {Attachment::State::Replace, "bytes of " + name.toUtf8(), "txt", {}};
        return v;
    }

    qint64 save(ContentKind kind, const EntryValues& values, qint64 id = 0)
    {
        const Result<qint64> r =
            writer.save(Kinds::descriptor(kind), values, SaveContext{id != 0, false}, id);
        if (!r)
            qWarning("save refused: %s", qPrintable(r.message()));
        return r ? r.value() : 0;
    }

    QString refusal(ContentKind kind, const EntryValues& values, qint64 id = 0)
    {
        const Result<qint64> r =
            writer.save(Kinds::descriptor(kind), values, SaveContext{id != 0, false}, id);
        return r ? QString("saved") : r.message();
    }

    Row row(Table table, qint64 id)
    {
        Result<std::optional<Row>> r = root.store->row(table, id);
        return r && r.value() ? *r.value() : Row();
    }

    // Some columns of a row as text, to compare them at once.
    QStringList texts(Table table, qint64 id, const QStringList& columns)
    {
        const Row r = row(table, id);
        QStringList out;
        for (const QString& column : columns)
            out << r.value(column).toString();
        return out;
    }
};

} // namespace

class TestContentStore : public QObject {
    Q_OBJECT
private slots:
    void duplicatesIgnoreLetterCase_data();
    void duplicatesIgnoreLetterCase();
    void namesAreUniquePerSectionAndEditKeepsItsOwn();
    void aNameRacedInByAnotherSeatGetsTheSameMessage_data();
    void aNameRacedInByAnotherSeatGetsTheSameMessage();
    void rowsAreWrittenAsTheKindSays();
    void editWithoutANewFileKeepsTheBytes();
    void renamedAndReusedFilesAreNotServedStale();
    void categoriesGoWithTheirRows();
    void exportsOverwriteAndTellTheirFolder();
    void hostileStoredNamesStayInTheirFolder();
};

void TestContentStore::duplicatesIgnoreLetterCase_data()
{
    QTest::addColumn<ContentKind>("kind");
    QTest::addColumn<QString>("message");
    for (ContentKind k : Kinds::all())
        QTest::newRow(qPrintable(Kinds::descriptor(k).stem)) << k << Kinds::descriptor(k).duplicate;
}

void TestContentStore::duplicatesIgnoreLetterCase()
{
    QFETCH(ContentKind, kind);
    QFETCH(QString, message);
    Library lib;
    QVERIFY(lib.root.ok());
    QVERIFY(lib.save(kind, lib.valid(kind, "Alpha Beta")) > 0);
    QCOMPARE(lib.refusal(kind, lib.valid(kind, "  aLPHA bETA ")), message);
    QCOMPARE(lib.refusal(kind, lib.valid(kind, "Alpha Beta 2")), QString("saved"));
}

void TestContentStore::namesAreUniquePerSectionAndEditKeepsItsOwn()
{
    Library lib;
    QVERIFY(lib.root.ok());
    // Affairs, couriers and big categories share a table but not their names.
    QVERIFY(lib.save(ContentKind::Affair, lib.valid(ContentKind::Affair, "顺丰")) > 0);
    QVERIFY(lib.save(ContentKind::Courier, lib.valid(ContentKind::Courier, "顺丰")) > 0);
    QVERIFY(lib.save(ContentKind::BigCategory, lib.valid(ContentKind::BigCategory, "顺丰")) > 0);
    // Small categories are unique across all big categories.
    const qint64 other = lib.root.add(Table::Type, {{"name", "电脑"}, {"itemid", 2}});
    EntryValues again = lib.valid(ContentKind::SmallCategory, "华为");
    again.fields.insert("typeid", other);
    QCOMPARE(lib.refusal(ContentKind::SmallCategory, again), QString("此名称已经存在!"));

    const qint64 a = lib.save(ContentKind::Knowledge, lib.valid(ContentKind::Knowledge, "退货"));
    const qint64 b = lib.save(ContentKind::Knowledge, lib.valid(ContentKind::Knowledge, "换货"));
    QCOMPARE(lib.refusal(ContentKind::Knowledge, lib.valid(ContentKind::Knowledge, "退货"), a),
             QString("saved"));
    QCOMPARE(lib.refusal(ContentKind::Knowledge, lib.valid(ContentKind::Knowledge, "退货"), b),
             QString("此标题已经存在!"));
    QCOMPARE(lib.row(Table::Knowledge, b).value("name").toString(), QString("换货"));
}

void TestContentStore::aNameRacedInByAnotherSeatGetsTheSameMessage_data()
{
    QTest::addColumn<ContentKind>("kind");
    QTest::addColumn<QString>("columns");
    QTest::addColumn<QString>("values");
    QTest::newRow("phrase") << ContentKind::Simple << QString("name, typeid")
                            << QString("NEW.typeid");
    QTest::newRow("affair") << ContentKind::Affair << QString("name, itemid") << QString("3");
    QTest::newRow("private knowledge")
        << ContentKind::Personal << QString("name, typeid") << QString("NEW.typeid");
}

void TestContentStore::aNameRacedInByAnotherSeatGetsTheSameMessage()
{
    QFETCH(ContentKind, kind);
    QFETCH(QString, columns);
    QFETCH(QString, values);
    Library lib;
    QVERIFY(lib.root.ok());
    const KindDescriptor& d = Kinds::descriptor(kind);
    const QString table = Tables::name(d.table);
    const StoreId store = Tables::store(d.table);
    // The other seat's row arrives after our duplicate test and before our own write.
    QString error;
    QVERIFY2(plantOtherSeat(lib.root.store->database(store), table, "Raced",
                            QString("INSERT INTO %1(%2, username) VALUES ('RACED', %3, 'other')")
                                .arg(table, columns, values),
                            &error),
             qPrintable(error));

    QCOMPARE(lib.refusal(kind, lib.valid(kind, "Raced")), d.duplicate);
    const qint64 id = lib.save(kind, lib.valid(kind, "Calm"));
    QVERIFY(id > 0);
    QCOMPARE(lib.refusal(kind, lib.valid(kind, "Raced"), id), d.duplicate);
    // The refused writes left nothing behind, the other seat's rows included.
    QCOMPARE(lib.row(d.table, id).value("name").toString(), QString("Calm"));
    Result<bool> raced = lib.root.store->nameExists(d.table, "raced", d.scope());
    QVERIFY(raced.ok());
    QVERIFY(!raced.value());
}

void TestContentStore::rowsAreWrittenAsTheKindSays()
{
    Library lib;
    QVERIFY(lib.root.ok());
    EntryValues courier = lib.valid(ContentKind::Courier, " 顺丰 ");
    courier.fields.insert("flag", 0);
    courier.fields.insert("url", " https://sf.example ");
    QCOMPARE(lib.texts(Table::Type, lib.save(ContentKind::Courier, courier),
                       {"name", "url", "flag", "itemid", "username"}),
             (QStringList{"顺丰", "https://sf.example", "1", "4", "tester"}));

    // An affair keeps a typed address without enabling it.
    EntryValues affair = lib.valid(ContentKind::Affair, "地址");
    affair.fields.insert("flag", 0);
    affair.fields.insert("description", "  两行\n说明 ");
    QCOMPARE(lib.texts(Table::Type, lib.save(ContentKind::Affair, affair),
                       {"flag", "url", "description", "itemid"}),
             (QStringList{"0", "https://x.example", "  两行\n说明 ", "3"}));

    EntryValues file = lib.valid(ContentKind::File, "报价单");
    file.fields.remove("description");
    QCOMPARE(lib.texts(Table::File, lib.save(ContentKind::File, file),
                       {"filedesc", "extname", "typeid"}),
             (QStringList{"无", "txt", QString::number(lib.fileType)}));

    EntryValues tool = lib.valid(ContentKind::Tools, "编辑器");
    tool.fields.insert("type", 2);
    QCOMPARE(lib.texts(Table::Tools, lib.save(ContentKind::Tools, tool), {"type", "path"}),
             (QStringList{"2", "/usr/bin/tool"}));

    EntryValues entry = lib.valid(ContentKind::Knowledge, "退货");
    entry.fields.insert("commonflag", 1);
    const qint64 k = lib.save(ContentKind::Knowledge, entry);
    QCOMPARE(lib.texts(Table::Knowledge, k, {"commonflag", "typeid", "goodsid"}),
             (QStringList{"1", QString::number(lib.big), QString::number(lib.small)}));
    QVERIFY(lib.row(Table::Knowledge, k).value("pic").isNull());
}

void TestContentStore::editWithoutANewFileKeepsTheBytes()
{
    Library lib;
    QVERIFY(lib.root.ok());
    const qint64 id = lib.save(ContentKind::File, lib.valid(ContentKind::File, "报价单"));
    EntryValues edit = lib.valid(ContentKind::File, "报价单二");
    edit.attachment = {};
    edit.hasStoredAttachment = true;
    QCOMPARE(lib.save(ContentKind::File, edit, id), id);
    QCOMPARE(lib.texts(Table::File, id, {"name", "file", "extname"}),
             (QStringList{"报价单二", "bytes of 报价单", "txt"}));

    edit.attachment = {Attachment::State::Replace, "new", "doc", "/x/new.doc"};
    lib.save(ContentKind::File, edit, id);
    QCOMPARE(lib.texts(Table::File, id, {"file", "extname"}), (QStringList{"new", "doc"}));

    // A picture can be taken away; a stored file cannot.
    EntryValues picture = lib.valid(ContentKind::Personal, "便签");
    picture.attachment = {Attachment::State::Replace, "png bytes", "png", {}};
    const qint64 p = lib.save(ContentKind::Personal, picture);
    picture.attachment = {Attachment::State::Clear, {}, {}, {}};
    lib.save(ContentKind::Personal, picture, p);
    QVERIFY(lib.row(Table::Personal, p).value("pic").isNull());
    QCOMPARE(lib.row(Table::Personal, p).value("extname").toString(), QString());
    edit.attachment.state = Attachment::State::Clear;
    QCOMPARE(lib.refusal(ContentKind::File, edit, id), QString("请选择文件!"));
}

void TestContentStore::renamedAndReusedFilesAreNotServedStale()
{
    Library lib;
    QVERIFY(lib.root.ok());
    ContentCache cache(lib.root.dir.path());
    const qint64 f = lib.save(ContentKind::File, lib.valid(ContentKind::File, "价目"));
    auto file = [&](qint64 id, const QString& name) {
        Result<std::optional<QString>> r =
            cache.file(id, name, "txt", [&] { return lib.root.store->blob(Table::File, id); });
        return r && r.value() ? readBytes(*r.value()) : QByteArray();
    };
    const KindDescriptor& files = Kinds::descriptor(ContentKind::File);
    QCOMPARE(file(f, "价目"), QByteArray("bytes of 价目"));
    QVERIFY(lib.files.exportAll(*lib.root.store, files).ok());
    EntryValues renamed = lib.valid(ContentKind::File, "价目表");
    renamed.attachment = {};
    renamed.hasStoredAttachment = true;
    lib.save(ContentKind::File, renamed, f);
    QVERIFY(!QFile::exists(lib.files.filePath("价目", "txt")));
    // A new file under the old name gets its own bytes, not the renamed row's copy.
    EntryValues reused = lib.valid(ContentKind::File, "价目");
    reused.attachment.bytes = "newer";
    const qint64 g = lib.save(ContentKind::File, reused);
    QCOMPARE(file(g, "价目"), QByteArray("newer"));
    QCOMPARE(file(f, "价目表"), QByteArray("bytes of 价目"));
    QVERIFY(lib.files.exportAll(*lib.root.store, files).ok());
    QVERIFY(lib.writer.remove(files, f).ok());
    QVERIFY(!QFile::exists(lib.files.filePath("价目表", "txt")));
}

void TestContentStore::categoriesGoWithTheirRows()
{
    Library lib;
    QVERIFY(lib.root.ok());
    EntryValues common = lib.valid(ContentKind::Knowledge, "常用条目");
    common.fields.insert("commonflag", 1);
    const qint64 k = lib.save(ContentKind::Knowledge, common);
    const Result<Cascade> big =
        lib.writer.remove(Kinds::descriptor(ContentKind::BigCategory), lib.big);
    QVERIFY(big.ok());
    QCOMPARE(big.value().categories, QList<qint64>{lib.small});
    QCOMPARE(big.value().entries.size(), 1);
    QCOMPARE(big.value().entries.first().id, k);
    QVERIFY(big.value().entries.first().common);
    QCOMPARE(lib.root.store->count(Table::Goods).value(), 0);
    QCOMPARE(lib.root.store->count(Table::Knowledge).value(), 0);

    lib.save(ContentKind::File, lib.valid(ContentKind::File, "一"));
    lib.save(ContentKind::File, lib.valid(ContentKind::File, "二"));
    QVERIFY(lib.files.exportAll(*lib.root.store, Kinds::descriptor(ContentKind::File)).ok());
    QCOMPARE(filesUnder(lib.root.dir.filePath("file")).size(), 2);
    QVERIFY(lib.writer.remove(Kinds::descriptor(ContentKind::FileType), lib.fileType).ok());
    QCOMPARE(lib.root.store->count(Table::File).value(), 0);
    QCOMPARE(lib.root.store->count(Table::FileType).value(), 0);
    QCOMPARE(filesUnder(lib.root.dir.filePath("file")), QStringList());

    for (ContentKind kind : {ContentKind::Simple, ContentKind::Tools, ContentKind::Personal})
        lib.save(kind, lib.valid(kind, "行"));
    QVERIFY(lib.writer.remove(Kinds::descriptor(ContentKind::SimpleType), lib.simpleType).ok());
    QVERIFY(lib.writer.remove(Kinds::descriptor(ContentKind::ToolsType), lib.toolsType).ok());
    QVERIFY(lib.writer.remove(Kinds::descriptor(ContentKind::PersonalType), lib.personalType).ok());
    for (Table t : {Table::Simple, Table::Tools, Table::Personal})
        QCOMPARE(lib.root.store->count(t).value(), 0);
}

void TestContentStore::exportsOverwriteAndTellTheirFolder()
{
    Library lib;
    QVERIFY(lib.root.ok());
    const KindDescriptor& knowledge = Kinds::descriptor(ContentKind::Knowledge);
    const KindDescriptor& personal = Kinds::descriptor(ContentKind::Personal);
    QCOMPARE(lib.files.exportAll(*lib.root.store, knowledge).value(), 0);
    QCOMPARE(lib.files.exportReport(knowledge, 0), QString("没有要生成的图片！"));

    EntryValues v = lib.valid(ContentKind::Knowledge, "有图");
    v.attachment = {Attachment::State::Replace, "jpeg", "JPG", {}};
    const qint64 withPicture = lib.save(ContentKind::Knowledge, v);
    lib.save(ContentKind::Knowledge, lib.valid(ContentKind::Knowledge, "无图"));
    // An existing copy is written over: the export always holds what the store holds.
    QVERIFY(
        lib.files.write(lib.files.picturePath(Table::Knowledge, withPicture, "JPG"), "old").ok());
    QCOMPARE(lib.files.exportAll(*lib.root.store, knowledge).value(), 1);
    QCOMPARE(filesUnder(lib.root.dir.filePath("pic")),
             QStringList{QString("%1.JPG").arg(withPicture)});
    QCOMPARE(readBytes(lib.files.picturePath(Table::Knowledge, withPicture, "JPG")),
             QByteArray("jpeg"));
    const QString pic = QDir::toNativeSeparators(lib.root.dir.filePath("pic") + "/");
    QCOMPARE(lib.files.exportReport(knowledge, 1), "已生成1张图片!\r\n (目录" + pic + ")");

    EntryValues p = lib.valid(ContentKind::Personal, "私图");
    p.attachment = {Attachment::State::Replace, "png", "png", {}};
    const qint64 privateId = lib.save(ContentKind::Personal, p);
    QCOMPARE(lib.files.exportAll(*lib.root.store, personal).value(), 1);
    QVERIFY(QFile::exists(lib.root.dir.filePath(QString("ppic/%1.png").arg(privateId))));
    const QString ppic = QDir::toNativeSeparators(lib.root.dir.filePath("ppic") + "/");
    QCOMPARE(lib.files.exportReport(personal, 1), "已生成1张图片!\r\n(目录" + ppic + ")");

    const KindDescriptor& files = Kinds::descriptor(ContentKind::File);
    QCOMPARE(lib.files.exportReport(files, 0), QString("没有要导出的文件！"));
    EntryValues first = lib.valid(ContentKind::File, "a");
    first.attachment.bytes = "first";
    lib.save(ContentKind::File, first);
    // "a.txt" without an extension lands on the same file name as "a" with one.
    EntryValues second = lib.valid(ContentKind::File, "a.txt");
    second.attachment = {Attachment::State::Replace, "second", "无", {}};
    lib.save(ContentKind::File, second);
    EntryValues plain = lib.valid(ContentKind::File, "readme");
    plain.attachment.extname = "";
    lib.save(ContentKind::File, plain);

    QCOMPARE(lib.files.exportAll(*lib.root.store, files).value(), 3);
    QCOMPARE(filesUnder(lib.root.dir.filePath("file")), (QStringList{"a.txt", "readme"}));
    QCOMPARE(readBytes(lib.root.dir.filePath("file/a.txt")), QByteArray("second"));
    const QString folder = QDir::toNativeSeparators(lib.root.dir.filePath("file") + "/");
    QCOMPARE(lib.files.exportReport(files, 3), "已导出3个文件!\r\n(目录" + folder + ")");
}

void TestContentStore::hostileStoredNamesStayInTheirFolder()
{
    Library lib;
    QVERIFY(lib.root.ok());
    for (const QString& name : {QString("../../escape"), QString(".."), QString("C:\\evil"),
                                QString("sub/dir/x"), QString("/abs")}) {
        EntryValues v = lib.valid(ContentKind::File, name);
        v.attachment.extname = "../../../txt";
        QVERIFY2(lib.save(ContentKind::File, v) > 0, qPrintable(name));
    }
    EntryValues p = lib.valid(ContentKind::Knowledge, "图");
    p.attachment = {Attachment::State::Replace, "x", "/../../../pwn", {}};
    lib.save(ContentKind::Knowledge, p);

    QCOMPARE(lib.files.exportAll(*lib.root.store, Kinds::descriptor(ContentKind::File)).value(), 5);
    QCOMPARE(
        lib.files.exportAll(*lib.root.store, Kinds::descriptor(ContentKind::Knowledge)).value(), 1);
    // Copies sit directly in file/ and pic/; nothing else was written anywhere.
    for (const QString& path : filesUnder(lib.root.dir.path())) {
        if (!path.contains('/'))
            continue;
        QVERIFY2(path.count('/') == 1, qPrintable(path));
        QVERIFY2(path.startsWith("file/") || path.startsWith("pic/"), qPrintable(path));
    }
    QCOMPARE(filesUnder(lib.root.dir.filePath("file")).size(), 5);
    QCOMPARE(filesUnder(lib.root.dir.filePath("pic")).size(), 1);
}

QTEST_GUILESS_MAIN(TestContentStore)
#include "tst_contentstore.moc"
