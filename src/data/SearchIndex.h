#pragma once

#include <QHash>
#include <QString>
#include <QStringView>
#include <functional>
#include <vector>

// The searchable names of one kind of material, held in memory: a substring of the name or of
// its pinyin initials finds an entry in one pass over a single buffer, without a database
// round trip per keystroke.
class SearchIndex {
public:
    struct Source {
        qint64 id = 0;
        QString name;
        QString pycode;
        qint64 typeId = 0;
        int usetime = 0;
        int serial = 0;
        int commonSerial = 0;
        bool common = false;
    };
    struct Entry {
        qint64 id = 0;
        qint64 typeId = 0;
        int usetime = 0;
        int serial = 0;
        int commonSerial = 0;
        qsizetype nameStart = 0;
        qsizetype nameLength = 0;
        bool common = false;
        bool alive = true;
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
    QString name(const Entry& entry) const;

    // Calls `hit` once for every live entry whose folded name or initials contain the folded
    // `needle` (every live entry when it is empty), in the order the entries were added.
    void match(QStringView foldedNeedle, const std::function<void(const Entry&)>& hit) const;

private:
    void compactIfWorthIt();

    std::vector<Entry> m_entries;
    std::vector<qsizetype> m_textStart; // start of entry i's text in m_text; one extra at the end
    QString m_text;                     // per entry: folded name, U+0001, folded pycode, U+0002
    QString m_names;
    QHash<qint64, qsizetype> m_byId;
    qsizetype m_dead = 0;
};
