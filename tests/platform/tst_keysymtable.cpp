#include "platform/x11/KeySymTable.h"

#include <QTest>

// Windows virtual-key codes against X keysyms: the names are X's own (XKeysymToString), so a
// wrong or misspelt keysym in the table shows as a wrong or missing name.
class TestKeySymTable : public QObject {
    Q_OBJECT
private slots:
    void namesFollowTheWindowsCodes_data();
    void namesFollowTheWindowsCodes();
    void codesOutsideTheTableHaveNoKey_data();
    void codesOutsideTheTableHaveNoKey();
    void everyKeyInTheTableIsAKnownKeysym();
    void lettersAreTheUnshiftedKeysyms();
};

void TestKeySymTable::namesFollowTheWindowsCodes_data()
{
    QTest::addColumn<int>("virtualKey");
    QTest::addColumn<QString>("name");
    // Both ends of every range, and the single keys the program sends or offers as hot keys.
    QTest::newRow("A") << 0x41 << "A";
    QTest::newRow("Z") << 0x5A << "Z";
    QTest::newRow("0") << 0x30 << "0";
    QTest::newRow("9") << 0x39 << "9";
    QTest::newRow("F1") << 0x70 << "F1";
    QTest::newRow("F5") << 0x74 << "F5";
    QTest::newRow("F24") << 0x87 << "F24";
    QTest::newRow("numpad 0") << 0x60 << "KP_0";
    QTest::newRow("numpad 9") << 0x69 << "KP_9";
    QTest::newRow("numpad *") << 0x6A << "KP_Multiply";
    QTest::newRow("numpad /") << 0x6F << "KP_Divide";
    QTest::newRow("Enter") << 0x0D << "Return";
    QTest::newRow("Tab") << 0x09 << "Tab";
    QTest::newRow("Escape") << 0x1B << "Escape";
    QTest::newRow("Space") << 0x20 << "space";
    QTest::newRow("Backspace") << 0x08 << "BackSpace";
    QTest::newRow("Delete") << 0x2E << "Delete";
    QTest::newRow("Insert") << 0x2D << "Insert";
    QTest::newRow("Home") << 0x24 << "Home";
    QTest::newRow("End") << 0x23 << "End";
    QTest::newRow("PageUp") << 0x21 << "Prior";
    QTest::newRow("PageDown") << 0x22 << "Next";
    QTest::newRow("Left") << 0x25 << "Left";
    QTest::newRow("Down") << 0x28 << "Down";
    QTest::newRow("Shift") << 0x10 << "Shift_L";
    QTest::newRow("Ctrl") << 0x11 << "Control_L";
    QTest::newRow("Alt") << 0x12 << "Alt_L";
    QTest::newRow("left Windows key") << 0x5B << "Super_L";
    QTest::newRow("right Ctrl") << 0xA3 << "Control_R";
    QTest::newRow("Pause") << 0x13 << "Pause";
    QTest::newRow("PrintScreen") << 0x2C << "Print";
    QTest::newRow("CapsLock") << 0x14 << "Caps_Lock";
    QTest::newRow("NumLock") << 0x90 << "Num_Lock";
    QTest::newRow("ScrollLock") << 0x91 << "Scroll_Lock";
    QTest::newRow(";") << 0xBA << "semicolon";
    QTest::newRow("=") << 0xBB << "equal";
    QTest::newRow(",") << 0xBC << "comma";
    QTest::newRow("-") << 0xBD << "minus";
    QTest::newRow(".") << 0xBE << "period";
    QTest::newRow("/") << 0xBF << "slash";
    QTest::newRow("`") << 0xC0 << "grave";
    QTest::newRow("[") << 0xDB << "bracketleft";
    QTest::newRow("\\") << 0xDC << "backslash";
    QTest::newRow("]") << 0xDD << "bracketright";
    QTest::newRow("'") << 0xDE << "apostrophe";
}

void TestKeySymTable::namesFollowTheWindowsCodes()
{
    QFETCH(int, virtualKey);
    QFETCH(QString, name);
    QCOMPARE(KeySymTable::keyName(virtualKey), name);
}

void TestKeySymTable::codesOutsideTheTableHaveNoKey_data()
{
    QTest::addColumn<int>("virtualKey");
    QTest::newRow("none") << 0x00;
    QTest::newRow("mouse button") << 0x01;
    QTest::newRow("between 9 and A") << 0x3A;
    QTest::newRow("after Z") << 0x5F;
    QTest::newRow("after F24") << 0x88;
    QTest::newRow("reserved") << 0xFF;
    QTest::newRow("negative") << -1;
    QTest::newRow("beyond a byte") << 0x141;
}

void TestKeySymTable::codesOutsideTheTableHaveNoKey()
{
    QFETCH(int, virtualKey);
    QCOMPARE(KeySymTable::keysymForVirtualKey(virtualKey), 0ul);
    QVERIFY(KeySymTable::keyName(virtualKey).isEmpty());
}

void TestKeySymTable::everyKeyInTheTableIsAKnownKeysym()
{
    int mapped = 0;
    for (int virtualKey = 0; virtualKey < 256; ++virtualKey) {
        if (KeySymTable::keysymForVirtualKey(virtualKey) == 0)
            continue;
        ++mapped;
        QVERIFY2(!KeySymTable::keyName(virtualKey).isEmpty(),
                 qPrintable(QString("0x%1 has no X name").arg(virtualKey, 0, 16)));
    }
    // Letters, digits, numpad, F1-F24 and the single keys together.
    QVERIFY(mapped >= 26 + 10 + 16 + 24 + 30);
}

void TestKeySymTable::lettersAreTheUnshiftedKeysyms()
{
    // The lower-case keysyms: the key itself, not the key together with Shift.
    QCOMPARE(KeySymTable::keysymForVirtualKey(0x41), 0x61ul);
    QCOMPARE(KeySymTable::keysymForVirtualKey(0x56), 0x76ul);
    QCOMPARE(KeySymTable::keysymForVirtualKey(0x5A), 0x7Aul);
}

QTEST_GUILESS_MAIN(TestKeySymTable)
#include "tst_keysymtable.moc"
