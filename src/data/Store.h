#pragma once

#include "data/Change.h"
#include "data/Columns.h"
#include "data/PgUrl.h"
#include "data/Result.h"
#include "data/Tables.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <array>
#include <functional>
#include <memory>
#include <optional>

class PinyinTable;
class ServerLink;
class Settings;

using Row = QVariantMap;

struct Condition {
    QString column;
    QVariant value; // a null value matches NULL
};
using Where = QList<Condition>;

// A read of one table (or of its view, which adds the category names).
struct Query {
    Table table = Table::Item;
    bool withNames = false;
    QStringList columns;       // empty: every column
    bool blobPresence = false; // adds `hasblob`: whether the row stores a picture or file
    Where where;
    bool ordered = true;
    QString sortColumn = Column::SerialNum; // used by the custom sort mode
    int limit = -1;
    int offset = 0;
};

struct NamedId {
    qint64 id = 0;
    QString name;
    friend bool operator==(const NamedId&, const NamedId&) = default;
};

// What a cascading delete removed, so that lists on screen can follow.
struct Cascade {
    QList<qint64> categories; // small categories (under a big category)
    struct Entry {
        qint64 id = 0;
        bool common = false;
    };
    QList<Entry> entries;
};

// The two stores: the shared assistant store (in DatabasePath, or the data root, or on the
// PostgreSQL server DatabasePath names) and the personal store (always a file in the data root).
// Every statement binds its values; every write announces itself through changed() once it is
// committed, and on a server other seats' writes are announced as well.
class Store : public QObject {
    Q_OBJECT
public:
    static constexpr int UniqueViolation = 2067; // SQLITE_CONSTRAINT_UNIQUE
    static constexpr int BusyTimeoutMs = 30000;
    // More changes than this in one transaction are announced as a Reset of each table.
    static constexpr int BulkChangeRows = 200;

    Store(QString rootFolder, const Settings& settings, QObject* parent = nullptr);
    ~Store() override;

    // The folder of the assistant store: DatabasePath with one trailing separator removed, or the
    // data root when DatabasePath is empty.
    static QString assistantFolder(const QString& rootFolder, const QString& databasePath);
    // A relative DatabasePath is taken from the data root, never from the working folder, which
    // depends on how the program was started. On a server: its address without the password.
    QString filePath(StoreId store) const;
    // Whether the store lives on a PostgreSQL server rather than in a file.
    bool isOnServer(StoreId store) const;
    // The server's address with the password the seat connected with, for work that opens a
    // connection of its own (on another thread); nothing for a file.
    std::optional<PgUrl> serverUrl() const;
    // Asked for the server's password when the address carries none and the server wants one;
    // nothing: the user gave up.
    using PasswordPrompt = std::function<std::optional<QString>(const QString& shownAddress)>;
    void setPasswordPrompt(PasswordPrompt prompt) { m_passwordPrompt = std::move(prompt); }

    // Opens both files, creating a missing one with its schema. A file that is not one of our
    // databases is refused and left exactly as it is. The assistant store is not created when
    // this seat has used another one that may still exist: a lost DatabasePath must not move
    // the agent onto a new, empty store.
    Result<void> open();
    bool isOpen() const;
    // What open() repaired in a damaged store, for the user to be told.
    QStringList warnings() const { return m_warnings; }
    // How long a statement waits for another seat's lock.
    void setBusyTimeout(int ms) { m_busyTimeoutMs = ms; }

    // Rows written from now on carry this name in `username`; pycode is computed with `pinyin`.
    void setCurrentUser(const QString& name) { m_currentUser = name; }
    QString currentUser() const { return m_currentUser; }
    void setPinyin(const PinyinTable* pinyin) { m_pinyin = pinyin; }

    Result<qint64> insert(Table table, const Row& values);
    Result<void> update(Table table, qint64 id, const Row& values);
    Result<void> remove(Table table, qint64 id);

    Result<QList<Row>> rows(const Query& query);
    // Only the ids of the rows a query reads, in its order: cheap enough for a whole table.
    Result<QList<qint64>> ids(const Query& query);
    Result<std::optional<Row>> row(Table table, qint64 id, const QStringList& columns = {});
    Result<int> count(Table table, const Where& where = {});
    // Whether another row has this name (letter case ignored), within `scope`.
    Result<bool> nameExists(Table table, const QString& name, const Where& scope = {},
                            qint64 exceptId = 0);
    // The highest id, or nothing for an empty table.
    Result<std::optional<qint64>> maxId(Table table);
    // A picker's entries: the prompt (id 0) first, then the rows' names in list order.
    Result<QList<NamedId>> categoryList(Table table, const QString& prompt,
                                        const Where& where = {});
    Result<std::optional<qint64>> idByName(Table table, const QString& column, const QString& value,
                                           const Where& where = {});
    Result<QString> typeName(Table table, const QString& column, qint64 id);

    // The picture or file bytes of a row; nothing when none is stored.
    Result<std::optional<QByteArray>> blob(Table table, qint64 id);
    Result<void> setBlob(Table table, qint64 id, const std::optional<QByteArray>& bytes);

    Result<void> addUse(Table table, qint64 id);
    Result<void> setCommon(qint64 knowledgeId, bool common);

    // Children counts that decide the delete questions.
    Result<int> childCount(Table parent, qint64 id);
    // Cascading deletes, each in one transaction: a big category with its small categories and
    // their entries; a small category with its entries; a phrase/file/tool/private category
    // with its rows.
    Result<Cascade> deleteBigCategory(qint64 id);
    Result<Cascade> deleteSmallCategory(qint64 id);
    Result<Cascade> deleteCategory(Table categoryTable, qint64 id);

    // Runs `work` in one write transaction on that store; an error rolls everything back and
    // no change is announced. Transactions nest.
    Result<void> transaction(StoreId store, const std::function<Result<void>()>& work);

    // Counts commits by other connections (other windows' stores, other programs, other seats).
    // A server store tells those commits through changed() and stays at one version.
    Result<qint64> dataVersion(StoreId store);

    QSqlDatabase database(StoreId store) const;
    QString sortSetting() const;

signals:
    void changed(Table table, qint64 id, Change change);
    // The server store's connection was lost (told once) and, later, is back: every shared
    // table has then been announced as Reset.
    void serverLost(const QString& message);
    void serverRestored();

private:
    struct Pending {
        Table table;
        qint64 id;
        Change change;
    };
    struct Connection {
        QString name;
        QString path;
        int depth = 0;
        QList<Pending> pending;
    };

    Result<void> openFile(StoreId store);
    Result<void> openServer();
    bool onServer(Table table) const { return isOnServer(Tables::store(table)); }
    // Runs one statement; a failure on the server has the connection checked.
    Result<QSqlQuery> exec(StoreId store, const QString& sql, const QVariantList& values);
    Result<void> checkAssistantMayBeCreated(const QString& remembered) const;
    Result<QString> rememberedAssistant();
    void rememberAssistant(const QString& remembered);
    Connection& connection(StoreId store) { return m_connections[static_cast<size_t>(store)]; }
    QSqlDatabase db(Table table) const;
    void announce(Table table, qint64 id, Change change);
    Row prepared(Table table, const Row& values, bool inserting) const;
    Result<void> execute(Table table, const QString& sql, const QVariantList& values);
    Result<QString> selectSql(const Query& query, QVariantList& bound) const;

    QString m_rootFolder;
    const Settings& m_settings;
    const PinyinTable* m_pinyin = nullptr;
    QString m_currentUser;
    std::array<Connection, 2> m_connections;
    int m_busyTimeoutMs = BusyTimeoutMs;
    QStringList m_warnings;
    std::unique_ptr<ServerLink> m_server;
    PasswordPrompt m_passwordPrompt;
};
