#include "settings/SettingsCheck.h"
#include "settings/SettingsForm.h"
#include "support/TestRoot.h"

#include <QDir>
#include <QFile>
#include <functional>

namespace {

using Field = SettingsCheck::Field;

// A folder whose path is exactly `length` characters long, in components of at most 100.
QString folderOfLength(const QString& base, int length)
{
    QString path = base;
    while (path.size() < length) {
        const int room = length - static_cast<int>(path.size()) - 1;
        const int part = room > 100 ? 80 : room;
        path += QLatin1Char('/') + QString(part, QLatin1Char('d'));
    }
    if (!QDir().mkpath(path))
        qFatal("cannot make %s", qPrintable(path));
    return path;
}

QString valueOf(const SettingsForm& form, Setting key)
{
    for (const auto& [k, v] : form.entries()) {
        if (k == key)
            return v;
    }
    return "<not written>";
}

} // namespace

class TestSettingsForm : public QObject {
    Q_OBJECT
private slots:
    void checksRunInTheirOrder();
    void pathsAreMeasuredThenLookedUp();
    void formReadsAndWritesTheKeys();
};

void TestSettingsForm::checksRunInTheirOrder()
{
    QTemporaryDir dir;
    SettingsForm form = SettingsForm::defaults();
    QVERIFY(SettingsCheck::check(form, dir.path()).accepted());

    // Each step breaks one check more, earlier in the order than the one before: the earliest
    // broken check is the one told.
    struct Step {
        std::function<void(SettingsForm&)> breakIt;
        QString refusal;
        Field field = Field::None;
    };
    const QList<Step> steps = {
        {[](SettingsForm& f) { f.customWindows = "ChatApp; |^客户"; },
         "自定义聊天窗口规则“|^客户”缺少窗口类名!", Field::CustomWindows},
        {[](SettingsForm& f) { f.sort = 0; }, "知识库排序必须选择一个!"},
        {[](SettingsForm& f) { f.fontSize.clear(); }, "字体尺寸必须选择一个!"},
        {[](SettingsForm& f) { f.backupPathPer = "没有"; }, "私人备份初始化路径不存在!",
         Field::BackupPathPer},
        {[](SettingsForm& f) { f.backupPath = "没有"; }, "备份初始化路径不存在!",
         Field::BackupPath},
        {[](SettingsForm& f) { f.databasePath = "没有"; }, "共享数据库路径不存在!",
         Field::DatabasePath},
        {[](SettingsForm& f) { f.followPosition = 0; }, "Tavro的跟随位置必须选择一个!"},
        {[](SettingsForm& f) {
             f.autoSend = true;
             f.sendKey = SettingsForm::SendKey::None;
         },
         "启用自动按下聊天窗口发送快捷健时Enter和Ctrl+Enter必须选择其中一个!"},
        {[](SettingsForm& f) { f.startInterface = 0; }, "软件启动时默认打开选项必须选择一个!"},
    };
    for (const Step& step : steps) {
        step.breakIt(form);
        const SettingsCheck::Verdict verdict = SettingsCheck::check(form, dir.path());
        QCOMPARE(verdict.refusal, step.refusal);
        QCOMPARE(verdict.field, step.field);
    }

    // A title pattern that is no regular expression is named with the reason.
    const QString bad = SettingsCheck::checkRules("ChatApp;Other|客户((");
    QVERIFY2(bad.startsWith("自定义聊天窗口规则“Other|客户((”的标题表达式有误："), qPrintable(bad));
    // Alternatives after the first "|" belong to the pattern.
    QCOMPARE(SettingsCheck::checkRules(" ChatApp ;;Other|^(客户|访客)"), QString());
    QCOMPARE(SettingsCheck::checkRules(QString(255, QLatin1Char('a'))),
             "自定义聊天窗口规则字符数量,不能超过254!");
}

void TestSettingsForm::pathsAreMeasuredThenLookedUp()
{
    QTemporaryDir dir;
    const QString longest = folderOfLength(dir.path(), SettingsCheck::MaxPathLength);
    QCOMPARE(longest.size(), 300);
    QVERIFY(QDir().mkpath(dir.filePath("共享")));
    QFile plainFile(dir.filePath("file"));
    QVERIFY(plainFile.open(QIODevice::WriteOnly));
    plainFile.close();

    SettingsForm form = SettingsForm::defaults();
    auto verdictFor = [&](QString SettingsForm::*box, const QString& text) {
        SettingsForm f = form;
        f.*box = text;
        return SettingsCheck::check(f, dir.path());
    };
    QVERIFY(verdictFor(&SettingsForm::databasePath, longest).accepted());
    QVERIFY(verdictFor(&SettingsForm::backupPath, longest).accepted());
    // Relative paths start in the program folder; blanks around a path do not count.
    QVERIFY(verdictFor(&SettingsForm::databasePath, " 共享 ").accepted());

    const QString tooLong = longest + QLatin1Char('x');
    SettingsCheck::Verdict v = verdictFor(&SettingsForm::databasePath, tooLong);
    QCOMPARE(v.refusal, "共享数据库路径字符数量,不能超过300!");
    QCOMPARE(v.field, Field::DatabasePath);
    v = verdictFor(&SettingsForm::backupPath, tooLong);
    QCOMPARE(v.refusal, "备份初始化路径字符数量,不能超过300!");
    QCOMPARE(v.field, Field::BackupPath);
    v = verdictFor(&SettingsForm::backupPathPer, tooLong);
    QCOMPARE(v.refusal, "私人备份初始化路径字符数量,不能超过300!");
    // A file is not a folder.
    QCOMPARE(verdictFor(&SettingsForm::backupPath, "file").refusal, "备份初始化路径不存在!");

    // The shared store may be a server's address, checked as an address and never as a folder;
    // a backup folder may not.
    QVERIFY(verdictFor(&SettingsForm::databasePath, " postgresql://team@db:5433/kb ").accepted());
    v = verdictFor(&SettingsForm::databasePath, "postgresql://team:pw@db:99999/kb");
    QCOMPARE(v.refusal, "数据库地址 postgresql://team:***@db:99999/kb 无效：端口 99999 应是 1 到 "
                        "65535 之间的数");
    QCOMPARE(v.field, Field::DatabasePath);
    QCOMPARE(verdictFor(&SettingsForm::backupPath, "postgresql://team@db/kb").refusal,
             "备份初始化路径不存在!");
}

void TestSettingsForm::formReadsAndWritesTheKeys()
{
    // The defaults write back exactly the default file's values, every key of the window.
    const SettingsForm defaults = SettingsForm::defaults();
    QCOMPARE(defaults.entries().size(), SettingsForm::keys().size());
    for (const auto& [key, value] : defaults.entries())
        QCOMPARE(value, QString::fromLatin1(SettingsTable::def(key).written).trimmed());

    // Automatic sending off keeps the chosen key; with none chosen the key reads "0".
    SettingsForm form = defaults;
    form.autoSend = false;
    form.sendKey = SettingsForm::SendKey::Enter;
    QVERIFY(SettingsCheck::check(form, QDir::tempPath()).accepted());
    QCOMPARE(valueOf(form, Setting::AutoPressSendKey), "0|Enter");
    form.sendKey = SettingsForm::SendKey::None;
    QCOMPARE(valueOf(form, Setting::AutoPressSendKey), "0|0");

    // Values no control shows are read as what they act as; tab 4 is the 文件 tab.
    TestRoot root(false);
    const QList<std::pair<Setting, QString>> stored = {
        {Setting::StartInterface, "4"},
        {Setting::Sort, "7"},
        {Setting::MainFontSize, "BIG"},
        {Setting::XiFuMainShowPos, "x"},
        {Setting::DbClickChat, "yes"},
        {Setting::StartTop, "yes"},
        {Setting::AutoPressSendKey, "1|CtrlEnter"},
    };
    for (const auto& [key, value] : stored)
        QVERIFY(root.settings->setValue(key, value).ok());
    const SettingsForm read = SettingsForm::read(*root.settings);
    QCOMPARE(read.startInterface, 4);
    QCOMPARE(valueOf(read, Setting::Sort), "1");
    QCOMPARE(valueOf(read, Setting::MainFontSize), "big");
    QCOMPARE(valueOf(read, Setting::XiFuMainShowPos), "2");
    QVERIFY(read.checked(Setting::DbClickChat));
    QVERIFY(!read.checked(Setting::StartTop));
    QCOMPARE(valueOf(read, Setting::AutoPressSendKey), "1|CtrlEnter");
}

QTEST_GUILESS_MAIN(TestSettingsForm)
#include "tst_settingsform.moc"
