#include "data/GbkCodec.h"
#include "data/PinyinReadings.h"
#include "data/PinyinTable.h"
#include "support/Files.h"
#include "support/FixtureRows.h"

#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int kLines = 126;
constexpr int kLineLength = 191;

// The character with the given GBK code.
QString gbkChar(int lead, int trail)
{
    const char bytes[] = {static_cast<char>(lead), static_cast<char>(trail)};
    return GbkCodec::decode(QByteArray(bytes, 2));
}

// A table of '?' with the given letters at 1-based positions, in lines of 191.
QByteArray tableWith(const QList<QPair<int, char>>& letters, qsizetype length,
                     const QByteArray& lineBreak = QByteArrayLiteral("\n"))
{
    QByteArray flat(length, '?');
    for (const auto& [position, letter] : letters)
        flat[position - 1] = letter;
    QByteArray file;
    for (qsizetype i = 0; i < flat.size(); i += kLineLength)
        file += flat.mid(i, kLineLength) + lineBreak;
    return file;
}

// The character's readings joined by commas, as PinyinReadings orders them.
QString readingsOf(char32_t codePoint)
{
    QStringList syllables;
    for (const quint16 id : PinyinReadings::of(codePoint)) {
        const std::string_view syllable = PinyinReadings::syllable(id);
        syllables << QLatin1StringView(syllable.data(), static_cast<qsizetype>(syllable.size()));
    }
    return syllables.join(u',');
}

} // namespace

class TestPinyin : public QObject {
    Q_OBJECT

private:
    // The path of the written file; one that cannot be loaded when the write failed.
    QString writeFile(const QString& name, const QByteArray& content)
    {
        const QString path = m_dir.filePath(name);
        return writeBytes(path, content) ? path : QString();
    }

    QTemporaryDir m_dir;
    PinyinTable m_generated;

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const Result<void> loaded = m_generated.loadLibFile(QStringLiteral(QUILLMATE_PYLIB));
        QVERIFY2(loaded.ok(), qPrintable(loaded.message()));
        QVERIFY(m_generated.loadLibSuccess());
    }

    void generatedTableShape()
    {
        const QByteArray content = readBytes(QStringLiteral(QUILLMATE_PYLIB));
        QVERIFY(content.endsWith('\n'));
        const QList<QByteArray> lines = content.chopped(1).split('\n');
        QCOMPARE(lines.size(), kLines);
        int letters = 0;
        for (const QByteArray& line : lines) {
            QCOMPARE(line.size(), kLineLength);
            for (const char c : line) {
                QVERIFY2(c == '?' || (c >= 'A' && c <= 'Z'), line.constData());
                letters += c != '?';
            }
        }
        // GBK holds about 21,000 Han characters, nearly all with a Mandarin reading.
        QVERIFY2(letters > 20000, QByteArray::number(letters).constData());
    }

    void generatedTable_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("initials");
        QTest::addColumn<QString>("first");
        for (const QStringList& row : fixtureRows("initials.txt"))
            QTest::newRow(qPrintable(row.at(0))) << row.value(1) << row.value(2) << row.value(3);
        QTest::newRow("empty") << QString() << QString() << QString();
        QTest::newRow("blank") << u" "_s << QString() << QString();
        QTest::newRow("blanks") << u"   "_s << QString() << QString();
        const QString loneSurrogate(QChar(0xD83D));
        QTest::newRow("lone surrogate") << loneSurrogate << u"?"_s << u"?"_s;
        QTest::newRow("lone surrogate, a letter") << loneSurrogate + u"a"_s << u"?A"_s << u"*"_s;
    }

    // The initials of the whole text and, where the row gives it, of its first character alone.
    void generatedTable()
    {
        QFETCH(QString, text);
        QFETCH(QString, initials);
        QFETCH(QString, first);
        QCOMPARE(m_generated.getPYEx(text), initials);
        if (first != u"*")
            QCOMPARE(m_generated.getPY(text), first);
    }

    void readings_data() { fixtureData("readings.txt"); }
    void readings()
    {
        QFETCH(QStringList, row);
        QCOMPARE(readingsOf(row[1].toUcs4().value(0)), row.value(2));
    }

    void everyReadingIsPlainLetters()
    {
        const int count = PinyinReadings::syllableCount();
        QVERIFY2(count > 400, QByteArray::number(count).constData());
        for (int id = 0; id < count; ++id) {
            const std::string_view syllable = PinyinReadings::syllable(static_cast<quint16>(id));
            QVERIFY2(!syllable.empty() && syllable.size() <= 6 &&
                         std::all_of(syllable.begin(), syllable.end(),
                                     [](char c) { return c >= 'a' && c <= 'z'; }),
                     std::string(syllable).c_str());
        }
        QVERIFY(PinyinReadings::syllable(static_cast<quint16>(count)).empty());
        int characters = 0;
        size_t bmpReadings = 0;
        for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
            const std::span<const quint16> ids = PinyinReadings::of(codePoint);
            characters += !ids.empty();
            QVERIFY(std::all_of(ids.begin(), ids.end(), [&](quint16 id) { return id < count; }));
            if (codePoint > 0xFFFF)
                continue;
            bmpReadings += ids.size();
            // Each reading lists the character back.
            for (const quint16 id : ids) {
                const std::span<const char16_t> back = PinyinReadings::charactersOf(id);
                QVERIFY(std::binary_search(back.begin(), back.end(), char16_t(codePoint)));
            }
        }
        // Unihan gives some 41,000 characters, in and beyond the BMP, a Mandarin reading.
        QVERIFY2(characters > 41000, QByteArray::number(characters).constData());
        // ... and no reading lists a character that lacks it.
        size_t listed = 0;
        for (int id = 0; id < count; ++id)
            listed += PinyinReadings::charactersOf(static_cast<quint16>(id)).size();
        QCOMPARE(listed, bmpReadings);
    }

    void positionsOfHandMadeTable_data()
    {
        QTest::addColumn<QByteArray>("lineBreak");
        QTest::newRow("LF") << QByteArrayLiteral("\n");
        QTest::newRow("CRLF") << QByteArrayLiteral("\r\n");
    }

    void positionsOfHandMadeTable()
    {
        QFETCH(QByteArray, lineBreak);
        // 中 is D6 D0: (0xD6 - 129) * 191 + (0xD0 - 63) = 16380.
        const QByteArray content = tableWith({{1, 'k'},
                                              {191, 'Z'},
                                              {192, 'm'},
                                              {16379, 'A'},
                                              {16380, 'q'},
                                              {16381, 'B'},
                                              {24066, 'x'}},
                                             kLines * kLineLength, lineBreak);
        PinyinTable table;
        QVERIFY(table.loadLibFile(writeFile(QStringLiteral("layout.txt"), content)).ok());
        QCOMPARE(table.getPY(gbkChar(0x81, 0x40)), u"K"_s);
        QCOMPARE(table.getPY(gbkChar(0x81, 0x41)), u"?"_s);
        QCOMPARE(table.getPY(gbkChar(0x81, 0xFE)), u"Z"_s);
        QCOMPARE(table.getPY(gbkChar(0x82, 0x40)), u"M"_s);
        QCOMPARE(table.getPY(u"中"), u"Q"_s);
        QCOMPARE(table.getPY(gbkChar(0xFE, 0xFE)), u"X"_s);
        QCOMPARE(table.getPYEx(u"x中国"), u"XQ?"_s);
    }

    void lastLineWithoutBreak()
    {
        PinyinTable table;
        const QByteArray content = tableWith({{192, 'w'}}, 2 * kLineLength).chopped(1);
        QVERIFY(table.loadLibFile(writeFile(QStringLiteral("nobreak.txt"), content)).ok());
        QCOMPARE(table.getPY(gbkChar(0x82, 0x40)), u"W"_s);
    }

    void tableCodesOutside65To144_data()
    {
        QTest::addColumn<char>("stored");
        QTest::addColumn<QString>("initial");

        QTest::newRow("64 '@'") << '@' << u"?"_s;
        QTest::newRow("65 'A'") << 'A' << u"A"_s;
        QTest::newRow("lower case") << 'g' << u"G"_s;
        QTest::newRow("91 '['") << '[' << u"["_s;
        QTest::newRow("126 '~'") << '~' << u"~"_s;
        QTest::newRow("144") << static_cast<char>(144) << QString(QChar(144));
        QTest::newRow("145") << static_cast<char>(145) << u"?"_s;
        QTest::newRow("digit") << '5' << u"?"_s;
        QTest::newRow("blank") << ' ' << u"?"_s;
    }

    void tableCodesOutside65To144()
    {
        QFETCH(char, stored);
        QFETCH(QString, initial);
        PinyinTable table;
        const QByteArray content = tableWith({{2, stored}}, kLineLength);
        QVERIFY(table.loadLibFile(writeFile(QStringLiteral("codes.txt"), content)).ok());
        QCOMPARE(table.getPY(gbkChar(0x81, 0x41)), initial);
    }

    void tableCutShort()
    {
        PinyinTable table;
        const QByteArray content = tableWith({{191, 'r'}, {192, 's'}, {200, 't'}}, 200);
        QVERIFY(table.loadLibFile(writeFile(QStringLiteral("short.txt"), content)).ok());
        QVERIFY(table.loadLibSuccess());
        QCOMPARE(table.getPY(gbkChar(0x81, 0xFE)), u"R"_s);
        QCOMPARE(table.getPY(gbkChar(0x82, 0x40)), u"S"_s);
        QCOMPARE(table.getPY(gbkChar(0x82, 0x48)), u"T"_s);
        QCOMPARE(table.getPY(gbkChar(0x82, 0x49)), u"?"_s);
        QCOMPARE(table.getPYEx(u"中a"), u"?A"_s);
    }

    void failedLoadLeavesAnEmptyTable()
    {
        PinyinTable table;
        QVERIFY(table.loadLibFile(QStringLiteral(QUILLMATE_PYLIB)).ok());
        QCOMPARE(table.getPY(u"中"), u"Z"_s);
        const QString path = m_dir.filePath(QStringLiteral("absent/pylib.dll"));
        const Result<void> loaded = table.loadLibFile(path);
        QVERIFY(!loaded.ok());
        QCOMPARE(loaded.message(), u"加载库文件 "_s + path + u" 失败！"_s);
        QVERIFY(!table.loadLibSuccess());
        // Chinese characters have no initials any more; letters and digits keep theirs.
        QCOMPARE(table.getPYEx(u"中国"), u"??"_s);
        QCOMPARE(table.getPYEx(u"ab 1"), u"AB1"_s);
    }
};

QTEST_GUILESS_MAIN(TestPinyin)
#include "tst_pinyin.moc"
