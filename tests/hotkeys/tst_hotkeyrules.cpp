#include "hotkeys/HotKeyAssignments.h"
#include "hotkeys/HotKeyCapture.h"
#include "hotkeys/HotKeySaveCheck.h"
#include "hotkeys/VirtualKeyMap.h"
#include "send/SendAction.h"
#include "send/TextComposer.h"
#include "support/TestRoot.h"

#include <QHash>

namespace {

const QString NL = TextComposer::lineBreak();

// Key names as a keyboard would print them, for the keys used below; anything else gets a
// name that shows its code, so that a fixed name can be told from a looked-up one.
QString keyName(int virtualKey)
{
    if (virtualKey >= 0x41 && virtualKey <= 0x5A)
        return QString(QChar(virtualKey));
    if (virtualKey >= 0x70 && virtualKey <= 0x87)
        return QStringLiteral("F%1").arg(virtualKey - 0x6F);
    return QStringLiteral("vk%1").arg(virtualKey);
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
    return {QStringLiteral("K%1").arg(n), text, keyCode, mask};
}

// The twelve boxes as config.ini's default file sets them.
QList<HotKeySlot> defaults()
{
    QList<HotKeySlot> boxes;
    for (int n = 1; n <= 11; ++n)
        boxes << box(n, QStringLiteral("F%1").arg(n), 111 + n);
    boxes << box(12, "Ctrl + F12", 123, 2);
    return boxes;
}

} // namespace

Q_DECLARE_METATYPE(QList<HotKeySlot>)

class TestHotKeyRules : public QObject {
    Q_OBJECT
private slots:
    void virtualKeys_data();
    void virtualKeys();
    void capture_data();
    void capture();
    void contextMenuKeyIsRefused();
    void saveChecks_data();
    void saveChecks();
    void contentIds();
    void pressText_data();
    void pressText();
    void pressTextEdges();
};

void TestHotKeyRules::virtualKeys_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<int>("code");
    const Qt::KeyboardModifiers none, pad = Qt::KeypadModifier, shift = Qt::ShiftModifier;
    QTest::newRow("A") << int(Qt::Key_A) << none << 0x41;
    QTest::newRow("Z with Ctrl") << int(Qt::Key_Z) << Qt::KeyboardModifiers(Qt::ControlModifier)
                                 << 0x5A;
    QTest::newRow("0") << int(Qt::Key_0) << none << 0x30;
    QTest::newRow("9") << int(Qt::Key_9) << none << 0x39;
    QTest::newRow("keypad 0") << int(Qt::Key_0) << pad << 0x60;
    QTest::newRow("keypad 7") << int(Qt::Key_7) << pad << 0x67;
    QTest::newRow("F1") << int(Qt::Key_F1) << none << 0x70;
    QTest::newRow("F12") << int(Qt::Key_F12) << none << 0x7B;
    QTest::newRow("F24") << int(Qt::Key_F24) << none << 0x87;
    QTest::newRow("Page Up") << int(Qt::Key_PageUp) << none << 0x21;
    QTest::newRow("Page Down") << int(Qt::Key_PageDown) << none << 0x22;
    QTest::newRow("End") << int(Qt::Key_End) << none << 0x23;
    QTest::newRow("Home") << int(Qt::Key_Home) << none << 0x24;
    QTest::newRow("keypad Home, NumLock off") << int(Qt::Key_Home) << pad << 0x24;
    QTest::newRow("Left") << int(Qt::Key_Left) << none << 0x25;
    QTest::newRow("Down") << int(Qt::Key_Down) << none << 0x28;
    QTest::newRow("Insert") << int(Qt::Key_Insert) << none << 0x2D;
    QTest::newRow("Delete") << int(Qt::Key_Delete) << none << 0x2E;
    QTest::newRow("Backspace") << int(Qt::Key_Backspace) << none << 0x08;
    QTest::newRow("Return") << int(Qt::Key_Return) << none << 0x0D;
    QTest::newRow("keypad Enter") << int(Qt::Key_Enter) << pad << 0x0D;
    QTest::newRow("Shift+Tab") << int(Qt::Key_Backtab) << shift << 0x09;
    QTest::newRow("keypad *") << int(Qt::Key_Asterisk) << pad << 0x6A;
    QTest::newRow("Shift+8") << int(Qt::Key_Asterisk) << shift << 0x38;
    QTest::newRow("keypad +") << int(Qt::Key_Plus) << pad << 0x6B;
    QTest::newRow("Shift+=") << int(Qt::Key_Plus) << shift << 0xBB;
    QTest::newRow("keypad -") << int(Qt::Key_Minus) << pad << 0x6D;
    QTest::newRow("-") << int(Qt::Key_Minus) << none << 0xBD;
    QTest::newRow("keypad .") << int(Qt::Key_Period) << pad << 0x6E;
    QTest::newRow(".") << int(Qt::Key_Period) << none << 0xBE;
    QTest::newRow("keypad /") << int(Qt::Key_Slash) << pad << 0x6F;
    QTest::newRow("Shift+/") << int(Qt::Key_Question) << shift << 0xBF;
    QTest::newRow(";") << int(Qt::Key_Semicolon) << none << 0xBA;
    QTest::newRow(",") << int(Qt::Key_Comma) << none << 0xBC;
    QTest::newRow("`") << int(Qt::Key_QuoteLeft) << none << 0xC0;
    QTest::newRow("Shift+[") << int(Qt::Key_BraceLeft) << shift << 0xDB;
    QTest::newRow("Shift+\\") << int(Qt::Key_Bar) << shift << 0xDC;
    QTest::newRow("]") << int(Qt::Key_BracketRight) << none << 0xDD;
    QTest::newRow("Shift+'") << int(Qt::Key_QuoteDbl) << shift << 0xDE;
    QTest::newRow("Shift+1") << int(Qt::Key_Exclam) << shift << 0x31;
    QTest::newRow("Shift+0") << int(Qt::Key_ParenRight) << shift << 0x30;
    QTest::newRow("Ctrl") << int(Qt::Key_Control) << none << 0x11;
    QTest::newRow("Windows key") << int(Qt::Key_Meta) << none << 0x5B;
    QTest::newRow("context-menu key") << int(Qt::Key_Menu) << none << 0x5D;
    QTest::newRow("Escape") << int(Qt::Key_Escape) << none << 0x1B;
    QTest::newRow("Space") << int(Qt::Key_Space) << none << 0x20;
    QTest::newRow("no virtual key") << int(Qt::Key_VolumeUp) << none << 0;
    QTest::newRow("letter of another script") << int(Qt::Key_Aring) << none << 0;
}

void TestHotKeyRules::virtualKeys()
{
    QFETCH(int, key);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(int, code);
    QCOMPARE(VirtualKeyMap::fromQtKey(key, modifiers), code);
}

void TestHotKeyRules::capture_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("keyCode");
    QTest::addColumn<int>("mask");
    QTest::newRow("Ctrl+Shift+A") << "+Ctrl +Shift +A -A -Shift -Ctrl"
                                  << "Ctrl + Shift + A" << 0x41 << 6;
    QTest::newRow("order of pressing does not matter") << "+Shift +Ctrl +A -A -Ctrl -Shift"
                                                       << "Ctrl + Shift + A" << 0x41 << 6;
    QTest::newRow("all three modifiers") << "+Shift +Alt +Ctrl +F5"
                                         << "Ctrl + Alt + Shift + F5" << 0x74 << 7;
    QTest::newRow("Ctrl still held") << "+Ctrl"
                                     << "Ctrl + " << 0 << 2;
    QTest::newRow("lone Ctrl released") << "+Ctrl -Ctrl"
                                        << "无" << 0 << 0;
    QTest::newRow("Backspace keeps the modifiers until key-up") << "+Ctrl +A -A +Back"
                                                                << "Ctrl + " << 0 << 2;
    QTest::newRow("Backspace released") << "+Ctrl +A -A +Back -Back"
                                        << "无" << 0 << 0;
    QTest::newRow("Delete clears a key") << "+F3 -F3 +Del -Del"
                                         << "无" << 0 << 0;
    QTest::newRow("a new key replaces the combination") << "+Ctrl +A -A -Ctrl +B -B"
                                                        << "B" << 0x42 << 0;
    QTest::newRow("a key outlives its modifiers") << "+Alt +B -Alt -B"
                                                  << "Alt + B" << 0x42 << 1;
    QTest::newRow("Page Up") << "+Ctrl +PgUp"
                             << "Ctrl + Page Up" << 0x21 << 2;
    QTest::newRow("Page Down") << "+PgDn"
                               << "Page Down" << 0x22 << 0;
    QTest::newRow("End") << "+End"
                         << "End" << 0x23 << 0;
    QTest::newRow("Home") << "+Home"
                          << "Home" << 0x24 << 0;
    QTest::newRow("Insert") << "+Shift +Ins"
                            << "Shift + Insert" << 0x2D << 4;
    QTest::newRow("other keys by the system's name") << "+Alt +Comma"
                                                     << "Alt + vk188" << 0xBC << 1;
    QTest::newRow("Windows key alone") << "+Win -Win"
                                       << "无" << 0 << 0;
}

void TestHotKeyRules::capture()
{
    QFETCH(QString, script);
    QFETCH(QString, text);
    QFETCH(int, keyCode);
    QFETCH(int, mask);
    HotKeyCapture capture(keyName);
    play(capture, script);
    QCOMPARE(capture.text(), text);
    QCOMPARE(capture.keyCode(), keyCode);
    QCOMPARE(capture.modifierMask(), mask);
}

void TestHotKeyRules::contextMenuKeyIsRefused()
{
    HotKeyCapture capture(keyName);
    play(capture, "+Ctrl +A -A");
    QVERIFY(!capture.keyDown(0x5D, Qt::ControlModifier));
    QCOMPARE(capture.text(), "Ctrl + A");
    QCOMPARE(capture.keyCode(), 0x41);
    QCOMPARE(capture.modifierMask(), 2);
    QVERIFY(capture.keyDown(0x42, Qt::NoModifier));
    QCOMPARE(capture.text(), "B");
}

void TestHotKeyRules::saveChecks_data()
{
    QTest::addColumn<QList<HotKeySlot>>("boxes");
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("warning");

    QTest::newRow("the default file") << defaults() << ""
                                      << "";

    QList<HotKeySlot> b = defaults();
    b[1] = box(2, "Ctrl + ", 0, 2);
    b[4] = box(5, "F1", 112);
    b[6] = box(7, "无", 0);
    QTest::newRow("incomplete before duplicate") << b << "K2热键输入不全！"
                                                 << "";

    b = defaults();
    b[8] = box(9, "Ctrl + Alt +", 0, 3);
    QTest::newRow("incomplete without a trailing blank") << b << "K9热键输入不全！"
                                                         << "";

    b.clear();
    for (int n = 1; n <= 12; ++n)
        b << box(n, "无", 0);
    QTest::newRow("nothing set") << b << "程序热键未设置！"
                                 << "";

    b = defaults();
    b[3] = box(4, "无", 0);
    b[9] = box(10, "F2", 113);
    QTest::newRow("duplicate before unset") << b << "K10不能重复设置热键！"
                                            << "";

    b = defaults();
    b[0] = box(1, "Ctrl + F1", 112, 2);
    b[1] = box(2, "F1", 112);
    QTest::newRow("same key, other modifiers") << b << ""
                                               << "";

    b = defaults();
    b[2] = box(3, "无", 0);
    b[10] = box(11, "", 0);
    QTest::newRow("unset keys only warn, and are no duplicates") << b << ""
                                                                 << "K3、K11热键未设置！";
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

void TestHotKeyRules::pressText_data()
{
    QTest::addColumn<QString>("chosen"); // positions of the three entries, in the order chosen
    QTest::addColumn<QString>("flag");
    QTest::addColumn<QString>("endNewLine");
    QTest::addColumn<QString>("expected");
    const QString t1 = "退货流程", d1 = "七天无理由", t2 = "发货时间", d2 = "48小时", t3 = "保修",
                  d3 = "一年";
    QTest::newRow("one, description") << "1"
                                      << "0"
                                      << "1" << d1 + NL + NL;
    QTest::newRow("one, description, no end break") << "1"
                                                    << "0"
                                                    << "0" << d1;
    QTest::newRow("one, title and description") << "2"
                                                << "1"
                                                << "1" << t2 + NL + d2 + NL + NL;
    QTest::newRow("one, title and description, no end break") << "2"
                                                              << "1"
                                                              << "0" << t2 + NL + d2;
    QTest::newRow("three, description") << "1,2,3"
                                        << "0"
                                        << "1" << d1 + NL + NL + d2 + NL + NL + d3 + NL + NL;
    QTest::newRow("three, description, no end break") << "1,2,3"
                                                      << "0"
                                                      << "0" << d1 + NL + NL + d2 + NL + NL + d3;
    QTest::newRow("three, title and description")
        << "1,2,3"
        << "1"
        << "1" << t1 + NL + d1 + NL + NL + t2 + NL + d2 + NL + NL + t3 + NL + d3 + NL + NL;
    QTest::newRow("three, title and description, no end break")
        << "1,2,3"
        << "1"
        << "0" << t1 + NL + d1 + NL + NL + t2 + NL + d2 + NL + NL + t3 + NL + d3;
    QTest::newRow("the store's order, not the order chosen")
        << "3,1,2"
        << "1"
        << "0" << t1 + NL + d1 + NL + NL + t2 + NL + d2 + NL + NL + t3 + NL + d3;
    QTest::newRow("only 1 turns titles on") << "2"
                                            << "2"
                                            << "0" << d2;
    QTest::newRow("only 0 cuts the end break") << "2"
                                               << "0"
                                               << "" << d2 + NL + NL;
}

void TestHotKeyRules::pressText()
{
    QFETCH(QString, chosen);
    QFETCH(QString, flag);
    QFETCH(QString, endNewLine);
    QFETCH(QString, expected);
    TestRoot root;
    const qint64 ids[] = {
        root.add(Table::Knowledge, {{"name", " 退货流程 "}, {"description", "七天无理由\t"}}),
        root.add(Table::Knowledge, {{"name", "发货时间"}, {"description", " 48小时"}}),
        root.add(Table::Knowledge, {{"name", "保修"}, {"description", "一年"}}),
    };
    QStringList content;
    for (const QString& position : chosen.split(','))
        content << QString::number(ids[position.toInt() - 1]);
    QVERIFY(root.settings->setValue(Setting::AddHotKeyEndNewLine, endNewLine).ok());

    QVERIFY(root.settings->setHotKey(5, HotKeyField::CaptionDescFlag, flag).ok());
    HotKeyAssignments a;
    a.set(4, content.join(','), root.settings->hotKeyFlag(5, HotKeyField::CaptionDescFlag));
    const Result<QString> text = a.pressText(4, *root.store, *root.settings);
    QVERIFY2(text.ok(), qPrintable(text.message()));
    QCOMPARE(text.value(), expected);
}

void TestHotKeyRules::pressTextEdges()
{
    TestRoot root;
    const qint64 kept = root.add(Table::Knowledge, {{"name", "保修"}, {"description", "一年"}});
    const qint64 gone = root.add(Table::Knowledge, {{"name", "旧"}, {"description", "旧的"}});
    QVERIFY(root.store->remove(Table::Knowledge, gone).ok());
    QVERIFY(root.settings->setValue(Setting::AddHotKeyEndNewLine, "0").ok());

    HotKeyAssignments a;
    a.set(0, "", true);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "");
    a.set(0, QString::number(gone), true);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "");
    a.set(0, QStringLiteral("%1,%2").arg(gone).arg(kept), false);
    QCOMPARE(a.pressText(0, *root.store, *root.settings).value(), "一年");
    QVERIFY(!a.pressText(12, *root.store, *root.settings).ok());
    QVERIFY(!a.pressText(-1, *root.store, *root.settings).ok());
}

QTEST_GUILESS_MAIN(TestHotKeyRules)
#include "tst_hotkeyrules.moc"
