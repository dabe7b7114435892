// pylibgen UNIHAN_READINGS PYLIB_OUTPUT SOURCE_OUTPUT
//
// Writes the pinyin-initials table: one line per GBK lead byte 0x81..0xFE, one column per trail
// value 0x40..0xFE, holding the initial of the most common reading of the character with that
// code, or '?'. Writes as well the C++ source holding every reading of every character.

#include "Gb2312Level1.h"
#include "ReadingsSource.h"
#include "UnihanReadings.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <cstdio>
#include <memory>
#include <optional>
#include <unicode/ucnv.h>
#include <unicode/uscript.h>

namespace {

constexpr int kFirstLead = 0x81;
constexpr int kLastLead = 0xFE;
constexpr int kFirstTrail = 0x40;
constexpr int kLastTrail = 0xFE;
constexpr int kRows = kLastLead - kFirstLead + 1;
constexpr int kColumns = kLastTrail - kFirstTrail + 1;

struct ConverterCloser {
    void operator()(UConverter* c) const { ucnv_close(c); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

struct GbkCode {
    int lead;
    int trail;
    // 0-based position in the table.
    int index() const { return (lead - kFirstLead) * kColumns + (trail - kFirstTrail); }
};

// The double-byte GBK code of a code point, or nothing when GBK has none.
std::optional<GbkCode> gbkCode(UConverter* gbk, char32_t codePoint)
{
    if (codePoint > 0xFFFF || QChar::isSurrogate(codePoint))
        return std::nullopt;
    const UChar unit = static_cast<UChar>(codePoint);
    char bytes[4];
    UErrorCode status = U_ZERO_ERROR;
    ucnv_reset(gbk);
    const int32_t length = ucnv_fromUChars(gbk, bytes, sizeof bytes, &unit, 1, &status);
    if (U_FAILURE(status) || length != 2)
        return std::nullopt;
    const int lead = static_cast<unsigned char>(bytes[0]);
    const int trail = static_cast<unsigned char>(bytes[1]);
    if (lead < kFirstLead || lead > kLastLead || trail < kFirstTrail || trail > kLastTrail)
        return std::nullopt;
    return GbkCode{lead, trail};
}

// GBK's full-width Latin letters are looked up by the letter they show.
char fullWidthLetter(char32_t codePoint)
{
    if (codePoint >= U'Ａ' && codePoint <= U'Ｚ')
        return static_cast<char>('A' + (codePoint - U'Ａ'));
    if (codePoint >= U'ａ' && codePoint <= U'ｚ')
        return static_cast<char>('A' + (codePoint - U'ａ'));
    return 0;
}

bool isHan(char32_t codePoint)
{
    UErrorCode status = U_ZERO_ERROR;
    return uscript_getScript(static_cast<UChar32>(codePoint), &status) == USCRIPT_HAN &&
           U_SUCCESS(status);
}

int fail(const QString& message)
{
    std::fprintf(stderr, "pylibgen: %s\n", qPrintable(message));
    return 1;
}

bool save(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile out(path);
    return out.open(QIODevice::WriteOnly) && out.write(content) == content.size() && out.commit();
}

QString character(char32_t codePoint)
{
    return QString::fromUcs4(&codePoint, 1);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: pylibgen UNIHAN_READINGS PYLIB_OUTPUT SOURCE_OUTPUT\n");
        return 2;
    }
    const QString readingsPath = QString::fromLocal8Bit(argv[1]);
    const QString pylibPath = QString::fromLocal8Bit(argv[2]);
    const QString sourcePath = QString::fromLocal8Bit(argv[3]);

    UnihanReadings readings;
    if (!readings.load(readingsPath))
        return fail(QStringLiteral("cannot read %1").arg(readingsPath));

    UErrorCode status = U_ZERO_ERROR;
    Converter gbk(ucnv_open("windows-936", &status));
    if (U_FAILURE(status))
        return fail(QStringLiteral("ICU has no windows-936 converter: %1")
                        .arg(QString::fromLatin1(u_errorName(status))));
    // Only the converter's own mappings count; a substitute byte would land on a wrong code.
    ucnv_setFromUCallBack(gbk.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);

    // Unihan's first kMandarin reading is not always the everyday one (长 zhǎng, 厦 shà);
    // GB2312 level 1 files each character under its everyday reading's initial.
    std::vector<ReadingsSource::Character> characters;
    QByteArray table(kRows * kColumns, '?');
    QStringList disagreements;
    int filled = 0;
    for (const char32_t codePoint : readings.codePoints()) {
        const std::optional<GbkCode> code = gbkCode(gbk.get(), codePoint);
        const char blockInitial = code ? gb2312Level1Initial(code->lead, code->trail) : 0;
        std::vector<std::string> ordered = readings.ordered(codePoint, blockInitial);
        const std::vector<std::string>& mandarin = readings.of(codePoint, UnihanReadings::Mandarin);
        if (blockInitial && !mandarin.empty() && mandarin.front().front() != blockInitial)
            disagreements << QStringLiteral("%1 %2 -> %3")
                                 .arg(character(codePoint),
                                      QString::fromStdString(mandarin.front()),
                                      QString::fromStdString(ordered.front()));
        if (code) {
            table[code->index()] = static_cast<char>(ordered.front().front() - 'a' + 'A');
            ++filled;
        }
        characters.push_back({codePoint, std::move(ordered)});
    }

    int withoutReading = 0;
    for (char32_t codePoint = 0x80; codePoint <= 0xFFFF; ++codePoint) {
        const std::optional<GbkCode> code = gbkCode(gbk.get(), codePoint);
        if (!code || table[code->index()] != '?')
            continue;
        if (const char latin = fullWidthLetter(codePoint))
            table[code->index()] = latin;
        else if (isHan(codePoint))
            ++withoutReading;
    }

    QByteArray lines;
    for (int row = 0; row < kRows; ++row)
        lines += table.mid(row * kColumns, kColumns) + '\n';
    if (!save(pylibPath, lines))
        return fail(QStringLiteral("cannot write %1").arg(pylibPath));
    const ReadingsSource source(characters);
    if (!save(sourcePath, source.text()))
        return fail(QStringLiteral("cannot write %1").arg(sourcePath));

    std::printf("pylibgen: %d characters with %d syllables, %d GBK positions filled, "
                "%d Han characters in GBK without a reading, %d unusable readings\n",
                static_cast<int>(characters.size()), source.syllableCount(), filled, withoutReading,
                readings.unusableReadings());
    std::printf("pylibgen: %d GB2312 level-1 characters whose first kMandarin reading is not in "
                "their block (kMandarin -> chosen):\n",
                static_cast<int>(disagreements.size()));
    for (const QString& line : disagreements)
        std::printf("  %s\n", line.toUtf8().constData());
    return 0;
}
