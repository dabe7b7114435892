// Many seats on one shared store: N agents' panels, each a process of its own, searching and
// writing at ten times an agent's pace for S seconds, against the shared store on a PostgreSQL
// server or in one SQLite file.
//
//   bench_seats [--server [URL] | --file [FOLDER]] [--seats N] [--seconds S] [--knowledge N]
//               [--writes-only]
//
// --server (the default) without an address starts a PostgreSQL 15 of its own in a temporary
// folder (fsync on); with one, the database should be empty: the library is written into it
// and left there. --file without a folder uses a temporary one. Defaults: 30 seats, 60 seconds,
// a library of 3000 knowledge entries, 2000 phrases and a few hundred of every other kind.
// --writes-only leaves the searches out (each seat searches once, at the end): on one machine
// the seats' searches share its processors, and this shows what the store alone allows.
//
// An agent's pace, as chosen for the bench: a search every 4 s (the query bar as the agent
// types; the first page of hits is read, as the result list does), a knowledge entry or phrase
// added or edited every 30 s, and a knowledge entry or phrase sent (its use count bumped) every
// 10 s. The seats run ten times faster: a search every 0.4 s, a write every 3 s, a send every
// 1 s, each think time drawn from an exponential distribution around that mean. Writes are
// inserts and edits of the seat's own rows in equal parts (knowledge or phrase alike), so that
// the value every row must end with is known; sends go to 40 popular knowledge entries and 40
// popular phrases shared by all seats, so those rows are written by every seat at once.
//
// Reported: writes (and how many failed, with the store's message), lost writes (a value a seat
// got an OK for but the store does not hold at the end, or a use count that rose less than the
// OKs given), write latency, search latency, and how long a change takes to reach the other
// seats. On a server that is the time from the writer's commit to each other seat's changed()
// signal. A SQLite seat hears nothing from the others, so there it is the time from the commit
// of a new row until each other seat's next search finds it (the same figure is given for the
// server too). All seats run on this machine and share its steady clock.
//
// Ends with one line "RESULT store=... seats=N writes=... failed=... lost=... write_p50_ms=...
// write_p95_ms=... change_p50_ms=... change_p95_ms=... search_p95_ms=...". Exit codes: 0 done,
// 1 a lost write, a seat that crashed, hung or failed, a change never heard or a new row never
// found, or the set-up failed, 2 bad arguments.

#include "LibraryGenerator.h"
#include "SeatReport.h"
#include "SeatWorker.h"
#include "app/Startup.h"
#include "platform/PlatformPaths.h"
#include "support/PgServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSaveFile>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTextStream>
#include <QThread>
#include <algorithm>
#include <memory>
#include <optional>

namespace {

// How many of the most used rows every seat sends.
constexpr int HotRows = 40;

struct Options {
    bool worker = false;
    bool server = true;
    QString place; // the server's address or the folder; empty: a temporary one
    int seats = 30;
    int seconds = 60;
    int knowledge = 3000;
    SeatWorker::Plan plan;
    QString error;
};

QList<qint64> idList(const QString& text)
{
    QList<qint64> ids;
    for (const QString& part : text.split(QLatin1Char(','), Qt::SkipEmptyParts))
        ids << part.toLongLong();
    return ids;
}

QString idText(const QList<qint64>& ids)
{
    QStringList parts;
    for (qint64 id : ids)
        parts << QString::number(id);
    return parts.join(QLatin1Char(','));
}

Options parse(const QStringList& args)
{
    Options o;
    for (qsizetype i = 1; i < args.size() && o.error.isEmpty(); ++i) {
        const QString& a = args[i];
        const bool hasValue = i + 1 < args.size() && !args[i + 1].startsWith(QLatin1String("--"));
        auto value = [&]() -> QString {
            if (!hasValue) {
                o.error = a + QStringLiteral(" needs a value");
                return {};
            }
            return args[++i];
        };
        auto number = [&](int& into, int least) {
            bool ok = false;
            into = value().toInt(&ok);
            if (o.error.isEmpty() && (!ok || into < least))
                o.error = a + QStringLiteral(" needs a number of at least %1").arg(least);
        };
        if (a == QLatin1String("--server") || a == QLatin1String("--file")) {
            o.server = a == QLatin1String("--server");
            if (hasValue)
                o.place = args[++i];
        } else if (a == QLatin1String("--seats")) {
            number(o.seats, 1);
        } else if (a == QLatin1String("--seconds")) {
            number(o.seconds, 1);
        } else if (a == QLatin1String("--knowledge")) {
            number(o.knowledge, 100);
        } else if (a == QLatin1String("--writes-only")) {
            o.plan.searching = false;
        } else if (a == QLatin1String("--worker")) {
            o.worker = true;
        } else if (a == QLatin1String("--seat")) {
            number(o.plan.seat, 0);
        } else if (a == QLatin1String("--root")) {
            o.plan.root = value();
        } else if (a == QLatin1String("--log")) {
            o.plan.logPath = value();
        } else if (a == QLatin1String("--go")) {
            o.plan.goPath = value();
        } else if (a == QLatin1String("--hot-knowledge")) {
            o.plan.hotKnowledge = idList(value());
        } else if (a == QLatin1String("--hot-phrases")) {
            o.plan.hotPhrases = idList(value());
        } else {
            o.error = QStringLiteral("unknown argument ") + a;
        }
    }
    o.plan.seats = o.seats;
    return o;
}

DataRoot benchRoot(const QString& folder)
{
    return DataRoot(folder,
                    PlatformPaths::shippedDataFolders(QCoreApplication::applicationDirPath()));
}

// A seat's data root: a config.ini naming the shared store; the personal store appears there.
Result<void> makeRoot(const QString& folder, const QString& databasePath)
{
    if (!QDir().mkpath(folder))
        return Error{QStringLiteral("cannot make ") + folder};
    const QString config = QDir(folder).filePath(QStringLiteral("config.ini"));
    if (Result<void> r = Settings::ensureFile(config); !r)
        return r;
    Settings settings(config);
    if (Result<void> r = settings.load(); !r)
        return r;
    return settings.setValue(Setting::DatabasePath, databasePath);
}

// The most used rows of a table, with their use counts.
Result<QList<SeatReport::Use>> mostUsed(Store& store, Table table)
{
    Query q;
    q.table = table;
    q.columns = {QString(Column::Id), QString(Column::UseTime)};
    q.ordered = false;
    Result<QList<Row>> rows = store.rows(q);
    if (!rows)
        return rows.error();
    QList<SeatReport::Use> uses;
    for (const Row& r : rows.value())
        uses << SeatReport::Use{table, r.value(Column::Id).toLongLong(),
                                r.value(Column::UseTime).toLongLong()};
    std::sort(uses.begin(), uses.end(), [](const SeatReport::Use& a, const SeatReport::Use& b) {
        return a.before != b.before ? a.before > b.before : a.id < b.id;
    });
    if (uses.size() < HotRows)
        return Error{Tables::name(table) + QStringLiteral(" has too few rows")};
    return uses.mid(0, HotRows);
}

// Fills the shared store (unless it holds a library) and picks the rows every seat sends.
Result<QList<SeatReport::Use>> prepareLibrary(const QString& root, int knowledge, QTextStream& out)
{
    Startup startup(benchRoot(root));
    if (Result<void> r = startup.run(); !r)
        return r.error();
    if (!startup.pinyin().loadLibSuccess())
        return Error{QStringLiteral("the pinyin table is missing: build the pylib target")};
    LibraryGenerator::Sizes sizes;
    sizes.bigCategories = 20;
    sizes.smallPerBig = 5;
    sizes.knowledge = knowledge;
    sizes.phraseCategories = 10;
    sizes.phrases = knowledge * 2 / 3;
    sizes.affairs = sizes.couriers = knowledge / 10;
    sizes.files = sizes.tools = sizes.privateNotes = knowledge / 30;
    sizes.otherCategories = 4;
    LibraryGenerator generator(startup.store(), sizes);
    Result<bool> filled = generator.fillIfEmpty();
    if (!filled)
        return filled.error();
    if (filled.value())
        out << "library written: " << knowledge << " knowledge entries and the rest in proportion"
            << Qt::endl;
    else
        out << "the store already holds a library: used as it is" << Qt::endl;
    QList<SeatReport::Use> uses;
    for (Table t : {Table::Knowledge, Table::Simple}) {
        Result<QList<SeatReport::Use>> hot = mostUsed(startup.store(), t);
        if (!hot)
            return hot.error();
        uses << hot.value();
    }
    return uses;
}

QString machine()
{
    QString cpu = QStringLiteral("unknown processor");
    QFile info(QStringLiteral("/proc/cpuinfo"));
    if (info.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : info.readAll().split('\n')) {
            if (line.startsWith("model name")) {
                cpu = QString::fromUtf8(line.mid(line.indexOf(':') + 1).trimmed());
                break;
            }
        }
    }
    return QStringLiteral("%1, %2 logical processors, %3")
        .arg(cpu)
        .arg(QThread::idealThreadCount())
        .arg(QSysInfo::prettyProductName());
}

// Other work on the machine skews the figures: the load is printed with them.
QString loadAverage()
{
    QFile load(QStringLiteral("/proc/loadavg"));
    if (!load.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    return QString::fromLatin1(load.readAll().split(' ').mid(0, 3).join(' '));
}

QString ms(double value)
{
    return QString::number(value, 'f', 1);
}

QString spreadText(const SeatReport::Spread& s)
{
    return QStringLiteral("p50 %1 ms, p95 %2 ms, max %3 ms (%4 samples)")
        .arg(ms(s.p50), ms(s.p95), ms(s.max))
        .arg(s.count);
}

// The seats as processes: started, told to go once all are ready, waited for.
class Fleet {
public:
    Fleet(const Options& options, const QString& runFolder) : m_options(options), m_run(runFolder)
    {}
    ~Fleet()
    {
        for (auto& p : m_processes) {
            if (p->state() != QProcess::NotRunning) {
                p->kill();
                p->waitForFinished(5000);
            }
        }
    }

    QString logPath(int seat) const
    {
        return m_run.filePath(QStringLiteral("seat%1.log").arg(seat));
    }

    Result<void> start(const QList<SeatReport::Use>& hot)
    {
        QList<qint64> knowledge, phrases;
        for (const SeatReport::Use& u : hot)
            (u.table == Table::Knowledge ? knowledge : phrases) << u.id;
        for (int seat = 0; seat < m_options.seats; ++seat) {
            auto p = std::make_unique<QProcess>();
            p->setProcessChannelMode(QProcess::ForwardedErrorChannel);
            QStringList args{QStringLiteral("--worker")};
            args << QStringLiteral("--seat") << QString::number(seat);
            args << QStringLiteral("--seats") << QString::number(m_options.seats);
            args << QStringLiteral("--root") << m_run.filePath(QStringLiteral("seat%1").arg(seat));
            args << QStringLiteral("--log") << logPath(seat);
            args << QStringLiteral("--go") << goPath();
            args << QStringLiteral("--hot-knowledge") << idText(knowledge);
            args << QStringLiteral("--hot-phrases") << idText(phrases);
            if (!m_options.plan.searching)
                args << QStringLiteral("--writes-only");
            p->start(QCoreApplication::applicationFilePath(), args);
            m_processes.push_back(std::move(p));
        }
        // Thirty seats reading the pinyin table and building their indexes share two cores.
        const qint64 deadline = SeatLog::nowUs() + 600LL * 1000 * 1000;
        std::vector<bool> ready(m_processes.size(), false);
        while (std::count(ready.begin(), ready.end(), true) < std::ssize(ready)) {
            if (SeatLog::nowUs() > deadline)
                return Error{QStringLiteral("the seats were not ready within ten minutes")};
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
            QThread::msleep(20);
            for (size_t i = 0; i < m_processes.size(); ++i) {
                QProcess& p = *m_processes[i];
                if (!ready[i] && p.canReadLine() && p.readLine().trimmed() == "ready")
                    ready[i] = true;
                if (!ready[i] && p.state() == QProcess::NotRunning)
                    return Error{QStringLiteral("seat %1 ended before it was ready").arg(i)};
            }
        }
        return {};
    }

    // Starts every seat at once, and ends them all `seconds` later.
    Result<void> go()
    {
        const qint64 start = SeatLog::nowUs() + 500 * 1000;
        const qint64 end = start + static_cast<qint64>(m_options.seconds) * 1000 * 1000;
        QSaveFile file(goPath());
        if (!file.open(QIODevice::WriteOnly))
            return Error{file.errorString()};
        file.write(QByteArray::number(start) + ' ' + QByteArray::number(end) + '\n');
        if (!file.commit())
            return Error{file.errorString()};
        m_endUs = end;
        return {};
    }

    // Waits for every seat; the seats that crashed, failed or hung.
    QStringList wait()
    {
        const qint64 deadline = m_endUs + (SeatWorker::DrainMs + 180 * 1000) * 1000LL;
        QStringList failures;
        for (size_t i = 0; i < m_processes.size(); ++i) {
            QProcess& p = *m_processes[i];
            const qint64 left = std::max<qint64>(1000, (deadline - SeatLog::nowUs()) / 1000);
            if (!p.waitForFinished(static_cast<int>(left))) {
                failures << QStringLiteral("seat %1 hung and was killed").arg(i);
                p.kill();
                p.waitForFinished(5000);
            } else if (p.exitStatus() == QProcess::CrashExit) {
                failures << QStringLiteral("seat %1 crashed").arg(i);
            } else if (p.exitCode() != 0) {
                failures << QStringLiteral("seat %1 ended with code %2").arg(i).arg(p.exitCode());
            }
        }
        return failures;
    }

private:
    QString goPath() const { return m_run.filePath(QStringLiteral("go")); }

    const Options& m_options;
    QDir m_run;
    std::vector<std::unique_ptr<QProcess>> m_processes;
    qint64 m_endUs = 0;
};

int runBench(const Options& options, QTextStream& out, QTextStream& err)
{
    QTemporaryDir run(QDir::tempPath() + QStringLiteral("/bench-seats-XXXXXX"));
    if (!run.isValid()) {
        err << "the temporary folder: " << run.errorString() << Qt::endl;
        return 1;
    }
    std::optional<PgServer> server;
    QString databasePath = options.place;
    if (options.server && databasePath.isEmpty()) {
        server.emplace(PgServer::Durability::Synced);
        QString why = server->whyNot();
        if (server->isRunning())
            why = server->createDatabase(QStringLiteral("seats"));
        if (!why.isEmpty()) {
            err << "starting PostgreSQL: " << why << Qt::endl;
            return 1;
        }
        databasePath = server->url(QStringLiteral("seats"));
    } else if (!options.server) {
        databasePath =
            QDir(databasePath.isEmpty() ? run.filePath(QStringLiteral("shared")) : databasePath)
                .absolutePath();
        QDir().mkpath(databasePath);
    }
    const QString store = options.server ? QStringLiteral("server") : QStringLiteral("file");
    out << "machine: " << machine() << Qt::endl
        << "shared store: "
        << (options.server ? QStringLiteral("PostgreSQL server ")
                           : QStringLiteral("SQLite file in "))
        << databasePath << (server ? " (started by the bench, fsync on)" : "") << Qt::endl
        << options.seats << " seats for " << options.seconds << " s; each searches every "
        << SeatWorker::SearchEveryMs << " ms, writes every " << SeatWorker::WriteEveryMs
        << " ms and sends every " << SeatWorker::SendEveryMs << " ms on average" << Qt::endl;

    const QString fillRoot = run.filePath(QStringLiteral("library"));
    Result<QList<SeatReport::Use>> hot = [&]() -> Result<QList<SeatReport::Use>> {
        if (Result<void> r = makeRoot(fillRoot, databasePath); !r)
            return r.error();
        return prepareLibrary(fillRoot, options.knowledge, out);
    }();
    if (!hot) {
        err << hot.message() << Qt::endl;
        return 1;
    }
    for (int seat = 0; seat < options.seats; ++seat) {
        if (Result<void> r =
                makeRoot(run.filePath(QStringLiteral("seat%1").arg(seat)), databasePath);
            !r) {
            err << r.message() << Qt::endl;
            return 1;
        }
    }

    Fleet fleet(options, run.path());
    if (Result<void> r = fleet.start(hot.value()); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    out << "all seats ready; running; load average " << loadAverage() << Qt::endl;
    if (Result<void> r = fleet.go(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    const QStringList seatFailures = fleet.wait();
    out << "seats done; load average " << loadAverage() << Qt::endl;

    QList<SeatLog::Record> records;
    QStringList unreadable;
    for (int seat = 0; seat < options.seats; ++seat) {
        Result<SeatLog::Record> r = SeatLog::read(fleet.logPath(seat));
        if (!r) {
            unreadable << r.message();
            records << SeatLog::Record{};
            continue;
        }
        if (!r.value().ended)
            unreadable << QStringLiteral("seat %1 did not finish its log").arg(seat);
        records << r.value();
    }
    SeatReport report(records, options.server);
    Startup check(benchRoot(fillRoot));
    if (Result<void> r = check.run(); !r) {
        err << "opening the store for the check: " << r.message() << Qt::endl;
        return 1;
    }
    if (Result<void> r = report.verify(check.store(), hot.value()); !r) {
        err << "reading the store for the check: " << r.message() << Qt::endl;
        return 1;
    }

    // What the pace asks of all seats together, to show how far the machine kept up with it.
    const double pacedWrites =
        options.seats * options.seconds *
        (1000.0 / SeatWorker::WriteEveryMs + 1000.0 / SeatWorker::SendEveryMs);
    const double pacedSearches = options.plan.searching ? options.seats * options.seconds * 1000.0 /
                                                              SeatWorker::SearchEveryMs
                                                        : 0;
    const int writes = report.inserts + report.updates + report.bumps;
    out << Qt::endl
        << "writes: " << writes << " (" << report.inserts << " inserts, " << report.updates
        << " edits, " << report.bumps << " use counts); the pace asks about " << qRound(pacedWrites)
        << Qt::endl
        << "failed writes: " << report.failed << Qt::endl
        << "lost writes: " << report.lost << Qt::endl
        << "write latency: " << spreadText(report.writeMs) << Qt::endl;
    if (options.plan.searching)
        out << "searches: " << report.searchMs.count << "; the pace asks about "
            << qRound(pacedSearches) << Qt::endl
            << "search latency: " << spreadText(report.searchMs)
            << "; failed searches: " << report.seatErrorCount << Qt::endl;
    if (options.server)
        out << "change reaching the other seats (commit to changed()): "
            << spreadText(report.heardMs) << "; never heard: " << report.unheard << Qt::endl
            << "  the same from the start of the write call: "
            << spreadText(report.heardFromStartMs) << Qt::endl;
    if (options.plan.searching)
        out << "new row found by the other seats' next search (commit to search): "
            << spreadText(report.seenMs) << "; never found: " << report.unseen << Qt::endl;
    else
        out << "new rows the other seats' search at the end did not find: " << report.unseen
            << Qt::endl;
    for (const QString& e : report.failedExamples)
        out << "  failed: " << e << Qt::endl;
    for (const QString& e : report.lostExamples)
        out << "  lost: " << e << Qt::endl;
    for (const QString& e : report.seatErrors)
        out << "  seat error: " << e << Qt::endl;
    if (report.extra > 0)
        out << "  use counts rose " << report.extra << " more than the seats sent" << Qt::endl;
    for (const QString& f : seatFailures + unreadable)
        out << "  " << f << Qt::endl;

    const SeatReport::Spread change = options.server           ? report.heardMs
                                      : options.plan.searching ? report.seenMs
                                                               : SeatReport::Spread{};
    out << "RESULT store=" << store << " seats=" << options.seats << " writes=" << writes
        << " failed=" << report.failed << " lost=" << report.lost
        << " write_p50_ms=" << ms(report.writeMs.p50) << " write_p95_ms=" << ms(report.writeMs.p95)
        << " change_p50_ms=" << ms(change.p50) << " change_p95_ms=" << ms(change.p95)
        << " change_from_call_p95_ms=" << ms(options.server ? report.heardFromStartMs.p95 : 0)
        << " change_by="
        << (options.server           ? "signal"
            : options.plan.searching ? "next-search"
                                     : "none")
        << " search_p95_ms=" << ms(report.searchMs.p95) << Qt::endl;

    const bool broken = report.lost > 0 || report.extra > 0 || report.unheard > 0 ||
                        report.unseen > 0 || !seatFailures.isEmpty() || !unreadable.isEmpty();
    return broken ? 1 : 0;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QTextStream err(stderr);
    const Options options = parse(QCoreApplication::arguments());
    if (!options.error.isEmpty()) {
        err << options.error
            << "\nusage: bench_seats [--server [URL] | --file [FOLDER]] [--seats N] [--seconds S] "
               "[--knowledge N] [--writes-only]"
            << Qt::endl;
        return 2;
    }
    if (options.worker) {
        SeatWorker seat(options.plan);
        return seat.run();
    }
    return runBench(options, out, err);
}
