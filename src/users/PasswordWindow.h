#pragma once

#include "widgets/FramelessDialog.h"

class QLineEdit;
class UserAccounts;

// 修改密码: any user changes their own password, knowing the current one.
class PasswordWindow : public FramelessDialog {
    Q_OBJECT
public:
    PasswordWindow(UserAccounts& accounts, QString userName, QWidget* parent = nullptr);

private:
    void confirm();

    UserAccounts& m_accounts;
    QString m_userName;
    QLineEdit* m_current;
    QLineEdit* m_new;
    QLineEdit* m_again;
};
