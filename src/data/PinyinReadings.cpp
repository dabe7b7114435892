#include "data/PinyinReadings.h"

#include "data/PinyinReadingsData.h"

#include <algorithm>
#include <vector>

namespace PinyinReadings {

namespace {

using namespace PinyinReadingsData;

constexpr char32_t kBmpSize = 0x10000;
// A BMP slot packs where the character's ids begin (high 24 bits) and how many it has.
constexpr int kCountBits = 8;
constexpr quint32 kCountMask = (1u << kCountBits) - 1;

// Building the index of the whole BMP once makes the lookup that runs for every character of
// every name a single load; the function-local static makes the first use thread-safe.
const std::vector<quint32>& bmpSlots()
{
    static const std::vector<quint32> slots = [] {
        std::vector<quint32> table(kBmpSize, 0);
        Q_ASSERT(ids.size() < (size_t{1} << (32 - kCountBits)));
        for (size_t i = 0; i < codePoints.size() && codePoints[i] < kBmpSize; ++i) {
            const quint32 count = firstIds[i + 1] - firstIds[i];
            Q_ASSERT(count <= kCountMask);
            table[codePoints[i]] = firstIds[i] << kCountBits | count;
        }
        return table;
    }();
    return slots;
}

} // namespace

std::span<const quint16> of(char32_t codePoint)
{
    if (codePoint < kBmpSize) {
        const quint32 slot = bmpSlots()[codePoint];
        return ids.subspan(slot >> kCountBits, slot & kCountMask);
    }
    const auto found = std::lower_bound(codePoints.begin(), codePoints.end(), codePoint);
    if (found == codePoints.end() || *found != codePoint)
        return {};
    const auto character = static_cast<size_t>(found - codePoints.begin());
    return ids.subspan(firstIds[character], firstIds[character + 1] - firstIds[character]);
}

std::span<const char16_t> charactersOf(quint16 id)
{
    struct Table {
        std::vector<quint32> from; // per syllable, one extra at the end
        std::vector<char16_t> characters;
    };
    // Counted first, then placed: the characters come out ascending within each syllable.
    static const Table table = [] {
        Table t;
        t.from.assign(syllables.size() + 1, 0);
        for (size_t i = 0; i < codePoints.size() && codePoints[i] < kBmpSize; ++i) {
            for (quint32 k = firstIds[i]; k < firstIds[i + 1]; ++k)
                ++t.from[ids[k] + 1];
        }
        for (size_t s = 1; s < t.from.size(); ++s)
            t.from[s] += t.from[s - 1];
        t.characters.resize(t.from.back());
        std::vector<quint32> at(t.from.begin(), t.from.end() - 1);
        for (size_t i = 0; i < codePoints.size() && codePoints[i] < kBmpSize; ++i) {
            for (quint32 k = firstIds[i]; k < firstIds[i + 1]; ++k)
                t.characters[at[ids[k]]++] = static_cast<char16_t>(codePoints[i]);
        }
        return t;
    }();
    if (id >= syllables.size())
        return {};
    return std::span(table.characters).subspan(table.from[id], table.from[id + 1] - table.from[id]);
}

std::pair<quint16, quint16> startingWith(std::string_view letters)
{
    const auto first = std::lower_bound(syllables.begin(), syllables.end(), letters);
    auto last = first;
    while (last != syllables.end() && last->starts_with(letters))
        ++last;
    return {static_cast<quint16>(first - syllables.begin()),
            static_cast<quint16>(last - syllables.begin())};
}

std::string_view syllable(quint16 id)
{
    return id < syllables.size() ? syllables[id] : std::string_view();
}

int syllableCount()
{
    return static_cast<int>(syllables.size());
}

} // namespace PinyinReadings
