#include "support/FixtureRows.h"
#include "support/TestRoot.h"
#include "users/UserAccounts.h"

#include <QTest>

class TestUserAccounts : public QObject {
    Q_OBJECT
private slots:
    void init();

    void loginNeeded_data() { fixtureData("login-needed.txt"); }
    void loginNeeded();
    void verify_data() { fixtureData("logins.txt"); }
    void verify();
    void passwordsAreStoredSaltedOrEmpty();
    void plainTextPasswordOfOlderStoresVerifies();
    void accountsListInIdOrder();
    void addEditRemoveFollowTheirRules();
    void ownPasswordNeedsTheCurrentOne();

private:
    qint64 addUser(const QString& name, int grade, bool isDefault = false)
    {
        return m_root->add(Table::Users, {{"username", name},
                                          {"userpw", QString()},
                                          {"defaultuser", isDefault ? 1 : 0},
                                          {"grade", grade}});
    }
    QString storedPassword(qint64 id)
    {
        const Result<std::optional<Row>> row = m_root->store->row(Table::Users, id, {"userpw"});
        return row && row.value() ? row.value()->value("userpw").toString() : "<unreadable>";
    }
    // Whether the name and password log in; a failed look-up fails the test.
    bool logsIn(const QString& name, const QString& password)
    {
        const Result<std::optional<CurrentUser>> r = m_accounts->verify(name, password);
        if (!r)
            QTest::qFail(qPrintable("verify failed: " + r.message()), __FILE__, __LINE__);
        return r && r.value();
    }

    // A fresh store for every test: its only user is the administrator every new store has.
    std::optional<TestRoot> m_root;
    std::optional<UserAccounts> m_accounts;
    qint64 m_admin = 0;
};

void TestUserAccounts::init()
{
    m_accounts.reset();
    m_root.emplace();
    QVERIFY(m_root->ok());
    m_accounts.emplace(*m_root->store);
    const auto all = m_accounts->users();
    QVERIFY(all && all.value().size() == 1);
    m_admin = all.value().first().id;
}

// A row of login-needed.txt: the change made to the store.
void TestUserAccounts::loginNeeded()
{
    QFETCH(QStringList, row);
    const QString change = row.value(1);
    Store& store = *m_root->store;
    if (change == "second user")
        addUser("小王", 2);
    else if (change == "password")
        QVERIFY(m_accounts->setPassword(m_admin, "s3cret").ok());
    else if (change == "legacy password")
        QVERIFY(store.update(Table::Users, m_admin, {{"userpw", "1"}}).ok());
    else if (change == "not default")
        QVERIFY(store.update(Table::Users, m_admin, {{"defaultuser", 0}}).ok());
    else
        QVERIFY(store.remove(Table::Users, m_admin).ok());
    const Result<bool> needed = m_accounts->needsLogin();
    QVERIFY(needed.ok());
    QCOMPARE(needed.value(), true);
}

// A row of logins.txt: the user and password typed, whether they log in and as what.
void TestUserAccounts::verify()
{
    QFETCH(QStringList, row);
    QVERIFY(m_accounts->setPassword(m_admin, "s3cret").ok());
    QVERIFY(m_accounts->setPassword(addUser("小王", 2), "密码 123").ok());
    addUser("guest", 0);

    const Result<std::optional<CurrentUser>> user = m_accounts->verify(row.value(1), row.value(2));
    QVERIFY(user.ok());
    QCOMPARE(user.value().has_value(), row.value(3) == "1");
    if (user.value())
        QCOMPARE(*user.value(), (CurrentUser{row.value(1), row.value(4) == "1"}));
}

void TestUserAccounts::passwordsAreStoredSaltedOrEmpty()
{
    const qint64 a = addUser("甲", 2);
    const qint64 b = addUser("乙", 2);
    const QString password = "same-password";
    QVERIFY(m_accounts->setPassword(a, password).ok());
    QVERIFY(m_accounts->setPassword(b, password).ok());

    const QString storedA = storedPassword(a);
    const QString storedB = storedPassword(b);
    QVERIFY(storedA.startsWith("$argon2"));
    QVERIFY(storedB.startsWith("$argon2"));
    QVERIFY(storedA != storedB);
    QVERIFY(!storedA.contains(password) && !storedB.contains(password));
    QVERIFY(logsIn("甲", password));
    QVERIFY(logsIn("乙", password));
    // A hash is never mistaken for a plain-text password.
    QVERIFY(!UserAccounts::passwordMatches(storedA, storedA));

    // Taken away again, the password is stored empty and no login is asked for.
    QVERIFY(m_accounts->setPassword(m_admin, "s3cret").ok());
    QCOMPARE(m_accounts->needsLogin().value(), true);
    QVERIFY(m_root->store->remove(Table::Users, a).ok() &&
            m_root->store->remove(Table::Users, b).ok());
    QVERIFY(m_accounts->setPassword(m_admin, QString()).ok());
    QCOMPARE(storedPassword(m_admin), QString());
    QCOMPARE(m_accounts->needsLogin().value(), false);
    QCOMPARE(UserAccounts::hashPassword(QString()).value(), QString());
}

void TestUserAccounts::plainTextPasswordOfOlderStoresVerifies()
{
    QVERIFY(m_root->store->update(Table::Users, m_admin, {{"userpw", "1234"}}).ok());
    QVERIFY(!logsIn("admin", "12345"));
    QVERIFY(!logsIn("admin", "123"));
    QVERIFY(!logsIn("admin", QString()));
    QCOMPARE(storedPassword(m_admin), "1234");

    // The first successful login replaces the plain text with its hash.
    QVERIFY(logsIn("admin", "1234"));
    QVERIFY(storedPassword(m_admin).startsWith("$argon2"));
    QVERIFY(logsIn("admin", "1234"));
    QVERIFY(!logsIn("admin", "12345"));
}

void TestUserAccounts::accountsListInIdOrder()
{
    const qint64 b = addUser("b", 2);
    const qint64 a = addUser("a", 0, true);
    QVERIFY(m_root->store->update(Table::Users, m_admin, {{"defaultuser", 0}}).ok());

    const auto all = m_accounts->users();
    QVERIFY(all.ok());
    QCOMPARE(all.value().size(), 3);
    QCOMPARE(all.value()[1].id, b);
    QCOMPARE(all.value()[2].id, a);
    QCOMPARE(all.value()[1].gradeName(), "普通用户");
    QCOMPARE(all.value()[2].gradeName(), "普通用户");
    QCOMPARE(m_accounts->defaultUser().value()->name, "a");
}

void TestUserAccounts::addEditRemoveFollowTheirRules()
{
    UserAccounts& accounts = *m_accounts;
    QCOMPARE(accounts.add({"  ", {}, false, false}).message(), "请输入用户名!");
    QCOMPARE(accounts.add({"ADMIN", {}, false, false}).message(), "此用户已经存在!");

    // The only administrator can be neither demoted nor deleted; with a second one, either can.
    const QString demoting = "系统中至少要保留一个系统管理员否则无法管理软件!";
    const QString deleting =
        "系统管理员不能全部删除，\r\n至少要保留一个系统管理员否则无法管理软件！";
    QCOMPARE(accounts.edit(m_admin, {"admin", {}, false, false}).message(), demoting);
    QCOMPARE(accounts.remove(m_admin).message(), deleting);
    const Result<qint64> li = accounts.add({"李四", "pw4", false, true});
    QVERIFY2(li.ok(), qPrintable(li.message()));
    QVERIFY(accounts.edit(m_admin, {"admin", QString(), true, false}).ok());
    QCOMPARE(accounts.remove(li.value()).message(), deleting);
    QCOMPARE(accounts.edit(li.value(), {"李四", {}, false, false}).message(), demoting);

    // Left empty on an edit, the password stays; given, it is replaced.
    QVERIFY(accounts.edit(li.value(), {"李四", QString(), true, true}).ok());
    QVERIFY(logsIn("李四", "pw4"));
    QVERIFY(accounts.edit(li.value(), {"李四", "new", true, true}).ok());
    QVERIFY(!logsIn("李四", "pw4"));
    QVERIFY(logsIn("李四", "new"));
    QVERIFY(accounts.remove(m_admin).ok());
    QCOMPARE(accounts.users().value().size(), 1);
}

void TestUserAccounts::ownPasswordNeedsTheCurrentOne()
{
    QCOMPARE(m_accounts->changePassword("admin", "x", "secret").message(), "原密码不正确!");
    QVERIFY(m_accounts->changePassword("admin", QString(), "secret").ok());
    QVERIFY(logsIn("admin", "secret"));
    QVERIFY(!logsIn("admin", QString()));
}

QTEST_GUILESS_MAIN(TestUserAccounts)
#include "tst_useraccounts.moc"
