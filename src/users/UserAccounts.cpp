#include "users/UserAccounts.h"

#include "data/Columns.h"
#include "data/Store.h"

#include <QByteArray>
#include <algorithm>
#include <sodium.h>

namespace {

bool sodiumReady()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

UserAccount toAccount(const Row& row)
{
    UserAccount a;
    a.id = row.value(Column::Id).toLongLong();
    a.name = row.value(Column::UserName).toString();
    a.isDefault = row.value(Column::DefaultUser).toInt() == 1;
    a.grade = row.value(Column::Grade).toInt();
    a.hasPassword = !row.value(Column::UserPw).toString().isEmpty();
    return a;
}

bool isHash(const QString& stored)
{
    return stored.startsWith(QLatin1String("$argon2"));
}

} // namespace

QString UserAccount::gradeName() const
{
    return isAdministrator() ? QStringLiteral("系统管理员") : QStringLiteral("普通用户");
}

Result<QList<UserAccount>> UserAccounts::users() const
{
    Query q;
    q.table = Table::Users;
    q.ordered = false; // the Users table has no sort columns
    Result<QList<Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    QList<UserAccount> out;
    for (const Row& row : rows.value())
        out << toAccount(row);
    std::sort(out.begin(), out.end(),
              [](const UserAccount& a, const UserAccount& b) { return a.id < b.id; });
    return out;
}

Result<std::optional<UserAccount>> UserAccounts::defaultUser() const
{
    Result<QList<UserAccount>> all = users();
    if (!all)
        return all.error();
    for (const UserAccount& a : all.value()) {
        if (a.isDefault)
            return std::optional<UserAccount>(a);
    }
    return std::optional<UserAccount>();
}

Result<bool> UserAccounts::needsLogin() const
{
    Result<QList<UserAccount>> all = users();
    if (!all)
        return all.error();
    if (all.value().size() != 1)
        return true;
    const UserAccount& only = all.value().first();
    return !only.isDefault || only.hasPassword;
}

Result<std::optional<CurrentUser>> UserAccounts::verify(const QString& name,
                                                        const QString& password)
{
    Query q;
    q.table = Table::Users;
    q.ordered = false;
    q.where = {{Column::UserName, name}};
    Result<QList<Row>> rows = m_store.rows(q);
    if (!rows)
        return rows.error();
    if (rows.value().isEmpty())
        return std::optional<CurrentUser>();
    const Row& row = rows.value().first();
    const QString stored = row.value(Column::UserPw).toString();
    if (!passwordMatches(stored, password))
        return std::optional<CurrentUser>();
    const UserAccount account = toAccount(row);
    // The login stands even when the store cannot be written now; a later login tries again.
    if (!stored.isEmpty() && !isHash(stored))
        static_cast<void>(replacePlainText(account.id, stored, password));
    return std::optional<CurrentUser>(account.asCurrentUser());
}

Result<void> UserAccounts::replacePlainText(qint64 id, const QString& stored,
                                            const QString& password)
{
    Result<QString> hash = hashPassword(password);
    if (!hash)
        return hash.error();
    // Inside the write lock, so that a password another seat set meanwhile is not overwritten.
    return m_store.transaction(Tables::store(Table::Users), [&]() -> Result<void> {
        Result<std::optional<Row>> now = m_store.row(Table::Users, id, {Column::UserPw});
        if (!now)
            return now.error();
        if (!now.value() || now.value()->value(Column::UserPw).toString() != stored)
            return {};
        return m_store.update(Table::Users, id, {{Column::UserPw, hash.value()}});
    });
}

Result<void> UserAccounts::setPassword(qint64 id, const QString& password)
{
    Result<QString> stored = hashPassword(password);
    if (!stored)
        return stored.error();
    return m_store.update(Table::Users, id, {{Column::UserPw, stored.value()}});
}

Result<QString> UserAccounts::hashPassword(const QString& password)
{
    if (password.isEmpty())
        return QString();
    if (!sodiumReady())
        return Error{QStringLiteral("无法初始化密码库。")};
    const QByteArray bytes = password.toUtf8();
    char hash[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str(hash, bytes.constData(), static_cast<unsigned long long>(bytes.size()),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        return Error{QStringLiteral("内存不足，无法保存密码。")};
    return QString::fromLatin1(hash);
}

bool UserAccounts::passwordMatches(const QString& stored, const QString& password)
{
    // Plain text, as older versions wrote it; an empty password is one too.
    if (!isHash(stored))
        return stored == password;
    if (password.isEmpty() || !sodiumReady())
        return false;
    const QByteArray hash = stored.toLatin1();
    const QByteArray bytes = password.toUtf8();
    return crypto_pwhash_str_verify(hash.constData(), bytes.constData(),
                                    static_cast<unsigned long long>(bytes.size())) == 0;
}
