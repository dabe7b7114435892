#include "data/DbError.h"
#include "data/PgUrl.h"
#include "data/Schema.h"
#include "data/ServerLink.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "data/StoreFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlQuery>

// Finding and opening the two stores, and the guard against moving a seat onto a new, empty
// store by accident.

namespace {

const char* fileName(StoreId store)
{
    return store == StoreId::Assistant ? "assistant.dll" : "personal.dll";
}

bool samePath(const QString& a, const QString& b)
{
#ifdef Q_OS_WIN
    const Qt::CaseSensitivity cs = Qt::CaseInsensitive;
#else
    const Qt::CaseSensitivity cs = Qt::CaseSensitive;
#endif
    return QDir::cleanPath(QFileInfo(a).absoluteFilePath())
               .compare(QDir::cleanPath(QFileInfo(b).absoluteFilePath()), cs) == 0;
}

} // namespace

QString Store::assistantFolder(const QString& rootFolder, const QString& databasePath)
{
    QString folder = databasePath.isEmpty() ? rootFolder : databasePath;
    if (folder.endsWith(QLatin1Char('\\')) || folder.endsWith(QLatin1Char('/')))
        folder.chop(1);
    return folder;
}

QString Store::filePath(StoreId store) const
{
    if (isOnServer(store))
        return m_server->shown();
    QString folder = assistantFolder(m_rootFolder, store == StoreId::Assistant
                                                       ? m_settings.value(Setting::DatabasePath)
                                                       : QString());
    if (QDir::isRelativePath(folder))
        folder = QDir(m_rootFolder).filePath(folder);
    return QDir::cleanPath(folder + QLatin1Char('/') + QLatin1String(fileName(store)));
}

Result<void> Store::open()
{
    m_warnings.clear();
    // The personal store is always local and remembers which assistant store this seat used.
    if (Result<void> r = openFile(StoreId::Personal); !r)
        return r;
    const Result<QString> remembered = rememberedAssistant();
    if (!remembered)
        return remembered.error();
    // An empty database on a server was made for this store by its administrator; it is not
    // a lost DatabasePath's accident, as a new file would be.
    if (ServerLink::isAddress(m_settings.value(Setting::DatabasePath))) {
        if (Result<void> r = openServer(); !r)
            return r;
    } else {
        if (Result<void> r = checkAssistantMayBeCreated(remembered.value()); !r)
            return r;
        if (Result<void> r = openFile(StoreId::Assistant); !r)
            return r;
    }
    rememberAssistant(remembered.value());
    return {};
}

bool Store::isOpen() const
{
    for (const Connection& c : m_connections) {
        if (!QSqlDatabase::contains(c.name) || !QSqlDatabase::database(c.name, false).isOpen())
            return false;
    }
    return true;
}

Result<void> Store::openFile(StoreId store)
{
    Connection& conn = connection(store);
    conn.path = filePath(store);
    const QString shown = QDir::toNativeSeparators(conn.path);
    const QFileInfo info(conn.path);
    if (!info.exists() && !info.isSymLink()) {
        if (!QFileInfo(info.absolutePath()).isDir())
            return DbError::fromOpen(14, QStringLiteral("数据库文件夹 %1 不存在。")
                                             .arg(QDir::toNativeSeparators(info.absolutePath())));
        if (Result<void> r = StoreFile::create(conn.path, store); !r)
            return r;
    }

    QSqlDatabase db = QSqlDatabase::contains(conn.name)
                          ? QSqlDatabase::database(conn.name, false)
                          : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), conn.name);
    const Result<QStringList> lost = StoreFile::open(db, conn.path, store, m_busyTimeoutMs);
    if (!lost)
        return lost.error();
    if (!lost.value().isEmpty())
        m_warnings << QStringLiteral("数据库文件 %1 缺少%2，已补上（其中原有的内容已无法找回）。"
                                     "如有必要，请从备份中恢复。")
                          .arg(shown, lost.value().join(QStringLiteral("、")));
    return {};
}

Result<void> Store::openServer()
{
    const Result<PgUrl> url = PgUrl::parse(m_settings.value(Setting::DatabasePath));
    if (!url)
        return url.error();
    Connection& conn = connection(StoreId::Assistant);
    m_server = std::make_unique<ServerLink>(conn.name, url.value());
    Result<void> opened = m_server->open();
    while (!opened && m_server->wantsPassword() && m_passwordPrompt) {
        const std::optional<QString> password = m_passwordPrompt(m_server->shown());
        if (!password)
            break;
        m_server->setPassword(*password);
        opened = m_server->open();
    }
    if (!opened) {
        m_server.reset();
        return opened;
    }
    conn.path = m_server->shown();
    connect(m_server.get(), &ServerLink::changed, this, &Store::changed);
    connect(m_server.get(), &ServerLink::lost, this, &Store::serverLost);
    connect(m_server.get(), &ServerLink::restored, this, [this] {
        // What other seats wrote meanwhile was not heard: every list reads its table again.
        for (Table t : Tables::ofStore(StoreId::Assistant))
            emit changed(t, 0, Change::Reset);
        emit serverRestored();
    });
    return {};
}

Result<QString> Store::rememberedAssistant()
{
    Result<QSqlQuery> r = exec(StoreId::Personal,
                               QStringLiteral("SELECT value FROM %1 WHERE key = 'assistant'")
                                   .arg(QLatin1String(Schema::MemoryTable)),
                               {});
    if (!r)
        return r.error();
    return r.value().next() ? r.value().value(0).toString() : QString();
}

void Store::rememberAssistant(const QString& remembered)
{
    const QString path = connection(StoreId::Assistant).path;
    if (!remembered.isEmpty() && samePath(remembered, path))
        return;
    Result<QSqlQuery> r =
        exec(StoreId::Personal,
             QStringLiteral("INSERT OR REPLACE INTO %1(key, value) VALUES ('assistant', ?)")
                 .arg(QLatin1String(Schema::MemoryTable)),
             {path});
    if (!r)
        m_warnings << r.error().message;
}

Result<void> Store::checkAssistantMayBeCreated(const QString& remembered) const
{
    const QString path = filePath(StoreId::Assistant);
    const QFileInfo info(path);
    if (info.exists() || info.isSymLink())
        return {};
    const QString shownFolder = QDir::toNativeSeparators(info.absolutePath());
    const QString shownRemembered = QDir::toNativeSeparators(remembered);
    const bool usedAnother = !remembered.isEmpty() && !samePath(remembered, path);
    if (!QFileInfo(info.absolutePath()).isDir()) {
        if (!usedAnother)
            return DbError::fromOpen(
                14, QStringLiteral("数据库文件夹 %1 不存在或无法访问。").arg(shownFolder));
        return DbError::fromOpen(14, QStringLiteral("数据库文件夹 %1 不存在或无法访问。"
                                                    "这台电脑上次使用的数据库是 %2。")
                                         .arg(shownFolder, shownRemembered));
    }
    if (!usedAnother)
        return {};
    // Only a store whose folder is there without it is known to be gone; an unreachable folder
    // says nothing.
    const QFileInfo before(remembered);
    if (QFileInfo(before.absolutePath()).isDir() && !before.exists() && !before.isSymLink())
        return {};
    return DbError::fromOpen(
        14, QStringLiteral("这台电脑上次使用的数据库是 %1，而现在的 DatabasePath 指向 %2，"
                           "那里没有数据库。为免在一个新的空数据库上工作，程序没有新建它。"
                           "请检查 config.ini 中的 DatabasePath；如确要换用 %2，"
                           "请先把数据库文件放到那里。")
                .arg(shownRemembered, shownFolder));
}
