#include "hotkeys/HotKeyAssignments.h"
#include "hotkeys/HotKeyCapture.h"
#include "hotkeys/HotKeySaveCheck.h"
#include "hotkeys/VirtualKeyMap.h"
#include "send/SendAction.h"
#include "send/TextComposer.h"
#include "support/FixtureRows.h"
#include "support/TestRoot.h"

#include <QHash>
#include <QMetaEnum>

namespace {

const QString NL = TextComposer::lineBreak();

// Key names as a keyboard would print them, for the keys used below; anything else gets a
// name that shows its code, so that a fixed name can be told from a looked-up one.
QString keyName(int virtualKey)
{
    if (virtualKey >= 0x41 && virtualKey <= 0x5A)
        return QString(QChar(virtualKey));
    if (virtualKey >= 0x70 && virtualKey <= 0x87)
        return QString("F%1").arg(virtualKey - 0x6F);
    return QString("vk%1").arg(virtualKey);
}

// Plays "+Ctrl +A -A -Ctrl" on a capture as a keyboard would: each key-down comes with the
// modifiers held at that moment, its own included.
void play(HotKeyCapture& capture, const QString& script)
{
    static const QHash<QString, int> codes = {
        {"Ctrl", 0x11}, {"Shift", 0x10}, {"Alt", 0x12},  {"Win", 0x5B},  {"Apps", 0x5D},
        {"Back", 0x08}, {"Del", 0x2E},   {"PgUp", 0x21}, {"PgDn", 0x22}, {"End", 0x23},
        {"Home", 0x24}, {"Ins", 0x2D},   {"A", 0x41},    {"B", 0x42},    {"F3", 0x72},
        {"F5", 0x74},   {"Comma", 0xBC},
    };
    static const QHash<int, Qt::KeyboardModifier> modifiers = {
        {0x11, Qt::ControlModifier}, {0x10, Qt::ShiftModifier}, {0x12, Qt::AltModifier}};
    Qt::KeyboardModifiers held;
    for (const QString& step : script.split(' ', Qt::SkipEmptyParts)) {
        const int code = codes.value(step.mid(1));
        QVERIFY2(code != 0, qPrintable(step));
        if (step.startsWith('+')) {
            held |= modifiers.value(code, Qt::NoModifier);
            capture.keyDown(code, held);
        } else {
            held &= ~Qt::KeyboardModifiers(modifiers.value(code, Qt::NoModifier));
            capture.keyUp(code);
        }
    }
}

HotKeySlot box(int n, const QString& text, int keyCode, int mask = 0)
{
    return {QString("K%1").arg(n), text, keyCode, mask};
}

// The twelve boxes as config.ini's default file sets them.
QList<HotKeySlot> defaults()
{
    QList<HotKeySlot> boxes;
    for (int n = 1; n <= 11; ++n)
        boxes << box(n, QString("F%1").arg(n), 111 + n);
    boxes << box(12, "Ctrl + F12", 123, 2);
    return boxes;
}

} // namespace

Q_DECLARE_METATYPE(QList<HotKeySlot>)

class TestHotKeyRules : public QObject {
    Q_OBJECT
private slots:
    void virtualKeys_data() { fixtureData("virtual-keys.txt", 3); }
    void virtualKeys();
    void capture_data() { fixtureData("capture.txt"); }
    void capture();
    void saveChecks_data();
    void saveChecks();
    void contentIds();
    void pressText_data() { fixtureData("press-text.txt"); }
    void pressText();
    void pressTextEdges();
};

// A row of virtual-keys.txt: Qt's key, the modifiers it comes with, the virtual-key code.
void TestHotKeyRules::virtualKeys()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 3);
    bool known = false;
    const int key = QMetaEnum::fromType<Qt::Key>().keyToValue(row.at(0).toLatin1(), &known);
    QVERIFY(known);
    const QHash<QString, Qt::KeyboardModifiers> modifiers = {{"-", Qt::NoModifier},
                                                             {"pad", Qt::KeypadModifier},
                                                             {"shift", Qt::ShiftModifier},
                                                             {"ctrl", Qt::ControlModifier}};
    QVERIFY(modifiers.contains(row.at(1)));
    QCOMPARE(VirtualKeyMap::fromQtKey(key, modifiers.value(row.at(1))),
             row.at(2).toInt(nullptr, 16));
}

// A row of capture.txt: a name, the keys played, then the text, key code and modifier mask.
void TestHotKeyRules::capture()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 5);
    HotKeyCapture capture(keyName);
    play(capture, row.at(1));
    QCOMPARE(capture.text(), row.at(2));
    QCOMPARE(capture.keyCode(), row.at(3).toInt(nullptr, 16));
    QCOMPARE(capture.modifierMask(), row.at(4).toInt());
}

void TestHotKeyRules::saveChecks_data()
{
    QTest::addColumn<QList<HotKeySlot>>("boxes");
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("warning");

    // The default file's boxes, some of them changed.
    const auto row = [](const char* tag, const QList<HotKeySlot>& changed, const char* refusal,
                        const char* warning = "") {
        QList<HotKeySlot> boxes = defaults();
        for (const HotKeySlot& b : changed)
            boxes[b.name.mid(1).toInt() - 1] = b;
        QTest::newRow(tag) << boxes << QString(refusal) << QString(warning);
    };
    row("the default file", {}, "");
    row("incomplete before duplicate",
        {box(2, "Ctrl + ", 0, 2), box(5, "F1", 112), box(7, "无", 0)}, "K2热键输入不全！");
    row("incomplete without a trailing blank", {box(9, "Ctrl + Alt +", 0, 3)}, "K9热键输入不全！");
    QList<HotKeySlot> unset;
    for (int n = 1; n <= 12; ++n)
        unset << box(n, "无", 0);
    row("nothing set", unset, "程序热键未设置！");
    row("duplicate before unset", {box(4, "无", 0), box(10, "F2", 113)}, "K10不能重复设置热键！");
    row("same key, other modifiers", {box(1, "Ctrl + F1", 112, 2), box(2, "F1", 112)}, "");
    row("unset keys only warn, and are no duplicates", {box(3, "无", 0), box(11, "", 0)}, "",
        "K3、K11热键未设置！");
}

void TestHotKeyRules::saveChecks()
{
    QFETCH(QList<HotKeySlot>, boxes);
    QFETCH(QString, refusal);
    QFETCH(QString, warning);
    const HotKeySaveCheck::Verdict verdict = HotKeySaveCheck::check(boxes);
    QCOMPARE(verdict.refusal, refusal);
    QCOMPARE(verdict.accepted(), refusal.isEmpty());
    QCOMPARE(verdict.warning, warning);
}

void TestHotKeyRules::contentIds()
{
    QCOMPARE(HotKeyAssignments::parseIds("12,3,40"), (QList<qint64>{12, 3, 40}));
    QCOMPARE(HotKeyAssignments::parseIds(" 5 ,x,,5,-2,7"), (QList<qint64>{5, 7}));
    QCOMPARE(HotKeyAssignments::parseIds(""), QList<qint64>());
    QCOMPARE(HotKeyAssignments::joinIds({9, 2, 31}), "9,2,31");
    QCOMPARE(HotKeyAssignments::joinIds({}), "");

    TestRoot root;
    QVERIFY(root.ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::SendContent, "4,8").ok());
    QVERIFY(root.settings->setHotKey(2, HotKeyField::CaptionDescFlag, "1").ok());
    HotKeyAssignments a;
    a.load(*root.settings);
    QCOMPARE(a.content(1), "4,8");
    QVERIFY(a.captionFlag(1));
    QCOMPARE(a.content(0), "");
    QVERIFY(!a.captionFlag(11));
    a.set(11, "6", true);
    QCOMPARE(a.content(11), "6");
    QVERIFY(a.captionFlag(11));
}

// A row of press-text.txt: a name, the entries chosen (by their place in the store), the key's
// CaptionDescFlag, AddHotKeyEndNewLine, and the text pasted.
void TestHotKeyRules::pressText()
{
    QFETCH(QStringList, row);
    QCOMPARE(row.size(), 5);
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 ids[] = {
        root.add(Table::Knowledge, {{"name", " 退货流程 "}, {"description", "七天无理由\t"}}),
        root.add(Table::Knowledge, {{"name", "发货时间"}, {"description", " 48小时"}}),
        root.add(Table::Knowledge, {{"name", "保修"}, {"description", "一年"}}),
    };
    QStringList content;
    for (const QString& position : row.at(1).split(','))
        content << QString::number(ids[position.toInt() - 1]);
    QVERIFY(root.settings->setValue(Setting::AddHotKeyEndNewLine, row.at(3)).ok());

    QVERIFY(root.settings->setHotKey(5, HotKeyField::CaptionDescFlag, row.at(2)).ok());
    HotKeyAssignments a;
    a.set(4, content.join(','), root.settings->hotKeyFlag(5, HotKeyField::CaptionDescFlag));
    const Result<QString> text = a.pressText(4, *root.store, *root.settings);
    QVERIFY2(text.ok(), qPrintable(text.message()));
    QCOMPARE(text.value(), QString(row.at(4)).replace('\n', NL));
}

void TestHotKeyRules::pressTextEdges()
{
    TestRoot root;
    QVERIFY(root.ok());
    const qint64 kept = root.add(Table::Knowledge, {{"name", "保修"}, {"description", "一年"}});
    const qint64 gone = root.add(Table::Knowledge, {{"name", "旧"}, {"description", "旧的"}});
    QVERIFY(root.store->remove(Table::Knowledge, gone).ok());
    QVERIFY(root.settings->setValue(Setting::AddHotKeyEndNewLine, "0").ok());

    HotKeyAssignments a;
    a.set(0, "", true);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "");
    a.set(0, QString::number(gone), true);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "");
    a.set(0, QString("%1,%2").arg(gone).arg(kept), false);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "一年");
    QVERIFY(!a.pressText(12, *root.store, *root.settings).ok());
    QVERIFY(!a.pressText(-1, *root.store, *root.settings).ok());
}

QTEST_GUILESS_MAIN(TestHotKeyRules)
#include "tst_hotkeyrules.moc"
