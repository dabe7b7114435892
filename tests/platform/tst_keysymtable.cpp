#include "platform/x11/KeySymTable.h"

#include <QFile>
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
    QFile fixture(QStringLiteral(QUILLMATE_FIXTURES "/virtual-keys.txt"));
    QVERIFY(fixture.open(QIODevice::ReadOnly | QIODevice::Text));
    while (!fixture.atEnd()) {
        const QString line = QString::fromLatin1(fixture.readLine()).trimmed();
        if (!line.startsWith('#'))
            QTest::newRow(qPrintable(line))
                << line.section(' ', 0, 0).toInt(nullptr, 16) << line.section(' ', 1);
    }
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
