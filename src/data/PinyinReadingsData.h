#pragma once

#include <QtGlobal>
#include <span>
#include <string_view>

// The readings compiled in from Unihan, defined by the source pylibgen generates. Read them
// through PinyinReadings.
namespace PinyinReadingsData {
// Toneless syllables, sorted; a reading's id is its index.
extern const std::span<const std::string_view> syllables;
// The characters with readings, ascending.
extern const std::span<const char32_t> codePoints;
// The ids of codePoints[i] are ids[firstIds[i]] up to ids[firstIds[i + 1]], most common first.
extern const std::span<const quint32> firstIds;
extern const std::span<const quint16> ids;
} // namespace PinyinReadingsData
