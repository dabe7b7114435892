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

int gradeOf(const UserChange& user)
{
    return user.isAdministrator ? UserAccount::AdministratorGrade : 0;
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

Result<qint64> UserAccounts::add(const UserChange& user)
{
    const QString name = user.name.trimmed();
    if (name.isEmpty())
        return Error{QStringLiteral("请输入用户名!")};
    Result<QString> stored = hashPassword(user.password);
    if (!stored)
        return stored.error();
    Result<bool> exists = m_store.nameExists(Table::Users, name);
    if (!exists)
        return exists.error();
    if (exists.value())
        return Error{QStringLiteral("此用户已经存在!")};
    Result<qint64> id = m_store.insert(Table::Users, {{Column::UserName, name},
                                                      {Column::UserPw, stored.value()},
                                                      {Column::DefaultUser, user.isDefault ? 1 : 0},
                                                      {Column::Grade, gradeOf(user)}});
    // Two seats adding the same name: the constraint refuses the second.
    if (!id && id.error().code == Store::UniqueViolation)
        return Error{QStringLiteral("此用户已经存在!")};
    return id;
}

Result<void> UserAccounts::edit(qint64 id, const UserChange& user)
{
    Row values{{Column::DefaultUser, user.isDefault ? 1 : 0}, {Column::Grade, gradeOf(user)}};
    if (!user.password.isEmpty()) {
        Result<QString> stored = hashPassword(user.password);
        if (!stored)
            return stored.error();
        values.insert(Column::UserPw, stored.value());
    }
    return m_store.transaction(Tables::store(Table::Users), [&]() -> Result<void> {
        if (!user.isAdministrator) {
            Result<bool> last = isLastAdministrator(id);
            if (!last)
                return last.error();
            if (last.value())
                return Error{QStringLiteral("系统中至少要保留一个系统管理员否则无法管理软件!")};
        }
        return m_store.update(Table::Users, id, values);
    });
}

Result<void> UserAccounts::remove(qint64 id)
{
    return m_store.transaction(Tables::store(Table::Users), [&]() -> Result<void> {
        Result<bool> last = isLastAdministrator(id);
        if (!last)
            return last.error();
        if (last.value())
            return Error{QStringLiteral("系统管理员不能全部删除，\r\n"
                                        "至少要保留一个系统管理员否则无法管理软件！")};
        return m_store.remove(Table::Users, id);
    });
}

Result<void> UserAccounts::changePassword(const QString& name, const QString& current,
                                          const QString& replacement)
{
    Result<std::optional<CurrentUser>> who = verify(name, current);
    if (!who)
        return who.error();
    if (!who.value())
        return Error{QStringLiteral("原密码不正确!")};
    Result<QList<UserAccount>> all = users();
    if (!all)
        return all.error();
    for (const UserAccount& a : all.value()) {
        if (a.name.compare(name, Qt::CaseInsensitive) == 0)
            return setPassword(a.id, replacement);
    }
    return Error{QStringLiteral("没有这个用户。")};
}

Result<bool> UserAccounts::isLastAdministrator(qint64 id)
{
    Result<std::optional<Row>> row = m_store.row(Table::Users, id, {Column::Grade});
    if (!row)
        return row.error();
    if (!row.value() ||
        row.value()->value(Column::Grade).toInt() != UserAccount::AdministratorGrade)
        return false;
    Result<int> admins =
        m_store.count(Table::Users, {{Column::Grade, UserAccount::AdministratorGrade}});
    if (!admins)
        return admins.error();
    return admins.value() < 2;
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
