// pylibgen UNIHAN_READINGS OUTPUT
//
// Writes the pinyin-initials table: one line per GBK lead byte 0x81..0xFE, one column per trail
// value 0x40..0xFE, holding the initial of the character with that code, or '?'.

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

// 0-based table index of a BMP code point, or nothing when GBK has no double-byte code for it.
std::optional<int> tableIndex(UConverter* gbk, char32_t codePoint)
{
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
    return (lead - kFirstLead) * kColumns + (trail - kFirstTrail);
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

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: pylibgen UNIHAN_READINGS OUTPUT\n");
        return 2;
    }
    const QString readingsPath = QString::fromLocal8Bit(argv[1]);
    const QString outputPath = QString::fromLocal8Bit(argv[2]);

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

    QByteArray table(kRows * kColumns, '?');
    int filled = 0;
    int withoutReading = 0;
    for (char32_t codePoint = 0x80; codePoint <= 0xFFFF; ++codePoint) {
        if (QChar::isSurrogate(codePoint))
            continue;
        const std::optional<int> index = tableIndex(gbk.get(), codePoint);
        if (!index)
            continue;
        if (const char letter = readings.initial(codePoint)) {
            table[*index] = letter;
            ++filled;
        } else if (const char latin = fullWidthLetter(codePoint)) {
            table[*index] = latin;
        } else if (isHan(codePoint)) {
            ++withoutReading;
        }
    }

    QDir().mkpath(QFileInfo(outputPath).absolutePath());
    QSaveFile out(outputPath);
    if (!out.open(QIODevice::WriteOnly))
        return fail(QStringLiteral("cannot write %1").arg(outputPath));
    for (int row = 0; row < kRows; ++row) {
        out.write(table.constData() + row * kColumns, kColumns);
        out.write("\n", 1);
    }
    if (!out.commit())
        return fail(QStringLiteral("cannot write %1").arg(outputPath));

    std::printf("pylibgen: %d Han positions filled, %d Han characters without a reading, "
                "%d unusable readings -> %s\n",
                filled, withoutReading, readings.unusableReadings(), qPrintable(outputPath));
    return 0;
}
