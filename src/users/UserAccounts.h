#pragma once

#include "data/CurrentUser.h"
#include "data/Result.h"

#include <QList>
#include <QString>
#include <optional>

class Store;

// A row of the Users table, without its password.
struct UserAccount {
    qint64 id = 0;
    QString name;
    bool isDefault = false;
    int grade = 0;
    bool hasPassword = false;

    bool isAdministrator() const { return grade == AdministratorGrade; }
    QString gradeName() const;
    CurrentUser asCurrentUser() const { return {name, isAdministrator()}; }

    static constexpr int AdministratorGrade = 1;
};

// What the user windows write: a name, a password (empty on edit: left as it is), the default
// mark and whether the user is an administrator.
struct UserChange {
    QString name;
    QString password;
    bool isDefault = false;
    bool isAdministrator = false;
};

// The local user accounts of the assistant store. Passwords are kept as salted Argon2 hashes;
// an empty password stays empty text, and a plain-text password written by older versions
// still verifies, and is replaced by its hash at that login.
class UserAccounts {
public:
    explicit UserAccounts(Store& store) : m_store(store) {}

    // Every account, in id order.
    Result<QList<UserAccount>> users() const;
    // The account marked as default (the lowest id if several are); nothing when none is.
    Result<std::optional<UserAccount>> defaultUser() const;
    // False only when the single account is the default one and has no password: the program
    // then starts as that user without asking.
    Result<bool> needsLogin() const;
    // The user when the name exists and the password matches; nothing otherwise.
    Result<std::optional<CurrentUser>> verify(const QString& name, const QString& password);
    Result<void> setPassword(qint64 id, const QString& password);

    // Refused: an empty name ("请输入用户名!"), a name already there ("此用户已经存在!").
    Result<qint64> add(const UserChange& user);
    // The name stays. Refused when it would leave no administrator.
    Result<void> edit(qint64 id, const UserChange& user);
    // Refused when it is the last administrator.
    Result<void> remove(qint64 id);
    // Any user, their own password: the current one must match.
    Result<void> changePassword(const QString& name, const QString& current,
                                const QString& replacement);

    // The text stored for a password: empty for an empty password, otherwise a hash in the
    // libsodium string format (algorithm, parameters and salt included).
    static Result<QString> hashPassword(const QString& password);
    static bool passwordMatches(const QString& stored, const QString& password);

    // Whether the account is the only administrator left. edit() and remove() ask again inside
    // the write lock, so that two seats cannot each take one of the last two.
    Result<bool> isLastAdministrator(qint64 id);

private:
    // Stores the hash of a plain-text password that was just verified, unless the stored text
    // has changed since it was read.
    Result<void> replacePlainText(qint64 id, const QString& stored, const QString& password);

    Store& m_store;
};
