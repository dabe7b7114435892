#pragma once

#include "data/Result.h"
#include "data/Store.h"

#include <QList>
#include <QString>
#include <optional>

// The custom order of one list: which serial-number column of which rows a node of the sort
// window's tree stands for, the rows with their numbers, and how they are renumbered, moved and
// saved. In the entries scope a node lists entries; in the categories scope the categories under
// it (a node of one category lists that category's entries in both).
class CustomOrder {
public:
    enum class Scope { Entries, Categories };

    struct Row {
        qint64 id = 0;
        QString name;
        qint64 number = 0;
        friend bool operator==(const Row&, const Row&) = default;
    };

    struct Target {
        Table table = Table::Knowledge;
        QLatin1StringView column;
        Where where;
    };

    // The list a tree node key ("I2", "T5", "ST3", "P") stands for; nothing for a key that is
    // no list.
    static std::optional<Target> target(const QString& nodeKey, Scope scope);

    explicit CustomOrder(Store& store) : m_store(store) {}

    // The list's rows in their current order: by number, then id.
    Result<QList<Row>> load(const Target& target) const;

    // 1, 2, 3 ... in the order shown.
    static void renumber(QList<Row>& rows);
    // Moves a row and renumbers, as a drag or 上移/下移 does.
    static void move(QList<Row>& rows, int from, int to);
    static void sortByName(QList<Row>& rows);

    // Writes every changed number in one transaction; only numbers are written.
    Result<void> save(const Target& target, const QList<Row>& rows) const;

private:
    Store& m_store;
};
