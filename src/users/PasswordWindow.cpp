#include "users/PasswordWindow.h"

#include "users/UserAccounts.h"
#include "widgets/Dialogs.h"

#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QLineEdit* passwordBox(const char* name, QWidget* parent)
{
    auto* box = new QLineEdit(parent);
    box->setObjectName(QLatin1String(name));
    box->setEchoMode(QLineEdit::Password);
    return box;
}

} // namespace

PasswordWindow::PasswordWindow(UserAccounts& accounts, QString userName, QWidget* parent)
    : FramelessDialog(parent), m_accounts(accounts), m_userName(std::move(userName)),
      m_current(passwordBox("txtOldPassWord", this)), m_new(passwordBox("txtNewPassWord", this)),
      m_again(passwordBox("txtNewPassWordAgain", this))
{
    setObjectName(QStringLiteral("frmPassword"));
    setCaption(QStringLiteral("修改密码 - ") + m_userName);
    setMinimumWidth(320);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("原密码："), m_current);
    form->addRow(QStringLiteral("新密码："), m_new);
    form->addRow(QStringLiteral("再输一次："), m_again);
    bodyLayout()->addLayout(form);
    connect(addCommandRow(QStringLiteral("btnComfirm")).ok, &QPushButton::clicked, this,
            &PasswordWindow::confirm);
}

void PasswordWindow::confirm()
{
    if (m_new->text() != m_again->text()) {
        Dialogs::message(this, QStringLiteral("两次输入的新密码不一致!"));
        return;
    }
    const Result<void> changed =
        m_accounts.changePassword(m_userName, m_current->text(), m_new->text());
    if (!changed) {
        Dialogs::message(this, changed.message());
        return;
    }
    Dialogs::message(this, QStringLiteral("密码修改成功!"));
    accept();
}
