#include "SeatLog.h"

#include <chrono>

namespace SeatLog {

namespace {

QByteArray text(const QString& value)
{
    // A null value (column not written) and an empty one must stay apart.
    return value.isNull() ? QByteArray("-") : "=" + value.toUtf8().toPercentEncoding();
}

QString untext(const QByteArray& field)
{
    if (!field.startsWith('='))
        return {};
    const QString value = QString::fromUtf8(QByteArray::fromPercentEncoding(field.mid(1)));
    return value.isNull() ? QString::fromLatin1("", 0) : value;
}

QByteArray number(qint64 n)
{
    return QByteArray::number(n);
}

template <class E> E enumOf(const QByteArray& field)
{
    return static_cast<E>(field.toInt());
}

} // namespace

qint64 nowUs()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Writer::Writer(const QString& path) : m_file(path)
{
    (void)m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
}

void Writer::line(const QList<QByteArray>& fields)
{
    m_file.write(fields.join('\t') + '\n');
}

void Writer::write(const Write& w)
{
    line({"W", number(static_cast<int>(w.op)), number(static_cast<int>(w.table)), number(w.id),
          number(w.startUs), number(w.endUs), w.ok ? "1" : "0", text(w.name), text(w.description),
          text(w.error)});
    // A seat that dies keeps the writes it was told about: the check at the end needs them all.
    m_file.flush();
}

void Writer::heard(const Heard& h)
{
    line({"C", number(static_cast<int>(h.table)), number(h.id), number(static_cast<int>(h.change)),
          number(h.atUs)});
}

void Writer::seen(const Seen& s)
{
    line({"S", number(static_cast<int>(s.table)), number(s.id), number(s.atUs)});
}

void Writer::searched(double ms)
{
    line({"Q", QByteArray::number(ms, 'f', 3)});
}

void Writer::error(const QString& message)
{
    line({"E", text(message)});
}

void Writer::end()
{
    line({"END"});
    m_file.flush();
}

Result<Record> read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("cannot read %1: %2").arg(path, file.errorString())};
    Record r;
    while (!file.atEnd()) {
        const QList<QByteArray> f = file.readLine().chopped(1).split('\t');
        const QByteArray& kind = f.first();
        if (kind == "W" && f.size() == 10) {
            r.writes << Write{enumOf<Op>(f[1]),  enumOf<Table>(f[2]), f[3].toLongLong(),
                              f[4].toLongLong(), f[5].toLongLong(),   f[6] == "1",
                              untext(f[7]),      untext(f[8]),        untext(f[9])};
        } else if (kind == "C" && f.size() == 5) {
            r.heard << Heard{enumOf<Table>(f[1]), f[2].toLongLong(), enumOf<Change>(f[3]),
                             f[4].toLongLong()};
        } else if (kind == "S" && f.size() == 4) {
            r.seen << Seen{enumOf<Table>(f[1]), f[2].toLongLong(), f[3].toLongLong()};
        } else if (kind == "Q" && f.size() == 2) {
            r.searchMs.push_back(f[1].toDouble());
        } else if (kind == "E" && f.size() == 2) {
            r.errors << untext(f[1]);
        } else if (kind == "END") {
            r.ended = true;
        } else {
            return Error{QStringLiteral("%1: a line the seats do not write").arg(path)};
        }
    }
    return r;
}

} // namespace SeatLog
