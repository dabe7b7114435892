#include "data/PgSchema.h"
#include "data/Settings.h"
#include "data/Store.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QSocketNotifier>
#include <QSqlQuery>
#include <cstdio>
#include <unistd.h>

// One seat of the live tests, in a process of its own: a store on the data root given as the
// argument. Every announcement and every answer is printed as a line that starts with the
// milliseconds since the epoch (for ok and failed: when the command began), so that two seats'
// lines can be compared:
//   <ms> ready | changed <table> <id> I|U|D|R | lost <message> | restored
//   <ms> ok <id> | failed <message> | pid <backend> | inside
// Commands come one a line on stdin:
//   insert <table> <name>, update <table> <id> <name>, remove <table> <id>,
//   bulk <table> <prefix> <count> (one transaction), pid (the server backend's),
//   txn <table> <name1> <name2> (one transaction that says "inside" after the first row and
//   waits for any line before the second).
// The seat ends when stdin is closed.

namespace {

void say(const QString& text, qint64 ms = QDateTime::currentMSecsSinceEpoch())
{
    const QByteArray line = QByteArray::number(ms) + ' ' + text.toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}

QString changeLetter(Change change)
{
    switch (change) {
    case Change::Inserted:
        return QStringLiteral("I");
    case Change::Updated:
        return QStringLiteral("U");
    case Change::Removed:
        return QStringLiteral("D");
    case Change::Reset:
        return QStringLiteral("R");
    }
    return {};
}

// Lines of stdin, taken as they come (from the event loop) or waited for (inside a transaction).
class LineReader {
public:
    // The next whole line; nothing when none is buffered and `wait` is false, or at the end.
    std::optional<QByteArray> next(bool wait)
    {
        while (!m_buffer.contains('\n')) {
            if (!wait && !m_readable)
                return std::nullopt;
            m_readable = false;
            char chunk[4096];
            const ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
            if (n <= 0) {
                m_ended = true;
                return std::nullopt;
            }
            m_buffer.append(chunk, n);
        }
        const qsizetype end = m_buffer.indexOf('\n');
        const QByteArray line = m_buffer.left(end);
        m_buffer.remove(0, end + 1);
        return line;
    }
    void markReadable() { m_readable = true; }
    bool ended() const { return m_ended; }

private:
    QByteArray m_buffer;
    bool m_readable = false;
    bool m_ended = false;
};

class Seat {
public:
    Seat(Store& store, LineReader& reader) : m_store(store), m_reader(reader) {}

    void perform(const QString& line)
    {
        const qint64 began = QDateTime::currentMSecsSinceEpoch();
        const QStringList w = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        Result<qint64> done = Error{QStringLiteral("unknown command: ") + line};
        if (w.value(0) == QLatin1String("pid")) {
            QSqlQuery q(m_store.database(StoreId::Assistant));
            if (q.exec(QStringLiteral("SELECT pg_backend_pid()")) && q.next())
                say(QStringLiteral("pid ") + q.value(0).toString());
            else
                say(QStringLiteral("failed no backend"));
            return;
        }
        // The table is the second word of every other command.
        const std::optional<Table> named =
            w.size() > 1 ? Tables::fromSqlName(w.at(1)) : std::nullopt;
        const Table table = named.value_or(Table::Item);
        const QString command = named ? w.value(0) : QString();
        if (command == QLatin1String("insert") && w.size() == 3)
            done = m_store.insert(table, {{QStringLiteral("name"), w.at(2)}});
        else if (command == QLatin1String("update") && w.size() == 4)
            done = idOf(
                m_store.update(table, w.at(2).toLongLong(), {{QStringLiteral("name"), w.at(3)}}),
                w.at(2));
        else if (command == QLatin1String("remove") && w.size() == 3)
            done = idOf(m_store.remove(table, w.at(2).toLongLong()), w.at(2));
        else if (command == QLatin1String("bulk") && w.size() == 4)
            done = idOf(bulk(table, w.at(2), w.at(3).toInt()), w.at(3));
        else if (command == QLatin1String("txn") && w.size() == 4)
            done = idOf(held(table, w.at(2), w.at(3)), QStringLiteral("0"));
        say(done ? QStringLiteral("ok %1").arg(done.value())
                 : QStringLiteral("failed ") + done.message().simplified(),
            began);
    }

private:
    static Result<qint64> idOf(const Result<void>& r, const QString& id)
    {
        if (!r)
            return r.error();
        return id.toLongLong();
    }

    Result<void> bulk(Table table, const QString& prefix, int count)
    {
        return m_store.transaction(StoreId::Assistant, [&]() -> Result<void> {
            for (int i = 0; i < count; ++i) {
                const Result<qint64> r =
                    m_store.insert(table, {{QStringLiteral("name"), prefix + QString::number(i)}});
                if (!r)
                    return r.error();
            }
            return {};
        });
    }

    Result<void> held(Table table, const QString& first, const QString& second)
    {
        return m_store.transaction(StoreId::Assistant, [&]() -> Result<void> {
            if (const Result<qint64> r = m_store.insert(table, {{QStringLiteral("name"), first}});
                !r)
                return r.error();
            say(QStringLiteral("inside"));
            m_reader.next(true);
            if (const Result<qint64> r = m_store.insert(table, {{QStringLiteral("name"), second}});
                !r)
                return r.error();
            return {};
        });
    }

    Store& m_store;
    LineReader& m_reader;
};

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    if (argc != 2) {
        std::fputs("usage: pgseat DATA_ROOT\n", stderr);
        return 2;
    }
    const QString root = QString::fromLocal8Bit(argv[1]);
    Settings settings(QDir(root).filePath(QStringLiteral("config.ini")));
    Store store(root, settings);
    if (const Result<void> r = settings.load(); !r) {
        say(QStringLiteral("failed ") + r.message().simplified());
        return 1;
    }
    if (const Result<void> r = store.open(); !r) {
        say(QStringLiteral("failed ") + r.message().simplified());
        return 1;
    }
    QObject::connect(&store, &Store::changed, [](Table table, qint64 id, Change change) {
        say(QStringLiteral("changed %1 %2 %3")
                .arg(PgSchema::tableName(table))
                .arg(id)
                .arg(changeLetter(change)));
    });
    QObject::connect(&store, &Store::serverLost, [](const QString& message) {
        say(QStringLiteral("lost ") + message.simplified());
    });
    QObject::connect(&store, &Store::serverRestored, [] { say(QStringLiteral("restored")); });

    LineReader reader;
    Seat seat(store, reader);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        reader.markReadable();
        while (const std::optional<QByteArray> line = reader.next(false))
            seat.perform(QString::fromUtf8(*line));
        if (reader.ended())
            app.quit();
    });
    say(QStringLiteral("ready"));
    return app.exec();
}
