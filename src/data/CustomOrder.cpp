#include "data/CustomOrder.h"

#include "data/Columns.h"

#include <QCollator>
#include <QHash>
#include <QRegularExpression>
#include <algorithm>

std::optional<CustomOrder::Target> CustomOrder::target(const QString& nodeKey, Scope scope)
{
    static const QRegularExpression keyForm(QStringLiteral("^(I|T|G|ST|FT|LT|PT|S|F|L|P)(\\d*)$"));
    const QRegularExpressionMatch m = keyForm.match(nodeKey);
    if (!m.hasMatch())
        return std::nullopt;
    const QString kind = m.captured(1);
    const QString digits = m.captured(2);
    const qint64 id = digits.toLongLong();
    const bool categories = scope == Scope::Categories;
    const bool needsId = kind.size() == 2 || kind == QLatin1String("I") ||
                         kind == QLatin1String("T") || kind == QLatin1String("G");
    if (needsId != !digits.isEmpty())
        return std::nullopt;

    if (kind == QLatin1String("I")) {
        if (id == 1)
            return Target{Table::Knowledge, Column::CommonSerialNum, {{Column::CommonFlag, 1}}};
        if (id == 2 && !categories)
            return Target{Table::Knowledge, Column::SerialNum, {}};
        return Target{Table::Type, Column::SerialNum, {{Column::ItemId, id}}};
    }
    if (kind == QLatin1String("T"))
        return categories ? Target{Table::Goods, Column::SerialNum, {{Column::TypeId, id}}}
                          : Target{Table::Knowledge, Column::BigSerialNum, {{Column::TypeId, id}}};
    if (kind == QLatin1String("G"))
        return Target{Table::Knowledge, Column::LittleSerialNum, {{Column::GoodsId, id}}};

    struct Section {
        QChar letter;
        Table categoryTable;
        Table entryTable;
    };
    static const Section sections[] = {{u'S', Table::SimpleType, Table::Simple},
                                       {u'F', Table::FileType, Table::File},
                                       {u'L', Table::ToolsType, Table::Tools},
                                       {u'P', Table::PersonalType, Table::Personal}};
    for (const Section& s : sections) {
        if (kind.at(0) != s.letter)
            continue;
        if (kind.size() == 2)
            return Target{s.entryTable, Column::TypeSerialNum, {{Column::TypeId, id}}};
        return Target{categories ? s.categoryTable : s.entryTable, Column::SerialNum, {}};
    }
    return std::nullopt;
}

Result<QList<CustomOrder::Row>> CustomOrder::load(const Target& target) const
{
    Query q;
    q.table = target.table;
    q.columns = {Column::Id, Column::Name, target.column};
    q.where = target.where;
    q.ordered = false;
    const Result<QList<::Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    QList<Row> out;
    out.reserve(rows->size());
    for (const ::Row& r : rows.value())
        out.append({r.value(Column::Id).toLongLong(), r.value(Column::Name).toString().trimmed(),
                    r.value(target.column).toLongLong()});
    std::stable_sort(out.begin(), out.end(), [](const Row& a, const Row& b) {
        return a.number != b.number ? a.number < b.number : a.id < b.id;
    });
    return out;
}

void CustomOrder::renumber(QList<Row>& rows)
{
    for (qsizetype i = 0; i < rows.size(); ++i)
        rows[i].number = i + 1;
}

void CustomOrder::move(QList<Row>& rows, int from, int to)
{
    if (from < 0 || from >= rows.size() || to < 0 || to >= rows.size())
        return;
    rows.move(from, to);
    renumber(rows);
}

void CustomOrder::sortByName(QList<Row>& rows)
{
    QCollator collator;
    std::stable_sort(rows.begin(), rows.end(), [&collator](const Row& a, const Row& b) {
        return collator.compare(a.name, b.name) < 0;
    });
}

Result<void> CustomOrder::save(const Target& target, const QList<Row>& rows) const
{
    const Result<QList<Row>> stored = load(target);
    if (!stored)
        return stored.error();
    QHash<qint64, qint64> current;
    for (const Row& r : stored.value())
        current.insert(r.id, r.number);
    return m_store.transaction(Tables::store(target.table), [&]() -> Result<void> {
        for (const Row& r : rows) {
            if (current.contains(r.id) && current.value(r.id) == r.number)
                continue;
            if (Result<void> u = m_store.update(target.table, r.id, {{target.column, r.number}});
                !u)
                return u;
        }
        return {};
    });
}
