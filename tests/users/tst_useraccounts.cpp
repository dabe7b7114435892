#include "support/TestRoot.h"
#include "users/UserAccounts.h"

#include <QTest>

namespace {

QString storedPassword(TestRoot& root, qint64 id)
{
    const Result<std::optional<Row>> row =
        root.store->row(Table::Users, id, {QStringLiteral("userpw")});
    if (!row || !row.value()) {
        QTest::qFail(qPrintable("user cannot be read: " + row.message()), __FILE__, __LINE__);
        return QStringLiteral("<unreadable>");
    }
    return row.value()->value(QStringLiteral("userpw")).toString();
}

qint64 addUser(TestRoot& root, const QString& name, int grade, bool isDefault = false)
{
    return root.add(Table::Users, {{QStringLiteral("username"), name},
                                   {QStringLiteral("userpw"), QString()},
                                   {QStringLiteral("defaultuser"), isDefault ? 1 : 0},
                                   {QStringLiteral("grade"), grade}});
}

// The id of the administrator every new store has.
qint64 adminId(UserAccounts& accounts)
{
    const auto all = accounts.users();
    return all && !all.value().isEmpty() ? all.value().first().id : 0;
}

std::optional<CurrentUser> verified(UserAccounts& accounts, const QString& name,
                                    const QString& password)
{
    const Result<std::optional<CurrentUser>> r = accounts.verify(name, password);
    if (!r) {
        QTest::qFail(qPrintable("verify failed: " + r.message()), __FILE__, __LINE__);
        return std::nullopt;
    }
    return r.value();
}

UserChange change(const QString& name, const QString& password = {}, bool isDefault = false,
                  bool isAdministrator = false)
{
    return {name, password, isDefault, isAdministrator};
}

} // namespace

class TestUserAccounts : public QObject {
    Q_OBJECT
private slots:
    void newStoreStartsWithoutLogin();
    void loginNeeded_data();
    void loginNeeded();
    void verify_data();
    void verify();
    void hashesAreSaltedAndHideThePassword();
    void emptyPasswordIsStoredEmpty();
    void plainTextPasswordOfOlderStoresVerifies();
    void accountsListInIdOrder();
    void addEditRemoveFollowTheirRules();
    void ownPasswordNeedsTheCurrentOne();
};

void TestUserAccounts::newStoreStartsWithoutLogin()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);

    const auto all = accounts.users();
    QVERIFY(all.ok());
    QCOMPARE(all.value().size(), 1);
    const UserAccount admin = all.value().first();
    QCOMPARE(admin.name, QStringLiteral("admin"));
    QVERIFY(admin.isDefault);
    QVERIFY(admin.isAdministrator());
    QVERIFY(!admin.hasPassword);
    QCOMPARE(admin.gradeName(), QStringLiteral("系统管理员"));

    QCOMPARE(accounts.needsLogin().value(), false);
    const auto def = accounts.defaultUser();
    QVERIFY(def.ok() && def.value().has_value());
    QCOMPARE(def.value()->name, QStringLiteral("admin"));
    QCOMPARE(verified(accounts, QStringLiteral("admin"), QString()),
             (CurrentUser{QStringLiteral("admin"), true}));
}

void TestUserAccounts::loginNeeded_data()
{
    QTest::addColumn<QString>("change");
    QTest::newRow("second user") << "second user";
    QTest::newRow("password on the default user") << "password";
    QTest::newRow("plain-text password on the default user") << "legacy password";
    QTest::newRow("only user is not the default") << "not default";
    QTest::newRow("no user at all") << "no user";
}

void TestUserAccounts::loginNeeded()
{
    QFETCH(QString, change);
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 admin = adminId(accounts);
    QVERIFY(admin > 0);

    if (change == QLatin1String("second user")) {
        addUser(root, QStringLiteral("小王"), 2);
    } else if (change == QLatin1String("password")) {
        QVERIFY(accounts.setPassword(admin, QStringLiteral("s3cret")).ok());
    } else if (change == QLatin1String("legacy password")) {
        QVERIFY(root.store->update(Table::Users, admin, {{QStringLiteral("userpw"), "1"}}).ok());
    } else if (change == QLatin1String("not default")) {
        QVERIFY(root.store->update(Table::Users, admin, {{QStringLiteral("defaultuser"), 0}}).ok());
    } else {
        QVERIFY(root.store->remove(Table::Users, admin).ok());
    }
    const Result<bool> needed = accounts.needsLogin();
    QVERIFY(needed.ok());
    QCOMPARE(needed.value(), true);
}

void TestUserAccounts::verify_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<bool>("administrator");

    QTest::newRow("administrator, right") << "admin"
                                          << "s3cret" << true << true;
    QTest::newRow("administrator, wrong") << "admin"
                                          << "s3cret!" << false << false;
    QTest::newRow("administrator, letter case") << "admin"
                                                << "S3CRET" << false << false;
    QTest::newRow("administrator, empty") << "admin"
                                          << "" << false << false;
    QTest::newRow("normal user, right") << "小王"
                                        << "密码 123" << true << false;
    QTest::newRow("normal user, other's") << "小王"
                                          << "s3cret" << false << false;
    QTest::newRow("no password, empty") << "guest"
                                        << "" << true << false;
    QTest::newRow("no password, typed") << "guest"
                                        << "x" << false << false;
    QTest::newRow("unknown user") << "nobody"
                                  << "" << false << false;
}

void TestUserAccounts::verify()
{
    QFETCH(QString, name);
    QFETCH(QString, password);
    QFETCH(bool, accepted);
    QFETCH(bool, administrator);

    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    QVERIFY(accounts.setPassword(adminId(accounts), QStringLiteral("s3cret")).ok());
    QVERIFY(
        accounts.setPassword(addUser(root, QStringLiteral("小王"), 2), QStringLiteral("密码 123"))
            .ok());
    addUser(root, QStringLiteral("guest"), 0);

    const std::optional<CurrentUser> user = verified(accounts, name, password);
    QCOMPARE(user.has_value(), accepted);
    if (accepted)
        QCOMPARE(*user, (CurrentUser{name, administrator}));
}

void TestUserAccounts::hashesAreSaltedAndHideThePassword()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 a = addUser(root, QStringLiteral("甲"), 2);
    const qint64 b = addUser(root, QStringLiteral("乙"), 2);
    const QString password = QStringLiteral("same-password");
    QVERIFY(accounts.setPassword(a, password).ok());
    QVERIFY(accounts.setPassword(b, password).ok());

    const QString storedA = storedPassword(root, a);
    const QString storedB = storedPassword(root, b);
    QVERIFY(storedA.startsWith(QLatin1String("$argon2")));
    QVERIFY(storedB.startsWith(QLatin1String("$argon2")));
    QVERIFY(storedA != storedB);
    QVERIFY(!storedA.contains(password) && !storedB.contains(password));
    QVERIFY(verified(accounts, QStringLiteral("甲"), password).has_value());
    QVERIFY(verified(accounts, QStringLiteral("乙"), password).has_value());

    // A hash is never mistaken for a plain-text password.
    QVERIFY(!UserAccounts::passwordMatches(storedA, storedA));
}

void TestUserAccounts::emptyPasswordIsStoredEmpty()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 admin = adminId(accounts);
    QVERIFY(accounts.setPassword(admin, QStringLiteral("s3cret")).ok());
    QCOMPARE(accounts.needsLogin().value(), true);

    QVERIFY(accounts.setPassword(admin, QString()).ok());
    QCOMPARE(storedPassword(root, admin), QString());
    QCOMPARE(accounts.needsLogin().value(), false);
    QCOMPARE(UserAccounts::hashPassword(QString()).value(), QString());
}

void TestUserAccounts::plainTextPasswordOfOlderStoresVerifies()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 admin = adminId(accounts);
    QVERIFY(root.store->update(Table::Users, admin, {{QStringLiteral("userpw"), "1234"}}).ok());

    QVERIFY(!verified(accounts, QStringLiteral("admin"), QStringLiteral("12345")).has_value());
    QVERIFY(!verified(accounts, QStringLiteral("admin"), QStringLiteral("123")).has_value());
    QVERIFY(!verified(accounts, QStringLiteral("admin"), QString()).has_value());
    QCOMPARE(storedPassword(root, admin), QStringLiteral("1234"));

    // The first successful login replaces the plain text with its hash.
    QVERIFY(verified(accounts, QStringLiteral("admin"), QStringLiteral("1234")).has_value());
    QVERIFY(storedPassword(root, admin).startsWith(QLatin1String("$argon2")));
    QVERIFY(verified(accounts, QStringLiteral("admin"), QStringLiteral("1234")).has_value());
    QVERIFY(!verified(accounts, QStringLiteral("admin"), QStringLiteral("12345")).has_value());
}

void TestUserAccounts::accountsListInIdOrder()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 b = addUser(root, QStringLiteral("b"), 2);
    const qint64 a = addUser(root, QStringLiteral("a"), 0, true);
    QVERIFY(
        root.store->update(Table::Users, adminId(accounts), {{QStringLiteral("defaultuser"), 0}})
            .ok());

    const auto all = accounts.users();
    QVERIFY(all.ok());
    QCOMPARE(all.value().size(), 3);
    QCOMPARE(all.value()[1].id, b);
    QCOMPARE(all.value()[2].id, a);
    QCOMPARE(all.value()[1].gradeName(), QStringLiteral("普通用户"));
    QCOMPARE(all.value()[2].gradeName(), QStringLiteral("普通用户"));
    QCOMPARE(accounts.defaultUser().value()->name, QStringLiteral("a"));
}

void TestUserAccounts::addEditRemoveFollowTheirRules()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    const qint64 admin = adminId(accounts);
    QCOMPARE(accounts.add(change(QStringLiteral("  "))).message(), QStringLiteral("请输入用户名!"));
    QCOMPARE(accounts.add(change(QStringLiteral("ADMIN"))).message(),
             QStringLiteral("此用户已经存在!"));

    // The only administrator can be neither demoted nor deleted; with a second one, either can.
    const QString demoting = QStringLiteral("系统中至少要保留一个系统管理员否则无法管理软件!");
    const QString deleting = QStringLiteral("系统管理员不能全部删除，\r\n"
                                            "至少要保留一个系统管理员否则无法管理软件！");
    QCOMPARE(accounts.edit(admin, change(QStringLiteral("admin"))).message(), demoting);
    QCOMPARE(accounts.remove(admin).message(), deleting);
    const Result<qint64> li =
        accounts.add(change(QStringLiteral("李四"), QStringLiteral("pw4"), false, true));
    QVERIFY2(li.ok(), qPrintable(li.message()));
    QVERIFY(accounts.edit(admin, change(QStringLiteral("admin"), QString(), true, false)).ok());
    QCOMPARE(accounts.remove(li.value()).message(), deleting);
    QCOMPARE(accounts.edit(li.value(), change(QStringLiteral("李四"))).message(), demoting);

    // Left empty on an edit, the password stays; given, it is replaced.
    QVERIFY(accounts.edit(li.value(), change(QStringLiteral("李四"), QString(), true, true)).ok());
    QVERIFY(verified(accounts, QStringLiteral("李四"), QStringLiteral("pw4")));
    QVERIFY(
        accounts.edit(li.value(), change(QStringLiteral("李四"), QStringLiteral("new"), true, true))
            .ok());
    QVERIFY(!verified(accounts, QStringLiteral("李四"), QStringLiteral("pw4")));
    QVERIFY(verified(accounts, QStringLiteral("李四"), QStringLiteral("new")));
    QVERIFY(accounts.remove(admin).ok());
    QCOMPARE(accounts.users().value().size(), 1);
}

void TestUserAccounts::ownPasswordNeedsTheCurrentOne()
{
    TestRoot root;
    QVERIFY(root.ok());
    UserAccounts accounts(*root.store);
    QCOMPARE(
        accounts
            .changePassword(QStringLiteral("admin"), QStringLiteral("x"), QStringLiteral("secret"))
            .message(),
        QStringLiteral("原密码不正确!"));
    QVERIFY(
        accounts.changePassword(QStringLiteral("admin"), QString(), QStringLiteral("secret")).ok());
    QVERIFY(verified(accounts, QStringLiteral("admin"), QStringLiteral("secret")));
    QVERIFY(!verified(accounts, QStringLiteral("admin"), QString()));
}

QTEST_GUILESS_MAIN(TestUserAccounts)
#include "tst_useraccounts.moc"
