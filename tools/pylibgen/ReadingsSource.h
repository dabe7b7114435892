#pragma once

#include <QByteArray>
#include <string>
#include <vector>

// The C++ source that compiles the readings into the program: the syllables, sorted, and per
// character (ascending) the ids of its readings in order. The arrays it defines are declared
// in src/data/PinyinReadingsData.h.
class ReadingsSource {
public:
    struct Character {
        char32_t codePoint;
        std::vector<std::string> readings;
    };

    explicit ReadingsSource(const std::vector<Character>& characters);

    int syllableCount() const { return static_cast<int>(m_syllables.size()); }
    const QByteArray& text() const { return m_text; }

private:
    std::vector<std::string> m_syllables;
    QByteArray m_text;
};
