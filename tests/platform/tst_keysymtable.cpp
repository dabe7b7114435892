#include "platform/x11/KeySymTable.h"
#include "support/FixtureRows.h"

// Windows virtual-key codes against X keysyms: the names are X's own (XKeysymToString), so a
// wrong or misspelt keysym in the table shows as a wrong or missing name.
class TestKeySymTable : public QObject {
    Q_OBJECT
private slots:
    void namesFollowTheWindowsCodes_data() { fixtureData("virtual-keys.txt", 2); }
    void namesFollowTheWindowsCodes();
    void codesOutsideTheTableHaveNoKey();
    void everyKeyInTheTableIsAKnownKeysym();
    void lettersAreTheUnshiftedKeysyms();
};

// A row of virtual-keys.txt: a Windows code and the name of the keysym it types.
void TestKeySymTable::namesFollowTheWindowsCodes()
{
    QFETCH(QStringList, row);
    QCOMPARE(KeySymTable::keyName(row.at(0).toInt(nullptr, 16)), row.value(1));
}

void TestKeySymTable::codesOutsideTheTableHaveNoKey()
{
    // None, a mouse button, between 9 and A, after Z, after F24, reserved, negative, too big.
    for (const int virtualKey : {0x00, 0x01, 0x3A, 0x5F, 0x88, 0xFF, -1, 0x141}) {
        QVERIFY2(KeySymTable::keysymForVirtualKey(virtualKey) == 0,
                 qPrintable(QString::number(virtualKey, 16)));
        QVERIFY2(KeySymTable::keyName(virtualKey).isEmpty(),
                 qPrintable(QString::number(virtualKey, 16)));
    }
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
