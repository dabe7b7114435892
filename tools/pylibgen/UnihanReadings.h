#pragma once

#include <QString>
#include <vector>

// The Mandarin readings of Unihan_Readings.txt, reduced to the initial letter of each
// character's preferred reading.
class UnihanReadings {
public:
    UnihanReadings();

    // Reads the tab-separated Unihan file; false when it cannot be read.
    bool load(const QString& path);

    // 'A'..'Z', or 0 when the character has no usable reading. The first kMandarin reading is
    // the common one; kHanyuPinyin only stands in where kMandarin is missing.
    char initial(char32_t codePoint) const;

    // Readings whose first letter did not reduce to A..Z.
    int unusableReadings() const { return m_unusable; }

    // The upper-case base letter of the reading's first character, or 0.
    static char initialOfReading(QStringView reading);

private:
    void addMandarin(char32_t codePoint, QStringView value);
    void addHanyuPinyin(char32_t codePoint, QStringView value);

    std::vector<char> m_mandarin;
    std::vector<char> m_hanyuPinyin;
    int m_unusable = 0;
};
