#pragma once

#include <QString>
#include <array>
#include <map>
#include <string>
#include <vector>

// The Mandarin readings of Unihan_Readings.txt, reduced to toneless lower-case ASCII.
class UnihanReadings {
public:
    // The fields read, in the order their readings are trusted.
    enum Source { Mandarin, Tghz2013, Xhc1983, HanyuPinyin, SourceCount };

    // Reads the tab-separated Unihan file; false when it cannot be read.
    bool load(const QString& path);

    // The character's readings from one field in the file's order, duplicates kept.
    const std::vector<std::string>& of(char32_t codePoint, Source source) const;

    // Every reading of the character without duplicates, the most common first: the first whose
    // initial is commonInitial (a lower-case letter, or 0 for none known), otherwise the first
    // kMandarin reading, otherwise the first of the other fields. The rest keep field order.
    std::vector<std::string> ordered(char32_t codePoint, char commonInitial) const;

    // Every character with at least one reading, ascending.
    std::vector<char32_t> codePoints() const;

    // Readings that did not reduce to letters a..z.
    int unusableReadings() const { return m_unusable; }

    // "lǚ" -> "lv", "ḿ" -> "m"; empty when something other than a Latin letter remains.
    static std::string toneless(QStringView reading);

private:
    void add(char32_t codePoint, Source source, QStringView value);

    std::map<char32_t, std::array<std::vector<std::string>, SourceCount>> m_readings;
    int m_unusable = 0;
};
