#pragma once

#include <QtGlobal>
#include <span>
#include <string_view>
#include <utility>

// Every Mandarin reading of a character, toneless lower-case ASCII with ü written v, the most
// common first; compiled in at build time from Unihan. Lookups are lock-free and may run on any
// thread.
namespace PinyinReadings {
// Syllable ids of the character's readings, most common first; empty for a character without any.
std::span<const quint16> of(char32_t codePoint);
// The characters in the BMP with the reading of that id, ascending.
std::span<const char16_t> charactersOf(quint16 id);
// The ids of the syllables that start with `letters`, [first, second): ids follow the syllables'
// alphabetical order, so they are a run.
std::pair<quint16, quint16> startingWith(std::string_view letters);
// The syllable with that id ("zhuang"); ids follow the syllables' alphabetical order.
std::string_view syllable(quint16 id);
int syllableCount();
} // namespace PinyinReadings
