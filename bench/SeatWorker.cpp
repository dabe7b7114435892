#include "SeatWorker.h"

#include "app/Startup.h"
#include "data/SearchService.h"
#include "platform/PlatformPaths.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>
#include <algorithm>
#include <cstdio>
#include <tuple>

namespace {

// Runs one write, noting when it started and ended and how it went.
template <class Call> auto timed(SeatLog::Write& w, Call call)
{
    w.startUs = SeatLog::nowUs();
    auto r = call();
    w.endUs = SeatLog::nowUs();
    w.ok = r.ok();
    w.error = r.message();
    return r;
}

// What agents type into the query bar: parts of titles and their pinyin initials.
const QStringList Queries = {
    QStringLiteral("退货"), QStringLiteral("退"),   QStringLiteral("快递"),
    QStringLiteral("保修"), QStringLiteral("发票"), QStringLiteral("安装"),
    QStringLiteral("运费"), QStringLiteral("尺码"), QStringLiteral("优惠券"),
    QStringLiteral("th"),   QStringLiteral("kd"),   QStringLiteral("bx"),
    QStringLiteral("fp"),   QStringLiteral("thh"),  QStringLiteral("az"),
    QStringLiteral("yf"),   QStringLiteral("您好"), QStringLiteral("亲"),
};

const QStringList Words = {
    QStringLiteral("退货流程"), QStringLiteral("换货须知"), QStringLiteral("发票开具"),
    QStringLiteral("快递时效"), QStringLiteral("保修政策"), QStringLiteral("安装预约"),
    QStringLiteral("尺码建议"), QStringLiteral("优惠规则"), QStringLiteral("运费说明"),
    QStringLiteral("售后回访"),
};

constexpr int RowsPerPage = 100; // a result list reads its rows a page at a time

QString marker()
{
    return QString::fromUtf16(SeatWorker::Marker);
}

} // namespace

SeatWorker::SeatWorker(Plan plan)
    : m_plan(std::move(plan)), m_log(m_plan.logPath),
      m_random(static_cast<std::mt19937::result_type>(7919 * (m_plan.seat + 1)))
{
    for (QTimer* t : {&m_searchTimer, &m_writeTimer, &m_sendTimer})
        t->setSingleShot(true);
    connect(&m_searchTimer, &QTimer::timeout, this, &SeatWorker::search);
    connect(&m_writeTimer, &QTimer::timeout, this, &SeatWorker::write);
    connect(&m_sendTimer, &QTimer::timeout, this, &SeatWorker::send);
    m_goPoll.setInterval(10);
    connect(&m_goPoll, &QTimer::timeout, this, &SeatWorker::waitForGo);
}

SeatWorker::~SeatWorker() = default;

int SeatWorker::run()
{
    if (!m_log.isOpen()) {
        QTextStream(stderr) << "seat " << m_plan.seat << ": cannot write " << m_plan.logPath
                            << Qt::endl;
        return 1;
    }
    if (Result<void> r = prepare(); !r) {
        QTextStream(stderr) << "seat " << m_plan.seat << ": " << r.message() << Qt::endl;
        return 1;
    }
    std::fputs("ready\n", stdout);
    std::fflush(stdout);
    m_goPoll.start();
    return QCoreApplication::exec();
}

Result<void> SeatWorker::prepare()
{
    const QString exeFolder = QCoreApplication::applicationDirPath();
    m_startup = std::make_unique<Startup>(
        DataRoot(m_plan.root, PlatformPaths::shippedDataFolders(exeFolder)));
    if (Result<void> r = m_startup->run(); !r)
        return r;
    Store& store = m_startup->store();
    store.setCurrentUser(QStringLiteral("seat%1").arg(m_plan.seat));
    connect(&store, &Store::changed, this, [this](Table table, qint64 id, Change change) {
        if (table == Table::Knowledge || table == Table::Simple)
            m_log.heard({table, id, change, SeatLog::nowUs()});
    });

    Query goods;
    goods.table = Table::Goods;
    goods.columns = {QString(Column::Id), QString(Column::TypeId)};
    goods.ordered = false;
    Result<QList<Row>> goodsRows = store.rows(goods);
    if (!goodsRows)
        return goodsRows.error();
    for (const Row& g : goodsRows.value()) {
        m_goods << g.value(Column::Id).toLongLong();
        m_goodsBig << g.value(Column::TypeId).toLongLong();
    }
    Query types;
    types.table = Table::SimpleType;
    types.ordered = false;
    Result<QList<qint64>> typeIds = store.ids(types);
    if (!typeIds)
        return typeIds.error();
    m_phraseTypes = typeIds.value();
    if (m_goods.isEmpty() || m_phraseTypes.isEmpty())
        return Error{QStringLiteral("the store holds no categories")};

    // Each seat edits its own share of the library, so that the value a row ends with is known.
    for (auto [table, hot, own] :
         {std::tuple{Table::Knowledge, &m_plan.hotKnowledge, &m_ownKnowledge},
          std::tuple{Table::Simple, &m_plan.hotPhrases, &m_ownPhrases}}) {
        Query q;
        q.table = table;
        q.ordered = false;
        Result<QList<qint64>> ids = store.ids(q);
        if (!ids)
            return ids.error();
        for (qint64 id : ids.value()) {
            if (id % m_plan.seats == m_plan.seat && !hot->contains(id))
                *own << id;
        }
    }

    m_search = std::make_unique<SearchService>(store, m_startup->settings());
    // The first search builds the indexes, as the panel's first query does.
    if (Result<QList<SearchHit>> r = m_search->search(Queries.first(), SearchMode::All); !r)
        return r.error();
    lookForNewRows();
    return {};
}

void SeatWorker::waitForGo()
{
    QFile go(m_plan.goPath);
    if (!go.open(QIODevice::ReadOnly))
        return;
    const QList<QByteArray> times = go.readAll().trimmed().split(' ');
    if (times.size() != 2)
        return;
    m_goPoll.stop();
    const qint64 startUs = times[0].toLongLong();
    m_endUs = times[1].toLongLong();
    const auto untilMs = [](qint64 us) {
        return static_cast<int>(std::max<qint64>(0, (us - SeatLog::nowUs()) / 1000));
    };
    QTimer::singleShot(untilMs(startUs), this, [this] {
        m_running = true;
        if (m_plan.searching)
            schedule(m_searchTimer, SearchEveryMs);
        schedule(m_writeTimer, WriteEveryMs);
        schedule(m_sendTimer, SendEveryMs);
    });
    QTimer::singleShot(untilMs(m_endUs), this, [this] {
        m_running = false;
        for (QTimer* t : {&m_searchTimer, &m_writeTimer, &m_sendTimer})
            t->stop();
        QTimer::singleShot(DrainMs, this, &SeatWorker::finish);
    });
}

void SeatWorker::schedule(QTimer& timer, int meanMs)
{
    // Think times of a Poisson stream, cut off so that one long pause does not idle a seat.
    std::exponential_distribution<double> think(1.0 / meanMs);
    timer.start(static_cast<int>(std::min(think(m_random), 5.0 * meanMs)));
}

void SeatWorker::search()
{
    if (!m_running || SeatLog::nowUs() >= m_endUs)
        return;
    const QString text = Queries[static_cast<qsizetype>(m_random() % Queries.size())];
    const qint64 start = SeatLog::nowUs();
    Result<QList<SearchHit>> hits = m_search->search(text, SearchMode::All);
    if (hits) {
        if (Result<QList<SearchRow>> rows = m_search->rows(hits.value().mid(0, RowsPerPage)); !rows)
            m_log.error(QStringLiteral("rows of \"%1\": %2").arg(text, rows.message()));
    } else {
        m_log.error(QStringLiteral("search \"%1\": %2").arg(text, hits.message()));
    }
    m_log.searched(static_cast<double>(SeatLog::nowUs() - start) / 1000.0);
    lookForNewRows();
    schedule(m_searchTimer, SearchEveryMs);
}

void SeatWorker::lookForNewRows()
{
    Result<QList<SearchHit>> hits = m_search->search(marker(), SearchMode::All);
    const qint64 at = SeatLog::nowUs();
    if (!hits) {
        m_log.error(QStringLiteral("search for new rows: ") + hits.message());
        return;
    }
    for (const SearchHit& h : hits.value()) {
        QSet<qint64>* seen = h.kind == SearchKind::Knowledge ? &m_seenKnowledge
                             : h.kind == SearchKind::Simple  ? &m_seenPhrases
                                                             : nullptr;
        if (seen && !seen->contains(h.id)) {
            seen->insert(h.id);
            m_log.seen({SearchService::table(h.kind), h.id, at});
        }
    }
}

void SeatWorker::write()
{
    if (!m_running || SeatLog::nowUs() >= m_endUs)
        return;
    SeatLog::Write w;
    switch (m_random() % 4) {
    case 0:
        w = insertKnowledge();
        break;
    case 1:
        w = insertPhrase();
        break;
    case 2:
        w = updateKnowledge();
        break;
    default:
        w = updatePhrase();
        break;
    }
    m_log.write(w);
    schedule(m_writeTimer, WriteEveryMs);
}

void SeatWorker::send()
{
    if (!m_running || SeatLog::nowUs() >= m_endUs)
        return;
    SeatLog::Write w;
    w.op = SeatLog::Op::Bump;
    const bool phrase = m_random() % 2 == 0;
    w.table = phrase ? Table::Simple : Table::Knowledge;
    w.id = pick(phrase ? m_plan.hotPhrases : m_plan.hotKnowledge);
    (void)timed(w, [&] { return m_startup->store().addUse(w.table, w.id); });
    m_log.write(w);
    schedule(m_sendTimer, SendEveryMs);
}

SeatLog::Write SeatWorker::insertKnowledge()
{
    const qsizetype g = static_cast<qsizetype>(m_random() % m_goods.size());
    const int serial = ++m_serial;
    SeatLog::Write w;
    w.op = SeatLog::Op::Insert;
    w.table = Table::Knowledge;
    w.name = QStringLiteral("%1%2-%3 %4").arg(marker()).arg(m_plan.seat).arg(serial).arg(words());
    w.description = QStringLiteral("座席%1第%2条：%3，请按%4处理。")
                        .arg(m_plan.seat)
                        .arg(serial)
                        .arg(words(), words());
    const Row row{{Column::Name, w.name},
                  {Column::Description, w.description},
                  {Column::TypeId, m_goodsBig[g]},
                  {Column::GoodsId, m_goods[g]},
                  {Column::SerialNum, 1000000 + serial}};
    Result<qint64> r = timed(w, [&] { return m_startup->store().insert(w.table, row); });
    if (r) {
        w.id = r.value();
        m_ownKnowledge << w.id;
    }
    return w;
}

SeatLog::Write SeatWorker::insertPhrase()
{
    const int serial = ++m_serial;
    SeatLog::Write w;
    w.op = SeatLog::Op::Insert;
    w.table = Table::Simple;
    w.name = QStringLiteral("%1%2-%3 亲，关于%4请稍等")
                 .arg(marker())
                 .arg(m_plan.seat)
                 .arg(serial)
                 .arg(words());
    const Row row{{Column::Name, w.name},
                  {Column::TypeId, pick(m_phraseTypes)},
                  {Column::SerialNum, 1000000 + serial},
                  {Column::TypeSerialNum, 1000000 + serial}};
    Result<qint64> r = timed(w, [&] { return m_startup->store().insert(w.table, row); });
    if (r) {
        w.id = r.value();
        m_ownPhrases << w.id;
        m_newPhrases.insert(w.id);
    }
    return w;
}

SeatLog::Write SeatWorker::updateKnowledge()
{
    // A small library shared by many seats leaves some without a row of their own yet.
    if (m_ownKnowledge.isEmpty())
        return insertKnowledge();
    const int serial = ++m_serial;
    SeatLog::Write w;
    w.op = SeatLog::Op::Update;
    w.table = Table::Knowledge;
    w.id = pick(m_ownKnowledge);
    w.description =
        QStringLiteral("座席%1第%2次修改：%3。").arg(m_plan.seat).arg(serial).arg(words());
    (void)timed(w, [&] {
        return m_startup->store().update(w.table, w.id, {{Column::Description, w.description}});
    });
    return w;
}

SeatLog::Write SeatWorker::updatePhrase()
{
    if (m_ownPhrases.isEmpty())
        return insertPhrase();
    const int serial = ++m_serial;
    SeatLog::Write w;
    w.op = SeatLog::Op::Update;
    w.table = Table::Simple;
    w.id = pick(m_ownPhrases);
    // The seat's own rows keep the marker; a row of the library does not get it.
    const bool own = m_newPhrases.contains(w.id);
    w.name = QStringLiteral("%1%2-%3改 亲，%4已为您登记")
                 .arg(own ? marker() : QString())
                 .arg(m_plan.seat)
                 .arg(serial)
                 .arg(words());
    (void)timed(w, [&] {
        return m_startup->store().update(w.table, w.id, {{Column::Name, w.name}});
    });
    return w;
}

qint64 SeatWorker::pick(const QList<qint64>& ids)
{
    return ids[static_cast<qsizetype>(m_random() % ids.size())];
}

QString SeatWorker::words()
{
    return Words[static_cast<qsizetype>(m_random() % Words.size())];
}

void SeatWorker::finish()
{
    // Everything has been committed by now: this search must find every seat's new rows.
    lookForNewRows();
    m_log.end();
    QCoreApplication::exit(0);
}
