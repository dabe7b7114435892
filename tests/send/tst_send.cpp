#include "SendRig.h"
#include "send/TextComposer.h"

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
    void composesText_data();
    void composesText();
    void doubleClickDecisions();
    void picturesAndFilesGoThroughTheCache();
    void useCountsPerTableAndStore();
    void opensLinksToolsAndViews();
};

void TestSend::composesText_data()
{
    // SendCaptionDesc, EndNewLineOne and EndNewLineTwo, one character each.
    QTest::addColumn<QString>("flags");
    QTest::addColumn<SearchKind>("kind");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* tag, const char* flags, SearchKind kind, const QString& text) {
        QTest::newRow(tag) << QString(flags) << kind << text;
    };
    const SearchKind K = SearchKind::Knowledge;
    row("description alone", "000", K, "七天无理由");
    row("title and description", "100", K, "退货" + NL + "七天无理由");
    row("anything but 0 adds the title", "x00", K, "退货" + NL + "七天无理由");
    row("one break", "010", K, "七天无理由" + NL);
    row("second flag alone still one break", "001", K, "七天无理由" + NL);
    row("both", "011", K, "七天无理由" + NL + NL);
    row("phrase is its own text", "110", SearchKind::Simple, "退货" + NL);
}

void TestSend::composesText()
{
    QFETCH(QString, flags);
    QFETCH(SearchKind, kind);
    QFETCH(QString, expected);
    TestRoot root;
    const Setting keys[] = {Setting::SendCaptionDesc, Setting::EndNewLineOne,
                            Setting::EndNewLineTwo};
    for (int i = 0; i < 3; ++i)
        QVERIFY(root.settings->setValue(keys[i], flags.at(i)).ok());
    QCOMPARE(TextComposer::compose(kind, " 退货 ", "\t七天无理由  ", *root.settings), expected);
}

void TestSend::doubleClickDecisions()
{
    TestRoot root;
    const Settings& s = *root.settings;
    auto decide = [&](SearchKind kind, bool onIcon, ClickSource source, int flag = 0) {
        EntryRef e{kind, 7, "t", "d", flag, " https://x.example ", " /bin/tool "};
        return SendAction::forDoubleClick(e, onIcon, source, s);
    };
    QCOMPARE(decide(SearchKind::Knowledge, false, ClickSource::Tree).type, Type::SendText);
    QCOMPARE(decide(SearchKind::Knowledge, true, ClickSource::Tree).type, Type::SendPicture);
    QCOMPARE(decide(SearchKind::Personal, true, ClickSource::PageList).type, Type::SendPicture);
    QCOMPARE(decide(SearchKind::Simple, true, ClickSource::PageList).type, Type::SendText);
    QCOMPARE(decide(SearchKind::File, false, ClickSource::QueryList).type, Type::SendFile);
    const SendAction link = decide(SearchKind::Affair, false, ClickSource::Tree, 1);
    QCOMPARE(link.type, Type::OpenUrl);
    QCOMPARE(link.target, "https://x.example");
    QVERIFY(link.countUse);
    const SendAction view = decide(SearchKind::Courier, false, ClickSource::QueryList, 0);
    QCOMPARE(view.type, Type::OpenView);
    QVERIFY(!view.countUse); // reading an affair is not a use
    const SendAction tool = decide(SearchKind::Tool, false, ClickSource::PageList);
    QCOMPARE(tool.type, Type::OpenTool);
    QCOMPARE(tool.target, "/bin/tool");
    QVERIFY(tool.countUse);
    QVERIFY(!decide(SearchKind::Tool, false, ClickSource::QueryList).countUse);
    // A tool may be a web address: the browser opens it, with or without its scheme.
    for (const QString path :
         {" HTTPS://tool.example/x ", "www.tool.example", "http://t.example"}) {
        EntryRef e{SearchKind::Tool, 7, "t", "d", 0, {}, path};
        const SendAction a = SendAction::forDoubleClick(e, false, ClickSource::PageList, s);
        QCOMPARE(a.type, Type::OpenUrl);
        QCOMPARE(a.target, path.trimmed());
    }
    QCOMPARE(SendAction::forDoubleClick(EntryRef{}, false, ClickSource::Tree, s).type,
             Type::Nothing);

    // Double-click opens the view instead of sending; links and tools still open.
    QVERIFY(root.settings->setValue(Setting::DbClickChat, "0").ok());
    for (SearchKind k :
         {SearchKind::Knowledge, SearchKind::Simple, SearchKind::File, SearchKind::Personal}) {
        const SendAction a = decide(k, false, ClickSource::PageList);
        QCOMPARE(a.type, Type::OpenView);
        QVERIFY(!a.countUse);
    }
    QCOMPARE(decide(SearchKind::Affair, false, ClickSource::Tree, 1).type, Type::OpenUrl);
    QCOMPARE(decide(SearchKind::Tool, false, ClickSource::PageList).type, Type::OpenTool);
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
    QFile changed(rig.desktop.pastes().last().urls.value(0).toLocalFile());
    QVERIFY(changed.open(QIODevice::ReadOnly));
    QCOMPARE(changed.readAll(), QByteArray("changed"));

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
    const qint64 tool = rig.root.add(
        Table::Tools, {{"name", "工具"}, {"path", QCoreApplication::applicationFilePath()}});
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
    click(SearchKind::Tool, tool, ClickSource::QueryList, 0, {},
          QCoreApplication::applicationFilePath());
    QCOMPARE(use(Table::Tools, tool), 0);
    click(SearchKind::Tool, tool, ClickSource::PageList, 0, {},
          QCoreApplication::applicationFilePath());
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
