#include "SendRig.h"
#include "send/TextComposer.h"
#include "support/Files.h"
#include "support/FixtureRows.h"

#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>
#include <QSignalSpy>

namespace {

using Type = SendAction::Type;
const QString NL = TextComposer::lineBreak();

QByteArray pngBytes(const char* format)
{
    QImage image(4, 3, QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

} // namespace

class TestSend : public QObject {
    Q_OBJECT
private slots:
    void composesText_data() { fixtureData("composed-text.txt"); }
    void composesText();
    void doubleClickDecisions_data() { fixtureData("double-click.txt"); }
    void doubleClickDecisions();
    void picturesAndFilesGoThroughTheCache();
    void useCountsPerTableAndStore();
    void opensLinksToolsAndViews();
};

// A row of composed-text.txt: the three flags, the kind, the text sent.
void TestSend::composesText()
{
    QFETCH(QStringList, row);
    TestRoot root;
    const QString flags = row.value(1);
    root.set({{Setting::SendCaptionDesc, flags.at(0)},
              {Setting::EndNewLineOne, flags.at(1)},
              {Setting::EndNewLineTwo, flags.at(2)}});
    const SearchKind kind = row.value(2) == "Simple" ? SearchKind::Simple : SearchKind::Knowledge;
    QCOMPARE(TextComposer::compose(kind, " 退货 ", "\t七天无理由  ", *root.settings),
             row.value(3).replace('\n', NL));
}

// A row of double-click.txt: DbClickChat, the entry and where it was clicked, and the action with
// its target and whether it counts a use.
void TestSend::doubleClickDecisions()
{
    QFETCH(QStringList, row);
    TestRoot root;
    if (!row.value(1).isEmpty())
        root.set({{Setting::DbClickChat, row.value(1)}});
    const QStringList kinds{"Knowledge", "Affair", "Courier", "Simple", "File", "Tool", "Personal"};
    const QStringList sources{"Tree", "PageList", "QueryList"};
    const QStringList types{"Nothing", "SendText", "SendPicture", "SendFile",
                            "OpenUrl", "OpenTool", "OpenView"};
    QVERIFY(row.value(2) == "none" || kinds.contains(row.value(2)));
    QVERIFY(sources.contains(row.value(4)));
    const QString path = row.value(6).isEmpty() ? " /bin/tool " : row.value(6);
    const int kind = kinds.indexOf(row.value(2));
    EntryRef entry;
    if (kind >= 0)
        entry = {SearchKind(kind), 7, "t", "d", row.value(5).toInt(), " https://x.example ", path};
    const SendAction a = SendAction::forDoubleClick(
        entry, row.value(3) == "1", ClickSource(sources.indexOf(row.value(4))), *root.settings);
    QCOMPARE(types.value(int(a.type)), row.value(7));
    if (row.value(8) != "-")
        QCOMPARE(a.target, row.value(8));
    if (row.value(9) != "-")
        QCOMPARE(a.countUse, row.value(9) == "1");
}

void TestSend::picturesAndFilesGoThroughTheCache()
{
    SendRig rig;
    const qint64 jpg = rig.root.add(
        Table::Knowledge, {{"name", "图一"}, {"pic", pngBytes("JPG")}, {"extname", "jpg"}});
    const qint64 png = rig.root.add(
        Table::Knowledge, {{"name", "图二"}, {"pic", pngBytes("PNG")}, {"extname", "png"}});
    const qint64 own = rig.root.add(
        Table::Personal, {{"name", "私图"}, {"pic", pngBytes("JPG")}, {"extname", "jpg"}});
    const qint64 none = rig.root.add(Table::Knowledge, {{"name", "无图"}});
    // The copy a paste handed over: its folder in the cache and the name the customer sees.
    const auto pastedCopy = [&] {
        const QList<QUrl> urls = rig.desktop.pastes().last().urls;
        const QFileInfo copy(urls.value(0).toLocalFile());
        return QDir(rig.root.path("cache"))
                   .relativeFilePath(copy.absolutePath())
                   .section('/', 0, 0) +
               '/' + copy.fileName();
    };

    rig.sender.sendPicture(SearchKind::Knowledge, jpg, false);
    QTRY_COMPARE(rig.done.count(), 1);
    QVERIFY(rig.desktop.pastes().last().image);

    rig.sender.sendPicture(SearchKind::Knowledge, png, false);
    QTRY_COMPARE(rig.done.count(), 2);
    QCOMPARE(pastedCopy(), QString("pic/%1.png").arg(png));

    rig.sender.sendPicture(SearchKind::Personal, own, true);
    QTRY_COMPARE(rig.done.count(), 3);
    QCOMPARE(pastedCopy(), QString("ppic/%1.jpg").arg(own));

    rig.sender.sendPicture(SearchKind::Knowledge, none, false);
    QTest::qWait(20);
    QCOMPARE(rig.done.count(), 3); // nothing stored, nothing sent

    // A picture changed in the store (here or on another seat) is sent as it is now.
    QVERIFY(rig.root.store->setBlob(Table::Knowledge, png, QByteArray("changed")).ok());
    rig.sender.sendPicture(SearchKind::Knowledge, png, false);
    QTRY_COMPARE(rig.done.count(), 4);
    QCOMPARE(readBytes(rig.desktop.pastes().last().urls.value(0).toLocalFile()),
             QByteArray("changed"));

    // Files: name + extension, "无" counts as no extension, hostile names stay inside.
    const qint64 doc = rig.root.add(
        Table::File, {{"name", "说明书"}, {"file", QByteArray("DOC")}, {"extname", "docx"}});
    const qint64 bare = rig.root.add(
        Table::File, {{"name", "README"}, {"file", QByteArray("R")}, {"extname", "无"}});
    const qint64 evil = rig.root.add(
        Table::File, {{"name", "../../escape"}, {"file", QByteArray("E")}, {"extname", "sh"}});
    QStringList copies;
    for (qint64 id : {doc, bare, evil}) {
        rig.sender.sendFile(id);
        QVERIFY(rig.waitForPaste(rig.done.count() + 1));
        copies << pastedCopy();
    }
    QCOMPARE(rig.done.count(), 7);
    QCOMPARE(copies, (QStringList{"file/说明书.docx", "file/README", "file/.._.._escape.sh"}));
    QVERIFY(!QFile::exists(QDir(rig.root.dir.path()).absoluteFilePath("../escape.sh")));
    const QMimeData* mime = QGuiApplication::clipboard()->mimeData();
    QVERIFY(mime->urls().value(0).toLocalFile().startsWith(rig.root.path("cache/file/")));
    QVERIFY(mime->hasFormat("x-special/gnome-copied-files"));
}

void TestSend::useCountsPerTableAndStore()
{
    SendRig rig;
    const qint64 phrase = rig.root.add(Table::Simple, {{"name", "您好"}});
    const qint64 note = rig.root.add(Table::Personal, {{"name", "笔记"}, {"description", "内容"}});
    const QString exe = QCoreApplication::applicationFilePath();
    const qint64 tool = rig.root.add(Table::Tools, {{"name", "工具"}, {"path", exe}});
    const qint64 affair = rig.root.add(
        Table::Type, {{"name", "地址"}, {"itemid", 3}, {"flag", 1}, {"url", "https://a.example"}});
    auto use = [&](Table t, qint64 id) {
        return rig.root.store->row(t, id, {"usetime"}).value()->value("usetime").toInt();
    };
    auto click = [&](SearchKind kind, qint64 id, ClickSource source, int flag = 0,
                     const QString& url = {}, const QString& path = {}) {
        rig.sender.perform(SendAction::forDoubleClick({kind, id, "t", "d", flag, url, path}, false,
                                                      source, *rig.root.settings));
    };
    click(SearchKind::Simple, phrase, ClickSource::PageList);
    QCOMPARE(use(Table::Simple, phrase), 1);
    click(SearchKind::Personal, note, ClickSource::QueryList);
    QCOMPARE(use(Table::Personal, note), 1);
    click(SearchKind::Tool, tool, ClickSource::QueryList, 0, {}, exe);
    QCOMPARE(use(Table::Tools, tool), 0);
    click(SearchKind::Tool, tool, ClickSource::PageList, 0, {}, exe);
    QCOMPARE(use(Table::Tools, tool), 1);
    click(SearchKind::Affair, affair, ClickSource::QueryList, 1, "https://a.example");
    QCOMPARE(use(Table::Type, affair), 1);
    click(SearchKind::Affair, affair, ClickSource::Tree, 0);
    QCOMPARE(use(Table::Type, affair), 1);
    const qint64 site = rig.root.add(Table::Tools, {{"name", "后台"}, {"path", "www.a.example"}});
    click(SearchKind::Tool, site, ClickSource::PageList, 0, {}, "www.a.example");
    QCOMPARE(rig.desktop.openedUrls().last(), QUrl("http://www.a.example"));
    QCOMPARE(use(Table::Tools, site), 1);
}

void TestSend::opensLinksToolsAndViews()
{
    SendRig rig;
    QSignalSpy views(&rig.sender, &Sender::viewRequested);
    QSignalSpy messages(&rig.sender, &Sender::message);
    rig.sender.perform({Type::OpenTool, SearchKind::Tool, 1, {}, "/no/such/tool", true});
    QCOMPARE(messages.count(), 1);
    QCOMPARE(messages.last().at(0).toString(), "路径或文件名错误！");
    rig.sender.perform({Type::OpenUrl, SearchKind::Affair, 1, {}, "file:///etc/passwd", true});
    QCOMPARE(messages.count(), 2);
    QVERIFY(rig.desktop.openedUrls().isEmpty());
    rig.sender.perform(
        {Type::OpenUrl, SearchKind::Affair, 1, {}, "https://ok.example/a?b=1", true});
    QCOMPARE(rig.desktop.openedUrls(), QList<QUrl>{QUrl("https://ok.example/a?b=1")});
    rig.sender.perform({Type::OpenView, SearchKind::Simple, 5, {}, {}, false});
    QCOMPARE(views.count(), 1);
    QCOMPARE(views.first().at(0).value<SearchKind>(), SearchKind::Simple);
    QCOMPARE(views.first().at(1).toLongLong(), 5);
    QVERIFY(rig.desktop.keys().isEmpty());
}

QTEST_MAIN(TestSend)
#include "tst_send.moc"
