// Times the search of the query page over a large library, against the plain LIKE scan that
// searched the stores before the in-memory indexes existed.
//
//   bench_search --data-dir DIR [--rounds N] [--size N] [--wide] [--no-like] [--edited]
//                [--build-only]
//
// Fills DIR with a generated library on first use: the default one, or with --size N knowledge
// entries and a tenth as many (at least the default) of every other kind; --wide adds to every
// knowledge title and phrase a term from all of GB2312's first level, for a library with as
// many distinct characters as a real one (use a DIR of its own). Hit counts are checked
// against the search rule written plainly. --no-like leaves out the LIKE scans, which take
// minutes on a large library. Ends with one line "RESULT search_p95_ms=<x> like_p95_ms=<y>"
// (<y> is 0 without the scans). --build-only stops once the indexes are built, for timing or
// profiling the build alone. Exit codes: 0 done, 1 a store failed or the search
// and the plain rule disagree on a hit count, 2 bad arguments.

#include "LibraryGenerator.h"
#include "app/Startup.h"
#include "data/SearchService.h"
#include "platform/PlatformPaths.h"
#include "support/PlainPinyinRule.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTextStream>
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Options {
    QString dataDir;
    int rounds = 20;
    int size = 0; // knowledge entries; 0: the default library
    bool like = true;
    bool edited = false; // one entry used, so that the index is no longer in id order
    bool buildOnly = false;
    bool wide = false;
    QString error;
};

Options parse(const QStringList& args)
{
    Options o;
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        auto value = [&]() -> QString {
            if (i + 1 >= args.size()) {
                o.error = a + QStringLiteral(" needs a value");
                return {};
            }
            return args[++i];
        };
        if (a == QLatin1String("--data-dir")) {
            o.dataDir = value();
        } else if (a.startsWith(QLatin1String("--data-dir="))) {
            o.dataDir = a.mid(11);
        } else if (a == QLatin1String("--rounds")) {
            bool ok = false;
            o.rounds = value().toInt(&ok);
            if (!ok || o.rounds < 1)
                o.error = QStringLiteral("--rounds needs a positive number");
        } else if (a == QLatin1String("--size")) {
            bool ok = false;
            o.size = value().toInt(&ok);
            if (!ok || o.size < 1)
                o.error = QStringLiteral("--size needs a positive number");
        } else if (a == QLatin1String("--no-like")) {
            o.like = false;
        } else if (a == QLatin1String("--wide")) {
            o.wide = true;
        } else if (a == QLatin1String("--edited")) {
            o.edited = true;
        } else if (a == QLatin1String("--build-only")) {
            o.buildOnly = true;
        } else {
            o.error = QStringLiteral("unknown argument ") + a;
        }
    }
    if (o.error.isEmpty() && o.dataDir.isEmpty())
        o.error = QStringLiteral("--data-dir DIR is required");
    return o;
}

// One kind of material as the LIKE scan reads it, in the query page's order.
struct ScanKind {
    SearchKind kind;
    StoreId store;
    const char* sql;
};

const std::array<ScanKind, SearchKindCount> ScanKinds = {{
    {SearchKind::Knowledge, StoreId::Assistant,
     "select id,name,description,pic from knowledge where name like ? or pycode like ? "
     "order by id asc"},
    {SearchKind::Simple, StoreId::Assistant,
     "select id,name from simple where name like ? or pycode like ? order by id asc"},
    {SearchKind::Affair, StoreId::Assistant,
     "select id,name,description,flag,url from type where (name like ? or pycode like ?) "
     "and itemid=3 order by id asc"},
    {SearchKind::Courier, StoreId::Assistant,
     "select id,name,description,flag,url from type where (name like ? or pycode like ?) "
     "and itemid=4 order by id asc"},
    {SearchKind::File, StoreId::Assistant,
     "select id,name,extname from file where name like ? or pycode like ? order by id asc"},
    {SearchKind::Tool, StoreId::Personal,
     "select id,name,type,path from tools where name like ? or pycode like ? order by id asc"},
    {SearchKind::Personal, StoreId::Personal,
     "select id,name,description,pic from personal where name like ? or pycode like ? "
     "order by id asc"},
}};

using KindCounts = std::array<qsizetype, SearchKindCount>;

qsizetype total(const KindCounts& counts)
{
    qsizetype n = 0;
    for (qsizetype c : counts)
        n += c;
    return n;
}

// Runs every kind's statement and reads every column of every row, as the list filling did.
Result<KindCounts> likeScan(Store& store, const QString& text, quint64& sink)
{
    KindCounts counts{};
    const QString pattern = QLatin1Char('%') + text + QLatin1Char('%');
    for (const ScanKind& k : ScanKinds) {
        QSqlQuery q(store.database(k.store));
        q.setForwardOnly(true);
        if (!q.prepare(QString::fromLatin1(k.sql)))
            return Error{q.lastError().text()};
        q.addBindValue(pattern);
        q.addBindValue(pattern);
        if (!q.exec())
            return Error{q.lastError().text()};
        const int columns = q.record().count();
        qsizetype rows = 0;
        while (q.next()) {
            ++rows;
            sink += static_cast<quint64>(q.value(0).toLongLong());
            for (int c = 1; c < columns; ++c) {
                const QVariant v = q.value(c);
                sink += static_cast<quint64>(v.metaType().id() == QMetaType::QByteArray
                                                 ? v.toByteArray().size()
                                                 : v.toString().size());
            }
        }
        counts[static_cast<size_t>(k.kind)] = rows;
    }
    return counts;
}

// Every kind's names, as the plain rule reads them.
Result<std::array<QStringList, SearchKindCount>> allNames(Store& store)
{
    std::array<QStringList, SearchKindCount> names;
    for (const ScanKind& k : ScanKinds) {
        QString sql = QString::fromLatin1(k.sql);
        sql.replace(QRegularExpression(QStringLiteral("^select [^ ]+ from")),
                    QStringLiteral("select name from"));
        QSqlQuery q(store.database(k.store));
        q.setForwardOnly(true);
        if (!q.prepare(sql))
            return Error{q.lastError().text()};
        q.addBindValue(QStringLiteral("%"));
        q.addBindValue(QStringLiteral("%"));
        if (!q.exec())
            return Error{q.lastError().text()};
        while (q.next())
            names[static_cast<size_t>(k.kind)] << q.value(0).toString();
    }
    return names;
}

KindCounts plainCounts(const std::array<QStringList, SearchKindCount>& names, const QString& text)
{
    KindCounts counts{};
    for (size_t k = 0; k < names.size(); ++k)
        counts[k] = std::count_if(names[k].begin(), names[k].end(), [&](const QString& n) {
            return PlainPinyinRule::matches(n, text);
        });
    return counts;
}

KindCounts countByKind(const QList<SearchHit>& hits)
{
    KindCounts counts{};
    for (const SearchHit& h : hits)
        ++counts[static_cast<size_t>(h.kind)];
    return counts;
}

// Both give 0 for no samples, the LIKE times without the scans.
double median(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// Nearest rank: the smallest sample that at least 95% of the samples do not exceed.
double p95(std::vector<double> v)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    const auto rank = static_cast<size_t>(std::ceil(0.95 * static_cast<double>(v.size())));
    return v[std::max<size_t>(rank, 1) - 1];
}

QString ms(double value)
{
    return QString::number(value, 'f', 2);
}

QString residentMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    // Files under /proc report no size, so they are read whole rather than up to an end.
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            const qint64 kb = line.mid(6).trimmed().split(' ').value(0).toLongLong();
            return QStringLiteral("%1 MiB").arg(QString::number(kb / 1024.0, 'f', 1));
        }
    }
    return QStringLiteral("unknown");
}

DataRoot benchRoot(const QString& folder)
{
    const QString exeFolder = QCoreApplication::applicationDirPath();
    return DataRoot(folder, PlatformPaths::shippedDataFolders(exeFolder));
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
            << "\nusage: bench_search --data-dir DIR [--rounds N] [--size N] [--no-like] "
               "[--wide] [--edited] [--build-only]"
            << Qt::endl;
        return 2;
    }

    Startup startup(benchRoot(options.dataDir));
    if (Result<void> r = startup.run(); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    for (const QString& w : startup.warnings())
        err << w << Qt::endl;
    // Without the table no name has initials, and the pinyin queries would measure nothing.
    if (!startup.pinyin().loadLibSuccess()) {
        err << "the pinyin table is missing: build the pylib target" << Qt::endl;
        return 1;
    }
    Store& store = startup.store();

    const Clock::time_point fillStart = Clock::now();
    LibraryGenerator::Sizes sizes;
    if (options.size > 0) {
        const int others = std::max(options.size / 10, sizes.affairs);
        sizes.knowledge = options.size;
        sizes.phrases = std::max(sizes.phrases, others);
        sizes.affairs = sizes.couriers = sizes.files = sizes.tools = sizes.privateNotes = others;
    }
    sizes.wide = options.wide;
    LibraryGenerator generator(store, sizes);
    Result<bool> filled = generator.fillIfEmpty();
    if (!filled) {
        err << filled.message() << Qt::endl;
        return 1;
    }
    if (filled.value())
        out << "library generated in " << ms(msSince(fillStart) / 1000) << " s" << Qt::endl;
    else
        out << "library present in " << startup.root().folder() << Qt::endl;

    for (Table t : {Table::Knowledge, Table::Simple, Table::Type, Table::File, Table::Tools,
                    Table::Personal}) {
        Result<int> n = store.count(t);
        out << "  " << Tables::name(t) << ": " << (n ? n.value() : -1) << " rows" << Qt::endl;
    }

    // Finds nothing: the cost of a pass over the names alone.
    const QString nothing = QStringLiteral("鲸鱼");
    const QStringList queries = {
        QStringLiteral("退"),
        QStringLiteral("货"),
        QStringLiteral("退货"),
        QStringLiteral("快递"),
        QStringLiteral("保修期"),
        QStringLiteral("发票抬头"),
        QStringLiteral("t"),
        QStringLiteral("th"),
        QStringLiteral("thh"),
        QStringLiteral("bx"),
        QStringLiteral("kdcx"),
        QStringLiteral("FP"),
        // Whole syllables, as agents type them too: every name holding both characters' initials
        // is a candidate, and each is read with every reading of its characters.
        QStringLiteral("tuihuo"),
        QStringLiteral("fapiao"),
        QStringLiteral("baoxiuq"),
        nothing,
    };

    SearchService search(store, startup.settings());
    out << "RSS before the indexes: " << residentMemory() << Qt::endl;
    // The first search reads every kind's names into memory.
    const Clock::time_point buildStart = Clock::now();
    if (Result<QList<SearchHit>> r = search.search(nothing, SearchMode::All); !r) {
        err << r.message() << Qt::endl;
        return 1;
    }
    const double buildMs = msSince(buildStart);
    out << "index build (first search): " << ms(buildMs) << " ms" << Qt::endl;
    out << "RSS with the indexes: " << residentMemory() << Qt::endl;
    if (options.buildOnly)
        return 0;
    if (options.edited) {
        // Any change to an entry moves it to the end of its kind's index, out of id order, as
        // the first use or edit of a working day does.
        QSqlQuery first(store.database(StoreId::Assistant));
        if (!first.exec(QStringLiteral("SELECT min(id) FROM knowledge")) || !first.next()) {
            err << first.lastError().text() << Qt::endl;
            return 1;
        }
        if (Result<void> r = store.addUse(Table::Knowledge, first.value(0).toLongLong()); !r) {
            err << r.message() << Qt::endl;
            return 1;
        }
    }

    // Keeps the compiler from dropping the reading of the rows.
    quint64 sink = 0;
    // Brings the store files into the page cache, so that the first timed scan is not the only
    // one that reads the disk.
    if (Result<KindCounts> r = options.like ? likeScan(store, nothing, sink) : KindCounts{}; !r) {
        err << r.message() << Qt::endl;
        return 1;
    }

    const auto n = static_cast<size_t>(queries.size());
    std::vector<std::vector<double>> serviceMs(n), likeMs(n);
    std::vector<KindCounts> serviceCounts(n);
    // The two approaches run in separate passes, so that the scans' reading of the store files
    // does not push the indexes out of the processor caches between searches.
    for (int round = 0; round < options.rounds; ++round) {
        for (size_t i = 0; i < n; ++i) {
            const Clock::time_point start = Clock::now();
            Result<QList<SearchHit>> found =
                search.search(queries[static_cast<qsizetype>(i)], SearchMode::All);
            serviceMs[i].push_back(msSince(start));
            if (!found) {
                err << found.message() << Qt::endl;
                return 1;
            }
            serviceCounts[i] = countByKind(found.value());
        }
    }
    // The LIKE scans and the plain rule below hold memory of their own.
    const QString searchRss = residentMemory();
    for (int round = 0; options.like && round < options.rounds; ++round) {
        for (size_t i = 0; i < n; ++i) {
            const Clock::time_point start = Clock::now();
            Result<KindCounts> scanned = likeScan(store, queries[static_cast<qsizetype>(i)], sink);
            likeMs[i].push_back(msSince(start));
            if (!scanned) {
                err << scanned.message() << Qt::endl;
                return 1;
            }
        }
    }

    // The LIKE scan reads names and their stored initials, so its counts are not the rule's:
    // the rule written plainly is the reference.
    const Result<std::array<QStringList, SearchKindCount>> names = allNames(store);
    if (!names) {
        err << names.message() << Qt::endl;
        return 1;
    }
    bool disagree = false;
    for (size_t i = 0; i < n; ++i) {
        const KindCounts plain = plainCounts(names.value(), queries[static_cast<qsizetype>(i)]);
        if (serviceCounts[i] == plain)
            continue;
        disagree = true;
        err << "hit counts differ for \"" << queries[static_cast<qsizetype>(i)] << "\": search "
            << total(serviceCounts[i]) << ", plain rule " << total(plain) << Qt::endl;
        for (int k = 0; k < SearchKindCount; ++k) {
            const auto kk = static_cast<size_t>(k);
            err << "  " << SearchService::letter(static_cast<SearchKind>(k)) << ": search "
                << serviceCounts[i][kk] << ", plain rule " << plain[kk] << Qt::endl;
        }
    }

    out << Qt::endl
        << options.rounds << " rounds; times in ms" << Qt::endl
        << "    hits  search-med  search-p95    like-med    like-p95  query" << Qt::endl;
    std::vector<double> allService, allLike;
    for (size_t i = 0; i < n; ++i) {
        out << qSetFieldWidth(8) << Qt::right << total(serviceCounts[i]) << qSetFieldWidth(12)
            << ms(median(serviceMs[i])) << ms(p95(serviceMs[i])) << ms(median(likeMs[i]))
            << ms(p95(likeMs[i])) << qSetFieldWidth(0) << "  " << queries[static_cast<qsizetype>(i)]
            << Qt::endl;
        allService.insert(allService.end(), serviceMs[i].begin(), serviceMs[i].end());
        allLike.insert(allLike.end(), likeMs[i].begin(), likeMs[i].end());
    }
    const double serviceP95 = p95(allService);
    const double likeP95 = p95(allLike);
    out << Qt::endl
        << "search over all calls: median " << ms(median(allService)) << " ms, p95 "
        << ms(serviceP95) << " ms" << Qt::endl
        << "LIKE over all calls:   median " << ms(median(allLike)) << " ms, p95 " << ms(likeP95)
        << " ms" << Qt::endl
        << "index build: " << ms(buildMs) << " ms" << Qt::endl
        << "RSS after the searches: " << searchRss << Qt::endl;
    if (disagree)
        out << "FAILED: the search and the plain rule disagree on hit counts (see stderr)"
            << Qt::endl;
    out << "RESULT search_p95_ms=" << ms(serviceP95) << " like_p95_ms=" << ms(likeP95) << Qt::endl;
    return disagree ? 1 : 0;
}
