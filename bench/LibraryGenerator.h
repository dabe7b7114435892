#pragma once

#include "data/Result.h"
#include "data/Store.h"

#include <QSet>
#include <QString>
#include <QStringView>
#include <functional>
#include <random>
#include <utility>

// A large library of customer-service material for the benchmarks: categories, knowledge,
// phrases, company affairs, couriers, files, tools and private notes with Chinese titles that
// read like real ones. The same seed writes the same rows, in the same order, on every machine.
//
// The store computes the pinyin initials of every name on insert, so it should have its pinyin
// table set; without one the initials of Chinese names are missing.
class LibraryGenerator {
public:
    // Values of the two-character markers (%P, %T, ...) in the patterns that titles and texts
    // are made from.
    using Fill = QList<std::pair<QChar, QString>>;

    struct Sizes {
        int bigCategories = 200;
        int smallPerBig = 10;
        int knowledge = 100000;
        int phraseCategories = 50;
        int phrases = 100000;
        int affairs = 10000;
        int couriers = 10000;
        int files = 10000;
        int tools = 10000;
        int privateNotes = 10000;
        int otherCategories = 8; // file, tool and private-note categories, each
        // Every knowledge title and phrase also names a term of two or three characters drawn
        // from all of GB2312's first level, as a real library's thousands of distinct characters
        // would; the default vocabulary has a few hundred.
        bool wide = false;
    };

    // One write transaction per batch: SQLite syncs every commit, so a row per commit would take
    // hours.
    static constexpr int BatchRows = 5000;

    static constexpr quint32 DefaultSeed = 20240517;

    // The library the benchmarks are measured on.
    explicit LibraryGenerator(Store& store);
    LibraryGenerator(Store& store, Sizes sizes, quint32 seed = DefaultSeed);

    // Whether the stores already hold a library: any knowledge entry counts.
    Result<bool> hasLibrary();
    // Fills both stores unless they already hold a library; tells whether it wrote.
    Result<bool> fillIfEmpty();
    // Writes the whole library, reporting progress on stderr. Meant for stores without
    // material: a generated name that is already taken fails the insert.
    Result<void> fill();

private:
    // Unique names within one table (or one section of `type`), compared the way the schema's
    // NOCASE constraint does, and kept within a length range.
    class NameBook {
    public:
        NameBook(int minLength, int maxLength) : m_min(minLength), m_max(maxLength) {}
        // A name from `candidate`, tried a few times; a counter makes the last try unique.
        QString take(const std::function<QString()>& candidate);

    private:
        bool fits(const QString& name) const;

        int m_min;
        int m_max;
        int m_counter = 0;
        QSet<QString> m_taken;
    };

    using MakeRow = std::function<Row(int)>;

    Result<QList<qint64>> insertAll(Table table, int count, const MakeRow& make);
    Result<QList<qint64>> insertCategories(Table table, const QStringList& names, int count);

    Result<void> fillCatalogue();
    Result<void> fillKnowledge();
    Result<void> fillPhrases();
    Result<void> fillAffairs();
    Result<void> fillCouriers();
    Result<void> fillFiles();
    Result<void> fillTools();
    Result<void> fillPrivateNotes();

    // Uniform in [0, n): the modulo keeps the sequence identical across standard libraries.
    int below(int n) { return static_cast<int>(m_random() % static_cast<quint32>(n)); }
    bool chance(int percent) { return below(100) < percent; }
    QString pick(const QList<QStringView>& words) { return words[below(words.size())].toString(); }
    QString model();
    // A term for Sizes::wide, or nothing without it.
    QString wideTerm();
    // Sentences drawn from `sentences` until the text is long enough, with the markers of `fill`
    // replaced and %N a number from 1 to largestNumber.
    QString paragraph(const QList<QStringView>& sentences, int minLength, int maxLength,
                      const Fill& fill, int largestNumber);
    QByteArray smallFile(const QString& extname, int length);

    Store& m_store;
    Sizes m_sizes;
    std::mt19937 m_random;
    QList<qint64> m_bigIds;
    QList<qint64> m_smallIds;
};
