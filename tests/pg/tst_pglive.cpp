#include "data/ServerLink.h"
#include "panel/EntryListModel.h"
#include "support/PgServer.h"
#include "support/TestRoot.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlQuery>
#include <QTest>
#include <memory>

namespace {

// Another seat's committed write must be on screen within this, while the connection is up.
constexpr qint64 LiveMs = 1000;
// A lost connection is noticed, and a server back is used again, within this (machine loaded).
constexpr int OutageMs = 10000;

// A seat in a process of its own (pgseat), on a data root of its own pointed at the database.
class Seat {
public:
    struct Line {
        qint64 ms = 0;
        QString text;
    };

    explicit Seat(const QString& url) : m_root(false)
    {
        m_root.set({{Setting::DatabasePath, url}});
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, [this] {
            while (m_process.canReadLine()) {
                const QString line = QString::fromUtf8(m_process.readLine()).trimmed();
                m_lines.append({line.section(' ', 0, 0).toLongLong(), line.section(' ', 1)});
            }
        });
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(QUILLMATE_PGSEAT), {m_root.dir.path()});
    }
    ~Seat()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

    bool started() { return find("ready") >= 0; }
    // Where the next line will be.
    qsizetype mark() const { return m_lines.size(); }
    const Line& at(qsizetype i) const { return m_lines.at(i); }

    // The first line from `from` on that starts with a match of `pattern`, waited for up to
    // `ms`; -1 when none.
    qsizetype find(const QString& pattern, qsizetype from = 0, int ms = OutageMs)
    {
        const QRegularExpression re('^' + pattern);
        return first([&](const QString& line) { return re.match(line).hasMatch(); }, from, ms);
    }
    // How many lines in [from, to) start with a match of `pattern`.
    int count(const QString& pattern, qsizetype from, qsizetype to = -1) const
    {
        const QRegularExpression re('^' + pattern);
        int n = 0;
        for (qsizetype i = from; i < (to < 0 ? m_lines.size() : to); ++i)
            n += re.match(m_lines.at(i).text).hasMatch() ? 1 : 0;
        return n;
    }

    void send(const QString& command) { m_process.write(command.toUtf8() + '\n'); }
    // The answer to `command`: "ok <id>", "failed <message>" or "pid <n>"; empty when none came.
    Line ask(const QString& command)
    {
        const qsizetype from = mark();
        send(command);
        return answer(from);
    }
    Line answer(qsizetype from)
    {
        const qsizetype at = first(
            [](const QString& line) {
                return line.startsWith("ok ") || line.startsWith("failed ") ||
                       line.startsWith("pid ");
            },
            from, 3 * OutageMs);
        return at < 0 ? Line{} : m_lines.at(at);
    }

private:
    qsizetype first(const std::function<bool(const QString&)>& wanted, qsizetype from, int ms)
    {
        QElapsedTimer waited;
        waited.start();
        for (qsizetype i = from;; QTest::qWait(5)) {
            for (; i < m_lines.size(); ++i) {
                if (wanted(m_lines.at(i).text))
                    return i;
            }
            if (waited.elapsed() > ms || m_process.state() == QProcess::NotRunning)
                return -1;
        }
    }

    TestRoot m_root;
    QProcess m_process;
    QList<Line> m_lines;
};

// A write on one seat as the other seat hears it.
struct Relayed {
    qint64 id = 0;
    qint64 delayMs = -1; // from the write's start to the other seat's announcement
    QString problem;
};

// `writer` runs `command` (insert|update|remove of a simple row); `reader` must announce it.
Relayed relay(Seat& writer, Seat& reader, const QString& command)
{
    Relayed out;
    const qsizetype fromWriter = writer.mark();
    const qsizetype fromReader = reader.mark();
    const Seat::Line done = writer.ask(command);
    if (!done.text.startsWith("ok ")) {
        out.problem = command + ": " + done.text;
        return out;
    }
    out.id = done.text.section(' ', 1).toLongLong();
    const QString letter = command.startsWith("insert")   ? "I"
                           : command.startsWith("update") ? "U"
                                                          : "D";
    const QString heard = QString("changed simple %1 %2").arg(out.id).arg(letter);
    const qsizetype at = reader.find(heard, fromReader);
    if (at < 0) {
        out.problem = command + ": the other seat never announced " + heard;
        return out;
    }
    out.delayMs = reader.at(at).ms - done.ms;
    // By now the server has told every listener; an echo would have arrived as well.
    QTest::qWait(300);
    const int echoes = writer.count(heard, fromWriter);
    if (out.delayMs >= LiveMs)
        out.problem = QString("%1: heard after %2 ms").arg(command).arg(out.delayMs);
    else if (echoes != 1)
        out.problem = QString("%1: the writer announced it %2 times").arg(command).arg(echoes);
    return out;
}

#define VERIFY_RELAYED(r) QVERIFY2((r).problem.isEmpty(), qPrintable((r).problem))

} // namespace

class TestPgLive : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void seatsHearEachOther();
    void seatsRecoverFromOutages();
    void panelListFollowsAnotherSeat();

private:
    // The address of a new, empty database; empty with the test failed otherwise.
    QString newDatabase();
    // The first value `sql` reads on an administrator's connection of its own.
    QVariant adminValue(const QString& database, const QString& sql) const;

    std::unique_ptr<PgServer> m_server;
    QList<qint64> m_delays;
    int m_databases = 0;
};

#define REQUIRE_SERVER()                                                                           \
    if (!m_server->isRunning())                                                                    \
    QSKIP(qPrintable("no PostgreSQL server: " + m_server->whyNot()))

void TestPgLive::initTestCase()
{
    m_server = std::make_unique<PgServer>();
    if (!m_server->isRunning())
        qWarning("PostgreSQL tests will skip: %s", qPrintable(m_server->whyNot()));
}

void TestPgLive::cleanupTestCase()
{
    QStringList delays;
    for (qint64 ms : std::as_const(m_delays))
        delays << QString::number(ms);
    if (!delays.isEmpty())
        qInfo("live delays (ms): %s", qPrintable(delays.join(' ')));
    m_server.reset();
}

QString TestPgLive::newDatabase()
{
    const QString name = QString("live%1").arg(++m_databases);
    const QString error = m_server->createDatabase(name);
    if (!error.isEmpty()) {
        QTest::qFail(qPrintable("a database: " + error), __FILE__, __LINE__);
        return {};
    }
    return name;
}

QVariant TestPgLive::adminValue(const QString& database, const QString& sql) const
{
    QVariant value;
    {
        QSqlDatabase db = m_server->connect(database, "live-admin");
        QSqlQuery q(db);
        if (q.exec(sql) && q.next())
            value = q.value(0);
        else
            qWarning("%s: %s", qPrintable(sql), qPrintable(q.lastError().text()));
    }
    QSqlDatabase::removeDatabase("live-admin");
    return value;
}

void TestPgLive::seatsHearEachOther()
{
    REQUIRE_SERVER();
    const QString database = newDatabase();
    QVERIFY(!database.isEmpty());
    Seat a(m_server->url(database)), b(m_server->url(database));
    QVERIFY(a.started() && b.started());

    // Every kind of write, both ways; each seat announces its own write once.
    const Relayed added = relay(a, b, "insert simple 来自甲");
    VERIFY_RELAYED(added);
    const Relayed renamed = relay(b, a, QString("update simple %1 乙改过").arg(added.id));
    VERIFY_RELAYED(renamed);
    const Relayed gone = relay(a, b, QString("remove simple %1").arg(added.id));
    VERIFY_RELAYED(gone);
    const Relayed back = relay(b, a, "insert simple 来自乙");
    VERIFY_RELAYED(back);
    m_delays << added.delayMs << renamed.delayMs << gone.delayMs << back.delayMs;

    // A bulk write reaches the other seat as one reset of its table, not row by row.
    const qsizetype fromA = a.mark(), fromB = b.mark();
    QCOMPARE(a.ask("bulk simple 批量 250").text, "ok 250");
    QVERIFY(b.find("changed simple 0 R", fromB) >= 0);
    QTest::qWait(300);
    QCOMPARE(b.count("changed", fromB), 1);
    QCOMPARE(a.count("changed", fromA), 1);
}

void TestPgLive::seatsRecoverFromOutages()
{
    REQUIRE_SERVER();
    const QString database = newDatabase();
    QVERIFY(!database.isEmpty());
    Seat a(m_server->url(database)), b(m_server->url(database));
    QVERIFY(a.started() && b.started());

    // A's backend is killed inside a transaction, while B writes a row A cannot hear.
    const QString pid = a.ask("pid").text.section(' ', 1);
    QVERIFY(!pid.isEmpty());
    qsizetype from = a.mark();
    a.send("txn simple 半条一 半条二");
    QVERIFY(a.find("inside", from) >= 0);
    QVERIFY(
        adminValue(database, QString("SELECT pg_terminate_backend(%1, 5000)").arg(pid)).toBool());
    QVERIFY(b.ask("insert simple 断线时写的").text.startsWith("ok "));
    a.send("go");
    const Seat::Line failed = a.answer(from);
    QVERIFY2(failed.text.startsWith("failed ") && !failed.text.endsWith("："),
             qPrintable(failed.text));
    qsizetype lost = a.find("lost ", from);
    QVERIFY(lost >= 0);
    const qsizetype restored = a.find("restored", lost);
    QVERIFY(restored >= 0);
    // Nothing of the transaction was kept or announced; the missed row is read again by a reset.
    QCOMPARE(adminValue(database, "SELECT count(*) FROM simple WHERE name LIKE '半条%'").toInt(),
             0);
    QCOMPARE(a.count("changed \\w+ [1-9]", from, restored), 0);
    const qsizetype reset = a.find("changed simple 0 R", lost);
    QVERIFY(reset >= 0 && reset < restored);
    QCOMPARE(a.count("lost ", from), 1);
    for (const Relayed& r :
         {relay(a, b, "insert simple 甲回来了"), relay(b, a, "insert simple 乙也在")}) {
        VERIFY_RELAYED(r);
        m_delays << r.delayMs;
    }

    // The server stops for a while and starts again: each idle seat notices, once.
    from = a.mark();
    const qsizetype fromB = b.mark();
    QVERIFY(m_server->stop());
    lost = a.find("lost ", from);
    QVERIFY(lost >= 0);
    QVERIFY(b.find("lost ", fromB) >= 0);
    const Seat::Line refused = a.ask("insert simple 停机时写的");
    // The write is refused with what the seat was told of the loss: the server and the cause.
    QVERIFY2(a.at(lost).text.contains(database) && !a.at(lost).text.endsWith("："),
             qPrintable(a.at(lost).text));
    QCOMPARE(refused.text.section(' ', 1), a.at(lost).text.section(' ', 1));
    QTest::qWait(3 * ServerLink::CheckIntervalMs);
    QVERIFY2(m_server->start(), qPrintable(m_server->whyNot()));
    QVERIFY(a.find("restored", lost) >= 0);
    QVERIFY(b.find("restored", fromB) >= 0);
    QCOMPARE(a.count("lost ", from), 1);
    QCOMPARE(b.count("lost ", fromB), 1);
    QVERIFY(a.find("changed simple 0 R", lost) >= 0);
    QCOMPARE(adminValue(database, "SELECT count(*) FROM simple WHERE name = '停机时写的'").toInt(),
             0);
    for (const Relayed& r :
         {relay(a, b, "insert simple 又回来了"), relay(b, a, "insert simple 乙又在")}) {
        VERIFY_RELAYED(r);
        m_delays << r.delayMs;
    }
}

void TestPgLive::panelListFollowsAnotherSeat()
{
    REQUIRE_SERVER();
    const QString database = newDatabase();
    QVERIFY(!database.isEmpty());
    TestRoot a(false), b(false);
    for (TestRoot* seat : {&a, &b}) {
        seat->set({{Setting::DatabasePath, m_server->url(database)}});
        seat->openStore();
        QVERIFY(seat->ok());
    }
    SearchService search(*b.store, *b.settings);
    EntryListModel list(EntryListModel::ListKind::Simple, *b.store, search, *b.settings);
    list.showAll();
    QCOMPARE(list.rowCount(), 0);

    // No refresh on B: A's rows appear, change and go by themselves.
    const qint64 id = a.add(Table::Simple, {{"name", "甲加的短语"}});
    QTRY_COMPARE_WITH_TIMEOUT(list.rowCount(), 1, LiveMs);
    QCOMPARE(list.hit(0).id, id);
    QCOMPARE(list.index(0, 2).data().toString(), "甲加的短语");
    QVERIFY(a.store->update(Table::Simple, id, {{"name", "甲改的短语"}}).ok());
    QTRY_COMPARE_WITH_TIMEOUT(list.index(0, 2).data().toString(), "甲改的短语", LiveMs);
    QVERIFY(a.store->remove(Table::Simple, id).ok());
    QTRY_COMPARE_WITH_TIMEOUT(list.rowCount(), 0, LiveMs);
}

QTEST_MAIN(TestPgLive)
#include "tst_pglive.moc"
