#pragma once

#include "widgets/FramelessDialog.h"

class UserAccounts;
class UserForm;

// frmAddUser: adds one user after another; after each the boxes are cleared for the next.
class AddUserWindow : public FramelessDialog {
    Q_OBJECT
public:
    explicit AddUserWindow(UserAccounts& accounts, QWidget* parent = nullptr);

signals:
    void added(qint64 id);

private:
    void confirm();

    UserAccounts& m_accounts;
    UserForm* m_form;
};
