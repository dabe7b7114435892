#include "UnihanReadings.h"

#include <QFile>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

namespace {

constexpr char32_t kCodePointLimit = 0x110000;

QStringView firstToken(QStringView value)
{
    qsizetype end = 0;
    while (end < value.size() && value[end] != u' ' && value[end] != u',')
        ++end;
    return value.first(end);
}

} // namespace

UnihanReadings::UnihanReadings() : m_mandarin(kCodePointLimit, 0), m_hanyuPinyin(kCodePointLimit, 0)
{}

bool UnihanReadings::load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        const QList<QStringView> fields = QStringView(line).split(u'\t');
        if (fields.size() < 3 || !fields[0].startsWith(u"U+"))
            continue;
        bool ok = false;
        const uint codePoint = fields[0].mid(2).toUInt(&ok, 16);
        if (!ok || codePoint >= kCodePointLimit)
            continue;
        if (fields[1] == u"kMandarin")
            addMandarin(codePoint, fields[2]);
        else if (fields[1] == u"kHanyuPinyin")
            addHanyuPinyin(codePoint, fields[2]);
    }
    return file.error() == QFileDevice::NoError;
}

char UnihanReadings::initial(char32_t codePoint) const
{
    if (codePoint >= kCodePointLimit)
        return 0;
    const char mandarin = m_mandarin[codePoint];
    return mandarin ? mandarin : m_hanyuPinyin[codePoint];
}

char UnihanReadings::initialOfReading(QStringView reading)
{
    if (reading.isEmpty())
        return 0;
    char32_t first = reading[0].unicode();
    if (reading[0].isHighSurrogate() && reading.size() > 1)
        first = QChar::surrogateToUcs4(reading[0], reading[1]);

    // Canonical decomposition puts the base letter first and the tone marks after it, so "ǎ",
    // "ḿ" and "ê̄" all reduce to their plain letter.
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* nfd = unorm2_getNFDInstance(&status);
    if (U_SUCCESS(status)) {
        UChar decomposition[8];
        const int32_t length =
            unorm2_getDecomposition(nfd, static_cast<UChar32>(first), decomposition, 8, &status);
        if (U_SUCCESS(status) && length > 0)
            first = decomposition[0];
    }
    const UChar32 upper = u_toupper(static_cast<UChar32>(first));
    if (upper < u'A' || upper > u'Z')
        return 0;
    return static_cast<char>(upper);
}

void UnihanReadings::addMandarin(char32_t codePoint, QStringView value)
{
    const char letter = initialOfReading(firstToken(value));
    if (!letter)
        ++m_unusable;
    m_mandarin[codePoint] = letter;
}

void UnihanReadings::addHanyuPinyin(char32_t codePoint, QStringView value)
{
    // "10019.020:tiàn,tiǎn 10004.010:tiǎn": the first reading of the first dictionary entry.
    const qsizetype colon = value.indexOf(u':');
    if (colon < 0)
        return;
    const char letter = initialOfReading(firstToken(value.sliced(colon + 1)));
    if (!letter)
        ++m_unusable;
    m_hanyuPinyin[codePoint] = letter;
}
