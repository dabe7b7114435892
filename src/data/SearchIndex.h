#pragma once

#include <QHash>
#include <QString>
#include <QStringView>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The searchable names of one kind of material, held in memory, so that a keystroke needs no
// database round trip. Names and pinyin initials are found through lists of the entries that
// contain each character and each pair of adjacent characters: a search reads the one shortest
// list the needle allows rather than all the text.
class SearchIndex {
public:
    struct Source {
        qint64 id = 0;
        QString name;
        QString pycode;
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
        qsizetype nameStart = 0;
        qsizetype nameLength = 0;
        bool common = false;
        // The name is stored folded only, folding having left it unchanged.
        bool nameIsFolded = false;
    };

    // Case folding applied to indexed text and to queries alike.
    static QString fold(QStringView text);

    void clear();
    void reserve(qsizetype entries, qsizetype characters);
    // Adds an entry, replacing an existing one with the same id.
    void upsert(const Source& source);
    void remove(qint64 id);

    qsizetype size() const { return m_byId.size(); }
    bool contains(qint64 id) const { return m_byId.contains(id); }
    const Entry* find(qint64 id) const;
    // The entry at a position that match() returned.
    const Entry& at(quint32 position) const { return m_entries[position]; }
    // The same as at(position).id, from a compact array that a pass over many hits reads
    // without a cache miss per hit.
    qint64 id(quint32 position) const { return m_ids[position]; }
    QString name(const Entry& entry) const;

    // The positions of every live entry whose folded name or folded initials contain the folded
    // `needle` (every live entry when it is empty), ascending, which is the order the entries
    // were added in.
    std::vector<quint32> match(QStringView foldedNeedle) const;

private:
    // An ascending list of entry positions, kept as the differences between neighbours in
    // groups of seven bits: the long lists of frequent characters take about a byte per entry.
    class Postings {
    public:
        quint32 size() const { return m_count; }
        void add(quint32 position);
        template <typename Visit> void forEach(Visit visit) const
        {
            quint32 position = 0;
            quint32 delta = 0;
            int shift = 0;
            for (const unsigned char byte : m_bytes) {
                delta |= static_cast<quint32>(byte & 0x7f) << shift;
                if (byte & 0x80) {
                    shift += 7;
                    continue;
                }
                position += delta;
                visit(position);
                delta = 0;
                shift = 0;
            }
        }

    private:
        std::vector<unsigned char> m_bytes;
        quint32 m_last = 0;
        quint32 m_count = 0;
    };

    void append(const Entry& entry, QStringView name, QStringView foldedName);
    void appendAsciiInitials(std::string_view initials);
    void appendOtherInitials(const QString& initials);
    void compactIfWorthIt();
    void matchNames(QStringView needle, std::vector<quint32>& hits) const;
    void matchInitials(QStringView needle, std::vector<quint32>& hits) const;
    std::string_view initials(quint32 position) const;
    QStringView foldedName(quint32 position) const;

    std::vector<Entry> m_entries;
    std::vector<qint64> m_ids;
    std::vector<bool> m_alive;            // cleared for entries that were replaced or removed
    QString m_names;                      // as given, for name(), where folding changed them
    QString m_folded;                     // the folded names, back to back
    std::vector<qsizetype> m_foldedStart; // entry i's name in m_folded; one extra at the end
    // The entries whose folded name contains a UTF-16 unit, and a pair of adjacent units (the
    // first in the high half of the key).
    QHash<char16_t, Postings> m_nameUnigrams;
    QHash<quint32, Postings> m_nameBigrams;
    // Folded initials that are all ASCII, back to back; other entries' initials are empty here
    // and kept in m_otherInitials instead.
    std::string m_initials;
    std::vector<qsizetype> m_initialsStart; // as m_foldedStart
    // The entries whose initials contain a character (indexed by it), and a pair of adjacent
    // characters (indexed by first * 128 + second).
    std::vector<Postings> m_initialUnigrams;
    std::vector<Postings> m_initialBigrams;
    // Entries whose folded initials are not all ASCII, ascending: checked one by one.
    std::vector<std::pair<quint32, QString>> m_otherInitials;
    QHash<qint64, qsizetype> m_byId;
    qsizetype m_dead = 0;
};
