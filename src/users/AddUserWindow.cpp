#include "users/AddUserWindow.h"

#include "users/UserAccounts.h"
#include "users/UserForm.h"
#include "widgets/Dialogs.h"

#include <QPushButton>
#include <QVBoxLayout>

AddUserWindow::AddUserWindow(UserAccounts& accounts, QWidget* parent)
    : FramelessDialog(parent), m_accounts(accounts), m_form(new UserForm(this))
{
    setObjectName(QStringLiteral("frmAddUser"));
    setCaption(QStringLiteral("添加用户"));
    setMinimumWidth(320);
    bodyLayout()->addWidget(m_form);
    connect(addCommandRow(QStringLiteral("btnComfirm")).ok, &QPushButton::clicked, this,
            &AddUserWindow::confirm);
}

void AddUserWindow::confirm()
{
    const Result<qint64> id = m_accounts.add(m_form->change());
    if (!id) {
        Dialogs::message(this, id.message());
        return;
    }
    m_form->clear();
    emit added(id.value());
}
