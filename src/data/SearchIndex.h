#pragma once

#include "data/IdPositions.h"
#include "data/PinyinMatcher.h"
#include "data/PostingList.h"

#include <QHash>
#include <QString>
#include <QStringView>
#include <vector>

// The searchable names of one kind of material, held in memory, so that a keystroke needs no
// database round trip. A query is found through lists of the entries that contain a key, reading
// the shortest lists the query allows rather than all the text: a character and a pair of
// adjacent characters for literal queries; for pinyin, the letters the names' characters may start
// with, alone, in twos and threes of adjacent characters, and the first two letters of readings.
class SearchIndex {
public:
    struct Source {
        qint64 id = 0;
        QString name;
        qint64 typeId = 0;
        int usetime = 0;
        int serial = 0;
        int typeSerial = 0; // the custom order within the entry's category
        int commonSerial = 0;
        bool common = false;
    };
    struct Entry {
        qint64 id = 0;
        qint64 typeId = 0;
        int usetime = 0;
        int serial = 0;
        int typeSerial = 0;
        int commonSerial = 0;
        quint32 nameStart = 0;
        quint16 nameLength = 0;
        bool common = false;
        // The name is stored folded only, folding having left it unchanged.
        bool nameIsFolded = false;
    };

    // Case folding applied to indexed text and to queries alike.
    static QString fold(QStringView text);

    void clear();
    void reserve(qsizetype entries, qsizetype characters);
    // Gives back the room the lists grew into, once a whole kind is loaded.
    void squeeze();
    // Adds an entry, replacing an existing one with the same id.
    void upsert(const Source& source);
    void remove(qint64 id);

    qsizetype size() const { return m_positions.size(); }
    bool contains(qint64 id) const { return m_positions.find(id) != IdPositions::None; }
    const Entry* find(qint64 id) const;
    // The entry at a position that match() returned.
    const Entry& at(quint32 position) const { return m_entries[position]; }
    // The same as at(position).id, from a compact array that a pass over many hits reads
    // without a cache miss per hit.
    qint64 id(quint32 position) const { return m_ids[position]; }
    QString name(const Entry& entry) const;

    // The positions of every live entry whose folded name contains the folded `needle` or reads
    // as it in pinyin (every live entry when it is empty), ascending, which is the order the
    // entries were added in. `pinyin` is the matcher of the same needle.
    std::vector<quint32> match(QStringView foldedNeedle, const PinyinMatcher& pinyin) const;
    std::vector<quint32> match(QStringView foldedNeedle) const
    {
        return match(foldedNeedle, PinyinMatcher(foldedNeedle));
    }
    // How well a hit of match() fits its needle, best first: 0 the whole name, 1 its start, 2 the
    // needle found literally further in, 3 read in pinyin further in.
    int rank(quint32 position, QStringView foldedNeedle, const PinyinMatcher& pinyin) const;

private:
    void append(const Entry& entry, QStringView name, QStringView foldedName);
    void appendPinyinKeys(quint32 position, QStringView foldedName);
    void matchNames(QStringView needle, std::vector<quint32>& hits) const;
    void matchPinyin(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const;
    void compactIfWorthIt();
    QStringView foldedName(quint32 position) const;

    std::vector<Entry> m_entries;
    std::vector<qint64> m_ids;
    std::vector<bool> m_alive;          // cleared for entries that were replaced or removed
    QString m_names;                    // as given, for name(), where folding changed them
    QString m_folded;                   // the folded names, back to back
    std::vector<quint32> m_foldedStart; // entry i's name in m_folded; one extra at the end
    // The entries whose folded name contains a UTF-16 unit, and a pair of adjacent units (the
    // first in the high half of the key).
    QHash<char16_t, PostingList> m_nameUnigrams;
    QHash<quint32, PostingList> m_nameBigrams;
    // Pinyin keys, by PinyinMatcher::symbol: a character starting with a symbol; two and three
    // adjacent characters starting with two and three symbols; a reading's first two letters.
    std::vector<PostingList> m_symbolLists;
    std::vector<PostingList> m_pairLists;
    std::vector<PostingList> m_tripleLists;
    std::vector<PostingList> m_readingStartLists;
    IdPositions m_positions;
    qsizetype m_dead = 0;
};
