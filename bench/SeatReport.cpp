#include "SeatReport.h"

#include <QMap>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using Key = std::pair<int, qint64>; // table, id

Key keyOf(Table table, qint64 id)
{
    return {static_cast<int>(table), id};
}

// The value a column should end with, and the values of failed writes after it, which may or
// may not have reached the store.
struct Expected {
    QString value;
    QStringList maybe;

    void written(const QString& v, bool ok)
    {
        if (v.isNull())
            return;
        if (ok) {
            value = v;
            maybe.clear();
        } else {
            maybe << v;
        }
    }
    bool holds(const QString& v) const { return value.isNull() || v == value || maybe.contains(v); }
};

struct RowExpected {
    Expected name;
    Expected description;
};

struct Bumps {
    qint64 ok = 0;
    qint64 failed = 0;
};

double ms(qint64 us)
{
    return static_cast<double>(std::max<qint64>(0, us)) / 1000.0;
}

QString shortened(const QString& text)
{
    return text.size() > 160 ? text.left(160) + QStringLiteral("…") : text;
}

} // namespace

SeatReport::SeatReport(QList<SeatLog::Record> seats, bool onServer)
    : m_seats(std::move(seats)), m_onServer(onServer)
{
    countWrites();
    if (m_onServer)
        measureHearing();
    measureSeeing();
}

SeatReport::Spread SeatReport::spread(std::vector<double> values)
{
    Spread s;
    s.count = static_cast<qsizetype>(values.size());
    if (values.empty())
        return s;
    std::sort(values.begin(), values.end());
    // Nearest rank: the smallest sample that the given share of the samples does not exceed.
    const auto rank = [&](double share) {
        const auto r = static_cast<size_t>(std::ceil(share * static_cast<double>(values.size())));
        return values[std::max<size_t>(r, 1) - 1];
    };
    s.p50 = rank(0.50);
    s.p95 = rank(0.95);
    s.max = values.back();
    return s;
}

void SeatReport::countWrites()
{
    std::vector<double> writes, searches;
    for (qsizetype seat = 0; seat < m_seats.size(); ++seat) {
        const SeatLog::Record& r = m_seats[seat];
        for (const SeatLog::Write& w : r.writes) {
            switch (w.op) {
            case SeatLog::Op::Insert:
                ++inserts;
                break;
            case SeatLog::Op::Update:
                ++updates;
                break;
            case SeatLog::Op::Bump:
                ++bumps;
                break;
            }
            if (w.ok) {
                writes.push_back(ms(w.endUs - w.startUs));
            } else {
                ++failed;
                if (failedExamples.size() < 5)
                    failedExamples
                        << QStringLiteral("seat %1: %2").arg(seat).arg(shortened(w.error));
            }
        }
        searches.insert(searches.end(), r.searchMs.begin(), r.searchMs.end());
        seatErrorCount += static_cast<int>(r.errors.size());
        for (const QString& e : r.errors) {
            if (seatErrors.size() < 5)
                seatErrors << QStringLiteral("seat %1: %2").arg(seat).arg(shortened(e));
        }
    }
    writeMs = spread(std::move(writes));
    searchMs = spread(std::move(searches));
}

Result<void> SeatReport::verify(Store& store, const QList<Use>& uses)
{
    QMap<Key, RowExpected> rows;
    QMap<Key, Bumps> bumped;
    for (const SeatLog::Record& r : std::as_const(m_seats)) {
        for (const SeatLog::Write& w : r.writes) {
            if (w.op == SeatLog::Op::Bump) {
                Bumps& b = bumped[keyOf(w.table, w.id)];
                ++(w.ok ? b.ok : b.failed);
                continue;
            }
            // A failed insert has no row to look at; the seat never wrote to it again.
            if (w.id == 0)
                continue;
            RowExpected& e = rows[keyOf(w.table, w.id)];
            e.name.written(w.name, w.ok);
            e.description.written(w.description, w.ok);
        }
    }
    for (auto it = rows.cbegin(); it != rows.cend(); ++it) {
        const auto table = static_cast<Table>(it.key().first);
        const qint64 id = it.key().second;
        QStringList read = {QString(Column::Name)};
        if (table == Table::Knowledge)
            read << QString(Column::Description);
        Result<std::optional<Row>> row = store.row(table, id, read);
        if (!row)
            return row.error();
        const QString where = QStringLiteral("%1 %2").arg(Tables::name(table)).arg(id);
        if (!row.value()) {
            ++lost;
            lostExamples << where + QStringLiteral(": the row is missing");
            continue;
        }
        for (const auto& [column, expected] :
             {std::pair{Column::Name, &it.value().name},
              std::pair{Column::Description, &it.value().description}}) {
            const QString held = row.value()->value(column).toString();
            if (expected->holds(held))
                continue;
            ++lost;
            lostExamples << QStringLiteral("%1: %2 is \"%3\", the seat wrote \"%4\"")
                                .arg(where, QString(column), shortened(held),
                                     shortened(expected->value));
        }
    }
    for (const Use& u : uses) {
        const Bumps b = bumped.value(keyOf(u.table, u.id));
        Result<std::optional<Row>> row = store.row(u.table, u.id, {QString(Column::UseTime)});
        if (!row)
            return row.error();
        const QString where = QStringLiteral("%1 %2").arg(Tables::name(u.table)).arg(u.id);
        if (!row.value()) {
            lost += static_cast<int>(b.ok);
            lostExamples << where + QStringLiteral(": the sent row is missing");
            continue;
        }
        const qint64 added = row.value()->value(Column::UseTime).toLongLong() - u.before;
        if (added < b.ok) {
            lost += static_cast<int>(b.ok - added);
            lostExamples << QStringLiteral("%1: use count rose by %2, the seats sent it %3 times")
                                .arg(where)
                                .arg(added)
                                .arg(b.ok);
        } else if (added > b.ok + b.failed) {
            extra += static_cast<int>(added - b.ok - b.failed);
        }
    }
    while (lostExamples.size() > 10)
        lostExamples.removeLast();
    return {};
}

void SeatReport::measureHearing()
{
    // Per seat: when it heard each row, and when each table was reset.
    struct Ears {
        QHash<Key, std::vector<qint64>> rows;
        QHash<int, std::vector<qint64>> resets;
    };
    std::vector<Ears> ears(static_cast<size_t>(m_seats.size()));
    for (qsizetype s = 0; s < m_seats.size(); ++s) {
        for (const SeatLog::Heard& h : m_seats[s].heard) {
            Ears& e = ears[static_cast<size_t>(s)];
            if (h.change == Change::Reset)
                e.resets[static_cast<int>(h.table)].push_back(h.atUs);
            else
                e.rows[keyOf(h.table, h.id)].push_back(h.atUs);
        }
    }
    const auto firstIn = [](const std::vector<qint64>& times, qint64 from, qint64 to) {
        const auto it = std::lower_bound(times.begin(), times.end(), from);
        return it != times.end() && *it < to ? std::optional<qint64>(*it) : std::nullopt;
    };

    std::vector<double> latencies, fromStart;
    for (qsizetype writer = 0; writer < m_seats.size(); ++writer) {
        const QList<SeatLog::Write>& writes = m_seats[writer].writes;
        for (qsizetype i = 0; i < writes.size(); ++i) {
            const SeatLog::Write& w = writes[i];
            // Use counts are bumped by every seat: their notifications cannot be told apart.
            if (!w.ok || w.op == SeatLog::Op::Bump)
                continue;
            // The row is the writer's alone, so its next write to it closes this one's window.
            qint64 until = std::numeric_limits<qint64>::max();
            for (qsizetype j = i + 1; j < writes.size(); ++j) {
                if (writes[j].table == w.table && writes[j].id == w.id) {
                    until = writes[j].startUs;
                    break;
                }
            }
            for (qsizetype listener = 0; listener < m_seats.size(); ++listener) {
                if (listener == writer)
                    continue;
                const Ears& e = ears[static_cast<size_t>(listener)];
                std::optional<qint64> at;
                if (auto rowIt = e.rows.constFind(keyOf(w.table, w.id)); rowIt != e.rows.cend())
                    at = firstIn(*rowIt, w.startUs, until);
                if (auto resetIt = e.resets.constFind(static_cast<int>(w.table));
                    resetIt != e.resets.cend()) {
                    const std::optional<qint64> reset = firstIn(*resetIt, w.startUs, until);
                    if (reset && (!at || *reset < *at))
                        at = reset;
                }
                if (at) {
                    latencies.push_back(ms(*at - w.endUs));
                    fromStart.push_back(ms(*at - w.startUs));
                } else {
                    ++unheard;
                }
            }
        }
    }
    heardMs = spread(std::move(latencies));
    heardFromStartMs = spread(std::move(fromStart));
}

void SeatReport::measureSeeing()
{
    std::vector<QHash<Key, qint64>> seen(static_cast<size_t>(m_seats.size()));
    for (qsizetype s = 0; s < m_seats.size(); ++s) {
        for (const SeatLog::Seen& v : m_seats[s].seen)
            seen[static_cast<size_t>(s)].insert(keyOf(v.table, v.id), v.atUs);
    }
    std::vector<double> latencies;
    for (qsizetype writer = 0; writer < m_seats.size(); ++writer) {
        for (const SeatLog::Write& w : m_seats[writer].writes) {
            if (!w.ok || w.op != SeatLog::Op::Insert)
                continue;
            for (qsizetype other = 0; other < m_seats.size(); ++other) {
                if (other == writer)
                    continue;
                const QHash<Key, qint64>& at = seen[static_cast<size_t>(other)];
                if (auto it = at.constFind(keyOf(w.table, w.id)); it != at.cend())
                    latencies.push_back(ms(*it - w.endUs));
                else
                    ++unseen;
            }
        }
    }
    seenMs = spread(std::move(latencies));
}
