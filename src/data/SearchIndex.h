#pragma once

#include "data/IdPositions.h"
#include "data/NarrowColumn.h"
#include "data/PageBuffer.h"
#include "data/PinyinMatcher.h"
#include "data/PostingList.h"
#include "data/UnitPairLists.h"

#include <QString>
#include <QStringView>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// The searchable names of one kind of material, held in memory, so that a keystroke needs no
// database round trip. A query is found through lists of the entries that contain a key, reading
// the shortest lists the query allows rather than all the text: a character and a pair of
// adjacent characters for literal queries; for pinyin, the letters the names' characters may start
// with, alone and in twos of adjacent characters, and the first two letters of readings. Threes of
// adjacent characters' letters are marked per entry instead of listed. A pinyin query is first
// tried as the runs of characters this index holds that read it, found through the lists of
// literal pairs: then no name is checked but for the run itself.
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
        bool common = false;
        quint32 position = 0; // in the index
    };

    // Case folding applied to indexed text and to queries alike.
    static QString fold(QStringView text);

    void clear();
    // Empties the index to load a whole kind, ended by squeeze(). Until then the lists that can be
    // worked out from those of single units and of adjacent pairs (the letters a character starts
    // with, its readings' first two letters, those of two adjacent characters) are left out, so
    // the index cannot be searched; squeeze() fills them in a pass over those lists, which costs
    // far less than adding each key of each name.
    void beginLoad();
    void reserve(qsizetype entries, qsizetype characters);
    // Gives back the room the lists grew into, once a whole kind is loaded; ends beginLoad().
    void squeeze();
    // Adds an entry, replacing an existing one with the same id.
    void upsert(const Source& source) { upsert(std::span<const Source>(&source, 1)); }
    // The same for many entries at once, which fills the lists much faster than one by one.
    void upsert(std::span<const Source> sources);
    void remove(qint64 id);

    qsizetype size() const { return m_positions.size(); }
    bool contains(qint64 id) const { return m_positions.find(id) != IdPositions::None; }
    std::optional<Entry> find(qint64 id) const;
    // The entry at a position that match() returned.
    Entry at(quint32 position) const
    {
        const size_t p = position;
        return {m_ids[p],
                m_typeIds[p],
                m_usetimes[p],
                m_serials[p],
                m_typeSerials.empty() ? m_serials[p] : m_typeSerials[p],
                m_commonSerials.empty() ? 0 : m_commonSerials[p],
                m_common[p],
                position};
    }
    // The same as at(position).id, read alone.
    qint64 id(quint32 position) const { return m_ids[position]; }
    QString name(const Entry& entry) const { return name(entry.position); }
    QString name(quint32 position) const;
    // How many leading positions hold ascending ids: hits below it are in id order as match()
    // gives them. A kind loaded whole is in id order throughout; a changed entry moves to the end.
    quint32 idOrdered() const { return m_idOrdered; }

    // The positions of every live entry whose folded name contains the folded `needle` or reads
    // as it in pinyin (every live entry when it is empty), ascending, which is the order the
    // entries were added in. `pinyin` is the matcher of the same needle.
    std::vector<quint32> match(QStringView foldedNeedle, const PinyinMatcher& pinyin) const;
    std::vector<quint32> match(QStringView foldedNeedle) const
    {
        return match(foldedNeedle, PinyinMatcher(foldedNeedle));
    }
    // How many pairs of characters one query may look up to find its hits through the lists of
    // pairs of units (matchRuns(), readAsUnits()). Each costs a few tens of nanoseconds; past
    // the default, checking the names in the lists of initials costs less. With 0, queries are
    // read through those lists and names alone, as the tests do to compare both ways.
    void setMostLookups(int lookups) { m_mostLookups = lookups; }
    // How well a hit of match() fits its needle, best first: 0 the whole name, 1 its start, 2 the
    // needle found literally further in, 3 read in pinyin further in.
    int rank(quint32 position, QStringView foldedNeedle, const PinyinMatcher& pinyin) const;

private:
    void append(const Entry& entry, QStringView name);
    void addName(QStringView name, QStringView folded);
    void addLiteralKeys(quint32 position, QStringView foldedName);
    // Also appends the entry's mark of threes.
    void addPinyinKeys(quint32 position, QStringView foldedName);
    // The list of a key, made when the key first occurs.
    quint32 listOf(quint32 key);
    // The list of a key, 0 while it has none.
    quint32 listFor(quint32 key) const;
    void flushKeys();
    // The entries known to have a three (SearchKeys::threeKey) of adjacent characters' letters,
    // null when it is not known.
    const std::vector<quint32>* knownThree(quint32 three) const;
    void rememberThree(quint32 three, std::vector<quint32> positions) const;
    // Adds an entry being added to the known threes it has.
    void keepUpThree(quint32 three, quint32 position);
    // The lists worked out at the end of loading, as if frozen into buffers of their own.
    struct Derived {
        std::vector<PageBuffer> parts;
        std::vector<quint32> partOf; // per list: 0, or 1 + the part it is frozen into
    };
    // Works out the lists left out while loading.
    void deriveLists(Derived& derived);
    // Makes the list of each key in `links` (key, list) the union of its lists and what it holds.
    void addUnions(std::vector<std::pair<quint32, quint32>>& links, Derived& derived);
    const PostingList* literalList(QStringView units) const;
    bool alive(quint32 position) const { return m_dead == 0 || m_alive[position]; }
    bool holds(char16_t unit) const
    {
        return !m_unitsHeld.empty() && (m_unitsHeld[unit / 64] >> (unit % 64)) & 1;
    }
    // The characters of the BMP that some name holds and that may stand for a query's part: those
    // with a reading that starts with it and, for one letter or digit, itself. Ascending.
    std::vector<char16_t> heldReaders(std::string_view letters) const;
    // The positions in all of `lists` whose mark has all of `marks`, ascending, or a few more
    // that the caller's check of their names then rules out.
    std::vector<quint32> inAll(std::vector<const PostingList*> lists, quint64 marks) const;
    // Puts positions in ascending order, each once.
    void sortUnique(std::vector<quint32>& positions) const;
    // Keeps those of `positions` (ascending) that are in `list`.
    void narrow(std::vector<quint32>& positions, const PostingList& list) const;
    // Those of `candidates` whose mark has all of `marks`.
    std::vector<quint32> marked(std::vector<quint32> candidates, quint64 marks) const;
    // Adds the live candidates whose folded name passes check(name) to `hits`.
    template <typename Check>
    void keepIf(const std::vector<quint32>& candidates, Check check,
                std::vector<quint32>& hits) const;
    void keepAlive(const PostingList& list, std::vector<quint32>& hits) const;
    // Adds the live candidates whose folded name holds `text`, when every candidate holds each
    // adjacent pair of its units: names in which no unit repeats are not read.
    void keepHolding(const std::vector<quint32>& candidates, std::u16string_view text,
                     std::vector<quint32>& hits) const;
    void matchNames(QStringView needle, std::vector<quint32>& hits) const;
    void matchPinyin(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const;
    // Finds the hits of a query of three letters or more as the names that hold a run of
    // characters that reads it, found through the lists of the pairs of adjacent units in it,
    // when the characters that may read its parts are few in this index. False, with nothing
    // added, when they are not.
    bool matchRuns(const PinyinMatcher& pinyin, std::vector<quint32>& hits) const;
    // The entries holding a character that reads `first` (one that starts with it, or for one
    // letter, the letter itself) and, unless `second` is empty, right after it one that reads
    // `second`, both in the BMP, through the lists of those units or pairs of units. Nothing when
    // there are too many pairs to look up. Ascending; dead entries included.
    std::optional<std::vector<quint32>> readAsUnits(std::string_view first,
                                                    std::string_view second) const;
    void compactIfWorthIt();
    QStringView foldedName(quint32 position) const;

    // The entries' fields, a column each, so that a pass over many hits reads only what it needs.
    // Most kinds order their categories by serial, and only knowledge has common entries: those
    // two columns stay empty until an entry differs from the serial or from 0.
    NarrowColumn m_ids;
    NarrowColumn m_typeIds;
    std::vector<int> m_usetimes;
    std::vector<int> m_serials;
    std::vector<int> m_typeSerials;
    std::vector<int> m_commonSerials;
    std::vector<bool> m_common;
    std::vector<bool> m_alive; // cleared for entries that were replaced or removed
    // Set for entries whose folded name has no UTF-16 unit twice: one that holds every adjacent
    // pair of a text holds the text, since its units can meet only once.
    std::vector<bool> m_unrepeated;
    // Per entry, the bits of SearchKeys::tripleMark for each three adjacent characters' letters.
    std::vector<quint64> m_marks;
    // The entries with two characters read one after the other that are not two adjacent units
    // of the BMP (whitespace between, or a character beyond it), or one character beyond it with
    // readings: reading through units cannot find them. A query's part of more than one letter is
    // a reading, so readAsUnits() always has a character with readings in its pairs; matchRuns()
    // also has pairs of two letters or digits, and needs the others, with whitespace between two
    // of those alone, kept apart because English names are full of them.
    std::vector<quint32> m_oddNames;
    std::vector<quint32> m_spacedNames;
    // A bit per UTF-16 unit that some name added holds: of the characters that may read a part
    // of a query, the few a library has are found here in a few kilobytes.
    std::vector<quint64> m_unitsHeld;
    // The entries of the threes last asked for by three initials: the names are checked once,
    // and agents type the same initials again and again. Those of entries added later join
    // them; the entries of replaced ones are dropped by their flag when read.
    struct KnownThree {
        quint32 three = 0;
        std::vector<quint32> positions;
        quint64 lastUse = 0;
    };
    static constexpr size_t KnownThrees = 32;
    mutable std::vector<KnownThree> m_knownThrees;
    mutable quint64 m_threeUses = 0;
    QString m_folded;                   // the folded names, back to back
    std::vector<quint32> m_foldedStart; // entry i's name in m_folded; one extra at the end
    // How to get a name back from its folded form: 0, it is the same; otherwise an offset + 1
    // into m_capitals, where a bit per unit tells the ASCII capitals, or with CopiedName set,
    // into m_names, where the length comes first and then the name as given.
    static constexpr quint32 CopiedName = 0x80000000u;
    std::vector<quint32> m_nameForms;
    std::vector<quint8> m_capitals;
    QString m_names;
    // Every list of entries that contain a key, the first always empty. The pinyin keys, by
    // PinyinMatcher::symbol: a character starting with a symbol; two adjacent characters starting
    // with two symbols; a reading's first two letters. The literal keys: a UTF-16 unit of the
    // folded name, and a pair of adjacent units.
    std::vector<PostingList> m_lists;
    std::vector<unsigned char> m_frozen; // the lists' positions as of the last squeeze()
    // The list of each pinyin key and each unit, 0 while it has none, while lists are added; once
    // frozen, only the keys that occur, (key, list) by key: most units never do.
    std::vector<quint32> m_keyLists;
    std::vector<std::pair<quint32, quint32>> m_occurringKeys;
    UnitPairLists m_pairLists;
    // Keys of added entries not yet in their lists, each (key << 32 | position).
    std::vector<quint64> m_pendingKeys;
    std::vector<quint64> m_dealtKeys; // room for flushKeys
    IdPositions m_positions;
    qsizetype m_dead = 0;
    quint32 m_idOrdered = 0;
    bool m_loading = false; // between beginLoad() and squeeze()
    int m_mostLookups = 4096;
};
