#include "support/FixtureRows.h"
#include "support/Gui.h"
#include "support/TestRoot.h"
#include "users/LoginWindow.h"
#include "users/PasswordWindow.h"
#include "users/UserAccounts.h"
#include "users/UserWindow.h"
#include "widgets/ModalDriver.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QTreeWidget>

namespace {

struct Fixture {
    TestRoot root;
    UserAccounts accounts{*root.store};
    qint64 admin = 0;
    qint64 bob = 0;

    // admin (password "s3cret"), bob (normal user, password "bob-pw", the default user),
    // carol (normal user, no password).
    Fixture()
    {
        admin = accounts.users().value().first().id;
        check(accounts.setPassword(admin, "s3cret"));
        check(root.store->update(Table::Users, admin, {{"defaultuser", 0}}));
        bob = addUser("bob", true);
        check(accounts.setPassword(bob, "bob-pw"));
        addUser("carol", false);
    }

    // A normal user without a password.
    qint64 addUser(const QString& name, bool isDefault)
    {
        return root.add(Table::Users, {{"username", name},
                                       {"userpw", QString()},
                                       {"defaultuser", isDefault ? 1 : 0},
                                       {"grade", 2}});
    }

    // Set up in full: every step succeeded, the test root's included.
    bool ok() const { return m_ok && root.ok(); }

private:
    void check(const Result<void>& r)
    {
        if (!r) {
            m_ok = false;
            QTest::qFail(qPrintable("fixture: " + r.message()), __FILE__, __LINE__);
        }
    }

    bool m_ok = true;
};

// Picks the user, types the password and presses OK.
void logIn(QWidget* window, const QString& name, const QString& password)
{
    auto* users = child<QComboBox>(window, "cboUser");
    users->setCurrentIndex(users->findText(name));
    QTest::keyClicks(child<QLineEdit>(window, "txtPassword"), password);
    click(window, "btnOK");
}

// The list's rows as "name level".
QStringList rows(QWidget* window)
{
    QStringList out;
    auto* list = child<QTreeWidget>(window, "lvUser");
    for (int i = 0; i < list->topLevelItemCount(); ++i)
        out << list->topLevelItem(i)->text(0) + u' ' + list->topLevelItem(i)->text(2);
    return out;
}

void select(QWidget* window, const QString& name)
{
    auto* list = child<QTreeWidget>(window, "lvUser");
    list->setCurrentItem(list->findItems(name, Qt::MatchExactly).value(0));
}

} // namespace

class TestUserWindows : public QObject {
    Q_OBJECT
private slots:
    // Any message the windows show is recorded; an unexpected question ends the test program.
    void init() { Dialogs::setRecording(true); }
    void cleanup() { Dialogs::setRecording(false); }

    void loginOffersTheDefaultUserAndKeepsAWrongPassword();
    void establishWithoutLogin();
    void establishAsksWhenNeeded_data() { fixtureData("login-window.txt"); }
    void establishAsksWhenNeeded();
    void userWindowKeepsAnAdministrator();
    void ownPasswordIsChanged();
};

void TestUserWindows::loginOffersTheDefaultUserAndKeepsAWrongPassword()
{
    Fixture f;
    QVERIFY(f.ok());
    LoginWindow window(f.accounts);
    auto* users = child<QComboBox>(&window, "cboUser");
    QCOMPARE(comboItems(users), (QStringList{"admin", "bob", "carol"}));
    QCOMPARE(users->currentText(), "bob");
    auto* password = child<QLineEdit>(&window, "txtPassword");
    QCOMPARE(password->echoMode(), QLineEdit::Password);
    QVERIFY(!window.user().has_value());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.setResult(-1);

    logIn(&window, "admin", "bob-pw");
    const QList<ShownDialog> shown = Dialogs::takeShown();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown[0].kind, DialogKind::Message);
    QCOMPARE(shown[0].text, "用户名或密码错误！");
    QVERIFY(window.isVisible());
    QCOMPARE(window.result(), -1);
    QVERIFY(!window.user().has_value());
    QCOMPARE(password->text(), QString());
    QCOMPARE(window.focusWidget(), password);

    // The next attempt starts from an empty box, not from the wrong text.
    logIn(&window, "admin", "s3cret");
    QVERIFY(!window.isVisible());
    QCOMPARE(window.user(), (CurrentUser{"admin", true}));
}

void TestUserWindows::establishWithoutLogin()
{
    TestRoot root;
    QVERIFY(root.ok());
    bool windowSeen = false;
    ModalDriver driver("frmLogin", [&](QWidget* w) {
        windowSeen = true;
        qobject_cast<QDialog*>(w)->reject();
    });

    QCOMPARE(LoginWindow::establish(*root.store), (CurrentUser{"admin", true}));
    QVERIFY(!windowSeen);
    QCOMPARE(root.store->currentUser(), "admin");
    QVERIFY(Dialogs::takeShown().isEmpty());
}

// A row of login-window.txt: the user and password typed, whether an administrator.
void TestUserWindows::establishAsksWhenNeeded()
{
    QFETCH(QStringList, row);
    const QString name = row.value(1), password = row.value(2);
    Fixture f;
    QVERIFY(f.ok());
    ModalDriver driver("frmLogin", [&](QWidget* w) {
        if (name.isEmpty())
            click(w, "btnCancel");
        else
            logIn(w, name, password);
    });

    const std::optional<CurrentUser> user = LoginWindow::establish(*f.root.store);
    QVERIFY(driver.acted() && !driver.timedOut());
    QVERIFY(driver.wasModal());
    QVERIFY(Dialogs::takeShown().isEmpty());
    if (name.isEmpty()) {
        QVERIFY(!user.has_value());
        QCOMPARE(f.root.store->currentUser(), "tester");
    } else {
        QCOMPARE(user, (CurrentUser{name, row.value(3) == "1"}));
        QCOMPARE(f.root.store->currentUser(), name);
    }
}

void TestUserWindows::userWindowKeepsAnAdministrator()
{
    Fixture f;
    QVERIFY(f.ok());
    UserWindow w(f.accounts);
    QCOMPARE(rows(&w), (QStringList{"admin 系统管理员", "bob 普通用户", "carol 普通用户"}));
    select(&w, "admin");
    QCOMPARE(child<QLineEdit>(&w, "txtUserName")->text(), "admin");
    QVERIFY(child<QCheckBox>(&w, "chkAdmin")->isChecked());
    // The stored hash is never shown.
    QCOMPARE(child<QLineEdit>(&w, "txtPassWord")->text(), QString());

    click(&w, "btnDel");
    QVERIFY(Dialogs::takeShown().value(0).text.startsWith("系统管理员不能全部删除"));
    child<QCheckBox>(&w, "chkAdmin")->setChecked(false);
    QCOMPARE(says(&w, "btnEdit"), QStringList{"系统中至少要保留一个系统管理员否则无法管理软件!"});
    QCOMPARE(rows(&w).first(), "admin 系统管理员");

    // A second administrator added through frmAddUser; then carol is deleted after asking.
    ModalDriver driver("frmAddUser", [](QWidget* add) {
        QTest::keyClicks(child<QLineEdit>(add, "txtUserName"), "dave");
        child<QCheckBox>(add, "chkAdmin")->setChecked(true);
        click(add, "btnComfirm");
        QCOMPARE(child<QLineEdit>(add, "txtUserName")->text(), QString());
        click(add, "btnCancel");
    });
    click(&w, "btnAdd");
    QVERIFY(driver.acted());
    QVERIFY(rows(&w).contains("dave 系统管理员"));
    select(&w, "carol");
    Dialogs::queueAnswer(true);
    click(&w, "btnDel");
    QVERIFY(!rows(&w).contains("carol 普通用户"));
    Dialogs::takeShown();
}

void TestUserWindows::ownPasswordIsChanged()
{
    Fixture f;
    QVERIFY(f.ok());
    PasswordWindow w(f.accounts, "bob");
    auto type = [&](const char* name, const QString& text) {
        auto* box = child<QLineEdit>(&w, name);
        box->clear();
        QTest::keyClicks(box, text);
    };
    type("txtOldPassWord", "wrong");
    type("txtNewPassWord", "n1");
    type("txtNewPassWordAgain", "n2");
    QCOMPARE(says(&w, "btnComfirm"), QStringList{"两次输入的新密码不一致!"});
    type("txtNewPassWordAgain", "n1");
    QCOMPARE(says(&w, "btnComfirm"), QStringList{"原密码不正确!"});
    type("txtOldPassWord", "bob-pw");
    QCOMPARE(says(&w, "btnComfirm"), QStringList{"密码修改成功!"});
    QVERIFY(f.accounts.verify("bob", "n1").value());
}

QTEST_MAIN(TestUserWindows)
#include "tst_userwindows.moc"
