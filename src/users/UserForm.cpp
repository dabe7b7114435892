#include "users/UserForm.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLineEdit>

UserForm::UserForm(QWidget* parent)
    : QWidget(parent), m_name(new QLineEdit(this)), m_password(new QLineEdit(this)),
      m_default(new QCheckBox(QStringLiteral("默认用户"), this)),
      m_admin(new QCheckBox(QStringLiteral("系统管理员"), this))
{
    m_name->setObjectName(QStringLiteral("txtUserName"));
    m_password->setObjectName(QStringLiteral("txtPassWord"));
    m_password->setEchoMode(QLineEdit::Password);
    m_default->setObjectName(QStringLiteral("chkDefalutUser"));
    m_admin->setObjectName(QStringLiteral("chkAdmin"));
    auto* form = new QFormLayout(this);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(QStringLiteral("用户名："), m_name);
    form->addRow(QStringLiteral("密　码："), m_password);
    form->addRow(QString(), m_default);
    form->addRow(QString(), m_admin);
}

UserChange UserForm::change() const
{
    return {m_name->text(), m_password->text(), m_default->isChecked(), m_admin->isChecked()};
}

void UserForm::show(const UserAccount& account)
{
    m_name->setText(account.name);
    m_password->clear();
    m_password->setPlaceholderText(account.hasPassword ? QStringLiteral("不修改请留空")
                                                       : QStringLiteral("尚未设置密码"));
    m_default->setChecked(account.isDefault);
    m_admin->setChecked(account.isAdministrator());
}

void UserForm::clear()
{
    m_name->clear();
    m_password->clear();
    m_default->setChecked(false);
    m_admin->setChecked(false);
}

void UserForm::setNameFixed(bool fixed)
{
    m_name->setReadOnly(fixed);
}
