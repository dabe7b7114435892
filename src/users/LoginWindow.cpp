#include "users/LoginWindow.h"

#include "data/Store.h"
#include "users/UserAccounts.h"
#include "widgets/Dialogs.h"

#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

LoginWindow::LoginWindow(UserAccounts& accounts, QWidget* parent)
    : FramelessDialog(parent), m_accounts(accounts), m_users(new QComboBox(this)),
      m_password(new QLineEdit(this))
{
    setObjectName(QStringLiteral("frmLogin"));
    setModal(true);
    setCaption(Dialogs::defaultCaption() + QStringLiteral(" - 用户登录"));
    setMinimumWidth(320);

    m_users->setObjectName(QStringLiteral("cboUser"));
    m_password->setObjectName(QStringLiteral("txtPassword"));
    m_password->setEchoMode(QLineEdit::Password);

    const Result<QList<UserAccount>> all = accounts.users();
    if (!all)
        Dialogs::message(this, all.message());
    int selected = -1;
    for (const UserAccount& a : all ? all.value() : QList<UserAccount>()) {
        if (a.isDefault && selected < 0)
            selected = m_users->count();
        m_users->addItem(a.name);
    }
    m_users->setCurrentIndex(qMax(selected, 0));

    auto* form = new QFormLayout;
    form->setHorizontalSpacing(10);
    form->setVerticalSpacing(10);
    form->addRow(QStringLiteral("用户名："), m_users);
    form->addRow(QStringLiteral("密　码："), m_password);
    bodyLayout()->addLayout(form);

    connect(addCommandRow(QStringLiteral("btnOK")).ok, &QPushButton::clicked, this,
            &LoginWindow::tryLogin);

    m_password->setFocus();
}

void LoginWindow::tryLogin()
{
    const Result<std::optional<CurrentUser>> r =
        m_accounts.verify(m_users->currentText(), m_password->text());
    if (!r) {
        Dialogs::message(this, r.message());
        return;
    }
    if (!r.value()) {
        Dialogs::message(this, QStringLiteral("用户名或密码错误！"));
        m_password->clear();
        m_password->setFocus();
        return;
    }
    m_user = r.value();
    accept();
}

std::optional<CurrentUser> LoginWindow::establish(Store& store, QWidget* parent)
{
    UserAccounts accounts(store);
    const Result<bool> needed = accounts.needsLogin();
    if (!needed) {
        Dialogs::message(parent, needed.message());
        return std::nullopt;
    }
    std::optional<CurrentUser> user;
    if (!needed.value()) {
        const Result<std::optional<UserAccount>> account = accounts.defaultUser();
        if (!account) {
            Dialogs::message(parent, account.message());
            return std::nullopt;
        }
        if (account.value())
            user = account.value()->asCurrentUser();
    } else {
        LoginWindow window(accounts, parent);
        if (window.exec() == QDialog::Accepted)
            user = window.user();
    }
    if (user)
        store.setCurrentUser(user->name);
    return user;
}
