#include "UnihanReadings.h"

#include <QFile>
#include <algorithm>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

namespace {

constexpr char32_t kCodePointLimit = 0x110000;
constexpr char16_t kDiaeresis = u'\u0308';

const std::vector<std::string> kNone;

UnihanReadings::Source sourceOf(QStringView field)
{
    if (field == u"kMandarin")
        return UnihanReadings::Mandarin;
    if (field == u"kTGHZ2013")
        return UnihanReadings::Tghz2013;
    if (field == u"kXHC1983")
        return UnihanReadings::Xhc1983;
    if (field == u"kHanyuPinyin")
        return UnihanReadings::HanyuPinyin;
    return UnihanReadings::SourceCount;
}

} // namespace

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
        const Source source = sourceOf(fields[1]);
        if (ok && codePoint < kCodePointLimit && source != SourceCount)
            add(codePoint, source, fields[2]);
    }
    return file.error() == QFileDevice::NoError;
}

void UnihanReadings::add(char32_t codePoint, Source source, QStringView value)
{
    // kMandarin is "bo bǔ"; the dictionary fields put locations before a colon and may list
    // several readings per entry: "1176.030:shí 1184.010:shì", "10019.020:tiàn,tiǎn".
    std::vector<std::string>& readings = m_readings[codePoint][source];
    for (const QStringView entry : value.split(u' ', Qt::SkipEmptyParts)) {
        const QStringView list = entry.sliced(entry.lastIndexOf(u':') + 1);
        for (const QStringView reading : list.split(u',', Qt::SkipEmptyParts)) {
            std::string plain = toneless(reading);
            if (plain.empty())
                ++m_unusable;
            else
                readings.push_back(std::move(plain));
        }
    }
}

const std::vector<std::string>& UnihanReadings::of(char32_t codePoint, Source source) const
{
    const auto found = m_readings.find(codePoint);
    return found == m_readings.end() ? kNone : found->second[source];
}

std::vector<std::string> UnihanReadings::ordered(char32_t codePoint, char commonInitial) const
{
    std::vector<std::string> all;
    for (int source = 0; source < SourceCount; ++source) {
        for (const std::string& reading : of(codePoint, static_cast<Source>(source))) {
            if (std::find(all.begin(), all.end(), reading) == all.end())
                all.push_back(reading);
        }
    }
    // Field order already puts the first kMandarin reading, or failing that the first of the
    // others, in front; only a reading that matches the known initial moves ahead of it.
    const auto common = std::find_if(all.begin(), all.end(), [&](const std::string& reading) {
        return commonInitial && reading.front() == commonInitial;
    });
    if (common != all.end())
        std::rotate(all.begin(), common, common + 1);
    return all;
}

std::vector<char32_t> UnihanReadings::codePoints() const
{
    std::vector<char32_t> result;
    for (const auto& [codePoint, bySource] : m_readings) {
        if (std::any_of(bySource.begin(), bySource.end(), [](const auto& r) { return !r.empty(); }))
            result.push_back(codePoint);
    }
    return result;
}

std::string UnihanReadings::toneless(QStringView reading)
{
    // Canonical decomposition leaves the base letters with the tone marks after them: "ǚ" is
    // u, diaeresis, caron, and the diaeresis is what tells ü from u.
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* nfd = unorm2_getNFDInstance(&status);
    UChar decomposed[64];
    const int32_t length =
        U_SUCCESS(status) ? unorm2_normalize(nfd, reinterpret_cast<const UChar*>(reading.utf16()),
                                             static_cast<int32_t>(reading.size()), decomposed,
                                             std::size(decomposed), &status)
                          : 0;
    if (U_FAILURE(status))
        return {};
    std::string plain;
    for (int32_t i = 0; i < length; ++i) {
        const char16_t unit = decomposed[i];
        if (unit >= u'a' && unit <= u'z') {
            plain += static_cast<char>(unit);
        } else if (unit >= u'A' && unit <= u'Z') {
            plain += static_cast<char>(unit - u'A' + 'a');
        } else if (unit == kDiaeresis && !plain.empty() && plain.back() == 'u') {
            plain.back() = 'v';
        } else if (u_getCombiningClass(unit) == 0) {
            return {};
        }
    }
    return plain;
}
