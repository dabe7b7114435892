#include "support/PgServer.h"
#include "support/TestRoot.h"

#include <QFileInfo>
#include <QSqlQuery>

// A seat opening its shared store on a server: the password it may need, and what it is told
// when the address is no good.
class TestPgOpen : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void passwordIsAskedUntilRightOrGivenUp();
    void badAddressesAreTold_data();
    void badAddressesAreTold();

private:
    // A store of a new data root on `address`, asking `prompt` for a password.
    Result<void> open(TestRoot& root, const QString& address,
                      Store::PasswordPrompt prompt = nullptr);

    std::unique_ptr<PgServer> m_server;
    QString m_skip;
};

#define REQUIRE_SERVER()                                                                           \
    if (!m_skip.isEmpty())                                                                         \
    QSKIP(qPrintable(m_skip))

void TestPgOpen::initTestCase()
{
    m_server = std::make_unique<PgServer>();
    if (!m_server->isRunning()) {
        m_skip = "no PostgreSQL server: " + m_server->whyNot();
        return;
    }
    QVERIFY(m_server->createDatabase("team").isEmpty());
    QVERIFY(m_server->createDatabase("other").isEmpty());
    QSqlDatabase admin = m_server->connect("postgres", "admin");
    QSqlQuery q(admin);
    // "agent" must give a password over TCP: its line goes before the server's trust lines.
    QVERIFY(q.exec("CREATE ROLE agent LOGIN PASSWORD 'se@cret'"));
    QVERIFY(q.exec("ALTER DATABASE team OWNER TO agent"));
    QVERIFY(q.exec("SELECT pg_read_file(current_setting('hba_file'))") && q.next());
    const QString hba = "host all agent 127.0.0.1/32 scram-sha-256\n" + q.value(0).toString();
    QVERIFY(q.exec("SELECT current_setting('hba_file')") && q.next());
    const QString hbaFile = q.value(0).toString();
    // COPY writes one line per row and leaves lines without tabs or backslashes as they are.
    QStringList rows;
    for (const QString& line : hba.split('\n'))
        rows << "('" + QString(line).replace("'", "''") + "')";
    QVERIFY2(q.exec(QString("COPY (SELECT l FROM (VALUES %1) AS t(l)) TO '%2'")
                        .arg(rows.join(", "), hbaFile)),
             qPrintable(q.lastError().text()));
    QVERIFY(q.exec("SELECT pg_reload_conf()"));
    admin.close();
    // The other database holds something else.
    QSqlDatabase other = m_server->connect("other", "foreign");
    QVERIFY(QSqlQuery(other).exec("CREATE TABLE notes (body TEXT)"));
    other.close();
}

Result<void> TestPgOpen::open(TestRoot& root, const QString& address, Store::PasswordPrompt prompt)
{
    root.set({{Setting::DatabasePath, address}});
    root.store = std::make_unique<Store>(root.dir.path(), *root.settings);
    root.store->setPasswordPrompt(std::move(prompt));
    return root.store->open();
}

void TestPgOpen::passwordIsAskedUntilRightOrGivenUp()
{
    REQUIRE_SERVER();
    const QString bare = m_server->url("team").replace(PgServer::Role, "agent");
    const QString shown = bare; // no password in it to hide
    TestRoot root(false);
    QVERIFY(root.ok());

    // Without a prompt the server's refusal is told, naming the address.
    Result<void> r = open(root, bare);
    QVERIFY(!r);
    QVERIFY2(r.message().startsWith("数据库 " + shown + " 出错："), qPrintable(r.message()));

    // A wrong password is asked again; the right one opens the store.
    QStringList asked;
    QStringList answers = {"wrong", "se@cret"};
    r = open(root, bare, [&](const QString& address) -> std::optional<QString> {
        asked << address;
        return answers.takeFirst();
    });
    QVERIFY2(r, qPrintable(r.message()));
    QCOMPARE(asked, QStringList({shown, shown}));
    QVERIFY(root.store->isOnServer(StoreId::Assistant));
    QVERIFY(root.store->insert(Table::Simple, {{"name", "您好"}}).ok());
    // The private store stays a file of the seat; no shared file is made beside it.
    QVERIFY(QFileInfo::exists(root.path("personal.dll")));
    QVERIFY(!QFileInfo::exists(root.path("assistant.dll")));

    // Giving up is not asked twice.
    asked.clear();
    r = open(root, bare, [&](const QString& address) -> std::optional<QString> {
        asked << address;
        return std::nullopt;
    });
    QVERIFY(!r);
    QCOMPARE(asked.size(), 1);

    // A password in the address needs no prompt, percent-encoded as addresses are.
    QString withPassword = bare;
    withPassword.replace("agent@", "agent:se%40cret@");
    r = open(root, withPassword, [](const QString&) -> std::optional<QString> {
        QTest::qFail("asked for a password the address gives", __FILE__, __LINE__);
        return std::nullopt;
    });
    QVERIFY2(r, qPrintable(r.message()));
    QCOMPARE(root.store->count(Table::Simple).value(), 1);
}

void TestPgOpen::badAddressesAreTold_data()
{
    QTest::addColumn<QString>("address"); // PORT: the server's port
    QTest::addColumn<QString>("message"); // the start of what the seat is told
    QTest::newRow("malformed") << "postgresql://agent@/team"
                               << "数据库地址 postgresql://agent@/team 无效：缺少服务器地址";
    QTest::newRow("nobody listening") << "postgresql://agent@127.0.0.1:1/team"
                                      << "数据库 postgresql://agent@127.0.0.1:1/team 出错：";
    QTest::newRow("no such database")
        << "postgresql://quillmate_test@127.0.0.1:PORT/missing"
        << "数据库 postgresql://quillmate_test@127.0.0.1:PORT/missing 出错：";
    QTest::newRow("someone else's database")
        << "postgresql://quillmate_test@127.0.0.1:PORT/other"
        << "数据库 postgresql://quillmate_test@127.0.0.1:PORT/other 不是客服Tavro的数据库";
}

void TestPgOpen::badAddressesAreTold()
{
    REQUIRE_SERVER();
    QFETCH(QString, address);
    QFETCH(QString, message);
    const QString port = m_server->url("x").section(':', 2).section('/', 0, 0);
    TestRoot root(false);
    QVERIFY(root.ok());
    const Result<void> r = open(root, QString(address).replace("PORT", port));
    QVERIFY(!r);
    QVERIFY2(r.message().startsWith(message.replace("PORT", port)), qPrintable(r.message()));
    QVERIFY(!QFileInfo::exists(root.path("assistant.dll")));
}

QTEST_GUILESS_MAIN(TestPgOpen)
#include "tst_pgopen.moc"
