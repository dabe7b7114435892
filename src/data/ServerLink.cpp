#include "data/ServerLink.h"

#include "data/PgSchema.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QTcpSocket>
#include <array>

namespace {

// A dead server or a pulled cable is noticed within seconds instead of the system's TCP
// timeouts, which run to minutes and would hang the panel on its next statement.
const QString LinkOptions = QStringLiteral("connect_timeout=3;keepalives=1;keepalives_idle=5;"
                                           "keepalives_interval=2;keepalives_count=2;"
                                           "tcp_user_timeout=5000");

std::optional<Change> changeOf(QStringView op)
{
    if (op == u"I")
        return Change::Inserted;
    if (op == u"U")
        return Change::Updated;
    if (op == u"D")
        return Change::Removed;
    if (op == u"R")
        return Change::Reset;
    return std::nullopt;
}

bool refusedForPassword(const QSqlError& error)
{
    const QString text = error.text() + error.databaseText();
    return error.nativeErrorCode() == QLatin1String("28P01") ||
           text.contains(QLatin1String("password"), Qt::CaseInsensitive) ||
           text.contains(QStringLiteral("口令")) || text.contains(QStringLiteral("密码"));
}

} // namespace

ServerLink::ServerLink(QString connectionName, PgUrl url, QObject* parent)
    : QObject(parent), m_name(std::move(connectionName)), m_url(std::move(url))
{
    m_checkTimer.setInterval(CheckIntervalMs);
    QObject::connect(&m_checkTimer, &QTimer::timeout, this, &ServerLink::check);
    // Notifications of one commit are told after the last of them.
    m_flushTimer.setSingleShot(true);
    m_flushTimer.setInterval(GatherMs);
    QObject::connect(&m_flushTimer, &QTimer::timeout, this, &ServerLink::flush);
}

ServerLink::~ServerLink()
{
    if (QSqlDatabase::contains(m_name)) {
        QSqlDatabase::database(m_name, false).close();
        QSqlDatabase::removeDatabase(m_name);
    }
}

bool ServerLink::isAddress(const QString& text)
{
    const QString t = text.trimmed();
    return t.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive) ||
           t.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

QSqlDatabase ServerLink::database() const
{
    return QSqlDatabase::database(m_name, false);
}

Result<void> ServerLink::open()
{
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QPSQL")))
        return Error{QStringLiteral("无法连接数据库 %1：本机缺少 PostgreSQL 驱动"
                                    "（Debian 的 libqt6sql6-psql 软件包）。")
                         .arg(shown())};
    if (Result<void> r = reach(); !r)
        return r;
    m_checkTimer.start();
    return {};
}

Result<void> ServerLink::reach()
{
    QSqlDatabase db = QSqlDatabase::contains(m_name)
                          ? QSqlDatabase::database(m_name, false)
                          : QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), m_name);
    m_url.applyTo(db);
    db.setConnectOptions(LinkOptions);
    m_wantsPassword = false;
    if (!db.open()) {
        m_wantsPassword = refusedForPassword(db.lastError());
        return PgSchema::failure(shown(), db.lastError());
    }
    if (Result<void> r = PgSchema::prepare(db, shown()); !r) {
        db.close();
        return r;
    }
    QSqlDriver* driver = db.driver();
    if (!driver->subscribeToNotification(QLatin1String(PgSchema::Channel))) {
        const Error e = PgSchema::failure(shown(), driver->lastError());
        db.close();
        return e;
    }
    // A new driver comes with every reopened connection.
    QObject::connect(driver, &QSqlDriver::notification, this, &ServerLink::onNotification,
                     Qt::UniqueConnection);
    m_up = true;
    return {};
}

void ServerLink::onNotification(const QString& name, QSqlDriver::NotificationSource source,
                                const QVariant& payload)
{
    // This seat's own writes are told by the store as they are made.
    if (source == QSqlDriver::SelfSource || name != QLatin1String(PgSchema::Channel))
        return;
    const QStringList parts = payload.toString().split(QLatin1Char(' '));
    if (parts.size() != 3)
        return;
    const std::optional<Table> table = Tables::fromSqlName(parts.at(0));
    const std::optional<Change> change = changeOf(parts.at(2));
    bool ok = false;
    const qint64 id = parts.at(1).toLongLong(&ok);
    if (!table || !change || !ok)
        return;
    if (m_heard.isEmpty())
        m_gathering.start();
    m_heard.append({*table, id, *change});
    if (m_gathering.elapsed() >= GatherMaxMs)
        flush();
    else
        m_flushTimer.start(); // again: the quiet gap counts from the latest
}

void ServerLink::flush()
{
    m_flushTimer.stop();
    const QList<Heard> heard = std::exchange(m_heard, {});
    std::array<int, TableCount> perTable{};
    for (const Heard& h : heard)
        perTable[static_cast<size_t>(h.table)] +=
            h.change == Change::Reset ? BulkChangeRows + 1 : 1;
    QList<Table> reset;
    for (const Heard& h : heard) {
        if (perTable[static_cast<size_t>(h.table)] <= BulkChangeRows) {
            emit changed(h.table, h.id, h.change);
        } else if (!reset.contains(h.table)) {
            reset << h.table;
            emit changed(h.table, 0, Change::Reset);
        }
    }
}

void ServerLink::statementFailed()
{
    if (m_up)
        check();
}

void ServerLink::check()
{
    if (!m_up) {
        tryBack();
        return;
    }
    if (m_inTransaction)
        return;
    QSqlQuery q(database());
    if (!q.exec(QStringLiteral("SELECT 1")))
        goDown(PgSchema::failure(shown(), q.lastError()).message);
}

void ServerLink::goDown(const QString& message)
{
    m_up = false;
    m_downMessage = message;
    m_heard.clear();
    database().close();
    emit lost(message);
}

void ServerLink::tryBack()
{
    if (m_probe)
        return;
    // A blocking connect to an unreachable server would freeze the panel for its whole timeout;
    // an asynchronous knock first keeps those attempts off the user's time.
    m_probe = new QTcpSocket(this);
    QObject::connect(m_probe, &QTcpSocket::connected, this, [this] {
        m_probe->abort();
        m_probe->deleteLater();
        m_probe = nullptr;
        if (reach())
            emit restored();
    });
    QObject::connect(m_probe, &QTcpSocket::errorOccurred, this, [this] {
        m_probe->deleteLater();
        m_probe = nullptr;
    });
    m_probe->connectToHost(m_url.host, static_cast<quint16>(m_url.port));
}
