#include "data/PinyinTable.h"

#include "data/GbkCodec.h"

#include <QFile>
#include <atomic>
#include <cstdint>
#include <utility>

namespace {

constexpr int kTrailsPerLead = 191;
constexpr int kFirstLead = 129;
constexpr int kTrailOffset = 63;

// GBK codes of BMP code points, looked up through the converter once per process: 0 not looked
// up yet, kUnmapped, kSingleByte | byte, or kDoubleByte | lead << 8 | trail.
constexpr std::uint32_t kUnmapped = 1;
constexpr std::uint32_t kSingleByte = 0x100;
constexpr std::uint32_t kDoubleByte = 0x10000;
std::atomic<std::uint32_t> g_gbkCodes[0x10000];

std::uint32_t convert(char32_t codePoint)
{
    const std::optional<QByteArray> bytes = GbkCodec::encodeCodePoint(codePoint);
    if (!bytes)
        return kUnmapped;
    const auto byte = [&](qsizetype i) -> std::uint32_t {
        return static_cast<std::uint8_t>(bytes->at(i));
    };
    if (bytes->size() == 1)
        return kSingleByte | byte(0);
    if (bytes->size() == 2)
        return kDoubleByte | byte(0) << 8 | byte(1);
    return kUnmapped;
}

std::uint32_t gbkCode(char32_t codePoint)
{
    if (codePoint > 0xFFFF)
        return convert(codePoint);
    // Racing threads compute the same value, so relaxed order is enough.
    std::atomic<std::uint32_t>& slot = g_gbkCodes[codePoint];
    std::uint32_t code = slot.load(std::memory_order_relaxed);
    if (code == 0) {
        code = convert(codePoint);
        slot.store(code, std::memory_order_relaxed);
    }
    return code;
}

char32_t nextCodePoint(QStringView text, qsizetype& pos)
{
    const QChar unit = text[pos++];
    if (unit.isHighSurrogate() && pos < text.size() && text[pos].isLowSurrogate())
        return QChar::surrogateToUcs4(unit, text[pos++]);
    return unit.unicode();
}

Error loadFailure(const QString& path)
{
    return Error{QStringLiteral("加载库文件 ") + path + QStringLiteral(" 失败！")};
}

} // namespace

Result<void> PinyinTable::loadLibFile(const QString& path)
{
    m_letters.clear();
    m_loaded = false;

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return loadFailure(path);
    QByteArray letters;
    letters.reserve(file.size());
    while (!file.atEnd()) {
        QByteArray line = file.readLine();
        if (line.endsWith('\n'))
            line.chop(1);
        if (line.endsWith('\r'))
            line.chop(1);
        letters += line;
    }
    if (file.error() != QFileDevice::NoError)
        return loadFailure(path);

    // Reduced once here so that a lookup is a single index: letters are upper-cased and codes
    // outside 65..144 read as "?".
    for (char& c : letters) {
        const auto code = static_cast<std::uint8_t>(c);
        if (code < 65 || code > 144)
            c = '?';
        else if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    m_letters = std::move(letters);
    m_loaded = true;
    return {};
}

char16_t PinyinTable::initial(char32_t codePoint) const
{
    // GBK keeps ASCII as it is, so it needs no conversion.
    if (codePoint < 0x80) {
        if (codePoint == U' ')
            return kNoInitial;
        if (codePoint >= U'a' && codePoint <= U'z')
            return static_cast<char16_t>(codePoint - U'a' + U'A');
        return static_cast<char16_t>(codePoint);
    }
    const std::uint32_t code = gbkCode(codePoint);
    if (code >= kDoubleByte) {
        const int lead = static_cast<int>(code >> 8 & 0xFF);
        const int trail = static_cast<int>(code & 0xFF);
        const qsizetype n = (lead - kFirstLead) * kTrailsPerLead + (trail - kTrailOffset);
        if (n < 1 || n > m_letters.size())
            return u'?';
        return static_cast<std::uint8_t>(m_letters[n - 1]);
    }
    if (code >= kSingleByte)
        return static_cast<char16_t>(QChar::toUpper(codePoint));
    return u'?';
}

QString PinyinTable::getPY(QStringView text) const
{
    if (text.isEmpty())
        return {};
    qsizetype pos = 0;
    const char16_t letter = initial(nextCodePoint(text, pos));
    if (letter == kNoInitial)
        return {};
    return QString(QChar(letter));
}

QString PinyinTable::getPYEx(QStringView text) const
{
    QString result;
    result.reserve(text.size());
    qsizetype pos = 0;
    while (pos < text.size()) {
        const char16_t letter = initial(nextCodePoint(text, pos));
        if (letter != kNoInitial)
            result.append(QChar(letter));
    }
    return result;
}
