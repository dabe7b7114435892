#pragma once

#include "users/UserAccounts.h"

#include <QWidget>

class QCheckBox;
class QLineEdit;

// The four fields of a user account, as both user windows show them: txtUserName, txtPassWord,
// chkDefalutUser and chkAdmin. The password box never shows what is stored; left empty on an
// edit, the password stays as it is.
class UserForm : public QWidget {
    Q_OBJECT
public:
    explicit UserForm(QWidget* parent = nullptr);

    UserChange change() const;
    void show(const UserAccount& account);
    void clear();
    // Editing keeps the name: the box shows it, read-only.
    void setNameFixed(bool fixed);

private:
    QLineEdit* m_name;
    QLineEdit* m_password;
    QCheckBox* m_default;
    QCheckBox* m_admin;
};
